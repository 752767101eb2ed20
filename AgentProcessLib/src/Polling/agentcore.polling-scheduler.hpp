#pragma once

#include "shared.concurrency-waitabletimer.hpp"

#include <cstdint>
#include <functional>
#include <vector>

namespace AgentCore::Polling
{

/// Kinds of network tests, with the numbers by which the log tells them.
enum class TestType : std::uint32_t
{
    Curl = 1,
    Mtr = 2,
    GatewayMtr = 3
};

/// One test of a reporting cycle.
struct ScheduledTest
{
    /// Where the test stands in the list of its own kind's configurations.
    std::uint64_t index = 0;
    TestType type = TestType::Curl;
    /// Until the chain has begun, when the test is to start after the cycle's start; from then on, how long to wait for it
    /// once the test before it has been started. Milliseconds.
    std::int64_t delayMs = 0;

    bool operator==(const ScheduledTest&) const = default;
};

/// Spreads the network tests of one reporting cycle over time, so that neither one agent's tests nor those of a fleet
/// start in step: each draws a time inside a window, and the times become a chain of waits on one timer. The next wait is
/// set only after the test before it has been started, so what starting takes comes on top.
///
/// Belongs to one thread.
class Scheduler
{
public:
    /// A random number of the closed range.
    using Draw = std::function<std::int32_t(std::int32_t low, std::int32_t high)>;

    /// @param timer with automatic reset; is owned elsewhere, outlives this, and is set by nobody else.
    explicit Scheduler(Shared::Concurrency::WaitableTimer& timer);
    /// The same with numbers of `draw`.
    Scheduler(Shared::Concurrency::WaitableTimer& timer, Draw draw);
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    virtual ~Scheduler() = default;

    /// Adds the tests 0 to `count` - 1 of a kind, each to start at a time drawn from 1 to `windowMs` milliseconds. A
    /// negative window has room for no test. Of others the lowest 32 bits count, and what is drawn from them is taken as a
    /// number with a sign, by which a time below 0 is due at once. A window of 0 draws any 32-bit number.
    virtual void AddTests(TestType type, std::uint32_t count, std::int64_t windowMs);

    /// Sets the timer for the next test, or cancels it when there is none left. To be called once when all tests have been
    /// added, and once whenever one has been started. Throws what the timer throws; then the test stays the next one.
    virtual void ScheduleNext();

    /// The test for which the timer was set last. Throws the logic exceptions "No scheduled tests" and "Nothing scheduled
    /// yet".
    virtual ScheduledTest GetLastScheduled() const;

protected:
    /// Turns the times that were drawn into waits and brings them in the order in which they are waited for: that of
    /// growing waits.
    virtual void Normalise();

private:
    std::vector<ScheduledTest> m_tests;
    Shared::Concurrency::WaitableTimer& e_timer;
    std::uint32_t m_nextIndex = 0;
    Draw m_draw;
};

} // namespace AgentCore::Polling
