#include "agentcore.tests-functions.hpp"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.appsettings-paths.hpp"
#include "shared.exception-exceptions.hpp"
#include "shared.winreg-administration.hpp"
#include "shared.winreg-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

namespace
{

using namespace AgentCore::Tests;
using Shared::Exception::Win32Exception;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::HasSubstr;

/// Services that do as they are told, and tell what they were asked for.
class FakeIcmpService final : public IcmpService
{
public:
    AddressReading ParseAddress(const std::wstring&, Icmp::IpV4Address& address, std::uint32_t& error) const override
    {
        m_steps.emplace_back("parse");
        address = {192, 0, 2, 1};
        error = 10047;
        return m_reading;
    }

    std::unique_ptr<IcmpHandle> Open() const override
    {
        m_steps.emplace_back("open");
        if (!m_opens)
        {
            throw Win32Exception("IcmpCreateFile() failed", 5);
        }
        return std::make_unique<Handle>(*this);
    }

    std::wstring FormatAddress(const Icmp::IpV4Address&) const override
    {
        m_steps.emplace_back("format");
        return m_formatted;
    }

    AddressReading m_reading = AddressReading::Valid;
    bool m_opens = true;
    bool m_closes = true;
    std::optional<EchoAnswer> m_answer = EchoAnswer{{192, 0, 2, 1}, 0, 23, 14};
    std::wstring m_formatted = L"192.0.2.1";
    mutable std::vector<std::string> m_steps;
    mutable std::string m_payload;
    mutable std::size_t m_replyBufferSize = 0;
    mutable std::uint32_t m_timeoutMs = 0;
    mutable const PingOptions* m_options = nullptr;

private:
    class Handle final : public IcmpHandle
    {
    public:
        explicit Handle(const FakeIcmpService& service) : e_service(service)
        {
        }

        std::optional<EchoAnswer> SendEcho(
            const Icmp::IpV4Address&,
            std::span<const std::uint8_t> payload,
            const PingOptions* options,
            std::size_t replyBufferSize,
            std::uint32_t timeoutMs) override
        {
            e_service.m_steps.emplace_back("send");
            e_service.m_payload.assign(payload.begin(), payload.end());
            e_service.m_options = options;
            e_service.m_replyBufferSize = replyBufferSize;
            e_service.m_timeoutMs = timeoutMs;
            return e_service.m_answer;
        }

        void Close() override
        {
            e_service.m_steps.emplace_back("close");
            if (!e_service.m_closes)
            {
                throw Win32Exception("IcmpCloseHandle() failed", 6);
            }
        }

    private:
        const FakeIcmpService& e_service;
    };
};

class DoIpV4PingTest : public testing::Test
{
protected:
    PingResult Ping(const PingOptions* options = nullptr)
    {
        return DoIpV4Ping(L"192.0.2.1", options, m_service);
    }

    static void ExpectEmpty(const PingResult& result)
    {
        EXPECT_EQ(result.roundTripMs, 0U);
        EXPECT_EQ(result.dataSize, 0);
        EXPECT_EQ(result.status, 0U);
        EXPECT_FALSE(result.replied);
        EXPECT_EQ(result.replyAddress, L"");
    }

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    FakeIcmpService m_service;
};

TEST_F(DoIpV4PingTest, TheFirstReplyIsTheResult)
{
    const auto result = Ping();
    EXPECT_EQ(result.roundTripMs, 23U);
    EXPECT_EQ(result.dataSize, 14);
    EXPECT_EQ(result.status, 0U);
    EXPECT_TRUE(result.replied);
    EXPECT_EQ(result.replyAddress, L"192.0.2.1");
    EXPECT_THAT(m_service.m_steps, ElementsAre("parse", "open", "send", "format", "close"));
}

TEST_F(DoIpV4PingTest, ThePayloadIsTheTextWithoutATerminator)
{
    Ping();
    EXPECT_EQ(m_service.m_payload, "ICMP SEND DATA");
}

TEST_F(DoIpV4PingTest, TheTimeOutIsFiveSecondsUnlessTheSettingsSayOtherwise)
{
    Ping();
    EXPECT_EQ(m_service.m_timeoutMs, 5000U);
    const std::wstring path = Shared::AppSettings::Paths::Config;
    Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, path);
    Shared::WinReg::SetDwordValue(Shared::WinReg::Root::LocalMachine, path, L"PingTimeoutMs", 1234);
    Ping();
    EXPECT_EQ(m_service.m_timeoutMs, 1234U);
}

TEST_F(DoIpV4PingTest, WithoutOptionsTheReplyBufferHasNoRoomForThem)
{
    Ping();
    EXPECT_EQ(m_service.m_replyBufferSize, 14U + 48U);
    EXPECT_EQ(m_service.m_options, nullptr);
}

TEST_F(DoIpV4PingTest, OptionsNeedRoomForTheirRecordAndTheirBytes)
{
    PingOptions options;
    Ping(&options);
    EXPECT_EQ(m_service.m_replyBufferSize, 14U + 48U + 16U);
    options.headerOptions.resize(40);
    Ping(&options);
    EXPECT_EQ(m_service.m_replyBufferSize, 14U + 48U + 16U + 40U);
    EXPECT_EQ(m_service.m_options, &options);
}

TEST_F(DoIpV4PingTest, NoAnswerIsAnEmptyResultAndNoError)
{
    m_service.m_answer.reset();
    ExpectEmpty(Ping());
    EXPECT_TRUE(m_log.Lines().empty());
    EXPECT_THAT(m_service.m_steps, ElementsAre("parse", "open", "send", "close"));
}

TEST_F(DoIpV4PingTest, AnErrorOfARouterIsAnAnswer)
{
    m_service.m_answer = EchoAnswer{{192, 0, 2, 254}, 11013, 3, 0};
    m_service.m_formatted = L"192.0.2.254";
    const auto result = Ping();
    EXPECT_TRUE(result.replied);
    EXPECT_EQ(result.status, 11013U);
    EXPECT_EQ(result.roundTripMs, 3U);
    EXPECT_EQ(result.replyAddress, L"192.0.2.254");
}

TEST_F(DoIpV4PingTest, WhatIsNoAddressIsWarnedOfAndNotPinged)
{
    m_service.m_reading = AddressReading::Invalid;
    ExpectEmpty(DoIpV4Ping(L"", nullptr, m_service));
    EXPECT_THAT(m_service.m_steps, ElementsAre("parse"));
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Warning);
    EXPECT_EQ(m_log.Lines()[0].text, "Not a valid IPv4 string: ");
}

TEST_F(DoIpV4PingTest, ANullCharacterDoesNotEndTheAddress)
{
    ExpectEmpty(DoIpV4Ping(std::wstring(L"127.0.0.1\0x", 11), nullptr, m_service));
    EXPECT_EQ(m_log.Count(Level::Warning, "Not a valid IPv4 string: 127.0.0.1"), 1U);
    EXPECT_TRUE(m_service.m_steps.empty());
}

TEST_F(DoIpV4PingTest, AFailedReadingOfTheAddressIsWarnedOf)
{
    m_service.m_reading = AddressReading::Failed;
    ExpectEmpty(Ping());
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Warning);
    EXPECT_EQ(m_log.Lines()[0].text, "InetPton against 192.0.2.1 failed with error: 10047");
}

TEST_F(DoIpV4PingTest, AHandleThatCannotBeOpenedIsLoggedFromThisFunction)
{
    m_service.m_opens = false;
    ExpectEmpty(Ping());
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Error);
    EXPECT_THAT(m_log.Lines()[0].text, HasSubstr("Exception logged in function DoIpV4Ping() of file "));
    EXPECT_THAT(m_log.Lines()[0].text, HasSubstr(" ---> Couldn't open an ICMP handle.\n"));
}

TEST_F(DoIpV4PingTest, AHandleThatDoesNotCloseIsLoggedAndTheResultStays)
{
    m_service.m_closes = false;
    EXPECT_TRUE(Ping().replied);
    EXPECT_EQ(m_log.Count(Level::Error, "Failed to close ICMP handle"), 1U);
}

TEST_F(DoIpV4PingTest, AnAnswererWithoutATextIsWarnedOf)
{
    m_service.m_formatted.clear();
    const auto result = Ping();
    EXPECT_TRUE(result.replied);
    EXPECT_EQ(result.replyAddress, L"");
    ASSERT_EQ(m_log.Lines().size(), 1U);
    EXPECT_EQ(m_log.Lines()[0].level, Level::Warning);
    EXPECT_EQ(m_log.Lines()[0].text, "Couldn't resolve the replying address when pinging 192.0.2.1");
}

} // namespace
