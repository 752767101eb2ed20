#pragma once

#include <cstdint>
#include <exception>
#include <source_location>
#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

namespace Shared::Exception
{
struct SourceLocation;
} // namespace Shared::Exception

namespace Shared::Log
{

/// Levels of log lines, with the logging library's numbers.
enum class Level : std::uint32_t
{
    Trace = 0,
    Debug = 1,
    Info = 2,
    Warning = 3,
    Error = 4,
    Critical = 5,
    Off = 6
};

/// Whether a line of this level would reach a sink. Any thread.
bool IsEnabled(Level level) noexcept;

/// Writes one finished line to the process's default logger. Never throws: what a sink throws is printed to the
/// standard error stream in the form "[*** LOG ERROR #0001 ***] [time] [logger] {text}". Any thread, also after
/// ShutDown().
void Write(Level level, std::string_view line) noexcept;

/// Formats and writes a line at the level of the function's name. Nothing is formatted when the level is off.
template <typename... Args>
void Debug(fmt::format_string<Args...> format, Args&&... args)
{
    if (IsEnabled(Level::Debug))
    {
        Write(Level::Debug, fmt::format(format, std::forward<Args>(args)...));
    }
}

template <typename... Args>
void Info(fmt::format_string<Args...> format, Args&&... args)
{
    if (IsEnabled(Level::Info))
    {
        Write(Level::Info, fmt::format(format, std::forward<Args>(args)...));
    }
}

template <typename... Args>
void Warn(fmt::format_string<Args...> format, Args&&... args)
{
    if (IsEnabled(Level::Warning))
    {
        Write(Level::Warning, fmt::format(format, std::forward<Args>(args)...));
    }
}

template <typename... Args>
void Error(fmt::format_string<Args...> format, Args&&... args)
{
    if (IsEnabled(Level::Error))
    {
        Write(Level::Error, fmt::format(format, std::forward<Args>(args)...));
    }
}

/// Logs a caught exception at level error, with the place that caught it: "Exception logged in function {}() of file
/// {}:{}:{} ---> {}.\nException information ---> {}" with function, file, line, column, text and what(). Never throws.
void LogException(
    std::string_view text,
    const std::exception& exception,
    const std::source_location& where = std::source_location::current()) noexcept;

/// The same at level warning.
void LogExceptionWarning(
    std::string_view text,
    const std::exception& exception,
    const std::source_location& where = std::source_location::current()) noexcept;

/// Logs a failure for which nothing was thrown, at level error: "Error in function {}() of file {}:{}:{} ---> {}" with
/// function, file, line, column and text. Never throws.
void LogErrorAt(std::string_view text, const std::source_location& where = std::source_location::current()) noexcept;

/// The same line at level warning, for a place that is not named after the function around it.
void LogWarningAt(std::string_view text, const Exception::SourceLocation& where) noexcept;

} // namespace Shared::Log
