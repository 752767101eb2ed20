#pragma once

#include "shared.log-functions.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>

namespace Shared::Log
{

/// Where lines go: the numbers of ConfigureLogging's kinds. A kind of two writes each line to both, in this order.
enum class LoggerKind : std::uint32_t
{
    Null = 0,
    EventLog = 1,
    Console = 2,
    File = 3,
    ConsoleAndFile = 4,
    ConsoleAndEventLog = 5
};

/// Builds the logger named "default", makes it the process's default logger, sets `level` on all loggers and has them
/// flushed every 5 seconds. To be called before other threads log; calling it again replaces the logger.
///
/// The console is the standard output, in colours where it is a terminal. The file is `fileName` (UTF-8) in the
/// directory of the running executable, rotated as rotating_file_sink says, at `maxSize` bytes and with `maxFiles` older
/// ones beside it; kinds without a file take no notice of these three. A file that cannot be opened is no failure here:
/// it is tried again while the agent runs, and each line that is lost meanwhile is reported on the standard error
/// stream.
///
/// Throws the runtime exception "Unsupported LogTarget" for any other kind, and what the sink says of a `maxSize` of 0
/// or of more than 200000 files; the default logger is then the one before.
void ConfigureLogging(
    std::uint32_t kind, Level level, std::string_view fileName, std::size_t maxFiles, std::size_t maxSize);

/// The same with the file in `directory`.
void ConfigureLogging(
    std::uint32_t kind,
    Level level,
    std::string_view fileName,
    std::size_t maxFiles,
    std::size_t maxSize,
    const std::filesystem::path& directory);

/// Flushes what was logged and ends the periodic flushing. The last thing that a process does with the logger; threads
/// that are still alive may go on logging, each of their lines is then flushed at once. Safe to call twice and without
/// a configuration. Any thread.
void ShutDown() noexcept;

} // namespace Shared::Log
