#include "agentcore.messaging-pollresponse.hpp"

#include "shared.exception-exceptions.hpp"
#include "shared.protobuf-functions.hpp"

#include <poll.pb.h>

namespace AgentCore::Messaging
{

bool AsksForConfiguration(const std::string& payload)
{
    PollResponse response;
    if (!Shared::Protobuf::TryParseJSON(payload, response, Shared::Protobuf::UnknownFields::Ignore))
    {
        throw Shared::Exception::RuntimeException("Failed to parse PollResponse " + payload);
    }
    return response.fetch_config();
}

} // namespace AgentCore::Messaging
