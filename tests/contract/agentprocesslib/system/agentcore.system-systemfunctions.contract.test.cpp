#include "agentcore.system-systemfunctions.hpp"

#include <cstdint>

#include <gtest/gtest.h>

#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::System;

constexpr std::uint64_t Megabyte = 1024 * 1024;

TEST(MemoryStatusTest, TheMachineHasMemoryOfWhichAPartIsInUse)
{
    const auto status = GetMemoryStatus();
    EXPECT_GT(status.totalPhysical, 64 * Megabyte);
    EXPECT_LE(status.memoryLoad, 100U);
}

TEST(MemoryStatusTest, TheMemoryStaysTheSame)
{
    TestSupport::CapturedLog log;
    EXPECT_EQ(GetTotalPhysicalRam(), GetTotalPhysicalRamOrZero());
    EXPECT_EQ(log.Count(Shared::Log::Level::Error, ""), 0U);
}

} // namespace
