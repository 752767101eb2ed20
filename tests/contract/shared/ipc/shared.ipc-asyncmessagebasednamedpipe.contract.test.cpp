#include "shared.ipc-asyncmessagebasednamedpipe.hpp"

#include "contract.pipes.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using Shared::Ipc::PipeIoException;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::ThrownText;
using TestSupport::Win32Text;

namespace
{

constexpr std::uint32_t Pending = 0x103;
constexpr std::uint32_t Partial = 0x80000005;
constexpr std::uint32_t Cancelled = 0xC0000120;
constexpr std::uint32_t Broken = 0xC000014B;

/// The code of the PipeIoException that `function` throws.
template <typename Function>
std::uint32_t PipeCode(Function&& function)
{
    try
    {
        function();
    }
    catch (const PipeIoException& exception)
    {
        return exception.GetCode();
    }
    return 0;
}

/// A server and its client in one process.
class PipeTest : public testing::Test
{
protected:
    PipeTest()
    {
        auto connect = m_server.Connect();
        m_client = Client(m_name, BufferSize, LimitMs);
        EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
        EXPECT_TRUE(connect.IsSuccessful());
    }

    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"pipe");
    Server m_server{m_name, BufferSize, false, L""};
    Client m_client;
};

class NoPipeTest : public testing::Test
{
protected:
    Pipe m_pipe;
};

/// Both directions are alike.
class DirectionTest : public PipeTest, public testing::WithParamInterface<bool>
{
protected:
    Pipe& Writer()
    {
        return GetParam() ? static_cast<Pipe&>(m_server) : m_client;
    }

    Pipe& Reader()
    {
        return GetParam() ? static_cast<Pipe&>(m_client) : m_server;
    }
};

INSTANTIATE_TEST_SUITE_P(
    Directions,
    DirectionTest,
    testing::Bool(),
    [](const testing::TestParamInfo<bool>& direction)
    { return direction.param ? "ServerToClient" : "ClientToServer"; });

} // namespace

TEST_F(NoPipeTest, ADefaultOneHasNoHandleAndNoName)
{
    EXPECT_FALSE(m_pipe.IsOpen());
    EXPECT_EQ(m_pipe.GetRawHandle(), nullptr);
    EXPECT_FALSE(m_pipe.GetHandle().IsValid());
    EXPECT_TRUE(m_pipe.GetName().empty());
    EXPECT_EQ(m_pipe.GetUnreadCharacterCount(), 0U);
}

TEST_F(NoPipeTest, ReadingAndWritingThrow)
{
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Read(); }), "No pipe to read from");
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Read(1); }), "No pipe to read from");
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Write(7U); }), "No pipe to write to");
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Write(Bytes{1}); }), "No pipe to write to");
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Write(std::string("x")); }), "No pipe to write to");
    EXPECT_EQ(RuntimeText([&] { (void)m_pipe.Write(std::wstring(L"x")); }), "No pipe to write to");
}

TEST_F(NoPipeTest, ClosingAndCancellingDoNothing)
{
    m_pipe.Cancel();
    m_pipe.Close();
    m_pipe.Close();
    EXPECT_FALSE(m_pipe.IsOpen());
}

TEST_P(DirectionTest, AMessageArrivesWhole)
{
    const Bytes message = MakeMessage(1000);
    EXPECT_TRUE(Send(Writer(), message));
    EXPECT_EQ(Receive(Reader()), message);
}

TEST_P(DirectionTest, MessagesAreNotRunTogetherAndStayInOrder)
{
    OverlappedIo first = Writer().Write(Bytes{1});
    OverlappedIo second = Writer().Write(Bytes{2, 2});
    OverlappedIo third = Writer().Write(Bytes{3, 3, 3});
    EXPECT_EQ(Receive(Reader()), (Bytes{1}));
    EXPECT_EQ(Receive(Reader()), (Bytes{2, 2}));
    EXPECT_EQ(Receive(Reader()), (Bytes{3, 3, 3}));
    EXPECT_TRUE(first.WaitForCompletion(LimitMs) && second.WaitForCompletion(LimitMs));
    EXPECT_TRUE(third.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AnEmptyMessageIsAMessageAndNotTheEnd)
{
    OverlappedIo empty = Writer().Write(Bytes());
    OverlappedIo next = Writer().Write(Bytes{9});
    OverlappedIo read = Reader().Read();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsSuccessful());
    EXPECT_EQ(read.GetBytesTransferred(), 0U);
    EXPECT_EQ(read.GetBuffer(), Bytes(BufferSize, 0));
    EXPECT_EQ(Receive(Reader()), (Bytes{9}));
    EXPECT_TRUE(empty.WaitForCompletion(LimitMs) && next.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AMessageOfExactlyTheBufferCompletesWithoutAPartialRead)
{
    for (const std::size_t size : {5119U, 5120U})
    {
        const Bytes message = MakeMessage(size);
        OverlappedIo write = Writer().Write(message);
        OverlappedIo read = Reader().Read();
        ASSERT_TRUE(read.WaitForCompletion(LimitMs));
        EXPECT_TRUE(read.IsSuccessful());
        EXPECT_FALSE(read.IsPartial());
        EXPECT_EQ(read.GetBytesTransferred(), size);
        EXPECT_EQ(read.GetBuffer(), message);
        EXPECT_EQ(Reader().GetUnreadCharacterCount(), 0U);
        EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    }
}

TEST_P(DirectionTest, OneByteMoreGivesAPartialStatusWhenItIsThereAlready)
{
    const Bytes message = MakeMessage(5121);
    OverlappedIo write = Writer().Write(message);
    while (Reader().GetUnreadCharacterCount() == 0)
    {
        std::this_thread::yield();
    }
    OverlappedIo read = Reader().Read();
    EXPECT_EQ(read.GetStartResult(), 234U);
    EXPECT_EQ(read.GetStatus(), 234U);
    EXPECT_EQ(read.GetRawStatus(), Partial);
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsComplete());
    EXPECT_TRUE(read.IsPartial());
    EXPECT_FALSE(read.IsSuccessful());
    EXPECT_EQ(read.GetBytesTransferred(), 5120U);
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 1U);
    EXPECT_TRUE(std::equal(read.GetBuffer().begin(), read.GetBuffer().end(), message.begin()));
    EXPECT_EQ(Receive(Reader()), Bytes{message.back()});
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AndWhenItComesLater)
{
    OverlappedIo read = Reader().Read();
    EXPECT_EQ(read.GetStartResult(), 997U);
    EXPECT_EQ(read.GetStatus(), Pending);
    EXPECT_FALSE(read.IsComplete());
    EXPECT_FALSE(read.WaitForCompletion(QuietMs));
    OverlappedIo write = Writer().Write(MakeMessage(5121));
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), Partial);
    EXPECT_EQ(read.GetBytesTransferred(), 5120U);
    EXPECT_EQ(Receive(Reader()).size(), 1U);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AReadOfWhatIsThereDoesNotGoPending)
{
    OverlappedIo write = Writer().Write(Bytes{1, 2});
    while (Reader().GetUnreadCharacterCount() == 0)
    {
        std::this_thread::yield();
    }
    OverlappedIo read = Reader().Read();
    EXPECT_EQ(read.GetStartResult(), 0U);
    EXPECT_EQ(read.GetStatus(), 0U);
    EXPECT_TRUE(read.IsComplete());
    EXPECT_TRUE(read.WaitForCompletion(0));
    EXPECT_EQ(read.GetBuffer(), (Bytes{1, 2}));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, APendingReadIsSeenByAWaitForSeveralThings)
{
    const Shared::Concurrency::Event other(false, true);
    OverlappedIo read = Reader().Read();
    const std::vector<Shared::Raii::RawHandle> handles = {other.GetHandle(), read.GetWaitableHandle()};
    EXPECT_EQ(Shared::Concurrency::WaitFor(handles, false, QuietMs), Shared::Concurrency::WaitResultTimeout);
    OverlappedIo write = Writer().Write(Bytes{5});
    EXPECT_EQ(Shared::Concurrency::WaitFor(handles, false, LimitMs), 1U);
    EXPECT_TRUE(read.IsComplete());
    EXPECT_TRUE(read.IsSuccessful());
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, ALargeReadIsSignalledWhenItHasEndedAndNotBefore)
{
    constexpr std::uint32_t Size = 3'000'000;
    OverlappedIo read = Reader().Read(Size);
    std::thread writer([&] { EXPECT_TRUE(Send(Writer(), MakeMessage(Size))); });
    ASSERT_TRUE(Shared::Concurrency::WaitFor(read.GetWaitableHandle(), LimitMs));
    EXPECT_TRUE(read.IsSuccessful());
    EXPECT_EQ(read.GetBytesTransferred(), Size);
    EXPECT_EQ(read.GetBuffer(), MakeMessage(Size));
    writer.join();
}

TEST_P(DirectionTest, TheUnreadBytesAreThoseOfTheFirstMessage)
{
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 0U);
    OverlappedIo first = Writer().Write(MakeMessage(300));
    OverlappedIo second = Writer().Write(MakeMessage(50));
    while (Reader().GetUnreadCharacterCount() == 0)
    {
        std::this_thread::yield();
    }
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 300U);
    OverlappedIo read = Reader().Read(100);
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 200U);
    read = Reader().Read(200);
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsSuccessful());
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 50U);
    EXPECT_EQ(Receive(Reader()), MakeMessage(50));
    EXPECT_EQ(Reader().GetUnreadCharacterCount(), 0U);
    EXPECT_TRUE(first.WaitForCompletion(LimitMs) && second.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AMessageIsReadInPiecesOfAnySize)
{
    const Bytes message = MakeMessage(1000);
    OverlappedIo write = Writer().Write(message);
    Bytes pieces;
    while (pieces.size() < message.size())
    {
        OverlappedIo read = Reader().Read(333);
        ASSERT_TRUE(read.WaitForCompletion(LimitMs));
        EXPECT_EQ(read.IsPartial(), pieces.size() + 333 < message.size());
        pieces.insert(pieces.end(), read.GetBuffer().begin(), read.GetBuffer().end());
    }
    EXPECT_EQ(pieces, message);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, ANumberIsFourBytesLowByteFirst)
{
    OverlappedIo write = Writer().Write(0x04030201U);
    EXPECT_EQ(Receive(Reader()), (Bytes{1, 2, 3, 4}));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, ANarrowTextIsItsBytesWithoutATerminator)
{
    OverlappedIo write = Writer().Write(std::string("a\xC3\xBC"));
    EXPECT_EQ(Receive(Reader()), (Bytes{'a', 0xC3, 0xBC}));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AWideTextIsItsUtf16UnitsWithoutATerminator)
{
    OverlappedIo write = Writer().Write(std::wstring(L"a\u20AC\U0001F600"));
    EXPECT_EQ(Receive(Reader()), (Bytes{'a', 0, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE}));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, ASurrogateAloneStaysInAWideText)
{
    OverlappedIo write = Writer().Write(std::wstring{static_cast<wchar_t>(0xD800), L'x'});
    EXPECT_EQ(Receive(Reader()), (Bytes{0x00, 0xD8, 'x', 0}));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AnEmptyTextIsAnEmptyMessage)
{
    OverlappedIo write = Writer().Write(std::wstring());
    OverlappedIo read = Reader().Read();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetBytesTransferred(), 0U);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, AWriteThatTheOtherSideDoesNotReadWaitsAndEndsWhenItDoes)
{
    constexpr std::size_t Size = 8 * 1024 * 1024;
    OverlappedIo write = Writer().Write(MakeMessage(Size));
    EXPECT_EQ(write.GetStartResult(), 997U);
    EXPECT_FALSE(write.WaitForCompletion(QuietMs));
    EXPECT_FALSE(write.IsComplete());
    EXPECT_EQ(Receive(Reader()), MakeMessage(Size));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_TRUE(write.IsSuccessful());
    EXPECT_EQ(write.GetBytesTransferred(), Size);
}

TEST_P(DirectionTest, AWriteNobodyWaitsForGoesOnAsItIsRead)
{
    constexpr std::size_t Size = 8 * 1024 * 1024;
    {
        const OverlappedIo dropped = Writer().Write(MakeMessage(Size));
    }
    EXPECT_EQ(Receive(Reader()), MakeMessage(Size));
    EXPECT_TRUE(Send(Writer(), {1}));
    EXPECT_EQ(Receive(Reader()), Bytes{1});
}

TEST_P(DirectionTest, AReadThatWasDroppedTakesItsMessageWithIt)
{
    {
        const OverlappedIo dropped = Reader().Read();
    }
    OverlappedIo first = Writer().Write(Bytes{1});
    OverlappedIo second = Writer().Write(Bytes{2});
    EXPECT_EQ(Receive(Reader()), Bytes{2});
    EXPECT_TRUE(first.WaitForCompletion(LimitMs) && second.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, CancelEndsEveryPendingOperation)
{
    OverlappedIo read = Reader().Read();
    OverlappedIo write = Reader().Write(MakeMessage(8 * 1024 * 1024));
    EXPECT_FALSE(read.WaitForCompletion(0));
    Reader().Cancel();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), Cancelled);
    EXPECT_FALSE(read.IsSuccessful());
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_EQ(write.GetStatus(), Cancelled);
    Reader().Cancel();
}

TEST_P(DirectionTest, CancelOfOneLeavesTheOthers)
{
    OverlappedIo first = Reader().Read();
    OverlappedIo second = Reader().Read();
    first.CancelIfSourceSet();
    EXPECT_TRUE(first.WaitForCompletion(LimitMs));
    EXPECT_EQ(first.GetStatus(), Cancelled);
    EXPECT_FALSE(second.WaitForCompletion(QuietMs));
    OverlappedIo write = Writer().Write(Bytes{4});
    EXPECT_EQ(Finish(Reader(), second), Bytes{4});
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(DirectionTest, CancelOfWhatHasEndedIsRefused)
{
    OverlappedIo write = Writer().Write(Bytes{4});
    ASSERT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_EQ(Win32Text([&] { write.CancelIfSourceSet(); }), "CancelIoEx() failed");
    EXPECT_TRUE(write.IsSuccessful());
}

TEST_P(DirectionTest, AClosedOtherEndEndsAPendingRead)
{
    OverlappedIo read = Reader().Read();
    Writer().Close();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsComplete());
    EXPECT_FALSE(read.IsSuccessful());
}

TEST_F(PipeTest, AClientThatGoesLeavesABrokenPipe)
{
    OverlappedIo read = m_server.Read();
    m_client.Close();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), Broken);
    EXPECT_EQ(ThrownText<PipeIoException>([&] { (void)m_server.Read(); }), "ReadFile() failed");
    EXPECT_EQ(PipeCode([&] { (void)m_server.Read(); }), 109U);
    EXPECT_EQ(ThrownText<PipeIoException>([&] { (void)m_server.Write(Bytes{1}); }), "WriteFile() failed");
    EXPECT_EQ(PipeCode([&] { (void)m_server.Write(Bytes{1}); }), 232U);
    EXPECT_EQ(ThrownText<PipeIoException>([&] { (void)m_server.GetUnreadCharacterCount(); }), "PeekNamedPipe() failed");
    EXPECT_EQ(PipeCode([&] { (void)m_server.GetUnreadCharacterCount(); }), 109U);
}

TEST_F(PipeTest, WhatAClientWroteBeforeItWentIsStillRead)
{
    EXPECT_TRUE(Send(m_client, {1}));
    EXPECT_TRUE(Send(m_client, {2}));
    m_client.Close();
    EXPECT_EQ(Receive(m_server), Bytes{1});
    EXPECT_EQ(m_server.GetUnreadCharacterCount(), 1U);
    EXPECT_EQ(Receive(m_server), Bytes{2});
    EXPECT_EQ(PipeCode([&] { (void)m_server.Read(); }), 109U);
}

TEST_F(PipeTest, AWriteThatWaitsEndsWhenTheOtherSideGoes)
{
    OverlappedIo write = m_server.Write(MakeMessage(8 * 1024 * 1024));
    EXPECT_FALSE(write.WaitForCompletion(0));
    m_client.Close();
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_FALSE(write.IsSuccessful());
}

TEST_F(PipeTest, AMoveTakesThePipeAndLeavesNone)
{
    Pipe& before = m_client;
    const Shared::Raii::RawHandle handle = before.GetRawHandle();
    OverlappedIo read = m_client.Read();
    Client moved(std::move(m_client));
    EXPECT_FALSE(before.IsOpen());
    EXPECT_EQ(moved.GetRawHandle(), handle);
    EXPECT_EQ(moved.GetBufferSize(), BufferSize);
    EXPECT_TRUE(Send(m_server, {1}));
    EXPECT_EQ(Finish(moved, read), Bytes{1});
    EXPECT_TRUE(Send(moved, {2}));
    EXPECT_EQ(Receive(m_server), Bytes{2});
    m_client = std::move(moved);
    EXPECT_TRUE(Send(m_client, {3}));
    EXPECT_EQ(Receive(m_server), Bytes{3});
}

TEST_F(PipeTest, AMoveOntoAnOpenPipeClosesThatFirst)
{
    OverlappedIo read = m_server.Read();
    m_client = Client();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), Broken);
}

TEST_F(PipeTest, TenThousandMessagesGoEachWayInOrder)
{
    constexpr std::uint32_t Count = 10'000;
    std::thread other(
        [&]
        {
            for (std::uint32_t i = 0; i < Count; ++i)
            {
                ASSERT_TRUE(Send(m_client, MakeMessage(i % 100, i)));
            }
            for (std::uint32_t i = 0; i < Count; ++i)
            {
                OverlappedIo read = m_client.Read();
                ASSERT_TRUE(read.WaitForCompletion(LimitMs));
                ASSERT_EQ(read.GetBytesTransferred(), i % 50);
                ASSERT_TRUE(i % 50 == 0 || read.GetBuffer() == MakeMessage(i % 50, i)) << i;
            }
        });
    for (std::uint32_t i = 0; i < Count; ++i)
    {
        OverlappedIo read = m_server.Read();
        ASSERT_TRUE(read.WaitForCompletion(LimitMs));
        ASSERT_EQ(read.GetBytesTransferred(), i % 100);
        ASSERT_TRUE(i % 100 == 0 || read.GetBuffer() == MakeMessage(i % 100, i)) << i;
    }
    for (std::uint32_t i = 0; i < Count; ++i)
    {
        ASSERT_TRUE(Send(m_server, MakeMessage(i % 50, i)));
    }
    other.join();
}
