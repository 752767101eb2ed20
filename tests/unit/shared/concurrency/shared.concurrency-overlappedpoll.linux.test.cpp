#include "shared.concurrency-overlappedpoll.linux.hpp"

#include "shared.concurrency-event.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "test.support-time.hpp"

#include <array>
#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

using Shared::Concurrency::Event;
using Shared::Concurrency::SignalWhenReadable;
using Shared::Raii::Native::DescriptorOf;
using TestSupport::LimitMs;
using TestSupport::QuietMs;

namespace
{

/// Two connected sockets and an event; skipped where the kernel does not poll for others.
class SignalWhenReadableTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, m_ends.data()), 0);
        Event probe(false, true);
        if (!SignalWhenReadable(m_ends[0], DescriptorOf(probe.GetHandle())))
        {
            GTEST_SKIP() << "the kernel does not poll here";
        }
        Write(1);
        ASSERT_TRUE(probe.WaitOnEvent(LimitMs));
        Read();
    }

    void TearDown() override
    {
        for (const int end : m_ends)
        {
            ::close(end);
        }
    }

    bool Ask(const Event& event) const
    {
        return SignalWhenReadable(m_ends[0], DescriptorOf(event.GetHandle()));
    }

    void Write(std::size_t count) const
    {
        const std::vector<char> bytes(count, 'x');
        ASSERT_EQ(::send(m_ends[1], bytes.data(), bytes.size(), 0), static_cast<ssize_t>(count));
    }

    void Read() const
    {
        std::array<char, 100> bytes{};
        ASSERT_GT(::recv(m_ends[0], bytes.data(), bytes.size(), 0), 0);
    }

    std::array<int, 2> m_ends{-1, -1};
};

} // namespace

TEST_F(SignalWhenReadableTest, SignalsWhenSomethingComes)
{
    const Event event(false, true);
    ASSERT_TRUE(Ask(event));
    EXPECT_FALSE(event.WaitOnEvent(QuietMs));
    Write(1);
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
}

TEST_F(SignalWhenReadableTest, SignalsAtOnceWhatIsThereAlready)
{
    const Event event(false, true);
    Write(1);
    ASSERT_TRUE(Ask(event));
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
}

TEST_F(SignalWhenReadableTest, SignalsWhenTheOtherEndIsClosed)
{
    const Event event(false, true);
    ASSERT_TRUE(Ask(event));
    ::close(std::exchange(m_ends[1], -1));
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
}

TEST_F(SignalWhenReadableTest, SignalsOnceAlone)
{
    Event event(false, true);
    ASSERT_TRUE(Ask(event));
    Write(1);
    ASSERT_TRUE(event.WaitOnEvent(LimitMs));
    event.Reset();
    Write(1);
    EXPECT_FALSE(event.WaitOnEvent(QuietMs));
}

TEST_F(SignalWhenReadableTest, TheEventMayBeClosedBefore)
{
    {
        const Event event(false, true);
        ASSERT_TRUE(Ask(event));
    }
    const Event other(false, true);
    ASSERT_TRUE(Ask(other));
    Write(1);
    EXPECT_TRUE(other.WaitOnEvent(LimitMs));
}

TEST_F(SignalWhenReadableTest, ASocketThatIsShutDownIsLetGo)
{
    const Event event(false, true);
    ASSERT_TRUE(Ask(event));
    ::shutdown(m_ends[0], SHUT_RDWR);
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
    ::close(std::exchange(m_ends[0], -1));
    std::array<char, 1> bytes{};
    EXPECT_EQ(::recv(m_ends[1], bytes.data(), bytes.size(), 0), 0);
}

TEST_F(SignalWhenReadableTest, GoesOnForAnyNumberOfPolls)
{
    for (int i = 0; i < 5000; ++i)
    {
        const Event event(false, true);
        ASSERT_TRUE(Ask(event)) << i;
        Write(1);
        ASSERT_TRUE(event.WaitOnEvent(LimitMs)) << i;
        Read();
    }
}

TEST_F(SignalWhenReadableTest, SaysSoWhenTooManyAreUnderWayAndRecovers)
{
    const Event event(false, true);
    int accepted = 0;
    while (accepted < 100'000 && Ask(event))
    {
        ++accepted;
    }
    EXPECT_LT(accepted, 100'000);
    EXPECT_FALSE(event.WaitOnEvent(0));
    Write(1);
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
    Read();
    // Asked again, the ended ones are forgotten in time.
    bool isAccepted = false;
    for (int i = 0; i < 1000 && !isAccepted; ++i)
    {
        isAccepted = Ask(event);
    }
    EXPECT_TRUE(isAccepted);
}
