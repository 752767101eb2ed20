#include "agentcore.wlan-wlanquerier.hpp"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <google/protobuf/util/json_util.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::Wlan;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using TestSupport::CapturedLog;

/// A wireless service as the test wants it.
struct Service
{
    std::vector<WlanInterface> interfaces;
    std::optional<std::uint32_t> enumerationFailure;
    std::map<std::string, WlanConnection> connections;
    std::map<std::string, std::uint32_t> channels;
    /// Interfaces that were asked for their connection.
    std::vector<std::string> asked;
    bool isOpen = true;
};

class FakeClient final : public WlanClient
{
public:
    explicit FakeClient(Service& service) : e_service(service)
    {
    }

    FakeClient(const FakeClient&) = delete;
    FakeClient& operator=(const FakeClient&) = delete;

    ~FakeClient() override
    {
        e_service.isOpen = false;
    }

    std::vector<WlanInterface> EnumerateInterfaces() override
    {
        if (e_service.enumerationFailure)
        {
            throw Shared::Exception::Win32Exception("any text", *e_service.enumerationFailure);
        }
        return e_service.interfaces;
    }

    std::optional<WlanConnection> QueryConnection(const WlanInterface& wlanInterface) override
    {
        e_service.asked.push_back(wlanInterface.id);
        const auto found = e_service.connections.find(wlanInterface.id);
        return found == e_service.connections.end() ? std::nullopt : std::optional{found->second};
    }

    std::optional<std::uint32_t> QueryChannel(const WlanInterface& wlanInterface) override
    {
        const auto found = e_service.channels.find(wlanInterface.id);
        return found == e_service.channels.end() ? std::nullopt : std::optional{found->second};
    }

private:
    Service& e_service;
};

class WlanQuerierTest : public testing::Test
{
protected:
    WlanQuerierTest()
    {
        m_service.interfaces = {{"{A}", InterfaceState::Connected}};
        WlanConnection connection;
        connection.ssid = "Office";
        connection.bssid = {0x00, 0x0A, 0xB1, 0xFF, 0x05, 0x10};
        connection.phyType = PhyType::HighThroughput;
        connection.quality = 73;
        connection.receiveRate = 144400;
        connection.transmitRate = 72200;
        m_service.connections["{A}"] = connection;
        m_service.channels["{A}"] = 36;
    }

    std::vector<WirelessLan> Query()
    {
        return WlanQuerier{std::make_unique<FakeClient>(m_service)}.GetWlanStats();
    }

    WirelessLan QueryOne()
    {
        const auto wlans = Query();
        EXPECT_EQ(wlans.size(), 1U);
        return wlans.empty() ? WirelessLan{} : wlans.front();
    }

    Service m_service;
};

TEST_F(WlanQuerierTest, TellsEverythingOfAConnectedInterface)
{
    const auto wlan = QueryOne();
    EXPECT_EQ(wlan.interface_id(), "{A}");
    EXPECT_TRUE(wlan.active());
    EXPECT_EQ(wlan.ssid(), "Office");
    EXPECT_EQ(wlan.bssid(), "0:a:b1:ff:5:10");
    EXPECT_EQ(wlan.rx(), 144400U);
    EXPECT_EQ(wlan.tx(), 72200U);
    EXPECT_EQ(wlan.quality(), 73U);
    EXPECT_EQ(wlan.channel(), "36");
    EXPECT_EQ(wlan.phy_mode(), "802.11n");
}

TEST_F(WlanQuerierTest, MinimaMaximaAndSignalsAreNotFilled)
{
    auto wlan = QueryOne();
    for (const auto* const name :
         {"active", "ssid", "rx", "tx", "channel", "quality", "bssid", "interface_id", "phy_mode"})
    {
        wlan.GetReflection()->ClearField(&wlan, WirelessLan::descriptor()->FindFieldByName(name));
    }
    EXPECT_EQ(wlan.ByteSizeLong(), 0U);
}

TEST_F(WlanQuerierTest, WithoutASessionThereAreNoWlansAndNoError)
{
    const CapturedLog log;
    WlanQuerier querier{nullptr};
    EXPECT_FALSE(querier.HasClient());
    EXPECT_TRUE(querier.GetWlanStats().empty());
    EXPECT_THAT(querier.EnumerateInterfaces(), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(WlanQuerierTest, WithoutASessionAnInterfaceIsReadWithoutALink)
{
    const auto wlan = WlanQuerier{nullptr}.ReadInterface({"{A}", InterfaceState::Connected});
    EXPECT_EQ(wlan.interface_id(), "{A}");
    EXPECT_EQ(wlan.ssid(), "");
}

TEST_F(WlanQuerierTest, AFailedEnumerationIsLoggedAndGivesNoWlans)
{
    const CapturedLog log;
    m_service.enumerationFailure = 1062;
    EXPECT_TRUE(Query().empty());
    ASSERT_THAT(log.Lines(), SizeIs(1));
    EXPECT_EQ(log.Lines()[0].level, Level::Error);
    EXPECT_EQ(log.Lines()[0].text, "Failed to enumerate WLAN interfaces: 1062");
}

TEST_F(WlanQuerierTest, OnlyConnectedInterfacesAreRead)
{
    m_service.interfaces.clear();
    for (std::uint32_t state = 0; state < 10; ++state)
    {
        m_service.interfaces.push_back({fmt::format("{{{}}}", state), static_cast<InterfaceState>(state)});
    }
    EXPECT_EQ(QueryOne().interface_id(), "{1}");
    EXPECT_THAT(m_service.asked, ElementsAre("{1}"));
}

TEST_F(WlanQuerierTest, AllInterfacesAreListedConnectedOrNot)
{
    m_service.interfaces.push_back({"{B}", InterfaceState::Disconnected});
    WlanQuerier querier{std::make_unique<FakeClient>(m_service)};
    EXPECT_EQ(querier.EnumerateInterfaces(), m_service.interfaces);
    EXPECT_FALSE(querier.ReadInterface(m_service.interfaces[1]).active());
}

TEST_F(WlanQuerierTest, AFailedQueryLeavesItsFieldsEmptyAndLosesNoOtherInterface)
{
    m_service.interfaces = {{"{gone}", InterfaceState::Connected}, {"{A}", InterfaceState::Connected}};
    m_service.channels["{gone}"] = 11;
    m_service.channels.erase("{A}");
    const auto wlans = Query();
    ASSERT_EQ(wlans.size(), 2U);
    EXPECT_EQ(wlans[0].interface_id(), "{gone}");
    EXPECT_TRUE(wlans[0].active());
    EXPECT_EQ(wlans[0].ssid(), "");
    EXPECT_EQ(wlans[0].bssid(), "");
    EXPECT_EQ(wlans[0].phy_mode(), "");
    EXPECT_EQ(wlans[0].channel(), "11");
    EXPECT_EQ(wlans[1].ssid(), "Office");
    EXPECT_EQ(wlans[1].channel(), "");
}

TEST_F(WlanQuerierTest, KindsOfLinksHaveTheirNames)
{
    const std::vector<std::pair<std::uint32_t, std::string>> expected{
        {0, "unknown 0"},
        {1, "unknown 1"},
        {2, "unknown 2"},
        {3, "unknown 3"},
        {4, "802.11a"},
        {5, "unknown 5"},
        {6, "802.11g"},
        {7, "802.11n"},
        {8, "802.11ac"},
        {9, "unknown 9"},
        {10, "unknown 10"},
        {11, "unknown 11"},
        {0x80000000, "unknown 2147483648"}};
    for (const auto& [number, text] : expected)
    {
        m_service.connections["{A}"].phyType = static_cast<PhyType>(number);
        EXPECT_EQ(QueryOne().phy_mode(), text);
    }
}

TEST_F(WlanQuerierTest, ANameEndsAtItsFirstNullCharacter)
{
    m_service.connections["{A}"].ssid = std::string{"Off\0ice", 7};
    EXPECT_EQ(QueryOne().ssid(), "Off");
    m_service.connections["{A}"].ssid = std::string{"\0", 1};
    EXPECT_EQ(QueryOne().ssid(), "");
}

TEST_F(WlanQuerierTest, ANameThatIsNotUtf8StillGoesIntoAMessage)
{
    m_service.connections["{A}"].ssid = "Caf\xE9 \xC3\xA9\xFF";
    m_service.interfaces[0].id = "{A}";
    const auto wlan = QueryOne();
    EXPECT_EQ(wlan.ssid(), "Caf \xC3\xA9");
    std::string json;
    EXPECT_TRUE(google::protobuf::util::MessageToJsonString(wlan, &json).ok());
    EXPECT_NE(json.find("Caf \xC3\xA9"), std::string::npos);
}

TEST_F(WlanQuerierTest, TheSessionEndsWithTheQuerier)
{
    {
        const WlanQuerier querier{std::make_unique<FakeClient>(m_service)};
        EXPECT_TRUE(querier.HasClient());
        EXPECT_TRUE(m_service.isOpen);
    }
    EXPECT_FALSE(m_service.isOpen);
}

} // namespace
