#pragma once

#include <string_view>

namespace Shared::Platform
{

/// Writes `text` to the process's standard error stream as UTF-8, in one write to the descriptor and past the C and C++
/// streams: one wide line would turn their standard error stream wide, and every narrow line after it (the logger's
/// among them) would be lost. Add the line end yourself. Adds nothing, loses the text silently when there is no such
/// stream. Any thread; never throws, so that destructors may use it. Leaves LastError() as it was.
void PrintToStandardError(std::wstring_view text) noexcept;

/// The same for text that is UTF-8 already.
void PrintToStandardError(std::string_view text) noexcept;

} // namespace Shared::Platform
