#include "lab.tools-systemprogram.hpp"

#include <array>

#include <unistd.h>

namespace Lab::Tools
{

std::filesystem::path FindSystemProgram(const std::string& name)
{
    constexpr std::array<const char*, 4> Folders = {"/usr/bin", "/usr/sbin", "/bin", "/sbin"};
    for (const char* const folder : Folders)
    {
        std::filesystem::path program = std::filesystem::path(folder) / name;
        if (::access(program.c_str(), X_OK) == 0)
        {
            return program;
        }
    }
    return {};
}

} // namespace Lab::Tools
