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

/// What the agent asks the cloud for, besides a registration.
enum class RequestKind
{
    Startup,
    NetworkObjects,
    Tests,
    Tags,
    UserGroups,
    Mtr,
    Curl,
    Ete,
    InstanceAgent,
    AccountAgent,
    Poll
};

/// How the cloud answers such a request.
enum class AnswerWay
{
    Good,
    Late,
    Drop,
    Refuse,
    WrongNumber,
    Twice,
    Rubbish,
    Body,
    DeliveryFailure
};

struct ScriptedAnswer
{
    RequestKind to = RequestKind::Startup;
    AnswerWay way = AnswerWay::Good;
    /// For how many requests; 0 means for all that follow.
    std::uint64_t times = 1;
    AgentSeconds delay{0};
    /// Of Refuse.
    std::int32_t code = 500;
    /// Nothing: the answer has no such member.
    std::optional<std::string> error{};
    std::optional<std::string> action{};
    /// Of Body: the payload as it is sent, and the message's number; 0 is the usual one.
    std::string body{};
    std::uint32_t msgId = 0;

    bool operator==(const ScriptedAnswer&) const = default;
};

/// Configuration by its path ("/config/mtr"); null: none.
using ConfigurationPointer = std::shared_ptr<const rapidjson::Document>;

/// Somebody else whose configuration stands in the answers to the agent.
struct OtherOwner
{
    std::string uuid;
    /// Before the agent's own, rather than behind it.
    bool isFirst = false;
    ConfigurationPointer configuration;
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
    ChangeConfiguration,
    ChangeGroups,
    UpdateRequest,
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
    Link,
    /// The first time after that start that the agent says that it has its whole configuration.
    Configuration
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
    /// Of ChangeConfiguration: a patch (RFC 7396) of what the cloud has.
    ConfigurationPointer configuration;
    /// Of ChangeGroups.
    std::vector<std::string> groups;
    /// Of both: whether the agent is told.
    bool notifies = true;
    /// Of UpdateRequest.
    std::string version;
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
    ConfigurationPointer configuration;
    std::vector<OtherOwner> owners;
    /// To requests besides registrations. Each is used up by the requests that it is for, in this order.
    std::vector<ScriptedAnswer> answers;
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
