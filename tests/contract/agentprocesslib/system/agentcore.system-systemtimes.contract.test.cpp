#include "agentcore.system-systemtimes.hpp"

#include <chrono>
#include <cstdint>

#include <gtest/gtest.h>

#include "contract.childprocess.hpp"
#include "contract.processorwork.hpp"

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;

std::uint64_t BusyOf(const SystemTimes& times)
{
    return times.kernel - times.idle + times.user;
}

TEST(SystemTimesContract, TheTimeInTheKernelHoldsTheIdleTime)
{
    const auto times = GetSystemTimes();
    EXPECT_GT(times.idle, 0U);
    EXPECT_GT(times.user, 0U);
    EXPECT_GE(times.kernel, times.idle);
}

TEST(SystemTimesContract, WorkCountsAsBusyTime)
{
    CpuSampler sampler;
    const auto before = GetSystemTimes();
    sampler.Sample(before);
    Contract::UseProcessor(Contract::OwnProcessId(), 300ms);
    const auto after = GetSystemTimes();
    // The system may count this process's time and that of all in ticks of its own.
    EXPECT_GE(BusyOf(after) - BusyOf(before), static_cast<std::uint64_t>(Shared::System::CpuTime{250ms}.count()));
    const auto load = sampler.Sample(after).total_processing_time_percent();
    EXPECT_GT(load, 0.0F);
    EXPECT_LE(load, 101.0F);
}

} // namespace
