#include "agentcore.messaging-testselection.hpp"

#include "shared.exception-sourcelocation.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <source_location>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Messaging
{

using Shared::Json::RapidJsonValue;

namespace
{

/// What told why a test has a match or has none.
void LogMatch(const Match& match, std::string_view key)
{
    switch (match.kind)
    {
    case MatchKind::NoUsersField:
        Shared::Log::Warn("No users field was detected on config object {}.", key);
        break;
    case MatchKind::NoGroupsField:
        Shared::Log::Warn("No groups field was detected on config object {}.", key);
        break;
    case MatchKind::User:
        Shared::Log::Info("User {} matched for test {}.", match.text, key);
        break;
    case MatchKind::Group:
        Shared::Log::Info("Group {} matched for test {}.", match.text, key);
        break;
    case MatchKind::None:
    case MatchKind::Instance:
    case MatchKind::AllAgents:
    case MatchKind::Tag:
        break;
    }
}

void LogOutcome(TestOutcome outcome, std::string_view key)
{
    switch (outcome)
    {
    case TestOutcome::Applicable:
        break;
    case TestOutcome::NoNetobj:
        Shared::Log::Warn("Ignored test {} due to missing netobj field", key);
        break;
    case TestOutcome::NoTags:
        Shared::Log::Warn("Ignored test {} due to missing tags field", key);
        break;
    case TestOutcome::SplitTunnel:
        Shared::Log::Info("Ignoring split-tunnel MTR test {}", key);
        break;
    case TestOutcome::Disabled:
        Shared::Log::Warn("Ignored test {} as it's disabled", key);
        break;
    case TestOutcome::NotMeant:
        Shared::Log::Warn("Ignored test {} as it failed tags/instances and usergroups test.", key);
        break;
    }
}

void LogDiscarded(std::string_view key)
{
    // Under this name the line has always been known.
    Shared::Exception::SourceLocation place(std::source_location::current());
    place.function = "operator ()";
    Shared::Log::LogWarningAt(fmt::format("Discarding test {} as it was not found in the test config map", key), place);
}

template <typename Test>
void Sort(std::vector<Test>& list, const TestMap& tests)
{
    std::vector<std::pair<std::int32_t, Test*>> places;
    places.reserve(list.size());
    for (Test& test : list)
    {
        const auto found = tests.find(test.key);
        if (found != tests.end())
        {
            places.emplace_back(found->second.priority(), &test);
        }
        else
        {
            LogDiscarded(test.key);
        }
    }
    std::stable_sort(
        places.begin(), places.end(), [](const auto& one, const auto& other) { return one.first < other.first; });
    std::vector<Test> sorted;
    sorted.reserve(places.size());
    for (const auto& place : places)
    {
        sorted.push_back(std::move(*place.second));
    }
    list = std::move(sorted);
}

} // namespace

bool Match::IsMatch() const noexcept
{
    switch (kind)
    {
    case MatchKind::Instance:
    case MatchKind::AllAgents:
    case MatchKind::Tag:
    case MatchKind::User:
    case MatchKind::Group:
        return true;
    case MatchKind::None:
    case MatchKind::NoUsersField:
    case MatchKind::NoGroupsField:
        break;
    }
    return false;
}

TestSelection::TestSelection(const SelectionSubject& subject)
    : m_subject(subject), m_groups(subject.userGroups.groups().begin(), subject.userGroups.groups().end())
{
    for (const auto& [key, test] : subject.tests)
    {
        if (!test.enabled())
        {
            m_disabled.insert(key);
        }
    }
    m_tags.reserve(subject.tags.size());
    for (const Tag& tag : subject.tags)
    {
        m_tags.insert(tag.key);
    }
}

TestVerdict TestSelection::Judge(const RapidJsonValue& testJson, std::string_view key) const
{
    TestVerdict verdict;
    if (!testJson.GetMember("netobj").GetStringView().HasValue())
    {
        verdict.outcome = TestOutcome::NoNetobj;
    }
    else if (!testJson.GetMember("tags").IsArray())
    {
        verdict.outcome = TestOutcome::NoTags;
    }
    else if (IsSplitTunnelTest(testJson))
    {
        verdict.outcome = TestOutcome::SplitTunnel;
    }
    else if (m_disabled.contains(key))
    {
        verdict.outcome = TestOutcome::Disabled;
    }
    else
    {
        verdict.tagsOrInstances = MatchesTagsOrInstances(testJson);
        verdict.usersOrGroups = MatchesUsersOrGroups(testJson);
        const bool isMeant = verdict.tagsOrInstances.IsMatch() || verdict.usersOrGroups.IsMatch();
        verdict.outcome = isMeant ? TestOutcome::Applicable : TestOutcome::NotMeant;
    }
    return verdict;
}

bool TestSelection::IsTestApplicable(const RapidJsonValue& testJson, std::string_view key) const
{
    const TestVerdict verdict = Judge(testJson, key);
    LogMatch(verdict.usersOrGroups, key);
    LogOutcome(verdict.outcome, key);
    return verdict.outcome == TestOutcome::Applicable;
}

Match TestSelection::MatchesTagsOrInstances(const RapidJsonValue& testJson) const
{
    for (const RapidJsonValue instance : testJson.GetMember("instances").GetElements())
    {
        const auto text = instance.GetStringView();
        if (text.HasValue() && text.GetValue() == m_subject.agentUuid)
        {
            return {MatchKind::Instance, std::string(text.GetValue())};
        }
    }
    for (const RapidJsonValue tag : testJson.GetMember("tags").GetElements())
    {
        const auto text = tag.GetStringView();
        if (text.HasValue() && text.GetValue() == AllAgentsTag)
        {
            return {MatchKind::AllAgents, std::string(text.GetValue())};
        }
        if (text.HasValue() && m_tags.contains(text.GetValue()))
        {
            return {MatchKind::Tag, std::string(text.GetValue())};
        }
    }
    return {};
}

Match TestSelection::MatchesUsersOrGroups(const RapidJsonValue& testJson) const
{
    const RapidJsonValue users = testJson.GetMember("users");
    if (!users.IsArray())
    {
        return {MatchKind::NoUsersField, {}};
    }
    const RapidJsonValue groups = testJson.GetMember("groups");
    if (!groups.IsArray())
    {
        return {MatchKind::NoGroupsField, {}};
    }
    for (const RapidJsonValue user : users.GetElements())
    {
        const auto text = user.GetStringView();
        if (text.HasValue() && Shared::Util::EqualsIgnoreCase(text.GetValue(), m_subject.username))
        {
            return {MatchKind::User, std::string(text.GetValue())};
        }
    }
    for (const RapidJsonValue group : groups.GetElements())
    {
        const auto text = group.GetStringView();
        if (text.HasValue() && m_groups.contains(text.GetValue()))
        {
            return {MatchKind::Group, std::string(text.GetValue())};
        }
    }
    return {};
}

bool IsSplitTunnelTest(const RapidJsonValue& testJson)
{
    const auto isSplitTunnel = testJson.GetMember("mtr").GetMember("split_tunnel").GetBool();
    return isSplitTunnel.HasValue() && isSplitTunnel.GetValue();
}

void SortByPriority(std::vector<MtrTest>& list, const TestMap& tests)
{
    Sort(list, tests);
}

void SortByPriority(std::vector<CurlTest>& list, const TestMap& tests)
{
    Sort(list, tests);
}

} // namespace AgentCore::Messaging
