#pragma once

#include "lab.scenario-scenario.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.time-clock.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Lab::Cloud
{

/// One request that the scenario has a name for, as the cloud saw it.
struct Exchange
{
    RequestKind kind = RequestKind::Startup;
    Shared::Time::MonotonicTime requested{};
    /// When the first of its answers had been sent; nothing when there was none.
    std::optional<Shared::Time::MonotonicTime> answered;
    /// By which name the scenario lists the way of the answer; empty when it was a good one.
    std::string how;
};

/// The exchanges, in the order of the requests. Any thread.
class Exchanges
{
public:
    /// Further ones are not kept.
    static constexpr std::size_t MostKept = 100'000;

    /// Gives what Answer() wants to know; nothing when it is not kept.
    std::optional<std::size_t> Begin(RequestKind kind);
    void Explain(std::size_t exchange, std::string how);
    void Answer(std::size_t exchange);

    std::vector<Exchange> GetAll() const;

private:
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    std::vector<Exchange> m_exchanges VEL_GUARDED_BY(m_lock);
};

} // namespace Lab::Cloud
