#pragma once

#include "agentcore.messaging-configobjects.hpp"
#include "agentcore.messaging-objectgenerator.hpp"
#include "shared.log-configuration.hpp"
#include "shared.log-functions.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <user_groups.pb.h>

namespace Bench
{

/// How many names a test of a tree has.
struct NamesPerTest
{
    std::size_t users;
    std::size_t groups;
    std::size_t tags;
};

/// A test of a large company: named for teams and places, so that everything is looked up.
inline constexpr NamesPerTest Many = {100, 20, 10};
inline constexpr NamesPerTest Few = {10, 2, 1};

/// An id that looks like any other; all differ.
inline std::string Uuid(std::uint64_t number)
{
    const std::uint64_t mixed = (number + 1) * 0x9E3779B97F4A7C15;
    return fmt::format(
        "{:08x}-{:04x}-4{:03x}-8{:03x}-{:012x}", mixed >> 32, mixed >> 16 & 0xFFFF, mixed >> 4 & 0xFFF,
        number >> 36 & 0xFFF, number & 0xFFFFFFFFF);
}

inline std::string Group(std::uint64_t number)
{
    return fmt::format("CORP\\Region-{}-Department-{}-Members", number % 17, number);
}

/// An agent with 200 tags and its user with 500 groups.
class Subject
{
public:
    explicit Subject(std::size_t tests)
    {
        for (std::size_t i = 0; i < 200; ++i)
        {
            const auto id = Uuid(1'000'000'000 + i);
            m_tags.push_back({"/config/tags/" + id, "", id});
        }
        for (std::size_t i = 0; i < 500; ++i)
        {
            m_userGroups.add_groups(Group(1'000'000'000 + i));
        }
        for (std::size_t i = 0; i < tests; ++i)
        {
            Config::Test& test = m_tests["/config/mtr/" + Uuid(i)];
            test.set_enabled(true);
            test.set_priority(static_cast<std::int32_t>(i * 7919 % 1000));
        }
    }

    void TakeIn(std::string_view payload, std::vector<AgentCore::Messaging::MtrTest>& list) const
    {
        AgentCore::Messaging::ProcessMtrConfigMessage(
            payload, list, {m_tests, m_userGroups, m_tags, Uuid(2'000'000'000), "CORP\\user000000"});
    }

private:
    AgentCore::Messaging::TestMap m_tests;
    std::vector<AgentCore::Messaging::Tag> m_tags;
    UserGroups m_userGroups;
};

/// The answer with that many tests, of which the first of each `meantEvery` is meant for the user, by the last of its groups.
inline std::string MtrTree(std::size_t tests, const NamesPerTest& names, std::size_t meantEvery = 100)
{
    std::string text = R"({"success":true,"values":{"6b29fc40-ca47-1067-b31d-00dd010662da":{)";
    const auto list = [&text](std::string_view name, std::size_t count, const auto& item)
    {
        text.append(",\"").append(name).append("\":[");
        for (std::size_t i = 0; i < count; ++i)
        {
            text.append(i == 0 ? "\"" : ",\"").append(item(i)).append("\"");
        }
        text.append("]");
    };
    for (std::size_t i = 0; i < tests; ++i)
    {
        const bool isMeant = i % meantEvery == 0;
        text += fmt::format(
            R"({}"{}":{{"netobj":"{}","mtr":{{"l4_protocol":"tcp","port":443,"report_cycles":10,"interval":300,)"
            R"("split_tunnel":false}},"mu_run_tests_from_trusted_networks":true)",
            i == 0 ? "" : ",", Uuid(i), Uuid(i % 500));
        list("tags", names.tags, [i](std::size_t n) { return "/config/tags/" + Uuid(i * 31 + n); });
        list(
            "users", names.users,
            [i](std::size_t n) { return fmt::format("CORP\\\\user{:06}", (i * 131 + n) % 900'000 + 1); });
        list(
            "groups", names.groups,
            [&](std::size_t n)
            {
                const bool isUsers = isMeant && n + 1 == names.groups;
                auto group = Group(isUsers ? 1'000'000'000 + i % 500 : i * 17 + n);
                return group.insert(group.find('\\'), "\\");
            });
        text += "}";
    }
    return text += "}}}";
}

/// No line of the log is made, or those from level info on are, and go nowhere.
inline void SetLog(bool areLinesMade)
{
    Shared::Log::ConfigureLogging(
        static_cast<std::uint32_t>(Shared::Log::LoggerKind::Null),
        areLinesMade ? Shared::Log::Level::Info : Shared::Log::Level::Off, "", 0, 0);
}

} // namespace Bench
