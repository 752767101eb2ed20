#include "lab.connector-logpump.hpp"

#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"

#include <string>
#include <utility>
#include <vector>

namespace Lab::Connector
{

namespace
{

using Shared::Concurrency::WaitFor;

} // namespace

LogPump::LogPump(std::unique_ptr<MessageChannel> channel, LogLines& log)
    : m_channel(std::move(channel)), e_log(log), m_stop(false, true), m_mayWrite(false, true), m_thread("lab-log")
{
    m_mayWrite.Signal();
}

LogPump::~LogPump()
{
    Stop();
}

void LogPump::Start()
{
    m_thread.Start([this] { return Run(); });
}

void LogPump::Stop() noexcept
{
    m_stop.SignalNoThrow();
    m_thread.JoinNoThrow(Shared::Time::Infinite);
}

void LogPump::Hold(bool hold)
{
    if (hold)
    {
        m_mayWrite.Reset();
    }
    else
    {
        m_mayWrite.Signal();
    }
}

int LogPump::Run()
{
    constexpr std::uint32_t LastTimeoutMs = 200;
    try
    {
        CarryUntilStop();
        std::string line;
        bool isTaken = !m_isSending || AwaitSent(LastTimeoutMs);
        while (isTaken && e_log.Take(LogLines::Outlet::Pipe, line))
        {
            isTaken = Carry(line, LastTimeoutMs);
        }
    }
    catch (const ChannelError&)
    {
        // Nobody is there to read about it.
    }
    return 0;
}

void LogPump::CarryUntilStop()
{
    const auto waiting = e_log.GetHandle(LogLines::Outlet::Pipe);
    std::string line;
    while (WaitFor({m_stop.GetHandle(), waiting}, false, Shared::Time::Infinite) != 0 &&
           WaitFor({m_stop.GetHandle(), m_mayWrite.GetHandle()}, false, Shared::Time::Infinite) != 0)
    {
        if (e_log.Take(LogLines::Outlet::Pipe, line) && !Carry(line, Shared::Time::Infinite))
        {
            return;
        }
    }
}

/// False when it was not taken in time, or before the stop.
bool LogPump::Carry(const std::string& line, std::uint32_t timeoutMs)
{
    m_channel->StartSend(line);
    m_isSending = true;
    return AwaitSent(timeoutMs);
}

bool LogPump::AwaitSent(std::uint32_t timeoutMs)
{
    std::vector<Shared::Raii::RawHandle> handles = {m_channel->GetSentHandle()};
    if (timeoutMs == Shared::Time::Infinite)
    {
        handles.push_back(m_stop.GetHandle());
    }
    if (WaitFor(handles, false, timeoutMs) != 0)
    {
        return false;
    }
    m_isSending = false;
    m_channel->FinishSend();
    return true;
}

} // namespace Lab::Connector
