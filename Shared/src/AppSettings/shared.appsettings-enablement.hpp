#pragma once

#include "shared.crypto-sensitivestring.hpp"

#include <cstdint>
#include <string>
#include <vector>

/// Whether network tests may run, and the word by which the agent tells its state. All may be called from any thread.
namespace Shared::AppSettings
{

/// The words of the value `status` of the agent key: "disabled", "enabled", "upgrade", "admin-disabled".
enum class AgentStatus : std::uint32_t
{
    Disabled = 0,
    Enabled = 1,
    Upgrade = 2,
    AdminDisabled = 3
};

/// Writes `status`. With `keepUpgrade`, a status of "upgrade" stays. A status that already stands there is not written
/// again, so that the agent does not wake its own watch. Throws the runtime exception "Unknown newStatus value " and the
/// number, and Win32Exception when the value cannot be written, or with `keepUpgrade` when it cannot be read.
void SetStatus(AgentStatus newStatus, bool keepUpgrade);

/// The users for whom no network tests run. None, with a warning in the log, when the list cannot be read.
std::vector<std::wstring> GetDisabledUserNames();

/// Whether a user may have network tests: false, with a line in the log, for the names of GetDisabledUserNames() in any
/// case.
bool CheckUsername(const std::wstring& name);

/// Whether network tests are to run by the user's selection, the server's switch and the user's name; the log tells all of
/// them.
bool EvaluateNetworkTests(bool remoteEnabled, const Crypto::SensitiveString& key);

/// Writes the `status` that follows from the user, the user's selection and the server's switch, and tells whether network
/// tests may run. Throws as SetStatus().
bool UpdateEnablement(bool remoteEnabled, const Crypto::SensitiveString& key);

} // namespace Shared::AppSettings
