#include "agentcore.system-processtimer.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "contract.childprocess.hpp"
#include "contract.processorwork.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace std::chrono_literals;
using namespace AgentCore::System;

TEST(ProcessTimerContract, FindsTheWorkOfThisProcessAmongThatOfAllOthers)
{
    const TestSupport::CapturedLog log;
    ProcessTimer timer(std::numeric_limits<std::uint32_t>::max());
    timer.FirstCapture();
    Contract::UseProcessor(Contract::OwnProcessId(), 200ms);
    timer.FinalCapture();
    std::pair<ProcessSnapshot, ProcessSnapshot> top;
    timer.GetTopConsumers(top);

    float sum = 0.0F;
    float last = 100.5F;
    float own = 0.0F;
    for (const auto& process : top.first.processes())
    {
        EXPECT_LE(process.percentage_cpu(), last);
        last = process.percentage_cpu();
        sum += process.percentage_cpu();
        if (process.command().find("agentcore-sampling-contract") != std::string::npos)
        {
            own += process.percentage_cpu();
            EXPECT_GT(process.percentage_memory(), 0.0F);
        }
    }
    EXPECT_NEAR(sum, 100.0F, 1.0F);
    EXPECT_GT(own, 0.0F);

    last = 1000.0F;
    for (const auto& process : top.second.processes())
    {
        EXPECT_LE(process.percentage_memory(), last);
        last = process.percentage_memory();
    }
    EXPECT_EQ(top.second.processes_size(), top.first.processes_size());
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, ""), 0U);
}

TEST(ProcessTimerContract, NamesNoMoreThanItIsAskedFor)
{
    ProcessTimer timer(1);
    timer.FirstCapture();
    timer.FinalCapture();
    std::pair<ProcessSnapshot, ProcessSnapshot> top;
    timer.GetTopConsumers(top);
    EXPECT_EQ(top.first.processes_size(), 1);
    EXPECT_EQ(top.second.processes_size(), 1);
}

} // namespace
