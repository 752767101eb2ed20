#include "agentcore.polling-helpers.hpp"

#include "agentcore.tests-bmtrtestrunner.hpp"
#include "agentcore.tests-mtrtestrunner.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using AgentCore::Messaging::CurlTest;
using AgentCore::Messaging::MtrTest;
using AgentCore::Messaging::NetworkObject;
using AgentCore::Messaging::TestConfiguration;
using AgentCore::Tests::BmtrTestRunner;
using AgentCore::Tests::CurlTestRunner;
using AgentCore::Tests::MtrTestRequest;
using AgentCore::Tests::MtrTestRunner;
using AgentCore::Tests::PathTestRunner;
using Shared::AppSettings::PathOf;
using Shared::AppSettings::SettingsKey;
using Shared::AppSettings::VpnConnectionInfo;
using Shared::AppSettings::VpnConnectionStatus;
using Shared::Concurrency::ProcessRunner;
using Shared::Log::Level;
using Shared::WinReg::Root;

namespace Polling = AgentCore::Polling;

namespace
{

/// Settings of the test's own in which no configured test runs, and the log. There are no tools: what is to start fails.
class PollingHelpersTest : public ::testing::Test
{
protected:
    PollingHelpersTest()
    {
        m_sockets.Initialise();
        Shared::WinReg::CreateKey(Root::LocalMachine, PathOf(SettingsKey::VpnVel));
        SetVpnValue(L"tunnel-status", L"internal");
    }

    static void SetVpnValue(const std::wstring& name, const std::wstring& text)
    {
        Shared::WinReg::SetStringValue(Root::LocalMachine, PathOf(SettingsKey::VpnVel), name, text);
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    Shared::WinSock::WinSockInitialiser m_sockets;
    Polling::CurlRunners m_curlRunners;
    Polling::PathRunners m_pathRunners;
    Polling::TcpPingRunners m_tcpPingRunners;
};

constexpr bool DebugMode = true;
const std::wstring TunnelIp = L"10.9.0.2";

NetworkObject Object()
{
    NetworkObject object;
    object.uuid = "object";
    object.ips = {"192.0.2.1", "192.0.2.2"};
    object.domains = {"one.example", "two.example", "three.example"};
    return object;
}

NetworkObject OtherObject()
{
    NetworkObject object;
    object.uuid = "other";
    object.ips = {"192.0.2.9"};
    return object;
}

CurlTest WebTest()
{
    CurlTest test;
    test.id = "c1";
    test.key = "/config/curl/c1";
    test.netobj = "object";
    test.protocol = "https";
    test.path = "a/b";
    test.ignoreSsl = true;
    test.successCodes = {"2XX"};
    test.headers = {"A: b"};
    test.port = 8443;
    return test;
}

MtrTest PathTest(const std::string& protocol = "icmp")
{
    MtrTest test;
    test.id = "m1";
    test.key = "/config/mtr/m1";
    test.netobj = "object";
    test.l4Protocol = protocol;
    return test;
}

VpnConnectionInfo Connected()
{
    VpnConnectionInfo info;
    info.status = VpnConnectionStatus::Connected;
    info.gatewayIpV4 = L"192.0.2.77";
    return info;
}

/// One that has run.
class FakePathRunner : public PathTestRunner
{
public:
    FakePathRunner(MtrTestRequest request, State state, bool fails = false)
        : PathTestRunner({}, std::move(request)), m_state(state), m_fails(fails)
    {
    }

    State GetState() const noexcept override
    {
        return m_state;
    }

    bool ShouldRun() override
    {
        return true;
    }

    std::vector<std::wstring> BuildArgumentList() override
    {
        return {};
    }

    MtrTestResult ReadTestResult() override
    {
        if (m_fails)
        {
            throw Shared::Exception::RuntimeException("Mtr unexpectedly returned an empty string.");
        }
        MtrTestResult result;
        result.set_index(GetRequest().index);
        return result;
    }

private:
    State m_state;
    bool m_fails;
};

class FakeCurlRunner : public CurlTestRunner
{
public:
    FakeCurlRunner(std::string uuid, State state, bool fails = false)
        : CurlTestRunner({}, {}, {}), m_uuid(std::move(uuid)), m_state(state), m_fails(fails)
    {
    }

    State GetState() const noexcept override
    {
        return m_state;
    }

    CurlTestResult ReadTestResult() override
    {
        if (m_fails)
        {
            throw Shared::Exception::RuntimeException("Curl unexpectedly returned an empty string.");
        }
        CurlTestResult result;
        result.set_curl_uuid(m_uuid);
        return result;
    }

private:
    std::string m_uuid;
    State m_state;
    bool m_fails;
};

std::unique_ptr<PathTestRunner> PathRunner(
    std::uint32_t index, ProcessRunner::State state, bool isGateway = false, bool fails = false)
{
    MtrTestRequest request;
    request.index = index;
    if (!isGateway)
    {
        request.config = PathTest();
    }
    return std::make_unique<FakePathRunner>(std::move(request), state, fails);
}

std::vector<std::uint32_t> IndicesOf(const std::vector<MtrTestResult>& results)
{
    std::vector<std::uint32_t> indices;
    for (const auto& result : results)
    {
        indices.push_back(static_cast<std::uint32_t>(result.index()));
    }
    return indices;
}

} // namespace

// --- Starting HTTP tests

TEST_F(PollingHelpersTest, AnHttpTestHasARunnerForEachAddressAndThenEachDomain)
{
    Polling::StartCurlTest({OtherObject(), Object()}, WebTest(), m_curlRunners, DebugMode);
    ASSERT_EQ(m_curlRunners.size(), 5U);
    const std::vector<std::wstring> targets = {
        L"192.0.2.1", L"192.0.2.2", L"one.example", L"two.example", L"three.example"};
    const std::vector<std::uint32_t> indices = {0, 1, 0, 1, 2};
    for (std::size_t i = 0; i < m_curlRunners.size(); ++i)
    {
        const auto& request = m_curlRunners[i]->GetRequest();
        EXPECT_EQ(request.target, targets[i]);
        EXPECT_EQ(request.index, indices[i]);
        EXPECT_EQ(request.isDomain, i >= 2);
        EXPECT_EQ(request.config, WebTest());
        EXPECT_EQ(request.successCodes, WebTest().successCodes);
        EXPECT_EQ(request.networkObjectUuid, "object");
        EXPECT_EQ(request.scheme, "https");
        EXPECT_EQ(request.curlUuid, "c1");
        EXPECT_EQ(request.port, 8443);
        EXPECT_TRUE(request.ignoreSslErrors);
        EXPECT_EQ(m_curlRunners[i]->GetState(), ProcessRunner::State::NotStarted);
    }
    EXPECT_EQ(
        m_log.Count(
            Level::Info, "Curl test c1 is not being run because it's not configured to run in internal VPN state."),
        5U);
}

TEST_F(PollingHelpersTest, AnHttpTestWithoutItsObjectIsPassedOverSilently)
{
    Polling::StartCurlTest({}, WebTest(), m_curlRunners, DebugMode);
    Polling::StartCurlTest({OtherObject()}, WebTest(), m_curlRunners, DebugMode);
    EXPECT_TRUE(m_curlRunners.empty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PollingHelpersTest, AnHttpTestThatCannotStartCostsItsTargetAlone)
{
    SetVpnValue(L"tunnel-status", L"connected");
    NetworkObject object = Object();
    object.ips = {"-K/etc/passwd", "192.0.2.1"};
    object.domains.clear();
    Polling::StartCurlTest({object}, WebTest(), m_curlRunners, DebugMode);
    ASSERT_EQ(m_curlRunners.size(), 2U);
    EXPECT_EQ(m_curlRunners[0]->GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(m_curlRunners[1]->GetState(), ProcessRunner::State::NotStarted);
    EXPECT_EQ(m_log.Count(Level::Warning, "Curl c1 test failed to initiate: "), 2U);
    EXPECT_EQ(m_log.Count(Level::Warning, "-K/etc/passwd"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "CreateProcess() failed"), 1U); // there is no such tool here
}

// --- Starting path tests

TEST_F(PollingHelpersTest, APathTestHasARunnerForEachTargetWithARunningNumber)
{
    m_pathRunners.push_back(PathRunner(0, ProcessRunner::State::Started));
    m_pathRunners.push_back(PathRunner(1, ProcessRunner::State::Started));
    Polling::StartMtrTest({Object()}, PathTest(), m_pathRunners, Connected(), TunnelIp, DebugMode);
    ASSERT_EQ(m_pathRunners.size(), 7U);
    for (std::size_t i = 2; i < m_pathRunners.size(); ++i)
    {
        EXPECT_NE(dynamic_cast<MtrTestRunner*>(m_pathRunners[i].get()), nullptr);
        const auto& request = m_pathRunners[i]->GetRequest();
        EXPECT_EQ(request.runnerIndex, i);
        EXPECT_EQ(request.index, i);
        EXPECT_EQ(request.config, PathTest());
        EXPECT_EQ(request.networkObjectUuid, "object");
        EXPECT_EQ(request.mtrConfigUuid, "m1");
        EXPECT_EQ(request.serverType, UNKNOWN);
        EXPECT_EQ(request.vpnInfo.gatewayIpV4, Connected().gatewayIpV4);
        EXPECT_EQ(request.tunnelIp, TunnelIp);
        EXPECT_FALSE(m_pathRunners[i]->IsGatewayTest());
    }
    EXPECT_EQ(m_pathRunners[2]->GetRequest().target, L"192.0.2.1");
    EXPECT_EQ(m_pathRunners[6]->GetRequest().target, L"three.example");
}

TEST_F(PollingHelpersTest, APathTestWithoutItsObjectIsPassedOverSilently)
{
    Polling::StartMtrTest({}, PathTest(), m_pathRunners, Connected(), TunnelIp, DebugMode);
    Polling::StartMtrTest({OtherObject()}, PathTest(), m_pathRunners, Connected(), TunnelIp, DebugMode);
    EXPECT_TRUE(m_pathRunners.empty());
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PollingHelpersTest, APathTestThatCannotStartIsToldAndLeavesItsNumberTaken)
{
    SetVpnValue(L"tunnel-status", L"connected");
    NetworkObject object = Object();
    object.ips = {"--help", "192.0.2.1"};
    object.domains.clear();
    Polling::StartMtrTest({object}, PathTest(), m_pathRunners, Connected(), TunnelIp, DebugMode);
    ASSERT_EQ(m_pathRunners.size(), 2U);
    EXPECT_EQ(m_pathRunners[1]->GetRequest().runnerIndex, 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Error in function StartMtrTest() of file "), 2U);
    EXPECT_EQ(m_log.Count(Level::Error, " ---> An MTR test failed to initiate successfully: "), 2U);
}

TEST_F(PollingHelpersTest, APathTestByTcpIsRunByTheOtherTool)
{
    Polling::StartTcpMtrTests({Object()}, PathTest("tcp"), m_pathRunners, Connected(), TunnelIp, DebugMode);
    ASSERT_EQ(m_pathRunners.size(), 5U);
    for (std::size_t i = 0; i < m_pathRunners.size(); ++i)
    {
        EXPECT_NE(dynamic_cast<BmtrTestRunner*>(m_pathRunners[i].get()), nullptr);
        EXPECT_EQ(m_pathRunners[i]->GetRequest().index, i);
        EXPECT_EQ(m_pathRunners[i]->GetRequest().mtrConfigUuid, "m1");
    }
}

TEST_F(PollingHelpersTest, APathTestByTcpThatIsSkippedIsTold)
{
    Polling::StartTcpMtrTests({}, PathTest("tcp"), m_pathRunners, Connected(), TunnelIp, DebugMode);
    Polling::StartTcpMtrTests({Object()}, PathTest("udp"), m_pathRunners, Connected(), TunnelIp, DebugMode);
    Polling::StartTcpMtrTests({OtherObject()}, PathTest("tcp"), m_pathRunners, Connected(), TunnelIp, DebugMode);
    EXPECT_TRUE(m_pathRunners.empty());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "A BMTR test was skipped as no network objects are present.");
    EXPECT_EQ(lines[1].text, "A BMTR test was skipped as it's not a TCP test.");
    EXPECT_EQ(lines[2].text, "A BMTR test was skipped as no related network objects were found.");
    EXPECT_EQ(lines[0].level, Level::Warning);
}

TEST_F(PollingHelpersTest, APathTestByTcpThatCannotStartIsTold)
{
    SetVpnValue(L"tunnel-status", L"connected");
    NetworkObject object = OtherObject();
    object.uuid = "object";
    Polling::StartTcpMtrTests({object}, PathTest("tcp"), m_pathRunners, Connected(), TunnelIp, DebugMode);
    EXPECT_EQ(m_pathRunners.size(), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Error in function StartTcpMtrTests() of file "), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, " ---> A BMTR test failed to initiate successfully: "), 1U);
}

TEST_F(PollingHelpersTest, TheGatewayIsTestedWhileTheTunnelIsUpAndTheGatewayKnown)
{
    VpnConnectionInfo info = Connected();
    info.gatewayIpV4.clear();
    Polling::StartVpnGatewayMtrTest(m_pathRunners, info, TunnelIp, DebugMode);
    for (const auto status :
         {VpnConnectionStatus::Disconnected, VpnConnectionStatus::Disabled, VpnConnectionStatus::ConnectedNonTv,
          VpnConnectionStatus::ConnectedInternal, VpnConnectionStatus::Internal})
    {
        info = Connected();
        info.status = status;
        Polling::StartVpnGatewayMtrTest(m_pathRunners, info, TunnelIp, DebugMode);
    }
    EXPECT_TRUE(m_pathRunners.empty());
    EXPECT_TRUE(m_log.Lines().empty());

    m_pathRunners.push_back(PathRunner(0, ProcessRunner::State::Started));
    Polling::StartVpnGatewayMtrTest(m_pathRunners, Connected(), TunnelIp, DebugMode);
    ASSERT_EQ(m_pathRunners.size(), 2U);
    const auto& request = m_pathRunners[1]->GetRequest();
    EXPECT_TRUE(m_pathRunners[1]->IsGatewayTest());
    EXPECT_EQ(request.target, L"192.0.2.77");
    EXPECT_EQ(request.serverType, VPN_GATEWAY);
    EXPECT_EQ(request.runnerIndex, 1U);
    EXPECT_EQ(request.index, 1U);
    EXPECT_EQ(request.mtrConfigUuid, "");
    // It runs in every state of the tunnel, and there is no such tool here.
    EXPECT_EQ(m_log.Count(Level::Error, "VEL gateway-address MTR test failed to initiate successfully"), 1U);
}

// --- Starting TCP pings

TEST_F(PollingHelpersTest, OnlyTestsByTcpArePingedByTcp)
{
    Shared::WinReg::CreateKey(Root::LocalMachine, PathOf(SettingsKey::Config));
    Shared::WinReg::SetDwordValue(Root::LocalMachine, PathOf(SettingsKey::Config), L"PingTimeoutMs", 2500);
    TestConfiguration tcp;
    tcp.protocol = L"tcp";
    tcp.target = L"h";
    tcp.port = 443;
    tcp.test.id = "t1";
    TestConfiguration icmp = tcp;
    icmp.protocol = L"icmp";
    Polling::StartTcpPingTests(DebugMode, {icmp, tcp, icmp}, m_tcpPingRunners);
    ASSERT_EQ(m_tcpPingRunners.size(), 1U);
    const auto& request = m_tcpPingRunners[0]->GetRequest();
    EXPECT_EQ(request.config, tcp);
    EXPECT_EQ(request.probeCount, 6U);
    EXPECT_EQ(request.intervalSeconds, 10U);
    EXPECT_EQ(request.port, 443U);
    EXPECT_EQ(request.timeoutSeconds, 2.5F);
}

TEST_F(PollingHelpersTest, ATcpPingThatCannotStartCostsItsTargetAlone)
{
    SetVpnValue(L"tunnel-status", L"connected");
    TestConfiguration option;
    option.protocol = L"tcp";
    option.target = L"--x";
    TestConfiguration host = option;
    host.target = L"h";
    Polling::StartTcpPingTests(DebugMode, {option, host}, m_tcpPingRunners);
    EXPECT_EQ(m_tcpPingRunners.size(), 2U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Couldn't start a tcping test for --x: "), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, "Couldn't start a tcping test for h: "), 1U);
}

// --- Collecting

TEST_F(PollingHelpersTest, ResultsOfPathTestsAreReadFromThoseThatWereStarted)
{
    m_pathRunners.push_back(PathRunner(0, ProcessRunner::State::NotStarted));
    m_pathRunners.push_back(PathRunner(1, ProcessRunner::State::Started));
    m_pathRunners.push_back(PathRunner(2, ProcessRunner::State::Started, false, true));
    m_pathRunners.push_back(PathRunner(3, ProcessRunner::State::Started, true));
    EXPECT_EQ(IndicesOf(Polling::ProcessMtrResults(m_pathRunners, false, true)), (std::vector<std::uint32_t>{1, 3}));
    EXPECT_TRUE(m_pathRunners.empty());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "Attempting to get MTR results...");
    EXPECT_NE(lines[1].text.find("function ProcessMtrResults() of file "), std::string::npos);
    EXPECT_NE(lines[1].text.find("An MTR test failed to complete successfully"), std::string::npos);
    EXPECT_EQ(lines[1].level, Level::Error);
    EXPECT_EQ(lines[2].text, "MTR results processed.");
}

TEST_F(PollingHelpersTest, ATestOfTheGatewaySurvivesAChangedUser)
{
    m_pathRunners.push_back(PathRunner(0, ProcessRunner::State::Started));
    m_pathRunners.push_back(PathRunner(1, ProcessRunner::State::Started, true));
    EXPECT_EQ(IndicesOf(Polling::ProcessMtrResults(m_pathRunners, true, false)), std::vector<std::uint32_t>{1});
    EXPECT_EQ(
        m_log.Count(Level::Info, "Discarding MTR non-VPN gateway test due to changed username or subtenant."), 1U);
}

TEST_F(PollingHelpersTest, ATestOfTheGatewayDoesNotSurviveAChangedGateway)
{
    m_pathRunners.push_back(PathRunner(0, ProcessRunner::State::Started, true));
    m_pathRunners.push_back(PathRunner(1, ProcessRunner::State::NotStarted, true));
    EXPECT_TRUE(Polling::ProcessMtrResults(m_pathRunners, true, true).empty());
    EXPECT_TRUE(m_pathRunners.empty());
    EXPECT_EQ(m_log.Count(Level::Info, "Discarding MTR VPN gateway test test due to changed gateway address."), 1U);
}

TEST_F(PollingHelpersTest, ResultsOfHttpTestsAreReadFromThoseThatWereStarted)
{
    m_curlRunners.push_back(std::make_unique<FakeCurlRunner>("a", ProcessRunner::State::Started));
    m_curlRunners.push_back(std::make_unique<FakeCurlRunner>("b", ProcessRunner::State::NotStarted));
    m_curlRunners.push_back(std::make_unique<FakeCurlRunner>("c", ProcessRunner::State::Started, true));
    m_curlRunners.push_back(std::make_unique<FakeCurlRunner>("d", ProcessRunner::State::Started));
    const auto results = Polling::ProcessCurlResults(m_curlRunners, false);
    ASSERT_EQ(results.size(), 2U);
    EXPECT_EQ(results[0].curl_uuid(), "a");
    EXPECT_EQ(results[1].curl_uuid(), "d");
    EXPECT_TRUE(m_curlRunners.empty());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "Attempting to get Curl results...");
    EXPECT_NE(lines[1].text.find("A Curl test failed to complete successfully"), std::string::npos);
    EXPECT_EQ(lines[2].text, "Curl results processed.");
}

TEST_F(PollingHelpersTest, AChangedUserDiscardsHttpTests)
{
    m_curlRunners.push_back(std::make_unique<FakeCurlRunner>("a", ProcessRunner::State::Started));
    EXPECT_TRUE(Polling::ProcessCurlResults(m_curlRunners, true).empty());
    EXPECT_TRUE(m_curlRunners.empty());
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, "Discarding curl tests due to changed username or subtenant.");
}

// --- The other end of the tunnel

TEST_F(PollingHelpersTest, TheOtherEndOfTheTunnelIsBesideThisMachines)
{
    SetVpnValue(L"tunnel-status", L"connected");
    for (const auto& [own, other] : std::vector<std::pair<std::wstring, std::wstring>>{
             {L"10.9.0.1", L"10.9.0.2"}, {L"10.9.0.253", L"10.9.0.254"}, {L"10.9.0.254", L"10.9.0.253"}})
    {
        SetVpnValue(L"tunnel-ip", L"ipv6=2001:db8::1,ipv4=" + own);
        EXPECT_EQ(Polling::DetermineTunnelIp(), other);
    }
    EXPECT_EQ(m_log.Count(Level::Info, "Constructed IP address 10.9.0.254"), 1U);
}

TEST_F(PollingHelpersTest, WithoutATunnelThereIsNoOtherEnd)
{
    SetVpnValue(L"tunnel-ip", L"ipv4=10.9.0.1");
    for (const wchar_t* status :
         {L"internal", L"connected-internal", L"connected-non-tv", L"disabled", L"disconnected"})
    {
        SetVpnValue(L"tunnel-status", status);
        EXPECT_EQ(Polling::DetermineTunnelIp(), L"");
    }
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PollingHelpersTest, AnAddressThatHasNotFourPartsIsPassedOverSilently)
{
    SetVpnValue(L"tunnel-status", L"connected");
    for (const wchar_t* text : {L"", L"ipv6=2001:db8::1", L"ipv4=", L"ipv4=10.9.0", L"ipv4=10.9.0.1.2"})
    {
        SetVpnValue(L"tunnel-ip", text);
        EXPECT_EQ(Polling::DetermineTunnelIp(), L"");
    }
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PollingHelpersTest, AnAddressThatIsNoHostsIsTold)
{
    SetVpnValue(L"tunnel-status", L"connected");
    for (const wchar_t* last : {L"0", L"255", L"256", L"-1", L"", L"x", L"99999999999"})
    {
        SetVpnValue(L"tunnel-ip", std::wstring(L"ipv4=10.9.0.") + last);
        EXPECT_EQ(Polling::DetermineTunnelIp(), L"");
    }
    EXPECT_EQ(m_log.Count(Level::Error, "DetermineTunnelIp() failed"), 7U);
    EXPECT_EQ(m_log.Count(Level::Error, "IpV4 address is an unexpected IP: 10.9.0.255"), 1U);
}

// --- The driver

TEST_F(PollingHelpersTest, WithoutATestByTcpTheDriverIsNotAskedFor)
{
    EXPECT_FALSE(Polling::IsTcpDriverUsable({}));
    EXPECT_FALSE(Polling::IsTcpDriverUsable({PathTest(), PathTest("udp"), PathTest("TCP")}));
    EXPECT_TRUE(m_log.Lines().empty());
}

TEST_F(PollingHelpersTest, AMachineWithoutTheDriverCannotUseItAndSaysSoOnce)
{
    EXPECT_FALSE(Polling::IsTcpDriverUsable({PathTest(), PathTest("tcp"), PathTest("tcp")}));
    EXPECT_EQ(m_log.Lines().size(), 1U);
}
