// What reading the output of the test tools costs, in ours_mb_per_s, against the least that anybody could do: for the JSON of
// curl, mtr and bmtr the JSON library's bare parsing, for the lines of tcping a bare search for their ends. Kept up: 50 MB/s
// for each but bmtr, which is as fast as the protobuf library that it is handed to, and the same ratio at every size.

#include <cstdint>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <rapidjson/document.h>

#include "agentcore.tests-curlreport.hpp"
#include "agentcore.tests-mtrreport.hpp"
#include "agentcore.tests-tcpingreport.hpp"
#include "bench.ratio.hpp"

namespace
{

namespace Tests = AgentCore::Tests;

int Batch(std::size_t size)
{
    return size < 100'000 ? 20 : 1;
}

template <typename Ours, typename Floor>
void Measure(benchmark::State& state, const std::string& text, Ours ours, Floor floor)
{
    Bench::Compare(state, Batch(text.size()), ours, floor);
    const auto megabytes = static_cast<double>(text.size()) / 1e6;
    state.counters["ours_mb_per_s"] = megabytes / (state.counters["ours_ns"] * 1e-9);
    state.counters["ns_per_byte"] = state.counters["ours_ns"] / static_cast<double>(text.size());
}

void ParseBare(const std::string& text)
{
    rapidjson::Document document;
    document.Parse(text.data(), text.size());
    benchmark::DoNotOptimize(document.HasParseError());
}

/// What curl prints, with as many further variables as make up the size.
std::string CurlOutput(std::size_t size)
{
    std::string text = R"({"content_type":"text/html","errormsg":null,"exitcode":0,"http_code":200,"http_connect":0,)"
                       R"("http_version":"1.1","local_ip":"192.0.2.7","local_port":51234,"method":"GET",)"
                       R"("remote_ip":"192.0.2.1","remote_port":443,"size_download":123456,"speed_download":987654,)"
                       R"("time_appconnect":0.061234,"time_connect":0.021234,"time_namelookup":0.000012,)"
                       R"("time_pretransfer":0.061299,"time_starttransfer":0.121111,"time_total":0.201234)";
    for (int i = 0; text.size() < size; ++i)
    {
        text += fmt::format(R"(,"variable_{}":"value of no interest","number_{}":0.12345{})", i, i, i);
    }
    return text + R"(,"url":"www.example.com/"})";
}

/// What mtr prints, with as many hops as make up the size.
std::string MtrOutput(std::size_t size)
{
    std::string text = R"({"report":{"mtr":{"src":"laptop","dst":"www.example.com","tos":"0x0","psize":"64",)"
                       R"("bitpattern":"0x00","tests":"5"},"hubs":[)";
    for (int i = 1; text.size() < size || i < 3; ++i)
    {
        text += fmt::format(
            R"({}{{"count":"{}","host":"router-{}.example.net","ASN":"AS64500","Loss%":0.0,)"
            R"("LossPct":20.0,"Snt":5,"Last":12.345,"Avg":13.25,"Best":11.875,"Wrst":19.5,"StDev":2.75}})",
            i == 1 ? "" : ",", i, i);
    }
    return text + "]}}";
}

/// What tcping prints, with as many probes as make up the size.
std::string TcpingOutput(std::size_t size)
{
    std::string text = "\r\n";
    int probes = 0;
    for (; text.size() < size || probes < 6; ++probes)
    {
        text += probes % 7 == 3 ? "Probing 192.0.2.1:443/tcp - No response - time=5000.000ms \r\n"
                                : "Probing 192.0.2.1:443/tcp - Port is open - time=12.345ms jitter=0.512 \r\n";
    }
    return text +
        fmt::format(
               "\r\nPing statistics for 192.0.2.1:443\r\n     {} probes sent. \r\n     {} successful, {} failed.  "
               "(14.29% fail)\r\nApproximate trip times in milli-seconds:\r\n     Minimum = 11.125ms, Maximum = "
               "19.500ms, Average = 13.250ms\r\nJitter:\r\n     Minimum = 0.100ms, Maximum = 0.900ms, Average = "
               "0.512ms\r\n",
               probes, probes - 1, 1);
}

void Curl(benchmark::State& state)
{
    const std::string text = CurlOutput(static_cast<std::size_t>(state.range(0)));
    Measure(
        state, text, [&] { benchmark::DoNotOptimize(Tests::ReadCurlReport(text).timeTotal); },
        [&] { ParseBare(text); });
}

void Mtr(benchmark::State& state)
{
    const std::string text = MtrOutput(static_cast<std::size_t>(state.range(0)));
    const Tests::PathTestFacts facts{1'700'000'000, "object", "config", 3, INTERNET};
    Measure(
        state, text, [&] { benchmark::DoNotOptimize(Tests::ReadMtrReport(text, facts).index()); },
        [&] { ParseBare(text); });
}

void Bmtr(benchmark::State& state)
{
    const std::string text = MtrOutput(static_cast<std::size_t>(state.range(0)));
    const Tests::PathTestFacts facts{1'700'000'000, "object", "config", 3, INTERNET};
    Measure(
        state, text, [&] { benchmark::DoNotOptimize(Tests::ReadBmtrReport(text, facts).index()); },
        [&] { ParseBare(text); });
}

void Tcping(benchmark::State& state)
{
    const std::string text = TcpingOutput(static_cast<std::size_t>(state.range(0)));
    Measure(
        state, text,
        [&]
        {
            PingStatistics statistics;
            Tests::ReadTcpingReport(text, 10, statistics);
            benchmark::DoNotOptimize(statistics.period_available());
        },
        [&]
        {
            std::size_t lines = 0;
            for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", end + 2))
            {
                ++lines;
            }
            benchmark::DoNotOptimize(lines);
        });
}

} // namespace

BENCHMARK(Curl)->UseManualTime()->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
BENCHMARK(Mtr)->UseManualTime()->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
BENCHMARK(Bmtr)->UseManualTime()->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
BENCHMARK(Tcping)->UseManualTime()->Arg(1'000)->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);
