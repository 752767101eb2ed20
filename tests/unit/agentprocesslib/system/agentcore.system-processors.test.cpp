#include "agentcore.system-processors.hpp"

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using namespace AgentCore::System;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int32_t X64 = 9;

std::vector<ProcessorRecord> Make(
    const std::vector<LogicalCpu>& cpus,
    const CpuInfo& info,
    const std::vector<Dmi::Processor>& firmware,
    InventoryGaps& gaps)
{
    return MakeProcessors(cpus, info, firmware, X64, gaps);
}

CpuInfo NamedCpus(std::uint32_t count, std::int32_t perSocket)
{
    CpuInfo info;
    for (std::uint32_t i = 0; i < count; ++i)
    {
        const auto number = static_cast<std::int32_t>(i);
        info.entries.push_back(
            {i, number / perSocket, number % perSocket, "Swift " + std::to_string(number / perSocket), 0});
    }
    return info;
}

TEST(CpuInfoTest, EachBlockIsALogicalProcessor)
{
    const auto info =
        ParseCpuInfo("processor\t: 0\nmodel name\t: Swift 5\ncpu MHz\t\t: 2596.622\nphysical id\t: 0\ncore id\t\t: 1\n"
                     "flags\t\t: fpu lm\n\n"
                     "processor\t: 1\nmodel name\t: Swift 5\nphysical id\t: 1\ncore id\t\t: 1\n");
    EXPECT_THAT(info.entries, ElementsAre(CpuInfoEntry{0, 0, 1, "Swift 5", 2597}, CpuInfoEntry{1, 1, 1, "Swift 5", 0}));
    EXPECT_FALSE(info.hasHypervisorFlag);
}

TEST(CpuInfoTest, TheHypervisorShowsItselfAmongTheFlags)
{
    EXPECT_TRUE(ParseCpuInfo("processor : 0\nflags : fpu hypervisor lm\n").hasHypervisorFlag);
    EXPECT_TRUE(ParseCpuInfo("processor : 0\nflags : lm\n\nprocessor : 1\nflags : hypervisor").hasHypervisorFlag);
    EXPECT_FALSE(ParseCpuInfo("processor : 0\nflags : hypervisors\nmodel name : hypervisor\n").hasHypervisorFlag);
}

TEST(CpuInfoTest, OtherArchitecturesNameTheProcessorOtherwise)
{
    EXPECT_EQ(ParseCpuInfo("processor : 0\ncpu : POWER9\n").entries.front().name, "POWER9");
    EXPECT_EQ(ParseCpuInfo("processor : 0\ncpu model : MIPS 24Kc\n").entries.front().name, "MIPS 24Kc");
    EXPECT_EQ(ParseCpuInfo("processor : 0\ncpu : worse\nmodel name : better\n").entries.front().name, "better");
    EXPECT_EQ(ParseCpuInfo("processor : 0\nmodel name : better\ncpu : worse\n").entries.front().name, "better");
}

TEST(CpuInfoTest, ABlockOfTheBoardIsNoProcessorButMayNameOne)
{
    const auto info = ParseCpuInfo("processor : 0\n\nprocessor : 1\n\nProcessor : ARMv7\nHardware : Test\n");
    ASSERT_THAT(info.entries, SizeIs(2));
    EXPECT_EQ(info.entries[1].name, "ARMv7");
}

TEST(CpuInfoTest, DamagedTextsTellWhatTheyCan)
{
    EXPECT_THAT(ParseCpuInfo("").entries, IsEmpty());
    EXPECT_THAT(ParseCpuInfo("\n\n:\n: :\nprocessor\nprocessor : x\n").entries, IsEmpty());
    const auto info =
        ParseCpuInfo("processor : 7\nphysical id : 99999999999\ncore id : -1\ncpu MHz : 1e30\nmodel name :\n");
    EXPECT_THAT(info.entries, ElementsAre(CpuInfoEntry{7, std::nullopt, -1, "", 0}));
    for (const auto* const speed : {"nan", "inf", "-5", "0.2", "x"})
    {
        EXPECT_EQ(ParseCpuInfo("processor : 0\ncpu MHz : " + std::string{speed}).entries.front().megahertz, 0U)
            << speed;
    }
}

TEST(CpuListTest, RangesAndNumbersBecomeNumbers)
{
    EXPECT_THAT(ParseCpuList("0-3,8,10-11\n"), ElementsAre(0, 1, 2, 3, 8, 10, 11));
    EXPECT_THAT(ParseCpuList("0"), ElementsAre(0));
    EXPECT_THAT(ParseCpuList(""), IsEmpty());
}

TEST(CpuListTest, NumbersComeOnceAndInOrder)
{
    EXPECT_THAT(ParseCpuList("4,1-2,2-3,4,0"), ElementsAre(0, 1, 2, 3, 4));
}

TEST(CpuListTest, SenselessListsStaySmall)
{
    EXPECT_THAT(ParseCpuList("x,-,3-1,1-x,,5"), ElementsAre(5));
    EXPECT_THAT(ParseCpuList("16383-4294967295"), ElementsAre(HighestCpuNumber));
    EXPECT_THAT(ParseCpuList("16384,4294967295"), IsEmpty());
    std::string many;
    for (int i = 0; i < 100'000; ++i)
    {
        many += "0-99999,";
    }
    EXPECT_THAT(ParseCpuList(many), SizeIs(HighestCpuNumber + 1));
}

TEST(MakeProcessorsTest, TwoSocketsAreTwoProcessorsWhateverTheirCores)
{
    std::vector<LogicalCpu> cpus;
    for (std::uint32_t i = 0; i < 8; ++i)
    {
        const auto core = std::to_string(i / 2 * 2) + "-" + std::to_string(i / 2 * 2 + 1);
        cpus.push_back({i, static_cast<std::int32_t>(i / 4), core, 3'000'000});
    }
    InventoryGaps gaps;
    const auto records = Make(cpus, NamedCpus(8, 4), {}, gaps);
    ASSERT_THAT(records, SizeIs(2));
    for (const auto& record : records)
    {
        EXPECT_EQ(record.coreCount, 2);
        EXPECT_EQ(record.logicalProcessorCount, 4);
        EXPECT_EQ(record.maxClockSpeed, 3000);
        EXPECT_EQ(record.architecture, X64);
    }
    EXPECT_EQ(records[0].name, L"Swift 0");
    EXPECT_EQ(records[1].name, L"Swift 1");
    EXPECT_THAT(gaps, IsEmpty());
}

TEST(MakeProcessorsTest, OneSocketIsOneProcessorHoweverManyCores)
{
    InventoryGaps gaps;
    const auto records = Make({}, NamedCpus(64, 64), {}, gaps);
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].coreCount, 64);
}

TEST(MakeProcessorsTest, WithoutSysCpuinfoTellsSocketsAndCores)
{
    const auto info = ParseCpuInfo("processor:0\nphysical id:0\ncore id:0\n\nprocessor:1\nphysical id:0\ncore id:0\n\n"
                                   "processor:2\nphysical id:3\ncore id:0\n");
    InventoryGaps gaps;
    const auto records = Make({}, info, {}, gaps);
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[0].coreCount, 1);
    EXPECT_EQ(records[0].logicalProcessorCount, 2);
    EXPECT_EQ(records[1].logicalProcessorCount, 1);
}

TEST(MakeProcessorsTest, ProcessorsThatNameNoSocketAndNoCoreAreCoresOfOneSocket)
{
    InventoryGaps gaps;
    const auto records = Make({{0, std::nullopt, "", 0}, {1, std::nullopt, "", 0}}, {}, {}, gaps);
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].coreCount, 2);
    EXPECT_EQ(records[0].logicalProcessorCount, 2);
}

TEST(MakeProcessorsTest, WithoutTheKernelTheFirmwareTells)
{
    InventoryGaps gaps;
    const auto records = Make({}, {}, {{"Big", 2900, 16, 32}}, gaps);
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_EQ(records[0].name, L"Big");
    EXPECT_EQ(records[0].maxClockSpeed, 2900);
    EXPECT_EQ(records[0].coreCount, 16);
    EXPECT_EQ(records[0].logicalProcessorCount, 32);
    EXPECT_THAT(Make({}, {}, {}, gaps), IsEmpty());
}

TEST(MakeProcessorsTest, TheFastestCoreCountsForItsSocket)
{
    InventoryGaps gaps;
    const auto records = Make({{0, 0, "0", 5'200'999}, {1, 0, "1", 3'900'000}}, NamedCpus(2, 2), {}, gaps);
    EXPECT_EQ(records[0].maxClockSpeed, 5200);
}

TEST(MakeProcessorsTest, TheSpeedComesFromTheBestThatTells)
{
    auto info = NamedCpus(1, 1);
    info.entries[0].megahertz = 800;
    InventoryGaps gaps;
    EXPECT_EQ(Make({{0, 0, "0", 4'000'000}}, info, {{"Big", 2900, 1, 1}}, gaps)[0].maxClockSpeed, 4000);
    EXPECT_EQ(Make({{0, 0, "0", 0}}, info, {{"Big", 2900, 1, 1}}, gaps)[0].maxClockSpeed, 2900);
    EXPECT_THAT(gaps, IsEmpty());

    EXPECT_EQ(Make({{0, 0, "0", 0}}, info, {{"Big", 0, 1, 1}}, gaps)[0].maxClockSpeed, 800);
    ASSERT_THAT(gaps, SizeIs(1));
    EXPECT_EQ(gaps[0].field, "system.hardware.cpu[0].max_clock_speed");
    EXPECT_THAT(gaps[0].reason, HasSubstr("the speed of the moment"));
}

TEST(MakeProcessorsTest, WhatNobodyTellsIsAGap)
{
    InventoryGaps gaps;
    const auto records = Make({{0, 0, "0", 0}}, {}, {}, gaps);
    EXPECT_EQ(records[0].name, L"");
    EXPECT_EQ(records[0].maxClockSpeed, 0);
    ASSERT_THAT(gaps, SizeIs(2));
    EXPECT_EQ(gaps[0].field, "system.hardware.cpu[0].name");
    EXPECT_EQ(gaps[1].field, "system.hardware.cpu[0].max_clock_speed");
}

TEST(MakeProcessorsTest, ProcessorsBeyondACutTextAreNamedAsTheFirst)
{
    InventoryGaps gaps;
    const auto records = Make({{0, 0, "0", 1'000'000}, {900, 1, "900", 1'000'000}}, NamedCpus(1, 1), {}, gaps);
    ASSERT_THAT(records, SizeIs(2));
    EXPECT_EQ(records[1].name, L"Swift 0");
}

TEST(ArchitectureTest, MachinesHaveTheNumbersOfWindows)
{
    EXPECT_EQ(FindArchitecture("x86_64"), 9);
    EXPECT_EQ(FindArchitecture("i686"), 0);
    EXPECT_EQ(FindArchitecture("aarch64"), 12);
    EXPECT_EQ(FindArchitecture("armv7l"), 5);
    EXPECT_EQ(FindArchitecture("ppc64le"), 3);
    EXPECT_EQ(FindArchitecture("riscv64"), 100);
    EXPECT_EQ(FindArchitecture(""), 100);
}

} // namespace
