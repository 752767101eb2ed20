#pragma once

#include "lab.connector-channel.hpp"
#include "lab.connector-log.hpp"
#include "shared.concurrency-event.hpp"
#include "shared.concurrency-thread.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace Lab::Connector
{

/// Carries the connector's lines to the agent's log pipe, one line a message, on a thread of its own. When the pipe is
/// broken it ends quietly: the message pipe is the one that decides.
class LogPump
{
public:
    /// `log` must outlive the pump.
    LogPump(std::unique_ptr<MessageChannel> channel, LogLines& log);
    LogPump(const LogPump&) = delete;
    LogPump& operator=(const LogPump&) = delete;
    /// Stops it.
    ~LogPump();

    void Start();
    /// Lines that wait are still written, as long as the agent takes them at once. Safe to repeat.
    void Stop() noexcept;
    /// While the connector hangs nothing is written.
    void Hold(bool hold);

private:
    int Run();
    void CarryUntilStop();
    bool Carry(const std::string& line, std::uint32_t timeoutMs);
    bool AwaitSent(std::uint32_t timeoutMs);

    std::unique_ptr<MessageChannel> m_channel;
    LogLines& e_log;
    Shared::Concurrency::Event m_stop;
    /// Signalled unless held.
    Shared::Concurrency::Event m_mayWrite;
    /// On the pump's thread.
    bool m_isSending = false;
    Shared::Concurrency::Thread m_thread;
};

} // namespace Lab::Connector
