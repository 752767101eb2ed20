#pragma once

#include "lab.cloud-service.hpp"
#include "lab.scenario-scenario.hpp"
#include "lab.vellab-timeline.hpp"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Lab
{

/// What faults may wait for, since the agent's start; nothing for what has not happened.
struct Milestones
{
    /// The cloud accepted a registration.
    std::optional<AgentSeconds> registered;
    /// A link came up behind that.
    std::optional<AgentSeconds> linked;
    /// The agent said that it has its whole configuration.
    std::optional<AgentSeconds> configured;
};

/// Says which faults of one start of the agent are due. Not synchronised.
class FaultSchedule
{
public:
    /// @param start which start of the agent it is, from 1 on.
    FaultSchedule(const std::vector<Fault>& faults, std::uint32_t start);

    /// The faults whose time has come and that were not given yet, in the order of their times.
    /// @param now since the agent's start.
    std::vector<Fault> TakeDue(AgentSeconds now, const Milestones& milestones);

    /// Those that were not given.
    const std::vector<Fault>& GetLeft() const noexcept;

private:
    std::vector<Fault> m_left;
};

/// Makes faults happen.
class FaultInjector
{
public:
    /// All must outlive the injector.
    /// @param speed how many times faster than real time the agent lives.
    /// @param connectorName file name of the connector's program.
    FaultInjector(Cloud::Service& cloud, Timeline& timeline, double speed, std::string connectorName);

    /// @param agentId the agent's process; 0 when it does not run yet. What cannot be done is told on the timeline.
    void Inject(const Fault& fault, std::uint32_t agentId);

private:
    std::string Apply(const Fault& fault, std::uint32_t agentId);
    std::string KillConnectors(std::uint32_t agentId);
    std::string OrderConnectors(const Fault& fault, const std::string& how);
    std::string ChangeConfiguration(const Fault& fault);
    std::string ChangeGroups(const Fault& fault);
    std::string RequestUpdate(const Fault& fault);
    Control::Order MakeOrder(const Fault& fault) const;
    std::chrono::milliseconds ToReal(AgentSeconds span) const;

    Cloud::Service& e_cloud;
    Timeline& e_timeline;
    double m_speed;
    std::string m_connectorName;
};

} // namespace Lab
