#include "shared.log-configuration.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-eventsink.hpp"
#include "shared.log-logger.hpp"
#include "shared.log-rotatingfilesink.hpp"
#include "shared.util-functions.hpp"

namespace Shared::Log
{

namespace
{

constexpr const char* LoggerName = "default";
constexpr std::chrono::seconds FlushPeriod{5};

enum class SinkType
{
    None,
    Null,
    EventLog,
    Console,
    RotatingFile
};

/// By kind, the sinks in their order.
constexpr std::array<std::array<SinkType, 2>, 6> SinksOfKinds = {{
    {SinkType::Null, SinkType::None},
    {SinkType::EventLog, SinkType::None},
    {SinkType::Console, SinkType::None},
    {SinkType::RotatingFile, SinkType::None},
    {SinkType::Console, SinkType::RotatingFile},
    {SinkType::Console, SinkType::EventLog},
}};

struct FileSettings
{
    std::filesystem::path path;
    std::size_t maxFiles;
    std::size_t maxSize;
};

spdlog::sink_ptr MakeSink(SinkType type, const FileSettings& file)
{
    switch (type)
    {
    case SinkType::EventLog:
        return MakeEventSink();
    case SinkType::Console:
        return std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
    case SinkType::RotatingFile:
        return std::make_shared<sinks::rotating_file_sink<std::mutex>>(file.path, file.maxSize, file.maxFiles);
    case SinkType::Null:
    case SinkType::None:
        break;
    }
    return std::make_shared<spdlog::sinks::null_sink_mt>();
}

std::vector<spdlog::sink_ptr> MakeSinks(std::uint32_t kind, const FileSettings& file)
{
    std::vector<spdlog::sink_ptr> sinks;
    for (const auto type : SinksOfKinds.at(kind))
    {
        if (type != SinkType::None)
        {
            sinks.push_back(MakeSink(type, file));
        }
    }
    return sinks;
}

std::filesystem::path PathOf(std::string_view utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

void Install(std::shared_ptr<spdlog::logger> logger, Level level)
{
    // A level from outside may be any number; all from this one up log nothing.
    spdlog::set_default_logger(logger);
    spdlog::set_level(static_cast<spdlog::level::level_enum>(std::min(level, Level::Off)));
    Detail::SetDefaultLogger(std::move(logger));
    spdlog::flush_every(FlushPeriod);
}

} // namespace

void ConfigureLogging(
    std::uint32_t kind, Level level, std::string_view fileName, std::size_t maxFiles, std::size_t maxSize)
{
    const std::string directory = Util::ConvertStringType(Util::GetCurrentExecutableDirectory());
    ConfigureLogging(kind, level, fileName, maxFiles, maxSize, PathOf(directory));
}

void ConfigureLogging(
    std::uint32_t kind,
    Level level,
    std::string_view fileName,
    std::size_t maxFiles,
    std::size_t maxSize,
    const std::filesystem::path& directory)
{
    if (kind >= SinksOfKinds.size())
    {
        throw Exception::RuntimeException("Unsupported LogTarget");
    }
    const auto sinks = MakeSinks(kind, FileSettings{directory / PathOf(fileName), maxFiles, maxSize});
    Install(std::make_shared<spdlog::logger>(LoggerName, sinks.begin(), sinks.end()), level);
}

void ShutDown() noexcept
{
    try
    {
        const auto logger = Detail::GetDefaultLogger();
        logger->flush_on(spdlog::level::trace);
        spdlog::shutdown();
        logger->flush();
    }
    catch (...)
    {
        // The process ends; there is nobody left to tell.
    }
}

} // namespace Shared::Log
