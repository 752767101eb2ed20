#include "agentcore.system-diskquery.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agentcore.system-systemquerier.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.util-functions.hpp"
#include "test.support-wine.hpp"

namespace
{

using namespace AgentCore::System;

TEST(DiskQuerierContract, SamplesTheDisksOfTheInventory)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine has no class Win32_PerfRawData_PerfDisk_LogicalDisk";
    }
    Shared::COM::ComInitialiser com;
    com.Initialise();
    const auto disks = SystemQuerier().GetLogicalDisks();
    if (disks.empty())
    {
        GTEST_SKIP() << "this machine has no logical disk that can be asked";
    }
    const auto querier = MakeDiskQuerier();
    std::size_t rows = 0;
    querier->Query(
        disks,
        [&](const LogicalDiskSampleRecord& record)
        {
            ASSERT_TRUE(record.name && record.freeMegabytes && record.currentDiskQueueLength);
            const auto name = Shared::Util::ConvertStringType(*record.name);
            const auto disk = std::find_if(
                disks.begin(), disks.end(), [&name](const LogicalDisk& candidate) { return candidate.name() == name; });
            ASSERT_NE(disk, disks.end()) << name;
            EXPECT_LE(*record.freeMegabytes, disk->size() >> 20U);
            EXPECT_GE(*record.currentDiskQueueLength, 0);
            ++rows;
        });
    EXPECT_GE(rows, 1U);
    EXPECT_LE(rows, disks.size());
}

TEST(DiskQuerierContract, ADiskThatTheMachineDoesNotHaveHasNoRow)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine has no class Win32_PerfRawData_PerfDisk_LogicalDisk";
    }
    Shared::COM::ComInitialiser com;
    com.Initialise();
    std::vector<LogicalDisk> disks(1);
    disks[0].set_name("no such disk");
    int rows = 0;
    MakeDiskQuerier()->Query(disks, [&rows](const LogicalDiskSampleRecord&) { ++rows; });
    EXPECT_EQ(rows, 0);
}

} // namespace
