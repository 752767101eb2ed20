#include "agentcore.tests-tunnelrule.hpp"

#include "agentcore.messaging-configobjects.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

#include <string>
#include <vector>

#include <gtest/gtest.h>

using AgentCore::Tests::RunsInCurrentTunnelState;
using AgentCore::Tests::RunsInTunnelState;
using AgentCore::Tests::TunnelRule;
using AgentCore::Tests::TunnelRuleOf;
using AgentCore::Tests::TunnelRuleTexts;
using Shared::AppSettings::VpnConnectionStatus;
using Shared::AppSettings::VpnStatus;
using Shared::Log::Level;
using TestSupport::CapturedLog;

namespace
{

constexpr TunnelRuleTexts Texts = {
    TunnelRuleTexts::Refusal("{} not configured for {}"), TunnelRuleTexts::Refusal("{} never in {}"),
    "unknown {} ({})"};
constexpr TunnelRuleTexts SilentTexts = {std::nullopt, std::nullopt, "unknown {}"};

constexpr TunnelRule Nowhere = {};
constexpr TunnelRule Everywhere = {true, true};
constexpr TunnelRule WhenInternal = {true, false};
constexpr TunnelRule WhenDisconnected = {false, true};

bool Runs(VpnConnectionStatus status, const TunnelRule& rule, const TunnelRuleTexts& texts = Texts)
{
    const VpnStatus state = status;
    return RunsInTunnelState(state, state.ToText(), rule, texts, "t1");
}

} // namespace

TEST(TunnelRuleTest, EveryTestRunsWithTheTunnelUp)
{
    const CapturedLog log;
    EXPECT_TRUE(Runs(VpnConnectionStatus::Connected, Nowhere));
    EXPECT_TRUE(Runs(VpnConnectionStatus::Connected, Everywhere));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(TunnelRuleTest, WithoutATunnelOutsideOnlyTestsThatAreToRunDisconnected)
{
    for (const VpnConnectionStatus status : {VpnConnectionStatus::Disconnected, VpnConnectionStatus::Disabled})
    {
        EXPECT_TRUE(Runs(status, WhenDisconnected));
        EXPECT_FALSE(Runs(status, WhenInternal));
        EXPECT_FALSE(Runs(status, Nowhere));
    }
}

TEST(TunnelRuleTest, InsideOnlyTestsThatAreToRunInternally)
{
    for (const VpnConnectionStatus status : {VpnConnectionStatus::ConnectedInternal, VpnConnectionStatus::Internal})
    {
        EXPECT_TRUE(Runs(status, WhenInternal));
        EXPECT_FALSE(Runs(status, WhenDisconnected));
        EXPECT_FALSE(Runs(status, Nowhere));
    }
}

TEST(TunnelRuleTest, NoTestRunsInAnotherMakersTunnel)
{
    EXPECT_FALSE(Runs(VpnConnectionStatus::ConnectedNonTv, Everywhere));
}

TEST(TunnelRuleTest, ARefusalNamesTheTestAndTheState)
{
    const CapturedLog log;
    (void)Runs(VpnConnectionStatus::Disabled, Nowhere);
    (void)Runs(VpnConnectionStatus::ConnectedInternal, Nowhere);
    (void)Runs(VpnConnectionStatus::ConnectedNonTv, Everywhere);
    const std::vector<CapturedLog::Line> lines = log.Lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, "t1 not configured for disabled");
    EXPECT_EQ(lines[1].text, "t1 not configured for connected-internal");
    EXPECT_EQ(lines[2].text, "t1 never in connected-non-tv");
    for (const CapturedLog::Line& line : lines)
    {
        EXPECT_EQ(line.level, Level::Info);
    }
}

TEST(TunnelRuleTest, AStateThatThereIsNotIsAWarningWithItsNumberAndTheClientsWord)
{
    const CapturedLog log;
    EXPECT_FALSE(RunsInTunnelState(VpnConnectionStatus{17}, L"strange", Everywhere, Texts, "t1"));
    EXPECT_FALSE(RunsInTunnelState(VpnConnectionStatus{17}, L"strange", Everywhere, SilentTexts, "t1"));
    EXPECT_EQ(log.Count(Level::Warning, "unknown 17 (strange)"), 1U);
    EXPECT_EQ(log.Count(Level::Warning, "unknown 17"), 2U);
}

TEST(TunnelRuleTest, ARunnerMayKeepItsRefusalsToItself)
{
    const CapturedLog log;
    EXPECT_FALSE(Runs(VpnConnectionStatus::Disabled, Nowhere, SilentTexts));
    EXPECT_FALSE(Runs(VpnConnectionStatus::ConnectedNonTv, Nowhere, SilentTexts));
    EXPECT_TRUE(log.Lines().empty());
}

TEST(TunnelRuleTest, EachRunnerSaysItInItsOwnWords)
{
    const auto linesOf = [](const TunnelRuleTexts& texts)
    {
        const CapturedLog log;
        (void)Runs(VpnConnectionStatus::Disabled, Nowhere, texts);
        (void)Runs(VpnConnectionStatus::Internal, Nowhere, texts);
        (void)Runs(VpnConnectionStatus::ConnectedNonTv, Everywhere, texts);
        (void)RunsInTunnelState(VpnConnectionStatus{17}, L"strange", Everywhere, texts, "t1");
        std::vector<std::string> lines;
        for (const CapturedLog::Line& line : log.Lines())
        {
            lines.push_back(line.text);
        }
        return lines;
    };
    const auto linesWith = [](const std::string& kind)
    {
        return std::vector<std::string>{
            kind + " test t1 is not being run because it's not configured to run in disabled VPN state.",
            kind + " test t1 is not being run because it's not configured to run in internal VPN state.",
            kind + " test t1 is not being run because the VPN is in connected-non-tv state.",
            "Unknown tunnelStatus value 17 (strange)"};
    };
    EXPECT_EQ(linesOf(AgentCore::Tests::CurlTunnelTexts), linesWith("Curl"));
    EXPECT_EQ(linesOf(AgentCore::Tests::MtrTunnelTexts), linesWith("MTR"));
    EXPECT_EQ(linesOf(AgentCore::Tests::TcpPingTunnelTexts), linesWith("TCP ping"));
    EXPECT_EQ(linesOf(AgentCore::Tests::BmtrTunnelTexts), std::vector<std::string>{"Unknown tunnelStatus value 17"});
}

TEST(TunnelRuleTest, TheRuleOfATestIsWhatItsConfigurationSaysOfTrustedAndUntrustedNetworks)
{
    AgentCore::Messaging::CurlTest curl;
    curl.runFromTrustedNetworks = true;
    EXPECT_TRUE(TunnelRuleOf(curl).runWhenInternal);
    EXPECT_FALSE(TunnelRuleOf(curl).runWhenDisconnected);
    AgentCore::Messaging::MtrTest mtr;
    mtr.runFromUntrustedNetworksWithVpnDisabled = true;
    EXPECT_FALSE(TunnelRuleOf(mtr).runWhenInternal);
    EXPECT_TRUE(TunnelRuleOf(mtr).runWhenDisconnected);
    // Stored, and decides nothing.
    mtr = {};
    mtr.runOnActivePathsOnly = true;
    EXPECT_FALSE(TunnelRuleOf(mtr).runWhenInternal);
    EXPECT_FALSE(TunnelRuleOf(mtr).runWhenDisconnected);
}

TEST(TunnelRuleTest, TheCurrentStateIsWhatTheVpnClientSaysNow)
{
    const TestSupport::TemporarySettingsStore store;
    const CapturedLog log;
    const std::wstring key = Shared::AppSettings::PathOf(Shared::AppSettings::SettingsKey::VpnVel);
    const auto setStatus = [&key](const std::wstring& text)
    {
        Shared::WinReg::SetStringValue(Shared::WinReg::Root::LocalMachine, key, L"tunnel-status", text);
    };
    Shared::WinReg::CreateKey(Shared::WinReg::Root::LocalMachine, key);
    setStatus(L"internal");
    EXPECT_TRUE(RunsInCurrentTunnelState(WhenInternal, Texts, "t1"));
    EXPECT_FALSE(RunsInCurrentTunnelState(WhenDisconnected, Texts, "t1"));
    setStatus(L"connected");
    EXPECT_TRUE(RunsInCurrentTunnelState(Nowhere, Texts, "t1"));
    // A word that nobody knows counts as disconnected, and the line has that state.
    setStatus(L"Connected");
    EXPECT_TRUE(RunsInCurrentTunnelState(WhenDisconnected, Texts, "t1"));
    EXPECT_FALSE(RunsInCurrentTunnelState(WhenInternal, Texts, "t1"));
    EXPECT_EQ(log.Count(Level::Info, "t1 not configured for disconnected"), 1U);
}
