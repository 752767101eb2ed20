#include "shared.log-eventsink.hpp"

#include <array>
#include <mutex>
#include <string>
#include <string_view>

#include <fmt/format.h>
#include <spdlog/sinks/base_sink.h>

// The place of the call would be that of this file, for all lines.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

namespace Shared::Log
{

namespace
{

constexpr const char* JournalSocket = "/run/systemd/journal/socket";

/// Of the levels from trace to off.
constexpr std::array<int, spdlog::level::n_levels> Priorities = {LOG_DEBUG, LOG_DEBUG, LOG_INFO, LOG_WARNING,
                                                                 LOG_ERR,   LOG_CRIT,  LOG_INFO};

iovec FieldOf(std::string& text)
{
    return {text.data(), text.size()};
}

class JournalSink final : public spdlog::sinks::base_sink<std::mutex>
{
protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        // The journal's own function keeps silent when there is no journal.
        if (::access(JournalSocket, F_OK) != 0)
        {
            spdlog::throw_spdlog_ex("Failed writing to the journal: there is none");
        }
        std::string text = "MESSAGE=";
        text += FormattedLine(message);
        std::string priority = fmt::format("PRIORITY={}", Priorities.at(static_cast<std::size_t>(message.level)));
        std::string identifier = "SYSLOG_IDENTIFIER=Tarvane VEL";
        const std::array<iovec, 3> fields = {FieldOf(text), FieldOf(priority), FieldOf(identifier)};
        if (const int result = ::sd_journal_sendv(fields.data(), static_cast<int>(fields.size())); result != 0)
        {
            spdlog::throw_spdlog_ex("Failed writing to the journal", -result);
        }
    }

    void flush_() override
    {
    }

private:
    /// An entry needs no line end.
    std::string FormattedLine(const spdlog::details::log_msg& message)
    {
        spdlog::memory_buf_t formatted;
        formatter_->format(message, formatted);
        std::string_view line(formatted.data(), formatted.size());
        while (line.ends_with('\n') || line.ends_with('\r'))
        {
            line.remove_suffix(1);
        }
        return std::string(line);
    }
};

} // namespace

std::shared_ptr<spdlog::sinks::sink> MakeEventSink()
{
    return std::make_shared<JournalSink>();
}

} // namespace Shared::Log
