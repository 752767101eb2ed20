#include "shared.concurrency-processkeeper.linux.hpp"

#include "shared.concurrency-processpackets.linux.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

using Shared::Raii::Win32Handle;
using TestSupport::LimitMs;
namespace Keeper = Shared::Concurrency::Native::Keeper;
namespace Raw = Shared::Raii::Native;

namespace
{

constexpr std::uint32_t Failed = 1000;

int Number(const Win32Handle& handle)
{
    return Raw::DescriptorOf(handle.GetRawHandle());
}

Win32Handle Own(int descriptor)
{
    return Win32Handle(Raw::FromDescriptor(descriptor));
}

std::array<Win32Handle, 2> SocketPair()
{
    std::array<int, 2> ends{};
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
    return {Own(ends[0]), Own(ends[1])};
}

bool IsReady(int descriptor)
{
    pollfd entry = {descriptor, POLLIN, 0};
    return ::poll(&entry, 1, static_cast<int>(LimitMs)) == 1;
}

/// A start of a program of the system, to be changed before it is sent.
struct Start
{
    Keeper::StartRequest request;
    std::string texts;

    explicit Start(std::uint64_t child, const std::vector<std::string>& arguments = {"/bin/true"})
    {
        request.header.child = child;
        request.argumentCount = static_cast<std::uint32_t>(arguments.size());
        texts = arguments.front() + '\0' + "/" + '\0';
        for (const std::string& argument : arguments)
        {
            texts += argument + '\0';
        }
    }

    std::string Packet() const
    {
        return std::string(reinterpret_cast<const char*>(&request), sizeof request) + texts;
    }
};

/// A keeper that is spoken to without the agent's side of it.
class KeeperTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::array<Win32Handle, 2> sockets = SocketPair();
        m_keeper = ::fork();
        if (m_keeper == 0)
        {
            Keeper::Run(Number(sockets[1]), Keeper::Kind::Plain);
        }
        m_socket = std::move(sockets[0]);
    }

    void TearDown() override
    {
        EndKeeper();
    }

    /// As the agent does by its own end. What the keeper ends with.
    int EndKeeper()
    {
        m_socket.Close();
        int status = -1;
        if (m_keeper > 0)
        {
            ::waitpid(m_keeper, &status, 0);
            m_keeper = 0;
        }
        return status;
    }

    /// From its return on the keeper does nothing, until it is released.
    void HoldKeeper() const
    {
        int status = 0;
        ASSERT_EQ(::kill(m_keeper, SIGSTOP), 0);
        ASSERT_EQ(::waitpid(m_keeper, &status, WUNTRACED), m_keeper);
        ASSERT_TRUE(WIFSTOPPED(status));
    }

    void ReleaseKeeper() const
    {
        ASSERT_EQ(::kill(m_keeper, SIGCONT), 0);
    }

    void Send(const std::string& packet, const std::vector<int>& descriptors) const
    {
        iovec text = {const_cast<char*>(packet.data()), packet.size()};
        std::vector<char> control(CMSG_SPACE(descriptors.size() * sizeof(int)));
        msghdr message = {};
        message.msg_iov = &text;
        message.msg_iovlen = 1;
        if (!descriptors.empty())
        {
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            cmsghdr* const header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
            std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size() * sizeof(int));
        }
        ASSERT_EQ(::sendmsg(Number(m_socket), &message, MSG_NOSIGNAL), static_cast<ssize_t>(packet.size()));
    }

    /// Sends a start. @param streams how many of the three standard descriptors go with it.
    Win32Handle Ask(const std::string& packet, std::size_t streams = 3, std::optional<int> output = {}) const
    {
        std::array<Win32Handle, 2> channel = SocketPair();
        const Win32Handle nowhere = Own(::open("/dev/null", O_RDWR | O_CLOEXEC));
        std::vector<int> descriptors = {Number(channel[1])};
        for (std::size_t i = 0; i < streams; ++i)
        {
            descriptors.push_back(output.value_or(Number(nowhere)));
        }
        Send(packet, descriptors);
        return std::move(channel[0]);
    }

    /// What is said on the child's socket. Of a failed start: the code and Failed; of none: nothing.
    static std::optional<std::uint32_t> Hear(const Win32Handle& channel, Keeper::ReplyKind expected)
    {
        Keeper::Reply reply;
        if (!IsReady(Number(channel)) ||
            ::recv(Number(channel), &reply, sizeof reply, 0) != static_cast<ssize_t>(sizeof reply))
        {
            return std::nullopt;
        }
        return reply.kind == expected ? reply.value : Failed + reply.value;
    }

    void ExpectThatItStillWorks() const
    {
        const Win32Handle channel = Ask(Start(m_nextChild, {"/bin/sh", "-c", "exit 7"}).Packet());
        ++m_nextChild;
        EXPECT_TRUE(Hear(channel, Keeper::ReplyKind::Started).has_value());
        EXPECT_EQ(Hear(channel, Keeper::ReplyKind::Ended), 7U);
    }

    std::size_t CountDescriptors() const
    {
        const std::filesystem::directory_iterator list("/proc/" + std::to_string(m_keeper) + "/fd");
        return static_cast<std::size_t>(std::distance(begin(list), end(list)));
    }

private:
    pid_t m_keeper = 0;
    Win32Handle m_socket;
    mutable std::uint64_t m_nextChild = 1'000'000;
};

} // namespace

TEST_F(KeeperTest, AProgramIsStartedAndItsEndIsTold)
{
    ExpectThatItStillWorks();
    ExpectThatItStillWorks();
}

TEST_F(KeeperTest, PacketsThatAreNoRequestArePassedOver)
{
    const Win32Handle nowhere = Own(::open("/dev/null", O_RDWR | O_CLOEXEC));
    Keeper::RequestHeader header;
    const auto send = [&](Keeper::RequestKind kind, const std::vector<int>& descriptors)
    {
        header.kind = kind;
        header.child = 42;
        Send({reinterpret_cast<const char*>(&header), sizeof header}, descriptors);
    };
    Send("x", {});
    Send(std::string(15, 'x'), {Number(nowhere)});
    send(static_cast<Keeper::RequestKind>(99), {Number(nowhere)});
    send(static_cast<Keeper::RequestKind>(0), {});
    // Of a child that is none.
    send(Keeper::RequestKind::Interrupt, {});
    send(Keeper::RequestKind::AddToJob, {Number(nowhere)});
    send(Keeper::RequestKind::AddToJob, {});
    send(Keeper::RequestKind::Start, {});
    ExpectThatItStillWorks();
}

TEST_F(KeeperTest, AStartThatIsNotWholeIsRefused)
{
    using Change = std::function<void(Start&)>;
    const std::vector<std::pair<const char*, Change>> changes = {
        {"no argument",
         [](Start& start)
         {
             start.request.argumentCount = 0;
         }},
        {"an argument too many",
         [](Start& start)
         {
             start.request.argumentCount = 2;
         }},
        {"more arguments than any packet holds",
         [](Start& start)
         {
             start.request.argumentCount = UINT_MAX;
         }},
        {"an environment that is not there",
         [](Start& start)
         {
             start.request.environmentCount = 1;
         }},
        {"more environment than any packet holds",
         [](Start& start)
         {
             start.request.environmentCount = UINT_MAX;
         }},
        {"a text without an end",
         [](Start& start)
         {
             start.texts.pop_back();
         }},
        {"no text",
         [](Start& start)
         {
             start.texts.clear();
         }},
        {"a job that is not there",
         [](Start& start)
         {
             start.request.isInJob = 1;
         }},
        {"a ruleset that is not there",
         [](Start& start)
         {
             start.request.hasRuleset = 1;
         }},
        {"an inherited one that is not there",
         [](Start& start)
         {
             start.request.inheritedCount = 1;
         }},
        {"more inherited ones than there can be",
         [](Start& start)
         {
             start.request.inheritedCount = UINT_MAX;
         }},
        {"more groups than there can be",
         [](Start& start)
         {
             start.request.identity.groupCount = 257;
         }},
        {"nobody's number",
         [](Start& start)
         {
             start.request.header.child = 0;
         }},
    };
    for (const auto& [what, change] : changes)
    {
        Start start(5);
        change(start);
        EXPECT_EQ(Hear(Ask(start.Packet()), Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EINVAL)) << what;
    }
    for (const std::size_t streams : {0U, 1U, 2U})
    {
        const Win32Handle channel = Ask(Start(5).Packet(), streams);
        EXPECT_EQ(Hear(channel, Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EINVAL)) << streams;
    }
    const std::string cut = Start(5).Packet().substr(0, sizeof(Keeper::RequestHeader));
    EXPECT_EQ(Hear(Ask(cut), Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EINVAL));
    ExpectThatItStillWorks();
}

TEST_F(KeeperTest, InheritedDescriptorsTakeNoStandardStreamsPlaceAndNoImpossibleOne)
{
    for (const int target : {0, 2, -1, INT_MIN, INT_MAX})
    {
        Start start(5);
        start.request.inheritedCount = 1;
        start.request.inherited[0] = target;
        const Win32Handle channel = Ask(start.Packet(), 4);
        EXPECT_EQ(Hear(channel, Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EINVAL)) << target;
    }
    ExpectThatItStillWorks();
}

TEST_F(KeeperTest, ANumberThatIsInUseIsRefused)
{
    const Win32Handle first = Ask(Start(5, {"/bin/sleep", "1000"}).Packet());
    EXPECT_TRUE(Hear(first, Keeper::ReplyKind::Started).has_value());
    EXPECT_EQ(Hear(Ask(Start(5).Packet()), Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EINVAL));
}

TEST_F(KeeperTest, RefusedAndEndedOnesLeaveNoDescriptorBehind)
{
    if (::geteuid() != 0)
    {
        GTEST_SKIP() << "only root can look into a keeper";
    }
    ExpectThatItStillWorks();
    // It tells of an end before it closes what it told it on.
    std::size_t before = CountDescriptors();
    for (const TestSupport::Stopwatch watch; watch.ElapsedMs() < TestSupport::QuietMs;)
    {
        before = std::min(before, CountDescriptors());
    }
    for (int i = 0; i < 20; ++i)
    {
        Start tooFew(5);
        tooFew.request.isInJob = 1;
        (void)Hear(Ask(tooFew.Packet()), Keeper::ReplyKind::Failed);
        (void)Hear(Ask(Start(5, {"/no/such/program"}).Packet()), Keeper::ReplyKind::Failed);
        (void)Ask(Start(6).Packet(), 60); // more than are asked for
        ExpectThatItStillWorks();
    }
    // One of which nobody could hear may take a moment to be gone.
    for (const TestSupport::Stopwatch watch; CountDescriptors() != before && watch.ElapsedMs() < LimitMs;)
    {
        ::usleep(1000);
    }
    EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(KeeperTest, WhatFailedIsTold)
{
    Start noFolder(5);
    noFolder.texts = std::string("/bin/true") + '\0' + "/no/such/folder" + '\0' + "true" + '\0';
    EXPECT_EQ(Hear(Ask(noFolder.Packet()), Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(ENOENT));
    const Win32Handle noProgram = Ask(Start(5, {"/etc/passwd"}).Packet());
    EXPECT_EQ(Hear(noProgram, Keeper::ReplyKind::Failed), static_cast<std::uint32_t>(EACCES));
    // The number is free again.
    const Win32Handle channel = Ask(Start(5).Packet());
    EXPECT_TRUE(Hear(channel, Keeper::ReplyKind::Started).has_value());
}

TEST_F(KeeperTest, AChildOfWhichNobodyCanHearIsEnded)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Win32Handle reading = Own(ends[0]);
    Win32Handle writing = Own(ends[1]);
    // It would also leave somebody behind.
    const Start start(5, {"/bin/sh", "-c", "sleep 1000 & sleep 1000"});
    // The socket of the child is closed before the keeper sees the request.
    HoldKeeper();
    (void)Ask(start.Packet(), 3, Number(writing));
    ReleaseKeeper();
    writing.Close();
    char byte = 0;
    ASSERT_TRUE(IsReady(Number(reading)));
    EXPECT_EQ(::read(Number(reading), &byte, 1), 0);
    ExpectThatItStillWorks();
}

TEST_F(KeeperTest, WhenItsSocketIsClosedEverythingEndsAndSoDoesIt)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Win32Handle reading = Own(ends[0]);
    Win32Handle writing = Own(ends[1]);
    // Who has broken with the tool holds its output too.
    const Win32Handle channel =
        Ask(Start(5, {"/bin/sh", "-c", "setsid sleep 1000 & exec sleep 1000"}).Packet(), 3, Number(writing));
    writing.Close();
    ASSERT_TRUE(Hear(channel, Keeper::ReplyKind::Started).has_value());
    EXPECT_EQ(EndKeeper(), 0);
    char byte = 0;
    ASSERT_TRUE(IsReady(Number(reading)));
    EXPECT_EQ(::read(Number(reading), &byte, 1), 0);
}
