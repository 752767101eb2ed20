#include "shared.raii-win32handle.hpp"

#include "shared.raii-nativehandle.linux.hpp"

#include <array>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

using Shared::Raii::RawHandle;
using Shared::Raii::Win32Handle;
namespace Native = Shared::Raii::Native;

TEST(DescriptorHandleTest, DescriptorZeroIsARealOne)
{
    const int saved = ::fcntl(0, F_DUPFD_CLOEXEC, 3);
    ::close(0);
    ASSERT_EQ(::eventfd(0, EFD_CLOEXEC), 0);
    {
        const Win32Handle handle(Native::FromDescriptor(0));
        EXPECT_TRUE(handle.IsValid());
        EXPECT_EQ(Native::DescriptorOf(handle.GetRawHandle()), 0);
    }
    EXPECT_EQ(::fcntl(0, F_GETFD), -1); // closed with its owner
    if (saved >= 0)
    {
        ::dup2(saved, 0);
        ::close(saved);
    }
}

TEST(DescriptorHandleTest, NoDescriptorIsNoHandle)
{
    EXPECT_EQ(Native::FromDescriptor(-1), nullptr);
    EXPECT_EQ(Native::DescriptorOf(nullptr), -1);
}

TEST(DescriptorHandleTest, AHandleCarriesItsModeAndAccessAndADuplicateToo)
{
    using Native::Access;
    using Native::WaitMode;
    for (const WaitMode mode : {WaitMode::Latch, WaitMode::TakeCounter, WaitMode::TakeFifo, WaitMode::LatchFifo})
    {
        for (const Access access : {Access::Full, Access::WaitOnly})
        {
            const Win32Handle handle(Native::FromDescriptor(::eventfd(0, EFD_CLOEXEC), mode, access));
            const Win32Handle copy = handle;
            for (const RawHandle raw : {handle.GetRawHandle(), copy.GetRawHandle()})
            {
                EXPECT_EQ(Native::WaitModeOf(raw), mode);
                EXPECT_EQ(Native::AccessOf(raw), access);
            }
            EXPECT_TRUE(handle == copy);
        }
    }
}

TEST(DescriptorHandleTest, TheTwoEndsOfAPipeAreDifferent)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Win32Handle reader(Native::FromDescriptor(ends[0]));
    const Win32Handle writer(Native::FromDescriptor(ends[1]));
    EXPECT_FALSE(reader == writer);
    EXPECT_TRUE(writer == writer.Duplicate());
}
