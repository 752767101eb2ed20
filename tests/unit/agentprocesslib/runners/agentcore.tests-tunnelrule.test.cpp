#include "agentcore.tests-tunnelrule.hpp"

#include "agentcore.messaging-configobjects.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-settingsstore.hpp"

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
