#pragma once

#include "lab.net-framing.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.time-clock.hpp"

#include <chrono>
#include <optional>

namespace Lab::Net
{

/// Something that is so for a while. Any thread.
class TimedSwitch
{
public:
    /// On from now on, for `duration`; for good when that is zero. Replaces what was said before.
    void SwitchOn(std::chrono::milliseconds duration);
    bool IsOn() const;

private:
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    bool m_isOn VEL_GUARDED_BY(m_lock) = false;
    /// Nothing: for good.
    std::optional<Shared::Time::MonotonicTime> m_end VEL_GUARDED_BY(m_lock);
};

/// In which bites frames are sent now. Any thread.
class FragmentPlan
{
public:
    void Set(const Fragments& fragments, std::chrono::milliseconds duration);
    Fragments Current() const;

private:
    TimedSwitch m_switch;
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    Fragments m_fragments VEL_GUARDED_BY(m_lock);
};

} // namespace Lab::Net
