#include "shared.util-functions.hpp"

#include <cerrno>
#include <cstddef>
#include <source_location>

#include <fmt/format.h>
#include <fmt/xchar.h>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"
#include "shared.util-utf8.hpp"

#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Shared::Util
{

namespace
{

/// What /proc says about a running program whose file was removed or replaced, as an upgrade does.
constexpr std::string_view DeletedMark = " (deleted)";

std::string ReadExecutableLink(const char* failureText, const std::source_location& where)
{
    std::string path(256, '\0');
    while (true)
    {
        const auto length = ::readlink("/proc/self/exe", path.data(), path.size());
        if (length <= 0)
        {
            throw Exception::Win32Exception(failureText, Platform::LastError(), where);
        }
        if (static_cast<std::size_t>(length) < path.size())
        {
            path.resize(static_cast<std::size_t>(length));
            break;
        }
        path.resize(path.size() * 2);
    }

    struct stat status
    {
    };

    if (path.ends_with(DeletedMark) && ::lstat(path.c_str(), &status) != 0)
    {
        path.resize(path.size() - DeletedMark.size());
    }
    return path;
}

} // namespace

std::string ConvertStringType(std::wstring_view text)
{
    return Utf8::Encode(text);
}

std::wstring ConvertStringType(std::string_view text)
{
    return Utf8::Decode(text);
}

std::wstring ConvertRawGuid(const RawGuid& guid)
{
    const auto& tail = guid.data4;
    return fmt::format(
        L"{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}}}", guid.data1, guid.data2,
        guid.data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
}

std::wstring GenerateGuid()
{
    RawGuid guid;
    static_assert(sizeof(guid) == 16);
    auto* const bytes = reinterpret_cast<char*>(&guid);
    for (std::size_t filled = 0; filled < sizeof(guid);)
    {
        const auto count = ::getrandom(bytes + filled, sizeof(guid) - filled, 0);
        if (count > 0)
        {
            filled += static_cast<std::size_t>(count);
        }
        else if (Platform::LastError() != EINTR)
        {
            throw Exception::ComException("CoCreateGuid() failed", Platform::LastError());
        }
    }
    // Version 4 (random) and the standard's variant.
    guid.data3 = static_cast<std::uint16_t>((guid.data3 & 0x0FFFU) | 0x4000U);
    guid.data4[0] = static_cast<std::uint8_t>((guid.data4[0] & 0x3FU) | 0x80U);
    return ConvertRawGuid(guid);
}

std::wstring GetCurrentExecutablePath()
{
    return ConvertStringType(ReadExecutableLink("GetCurrentExecutablePath() failed", std::source_location::current()));
}

std::wstring GetCurrentExecutableDirectory()
{
    const auto path = ReadExecutableLink("GetCurrentExecutableDirectory() failed", std::source_location::current());
    const auto separator = path.find_last_of('/');
    if (separator == std::string::npos)
    {
        throw Exception::Win32Exception("GetCurrentExecutableDirectory() failed", ENOENT);
    }
    return ConvertStringType(std::string_view{path}.substr(0, separator == 0 ? 1 : separator));
}

} // namespace Shared::Util
