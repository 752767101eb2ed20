#include "agentprocess.helpers.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.log-configuration.hpp"
#include "shared.log-functions.hpp"

#include <array>
#include <cstdint>

#include <fmt/format.h>

namespace Agent::Process
{

namespace
{

using Shared::AppSettings::LogTarget;

constexpr std::uint32_t OldestSupportedBuild = 17763;

/// A target, and what the log factory is told for it.
struct LoggerChoice
{
    LogTarget target;
    std::uint32_t kind;
    std::uint32_t kindInDebugMode;
    const char* fileName;
};

constexpr std::array<LoggerChoice, 3> LoggerChoices = {
    {{LogTarget::EventLog, 1, 5, "log.txt"},
     {LogTarget::Console, 2, 2, "log.txt"},
     {LogTarget::FileSystem, 3, 4, "tarvane_vel_agent.log"}}};

/// Given for targets without files of their own; their kinds ignore it.
constexpr std::uint32_t UnusedMaxFiles = 4;
constexpr std::uint32_t UnusedMaxSize = 10'485'760;

} // namespace

void ConfigureLogger(const Shared::AppSettings::AppSettings& settings, bool debug)
{
    const Shared::AppSettings::LogSettings& logging = settings.logging;
    for (const LoggerChoice& choice : LoggerChoices)
    {
        if (choice.target == logging.logTarget)
        {
            const bool hasFiles = choice.target == LogTarget::FileSystem;
            Shared::Log::ConfigureLogging(
                debug ? choice.kindInDebugMode : choice.kind, static_cast<Shared::Log::Level>(logging.minimumLogLevel),
                choice.fileName, hasFiles ? logging.maxLogFiles : UnusedMaxFiles,
                hasFiles ? logging.maxLogFileSize : UnusedMaxSize);
            return;
        }
    }
    throw Shared::Exception::RuntimeException(
        fmt::format("Unsupported LogTarget {}", static_cast<std::uint32_t>(logging.logTarget)));
}

bool IsDebugRequested(int argc, const char* const* argv) noexcept
{
    for (int i = 0; i < argc; ++i)
    {
        if (argv[i] != nullptr && std::string_view(argv[i]) == "-d")
        {
            return true;
        }
    }
    return false;
}

bool IsUnsupportedBuild(std::wstring_view buildNumber) noexcept
{
    std::uint64_t number = 0;
    for (const wchar_t digit : buildNumber)
    {
        if (digit < L'0' || digit > L'9' || number > UINT32_MAX)
        {
            return false;
        }
        number = number * 10 + static_cast<std::uint64_t>(digit - L'0');
    }
    return !buildNumber.empty() && number < OldestSupportedBuild;
}

} // namespace Agent::Process
