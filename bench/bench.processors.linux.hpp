#pragma once

#include <vector>

#include <pthread.h>
#include <sched.h>

namespace Bench
{

/// The processors of the process; restores them for the calling thread at the end.
class Processors
{
public:
    Processors()
    {
        CPU_ZERO(&m_set);
        (void)::pthread_getaffinity_np(::pthread_self(), sizeof m_set, &m_set);
        for (unsigned i = 0; i < CPU_SETSIZE; ++i)
        {
            if (CPU_ISSET(i, &m_set))
            {
                m_numbers.push_back(static_cast<int>(i));
            }
        }
    }

    Processors(const Processors&) = delete;
    Processors& operator=(const Processors&) = delete;

    ~Processors()
    {
        (void)::pthread_setaffinity_np(::pthread_self(), sizeof m_set, &m_set);
    }

    int First() const
    {
        return m_numbers.front();
    }

    int Last() const
    {
        return m_numbers.back();
    }

private:
    cpu_set_t m_set;
    std::vector<int> m_numbers;
};

} // namespace Bench
