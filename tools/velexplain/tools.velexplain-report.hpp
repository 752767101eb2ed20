#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.messaging-testselection.hpp"
#include "shared.log-memorylog.hpp"
#include "tools.velexplain-requests.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Tools::VelExplain
{

/// Whom the tests are selected for. Texts are UTF-8.
struct Subject
{
    /// Empty when the answers name no agent.
    std::string agentUuid;
    std::string agentSource;
    /// Empty when there is none.
    std::string username;
    std::string userSource;
    std::vector<std::string> groups;
    std::vector<AgentCore::Messaging::Tag> tags;
};

/// One answer, and what the agent says of it.
struct AnswerReport
{
    Request request = Request::NetworkObjects;
    /// Empty when there is none; the agent has then been given an empty answer.
    std::string source;
    std::vector<Shared::Log::MemoryLog::Line> log;
    /// Why the agent cannot use it; empty when it can.
    std::string problem;
    /// Whether the server says in it that it could not answer.
    bool isFailure = false;
};

enum class Fate
{
    Runs,
    /// Meant for the agent, and not in the map of tests.
    NotInMap,
    NoNetobj,
    NoTags,
    SplitTunnel,
    Disabled,
    NotMeant
};

/// How many of each a test names.
struct Named
{
    std::size_t tags = 0;
    std::size_t instances = 0;
    std::size_t users = 0;
    std::size_t groups = 0;
};

struct TestReport
{
    std::string key;
    std::string id;
    /// Of the network object that it names.
    std::string netobj;
    /// None when there is no network object of that name.
    std::optional<AgentCore::Messaging::NetworkObject> target;
    /// None when the test is not in the map of tests.
    std::optional<std::int32_t> priority;
    Fate fate = Fate::NotMeant;
    AgentCore::Messaging::Match tagsOrInstances;
    AgentCore::Messaging::Match usersOrGroups;
    Named named;
};

/// The tests of one kind.
struct KindReport
{
    TestKind kind = TestKind::Mtr;
    /// As the agent orders them.
    std::vector<TestReport> running;
    /// In the order of the answer.
    std::vector<TestReport> others;
    /// With how many, in the words of the agent; empty when it could not use the answer.
    std::string closing;
};

/// All that is shown.
struct Report
{
    Subject subject;
    /// In the order of the chain.
    std::vector<AnswerReport> answers;
    std::vector<KindReport> kinds;
    /// Where the agent's lists and its judgement of single tests disagree, which they never should.
    std::vector<std::string> contradictions;
};

} // namespace Tools::VelExplain
