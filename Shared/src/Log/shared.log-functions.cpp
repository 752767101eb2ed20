#include "shared.log-functions.hpp"

#include <chrono>

#include <spdlog/logger.h>

#include "shared.exception-sourcelocation.hpp"
#include "shared.log-logger.hpp"
#include "shared.time-clock.hpp"

namespace Shared::Log
{

namespace
{

using Exception::SourceLocation;

/// In the ticks of the logging library, which are coarser than ours.
spdlog::log_clock::time_point Now() noexcept
{
    return std::chrono::time_point_cast<spdlog::log_clock::duration>(Time::UtcNow());
}

/// Where there is no memory for the finished line, the text alone may still find its way.
template <typename Build>
void WriteBuilt(Level level, std::string_view text, const Build& build) noexcept
{
    if (!IsEnabled(level))
    {
        return;
    }
    try
    {
        Write(level, build());
    }
    catch (const std::exception&)
    {
        Write(level, text);
    }
}

std::string ExceptionLine(std::string_view text, const std::exception& exception, const std::source_location& where)
{
    const SourceLocation at(where);
    return fmt::format(
        "Exception logged in function {}() of file {}:{}:{} ---> {}.\nException information ---> {}", at.function,
        at.file, at.line, at.column, text, exception.what());
}

std::string PlaceLine(std::string_view text, const SourceLocation& at)
{
    return fmt::format(
        "Error in function {}() of file {}:{}:{} ---> {}", at.function, at.file, at.line, at.column, text);
}

} // namespace

bool IsEnabled(Level level) noexcept
{
    return level >= Detail::GetDefaultLevel() && level < Level::Off;
}

void Write(Level level, std::string_view line) noexcept
{
    if (!IsEnabled(level))
    {
        return;
    }
    try
    {
        Detail::GetDefaultLogger()->log(
            Now(), spdlog::source_loc{}, static_cast<spdlog::level::level_enum>(level),
            spdlog::string_view_t(line.data(), line.size()));
    }
    catch (...)
    {
        // The logger has reported what a sink threw; what is left is that there was no memory for that.
    }
}

void LogException(std::string_view text, const std::exception& exception, const std::source_location& where) noexcept
{
    WriteBuilt(Level::Error, text, [&] { return ExceptionLine(text, exception, where); });
}

void LogExceptionWarning(
    std::string_view text, const std::exception& exception, const std::source_location& where) noexcept
{
    WriteBuilt(Level::Warning, text, [&] { return ExceptionLine(text, exception, where); });
}

void LogErrorAt(std::string_view text, const std::source_location& where) noexcept
{
    WriteBuilt(Level::Error, text, [&] { return PlaceLine(text, SourceLocation(where)); });
}

void LogWarningAt(std::string_view text, const SourceLocation& where) noexcept
{
    WriteBuilt(Level::Warning, text, [&] { return PlaceLine(text, where); });
}

} // namespace Shared::Log
