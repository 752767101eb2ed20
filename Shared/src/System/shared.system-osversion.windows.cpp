#include "shared.system-osversion.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.system-osversionkey.windows.hpp"
#include "shared.winreg-functions.hpp"

namespace Shared::System
{

namespace
{

const wchar_t* const VersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::wstring ReadText(const std::wstring& keyPath, const wchar_t* name, const char* failureText)
{
    std::wstring text;
    if (!WinReg::TryGetStringValue(WinReg::Root::LocalMachine, keyPath, name, text))
    {
        throw Exception::RuntimeException(failureText);
    }
    return text;
}

std::uint32_t ReadNumber(const std::wstring& keyPath, const wchar_t* name, const char* failureText)
{
    std::uint32_t number = 0;
    if (!WinReg::TryGetDwordValue(WinReg::Root::LocalMachine, keyPath, name, number))
    {
        throw Exception::RuntimeException(failureText);
    }
    return number;
}

std::wstring ReadBuildNumber(const std::wstring& keyPath)
{
    return ReadText(keyPath, L"CurrentBuildNumber", "Couldn't read CurrentBuildNumber");
}

} // namespace

OsVersion ReadOsVersion(const std::wstring& keyPath)
{
    OsVersion version;
    version.buildNumber = ReadBuildNumber(keyPath);
    version.majorVersion = ReadNumber(keyPath, L"CurrentMajorVersionNumber", "Couldn't read MajorVersionNumber");
    version.minorVersion = ReadNumber(keyPath, L"CurrentMinorVersionNumber", "Couldn't read MinorVersionNumber");
    version.releaseId = ReadText(keyPath, L"ReleaseId", "Couldn't read ReleaseId");
    return version;
}

std::wstring GetOsBuildNumber()
{
    return ReadBuildNumber(VersionKey);
}

OsVersion GetOsVersion()
{
    return ReadOsVersion(VersionKey);
}

} // namespace Shared::System
