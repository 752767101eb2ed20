#include "shared.system-osrelease.linux.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "shared.exception-exceptions.hpp"
#include "shared.system-procfile.linux.hpp"
#include "shared.util-functions.hpp"

namespace Shared::System
{

namespace
{

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const auto start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos)
    {
        return {};
    }
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

std::string Unquote(std::string_view value)
{
    char quote = '\0';
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
    {
        quote = value.front();
        value = value.substr(1, value.size() - 2);
    }
    std::string result;
    for (std::size_t i = 0; i < value.size(); ++i)
    {
        // Between single quotes the shell knows no escapes.
        if (value[i] == '\\' && quote != '\'' && i + 1 < value.size())
        {
            ++i;
        }
        result.push_back(value[i]);
    }
    return result;
}

/// Takes the number in front of `text`, and one "." behind it.
std::uint32_t TakeNumber(std::string_view& text, const char* failureText)
{
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{})
    {
        throw Exception::RuntimeException(failureText);
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (text.starts_with('.'))
    {
        text.remove_prefix(1);
    }
    return value;
}

} // namespace

OsRelease ParseOsRelease(std::string_view text)
{
    OsRelease values;
    for (const auto& raw : Util::Split(text, "\n"))
    {
        const auto line = Trim(raw);
        const auto separator = line.find('=');
        if (line.starts_with('#') || separator == std::string_view::npos || separator == 0)
        {
            continue;
        }
        values.insert_or_assign(std::string{line.substr(0, separator)}, Unquote(line.substr(separator + 1)));
    }
    return values;
}

OsRelease ReadOsRelease()
{
    for (const char* const path : {"/etc/os-release", "/usr/lib/os-release"})
    {
        if (const auto text = ReadProcFile(path))
        {
            return ParseOsRelease(*text);
        }
    }
    return {};
}

OsVersion MakeOsVersion(std::string_view kernelName, std::string_view kernelRelease, const OsRelease& distribution)
{
    // A distribution without versions tells a build instead, or only its code name.
    constexpr std::array<std::string_view, 3> releaseNames{"VERSION_ID", "BUILD_ID", "VERSION_CODENAME"};

    if (kernelName.empty() || kernelRelease.empty())
    {
        throw Exception::RuntimeException("Couldn't read CurrentBuildNumber");
    }
    OsVersion version;
    version.buildNumber = Util::ConvertStringType(std::string{kernelName}.append(" ").append(kernelRelease));
    version.majorVersion = TakeNumber(kernelRelease, "Couldn't read MajorVersionNumber");
    version.minorVersion = TakeNumber(kernelRelease, "Couldn't read MinorVersionNumber");
    for (const auto name : releaseNames)
    {
        if (const auto found = distribution.find(name); found != distribution.end() && !found->second.empty())
        {
            version.releaseId = Util::ConvertStringType(found->second);
            return version;
        }
    }
    throw Exception::RuntimeException("Couldn't read ReleaseId");
}

} // namespace Shared::System
