#include "tools.velexplain-journal.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include <comms_protocol.pb.h>
#include <config_mgr.pb.h>
#include <msg_ids.pb.h>
#include <register.pb.h>
#include <user_groups.pb.h>

#include "shared.json-rapidjsondocument.hpp"
#include "shared.protobuf-functions.hpp"

namespace Tools::VelExplain
{

namespace
{

using Shared::Json::RapidJsonDocument;
using Shared::Protobuf::TryParseJSON;
using Shared::Protobuf::UnknownFields;

constexpr std::string_view FromAgent = "from-agent";
constexpr std::string_view ToAgent = "to-agent";

/// What is told by a file's name: "0007-from-agent-24000-registration-request.json".
struct FileName
{
    std::uint64_t number = 0;
    bool isFromAgent = false;
    std::uint32_t msgId = 0;
    std::filesystem::path path;
};

template <typename Number>
bool TakeNumber(std::string_view& text, Number& number)
{
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return result.ec == std::errc();
}

bool TakeWord(std::string_view& text, std::string_view word)
{
    const bool isThere = text.starts_with(word);
    text.remove_prefix(isThere ? word.size() : 0);
    return isThere;
}

std::optional<FileName> ReadFileName(const std::filesystem::path& path)
{
    FileName name;
    name.path = path;
    const auto whole = ToText(path.filename());
    std::string_view text = whole;
    if (!TakeNumber(text, name.number) || !TakeWord(text, "-"))
    {
        return std::nullopt;
    }
    name.isFromAgent = TakeWord(text, FromAgent);
    const bool isWhole = (name.isFromAgent || TakeWord(text, ToAgent)) && TakeWord(text, "-") &&
        TakeNumber(text, name.msgId) && TakeWord(text, "-") && text.ends_with(".json");
    return isWhole ? std::optional(name) : std::nullopt;
}

bool IsOfInterest(const FileName& name)
{
    constexpr std::array<Messages::MsgIds, 2> requests{
        Messages::MSGIDS_CONFIG_GET2_REQUEST, Messages::MSGIDS_AGENT_USER_GROUPS_REQUEST};
    constexpr std::array<Messages::MsgIds, 4> answers{
        Messages::MSGIDS_CONFIG_GET2_RESPONSE, Messages::MSGIDS_CONFIG_ATTACH_RESULT,
        Messages::MSGIDS_AGENT_REGISTER_RESPONSE, Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION};
    const auto isIt = [&name](Messages::MsgIds known)
    {
        return static_cast<std::uint32_t>(known) == name.msgId;
    };
    return name.isFromAgent ? std::any_of(requests.begin(), requests.end(), isIt)
                            : std::any_of(answers.begin(), answers.end(), isIt);
}

/// The files that say something of the chain, in the order of the messages.
std::vector<FileName> ListMessages(const std::filesystem::path& results)
{
    std::vector<FileName> names;
    std::error_code failure;
    std::filesystem::directory_iterator entries(results / "cloud", failure);
    for (; !failure && entries != std::filesystem::directory_iterator(); entries.increment(failure))
    {
        auto name = ReadFileName(entries->path());
        if (name && IsOfInterest(*name))
        {
            names.push_back(std::move(*name));
        }
    }
    if (failure)
    {
        throw InputError(
            ToText(results) + ": is no results folder of the laboratory: its folder \"cloud\" cannot be read");
    }
    std::sort(
        names.begin(), names.end(),
        [](const FileName& first, const FileName& second)
        { return std::tie(first.number, first.path) < std::tie(second.number, second.path); });
    return names;
}

struct Message
{
    std::uint32_t seqNum = 0;
    std::uint32_t status = 0;
    std::string payload;
};

std::string ReadPayload(const RapidJsonDocument& document, const std::string& source)
{
    const auto payload = document.GetOptionalValueByPath("payload");
    if (payload.HasValue())
    {
        return payload.GetJsonText();
    }
    const auto text = document.GetOptionalValueByPath("payloadText").GetString();
    const auto size = document.GetOptionalValueByPath("payloadSize").GetUint64();
    if (!text.HasValue() && document.GetOptionalValueByPath("payloadHexadecimal").HasValue())
    {
        return {};
    }
    if (!text.HasValue() || !size.HasValue())
    {
        throw InputError(source + ": is no message of the laboratory's cloud");
    }
    if (text.GetValue().size() < size.GetValue())
    {
        throw InputError(source + ": the message was too large for the laboratory to keep it whole");
    }
    return text.GetValue();
}

Message ReadMessage(const FileName& name)
{
    const auto source = ToText(name.path);
    const auto text = ReadInput(name.path);
    RequireJson(text, source);
    const RapidJsonDocument document(text);
    const auto seqNum = document.GetOptionalValueByPath("seqNum").GetUint32();
    const auto status = document.GetOptionalValueByPath("status").GetUint32();
    if (!seqNum.HasValue() || !status.HasValue())
    {
        throw InputError(source + ": is no message of the laboratory's cloud");
    }
    return {seqNum.GetValue(), status.GetValue(), ReadPayload(document, source)};
}

bool AsksFor(const google::protobuf::RepeatedPtrField<std::string>& asked, std::string_view wanted)
{
    return !wanted.empty() && std::find(asked.begin(), asked.end(), wanted) != asked.end();
}

/// Which of the chain's requests for configuration it is, if any.
std::optional<Request> Recognise(const std::string& payload)
{
    ConfigGet2Request asked;
    if (TryParseJSON(payload, asked, UnknownFields::Ignore))
    {
        for (const auto& row : Requests)
        {
            if (AsksFor(asked.trees(), row.tree) || AsksFor(asked.keys(), row.key))
            {
                return row.request;
            }
        }
    }
    return std::nullopt;
}

/// Goes through the messages as the agent did.
class Listener
{
public:
    void OnMessage(const FileName& name)
    {
        const auto message = ReadMessage(name);
        if (name.isFromAgent)
        {
            OnRequest(name, message);
        }
        else if (message.status == DELIVERY_STATUS_SUCCESS)
        {
            OnAnswer(name, message);
        }
    }

    Answers TakeAnswers()
    {
        return std::move(m_answers);
    }

private:
    void OnRequest(const FileName& name, const Message& message)
    {
        if (name.msgId == Messages::MSGIDS_CONFIG_GET2_REQUEST)
        {
            // Also when it is none of the chain's: an agent that is started again counts from the beginning.
            m_asked[message.seqNum] = Recognise(message.payload);
            return;
        }
        UserGroupsRequest request;
        if (TryParseJSON(message.payload, request, UnknownFields::Ignore))
        {
            m_answers.username = request.user();
            m_answers.userSource = ToText(name.path);
        }
    }

    void OnAnswer(const FileName& name, const Message& message)
    {
        if (name.msgId == Messages::MSGIDS_AGENT_REGISTER_RESPONSE)
        {
            OnRegistration(name, message);
        }
        else if (name.msgId == Messages::MSGIDS_AGENT_USER_GROUPS_NOTIFICATION)
        {
            m_answers.byRequest[Request::UserGroups] = {ToText(name.path), message.payload};
        }
        else if (const auto asked = m_asked.find(message.seqNum); asked != m_asked.end() && asked->second)
        {
            m_answers.byRequest[*asked->second] = {ToText(name.path), message.payload};
        }
    }

    void OnRegistration(const FileName& name, const Message& message)
    {
        constexpr std::int32_t accepted = 200;
        RegisterResponse response;
        if (TryParseJSON(message.payload, response, UnknownFields::Ignore) && response.status_code() == accepted)
        {
            m_answers.agentUuid = response.agent_uuid();
            m_answers.agentSource = ToText(name.path);
        }
    }

    std::map<std::uint32_t, std::optional<Request>> m_asked;
    Answers m_answers;
};

} // namespace

Answers ReadResults(const std::filesystem::path& results)
{
    Listener listener;
    for (const auto& name : ListMessages(results))
    {
        listener.OnMessage(name);
    }
    return listener.TakeAnswers();
}

} // namespace Tools::VelExplain
