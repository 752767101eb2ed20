#include "shared.ipc-pipeconnection.linux.hpp"

#include "shared.ipc-pipeframes.hpp"
#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clock.hpp"
#include "test.support-memory.linux.hpp"
#include "test.support-sanitizers.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <numeric>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Shared::Ipc;
using Shared::Concurrency::Event;
using Shared::Concurrency::OverlappedBlock;
using Shared::Concurrency::OverlappedThread;
using Shared::Raii::Win32Handle;
using Shared::Raii::Native::DescriptorOf;
using Shared::Raii::Native::FromDescriptor;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using Bytes = std::vector<std::uint8_t>;
namespace ErrorCode = Shared::Platform::ErrorCode;
namespace NtStatus = Shared::Concurrency::NtStatus;

namespace
{

Native::BlockPointer BlockOf(Bytes bytes)
{
    auto block = std::make_shared<OverlappedBlock>();
    block->GetBuffer() = std::move(bytes);
    return block;
}

Native::BlockPointer RoomFor(std::size_t size)
{
    return BlockOf(Bytes(size));
}

bool IsSignalled(const Native::BlockPointer& block)
{
    return block->GetEvent().WaitOnEvent(0);
}

Bytes Numbered(std::size_t size)
{
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

/// One connection, and a bare socket at its other end, which can do what no pipe of ours would do.
class ConnectionTest : public testing::Test
{
protected:
    explicit ConnectionTest(OverlappedThread* thread = nullptr)
    {
        Connect(thread);
    }

    void Connect(OverlappedThread* thread)
    {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
        m_peer.Attach(FromDescriptor(ends[1]));
        m_connection = std::make_shared<Native::PipeConnection>(Win32Handle(FromDescriptor(ends[0])), thread);
    }

    int Peer() const
    {
        return DescriptorOf(m_peer.GetRawHandle());
    }

    void Send(const Bytes& packet) const
    {
        ASSERT_EQ(::send(Peer(), packet.data(), packet.size(), MSG_NOSIGNAL), static_cast<ssize_t>(packet.size()));
    }

    void SendPart(std::uint32_t remaining, const Bytes& part) const
    {
        const Frames::Header header = Frames::EncodeHeader(remaining);
        Bytes packet(header.begin(), header.end());
        packet.insert(packet.end(), part.begin(), part.end());
        Send(packet);
    }

    void SendMessage(const Bytes& message) const
    {
        SendPart(static_cast<std::uint32_t>(message.size()), message);
    }

    /// The next packet, without waiting; nothing when there is none or the other end is closed.
    std::optional<Bytes> Receive() const
    {
        Bytes packet(Frames::HeaderSize + Frames::LargestPart);
        const ssize_t size = ::recv(Peer(), packet.data(), packet.size(), 0);
        if (size <= 0)
        {
            return std::nullopt;
        }
        packet.resize(static_cast<std::size_t>(size));
        return packet;
    }

    /// Reads what comes into one message, and gives it when it is whole.
    std::optional<Bytes> ReceiveMessage()
    {
        while (const std::optional<Bytes> packet = Receive())
        {
            const std::span<const std::uint8_t> part = std::span(*packet).subspan(Frames::HeaderSize);
            m_message.insert(m_message.end(), part.begin(), part.end());
            const Frames::Header whole = Frames::EncodeHeader(static_cast<std::uint32_t>(part.size()));
            if (std::equal(whole.begin(), whole.end(), packet->begin()))
            {
                return std::exchange(m_message, {});
            }
        }
        return std::nullopt;
    }

    /// Writes until a write has to wait; that one.
    Native::BlockPointer FillUp(std::size_t size)
    {
        while (true)
        {
            const Native::BlockPointer block = RoomFor(size);
            const std::uint32_t code = m_connection->StartWrite(block);
            if (code != ErrorCode::Success)
            {
                EXPECT_EQ(code, ErrorCode::IoPending);
                return block;
            }
        }
    }

    Win32Handle m_peer;
    std::shared_ptr<Native::PipeConnection> m_connection;
    Bytes m_message;
};

/// The same with the completion thread behind it.
class WatchedConnectionTest : public ConnectionTest
{
protected:
    WatchedConnectionTest() : WatchedConnectionTest(OverlappedThread::Acquire())
    {
    }

    explicit WatchedConnectionTest(const std::shared_ptr<OverlappedThread>& thread)
        : ConnectionTest(thread.get()), m_thread(thread)
    {
        m_thread->Attach(m_connection->GetDescriptor(), m_connection, Shared::Concurrency::Readiness::Nothing);
    }

    ~WatchedConnectionTest() override
    {
        m_connection->End(NtStatus::Cancelled);
    }

    /// The next message at the peer; nothing when the limit is reached.
    std::optional<Bytes> AwaitMessage()
    {
        for (const TestSupport::Stopwatch watch; watch.ElapsedMs() < LimitMs;)
        {
            if (std::optional<Bytes> message = ReceiveMessage())
            {
                return message;
            }
            pollfd entry = {Peer(), POLLIN, 0};
            (void)::poll(&entry, 1, 10);
        }
        return std::nullopt;
    }

    std::shared_ptr<OverlappedThread> m_thread;
};

} // namespace

TEST_F(ConnectionTest, AReadOfWhatIsThereEndsAtOnce)
{
    SendMessage({1, 2, 3});
    const auto block = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::Success);
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
    EXPECT_EQ(block->GetBytesTransferred(), 3U);
    EXPECT_TRUE(IsSignalled(block));
}

TEST_F(ConnectionTest, AReadOfAPartSaysThatThereIsMore)
{
    SendMessage({1, 2, 3});
    const auto block = RoomFor(2);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::MoreData);
    EXPECT_EQ(block->GetStatus(), NtStatus::BufferOverflow);
    EXPECT_EQ(block->GetBytesTransferred(), 2U);
    EXPECT_TRUE(IsSignalled(block));
}

TEST_F(ConnectionTest, AReadOfNoBytesTakesAnEmptyMessageAndTellsOfAnother)
{
    SendMessage({});
    SendMessage({1});
    const auto ofEmpty = RoomFor(0);
    EXPECT_EQ(m_connection->StartRead(ofEmpty), ErrorCode::Success);
    const auto ofOther = RoomFor(0);
    EXPECT_EQ(m_connection->StartRead(ofOther), ErrorCode::MoreData);
    std::uint32_t unread = 0;
    EXPECT_EQ(m_connection->CountUnread(unread), ErrorCode::Success);
    EXPECT_EQ(unread, 1U);
}

TEST_F(ConnectionTest, APendingReadIsSignalledByTheKernelAndEndedByWhoeverLooks)
{
    const auto block = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::IoPending);
    EXPECT_EQ(block->GetStatus(), NtStatus::Pending);
    EXPECT_FALSE(IsSignalled(block));
    SendMessage({7});
    m_connection->BringUpToDate();
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
    EXPECT_TRUE(block->GetEvent().WaitOnEvent(LimitMs));
    EXPECT_EQ(block->GetBuffer()[0], 7);
}

TEST_F(ConnectionTest, ReadsAreServedInTheirOrder)
{
    const auto first = RoomFor(10);
    const auto second = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(first), ErrorCode::IoPending);
    EXPECT_EQ(m_connection->StartRead(second), ErrorCode::IoPending);
    SendMessage({1});
    SendMessage({2});
    m_connection->OnReady();
    EXPECT_EQ(first->GetBuffer()[0], 1);
    EXPECT_EQ(second->GetBuffer()[0], 2);
    EXPECT_TRUE(IsSignalled(first));
    EXPECT_TRUE(IsSignalled(second));
}

TEST_F(ConnectionTest, ALaterReadDoesNotOvertakeOneThatNobodyHasLookedAt)
{
    const auto first = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(first), ErrorCode::IoPending);
    SendMessage({1});
    SendMessage({2});
    const auto second = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(second), ErrorCode::Success);
    EXPECT_EQ(first->GetBuffer()[0], 1);
    EXPECT_EQ(second->GetBuffer()[0], 2);
}

TEST_F(ConnectionTest, AMessageInSeveralPacketsIsReadByOneReadThatIsLargeEnough)
{
    const Bytes message = Numbered(2 * Frames::SmallestPart + 5);
    const auto size = static_cast<std::uint32_t>(message.size());
    const auto part = [&](std::size_t from, std::size_t count)
    {
        const auto begin = message.begin() + static_cast<std::ptrdiff_t>(from);
        return Bytes(begin, begin + static_cast<std::ptrdiff_t>(count));
    };
    const auto block = RoomFor(size);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::IoPending);
    SendPart(size, part(0, Frames::SmallestPart));
    m_connection->OnReady();
    EXPECT_EQ(block->GetStatus(), NtStatus::Pending);
    SendPart(size - static_cast<std::uint32_t>(Frames::SmallestPart), part(Frames::SmallestPart, Frames::SmallestPart));
    SendPart(5, part(2 * Frames::SmallestPart, 5));
    m_connection->OnReady();
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
    EXPECT_EQ(block->GetBuffer(), message);
}

TEST_F(ConnectionTest, UnreadBytesAreCountedBeforeTheyHaveCome)
{
    SendPart(200'000, Bytes(Frames::SmallestPart));
    std::uint32_t unread = 0;
    EXPECT_EQ(m_connection->CountUnread(unread), ErrorCode::Success);
    EXPECT_EQ(unread, 200'000U);
    const auto block = RoomFor(100);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::MoreData);
    EXPECT_EQ(m_connection->CountUnread(unread), ErrorCode::Success);
    EXPECT_EQ(unread, 199'900U);
}

TEST_F(ConnectionTest, ACancelledReadGivesBackWhatItHadOfAMessage)
{
    const Bytes message = Numbered(Frames::SmallestPart + 2);
    const auto size = static_cast<std::uint32_t>(message.size());
    const auto cancelled = RoomFor(size);
    EXPECT_EQ(m_connection->StartRead(cancelled), ErrorCode::IoPending);
    SendPart(size, Bytes(message.begin(), message.end() - 2));
    m_connection->OnReady();
    EXPECT_TRUE(m_connection->Cancel(*cancelled));
    EXPECT_EQ(cancelled->GetStatus(), NtStatus::Cancelled);
    EXPECT_TRUE(IsSignalled(cancelled));
    SendPart(2, Bytes(message.end() - 2, message.end()));
    const auto block = RoomFor(size);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::Success);
    EXPECT_EQ(block->GetBuffer(), message);
}

TEST_F(ConnectionTest, CancellingOneOperationLeavesTheOthers)
{
    const auto first = RoomFor(1);
    const auto second = RoomFor(1);
    (void)m_connection->StartRead(first);
    (void)m_connection->StartRead(second);
    EXPECT_TRUE(m_connection->Cancel(*first));
    EXPECT_FALSE(m_connection->Cancel(*first));
    SendMessage({5});
    m_connection->OnReady();
    EXPECT_EQ(second->GetStatus(), NtStatus::Success);
    EXPECT_FALSE(m_connection->Cancel(*second));
}

TEST_F(ConnectionTest, AWriteIsOnePacketWhenItFits)
{
    const auto block = BlockOf({1, 2, 3});
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::Success);
    EXPECT_EQ(block->GetBytesTransferred(), 3U);
    EXPECT_TRUE(IsSignalled(block));
    EXPECT_EQ(Receive(), (Bytes{3, 0, 0, 0, 1, 2, 3}));
    EXPECT_EQ(m_connection->StartWrite(RoomFor(0)), ErrorCode::Success);
    EXPECT_EQ(Receive(), (Bytes{0, 0, 0, 0}));
}

TEST_F(ConnectionTest, ALongMessageBeginsWithASmallPart)
{
    const Bytes message = Numbered(Frames::LargestPart + 1);
    EXPECT_EQ(m_connection->StartWrite(BlockOf(message)), ErrorCode::Success);
    const std::optional<Bytes> first = Receive();
    const std::optional<Bytes> second = Receive();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->size(), Frames::HeaderSize + Frames::SmallestPart);
    EXPECT_EQ(second->size(), Frames::HeaderSize + message.size() - Frames::SmallestPart);
    EXPECT_EQ(m_connection->StartWrite(BlockOf(Numbered(Frames::LargestPart))), ErrorCode::Success);
    const std::optional<Bytes> only = Receive();
    ASSERT_TRUE(only);
    EXPECT_EQ(only->size(), Frames::HeaderSize + Frames::LargestPart);
}

TEST_F(ConnectionTest, AWriteThatEndsAtOnceTakesNoDescriptor)
{
    const int before = ::dup(Peer());
    ::close(before);
    const auto block = BlockOf({1});
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::Success);
    const int after = ::dup(Peer());
    ::close(after);
    EXPECT_EQ(after, before);
    EXPECT_TRUE(block->Wait(0));
}

TEST_F(ConnectionTest, AReadOnWhoseEventNobodyWaitsTakesNoDescriptor)
{
    const int before = ::dup(Peer());
    ::close(before);
    const auto read = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
    SendMessage({5});
    m_connection->OnReady();
    EXPECT_EQ(read->GetStatus(), NtStatus::Success);
    const int after = ::dup(Peer());
    ::close(after);
    EXPECT_EQ(after, before);
    EXPECT_TRUE(IsSignalled(read));
}

TEST_F(ConnectionTest, ManyTinyMessagesLeaveNoMemoryBehind)
{
    const auto readOne = [this]
    {
        SendMessage({7});
        const auto read = RoomFor(5120);
        EXPECT_EQ(m_connection->StartRead(read), ErrorCode::Success);
        EXPECT_EQ(read->GetBytesTransferred(), 1U);
    };
    readOne();
    const std::size_t before = TestSupport::ResidentBytes();
    for (int i = 0; i < 100'000; ++i)
    {
        readOne();
    }
    if (!TestSupport::IsAddressSanitized && !TestSupport::IsThreadSanitized)
    {
        EXPECT_LE(TestSupport::ResidentBytes(), before + 1024UL * 1024);
    }
}

TEST_F(ConnectionTest, ALongWriteGoesOnAsThePeerReads)
{
    const Bytes message = Numbered(5'000'000);
    const auto block = BlockOf(message);
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::IoPending);
    EXPECT_FALSE(IsSignalled(block));
    std::optional<Bytes> received;
    for (int i = 0; i < 1000 && !received; ++i)
    {
        received = ReceiveMessage();
        m_connection->OnReady();
    }
    EXPECT_EQ(received, message);
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
    EXPECT_EQ(block->GetBytesTransferred(), message.size());
    EXPECT_TRUE(IsSignalled(block));
}

TEST_F(ConnectionTest, WhereASocketTakesOnlySmallPacketsAMessageGoesInSmallerParts)
{
    const int small = 40'000;
    ASSERT_EQ(::setsockopt(m_connection->GetDescriptor(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small), 0);
    const Bytes message = Numbered(400'000);
    const auto block = BlockOf(message);
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::IoPending);
    std::optional<Bytes> received;
    for (int i = 0; i < 1000 && !received; ++i)
    {
        received = ReceiveMessage();
        m_connection->OnReady();
    }
    EXPECT_EQ(received, message);
}

TEST_F(ConnectionTest, AWriteThatNobodyReadsIsCancelledAndNeverSent)
{
    const auto block = FillUp(1000);
    EXPECT_TRUE(m_connection->Cancel(*block));
    EXPECT_EQ(block->GetStatus(), NtStatus::Cancelled);
    EXPECT_TRUE(IsSignalled(block));
    while (Receive())
    {
    }
    EXPECT_EQ(m_connection->StartWrite(BlockOf({4})), ErrorCode::Success);
    EXPECT_EQ(Receive(), (Bytes{1, 0, 0, 0, 4}));
}

TEST_F(ConnectionTest, AWriteThatHasBegunIsSentToItsEndAlthoughItWasCancelled)
{
    const Bytes message = Numbered(5'000'000);
    const auto block = BlockOf(message);
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::IoPending);
    m_connection->CancelAll();
    EXPECT_EQ(block->GetStatus(), NtStatus::Cancelled);
    EXPECT_TRUE(IsSignalled(block));
    // The owner may do with it what it likes.
    block->GetBuffer().assign(10, 0);
    EXPECT_EQ(m_connection->StartWrite(BlockOf({4})), ErrorCode::IoPending);
    std::vector<Bytes> received;
    for (int i = 0; i < 1000 && received.size() < 2; ++i)
    {
        if (auto next = ReceiveMessage())
        {
            received.push_back(std::move(*next));
        }
        m_connection->OnReady();
    }
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0], message);
    EXPECT_EQ(received[1], Bytes{4});
}

TEST_F(ConnectionTest, APeerThatNeverReadsCostsNoMoreThanAFewWrites)
{
    std::vector<Native::BlockPointer> waiting = {FillUp(100'000)};
    while (true)
    {
        const auto block = RoomFor(100'000);
        const std::uint32_t code = m_connection->StartWrite(block);
        if (code == ErrorCode::NoSystemResources)
        {
            break;
        }
        ASSERT_EQ(code, ErrorCode::IoPending);
        waiting.push_back(block);
        ASSERT_LE(waiting.size(), Native::PipeConnection::MostWaitingWrites);
    }
    EXPECT_EQ(waiting.size(), Native::PipeConnection::MostWaitingWrites);
}

TEST_F(ConnectionTest, AMessageThatIsTooLongIsRefused)
{
    if constexpr (TestSupport::IsThreadSanitized)
    {
        GTEST_SKIP() << "several times the memory, for one comparison";
    }
    EXPECT_EQ(m_connection->StartWrite(RoomFor(std::size_t{Frames::LongestMessage} + 1)), EMSGSIZE);
}

TEST_F(ConnectionTest, AClosedPeerEndsReadsAndWrites)
{
    const auto pending = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(pending), ErrorCode::IoPending);
    EXPECT_FALSE(m_connection->HasPeerLeft());
    m_peer.Close();
    m_connection->OnReady();
    EXPECT_EQ(pending->GetStatus(), NtStatus::PipeBroken);
    EXPECT_TRUE(IsSignalled(pending));
    EXPECT_TRUE(m_connection->HasPeerLeft());
    EXPECT_EQ(m_connection->StartRead(RoomFor(10)), ErrorCode::BrokenPipe);
    EXPECT_EQ(m_connection->StartWrite(RoomFor(10)), ErrorCode::NoData);
    std::uint32_t unread = 0;
    EXPECT_EQ(m_connection->CountUnread(unread), ErrorCode::BrokenPipe);
}

TEST_F(ConnectionTest, WhatAPeerWroteBeforeItClosedIsReadAlsoWhenItLeftSomethingUnread)
{
    EXPECT_EQ(m_connection->StartWrite(BlockOf({1})), ErrorCode::Success);
    SendMessage({2});
    m_peer.Close();
    EXPECT_FALSE(m_connection->HasPeerLeft());
    const auto block = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::Success);
    EXPECT_EQ(block->GetBuffer()[0], 2);
    EXPECT_TRUE(m_connection->HasPeerLeft());
}

TEST_F(ConnectionTest, APeerThatClosesInTheMiddleOfAMessageBreaksIt)
{
    SendPart(200'000, Bytes(Frames::SmallestPart));
    const auto block = RoomFor(200'000);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::IoPending);
    m_peer.Close();
    m_connection->OnReady();
    EXPECT_EQ(block->GetStatus(), NtStatus::PipeBroken);
}

TEST_F(ConnectionTest, APeerThatBreaksTheRulesIsLeft)
{
    const std::vector<Bytes> wrongs = {
        {1, 2}, {1, 0, 0, 0}, {0, 0, 0, 0, 1}, {0xFF, 0xFF, 0xFF, 0xFF, 1}, Bytes(Frames::LargestPart + 5)};
    for (const Bytes& wrong : wrongs)
    {
        Connect(nullptr);
        Send(wrong);
        EXPECT_EQ(m_connection->StartRead(RoomFor(10)), ErrorCode::BrokenPipe);
        EXPECT_EQ(m_connection->StartWrite(RoomFor(10)), ErrorCode::NoData);
        EXPECT_EQ(Receive(), std::nullopt);
        EXPECT_EQ(::send(Peer(), "x", 1, MSG_NOSIGNAL), -1);
    }
}

TEST_F(ConnectionTest, DescriptorsThatAPeerSendsAlongAreNotKept)
{
    const auto countDescriptors = []
    {
        int count = 0;
        for (int i = 0; i < 256; ++i)
        {
            count += ::fcntl(i, F_GETFD) >= 0 ? 1 : 0;
        }
        return count;
    };
    const int before = countDescriptors();
    Bytes packet = {1, 0, 0, 0, 9};
    iovec vector = {packet.data(), packet.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message = {};
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int own = Peer();
    std::copy_n(reinterpret_cast<const unsigned char*>(&own), sizeof own, CMSG_DATA(header));
    ASSERT_GT(::sendmsg(Peer(), &message, 0), 0);
    const auto block = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(block), ErrorCode::Success);
    EXPECT_EQ(block->GetBuffer()[0], 9);
    EXPECT_EQ(countDescriptors(), before);
}

TEST_F(ConnectionTest, AnEndedConnectionRefusesEverythingAndThePeerSeesTheEnd)
{
    const auto read = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
    const auto write = FillUp(100'000);
    m_connection->End(NtStatus::PipeDisconnected);
    EXPECT_EQ(read->GetStatus(), NtStatus::PipeDisconnected);
    EXPECT_EQ(write->GetStatus(), NtStatus::PipeDisconnected);
    EXPECT_TRUE(IsSignalled(read));
    EXPECT_TRUE(IsSignalled(write));
    m_connection->End(NtStatus::Cancelled);
    EXPECT_EQ(read->GetStatus(), NtStatus::PipeDisconnected);
    EXPECT_EQ(m_connection->StartRead(RoomFor(1)), ErrorCode::PipeNotConnected);
    EXPECT_EQ(m_connection->StartWrite(RoomFor(1)), ErrorCode::PipeNotConnected);
    std::uint32_t unread = 0;
    EXPECT_EQ(m_connection->CountUnread(unread), ErrorCode::PipeNotConnected);
    EXPECT_TRUE(m_connection->HasPeerLeft());
    while (Receive())
    {
    }
    EXPECT_EQ(::recv(Peer(), &unread, sizeof unread, 0), 0);
}

TEST_F(ConnectionTest, AWaitEndsAnOperationByItself)
{
    const auto read = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
    std::thread peer(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            SendMessage({1});
        });
    EXPECT_TRUE(m_connection->AwaitEnd(*read, LimitMs));
    peer.join();
    m_connection->BringUpToDate();
    EXPECT_EQ(read->GetStatus(), NtStatus::Success);
}

TEST_F(ConnectionTest, AWaitOfAWriteGoesOnWithItAsThePeerReads)
{
    const Bytes message = Numbered(5'000'000);
    const auto block = BlockOf(message);
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::IoPending);
    std::optional<Bytes> received;
    std::thread peer(
        [&]
        {
            while (!received)
            {
                pollfd entry = {Peer(), POLLIN, 0};
                (void)::poll(&entry, 1, -1);
                received = ReceiveMessage();
            }
        });
    EXPECT_TRUE(m_connection->AwaitEnd(*block, LimitMs));
    peer.join();
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
    EXPECT_EQ(received, message);
}

TEST_F(ConnectionTest, AWaitLastsUntilItsTimeOutAndSeesASignalFromElsewhere)
{
    const auto read = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
    const TestSupport::Stopwatch watch;
    EXPECT_FALSE(m_connection->AwaitEnd(*read, 40));
    EXPECT_GE(watch.ElapsedMs(), 40.0);
    read->Signal();
    EXPECT_TRUE(m_connection->AwaitEnd(*read, Shared::Time::Infinite));
    EXPECT_EQ(read->GetStatus(), NtStatus::Pending);
}

TEST_F(WatchedConnectionTest, AReadOnWhoseEventSomebodyWaitsIsEndedWithoutBeingLookedAt)
{
    const auto read = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
    SendMessage({1, 2});
    Shared::Time::SleepFor(std::chrono::milliseconds(QuietMs));
    EXPECT_EQ(read->GetStatus(), NtStatus::Pending) << "nobody waits yet";
    const Event& event = read->GetEvent();
    m_connection->OnEventGiven();
    EXPECT_TRUE(event.WaitOnEvent(LimitMs));
    EXPECT_EQ(read->GetStatus(), NtStatus::Success);
    EXPECT_EQ(read->GetBytesTransferred(), 2U);
}

TEST_F(WatchedConnectionTest, SeveralReadsAreEndedWithoutBeingLookedAt)
{
    const auto first = RoomFor(10);
    const auto second = RoomFor(10);
    EXPECT_EQ(m_connection->StartRead(first), ErrorCode::IoPending);
    EXPECT_EQ(m_connection->StartRead(second), ErrorCode::IoPending);
    const Event& ofFirst = first->GetEvent();
    const Event& ofSecond = second->GetEvent();
    m_connection->OnEventGiven();
    SendMessage({1});
    EXPECT_TRUE(ofFirst.WaitOnEvent(LimitMs));
    EXPECT_FALSE(ofSecond.WaitOnEvent(QuietMs));
    SendMessage({2});
    EXPECT_TRUE(ofSecond.WaitOnEvent(LimitMs));
    EXPECT_EQ(second->GetStatus(), NtStatus::Success);
}

TEST_F(WatchedConnectionTest, AnEventIsSignalledOnlyOnceTheReadHasEnded)
{
    // Again and again, with a sender that is interrupted anywhere between sending and waking the reader.
    constexpr int Rounds = 2000;
    constexpr int MostUnread = 20;
    std::atomic<int> count = 0;
    std::atomic<bool> isGivenUp = false;
    std::thread sender(
        [&]
        {
            for (int i = 0; i < Rounds; ++i)
            {
                while (i - count > MostUnread && !isGivenUp)
                {
                    std::this_thread::yield();
                }
                SendMessage({1});
            }
        });
    for (bool isGood = true; isGood && count < Rounds; ++count)
    {
        const auto read = RoomFor(10);
        if (m_connection->StartRead(read) == ErrorCode::IoPending)
        {
            const Event& event = read->GetEvent();
            m_connection->OnEventGiven();
            isGood = event.WaitOnEvent(LimitMs);
        }
        isGood = isGood && read->GetStatus() == NtStatus::Success;
        EXPECT_TRUE(isGood) << count;
        isGivenUp = !isGood;
    }
    sender.join();
}

TEST_F(WatchedConnectionTest, WritesGoOnWithoutTheirOwner)
{
    (void)FillUp(100'000);
    for (int i = 0; i < 10; ++i)
    {
        ASSERT_EQ(m_connection->StartWrite(RoomFor(100'000)), ErrorCode::IoPending);
    }
    ASSERT_EQ(m_connection->StartWrite(BlockOf({1})), ErrorCode::IoPending);
    std::optional<Bytes> last = Bytes();
    while (last && *last != Bytes{1})
    {
        last = AwaitMessage();
    }
    EXPECT_EQ(last, Bytes{1});
}

TEST_F(WatchedConnectionTest, AWriteWhoseWaitTimedOutGoesOnToo)
{
    const auto block = RoomFor(5'000'000);
    EXPECT_EQ(m_connection->StartWrite(block), ErrorCode::IoPending);
    EXPECT_FALSE(m_connection->AwaitEnd(*block, 20));
    EXPECT_EQ(AwaitMessage(), Bytes(5'000'000));
    EXPECT_TRUE(block->GetEvent().WaitOnEvent(LimitMs));
    EXPECT_EQ(block->GetStatus(), NtStatus::Success);
}

TEST_F(WatchedConnectionTest, ManyThreadsMayLookWaitAndCancelWhileThingsGoOn)
{
    constexpr int Rounds = 300;
    for (int i = 0; i < Rounds; ++i)
    {
        const auto read = RoomFor(100);
        ASSERT_EQ(m_connection->StartRead(read), ErrorCode::IoPending);
        std::thread sender([&] { SendMessage({1}); });
        std::thread looker([&] { m_connection->BringUpToDate(); });
        std::thread canceller(
            [&]
            {
                if (i % 2 == 0)
                {
                    (void)m_connection->Cancel(*read);
                }
            });
        EXPECT_TRUE(m_connection->AwaitEnd(*read, LimitMs));
        sender.join();
        looker.join();
        canceller.join();
        m_connection->BringUpToDate();
        ASSERT_NE(read->GetStatus(), NtStatus::Pending);
        if (read->GetStatus() == NtStatus::Cancelled)
        {
            ASSERT_EQ(m_connection->StartRead(RoomFor(100)), ErrorCode::Success);
        }
    }
}
