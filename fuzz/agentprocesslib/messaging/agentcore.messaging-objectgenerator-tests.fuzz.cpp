// Any text as an answer with the map of tests. The map holds what the library makes of the first entry of each name that it
// can read, and nothing else; and what it holds is read again from its own JSON text.

#include "agentcore.messaging-objectgenerator.hpp"
#include "fuzz.configurationanswers.hpp"
#include "fuzz.silence.hpp"
#include "shared.protobuf-functions.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using namespace Fuzz;

TestMap ReadSlowly(const RapidJsonDocument& answer)
{
    TestMap tests;
    for (const RapidJsonMember entry :
         Find(Find(Find(answer.GetRoot(), "values"), "agent"), "/config/tests").GetMembers())
    {
        Config::Test test;
        const bool isRead =
            Shared::Protobuf::TryParseJSON(entry.value.GetJsonText(), test, Shared::Protobuf::UnknownFields::Ignore);
        if (isRead && !tests.contains(entry.name))
        {
            tests[std::string(entry.name)] = test;
        }
    }
    return tests;
}

void CheckAgain(const TestMap& tests)
{
    RapidJsonDocument entries;
    for (const auto& [key, test] : tests)
    {
        entries.Add(key, RapidJsonDocument(Shared::Protobuf::GenerateJSONFrom(test)));
    }
    RapidJsonDocument owner;
    owner.Add("/config/tests", entries);
    RapidJsonDocument values;
    values.Add("agent", owner);
    RapidJsonDocument answer;
    answer.Add("success", RapidJsonDocument("true"));
    answer.Add("values", values);
    TestMap again;
    AgentCore::Messaging::ProcessTestsConfigMessage(answer.GetJsonText(), "agent", again);
    Require(again == tests);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto tests = Run<TestMap>(
        text, {{"old", Config::Test()}},
        [](std::string_view payload, TestMap& target)
        { AgentCore::Messaging::ProcessTestsConfigMessage(payload, "agent", target); });
    const auto answer = Parse(text);
    const auto succeeded = answer ? Succeeded(*answer) : std::nullopt;
    Require(tests.has_value() == succeeded.has_value());
    if (tests)
    {
        // A pointer, other than the search by name, also finds its way through arrays; but the agent's name is no index.
        Require(*tests == (*succeeded ? ReadSlowly(*answer) : TestMap()));
        CheckAgain(*tests);
    }
    return 0;
}
