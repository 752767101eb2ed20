#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include <temporal_value.pb.h>

namespace AgentCore::Polling
{

/// The values that something has had, oldest first, each with the time at which it was seen.
using TemporalStore = std::deque<TemporalValue>;

/// Adds a value to its store, unless it is empty or equal to the newest one; true when it was added.
/// @param name of the store, for the log
/// @param timestamp seconds since 1970
bool RecordTemporal(const std::string& name, const std::string& value, std::int64_t timestamp, TemporalStore& store);

} // namespace AgentCore::Polling
