#include "lab.cloud-registration.hpp"

#include "lab.json-functions.hpp"
#include "lab.wire-names.hpp"

#include <algorithm>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Cloud
{

namespace
{

constexpr std::int32_t Ok = 200;
constexpr std::int32_t TemporaryRedirect = 307;
constexpr std::int32_t BadRequest = 400;
constexpr std::int32_t NotFound = 404;

/// The members of an answer that have a value.
struct ResponseText
{
    std::int32_t statusCode = Ok;
    std::string_view error = {};
    std::string_view action = {};
    std::string_view server = {};
    std::uint32_t accountId = 0;
    std::string_view agentUuid = {};
    std::string_view subTenantId = {};
};

std::string Write(const ResponseText& response)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    const auto put = [&](const char* name, std::string_view text)
    {
        if (!text.empty())
        {
            writer.Key(name);
            writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
        }
    };
    writer.StartObject();
    writer.Key("statusCode");
    writer.Int(response.statusCode);
    put("error", response.error);
    put("action", response.action);
    put("server", response.server);
    if (response.accountId != 0)
    {
        writer.Key("accountId");
        writer.Uint(response.accountId);
    }
    put("agentUuid", response.agentUuid);
    put("subTenantId", response.subTenantId);
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

Reply Respond(const ResponseText& response)
{
    Reply reply;
    reply.msgId = Wire::MsgId::RegisterResponse;
    reply.payload = Write(response);
    return reply;
}

} // namespace

RegistrationDesk::RegistrationDesk(const CloudBehaviour& behaviour)
    : m_answers(behaviour.registration), m_accountId(behaviour.accountId), m_agentUuid(behaviour.agentUuid)
{
}

std::optional<Reply> RegistrationDesk::Answer(std::string_view payload, std::string_view server)
{
    const RegistrationAnswer answer = m_answers[m_next];
    m_next = std::min(m_next + 1, m_answers.size() - 1);
    m_lastAnswer = answer.kind;

    Request request;
    try
    {
        const rapidjson::Document document = Json::Parse(payload);
        request = {Json::TextMember(document, "subTenantId"), Json::TextMember(document, "agentUuid")};
    }
    catch (const Json::JsonError& problem)
    {
        return Respond({.statusCode = BadRequest, .error = problem.what()});
    }

    std::optional<Reply> reply;
    switch (answer.kind)
    {
    case AnswerKind::Success:
    case AnswerKind::AnotherTenant:
        reply = Accept(answer, request, server);
        break;
    case AnswerKind::Redirect:
        reply = Respond({.statusCode = TemporaryRedirect, .server = answer.server});
        break;
    case AnswerKind::RefuseUuid:
        reply = Respond({.statusCode = BadRequest, .error = "Re-registration with different uuid not allowed"});
        break;
    case AnswerKind::Stop:
        reply = Respond({.statusCode = BadRequest, .error = "This agent is not wanted", .action = "stop"});
        break;
    case AnswerKind::NotFound:
        reply = Respond({.statusCode = NotFound});
        break;
    case AnswerKind::InternalError:
    case AnswerKind::Status:
        reply = Respond({.statusCode = answer.code});
        break;
    case AnswerKind::DeliveryFailure:
        reply = Reply{.msgId = Wire::MsgId::RegisterResponse, .status = Wire::StatusUnreachable};
        break;
    case AnswerKind::Rubbish:
        reply = Reply{.msgId = Wire::MsgId::RegisterResponse, .payload = NoJson};
        break;
    case AnswerKind::Silence:
        return std::nullopt;
    }
    reply->delay = answer.delay;
    return reply;
}

std::size_t RegistrationDesk::GetAccepted() const noexcept
{
    return m_accepted;
}

AnswerKind RegistrationDesk::GetLastAnswer() const noexcept
{
    return m_lastAnswer;
}

const std::string& RegistrationDesk::GetAgentUuid() const noexcept
{
    return m_agentUuid;
}

Reply RegistrationDesk::Accept(const RegistrationAnswer& answer, const Request& request, std::string_view server)
{
    const bool isOther = answer.kind == AnswerKind::AnotherTenant;
    if (!isOther)
    {
        ++m_accepted;
        m_agentUuid = request.agentUuid.empty() ? m_agentUuid : request.agentUuid;
    }
    const std::string subTenantId = request.subTenantId + (isOther ? "-of-somebody-else" : "");
    return Respond(
        {.statusCode = Ok,
         .server = answer.server.empty() ? server : std::string_view(answer.server),
         .accountId = m_accountId,
         .agentUuid = m_agentUuid,
         .subTenantId = subTenantId});
}

} // namespace Lab::Cloud
