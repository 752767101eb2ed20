#pragma once

#include <atomic>
#include <cstdint>

namespace Shared::Concurrency::Native
{

/// What a thread wrote before it signalled, the woken thread may read. The kernel sees to that; the language does not
/// know it, because a descriptor that is polled and never read orders nothing for it. This pair says it: every signal
/// publishes, every satisfied wait observes.
inline std::atomic<std::uint32_t> SignalOrder{0};

inline void PublishSignal() noexcept
{
    SignalOrder.fetch_add(1, std::memory_order_release);
}

inline void ObserveSignal() noexcept
{
    (void)SignalOrder.load(std::memory_order_acquire);
}

} // namespace Shared::Concurrency::Native
