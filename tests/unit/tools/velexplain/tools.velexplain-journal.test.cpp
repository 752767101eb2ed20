#include "tools.velexplain-journal.hpp"

#include <cstdint>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab.cloud-journal.hpp"
#include "lab.wire-names.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "test.support-temporaryfolder.hpp"

namespace
{

using namespace Tools::VelExplain;
using Lab::Cloud::Direction;
using testing::EndsWith;
using testing::HasSubstr;
namespace MsgId = Lab::Wire::MsgId;

/// A results folder that the laboratory's own journal writes.
class VelExplainJournalTest : public testing::Test
{
protected:
    void Keep(
        Direction direction,
        std::uint32_t msgId,
        std::uint32_t seqNum,
        const std::string& payload,
        std::uint32_t status = 0)
    {
        Lab::Wire::Envelope envelope;
        envelope.msgId = msgId;
        envelope.seqNum = seqNum;
        envelope.payload = payload;
        envelope.status = status;
        m_journal.Keep(direction, "cloud.test", envelope);
    }

    void Ask(std::uint32_t seqNum, const std::string& member, const std::string& path)
    {
        Keep(
            Direction::FromAgent, MsgId::ConfigGet2Request, seqNum,
            R"({"uuid":"x","account":7,")" + member + R"(":[")" + path + "\"]}");
    }

    void Answer(std::uint32_t seqNum, const std::string& payload, std::uint32_t status = 0)
    {
        Keep(Direction::ToAgent, MsgId::ConfigGet2Response, seqNum, payload, status);
    }

    Answers Read() const
    {
        return ReadResults(m_folder.Path());
    }

    std::string ProblemOfReading() const
    {
        try
        {
            Read();
        }
        catch (const InputError& problem)
        {
            return problem.what();
        }
        return "nothing was thrown";
    }

    TestSupport::TemporaryFolder m_folder;
    Lab::Cloud::Journal m_journal{m_folder.Path() / "cloud"};
};

TEST_F(VelExplainJournalTest, EachRequestOfTheChainFindsItsAnswer)
{
    std::uint32_t seqNum = 10;
    for (const auto& row : Requests)
    {
        if (row.request != Request::UserGroups)
        {
            Ask(++seqNum, row.tree.empty() ? "keys" : "trees", fmt::format("{}{}", row.tree, row.key));
            Answer(seqNum, fmt::format("{{\"for\":\"{}\"}}", row.name));
        }
    }
    Keep(Direction::FromAgent, MsgId::UserGroupsRequest, ++seqNum, R"({"accountId":7,"user":"CORP\\jo"})");
    Keep(Direction::ToAgent, MsgId::UserGroupsNotification, seqNum, R"({"for":"user groups"})");
    Keep(Direction::ToAgent, MsgId::RegisterResponse, 1, R"({"statusCode":200,"agentUuid":"a-b-c"})");
    const auto answers = Read();
    EXPECT_EQ(answers.byRequest.size(), Requests.size());
    for (const auto& row : Requests)
    {
        ASSERT_TRUE(answers.byRequest.contains(row.request)) << row.name;
        EXPECT_EQ(answers.byRequest.at(row.request).text, fmt::format("{{\"for\":\"{}\"}}", row.name));
    }
    EXPECT_THAT(
        answers.byRequest.at(Request::NetworkObjects).source, EndsWith("0002-to-agent-6006-configuration.json"));
    EXPECT_EQ(answers.username, "CORP\\jo");
    EXPECT_EQ(answers.agentUuid, "a-b-c");
}

TEST_F(VelExplainJournalTest, TheLatestAnswerCountsWhateverOrderTheyCameIn)
{
    Ask(1, "trees", "/config/mtr");
    Ask(2, "trees", "/config/curl");
    Answer(2, "[2]");
    Answer(1, "[1]");
    Ask(3, "trees", "/config/mtr");
    Answer(3, "[3]");
    const auto answers = Read();
    EXPECT_EQ(answers.byRequest.at(Request::Mtr).text, "[3]");
    EXPECT_EQ(answers.byRequest.at(Request::Curl).text, "[2]");
}

TEST_F(VelExplainJournalTest, AnAgentThatIsStartedAgainCountsFromTheBeginning)
{
    Ask(4, "trees", "/config/mtr");
    Answer(4, "[4]");
    Ask(4, "keys", "/config/agent");
    Answer(4, "[5]");
    const auto answers = Read();
    EXPECT_EQ(answers.byRequest.at(Request::Mtr).text, "[4]");
    EXPECT_EQ(answers.byRequest.size(), 1U);
}

TEST_F(VelExplainJournalTest, AnswersThatNobodyAskedForOrThatWereNotDeliveredDoNotCount)
{
    Answer(9, "[9]");
    Ask(1, "trees", "/config/mtr");
    Answer(1, "[1]", 2);
    EXPECT_TRUE(Read().byRequest.empty());
}

TEST_F(VelExplainJournalTest, ARefusedRegistrationGivesNoIdentity)
{
    Keep(Direction::ToAgent, MsgId::RegisterResponse, 1, R"({"statusCode":200,"agentUuid":"good"})");
    Keep(Direction::ToAgent, MsgId::RegisterResponse, 2, R"({"statusCode":400,"agentUuid":"bad"})");
    Keep(Direction::ToAgent, MsgId::RegisterResponse, 3, "rubbish");
    EXPECT_EQ(Read().agentUuid, "good");
}

TEST_F(VelExplainJournalTest, NumbersAreComparedAsNumbers)
{
    const auto cloud = m_folder.Path() / "cloud";
    const auto message = [](const std::string& payload)
    {
        return R"({"seqNum":1,"status":0,"payload":)" + payload + "}";
    };
    TestSupport::WriteFile(cloud / "9998-from-agent-6005-x.json", message(R"({"trees":["/config/mtr"]})"));
    TestSupport::WriteFile(cloud / "10000-to-agent-6006-x.json", message("[10000]"));
    TestSupport::WriteFile(cloud / "9999-to-agent-6006-x.json", message("[9999]"));
    EXPECT_EQ(Read().byRequest.at(Request::Mtr).text, "[10000]");
}

TEST_F(VelExplainJournalTest, OtherFilesAreLeftAlone)
{
    const auto cloud = m_folder.Path() / "cloud";
    for (const auto* const name :
         {"notes.txt", "x-to-agent-6006-a.json", "1-to-agent-6006-a.txt", "1-at-agent-6006-a.json",
          "1-to-agent-x-a.json", "1-to-agent-99999999999-a.json", "0005-from-agent-24002-poll.json"})
    {
        TestSupport::WriteFile(cloud / name, "no JSON");
    }
    EXPECT_TRUE(Read().byRequest.empty());
}

TEST_F(VelExplainJournalTest, AnAnswerThatIsNoJsonIsKeptAsItIs)
{
    Ask(1, "trees", "/config/mtr");
    Answer(1, "rubbish");
    EXPECT_EQ(Read().byRequest.at(Request::Mtr).text, "rubbish");
    Answer(1, "\xFF\xFE");
    EXPECT_EQ(Read().byRequest.at(Request::Mtr).text, "");
    Options options;
    options.results = ToText(m_folder.Path());
    try
    {
        GatherAnswers(options);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const InputError& problem)
    {
        EXPECT_THAT(problem.what(), HasSubstr("0003-to-agent-6006-configuration.json: is no JSON"));
    }
}

TEST_F(VelExplainJournalTest, AFileWinsOverTheFolder)
{
    Ask(1, "trees", "/config/mtr");
    Answer(1, "rubbish");
    TestSupport::WriteFile(m_folder.Path() / "mtr.json", "[7]");
    Options options;
    options.results = ToText(m_folder.Path());
    options.files[Request::Mtr] = ToText(m_folder.Path() / "mtr.json");
    EXPECT_EQ(GatherAnswers(options).byRequest.at(Request::Mtr).text, "[7]");
}

TEST_F(VelExplainJournalTest, AnAnswerThatWasTooLargeToBeKeptIsNamed)
{
    Ask(1, "trees", "/config/mtr");
    Answer(1, fmt::format("\"{}\"", std::string(Lab::Cloud::Journal::LargestPayload, 'x')));
    EXPECT_THAT(
        ProblemOfReading(),
        EndsWith(
            "0002-to-agent-6006-configuration.json: the message was too large for the laboratory to keep it whole"));
}

TEST_F(VelExplainJournalTest, AFileThatIsNoMessageIsNamed)
{
    const auto file = m_folder.Path() / "cloud" / "0001-to-agent-6006-configuration.json";
    for (const auto* const text : {"[]", R"({"seqNum":1,"status":0})", R"({"status":0,"payload":1})"})
    {
        TestSupport::WriteFile(file, text);
        EXPECT_EQ(ProblemOfReading(), ToText(file) + ": is no message of the laboratory's cloud") << text;
    }
    TestSupport::WriteFile(file, "{");
    EXPECT_THAT(ProblemOfReading(), HasSubstr("configuration.json: is no JSON"));
}

TEST_F(VelExplainJournalTest, AFolderThatIsNoneIsNamed)
{
    const auto folder = m_folder.Path() / "cloud";
    try
    {
        ReadResults(folder);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const InputError& problem)
    {
        EXPECT_THAT(problem.what(), HasSubstr(ToText(folder) + ": is no results folder"));
    }
}

} // namespace
