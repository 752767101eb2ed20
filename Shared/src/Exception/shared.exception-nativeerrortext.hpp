#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// The platform's message tables. UTF-8, as the table has the text, line ends included; empty when there is none.
/// Never throws but for lack of memory. Any thread. For the callers, see shared.exception-errortext.hpp.
namespace Shared::Exception::Native
{

/// Windows: the system's table, language-neutral. Linux: the texts of Shared::Platform::ErrorCode, then those of errno.
std::string SystemErrorText(std::uint32_t code);

/// Windows: the table of winhttp.dll. Linux: always empty, nothing there gives such codes.
std::string WinHttpErrorText(std::uint32_t code);

/// Windows: the table of ntdll.dll, nothing when that cannot be loaded. Linux: a table of our own.
std::optional<std::string> NtStatusText(std::uint32_t status);

} // namespace Shared::Exception::Native
