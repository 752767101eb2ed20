#pragma once

#include "lab.wire-envelope.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.time-clock.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace Lab::Cloud
{

/// An envelope that is to go out, once or many times.
struct Parcel
{
    Wire::Envelope envelope;
    std::uint64_t copies = 1;
    /// It goes out even while the cloud answers nothing: a link is no answer.
    bool isGreeting = false;
    /// Which of the cloud's exchanges it answers.
    std::optional<std::size_t> exchange = std::nullopt;
};

/// What a link has to send, and when. Parcels of one time go in the order in which they came. Any thread may push, one
/// takes.
class Outbox
{
public:
    static constexpr std::size_t MostWaiting = 10'000;

    Outbox();

    /// False when too many wait already.
    bool Push(Parcel parcel, std::chrono::milliseconds delay = {});
    /// Waits for a parcel whose time has come; nothing once Stop() was called.
    std::optional<Parcel> Take();
    /// Any thread, safe to repeat.
    void Stop() noexcept;

private:
    std::optional<Parcel> TakeDue();
    std::uint32_t UntilDueMs() const;

    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    std::multimap<Shared::Time::MonotonicTime, Parcel> m_parcels VEL_GUARDED_BY(m_lock);
    Shared::Concurrency::Event m_stop;
    /// Automatic reset: something was pushed.
    Shared::Concurrency::Event m_pushed;
};

} // namespace Lab::Cloud
