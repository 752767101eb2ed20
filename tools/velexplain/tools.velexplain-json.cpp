#include "tools.velexplain-json.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "tools.shared-jsonwriter.hpp"
#include "tools.velexplain-wording.hpp"

namespace Tools::VelExplain
{

namespace
{

void WriteTexts(JsonWriter& writer, std::string_view name, const std::vector<std::string>& texts)
{
    WriteKey(writer, name);
    writer.StartArray();
    for (const auto& text : texts)
    {
        WriteText(writer, text);
    }
    writer.EndArray();
}

/// Null for what is not known.
void WriteOptional(JsonWriter& writer, std::string_view name, const std::string& text)
{
    WriteKey(writer, name);
    if (text.empty())
    {
        writer.Null();
    }
    else
    {
        WriteText(writer, text);
    }
}

void WriteSubject(JsonWriter& writer, const Subject& subject)
{
    WriteOptional(writer, "agent", subject.agentUuid);
    WriteOptional(writer, "user", subject.username);
    WriteTexts(writer, "groups", subject.groups);
    WriteKey(writer, "tags");
    writer.StartArray();
    for (const auto& tag : subject.tags)
    {
        writer.StartObject();
        WriteMember(writer, "key", tag.key);
        WriteMember(writer, "value", tag.value);
        writer.EndObject();
    }
    writer.EndArray();
}

std::string_view WordOf(Shared::Log::Level level)
{
    constexpr std::array<std::string_view, 7> words{"trace", "debug", "info", "warning", "error", "critical", "off"};
    return words.at(static_cast<std::size_t>(level));
}

std::string_view WordOf(Request request)
{
    const auto* const row = std::find_if(
        Requests.begin(), Requests.end(), [request](const RequestRow& known) { return known.request == request; });
    return row->option.substr(2);
}

void WriteAnswer(JsonWriter& writer, const AnswerReport& answer)
{
    writer.StartObject();
    WriteMember(writer, "request", WordOf(answer.request));
    WriteOptional(writer, "source", answer.source);
    WriteOptional(writer, "problem", answer.problem);
    WriteKey(writer, "isFailure");
    writer.Bool(answer.isFailure);
    WriteKey(writer, "log");
    writer.StartArray();
    for (const auto& line : answer.log)
    {
        writer.StartObject();
        WriteMember(writer, "level", WordOf(line.level));
        WriteMember(writer, "text", line.text);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
}

void WriteTarget(JsonWriter& writer, const TestReport& test)
{
    WriteMember(writer, "netobj", test.netobj);
    WriteKey(writer, "target");
    if (!test.target)
    {
        writer.Null();
        return;
    }
    writer.StartObject();
    WriteMember(writer, "name", test.target->name);
    WriteTexts(writer, "domains", test.target->domains);
    WriteTexts(writer, "ips", test.target->ips);
    writer.EndObject();
}

void WriteMatch(JsonWriter& writer, std::string_view name, const AgentCore::Messaging::Match& match)
{
    WriteKey(writer, name);
    writer.StartObject();
    WriteMember(writer, "kind", VelExplain::WordOf(match.kind));
    WriteOptional(writer, "text", match.text);
    writer.EndObject();
}

void WritePriority(JsonWriter& writer, const TestReport& test)
{
    WriteKey(writer, "priority");
    if (test.priority)
    {
        writer.Int(*test.priority);
    }
    else
    {
        writer.Null();
    }
}

void WriteTests(JsonWriter& writer, std::string_view name, const std::vector<TestReport>& tests, const Subject& subject)
{
    WriteKey(writer, name);
    writer.StartArray();
    for (const auto& test : tests)
    {
        writer.StartObject();
        WriteMember(writer, "id", test.id);
        WriteMember(writer, "key", test.key);
        WritePriority(writer, test);
        WriteTarget(writer, test);
        WriteMember(writer, "fate", VelExplain::WordOf(test.fate));
        WriteMatch(writer, "tagsOrInstances", test.tagsOrInstances);
        WriteMatch(writer, "usersOrGroups", test.usersOrGroups);
        WriteTexts(writer, "reasons", DescribeReasons(test, subject));
        writer.EndObject();
    }
    writer.EndArray();
}

void WriteKind(JsonWriter& writer, const KindReport& kind, const Subject& subject)
{
    const auto* const row = std::find_if(
        TestKinds.begin(), TestKinds.end(), [&kind](const TestKindRow& known) { return known.kind == kind.kind; });
    writer.StartObject();
    WriteMember(writer, "kind", row->word);
    WriteTests(writer, "running", kind.running, subject);
    WriteTests(writer, "others", kind.others, subject);
    WriteOptional(writer, "closing", kind.closing);
    writer.EndObject();
}

} // namespace

std::string FormatJson(const Report& report)
{
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.SetIndent(' ', 2);
    writer.StartObject();
    WriteSubject(writer, report.subject);
    WriteKey(writer, "answers");
    writer.StartArray();
    for (const auto& answer : report.answers)
    {
        WriteAnswer(writer, answer);
    }
    writer.EndArray();
    WriteKey(writer, "kinds");
    writer.StartArray();
    for (const auto& kind : report.kinds)
    {
        WriteKind(writer, kind, report.subject);
    }
    writer.EndArray();
    WriteTexts(writer, "contradictions", report.contradictions);
    writer.EndObject();
    return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

} // namespace Tools::VelExplain
