#include "shared.concurrency-overlappedthread.linux.hpp"

#include "shared.concurrency-event.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

using namespace Shared::Concurrency;
using TestSupport::LimitMs;
using TestSupport::QuietMs;

namespace
{

constexpr const char* ThreadName = "pipe-completion";

/// The folder of /proc of the thread of that name; empty when there is none.
std::filesystem::path FindThread()
{
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
    {
        std::string name;
        std::getline(std::ifstream(task.path() / "comm") >> std::ws, name);
        if (name == ThreadName)
        {
            return task.path();
        }
    }
    return {};
}

/// How often it has given the processor up by waiting.
std::string CountOfWaits(const std::filesystem::path& task)
{
    std::ifstream file(task / "status");
    std::string line;
    while (std::getline(file, line) && !line.starts_with("voluntary_ctxt_switches"))
    {
    }
    return line;
}

class CountingHandler : public ReadyHandler
{
public:
    void OnReady() noexcept override
    {
        ++calls;
        called.SignalNoThrow();
    }

    std::atomic<int> calls = 0;
    Event called{false, false};
};

class OverlappedThreadTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, m_ends.data()), 0);
    }

    void TearDown() override
    {
        for (const int end : m_ends)
        {
            ::close(end);
        }
    }

    void Write() const
    {
        ASSERT_EQ(::send(m_ends[1], "x", 1, 0), 1);
    }

    std::array<int, 2> m_ends{-1, -1};
    std::shared_ptr<CountingHandler> m_handler = std::make_shared<CountingHandler>();
};

} // namespace

TEST_F(OverlappedThreadTest, IsOneForAllAndEndsWithTheLast)
{
    EXPECT_TRUE(FindThread().empty());
    std::shared_ptr<OverlappedThread> first = OverlappedThread::Acquire();
    std::shared_ptr<OverlappedThread> second = OverlappedThread::Acquire();
    EXPECT_EQ(first, second);
    first.reset();
    second.reset();
    // A thread that was joined may be seen for a moment longer.
    for (const TestSupport::Stopwatch watch; !FindThread().empty() && watch.ElapsedMs() < LimitMs;)
    {
    }
    EXPECT_TRUE(FindThread().empty());
    EXPECT_NE(OverlappedThread::Acquire(), nullptr);
}

TEST_F(OverlappedThreadTest, CallsWhenTheDescriptorBecomesReadable)
{
    const auto thread = OverlappedThread::Acquire();
    thread->Attach(m_ends[0], m_handler, Readiness::Readable);
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    Write();
    EXPECT_TRUE(m_handler->called.WaitOnEvent(LimitMs));
    thread->Detach(m_ends[0]);
}

TEST_F(OverlappedThreadTest, CallsAtOnceForWhatIsReadyAlready)
{
    const auto thread = OverlappedThread::Acquire();
    Write();
    thread->Attach(m_ends[0], m_handler, Readiness::Nothing);
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    thread->Watch(m_ends[0], Readiness::Readable);
    EXPECT_TRUE(m_handler->called.WaitOnEvent(LimitMs));
    thread->Watch(m_ends[0], Readiness::Writable);
    EXPECT_TRUE(m_handler->called.WaitOnEvent(LimitMs));
    thread->Detach(m_ends[0]);
}

TEST_F(OverlappedThreadTest, WhatNobodyTakesWakesItOnceOnly)
{
    const auto thread = OverlappedThread::Acquire();
    thread->Attach(m_ends[0], m_handler, Readiness::Readable);
    Write();
    ASSERT_TRUE(m_handler->called.WaitOnEvent(LimitMs));
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    EXPECT_EQ(m_handler->calls, 1);
    thread->Detach(m_ends[0]);
}

TEST_F(OverlappedThreadTest, CallsNobodyWhoIsDetached)
{
    const auto thread = OverlappedThread::Acquire();
    thread->Attach(m_ends[0], m_handler, Readiness::Readable);
    thread->Detach(m_ends[0]);
    thread->Detach(m_ends[0]);
    Write();
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    EXPECT_EQ(m_handler.use_count(), 1);
}

TEST_F(OverlappedThreadTest, RefusesWhatCannotBeWatched)
{
    const auto thread = OverlappedThread::Acquire();
    EXPECT_EQ(
        TestSupport::Win32Text([&] { thread->Attach(-1, m_handler, Readiness::Readable); }), "epoll_ctl() failed");
    EXPECT_EQ(m_handler.use_count(), 1);
}

TEST_F(OverlappedThreadTest, SleepsWhenNothingHappens)
{
    const auto thread = OverlappedThread::Acquire();
    thread->Attach(m_ends[0], m_handler, Readiness::Both);
    ASSERT_TRUE(m_handler->called.WaitOnEvent(LimitMs));
    const std::filesystem::path task = FindThread();
    ASSERT_FALSE(task.empty());
    // Until it has gone back to sleep.
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    const std::string before = CountOfWaits(task);
    EXPECT_FALSE(m_handler->called.WaitOnEvent(QuietMs));
    EXPECT_EQ(CountOfWaits(task), before);
    thread->Detach(m_ends[0]);
}
