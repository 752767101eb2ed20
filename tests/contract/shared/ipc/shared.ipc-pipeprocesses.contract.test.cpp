// The pipes between two processes, as the agent uses them.

#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"

#include "contract.pipechild.hpp"
#include "contract.pipes.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-time.hpp"

#include <optional>
#include <string>

#include <gtest/gtest.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using Shared::Ipc::PipeIoException;
using TestSupport::LimitMs;
using TestSupport::QuietMs;

namespace
{

constexpr std::uint32_t Broken = 0xC000014B;

class TwoProcessesTest : public testing::Test
{
protected:
    /// Starts the child and waits until it has opened the pipe.
    void Start(const std::string& what, const std::vector<std::string>& more = {})
    {
        auto connect = m_server.Connect();
        m_child.emplace(what, m_name, more);
        ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
        ASSERT_TRUE(connect.IsSuccessful());
    }

    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"processes");
    Server m_server{m_name, BufferSize, false, L""};
    std::optional<PipeChild> m_child;
};

} // namespace

TEST_F(TwoProcessesTest, MessagesOfAllSizesComeBackAsTheyWere)
{
    Start("--echo");
    for (const std::size_t size : {1U, 4U, 5119U, 5120U, 5121U, 20'840U, 20'841U, 131'068U, 131'069U, 2'000'000U})
    {
        const Bytes message = MakeMessage(size, static_cast<std::uint32_t>(size));
        OverlappedIo read = m_server.Read();
        EXPECT_TRUE(Send(m_server, message));
        EXPECT_EQ(Finish(m_server, read), message) << size;
    }
}

TEST_F(TwoProcessesTest, AnEmptyMessageComesBackEmpty)
{
    Start("--echo");
    EXPECT_TRUE(Send(m_server, {}));
    OverlappedIo read = m_server.Read();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsSuccessful());
    EXPECT_EQ(read.GetBytesTransferred(), 0U);
}

TEST_F(TwoProcessesTest, SixtyFourMegabytesComeBackAsTheyWere)
{
    Start("--echo");
    const Bytes message = MakeMessage(64 * 1024 * 1024, 3);
    OverlappedIo read = m_server.Read();
    EXPECT_TRUE(Send(m_server, message));
    EXPECT_TRUE(Finish(m_server, read) == message);
}

TEST_F(TwoProcessesTest, TenThousandMessagesComeInOrder)
{
    constexpr int Count = 10'000;
    Start("--count", {std::to_string(Count)});
    for (int i = 0; i < Count; ++i)
    {
        ASSERT_EQ(Receive(m_server), ToBytes(std::to_string(i)));
    }
    EXPECT_EQ(m_child->Wait(), 0);
    EXPECT_THROW((void)m_server.Read().WaitForCompletion(0), PipeIoException);
}

TEST_F(TwoProcessesTest, TenThousandMessagesGoBothWays)
{
    Start("--echo");
    for (std::uint32_t i = 0; i < 10'000; ++i)
    {
        const Bytes message = MakeMessage(1 + i % 300, i);
        OverlappedIo write = m_server.Write(message);
        ASSERT_EQ(Receive(m_server), message);
        ASSERT_TRUE(write.WaitForCompletion(LimitMs));
    }
}

TEST_F(TwoProcessesTest, AClientThatEndsBreaksThePipe)
{
    auto connect = m_server.Connect();
    m_child.emplace("--leave", m_name);
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(m_child->Wait(), 0);
    EXPECT_THROW((void)m_server.Read(), PipeIoException);
}

TEST_F(TwoProcessesTest, AClientThatIsKilledEndsAPendingRead)
{
    Start("--hold");
    OverlappedIo read = m_server.Read();
    EXPECT_FALSE(read.WaitForCompletion(QuietMs));
    m_child->Kill();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), Broken);
}

TEST_F(TwoProcessesTest, AClientThatIsKilledEndsAWriteThatWaits)
{
    Start("--hold");
    OverlappedIo write = m_server.Write(MakeMessage(8 * 1024 * 1024));
    EXPECT_FALSE(write.WaitForCompletion(QuietMs));
    m_child->Kill();
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_FALSE(write.IsSuccessful());
}

TEST_F(TwoProcessesTest, TheClientSeesTheEndOfItsServer)
{
    Start("--echo");
    // It has come through its own connecting when it answers.
    EXPECT_TRUE(Send(m_server, MakeMessage(1)));
    EXPECT_EQ(Receive(m_server), MakeMessage(1));
    m_server.Close();
    EXPECT_EQ(m_child->Wait(), 0);
}

TEST_F(TwoProcessesTest, AServerInAnotherProcessHasItsNameForItselfUntilItDies)
{
    const std::wstring name = m_names.Unique(L"elsewhere");
    const auto make = [&]
    {
        return Server(name, BufferSize, false, L"");
    };
    const auto exists = [&]
    {
        try
        {
            (void)Client(name, BufferSize, 0);
            return true;
        }
        catch (const PipeIoException& exception)
        {
            constexpr std::uint32_t Busy = 231;
            return exception.GetCode() == Busy;
        }
    };
    PipeChild child("--serve", name);
    for (const TestSupport::Stopwatch watch; !exists() && watch.ElapsedMs() < LimitMs;)
    {
    }
    EXPECT_THROW((void)make(), PipeIoException);
    child.Kill();
    EXPECT_FALSE(exists());
    Server server = make();
    auto connect = server.Connect();
    PipeChild opener("--open", name);
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(opener.Wait(), 0);
}
