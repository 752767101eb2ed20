#pragma once

#include "shared.appsettings-appsettings.hpp"
#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Who the agent is to the server: its present identity, and the list of those that this machine has had with other
/// subtenants. Reading may be done by any thread; writing is the main thread's alone, as whole values are read, changed and
/// written back without a lock.
namespace Shared::AppSettings
{

/// An identity that the server gave.
struct RegistrationInfo
{
    std::uint32_t accountId = 0;
    std::wstring agentUuid;
    std::wstring subtenantId;
};

/// The subtenant for which the agent holds its identity. Empty when there is none, which is logged, and when it does not
/// open, with a warning.
std::wstring GetRegisteredSubtenantId(const Crypto::SensitiveString& key);

/// Writes it enciphered. Throws what ciphering throws, and Win32Exception when it cannot be written.
void SetRegisteredSubtenantId(const std::wstring& subtenantId, const Crypto::SensitiveString& key);

/// The agent's UUID. False, `agentUuid` empty and a warning when there is none.
bool GetAgentUuid(std::wstring& agentUuid);

/// The customer's account. Throws Win32Exception when there is none.
std::uint32_t GetAccountId();

/// The agent's present identity; its subtenant is as GetRegisteredSubtenantId() says. False, an empty record and a warning
/// when UUID or account are missing.
bool GetCurrentRegistrationInfo(const Crypto::SensitiveString& key, RegistrationInfo& info);

/// Writes UUID, server (in both of its values, as it was given) and account. The account comes last: an agent that is
/// killed in between has none, and registers again. Throws Win32Exception.
void SaveRegistration(const AppSettings& settings);

/// Deletes UUID, account and subtenant. What is missing is no failure.
void DeleteRegistration();

/// The plain text of the list of identities. Empty when there is none, which is logged, and when it does not open, with a
/// warning.
Crypto::SensitiveString GetRegistrations(const Crypto::SensitiveString& key);

/// The identities of a list's plain text: "subtenant-id=S1,account-id=4,agent-uuid=A1;", one behind the other. What is no
/// attribute is passed over with a warning; a record without its three attributes, with an empty one or with an account
/// that is no number from 1 up is left out.
std::vector<RegistrationInfo> ParseRegistrations(std::wstring_view text);

/// The plain text of a list. A record with an attribute missing is left out with a warning.
Crypto::SensitiveString SerialiseRegistrations(const std::vector<RegistrationInfo>& registrations);

/// The first identity in the list with exactly this subtenant; an empty record when there is none. An empty `subtenantId`
/// has none, and nothing is read for it.
RegistrationInfo FindRegistration(const std::wstring& subtenantId, const Crypto::SensitiveString& key);

/// Removes the first identity with exactly this subtenant, and writes the list back also when there was none. A list that
/// does not open counts as empty and is thus written empty. Throws as SetRegisteredSubtenantId().
void RemoveRegistration(const std::wstring& subtenantId, const Crypto::SensitiveString& key);

} // namespace Shared::AppSettings
