#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>

namespace Shared::Raii::Native
{

/// What being readable means for a descriptor, and what a successful wait takes from it.
enum class WaitMode : std::uint8_t
{
    /// Signalled while readable; a wait takes nothing: manual-reset events and timers, processes, threads.
    Latch = 0,
    /// A wait reads the 8-byte counter, so that exactly one waiter has it: automatic-reset eventfd and timerfd.
    TakeCounter = 1,
    /// A wait empties the FIFO, so that exactly one waiter has it: automatic-reset named event.
    TakeFifo = 2,
    /// Latch over a FIFO, which has a limited size and must be looked at before it is signalled: manual-reset named event.
    LatchFifo = 3
};

/// Whether a wait takes nothing.
constexpr bool IsLatch(WaitMode mode) noexcept
{
    return mode == WaitMode::Latch || mode == WaitMode::LatchFifo;
}

/// What a handle allows beyond waiting.
enum class Access : std::uint8_t
{
    Full = 0,
    /// Opened for waiting alone: signalling and resetting are refused.
    WaitOnly = 1
};

/// Packs a descriptor into a handle; a negative descriptor gives null. Ownership goes with the handle.
RawHandle FromDescriptor(int descriptor, WaitMode mode = WaitMode::Latch, Access access = Access::Full) noexcept;

/// The descriptor inside a handle, or -1 for none.
int DescriptorOf(RawHandle handle) noexcept;

WaitMode WaitModeOf(RawHandle handle) noexcept;

Access AccessOf(RawHandle handle) noexcept;

} // namespace Shared::Raii::Native
