// Takes the fuzzer's place where there is none: gives each file of the named folders to the fuzz target once.
//   program <folder or file>...
// Ends with 1 if nothing was found to run. A target that fails brings the program down, as under the fuzzer; the name
// printed last tells the file.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{
std::vector<std::filesystem::path> FilesOf(const std::filesystem::path& start)
{
    if (!std::filesystem::is_directory(start))
    {
        return {start};
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{start})
    {
        if (entry.is_regular_file())
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}
} // namespace

int main(int argc, char** argv)
{
    int count = 0;
    for (int i = 1; i < argc; ++i)
    {
        for (const auto& file : FilesOf(argv[i]))
        {
            std::printf("%s\n", file.filename().string().c_str());
            std::fflush(stdout);
            std::ifstream stream{file, std::ios::binary};
            if (!stream)
            {
                std::printf("cannot be read\n");
                return 1;
            }
            const std::vector<char> bytes{std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
