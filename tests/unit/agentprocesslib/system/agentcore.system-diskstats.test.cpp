#include "agentcore.system-diskstats.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using AgentCore::System::DiskStat;
using AgentCore::System::ParseDiskStats;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ParseDiskStatsTest, ReadsTheRequestsInFlightOfEachDevice)
{
    EXPECT_THAT(
        ParseDiskStats("   8       0 sda 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17\n"
                       " 259       1 nvme0n1p1 1 2 3 4 5 6 7 8 0 10 11\n"),
        ElementsAre(DiskStat{8, 0, "sda", 9}, DiskStat{259, 1, "nvme0n1p1", 0}));
}

TEST(ParseDiskStatsTest, LinesOfAnotherFormArePassedOver)
{
    EXPECT_THAT(
        ParseDiskStats("8 1 sda1 10 20 30 40\n"
                       "nonsense\n\n"
                       "8 x sdb 1 2 3 4 5 6 7 8 9 10 11\n"
                       "8 2 sdc 1 2 3 4 5 6 7 8 -1 10 11\n"
                       "8 3 sdd 1 2 3 4 5 6 7 8 4294967296 10 11\n"
                       "8 4 sde 1 2 3 4 5 6 7 8 4294967295"),
        ElementsAre(DiskStat{8, 4, "sde", 4294967295U}));
    EXPECT_THAT(ParseDiskStats(""), IsEmpty());
}

} // namespace
