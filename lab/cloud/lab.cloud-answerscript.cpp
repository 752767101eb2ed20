#include "lab.cloud-answerscript.hpp"

#include "lab.cloud-request.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Lab::Cloud
{

namespace
{

/// Far from any number that the agent comes to.
constexpr std::uint32_t WrongNumberDistance = 1'000'000'000;

std::string WriteRefusal(const ScriptedAnswer& scripted)
{
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    const auto put = [&](const char* name, const std::optional<std::string>& text)
    {
        if (text)
        {
            writer.Key(name);
            writer.String(text->data(), static_cast<rapidjson::SizeType>(text->size()));
        }
    };
    writer.StartObject();
    if (IsForConfiguration(scripted.to))
    {
        writer.Key("success");
        writer.Bool(false);
    }
    else
    {
        writer.Key("statusCode");
        writer.Int(scripted.code);
    }
    put("error", scripted.error);
    put("action", scripted.action);
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace

AnswerScript::AnswerScript(std::vector<ScriptedAnswer> answers) : m_answers(std::move(answers))
{
}

std::optional<ScriptedAnswer> AnswerScript::Take(RequestKind kind)
{
    const auto found = std::find_if(
        m_answers.begin(), m_answers.end(), [&](const ScriptedAnswer& answer) { return answer.to == kind; });
    if (found == m_answers.end())
    {
        return std::nullopt;
    }
    const ScriptedAnswer taken = *found;
    if (found->times == 1)
    {
        m_answers.erase(found);
    }
    else if (found->times > 1)
    {
        --found->times;
    }
    return taken;
}

std::vector<Reply> Misanswer(const ScriptedAnswer& scripted, const Reply& good)
{
    Reply reply = good;
    reply.delay = scripted.delay;
    switch (scripted.way)
    {
    case AnswerWay::Good:
    case AnswerWay::Late:
        return {reply};
    case AnswerWay::Drop:
        return {};
    case AnswerWay::Refuse:
        reply.payload = WriteRefusal(scripted);
        return {reply};
    case AnswerWay::WrongNumber:
        reply.seqNumDistance = WrongNumberDistance;
        return {reply};
    case AnswerWay::Twice:
        return {reply, reply};
    case AnswerWay::Rubbish:
        reply.payload = NoJson;
        return {reply};
    case AnswerWay::Body:
        reply.payload = scripted.body;
        reply.msgId = scripted.msgId == 0 ? reply.msgId : scripted.msgId;
        return {reply};
    case AnswerWay::DeliveryFailure:
        reply.payload.clear();
        reply.status = Wire::StatusUnreachable;
        return {reply};
    }
    return {reply};
}

} // namespace Lab::Cloud
