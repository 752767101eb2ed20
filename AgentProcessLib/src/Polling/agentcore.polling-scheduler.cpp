#include "agentcore.polling-scheduler.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"

namespace AgentCore::Polling
{

namespace
{

using Shared::Exception::LogicException;

std::int32_t DrawDelay(const Scheduler::Draw& draw, std::int64_t windowMs)
{
    using Limits = std::numeric_limits<std::int32_t>;
    constexpr std::uint32_t longest = Limits::max();
    constexpr auto lowest = static_cast<std::uint32_t>(Limits::min());
    const auto window = static_cast<std::uint32_t>(windowMs);
    if (window >= 1 && window <= longest)
    {
        return draw(1, static_cast<std::int32_t>(window));
    }
    // Wider than what can be drawn from 1 upwards: drawn from the lowest number upwards and moved to 1. The range from 1
    // to 0 goes once round all numbers.
    const auto drawn = draw(Limits::min(), static_cast<std::int32_t>(lowest + (window - 1U)));
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(drawn) - lowest + 1U);
}

void SortByDelay(std::vector<ScheduledTest>& tests)
{
    std::sort(
        tests.begin(), tests.end(),
        [](const ScheduledTest& a, const ScheduledTest& b) { return a.delayMs < b.delayMs; });
}

/// Makes gaps of the ascending times and returns the last of the times.
std::int64_t MakeGaps(std::vector<ScheduledTest>& tests)
{
    auto cumulative = tests.front().delayMs;
    for (auto test = tests.begin() + 1; test != tests.end(); ++test)
    {
        test->delayMs -= cumulative;
        cumulative += test->delayMs;
    }
    return cumulative;
}

} // namespace

Scheduler::Scheduler(Shared::Concurrency::WaitableTimer& timer)
    : Scheduler(timer, &Shared::Util::GeneratePseudorandomInt)
{
}

Scheduler::Scheduler(Shared::Concurrency::WaitableTimer& timer, Draw draw) : e_timer(timer), m_draw(std::move(draw))
{
}

void Scheduler::AddTests(TestType type, std::uint32_t count, std::int64_t windowMs)
{
    if (windowMs < 0)
    {
        return;
    }
    for (std::uint32_t i = 0; i < count; ++i)
    {
        m_tests.push_back({i, type, DrawDelay(m_draw, windowMs)});
    }
}

void Scheduler::ScheduleNext()
{
    if (m_nextIndex == 0)
    {
        Normalise();
    }
    if (m_nextIndex >= m_tests.size())
    {
        e_timer.CancelTimer();
        return;
    }
    const auto& test = m_tests[m_nextIndex];
    e_timer.SetTimerInMillis(-test.delayMs, 0);
    Shared::Log::Info(
        "Next test of type {} will run in {} ms from now.", static_cast<std::uint32_t>(test.type), test.delayMs);
    ++m_nextIndex;
}

ScheduledTest Scheduler::GetLastScheduled() const
{
    if (m_tests.empty())
    {
        throw LogicException("No scheduled tests");
    }
    if (m_nextIndex == 0)
    {
        throw LogicException("Nothing scheduled yet");
    }
    return m_tests[m_nextIndex - 1];
}

void Scheduler::Normalise()
{
    if (m_tests.empty())
    {
        Shared::Log::Info("No network tests to normalise.");
        return;
    }
    SortByDelay(m_tests);
    const auto cumulative = MakeGaps(m_tests);
    // Once more, now by the gaps: the shortest wait comes first, and the chain still ends at the last time drawn.
    SortByDelay(m_tests);
    Shared::Log::Debug("Scheduled cumulative network test sleep time: {}", cumulative);
}

} // namespace AgentCore::Polling
