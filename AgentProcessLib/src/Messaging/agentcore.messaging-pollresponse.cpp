#include "agentcore.messaging-pollresponse.hpp"

#include "shared.exception-exceptions.hpp"

#include <rapidjson/document.h>

namespace AgentCore::Messaging
{

namespace
{

[[noreturn]] void ThrowUnreadable(const std::string& payload)
{
    throw Shared::Exception::RuntimeException("Failed to parse PollResponse " + payload);
}

} // namespace

bool AsksForConfiguration(const std::string& payload)
{
    // Iterative, as nesting comes from outside and must not use up the stack.
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(payload.data(), payload.size());
    if (document.HasParseError() || !document.IsObject())
    {
        ThrowUnreadable(payload);
    }
    const auto found = document.FindMember("fetchConfig");
    if (found == document.MemberEnd() || found->value.IsNull())
    {
        return false;
    }
    if (!found->value.IsBool())
    {
        ThrowUnreadable(payload);
    }
    return found->value.GetBool();
}

} // namespace AgentCore::Messaging
