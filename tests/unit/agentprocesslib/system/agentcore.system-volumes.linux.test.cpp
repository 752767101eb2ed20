#include "agentcore.system-volumes.linux.hpp"

#include <cerrno>
#include <filesystem>

#include <gtest/gtest.h>

#include "test.support-temporaryfolder.hpp"
#include "test.system-machinetree.hpp"

namespace
{

using AgentCore::System::AskForRoom;
using AgentCore::System::FindDeviceName;

TEST(AskForRoomTest, AgreesWithTheStandardLibrary)
{
    const TestSupport::TemporaryFolder folder;
    const auto room = AskForRoom(folder.Path().string());
    ASSERT_TRUE(room);
    EXPECT_EQ(room->size, std::filesystem::space(folder.Path()).capacity);
    EXPECT_LE(room->free, room->size);
}

TEST(AskForRoomTest, AFileOrNothingHasNoRoom)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    tree.AddFile("/file", "text");
    EXPECT_FALSE(AskForRoom(tree.Root() + "/file"));
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_FALSE(AskForRoom(tree.Root() + "/nothing"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(AskForRoom("/proc"));
    EXPECT_EQ(errno, ENODATA);
}

TEST(FindDeviceNameTest, FollowsTheNamesOfTheDeviceMapper)
{
    const TestSupport::TemporaryFolder folder;
    const TestSupport::MachineTree tree(folder.Path());
    tree.AddLink("/dev/mapper/home-crypt", "../dm-3");
    EXPECT_EQ(FindDeviceName(tree.Root(), "/dev/mapper/home-crypt"), "dm-3");
    EXPECT_EQ(FindDeviceName(tree.Root(), "/dev/sda2"), "sda2");
    EXPECT_EQ(FindDeviceName(tree.Root(), "tank"), "tank");
}

} // namespace
