#include "shared.security-functions.hpp"

#include <optional>

#include "shared.exception-exceptions.hpp"
#include "shared.platform-errors.hpp"

namespace Shared::Security
{

namespace
{

using Raii::RawHandle;
using Raii::Win32Handle;

Win32Handle OwnOrThrow(RawHandle token, const char* failureText)
{
    if (token == nullptr)
    {
        throw Exception::Win32Exception(failureText, Platform::LastError());
    }
    return Win32Handle(token);
}

/// @param token changed, and handed on.
Win32Handle WithRawSockets(Win32Handle token)
{
    if (!Native::AllowRawSockets(token.GetRawHandle()))
    {
        throw Exception::Win32Exception("SetTokenInformation() failed", Platform::LastError());
    }
    return token;
}

Win32Handle MakeToolIdentity(bool lowIntegrity)
{
    const Win32Handle ofPathTests = GetMtrChildProcessIdentity(lowIntegrity);
    Win32Handle token =
        OwnOrThrow(Native::DuplicateForPlainTools(ofPathTests.GetRawHandle()), "DuplicateTokenEx() failed");
    if (lowIntegrity)
    {
        SetTokenToLowIntegrity(token);
    }
    return token;
}

} // namespace

// The kept tokens are never destroyed: a worker that outlives the main thread may still duplicate them.

Win32Handle GetMtrChildProcessIdentity(bool adminRestricted)
{
    if (adminRestricted)
    {
        static const auto& s_restricted = *new Win32Handle(WithRawSockets(CreateAdminRestrictedToken()));
        return s_restricted.Duplicate();
    }
    static const auto& s_service = *new Win32Handle(WithRawSockets(LogonService(WellKnownAccount::NetworkService)));
    return s_service.Duplicate();
}

Win32Handle GetCurlTcPingChildProcessIdentity(bool lowIntegrity)
{
    if (lowIntegrity)
    {
        static const auto& s_low = *new Win32Handle(MakeToolIdentity(true));
        return s_low.Duplicate();
    }
    static const auto& s_plain = *new Win32Handle(MakeToolIdentity(false));
    return s_plain.Duplicate();
}

Win32Handle LogonService(WellKnownAccount account, const char* failureText)
{
    return OwnOrThrow(Native::LogonService(account), failureText);
}

Win32Handle CreateAdminRestrictedToken()
{
    const Win32Handle own = OwnOrThrow(Native::OpenOwnToken(), "OpenProcessToken() failed");
    return OwnOrThrow(Native::RestrictToken(own.GetRawHandle()), "CreateRestrictedToken() failed");
}

void SetTokenToLowIntegrity(const Win32Handle& token)
{
    if (!token.IsValid())
    {
        throw Exception::InvalidArgumentException("Token cannot be null");
    }
    const Native::LabelResult result = Native::LowerIntegrity(token.GetRawHandle());
    if (result != Native::LabelResult::Done)
    {
        const char* const text = result == Native::LabelResult::BadLabel ? "ConvertStringSidToSidW() failed"
                                                                         : "SetTokenInformation() failed";
        throw Exception::Win32Exception(text, Platform::LastError());
    }
}

bool IsRunningAs(WellKnownAccount account)
{
    const std::optional<bool> answer = Native::IsCurrentUser(account);
    if (!answer)
    {
        throw Exception::Win32Exception("OpenProcessToken() failed", Platform::LastError());
    }
    return *answer;
}

} // namespace Shared::Security
