#include "agentcore.ops-exceptions.hpp"

#include <gmock/gmock.h>

namespace
{

using AgentCore::Exception::ActionRequiredException;
using AgentCore::Exception::ApiClientException;
using AgentCore::Exception::ConnectionException;
using AgentCore::Exception::ResponseException;

TEST(OpsExceptionsTest, AConnectionExceptionIsAnApiClientExceptionWithItsPlaceAndText)
{
    try
    {
        throw ConnectionException("the line is down");
    }
    catch (const ApiClientException& exception)
    {
        EXPECT_THAT(exception.what(), ::testing::StartsWith("Exception in "));
        EXPECT_THAT(exception.what(), ::testing::HasSubstr("agentcore.ops-exceptions.test.cpp:"));
        EXPECT_THAT(exception.what(), ::testing::EndsWith(" --> the line is down"));
    }
}

TEST(OpsExceptionsTest, AResponseExceptionHasItsCode)
{
    try
    {
        throw ResponseException("no", 418);
    }
    catch (const ApiClientException& exception)
    {
        EXPECT_THAT(exception.what(), ::testing::EndsWith(" --> no"));
        const auto* response = dynamic_cast<const ResponseException*>(&exception);
        ASSERT_NE(response, nullptr);
        EXPECT_EQ(response->GetResponseCode(), 418);
    }
}

TEST(OpsExceptionsTest, AnActionRequiredExceptionIsAResponseExceptionWithATextOfItsOwn)
{
    try
    {
        throw ActionRequiredException("the text", "the action", "the error");
    }
    catch (const ResponseException& exception)
    {
        EXPECT_EQ(exception.GetResponseCode(), 400);
        EXPECT_STREQ(exception.what(), "response code 400, action the action, error the error: the text");
        const auto* required = dynamic_cast<const ActionRequiredException*>(&exception);
        ASSERT_NE(required, nullptr);
        EXPECT_EQ(required->Action, "the action");
        EXPECT_EQ(required->Error, "the error");
    }
}

} // namespace
