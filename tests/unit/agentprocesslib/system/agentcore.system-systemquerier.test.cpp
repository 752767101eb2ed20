#include "agentcore.system-systemquerier.hpp"

#include <cstdint>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentcore.system-systemfunctions.hpp"
#include "shared.exception-exceptions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.system-fakeinventory.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class SystemQuerierTest : public testing::Test
{
protected:
    SystemQuerier& Querier()
    {
        if (!m_querier)
        {
            m_querier = TestSupport::MakeFakeQuerier(m_machine);
        }
        return *m_querier;
    }

    /// Lets the operation throw.
    void Fail(const std::string& operation)
    {
        m_machine.failing = operation;
        m_machine.failure = std::make_exception_ptr(std::runtime_error("the query broke"));
    }

    /// Expects that one error was logged, with these words and this exception, and nothing else above debug.
    void ExpectFailure(const std::string& words, const std::string& exception) const
    {
        EXPECT_EQ(m_log.Count(Level::Error, words), 1U);
        EXPECT_EQ(m_log.Count(Level::Error, exception), 1U);
        EXPECT_EQ(m_log.Count(Level::Error, ""), 1U);
        EXPECT_EQ(m_log.Count(Level::Warning, ""), 0U);
    }

    void ExpectQuiet() const
    {
        EXPECT_EQ(m_log.Count(Level::Error, ""), 0U);
        EXPECT_EQ(m_log.Count(Level::Warning, ""), 0U);
    }

    TestSupport::CapturedLog m_log;
    TestSupport::FakeMachine m_machine;

private:
    std::unique_ptr<SystemQuerier> m_querier;
};

TEST_F(SystemQuerierTest, TheComputerIsTold)
{
    m_machine.computer->isHypervisorPresent = true;
    const auto message = Querier().GetSystemInfo();
    EXPECT_TRUE(message.is_hypervisor_present());
    EXPECT_EQ(message.domain(), "corp.test");
    EXPECT_EQ(message.name(), "fern");
    EXPECT_EQ(message.manufacturer(), "TestMaker");
    EXPECT_EQ(message.model(), "Notebook");
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, WithoutAComputerTheFailureIsLogged)
{
    m_machine.computer.reset();
    EXPECT_EQ(Querier().GetSystemInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetSystemInfo()", "Could not extract Win32_ComputerSystem information.");
}

TEST_F(SystemQuerierTest, AnyNullOfTheComputerFailsAllOfIt)
{
    const std::vector<std::function<void(ComputerSystemRecord&)>> erasers{
        [](ComputerSystemRecord& record) { record.isHypervisorPresent.reset(); },
        [](ComputerSystemRecord& record) { record.domain.reset(); },
        [](ComputerSystemRecord& record) { record.name.reset(); },
        [](ComputerSystemRecord& record) { record.manufacturer.reset(); },
        [](ComputerSystemRecord& record)
        {
            record.model.reset();
        }};
    const auto whole = m_machine.computer;
    for (const auto& erase : erasers)
    {
        m_machine.computer = whole;
        erase(*m_machine.computer);
        EXPECT_EQ(Querier().GetSystemInfo().ByteSizeLong(), 0U);
    }
    EXPECT_EQ(m_log.Count(Level::Error, "WmiValue is null"), erasers.size());
}

TEST_F(SystemQuerierTest, AValueOfAnotherTypeFailsTheComputer)
{
    m_machine.failing = "computer";
    m_machine.failure =
        std::make_exception_ptr(Shared::Exception::RuntimeException("WMI value is not typed as a VT_BOOL. "));
    EXPECT_EQ(Querier().GetSystemInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetSystemInfo()", "WMI value is not typed as a VT_BOOL. ");
}

TEST_F(SystemQuerierTest, TheFailureNamesTheGetterAsItsPlace)
{
    Fail("computer");
    (void)Querier().GetSystemInfo();
    EXPECT_EQ(m_log.Count(Level::Error, "in function GetSystemInfo() of file "), 1U);
}

TEST_F(SystemQuerierTest, TheOperatingSystemIsToldWithItsRelease)
{
    const auto message = Querier().GetOsInfo();
    EXPECT_EQ(message.name(), "Test OS");
    EXPECT_EQ(message.version(), "22H2");
    EXPECT_THAT(m_machine.asked, ElementsAre("release", "operating system"));
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AMissingReleaseIsAWarningAndNothingMore)
{
    m_machine.release.reset();
    const auto message = Querier().GetOsInfo();
    EXPECT_EQ(message.name(), "Test OS");
    EXPECT_EQ(message.version(), "");
    EXPECT_EQ(
        m_log.Count(
            Level::Warning,
            "SystemQuerier could not determine the DisplayVersion or ReleaseId of this version of Windows."),
        1U);
    EXPECT_EQ(m_log.Count(Level::Error, ""), 0U);
}

TEST_F(SystemQuerierTest, AnEmptyReleaseIsOne)
{
    m_machine.release = L"";
    EXPECT_EQ(Querier().GetOsInfo().name(), "Test OS");
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, WithoutAnOperatingSystemTheFailureIsLogged)
{
    m_machine.operatingSystem.reset();
    EXPECT_EQ(Querier().GetOsInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetOsInfo()", "Could not extract Win32_OperatingSystem information.");
}

TEST_F(SystemQuerierTest, ANullCaptionFailsTheOperatingSystem)
{
    m_machine.operatingSystem->caption.reset();
    EXPECT_EQ(Querier().GetOsInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetOsInfo()", "WmiValue is null");
}

TEST_F(SystemQuerierTest, TwoProcessorsAreTwoMessagesWhateverTheCores)
{
    m_machine.processors = {{9, L"Big", 2900, 16, 32}, {9, L"Big", 2900, 16, 32}};
    const auto messages = Querier().GetCpuInfo();
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages[1].name(), "Big");
    EXPECT_EQ(messages[1].max_clock_speed(), 2900);
    EXPECT_EQ(messages[1].core_count(), 16);
    EXPECT_EQ(messages[1].logical_processor_count(), 32);
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AnUnknownArchitectureDoesNotFailTheQuery)
{
    m_machine.processors[0].architecture = 4711;
    EXPECT_THAT(Querier().GetCpuInfo(), SizeIs(1));
    ExpectQuiet();
    EXPECT_EQ(GetArchitectureName(4711), "");
}

TEST_F(SystemQuerierTest, AnyNullOfAProcessorEmptiesTheList)
{
    const std::vector<std::function<void(ProcessorRecord&)>> erasers{
        [](ProcessorRecord& record) { record.architecture.reset(); },
        [](ProcessorRecord& record) { record.name.reset(); },
        [](ProcessorRecord& record) { record.maxClockSpeed.reset(); },
        [](ProcessorRecord& record) { record.coreCount.reset(); },
        [](ProcessorRecord& record)
        {
            record.logicalProcessorCount.reset();
        }};
    const ProcessorRecord whole = m_machine.processors[0];
    for (const auto& erase : erasers)
    {
        m_machine.processors = {whole, whole};
        erase(m_machine.processors[1]);
        EXPECT_THAT(Querier().GetCpuInfo(), IsEmpty());
    }
    EXPECT_EQ(m_log.Count(Level::Error, "Exception during GetCpuInfo()"), erasers.size());
    EXPECT_EQ(m_log.Count(Level::Error, "WmiValue is null"), erasers.size());
}

TEST_F(SystemQuerierTest, ModulesAreTold)
{
    const auto messages = Querier().GetRamInfo();
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages[0].capacity(), 8192U);
    EXPECT_EQ(messages[1].bank_label(), "BANK 1");
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AQueryWithoutRowsIsAnEmptyListAndNoFailure)
{
    m_machine.modules.clear();
    m_machine.processors.clear();
    m_machine.disks.clear();
    EXPECT_THAT(Querier().GetRamInfo(), IsEmpty());
    EXPECT_THAT(Querier().GetCpuInfo(), IsEmpty());
    EXPECT_THAT(Querier().GetLogicalDisks(), IsEmpty());
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, ANullOfAModuleEmptiesTheList)
{
    m_machine.modules[1].bankLabel.reset();
    EXPECT_THAT(Querier().GetRamInfo(), IsEmpty());
    m_machine.modules[1] = {std::nullopt, L"BANK 1"};
    EXPECT_THAT(Querier().GetRamInfo(), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "Exception during GetRamInfo()"), 2U);
    EXPECT_EQ(m_log.Count(Level::Error, "WmiValue is null"), 2U);
}

TEST_F(SystemQuerierTest, TheSerialNumberIsTold)
{
    EXPECT_EQ(Querier().GetBiosInfo().serial_number(), "SN-1");
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, WithoutABiosTheFailureIsLogged)
{
    m_machine.bios.reset();
    EXPECT_EQ(Querier().GetBiosInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetBiosInfo()", "Could not extract BIOS information.");
}

TEST_F(SystemQuerierTest, ANullSerialNumberIsAFailure)
{
    m_machine.bios->serialNumber.reset();
    EXPECT_EQ(Querier().GetBiosInfo().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetBiosInfo()", "WmiValue is null");
}

TEST_F(SystemQuerierTest, DisksAreTold)
{
    const auto messages = Querier().GetLogicalDisks();
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].name(), "C:");
    EXPECT_EQ(messages[0].file_system(), "NTFS");
    EXPECT_EQ(messages[0].drive_type(), 12);
    EXPECT_EQ(messages[0].size(), 1000U);
    EXPECT_EQ(messages[0].free_space(), 400U);
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, ANullSizeEndsTheDisksAtItsRow)
{
    m_machine.disks = {
        {L"C:", L"NTFS", 12, 1000, 400}, {L"D:", L"UDF", 11, std::nullopt, 0}, {L"E:", L"NTFS", 12, 5, 4}};
    const auto messages = Querier().GetLogicalDisks();
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_EQ(messages[0].name(), "C:");
    ExpectFailure("Exception during GetLogicalDisks()", "WmiValue is null");
}

TEST_F(SystemQuerierTest, AnyNullOfADiskEndsTheList)
{
    const std::vector<std::function<void(LogicalDiskRecord&)>> erasers{
        [](LogicalDiskRecord& record) { record.name.reset(); },
        [](LogicalDiskRecord& record) { record.fileSystem.reset(); },
        [](LogicalDiskRecord& record) { record.mediaType.reset(); },
        [](LogicalDiskRecord& record) { record.size.reset(); },
        [](LogicalDiskRecord& record)
        {
            record.freeSpace.reset();
        }};
    const LogicalDiskRecord whole = m_machine.disks[0];
    for (const auto& erase : erasers)
    {
        m_machine.disks = {whole, whole, whole};
        erase(m_machine.disks[1]);
        EXPECT_THAT(Querier().GetLogicalDisks(), SizeIs(1));
    }
    EXPECT_EQ(m_log.Count(Level::Error, "WmiValue is null"), erasers.size());
}

TEST_F(SystemQuerierTest, AQueryThatBreaksLeavesTheDisksBefore)
{
    m_machine.disks.push_back(m_machine.disks[0]);
    Fail("disks");
    EXPECT_THAT(Querier().GetLogicalDisks(), SizeIs(2));
    ExpectFailure("Exception during GetLogicalDisks()", "the query broke");
}

TEST_F(SystemQuerierTest, OtherListsThatBreakAreEmpty)
{
    Fail("processors");
    EXPECT_THAT(Querier().GetCpuInfo(), IsEmpty());
    Fail("modules");
    EXPECT_THAT(Querier().GetRamInfo(), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Error, "Exception during GetCpuInfo()"), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "Exception during GetRamInfo()"), 1U);
}

TEST_F(SystemQuerierTest, TheBatteryIsTold)
{
    m_machine.power = {0, 2, 20, 1, 3600, -1};
    const auto message = Querier().GetBatteryStatus();
    EXPECT_EQ(message.ac_line_status(), 0U);
    EXPECT_EQ(message.battery_flag(), 2U);
    EXPECT_EQ(message.battery_life_percent(), 20U);
    EXPECT_EQ(message.system_status_flag(), 1U);
    EXPECT_EQ(message.battery_life_time(), 3600);
    EXPECT_EQ(message.battery_full_lifetime(), -1);
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AFailedPowerStatusIsLoggedWithItsCode)
{
    m_machine.failing = "power";
    m_machine.failure = std::make_exception_ptr(Shared::Exception::Win32Exception("GetSystemPowerStatus() failed", 31));
    EXPECT_EQ(Querier().GetBatteryStatus().ByteSizeLong(), 0U);
    ASSERT_EQ(m_log.Count(Level::Error, ""), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "GetSystemPowerStatus() failed: 31"), 1U);
    EXPECT_THAT(Querier().GetGaps(), SizeIs(1));
}

TEST_F(SystemQuerierTest, AnyOtherFailureOfThePowerStatusIsLoggedAsTheOthersAre)
{
    Fail("power");
    EXPECT_EQ(Querier().GetBatteryStatus().ByteSizeLong(), 0U);
    ExpectFailure("Exception during GetBatteryStatus()", "the query broke");
}

TEST_F(SystemQuerierTest, WirelessLinksAreHandedOn)
{
    m_machine.wirelessLans[0].set_ssid("office");
    const auto links = Querier().GetWirelessLans();
    ASSERT_THAT(links, SizeIs(1));
    EXPECT_EQ(links[0].ssid(), "office");
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AFailureOfTheWirelessLinksIsLogged)
{
    Fail("wireless lans");
    EXPECT_THAT(Querier().GetWirelessLans(), IsEmpty());
    ExpectFailure("Exception during GetWlanStats()", "the query broke");
}

TEST_F(SystemQuerierTest, InterfacesAreHandedOn)
{
    m_machine.interfaces[1].message.set_id("eth0");
    m_machine.interfaces[1].dnsServers = {"10.0.0.2"};
    const auto interfaces = Querier().GetNetworkInterfaces();
    ASSERT_THAT(interfaces, SizeIs(2));
    EXPECT_EQ(interfaces[1].message.id(), "eth0");
    EXPECT_THAT(interfaces[1].dnsServers, ElementsAre("10.0.0.2"));
    ExpectQuiet();
}

TEST_F(SystemQuerierTest, AFailureOfTheInterfacesIsLogged)
{
    Fail("interfaces");
    EXPECT_THAT(Querier().GetNetworkInterfaces(), IsEmpty());
    ExpectFailure("Exception during GetNetworkInterfaces()", "the query broke");
}

TEST_F(SystemQuerierTest, TheMachinesMemoryIsThatOfTheSystem)
{
    EXPECT_EQ(Querier().GetTotalPhysicalRam(), GetTotalPhysicalRam());
}

TEST_F(SystemQuerierTest, WhatASourceCannotTellIsKeptUntilTheNextCall)
{
    m_machine.gap = InventoryGap{"system.bios.serial_number", "locked"};
    (void)Querier().GetBiosInfo();
    EXPECT_THAT(Querier().GetGaps(), ElementsAre(*m_machine.gap));
    (void)Querier().GetBiosInfo();
    EXPECT_THAT(Querier().GetGaps(), ElementsAre(*m_machine.gap)) << "not twice";
    EXPECT_EQ(m_log.Count(Level::Debug, "Not in the inventory: system.bios.serial_number: locked"), 2U);
    m_machine.gap.reset();
    (void)Querier().GetBiosInfo();
    EXPECT_THAT(Querier().GetGaps(), IsEmpty());
}

TEST_F(SystemQuerierTest, AFailureIsTheReasonWhereTheSourceKnowsNone)
{
    Fail("computer");
    (void)Querier().GetSystemInfo();
    ASSERT_THAT(Querier().GetGaps(), SizeIs(1));
    EXPECT_EQ(Querier().GetGaps()[0], (InventoryGap{"system.computer", "the query broke"}));

    m_machine.gap = InventoryGap{"system.computer.name", "known better"};
    (void)Querier().GetSystemInfo();
    EXPECT_THAT(Querier().GetGaps(), ElementsAre(*m_machine.gap));
}

TEST(ArchitectureNameTest, TheNamedOnesHaveTheirNames)
{
    EXPECT_EQ(GetArchitectureName(0), "x86");
    EXPECT_EQ(GetArchitectureName(1), "MIPS");
    EXPECT_EQ(GetArchitectureName(2), "Alpha");
    EXPECT_EQ(GetArchitectureName(3), "PowerPC");
    EXPECT_EQ(GetArchitectureName(5), "ARM");
    EXPECT_EQ(GetArchitectureName(6), "ia64");
    EXPECT_EQ(GetArchitectureName(9), "x64");
    EXPECT_EQ(GetArchitectureName(100), "Unknown");
    EXPECT_EQ(GetArchitectureName(4), "");
    EXPECT_EQ(GetArchitectureName(-1), "");
}

TEST(ArchitectureNameTest, ThreadsMayAskAtOnce)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            []
            {
                for (std::int32_t number = 1000; number < 1100; ++number)
                {
                    EXPECT_EQ(GetArchitectureName(number), "");
                    EXPECT_EQ(GetArchitectureName(9), "x64");
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
}

} // namespace
