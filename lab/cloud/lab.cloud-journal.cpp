#include "lab.cloud-journal.hpp"

#include "lab.json-functions.hpp"
#include "lab.wire-names.hpp"
#include "lab.wire-utf8.hpp"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <utility>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

namespace Lab::Cloud
{

namespace
{

using Shared::Concurrency::CriticalSection;
using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

constexpr std::string_view NameOf(Direction direction) noexcept
{
    return direction == Direction::FromAgent ? "from-agent" : "to-agent";
}

std::string ToHexadecimal(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes)
    {
        text += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
    return text;
}

void Put(Writer& writer, const char* name, std::string_view text)
{
    writer.Key(name);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void Put(Writer& writer, const char* name, std::uint64_t number)
{
    writer.Key(name);
    writer.Uint64(number);
}

void PutPayload(Writer& writer, std::string_view payload)
{
    Put(writer, "payloadSize", payload.size());
    const std::string_view kept =
        payload.size() > Journal::LargestPayload ? payload.substr(0, Journal::BeginningOfLarger) : payload;
    if (kept.size() == payload.size() && Json::IsJson(payload))
    {
        writer.Key("payload");
        writer.RawValue(payload.data(), payload.size(), rapidjson::kObjectType);
    }
    else if (Wire::IsUtf8(kept))
    {
        Put(writer, "payloadText", kept);
    }
    else
    {
        Put(writer, "payloadHexadecimal", ToHexadecimal(kept));
    }
}

/// "2026-11-21T14:52:09.123Z"
std::string TimeText(Shared::Time::UtcTime time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    const auto rest = std::chrono::floor<std::chrono::milliseconds>(time - seconds);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", seconds, rest.count());
}

/// "registration-request"
std::string FileWord(std::uint32_t msgId)
{
    std::string word(Wire::NameOf(msgId));
    std::replace(word.begin(), word.end(), ' ', '-');
    return word;
}

} // namespace

std::string DescribeMessage(
    std::uint64_t number,
    std::string_view time,
    double seconds,
    Direction direction,
    std::string_view server,
    const Wire::Envelope& envelope)
{
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    Put(writer, "number", number);
    Put(writer, "time", time);
    writer.Key("seconds");
    writer.Double(seconds);
    Put(writer, "direction", NameOf(direction));
    Put(writer, "server", server);
    Put(writer, "name", Wire::NameOf(envelope.msgId));
    Put(writer, "msgId", envelope.msgId);
    Put(writer, "seqNum", envelope.seqNum);
    Put(writer, "flags", envelope.flags);
    Put(writer, "status", envelope.status);
    Put(writer, "srcComp", envelope.srcComp);
    Put(writer, "dstComp", envelope.dstComp);
    Put(writer, "srcCompUuid", envelope.srcCompUuid);
    Put(writer, "dstCompUuid", envelope.dstCompUuid);
    PutPayload(writer, envelope.payload);
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

Journal::Journal(std::filesystem::path folder) : m_folder(std::move(folder)), m_start(Shared::Time::MonotonicNow())
{
    std::filesystem::create_directories(m_folder);
}

std::uint64_t Journal::Keep(Direction direction, std::string_view server, const Wire::Envelope& envelope)
{
    Count(direction, envelope.msgId);
    std::uint64_t number = 0;
    {
        const CriticalSection hold(&m_lock);
        number = ++m_number;
    }
    const std::chrono::duration<double> since = Shared::Time::MonotonicNow() - m_start;
    const auto file = m_folder /
        fmt::format("{:04}-{}-{}-{}.json", number, NameOf(direction), envelope.msgId, FileWord(envelope.msgId));
    std::ofstream(file, std::ios::binary)
        << DescribeMessage(number, TimeText(Shared::Time::UtcNow()), since.count(), direction, server, envelope);
    return number;
}

void Journal::Count(Direction direction, std::uint32_t msgId)
{
    const CriticalSection hold(&m_lock);
    ++m_counts[{direction, msgId}];
}

MessageCounts Journal::GetCounts() const
{
    const CriticalSection hold(&m_lock);
    return m_counts;
}

} // namespace Lab::Cloud
