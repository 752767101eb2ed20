#include "agentcore.system-systemsnapshotter.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "test.support-capturedlog.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* RoundFailed = "Exception occurred when capturing Snapshot information";
constexpr const char* DisksFailed = "Exception during GetLogicalDiskSnapshot()";

/// What the next samples find.
struct Machine
{
    std::uint32_t memoryLoad = 50;
    bool isMemoryBroken = false;
    SystemTimes times{100, 150, 200};
    bool areTimesBroken = false;
    std::vector<WirelessLan> wlans;
    bool areWlansBroken = false;
    std::vector<LogicalDiskSampleRecord> disks;
    bool areDisksBroken = false;
    int diskQueries = 0;
};

class FakeWlans final : public AgentCore::Wlan::WlanQuerier
{
public:
    explicit FakeWlans(Machine& machine) : WlanQuerier(nullptr), e_machine(machine)
    {
    }

    std::vector<WirelessLan> GetWlanStats() override
    {
        if (e_machine.areWlansBroken)
        {
            throw Shared::Exception::RuntimeException("the wireless links are broken");
        }
        return e_machine.wlans;
    }

private:
    Machine& e_machine;
};

class FakeDisks final : public DiskQuerier
{
public:
    explicit FakeDisks(Machine& machine) : e_machine(machine)
    {
    }

    void Query(const std::vector<LogicalDisk>&, const Visitor& visit) override
    {
        ++e_machine.diskQueries;
        for (const auto& disk : e_machine.disks)
        {
            visit(disk);
        }
        if (e_machine.areDisksBroken)
        {
            throw Shared::Exception::RuntimeException("the disks are broken");
        }
    }

private:
    Machine& e_machine;
};

SnapshotSources SourcesOf(Machine& machine)
{
    SnapshotSources sources;
    sources.readMemory = [&machine]
    {
        if (machine.isMemoryBroken)
        {
            throw Shared::Exception::Win32Exception("GlobalMemoryStatusEx() failed", 5);
        }
        return MemoryStatus{1000, machine.memoryLoad};
    };
    sources.readTimes = [&machine]
    {
        if (machine.areTimesBroken)
        {
            throw Shared::Exception::Win32Exception("GetSystemTimes() failed", 5);
        }
        return machine.times;
    };
    sources.wlan = std::make_unique<FakeWlans>(machine);
    sources.disks = std::make_unique<FakeDisks>(machine);
    return sources;
}

WirelessLan MakeWlan(
    const std::string& ssid,
    std::uint32_t rx,
    std::uint32_t tx,
    std::uint32_t quality,
    const std::string& interfaceId = "wlan0")
{
    WirelessLan wlan;
    wlan.set_ssid(ssid);
    wlan.set_interface_id(interfaceId);
    wlan.set_rx(rx);
    wlan.set_tx(tx);
    wlan.set_quality(quality);
    return wlan;
}

std::vector<LogicalDisk> MakeDisks(const std::vector<std::pair<std::string, std::uint64_t>>& disks)
{
    std::vector<LogicalDisk> result(disks.size());
    for (std::size_t i = 0; i < disks.size(); ++i)
    {
        result[i].set_name(disks[i].first);
        result[i].set_size(disks[i].second);
    }
    return result;
}

class SystemSnapshotterTest : public testing::Test
{
protected:
    void Snapshot(int rounds = 1)
    {
        for (int i = 0; i < rounds; ++i)
        {
            m_snapshotter.DoSystemSnapshot(m_disks);
        }
    }

    void SnapshotWithQueue(std::int32_t queueLength, std::uint64_t freeMegabytes)
    {
        m_machine.disks = {{L"C:", freeMegabytes, queueLength}};
        Snapshot();
    }

    TestSupport::CapturedLog m_log;
    Machine m_machine;
    SystemSnapshotter m_snapshotter{SourcesOf(m_machine)};
    std::vector<LogicalDisk> m_disks = MakeDisks({{"C:", 0}});
};

TEST_F(SystemSnapshotterTest, LogsTheBeginningAndTheEndOfARound)
{
    Snapshot();
    const auto lines = m_log.Lines();
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].text, "Collecting data...");
    EXPECT_EQ(lines[0].level, Level::Debug);
    EXPECT_EQ(lines[1].text, "Data collection succeeded.");
    EXPECT_EQ(lines[1].level, Level::Debug);
}

TEST_F(SystemSnapshotterTest, WithoutSamplesAllReductionsAreEmpty)
{
    const auto memory = m_snapshotter.GetAvgMemory();
    EXPECT_EQ(memory.min_memory_load() + memory.avg_memory_load() + memory.max_memory_load(), 0U);
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), IsEmpty());
    EXPECT_THAT(m_snapshotter.GetAvgWirelessQualityAndReset(), IsEmpty());
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), IsEmpty());
}

TEST_F(SystemSnapshotterTest, MemoryIsReducedToLeastAverageAndMostInWholeNumbers)
{
    for (const auto load : {40U, 30U, 45U})
    {
        m_machine.memoryLoad = load;
        Snapshot();
    }
    const auto memory = m_snapshotter.GetAvgMemory();
    EXPECT_EQ(memory.min_memory_load(), 30U);
    EXPECT_EQ(memory.avg_memory_load(), 38U);
    EXPECT_EQ(memory.max_memory_load(), 45U);
    EXPECT_EQ(m_snapshotter.GetAvgMemory().max_memory_load(), 0U);
}

TEST_F(SystemSnapshotterTest, ProcessorSamplesAreGivenOutOnceAndTheFirstIsZero)
{
    Snapshot();
    m_machine.times = {160, 220, 230};
    Snapshot();
    const auto samples = m_snapshotter.TakeCpuSnapshots();
    ASSERT_THAT(samples, SizeIs(2));
    EXPECT_EQ(samples[0].total_processing_time_percent(), 0.0F);
    EXPECT_FLOAT_EQ(samples[1].total_processing_time_percent(), 40.0F);
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), IsEmpty());
    // What has been given out is still what the next sample is compared with.
    m_machine.times = {210, 270, 280};
    Snapshot();
    EXPECT_FLOAT_EQ(m_snapshotter.TakeCpuSnapshots().at(0).total_processing_time_percent(), 50.0F);
}

TEST_F(SystemSnapshotterTest, ListsAreEmptiedWhenTheyHaveGotTooLong)
{
    m_machine.wlans = {MakeWlan("net", 100, 200, 50)};
    SnapshotWithQueue(7, 1);
    m_machine.memoryLoad = 60;
    m_machine.wlans = {MakeWlan("net", 10, 20, 40)};
    m_machine.disks = {{L"C:", 1, 3}};
    Snapshot(25);
    m_machine.memoryLoad = 70;
    Snapshot();
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), SizeIs(1));
    EXPECT_EQ(m_snapshotter.GetAvgMemory().min_memory_load(), 70U);
    EXPECT_EQ(m_snapshotter.GetAvgWirelessQualityAndReset().at(0).max_rx(), 10U);
    EXPECT_EQ(m_snapshotter.GetLogicalDiskSnapshot(m_disks).at(0).max_disk_queue_length(), 3);
}

TEST_F(SystemSnapshotterTest, TwentySixSamplesAreKept)
{
    m_machine.wlans = {MakeWlan("net", 100, 200, 50)};
    SnapshotWithQueue(7, 1);
    m_machine.memoryLoad = 60;
    m_machine.wlans = {MakeWlan("net", 10, 20, 40)};
    m_machine.disks = {{L"C:", 1, 3}};
    Snapshot(25);
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), SizeIs(26));
    EXPECT_EQ(m_snapshotter.GetAvgMemory().min_memory_load(), 50U);
    EXPECT_EQ(m_snapshotter.GetAvgWirelessQualityAndReset().at(0).max_rx(), 100U);
    EXPECT_EQ(m_snapshotter.GetLogicalDiskSnapshot(m_disks).at(0).max_disk_queue_length(), 7);
}

TEST_F(SystemSnapshotterTest, DisksAreForgottenWhenThereHaveBeenTooMany)
{
    for (int i = 0; i < 26; ++i)
    {
        m_machine.disks.push_back({fmt::format(L"disk {}", i), 1, 1});
    }
    Snapshot();
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), SizeIs(26));
    Snapshot();
    m_machine.disks = {{L"C:", 1, 1}};
    Snapshot();
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), SizeIs(1));
}

TEST_F(SystemSnapshotterTest, LinksAreReducedByNetworkAndInterface)
{
    m_machine.wlans = {MakeWlan("net", 100, 10, 50), MakeWlan("net", 7, 7, 7, "wlan1")};
    Snapshot();
    m_machine.wlans = {MakeWlan("net", 401, 31, 90), MakeWlan("other", 1, 1, 1)};
    Snapshot();
    m_machine.wlans = {MakeWlan("net", 5, 6, 7)};
    m_machine.wlans[0].set_channel("36");
    const auto wlans = m_snapshotter.GetAvgWirelessQualityAndReset();
    ASSERT_THAT(wlans, SizeIs(1));
    const auto& wlan = wlans[0];
    EXPECT_EQ(wlan.channel(), "36");
    EXPECT_EQ(std::vector({wlan.min_rx(), wlan.rx(), wlan.max_rx()}), std::vector({100U, 250U, 401U}));
    EXPECT_EQ(std::vector({wlan.min_tx(), wlan.tx(), wlan.max_tx()}), std::vector({10U, 20U, 31U}));
    EXPECT_EQ(std::vector({wlan.min_quality(), wlan.quality(), wlan.max_quality()}), std::vector({50U, 70U, 90U}));
    EXPECT_EQ(wlan.average_rssi(), 0);
    // The samples are gone, those of networks that were left behind too.
    EXPECT_EQ(m_snapshotter.GetAvgWirelessQualityAndReset().at(0).max_rx(), 0U);
}

TEST_F(SystemSnapshotterTest, ALinkThatWasJoinedJustNowTellsItsCurrentValues)
{
    Snapshot();
    m_machine.wlans = {MakeWlan("new", 300, 200, 80)};
    const auto wlan = m_snapshotter.GetAvgWirelessQualityAndReset().at(0);
    EXPECT_EQ(std::vector({wlan.min_rx(), wlan.rx(), wlan.max_rx()}), std::vector({0U, 300U, 0U}));
    EXPECT_EQ(std::vector({wlan.min_tx(), wlan.tx(), wlan.max_tx()}), std::vector({0U, 200U, 0U}));
    EXPECT_EQ(std::vector({wlan.min_quality(), wlan.quality(), wlan.max_quality()}), std::vector({0U, 80U, 0U}));
}

TEST_F(SystemSnapshotterTest, TheLargestRatesDoNotOverflowTheAverage)
{
    m_machine.wlans = {MakeWlan("net", 0xFFFFFFFF, 0xFFFFFFFF, 100)};
    Snapshot(3);
    EXPECT_EQ(m_snapshotter.GetAvgWirelessQualityAndReset().at(0).rx(), 0xFFFFFFFFU);
}

TEST_F(SystemSnapshotterTest, DisksTellTheirQueueReducedAndTheirLastRoom)
{
    SnapshotWithQueue(4, 900);
    SnapshotWithQueue(0, 800);
    SnapshotWithQueue(1, 700);
    constexpr std::uint64_t megabyte = 1024 * 1024;
    const auto disks = m_snapshotter.GetLogicalDiskSnapshot(MakeDisks({{"D:", 1}, {"C:", 2000 * megabyte + 5}}));
    ASSERT_THAT(disks, SizeIs(1));
    EXPECT_EQ(disks[0].name(), "C:");
    EXPECT_EQ(disks[0].min_disk_queue_length(), 0);
    EXPECT_EQ(disks[0].avg_disk_queue_length(), 1);
    EXPECT_EQ(disks[0].max_disk_queue_length(), 4);
    EXPECT_EQ(disks[0].current_disk_queue_length(), 1);
    EXPECT_EQ(disks[0].free_megabytes(), 700U);
    EXPECT_EQ(disks[0].total_size_megabytes(), 2000U);
    EXPECT_EQ(disks[0].path(), "");
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), IsEmpty());
}

TEST_F(SystemSnapshotterTest, TheLongestQueueIsAtLeastMinusOneAndTheShortestHasNoSuchLimit)
{
    SnapshotWithQueue(-7, 1);
    SnapshotWithQueue(-2, 1);
    const auto disk = m_snapshotter.GetLogicalDiskSnapshot(m_disks).at(0);
    EXPECT_EQ(disk.min_disk_queue_length(), -7);
    EXPECT_EQ(disk.avg_disk_queue_length(), -4);
    EXPECT_EQ(disk.max_disk_queue_length(), -1);
    EXPECT_EQ(disk.current_disk_queue_length(), -2);
}

TEST_F(SystemSnapshotterTest, TheLongestQueuesDoNotOverflowTheAverage)
{
    m_machine.disks = {{L"C:", 1, 0x7FFFFFFF}};
    Snapshot(3);
    const auto disk = m_snapshotter.GetLogicalDiskSnapshot(m_disks).at(0);
    EXPECT_EQ(disk.min_disk_queue_length(), 0x7FFFFFFF);
    EXPECT_EQ(disk.avg_disk_queue_length(), 0x7FFFFFFF);
}

TEST_F(SystemSnapshotterTest, DisksComeInTheOrderOfTheirNames)
{
    m_machine.disks = {{L"D:", 1, 1}, {L"_Total", 1, 1}, {L"C:", 1, 1}, {L"", 1, 1}};
    Snapshot();
    std::vector<std::string> names;
    for (const auto& disk : m_snapshotter.GetLogicalDiskSnapshot(m_disks))
    {
        names.push_back(disk.name());
    }
    EXPECT_THAT(names, ElementsAre("C:", "D:", "_Total"));
}

TEST_F(SystemSnapshotterTest, ADiskThatLeavesIsReportedFromItsSamplesWithoutASize)
{
    m_machine.disks = {{L"C:", 10, 1}, {L"E:", 20, 6}};
    Snapshot();
    m_machine.disks = {{L"C:", 10, 1}};
    Snapshot();
    const auto disks = m_snapshotter.GetLogicalDiskSnapshot(MakeDisks({{"C:", std::uint64_t{1} << 30U}}));
    ASSERT_THAT(disks, SizeIs(2));
    EXPECT_EQ(disks[1].name(), "E:");
    EXPECT_EQ(disks[1].avg_disk_queue_length(), 6);
    EXPECT_EQ(disks[1].free_megabytes(), 20U);
    EXPECT_EQ(disks[1].total_size_megabytes(), 0U);
    EXPECT_EQ(disks[0].total_size_megabytes(), 1024U);
}

TEST_F(SystemSnapshotterTest, AFailedDiskQueryGivesNoRowsAndTheRoundGoesOn)
{
    m_machine.disks = {{L"C:", 10, 1}};
    m_machine.areDisksBroken = true;
    Snapshot();
    EXPECT_EQ(m_log.Count(Level::Error, DisksFailed), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "the disks are broken"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Data collection succeeded."), 1U);
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), IsEmpty());
}

TEST_F(SystemSnapshotterTest, APropertyThatIsNothingFailsTheWholeDiskQuery)
{
    for (const auto& broken :
         {LogicalDiskSampleRecord{std::nullopt, 1, 1}, LogicalDiskSampleRecord{L"D:", std::nullopt, 1},
          LogicalDiskSampleRecord{L"D:", 1, std::nullopt}})
    {
        m_machine.disks = {{L"C:", 10, 1}, broken};
        Snapshot();
        EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), IsEmpty());
    }
    EXPECT_EQ(m_log.Count(Level::Error, "WmiValue is null"), 3U);
    EXPECT_EQ(m_log.Count(Level::Error, DisksFailed), 3U);
}

TEST_F(SystemSnapshotterTest, WithoutDisksNobodyIsAsked)
{
    m_disks.clear();
    Snapshot();
    EXPECT_EQ(m_machine.diskQueries, 0);
    EXPECT_EQ(m_log.Count(Level::Debug, "Data collection succeeded."), 1U);
}

TEST_F(SystemSnapshotterTest, AFailureInTheMiddleOfARoundKeepsWhatWasSampledBeforeIt)
{
    m_machine.disks = {{L"C:", 10, 1}};
    m_machine.areWlansBroken = true;
    Snapshot();
    EXPECT_EQ(m_log.Count(Level::Error, RoundFailed), 1U);
    EXPECT_EQ(m_log.Count(Level::Error, "the wireless links are broken"), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Data collection succeeded."), 0U);
    EXPECT_EQ(m_machine.diskQueries, 0);
    EXPECT_EQ(m_snapshotter.GetAvgMemory().min_memory_load(), 50U);
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), SizeIs(1));
}

TEST_F(SystemSnapshotterTest, AFailureEndsTheRoundAndNotTheNextOne)
{
    m_machine.disks = {{L"C:", 10, 1}};
    m_machine.areTimesBroken = true;
    Snapshot();
    EXPECT_EQ(m_log.Count(Level::Error, RoundFailed), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, "Data collection succeeded."), 0U);
    EXPECT_EQ(m_machine.diskQueries, 0);
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), IsEmpty());
    EXPECT_EQ(m_snapshotter.GetAvgMemory().avg_memory_load(), 50U);
    m_machine.areTimesBroken = false;
    m_machine.isMemoryBroken = true;
    Snapshot();
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), IsEmpty());
    m_machine.isMemoryBroken = false;
    Snapshot();
    EXPECT_THAT(m_snapshotter.TakeCpuSnapshots(), SizeIs(1));
    EXPECT_THAT(m_snapshotter.GetLogicalDiskSnapshot(m_disks), SizeIs(1));
}

} // namespace
