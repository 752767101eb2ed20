#include "shared.appsettings-registrations.hpp"

#include "shared.appsettings-values.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>

namespace Shared::AppSettings
{

namespace
{

constexpr std::wstring_view SubtenantName = L"subtenant-id";
constexpr std::wstring_view AccountName = L"account-id";
constexpr std::wstring_view AgentName = L"agent-uuid";

bool IsComplete(const RegistrationInfo& info)
{
    return info.accountId != 0 && !info.agentUuid.empty() && !info.subtenantId.empty();
}

/// 0, which is no account, for what is no number of 32 bits: a damaged record must not become another account's.
std::uint32_t ParseAccount(std::wstring_view text)
{
    std::uint64_t number = 0;
    for (const wchar_t digit : text)
    {
        if (digit < L'0' || digit > L'9')
        {
            return 0;
        }
        number = number * 10 + static_cast<std::uint64_t>(digit - L'0');
        if (number > std::numeric_limits<std::uint32_t>::max())
        {
            return 0;
        }
    }
    return static_cast<std::uint32_t>(number);
}

void ParseAttribute(std::wstring_view attribute, RegistrationInfo& info)
{
    const std::vector<std::wstring> tokens = Util::Split(attribute, std::wstring_view(L"="));
    if (tokens.size() != 2)
    {
        Log::Warn("Unexpected tokenised size for registration component: {}", tokens.size());
        return;
    }
    const std::wstring& name = tokens[0];
    if (name == SubtenantName)
    {
        info.subtenantId = tokens[1];
    }
    else if (name == AccountName)
    {
        info.accountId = ParseAccount(tokens[1]);
    }
    else if (name == AgentName)
    {
        info.agentUuid = tokens[1];
    }
    else if (!name.empty())
    {
        Log::Warn("Couldn't parse attribute: {}", Util::ConvertStringType(name));
    }
}

/// The position of the record with this subtenant, or the end.
auto Find(const std::vector<RegistrationInfo>& registrations, const std::wstring& subtenantId)
{
    return std::find_if(
        registrations.begin(), registrations.end(),
        [&subtenantId](const RegistrationInfo& info) { return info.subtenantId == subtenantId; });
}

} // namespace

std::wstring GetRegisteredSubtenantId(const Crypto::SensitiveString& key)
{
    const std::wstring enciphered = ReadText(Value::RegisteredId);
    if (enciphered.empty())
    {
        Log::Info("No RegisteredId found");
        return {};
    }
    try
    {
        return std::wstring(Decipher(enciphered, key).GetView());
    }
    catch (const std::exception& exception)
    {
        Log::Warn("GetRegisteredSubtenantId() failed: {0}", exception.what());
        return {};
    }
}

void SetRegisteredSubtenantId(const std::wstring& subtenantId, const Crypto::SensitiveString& key)
{
    WriteEnciphered(Value::RegisteredId, subtenantId, key);
}

bool GetAgentUuid(std::wstring& agentUuid)
{
    try
    {
        agentUuid = RequireText(Value::AgentUuid);
        return true;
    }
    catch (const std::exception& exception)
    {
        agentUuid.clear();
        Log::LogExceptionWarning("GetAgentUuid() failed, the value probably doesn't exist", exception);
        return false;
    }
}

std::uint32_t GetAccountId()
{
    return RequireNumber(Value::AccountId);
}

bool GetCurrentRegistrationInfo(const Crypto::SensitiveString& key, RegistrationInfo& info)
{
    info = {};
    try
    {
        RegistrationInfo read;
        read.accountId = GetAccountId();
        read.agentUuid = RequireText(Value::AgentUuid);
        read.subtenantId = GetRegisteredSubtenantId(key);
        info = std::move(read);
        return true;
    }
    catch (const std::exception& exception)
    {
        Log::LogExceptionWarning("GetCurrentRegistrationInfo() failed, the value probably doesn't exist", exception);
        return false;
    }
}

void SaveRegistration(const AppSettings& settings)
{
    Write(Value::AgentUuid, settings.agentUuid);
    Write(Value::Server, settings.serverRaw);
    Write(Value::ServerOverride, settings.serverRaw);
    Write(Value::AccountId, settings.accountId);
}

void DeleteRegistration()
{
    Delete(Value::AgentUuid);
    Delete(Value::AccountId);
    Delete(Value::RegisteredId);
}

Crypto::SensitiveString GetRegistrations(const Crypto::SensitiveString& key)
{
    const std::wstring enciphered = ReadText(Value::Registrations);
    if (enciphered.empty())
    {
        Log::Info("No Registrations found");
        return {};
    }
    try
    {
        return Decipher(enciphered, key);
    }
    catch (const std::exception& exception)
    {
        Log::Warn(
            "Registrations value {} could not be decrypted: {}", Util::ConvertStringType(enciphered), exception.what());
        return {};
    }
}

std::vector<RegistrationInfo> ParseRegistrations(std::wstring_view text)
{
    std::vector<RegistrationInfo> registrations;
    for (const std::wstring& record : Util::Split(text, std::wstring_view(L";")))
    {
        RegistrationInfo info;
        for (const std::wstring& attribute : Util::Split(record, std::wstring_view(L",")))
        {
            ParseAttribute(attribute, info);
        }
        if (IsComplete(info))
        {
            registrations.push_back(std::move(info));
        }
    }
    return registrations;
}

Crypto::SensitiveString SerialiseRegistrations(const std::vector<RegistrationInfo>& registrations)
{
    Crypto::SensitiveString text;
    for (const RegistrationInfo& info : registrations)
    {
        if (!IsComplete(info))
        {
            Log::Warn(
                "Ignored converting a RegistrationInfo with missing values. AccountId: {0}, AgentUuid: {1}, "
                "SubtenantId: {2}",
                info.accountId, Util::ConvertStringType(info.agentUuid), Util::ConvertStringType(info.subtenantId));
            continue;
        }
        const std::wstring account = std::to_wstring(info.accountId);
        const std::wstring_view pieces[] = {SubtenantName, L"=", info.subtenantId, L",", AccountName,    L"=",
                                            account,       L",", AgentName,        L"=", info.agentUuid, L";"};
        for (const std::wstring_view piece : pieces)
        {
            text.Append(piece);
        }
    }
    return text;
}

RegistrationInfo FindRegistration(const std::wstring& subtenantId, const Crypto::SensitiveString& key)
{
    if (subtenantId.empty())
    {
        return {};
    }
    const std::vector<RegistrationInfo> registrations = ParseRegistrations(GetRegistrations(key).GetView());
    const auto found = Find(registrations, subtenantId);
    return found == registrations.end() ? RegistrationInfo() : *found;
}

void RemoveRegistration(const std::wstring& subtenantId, const Crypto::SensitiveString& key)
{
    std::vector<RegistrationInfo> registrations = ParseRegistrations(GetRegistrations(key).GetView());
    const auto found = Find(registrations, subtenantId);
    if (found != registrations.end())
    {
        registrations.erase(found);
    }
    WriteEnciphered(Value::Registrations, SerialiseRegistrations(registrations).GetView(), key);
}

} // namespace Shared::AppSettings
