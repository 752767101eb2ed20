#include "tools.velexplain-wording.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

namespace Tools::VelExplain
{

namespace
{

using AgentCore::Messaging::Match;
using AgentCore::Messaging::MatchKind;

/// "one user", or "4 users".
std::string Amount(std::size_t count, std::string_view thing)
{
    return count == 1 ? fmt::format("one {}", thing) : fmt::format("{} {}s", count, thing);
}

std::string DescribeTagRule(const std::string& key, const Subject& subject)
{
    const auto tag = std::find_if(
        subject.tags.begin(), subject.tags.end(), [&key](const auto& candidate) { return candidate.key == key; });
    const auto value =
        tag == subject.tags.end() || tag->value.empty() ? std::string{} : fmt::format(" (\"{}\")", tag->value);
    return fmt::format("its tag {}{} is a tag of this agent", key, value);
}

std::string DescribeInstances(const Named& named)
{
    return fmt::format("it names {}, and not this one", Amount(named.instances, "agent"));
}

std::string DescribeTags(const Named& named, const Subject& subject)
{
    if (named.tags == 0)
    {
        return "it has no tags";
    }
    const auto tags = Amount(named.tags, "tag");
    return subject.tags.empty()
        ? fmt::format("it has {}, and the agent has no tags", tags)
        : fmt::format("it has {}, and the agent has {}", tags, named.tags == 1 ? "others" : "none of them");
}

std::string DescribeUsers(const Named& named, const Subject& subject)
{
    if (named.users == 0)
    {
        return "it names no users";
    }
    const auto users = Amount(named.users, "user");
    return subject.username.empty() ? fmt::format("it names {}, and nobody is signed in", users)
                                    : fmt::format("it names {}, and not \"{}\"", users, subject.username);
}

std::string DescribeGroups(const Named& named, const Subject& subject)
{
    if (named.groups == 0)
    {
        return "it names no groups";
    }
    const auto groups = Amount(named.groups, "group");
    return fmt::format(
        "it names {}, and the user is in {}", groups,
        subject.groups.empty() ? "no group" : (named.groups == 1 ? "others" : "none of them"));
}

std::vector<std::string> DescribeRules(const TestReport& test, const Subject& subject)
{
    std::vector<std::string> rules;
    for (const auto* const match : {&test.tagsOrInstances, &test.usersOrGroups})
    {
        if (auto rule = DescribeRule(*match, subject); !rule.empty())
        {
            rules.push_back(std::move(rule));
        }
    }
    return rules;
}

std::vector<std::string> DescribeWhatWasLookedAt(const TestReport& test, const Subject& subject)
{
    std::vector<std::string> reasons;
    if (test.named.instances != 0)
    {
        reasons.push_back(DescribeInstances(test.named));
    }
    reasons.push_back(DescribeTags(test.named, subject));
    if (test.usersOrGroups.kind == MatchKind::NoUsersField)
    {
        reasons.emplace_back("it has no field for users, without which its groups do not count either");
    }
    else if (test.usersOrGroups.kind == MatchKind::NoGroupsField)
    {
        reasons.emplace_back("it has no field for groups, without which its users do not count either");
    }
    else
    {
        reasons.push_back(DescribeUsers(test.named, subject));
        reasons.push_back(DescribeGroups(test.named, subject));
    }
    return reasons;
}

} // namespace

std::string_view WordOf(Fate fate)
{
    constexpr std::array<std::string_view, 7> words{"runs",         "not-in-map", "no-netobj", "no-tags",
                                                    "split-tunnel", "disabled",   "not-meant"};
    return words.at(static_cast<std::size_t>(fate));
}

std::string_view WordOf(MatchKind kind)
{
    constexpr std::array<std::string_view, 8> words{"none",           "instance",        "all-agents", "tag",
                                                    "no-users-field", "no-groups-field", "user",       "group"};
    return words.at(static_cast<std::size_t>(kind));
}

std::string DescribeRule(const Match& match, const Subject& subject)
{
    switch (match.kind)
    {
    case MatchKind::Instance:
        return "names this agent";
    case MatchKind::AllAgents:
        return "meant for all agents";
    case MatchKind::Tag:
        return DescribeTagRule(match.text, subject);
    case MatchKind::User:
        return fmt::format("names the user \"{}\"", match.text);
    case MatchKind::Group:
        return fmt::format("names the user's group \"{}\"", match.text);
    case MatchKind::None:
    case MatchKind::NoUsersField:
    case MatchKind::NoGroupsField:
        break;
    }
    return {};
}

std::vector<std::string> DescribeReasons(const TestReport& test, const Subject& subject)
{
    switch (test.fate)
    {
    case Fate::Runs:
    case Fate::NotInMap:
        return DescribeRules(test, subject);
    case Fate::NoNetobj:
        return {"it names no network object: it has no netobj"};
    case Fate::NoTags:
        return {"it has no field for tags"};
    case Fate::SplitTunnel:
        return {"it is a split-tunnel test, which this agent does not run"};
    case Fate::Disabled:
        return {"it is switched off in the map of tests"};
    case Fate::NotMeant:
        break;
    }
    return DescribeWhatWasLookedAt(test, subject);
}

} // namespace Tools::VelExplain
