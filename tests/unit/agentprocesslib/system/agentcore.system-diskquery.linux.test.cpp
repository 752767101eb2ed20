#include "agentcore.system-diskquery.linux.hpp"

#include <cerrno>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "shared.log-functions.hpp"
#include "shared.util-functions.hpp"
#include "test.support-capturedlog.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"
#include "test.system-machinetree.hpp"

namespace
{

using namespace AgentCore::System;
using Shared::Log::Level;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint64_t Megabyte = 1024 * 1024;

/// A machine with an ext4 on a partition, an encrypted btrfs, a pool, and a share of the network.
class LinuxDiskQuerierTest : public testing::Test
{
protected:
    /// Free megabytes and queue length.
    using Row = std::pair<std::uint64_t, std::int32_t>;

    LinuxDiskQuerierTest()
    {
        m_tree.AddFile(
            "/proc/self/mountinfo",
            "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n"
            "23 22 0:29 /@home /home rw - btrfs /dev/mapper/home-crypt rw\n"
            "24 22 0:30 / /tank rw - zfs tank rw\n"
            "25 22 0:31 / /share rw - nfs4 files:/share rw\n");
        m_tree.AddFile(
            "/proc/diskstats",
            " 8 0 sda 1 2 3 4 5 6 7 8 5 10 11\n"
            " 8 2 sda2 1 2 3 4 5 6 7 8 3 10 11\n"
            " 253 0 dm-0 1 2 3 4 5 6 7 8 2147483649 10 11\n");
        m_tree.AddLink("/dev/mapper/home-crypt", "../dm-0");
    }

    LinuxDiskQuerier MakeQuerier()
    {
        return LinuxDiskQuerier(
            m_tree.Root(),
            [this](const std::string& mountPoint) -> std::optional<VolumeRoom>
            {
                m_asked.push_back(mountPoint.substr(m_tree.Root().size()));
                if (m_freeBytes == 0)
                {
                    errno = EIO;
                    return std::nullopt;
                }
                return VolumeRoom{m_freeBytes * 2, m_freeBytes};
            });
    }

    static std::map<std::string, Row> Query(LinuxDiskQuerier& querier, const std::vector<std::string>& names)
    {
        std::vector<LogicalDisk> disks(names.size());
        for (std::size_t i = 0; i < names.size(); ++i)
        {
            disks[i].set_name(names[i]);
        }
        std::map<std::string, Row> rows;
        querier.Query(
            disks,
            [&rows](const LogicalDiskSampleRecord& record)
            {
                rows[Shared::Util::ConvertStringType(record.name.value())] = {
                    record.freeMegabytes.value(), record.currentDiskQueueLength.value()};
            });
        return rows;
    }

    TestSupport::TemporaryFolder m_folder;
    TestSupport::MachineTree m_tree{m_folder.Path()};
    TestSupport::CapturedLog m_log;
    std::vector<std::string> m_asked;
    std::uint64_t m_freeBytes = 700 * Megabyte + Megabyte / 2;
};

TEST_F(LinuxDiskQuerierTest, TellsRoomInMegabytesAndTheQueueOfTheMountedPartition)
{
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/"}), ElementsAre(Pair("/", Row{700, 3})));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(LinuxDiskQuerierTest, ADeviceWithoutANumberIsFoundByItsNameAndAHugeQueueIsTheLongest)
{
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/home"}), ElementsAre(Pair("/home", Row{700, 0x7FFFFFFF})));
}

TEST_F(LinuxDiskQuerierTest, AQueueThatNobodyTellsIsZeroAndSaidOnce)
{
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/tank"}), ElementsAre(Pair("/tank", Row{700, 0})));
    Query(querier, {"/tank"});
    const auto* const line = "Logical disk /tank is not told whole: the kernel does not tell the queue of its device";
    EXPECT_EQ(m_log.Count(Level::Warning, line), 1U);
    EXPECT_EQ(m_log.Count(Level::Debug, line), 1U);
}

TEST_F(LinuxDiskQuerierTest, WhatANetworkServesIsNeverAsked)
{
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/share", "/nowhere", ""}), IsEmpty());
    EXPECT_THAT(m_asked, IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Warning, "is not told whole: it is not mounted, or behind"), 3U);
}

TEST_F(LinuxDiskQuerierTest, ADiskIsAskedNoMoreOnceANetworkHasTakenItsPlace)
{
    auto querier = MakeQuerier();
    EXPECT_EQ(Query(querier, {"/"}).size(), 1U);
    const std::string root = "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n";
    const std::string stick = "40 22 8:17 / /mnt/stick rw - vfat /dev/sdb1 rw\n";
    m_tree.AddFile("/proc/self/mountinfo", root + stick);
    EXPECT_EQ(Query(querier, {"/mnt/stick"}).size(), 1U);
    m_asked.clear();
    // Over the disk itself, and over the way to it.
    for (const auto* const share :
         {"41 40 0:31 / /mnt/stick rw - nfs4 files:/share rw\n", "41 22 0:31 / /mnt rw - fuse.sshfs files:/ rw\n"})
    {
        m_tree.AddFile("/proc/self/mountinfo", root + stick + share);
        EXPECT_THAT(Query(querier, {"/mnt/stick"}), IsEmpty()) << share;
    }
    EXPECT_THAT(m_asked, IsEmpty());
}

TEST_F(LinuxDiskQuerierTest, ADiskOfAnyNameIsFoundByTheNameThatTheInventoryGivesIt)
{
    m_tree.AddFile(
        "/proc/self/mountinfo",
        "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n"
        "40 22 8:17 / /media/my\\040\"stick\"\\134 rw - vfat /dev/sdb1 rw\n"
        "41 22 8:33 / /media/\xFFodd\xC3\xBC rw - vfat /dev/sdc1 rw\n"
        "42 22 8:49 / /media/two\\012lines rw - vfat /dev/sdd1 rw\n");
    m_tree.AddFile(
        "/proc/diskstats",
        "8 17 sdb1 1 2 3 4 5 6 7 8 1 10 11\n8 33 sdc1 1 2 3 4 5 6 7 8 2 10 11\n8 49 sdd1 1 2 3 4 5 6 7 8 3 10 11\n");
    auto querier = MakeQuerier();
    // Bytes that are no text are not in the name, but the disk is asked at where it is.
    EXPECT_THAT(
        Query(querier, {"/media/my \"stick\"\\", "/media/odd\xC3\xBC", "/media/two\nlines"}),
        ElementsAre(
            Pair("/media/my \"stick\"\\", Row{700, 1}), Pair("/media/odd\xC3\xBC", Row{700, 2}),
            Pair("/media/two\nlines", Row{700, 3})));
    EXPECT_THAT(m_asked, ElementsAre("/media/my \"stick\"\\", "/media/\xFFodd\xC3\xBC", "/media/two\nlines"));
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

TEST_F(LinuxDiskQuerierTest, ADiskThatVanishesHasNoRowFromThenOnAndOneAgainWhenItIsBack)
{
    auto querier = MakeQuerier();
    const std::string mounts = "22 1 8:2 / / rw - ext4 /dev/sda2 rw\n";
    m_tree.AddFile("/proc/self/mountinfo", mounts + "40 22 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n");
    m_tree.AddFile("/proc/diskstats", "8 2 sda2 1 2 3 4 5 6 7 8 1 10 11\n8 17 sdb1 1 2 3 4 5 6 7 8 2 10 11\n");
    EXPECT_EQ(Query(querier, {"/", "/media/stick"}).size(), 2U);
    m_tree.AddFile("/proc/self/mountinfo", mounts);
    EXPECT_THAT(Query(querier, {"/", "/media/stick"}), ElementsAre(Pair("/", Row{700, 1})));
    m_tree.AddFile("/proc/self/mountinfo", mounts + "41 22 8:17 / /media/stick rw - vfat /dev/sdb1 rw\n");
    EXPECT_EQ(Query(querier, {"/", "/media/stick"}).size(), 2U);
}

TEST_F(LinuxDiskQuerierTest, ADiskWhoseRoomCannotBeToldHasNoRow)
{
    m_freeBytes = 0;
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/"}), IsEmpty());
    EXPECT_EQ(m_log.Count(Level::Warning, "Logical disk / is not told whole: Input/output error"), 1U);
}

TEST_F(LinuxDiskQuerierTest, DamagedTextsTellNothing)
{
    m_tree.AddFile("/proc/diskstats", "\x01\xFF nonsense\n8 2 sda2 1 2 3\n");
    auto querier = MakeQuerier();
    EXPECT_THAT(Query(querier, {"/"}), ElementsAre(Pair("/", Row{700, 0})));
    m_tree.Remove("/proc/diskstats");
    EXPECT_THAT(Query(querier, {"/"}), ElementsAre(Pair("/", Row{700, 0})));
    m_tree.AddFile("/proc/self/mountinfo", "22 1 8:2 / /");
    EXPECT_THAT(Query(querier, {"/"}), IsEmpty());
}

TEST_F(LinuxDiskQuerierTest, ListsOfEverNewDisksDoNotFillItsMemory)
{
    auto querier = MakeQuerier();
    for (int i = 0; i < 300; ++i)
    {
        EXPECT_THAT(Query(querier, {fmt::format("/disk-{}", i)}), IsEmpty());
    }
    EXPECT_EQ(m_log.Count(Level::Warning, "is not told whole"), 256U);
    EXPECT_EQ(m_log.Count(Level::Debug, "is not told whole"), 44U);
}

TEST_F(LinuxDiskQuerierTest, WithoutTheListOfMountsTheQueryFails)
{
    m_tree.Remove("/proc/self/mountinfo");
    auto querier = MakeQuerier();
    EXPECT_EQ(TestSupport::Win32Text([&querier] { Query(querier, {"/"}); }), "/proc/self/mountinfo cannot be read");
}

} // namespace
