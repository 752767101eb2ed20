#include "tools.velexplain-randomanswers.hpp"

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace Tools::VelExplain::Examples
{

namespace
{

using Choices = std::vector<std::string_view>;

class AnswerWriter
{
public:
    explicit AnswerWriter(std::uint32_t seed) : m_random(seed)
    {
    }

    Answers Write()
    {
        Answers answers;
        for (const auto& row : Requests)
        {
            if (!OneIn(10))
            {
                answers.byRequest[row.request] = {"file", WriteAnswer(row.request)};
            }
        }
        return answers;
    }

private:
    using ValueWriter = std::string (AnswerWriter::*)();

    std::size_t Below(std::size_t end)
    {
        return m_random() % end;
    }

    bool OneIn(std::size_t count)
    {
        return Below(count) == 0;
    }

    std::string Pick(const Choices& choices)
    {
        return std::string(choices[Below(choices.size())]);
    }

    std::string WriteList(const Choices& choices)
    {
        if (OneIn(10))
        {
            return Pick({"null", "7", R"("agent")", "{}"});
        }
        std::vector<std::string> elements(Below(4));
        for (auto& element : elements)
        {
            element = Pick(choices);
        }
        return fmt::format("[{}]", fmt::join(elements, ","));
    }

    std::string WriteMembers(const Choices& prefixes, ValueWriter value, std::size_t end)
    {
        if (OneIn(20))
        {
            return "[]";
        }
        std::vector<std::string> members(Below(end));
        for (auto& member : members)
        {
            const auto prefix = Pick(prefixes);
            const auto id = Pick({"a", "b", "c", "~/", ""});
            member = fmt::format(R"("{}{}":{})", prefix, id, (this->*value)());
        }
        return fmt::format("{{{}}}", fmt::join(members, ","));
    }

    void AddMember(std::string& object, std::string_view name, const std::string& value)
    {
        if (!OneIn(6))
        {
            object += fmt::format(R"(,"{}":{})", name, value);
        }
    }

    std::string WriteTest()
    {
        std::string test = R"({"x":0)";
        AddMember(test, "netobj", Pick({R"("u")", R"("v")", R"("v")", "7"}));
        AddMember(
            test, "tags",
            WriteList(
                {R"("/config/tags/a")", R"("/config/tags/b")", R"("3fff553d-527b-432a-acda-466e7e784e2a")", "7"}));
        AddMember(test, "users", WriteList({R"("jo")", R"("JO")", R"("no")", "null"}));
        AddMember(test, "groups", WriteList({R"("g")", R"("G")", R"("h")", "[]"}));
        AddMember(test, "instances", WriteList({R"("agent")", R"("AGENT")", "1"}));
        AddMember(test, "mtr", Pick({"{}", "{}", R"({"split_tunnel":true})", "7"}));
        test += "}";
        return OneIn(20) ? "[]" : test;
    }

    std::string WriteMapEntry()
    {
        return Pick(
            {R"({"enabled":true,"priority":1})", R"({"enabled":true,"priority":-7})", R"({"enabled":true})", "{}",
             R"({"enabled":7})", R"({"enabled":true,"priority":1e99})"});
    }

    std::string WriteObject()
    {
        return Pick(
            {R"({"uuid":"u","name":"U","ips":["1","1"]})", R"({"uuid":"v","name":"V"})", R"({"uuid":"v"})", "7"});
    }

    std::string WriteTagValue()
    {
        return Pick({R"("value")", "7", R"("")"});
    }

    std::string WriteEntries(Request request)
    {
        switch (request)
        {
        case Request::NetworkObjects:
            return WriteMembers({""}, &AnswerWriter::WriteObject, 7);
        case Request::Tests:
            return fmt::format(
                R"({{"/config/tests":{}}})",
                WriteMembers({"/config/mtr/", "/config/ete/", "/config/curl/"}, &AnswerWriter::WriteMapEntry, 20));
        case Request::Tags:
            return WriteMembers({""}, &AnswerWriter::WriteTagValue, 7);
        default:
            return WriteMembers({""}, &AnswerWriter::WriteTest, 7);
        }
    }

    std::string WriteAnswer(Request request)
    {
        if (request == Request::UserGroups)
        {
            return fmt::format(R"({{"user":"jo","groups":{}}})", WriteList({R"("g")", R"("x")"}));
        }
        const auto success = OneIn(10) ? Pick({"false", "null", R"("true")"}) : std::string("true");
        const auto first = OneIn(6) ? "other" : RandomAgent;
        const auto entries = WriteEntries(request);
        const auto more = WriteEntries(request);
        return fmt::format(R"({{"success":{},"values":{{"{}":{},"last":{}}}}})", success, first, entries, more);
    }

    std::mt19937 m_random;
};

} // namespace

Answers MakeRandomAnswers(std::uint32_t seed)
{
    return AnswerWriter(seed).Write();
}

} // namespace Tools::VelExplain::Examples
