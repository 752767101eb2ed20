// Any text as an answer with tags. Each member of the agent's object has its record, in order, and nothing else has.

#include "agentcore.messaging-objectgenerator.hpp"
#include "fuzz.configurationanswers.hpp"
#include "fuzz.silence.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using AgentCore::Messaging::Tag;

using namespace Fuzz;

std::vector<Tag> ReadSlowly(const RapidJsonDocument& answer)
{
    std::vector<Tag> tags;
    for (const RapidJsonMember entry : Find(Find(answer.GetRoot(), "values"), "agent").GetMembers())
    {
        const std::string id(entry.name);
        const auto value = entry.value.GetString();
        tags.push_back({"/config/tags/" + id, value.HasValue() ? value.GetValue() : "", id});
    }
    return tags;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Fuzz::Silence s_silence;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto tags = Run<std::vector<Tag>>(
        text, std::vector<Tag>(2),
        [](std::string_view payload, std::vector<Tag>& target)
        { AgentCore::Messaging::ProcessTagConfigMessage(payload, target, "agent"); });
    const auto answer = Parse(text);
    const auto succeeded = answer ? Succeeded(*answer) : std::nullopt;
    Require(tags.has_value() == succeeded.has_value());
    if (tags)
    {
        Require(*tags == (*succeeded ? ReadSlowly(*answer) : std::vector<Tag>()));
    }
    return 0;
}
