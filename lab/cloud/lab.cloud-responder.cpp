#include "lab.cloud-responder.hpp"

#include "lab.json-functions.hpp"
#include "lab.wire-names.hpp"
#include "shared.time-clock.hpp"

#include <array>
#include <utility>

namespace Lab::Cloud
{

namespace
{

namespace MsgId = Wire::MsgId;

/// Requests whose answer says nothing but that all is well.
struct PlainAnswer
{
    std::uint32_t request;
    std::uint32_t response;
};

constexpr std::array<PlainAnswer, 2> PlainAnswers = {
    {{MsgId::StartupRequest, MsgId::StartupResponse}, {MsgId::PollRequest, MsgId::PollResponse}}};

rapidjson::Value Copy(std::string_view text, rapidjson::Document& document)
{
    return {text.data(), static_cast<rapidjson::SizeType>(text.size()), document.GetAllocator()};
}

std::vector<std::string> TextsOf(const rapidjson::Value& request, std::string_view member)
{
    std::vector<std::string> texts;
    const rapidjson::Value* const list = Json::FindMember(request, member);
    if (list != nullptr && list->IsArray())
    {
        for (const rapidjson::Value& entry : list->GetArray())
        {
            if (entry.IsString())
            {
                texts.emplace_back(entry.GetString(), entry.GetStringLength());
            }
        }
    }
    return texts;
}

rapidjson::Document ParseOrNothing(std::string_view payload)
{
    try
    {
        return Json::Parse(payload);
    }
    catch (const Json::JsonError&)
    {
        return {};
    }
}

Reply MakeReply(std::uint32_t msgId, const char* payload)
{
    Reply reply;
    reply.msgId = msgId;
    reply.payload = payload;
    return reply;
}

} // namespace

Wire::Envelope Address(const Reply& reply, const Wire::Envelope& request)
{
    Wire::Envelope envelope;
    envelope.seqNum = request.seqNum;
    envelope.msgId = reply.msgId;
    envelope.srcComp = request.dstComp;
    envelope.dstComp = request.srcComp;
    envelope.dstCompUuid = request.srcCompUuid;
    envelope.flags = reply.flags;
    envelope.status = reply.status;
    envelope.payload = reply.payload;
    return envelope;
}

std::string BuildConfiguration(
    const rapidjson::Value& request, const rapidjson::Value* configuration, std::string_view agentUuid)
{
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    rapidjson::Value entries(rapidjson::kObjectType);
    for (const std::string& tree : TextsOf(request, "trees"))
    {
        const rapidjson::Value* const found = configuration ? Json::FindMember(*configuration, tree) : nullptr;
        if (found != nullptr && found->IsObject())
        {
            for (const auto& member : found->GetObject())
            {
                entries.AddMember(
                    rapidjson::Value(member.name, allocator), rapidjson::Value(member.value, allocator), allocator);
            }
        }
    }
    for (const std::string& key : TextsOf(request, "keys"))
    {
        if (const rapidjson::Value* const found = configuration ? Json::FindMember(*configuration, key) : nullptr)
        {
            entries.AddMember(Copy(key, answer), rapidjson::Value(*found, allocator), allocator);
        }
    }
    rapidjson::Value values(rapidjson::kObjectType);
    values.AddMember(Copy(agentUuid, answer), entries, allocator);
    answer.AddMember("success", true, allocator);
    answer.AddMember("values", values, allocator);
    return Json::ToText(answer);
}

Responder::Responder(const Scenario& scenario)
    : m_desk(scenario.cloud), m_groups(scenario.user.groups), m_configuration(scenario.cloud.configuration)
{
}

std::vector<Reply> Responder::Respond(const Wire::Envelope& request, std::string_view server)
{
    std::vector<Reply> replies;
    if ((request.flags & Wire::FlagAcknowledgementExpected) != 0)
    {
        Reply acknowledgement;
        acknowledgement.msgId = request.msgId;
        acknowledgement.flags = Wire::FlagAcknowledgement;
        replies.push_back(acknowledgement);
    }
    if (std::optional<Reply> answer = Answer(request, server))
    {
        replies.push_back(std::move(*answer));
    }
    return replies;
}

Reply Responder::Greet()
{
    Reply reply;
    reply.msgId = MsgId::RouterFeatures;
    reply.payload = "{}";
    reply.flags = 0;
    return reply;
}

const RegistrationDesk& Responder::GetDesk() const noexcept
{
    return m_desk;
}

std::optional<Reply> Responder::Answer(const Wire::Envelope& request, std::string_view server)
{
    for (const PlainAnswer& plain : PlainAnswers)
    {
        if (plain.request == request.msgId)
        {
            return MakeReply(plain.response, R"({"statusCode":200})");
        }
    }
    switch (request.msgId)
    {
    case MsgId::RegisterRequest:
        return m_desk.Answer(request.payload, server);
    case MsgId::ConfigGet2Request:
        return AnswerConfiguration(request.payload);
    case MsgId::UserGroupsRequest:
        return AnswerUserGroups(request.payload);
    default:
        return std::nullopt;
    }
}

Reply Responder::AnswerConfiguration(std::string_view payload) const
{
    const rapidjson::Document request = ParseOrNothing(payload);
    if (!request.IsObject())
    {
        return MakeReply(MsgId::ConfigGet2Response, R"({"success":false,"error":"the request is no JSON object"})");
    }
    Reply reply;
    reply.msgId = MsgId::ConfigGet2Response;
    reply.payload = BuildConfiguration(request, m_configuration.get(), m_desk.GetAgentUuid());
    return reply;
}

Reply Responder::AnswerUserGroups(std::string_view payload) const
{
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    answer.AddMember("user", Copy(Json::TextMember(ParseOrNothing(payload), "user"), answer), allocator);
    rapidjson::Value groups(rapidjson::kArrayType);
    for (const std::string& group : m_groups)
    {
        groups.PushBack(Copy(group, answer), allocator);
    }
    answer.AddMember("groups", groups, allocator);
    // A number of 64 bits is a text in the JSON of these messages.
    answer.AddMember("groupsTimestamp", Copy(std::to_string(Shared::Time::EpochSeconds()), answer), allocator);
    Reply reply;
    reply.msgId = MsgId::UserGroupsNotification;
    reply.payload = Json::ToText(answer);
    // It tells of something, and answers nothing.
    reply.flags = 0;
    return reply;
}

} // namespace Lab::Cloud
