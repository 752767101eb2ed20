#pragma once

#include <memory>

namespace spdlog::sinks // NOLINT(readability-identifier-naming): the name is the library's
{
class sink;
} // namespace spdlog::sinks

namespace Shared::Log
{

/// A sink that hands each finished line to the system's own log, under the name "Tarvane VEL". Any thread may log to it.
///
/// Windows: the event log, event id 0, with the type of the line's level.
/// Linux: the journal, with the priority of the line's level. Where no journal runs, as in most containers, the line is
/// lost, which is reported on the standard error stream as for every sink that fails; it is tried again with each line.
///
/// Throws only for lack of memory: the log is opened with the first line.
std::shared_ptr<spdlog::sinks::sink> MakeEventSink();

} // namespace Shared::Log
