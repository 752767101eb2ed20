#include "agentcore.wlan-wlanclient.windows.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.wlan-wlanquerier.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::Wlan;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::CapturedLog;

constexpr GUID First{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
constexpr GUID Second{0x00000001, 0x0002, 0x0003, {4, 5, 6, 7, 8, 9, 10, 11}};
const char* const FirstText = "{6B29FC40-CA47-1067-B31D-00DD010662DA}";

/// The system's wireless service as the test wants it, and what was done with it.
struct Service
{
    DWORD openResult = ERROR_SUCCESS;
    DWORD enumResult = ERROR_SUCCESS;
    std::vector<WLAN_INTERFACE_INFO> interfaces;
    DWORD connectionResult = ERROR_SUCCESS;
    DWORD channelResult = ERROR_SUCCESS;
    WLAN_CONNECTION_ATTRIBUTES connection{};
    ULONG channel = 36;
    /// Told sizes, if they are not the true ones.
    DWORD connectionSize = sizeof(WLAN_CONNECTION_ATTRIBUTES);
    DWORD channelSize = sizeof(ULONG);

    DWORD versionAsked = 0;
    int sessions = 0;
    int blocks = 0;
    std::vector<GUID> asked;
};

Service g_service; // NOLINT(readability-identifier-naming)

const HANDLE Session = reinterpret_cast<HANDLE>(0x1234); // NOLINT(performance-no-int-to-ptr)

void* Allocate(const void* bytes, std::size_t size)
{
    ++g_service.blocks;
    void* const block = std::malloc(size);
    std::memcpy(block, bytes, size);
    return block;
}

DWORD WINAPI FakeOpenHandle(DWORD version, void* /*reserved*/, DWORD* negotiated, HANDLE* handle)
{
    g_service.versionAsked = version;
    if (g_service.openResult != ERROR_SUCCESS)
    {
        return g_service.openResult;
    }
    ++g_service.sessions;
    *negotiated = version;
    *handle = Session;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeCloseHandle(HANDLE handle, void* /*reserved*/)
{
    EXPECT_EQ(handle, Session);
    --g_service.sessions;
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeEnumInterfaces(HANDLE handle, void* /*reserved*/, WLAN_INTERFACE_INFO_LIST** list)
{
    EXPECT_EQ(handle, Session);
    if (g_service.enumResult != ERROR_SUCCESS)
    {
        return g_service.enumResult;
    }
    constexpr std::size_t headerSize = offsetof(WLAN_INTERFACE_INFO_LIST, InterfaceInfo);
    const auto count = static_cast<DWORD>(g_service.interfaces.size());
    std::vector<char> bytes(headerSize + count * sizeof(WLAN_INTERFACE_INFO));
    std::memcpy(bytes.data(), &count, sizeof(count));
    std::memcpy(bytes.data() + headerSize, g_service.interfaces.data(), bytes.size() - headerSize);
    *list = static_cast<WLAN_INTERFACE_INFO_LIST*>(Allocate(bytes.data(), bytes.size()));
    return ERROR_SUCCESS;
}

DWORD WINAPI FakeQueryInterface(
    HANDLE handle,
    const GUID* guid,
    WLAN_INTF_OPCODE code,
    void* /*reserved*/,
    DWORD* size,
    void** data,
    WLAN_OPCODE_VALUE_TYPE* /*type*/)
{
    EXPECT_EQ(handle, Session);
    g_service.asked.push_back(*guid);
    if (code == wlan_intf_opcode_current_connection)
    {
        *size = g_service.connectionSize;
        *data = Allocate(&g_service.connection, sizeof(g_service.connection));
        return g_service.connectionResult;
    }
    EXPECT_EQ(code, wlan_intf_opcode_channel_number);
    *size = g_service.channelSize;
    *data = Allocate(&g_service.channel, sizeof(g_service.channel));
    return g_service.channelResult;
}

void WINAPI FakeFreeMemory(void* memory)
{
    EXPECT_NE(memory, nullptr);
    --g_service.blocks;
    std::free(memory);
}

constexpr WlanApi Api{&FakeOpenHandle, &FakeCloseHandle, &FakeEnumInterfaces, &FakeQueryInterface, &FakeFreeMemory};

WLAN_INTERFACE_INFO Info(const GUID& guid, WLAN_INTERFACE_STATE state)
{
    WLAN_INTERFACE_INFO info{};
    info.InterfaceGuid = guid;
    info.isState = state;
    return info;
}

class NativeWlanClientTest : public testing::Test
{
protected:
    NativeWlanClientTest()
    {
        g_service = Service{};
        g_service.interfaces = {Info(First, wlan_interface_state_connected)};
        auto& association = g_service.connection.wlanAssociationAttributes;
        association.dot11Ssid.uSSIDLength = 6;
        std::memcpy(association.dot11Ssid.ucSSID, "Office", 6);
        const std::uint8_t bssid[]{0x00, 0x0A, 0xB1, 0xFF, 0x05, 0x10};
        std::memcpy(association.dot11Bssid, bssid, sizeof(bssid));
        association.dot11PhyType = static_cast<DOT11_PHY_TYPE>(8);
        association.wlanSignalQuality = 73;
        association.ulRxRate = 866700;
        association.ulTxRate = 780000;
    }

    ~NativeWlanClientTest() override
    {
        EXPECT_EQ(g_service.sessions, 0);
        EXPECT_EQ(g_service.blocks, 0);
    }

    static std::vector<WirelessLan> Query()
    {
        return WlanQuerier{OpenWlanClient(Api, nullptr)}.GetWlanStats();
    }
};

TEST_F(NativeWlanClientTest, AConnectedInterfaceIsToldWhole)
{
    const auto wlans = Query();
    EXPECT_EQ(g_service.versionAsked, 2U);
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].interface_id(), FirstText);
    EXPECT_TRUE(wlans[0].active());
    EXPECT_EQ(wlans[0].ssid(), "Office");
    EXPECT_EQ(wlans[0].bssid(), "0:a:b1:ff:5:10");
    EXPECT_EQ(wlans[0].rx(), 866700U);
    EXPECT_EQ(wlans[0].tx(), 780000U);
    EXPECT_EQ(wlans[0].quality(), 73U);
    EXPECT_EQ(wlans[0].channel(), "36");
    EXPECT_EQ(wlans[0].phy_mode(), "802.11ac");
}

TEST_F(NativeWlanClientTest, AServiceThatDoesNotRunLeavesNoClient)
{
    g_service.openResult = ERROR_SERVICE_NOT_ACTIVE;
    EXPECT_EQ(OpenWlanClient(Api, nullptr), nullptr);
}

TEST_F(NativeWlanClientTest, AFailedEnumerationIsLoggedWithItsCode)
{
    const CapturedLog log;
    g_service.enumResult = ERROR_INVALID_HANDLE;
    EXPECT_TRUE(Query().empty());
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, "Failed to enumerate WLAN interfaces: 6"), 1U);
}

TEST_F(NativeWlanClientTest, OnlyConnectedInterfacesAreAsked)
{
    g_service.interfaces = {
        Info(Second, wlan_interface_state_disconnected), Info(First, wlan_interface_state_connected)};
    const auto client = OpenWlanClient(Api, nullptr);
    EXPECT_THAT(
        client->EnumerateInterfaces(),
        ElementsAre(
            WlanInterface{"{00000001-0002-0003-0405-060708090A0B}", InterfaceState::Disconnected},
            WlanInterface{FirstText, InterfaceState::Connected}));
    EXPECT_EQ(Query().size(), 1U);
    for (const auto& guid : g_service.asked)
    {
        EXPECT_EQ(std::memcmp(&guid, &First, sizeof(guid)), 0);
    }
}

TEST_F(NativeWlanClientTest, AFailedQueryLeavesItsFieldsEmpty)
{
    g_service.connectionResult = ERROR_INVALID_STATE;
    auto wlans = Query();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].ssid(), "");
    EXPECT_EQ(wlans[0].phy_mode(), "");
    EXPECT_EQ(wlans[0].channel(), "36");

    g_service.connectionResult = ERROR_SUCCESS;
    g_service.channelResult = ERROR_INVALID_STATE;
    wlans = Query();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].ssid(), "Office");
    EXPECT_EQ(wlans[0].channel(), "");
}

TEST_F(NativeWlanClientTest, AnAnswerThatIsTooShortCountsAsFailed)
{
    g_service.connectionSize = 16;
    g_service.channelSize = 3;
    const auto wlans = Query();
    ASSERT_EQ(wlans.size(), 1U);
    EXPECT_EQ(wlans[0].ssid(), "");
    EXPECT_EQ(wlans[0].channel(), "");
}

TEST_F(NativeWlanClientTest, ANameEndsWithItsLengthOrAtANullCharacter)
{
    auto& ssid = g_service.connection.wlanAssociationAttributes.dot11Ssid;
    std::fill_n(ssid.ucSSID, sizeof(ssid.ucSSID), static_cast<UCHAR>('x'));
    ssid.uSSIDLength = 3;
    EXPECT_EQ(Query().at(0).ssid(), "xxx");
    ssid.uSSIDLength = 0xFFFFFFFF;
    EXPECT_EQ(Query().at(0).ssid(), std::string(32, 'x'));
    ssid.ucSSID[2] = 0;
    EXPECT_EQ(Query().at(0).ssid(), "xx");
}

TEST_F(NativeWlanClientTest, WhatWasNotListedIsNotAskedFor)
{
    const auto client = OpenWlanClient(Api, nullptr);
    EXPECT_FALSE(client->QueryConnection({FirstText, InterfaceState::Connected}).has_value());
    EXPECT_FALSE(client->QueryChannel({FirstText, InterfaceState::Connected}).has_value());
    EXPECT_THAT(g_service.asked, IsEmpty());
}

TEST_F(NativeWlanClientTest, TheLibraryLivesAsLongAsTheSession)
{
    const auto library = std::make_shared<int>(0);
    auto client = OpenWlanClient(Api, library);
    EXPECT_EQ(library.use_count(), 2);
    client.reset();
    EXPECT_EQ(library.use_count(), 1);
    EXPECT_EQ(g_service.sessions, 0);
}

} // namespace
