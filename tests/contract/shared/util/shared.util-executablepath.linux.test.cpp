#include "shared.util-functions.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace
{

std::string OutputOf(const std::string& command)
{
    std::string output;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe{::popen(command.c_str(), "r"), &::pclose};
    std::array<char, 256> line{};
    while (pipe && std::fgets(line.data(), static_cast<int>(line.size()), pipe.get()) != nullptr)
    {
        output += line.data();
    }
    return output;
}

/// Has a copy of the telling program, under the given name, remove its own file, as an upgrade does, and say where it
/// believes to be.
void ExpectPathsOfACopyNamed(const char* name)
{
    auto pattern = (std::filesystem::temp_directory_path() / "executablepath-XXXXXX").string();
    const std::filesystem::path folder = ::mkdtemp(pattern.data());
    const auto copy = folder / name;
    std::filesystem::copy_file(
        std::filesystem::path{Shared::Util::GetCurrentExecutableDirectory()} / "shared-util-tellpath", copy);
    const auto output = OutputOf("'" + copy.string() + "' --remove");
    EXPECT_NE(output.find("path=" + copy.string() + "\n"), std::string::npos) << output;
    EXPECT_NE(output.find("directory=" + folder.string() + "\n"), std::string::npos) << output;
    EXPECT_FALSE(std::filesystem::exists(copy));
    std::filesystem::remove_all(folder);
}

TEST(ExecutablePathTest, AFileThatWasRemovedMeanwhileIsStillNamed)
{
    ExpectPathsOfACopyNamed("agent");
}

TEST(ExecutablePathTest, ALongPathIsReadWhole)
{
    ExpectPathsOfACopyNamed(std::string(250, 'x').c_str());
}

} // namespace
