#include "agentcore.ops-exceptions.hpp"

#include <gmock/gmock.h>

namespace
{

using AgentCore::Exception::ApiClientException;
using AgentCore::Exception::ConnectionException;

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

} // namespace
