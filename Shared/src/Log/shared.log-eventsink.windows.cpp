#include "shared.log-eventsink.hpp"

#include "shared.platform-windows.windows.hpp"

// The sink uses this header without including it.
#include <spdlog/details/os.h>

#include <spdlog/sinks/win_eventlog_sink.h>

namespace Shared::Log
{

std::shared_ptr<spdlog::sinks::sink> MakeEventSink()
{
    constexpr WORD EventId = 0;
    return std::make_shared<spdlog::sinks::win_eventlog_sink_mt>("Tarvane VEL", EventId);
}

} // namespace Shared::Log
