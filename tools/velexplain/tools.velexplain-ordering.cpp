#include "tools.velexplain-ordering.hpp"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iterator>
#include <map>
#include <utility>

#include <fmt/format.h>

namespace Tools::VelExplain
{

namespace
{

/// Tests that were judged to run, by what the agent's list tells of them. Of the same there may be several.
using Expected = std::map<std::pair<std::string, std::string>, std::deque<TestReport>>;

bool IsTakenOver(const TestReport& test)
{
    return test.fate == Fate::Runs || test.fate == Fate::NotInMap;
}

void CheckCounts(
    const std::vector<TestReport>& judged, const KindReport& report, std::vector<std::string>& contradictions)
{
    const auto taken = std::count_if(judged.begin(), judged.end(), &IsTakenOver);
    const auto skipped = static_cast<std::ptrdiff_t>(judged.size()) - taken;
    const bool isRight = report.closing.starts_with(fmt::format("Cached {} ", taken)) &&
        report.closing.find(fmt::format(" skipped {} ", skipped)) != std::string::npos;
    if (!isRight && !(judged.empty() && report.closing.empty()))
    {
        contradictions.push_back(
            fmt::format("{} tests are judged to be taken over and {} not: {}", taken, skipped, report.closing));
    }
}

void CheckOrder(const std::vector<TestReport>& running, std::vector<std::string>& contradictions)
{
    for (std::size_t i = 1; i < running.size(); ++i)
    {
        if (running[i].priority < running[i - 1].priority)
        {
            contradictions.push_back(fmt::format("{} comes after {}", running[i].key, running[i - 1].key));
        }
    }
}

} // namespace

std::vector<std::string> Arrange(
    std::vector<TestReport> judged, const std::vector<RunningTest>& running, KindReport& report)
{
    std::vector<std::string> contradictions;
    CheckCounts(judged, report, contradictions);
    Expected expected;
    for (auto& test : judged)
    {
        if (test.fate == Fate::Runs)
        {
            expected[{test.key, test.netobj}].push_back(std::move(test));
        }
        else
        {
            report.others.push_back(std::move(test));
        }
    }
    for (const auto& test : running)
    {
        const auto found = expected.find({test.key, test.netobj});
        if (found == expected.end() || found->second.empty())
        {
            contradictions.push_back(fmt::format("{} runs, and is not judged to", test.key));
            continue;
        }
        report.running.push_back(std::move(found->second.front()));
        found->second.pop_front();
    }
    for (const auto& [names, left] : expected)
    {
        std::fill_n(
            std::back_inserter(contradictions), left.size(),
            fmt::format("{} is judged to run, and does not", names.first));
    }
    CheckOrder(report.running, contradictions);
    return contradictions;
}

} // namespace Tools::VelExplain
