#include "lab.vellab-chaintimes.hpp"

#include "lab.scenario-catalogue.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include <fmt/format.h>

namespace Lab
{

namespace
{

constexpr std::string_view LastState = "GetAccountAgentConfig";
constexpr std::string_view CompletedState = "ConfigCompleted";

/// Of a chain with many repetitions, these are enough.
constexpr std::size_t MostRows = 40;

/// How long the agent's last request took, in all that the log tells of a completed configuration: from its state to the
/// next one. In the order of time.
struct Completion
{
    double seconds;
    double sinceLastState;
};

std::vector<Completion> FindCompletions(const std::vector<AgentState>& states)
{
    std::vector<Completion> completions;
    const AgentState* last = nullptr;
    for (const AgentState& state : states)
    {
        if (state.name == LastState)
        {
            last = &state;
        }
        else if (state.name == CompletedState && last != nullptr)
        {
            completions.push_back({state.seconds, state.seconds - last->seconds});
            last = nullptr;
        }
    }
    return completions;
}

/// The chains without their ends.
std::vector<Chain> Split(const std::vector<Cloud::Exchange>& exchanges, const Timeline& timeline)
{
    std::vector<Chain> chains;
    for (const Cloud::Exchange& exchange : exchanges)
    {
        if (exchange.kind == RequestKind::Poll)
        {
            continue;
        }
        // Behind the last request something else is asked for only once the agent has everything.
        const bool wasLast = !chains.empty() && chains.back().requests.back().kind == RequestKind::AccountAgent &&
            exchange.kind != RequestKind::AccountAgent;
        if (exchange.kind == RequestKind::Startup || chains.empty() || wasLast)
        {
            chains.emplace_back();
        }
        ChainRequest request;
        request.kind = exchange.kind;
        request.requested = timeline.SecondsAt(exchange.requested);
        if (exchange.answered)
        {
            request.answered = timeline.SecondsAt(*exchange.answered);
        }
        request.how = exchange.how;
        chains.back().requests.push_back(std::move(request));
    }
    return chains;
}

/// What the cloud and the agent took for one request, in seconds of the timeline.
struct Shares
{
    double cloud = 0;
    double agent = 0;
};

/// Without an answer, all of it is the agent's waiting.
Shares SharesOf(const Chain& chain, std::size_t index)
{
    const ChainRequest& request = chain.requests[index];
    const double next = index + 1 == chain.requests.size() ? *chain.completed : chain.requests[index + 1].requested;
    const double answered = request.answered ? std::min(*request.answered, next) : request.requested;
    return {answered - request.requested, std::max(next - answered, 0.0)};
}

std::string DescribeRow(const Chain& chain, std::size_t index, double speed)
{
    const ChainRequest& request = chain.requests[index];
    const Shares shares = SharesOf(chain, index);
    const std::string cloud = request.answered ? fmt::format("{:.2f}", shares.cloud * speed) : std::string("-");
    return fmt::format(
        "\n{:>8.2f}  {:<16}{:>8}{:>8.2f}{}", (request.requested - chain.requests.front().requested) * speed,
        NameOf(request.kind), cloud, shares.agent * speed,
        request.how.empty() ? std::string() : fmt::format("  {}", request.how));
}

std::string DescribeTable(const Chain& chain, double speed)
{
    std::string text = fmt::format("\n{:>8}  {:<16}{:>8}{:>8}", "at", "request", "cloud", "agent");
    const std::size_t rows = std::min(chain.requests.size(), MostRows);
    for (std::size_t i = 0; i < rows; ++i)
    {
        text += DescribeRow(chain, i, speed);
    }
    if (rows < chain.requests.size())
    {
        text += fmt::format("\nand {} more", chain.requests.size() - rows);
    }
    return text;
}

bool IsWhole(const Chain& chain)
{
    return chain.completed && chain.requests.front().kind == RequestKind::Startup;
}

std::string DescribeWhole(const Chain& chain, double speed)
{
    Shares all;
    for (std::size_t i = 0; i < chain.requests.size(); ++i)
    {
        const Shares shares = SharesOf(chain, i);
        all.cloud += shares.cloud;
        all.agent += shares.agent;
    }
    const double length = *chain.completed - chain.requests.front().requested;
    return fmt::format(
        "the agent was configured {:.2f} of its seconds after it posted its inventory: in {} requests the cloud took {:.2f} s "
        "to answer, and the agent {:.2f} s to go on{}",
        length * speed, chain.requests.size(), all.cloud * speed, all.agent * speed, DescribeTable(chain, speed));
}

} // namespace

std::vector<Chain> FindChains(
    const std::vector<Cloud::Exchange>& exchanges, const std::vector<AgentState>& states, const Timeline& timeline)
{
    std::vector<Chain> chains = Split(exchanges, timeline);
    for (const Completion& completion : FindCompletions(states))
    {
        // The log's clock may be some hundredths of a second early, which is less than a chain takes.
        const auto behind = std::find_if(
            chains.begin(), chains.end(),
            [&](const Chain& chain) { return chain.requests.front().requested > completion.seconds; });
        if (behind == chains.begin())
        {
            continue;
        }
        Chain& chain = *std::prev(behind);
        if (!chain.completed && chain.requests.back().kind == RequestKind::AccountAgent)
        {
            chain.completed = chain.requests.back().requested + completion.sinceLastState;
        }
    }
    return chains;
}

std::string DescribeChains(const std::vector<Chain>& chains, double speed)
{
    if (chains.empty())
    {
        return {};
    }
    const auto whole = std::find_if(chains.begin(), chains.end(), &IsWhole);
    const auto completed =
        std::count_if(chains.begin(), chains.end(), [](const Chain& chain) { return chain.completed.has_value(); });
    std::string counts = fmt::format(
        "the agent began {} time{} to fetch its configuration, and had all of it {} time{}", chains.size(),
        chains.size() == 1 ? "" : "s", completed, completed == 1 ? "" : "s");
    if (whole == chains.end())
    {
        return counts;
    }
    const std::string text = DescribeWhole(*whole, speed);
    return chains.size() == 1 ? text : fmt::format("{}\n{}", text, counts);
}

} // namespace Lab
