#include "agentcore.polling-pingstatistics.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <utility>

namespace AgentCore::Polling
{

namespace
{

using Tests::PingBatch;
using Tests::PingSample;

/// As many unanswered samples in a row are an outage.
constexpr std::uint32_t OutageSamples = 5;

/// The sample standard deviation; 0 of fewer than two values.
double ComputeDeviation(const std::vector<double>& values)
{
    if (values.size() < 2)
    {
        return 0.0;
    }
    const auto count = static_cast<double>(values.size());
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / count;
    const double squares = std::accumulate(
        values.begin(), values.end(), 0.0,
        [mean](double sum, double value) { return sum + (value - mean) * (value - mean); });
    return std::sqrt(squares / (count - 1.0));
}

/// Goes through samples in the order of time.
class Statistics
{
public:
    explicit Statistics(std::uint32_t intervalMs) noexcept : m_intervalMs(intervalMs)
    {
        m_message.set_min_rtt(std::numeric_limits<std::uint32_t>::max());
    }

    void Add(const PingBatch& batch)
    {
        m_message.set_curl_tests_configured(batch.curlTestsConfigured);
        if (m_message.period_start_utc().empty())
        {
            m_message.set_period_start_utc(batch.periodStartUtc);
        }
        for (const auto& sample : batch.samples)
        {
            Add(sample);
        }
    }

    PingStatistics Finish()
    {
        if (!m_rtts.empty())
        {
            m_message.set_avg_rtt(static_cast<float>(m_rttSum) / static_cast<float>(m_rtts.size()));
            CloseGap();
        }
        else
        {
            m_message.set_avg_rtt(static_cast<float>(m_rttSum));
        }
        m_message.set_jitter(static_cast<float>(ComputeDeviation(m_rtts)));
        return std::move(m_message);
    }

private:
    void Add(const PingSample& sample)
    {
        m_message.set_pings_sent(m_message.pings_sent() + 1);
        if (!sample.answered)
        {
            ++m_gap;
        }
        else
        {
            m_rttSum += sample.rtt;
            if (sample.status == 0)
            {
                AddSuccess(sample.rtt);
            }
        }
        m_message.set_period_total(m_message.period_total() + m_intervalMs);
    }

    void AddSuccess(std::uint32_t rtt)
    {
        m_rtts.push_back(rtt);
        m_message.set_pings_received(m_message.pings_received() + 1);
        m_message.set_min_rtt(std::min(m_message.min_rtt(), rtt));
        m_message.set_max_rtt(std::max(m_message.max_rtt(), rtt));
        m_message.set_period_available(m_message.period_available() + m_intervalMs);
        CloseGap();
        m_gap = 0;
    }

    /// A short gap was no outage.
    void CloseGap()
    {
        if (m_gap < OutageSamples)
        {
            m_message.set_period_available(m_message.period_available() + m_gap * m_intervalMs);
        }
    }

    std::uint32_t m_intervalMs;
    PingStatistics m_message;
    /// Of all answers.
    double m_rttSum = 0.0;
    /// Of the successes.
    std::vector<double> m_rtts;
    /// Unanswered samples since the last success.
    std::uint32_t m_gap = 0;
};

/// Each batch writes over what the ones before it were of.
void Describe(const std::string& key, const std::vector<PingBatch>& batches, Tests::PingAggregate& aggregate)
{
    for (const auto& batch : batches)
    {
        aggregate.server = batch.server;
        aggregate.networkObjectUuid = batch.networkObjectUuid;
        aggregate.testUuid = batch.isTestUuidInKey ? std::string{Tests::GetPingKeyId(key)} : batch.testUuid;
        aggregate.serverType = batch.serverType;
    }
}

AggregatePingStatistics ToMessage(Tests::PingAggregate aggregate)
{
    AggregatePingStatistics message;
    message.set_server(std::move(aggregate.server));
    message.set_network_object_uuid(std::move(aggregate.networkObjectUuid));
    message.set_test_uuid(std::move(aggregate.testUuid));
    message.set_server_type(aggregate.serverType);
    for (auto& result : aggregate.results)
    {
        *message.add_ping_results() = std::move(result);
    }
    return message;
}

} // namespace

PingStatistics ComputeStatistics(const std::vector<PingBatch>& batches, std::uint32_t intervalMs)
{
    Statistics statistics{intervalMs};
    for (const auto& batch : batches)
    {
        statistics.Add(batch);
    }
    return statistics.Finish();
}

void ComputePingStatistics(Tests::PingCollector& collector, std::uint32_t intervalMs)
{
    for (const auto& [key, batches] : collector.TakeBatches())
    {
        auto& aggregate = collector.GetAggregates()[key];
        Describe(key, batches, aggregate);
        aggregate.results.push_back(ComputeStatistics(batches, intervalMs));
    }
}

std::vector<AggregatePingStatistics> ExportPingStatistics(Tests::PingCollector& collector, bool isGatewayOnly)
{
    std::vector<AggregatePingStatistics> messages;
    for (auto& [key, aggregate] : std::exchange(collector.GetAggregates(), {}))
    {
        if (!isGatewayOnly || aggregate.serverType == DEFAULT_GATEWAY)
        {
            messages.push_back(ToMessage(std::move(aggregate)));
        }
    }
    return messages;
}

} // namespace AgentCore::Polling
