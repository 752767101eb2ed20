#pragma once

#include <optional>
#include <string>

namespace Shared::System
{

/// The machine's identity as the system keeps it apart from the registry, in the form of a GUID without braces and in lower
/// case: "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0". Linux: /etc/machine-id. Windows keeps it in the registry alone, so there
/// it is never found here. Nothing when it cannot be read or is none. Any thread.
std::optional<std::wstring> ReadMachineId();

} // namespace Shared::System
