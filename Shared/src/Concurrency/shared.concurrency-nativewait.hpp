#pragma once

#include "shared.raii-nativehandle.hpp"

#include <cstdint>
#include <span>

namespace Shared::Concurrency::Native
{

enum class WaitStatus : std::uint8_t
{
    Signalled,
    Timeout,
    IoCompletion,
    /// A thread ended without releasing what it owned. Only Windows has such objects.
    Abandoned,
    Failed
};

struct WaitResult
{
    WaitStatus status;
    /// Lowest signalled index; meaningful for Signalled of a wait for any.
    std::uint32_t index;
    /// System error code; meaningful for Failed.
    std::uint32_t error;
};

/// The one wait behind every wait of the agent, with a body for each platform.
/// @param handles 1 to 64 handles, none null.
/// @param timeoutMs milliseconds of the agent's clock, Shared::Time::Infinite for none.
/// Never throws. Any thread.
WaitResult Wait(
    std::span<const Raii::RawHandle> handles, bool waitAll, std::uint32_t timeoutMs, bool alertable) noexcept;

} // namespace Shared::Concurrency::Native
