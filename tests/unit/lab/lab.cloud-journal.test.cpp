#include "lab.cloud-journal.hpp"

#include "lab.json-functions.hpp"
#include "test.support-temporaryfolder.hpp"

#include <string>

#include <gmock/gmock.h>

namespace
{

using Lab::Cloud::DescribeMessage;
using Lab::Cloud::Direction;
using Lab::Cloud::Journal;
using Lab::Wire::Envelope;
using ::testing::HasSubstr;
namespace Json = Lab::Json;

Envelope Message(const std::string& payload)
{
    Envelope envelope;
    envelope.msgId = 24000;
    envelope.seqNum = 17;
    envelope.flags = 8;
    envelope.srcComp = 55;
    envelope.payload = payload;
    return envelope;
}

std::string Describe(const std::string& payload)
{
    const std::string text =
        DescribeMessage(7, "2026-11-21T14:52:09.123Z", 1.25, Direction::FromAgent, "a.example", Message(payload));
    EXPECT_TRUE(Json::IsJson(text)) << text;
    return text;
}

TEST(JournalTest, AMessageIsDescribedWithAllThatBelongsToIt)
{
    const auto document = Json::Parse(Describe(R"({"version":"1.0.0"})"));
    EXPECT_EQ(Json::CountMember(document, "number", 0), 7U);
    EXPECT_EQ(Json::TextMember(document, "time"), "2026-11-21T14:52:09.123Z");
    EXPECT_EQ(document["seconds"].GetDouble(), 1.25);
    EXPECT_EQ(Json::TextMember(document, "direction"), "from-agent");
    EXPECT_EQ(Json::TextMember(document, "server"), "a.example");
    EXPECT_EQ(Json::TextMember(document, "name"), "registration request");
    EXPECT_EQ(Json::CountMember(document, "msgId", 0), 24000U);
    EXPECT_EQ(Json::CountMember(document, "seqNum", 0), 17U);
    EXPECT_EQ(Json::CountMember(document, "flags", 0), 8U);
    EXPECT_EQ(Json::TextMember(document["payload"], "version"), "1.0.0");
}

TEST(JournalTest, APayloadThatIsNoJsonIsKeptAsTextOrInHexadecimal)
{
    EXPECT_EQ(Json::TextMember(Json::Parse(Describe("<html>")), "payloadText"), "<html>");
    EXPECT_EQ(Json::TextMember(Json::Parse(Describe("\xFF\x01")), "payloadHexadecimal"), "ff01");
    EXPECT_EQ(Json::TextMember(Json::Parse(Describe("")), "payloadText"), "");
}

TEST(JournalTest, APayloadThatIsDeeperThanItMayBeIsKeptAsText)
{
    EXPECT_THAT(Describe(std::string(200'000, '[') + std::string(200'000, ']')), HasSubstr("payloadText"));
}

TEST(JournalTest, OfALargePayloadTheBeginningIsKeptWithItsSize)
{
    const std::string payload = "\"" + std::string(Journal::LargestPayload, 'x') + "\"";
    const auto document = Json::Parse(Describe(payload));
    EXPECT_EQ(Json::CountMember(document, "payloadSize", 0), payload.size());
    EXPECT_EQ(Json::TextMember(document, "payloadText").size(), Journal::BeginningOfLarger);
}

TEST(JournalTest, FilesAreNumberedAndNamedAndCounted)
{
    const TestSupport::TemporaryFolder folder;
    Journal journal(folder.Path() / "cloud");
    EXPECT_EQ(journal.Keep(Direction::FromAgent, "a", Message("{}")), 1U);
    EXPECT_EQ(journal.Keep(Direction::ToAgent, "a", Message("{}")), 2U);
    journal.Count(Direction::ToAgent, 24000);
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "cloud" / "0001-from-agent-24000-registration-request.json"));
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "cloud" / "0002-to-agent-24000-registration-request.json"));
    EXPECT_EQ(
        journal.GetCounts(),
        (Lab::Cloud::MessageCounts{{{Direction::FromAgent, 24000}, 1}, {{Direction::ToAgent, 24000}, 2}}));
    const std::string file =
        TestSupport::ReadFile(folder.Path() / "cloud" / "0001-from-agent-24000-registration-request.json");
    EXPECT_THAT(Json::TextMember(Json::Parse(file), "time"), ::testing::MatchesRegex("....-..-..T..:..:......Z"));
}

} // namespace
