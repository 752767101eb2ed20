#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>

namespace Shared::Concurrency::Native
{

/// The timer operations of the platforms. None throws; what fails leaves its code in Shared::Platform::LastError().

/// An unset timer, or null.
Raii::RawHandle CreateTimerObject(bool inheritable, bool manualReset) noexcept;

/// Sets it, with the due time as WaitableTimer has it, in units of the agent's clock.
bool SetTimerObject(Raii::RawHandle handle, std::int64_t dueTime100ns, std::uint32_t periodMs) noexcept;

/// Stops it without clearing an expiry that was not taken.
bool CancelTimerObject(Raii::RawHandle handle) noexcept;

} // namespace Shared::Concurrency::Native
