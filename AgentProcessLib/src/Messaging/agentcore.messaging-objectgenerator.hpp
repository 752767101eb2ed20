#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.messaging-testselection.hpp"

#include <string_view>
#include <vector>

/// Turns the server's answers with configuration into the records that the agent acts on.
///
/// Every function empties its target first. An answer that says it is an error leaves it so, with a warning in the log, as
/// do "values" that are missing or no object. A member of another type than expected counts as missing, which leaves a
/// field zero, empty or false, and what is no string in a list of strings is passed over. Where a name is looked for, the
/// first member of that name counts; entries are all gone through, so that an id that comes twice gives two records, and
/// in the map of tests the first one.
///
/// They throw the runtime exception of RapidJsonDocument for a payload that is not JSON, and, but for the network objects,
/// "Nullable is null" when the answer has no boolean "success". On the main thread. Time and memory grow with the length of
/// the payload.
namespace AgentCore::Messaging
{

/// Entries without a name are passed over. Of equal domains, and of equal IP addresses, of an object the first is kept.
void ProcessNetworkObjectConfigMessage(std::string_view payload, std::vector<NetworkObject>& networkObjects);

/// The entries of this agent; one that does not make a `Config::Test` is passed over.
void ProcessTestsConfigMessage(std::string_view payload, std::string_view agentUuid, TestMap& tests);

/// The entries of this agent.
void ProcessTagConfigMessage(std::string_view payload, std::vector<Tag>& tags, std::string_view agentUuid);

/// The tests that are meant for the subject and that its map of tests knows, in the order in which they are to run.
void ProcessMtrConfigMessage(std::string_view payload, std::vector<MtrTest>& mtrTests, const SelectionSubject& subject);

/// As ProcessMtrConfigMessage(); the two kinds share their shape, the name of the inner object included.
void ProcessEteConfigMessage(std::string_view payload, std::vector<MtrTest>& eteTests, const SelectionSubject& subject);

/// As ProcessMtrConfigMessage().
void ProcessCurlConfigMessage(
    std::string_view payload, std::vector<CurlTest>& curlTests, const SelectionSubject& subject);

} // namespace AgentCore::Messaging
