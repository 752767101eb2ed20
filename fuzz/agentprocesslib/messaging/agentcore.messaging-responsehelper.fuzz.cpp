// Any text as an answer of the server, of each kind. It is judged or refused in the told ways; the same content in another
// writing is judged the same; the judgement is that of a second, straightforward reading of the members. An answer to a
// registration is taken from between other messages, which stay.

#include "agentcore.messaging-responsehelper.hpp"
#include "agentcore.ops-exceptions.hpp"
#include "fuzz.require.hpp"
#include "fuzz.silence.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-settingsstore.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using AgentCore::Exception::ActionRequiredException;
using AgentCore::Messaging::MessageResponseStatus;
using AgentCore::Messaging::ResponseHelper;
using Fuzz::Require;
using Shared::Exception::RuntimeException;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonValue;
using WireProtocol::Comms::InboundMessage;

constexpr std::uint32_t Config = 6006;
constexpr std::uint32_t Startup = 24101;
constexpr std::uint32_t Registration = 24100;

/// One process, one settings store, which is empty.
struct Surroundings
{
    Surroundings()
    {
        Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, Shared::AppSettings::Paths::Config);
    }

    Fuzz::Silence silence;
    TestSupport::TemporarySettingsStore store;
};

InboundMessage MessageOf(std::uint32_t msgId, const std::string& payload)
{
    InboundMessage message;
    message.MsgId = msgId;
    message.SeqNum = msgId + 1;
    message.Payload = payload;
    return message;
}

/// Nothing: refused with an exception that is told.
std::optional<MessageResponseStatus> Judge(std::uint32_t msgId, const std::string& payload)
{
    const ResponseHelper helper(nullptr);
    try
    {
        const auto response = msgId == Config ? helper.HandleConfigResponse(MessageOf(msgId, payload))
                                              : helper.HandleServerResponse(MessageOf(msgId, payload));
        Require(response.MsgId == msgId && response.SeqNum == msgId + 1 && response.Payload == payload);
        return response.Status;
    }
    catch (const RuntimeException&)
    {
        return std::nullopt;
    }
}

/// The first member of the name, or nothing.
RapidJsonValue Find(const RapidJsonDocument& document, const std::string& name)
{
    for (const RapidJsonMember& member : document.GetRoot().GetMembers())
    {
        if (member.name == name)
        {
            return member.value;
        }
    }
    return {};
}

std::optional<MessageResponseStatus> ExpectConfig(const RapidJsonDocument& document)
{
    const std::string success = Find(document, "success").GetJsonText();
    if (success == "null")
    {
        return std::nullopt;
    }
    return success == "true" ? MessageResponseStatus::Success : MessageResponseStatus::Failure;
}

std::optional<MessageResponseStatus> ExpectServer(const RapidJsonDocument& document)
{
    const RapidJsonValue code = Find(document, "statusCode");
    const auto number = code.GetInt64();
    if (!code.HasValue())
    {
        return MessageResponseStatus::Failure;
    }
    if (!number.HasValue())
    {
        return std::nullopt;
    }
    if (number.GetValue() == 200)
    {
        return MessageResponseStatus::Success;
    }
    const auto action = Find(document, "action").GetString();
    const bool isRefused = number.GetValue() == 400;
    if ((isRefused || Find(document, "error").HasValue()) && !action.HasValue())
    {
        return std::nullopt;
    }
    if (isRefused && action.GetValue() == "reregister")
    {
        return MessageResponseStatus::Reregister;
    }
    if (isRefused && action.GetValue() == "stop")
    {
        return MessageResponseStatus::Stop;
    }
    return MessageResponseStatus::Failure;
}

void CheckJudgements(const std::string& text)
{
    const auto config = Judge(Config, text);
    const auto server = Judge(Startup, text);
    std::optional<RapidJsonDocument> document;
    try
    {
        document.emplace(text);
    }
    catch (const RuntimeException&)
    {
        Require(!config && !server);
        return;
    }
    Require(config == ExpectConfig(*document) && server == ExpectServer(*document));
    const std::string again = document->GetJsonText();
    Require(config == Judge(Config, again) && server == Judge(Startup, again));
}

/// How an answer to a registration was taken.
struct Outcome
{
    /// Set when it was handed to the caller.
    std::optional<RegisterResponse> response;
    /// Of the exception otherwise.
    std::string text;
};

void RequireOrder(const ActionRequiredException& order, const std::string& payload)
{
    RegisterResponse response;
    Require(Shared::Protobuf::TryParseJSON(payload, response, Shared::Protobuf::UnknownFields::Ignore));
    Require(response.status_code() == 400 && order.GetResponseCode() == 400);
    Require(order.Action == response.action() && order.Error == response.error());
}

Outcome Register(const std::string& payload)
{
    ResponseHelper::Queue queue;
    queue.Push(MessageOf(Startup, "before"));
    queue.Push(MessageOf(Registration, payload));
    queue.Push(MessageOf(Config, "behind"));
    Outcome outcome;
    try
    {
        outcome.response = ResponseHelper(&queue).HandleRegistration();
    }
    catch (const ActionRequiredException& order)
    {
        RequireOrder(order, payload);
        outcome.text = order.what();
    }
    catch (const RuntimeException& failure)
    {
        outcome.text = failure.what();
    }
    Require(queue.Size() == 2 && queue.At(0).Payload == "before" && queue.At(1).Payload == "behind");
    return outcome;
}

void CheckRegistration(const std::string& text)
{
    static constexpr std::array<std::int32_t, 6> Passed = {200, 301, 302, 303, 307, 308};
    const Outcome outcome = Register(text);
    RegisterResponse response;
    if (!Shared::Protobuf::TryParseJSON(text, response, Shared::Protobuf::UnknownFields::Ignore))
    {
        // The text of an exception ends at a null character.
        Require(
            outcome.text.find(std::string("Failed to parse RegisterResponse ") + text.c_str()) != std::string::npos);
        return;
    }
    const bool isPassed = std::find(Passed.begin(), Passed.end(), response.status_code()) != Passed.end();
    Require(outcome.response.has_value() == isPassed && outcome.text.empty() == isPassed);
    Require(!isPassed || outcome.response->SerializeAsString() == response.SerializeAsString());
    const Outcome again = Register(Shared::Protobuf::GenerateJSONFrom(response));
    Require(again.text == outcome.text && again.response.has_value() == isPassed);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Surroundings s_surroundings;
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckJudgements(text);
    CheckRegistration(text);
    return 0;
}
