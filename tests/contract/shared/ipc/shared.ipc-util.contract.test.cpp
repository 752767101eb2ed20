#include "shared.ipc-util.hpp"

#include "contract.pipes.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.util-functions.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <string>
#include <thread>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using Shared::Ipc::CompleteRead;
using Shared::Ipc::PipeIoException;
using TestSupport::LimitMs;

namespace
{

class CompleteReadTest : public testing::Test
{
protected:
    CompleteReadTest()
    {
        auto connect = m_server.Connect();
        m_client = Client(m_name, BufferSize, LimitMs);
        EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    }

    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"complete");
    Server m_server{m_name, BufferSize, false, L""};
    Client m_client;
};

class CompleteReadOfSizeTest : public CompleteReadTest, public testing::WithParamInterface<std::uint32_t>
{
};

INSTANTIATE_TEST_SUITE_P(
    Sizes,
    CompleteReadOfSizeTest,
    testing::Values(1, 5119, 5120, 5121, 10'240, 10'241, 65'536, 131'067, 131'068, 131'069, 262'144, 1'000'000));

} // namespace

TEST_P(CompleteReadOfSizeTest, GivesTheWholeMessageInOrder)
{
    const Bytes message = MakeMessage(GetParam());
    OverlappedIo write = m_client.Write(message);
    EXPECT_EQ(Receive(m_server), message);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(CompleteReadOfSizeTest, GivesItAlsoWhenTheReadWasThereFirst)
{
    const Bytes message = MakeMessage(GetParam());
    OverlappedIo read = m_server.Read();
    OverlappedIo write = m_client.Write(message);
    EXPECT_EQ(Finish(m_server, read), message);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_P(CompleteReadOfSizeTest, GivesTheSameMessageAgainAndLeavesTheNextOne)
{
    const Bytes message = MakeMessage(GetParam(), 1);
    const Bytes next = MakeMessage(GetParam(), 2);
    OverlappedIo write = m_client.Write(message);
    OverlappedIo another = m_client.Write(next);
    OverlappedIo read = m_server.Read();
    EXPECT_EQ(Finish(m_server, read), message);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(read.WaitForCompletion(0)) << "its event stays signalled";
        EXPECT_EQ(CompleteRead(m_server, read), message);
    }
    EXPECT_EQ(m_server.GetUnreadCharacterCount(), GetParam());
    read = m_server.Read();
    EXPECT_EQ(Finish(m_server, read), next);
    EXPECT_TRUE(write.WaitForCompletion(LimitMs) && another.WaitForCompletion(LimitMs));
}

TEST_F(CompleteReadTest, AMessageOfNoBytesGivesZeros)
{
    OverlappedIo write = m_client.Write(Bytes());
    EXPECT_EQ(Receive(m_server), Bytes(BufferSize, 0));
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
}

TEST_F(CompleteReadTest, AMessageFarLargerThanAnyBufferComesWholeBothWays)
{
    constexpr std::size_t Size = 64 * 1024 * 1024;
    const Bytes message = MakeMessage(Size, 7);
    std::thread other(
        [&]
        {
            const Bytes received = Receive(m_client);
            EXPECT_TRUE(Send(m_client, received));
        });
    EXPECT_TRUE(Send(m_server, message));
    EXPECT_TRUE(Receive(m_server) == message);
    other.join();
}

TEST_F(CompleteReadTest, WhatItGivesIsTheBufferOfTheOperation)
{
    for (const std::size_t size : {std::size_t{3}, std::size_t{100'000}})
    {
        OverlappedIo write = m_client.Write(MakeMessage(size));
        OverlappedIo read = m_server.Read();
        ASSERT_TRUE(read.WaitForCompletion(LimitMs));
        const Bytes& message = CompleteRead(m_server, read);
        EXPECT_EQ(&message, &read.GetBuffer());
        EXPECT_EQ(message, MakeMessage(size));
        EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    }
}

TEST_F(CompleteReadTest, TheMemoryOfALongMessageServesTheNextOfAnyLength)
{
    const std::uint8_t* place = nullptr;
    OverlappedIo read;
    for (const std::uint32_t size : {1'000'000U, 1'000'000U, 70'000U, 900'000U, 6'000U, 1'000'000U})
    {
        OverlappedIo write = m_client.Write(MakeMessage(size, size));
        read = m_server.Read();
        ASSERT_TRUE(read.WaitForCompletion(LimitMs));
        const Bytes& message = CompleteRead(m_server, read);
        EXPECT_EQ(message, MakeMessage(size, size));
        place = place == nullptr ? message.data() : place;
        EXPECT_EQ(message.data() == place, size >= Shared::Concurrency::OverlappedSpare::Smallest) << size;
        EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    }
}

TEST_F(CompleteReadTest, AReadThatHasNotEndedIsLeftAloneAndTold)
{
    OverlappedIo read = m_server.Read();
    read.SetSignalled(true);
    EXPECT_EQ(TestSupport::RuntimeText([&] { (void)CompleteRead(m_server, read); }), "Operation is not successful");
    read.SetSignalled(false);
    EXPECT_TRUE(Send(m_client, ToBytes("late")));
    EXPECT_EQ(Finish(m_server, read), ToBytes("late"));
}

TEST_F(CompleteReadTest, AFailedReadThrowsWithItsNumbersAndItsStatus)
{
    OverlappedIo read = m_server.Read();
    m_client.Close();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    try
    {
        (void)CompleteRead(m_server, read);
        FAIL() << "nothing was thrown";
    }
    catch (const PipeIoException& exception)
    {
        const std::string text = exception.what();
        const std::string expected = fmt::format(
            R"(CompleteRead() failed on pipe \\.\pipe\{} (last error: 997, internal status: 3221225803) --> )",
            Shared::Util::ConvertStringType(m_name));
        EXPECT_NE(text.find(expected), std::string::npos) << text;
        EXPECT_TRUE(text.ends_with(" (NTSTATUS code 0XC000014B)")) << text;
        EXPECT_EQ(exception.GetCode(), 0xC000014BU);
    }
}

TEST_F(CompleteReadTest, ACancelledReadThrows)
{
    OverlappedIo read = m_server.Read();
    m_server.Cancel();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    try
    {
        (void)CompleteRead(m_server, read);
        FAIL() << "nothing was thrown";
    }
    catch (const PipeIoException& exception)
    {
        EXPECT_EQ(exception.GetCode(), 0xC0000120U);
    }
}
