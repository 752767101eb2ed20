#include "lab.tools-systemprogram.hpp"

#include <array>

#include "shared.platform-windows.windows.hpp"

namespace Lab::Tools
{

std::filesystem::path FindSystemProgram(const std::string& name)
{
    std::array<wchar_t, MAX_PATH> folder = {};
    const UINT size = ::GetSystemDirectoryW(folder.data(), static_cast<UINT>(folder.size()));
    if (size == 0 || size >= folder.size())
    {
        return {};
    }
    std::filesystem::path program = std::filesystem::path(folder.data()) / (name + ".exe");
    std::error_code error;
    return std::filesystem::is_regular_file(program, error) ? program : std::filesystem::path();
}

} // namespace Lab::Tools
