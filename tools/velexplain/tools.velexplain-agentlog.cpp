#include "tools.velexplain-agentlog.hpp"

#include "shared.log-logger.hpp"

#include <mutex>
#include <utility>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

namespace Tools::VelExplain
{

namespace
{

class ListSink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    std::vector<LogLine> Take()
    {
        const std::scoped_lock hold(mutex_);
        return std::exchange(m_lines, {});
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        m_lines.push_back(
            {static_cast<Shared::Log::Level>(message.level),
             std::string(message.payload.data(), message.payload.size())});
    }

    void flush_() override
    {
    }

private:
    std::vector<LogLine> m_lines;
};

} // namespace

struct AgentLog::State
{
    std::shared_ptr<spdlog::logger> before = Shared::Log::Detail::GetDefaultLogger();
    std::shared_ptr<ListSink> sink = std::make_shared<ListSink>();
};

AgentLog::AgentLog() : m_state(std::make_unique<State>())
{
    auto logger = std::make_shared<spdlog::logger>("velexplain", m_state->sink);
    logger->set_level(spdlog::level::debug);
    Shared::Log::Detail::SetDefaultLogger(std::move(logger));
}

AgentLog::~AgentLog()
{
    Shared::Log::Detail::SetDefaultLogger(m_state->before);
}

std::vector<LogLine> AgentLog::Take()
{
    return m_state->sink->Take();
}

} // namespace Tools::VelExplain
