#include "agentcore.system-mounts.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.system-machinetree.hpp"

namespace
{

using namespace AgentCore::System;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/// The places by which the volumes of a text are named.
std::vector<std::string> Places(const std::string& text, InventoryGaps& gaps)
{
    std::vector<std::string> places;
    for (const auto& volume : SelectVolumes(ParseMountInfo(text), gaps))
    {
        places.push_back(volume.mountPoints.front());
    }
    return places;
}

std::vector<std::string> Places(const std::string& text)
{
    InventoryGaps gaps;
    auto places = Places(text, gaps);
    EXPECT_THAT(gaps, IsEmpty());
    return places;
}

constexpr const char* Root = "1 0 8:1 / / rw shared:1 - ext4 /dev/sda1 rw\n";

TEST(MountInfoTest, ALineIsAMount)
{
    EXPECT_THAT(
        ParseMountInfo("36 35 98:1 /mnt1 /mnt2 rw,noatime master:1 shared:2 - ext3 /dev/root rw,errors=continue\n"),
        ElementsAre(Mount{36, 35, 98, 1, "/mnt1", "/mnt2", "ext3", "/dev/root"}));
}

TEST(MountInfoTest, TheNumberOfOptionalFieldsDiffers)
{
    EXPECT_THAT(ParseMountInfo("1 0 8:1 / / rw - ext4 /dev/sda1 rw"), SizeIs(1));
    EXPECT_THAT(ParseMountInfo("1 0 8:1 / / rw a b c d - ext4 /dev/sda1 rw"), SizeIs(1));
}

TEST(MountInfoTest, EscapesAreUndone)
{
    const auto mounts = ParseMountInfo("1 0 8:1 /a\\040b /c\\011\\012\\134d\\04 rw - ext4 /dev/disk\\040one rw\n");
    ASSERT_THAT(mounts, SizeIs(1));
    EXPECT_EQ(mounts[0].root, "/a b");
    EXPECT_EQ(mounts[0].mountPoint, "/c\t\n\\d\\04");
    EXPECT_EQ(mounts[0].source, "/dev/disk one");
}

TEST(MountInfoTest, NoEscapeMakesANullCharacter)
{
    EXPECT_EQ(ParseMountInfo("1 0 8:1 / /a\\000b\\777c rw - ext4 /dev/sda1 rw")[0].mountPoint, "/a\\000b\\777c");
}

TEST(MountInfoTest, LinesOfAnotherFormArePassedOver)
{
    for (const auto* const line :
         {"", "x 0 8:1 / / rw - ext4 /dev/sda1", "1 x 8:1 / / rw - ext4 /dev/sda1", "1 0 8 / / rw - ext4 /dev/sda1",
          "1 0 8:x / / rw - ext4 /dev/sda1", "1 0 8:1 / / rw ext4 /dev/sda1", "1 0 8:1 / / rw - ext4",
          "1 0 8:1 / / rw -", "1 0 8:1 / relative rw - ext4 /dev/sda1", "1 0 99999999999:1 / / rw - ext4 /dev/sda1"})
    {
        EXPECT_THAT(ParseMountInfo(line), IsEmpty()) << line;
    }
}

TEST(SelectVolumesTest, OnlyWhatIsOnDevicesCounts)
{
    EXPECT_THAT(
        Places(
            std::string{Root} +
            "2 1 0:5 / /proc rw - proc proc rw\n3 1 0:6 / /tmp rw - tmpfs tmpfs rw\n"
            "4 1 0:7 / /mnt/share rw - nfs4 server:/share rw\n5 1 0:8 / /mnt/win rw - cifs //s/x rw\n"
            "6 1 0:9 / /mnt/ssh rw - fuse.sshfs u@h:/ rw\n7 1 0:10 / /v rw - virtiofs tag rw\n"
            "8 1 8:2 / /data rw - xfs /dev/sda2 rw\n"),
        ElementsAre("/", "/data"));
}

TEST(SelectVolumesTest, ADeviceComesOnceByWhereAllOfItIsMounted)
{
    InventoryGaps gaps;
    const auto volumes = SelectVolumes(
        ParseMountInfo(
            std::string{Root} +
            "2 1 8:2 /etc/hosts /a rw - ext4 /dev/sda2 rw\n3 1 8:2 / /srv/whole rw - ext4 /dev/sda2 rw\n"
            "4 1 8:2 / /srv/again/whole rw - ext4 /dev/sda2 rw\n"),
        gaps);
    ASSERT_THAT(volumes, SizeIs(2));
    EXPECT_THAT(volumes[1].mountPoints, ElementsAre("/srv/whole", "/srv/again/whole", "/a"));
    EXPECT_EQ(volumes[1].major, 8U);
    EXPECT_EQ(volumes[1].minor, 2U);
    EXPECT_EQ(volumes[1].fileSystem, "ext4");
    EXPECT_EQ(volumes[1].source, "/dev/sda2");
}

TEST(SelectVolumesTest, SubvolumesOfADeviceAreOneVolume)
{
    EXPECT_THAT(
        Places("1 0 0:29 /@home /home rw - btrfs /dev/sda2 rw\n2 0 0:29 /@ / rw - btrfs /dev/sda2 rw\n"
               "3 2 0:30 /@ /backup rw - btrfs /dev/sdb1 rw\n"),
        ElementsAre("/", "/backup"));
}

TEST(SelectVolumesTest, DataSetsOfAPoolAreOneVolume)
{
    EXPECT_THAT(
        Places("1 0 0:29 / / rw - zfs rpool/ROOT rw\n2 1 0:30 / /home rw - zfs rpool/home rw\n"
               "3 1 0:31 / /srv rw - zfs tank rw\n"),
        ElementsAre("/", "/srv"));
}

TEST(SelectVolumesTest, PackedImagesAreNoVolumes)
{
    EXPECT_THAT(
        Places(
            std::string{Root} +
            "2 1 7:0 / /snap/core/1 ro - squashfs /dev/loop0 ro\n"
            "3 1 7:1 / /opt/image ro - erofs /dev/loop1 ro\n"),
        ElementsAre("/"));
}

TEST(SelectVolumesTest, WhatAProgramOrAClusterServesIsNeverAsked)
{
    InventoryGaps gaps;
    EXPECT_THAT(
        Places(
            std::string{Root} +
                "2 1 8:17 / /media/ntfs rw - fuseblk /dev/sdb1 rw\n3 1 8:33 / /shared rw - gfs2 /dev/sdc1 rw\n",
            gaps),
        ElementsAre("/"));
    ASSERT_THAT(gaps, SizeIs(2));
    EXPECT_EQ(gaps[0].field, "system.logical_drives[/media/ntfs]");
    EXPECT_THAT(gaps[0].reason, HasSubstr("may keep the query waiting"));
    EXPECT_EQ(gaps[1].field, "system.logical_drives[/shared]");
}

TEST(SelectVolumesTest, ADiskBehindANetworkMountIsNeverAsked)
{
    InventoryGaps gaps;
    EXPECT_THAT(
        Places(
            std::string{Root} +
                "2 1 0:40 / /net rw - nfs4 server:/ rw\n3 2 0:41 / /net/tmp rw - tmpfs tmpfs rw\n"
                "4 3 8:2 / /net/tmp/disk rw - ext4 /dev/sda2 rw\n",
            gaps),
        ElementsAre("/"));
    ASSERT_THAT(gaps, SizeIs(1));
    EXPECT_EQ(gaps[0].field, "system.logical_drives[/net/tmp/disk]");
    EXPECT_EQ(gaps[0].reason, "it lies behind /net (nfs4), which may keep the query waiting");
}

TEST(SelectVolumesTest, ARootOfTheNetworkHidesNoDisk)
{
    EXPECT_THAT(
        Places("1 0 0:40 / / rw - nfs4 server:/root rw\n2 1 8:2 / /data rw - ext4 /dev/sda2 rw\n"),
        ElementsAre("/data"));
}

TEST(SelectVolumesTest, AnotherPlaceOfTheSameDeviceIsTakenWhenOneCannotBeAsked)
{
    EXPECT_THAT(
        Places(
            std::string{Root} +
            "2 1 0:40 / /net rw - nfs4 server:/ rw\n3 2 8:2 / /net/disk rw - ext4 /dev/sda2 rw\n"
            "4 1 8:2 / /a/much/longer/place rw - ext4 /dev/sda2 rw\n"),
        ElementsAre("/", "/a/much/longer/place"));
}

TEST(SelectVolumesTest, ACoveredMountIsNotTakenForWhatCoversIt)
{
    for (const auto* const cover : {"/mnt/disk", "/mnt"})
    {
        InventoryGaps gaps;
        EXPECT_THAT(
            Places(
                std::string{Root} + "2 1 8:2 / /mnt/disk rw - ext4 /dev/sda2 rw\n3 1 0:9 / " + cover +
                    " rw - tmpfs tmpfs rw\n",
                gaps),
            ElementsAre("/"))
            << cover;
        ASSERT_THAT(gaps, SizeIs(1));
        EXPECT_EQ(gaps[0].reason, "another mount covers it");
    }
}

TEST(SelectVolumesTest, AMountOnTopOfAnotherIsNotCoveredByIt)
{
    EXPECT_THAT(
        Places(
            std::string{Root} +
            "2 1 0:9 / /mnt rw - tmpfs tmpfs rw\n3 2 8:2 / /mnt rw - ext4 /dev/sda2 rw\n"
            "4 1 0:10 / /mntx rw - tmpfs tmpfs rw\n5 3 0:11 / /mnt/below rw - tmpfs tmpfs rw\n"),
        ElementsAre("/", "/mnt"));
}

TEST(SelectVolumesTest, TheRootMayBeListedBehindWhatLiesOnIt)
{
    EXPECT_THAT(
        Places("22 27 8:2 / /data rw - ext4 /dev/sda2 rw\n27 1 8:1 / / rw - ext4 /dev/sda1 rw\n"),
        ElementsAre("/", "/data"));
}

TEST(SelectVolumesTest, MountsThatLeadToThemselvesAreLeftOut)
{
    InventoryGaps gaps;
    EXPECT_THAT(Places("1 2 8:1 / /a rw - ext4 /dev/sda1 rw\n2 1 8:2 / /b rw - ext4 /dev/sda2 rw\n", gaps), IsEmpty());
    ASSERT_THAT(gaps, SizeIs(2));
    EXPECT_EQ(gaps[0].reason, "the mounts that lead to it make no sense");
    EXPECT_THAT(Places("1 1 8:1 / / rw - ext4 /dev/sda1 rw\n"), ElementsAre("/"));
}

TEST(SelectVolumesTest, ManyMountsAreManyVolumes)
{
    EXPECT_THAT(Places(TestSupport::MakeMountInfo(500)), SizeIs(500));
}

} // namespace
