#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.messaging-testselection.hpp"
#include "fuzz.require.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <google/protobuf/util/message_differencer.h>

/// What the fuzz targets of the answers with configuration share.
namespace Fuzz
{

using AgentCore::Messaging::TestMap;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonValue;

/// An agent and its user, the same for every input.
struct Subject
{
    Subject()
    {
        for (const std::string kind : {"mtr", "ete", "curl"})
        {
            Add("/config/" + kind + "/a", true, 3);
            Add("/config/" + kind + "/b", true, 1);
            Add("/config/" + kind + "/c", true, 3);
            Add("/config/" + kind + "/", true, -5);
            Add("/config/" + kind + "/off", false, 0);
        }
        userGroups.add_groups("Staff");
        userGroups.add_groups("Long Name Of A Group");
        userGroups.add_groups("\xC3\x89t");
    }

    AgentCore::Messaging::SelectionSubject View() const
    {
        return {tests, userGroups, tags, uuid, username};
    }

    TestMap tests;
    UserGroups userGroups;
    std::vector<AgentCore::Messaging::Tag> tags = {{"/config/tags/red", "", "red"}, {"/config/tags/", "", ""}};
    std::string uuid = "agent";
    std::string username = "D\\Anna";

private:
    void Add(const std::string& key, bool enabled, int priority)
    {
        tests[key].set_enabled(enabled);
        tests[key].set_priority(priority);
    }
};

inline bool operator==(const TestMap& one, const TestMap& other)
{
    return std::equal(
        one.begin(), one.end(), other.begin(), other.end(),
        [](const auto& first, const auto& second)
        {
            return first.first == second.first &&
                google::protobuf::util::MessageDifferencer::Equals(first.second, second.second);
        });
}

/// What `process` makes of `text` in a fresh target; nothing when it refuses it. In a target that holds something already
/// it has to make the same, and to leave an empty one when it refuses.
template <typename Target, typename Process>
std::optional<Target> Run(std::string_view text, const Target& used, const Process& process)
{
    const auto attempt = [&](Target& target)
    {
        try
        {
            process(text, target);
            return true;
        }
        catch (const Shared::Exception::RuntimeException&)
        {
            Require(target.empty());
            return false;
        }
    };
    Target fresh;
    Target again = used;
    const bool isTaken = attempt(fresh);
    Require(attempt(again) == isTaken && again == fresh);
    again = fresh;
    Require(attempt(again) == isTaken && again == fresh);
    return isTaken ? std::optional(std::move(fresh)) : std::nullopt;
}

/// The document, or nothing for a text that is none.
inline std::optional<RapidJsonDocument> Parse(std::string_view text)
{
    try
    {
        return std::optional<RapidJsonDocument>(std::in_place, text);
    }
    catch (const Shared::Exception::RuntimeException&)
    {
        return std::nullopt;
    }
}

/// The first member of that name, searched by hand.
inline RapidJsonValue Find(const RapidJsonValue& object, std::string_view name)
{
    const auto members = object.GetMembers();
    for (std::size_t i = 0; i < members.size(); ++i)
    {
        if (members[i].name == name)
        {
            return members[i].value;
        }
    }
    return {};
}

inline std::vector<std::string> Texts(const RapidJsonValue& list)
{
    std::vector<std::string> texts;
    for (const RapidJsonValue element : list.GetElements())
    {
        if (element.GetString().HasValue())
        {
            texts.push_back(element.GetString().GetValue());
        }
    }
    return texts;
}

/// The members of the first owner's object.
inline std::vector<RapidJsonMember> FirstEntries(const RapidJsonDocument& answer)
{
    std::vector<RapidJsonMember> entries;
    const auto owners = Find(answer.GetRoot(), "values").GetMembers();
    if (!owners.empty())
    {
        for (const RapidJsonMember entry : owners[0].value.GetMembers())
        {
            entries.push_back(entry);
        }
    }
    return entries;
}

/// Nothing for an answer that has no boolean "success".
inline std::optional<bool> Succeeded(const RapidJsonDocument& answer)
{
    const auto success = Find(answer.GetRoot(), "success").GetBool();
    return success.HasValue() ? std::optional(success.GetValue()) : std::nullopt;
}

} // namespace Fuzz
