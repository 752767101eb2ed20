#pragma once

#include "fuzz.configurationanswers.hpp"

/// Any text as an answer with tests of one kind. What is kept, and in which order, is what a reading by plain loops keeps,
/// one text compared with the other; the verdict on each test names what these loops find.
namespace Fuzz
{

using AgentCore::Messaging::Match;
using AgentCore::Messaging::MatchKind;
using AgentCore::Messaging::TestOutcome;
using AgentCore::Messaging::TestVerdict;

inline bool Same(const Match& one, const Match& other)
{
    return one.kind == other.kind && one.text == other.text;
}

inline Match MatchTags(const RapidJsonValue& test, const Subject& subject)
{
    for (const std::string& instance : Texts(Find(test, "instances")))
    {
        if (instance == subject.uuid)
        {
            return {MatchKind::Instance, instance};
        }
    }
    for (const std::string& text : Texts(Find(test, "tags")))
    {
        if (text == "3fff553d-527b-432a-acda-466e7e784e2a")
        {
            return {MatchKind::AllAgents, text};
        }
        for (const auto& tag : subject.tags)
        {
            if (tag.key == text)
            {
                return {MatchKind::Tag, text};
            }
        }
    }
    return {};
}

inline Match MatchUsers(const RapidJsonValue& test, const Subject& subject)
{
    using Shared::Util::ToLower;
    if (!Find(test, "users").IsArray())
    {
        return {MatchKind::NoUsersField, {}};
    }
    if (!Find(test, "groups").IsArray())
    {
        return {MatchKind::NoGroupsField, {}};
    }
    for (const std::string& user : Texts(Find(test, "users")))
    {
        if (ToLower(user) == ToLower(subject.username))
        {
            return {MatchKind::User, user};
        }
    }
    for (const std::string& group : Texts(Find(test, "groups")))
    {
        for (const std::string& own : subject.userGroups.groups())
        {
            if (ToLower(group) == ToLower(own))
            {
                return {MatchKind::Group, group};
            }
        }
    }
    return {};
}

inline TestVerdict JudgeSlowly(const RapidJsonValue& test, const std::string& key, const Subject& subject)
{
    const auto known = subject.tests.find(key);
    const auto split = Find(Find(test, "mtr"), "split_tunnel").GetBool();
    if (!Find(test, "netobj").GetString().HasValue())
    {
        return {TestOutcome::NoNetobj, {}, {}};
    }
    if (!Find(test, "tags").IsArray())
    {
        return {TestOutcome::NoTags, {}, {}};
    }
    if (split.HasValue() && split.GetValue())
    {
        return {TestOutcome::SplitTunnel, {}, {}};
    }
    if (known != subject.tests.end() && !known->second.enabled())
    {
        return {TestOutcome::Disabled, {}, {}};
    }
    TestVerdict verdict{TestOutcome::NotMeant, MatchTags(test, subject), MatchUsers(test, subject)};
    if (verdict.tagsOrInstances.IsMatch() || verdict.usersOrGroups.IsMatch())
    {
        verdict.outcome = TestOutcome::Applicable;
    }
    return verdict;
}

/// Key and network object of the tests to keep, in order.
inline std::vector<std::pair<std::string, std::string>> SelectSlowly(
    const RapidJsonDocument& answer, const std::string& prefix, const Subject& subject)
{
    const AgentCore::Messaging::TestSelection selection(subject.View());
    std::vector<std::pair<std::string, std::string>> kept;
    for (const RapidJsonMember& entry : FirstEntries(answer))
    {
        const std::string key = prefix + std::string(entry.name);
        const TestVerdict expected = JudgeSlowly(entry.value, key, subject);
        const TestVerdict verdict = selection.Judge(entry.value, key);
        Require(verdict.outcome == expected.outcome);
        Require(Same(verdict.tagsOrInstances, expected.tagsOrInstances));
        Require(Same(verdict.usersOrGroups, expected.usersOrGroups));
        const bool isMeant = verdict.outcome == TestOutcome::Applicable;
        Require(selection.IsTestApplicable(entry.value, key) == isMeant);
        if (isMeant && subject.tests.contains(key))
        {
            kept.emplace_back(key, Find(entry.value, "netobj").GetString().GetValue());
        }
    }
    std::stable_sort(
        kept.begin(), kept.end(),
        [&](const auto& one, const auto& other)
        { return subject.tests.at(one.first).priority() < subject.tests.at(other.first).priority(); });
    return kept;
}

/// @param process one of the three functions, for lists of `Test`
template <typename Test, typename Process>
void CheckTestList(std::string_view text, const std::string& prefix, const Process& process)
{
    static const Subject s_subject;
    const auto list = Run<std::vector<Test>>(
        text, std::vector<Test>(3),
        [&](std::string_view payload, std::vector<Test>& target) { process(payload, target, s_subject.View()); });
    const auto answer = Parse(text);
    const auto succeeded = answer ? Succeeded(*answer) : std::nullopt;
    Require(list.has_value() == succeeded.has_value());
    if (!list)
    {
        return;
    }
    const auto expected =
        *succeeded ? SelectSlowly(*answer, prefix, s_subject) : std::vector<std::pair<std::string, std::string>>();
    Require(list->size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        const Test& test = (*list)[i];
        Require(test.key == expected[i].first && test.netobj == expected[i].second && prefix + test.id == test.key);
    }
}

} // namespace Fuzz
