#include "shared.system-machineid.linux.hpp"

#include "shared.system-machineid.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>

namespace Shared::System
{

namespace
{

constexpr const char* FileName = "/etc/machine-id";
constexpr std::size_t Digits = 32;

bool IsHexDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
        (character >= 'A' && character <= 'F');
}

} // namespace

std::optional<std::wstring> ParseMachineId(std::string_view text)
{
    if (text.ends_with('\n'))
    {
        text.remove_suffix(1);
    }
    const bool isGiven = text.find_first_not_of('0') != std::string_view::npos;
    if (text.size() != Digits || !std::all_of(text.begin(), text.end(), IsHexDigit) || !isGiven)
    {
        return std::nullopt;
    }
    std::string guid = Util::ToLower(text);
    for (const std::size_t position : {20, 16, 12, 8})
    {
        guid.insert(position, 1, '-');
    }
    return Util::ConvertStringType(guid);
}

std::optional<std::wstring> ReadMachineId()
{
    const std::optional<std::string> text = ReadProcFile(FileName);
    return text ? ParseMachineId(*text) : std::nullopt;
}

} // namespace Shared::System
