#include "lab.connector-cloudlink.hpp"

#include "lab.control-messages.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"

#include <stdexcept>
#include <utility>
#include <vector>

namespace Lab::Connector
{

namespace
{

using Shared::Concurrency::CriticalSection;
using Shared::Concurrency::WaitFor;
using std::chrono::milliseconds;

constexpr milliseconds ConnectTimeout(3000);
constexpr milliseconds SendTimeout(30'000);
/// How long the receiver waits before it looks whether anything else is to be done; a stop does not wait for it.
constexpr milliseconds ReceiveTimeout(10'000);
constexpr std::uint32_t RoomPauseMs = 10;

std::uint32_t ToTimeoutMs(milliseconds span) noexcept
{
    return static_cast<std::uint32_t>(span.count());
}

} // namespace

CloudLink::CloudLink(Settings settings, LogLines& log)
    : m_settings(std::move(settings)),
      e_log(log),
      m_stop(false, true),
      m_greeted(false, true),
      m_receiver("lab-receiver"),
      m_sender("lab-sender")
{
}

CloudLink::~CloudLink()
{
    Stop();
}

void CloudLink::Start()
{
    m_receiver.Start([this] { return RunReceiver(); });
    m_sender.Start([this] { return RunSender(); });
}

void CloudLink::Stop() noexcept
{
    m_stop.SignalNoThrow();
    if (const StreamPointer stream = GetStream())
    {
        stream->Shutdown();
    }
    m_receiver.JoinNoThrow(Shared::Time::Infinite);
    m_sender.JoinNoThrow(Shared::Time::Infinite);
}

bool CloudLink::Send(std::string envelope)
{
    if (m_toCloud.Size() >= MostWaiting)
    {
        return false;
    }
    m_toCloud.Push(std::move(envelope));
    return true;
}

Shared::Raii::RawHandle CloudLink::GetReceivedHandle() const
{
    return m_received.GetEventHandle();
}

bool CloudLink::TakeReceived(std::string& envelope)
{
    return m_received.TakeFirst([](const std::string&) { return true; }, envelope);
}

void CloudLink::Fragment(const Net::Fragments& fragments, milliseconds duration)
{
    m_fragments.Set(fragments, duration);
}

int CloudLink::RunReceiver()
{
    while (!IsStopping())
    {
        try
        {
            ConnectAndReceive();
            TellDown("the cloud ended it");
        }
        catch (const std::exception& problem)
        {
            TellDown(problem.what());
        }
        SetStream(nullptr);
        (void)m_stop.WaitOnEvent(ToTimeoutMs(m_settings.reconnectDelay));
    }
    return 0;
}

void CloudLink::ConnectAndReceive()
{
    const std::optional<Net::Endpoint> endpoint = m_settings.findServer();
    if (!endpoint)
    {
        throw std::runtime_error("nobody says where that server is");
    }
    const auto stream = std::make_shared<Net::FrameStream>(Net::Socket::Connect(*endpoint, ConnectTimeout));
    stream->Send(
        Control::Encode(Control::Hello{Control::Role::Link, m_settings.server, m_settings.process}), SendTimeout);
    SetStream(stream);
    Receive(*stream, Net::ToText(*endpoint));
}

void CloudLink::Receive(Net::FrameStream& stream, const std::string& place)
{
    bool isGreeted = false;
    while (AwaitRoom())
    {
        try
        {
            std::optional<std::string> envelope = stream.Receive(ReceiveTimeout);
            if (!envelope)
            {
                return;
            }
            m_received.Push(std::move(*envelope));
            if (!isGreeted)
            {
                isGreeted = true;
                m_isDownTold = false;
                e_log.Tell(Level::Info, "Linked to {} at {}", m_settings.server, place);
                m_greeted.Signal();
            }
        }
        catch (const Net::SocketError& problem)
        {
            if (problem.GetFailure() != Net::Failure::TimedOut)
            {
                throw;
            }
        }
    }
}

/// Once for each time that it is down, however often it is tried meanwhile.
void CloudLink::TellDown(std::string_view reason)
{
    if (!IsStopping())
    {
        e_log.Tell(
            m_isDownTold ? Level::Debug : Level::Warning, "The link to {} is down: {}; trying again", m_settings.server,
            reason);
        m_isDownTold = true;
    }
}

/// False when the link is to stop.
bool CloudLink::AwaitRoom()
{
    while (m_received.Size() >= MostWaiting)
    {
        if (m_stop.WaitOnEvent(RoomPauseMs))
        {
            return false;
        }
    }
    return !IsStopping();
}

int CloudLink::RunSender()
{
    const std::vector<Shared::Raii::RawHandle> handles = {m_stop.GetHandle(), m_toCloud.GetEventHandle()};
    while (WaitFor(handles, false, Shared::Time::Infinite) != 0)
    {
        std::string envelope;
        if (m_toCloud.TakeFirst([](const std::string&) { return true; }, envelope))
        {
            SendOne(envelope);
        }
    }
    return 0;
}

/// Returns when it is sent, or when the link is to stop.
void CloudLink::SendOne(const std::string& envelope)
{
    constexpr std::uint32_t PauseMs = 50;
    while (WaitFor({m_stop.GetHandle(), m_greeted.GetHandle()}, false, Shared::Time::Infinite) != 0)
    {
        const StreamPointer stream = GetGreetedStream();
        try
        {
            if (stream)
            {
                stream->Send(envelope, SendTimeout, m_fragments.Current());
                return;
            }
        }
        catch (const std::exception& problem)
        {
            e_log.Tell(Level::Warning, "A frame waits for the next link: {}", problem.what());
            // The receiver notices, and makes a new one.
            stream->Shutdown();
        }
        (void)m_stop.WaitOnEvent(PauseMs);
    }
}

void CloudLink::SetStream(StreamPointer stream)
{
    const CriticalSection hold(&m_lock);
    m_stream = std::move(stream);
    m_greeted.Reset();
    if (m_stream)
    {
        // One that came up while the link was stopped has nobody left to shut it down.
        if (IsStopping())
        {
            m_stream->Shutdown();
        }
    }
}

/// Null when another one has come up meanwhile, on which the cloud has said nothing yet.
CloudLink::StreamPointer CloudLink::GetGreetedStream()
{
    const CriticalSection hold(&m_lock);
    return m_greeted.WaitOnEvent(0) ? m_stream : nullptr;
}

CloudLink::StreamPointer CloudLink::GetStream()
{
    const CriticalSection hold(&m_lock);
    return m_stream;
}

bool CloudLink::IsStopping() const
{
    return m_stop.WaitOnEvent(0);
}

} // namespace Lab::Connector
