#pragma once

#include "shared.appsettings-vpnconnectioninfo.hpp"

#include <cstdint>
#include <optional>
#include <string>

#include <fmt/format.h>

/// In which states of the VPN's tunnel a test runs: one rule for all runners, each with lines of its own.
namespace AgentCore::Tests
{

/// What the configuration of a test says of the states in which it need not run.
struct TunnelRule
{
    /// Inside of the trusted network, with a tunnel or without.
    bool runWhenInternal = false;
    /// Outside of it and without a tunnel.
    bool runWhenDisconnected = false;
};

/// The rule of a configured test.
template <typename Test>
TunnelRule TunnelRuleOf(const Test& test)
{
    return {test.runFromTrustedNetworks, test.runFromUntrustedNetworksWithVpnDisabled};
}

/// Lines of the log; the compiler checks them against what they are filled with.
struct TunnelRuleTexts
{
    /// The test and the state's text.
    using Refusal = fmt::format_string<const std::string&, const std::string&>;
    /// The state's number and the VPN client's word for it.
    using Unknown = fmt::format_string<const std::uint32_t&, const std::string&>;

    /// For a state in which this test is not to run; nothing where that is not logged.
    std::optional<Refusal> notConfigured;
    /// For the state in which no test runs.
    std::optional<Refusal> neverRuns;
    /// For a state that there is not.
    Unknown unknown;
};

// The lines of the runners. That of bmtr keeps its refusals to itself.

inline constexpr TunnelRuleTexts CurlTunnelTexts = {
    TunnelRuleTexts::Refusal("Curl test {} is not being run because it's not configured to run in {} VPN state."),
    TunnelRuleTexts::Refusal("Curl test {} is not being run because the VPN is in {} state."),
    "Unknown tunnelStatus value {} ({})"};

inline constexpr TunnelRuleTexts MtrTunnelTexts = {
    TunnelRuleTexts::Refusal("MTR test {} is not being run because it's not configured to run in {} VPN state."),
    TunnelRuleTexts::Refusal("MTR test {} is not being run because the VPN is in {} state."),
    "Unknown tunnelStatus value {} ({})"};

inline constexpr TunnelRuleTexts BmtrTunnelTexts = {std::nullopt, std::nullopt, "Unknown tunnelStatus value {}"};

inline constexpr TunnelRuleTexts TcpPingTunnelTexts = {
    TunnelRuleTexts::Refusal("TCP ping test {} is not being run because it's not configured to run in {} VPN state."),
    TunnelRuleTexts::Refusal("TCP ping test {} is not being run because the VPN is in {} state."),
    "Unknown tunnelStatus value {} ({})"};

/// Whether a test runs in this state. If it does not, the log says so as `texts` has it: refusals at level info, an unknown
/// state at level warning. Any thread.
/// @param word the VPN client's word for the state
/// @param test how the log names the test
bool RunsInTunnelState(
    Shared::AppSettings::VpnStatus status,
    const std::wstring& word,
    const TunnelRule& rule,
    const TunnelRuleTexts& texts,
    const std::string& test);

/// The same with the state that the tunnel is in now. What fails is logged, and the test does not run.
bool RunsInCurrentTunnelState(const TunnelRule& rule, const TunnelRuleTexts& texts, const std::string& test) noexcept;

} // namespace AgentCore::Tests
