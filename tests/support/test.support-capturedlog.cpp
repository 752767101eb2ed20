#include "test.support-capturedlog.hpp"

#include "shared.log-logger.hpp"

#include <algorithm>
#include <mutex>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>

namespace TestSupport
{

namespace
{

class MemorySink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    std::vector<CapturedLog::Line> Lines()
    {
        const std::scoped_lock hold(mutex_);
        return m_lines;
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
    std::vector<CapturedLog::Line> m_lines;
};

} // namespace

struct CapturedLog::State
{
    std::shared_ptr<spdlog::logger> before = Shared::Log::Detail::GetDefaultLogger();
    std::shared_ptr<MemorySink> sink = std::make_shared<MemorySink>();
};

CapturedLog::CapturedLog() : m_state(std::make_unique<State>())
{
    auto logger = std::make_shared<spdlog::logger>("captured", m_state->sink);
    logger->set_level(spdlog::level::trace);
    Shared::Log::Detail::SetDefaultLogger(std::move(logger));
}

CapturedLog::~CapturedLog()
{
    Shared::Log::Detail::SetDefaultLogger(m_state->before);
}

std::vector<CapturedLog::Line> CapturedLog::Lines() const
{
    return m_state->sink->Lines();
}

std::size_t CapturedLog::Count(Shared::Log::Level level, std::string_view part) const
{
    const std::vector<Line> lines = Lines();
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(),
        [&](const Line& line) { return line.level == level && line.text.find(part) != std::string::npos; }));
}

} // namespace TestSupport
