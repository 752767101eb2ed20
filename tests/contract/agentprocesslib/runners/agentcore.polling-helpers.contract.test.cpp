#include "agentcore.polling-helpers.hpp"

#include "agentcore.polling-tcppingaggregation.hpp"
#include "contract.runnertest.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using AgentCore::Messaging::CurlTest;
using AgentCore::Messaging::MtrTest;
using AgentCore::Messaging::NetworkObject;
using AgentCore::Messaging::TestConfiguration;
using AgentCore::Tests::TcpPingRunner;
using Shared::Log::Level;
using Shared::Util::ConvertStringType;
using TestSupport::Stopwatch;

namespace Polling = AgentCore::Polling;

// From the configuration to the results, with tools that really run.

namespace
{

/// Wine has no accounts of services; the user's own rights are lessened on both platforms.
constexpr bool DebugMode = true;

constexpr const char* PathReport = R"({"report":{"hubs":[{"count":"1","host":"gateway"}]}})";
constexpr const char* WebReport = R"({"http_code":200,"remote_ip":"127.0.0.1","time_total":0.5})";
constexpr const char* PingReport =
    "Probing 192.0.2.1:443/tcp - Port is open - time=12.345ms \r\n"
    "     1 probes sent. \r\n     1 successful, 0 failed.  (0.00% fail)\r\n"
    "Approximate trip times in milli-seconds:\r\n     Minimum = 12.345ms, Maximum = 14.345ms, Average = 12.250ms\r\n";

std::string Narrow(const std::wstring& text)
{
    return ConvertStringType(std::wstring_view(text));
}

NetworkObject Object(const std::vector<std::wstring>& domains)
{
    NetworkObject object;
    object.uuid = "object";
    for (const auto& domain : domains)
    {
        object.domains.push_back(Narrow(domain));
    }
    return object;
}

MtrTest PathTest(const std::string& protocol)
{
    MtrTest test;
    test.id = "m1";
    test.netobj = "object";
    test.l4Protocol = protocol;
    return test;
}

TestConfiguration TcpTest(const std::wstring& target)
{
    TestConfiguration test;
    test.test.id = "t1";
    test.testKey = L"t1";
    test.protocol = L"tcp";
    test.target = target;
    test.networkObjectUuid = L"object";
    return test;
}

template <typename Runners>
void AwaitAll(const Runners& runners)
{
    for (const auto& runner : runners)
    {
        ASSERT_EQ(runner->GetState(), TcpPingRunner::State::Started);
        ASSERT_TRUE(Contract::AwaitEnd(*runner));
    }
}

void AwaitReady(TcpPingRunner& runner)
{
    for (const Stopwatch watch; runner.GetOutput().find("ready") == std::string::npos;)
    {
        ASSERT_LT(watch.ElapsedMs(), TestSupport::LimitMs);
        Shared::Time::SleepFor(std::chrono::milliseconds(5));
    }
}

class PollingHelpersContract : public Contract::RunnerTest
{
protected:
    Polling::CurlRunners m_curlRunners;
    Polling::PathRunners m_pathRunners;
    Polling::TcpPingRunners m_tcpPingRunners;
};

} // namespace

TEST_F(PollingHelpersContract, AnHttpTestOfAnAddressIsRunAndRead)
{
    NetworkObject object = Object({});
    object.ips = {"127.0.0.1", "127.0.0.2"};
    CurlTest test;
    test.id = "c1";
    test.netobj = "object";
    test.protocol = "http";
    test.path = Narrow(Contract::Printing(WebReport));
    test.successCodes = {"2XX"};
    Polling::StartCurlTest({object}, test, m_curlRunners, DebugMode);
    AwaitAll(m_curlRunners);
    const auto results = Polling::ProcessCurlResults(m_curlRunners, false);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].curl_uuid(), "c1");
    EXPECT_EQ(results[0].netobj_uuid(), "object");
    EXPECT_EQ(results[0].netobj_element().target(), "127.0.0.1");
    EXPECT_EQ(results[0].netobj_element().index(), 0U);
    EXPECT_EQ(results[1].netobj_element().index(), 1U);
    EXPECT_FALSE(results[1].netobj_element().is_domain());
    EXPECT_TRUE(results[0].curl_results().success());
    EXPECT_EQ(results[0].curl_results().http_code(), 200);
    EXPECT_GE(results[0].curl_results().total_time(), 0.5);
}

TEST_F(PollingHelpersContract, PathTestsAreRunAndReadAndAFailureCostsItsTargetAlone)
{
    const NetworkObject object =
        Object({L"exit=3", Contract::Printing(PathReport), L"nothing", Contract::Printing(PathReport)});
    Polling::StartMtrTest({object}, PathTest("icmp"), m_pathRunners, {}, L"10.9.0.2", DebugMode);
    AwaitAll(m_pathRunners);
    const auto results = Polling::ProcessMtrResults(m_pathRunners, false, false);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].index(), 1);
    EXPECT_EQ(results[1].index(), 3);
    EXPECT_EQ(results[0].mtr_config_uuid(), "m1");
    EXPECT_EQ(results[0].network_object_uuid(), "object");
    EXPECT_EQ(results[0].norvik().tunnel_ip().ipv4(), "10.9.0.2");
    EXPECT_EQ(m_log.Count(Level::Error, "An MTR test failed to complete successfully"), 2U);
    EXPECT_EQ(m_log.Count(Level::Error, "MTR exited with an abnormal return code: 3"), 1U);
}

TEST_F(PollingHelpersContract, PathTestsByTcpAreRunAndRead)
{
    Polling::StartTcpMtrTests(
        {Object({Contract::Printing(PathReport)})}, PathTest("tcp"), m_pathRunners, {}, L"", DebugMode);
    AwaitAll(m_pathRunners);
    const auto results = Polling::ProcessMtrResults(m_pathRunners, false, false);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].mtr_config_uuid(), "m1");
    EXPECT_EQ(results[0].report().hubs_size(), 1);
}

TEST_F(PollingHelpersContract, ThePathToTheGatewayIsTestedInEveryStateOfTheTunnel)
{
    SetTunnelStatus(L"connected-non-tv");
    Shared::AppSettings::VpnConnectionInfo info;
    info.status = Shared::AppSettings::VpnConnectionStatus::Connected;
    info.gatewayIpV4 = Contract::Printing(PathReport);
    Polling::StartVpnGatewayMtrTest(m_pathRunners, info, L"", DebugMode);
    AwaitAll(m_pathRunners);
    const auto results = Polling::ProcessMtrResults(m_pathRunners, true, false);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].server_type(), VPN_GATEWAY);
}

TEST_F(PollingHelpersContract, MinutesOfTcpPingsAreFoldedIntoOne)
{
    const std::vector<TestConfiguration> tests = {TcpTest(Contract::Printing(PingReport))};
    Polling::StartTcpPingTests(DebugMode, tests, m_tcpPingRunners);
    Polling::StartTcpPingTests(DebugMode, tests, m_tcpPingRunners);
    AwaitAll(m_tcpPingRunners);
    EXPECT_TRUE(m_tcpPingRunners[0]->CheckFinished()); // the other one is read at the end alone
    const auto messages = Polling::AggregateTcpPingStats(m_tcpPingRunners, false, m_curlRunners);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].test_uuid(), "t1");
    ASSERT_EQ(messages[0].ping_results_size(), 1);
    EXPECT_EQ(messages[0].ping_results(0).pings_sent(), 2U);
    EXPECT_EQ(messages[0].ping_results(0).pings_received(), 2U);
    EXPECT_EQ(messages[0].ping_results(0).min_rtt(), 12U);
    EXPECT_EQ(messages[0].ping_results(0).max_rtt(), 14U);
    EXPECT_FALSE(messages[0].ping_results(0).period_start_utc().empty());
}

TEST_F(PollingHelpersContract, ToolsThatStillPingAreAskedToBreakOffAndTheirSummariesCount)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine has no break event";
    }
    constexpr int tools = 5;
    std::vector<TestConfiguration> tests;
    for (int i = 0; i < tools; ++i)
    {
        tests.push_back(TcpTest(Contract::PrintingAtBreak(PingReport)));
        tests.back().testKey = L"t" + std::to_wstring(i);
    }
    Polling::StartTcpPingTests(DebugMode, tests, m_tcpPingRunners);
    for (const auto& runner : m_tcpPingRunners)
    {
        AwaitReady(*runner);
    }
    const auto messages = Polling::AggregateTcpPingStats(m_tcpPingRunners, false, m_curlRunners);
    ASSERT_EQ(messages.size(), static_cast<std::size_t>(tools));
    for (const auto& message : messages)
    {
        EXPECT_EQ(message.ping_results(0).pings_received(), 1U);
    }
    EXPECT_EQ(m_log.Count(Level::Error, ""), 0U);
}

TEST_F(PollingHelpersContract, AToolThatIgnoresTheBreakIsEndedAndCostsItsTargetAlone)
{
    Polling::StartTcpPingTests(
        DebugMode, {TcpTest(L"ignore-break"), TcpTest(Contract::Printing(PingReport))}, m_tcpPingRunners);
    AwaitReady(*m_tcpPingRunners[0]);
    ASSERT_TRUE(Contract::AwaitEnd(*m_tcpPingRunners[1]));
    const Contract::FastClock clock;
    const auto messages = Polling::AggregateTcpPingStats(m_tcpPingRunners, false, m_curlRunners);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].server(), Narrow(Contract::Printing(PingReport)));
    EXPECT_EQ(m_log.Count(Level::Error, "A TcpPing test against ignore-break failed: "), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Tcping did not end and has been ended"), 1U);
}
