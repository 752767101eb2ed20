#include "agentcore.tests-pingcollector.hpp"

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::Tests;
using AgentCore::Messaging::TestConfiguration;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* TunnelWarning = "The tunnelIp is empty; no tunnelIp (overlay) ping will be performed.";
constexpr const char* GatewayWarning = "GatewayAddressIpV4 is empty; no VPN gateway (underlay) ping will be performed.";

TestConfiguration Configured(const std::wstring& id, const std::wstring& target, const std::wstring& protocol = L"icmp")
{
    TestConfiguration test;
    test.testKey = id;
    test.target = target;
    test.protocol = protocol;
    test.networkObjectUuid = L"object of " + id;
    return test;
}

AgentCore::System::NetworkInterfaceRecord Interface(const std::string& name, const std::string& gateway)
{
    AgentCore::System::NetworkInterfaceRecord record;
    record.message.set_name(name);
    record.message.set_ipv4_default_gateway(gateway);
    return record;
}

/// A network that answers as it is told.
class PingCollectorTest : public testing::Test
{
protected:
    GatewayPingResult Round(const std::vector<TestConfiguration>& tests = {}, const std::wstring& tunnelIp = L"")
    {
        return m_collector.PingTests(tests, tunnelIp);
    }

    /// The only batch of a target.
    PingBatch BatchOf(const std::string& id, const std::string& target)
    {
        auto batches = m_collector.TakeBatches()[JoinPingKey(id, target)];
        EXPECT_THAT(batches, SizeIs(1));
        batches.resize(1);
        return batches[0];
    }

    PingSources Sources()
    {
        return {
            [this](const std::wstring& hostName) -> HostAddresses
            {
                m_steps.push_back(L"resolve " + hostName);
                const auto found = m_hosts.find(hostName);
                if (found == m_hosts.end())
                {
                    throw Shared::Exception::Win32Exception("GetAddrInfoW failed with error", 11001);
                }
                return {found->second, L""};
            },
            [this](const std::wstring& address)
            {
                m_steps.push_back(L"ping " + address);
                if (m_broken.count(address) != 0)
                {
                    throw std::runtime_error("no memory");
                }
                const auto found = m_answers.find(address);
                return found == m_answers.end() ? PingResult{} : found->second;
            },
            [this]
            {
                if (m_interfacesFail)
                {
                    throw Shared::Exception::Win32Exception("GetAdaptersAddresses() failed", 8);
                }
                return m_interfaces;
            },
            [this]
            {
                if (m_vpnFails)
                {
                    throw std::runtime_error("no key");
                }
                Shared::AppSettings::VpnConnectionInfo info;
                info.gatewayIpV4 = m_vpnGateway;
                return info;
            }};
    }

    static PingResult Answer(std::uint32_t rtt, std::uint32_t status = 0)
    {
        return {rtt, 14, status, true, L"192.0.2.1"};
    }

    TestSupport::CapturedLog m_log;
    std::map<std::wstring, std::wstring> m_hosts;
    std::map<std::wstring, PingResult> m_answers;
    std::map<std::wstring, bool> m_broken;
    std::vector<AgentCore::System::NetworkInterfaceRecord> m_interfaces;
    bool m_interfacesFail = false;
    bool m_vpnFails = false;
    std::wstring m_vpnGateway;
    std::vector<std::wstring> m_steps;
    PingCollector m_collector{Sources()};
};

TEST_F(PingCollectorTest, ARoundGoesFromTheTestsOverTheGatewaysToTheTunnelAndTheVpnGateway)
{
    m_hosts[L"host.example"] = L"192.0.2.1";
    m_interfaces = {Interface("Ethernet", "10.0.0.1"), Interface("Wireless", "10.0.1.1")};
    m_vpnGateway = L"198.51.100.1";
    Round({Configured(L"a", L"host.example")}, L"10.9.0.2");
    EXPECT_THAT(
        m_steps,
        ElementsAre(
            L"resolve host.example", L"ping 192.0.2.1", L"ping 10.0.0.1", L"ping 10.0.1.1", L"ping 10.9.0.2",
            L"ping 198.51.100.1"));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(PingCollectorTest, TestsOverTcpAreNotPinged)
{
    m_hosts[L"host.example"] = L"192.0.2.1";
    Round({Configured(L"a", L"host.example", L"tcp"), Configured(L"b", L"host.example", L"TCP")});
    EXPECT_THAT(m_steps, ElementsAre(L"resolve host.example", L"ping 192.0.2.1"));
}

TEST_F(PingCollectorTest, ASampleOfATestTellsWhatItIsOf)
{
    m_hosts[L"host.example"] = L"192.0.2.1";
    m_answers[L"192.0.2.1"] = Answer(17, 11013);
    auto test = Configured(L"a", L"host.example");
    test.hasCurlTest = true;
    Round({test});
    const auto batch = BatchOf("a", "host.example");
    EXPECT_EQ(batch.server, "host.example");
    EXPECT_EQ(batch.testUuid, "a");
    EXPECT_EQ(batch.networkObjectUuid, "object of a");
    EXPECT_EQ(batch.serverType, UNKNOWN);
    EXPECT_TRUE(batch.curlTestsConfigured);
    EXPECT_FALSE(batch.isTestUuidInKey);
    EXPECT_FALSE(batch.periodStartUtc.empty());
    ASSERT_THAT(batch.samples, SizeIs(1));
    EXPECT_EQ(batch.samples[0].rtt, 17U);
    EXPECT_EQ(batch.samples[0].status, 11013U);
    EXPECT_TRUE(batch.samples[0].answered);
}

TEST_F(PingCollectorTest, TwoTargetsOfOneTestDoNotMix)
{
    m_hosts = {{L"192.0.2.1", L"192.0.2.1"}, {L"192.0.2.2", L"192.0.2.2"}};
    Round({Configured(L"a", L"192.0.2.1"), Configured(L"a", L"192.0.2.2")});
    EXPECT_THAT(m_collector.TakeBatches(), SizeIs(2));
}

TEST_F(PingCollectorTest, EachRoundAddsOneBatchInTheOrderOfTime)
{
    m_hosts[L"192.0.2.1"] = L"192.0.2.1";
    Round({Configured(L"a", L"192.0.2.1")});
    m_answers[L"192.0.2.1"] = Answer(5);
    Round({Configured(L"a", L"192.0.2.1")});
    const auto batches = m_collector.TakeBatches();
    ASSERT_THAT(batches, SizeIs(1));
    ASSERT_THAT(batches.begin()->second, SizeIs(2));
    EXPECT_FALSE(batches.begin()->second[0].samples[0].answered);
    EXPECT_TRUE(batches.begin()->second[1].samples[0].answered);
    EXPECT_THAT(m_collector.TakeBatches(), IsEmpty());
}

TEST_F(PingCollectorTest, ATargetThatCannotBeFoundHasNoSampleAndTheRoundGoesOn)
{
    m_hosts[L"host.example"] = L"192.0.2.1";
    Round({Configured(L"a", L"gone.example"), Configured(L"b", L"host.example")});
    EXPECT_THAT(m_collector.TakeBatches(), SizeIs(1));
    EXPECT_EQ(m_log.Count(Level::Debug, "Pinging test target gone.example failed: "), 1U);
}

TEST_F(PingCollectorTest, ATargetWithIpV6AddressesAloneIsPingedInVain)
{
    m_hosts[L"six.example"] = L"";
    Round({Configured(L"a", L"six.example")});
    EXPECT_THAT(m_steps, ElementsAre(L"resolve six.example", L"ping "));
    EXPECT_FALSE(BatchOf("a", "six.example").samples[0].answered);
}

TEST_F(PingCollectorTest, AnInterfaceWithoutAGatewayIsSkipped)
{
    m_interfaces = {Interface("a", ""), Interface("b", "0.0.0.0")};
    EXPECT_EQ(Round(), GatewayPingResult::NotPinged);
    EXPECT_THAT(m_steps, IsEmpty());
}

TEST_F(PingCollectorTest, ADefaultGatewayIsKnownByItsInterface)
{
    m_interfaces = {Interface("Ethernet", "10.0.0.1")};
    Round();
    const auto batch = BatchOf("Ethernet", "10.0.0.1");
    EXPECT_EQ(batch.server, "10.0.0.1");
    EXPECT_EQ(batch.serverType, DEFAULT_GATEWAY);
    EXPECT_TRUE(batch.isTestUuidInKey);
}

TEST_F(PingCollectorTest, OneDefaultGatewayThatAnswersIsEnough)
{
    m_interfaces = {Interface("a", "10.0.0.1"), Interface("b", "10.0.1.1"), Interface("c", "10.0.2.1")};
    m_answers[L"10.0.1.1"] = Answer(1);
    EXPECT_EQ(Round(), GatewayPingResult::Answered);
}

TEST_F(PingCollectorTest, AnErrorInPlaceOfAReplyIsNoAnswerOfAGateway)
{
    m_interfaces = {Interface("a", "10.0.0.1")};
    m_answers[L"10.0.0.1"] = Answer(1, 11003);
    EXPECT_EQ(Round(), GatewayPingResult::Unanswered);
}

TEST_F(PingCollectorTest, AnswersOfOthersAreNotThoseOfADefaultGateway)
{
    m_answers[L"10.9.0.2"] = Answer(1);
    EXPECT_EQ(Round({}, L"10.9.0.2"), GatewayPingResult::NotPinged);
}

TEST_F(PingCollectorTest, AGatewayThatVanishesIsOneSampleLessInTheNextRound)
{
    m_interfaces = {Interface("a", "10.0.0.1")};
    m_answers[L"10.0.0.1"] = Answer(1);
    EXPECT_EQ(Round(), GatewayPingResult::Answered);
    m_interfaces.clear();
    EXPECT_EQ(Round(), GatewayPingResult::NotPinged);
    EXPECT_THAT(BatchOf("a", "10.0.0.1").samples, SizeIs(1));
}

TEST_F(PingCollectorTest, AFailureAtADefaultGatewayIsLoggedAndTheNextIsPinged)
{
    m_interfaces = {Interface("a", "10.0.0.1"), Interface("b", "10.0.1.1")};
    m_broken[L"10.0.0.1"] = true;
    Round();
    EXPECT_THAT(m_steps, ElementsAre(L"ping 10.0.0.1", L"ping 10.0.1.1"));
    EXPECT_EQ(m_log.Count(Level::Debug, "Pinging default gateway [10.0.0.1] failed: no memory"), 1U);
}

TEST_F(PingCollectorTest, InterfacesThatCannotBeListedDoNotEndTheRound)
{
    m_interfacesFail = true;
    m_answers[L"10.9.0.2"] = Answer(1);
    EXPECT_EQ(Round({}, L"10.9.0.2"), GatewayPingResult::NotPinged);
    EXPECT_EQ(m_log.Count(Level::Warning, "GetAdaptersAddresses() failed"), 1U);
    EXPECT_THAT(m_steps, ElementsAre(L"ping 10.9.0.2"));
}

TEST_F(PingCollectorTest, WithoutATunnelAndAGatewayTheLogWarnsOfBothInThisOrder)
{
    Round();
    const auto lines = m_log.Lines();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].level, Level::Warning);
    EXPECT_EQ(lines[0].text, TunnelWarning);
    EXPECT_EQ(lines[1].level, Level::Warning);
    EXPECT_EQ(lines[1].text, GatewayWarning);
    EXPECT_THAT(m_collector.TakeBatches(), IsEmpty());
}

TEST_F(PingCollectorTest, TheTunnelAndTheVpnGatewayHaveTheirTypes)
{
    m_vpnGateway = L"198.51.100.1";
    Round({}, L"10.9.0.2");
    const auto batches = m_collector.TakeBatches();
    ASSERT_THAT(batches, SizeIs(2));
    for (const auto& [key, ofKey] : batches)
    {
        const bool isTunnel = ofKey[0].server == "10.9.0.2";
        EXPECT_EQ(ofKey[0].serverType, isTunnel ? VPN_TUNNEL : VPN_GATEWAY) << ofKey[0].server;
        EXPECT_EQ(ofKey[0].testUuid, "");
    }
}

TEST_F(PingCollectorTest, AFailureAtTheTunnelIsLoggedAndTheGatewayIsPinged)
{
    m_vpnGateway = L"198.51.100.1";
    m_broken[L"10.9.0.2"] = true;
    Round({}, L"10.9.0.2");
    EXPECT_EQ(m_log.Count(Level::Debug, "Pinging VEL tunnel-ip 10.9.0.2 failed: no memory"), 1U);
    EXPECT_THAT(m_steps, ElementsAre(L"ping 10.9.0.2", L"ping 198.51.100.1"));
}

TEST_F(PingCollectorTest, AFailureAtTheVpnGatewayIsLogged)
{
    m_vpnGateway = L"198.51.100.1";
    m_broken[L"198.51.100.1"] = true;
    Round({}, L"10.9.0.2");
    EXPECT_EQ(m_log.Count(Level::Debug, "Pinging VEL gateway 198.51.100.1 failed: no memory"), 1U);
    EXPECT_THAT(m_collector.TakeBatches(), SizeIs(1));
}

TEST_F(PingCollectorTest, WithoutWordOfTheVpnTheTunnelIsPingedAllTheSame)
{
    m_vpnFails = true;
    Round({}, L"10.9.0.2");
    EXPECT_THAT(m_steps, ElementsAre(L"ping 10.9.0.2"));
    EXPECT_EQ(m_log.Count(Level::Warning, "no key"), 1U);
    EXPECT_EQ(m_log.Count(Level::Warning, GatewayWarning), 1U);
}

TEST_F(PingCollectorTest, ADefaultGatewayWhosePingFailsCountsAsUnanswered)
{
    m_interfaces = {Interface("a", "10.0.0.1")};
    m_broken[L"10.0.0.1"] = true;
    EXPECT_EQ(Round(), GatewayPingResult::Unanswered);
    EXPECT_THAT(m_collector.TakeBatches(), IsEmpty());
}

TEST_F(PingCollectorTest, AllSamplesOfARoundHaveItsTime)
{
    m_hosts[L"host.example"] = L"192.0.2.1";
    m_interfaces = {Interface("Ethernet", "10.0.0.1")};
    m_vpnGateway = L"198.51.100.1";
    Round({Configured(L"a", L"host.example")}, L"10.9.0.2");
    const auto batches = m_collector.TakeBatches();
    ASSERT_THAT(batches, SizeIs(4));
    const auto time = batches.begin()->second[0].periodStartUtc;
    EXPECT_THAT(time, testing::MatchesRegex("........-..:..:...+")); // "20240307-21:00:00.5+120"
    for (const auto& [key, ofKey] : batches)
    {
        EXPECT_EQ(ofKey[0].periodStartUtc, time) << key;
    }
}

TEST(PingKeyTest, TheFirstPartOfAKeyIsItsId)
{
    EXPECT_EQ(GetPingKeyId(JoinPingKey("id", "target")), "id");
    EXPECT_EQ(GetPingKeyId(JoinPingKey("", "target")), "");
    EXPECT_EQ(GetPingKeyId("no key"), "no key");
    EXPECT_NE(JoinPingKey("a", "bc"), JoinPingKey("ab", "c"));
}

} // namespace
