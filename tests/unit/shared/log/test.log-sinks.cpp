#include "test.log-sinks.hpp"

#include <stdexcept>
#include <thread>
#include <utility>

#include <spdlog/logger.h>

#include "shared.log-logger.hpp"
#include "test.log-capturedstream.hpp"

namespace LogTests
{

std::vector<Record> RecordingSink::Records()
{
    const std::scoped_lock hold(mutex_);
    return m_records;
}

void RecordingSink::sink_it_(const spdlog::details::log_msg& message)
{
    m_records.push_back(
        {static_cast<Shared::Log::Level>(message.level), message.time,
         std::string(message.logger_name.data(), message.logger_name.size()),
         std::string(message.payload.data(), message.payload.size())});
}

void RecordingSink::flush_()
{
}

ThrowingSink::ThrowingSink(What what) : m_what(what)
{
}

void ThrowingSink::sink_it_(const spdlog::details::log_msg& /*message*/)
{
    if (m_what == What::Number)
    {
        throw 42; // NOLINT(hicpp-exception-baseclass)
    }
    throw std::runtime_error("the sink is full");
}

void ThrowingSink::flush_()
{
}

ReplacedLogger::ReplacedLogger(std::vector<spdlog::sink_ptr> sinks, Shared::Log::Level level)
    : m_before(Shared::Log::Detail::GetDefaultLogger())
{
    auto logger = std::make_shared<spdlog::logger>("test", sinks.begin(), sinks.end());
    logger->set_level(static_cast<spdlog::level::level_enum>(level));
    Shared::Log::Detail::SetDefaultLogger(std::move(logger));
}

ReplacedLogger::~ReplacedLogger()
{
    Shared::Log::Detail::SetDefaultLogger(m_before);
}

std::string ReportOfFailure()
{
    CapturedStream errors(CapturedStream::Which::Error);
    constexpr int Attempts = 400;
    for (int i = 0; i < Attempts && errors.Text().find('\n') == std::string::npos; ++i)
    {
        Shared::Log::Write(Shared::Log::Level::Error, "a line that is lost");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return errors.Finish();
}

} // namespace LogTests
