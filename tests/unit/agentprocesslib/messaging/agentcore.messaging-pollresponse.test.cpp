#include "agentcore.messaging-pollresponse.hpp"

#include "shared.exception-exceptions.hpp"

#include <string>

#include <gmock/gmock.h>

namespace
{

using AgentCore::Messaging::AsksForConfiguration;
using ::testing::HasSubstr;

TEST(PollResponseTest, TrueOnlyWhenTheServerSaysSo)
{
    EXPECT_TRUE(AsksForConfiguration(R"({"statusCode":200,"fetchConfig":true})"));
    EXPECT_FALSE(AsksForConfiguration(R"({"statusCode":200,"fetchConfig":false})"));
    EXPECT_FALSE(AsksForConfiguration(R"({"statusCode":200})"));
    EXPECT_FALSE(AsksForConfiguration(R"({"fetchConfig":null})"));
    EXPECT_FALSE(AsksForConfiguration("{}"));
}

TEST(PollResponseTest, UnknownMembersAreIgnored)
{
    EXPECT_TRUE(AsksForConfiguration(R"({"new":{"a":[1,2]},"fetchConfig":true,"more":"x"})"));
}

TEST(PollResponseTest, TextThatIsNoPollResponseIsReportedWithThePayload)
{
    for (const std::string payload :
         {"", "nonsense", "[]", "true", "{", R"({"fetchConfig":1})", R"({"statusCode":"many"})"})
    {
        try
        {
            (void)AsksForConfiguration(payload);
            FAIL() << payload;
        }
        catch (const Shared::Exception::RuntimeException& exception)
        {
            EXPECT_THAT(exception.what(), HasSubstr("Failed to parse PollResponse " + payload));
        }
    }
}

TEST(PollResponseTest, DeepNestingNeitherCrashesNorHangs)
{
    const std::size_t depth = 100'000;
    const std::string nested =
        R"({"a":)" + std::string(depth, '[') + std::string(depth, ']') + R"(,"fetchConfig":true})";
    EXPECT_TRUE(AsksForConfiguration(nested));
}

} // namespace
