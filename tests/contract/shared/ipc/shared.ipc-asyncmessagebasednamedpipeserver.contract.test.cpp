#include "shared.ipc-asyncmessagebasednamedpipeserver.hpp"

#include "contract.pipeplatform.hpp"
#include "contract.pipes.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"
#include "test.support-wine.hpp"

#include <string>
#include <utility>

#include <gtest/gtest.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using Shared::Concurrency::OverlappedOp;
using Shared::Ipc::PipeIoException;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Stopwatch;
using TestSupport::ThrownText;
using TestSupport::Win32Text;

namespace
{

constexpr std::uint32_t Pending = 0x103;
constexpr std::uint32_t Cancelled = 0xC0000120;

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

class ServerTest : public testing::Test
{
protected:
    Server Make(const std::wstring& descriptor = {}) const
    {
        return {m_name, BufferSize, false, descriptor};
    }

    Client Open(std::uint32_t timeoutMs = LimitMs) const
    {
        return {m_name, BufferSize, timeoutMs};
    }

    /// A server and a client of it.
    static void Link(Server& server, Client& client, const std::wstring& name)
    {
        OverlappedOp connect = server.Connect();
        client = Client(name, BufferSize, LimitMs);
        ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
        ASSERT_TRUE(connect.IsSuccessful());
    }

    TestSupport::EventNames m_names;
    std::wstring m_name = m_names.Unique(L"server");
};

void ExpectTalk(Pipe& first, Pipe& second)
{
    EXPECT_TRUE(Send(first, {1, 2}));
    EXPECT_EQ(Receive(second), (Bytes{1, 2}));
    EXPECT_TRUE(Send(second, {3}));
    EXPECT_EQ(Receive(first), Bytes{3});
}

} // namespace

TEST_F(ServerTest, AConstructedServerHasAPipe)
{
    const Server server = Make();
    EXPECT_TRUE(server.IsOpen());
    EXPECT_NE(server.GetRawHandle(), nullptr);
    EXPECT_EQ(server.GetHandle().GetRawHandle(), server.GetRawHandle());
    EXPECT_EQ(server.GetBufferSize(), BufferSize);
}

TEST_F(ServerTest, ANameGetsThePrefixOnce)
{
    EXPECT_EQ(Make().GetName(), LR"(\\.\pipe\)" + m_name);
    EXPECT_EQ(Server(LR"(\\.\pipe\)" + m_name, BufferSize, false, L"").GetName(), LR"(\\.\pipe\)" + m_name);
}

TEST_F(ServerTest, ADefaultOneHasNoPipeAndConnectsNothing)
{
    Server server;
    EXPECT_FALSE(server.IsOpen());
    EXPECT_TRUE(server.GetName().empty());
    EXPECT_EQ(RuntimeText([&] { (void)server.Connect(); }), "No valid pipe handle to connect");
    server.Disconnect();
    server.Close();
}

TEST_F(ServerTest, TheHandleIsInheritedOnlyWhereItIsAskedFor)
{
    EXPECT_FALSE(Make().GetHandle().IsInheritable());
    EXPECT_TRUE(Server(m_name, BufferSize, true, L"").GetHandle().IsInheritable());
}

TEST_F(ServerTest, ADescriptorThatIsNoneIsRefused)
{
    EXPECT_EQ(Win32Text([&] { (void)Make(L"nonsense"); }), "Failed to convert security descriptor");
    EXPECT_EQ(Win32Text([&] { (void)Make(L"D:(A;;GRGW;;;"); }), "Failed to convert security descriptor");
    EXPECT_NO_THROW((void)Make());
}

TEST_F(ServerTest, TheDescriptorsOfTheAgentAreTaken)
{
    for (const wchar_t* const descriptor : {L"D:(A;;GRGW;;;NS)", L"D:(A;;GRGW;;;LS)", L"D:(A;;GRGW;;;BU)"})
    {
        EXPECT_TRUE(Make(descriptor).IsOpen());
    }
}

TEST_F(ServerTest, ASecondServerOfTheNameIsRefusedWhileTheFirstLives)
{
    Server first = Make();
    EXPECT_EQ(ThrownText<PipeIoException>([&] { (void)Make(); }), "Failed to create named pipe");
    // Wine counts instances and does not know the first of a name.
    constexpr std::uint32_t Busy = 231;
    EXPECT_EQ(PipeCode([&] { (void)Make(); }), TestSupport::IsWine() ? Busy : AccessDeniedCode());
    Client client;
    Link(first, client, m_name);
    ExpectTalk(first, client);
    EXPECT_NE(PipeCode([&] { (void)Make(); }), 0U);
    first.Close();
    EXPECT_TRUE(Make().IsOpen());
}

TEST_F(ServerTest, NamesThatDifferInCaseAreOne)
{
    Server server(L"Upper-" + m_name, BufferSize, false, L"");
    EXPECT_NE(PipeCode([&] { (void)Server(L"uPPER-" + m_name, BufferSize, false, L""); }), 0U);
    Client client;
    Link(server, client, L"upper-" + m_name);
    ExpectTalk(server, client);
}

TEST_F(ServerTest, ANameMayHoldAnyCharacterButABackslash)
{
    const std::wstring name = m_name + L" /:*?<>|%.\u00fc\u20ac";
    Server server(name, BufferSize, false, L"");
    Client client;
    Link(server, client, name);
    ExpectTalk(server, client);
}

TEST_F(ServerTest, ConnectWaitsForTheClient)
{
    Server server = Make();
    OverlappedOp connect = server.Connect();
    EXPECT_EQ(connect.GetStartResult(), 997U);
    EXPECT_EQ(connect.GetStatus(), Pending);
    EXPECT_FALSE(connect.IsComplete());
    const Stopwatch watch;
    EXPECT_FALSE(connect.WaitForCompletion(50));
    EXPECT_GE(watch.ElapsedMs(), 50.0);
    Client client = Open();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(connect.GetStatus(), 0U);
    EXPECT_TRUE(connect.IsSuccessful());
    ExpectTalk(server, client);
}

TEST_F(ServerTest, AClientThatComesBeforeConnectMakesItFail)
{
    Server server = Make();
    Client client = Open();
    EXPECT_EQ(ThrownText<PipeIoException>([&] { (void)server.Connect(); }), "ConnectNamedPipe() failed");
    EXPECT_EQ(PipeCode([&] { (void)server.Connect(); }), 535U);
    ExpectTalk(server, client);
}

TEST_F(ServerTest, AClientThatCameAndWentBeforeConnectMakesItFailToo)
{
    Server server = Make();
    Open().Close();
    EXPECT_EQ(PipeCode([&] { (void)server.Connect(); }), 232U);
    server.Disconnect();
    Client client;
    Link(server, client, m_name);
    ExpectTalk(server, client);
}

TEST_F(ServerTest, ConnectOfAConnectedPipeFails)
{
    Server server = Make();
    Client client;
    Link(server, client, m_name);
    EXPECT_EQ(PipeCode([&] { (void)server.Connect(); }), 535U);
}

TEST_F(ServerTest, NothingIsReadOrWrittenBeforeAClientIsThere)
{
    Server server = Make();
    EXPECT_EQ(PipeCode([&] { (void)server.Read(); }), 536U);
    EXPECT_EQ(PipeCode([&] { (void)server.Write(Bytes{1}); }), 536U);
    OverlappedOp connect = server.Connect();
    EXPECT_EQ(PipeCode([&] { (void)server.Read(); }), 536U);
}

TEST_F(ServerTest, NothingIsReadOrWrittenAfterADisconnect)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine takes a pipe that waited for its first client for one that still does";
    }
    Server server = Make();
    OverlappedOp connect = server.Connect();
    server.Disconnect();
    EXPECT_EQ(PipeCode([&] { (void)server.Read(); }), 233U);
    EXPECT_EQ(PipeCode([&] { (void)server.Write(Bytes{1}); }), 233U);
}

TEST_F(ServerTest, CancelEndsAPendingConnect)
{
    Server server = Make();
    OverlappedOp connect = server.Connect();
    server.Cancel();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(connect.GetStatus(), Cancelled);
    EXPECT_FALSE(connect.IsSuccessful());
}

TEST_F(ServerTest, CancelOfTheOperationEndsAPendingConnect)
{
    Server server = Make();
    OverlappedOp connect = server.Connect();
    connect.CancelIfSourceSet();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(connect.GetStatus(), Cancelled);
    EXPECT_EQ(Win32Text([&] { connect.CancelIfSourceSet(); }), "CancelIoEx() failed");
}

TEST_F(ServerTest, DisconnectEndsWhatIsPending)
{
    Server server = Make();
    Client client;
    Link(server, client, m_name);
    OverlappedIo read = server.Read();
    OverlappedIo ofClient = client.Read();
    server.Disconnect();
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_FALSE(read.IsSuccessful());
    EXPECT_TRUE(read.IsComplete());
    EXPECT_TRUE(ofClient.WaitForCompletion(LimitMs));
    EXPECT_FALSE(ofClient.IsSuccessful());
    EXPECT_EQ(PipeCode([&] { (void)server.Read(); }), 233U);
    server.Disconnect();
}

TEST_F(ServerTest, AfterDisconnectTheNextClientComesWithTheNextConnect)
{
    Server server = Make();
    for (int i = 0; i < 3; ++i)
    {
        Client client;
        Link(server, client, m_name);
        ExpectTalk(server, client);
        server.Disconnect();
    }
}

TEST_F(ServerTest, NoClientComesBetweenDisconnectAndConnect)
{
    Server server = Make();
    Client first;
    Link(server, first, m_name);
    server.Disconnect();
    EXPECT_EQ(PipeCode([&] { (void)Open(0); }), 231U);
    Client second;
    Link(server, second, m_name);
    ExpectTalk(server, second);
}

TEST_F(ServerTest, TheLastClientsBytesAreNotTheNextOnes)
{
    Server server = Make();
    Client first;
    Link(server, first, m_name);
    // More than Windows buffers: the write ends when all of it has been read, which here it never is.
    const OverlappedIo write = first.Write(MakeMessage(6000));
    OverlappedIo read = server.Read();
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    ASSERT_TRUE(read.IsPartial());
    server.Disconnect();
    Client second;
    Link(server, second, m_name);
    EXPECT_EQ(server.GetUnreadCharacterCount(), 0U);
    ExpectTalk(server, second);
}

TEST_F(ServerTest, CloseEndsWhatIsHeld)
{
    Server server = Make();
    Client client;
    Link(server, client, m_name);
    OverlappedIo read = server.Read();
    OverlappedIo write = server.Write(MakeMessage(8 * 1024 * 1024));
    server.Close();
    EXPECT_FALSE(server.IsOpen());
    EXPECT_EQ(server.GetRawHandle(), nullptr);
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsComplete());
    EXPECT_FALSE(read.IsSuccessful());
    EXPECT_TRUE(write.WaitForCompletion(LimitMs));
    EXPECT_FALSE(write.IsSuccessful());
    server.Close();
}

TEST_F(ServerTest, CloseEndsAPendingConnectAndFreesTheName)
{
    Server server = Make();
    OverlappedOp connect = server.Connect();
    server.Close();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_FALSE(connect.IsSuccessful());
    EXPECT_EQ(PipeCode([&] { (void)Open(0); }), NoSuchPipeCode());
    EXPECT_TRUE(Make().IsOpen());
}

TEST_F(ServerTest, AMovedServerGoesOn)
{
    Server first = Make();
    OverlappedOp connect = first.Connect();
    Server second(std::move(first));
    EXPECT_FALSE(first.IsOpen()); // NOLINT(bugprone-use-after-move): what is left is looked at
    EXPECT_EQ(RuntimeText([&] { (void)first.Connect(); }), "No valid pipe handle to connect");
    Client client = Open();
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
    ExpectTalk(second, client);
    Server third;
    third = std::move(second);
    EXPECT_EQ(third.GetName(), LR"(\\.\pipe\)" + m_name);
    EXPECT_EQ(third.GetBufferSize(), BufferSize);
    ExpectTalk(third, client);
}

TEST_F(ServerTest, ANewServerOverAnOldOneClosesThatFirst)
{
    Server server = Make();
    Client client;
    Link(server, client, m_name);
    OverlappedIo ofServer = server.Read();
    OverlappedIo ofClient = client.Read();
    const std::wstring other = m_names.Unique(L"other");
    server = Server(other, BufferSize, false, L"");
    EXPECT_TRUE(ofServer.WaitForCompletion(LimitMs));
    EXPECT_FALSE(ofServer.IsSuccessful());
    EXPECT_TRUE(ofClient.WaitForCompletion(LimitMs));
    EXPECT_FALSE(ofClient.IsSuccessful());
    EXPECT_EQ(PipeCode([&] { (void)Open(0); }), NoSuchPipeCode());
    Client next;
    Link(server, next, other);
    ExpectTalk(server, next);
}

TEST_F(ServerTest, ADestroyedServerEndsItsClient)
{
    Client client;
    {
        Server server = Make();
        Link(server, client, m_name);
    }
    EXPECT_NE(PipeCode([&] { (void)client.Read(); }), 0U);
    EXPECT_NE(PipeCode([&] { (void)client.Write(Bytes{1}); }), 0U);
}
