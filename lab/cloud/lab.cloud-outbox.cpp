#include "lab.cloud-outbox.hpp"

#include "shared.concurrency-functions.hpp"

#include <algorithm>
#include <utility>

namespace Lab::Cloud
{

using Shared::Concurrency::CriticalSection;
using Shared::Time::MonotonicNow;

Outbox::Outbox() : m_stop(false, true), m_pushed(false, false)
{
}

bool Outbox::Push(Parcel parcel, std::chrono::milliseconds delay)
{
    {
        const CriticalSection hold(&m_lock);
        if (m_parcels.size() >= MostWaiting)
        {
            return false;
        }
        m_parcels.emplace(MonotonicNow() + delay, std::move(parcel));
    }
    m_pushed.Signal();
    return true;
}

std::optional<Parcel> Outbox::Take()
{
    while (true)
    {
        if (m_stop.WaitOnEvent(0))
        {
            return std::nullopt;
        }
        if (std::optional<Parcel> parcel = TakeDue())
        {
            return parcel;
        }
        (void)Shared::Concurrency::WaitFor({m_stop.GetHandle(), m_pushed.GetHandle()}, false, UntilDueMs());
    }
}

void Outbox::Stop() noexcept
{
    m_stop.SignalNoThrow();
}

std::optional<Parcel> Outbox::TakeDue()
{
    const CriticalSection hold(&m_lock);
    const auto first = m_parcels.begin();
    if (first == m_parcels.end() || first->first > MonotonicNow())
    {
        return std::nullopt;
    }
    Parcel parcel = std::move(first->second);
    m_parcels.erase(first);
    return parcel;
}

std::uint32_t Outbox::UntilDueMs() const
{
    const CriticalSection hold(&m_lock);
    if (m_parcels.empty())
    {
        return Shared::Time::Infinite;
    }
    constexpr long long LongestMs = 3'600'000;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_parcels.begin()->first - MonotonicNow());
    return static_cast<std::uint32_t>(std::clamp<long long>(left.count(), 0, LongestMs));
}

} // namespace Lab::Cloud
