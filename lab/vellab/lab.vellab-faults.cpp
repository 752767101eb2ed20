#include "lab.vellab-faults.hpp"

#include "lab.json-functions.hpp"
#include "lab.process-functions.hpp"
#include "lab.scenario-catalogue.hpp"
#include "lab.vellab-scenariosettings.hpp"
#include "lab.wire-names.hpp"

#include <algorithm>
#include <array>
#include <exception>
#include <iterator>
#include <utility>

namespace Lab
{

namespace
{

using std::chrono::milliseconds;

/// Which faults are orders to the connector.
struct OrderOfFault
{
    FaultKind fault;
    Control::OrderKind order;
};

constexpr std::array<OrderOfFault, 6> Orders = {
    {{FaultKind::HangConnector, Control::OrderKind::Hang},
     {FaultKind::ExitAtStart, Control::OrderKind::ExitAtStart},
     {FaultKind::NeverConnect, Control::OrderKind::NeverConnect},
     {FaultKind::GarbleFrame, Control::OrderKind::Garble},
     {FaultKind::Trickle, Control::OrderKind::Trickle},
     {FaultKind::Fragment, Control::OrderKind::Fragment}}};

/// When it is due; nothing while it waits for something that has not happened.
std::optional<AgentSeconds> DueTime(const Fault& fault, const Milestones& milestones)
{
    std::optional<AgentSeconds> origin;
    switch (fault.origin)
    {
    case FaultOrigin::Start:
        origin = AgentSeconds(0);
        break;
    case FaultOrigin::Registration:
        origin = milestones.registered;
        break;
    case FaultOrigin::Link:
        origin = milestones.linked;
        break;
    case FaultOrigin::Configuration:
        origin = milestones.configured;
        break;
    }
    return origin ? std::optional(*origin + fault.time) : std::nullopt;
}

std::string CountOf(std::size_t number, const char* what)
{
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

} // namespace

FaultSchedule::FaultSchedule(const std::vector<Fault>& faults, std::uint32_t start)
{
    std::copy_if(
        faults.begin(), faults.end(), std::back_inserter(m_left),
        [&](const Fault& fault) { return fault.start == start; });
}

std::vector<Fault> FaultSchedule::TakeDue(AgentSeconds now, const Milestones& milestones)
{
    const auto isWaiting = [&](const Fault& fault)
    {
        const std::optional<AgentSeconds> due = DueTime(fault, milestones);
        return !due || *due > now;
    };
    const auto firstDue = std::stable_partition(m_left.begin(), m_left.end(), isWaiting);
    std::vector<Fault> due(std::make_move_iterator(firstDue), std::make_move_iterator(m_left.end()));
    m_left.erase(firstDue, m_left.end());
    std::stable_sort(
        due.begin(), due.end(),
        [&](const Fault& first, const Fault& second)
        { return DueTime(first, milestones) < DueTime(second, milestones); });
    return due;
}

const std::vector<Fault>& FaultSchedule::GetLeft() const noexcept
{
    return m_left;
}

FaultInjector::FaultInjector(Cloud::Service& cloud, Timeline& timeline, double speed, std::string connectorName)
    : e_cloud(cloud), e_timeline(timeline), m_speed(speed), m_connectorName(std::move(connectorName))
{
}

void FaultInjector::Inject(const Fault& fault, std::uint32_t agentId)
{
    std::string effect;
    try
    {
        effect = Apply(fault, agentId);
    }
    catch (const std::exception& problem)
    {
        effect = fmt::format("could not be done: {}", problem.what());
    }
    e_timeline.Add("fault", fmt::format("{}: {}", NameOf(fault.kind), effect));
}

std::string FaultInjector::Apply(const Fault& fault, std::uint32_t agentId)
{
    const std::string span =
        fault.duration.count() > 0 ? fmt::format("for {} s", fault.duration.count()) : std::string("for good");
    switch (fault.kind)
    {
    case FaultKind::KillConnector:
        return KillConnectors(agentId);
    case FaultKind::HangConnector:
        return OrderConnectors(fault, span);
    case FaultKind::GarbleFrame:
        return OrderConnectors(fault, fmt::format("{} of {} bytes", CountOf(fault.count, "message"), fault.size));
    case FaultKind::Trickle:
        return OrderConnectors(fault, CountOf(fault.count, "message"));
    case FaultKind::Fragment:
        e_cloud.Fragment({static_cast<std::size_t>(fault.size), ToReal(fault.pause)}, ToReal(fault.duration));
        return OrderConnectors(fault, "and the cloud, " + span);
    case FaultKind::ExitAtStart:
    case FaultKind::NeverConnect:
        e_cloud.OrderAtStart(MakeOrder(fault), fault.count);
        return fmt::format(
            "at the next {} of the connector", fault.count == 1 ? "start" : CountOf(fault.count, "start"));
    case FaultKind::Flood:
        return fmt::format(
            "{} of {} bytes on {}", CountOf(fault.count, "message"), fault.size,
            CountOf(e_cloud.Flood(fault.count, fault.size), "link"));
    case FaultKind::CutLink:
        return fmt::format("{}, {}", CountOf(e_cloud.CutLinks(ToReal(fault.duration)), "link"), span);
    case FaultKind::SilenceCloud:
        e_cloud.Silence(ToReal(fault.duration));
        return span;
    case FaultKind::SendMessage:
        return fmt::format("{} on {}", fault.msgId, CountOf(e_cloud.Send(fault.msgId, fault.payload), "link"));
    case FaultKind::ChangeConfiguration:
        return ChangeConfiguration(fault);
    case FaultKind::ChangeGroups:
        return ChangeGroups(fault);
    case FaultKind::UpdateRequest:
        return RequestUpdate(fault);
    case FaultKind::ChangeUser:
        ChangeUser(fault.user);
        return fault.user.isSignedIn ? fault.user.username : "nobody is signed in";
    case FaultKind::ChangeVpn:
        ChangeVpnValues(fault.vpn);
        return CountOf(fault.vpn.size(), "value");
    }
    return "nobody knows how";
}

std::string FaultInjector::KillConnectors(std::uint32_t agentId)
{
    std::size_t killed = 0;
    for (const Process::Entry& entry : Process::DescendantsOf(agentId, Process::List()))
    {
        if (Process::HasName(entry, m_connectorName) && Process::Kill(entry))
        {
            ++killed;
        }
    }
    return killed == 0 ? std::string("there is none") : "ended " + CountOf(killed, "connector");
}

std::string FaultInjector::OrderConnectors(const Fault& fault, const std::string& how)
{
    const std::size_t obeying = e_cloud.Order(MakeOrder(fault));
    return obeying == 0 ? std::string("there is no connector")
                        : fmt::format("told {}, {}", CountOf(obeying, "connector"), how);
}

std::string FaultInjector::ChangeConfiguration(const Fault& fault)
{
    e_cloud.ChangeConfiguration(*fault.configuration);
    std::string effect = CountOf(fault.configuration->MemberCount(), "path");
    if (!fault.notifies)
    {
        return effect;
    }
    return fmt::format(
        "{}, and a notice on {}", effect, CountOf(e_cloud.Send(Wire::MsgId::ConfigChanges, "{}"), "link"));
}

std::string FaultInjector::ChangeGroups(const Fault& fault)
{
    e_cloud.ChangeGroups(fault.groups);
    std::string effect = CountOf(fault.groups.size(), "group");
    return fault.notifies ? fmt::format("{}, told on {}", effect, CountOf(e_cloud.SendGroups(), "link")) : effect;
}

std::string FaultInjector::RequestUpdate(const Fault& fault)
{
    rapidjson::Document request(rapidjson::kObjectType);
    request.AddMember(
        "targetAgentVersion", rapidjson::Value(fault.version.c_str(), request.GetAllocator()), request.GetAllocator());
    const std::size_t links = e_cloud.Send(Wire::MsgId::CheckForUpdatesRequest, Json::ToText(request));
    return fmt::format("to {} on {}", fault.version, CountOf(links, "link"));
}

Control::Order FaultInjector::MakeOrder(const Fault& fault) const
{
    Control::Order order;
    const auto found = std::find_if(
        Orders.begin(), Orders.end(), [&](const OrderOfFault& known) { return known.fault == fault.kind; });
    order.kind = found->order;
    order.duration = ToReal(fault.duration);
    order.pause = ToReal(fault.pause);
    order.count = fault.count;
    order.size = fault.size;
    order.exitCode = fault.exitCode;
    return order;
}

milliseconds FaultInjector::ToReal(AgentSeconds span) const
{
    // Rounded up: what lasts a moment must not become what lasts for good.
    return std::chrono::ceil<milliseconds>(span / m_speed);
}

} // namespace Lab
