#pragma once

#include "lab.cloud-exchanges.hpp"
#include "lab.cloud-journal.hpp"
#include "lab.cloud-outbox.hpp"
#include "lab.cloud-responder.hpp"
#include "lab.control-messages.hpp"
#include "lab.net-framing.hpp"
#include "lab.net-timedswitch.hpp"
#include "lab.scenario-scenario.hpp"
#include "shared.concurrency-criticalsection.hpp"
#include "shared.concurrency-thread.hpp"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Lab::Cloud
{

/// The server of the agent, on a free port of the loopback address: all names of servers are this one, and a connector says
/// which it wants. It keeps every message, answers as the scenario tells, and fails when it is told to. Connectors get their
/// orders here too. Every operation may be called from any thread.
class Service
{
public:
    /// What happens, told by whom: "cloud" or "connector". Called from any of the service's threads.
    using Observer = std::function<void(std::string_view who, std::string_view what)>;

    /// Listens from now on.
    /// @param journal the folder in which messages are kept.
    /// @param speed how many times faster than real time the agent lives.
    /// Throws Net::SocketError.
    Service(const Scenario& scenario, const std::filesystem::path& journal, double speed, Observer observer);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    /// Stops it.
    ~Service();

    /// Ends all streams and threads. Safe to repeat.
    void Stop() noexcept;

    Net::Endpoint GetEndpoint() const;
    /// Registrations that were accepted.
    std::size_t GetAccepted() const;
    /// How many of them there were when the last link came up.
    std::size_t GetAcceptedAtLastLink() const noexcept;
    /// Connectors that came for their orders.
    std::size_t GetConnectorStarts() const noexcept;
    MessageCounts GetCounts() const;
    /// All requests besides registrations that the scenario has a name for.
    std::vector<Exchange> GetExchanges() const;

    /// Breaks all links, and new ones for `duration`; for good when that is zero. Gives the number of those that broke.
    std::size_t CutLinks(std::chrono::milliseconds duration);
    /// Answers nothing for `duration`; for good when that is zero.
    void Silence(std::chrono::milliseconds duration);
    /// Sends `count` messages with a payload of `size` bytes on each link. Gives the number of links.
    std::size_t Flood(std::uint64_t count, std::uint64_t size);
    /// Sends one message on each link. Gives the number of links.
    std::size_t Send(std::uint32_t msgId, const std::string& payload);
    /// Patches the agent's configuration (Json::Merge); what is answered already stays answered.
    void ChangeConfiguration(const rapidjson::Value& patch);
    void ChangeGroups(const std::vector<std::string>& groups);
    /// Sends the user's groups, as if they had been asked for, on each link. Gives the number of links.
    std::size_t SendGroups();
    /// Sends in bites for `duration`; for good when that is zero.
    void Fragment(const Net::Fragments& fragments, std::chrono::milliseconds duration);
    /// Gives an order to every connector that is there. Gives their number.
    std::size_t Order(const Control::Order& order);
    /// Gives an order to the next `count` connectors, at their start.
    void OrderAtStart(const Control::Order& order, std::uint64_t count);

private:
    struct Connection;
    using ConnectionPointer = std::shared_ptr<Connection>;

    struct StartOrder
    {
        Control::Order order;
        std::uint64_t left;
    };

    int RunAcceptor();
    int RunConnection(Connection& connection);
    void Serve(Connection& connection);
    void ServeControl(Connection& connection);
    void ServeLink(Connection& connection);
    int RunWriter(Connection& connection);
    void Write(Connection& connection, const Parcel& parcel);
    void HandleRequest(Connection& connection, const std::string& frame);
    Response Respond(const Wire::Envelope& request, const std::string& server);
    void Post(
        Connection& connection,
        const Reply& reply,
        const Wire::Envelope& request,
        const std::optional<std::size_t>& exchange);
    std::vector<Control::Order> TakeStartOrders();
    std::size_t SendToAll(const Parcel& parcel);
    std::vector<ConnectionPointer> ConnectionsOf(Control::Role role) const;
    void DropEnded();

    std::chrono::milliseconds ToReal(AgentSeconds span) const;
    void Tell(std::string_view who, std::string_view what) const;

    double m_speed;
    Observer m_observer;
    Journal m_journal;
    Exchanges m_exchanges;
    Net::Listener m_listener;
    Net::TimedSwitch m_cut;
    Net::TimedSwitch m_silent;
    Net::FragmentPlan m_fragments;
    std::atomic<std::size_t> m_acceptedAtLastLink = 0;
    std::atomic<std::size_t> m_connectorStarts = 0;
    mutable Shared::Concurrency::SystemCriticalSection m_lock;
    Responder m_responder VEL_GUARDED_BY(m_lock);
    std::vector<StartOrder> m_startOrders VEL_GUARDED_BY(m_lock);
    std::vector<ConnectionPointer> m_connections VEL_GUARDED_BY(m_lock);
    bool m_isStopping VEL_GUARDED_BY(m_lock) = false;
    Shared::Concurrency::Thread m_acceptor;
};

} // namespace Lab::Cloud
