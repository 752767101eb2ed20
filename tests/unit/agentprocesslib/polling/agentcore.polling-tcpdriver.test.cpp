#include "agentcore.polling-tcpdriver.hpp"

#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"

#include <string>

#include <gtest/gtest.h>

using AgentCore::Polling::IsTcpDriverRunning;
using Shared::Log::Level;
using Shared::Services::ServiceState;
using TestSupport::CapturedLog;

TEST(TcpDriverTest, ARunningServiceIsTheOnlyOneThatCounts)
{
    const CapturedLog log;
    EXPECT_TRUE(IsTcpDriverRunning([] { return ServiceState::Running; }));
    EXPECT_TRUE(log.Lines().empty());
    EXPECT_FALSE(IsTcpDriverRunning([] { return ServiceState::StartPending; }));
    EXPECT_FALSE(IsTcpDriverRunning([] { return ServiceState::Stopped; }));
    EXPECT_EQ(
        log.Count(Level::Info, "TCP driver service is currently not running, will default to standard MTR tests."), 2U);
}

TEST(TcpDriverTest, AServiceThatIsMissingIsToldAndDoesNotRun)
{
    const CapturedLog log;
    EXPECT_FALSE(IsTcpDriverRunning(
        []() -> ServiceState { throw Shared::Exception::Win32Exception("OpenServiceW() failed", 1060U); }));
    ASSERT_EQ(log.Lines().size(), 1U);
    EXPECT_EQ(log.Lines()[0].level, Level::Error);
    EXPECT_NE(log.Lines()[0].text.find("OpenServiceW() failed"), std::string::npos);
}
