#pragma once

#include "shared.concurrency-event.hpp"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace Shared::Concurrency
{

/// What operations that are over have left for the next ones: the buffer of a long one, as to get that much memory from the
/// system anew and to give it back costs several times what moving a message costs, and an event. One of each, and no very
/// large buffer, so that little stays behind.
///
/// Any thread.
class OverlappedSpare
{
public:
    /// Buffers of less are cheap, and of more would be too much to keep; bytes.
    static constexpr std::size_t Smallest = 64UL * 1024;
    static constexpr std::size_t Largest = 2UL * 1024 * 1024;

    /// A buffer that has room for `size` bytes and any size and content, or an empty one.
    std::vector<std::uint8_t> Take(std::size_t size) noexcept;
    /// Keeps the buffer instead of a smaller one, or frees it.
    void Give(std::vector<std::uint8_t> buffer) noexcept;

    /// An event that is not signalled, or none, without a handle.
    Event TakeEvent() noexcept;
    /// Keeps the event, or closes it when there is one.
    /// @param event manual-reset, unnamed, not signalled, and nobody is about to signal it
    void GiveEvent(Event event) noexcept;

private:
    std::mutex m_lock;
    // Both under m_lock.
    std::vector<std::uint8_t> m_buffer;
    Event m_event;
};

} // namespace Shared::Concurrency
