#include "shared.log-memorylog.hpp"

#include "shared.log-logger.hpp"

#include <mutex>
#include <utility>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

namespace Shared::Log
{

namespace
{

class MemorySink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    std::vector<MemoryLog::Line> Lines()
    {
        const std::scoped_lock hold(mutex_);
        return m_lines;
    }

    std::vector<MemoryLog::Line> Take()
    {
        const std::scoped_lock hold(mutex_);
        return std::exchange(m_lines, {});
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        m_lines.push_back(
            {static_cast<Level>(message.level), std::string(message.payload.data(), message.payload.size())});
    }

    void flush_() override
    {
    }

private:
    std::vector<MemoryLog::Line> m_lines;
};

} // namespace

struct MemoryLog::State
{
    std::shared_ptr<spdlog::logger> before = Detail::GetDefaultLogger();
    std::shared_ptr<MemorySink> sink = std::make_shared<MemorySink>();
};

MemoryLog::MemoryLog(Level level) : m_state(std::make_unique<State>())
{
    auto logger = std::make_shared<spdlog::logger>("memory", m_state->sink);
    logger->set_level(static_cast<spdlog::level::level_enum>(level));
    Detail::SetDefaultLogger(std::move(logger));
}

MemoryLog::~MemoryLog()
{
    Detail::SetDefaultLogger(m_state->before);
}

std::vector<MemoryLog::Line> MemoryLog::Lines() const
{
    return m_state->sink->Lines();
}

std::vector<MemoryLog::Line> MemoryLog::Take()
{
    return m_state->sink->Take();
}

} // namespace Shared::Log
