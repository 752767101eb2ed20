#include "agentcore.tests-functions.hpp"
#include "agentcore.tests-hostresolver.hpp"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ping.timeout.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace AgentCore::Tests;
using testing::HasSubstr;

class RealWindowsPingTest : public testing::Test
{
protected:
    void SetUp() override
    {
        if (TestSupport::IsWine())
        {
            GTEST_SKIP() << "Wine answers for the network and does not cancel resolutions";
        }
        m_winsock.Initialise();
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
};

/// No answer comes at once: the name is in no file, and servers need their time.
TEST_F(RealWindowsPingTest, AResolutionThatTakesTooLongIsCancelled)
{
    HostResolver resolver;
    const auto text = TestSupport::RuntimeText([&] { (void)resolver.Resolve(L"slow-answer.test.example", 0); });
    EXPECT_THAT(text, HasSubstr("took longer than 0 ms to complete."));
    EXPECT_EQ(m_log.Count(Shared::Log::Level::Error, "QueryCompleteCallback() failed: 10111"), 1U);
}

TEST_F(RealWindowsPingTest, AnAddressOfTheDocumentationNetworkDoesNotReply)
{
    PingTest::SetPingTimeout(1000);
    const auto result = DoIpV4Ping(L"192.0.2.77");
    EXPECT_TRUE(!result.replied || result.status != 0);
}

} // namespace
