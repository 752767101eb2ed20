#include "lab.cloud-exchanges.hpp"

#include <utility>

namespace Lab::Cloud
{

using Shared::Concurrency::CriticalSection;
using Shared::Time::MonotonicNow;

std::optional<std::size_t> Exchanges::Begin(RequestKind kind)
{
    const CriticalSection hold(&m_lock);
    if (m_exchanges.size() >= MostKept)
    {
        return std::nullopt;
    }
    m_exchanges.push_back({kind, MonotonicNow(), std::nullopt, {}});
    return m_exchanges.size() - 1;
}

void Exchanges::Explain(std::size_t exchange, std::string how)
{
    const CriticalSection hold(&m_lock);
    m_exchanges.at(exchange).how = std::move(how);
}

void Exchanges::Answer(std::size_t exchange)
{
    const CriticalSection hold(&m_lock);
    Exchange& answered = m_exchanges.at(exchange);
    if (!answered.answered)
    {
        answered.answered = MonotonicNow();
    }
}

std::vector<Exchange> Exchanges::GetAll() const
{
    const CriticalSection hold(&m_lock);
    return m_exchanges;
}

} // namespace Lab::Cloud
