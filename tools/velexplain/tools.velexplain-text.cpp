#include "tools.velexplain-text.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "tools.shared-printable.hpp"
#include "tools.velexplain-wording.hpp"

namespace Tools::VelExplain
{

namespace
{

using Shared::Log::Level;

constexpr std::string_view None = "none";

struct FateRow
{
    std::string_view title;
    std::array<Fate, 4> fates;
};

/// Under which title a test that does not run stands.
constexpr std::array<FateRow, 3> Titles{
    {{"Ignored", {Fate::NoNetobj, Fate::NoTags, Fate::SplitTunnel, Fate::NotMeant}},
     {"Not in the map of tests, and so dropped", {Fate::NotInMap}},
     {"Switched off", {Fate::Disabled}}}};

std::string Join(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const auto& text : texts)
    {
        joined.append(joined.empty() ? "" : ", ").append(Printable(text));
    }
    return joined.empty() ? std::string(None) : joined;
}

std::string JoinTags(const std::vector<AgentCore::Messaging::Tag>& tags)
{
    std::vector<std::string> texts;
    for (const auto& tag : tags)
    {
        texts.push_back(tag.value.empty() ? tag.id : fmt::format("{} (\"{}\")", tag.id, tag.value));
    }
    return Join(texts);
}

std::string ShowWithSource(const std::string& text, const std::string& source)
{
    if (text.empty())
    {
        return std::string(None);
    }
    return source.empty() ? Printable(text) : fmt::format("{} (from {})", Printable(text), Printable(source));
}

void AppendSubject(std::string& out, const Subject& subject)
{
    out += fmt::format("Agent   {}\n", ShowWithSource(subject.agentUuid, subject.agentSource));
    out += fmt::format("User    {}\n", ShowWithSource(subject.username, subject.userSource));
    out += fmt::format("Groups  {}\n", Join(subject.groups));
    out += fmt::format("Tags    {}\n", JoinTags(subject.tags));
}

std::string_view NameOf(Request request)
{
    const auto* const row = std::find_if(
        Requests.begin(), Requests.end(), [request](const RequestRow& known) { return known.request == request; });
    return row->name;
}

bool IsOfSingleTests(Request request)
{
    return std::any_of(
        TestKinds.begin(), TestKinds.end(), [request](const TestKindRow& row) { return row.request == request; });
}

/// What is worth reading of what the agent says of an answer. What it says of single tests is told with them.
std::vector<std::string> PickLines(const AnswerReport& answer)
{
    std::vector<std::string> lines;
    const bool isOfSingleTests = IsOfSingleTests(answer.request) && !answer.isFailure;
    for (const auto& line : answer.log)
    {
        if (!isOfSingleTests && line.level >= Level::Warning)
        {
            lines.push_back(Printable(line.text));
        }
    }
    return lines;
}

void AppendAnswers(std::string& out, const std::vector<AnswerReport>& answers)
{
    out += "\nAnswers\n";
    for (const auto& answer : answers)
    {
        const auto name = fmt::format("{}:", NameOf(answer.request));
        const auto source =
            answer.source.empty() ? std::string("none is there; read as an empty one") : Printable(answer.source);
        out += fmt::format("  {:<16} {}\n", name, source);
        for (const auto& line : PickLines(answer))
        {
            out += fmt::format("      the agent says: {}\n", line);
        }
        if (!answer.problem.empty())
        {
            out += fmt::format("      the agent cannot use it: {}\n", Printable(answer.problem));
        }
        if (answer.isFailure || !answer.problem.empty())
        {
            out += "      a running agent asks again until it gets one that it can use\n";
        }
    }
}

std::string ShowTarget(const TestReport& test)
{
    if (!test.target)
    {
        return fmt::format("no such network object ({})", Printable(test.netobj));
    }
    std::vector<std::string> addresses = test.target->domains;
    std::copy(test.target->ips.begin(), test.target->ips.end(), std::back_inserter(addresses));
    return fmt::format("{} ({})", Printable(test.target->name), addresses.empty() ? "no addresses" : Join(addresses));
}

void AppendTest(std::string& out, std::string_view place, const TestReport& test, const Subject& subject)
{
    const auto priority = test.priority ? fmt::format("priority {}", *test.priority) : std::string("no priority");
    out += fmt::format("    {}{}, {}\n", place, Printable(test.id), priority);
    if (test.fate != Fate::NoNetobj)
    {
        out += fmt::format("        target: {}\n", ShowTarget(test));
    }
    for (const auto& reason : DescribeReasons(test, subject))
    {
        out += fmt::format("        {}\n", Printable(reason));
    }
}

void AppendRunning(std::string& out, const KindReport& kind, const Subject& subject)
{
    if (kind.closing.empty())
    {
        out += "  None runs: the agent cannot use the answer\n";
        return;
    }
    out += kind.running.empty() ? "  None runs\n" : "  These run, in this order\n";
    for (std::size_t i = 0; i < kind.running.size(); ++i)
    {
        AppendTest(out, fmt::format("{}. ", i + 1), kind.running[i], subject);
    }
}

void AppendOthers(std::string& out, const KindReport& kind, const Subject& subject)
{
    for (const auto& row : Titles)
    {
        bool isFirst = true;
        for (const auto& test : kind.others)
        {
            if (std::find(row.fates.begin(), row.fates.end(), test.fate) != row.fates.end())
            {
                out += isFirst ? fmt::format("  {}\n", row.title) : std::string{};
                isFirst = false;
                AppendTest(out, "", test, subject);
            }
        }
    }
}

void AppendKind(std::string& out, const KindReport& kind, const Subject& subject)
{
    const auto* const row = std::find_if(
        TestKinds.begin(), TestKinds.end(), [&kind](const TestKindRow& known) { return known.kind == kind.kind; });
    out += fmt::format("\n{} tests\n", row->name);
    AppendRunning(out, kind, subject);
    AppendOthers(out, kind, subject);
    if (!kind.closing.empty())
    {
        out += fmt::format("  {}\n", Printable(kind.closing));
    }
}

void AppendContradictions(std::string& out, const std::vector<std::string>& contradictions)
{
    if (!contradictions.empty())
    {
        out += "\nInternal error: what the agent runs and how it judges single tests disagree\n";
    }
    for (const auto& contradiction : contradictions)
    {
        out += fmt::format("  {}\n", Printable(contradiction));
    }
}

} // namespace

std::string FormatText(const Report& report)
{
    std::string out;
    AppendSubject(out, report.subject);
    AppendAnswers(out, report.answers);
    for (const auto& kind : report.kinds)
    {
        AppendKind(out, kind, report.subject);
    }
    AppendContradictions(out, report.contradictions);
    return out;
}

} // namespace Tools::VelExplain
