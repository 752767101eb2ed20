#include "agentcore.polling-tcppingaggregation.hpp"

#include "agentcore.tests-pingcollector.hpp"
#include "shared.concurrency-process.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <source_location>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace AgentCore::Polling
{

namespace
{

using Messaging::TestConfiguration;
using Shared::Concurrency::ProcessRunner;
using Shared::Util::ConvertStringType;
using Tests::TcpPingResult;
using Tests::TcpPingRunner;

/// The results of each test and target, a minute each, in the order of time.
using ResultsByKey = std::map<std::string, std::vector<TcpPingResult>, std::less<>>;

bool IsStarted(const ProcessRunner& runner)
{
    return runner.GetState() == ProcessRunner::State::Started;
}

/// Whether the HTTP test of the same target, without which this one means nothing, was started.
bool IsAssociatedCurlTestStarted(const TestConfiguration& config, const CurlRunners& curlRunners)
{
    const auto objectUuid = ConvertStringType(config.networkObjectUuid);
    const auto found = std::ranges::find_if(
        curlRunners,
        [&](const auto& runner)
        {
            const auto& request = runner->GetRequest();
            return request.networkObjectUuid == objectUuid && request.target == config.target;
        });
    if (found == curlRunners.end())
    {
        Shared::Log::Warn(
            "Found an abnormal condition where TCP test {} did not have an expected associated curl runner. The test has "
            "been discarded.",
            config.test.id);
        return false;
    }
    if (!IsStarted(**found))
    {
        Shared::Log::Warn(
            "Discarding TCP test {} as the associated Curl runner was never started, probably because it wasn't "
            "configured to run under specific VPN settings at the scheduled run time.",
            config.test.id);
        return false;
    }
    return true;
}

/// Those that have ended have no process any more. Whether the others hear it shows when they are awaited.
void AskToBreakOff(const TcpPingRunners& runners)
{
    for (const auto& runner : runners)
    {
        if (IsStarted(*runner) && runner->GetProcessId() != 0)
        {
            (void)Shared::Concurrency::SendBreak(runner->GetProcessId());
        }
    }
}

std::string KeyOf(const TestConfiguration& config)
{
    return Tests::JoinPingKey(ConvertStringType(config.testKey), ConvertStringType(config.target));
}

void Collect(TcpPingRunner& runner, ResultsByKey& results, const std::source_location& where)
{
    const TestConfiguration& config = runner.GetRequest().config;
    try
    {
        TcpPingResult result = runner.ParseTestResult();
        results[KeyOf(config)].push_back(std::move(result));
    }
    catch (const std::exception& exception)
    {
        Shared::Log::LogErrorAt(
            fmt::format("A TcpPing test against {} failed: {}", ConvertStringType(config.target), exception.what()),
            where);
    }
}

void Add(const PingStatistics& result, PingStatistics& sum)
{
    sum.set_curl_tests_configured(result.curl_tests_configured());
    if (sum.period_start_utc().empty())
    {
        sum.set_period_start_utc(result.period_start_utc());
    }
    sum.set_jitter(sum.jitter() + result.jitter());
    sum.set_min_rtt(sum.min_rtt() + result.min_rtt());
    sum.set_avg_rtt(sum.avg_rtt() + result.avg_rtt());
    sum.set_max_rtt(sum.max_rtt() + result.max_rtt());
    sum.set_pings_received(sum.pings_received() + result.pings_received());
    sum.set_pings_sent(sum.pings_sent() + result.pings_sent());
    sum.set_period_total(sum.period_total() + result.period_total());
    sum.set_period_available(sum.period_available() + result.period_available());
}

AggregatePingStatistics Fold(const std::vector<TcpPingResult>& results)
{
    AggregatePingStatistics message;
    PingStatistics& sum = *message.add_ping_results();
    for (const auto& [config, statistics] : results)
    {
        message.set_server(ConvertStringType(config.target));
        message.set_network_object_uuid(ConvertStringType(config.networkObjectUuid));
        message.set_test_uuid(ConvertStringType(config.testKey));
        Add(statistics, sum);
    }
    const auto count = static_cast<std::uint32_t>(results.size());
    sum.set_jitter(sum.jitter() / static_cast<float>(count));
    sum.set_max_rtt(sum.max_rtt() / count);
    sum.set_avg_rtt(sum.avg_rtt() / static_cast<float>(count));
    sum.set_min_rtt(sum.min_rtt() / count);
    return message;
}

} // namespace

std::vector<AggregatePingStatistics> AggregateTcpPingStats(
    TcpPingRunners& runners, bool discard, const CurlRunners& curlRunners)
{
    std::vector<AggregatePingStatistics> messages;
    if (discard)
    {
        Shared::Log::Info("Discarding TcPing tests test due to changed username or subtenant.");
        runners.clear();
        return messages;
    }
    Shared::Log::Info("Collecting TCP ping results...");
    AskToBreakOff(runners);
    ResultsByKey results;
    for (const auto& runner : runners)
    {
        if (!IsStarted(*runner))
        {
            continue;
        }
        const TestConfiguration& config = runner->GetRequest().config;
        if (!config.hasCurlTest || IsAssociatedCurlTestStarted(config, curlRunners))
        {
            Collect(*runner, results, std::source_location::current());
        }
        runner->Close();
    }
    Shared::Log::Info("TCP ping results collected.");
    Shared::Log::Info("Aggregating TCP pings...");
    for (const auto& [key, ofKey] : results)
    {
        messages.push_back(Fold(ofKey));
    }
    Shared::Log::Info("TCP pings aggregated.");
    runners.clear();
    return messages;
}

} // namespace AgentCore::Polling
