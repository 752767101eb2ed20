#include "lab.net-timedswitch.hpp"

namespace Lab::Net
{

using Shared::Concurrency::CriticalSection;

void TimedSwitch::SwitchOn(std::chrono::milliseconds duration)
{
    const CriticalSection hold(&m_lock);
    m_isOn = true;
    m_end.reset();
    if (duration.count() > 0)
    {
        m_end = Shared::Time::MonotonicNow() + duration;
    }
}

bool TimedSwitch::IsOn() const
{
    const CriticalSection hold(&m_lock);
    return m_isOn && (!m_end || Shared::Time::MonotonicNow() < *m_end);
}

void FragmentPlan::Set(const Fragments& fragments, std::chrono::milliseconds duration)
{
    const CriticalSection hold(&m_lock);
    m_fragments = fragments;
    m_switch.SwitchOn(duration);
}

Fragments FragmentPlan::Current() const
{
    const CriticalSection hold(&m_lock);
    return m_switch.IsOn() ? m_fragments : Fragments{};
}

} // namespace Lab::Net
