#include "agentcore.system-memoryinfo.hpp"

#include <cstdint>

#include <gtest/gtest.h>

namespace
{

using AgentCore::System::ParseMemoryInfo;

TEST(MemoryInfoTest, TellsTotalAndLoad)
{
    const auto status =
        ParseMemoryInfo("MemTotal:       16000000 kB\nMemFree:         100 kB\nMemAvailable:    4000000 kB\n");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->totalPhysical, std::uint64_t{16'000'000} * 1024);
    EXPECT_EQ(status->memoryLoad, 75U);
}

TEST(MemoryInfoTest, OlderKernelsTellWhatCanBeHadInParts)
{
    const auto status = ParseMemoryInfo("MemTotal: 1000 kB\nMemFree: 100 kB\nBuffers: 100 kB\nCached: 300 kB\n");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->memoryLoad, 50U);
}

TEST(MemoryInfoTest, MoreThanAllCannotBeAvailable)
{
    EXPECT_EQ(ParseMemoryInfo("MemTotal: 1000 kB\nMemAvailable: 2000 kB\n")->memoryLoad, 0U);
    EXPECT_EQ(ParseMemoryInfo("MemTotal: 1000 kB\nMemFree: 900 kB\nCached: 18014398509481983 kB\n")->memoryLoad, 0U);
    EXPECT_EQ(ParseMemoryInfo("MemTotal: 1000 kB\n")->memoryLoad, 100U);
}

TEST(MemoryInfoTest, TheLargestSizeFits)
{
    const auto status = ParseMemoryInfo("MemTotal: 18014398509481983 kB\nMemAvailable: 0 kB\n");
    ASSERT_TRUE(status);
    EXPECT_EQ(status->totalPhysical, 18014398509481983U * 1024U);
    EXPECT_EQ(status->memoryLoad, 100U);
}

TEST(MemoryInfoTest, WithoutASensibleTotalThereIsNoStatus)
{
    for (const auto* const text :
         {"", "MemAvailable: 5 kB\n", "MemTotal: 0 kB\n", "MemTotal: x kB\n", "MemTotal: 5\n", "MemTotal: 5 MB\n",
          "MemTotal: 18014398509481984 kB\n", "MemTotal\n"})
    {
        EXPECT_FALSE(ParseMemoryInfo(text)) << text;
    }
}

} // namespace
