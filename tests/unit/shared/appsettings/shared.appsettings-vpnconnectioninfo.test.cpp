#include "shared.appsettings-vpnconnectioninfo.hpp"

#include "shared.time-clock.hpp"

#include <array>
#include <utility>

#include <gtest/gtest.h>

namespace
{

using namespace Shared::AppSettings;

constexpr std::array<std::pair<std::uint32_t, const wchar_t*>, 6> Words = {
    {{0, L"disconnected"},
     {1, L"connected"},
     {2, L"disabled"},
     {3, L"connected-non-tv"},
     {4, L"connected-internal"},
     {5, L"internal"}}};

TEST(VpnStatusTest, EachStateHasItsNumberAndItsWord)
{
    for (const auto& [number, word] : Words)
    {
        const VpnStatus status(static_cast<VpnConnectionStatus>(number));
        EXPECT_EQ(status.ToText(), word);
        EXPECT_EQ(VpnConnectionStatusConverter::FromText(word), status.GetValue());
    }
}

TEST(VpnStatusTest, WordsAreComparedByLengthContentAndCase)
{
    for (const wchar_t* text : {L"", L"Connected", L"connected ", L"connecte", L"connected-", L"internal-connected"})
    {
        EXPECT_EQ(VpnConnectionStatusConverter::FromText(text), std::nullopt) << text;
    }
    EXPECT_EQ(VpnConnectionStatusConverter::FromText(std::wstring_view(L"connected\0", 10)), std::nullopt);
}

TEST(VpnStatusTest, IsEqualToItsOwnKindAndToThePlainState)
{
    const VpnStatus connected = VpnConnectionStatus::Connected;
    const VpnStatus same = VpnConnectionStatus::Connected;
    EXPECT_TRUE(connected == same);
    EXPECT_TRUE(connected == VpnConnectionStatus::Connected);
    EXPECT_TRUE(VpnConnectionStatus::Connected == connected);
    EXPECT_TRUE(connected != VpnConnectionStatus::Internal);
    EXPECT_TRUE(connected != VpnStatus());
}

TEST(VpnStatusTest, IsDisconnectedUntilItIsSaidOtherwise)
{
    EXPECT_EQ(VpnStatus(), VpnConnectionStatus::Disconnected);
    EXPECT_EQ(VpnConnectionInfo().status, VpnConnectionStatus::Disconnected);
}

TEST(VpnStatusTest, ANumberThatIsNoStateHasNoWord)
{
    EXPECT_EQ(VpnStatus(static_cast<VpnConnectionStatus>(6)).ToText(), L"");
}

TEST(VpnConnectionInfoTest, HasTheTimeOfItsMaking)
{
    const std::int64_t before = Shared::Time::EpochSeconds();
    const VpnConnectionInfo info;
    EXPECT_GE(info.timestamp, before);
    EXPECT_LE(info.timestamp, Shared::Time::EpochSeconds());
}

} // namespace
