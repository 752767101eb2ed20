#include "shared.system-runtimefile.linux.hpp"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"
#include "test.support-temporaryfolder.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace
{

using Shared::System::EncodeFileName;
using Shared::System::FolderLock;

/// Whether nobody has the folder now, asked as another process would.
bool IsFree(const std::string& folder)
{
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isFree = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    ::close(descriptor);
    return isFree;
}

TEST(EncodeFileNameTest, PlainNamesStayAsTheyAre)
{
    EXPECT_EQ(EncodeFileName(L"6B29FC40-CA47.a_z"), "6B29FC40-CA47.a_z");
    EXPECT_EQ(EncodeFileName(L""), "");
}

TEST(EncodeFileNameTest, EverythingElseIsWrittenInHexadecimal)
{
    EXPECT_EQ(EncodeFileName(L"../a b\\%"), "..%2Fa%20b%5C%25");
    EXPECT_EQ(EncodeFileName(L"\u00fc\u20ac"), "%C3%BC%E2%82%AC");
}

TEST(FolderLockTest, KeepsOthersOutWhileItIsThere)
{
    const TestSupport::TemporaryFolder folder;
    {
        const FolderLock hold(folder.Path().string());
        EXPECT_GE(hold.GetDescriptor(), 0);
        EXPECT_FALSE(IsFree(folder.Path().string()));
    }
    EXPECT_TRUE(IsFree(folder.Path().string()));
}

TEST(FolderLockTest, AnotherThreadWaitsForItsTurn)
{
    const TestSupport::TemporaryFolder folder;
    std::atomic<bool> hasEntered = false;
    std::thread other;
    {
        const FolderLock hold(folder.Path().string());
        other = std::thread(
            [&]
            {
                const FolderLock second(folder.Path().string());
                hasEntered = true;
            });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_FALSE(hasEntered);
    }
    other.join();
    EXPECT_TRUE(hasEntered);
}

TEST(FolderLockTest, AFolderThatIsNotThereIsAnError)
{
    const TestSupport::TemporaryFolder folder;
    const std::string missing = (folder.Path() / "missing").string();
    try
    {
        const FolderLock hold(missing);
        FAIL() << "nothing was thrown";
    }
    catch (const Shared::Exception::Win32Exception& exception)
    {
        EXPECT_EQ(exception.GetCode(), static_cast<std::uint32_t>(ENOENT));
        EXPECT_NE(std::string(exception.what()).find("Failed to open folder " + missing), std::string::npos);
    }
}

} // namespace
