#include "agentcore.system-systemsnapshotter.hpp"

#include <vector>

#include <gtest/gtest.h>

#include "agentcore.system-systemquerier.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Log::Level;

TEST(SystemSnapshotterContract, SamplesThisMachine)
{
    Shared::COM::ComInitialiser com;
    com.Initialise();
    const auto disks = SystemQuerier().GetLogicalDisks();
    const TestSupport::CapturedLog log;
    SystemSnapshotter snapshotter;
    snapshotter.DoSystemSnapshot(disks);
    snapshotter.DoSystemSnapshot(disks);

    EXPECT_EQ(log.Count(Level::Debug, "Data collection succeeded."), 2U);
    EXPECT_EQ(snapshotter.TakeCpuSnapshots().size(), 2U);
    const auto memory = snapshotter.GetAvgMemory();
    EXPECT_LE(memory.min_memory_load(), memory.avg_memory_load());
    EXPECT_LE(memory.avg_memory_load(), memory.max_memory_load());
    EXPECT_GT(memory.max_memory_load(), 0U);
    EXPECT_LE(memory.max_memory_load(), 100U);
    const auto sampled = snapshotter.GetLogicalDiskSnapshot(disks);
    EXPECT_LE(sampled.size(), disks.size());
    for (const auto& disk : sampled)
    {
        EXPECT_LE(disk.free_megabytes(), disk.total_size_megabytes()) << disk.name();
        EXPECT_LE(disk.min_disk_queue_length(), disk.max_disk_queue_length()) << disk.name();
    }
    if (!TestSupport::IsWine())
    {
        EXPECT_EQ(log.Count(Level::Error, ""), 0U);
        EXPECT_EQ(sampled.empty(), disks.empty());
    }
}

} // namespace
