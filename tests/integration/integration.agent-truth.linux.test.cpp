// The agent's own figures, of its pings and of the tools that it runs, against those of programs that are not ours and
// measure the same network at the same time.
//
// What a limit stands for: two honest measurements of the same time differ by less than 1 ms or 5 % (TimeLimit), two averages
// by less than four of their standard errors besides (AverageLimit). Least times and medians are compared wherever a single
// late answer would spoil an average. Counts have no limit: what is lost is decided by the network, not by the machine's
// load. A measurement that fails is repeated as often as Compare() is told, and no more.

#include "agentcore.polling-pingstatistics.hpp"
#include "agentcore.tests-bmtrtestrunner.hpp"
#include "agentcore.tests-curltestrunner.hpp"
#include "agentcore.tests-functions.hpp"
#include "agentcore.tests-hostresolver.hpp"
#include "agentcore.tests-mtrtestrunner.hpp"
#include "agentcore.tests-pingcollector.hpp"
#include "agentcore.tests-tcppingrunner.hpp"
#include "integration.measurement.linux.hpp"
#include "lab.json-functions.hpp"
#include "lab.tools-systemprogram.hpp"
#include "shared.appsettings-paths.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.time-clock.hpp"
#include "shared.util-functions.hpp"
#include "shared.winreg-administration.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-descriptor.linux.hpp"
#include "test.support-networkservices.linux.hpp"
#include "test.support-routednetwork.linux.hpp"
#include "test.support-settingsstore.hpp"
#include "test.support-temporaryfolder.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace
{

using AgentCore::Messaging::TestConfiguration;
using AgentCore::Tests::PingResult;
using Integration::AverageLimit;
using Integration::Call;
using Integration::Compare;
using Integration::Comparison;
using Integration::EvenLinks;
using Integration::Fping;
using Integration::Median;
using Integration::NetworkHops;
using Integration::Outcome;
using Integration::ReadFping;
using Integration::ReadStations;
using Integration::Station;
using Integration::TimeLimit;
using Lab::Tools::FindSystemProgram;
using Shared::Util::ConvertStringType;
using Shared::WinReg::Root;
using namespace std::chrono_literals;
using TestSupport::HttpServer;
using TestSupport::RoutedNetwork;
namespace fs = std::filesystem;

constexpr const char* ServerName = "server.lab.example";
constexpr std::uint16_t TcpPort = 4711;
/// The link behind the second router: without it the server does not answer, and all others do.
constexpr std::size_t LastLink = 2;
constexpr TestSupport::LinkSettings DeadLink = {5ms, 0us, 100.0};

void SleepUntil(std::chrono::nanoseconds time)
{
    Shared::Time::SleepFor(time - Shared::Time::RealMonotonicNow());
}

/// The network, and what runs on its server.
struct Site
{
    std::unique_ptr<RoutedNetwork> network;
    std::unique_ptr<HttpServer> plain;
    std::unique_ptr<HttpServer> secure;
    std::unique_ptr<TestSupport::TcpListener> listener;
    std::unique_ptr<TestSupport::DnsServer> names;
};

std::unique_ptr<Site> MakeSite(std::string& obstacle)
{
    auto site = std::make_unique<Site>();
    site->network = RoutedNetwork::Make(EvenLinks, obstacle);
    if (site->network == nullptr)
    {
        return nullptr;
    }
    site->network->OnServer(
        [&]
        {
            // A body of several round trips.
            const TestSupport::HttpAnswer answer{200, 100ms, 50'000};
            site->plain = std::make_unique<HttpServer>(80, HttpServer::Kind::Plain, answer);
            site->secure = std::make_unique<HttpServer>(443, HttpServer::Kind::Tls, answer);
            site->listener = std::make_unique<TestSupport::TcpListener>(TcpPort);
            site->names = std::make_unique<TestSupport::DnsServer>(
                std::map<std::string, std::string>{{ServerName, RoutedNetwork::Server}}, 0ms);
        });
    return site;
}

/// Where the agent looks for its tools: beside the executable.
fs::path ToolFolder()
{
    return fs::path(Shared::Util::GetCurrentExecutableDirectory()) / "bin";
}

/// Starts a tool of the agent's on the client.
void Start(const RoutedNetwork& network, Shared::Concurrency::ProcessRunner& runner)
{
    network.OnClient([&] { ASSERT_TRUE(runner.Start()); });
}

void AwaitEnd(const Shared::Concurrency::ProcessRunner& runner)
{
    constexpr std::uint32_t LimitMs = 60'000U * VEL_TIME_SCALE;
    ASSERT_TRUE(Shared::Concurrency::WaitFor(runner.GetProcessHandle(), LimitMs));
}

/// All tests of the process have one network: the agent starts its tools through a process that is made once, and the tools
/// are where that was made, which is this network's client.
class AgentTruthTest : public ::testing::Test
{
protected:
    static void TearDownTestSuite()
    {
        s_site.reset();
    }

    void SetUp() override
    {
        static std::string s_obstacle;
        if (s_site == nullptr && s_obstacle.empty())
        {
            s_site = MakeSite(s_obstacle);
        }
        if (s_site == nullptr)
        {
            GTEST_SKIP() << s_obstacle;
        }
        for (const char* const program : {"fping", "ping", "mtr", "curl"})
        {
            if (FindSystemProgram(program).empty())
            {
                GTEST_SKIP() << program << " is not installed";
            }
        }
        m_programs = std::make_unique<Integration::ClientPrograms>(Network());
        const std::wstring vpn = Shared::AppSettings::PathOf(Shared::AppSettings::SettingsKey::VpnVel);
        Shared::WinReg::CreateKey(Root::LocalMachine, vpn);
        Shared::WinReg::SetStringValue(Root::LocalMachine, vpn, L"tunnel-status", L"connected");
        LayTools();
    }

    static RoutedNetwork& Network()
    {
        return *s_site->network;
    }

    static void SetPingTimeoutMs(std::uint32_t milliseconds)
    {
        const std::wstring key = Shared::AppSettings::PathOf(Shared::AppSettings::SettingsKey::Config);
        Shared::WinReg::CreateKey(Root::LocalMachine, key);
        Shared::WinReg::SetDwordValue(Root::LocalMachine, key, L"PingTimeoutMs", milliseconds);
    }

    /// Those that are not ours.
    Integration::ClientPrograms& Programs()
    {
        return *m_programs;
    }

private:
    /// Curl is one that keeps what it has said.
    static void LayTools()
    {
        fs::create_directories(ToolFolder());
        for (const char* const tool : {"tcping", "mtr", "bmtr.exe"})
        {
            fs::remove(ToolFolder() / tool);
            fs::create_symlink(Integration::LabProgram(tool), ToolFolder() / tool);
        }
        TestSupport::WriteFile(
            ToolFolder() / "curl",
            fmt::format(
                "#!/bin/sh\n{} \"$@\" > curl-said.json\ncode=$?\ncat curl-said.json\nexit $code\n",
                FindSystemProgram("curl").string()));
        fs::permissions(ToolFolder() / "curl", fs::perms(0755));
    }

    static inline std::unique_ptr<Site> s_site;

    TestSupport::TemporarySettingsStore m_store;
    TestSupport::CapturedLog m_log;
    std::unique_ptr<Integration::ClientPrograms> m_programs;
};

// --- Pings

/// The times of answers, by address: whole milliseconds, cut.
using PingTimes = std::map<std::string, std::vector<double>>;

/// The agent's own pings, of the tests' targets alone; what they give is noted on the way.
AgentCore::Tests::PingSources NotingSources(PingTimes& times)
{
    AgentCore::Tests::PingSources sources;
    sources.resolve = &AgentCore::Tests::HostNameToAddresses;
    sources.ping = [&times](const std::wstring& address)
    {
        const PingResult result = AgentCore::Tests::DoIpV4Ping(address);
        if (result.replied && result.status == 0)
        {
            times[ConvertStringType(address)].push_back(result.roundTripMs);
        }
        return result;
    };
    sources.getInterfaces = []
    {
        return std::vector<AgentCore::System::NetworkInterfaceRecord>();
    };
    sources.getVpnConnectionInfo = []
    {
        return Shared::AppSettings::VpnConnectionInfo();
    };
    return sources;
}

std::vector<TestConfiguration> PingTestsOf(const std::vector<std::string>& targets)
{
    std::vector<TestConfiguration> tests;
    for (const std::string& target : targets)
    {
        tests.emplace_back().target = ConvertStringType(target);
        tests.back().testKey = L"test-" + std::to_wstring(tests.size());
    }
    return tests;
}

/// The figures as they would be sent, which are those of the times: that is no more than a check of the arithmetic.
Station ReadStatistics(const std::string& address, const PingStatistics& statistics, const std::vector<double>& times)
{
    Station station = Integration::MakeStation(address, statistics.pings_sent(), times);
    EXPECT_EQ(statistics.pings_received(), station.answers);
    EXPECT_NEAR(statistics.avg_rtt(), station.average, 0.001);
    EXPECT_NEAR(statistics.jitter(), station.deviation, 0.001);
    station.best = statistics.min_rtt();
    station.average = statistics.avg_rtt();
    station.deviation = statistics.jitter();
    return station;
}

/// Rounds of the agent's pings, on the client: the statistics of each target.
std::vector<Station> PingInRounds(const std::vector<std::string>& targets, int rounds, std::chrono::milliseconds pause)
{
    PingTimes times;
    AgentCore::Tests::PingCollector collector(NotingSources(times));
    const std::vector<TestConfiguration> tests = PingTestsOf(targets);
    for (int i = 0; i < rounds; ++i)
    {
        (void)collector.PingTests(tests, std::wstring());
        Shared::Time::SleepFor(pause);
    }
    constexpr std::uint32_t IntervalMs = 10'000;
    AgentCore::Polling::ComputePingStatistics(collector, IntervalMs);
    std::vector<Station> stations;
    for (const AggregatePingStatistics& message : AgentCore::Polling::ExportPingStatistics(collector, false))
    {
        EXPECT_EQ(message.ping_results(0).pings_sent(), static_cast<std::uint32_t>(rounds));
        stations.push_back(ReadStatistics(message.server(), message.ping_results(0), times[message.server()]));
    }
    return stations;
}

void AddTimes(Comparison& comparison, const std::string& who, const Station& agent, const Station& reference)
{
    const std::string what = fmt::format("{} {}", agent.address, who);
    comparison.Add(what + " least, ms", agent.best, reference.best, TimeLimit(reference.best));
    if (!agent.times.empty() && !reference.times.empty())
    {
        const double median = Median(reference.times);
        comparison.Add(what + " median, ms", Median(agent.times), median, TimeLimit(median));
    }
    comparison.Add(what + " average, ms", agent.average, reference.average, AverageLimit(agent, reference));
}

/// The times of ping's lines.
Station ReadPing(const std::string& output, std::uint32_t sent)
{
    constexpr std::string_view Mark = " time=";
    std::vector<double> times;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
    {
        if (const std::size_t at = line.find(Mark); at != std::string::npos)
        {
            times.push_back(std::stod(line.substr(at + Mark.size())));
        }
    }
    return Integration::MakeStation(RoutedNetwork::Server, sent, times);
}

TEST_F(AgentTruthTest, PingsTakeAsLongAsOthersMeasure)
{
    Compare(
        Comparison("agent", "fping, ping"), 3,
        [&](Comparison& comparison)
        {
            const Call manyTargets = Fping(40, 100);
            const Call oneTarget = {FindSystemProgram("ping"), {"-n", "-c", "40", "-i", "0.1", RoutedNetwork::Server}};
            auto fping = Programs().Start(manyTargets);
            auto ping = Programs().Start(oneTarget);
            std::vector<Station> agent;
            Network().OnClient([&] { agent = PingInRounds(NetworkHops(), 40, 50ms); });
            const std::vector<Station> byFping = ReadFping(fping.get().output);
            const Station byPing = ReadPing(ping.get().output, 40);
            ASSERT_EQ(Integration::AddressesOf(agent), NetworkHops());
            ASSERT_EQ(Integration::AddressesOf(byFping), NetworkHops());
            comparison.Note(manyTargets);
            comparison.Note(oneTarget);
            for (std::size_t i = 0; i < agent.size(); ++i)
            {
                comparison.Add(agent[i].address + " loss, %", agent[i].lossPercent, byFping[i].lossPercent, 0.0);
                AddTimes(comparison, "fping", agent[i], byFping[i]);
            }
            AddTimes(comparison, "ping", agent.back(), byPing);
        });
}

constexpr std::size_t LossyLink = 1;
constexpr double LossRate = 0.2;
constexpr double JitterMs = 3.0;
constexpr int LossPings = 150;

/// @param lostForAgent what the link lost of the agent's pings; @param lostForOther of the others.
void AddLosses(
    Comparison& comparison,
    const Station& agent,
    const Station& other,
    std::uint64_t lostForAgent,
    std::uint64_t lostForOther)
{
    comparison.Add("lost: agent, and the link", LossPings - agent.answers, static_cast<double>(lostForAgent), 0.0);
    comparison.Add("lost: fping, and the link", LossPings - other.answers, static_cast<double>(lostForOther), 0.0);
    // Two shares of the same chance, each of so many tries: four standard errors of their difference.
    const double shareLimit = 4.0 * 100.0 * std::sqrt(2.0 * LossRate * (1.0 - LossRate) / LossPings);
    comparison.Add("loss beside fping, %", agent.lossPercent, other.lossPercent, shareLimit);
    // Two evenly spread delays, there and back, of so much each way at most. The standard error of a deviation follows from
    // the fourth moment of their sum, which is 2.4 times the square of the second.
    const double deviation = JitterMs * std::sqrt(2.0 / 3.0);
    const double error = deviation * std::sqrt(1.4 / 4.0 * (1.0 / agent.answers + 1.0 / other.answers));
    const double deviationLimit = std::max(1.0, 4.0 * error);
    comparison.Add("jitter beside fping, ms", agent.deviation, other.deviation, deviationLimit);
    comparison.Add("jitter, and what the link is set to", agent.deviation, deviation, deviationLimit);
    comparison.Add("average, ms", agent.average, other.average, AverageLimit(agent, other));
}

TEST_F(AgentTruthTest, WhatPingsMissIsWhatTheNetworkLost)
{
    // An answer that is later than that is the machine's fault, and spoils the attempt.
    constexpr int TimeoutMs = 300;
    SetPingTimeoutMs(TimeoutMs);
    Compare(
        Comparison("agent", "reference"), 3,
        [&](Comparison& comparison)
        {
            const std::string server = RoutedNetwork::Server;
            const Call call = Fping(LossPings, 40, TimeoutMs, {server});
            // Each has the network for itself, so each loss has one cause.
            Network().Change(LossyLink, {5ms, 3ms, 100.0 * LossRate});
            const auto before = Network().Counts(LossyLink).lost;
            std::vector<Station> agent;
            Network().OnClient([&] { agent = PingInRounds({server}, LossPings, 10ms); });
            const auto between = Network().Counts(LossyLink).lost;
            const std::vector<Station> byFping = ReadFping(Programs().Run(call).output);
            const auto after = Network().Counts(LossyLink).lost;
            Network().Change(LossyLink, EvenLinks[LossyLink]);
            ASSERT_EQ(agent.size(), 1U);
            ASSERT_EQ(byFping.size(), 1U);
            comparison.Note(call);
            AddLosses(comparison, agent[0], byFping[0], between - before, after - between);
        });
}

// --- Paths

AgentCore::Tests::MtrTestRequest PathRequest(const std::string& target, std::uint32_t number)
{
    AgentCore::Tests::MtrTestRequest request;
    request.target = ConvertStringType(target);
    request.runnerIndex = number;
    return request;
}

std::vector<Station> StationsOf(const MtrTestResult& result)
{
    std::vector<Station> stations;
    for (const MtrTestResult::Hub& hop : result.report().hubs())
    {
        Station station;
        station.address = hop.address();
        station.lossPercent = hop.losspct();
        station.average = hop.avg();
        station.best = hop.best();
        station.deviation = hop.stdev();
        station.answers = static_cast<std::uint32_t>(std::lround(hop.snt() * (100.0 - hop.losspct()) / 100.0));
        EXPECT_EQ(hop.snt(), 5) << hop.address();
        stations.push_back(station);
    }
    return stations;
}

Call MtrByHand(const std::string& target, int intervalSeconds)
{
    return {
        FindSystemProgram("mtr"),
        {"--json", "-4", "--no-dns", "-c", "5", "-i", std::to_string(intervalSeconds), target}};
}

void AddPath(
    Comparison& comparison,
    const std::string& who,
    const std::vector<Station>& agent,
    const std::vector<Station>& byMtr,
    const std::vector<Station>& byFping)
{
    ASSERT_EQ(Integration::AddressesOf(agent), NetworkHops()) << who;
    for (std::size_t i = 0; i < agent.size(); ++i)
    {
        comparison.Add(
            fmt::format("{} {} loss, %", agent[i].address, who), agent[i].lossPercent, byMtr[i].lossPercent, 0.0);
        AddTimes(comparison, who, agent[i], byMtr[i]);
        comparison.Add(
            fmt::format("{} {} least, fping, ms", agent[i].address, who), agent[i].best, byFping[i].best,
            TimeLimit(byFping[i].best));
    }
}

/// Where nobody answers there is one hop, and what there is behind it is lost.
void AddNowhere(
    Comparison& comparison,
    const std::string& who,
    const std::vector<Station>& agent,
    const std::vector<Station>& byMtr)
{
    ASSERT_EQ(agent.size(), 2U) << who;
    ASSERT_FALSE(byMtr.empty()) << who;
    EXPECT_EQ(agent[0].address, byMtr[0].address);
    comparison.Add(fmt::format("nowhere {} loss of the end, %", who), agent[1].lossPercent, 100.0, 0.0);
    AddTimes(comparison, who + ", nowhere", agent[0], byMtr[0]);
}

/// What others see of the way at the same time as the agent's runners, which are started right after this.
class PathTruth
{
public:
    using Runner = AgentCore::Tests::PathTestRunner;

    /// @param intervalSeconds from a tool's probe of a hop to its next one
    PathTruth(Integration::ClientPrograms& programs, int intervalSeconds)
        : m_interval(std::chrono::seconds(intervalSeconds)),
          m_calls(
              {MtrByHand(RoutedNetwork::Server, intervalSeconds), MtrByHand(RoutedNetwork::Nowhere, intervalSeconds),
               Fping(10 * intervalSeconds, 500)})
    {
        for (std::size_t i = 0; i < m_calls.size(); ++i)
        {
            m_outcomes[i] = programs.Start(m_calls[i]);
        }
    }

    /// For the time of two probes the last link loses everything: whenever in its interval a tool sends one, it loses two of
    /// five. That begins and ends in the middle of an interval: bmtr asks the third hop at the beginning of each or at two
    /// thirds, and mtr at a fifth, so that none of them is near.
    void LoseTwoOfFive(RoutedNetwork& network) const
    {
        SleepUntil(m_begin + 5 * m_interval / 2);
        network.Change(LastLink, DeadLink);
        SleepUntil(m_begin + 9 * m_interval / 2);
        network.Change(LastLink, EvenLinks[LastLink]);
    }

    /// Awaits the ends of the programs.
    void Read(Comparison& comparison)
    {
        for (const Call& call : m_calls)
        {
            comparison.Note(call);
        }
        m_byMtr = ReadStations(m_outcomes[0].get().output);
        m_byMtrNowhere = ReadStations(m_outcomes[1].get().output);
        m_byFping = ReadFping(m_outcomes[2].get().output);
        ASSERT_EQ(Integration::AddressesOf(m_byMtr), NetworkHops());
        ASSERT_EQ(Integration::AddressesOf(m_byFping), NetworkHops());
        comparison.Add("mtr by hand: what it was to lose, %", m_byMtr.back().lossPercent, 40.0, 0.0);
    }

    void Add(Comparison& comparison, const std::string& who, Runner& runner) const
    {
        AddPath(comparison, who, StationsOf(runner.ReadTestResult()), m_byMtr, m_byFping);
    }

    void AddNowhere(Comparison& comparison, const std::string& who, Runner& runner) const
    {
        ::AddNowhere(comparison, who, StationsOf(runner.ReadTestResult()), m_byMtrNowhere);
    }

private:
    std::chrono::nanoseconds m_begin = Shared::Time::RealMonotonicNow();
    std::chrono::nanoseconds m_interval;
    std::array<Call, 3> m_calls;
    std::array<std::future<Outcome>, 3> m_outcomes;
    std::vector<Station> m_byMtr;
    std::vector<Station> m_byMtrNowhere;
    std::vector<Station> m_byFping;
};

TEST_F(AgentTruthTest, PathsByMtrAreThoseThatOthersSee)
{
    Compare(
        Comparison("agent", "mtr, fping"), 2,
        [&](Comparison& comparison)
        {
            AgentCore::Tests::MtrTestRunner mtr({}, PathRequest(RoutedNetwork::Server, 0));
            AgentCore::Tests::MtrTestRunner nowhere({}, PathRequest(RoutedNetwork::Nowhere, 1));
            constexpr int IntervalSeconds = 5;
            PathTruth truth(Programs(), IntervalSeconds);
            Start(Network(), mtr);
            Start(Network(), nowhere);
            truth.LoseTwoOfFive(Network());
            AwaitEnd(mtr);
            AwaitEnd(nowhere);
            truth.Read(comparison);
            truth.Add(comparison, "mtr", mtr);
            truth.AddNowhere(comparison, "mtr", nowhere);
        });
}

TEST_F(AgentTruthTest, PathsByBmtrAreThoseThatOthersSee)
{
    Compare(
        Comparison("agent", "mtr, fping"), 3,
        [&](Comparison& comparison)
        {
            AgentCore::Tests::BmtrTestRunner requests({}, PathRequest(RoutedNetwork::Server, 0), false);
            AgentCore::Tests::BmtrTestRunner datagrams({}, PathRequest(RoutedNetwork::Server, 1), true);
            AgentCore::Tests::BmtrTestRunner nowhere({}, PathRequest(RoutedNetwork::Nowhere, 2), false);
            constexpr int IntervalSeconds = 1;
            PathTruth truth(Programs(), IntervalSeconds);
            Start(Network(), requests);
            Start(Network(), datagrams);
            Start(Network(), nowhere);
            truth.LoseTwoOfFive(Network());
            AwaitEnd(requests);
            AwaitEnd(datagrams);
            AwaitEnd(nowhere);
            truth.Read(comparison);
            truth.Add(comparison, "bmtr s", requests);
            truth.Add(comparison, "bmtr u", datagrams);
            truth.AddNowhere(comparison, "bmtr s", nowhere);
        });
}

// --- Web requests

constexpr std::size_t PhaseCount = 6;
using Phases = std::array<double, PhaseCount>;
constexpr std::array<const char*, PhaseCount> PhaseNames = {"name", "connection", "TLS", "wait", "transfer", "total"};
constexpr std::size_t NamePhase = 0;
constexpr std::size_t ConnectionPhase = 1;
constexpr std::size_t TotalPhase = 5;
constexpr double MsPerSecond = 1000.0;

Phases PhasesOf(const CurlTranslatedOutput& output)
{
    return {output.time_namelookup() * MsPerSecond,    output.tcp_handshake_time() * MsPerSecond,
            output.ssl_handshake_time() * MsPerSecond, output.wait_time() * MsPerSecond,
            output.data_transfer_time() * MsPerSecond, output.total_time() * MsPerSecond};
}

/// Curl's JSON.
Phases PhasesOf(const rapidjson::Document& report)
{
    const auto at = [&](const char* name)
    {
        return report[name].GetDouble() * MsPerSecond;
    };
    const double secured = at("time_appconnect");
    return {
        at("time_namelookup"),
        at("time_connect") - at("time_namelookup"),
        secured == 0.0 ? 0.0 : secured - at("time_connect"),
        at("time_starttransfer") - at("time_pretransfer"),
        at("time_total") - at("time_starttransfer"),
        at("time_total")};
}

/// How long the name server takes for an answer, in milliseconds.
double AskOnce()
{
    constexpr std::uint16_t NamePort = 53;
    // One question, of type A and class IN, recursion wanted.
    std::string question("\x12\x34\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00", 12);
    for (const std::string& label : Shared::Util::Split(ServerName, "."))
    {
        question += static_cast<char>(label.size());
        question += label;
    }
    question.append("\x00\x00\x01\x00\x01", 5);
    const TestSupport::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "a socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(NamePort);
    ::inet_pton(AF_INET, RoutedNetwork::Server, &address.sin_addr);
    const timeval limit = {10, 0};
    (void)::setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::array<char, 512> answer = {};
    const auto begin = Shared::Time::RealMonotonicNow();
    EXPECT_EQ(::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_GT(::send(socket.Get(), question.data(), question.size(), 0), 0);
    EXPECT_GT(::recv(socket.Get(), answer.data(), answer.size(), 0), static_cast<ssize_t>(question.size()));
    return std::chrono::duration<double, std::milli>(Shared::Time::RealMonotonicNow() - begin).count();
}

AgentCore::Tests::CurlTestRequest WebRequest(const std::string& scheme)
{
    AgentCore::Tests::CurlTestRequest request;
    request.target = ConvertStringType(std::string(ServerName));
    request.scheme = scheme;
    request.config.path = "status";
    request.successCodes = {"2XX"};
    request.isDomain = true;
    request.ignoreSslErrors = true;
    return request;
}

/// The agent's report is curl's own of the same run, but for the time that the agent has spent on the name.
void ExpectTold(const CurlTestResult& result, double apiDnsSeconds, const rapidjson::Document& said)
{
    const CurlTranslatedOutput& output = result.curl_results();
    Phases expected = PhasesOf(said);
    expected[NamePhase] += apiDnsSeconds * MsPerSecond;
    expected[TotalPhase] += apiDnsSeconds * MsPerSecond;
    const Phases told = PhasesOf(output);
    for (std::size_t i = 0; i < PhaseCount; ++i)
    {
        EXPECT_NEAR(told[i], expected[i], 1e-6) << PhaseNames[i];
    }
    // A phase that there was not takes away from it.
    const double firstByte = said["time_appconnect"].GetDouble() + said["time_starttransfer"].GetDouble() -
        said["time_pretransfer"].GetDouble();
    EXPECT_NEAR(output.time_to_first_byte(), firstByte, 1e-9);
    EXPECT_EQ(output.http_code(), said["http_code"].GetUint());
    EXPECT_EQ(output.wire_size(), said["size_download"].GetUint());
    EXPECT_EQ(output.speed_download(), said["speed_download"].GetUint());
    EXPECT_EQ(output.throughput(), 8 * output.speed_download());
    EXPECT_EQ(result.target_ip(), said["remote_ip"].GetString());
    EXPECT_TRUE(output.success());
}

class WebTruth
{
public:
    explicit WebTruth(std::string scheme) : m_scheme(std::move(scheme))
    {
    }

    Call GetCall() const
    {
        return {
            FindSystemProgram("curl"),
            {"-w", "%{json}", "-k", "-s", "-4", "-o", "/dev/null", m_scheme + "://" + ServerName + "/status"}};
    }

    /// Runs the agent's test and the call in turn, so that both meet the same machine.
    void Measure(RoutedNetwork& network, Integration::ClientPrograms& programs)
    {
        for (int i = 0; i < Runs; ++i)
        {
            Add(m_agent, RunAgent(network));
            const Outcome outcome = programs.Run(GetCall());
            ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
            Add(m_byHand, PhasesOf(Lab::Json::Parse(outcome.output)));
            network.OnClient([&] { m_questions.push_back(AskOnce()); });
        }
    }

    void AddTo(Comparison& comparison) const
    {
        comparison.Note(GetCall());
        // Curl's own time for the name has the start of another thread and the loading of the system's resolver in it.
        AddLeast(comparison, "name, and a plain question", NamePhase, m_questions);
        AddLeast(comparison, "connection", ConnectionPhase, m_byHand[ConnectionPhase]);
        for (std::size_t phase = ConnectionPhase; phase < PhaseCount; ++phase)
        {
            const Station agent = Integration::MakeStation({}, Runs, m_agent[phase]);
            const Station byHand = Integration::MakeStation({}, Runs, m_byHand[phase]);
            comparison.Add(
                fmt::format("{} {}, median, ms", m_scheme, PhaseNames[phase]), Median(agent.times),
                Median(byHand.times), AverageLimit(agent, byHand));
        }
    }

private:
    static constexpr int Runs = 8;
    using Times = std::array<std::vector<double>, PhaseCount>;

    /// What a busy machine adds to these only makes them longer.
    void AddLeast(Comparison& comparison, const char* what, std::size_t phase, const std::vector<double>& others) const
    {
        const double reference = *std::min_element(others.begin(), others.end());
        comparison.Add(
            fmt::format("{} {}, least, ms", m_scheme, what),
            *std::min_element(m_agent[phase].begin(), m_agent[phase].end()), reference, TimeLimit(reference));
    }

    static void Add(Times& times, const Phases& phases)
    {
        for (std::size_t phase = 0; phase < PhaseCount; ++phase)
        {
            times[phase].push_back(phases[phase]);
        }
    }

    Phases RunAgent(RoutedNetwork& network) const
    {
        AgentCore::Tests::HostResolver resolver;
        AgentCore::Tests::CurlTestRunner runner(
            {}, WebRequest(m_scheme),
            [&](const std::wstring& name, std::uint32_t timeoutMs) { return resolver.Resolve(name, timeoutMs); });
        Start(network, runner);
        AwaitEnd(runner);
        const CurlTestResult result = runner.ReadTestResult();
        const rapidjson::Document said = Lab::Json::Parse(TestSupport::ReadFile(ToolFolder() / "curl-said.json"));
        ExpectTold(result, runner.GetApiDnsSeconds(), said);
        return PhasesOf(result.curl_results());
    }

    std::string m_scheme;
    Times m_agent;
    Times m_byHand;
    /// Times of a question for the name, sent and answered by nothing but the system's calls.
    std::vector<double> m_questions;
};

TEST_F(AgentTruthTest, PhasesOfRequestsAreThoseThatCurlTellsByHand)
{
    for (const char* const scheme : {"http", "https"})
    {
        Compare(
            Comparison("agent", "curl"), 3,
            [&](Comparison& comparison)
            {
                WebTruth truth(scheme);
                truth.Measure(Network(), Programs());
                truth.AddTo(comparison);
            });
    }
}

// --- TCP pings

/// A program of the system's that connects to the port once, and how long that took; nothing when it did not come to that.
Call ConnectByHand()
{
    return {
        FindSystemProgram("curl"),
        {"-w", "%{json}", "-s", "-o", "/dev/null", "--connect-timeout", "0.5",
         fmt::format("http://{}:{}/", RoutedNetwork::Server, TcpPort)}};
}

AgentCore::Tests::TcpPingRequest TcpRequest(const std::string& target, std::uint32_t probes)
{
    AgentCore::Tests::TcpPingRequest request;
    request.config.target = ConvertStringType(target);
    request.probeCount = probes;
    request.intervalSeconds = 1;
    request.port = TcpPort;
    // Less than the system takes to ask again.
    request.timeoutSeconds = 0.5F;
    return request;
}

/// By how much times differ from one to the next.
Station StepsOf(const std::vector<double>& times)
{
    std::vector<double> steps;
    for (std::size_t i = 1; i < times.size(); ++i)
    {
        steps.push_back(std::abs(times[i] - times[i - 1]));
    }
    return Integration::MakeStation({}, static_cast<std::uint32_t>(steps.size()), steps);
}

/// What the tool has said beside what the agent has read.
void ExpectRead(const PingStatistics& statistics, const std::vector<double>& said)
{
    ASSERT_FALSE(said.empty());
    const Station figures = Integration::MakeStation({}, statistics.pings_sent(), said);
    EXPECT_EQ(statistics.pings_received(), said.size());
    EXPECT_EQ(statistics.min_rtt(), static_cast<std::uint32_t>(figures.best));
    EXPECT_EQ(statistics.max_rtt(), static_cast<std::uint32_t>(*std::max_element(said.begin(), said.end())));
    // Each of them is rounded to a thousandth.
    EXPECT_NEAR(statistics.avg_rtt(), figures.average, 0.0011);
    EXPECT_NEAR(statistics.jitter(), StepsOf(said).average, 0.0021);
}

constexpr std::uint32_t TcpProbes = 12;

/// The times of connections by hand, one each second, of those that there were.
std::vector<double> ConnectEachSecond(Integration::ClientPrograms& programs, std::chrono::nanoseconds begin)
{
    std::vector<double> times;
    for (std::uint32_t i = 0; i < TcpProbes; ++i)
    {
        SleepUntil(begin + i * 1s);
        const rapidjson::Document said = Lab::Json::Parse(programs.Run(ConnectByHand()).output);
        if (said["time_connect"].GetDouble() > 0.0)
        {
            times.push_back((said["time_connect"].GetDouble() - said["time_namelookup"].GetDouble()) * MsPerSecond);
        }
    }
    return times;
}

/// Five probes in a row, one each second, are lost, with half a second to spare at both ends.
std::future<void> LoseFive(RoutedNetwork& network, std::chrono::nanoseconds begin)
{
    return std::async(
        std::launch::async,
        [&network, begin]
        {
            SleepUntil(begin + 2500ms);
            network.Change(LastLink, DeadLink);
            SleepUntil(begin + 7500ms);
            network.Change(LastLink, EvenLinks[LastLink]);
        });
}

void AddTcpPings(
    Comparison& comparison,
    const PingStatistics& told,
    const std::vector<double>& said,
    const std::vector<double>& byHand)
{
    ExpectRead(told, said);
    const Station reference = Integration::MakeStation(RoutedNetwork::Server, TcpProbes, byHand);
    Station agent = Integration::MakeStation(RoutedNetwork::Server, told.pings_sent(), said);
    agent.best = told.min_rtt();
    agent.average = told.avg_rtt();
    comparison.Note(ConnectByHand());
    comparison.Add("sent", told.pings_sent(), TcpProbes, 0.0);
    comparison.Add("open", told.pings_received(), reference.answers, 0.0);
    // Five failures in a row are an outage.
    comparison.Add("available, ms", told.period_available(), MsPerSecond * reference.answers, 0.0);
    comparison.Add("total, ms", told.period_total(), MsPerSecond * TcpProbes, 0.0);
    AddTimes(comparison, "curl", agent, reference);
    const Station steps = StepsOf(byHand);
    comparison.Add("jitter, ms", told.jitter(), steps.average, AverageLimit(StepsOf(said), steps));
}

TEST_F(AgentTruthTest, TcpPingsTellWhatConnectionsByHandTell)
{
    constexpr std::uint32_t FewProbes = 6;
    Compare(
        Comparison("agent", "curl"), 3,
        [&](Comparison& comparison)
        {
            AgentCore::Tests::TcpPingRunner runner({}, TcpRequest(RoutedNetwork::Server, TcpProbes));
            AgentCore::Tests::TcpPingRunner lost({}, TcpRequest(RoutedNetwork::Nowhere, FewProbes));
            const auto begin = Shared::Time::RealMonotonicNow();
            Start(Network(), runner);
            Start(Network(), lost);
            const std::future<void> outage = LoseFive(Network(), begin);
            const std::vector<double> byHand = ConnectEachSecond(Programs(), begin);
            outage.wait();
            AwaitEnd(runner);
            AwaitEnd(lost);
            const PingStatistics told = runner.ParseTestResult().statistics;
            AddTcpPings(comparison, told, Integration::ReadTcpingTimes(runner.GetOutput()), byHand);
            const PingStatistics none = lost.ParseTestResult().statistics;
            EXPECT_EQ(none.pings_sent(), FewProbes);
            EXPECT_EQ(none.pings_received(), 0U);
            EXPECT_EQ(none.period_available(), 0U);
            EXPECT_EQ(none.min_rtt(), std::numeric_limits<std::uint32_t>::max());
        });
}

} // namespace
