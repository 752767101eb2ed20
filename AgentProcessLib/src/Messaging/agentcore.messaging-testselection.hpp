#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.util-texthash.hpp"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include <user_groups.pb.h>

/// Which tests of the account's list are meant for this agent and its user, and in which order they run. On the main thread.
namespace AgentCore::Messaging
{

/// A test with this among its tags is meant for all agents, whatever tags they have.
inline constexpr std::string_view AllAgentsTag = "3fff553d-527b-432a-acda-466e7e784e2a";

/// Whom a test is selected for: everything that the selection depends on beside the test itself.
struct SelectionSubject
{
    const TestMap& tests;
    const UserGroups& userGroups;
    const std::vector<Tag>& tags;
    std::string_view agentUuid;
    /// With the domain in front when the VPN client gives one.
    std::string_view username;
};

/// Why one of the two ways to be meant does or does not apply. NoUsersField and NoGroupsField: the test lacks that member,
/// or it is no array.
enum class MatchKind : std::uint8_t
{
    None,
    Instance,
    AllAgents,
    Tag,
    NoUsersField,
    NoGroupsField,
    User,
    Group
};

struct Match
{
    MatchKind kind = MatchKind::None;
    /// What the test names and what matched: a UUID, a tag, a user or a group.
    std::string text;

    bool IsMatch() const noexcept;
};

enum class TestOutcome : std::uint8_t
{
    Applicable,
    NoNetobj,
    NoTags,
    SplitTunnel,
    Disabled,
    NotMeant
};

/// What was decided of a test, and why. The two matches are looked for only when nothing before them has decided.
struct TestVerdict
{
    TestOutcome outcome = TestOutcome::NotMeant;
    Match tagsOrInstances;
    Match usersOrGroups;
};

/// Selects tests for one subject. Made once for a tree of tests, in a time that grows with what the subject has; the time
/// for a test then depends on the test alone.
///
/// Of a member that a test has twice, the first counts. A member of another type than expected counts as missing, and
/// what is no string in a list of strings is passed over.
class TestSelection
{
public:
    /// @param subject what it refers to outlives the selection, unchanged
    explicit TestSelection(const SelectionSubject& subject);

    /// Decides, and logs nothing.
    /// @param key under which the subject's tests know the test
    TestVerdict Judge(const Shared::Json::RapidJsonValue& testJson, std::string_view key) const;

    /// Judge(), with the log lines that tell it. True when the test is meant for the subject.
    bool IsTestApplicable(const Shared::Json::RapidJsonValue& testJson, std::string_view key) const;

    /// By UUIDs and tags alone; exact.
    Match MatchesTagsOrInstances(const Shared::Json::RapidJsonValue& testJson) const;

    /// By user and groups alone; upper and lower case letters of ASCII are the same. A test needs both members.
    Match MatchesUsersOrGroups(const Shared::Json::RapidJsonValue& testJson) const;

private:
    SelectionSubject m_subject;
    /// Keys of the tests that are switched off: few, while the map of all is too large to search for each test.
    std::unordered_set<std::string_view, Shared::Util::TextHash> m_disabled;
    std::unordered_set<std::string_view, Shared::Util::TextHash> m_tags;
    std::unordered_set<std::string_view, Shared::Util::CaseBlindHash, Shared::Util::CaseBlindEqual> m_groups;
};

/// Whether a test is one of a split tunnel, which this agent does not run.
bool IsSplitTunnelTest(const Shared::Json::RapidJsonValue& testJson);

/// Puts the lowest priority number first; tests of the same priority keep their order. A test whose key is not in `tests` is
/// dropped, with a warning in the log.
void SortByPriority(std::vector<MtrTest>& list, const TestMap& tests);
void SortByPriority(std::vector<CurlTest>& list, const TestMap& tests);

} // namespace AgentCore::Messaging
