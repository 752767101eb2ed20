#pragma once

#include "shared.log-functions.hpp"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/common.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

namespace LogTests
{

struct Record
{
    Shared::Log::Level level;
    std::chrono::system_clock::time_point time;
    std::string logger;
    std::string text;
};

/// Keeps what comes to it.
class RecordingSink final : public spdlog::sinks::base_sink<std::mutex>
{
public:
    std::vector<Record> Records();

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    std::vector<Record> m_records;
};

/// Throws for every line.
class ThrowingSink final : public spdlog::sinks::base_sink<std::mutex>
{
public:
    enum class What
    {
        Exception,
        Number
    };

    explicit ThrowingSink(What what);

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    What m_what;
};

/// From construction to destruction a logger "test" with these sinks is the process's default logger.
class ReplacedLogger
{
public:
    ReplacedLogger(std::vector<spdlog::sink_ptr> sinks, Shared::Log::Level level);
    ReplacedLogger(const ReplacedLogger&) = delete;
    ReplacedLogger& operator=(const ReplacedLogger&) = delete;
    ~ReplacedLogger();

private:
    std::shared_ptr<spdlog::logger> m_before;
};

/// The logging library reports one failure in a second. Writes lines until the captured standard error stream shows a
/// report that was not there before the call, and gives the whole text.
std::string ReportOfFailure();

} // namespace LogTests
