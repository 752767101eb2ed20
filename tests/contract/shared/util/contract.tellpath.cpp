// Prints where it believes to be: two lines, "path=" and "directory=", in UTF-8.
//   --remove   removes its own file first, where the system allows that

#include <cstdio>
#include <filesystem>
#include <string_view>

#include "shared.util-functions.hpp"

int main(int argc, char** argv)
{
    using namespace Shared::Util;
    if (argc == 2 && std::string_view{argv[1]} == "--remove")
    {
        std::filesystem::remove(std::filesystem::path{GetCurrentExecutablePath()});
    }
    std::printf("path=%s\n", ConvertStringType(GetCurrentExecutablePath()).c_str());
    std::printf("directory=%s\n", ConvertStringType(GetCurrentExecutableDirectory()).c_str());
    return 0;
}
