#include "agentcore.messaging-responsehelper.hpp"

#include "agentcore.ops-exceptions.hpp"
#include "shared.appsettings-functions.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.log-functions.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.time-clock.hpp"
#include "wireprotocol.comms-functions.hpp"

#include <chrono>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Messaging
{

using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonValue;
using WireProtocol::Comms::InboundMessage;

namespace
{

/// Between two looks at the queue.
constexpr std::chrono::seconds LookInterval(1);
/// Looks for the user's groups, which are not subject to the setting.
constexpr std::uint32_t UserGroupLooks = 30;

// Codes of the server, with the numbers of HTTP.
constexpr std::int64_t Ok = 200;
constexpr std::int64_t BadRequest = 400;
constexpr std::int64_t NotFound = 404;
constexpr std::int64_t FirstInternalError = 500;
constexpr std::int64_t LastInternalError = 599;

bool IsPassedToCaller(std::int64_t code)
{
    return code == Ok || code == 301 || code == 302 || code == 303 || code == 307 || code == 308;
}

RegisterResponse ParseRegisterResponse(const std::string& payload)
{
    RegisterResponse response;
    if (!Shared::Protobuf::TryParseJSON(payload, response, Shared::Protobuf::UnknownFields::Ignore))
    {
        throw RuntimeException("Failed to parse RegisterResponse " + payload);
    }
    return response;
}

/// What the server orders with a refused request; Failure where it orders nothing that is known.
MessageResponseStatus ReadOrder(const RapidJsonDocument& document)
{
    const std::string action = document.GetOptionalValueByPath("action").GetString().GetValue();
    if (action == "reregister")
    {
        Shared::Log::Warn("Server has instructed this agent to forcibly reregister.");
        return MessageResponseStatus::Reregister;
    }
    if (action == "stop")
    {
        Shared::Log::Warn("Server has instructed this agent to shut down. This agent will now exit.");
        return MessageResponseStatus::Stop;
    }
    Shared::Log::Warn("Server has sent an unknown HTTP action: {}", action);
    return MessageResponseStatus::Failure;
}

/// The server puts the words for its error under "action".
void ReportError(const RapidJsonDocument& document, std::int64_t code)
{
    if (!document.GetOptionalValueByPath("error").HasValue())
    {
        return;
    }
    const std::string text = document.GetOptionalValueByPath("action").GetString().GetValue();
    if (!text.empty())
    {
        Shared::Log::Warn("Server responded with an error message: {}: {}", code, text);
    }
}

MessageResponseStatus JudgeServerResponse(const InboundMessage& message)
{
    const RapidJsonDocument document(message.Payload);
    const RapidJsonValue statusCode = document.GetOptionalValueByPath("statusCode");
    if (!statusCode.HasValue())
    {
        Shared::Log::Warn(
            "Expected a status code, but did not find one on the JSON payload for message ID {}",
            WireProtocol::Comms::FormatMessageId(message.MsgId));
        return MessageResponseStatus::Failure;
    }
    const std::int64_t code = statusCode.GetInt64().GetValue();
    if (code == Ok)
    {
        return MessageResponseStatus::Success;
    }
    if (code == BadRequest)
    {
        const MessageResponseStatus order = ReadOrder(document);
        if (order != MessageResponseStatus::Failure)
        {
            return order;
        }
    }
    if (code >= FirstInternalError)
    {
        Shared::Log::Warn("Server has encountered an internal error: {}", code);
    }
    ReportError(document, code);
    return MessageResponseStatus::Failure;
}

MessageResponseStatus JudgeConfigResponse(const InboundMessage& message)
{
    const RapidJsonDocument document(message.Payload);
    const RapidJsonValue success = document.GetOptionalValueByPath("success");
    if (success.IsNull())
    {
        throw RuntimeException("Nullable is null");
    }
    const auto value = success.GetBool();
    return value.HasValue() && value.GetValue() ? MessageResponseStatus::Success : MessageResponseStatus::Failure;
}

} // namespace

ResponseHelper::ResponseHelper(Queue* msgQueue) noexcept : e_msgQueue(msgQueue)
{
}

ResponseHelper::Queue& ResponseHelper::RequireQueue() const
{
    if (e_msgQueue == nullptr)
    {
        throw RuntimeException("msgQueue is null");
    }
    return *e_msgQueue;
}

RegisterResponse ResponseHelper::HandleRegistration() const
{
    Queue& queue = RequireQueue();
    const std::int64_t looks = Shared::AppSettings::GetResponseTimeout() / LookInterval;
    InboundMessage message;
    std::int64_t looked = 0;
    while (!queue.TakeFirst(
        [](const InboundMessage& candidate) { return candidate.MsgId == Messages::MSGIDS_AGENT_REGISTER_RESPONSE; },
        message))
    {
        if (++looked >= looks)
        {
            throw RuntimeException("Register success message timed out");
        }
        Shared::Time::SleepFor(LookInterval);
    }
    if (message.DeliveryFailed != 0)
    {
        throw RuntimeException("Server responded with Registration response failure");
    }
    RegisterResponse response = ParseRegisterResponse(message.Payload);
    HandleErrorResponses(response);
    return response;
}

MessageResponse ResponseHelper::HandleMessage(std::uint32_t seqNum, Messages::MsgIds msgId) const
{
    Queue& queue = RequireQueue();
    const std::int64_t looks = Shared::AppSettings::GetResponseTimeout() / LookInterval;
    InboundMessage message;
    std::int64_t looked = 0;
    while (!queue.TakeFirst([seqNum](const InboundMessage& candidate) { return candidate.SeqNum == seqNum; }, message))
    {
        // This wait sleeps after its last look too: the message has the whole of the time-out to come.
        Shared::Time::SleepFor(LookInterval);
        if (++looked >= looks)
        {
            throw RuntimeException(fmt::format(
                "Message of SeqNum {} and AgentMessageId {} timed out", seqNum,
                WireProtocol::Comms::FormatMessageId(static_cast<std::uint32_t>(msgId))));
        }
    }
    const bool isConfiguration = message.MsgId == Messages::MSGIDS_CONFIG_GET2_RESPONSE ||
        message.MsgId == Messages::MSGIDS_CONFIG_ATTACH_RESULT;
    return isConfiguration ? HandleConfigResponse(std::move(message)) : HandleServerResponse(std::move(message));
}

MessageResponse ResponseHelper::HandleUserGroupNotification() const
{
    Queue& queue = RequireQueue();
    InboundMessage message;
    std::uint32_t looked = 0;
    while (!queue.TakeFirst(
        [](const InboundMessage& candidate)
        { return candidate.MsgId == Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION; },
        message))
    {
        if (++looked >= UserGroupLooks)
        {
            throw RuntimeException("Message of type MSGIDS_AGENT_USER_GROUPS_NOTIFICATION timed out");
        }
        Shared::Time::SleepFor(LookInterval);
    }
    return {std::move(message), MessageResponseStatus::Success};
}

void ResponseHelper::HandleErrorResponses(const RegisterResponse& response) const
{
    const std::int64_t code = response.status_code();
    if (IsPassedToCaller(code))
    {
        return;
    }
    if (code == BadRequest)
    {
        throw Exception::ActionRequiredException(
            "Server requires an agent to take action, or a validation error occurred", response.action(),
            response.error());
    }
    if (code == NotFound)
    {
        throw RuntimeException("Server encountered a 404");
    }
    const bool isInternal = code >= FirstInternalError && code <= LastInternalError;
    throw RuntimeException(
        (isInternal ? "Server encountered an internal error: " : "Unknown response code encountered: ") +
        std::to_string(code));
}

MessageResponse ResponseHelper::HandleConfigResponse(InboundMessage message) const
{
    const MessageResponseStatus status = JudgeConfigResponse(message);
    return {std::move(message), status};
}

MessageResponse ResponseHelper::HandleServerResponse(InboundMessage message) const
{
    const MessageResponseStatus status = JudgeServerResponse(message);
    return {std::move(message), status};
}

} // namespace AgentCore::Messaging
