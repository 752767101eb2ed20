#include "lab.cloud-responder.hpp"

#include "lab.cloud-request.hpp"
#include "lab.json-functions.hpp"
#include "lab.scenario-catalogue.hpp"
#include "lab.wire-names.hpp"
#include "shared.time-clock.hpp"

#include <optional>
#include <utility>

namespace Lab::Cloud
{

namespace
{

namespace MsgId = Wire::MsgId;

constexpr const char* AllIsWell = R"({"statusCode":200})";

rapidjson::Value Copy(std::string_view text, rapidjson::Document& document)
{
    return {text.data(), static_cast<rapidjson::SizeType>(text.size()), document.GetAllocator()};
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

/// What one owner has of what is asked for.
rapidjson::Value EntriesFor(
    const rapidjson::Value& request, const rapidjson::Value& configuration, rapidjson::Document& answer)
{
    auto& allocator = answer.GetAllocator();
    rapidjson::Value entries(rapidjson::kObjectType);
    for (const std::string& tree : PathsOf(request, "trees"))
    {
        const rapidjson::Value* const found = Json::FindMember(configuration, tree);
        if (found != nullptr && found->IsObject())
        {
            for (const auto& member : found->GetObject())
            {
                entries.AddMember(
                    rapidjson::Value(member.name, allocator), rapidjson::Value(member.value, allocator), allocator);
            }
        }
    }
    for (const std::string& key : PathsOf(request, "keys"))
    {
        const rapidjson::Value* const found = Json::FindMember(configuration, key);
        if (found != nullptr && !found->IsNull())
        {
            entries.AddMember(Copy(key, answer), rapidjson::Value(*found, allocator), allocator);
        }
    }
    return entries;
}

/// An owner who has nothing has this.
const rapidjson::Value& NoConfiguration()
{
    static const rapidjson::Value s_none(rapidjson::kObjectType);
    return s_none;
}

std::vector<Owner> OwnersInOrder(const std::vector<OtherOwner>& others, const Owner& agent)
{
    std::vector<Owner> owners;
    const auto add = [&](bool first)
    {
        for (const OtherOwner& other : others)
        {
            if (other.isFirst == first)
            {
                owners.push_back({other.uuid, other.configuration ? *other.configuration : NoConfiguration()});
            }
        }
    };
    add(true);
    owners.push_back(agent);
    add(false);
    return owners;
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
    envelope.seqNum = request.seqNum + reply.seqNumDistance;
    envelope.msgId = reply.msgId;
    envelope.srcComp = request.dstComp;
    envelope.dstComp = request.srcComp;
    envelope.dstCompUuid = request.srcCompUuid;
    envelope.flags = reply.flags;
    envelope.status = reply.status;
    envelope.payload = reply.payload;
    return envelope;
}

std::string BuildConfiguration(const rapidjson::Value& request, const std::vector<Owner>& owners)
{
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    rapidjson::Value values(rapidjson::kObjectType);
    for (const Owner& owner : owners)
    {
        values.AddMember(Copy(owner.uuid, answer), EntriesFor(request, owner.configuration, answer), allocator);
    }
    answer.AddMember("success", true, allocator);
    answer.AddMember("values", values, allocator);
    return Json::ToText(answer);
}

Responder::Responder(const Scenario& scenario)
    : m_desk(scenario.cloud),
      m_script(scenario.cloud.answers),
      m_groups(scenario.user.groups),
      m_configuration(rapidjson::kObjectType),
      m_otherOwners(scenario.cloud.owners)
{
    if (scenario.cloud.configuration)
    {
        m_configuration.CopyFrom(*scenario.cloud.configuration, m_configuration.GetAllocator());
    }
}

Response Responder::Respond(const Wire::Envelope& request, std::string_view server)
{
    Response response;
    if ((request.flags & Wire::FlagAcknowledgementExpected) != 0)
    {
        Reply acknowledgement;
        acknowledgement.msgId = request.msgId;
        acknowledgement.flags = Wire::FlagAcknowledgement;
        response.replies.push_back(acknowledgement);
    }
    const std::optional<Reply> answer = Answer(request, server);
    if (request.msgId == MsgId::RegisterRequest && m_desk.GetLastAnswer() != AnswerKind::Success)
    {
        response.how = NameOf(m_desk.GetLastAnswer());
    }
    const std::optional<RequestKind> kind = KindOf(request);
    const std::optional<ScriptedAnswer> scripted = kind ? m_script.Take(*kind) : std::nullopt;
    if (scripted && answer)
    {
        response.how = scripted->way == AnswerWay::Good ? std::string_view() : NameOf(scripted->way);
        for (Reply& reply : Misanswer(*scripted, *answer))
        {
            response.replies.push_back(std::move(reply));
        }
    }
    else if (answer)
    {
        response.replies.push_back(*answer);
    }
    return response;
}

void Responder::ChangeConfiguration(const rapidjson::Value& patch)
{
    m_configuration = Json::Merge(m_configuration, patch);
}

void Responder::ChangeGroups(std::vector<std::string> groups)
{
    m_groups = std::move(groups);
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
    switch (request.msgId)
    {
    case MsgId::StartupRequest:
        return MakeReply(MsgId::StartupResponse, AllIsWell);
    case MsgId::PollRequest:
        return MakeReply(MsgId::PollResponse, AllIsWell);
    case MsgId::RegisterRequest:
        return m_desk.Answer(request.payload, server);
    case MsgId::ConfigGet2Request:
        return AnswerConfiguration(request.payload);
    case MsgId::UserGroupsRequest:
        m_user = Json::TextMember(ParseOrNothing(request.payload), "user");
        return TellGroups();
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
    reply.payload = BuildConfiguration(request, OwnersInOrder(m_otherOwners, {m_desk.GetAgentUuid(), m_configuration}));
    return reply;
}

Reply Responder::TellGroups() const
{
    rapidjson::Document answer(rapidjson::kObjectType);
    auto& allocator = answer.GetAllocator();
    answer.AddMember("user", Copy(m_user, answer), allocator);
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
