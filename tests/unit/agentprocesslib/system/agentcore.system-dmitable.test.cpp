#include "agentcore.system-dmitable.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.system-machinetree.hpp"

namespace
{

using namespace AgentCore::System::Dmi;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::DmiTableBuilder;
using TestSupport::FixChecksum;

constexpr std::uint64_t Megabyte = 1024 * 1024;

Table Parse(const DmiTableBuilder& builder)
{
    const auto bytes = builder.Bytes();
    return ParseTable(bytes, {3, 2, static_cast<std::uint32_t>(bytes.size()), std::nullopt});
}

TEST(DmiEntryPointTest, AllThreeKindsTellTheSizeOfTheTable)
{
    EXPECT_EQ(ParseEntryPoint(TestSupport::MakeEntryPoint3(70'000)), (EntryPoint{3, 2, 70'000, std::nullopt}));
    EXPECT_EQ(ParseEntryPoint(TestSupport::MakeEntryPoint2(1000, 20)), (EntryPoint{2, 8, 1000, std::uint16_t{20}}));
    EXPECT_EQ(ParseEntryPoint(TestSupport::MakeLegacyEntryPoint(500, 10)), (EntryPoint{2, 1, 500, std::uint16_t{10}}));
}

TEST(DmiEntryPointTest, AnyChangedByteIsFound)
{
    for (const auto& good :
         {TestSupport::MakeEntryPoint3(70'000), TestSupport::MakeEntryPoint2(1000, 20),
          TestSupport::MakeLegacyEntryPoint(500, 10)})
    {
        ASSERT_TRUE(ParseEntryPoint(good));
        for (std::size_t i = 0; i < good.size(); ++i)
        {
            auto damaged = good;
            damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
            EXPECT_FALSE(ParseEntryPoint(damaged)) << good.substr(0, 5) << " byte " << i;
        }
    }
}

TEST(DmiEntryPointTest, OneThatIsCutIsNone)
{
    for (const auto& good :
         {TestSupport::MakeEntryPoint3(70'000), TestSupport::MakeEntryPoint2(1000, 20),
          TestSupport::MakeLegacyEntryPoint(500, 10)})
    {
        for (std::size_t length = 0; length < good.size(); ++length)
        {
            EXPECT_FALSE(ParseEntryPoint(std::string_view{good}.substr(0, length))) << length;
        }
    }
}

TEST(DmiEntryPointTest, OneThatCallsItselfLongerThanItIsIsNone)
{
    auto bytes = TestSupport::MakeEntryPoint3(70'000);
    bytes[6] = '\xFF';
    FixChecksum(bytes, 0, bytes.size(), 5);
    EXPECT_FALSE(ParseEntryPoint(bytes));
}

TEST(DmiTableTest, TellsOfMachineModulesAndProcessors)
{
    const auto table = Parse(DmiTableBuilder()
                                 .AddBios()
                                 .AddSystem("Maker", "Product", "Serial")
                                 .AddProcessor("Swift", 2400, 4, 8)
                                 .AddMemory("BANK 0", 8192)
                                 .AddEnd());
    EXPECT_TRUE(table.hasBios);
    EXPECT_EQ(table.system, (SystemInformation{"Maker", "Product", "Serial"}));
    EXPECT_THAT(table.processors, ElementsAre(Processor{"Swift", 2400, 4, 8}));
    EXPECT_THAT(table.memoryDevices, ElementsAre(MemoryDevice{8192 * Megabyte, "BANK 0"}));
    EXPECT_FALSE(table.isDamaged);
}

TEST(DmiTableTest, AnEmptyTableTellsNothing)
{
    const auto table = ParseTable({}, {3, 2, 0, std::nullopt});
    EXPECT_FALSE(table.hasBios);
    EXPECT_FALSE(table.system);
    EXPECT_FALSE(table.isDamaged);
}

TEST(DmiTableTest, ModulesOf32GigabytesAndMoreTellTheirSizeElsewhere)
{
    const auto table = Parse(DmiTableBuilder().AddMemory("A", 0x7FFF, 0x8000'8000U));
    EXPECT_THAT(table.memoryDevices, ElementsAre(MemoryDevice{0x8000 * Megabyte, "A"}));
}

TEST(DmiTableTest, SmallModulesAreToldInKilobytes)
{
    const auto table = Parse(DmiTableBuilder().AddMemory("A", 0x8000 | 512));
    EXPECT_THAT(table.memoryDevices, ElementsAre(MemoryDevice{512 * 1024, "A"}));
}

TEST(DmiTableTest, AnEmptySlotIsNoModule)
{
    EXPECT_THAT(Parse(DmiTableBuilder().AddMemory("A", 0)).memoryDevices, IsEmpty());
}

TEST(DmiTableTest, AModuleOfUnknownSizeIsOne)
{
    EXPECT_THAT(
        Parse(DmiTableBuilder().AddMemory("A", 0xFFFF)).memoryDevices, ElementsAre(MemoryDevice{std::nullopt, "A"}));
    // The structure ends before the extended size.
    std::string formatted(0x18, '\0');
    formatted[0x08] = '\xFF';
    formatted[0x09] = '\x7F';
    EXPECT_THAT(Parse(DmiTableBuilder().Add(17, formatted)).memoryDevices, ElementsAre(MemoryDevice{std::nullopt, ""}));
}

TEST(DmiTableTest, ReadOnlyAndFlashMemoryIsNoModule)
{
    for (std::uint8_t type = 0x08; type <= 0x0C; ++type)
    {
        EXPECT_THAT(Parse(DmiTableBuilder().AddMemory("ROM", 16, 0, type)).memoryDevices, IsEmpty()) << int{type};
    }
    EXPECT_EQ(Parse(DmiTableBuilder().AddMemory("RAM", 16, 0, 0x07)).memoryDevices.size(), 1U);
    EXPECT_EQ(Parse(DmiTableBuilder().AddMemory("RAM", 16, 0, 0x0D)).memoryDevices.size(), 1U);
}

TEST(DmiTableTest, AnEmptySocketIsNoProcessor)
{
    std::string formatted(0x2C, '\0');
    formatted[0x01] = '\x03';
    EXPECT_THAT(Parse(DmiTableBuilder().Add(4, formatted)).processors, IsEmpty());
    formatted[0x14] = '\x41';
    EXPECT_EQ(Parse(DmiTableBuilder().Add(4, formatted)).processors.size(), 1U);
    // A processor of another kind, such as a mathematics processor.
    formatted[0x01] = '\x04';
    EXPECT_THAT(Parse(DmiTableBuilder().Add(4, formatted)).processors, IsEmpty());
}

TEST(DmiTableTest, CountsAbove254StandFurtherBehind)
{
    std::string formatted(0x2C, '\0');
    formatted[0x01] = '\x03';
    formatted[0x14] = '\x41';
    formatted[0x1F] = '\xFF';
    formatted[0x21] = '\xFF';
    formatted[0x27] = '\x01';
    formatted[0x2A] = '\x00';
    formatted[0x2B] = '\x02';
    EXPECT_THAT(Parse(DmiTableBuilder().Add(4, formatted)).processors, ElementsAre(Processor{"", 0, 256, 512}));
}

TEST(DmiTableTest, OlderFirmwareTellsShorterStructures)
{
    std::string formatted(0x16, '\0');
    formatted[0x01] = '\x03';
    formatted[0x14] = '\x41';
    EXPECT_THAT(Parse(DmiTableBuilder().Add(4, formatted)).processors, ElementsAre(Processor{}));
    EXPECT_EQ(Parse(DmiTableBuilder().Add(1, "\x01", {"Maker"})).system, (SystemInformation{"Maker", "", ""}));
}

TEST(DmiTableTest, OfSeveralMachinesTheFirstCounts)
{
    const auto table = Parse(DmiTableBuilder().AddSystem("A", "B", "C").AddSystem("D", "E", "F"));
    EXPECT_EQ(table.system, (SystemInformation{"A", "B", "C"}));
}

TEST(DmiTableTest, TextsOfBlanksOrWithNumbersOfNoneAreEmpty)
{
    EXPECT_EQ(Parse(DmiTableBuilder().AddSystem("   ", "P", "S")).system, (SystemInformation{"", "P", "S"}));
    EXPECT_EQ(
        Parse(DmiTableBuilder().Add(1, std::string_view("\x09\0\0\xFF", 4), {"only"})).system, SystemInformation{});
    EXPECT_EQ(Parse(DmiTableBuilder().Add(1, "\x01\x02\x03\x04")).system, SystemInformation{});
}

TEST(DmiTableTest, NothingBehindTheEndIsRead)
{
    EXPECT_FALSE(Parse(DmiTableBuilder().AddEnd().AddSystem("A", "B", "C")).system);
}

TEST(DmiTableTest, NothingBehindTheTableOrTheLastStructureIsRead)
{
    const DmiTableBuilder first = DmiTableBuilder().AddBios();
    const auto bytes = DmiTableBuilder(first).AddSystem("A", "B", "C").Bytes();
    const auto length = static_cast<std::uint32_t>(first.Bytes().size());
    EXPECT_FALSE(ParseTable(bytes, {3, 2, length, std::nullopt}).system);
    EXPECT_FALSE(ParseTable(bytes, {2, 8, 0xFFFF, std::uint16_t{1}}).system);
    EXPECT_TRUE(ParseTable(bytes, {2, 8, 0xFFFF, std::uint16_t{2}}).system);
}

TEST(DmiTableTest, ACutTableTellsWhatStoodBefore)
{
    const auto whole = DmiTableBuilder().AddMemory("A", 1024).AddMemory("B", 1024).Bytes();
    const auto first = DmiTableBuilder().AddMemory("A", 1024).Bytes().size();
    for (std::size_t length = first + 1; length < whole.size(); ++length)
    {
        const auto table = ParseTable(std::string_view{whole}.substr(0, length), {3, 2, 0xFFFF, std::nullopt});
        EXPECT_EQ(table.memoryDevices.size(), 1U) << length;
        EXPECT_TRUE(table.isDamaged) << length;
    }
}

TEST(DmiTableTest, AStructureShorterThanItsHeaderEndsTheTable)
{
    auto bytes = DmiTableBuilder().AddBios().AddSystem("A", "B", "C").Bytes();
    bytes[1] = '\x03';
    const auto table = ParseTable(bytes, {3, 2, 0xFFFF, std::nullopt});
    EXPECT_TRUE(table.isDamaged);
    EXPECT_FALSE(table.hasBios);
    EXPECT_FALSE(table.system);
}

} // namespace
