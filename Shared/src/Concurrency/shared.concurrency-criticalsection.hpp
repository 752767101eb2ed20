#pragma once

#include "shared.concurrency-annotations.hpp"

#include <mutex>

namespace Shared::Concurrency
{

/// A re-entrant lock: the thread that holds it may enter it again and leaves it as often. No spinning.
class VEL_CAPABILITY("mutex") SystemCriticalSection
{
public:
    SystemCriticalSection() = default;
    SystemCriticalSection(const SystemCriticalSection&) = delete;
    SystemCriticalSection& operator=(const SystemCriticalSection&) = delete;
    ~SystemCriticalSection() = default;

    void Enter() VEL_ACQUIRE()
    {
        m_mutex.lock();
    }

    void Leave() VEL_RELEASE()
    {
        m_mutex.unlock();
    }

private:
    std::recursive_mutex m_mutex;
};

/// Holds a critical section from its construction to its destruction.
class VEL_SCOPED_CAPABILITY CriticalSection
{
public:
    /// @param section not null, and alive as long as this guard.
    explicit CriticalSection(SystemCriticalSection* section) VEL_ACQUIRE(section) : e_section(section)
    {
        e_section->Enter();
    }

    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    ~CriticalSection() VEL_RELEASE()
    {
        e_section->Leave();
    }

private:
    SystemCriticalSection* e_section;
};

/// Owns one critical section, for classes that hand out its address.
class CriticalSectionWrapper
{
public:
    CriticalSectionWrapper() = default;
    CriticalSectionWrapper(const CriticalSectionWrapper&) = delete;
    CriticalSectionWrapper& operator=(const CriticalSectionWrapper&) = delete;
    ~CriticalSectionWrapper() = default;

    /// Never null; owned here.
    SystemCriticalSection* Get() noexcept
    {
        return &m_section;
    }

private:
    SystemCriticalSection m_section;
};

} // namespace Shared::Concurrency
