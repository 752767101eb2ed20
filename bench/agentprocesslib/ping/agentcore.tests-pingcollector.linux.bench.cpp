// What one round of pings costs: 50 targets on loopback, which all answer. The floor is one raw socket that sends and
// receives the same packets, without names, settings or checks. Counters beyond the ratio: processor time of one target in
// microseconds, of the round and of the floor; below 100 is kept up. The wall time of a round is its processor time, as
// loopback answers within the call.

#include "agentcore.tests-pingcollector.hpp"

#include "agentcore.tests-icmpmessage.hpp"
#include "bench.ratio.hpp"
#include "shared.log-configuration.hpp"
#include "test.support-settingsstore.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using namespace AgentCore;

constexpr std::uint8_t Targets = 50;

double ProcessorMicroseconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

std::vector<Messaging::TestConfiguration> MakeTests(const std::wstring& prefix, bool isNumbered)
{
    std::vector<Messaging::TestConfiguration> tests(Targets);
    for (std::uint8_t i = 0; i < Targets; ++i)
    {
        tests[i].testKey = L"test " + std::to_wstring(i);
        tests[i].target = isNumbered ? prefix + std::to_wstring(i + 1) : prefix;
        tests[i].protocol = L"icmp";
    }
    return tests;
}

/// The tests' targets alone: gateways of this machine need not answer.
Tests::PingSources SourcesWithoutGateways()
{
    return {
        [](const std::wstring& name) { return Tests::HostNameToAddresses(name); },
        [](const std::wstring& address) { return Tests::DoIpV4Ping(address); },
        [] { return std::vector<System::NetworkInterfaceRecord>{}; },
        []
        {
            return Shared::AppSettings::VpnConnectionInfo{};
        }};
}

class BareSocket
{
public:
    BareSocket() : m_socket(::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP))
    {
        // Replies alone.
        const std::uint32_t filter = ~1U;
        ::setsockopt(m_socket, SOL_RAW, 1, &filter, sizeof(filter));
    }

    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;

    ~BareSocket()
    {
        ::close(m_socket);
    }

    bool IsOpen() const
    {
        return m_socket >= 0;
    }

    void Exchange(std::uint8_t last) const
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = std::bit_cast<in_addr_t>(std::array<std::uint8_t, 4>{127, 0, 0, last});
        std::array<std::uint8_t, 128> buffer{};
        ::sendto(
            m_socket, m_message.data(), m_message.size(), 0, reinterpret_cast<const sockaddr*>(&address),
            sizeof(address));
        benchmark::DoNotOptimize(::recv(m_socket, buffer.data(), buffer.size(), 0));
    }

private:
    int m_socket;
    std::vector<std::uint8_t> m_message = Tests::Icmp::BuildEchoRequest({1, 1}, std::array<std::uint8_t, 14>{});
};

void PingRound(benchmark::State& state, const std::vector<Messaging::TestConfiguration>& tests)
{
    const TestSupport::TemporarySettingsStore store;
    Shared::Log::ConfigureLogging(0, Shared::Log::Level::Off, "", 1, 1);
    const BareSocket bare;
    Tests::PingCollector collector{SourcesWithoutGateways()};
    collector.PingTests(tests, L"");
    const auto first = collector.TakeBatches();
    if (!bare.IsOpen() || first.size() != Targets || !first.begin()->second[0].samples[0].answered)
    {
        state.SkipWithError("no echo request can be sent here");
        return;
    }
    double ours = 0.0;
    double floor = 0.0;
    double rounds = 0.0;
    Bench::Compare(
        state, 1,
        [&]
        {
            const double start = ProcessorMicroseconds();
            collector.PingTests(tests, L"");
            ours += ProcessorMicroseconds() - start;
            rounds += 1.0;
            benchmark::DoNotOptimize(collector.TakeBatches());
        },
        [&]
        {
            const double start = ProcessorMicroseconds();
            for (std::uint8_t i = 1; i <= Targets; ++i)
            {
                bare.Exchange(i);
            }
            floor += ProcessorMicroseconds() - start;
        });
    state.counters["cpu_us_per_target"] = ours / rounds / Targets;
    state.counters["floor_cpu_us_per_target"] = floor / rounds / Targets;
    state.counters["wall_us_per_target"] = state.counters["ours_ns"] / 1e3 / Targets;
}

void PingAddresses(benchmark::State& state)
{
    PingRound(state, MakeTests(L"127.0.0.", true));
}

/// A name costs what the system's files cost.
void PingNames(benchmark::State& state)
{
    PingRound(state, MakeTests(L"localhost", false));
}

} // namespace

BENCHMARK(PingAddresses)->UseManualTime();
BENCHMARK(PingNames)->UseManualTime();
