#pragma once

#include <cstdint>
#include <string>

namespace Shared::Exception
{

/// The platform's text for an error code, language-neutral, UTF-8, without trailing line ends.
/// Windows: codes 12000 to 12192 come from the message table of winhttp.dll, all others from the system's.
/// Linux: our own texts for the codes of Shared::Platform::ErrorCode, errno descriptions for the rest; there is no table
/// for 12000 to 12192. A code without a text gives "Failed to translate Win32 error code: " and the number in decimal.
/// Leaves LastError() as it was. Never throws but for lack of memory. Any thread.
std::string TranslateWin32Error(std::uint32_t code);

/// The same for an NT status, from the message table of ntdll.dll; one that cannot be opened gives
/// ": could not load ntdll.dll". On Linux the statuses that the pipe operations produce have texts of our own.
std::string TranslateNtStatus(std::uint32_t status);

} // namespace Shared::Exception
