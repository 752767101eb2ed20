#include "agentcore.polling-temporalvalues.hpp"

#include "shared.log-functions.hpp"

namespace AgentCore::Polling
{

bool RecordTemporal(const std::string& name, const std::string& value, std::int64_t timestamp, TemporalStore& store)
{
    if (value.empty())
    {
        Shared::Log::Debug("Ignoring empty temporal {}...", name);
        return false;
    }
    if (!store.empty() && store.back().value() == value)
    {
        return false;
    }
    TemporalValue entry;
    entry.set_timestamp(timestamp);
    entry.set_value(value);
    store.push_back(std::move(entry));
    return true;
}

} // namespace AgentCore::Polling
