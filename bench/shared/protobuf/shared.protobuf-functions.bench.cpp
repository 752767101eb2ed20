// What the poll of a full cycle costs as JSON text, against the bare call of the library. Kept up: ours stays below 1.1
// times the bare call, both ways.

#include <string>

#include <benchmark/benchmark.h>
#include <google/protobuf/util/json_util.h>

#include "bench.ratio.hpp"
#include "poll.pb.h"
#include "shared.protobuf-functions.hpp"

namespace
{

const std::string Uuid = "6b29fc40-ca47-1067-b31d-00dd010662da";
const std::string Time = "20250102-10:11:12.345+0000";

void FillDns(DnsResolution& dns)
{
    dns.set_domain("service.example.com");
    dns.set_ip("203.0.113.17");
    dns.set_resolverip("198.51.100.53");
    dns.set_resolutionrequired(true);
    dns.set_resolutiontimeus(12345);
    dns.set_serverreachable(true);
}

void AddCurl(Poll& poll, int index)
{
    auto& test = *poll.add_curltests();
    auto& output = *test.mutable_curl_results();
    output.set_time_namelookup(0.001 * index + 0.000123);
    output.set_time_connect(0.012345);
    output.set_time_appconnect(0.034567);
    output.set_time_pre_transfer(0.034789);
    output.set_time_start_transfer(0.056789);
    output.set_total_time(0.078901);
    output.set_tcp_handshake_time(0.011345);
    output.set_ssl_handshake_time(0.022222);
    output.set_wait_time(0.022);
    output.set_data_transfer_time(0.022112);
    output.set_time_to_first_byte(0.056789);
    output.set_wire_size(15234);
    output.set_speed_download(193076);
    output.set_http_code(200);
    output.set_success(true);
    test.set_curl_uuid(Uuid);
    test.set_netobj_uuid(Uuid);
    test.set_start_time(1735812672);
    test.set_scheduled_time(1735812600);
    test.set_utc_time(Time);
    test.set_target("https://service.example.com/health");
    test.set_test_name("Reachability of the service");
    test.add_dns_servers("198.51.100.53");
    test.set_target_ip("203.0.113.17");
    auto& tag = *test.add_tags();
    tag.set_key("region");
    tag.set_value("north");
    FillDns(*test.mutable_targetdnsresolution());
}

void AddMtr(Poll& poll, int index)
{
    auto& test = *poll.add_mtrtests();
    auto& route = *test.mutable_report()->mutable_mtr();
    route.set_src("endpoint");
    route.set_dst("service.example.com");
    route.set_tos("0x0");
    route.set_psize("64");
    route.set_tests("5");
    for (int i = 0; i < 20; ++i)
    {
        auto& hub = *test.mutable_report()->add_hubs();
        hub.set_count(std::to_string(i + 1));
        hub.set_host("hop-" + std::to_string(i) + ".carrier.example.net");
        hub.set_address("192.0.2." + std::to_string(i));
        hub.set_asn("AS64500");
        hub.set_losspct(0.5 * i);
        hub.set_snt(5);
        hub.set_last(1.234 * i + 0.1);
        hub.set_avg(1.345 * i + 0.1);
        hub.set_best(1.123 * i + 0.1);
        hub.set_wrst(2.345 * i + 0.1);
        hub.set_stdev(0.123);
    }
    test.set_start_time(1735812672);
    test.set_network_object_uuid(Uuid);
    test.set_mtr_config_uuid(Uuid);
    test.set_index(index);
    test.set_server_type(INTERNET);
    test.set_utc_time(Time);
    test.mutable_norvik()->mutable_tunnel_ip()->set_ipv4("10.8.0.2");
    test.set_target("service.example.com");
    test.set_target_ip("203.0.113.17");
    FillDns(*test.mutable_targetdnsresolution());
}

void AddPing(Poll& poll)
{
    auto& test = *poll.add_pingtests();
    test.set_server("service.example.com");
    test.set_server_type(VPN_GATEWAY);
    test.set_test_uuid(Uuid);
    test.set_utc_time(Time);
    test.set_address("203.0.113.17");
    auto& statistics = *test.add_ping_results();
    statistics.set_jitter(0.75F);
    statistics.set_pings_sent(30);
    statistics.set_pings_received(29);
    statistics.set_min_rtt(11);
    statistics.set_avg_rtt(12.5F);
    statistics.set_max_rtt(31);
    statistics.set_period_start_utc(Time);
}

const Poll& FullPoll()
{
    static const Poll Full = []
    {
        Poll poll;
        poll.set_utc_time(Time);
        poll.set_uuid(Uuid);
        poll.set_account_id(4711);
        poll.set_total_memory(17179869184);
        for (int i = 0; i < 50; ++i)
        {
            AddCurl(poll, i);
        }
        for (int i = 0; i < 30; ++i)
        {
            AddMtr(poll, i);
        }
        for (int i = 0; i < 20; ++i)
        {
            AddPing(poll);
        }
        return poll;
    }();
    return Full;
}

void GenerateBare()
{
    google::protobuf::util::JsonPrintOptions options;
    options.add_whitespace = true;
    options.always_print_enums_as_ints = true;
    std::string json;
    if (!google::protobuf::util::MessageToJsonString(FullPoll(), &json, options).ok())
    {
        json.clear();
    }
    benchmark::DoNotOptimize(json);
}

void Generate(benchmark::State& state)
{
    Bench::Compare(
        state, 1, [] { benchmark::DoNotOptimize(Shared::Protobuf::GenerateJSONFrom(FullPoll())); }, GenerateBare);
    state.counters["bytes"] = static_cast<double>(Shared::Protobuf::GenerateJSONFrom(FullPoll()).size());
}

void Parse(benchmark::State& state)
{
    const auto json = Shared::Protobuf::GenerateJSONFrom(FullPoll());
    Poll poll;
    Bench::Compare(
        state, 1, [&] { Shared::Protobuf::ParseJSON(json, poll); },
        [&] { benchmark::DoNotOptimize(google::protobuf::util::JsonStringToMessage(json, &poll)); });
}

} // namespace

BENCHMARK(Generate)->UseManualTime();
BENCHMARK(Parse)->UseManualTime();
