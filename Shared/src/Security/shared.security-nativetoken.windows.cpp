#include "shared.security-nativetoken.hpp"

#include "shared.raii-win32handle.hpp"

#include <array>
#include <cstddef>

#include "shared.platform-windows.windows.hpp"

#include <sddl.h>

namespace Shared::Security::Native
{

namespace
{

/// What the functions below do with a token, and starting a process with it.
constexpr DWORD TokenAccess = TOKEN_DUPLICATE | TOKEN_ASSIGN_PRIMARY | TOKEN_QUERY | TOKEN_ADJUST_DEFAULT;

constexpr PCWSTR LowIntegrityLabel = L"S-1-16-4096";

PCWSTR NameOf(WellKnownAccount account) noexcept
{
    switch (account)
    {
    case WellKnownAccount::LocalService:
        return L"LocalService";
    case WellKnownAccount::NetworkService:
        return L"NetworkService";
    case WellKnownAccount::LocalSystem:
        break;
    }
    return nullptr;
}

WELL_KNOWN_SID_TYPE SidTypeOf(WellKnownAccount account) noexcept
{
    switch (account)
    {
    case WellKnownAccount::LocalService:
        return WinLocalServiceSid;
    case WellKnownAccount::NetworkService:
        return WinNetworkServiceSid;
    case WellKnownAccount::LocalSystem:
        break;
    }
    return WinLocalSystemSid;
}

/// Room for any SID, aligned for it.
struct SidBuffer
{
    alignas(void*) std::array<std::byte, SECURITY_MAX_SID_SIZE> bytes{};

    PSID Get() noexcept
    {
        return bytes.data();
    }
};

} // namespace

Raii::RawHandle OpenOwnToken() noexcept
{
    HANDLE token = nullptr;
    return ::OpenProcessToken(::GetCurrentProcess(), TokenAccess, &token) != FALSE ? token : nullptr;
}

Raii::RawHandle RestrictToken(Raii::RawHandle token) noexcept
{
    HANDLE restricted = nullptr;
    const BOOL made =
        ::CreateRestrictedToken(token, DISABLE_MAX_PRIVILEGE, 0, nullptr, 0, nullptr, 0, nullptr, &restricted);
    return made != FALSE ? restricted : nullptr;
}

Raii::RawHandle LogonService(WellKnownAccount account) noexcept
{
    const PCWSTR name = NameOf(account);
    if (name == nullptr)
    {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    HANDLE token = nullptr;
    const BOOL loggedOn =
        ::LogonUserW(name, L"NT AUTHORITY", nullptr, LOGON32_LOGON_SERVICE, LOGON32_PROVIDER_DEFAULT, &token);
    return loggedOn != FALSE ? token : nullptr;
}

bool AllowRawSockets(Raii::RawHandle) noexcept
{
    return true;
}

Raii::RawHandle DuplicateForPlainTools(Raii::RawHandle token) noexcept
{
    constexpr DWORD SameAccess = 0;
    HANDLE duplicate = nullptr;
    const BOOL made = ::DuplicateTokenEx(token, SameAccess, nullptr, SecurityImpersonation, TokenPrimary, &duplicate);
    return made != FALSE ? duplicate : nullptr;
}

LabelResult LowerIntegrity(Raii::RawHandle token) noexcept
{
    PSID label = nullptr;
    if (::ConvertStringSidToSidW(LowIntegrityLabel, &label) == FALSE)
    {
        return LabelResult::BadLabel;
    }
    TOKEN_MANDATORY_LABEL information = {};
    information.Label.Attributes = SE_GROUP_INTEGRITY;
    information.Label.Sid = label;
    const auto size = static_cast<DWORD>(sizeof information + ::GetLengthSid(label));
    const BOOL changed = ::SetTokenInformation(token, TokenIntegrityLevel, &information, size);
    const DWORD error = ::GetLastError();
    ::LocalFree(label);
    ::SetLastError(error);
    return changed != FALSE ? LabelResult::Done : LabelResult::Refused;
}

std::optional<bool> IsCurrentUser(WellKnownAccount account) noexcept
{
    HANDLE raw = nullptr;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &raw) == FALSE)
    {
        return std::nullopt;
    }
    const Raii::Win32Handle token(raw);

    struct
    {
        TOKEN_USER user{};
        SidBuffer sid;
    } answer;

    DWORD size = 0;
    if (::GetTokenInformation(raw, TokenUser, &answer, sizeof answer, &size) == FALSE)
    {
        return std::nullopt;
    }
    SidBuffer wanted;
    DWORD wantedSize = sizeof wanted.bytes;
    if (::CreateWellKnownSid(SidTypeOf(account), nullptr, wanted.Get(), &wantedSize) == FALSE)
    {
        return std::nullopt;
    }
    return ::EqualSid(answer.user.User.Sid, wanted.Get()) != FALSE;
}

} // namespace Shared::Security::Native
