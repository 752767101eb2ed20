#include "agentcore.system-systemfunctions.hpp"

#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::System;

TEST(SystemFunctionsTest, AFailureGivesNoMemoryAndALineInTheLog)
{
    TestSupport::CapturedLog log;
    const auto total = GetTotalPhysicalRamOrZero(
        +[]() -> MemoryStatus { throw Shared::Exception::Win32Exception("GlobalMemoryStatusEx() failed", 5); });
    EXPECT_EQ(total, 0U);
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, "GlobalMemoryStatusEx() failed"), 1U);
    EXPECT_EQ(log.Lines().size(), 1U);
}

TEST(SystemFunctionsTest, WithoutAFailureNothingIsLogged)
{
    TestSupport::CapturedLog log;
    EXPECT_EQ(GetTotalPhysicalRamOrZero(+[]() { return MemoryStatus{4096, 1}; }), 4096U);
    EXPECT_TRUE(log.Lines().empty());
}

} // namespace
