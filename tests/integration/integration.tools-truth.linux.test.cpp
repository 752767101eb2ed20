// The laboratory's tools against a network whose delays and losses are known, and against other programs that measure the
// same at the same time.

#include "integration.measurement.linux.hpp"
#include "lab.json-functions.hpp"
#include "lab.tools-statistics.hpp"
#include "lab.tools-systemprogram.hpp"
#include "lab.vellab-runfolder.hpp"
#include "shared.time-clock.hpp"
#include "test.support-networkservices.linux.hpp"
#include "test.support-routednetwork.linux.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using Integration::AddressesOf;
using Integration::Call;
using Integration::EvenLinks;
using Integration::EvenTimes;
using Integration::Fping;
using Integration::LabProgram;
using Integration::Median;
using Integration::NetworkHops;
using Integration::Outcome;
using Integration::ReadFping;
using Integration::ReadStations;
using Integration::ReadTcpingTimes;
using Integration::Show;
using Integration::Station;
using Lab::Tools::FindSystemProgram;
using Lab::Tools::Statistics;
using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using TestSupport::HttpServer;
using TestSupport::RoutedNetwork;
namespace fs = std::filesystem;

constexpr std::uint16_t Port = 80;

bool IsNear(double measured, double reference)
{
    return std::abs(measured - reference) <= Integration::TimeLimit(reference);
}

bool AreAveragesNear(const Station& measured, const Station& reference)
{
    return std::abs(measured.average - reference.average) <= Integration::AverageLimit(measured, reference);
}

class ToolsTruthTest : public ::testing::Test
{
protected:
    /// False when there can be no such network; then the test is skipped.
    bool MakeNetwork(const std::array<TestSupport::LinkSettings, RoutedNetwork::Links>& links)
    {
        std::string obstacle;
        m_network = RoutedNetwork::Make(links, obstacle);
        if (m_network == nullptr)
        {
            m_obstacle = obstacle;
            return false;
        }
        m_programs = std::make_unique<Integration::ClientPrograms>(*m_network);
        m_network->OnServer([this] { m_listener = std::make_unique<TestSupport::TcpListener>(Port); });
        return true;
    }

    Outcome Run(const Call& call)
    {
        return m_programs->Run(call);
    }

    std::future<Outcome> Start(const Call& call)
    {
        return m_programs->Start(call);
    }

    std::unique_ptr<RoutedNetwork> m_network;
    std::unique_ptr<Integration::ClientPrograms> m_programs;
    std::unique_ptr<TestSupport::TcpListener> m_listener;
    std::string m_obstacle;
};

Statistics Sum(const std::vector<double>& times)
{
    Statistics result;
    for (const double time : times)
    {
        result.Add(time);
    }
    return result;
}

/// The time of one connection, measured by nothing but the system's calls.
double ConnectOnce()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(Port);
    ::inet_pton(AF_INET, RoutedNetwork::Server, &address.sin_addr);
    const auto begin = Shared::Time::RealMonotonicNow();
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const auto time = Shared::Time::RealMonotonicNow() - begin;
    ::close(socket);
    return std::chrono::duration<double, std::milli>(time).count();
}

#define NEED_NETWORK(links)                                                                                            \
    if (!MakeNetwork(links))                                                                                           \
    {                                                                                                                  \
        GTEST_SKIP() << m_obstacle;                                                                                    \
    }

#define NEED_PROGRAM(name)                                                                                             \
    if (FindSystemProgram(name).empty())                                                                               \
    {                                                                                                                  \
        GTEST_SKIP() << name << " is not installed";                                                                   \
    }

TEST_F(ToolsTruthTest, TcpingTellsTheTimeThatAConnectionTakes)
{
    NEED_NETWORK(EvenLinks);
    auto running = Start({LabProgram("tcping"), {"-n", "12", "-i", "0.25", "-w", "2", "-j", RoutedNetwork::Server}});
    std::vector<double> truth;
    m_network->OnClient(
        [&]
        {
            for (int i = 0; i < 30; ++i)
            {
                truth.push_back(ConnectOnce());
                Shared::Time::SleepFor(70ms);
            }
        });
    const Outcome tcping = running.get();
    EXPECT_EQ(tcping.exitCode, 0) << tcping.output;
    const std::vector<double> times = ReadTcpingTimes(tcping.output);
    ASSERT_EQ(times.size(), 12U) << tcping.output;
    EXPECT_GE(Sum(times).Best(), EvenTimes.back());
    EXPECT_PRED2(IsNear, Median(times), Median(truth));
    EXPECT_PRED2(IsNear, Sum(times).Best(), Sum(truth).Best());
    std::cout << fmt::format(
        "    connect      median {:7.3f}  best {:7.3f} ms\n    tcping       median {:7.3f}  best "
        "{:7.3f} ms\n",
        Median(truth), Sum(truth).Best(), Median(times), Sum(times).Best());
    EXPECT_THAT(tcping.output, HasSubstr("     12 probes sent. \r\n     12 successful, 0 failed.  (0.00% fail)\r\n"));
}

TEST_F(ToolsTruthTest, TcpingTellsAClosedPortAndASilentTargetApart)
{
    NEED_NETWORK(EvenLinks);
    const Outcome closed =
        Run({LabProgram("tcping"), {"-n", "2", "-i", "0.1", "-w", "2", "-p", "81", RoutedNetwork::Server}});
    EXPECT_EQ(closed.exitCode, 1);
    EXPECT_THAT(closed.output, HasSubstr("Probing 10.90.3.2:81/tcp - Connection refused - time="));
    const Outcome silent = Run({LabProgram("tcping"), {"-n", "2", "-i", "0.1", "-w", "0.3", RoutedNetwork::Nowhere}});
    EXPECT_EQ(silent.exitCode, 1);
    EXPECT_THAT(silent.output, HasSubstr("Probing 10.90.99.1:80/tcp - No response - time=3"));
    EXPECT_THAT(silent.output, Not(HasSubstr("open")));
}

TEST_F(ToolsTruthTest, AnInterruptedTcpingSumsUpWhatItHas)
{
    NEED_NETWORK(EvenLinks);
    const auto begin = Shared::Time::RealMonotonicNow();
    const Outcome tcping =
        Run({LabProgram("tcping"), {"-n", "6", "-i", "10", "-w", "5", "-j", RoutedNetwork::Server}, 700ms});
    EXPECT_LT(Shared::Time::RealMonotonicNow() - begin, 9s * VEL_TIME_SCALE);
    EXPECT_EQ(tcping.exitCode, 0);
    EXPECT_EQ(ReadTcpingTimes(tcping.output).size(), 1U);
    EXPECT_THAT(tcping.output, HasSubstr("     1 probes sent. \r\n"));
    const Outcome early = Run({LabProgram("tcping"), {"-n", "6", "-w", "5", RoutedNetwork::Nowhere}, 500ms});
    EXPECT_EQ(early.exitCode, 2);
    EXPECT_THAT(early.output, HasSubstr("     0 probes sent. \r\n"));
}

TEST_F(ToolsTruthTest, TheToolsOfARunLieReadyBesideItsAgent)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("curl");
    NEED_PROGRAM("mtr");
    Lab::Options options;
    options.agent = LabProgram("vellab");
    options.tools = LabProgram("vellab").parent_path();
    options.results = m_programs->Folder() / "results";
    const fs::path bin = Lab::LayOutRunFolder(options).agent / "bin";
    const std::string server = RoutedNetwork::Server;
    const std::string url = "http://" + server + ":8080/";
    std::unique_ptr<HttpServer> web;
    m_network->OnServer(
        [&] { web = std::make_unique<HttpServer>(8080, HttpServer::Kind::Plain, TestSupport::HttpAnswer{}); });
    EXPECT_EQ(Run({bin / "curl", {"-w", "%{json}", "-s", url}}).exitCode, 0);
    EXPECT_EQ(Run({bin / "tcping", {"-n", "1", server}}).exitCode, 0);
    const std::vector<std::string> path = {"s", "i", "n", "1", "0.3", "1", server, "80"};
    EXPECT_EQ(AddressesOf(ReadStations(Run({bin / "bmtr.exe", path}).output)), NetworkHops());
    const std::vector<std::string> cycles = {"--json", "-c", "1", "--interval", "1", "--timeout", "1", "-4", server};
    EXPECT_EQ(AddressesOf(ReadStations(Run({bin / "mtr", cycles}).output)), NetworkHops());
}

TEST_F(ToolsTruthTest, ToolsEndWhenNobodyTakesTheirOutputAnyMore)
{
    NEED_NETWORK(EvenLinks);
    // Twenty seconds of probes, of which the reader wants two lines; with and without the signal that a broken pipe gives.
    for (const std::string& signals : {std::string(), std::string("trap '' PIPE; ")})
    {
        const auto begin = Shared::Time::RealMonotonicNow();
        const Outcome outcome = Run(
            {"/bin/sh",
             {"-c",
              signals + LabProgram("tcping").string() + " -n 200 -i 0.1 " + RoutedNetwork::Server + " | head -n 2"}});
        EXPECT_LT(Shared::Time::RealMonotonicNow() - begin, 10s) << outcome.output;
        EXPECT_EQ(ReadTcpingTimes(outcome.output).size(), 1U) << outcome.output;
    }
}

TEST_F(ToolsTruthTest, AllKindsOfProbesFindTheWayAndItsTimes)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("fping");
    const std::string server = RoutedNetwork::Server;
    auto fping = Start(Fping(40, 150));
    std::vector<std::pair<std::string, std::future<Outcome>>> runs;
    for (const std::string kind : {"s", "u", "e"})
    {
        runs.emplace_back(
            "bmtr " + kind, Start({LabProgram("bmtr.exe"), {kind, "i", "n", "12", "0.5", "1", server, "80"}}));
    }
    const std::vector<Station> truth = ReadFping(fping.get().output);
    ASSERT_EQ(AddressesOf(truth), NetworkHops());
    Show("fping", truth);
    for (auto& [name, running] : runs)
    {
        const Outcome outcome = running.get();
        ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
        const std::vector<Station> stations = ReadStations(outcome.output);
        Show(name, stations);
        ASSERT_EQ(AddressesOf(stations), NetworkHops()) << outcome.output;
        for (std::size_t i = 0; i < stations.size(); ++i)
        {
            EXPECT_EQ(stations[i].lossPercent, 0.0);
            EXPECT_GE(stations[i].best, EvenTimes[i]);
            EXPECT_PRED2(IsNear, stations[i].best, truth[i].best) << name << ", " << truth[i].address;
            EXPECT_TRUE(AreAveragesNear(stations[i], truth[i])) << name << ", " << truth[i].address;
        }
    }
}

TEST_F(ToolsTruthTest, TheAdapterTellsWhatDebiansProgramTellsAndPingToo)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("mtr");
    NEED_PROGRAM("fping");
    const std::string server = RoutedNetwork::Server;
    auto ours = Start(
        {LabProgram("mtr"),
         {"--json", "--timeout", "15", "-c", "6", "-q", "33000", "--interval", "0.5", "--show-ips", "--rtt-clamping",
          "--end-verification", "-4", server}});
    auto debians = Start({FindSystemProgram("mtr"), {"--json", "-4", "--no-dns", "-c", "6", "-i", "0.5", server}});
    auto fping = Start(Fping(20, 150));
    const std::vector<Station> truth = ReadFping(fping.get().output);
    const Outcome outcome = ours.get();
    ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
    const std::vector<Station> adapters = ReadStations(outcome.output);
    const std::vector<Station> byHand = ReadStations(debians.get().output);
    Show("fping", truth);
    Show("mtr by hand", byHand);
    Show("mtr adapter", adapters);
    ASSERT_EQ(AddressesOf(byHand), NetworkHops());
    ASSERT_EQ(AddressesOf(adapters), NetworkHops()) << outcome.output;
    for (std::size_t i = 0; i < adapters.size(); ++i)
    {
        EXPECT_PRED2(IsNear, adapters[i].best, byHand[i].best) << truth[i].address;
        EXPECT_PRED2(IsNear, adapters[i].best, truth[i].best) << truth[i].address;
        EXPECT_TRUE(AreAveragesNear(adapters[i], byHand[i])) << truth[i].address;
        EXPECT_TRUE(AreAveragesNear(adapters[i], truth[i])) << truth[i].address;
    }
}

/// The second link loses a fifth of what goes forth, and delays everything by 3 ms more or less.
constexpr std::array<TestSupport::LinkSettings, RoutedNetwork::Links> BadLinks = {
    {{1ms, 0us, 0.0}, {5ms, 3ms, 20.0}, {2ms, 0us, 0.0}}};

TEST_F(ToolsTruthTest, WhatALinkLosesIsWhatBmtrMisses)
{
    NEED_NETWORK(BadLinks);
    constexpr int Cycles = 150;
    // Links count whole packets; so does this.
    const auto before = m_network->Counts(1);
    const Outcome outcome = Run(
        {LabProgram("bmtr.exe"), {"e", "i", "f", std::to_string(Cycles), "0.04", "1", RoutedNetwork::Server, "80"}});
    const auto after = m_network->Counts(1);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
    const std::vector<Station> stations = ReadStations(outcome.output);
    Show("bmtr e", stations);
    ASSERT_EQ(AddressesOf(stations), NetworkHops());
    EXPECT_EQ(stations[0].lossPercent, 0.0);
    const double missing = (stations[1].lossPercent + stations[2].lossPercent) * Cycles / 100.0;
    // The first cycle looks beyond the target, where nothing is counted.
    EXPECT_NEAR(missing, static_cast<double>(after.lost - before.lost), 8.0);
    EXPECT_LE(std::round(missing), static_cast<double>(after.lost - before.lost));
}

TEST_F(ToolsTruthTest, LossAndJitterAreThoseOfPing)
{
    NEED_NETWORK(BadLinks);
    NEED_PROGRAM("fping");
    constexpr int Count = 150;
    constexpr double Rate = 0.2;
    // Four standard errors of a share of so many.
    const double error = 4.0 * 100.0 * std::sqrt(Rate * (1.0 - Rate) / Count);
    auto fping = Start(Fping(Count, 40));
    auto bmtr = Start(
        {LabProgram("bmtr.exe"), {"u", "i", "n", std::to_string(Count), "0.04", "1", RoutedNetwork::Server, "80"}});
    const std::vector<Station> truth = ReadFping(fping.get().output);
    const std::vector<Station> stations = ReadStations(bmtr.get().output);
    Show("fping", truth);
    Show("bmtr u", stations);
    ASSERT_EQ(AddressesOf(stations), NetworkHops());
    // Two evenly spread delays, there and back, of 3 ms each way at most.
    const double deviation = 3.0 * std::sqrt(2.0 / 3.0);
    for (std::size_t i = 1; i < stations.size(); ++i)
    {
        EXPECT_NEAR(stations[i].lossPercent, 100.0 * Rate, error);
        EXPECT_NEAR(truth[i].lossPercent, 100.0 * Rate, error);
        EXPECT_NEAR(stations[i].deviation, deviation, 0.35 * deviation);
        EXPECT_NEAR(stations[i].deviation, truth[i].deviation, 0.35 * deviation);
        // As far as averages of so many uneven times tell anything.
        const double answered = Count * (1.0 - Rate);
        EXPECT_NEAR(stations[i].average, truth[i].average, 4.0 * deviation * std::sqrt(2.0 / answered));
    }
}

TEST_F(ToolsTruthTest, AWayThatEndsNowhereIsShownAsFarAsItGoes)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("mtr");
    auto bmtr = Start({LabProgram("bmtr.exe"), {"s", "i", "f", "2", "0.3", "0.5", RoutedNetwork::Nowhere, "80"}});
    auto mtr = Start(
        {LabProgram("mtr"),
         {"--json", "--timeout", "1", "-c", "2", "--interval", "0.3", "--end-verification", "-4",
          RoutedNetwork::Nowhere}});
    const Outcome fromBmtr = bmtr.get();
    ASSERT_EQ(fromBmtr.exitCode, 0) << fromBmtr.output;
    const std::vector<Station> seen = ReadStations(fromBmtr.output);
    EXPECT_EQ(AddressesOf(seen), (std::vector<std::string>{RoutedNetwork::Hops[0], ""}));
    EXPECT_EQ(seen.back().lossPercent, 100.0);
    const Outcome fromMtr = mtr.get();
    ASSERT_EQ(fromMtr.exitCode, 0) << fromMtr.output;
    const std::vector<Station> ended = ReadStations(fromMtr.output);
    EXPECT_EQ(AddressesOf(ended), (std::vector<std::string>{RoutedNetwork::Hops[0], RoutedNetwork::Nowhere}));
    EXPECT_EQ(ended.back().lossPercent, 100.0);
}

TEST_F(ToolsTruthTest, ToolsNeedNoMoreRightsThanTheAgentGivesThem)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("mtr");
    NEED_PROGRAM("setpriv");
    const auto asNobody =
        [this](const std::string& tool, const std::string& capabilities, const std::vector<std::string>& arguments)
    {
        // The built file may lie where nobody else may go.
        const fs::path copy = fs::temp_directory_path() / (m_programs->Folder().filename().string() + "-" + tool);
        fs::copy_file(LabProgram(tool), copy, fs::copy_options::overwrite_existing);
        fs::permissions(copy, fs::perms(0755));
        std::vector<std::string> all = {
            "--reuid=65534",
            "--regid=65534",
            "--clear-groups",
            "--no-new-privs",
            "--inh-caps=-all" + capabilities,
            "--bounding-set=-all" + capabilities,
            copy.string()};
        if (!capabilities.empty())
        {
            all.insert(all.begin() + 5, "--ambient-caps=-all" + capabilities);
        }
        all.insert(all.end(), arguments.begin(), arguments.end());
        const Outcome outcome = Run({FindSystemProgram("setpriv"), all});
        fs::remove(copy);
        return outcome;
    };
    const std::string server = RoutedNetwork::Server;
    const Outcome tcping = asNobody("tcping", "", {"-n", "1", server});
    EXPECT_EQ(tcping.exitCode, 0) << tcping.output;
    const Outcome bmtr = asNobody("bmtr.exe", ",+net_raw", {"s", "i", "n", "2", "0.3", "1", server, "80"});
    ASSERT_EQ(bmtr.exitCode, 0) << bmtr.output;
    EXPECT_EQ(AddressesOf(ReadStations(bmtr.output)), NetworkHops());
    const Outcome mtr =
        asNobody("mtr", ",+net_raw", {"--json", "-c", "2", "--interval", "1", "--timeout", "1", "-4", server});
    ASSERT_EQ(mtr.exitCode, 0) << mtr.output;
    EXPECT_EQ(AddressesOf(ReadStations(mtr.output)), NetworkHops());
    const Outcome refused = asNobody("bmtr.exe", "", {"s", "i", "n", "1", "0.3", "1", server, "80"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.output, StartsWith("bmtr: a raw socket: "));
}

TEST_F(ToolsTruthTest, OurCurlTellsWhatTheSystemsTells)
{
    NEED_NETWORK(EvenLinks);
    NEED_PROGRAM("curl");
    constexpr std::uint16_t WebPort = 8080;
    std::unique_ptr<HttpServer> server;
    m_network->OnServer(
        [&]
        {
            const TestSupport::HttpAnswer answer{404, 100ms, 50'000};
            server = std::make_unique<HttpServer>(WebPort, HttpServer::Kind::Plain, answer);
        });
    const std::string port = std::to_string(WebPort);
    const std::vector<std::string> arguments = {
        "-w",
        "%{json}",
        "--resolve",
        "server.lab.example:" + port + ":" + RoutedNetwork::Server,
        "--max-time",
        "15",
        "--proto-default",
        "http",
        "-s",
        "-o",
        "/dev/null",
        "-4",
        "server.lab.example:" + port + "/status"};
    const Call ours = {LabProgram("curl"), arguments};
    const Call systems = {FindSystemProgram("curl"), arguments};
    Integration::Compare(
        Integration::Comparison("ours", "curl"), 3,
        [&](Integration::Comparison& comparison)
        {
            constexpr std::array<const char*, 4> Times = {
                "time_connect", "time_pretransfer", "time_starttransfer", "time_total"};
            std::map<std::string, std::array<std::vector<double>, 2>> times;
            for (int i = 0; i < 10; ++i)
            {
                const std::size_t side = static_cast<std::size_t>(i) % 2;
                const Outcome outcome = Run(side == 0 ? ours : systems);
                ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
                const rapidjson::Document report = Lab::Json::Parse(outcome.output);
                for (const char* const time : Times)
                {
                    times[time][side].push_back(report[time].GetDouble() * 1000.0);
                }
                EXPECT_EQ(report["http_code"].GetInt(), 404);
                EXPECT_EQ(report["size_download"].GetInt(), 50'000);
                EXPECT_STREQ(report["remote_ip"].GetString(), RoutedNetwork::Server);
            }
            comparison.Note(systems);
            for (const char* const time : Times)
            {
                const double reference = Median(times[time][1]);
                comparison.Add(
                    std::string(time) + ", median of 5, ms", Median(times[time][0]), reference,
                    Integration::TimeLimit(reference));
            }
        });
}

TEST_F(ToolsTruthTest, CurlsPhasesAreThoseOfTheNetworkAndTheServer)
{
    NEED_NETWORK(EvenLinks);
    std::unique_ptr<HttpServer> plain;
    std::unique_ptr<HttpServer> secure;
    std::unique_ptr<TestSupport::DnsServer> names;
    m_network->OnServer(
        [&]
        {
            plain =
                std::make_unique<HttpServer>(8080, HttpServer::Kind::Plain, TestSupport::HttpAnswer{200, 100ms, 5000});
            secure = std::make_unique<HttpServer>(443, HttpServer::Kind::Tls, TestSupport::HttpAnswer{302, 0ms, 0});
            names = std::make_unique<TestSupport::DnsServer>(
                std::map<std::string, std::string>{{"server.lab.example", RoutedNetwork::Server}}, 0ms);
        });
    const auto get = [this](const std::string& url)
    {
        const Outcome outcome = Run(
            {FindSystemProgram("curl"),
             {"-w", "%{json}", "-k", "-s", "-4", "-o", "/dev/null", "--max-time", "5", url}});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
        return Lab::Json::Parse(outcome.output);
    };
    const rapidjson::Document first = get("http://server.lab.example:8080/");
    constexpr double Trip = 0.024;
    EXPECT_EQ(first["http_code"].GetInt(), 200);
    EXPECT_EQ(first["size_download"].GetInt(), 5000);
    EXPECT_STREQ(first["remote_ip"].GetString(), RoutedNetwork::Server);
    EXPECT_GE(first["time_namelookup"].GetDouble(), Trip);
    EXPECT_GE(first["time_connect"].GetDouble() - first["time_namelookup"].GetDouble(), Trip - 0.001);
    EXPECT_GE(first["time_starttransfer"].GetDouble() - first["time_pretransfer"].GetDouble(), Trip + 0.099);
    const rapidjson::Document second = get("https://server.lab.example/");
    EXPECT_EQ(second["http_code"].GetInt(), 302);
    EXPECT_GE(second["time_appconnect"].GetDouble() - second["time_connect"].GetDouble(), Trip - 0.001);
    const Outcome unknown = Run({FindSystemProgram("curl"), {"-s", "-4", "http://nobody.lab.example/"}});
    EXPECT_EQ(unknown.exitCode, 6);
}

} // namespace
