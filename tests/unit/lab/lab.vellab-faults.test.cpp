#include "lab.vellab-faults.hpp"

#include "lab.scenario-parser.hpp"
#include "lab.vellab-settings.hpp"
#include "lab.wire-envelope.hpp"
#include "lab.wire-names.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.support-time.hpp"

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{

using Lab::AgentSeconds;
using Lab::Fault;
using Lab::FaultInjector;
using Lab::FaultKind;
using Lab::FaultOrigin;
using Lab::FaultSchedule;
using Lab::Control::Order;
using Lab::Control::OrderKind;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

constexpr milliseconds Limit(TestSupport::LimitMs);

Fault At(double seconds, FaultKind kind = FaultKind::KillConnector, std::uint32_t start = 1)
{
    Fault fault;
    fault.kind = kind;
    fault.time = AgentSeconds(seconds);
    fault.start = start;
    return fault;
}

std::vector<double> TimesOf(const std::vector<Fault>& faults)
{
    std::vector<double> times;
    for (const Fault& fault : faults)
    {
        times.push_back(fault.time.count());
    }
    return times;
}

TEST(FaultScheduleTest, EachFaultIsDueOnceInTheOrderOfTheirTimes)
{
    FaultSchedule schedule({At(5), At(1), At(3)}, 1);
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(0.9), {}).empty());
    EXPECT_EQ(TimesOf(schedule.TakeDue(AgentSeconds(3), {})), (std::vector<double>{1, 3}));
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(4), {}).empty());
    EXPECT_EQ(TimesOf(schedule.TakeDue(AgentSeconds(100), {})), std::vector<double>{5});
    EXPECT_TRUE(schedule.GetLeft().empty());
}

TEST(FaultScheduleTest, WhatWaitsForARegistrationCountsFromThere)
{
    Fault fault = At(2);
    fault.origin = FaultOrigin::Registration;
    FaultSchedule schedule({fault, At(50)}, 1);
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(10), {}).empty());
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(11.9), {AgentSeconds(10), {}, {}}).empty());
    EXPECT_EQ(schedule.TakeDue(AgentSeconds(12), {AgentSeconds(10), {}, {}}).size(), 1U);
    EXPECT_EQ(schedule.GetLeft().size(), 1U);
}

TEST(FaultScheduleTest, WhatWaitsForALinkCountsFromThatOne)
{
    Fault fault = At(2);
    fault.origin = FaultOrigin::Link;
    FaultSchedule schedule({fault}, 1);
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(100), {AgentSeconds(10), {}, {}}).empty());
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(21.9), {AgentSeconds(10), AgentSeconds(20), {}}).empty());
    EXPECT_EQ(schedule.TakeDue(AgentSeconds(22), {AgentSeconds(10), AgentSeconds(20), {}}).size(), 1U);
}

TEST(FaultScheduleTest, WhatWaitsForTheConfigurationCountsFromThere)
{
    Fault fault = At(2);
    fault.origin = FaultOrigin::Configuration;
    FaultSchedule schedule({fault}, 1);
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(100), {AgentSeconds(10), AgentSeconds(20), {}}).empty());
    EXPECT_TRUE(schedule.TakeDue(AgentSeconds(31.9), {AgentSeconds(10), AgentSeconds(20), AgentSeconds(30)}).empty());
    EXPECT_EQ(schedule.TakeDue(AgentSeconds(32), {AgentSeconds(10), AgentSeconds(20), AgentSeconds(30)}).size(), 1U);
}

TEST(FaultScheduleTest, AFaultBelongsToItsStart)
{
    const std::vector<Fault> faults = {At(0, FaultKind::CutLink, 1), At(0, FaultKind::Flood, 2)};
    EXPECT_EQ(FaultSchedule(faults, 1).TakeDue(AgentSeconds(0), {})[0].kind, FaultKind::CutLink);
    EXPECT_EQ(FaultSchedule(faults, 2).TakeDue(AgentSeconds(0), {})[0].kind, FaultKind::Flood);
    EXPECT_TRUE(FaultSchedule(faults, 3).TakeDue(AgentSeconds(0), {}).empty());
}

class FaultInjectorTest : public ::testing::Test
{
protected:
    FaultInjectorTest()
        : m_cloud(Lab::Scenario(), m_folder.Path() / "cloud", 10, [](std::string_view, std::string_view) {}),
          m_injector(m_cloud, m_timeline, 10, "VELPortalProcess.exe")
    {
    }

    Fault Parse(const std::string& members)
    {
        return Lab::ParseScenario(R"({"faults":[{)" + members + "}]}").faults[0];
    }

    std::unique_ptr<Lab::Net::FrameStream> Connect(const Lab::Control::Hello& hello)
    {
        auto stream = std::make_unique<Lab::Net::FrameStream>(Lab::Net::Socket::Connect(m_cloud.GetEndpoint(), Limit));
        stream->Send(Lab::Control::Encode(hello), Limit);
        (void)stream->Receive(Limit);
        return stream;
    }

    /// The order that a connector gets of a fault.
    Order OrderOf(const std::string& members)
    {
        if (!m_control)
        {
            m_control = Connect({Lab::Control::Role::Control, "", 1});
        }
        do
        {
            m_out.str("");
            m_injector.Inject(Parse(members), 0);
        } while (m_out.str().find("there is no connector") != std::string::npos);
        EXPECT_THAT(m_out.str(), HasSubstr("told 1 connector"));
        return Lab::Control::DecodeOrders(m_control->Receive(Limit).value_or("{}")).at(0);
    }

    /// The payload of the next message behind this request.
    static std::string Ask(Lab::Net::FrameStream& link, std::uint32_t msgId, const std::string& payload)
    {
        Lab::Wire::Envelope request;
        request.msgId = msgId;
        request.payload = payload;
        link.Send(Encode(request), Limit);
        return Lab::Wire::Decode(*link.Receive(Limit)).payload;
    }

    std::string ToldOf(const std::string& members)
    {
        m_out.str("");
        m_injector.Inject(Parse(members), 0);
        return m_out.str().substr(m_out.str().find('|') + 2);
    }

    TestSupport::TemporaryFolder m_folder;
    std::ostringstream m_out;
    Lab::Timeline m_timeline{m_out};
    Lab::Cloud::Service m_cloud;
    FaultInjector m_injector;
    std::unique_ptr<Lab::Net::FrameStream> m_control;
};

TEST_F(FaultInjectorTest, TheTimesOfAnOrderAreReal)
{
    EXPECT_EQ(OrderOf(R"("fault":"hang-connector","seconds":5)").duration, milliseconds(500))
        << "the agent lives ten times faster";
    EXPECT_EQ(OrderOf(R"("fault":"hang-connector","seconds":0.001)").duration, milliseconds(1)) << "and not for good";
    EXPECT_EQ(OrderOf(R"("fault":"hang-connector")").duration, milliseconds(0));
}

TEST_F(FaultInjectorTest, FaultsOfTheConnectorAreOrdersToIt)
{
    EXPECT_EQ(OrderOf(R"("fault":"hang-connector")").kind, OrderKind::Hang);
    const Order garble = OrderOf(R"("fault":"garble-frame","count":2,"size":6000)");
    EXPECT_EQ(garble.kind, OrderKind::Garble);
    EXPECT_EQ(garble.count, 2U);
    EXPECT_EQ(garble.size, 6000U);
    const Order trickle = OrderOf(R"("fault":"trickle","count":9,"pause":1)");
    EXPECT_EQ(trickle.kind, OrderKind::Trickle);
    EXPECT_EQ(trickle.pause, milliseconds(100));
    EXPECT_EQ(OrderOf(R"("fault":"fragment","size":3)").kind, OrderKind::Fragment);
    EXPECT_THAT(m_out.str(), HasSubstr("fragment: told 1 connector, and the cloud, for good\n"));
}

TEST_F(FaultInjectorTest, AnOrderIsToldWithItsMeasure)
{
    (void)OrderOf(R"("fault":"hang-connector","seconds":15)");
    EXPECT_THAT(m_out.str(), HasSubstr("hang-connector: told 1 connector, for 15 s\n"));
    (void)OrderOf(R"("fault":"garble-frame","count":2,"size":6000)");
    EXPECT_THAT(m_out.str(), HasSubstr("garble-frame: told 1 connector, 2 messages of 6000 bytes\n"));
    (void)OrderOf(R"("fault":"trickle","count":1)");
    EXPECT_THAT(m_out.str(), HasSubstr("trickle: told 1 connector, 1 message\n"));
}

TEST_F(FaultInjectorTest, FaultsOfTheConnectorsStartWaitForIt)
{
    EXPECT_EQ(ToldOf(R"("fault":"exit-at-start","exitCode":7)"), "exit-at-start: at the next start of the connector\n");
    const auto control =
        std::make_unique<Lab::Net::FrameStream>(Lab::Net::Socket::Connect(m_cloud.GetEndpoint(), Limit));
    control->Send(Lab::Control::Encode(Lab::Control::Hello{Lab::Control::Role::Control, "", 1}), Limit);
    const auto orders = Lab::Control::DecodeOrders(control->Receive(Limit).value_or("{}"));
    ASSERT_EQ(orders.size(), 1U);
    EXPECT_EQ(orders[0].kind, OrderKind::ExitAtStart);
    EXPECT_EQ(orders[0].exitCode, 7);
}

TEST_F(FaultInjectorTest, WhatMeetsNobodyIsToldSo)
{
    EXPECT_EQ(ToldOf(R"("fault":"kill-connector")"), "kill-connector: there is none\n");
    EXPECT_EQ(ToldOf(R"("fault":"hang-connector")"), "hang-connector: there is no connector\n");
    EXPECT_EQ(ToldOf(R"("fault":"flood","count":5)"), "flood: 5 messages of 64 bytes on 0 links\n");
    EXPECT_EQ(ToldOf(R"("fault":"flood","count":1)"), "flood: 1 message of 64 bytes on 0 links\n");
    EXPECT_EQ(ToldOf(R"("fault":"send-message","msgId":22)"), "send-message: 22 on 0 links\n");
}

TEST_F(FaultInjectorTest, FaultsOfTheCloudHappenThere)
{
    const auto link = Connect({Lab::Control::Role::Link, "s", 1});
    EXPECT_EQ(ToldOf(R"("fault":"silence-cloud","seconds":0.01)"), "silence-cloud: for 0.01 s\n");
    Shared::Time::SleepFor(milliseconds(10));
    EXPECT_EQ(ToldOf(R"("fault":"flood","count":5)"), "flood: 5 messages of 64 bytes on 1 link\n");
    EXPECT_EQ(Lab::Wire::Decode(*link->Receive(Limit)).seqNum, 1U);
    EXPECT_EQ(ToldOf(R"("fault":"cut-link")"), "cut-link: 1 link, for good\n");
}

TEST_F(FaultInjectorTest, AChangedConfigurationIsThereBeforeItsNotice)
{
    const auto link = Connect({Lab::Control::Role::Link, "s", 1});
    EXPECT_EQ(
        ToldOf(R"("fault":"change-configuration","configuration":{"/config/tags":{"a":"1"},"/config/agent":null})"),
        "change-configuration: 2 paths, and a notice on 1 link\n");
    EXPECT_EQ(Lab::Wire::Decode(*link->Receive(Limit)).msgId, Lab::Wire::MsgId::ConfigChanges);
    EXPECT_THAT(
        Ask(*link, Lab::Wire::MsgId::ConfigGet2Request, R"({"trees":["/config/tags"]})"), HasSubstr(R"({"a":"1"})"));
    EXPECT_EQ(
        ToldOf(R"("fault":"change-configuration","configuration":{"/config/tags":{"a":"2"}},"notify":false)"),
        "change-configuration: 1 path\n");
    EXPECT_THAT(
        Ask(*link, Lab::Wire::MsgId::ConfigGet2Request, R"({"trees":["/config/tags"]})"), HasSubstr(R"({"a":"2"})"))
        << "nothing came before this answer";
}

TEST_F(FaultInjectorTest, ChangedGroupsAreToldUnlessTheyAreToBeKeptQuiet)
{
    const auto link = Connect({Lab::Control::Role::Link, "s", 1});
    EXPECT_EQ(ToldOf(R"("fault":"change-groups","groups":["x"])"), "change-groups: 1 group, told on 1 link\n");
    const Lab::Wire::Envelope told = Lab::Wire::Decode(*link->Receive(Limit));
    EXPECT_EQ(told.msgId, Lab::Wire::MsgId::UserGroupsNotification);
    EXPECT_THAT(told.payload, HasSubstr(R"("groups":["x"])"));
    EXPECT_EQ(ToldOf(R"("fault":"change-groups","groups":[],"notify":false)"), "change-groups: 0 groups\n");
    EXPECT_THAT(
        Ask(*link, Lab::Wire::MsgId::UserGroupsRequest, R"({"user":"u"})"), HasSubstr(R"({"user":"u","groups":[],)"));
}

TEST_F(FaultInjectorTest, AnUpdateRequestNamesItsVersion)
{
    const auto link = Connect({Lab::Control::Role::Link, "s", 1});
    EXPECT_EQ(ToldOf(R"("fault":"update-request","version":"1.10.0")"), "update-request: to 1.10.0 on 1 link\n");
    const Lab::Wire::Envelope request = Lab::Wire::Decode(*link->Receive(Limit));
    EXPECT_EQ(request.msgId, Lab::Wire::MsgId::CheckForUpdatesRequest);
    EXPECT_EQ(request.payload, R"({"targetAgentVersion":"1.10.0"})");
}

TEST_F(FaultInjectorTest, TheRegistryIsChangedAsTheVpnClientDoes)
{
    const TestSupport::TemporarySettingsStore store;
    Lab::LayOutSettings("a.example");
    EXPECT_EQ(ToldOf(R"("fault":"change-vpn","vpn":{"tunnel-status":"internal"})"), "change-vpn: 1 value\n");
    EXPECT_EQ(
        Shared::WinReg::GetStringValue(
            Shared::WinReg::Root::LocalMachine, L"SOFTWARE\\Tarvane\\Norvik\\VEL", L"tunnel-status"),
        L"internal");
    EXPECT_EQ(ToldOf(R"("fault":"change-user","user":{"username":"eve"})").substr(0, 16), "change-user: eve");
}

TEST_F(FaultInjectorTest, WhatFailsIsToldAndNotThrown)
{
    const TestSupport::TemporarySettingsStore store;
    EXPECT_THAT(ToldOf(R"("fault":"change-vpn","vpn":{"tunnel-status":"internal"})"), HasSubstr("could not be done: "));
}

} // namespace
