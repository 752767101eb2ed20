#include "tools.velexplain-explain.hpp"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "agentcore.messaging-agentconfig.hpp"
#include "agentcore.messaging-objectgenerator.hpp"
#include "agentcore.messaging-testselection.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.log-memorylog.hpp"
#include "shared.protobuf-functions.hpp"
#include "shared.util-utf8.hpp"
#include "tools.shared-jsonwriter.hpp"
#include "tools.velexplain-ordering.hpp"

namespace Tools::VelExplain
{

namespace
{

using namespace AgentCore::Messaging;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonMember;
using Shared::Json::RapidJsonMembers;
using Shared::Log::MemoryLog;

/// In the place of a missing answer.
constexpr const char* EmptyAnswer = R"({"success":true,"values":{}})";

/// Some texts hold a whole answer.
std::string Shorten(std::string text)
{
    constexpr std::size_t longest = 300;
    if (text.size() > longest)
    {
        text.resize(longest);
        text = Shared::Util::Utf8::DropInvalid(text) + "...";
    }
    return text;
}

RapidJsonMembers GetOwners(const RapidJsonDocument& answer)
{
    return answer.GetRoot().GetMember("values").GetMembers();
}

/// Those that have configuration in the answers.
std::set<std::string> CollectOwners(const Answers& answers)
{
    std::set<std::string> owners;
    for (const auto& [request, answer] : answers.byRequest)
    {
        const RapidJsonDocument document(answer.text);
        for (const RapidJsonMember owner : GetOwners(document))
        {
            owners.emplace(owner.name);
        }
    }
    return owners;
}

void DecideAgent(Subject& subject, const Answers& answers, const Options& options)
{
    if (options.agentUuid || answers.agentUuid)
    {
        subject.agentUuid =
            Shared::Util::Utf8::DropInvalid(options.agentUuid ? *options.agentUuid : *answers.agentUuid);
        subject.agentSource = options.agentUuid ? "--agent" : answers.agentSource;
        return;
    }
    const auto owners = CollectOwners(answers);
    if (owners.size() > 1)
    {
        throw InputError(fmt::format(
            "the answers are for several owners; say by --agent which of them is meant: {}",
            Shorten(fmt::format("{}", fmt::join(owners, ", ")))));
    }
    if (!owners.empty())
    {
        subject.agentUuid = *owners.begin();
        subject.agentSource = "the answers, which have no other owner";
    }
}

/// @param toldByGroups whom the answer with the groups is about
void DecideUser(Subject& subject, const Answers& answers, const Options& options, const std::string& toldByGroups)
{
    if (options.username || answers.username)
    {
        subject.username = options.username ? *options.username : *answers.username;
        subject.userSource = options.username ? "--user" : answers.userSource;
        return;
    }
    subject.username = toldByGroups;
    subject.userSource = "the answer with the user's groups";
}

/// The answer that gives an agent these tags.
std::string MakeTagsAnswer(const std::string& agentUuid, const std::vector<std::string>& tagIds)
{
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    writer.Key("success");
    writer.Bool(true);
    writer.Key("values");
    writer.StartObject();
    WriteKey(writer, agentUuid);
    writer.StartObject();
    for (const auto& tagId : tagIds)
    {
        WriteMember(writer, tagId, "");
    }
    writer.EndObject();
    writer.EndObject();
    writer.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

/// What failed, without the place in the agent's code.
std::string DescribeFailure(const std::exception& failure)
{
    constexpr std::string_view separator = " --> ";
    const std::string text = failure.what();
    const auto place = text.find(separator);
    const bool namesPlace = text.starts_with("Exception in ") && place != std::string::npos;
    return Shorten(namesPlace ? text.substr(place + separator.size()) : text);
}

bool IsFailure(const RapidJsonDocument& answer)
{
    const auto success = answer.GetRoot().GetMember("success").GetBool();
    return success.HasValue() && !success.GetValue();
}

Fate ToFate(TestOutcome outcome, bool isInMap)
{
    switch (outcome)
    {
    case TestOutcome::Applicable:
        return isInMap ? Fate::Runs : Fate::NotInMap;
    case TestOutcome::NoNetobj:
        return Fate::NoNetobj;
    case TestOutcome::NoTags:
        return Fate::NoTags;
    case TestOutcome::SplitTunnel:
        return Fate::SplitTunnel;
    case TestOutcome::Disabled:
        return Fate::Disabled;
    case TestOutcome::NotMeant:
        break;
    }
    return Fate::NotMeant;
}

/// Has what the agent's state has while it fetches its configuration.
class Explainer
{
public:
    Explainer(const Answers& answers, const Options& options) : e_answers(answers), e_options(options)
    {
    }

    Report Explain()
    {
        DecideAgent(Subject(), e_answers, e_options);
        ReadSurroundings();
        DecideUser(Subject(), e_answers, e_options, m_userGroups.user());
        for (const auto& row : TestKinds)
        {
            if (e_options.only.empty() || e_options.only.contains(row.kind))
            {
                m_report.kinds.push_back(ExplainKind(row));
            }
        }
        const auto position = [](const AnswerReport& answer)
        {
            return static_cast<int>(answer.request);
        };
        std::sort(
            m_report.answers.begin(), m_report.answers.end(),
            [&position](const AnswerReport& first, const AnswerReport& second)
            { return position(first) < position(second); });
        return std::move(m_report);
    }

private:
    VelExplain::Subject& Subject()
    {
        return m_report.subject;
    }

    SelectionSubject GetSelectionSubject() const
    {
        const auto& subject = m_report.subject;
        return {m_tests, m_userGroups, subject.tags, subject.agentUuid, subject.username};
    }

    /// Everything but the tests themselves.
    void ReadSurroundings()
    {
        const std::string& agentUuid = Subject().agentUuid;
        Read(
            Request::NetworkObjects,
            [this](const std::string& text) { ProcessNetworkObjectConfigMessage(text, m_networkObjects); });
        for (const auto& object : m_networkObjects)
        {
            m_targets.try_emplace(object.uuid, &object);
        }
        Read(Request::Tests, [&](const std::string& text) { ProcessTestsConfigMessage(text, agentUuid, m_tests); });
        Read(Request::Tags, [&](const std::string& text) { ProcessTagConfigMessage(text, Subject().tags, agentUuid); });
        Read(
            Request::UserGroups, [this](const std::string& text) { m_userGroups = ParseUserGroupsNotification(text); });
        Subject().groups.assign(m_userGroups.groups().begin(), m_userGroups.groups().end());
    }

    /// The answer to a request, from wherever it comes.
    Answer Find(Request request) const
    {
        if (request == Request::Tags && !e_options.tagIds.empty())
        {
            return {"--tag", MakeTagsAnswer(m_report.subject.agentUuid, e_options.tagIds)};
        }
        if (request == Request::UserGroups && !e_options.groups.empty())
        {
            UserGroups groups;
            for (const auto& group : e_options.groups)
            {
                groups.add_groups(Shared::Util::Utf8::DropInvalid(group));
            }
            return {"--group", Shared::Protobuf::GenerateJSONFrom(groups)};
        }
        const auto found = e_answers.byRequest.find(request);
        return found == e_answers.byRequest.end() ? Answer{{}, EmptyAnswer} : found->second;
    }

    /// Lets the agent's code read an answer, and notes what it says. The result is that answer's text.
    std::string Read(Request request, const std::function<void(const std::string& text)>& read)
    {
        auto answer = Find(request);
        AnswerReport report;
        report.request = request;
        report.source = std::move(answer.source);
        report.isFailure = IsFailure(RapidJsonDocument(answer.text));
        try
        {
            read(answer.text);
        }
        catch (const std::exception& failure)
        {
            report.problem = DescribeFailure(failure);
        }
        report.log = m_log.Take();
        for (auto& line : report.log)
        {
            line.text = Shorten(std::move(line.text));
        }
        m_report.answers.push_back(std::move(report));
        return std::move(answer.text);
    }

    /// Of a list that the agent took over there is a line at its end.
    static std::string FindClosing(const std::vector<MemoryLog::Line>& log)
    {
        const auto found = std::find_if(
            log.begin(), log.end(), [](const MemoryLog::Line& line) { return line.text.starts_with("Cached "); });
        return found == log.end() ? std::string{} : found->text;
    }

    /// What the agent runs, in its order.
    std::vector<RunningTest> ReadList(const TestKindRow& row, std::string& text)
    {
        std::vector<RunningTest> running;
        const auto take = [&running](const auto& list)
        {
            for (const auto& test : list)
            {
                running.push_back({test.key, test.netobj});
            }
        };
        const auto process = [&](auto function, auto list)
        {
            text =
                Read(row.request, [&](const std::string& payload) { function(payload, list, GetSelectionSubject()); });
            take(list);
        };
        switch (row.kind)
        {
        case TestKind::Mtr:
            process(&ProcessMtrConfigMessage, std::vector<MtrTest>());
            break;
        case TestKind::Ete:
            process(&ProcessEteConfigMessage, std::vector<MtrTest>());
            break;
        case TestKind::Curl:
            process(&ProcessCurlConfigMessage, std::vector<CurlTest>());
            break;
        }
        return running;
    }

    KindReport ExplainKind(const TestKindRow& row)
    {
        KindReport report;
        report.kind = row.kind;
        std::string text;
        const auto running = ReadList(row, text);
        report.closing = FindClosing(m_report.answers.back().log);
        auto judged = report.closing.empty() ? std::vector<TestReport>{} : JudgeAll(row, text);
        for (auto& contradiction : Arrange(std::move(judged), running, report))
        {
            m_report.contradictions.push_back(std::move(contradiction));
        }
        return report;
    }

    std::vector<TestReport> JudgeAll(const TestKindRow& row, const std::string& text) const
    {
        std::vector<TestReport> judged;
        const TestSelection selection(GetSelectionSubject());
        const RapidJsonDocument answer(text);
        const auto owners = GetOwners(answer);
        const auto* const request = std::find_if(
            Requests.begin(), Requests.end(), [&row](const RequestRow& known) { return known.request == row.request; });
        // Lists are the account's: whose name stands in front of them does not matter.
        for (const RapidJsonMember entry : owners.empty() ? RapidJsonMembers() : owners[0].value.GetMembers())
        {
            judged.push_back(JudgeOne(entry, fmt::format("{}/{}", request->tree, entry.name), selection));
        }
        return judged;
    }

    TestReport JudgeOne(const RapidJsonMember& entry, std::string key, const TestSelection& selection) const
    {
        auto verdict = selection.Judge(entry.value, key);
        TestReport test;
        test.key = std::move(key);
        test.id = entry.name;
        if (const auto netobj = entry.value.GetMember("netobj").GetString(); netobj.HasValue())
        {
            test.netobj = netobj.GetValue();
        }
        if (const auto target = m_targets.find(test.netobj); target != m_targets.end())
        {
            test.target = *target->second;
        }
        const auto known = m_tests.find(test.key);
        if (known != m_tests.end())
        {
            test.priority = known->second.priority();
        }
        test.fate = ToFate(verdict.outcome, known != m_tests.end());
        test.tagsOrInstances = std::move(verdict.tagsOrInstances);
        test.usersOrGroups = std::move(verdict.usersOrGroups);
        const auto count = [&entry](std::string_view name)
        {
            return entry.value.GetMember(name).GetElements().size();
        };
        test.named = {count("tags"), count("instances"), count("users"), count("groups")};
        return test;
    }

    const Answers& e_answers;
    const Options& e_options;
    /// Takes what the agent's code says.
    MemoryLog m_log{Shared::Log::Level::Debug};
    Report m_report;
    std::vector<NetworkObject> m_networkObjects;
    /// By UUID; of several the first.
    std::unordered_map<std::string_view, const NetworkObject*> m_targets;
    TestMap m_tests;
    UserGroups m_userGroups;
};

} // namespace

Report Explain(const Answers& answers, const Options& options)
{
    return Explainer(answers, options).Explain();
}

} // namespace Tools::VelExplain
