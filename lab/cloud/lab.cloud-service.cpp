#include "lab.cloud-service.hpp"

#include "lab.cloud-request.hpp"
#include "lab.scenario-catalogue.hpp"
#include "lab.wire-names.hpp"
#include "shared.time-clock.hpp"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace Lab::Cloud
{

namespace
{

using Shared::Concurrency::CriticalSection;
using std::chrono::milliseconds;

constexpr milliseconds HelloTimeout(5000);
constexpr milliseconds SendTimeout(30'000);
constexpr milliseconds OrderTimeout(2000);
constexpr milliseconds Interval(10'000);
/// Of a flood, not every drop is kept.
constexpr std::uint64_t MostKeptOfOne = 100;

/// The next frame, however long it takes; nothing at the end of the stream.
std::optional<std::string> AwaitFrame(Net::FrameStream& stream)
{
    while (true)
    {
        try
        {
            return stream.Receive(Interval);
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

std::string Summarise(const Wire::Envelope& envelope)
{
    const std::optional<RequestKind> kind = KindOf(envelope);
    return fmt::format(
        "{} ({}){}, seq_num {}{}{}, {} bytes", Wire::NameOf(envelope.msgId), envelope.msgId,
        kind && IsForConfiguration(*kind) ? fmt::format(" for {}", NameOf(*kind)) : std::string(), envelope.seqNum,
        envelope.flags == Wire::FlagAcknowledgement ? ", acknowledgement" : "",
        envelope.status == Wire::StatusSuccess ? "" : fmt::format(", status {}", envelope.status),
        envelope.payload.size());
}

} // namespace

struct Service::Connection
{
    explicit Connection(std::shared_ptr<Net::Socket> socket) : stream(std::move(socket)), reader("lab-cloud")
    {
    }

    Net::FrameStream stream;
    Control::Hello hello;
    /// What kind of stream it is, once that is known and it is ready to be written to.
    std::atomic<bool> isReady = false;
    std::atomic<bool> hasEnded = false;
    Outbox outbox;
    Shared::Concurrency::Thread reader;
};

Service::Service(const Scenario& scenario, const std::filesystem::path& journal, double speed, Observer observer)
    : m_speed(speed),
      m_observer(std::move(observer)),
      m_journal(journal),
      m_responder(scenario),
      m_acceptor("lab-acceptor")
{
    m_acceptor.Start([this] { return RunAcceptor(); });
}

Service::~Service()
{
    Stop();
}

void Service::Stop() noexcept
{
    std::vector<ConnectionPointer> connections;
    {
        const CriticalSection hold(&m_lock);
        m_isStopping = true;
        connections.swap(m_connections);
    }
    m_listener.Shutdown();
    m_acceptor.JoinNoThrow(Shared::Time::Infinite);
    for (const ConnectionPointer& connection : connections)
    {
        connection->stream.Shutdown();
        connection->reader.JoinNoThrow(Shared::Time::Infinite);
    }
}

Net::Endpoint Service::GetEndpoint() const
{
    return {Net::Loopback, m_listener.GetPort()};
}

std::size_t Service::GetAccepted() const
{
    const CriticalSection hold(&m_lock);
    return m_responder.GetDesk().GetAccepted();
}

std::size_t Service::GetAcceptedAtLastLink() const noexcept
{
    return m_acceptedAtLastLink;
}

std::size_t Service::GetConnectorStarts() const noexcept
{
    return m_connectorStarts;
}

MessageCounts Service::GetCounts() const
{
    return m_journal.GetCounts();
}

std::vector<Exchange> Service::GetExchanges() const
{
    return m_exchanges.GetAll();
}

std::size_t Service::CutLinks(milliseconds duration)
{
    m_cut.SwitchOn(duration);
    const std::vector<ConnectionPointer> links = ConnectionsOf(Control::Role::Link);
    for (const ConnectionPointer& link : links)
    {
        link->stream.Shutdown();
    }
    return links.size();
}

void Service::Silence(milliseconds duration)
{
    m_silent.SwitchOn(duration);
}

std::size_t Service::Flood(std::uint64_t count, std::uint64_t size)
{
    Parcel parcel;
    parcel.envelope.msgId = Wire::MsgId::RouterRemoteSubscriptions;
    parcel.envelope.payload = fmt::format(R"({{"flood":"{}"}})", std::string(static_cast<std::size_t>(size), 'x'));
    parcel.copies = count;
    return SendToAll(parcel);
}

std::size_t Service::Send(std::uint32_t msgId, const std::string& payload)
{
    Parcel parcel;
    parcel.envelope.msgId = msgId;
    parcel.envelope.payload = payload;
    return SendToAll(parcel);
}

void Service::ChangeConfiguration(const rapidjson::Value& patch)
{
    const CriticalSection hold(&m_lock);
    m_responder.ChangeConfiguration(patch);
}

void Service::ChangeGroups(const std::vector<std::string>& groups)
{
    const CriticalSection hold(&m_lock);
    m_responder.ChangeGroups(groups);
}

std::size_t Service::SendGroups()
{
    Parcel parcel;
    {
        const CriticalSection hold(&m_lock);
        parcel.envelope = Address(m_responder.TellGroups(), {});
    }
    return SendToAll(parcel);
}

void Service::Fragment(const Net::Fragments& fragments, milliseconds duration)
{
    m_fragments.Set(fragments, duration);
}

std::size_t Service::Order(const Control::Order& order)
{
    std::size_t obeying = 0;
    for (const ConnectionPointer& connection : ConnectionsOf(Control::Role::Control))
    {
        try
        {
            connection->stream.Send(Control::Encode(std::vector{order}), OrderTimeout);
            ++obeying;
        }
        catch (const std::runtime_error&)
        {
            // One that has just ended.
        }
    }
    return obeying;
}

void Service::OrderAtStart(const Control::Order& order, std::uint64_t count)
{
    const CriticalSection hold(&m_lock);
    m_startOrders.push_back({order, count});
}

int Service::RunAcceptor()
{
    while (true)
    {
        try
        {
            std::shared_ptr<Net::Socket> socket = m_listener.Accept(Interval);
            DropEnded();
            if (!socket)
            {
                continue;
            }
            const auto connection = std::make_shared<Connection>(std::move(socket));
            const CriticalSection hold(&m_lock);
            if (m_isStopping)
            {
                return 0;
            }
            m_connections.push_back(connection);
            // The connection stays in the list, or with who stops the service, until its thread has ended.
            connection->reader.Start([this, &served = *connection] { return RunConnection(served); });
        }
        catch (const Net::SocketError& problem)
        {
            if (problem.GetFailure() == Net::Failure::ShutDown)
            {
                return 0;
            }
            Tell("cloud", problem.what());
            Shared::Time::SleepFor(milliseconds(100));
        }
    }
}

int Service::RunConnection(Connection& connection)
{
    try
    {
        Serve(connection);
    }
    catch (const std::exception& problem)
    {
        Tell("cloud", fmt::format("a stream was ended: {}", problem.what()));
    }
    connection.isReady = false;
    connection.stream.Shutdown();
    connection.hasEnded = true;
    return 0;
}

void Service::Serve(Connection& connection)
{
    const std::optional<std::string> frame = connection.stream.Receive(HelloTimeout);
    if (!frame)
    {
        return;
    }
    connection.hello = Control::DecodeHello(*frame);
    if (connection.hello.role == Control::Role::Control)
    {
        ServeControl(connection);
    }
    else
    {
        ServeLink(connection);
    }
}

void Service::ServeControl(Connection& connection)
{
    ++m_connectorStarts;
    connection.stream.Send(Control::Encode(TakeStartOrders()), OrderTimeout);
    connection.isReady = true;
    try
    {
        while (const std::optional<std::string> frame = AwaitFrame(connection.stream))
        {
            Tell("connector", Control::DecodeLine(*frame));
        }
    }
    catch (const Net::SocketError&)
    {
        // A connector that was killed ends its stream in this way.
    }
    Tell("vellab", fmt::format("connector {} has ended", connection.hello.process));
}

void Service::ServeLink(Connection& connection)
{
    Shared::Concurrency::Thread writer("lab-cloud-out");
    writer.Start([this, &connection] { return RunWriter(connection); });
    connection.isReady = true;
    std::string reason = "by the connector";
    bool isUp = false;
    try
    {
        // Asked behind isReady: a cut either sees this link or is seen here.
        if (!m_cut.IsOn())
        {
            isUp = true;
            m_acceptedAtLastLink = GetAccepted();
            Tell("cloud", fmt::format("a link to {} is up", connection.hello.server));
            (void)connection.outbox.Push({.envelope = Address(Responder::Greet(), {}), .isGreeting = true});
            while (const std::optional<std::string> frame = AwaitFrame(connection.stream))
            {
                HandleRequest(connection, *frame);
            }
        }
    }
    catch (const std::exception& problem)
    {
        reason = problem.what();
    }
    connection.isReady = false;
    connection.stream.Shutdown();
    connection.outbox.Stop();
    writer.JoinNoThrow(Shared::Time::Infinite);
    if (isUp)
    {
        Tell(
            "cloud",
            fmt::format("the link to {} is down: {}", connection.hello.server, m_cut.IsOn() ? "it is cut" : reason));
    }
}

int Service::RunWriter(Connection& connection)
{
    try
    {
        while (const std::optional<Parcel> parcel = connection.outbox.Take())
        {
            Write(connection, *parcel);
        }
    }
    catch (const std::exception&)
    {
        // The reader notices the end of the stream, and tells it.
        connection.stream.Shutdown();
    }
    return 0;
}

void Service::Write(Connection& connection, const Parcel& parcel)
{
    Wire::Envelope envelope = parcel.envelope;
    for (std::uint64_t i = 0; i < parcel.copies && (parcel.isGreeting || !m_silent.IsOn()); ++i)
    {
        if (parcel.copies > 1)
        {
            envelope.seqNum = static_cast<std::uint32_t>(i + 1);
        }
        if (i == 0)
        {
            Tell(
                "cloud",
                fmt::format(
                    "-> {}{}", Summarise(envelope),
                    parcel.copies > 1 ? fmt::format(", {} times", parcel.copies) : std::string()));
        }
        if (i < MostKeptOfOne)
        {
            m_journal.Keep(Direction::ToAgent, connection.hello.server, envelope);
        }
        else
        {
            m_journal.Count(Direction::ToAgent, envelope.msgId);
        }
        connection.stream.Send(Wire::Encode(envelope), SendTimeout, m_fragments.Current());
        if (parcel.exchange)
        {
            m_exchanges.Answer(*parcel.exchange);
        }
    }
}

void Service::HandleRequest(Connection& connection, const std::string& frame)
{
    try
    {
        const Wire::Envelope request = Wire::Decode(frame);
        const std::optional<RequestKind> kind = KindOf(request);
        const std::optional<std::size_t> exchange = kind ? m_exchanges.Begin(*kind) : std::nullopt;
        m_journal.Keep(Direction::FromAgent, connection.hello.server, request);
        Tell("cloud", "<- " + Summarise(request));
        if (m_silent.IsOn())
        {
            return;
        }
        const Response response = Respond(request, connection.hello.server);
        if (!response.how.empty())
        {
            Tell("cloud", fmt::format("the scenario's answer to it: {}", response.how));
        }
        if (exchange)
        {
            m_exchanges.Explain(*exchange, response.how);
        }
        for (const Reply& reply : response.replies)
        {
            Post(connection, reply, request, exchange);
        }
    }
    catch (const Wire::EnvelopeError& problem)
    {
        Tell("cloud", fmt::format("{} bytes are no envelope: {}", frame.size(), problem.what()));
    }
}

Response Service::Respond(const Wire::Envelope& request, const std::string& server)
{
    const CriticalSection hold(&m_lock);
    return m_responder.Respond(request, server);
}

void Service::Post(
    Connection& connection,
    const Reply& reply,
    const Wire::Envelope& request,
    const std::optional<std::size_t>& exchange)
{
    Parcel parcel;
    parcel.envelope = Address(reply, request);
    parcel.exchange = exchange;
    if (!connection.outbox.Push(std::move(parcel), ToReal(reply.delay)))
    {
        Tell("cloud", "dropped an answer: too many wait already");
    }
}

std::vector<Control::Order> Service::TakeStartOrders()
{
    const CriticalSection hold(&m_lock);
    std::vector<Control::Order> orders;
    for (StartOrder& order : m_startOrders)
    {
        orders.push_back(order.order);
        --order.left;
    }
    std::erase_if(m_startOrders, [](const StartOrder& order) { return order.left == 0; });
    return orders;
}

std::vector<Service::ConnectionPointer> Service::ConnectionsOf(Control::Role role) const
{
    const CriticalSection hold(&m_lock);
    std::vector<ConnectionPointer> found;
    std::copy_if(
        m_connections.begin(), m_connections.end(), std::back_inserter(found),
        [&](const ConnectionPointer& connection) { return connection->isReady && connection->hello.role == role; });
    return found;
}

std::size_t Service::SendToAll(const Parcel& parcel)
{
    const std::vector<ConnectionPointer> links = ConnectionsOf(Control::Role::Link);
    for (const ConnectionPointer& link : links)
    {
        (void)link->outbox.Push(parcel);
    }
    return links.size();
}

void Service::DropEnded()
{
    const CriticalSection hold(&m_lock);
    std::erase_if(
        m_connections,
        [](const ConnectionPointer& connection)
        { return connection->hasEnded && connection->reader.JoinNoThrow(Shared::Time::Infinite); });
}

milliseconds Service::ToReal(AgentSeconds span) const
{
    return std::chrono::duration_cast<milliseconds>(span / m_speed);
}

void Service::Tell(std::string_view who, std::string_view what) const
{
    m_observer(who, what);
}

} // namespace Lab::Cloud
