#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Shared::System
{

/// The machine's identity out of the text of /etc/machine-id, which has 32 hexadecimal digits and a line end. Nothing for
/// any other text ("uninitialized", as a machine says at its first start) and for digits that are all 0.
std::optional<std::wstring> ParseMachineId(std::string_view text);

} // namespace Shared::System
