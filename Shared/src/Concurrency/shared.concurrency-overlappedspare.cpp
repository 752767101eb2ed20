#include "shared.concurrency-overlappedspare.hpp"

#include <utility>

namespace Shared::Concurrency
{

std::vector<std::uint8_t> OverlappedSpare::Take(std::size_t size) noexcept
{
    if (size < Smallest)
    {
        return {};
    }
    const std::scoped_lock hold(m_lock);
    return m_buffer.capacity() >= size ? std::exchange(m_buffer, {}) : std::vector<std::uint8_t>();
}

void OverlappedSpare::Give(std::vector<std::uint8_t> buffer) noexcept
{
    if (buffer.capacity() < Smallest || buffer.capacity() > Largest)
    {
        return;
    }
    // What is not kept is freed without the lock, with the parameter.
    const std::scoped_lock hold(m_lock);
    if (buffer.capacity() > m_buffer.capacity())
    {
        m_buffer.swap(buffer);
    }
}

Event OverlappedSpare::TakeEvent() noexcept
{
    const std::scoped_lock hold(m_lock);
    return std::move(m_event);
}

void OverlappedSpare::GiveEvent(Event event) noexcept
{
    const std::scoped_lock hold(m_lock);
    if (!m_event.HasHandle())
    {
        m_event = std::move(event);
    }
}

} // namespace Shared::Concurrency
