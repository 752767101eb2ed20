#include "agentcore.tests-functions.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.winsock-winsockinitialiser.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-settingsstore.hpp"

namespace
{

using namespace AgentCore::Tests;
using Shared::Log::Level;
using testing::IsEmpty;

class PingContract : public testing::Test
{
protected:
    PingContract()
    {
        m_winsock.Initialise();
    }

    /// Pings; skips where this user may send no echo requests.
    PingResult Ping(const std::wstring& address, const PingOptions* options = nullptr)
    {
        const auto result = DoIpV4Ping(address, options);
        if (m_log.Count(Level::Error, "Couldn't open an ICMP handle") != 0)
        {
            Skip();
        }
        return result;
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;

private:
    static void Skip()
    {
        GTEST_SKIP() << "this user may not send echo requests";
    }
};

TEST_F(PingContract, TheMachineItselfAnswers)
{
    const auto result = Ping(L"127.0.0.1");
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.status, 0U);
        EXPECT_EQ(result.dataSize, 14);
        EXPECT_EQ(result.replyAddress, L"127.0.0.1");
        EXPECT_LT(result.roundTripMs, 5000U);
        EXPECT_THAT(m_log.Lines(), IsEmpty());
    }
}

TEST_F(PingContract, OptionsDoNotKeepTheMachineItselfFromAnswering)
{
    PingOptions options;
    options.timeToLive = 1;
    options.doNotFragment = true;
    const auto result = Ping(L"127.0.0.1", &options);
    if (!IsSkipped())
    {
        EXPECT_TRUE(result.replied);
        EXPECT_EQ(result.status, 0U);
    }
}

TEST_F(PingContract, ManyPingsInARowAreAllAnswered)
{
    for (int i = 0; i < 100 && !IsSkipped(); ++i)
    {
        EXPECT_TRUE(Ping(L"127.0.0.1").replied || IsSkipped()) << i;
    }
}

TEST_F(PingContract, TheAddressOfNobodyDoesNotAnswer)
{
    EXPECT_FALSE(Ping(L"0.0.0.0").replied);
}

TEST_F(PingContract, WhatIsNoAddressInFourPartsIsWarnedOf)
{
    const std::vector<std::wstring> texts = {
        L"",
        L"localhost",
        L"127.0.0.1.",
        L"127.0.0",
        L" 127.0.0.1",
        L"127.0.0.1 ",
        L"256.0.0.1",
        L"::1",
        L"-n",
        L"1.2.3.4\"",
        L"127.0.0.1;x",
        L"%s{}\n",
        std::wstring(10'240, L'1')};
    for (const auto& text : texts)
    {
        EXPECT_FALSE(DoIpV4Ping(text).replied);
    }
    EXPECT_EQ(m_log.Count(Level::Warning, "Not a valid IPv4 string: "), texts.size());
    EXPECT_EQ(m_log.Lines().size(), texts.size());
}

class HostNameToAddressesContract : public testing::Test
{
protected:
    HostNameToAddressesContract()
    {
        m_winsock.Initialise();
    }

    Shared::WinSock::WinSockInitialiser m_winsock;
};

TEST_F(HostNameToAddressesContract, AnAddressIsItself)
{
    EXPECT_EQ(HostNameToAddresses(L"192.0.2.7").ipv4, L"192.0.2.7");
    EXPECT_EQ(HostNameToAddresses(L"192.0.2.7").ipv6, L"");
    EXPECT_EQ(HostNameToAddresses(L"2001:db8::7").ipv6, L"2001:db8::7");
    EXPECT_EQ(HostNameToAddresses(L"2001:db8::7").ipv4, L"");
}

TEST_F(HostNameToAddressesContract, TheMachineItselfIsKnown)
{
    EXPECT_EQ(HostNameToAddresses(L"localhost").ipv4, L"127.0.0.1");
}

TEST_F(HostNameToAddressesContract, WhatCanBeNoNameIsRefused)
{
    // None of them gets as far as a server: a part of a name has 63 characters at most.
    const std::vector<std::wstring> names = {
        L"", std::wstring(64, L'a') + L".invalid", std::wstring(10'240, L'b'), std::wstring(L"localhost\0x", 11)};
    for (const auto& name : names)
    {
        EXPECT_EQ(TestSupport::Win32Text([&] { (void)HostNameToAddresses(name); }), "GetAddrInfoW failed with error");
    }
}

} // namespace
