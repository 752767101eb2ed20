#pragma once

#include "shared.log-functions.hpp"

#include <memory>

namespace spdlog // NOLINT(readability-identifier-naming): the name is the library's
{
class logger;
} // namespace spdlog

/// The process-wide accessor of the default logger, for the files of this folder and tests: everybody else writes by
/// shared.log-functions.hpp.
namespace Shared::Log::Detail
{

/// The process-wide default logger; before one is set, the logging library's stock logger, which writes to the standard
/// output from level info up. Never null. It lives as long as somebody holds it, so a thread that is still running when
/// the process ends can go on writing. Any thread.
std::shared_ptr<spdlog::logger> GetDefaultLogger();

/// Puts `logger`, which is not null and has its level, in its place. Lines of other threads that are being written at
/// this moment may still go to the one before. Any thread.
void SetDefaultLogger(std::shared_ptr<spdlog::logger> logger);

/// The level of the default logger; takes no lock.
Level GetDefaultLevel() noexcept;

} // namespace Shared::Log::Detail
