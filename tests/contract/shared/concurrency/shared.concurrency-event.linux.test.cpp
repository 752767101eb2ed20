#include "shared.concurrency-event.hpp"

#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <sys/stat.h>

using Shared::Concurrency::Event;
using TestSupport::Win32Text;

namespace
{

class EventNodeTest : public testing::Test
{
protected:
    TestSupport::EventNames m_names;
};

std::filesystem::path OnlyFileOf(const std::string& folder)
{
    return std::filesystem::directory_iterator(folder)->path();
}

} // namespace

TEST_F(EventNodeTest, ANamedEventIsForItsUserAlone)
{
    const Event event(false, true, L"private");
    struct stat status = {};
    ASSERT_EQ(::stat(OnlyFileOf(m_names.Folder()).c_str(), &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(EventNodeTest, AFileInTheNodesPlaceIsRefused)
{
    std::filesystem::path node;
    {
        const Event event(false, true, L"replaced");
        node = OnlyFileOf(m_names.Folder());
    }
    std::filesystem::remove(node);
    std::ofstream(node) << "no event";
    EXPECT_EQ(Win32Text([] { Event(false, true, L"replaced"); }), "Failed to create or open event");
    EXPECT_EQ(Win32Text([] { (void)Event::OpenForWaiting(L"replaced"); }), "Failed to create or open event replaced");
    EXPECT_EQ(std::filesystem::file_size(node), 8U);
}

TEST_F(EventNodeTest, ALinkInTheNodesPlaceIsNotFollowed)
{
    const Event target(false, true, L"target");
    const std::filesystem::path node = OnlyFileOf(m_names.Folder());
    std::filesystem::create_symlink(node, node.parent_path() / "link.event");
    EXPECT_EQ(Win32Text([] { Event(false, true, L"link"); }), "Failed to create or open event");
    EXPECT_EQ(Win32Text([] { (void)Event::OpenForWaiting(L"link"); }), "Failed to create or open event link");
}

TEST_F(EventNodeTest, NoNameLeavesTheRuntimeDirectory)
{
    const Event event(false, true, L"../../escaped");
    EXPECT_EQ(OnlyFileOf(m_names.Folder()).parent_path(), m_names.Folder());
}

TEST_F(EventNodeTest, ANameThatNoFileNameCanHoldIsRefused)
{
    EXPECT_EQ(Win32Text([] { Event(false, true, std::wstring(1000, L'n')); }), "Failed to create or open event");
}
