#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <rapidjson/document.h>

namespace Lab
{

/// A span of the agent's own time, which runs faster when its clock does.
using AgentSeconds = std::chrono::duration<double>;

/// How the cloud answers a registration.
enum class AnswerKind
{
    Success,
    Redirect,
    RefuseUuid,
    Stop,
    NotFound,
    InternalError,
    Status,
    AnotherTenant,
    DeliveryFailure,
    Rubbish,
    Silence
};

struct RegistrationAnswer
{
    AnswerKind kind = AnswerKind::Success;
    /// What the answer names as the server; empty: of a success, the server that was asked.
    std::string server;
    /// Of InternalError and Status.
    std::int32_t code = 500;
    AgentSeconds delay{0};

    bool operator==(const RegistrationAnswer&) const = default;
};

/// Who is signed in at the VPN client, as its registry says.
struct ScenarioUser
{
    bool isSignedIn = true;
    std::string username = "lab.user";
    std::string domain = "LABORATORY";
    std::string tenantId = "lab-tenant";
    std::string subTenantId = "lab-subtenant";
    /// What the cloud says of the user.
    std::vector<std::string> groups;
    /// Under which the machine was known for that subtenant before; empty: it was not.
    std::string agentUuid;

    bool operator==(const ScenarioUser&) const = default;
};

enum class FaultKind
{
    KillConnector,
    HangConnector,
    ExitAtStart,
    NeverConnect,
    GarbleFrame,
    Trickle,
    Fragment,
    Flood,
    CutLink,
    SilenceCloud,
    SendMessage,
    ChangeUser,
    ChangeVpn
};

/// What a fault's time is counted from.
enum class FaultOrigin
{
    /// The agent's start.
    Start,
    /// The first registration that the cloud accepts after that start.
    Registration,
    /// The first link that comes up behind that registration.
    Link
};

struct Fault
{
    FaultKind kind = FaultKind::KillConnector;
    FaultOrigin origin = FaultOrigin::Start;
    AgentSeconds time{0};
    /// Of which start of the agent, from 1 on.
    std::uint32_t start = 1;
    /// How long it lasts; zero means for good.
    AgentSeconds duration{0};
    AgentSeconds pause{0};
    std::uint64_t count = 1;
    std::uint64_t size = 0;
    std::int32_t exitCode = 0;
    /// Of SendMessage: what the cloud sends.
    std::uint32_t msgId = 0;
    std::string payload;
    /// Of ChangeUser.
    ScenarioUser user;
    /// Of ChangeVpn: values by their names.
    std::map<std::string, std::string> vpn;

    bool operator==(const Fault&) const = default;
};

struct CloudBehaviour
{
    /// One for each registration, in order; the last one for all that follow. Never empty.
    std::vector<RegistrationAnswer> registration = {RegistrationAnswer{}};
    std::uint32_t accountId = 1001;
    /// The identity that an agent gets which has none.
    std::string agentUuid = "5f0c5a52-0000-4000-8000-000000000001";
    /// Servers that are named somewhere and that nobody can reach.
    std::vector<std::string> unreachable;
    /// Configuration by its path ("/config/mtr"); null: none.
    std::shared_ptr<const rapidjson::Document> configuration;
};

/// Everything that a run of the laboratory can be told.
struct Scenario
{
    std::string title;
    /// How long each start of the agent lasts.
    std::optional<AgentSeconds> duration;
    /// What the settings name as the server.
    std::string server = "https://cloud.lab.example";
    /// Values that the VPN client leaves, by their names, where they differ from the laboratory's own.
    std::map<std::string, std::string> vpn;
    /// Values of the agent's config key, by their names.
    std::map<std::string, std::variant<std::string, std::uint32_t>> settings;
    ScenarioUser user;
    CloudBehaviour cloud;
    std::vector<Fault> faults;
    /// With which the agent must end.
    std::int32_t exitCode = 0;
};

} // namespace Lab
