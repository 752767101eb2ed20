#include "shared.ipc-pipesocket.linux.hpp"

#include "contract.pipechild.hpp"
#include "contract.pipes.hpp"
#include "shared.ipc-pipeconnection.linux.hpp"
#include "shared.ipc-pipeframes.hpp"
#include "shared.ipc-pipeioexception.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.time-clockcontrol.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Contract;
using Shared::Concurrency::OverlappedIo;
using Shared::Ipc::PipeIoException;
using Shared::Ipc::Native::FindReducedUser;
using Shared::Raii::Win32Handle;
using Shared::Raii::Native::DescriptorOf;
using Shared::Raii::Native::FromDescriptor;
using TestSupport::LimitMs;
using TestSupport::QuietMs;

namespace
{

std::vector<std::filesystem::path> FilesOf(const std::string& folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        files.push_back(entry.path());
    }
    return files;
}

class PipeNodeTest : public testing::Test
{
protected:
    Server Make(const std::wstring& name = L"node", const std::wstring& descriptor = {}) const
    {
        return {name, BufferSize, false, descriptor};
    }

    std::filesystem::path Node(const std::string& name = "node") const
    {
        return std::filesystem::path(m_names.Folder()) / (name + ".pipe");
    }

    std::uint32_t MakeCode(const std::wstring& name = L"node") const
    {
        try
        {
            (void)Make(name);
        }
        catch (const PipeIoException& exception)
        {
            return exception.GetCode();
        }
        return 0;
    }

    static std::uint32_t OpenCode(const std::wstring& name = L"node")
    {
        try
        {
            (void)Client(name, BufferSize, 0);
        }
        catch (const PipeIoException& exception)
        {
            return exception.GetCode();
        }
        return 0;
    }

    /// Connects as a program would that is not ours.
    Win32Handle ConnectBare(const std::string& name = "node") const
    {
        Win32Handle socket(FromDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)));
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        Node(name).string().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(
            ::connect(DescriptorOf(socket.GetRawHandle()), reinterpret_cast<const sockaddr*>(&address), sizeof address),
            0);
        return socket;
    }

    static Bytes ReceiveBare(const Win32Handle& socket)
    {
        Bytes packet(200'000);
        const ssize_t size = ::recv(DescriptorOf(socket.GetRawHandle()), packet.data(), packet.size(), 0);
        packet.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
        return packet;
    }

    static void SendBare(const Win32Handle& socket, const Bytes& packet)
    {
        ASSERT_EQ(
            ::send(DescriptorOf(socket.GetRawHandle()), packet.data(), packet.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(packet.size()));
    }

    TestSupport::EventNames m_names;
};

/// Runs `work` in a child process under another user; its result. It must not use a pipe: the completion thread stays with
/// the parent.
int AsUser(uid_t user, const std::function<int()>& work)
{
    const pid_t child = ::fork();
    if (child == 0)
    {
        const bool isOther = ::setgroups(0, nullptr) == 0 && ::setresuid(user, user, user) == 0;
        ::_exit(isOther ? work() : 111);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST_F(PipeNodeTest, APipeIsASocketForItsUserAlone)
{
    const Server server = Make();
    struct stat status = {};
    ASSERT_EQ(::lstat(Node().c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

TEST_F(PipeNodeTest, TheNodeGoesWithTheServer)
{
    {
        const Server server = Make();
        EXPECT_TRUE(std::filesystem::exists(Node()));
    }
    EXPECT_TRUE(FilesOf(m_names.Folder()).empty());
}

TEST_F(PipeNodeTest, WhatADeadServerLeftIsReplaced)
{
    {
        PipeChild child("--serve", L"node");
        for (const TestSupport::Stopwatch watch; OpenCode() == ENOENT && watch.ElapsedMs() < LimitMs;)
        {
        }
        child.Kill();
    }
    ASSERT_TRUE(std::filesystem::exists(Node()));
    EXPECT_EQ(OpenCode(), std::uint32_t{ENOENT});
    Server server = Make();
    auto connect = server.Connect();
    EXPECT_EQ(OpenCode(), 0U);
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
}

TEST_F(PipeNodeTest, WhatDeadServersOfOtherNamesLeftIsRemovedAndTheLivingStay)
{
    {
        PipeChild child("--serve", L"dead");
        for (const TestSupport::Stopwatch watch; OpenCode(L"dead") == ENOENT && watch.ElapsedMs() < LimitMs;)
        {
        }
        child.Kill();
    }
    std::ofstream(Node("file")) << "no socket";
    Server living = Make(L"living");
    auto connect = living.Connect();
    const Server server = Make();
    EXPECT_FALSE(std::filesystem::exists(Node("dead")));
    EXPECT_TRUE(std::filesystem::exists(Node("file")));
    EXPECT_TRUE(std::filesystem::exists(Node("living")));
    // Looking at it was not taken for a client.
    EXPECT_FALSE(connect.WaitForCompletion(QuietMs));
    EXPECT_EQ(OpenCode(L"living"), 0U);
}

TEST_F(PipeNodeTest, SomethingElseInTheNodesPlaceIsRefusedAndStays)
{
    std::ofstream(Node()) << "no socket";
    EXPECT_EQ(MakeCode(), std::uint32_t{EACCES});
    EXPECT_EQ(OpenCode(), std::uint32_t{ENOENT});
    EXPECT_EQ(std::filesystem::file_size(Node()), 9U);
}

TEST_F(PipeNodeTest, ALinkInTheNodesPlaceIsNotFollowed)
{
    std::filesystem::create_symlink(std::filesystem::path(m_names.Folder()) / "elsewhere", Node());
    EXPECT_EQ(MakeCode(), std::uint32_t{EACCES});
    EXPECT_FALSE(std::filesystem::exists(std::filesystem::path(m_names.Folder()) / "elsewhere"));
}

TEST_F(PipeNodeTest, NoNameLeavesTheRuntimeDirectory)
{
    const Server server = Make(L"../../escaped");
    ASSERT_EQ(FilesOf(m_names.Folder()).size(), 1U);
    EXPECT_EQ(FilesOf(m_names.Folder()).front().parent_path(), m_names.Folder());
}

TEST_F(PipeNodeTest, ANameThatIsTooLongIsRefused)
{
    const std::wstring name(300, L'n');
    EXPECT_EQ(MakeCode(name), std::uint32_t{ENAMETOOLONG});
    EXPECT_EQ(OpenCode(name), std::uint32_t{ENAMETOOLONG});
}

TEST_F(PipeNodeTest, ALongRuntimeDirectoryIsNoHindrance)
{
    const std::string folder = m_names.Folder() + "/" + std::string(120, 'd');
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    ::setenv("RUNTIME_DIRECTORY", folder.c_str(), 1);
    {
        Server server(L"6b29fc40-ca47-1067-b31d-00dd010662da", BufferSize, false, L"");
        auto connect = server.Connect();
        Client client(L"6b29fc40-ca47-1067-b31d-00dd010662da", BufferSize, LimitMs);
        EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
        EXPECT_EQ(FilesOf(folder).size(), 1U);
    }
    EXPECT_TRUE(FilesOf(folder).empty());
    ::setenv("RUNTIME_DIRECTORY", m_names.Folder().c_str(), 1);
}

TEST_F(PipeNodeTest, AFolderThatOthersCanWriteIsNotTrusted)
{
    const Server server = Make();
    ASSERT_EQ(::chmod(m_names.Folder().c_str(), 0777), 0);
    EXPECT_EQ(OpenCode(), std::uint32_t{ENOENT});
    ASSERT_EQ(::chmod(m_names.Folder().c_str(), 0700), 0);
    EXPECT_EQ(OpenCode(), 0U);
}

TEST_F(PipeNodeTest, DescriptorsAreNotHandedToChildren)
{
    Server server = Make();
    auto connect = server.Connect();
    Client client(L"node", BufferSize, LimitMs);
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    OverlappedIo read = server.Read();
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        const int descriptor = std::stoi(entry.path().filename());
        std::error_code ignored;
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored);
        if (target.starts_with("socket:") || target.starts_with("anon_inode:"))
        {
            EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << target;
        }
    }
}

class PipeAccountTest : public PipeNodeTest
{
protected:
    void SetUp() override
    {
        if (::geteuid() != 0 || !m_reduced)
        {
            GTEST_SKIP() << "only root can be somebody else";
        }
    }

    /// The code with which another user fails to open the pipe; 0 when it says a byte to the server.
    static int OpenAs(uid_t user)
    {
        return AsUser(
            user,
            []
            {
                Win32Handle socket;
                const std::uint32_t code = Shared::Ipc::Native::ConnectToPipe(LR"(\\.\pipe\node)", LimitMs, socket);
                if (code == 0)
                {
                    const std::array<char, 5> packet = {1, 0, 0, 0, 7};
                    (void)::send(DescriptorOf(socket.GetRawHandle()), packet.data(), packet.size(), MSG_NOSIGNAL);
                }
                return static_cast<int>(code);
            });
    }

    /// A user that nobody is.
    static constexpr uid_t Stranger = 54321;
    const std::optional<uid_t> m_reduced = FindReducedUser();
};

TEST_F(PipeAccountTest, TheReducedAccountGetsInWhereTheDescriptorSaysSo)
{
    Server server = Make(L"node", L"D:(A;;GRGW;;;NS)");
    auto connect = server.Connect();
    EXPECT_EQ(OpenAs(Stranger), EACCES);
    EXPECT_EQ(OpenAs(*m_reduced), 0);
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    EXPECT_EQ(Receive(server), Bytes{7});
}

TEST_F(PipeAccountTest, OtherwiseOnlyTheOwnUserDoes)
{
    Server server = Make();
    auto connect = server.Connect();
    EXPECT_EQ(OpenAs(*m_reduced), EACCES);
    EXPECT_FALSE(connect.WaitForCompletion(QuietMs));
    EXPECT_EQ(OpenAs(0), 0);
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
}

TEST_F(PipeAccountTest, WhoGetsToTheNodeByMistakeIsDeniedAndTheNextOneGetsIn)
{
    Server server = Make();
    auto connect = server.Connect();
    ASSERT_EQ(::chmod(m_names.Folder().c_str(), 0711), 0);
    ASSERT_EQ(::chmod(Node().c_str(), 0666), 0);
    EXPECT_EQ(OpenAs(Stranger), EACCES);
    EXPECT_FALSE(connect.WaitForCompletion(QuietMs));
    EXPECT_EQ(OpenAs(0), 0);
    EXPECT_TRUE(connect.WaitForCompletion(LimitMs));
}

TEST_F(PipeAccountTest, TheFoldersOtherNodesStayClosed)
{
    Server server = Make(L"node", L"D:(A;;GRGW;;;NS)");
    const Server other = Make(L"other");
    struct stat status = {};
    ASSERT_EQ(::stat(m_names.Folder().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0711U);
    ASSERT_EQ(::lstat(Node().c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, *m_reduced);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    ASSERT_EQ(::lstat(Node("other").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(PipeNodeTest, ABareClientIsGreetedAndTalks)
{
    Server server = Make();
    auto connect = server.Connect();
    const Win32Handle bare = ConnectBare();
    EXPECT_EQ(ReceiveBare(bare), (Bytes{0, 0, 0, 0}));
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    SendBare(bare, {2, 0, 0, 0, 'h', 'i'});
    EXPECT_EQ(Receive(server), ToBytes("hi"));
    EXPECT_TRUE(Send(server, ToBytes("ho")));
    EXPECT_EQ(ReceiveBare(bare), (Bytes{2, 0, 0, 0, 'h', 'o'}));
}

TEST_F(PipeNodeTest, ASecondBareClientIsToldAndLeft)
{
    Server server = Make();
    auto connect = server.Connect();
    const Win32Handle first = ConnectBare();
    EXPECT_EQ(ReceiveBare(first), (Bytes{0, 0, 0, 0}));
    const Win32Handle second = ConnectBare();
    EXPECT_EQ(ReceiveBare(second), (Bytes{1, 0, 0, 0}));
    EXPECT_TRUE(ReceiveBare(second).empty());
}

TEST_F(PipeNodeTest, AServerThatDoesNotAnswerEndsTheOpeningByItsTimeLimit)
{
    // Somebody of our own user who listens and never greets.
    Shared::Ipc::Native::ListeningSocket listening;
    ASSERT_EQ(Shared::Ipc::Native::ListenForPipe(LR"(\\.\pipe\node)", {}, listening), 0U);
    EXPECT_EQ(OpenCode(), 258U);
    std::filesystem::remove(listening.path);
}

TEST_F(PipeNodeTest, TheRestOfAMessageThatNeverComesTimesOut)
{
    Server server = Make();
    auto connect = server.Connect();
    const Win32Handle bare = ConnectBare();
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    OverlappedIo read = server.Read();
    // 100,000 bytes are promised.
    Bytes packet(4 + 40'000);
    packet[0] = 0xA0;
    packet[1] = 0x86;
    packet[2] = 0x01;
    SendBare(bare, packet);
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_TRUE(read.IsPartial());
    Shared::Time::ClockControl::SetSpeed(100);
    try
    {
        (void)Shared::Ipc::CompleteRead(server, read);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const PipeIoException& exception)
    {
        EXPECT_EQ(
            TestSupport::BareText(exception.what()), R"(CompleteRead() partial read timed out on pipe \\.\pipe\node)");
        EXPECT_EQ(exception.GetCode(), 0U);
    }
    Shared::Time::ClockControl::Reset();
    // The read that timed out still has the bytes' place; the pipe can be closed over it.
    server.Close();
}

TEST_F(PipeNodeTest, AClientThatGoesBeforeTheRestOfItsMessageIsTold)
{
    Server server = Make();
    auto connect = server.Connect();
    std::optional<Win32Handle> bare = ConnectBare();
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    OverlappedIo read = server.Read();
    Bytes packet(4 + 40'000);
    packet[0] = 0xA0;
    packet[1] = 0x86;
    packet[2] = 0x01;
    SendBare(*bare, packet);
    ASSERT_TRUE(read.WaitForCompletion(LimitMs));
    std::thread leaver(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(30));
            bare.reset();
        });
    try
    {
        (void)Shared::Ipc::CompleteRead(server, read);
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const PipeIoException& exception)
    {
        const std::string text = exception.what();
        EXPECT_NE(
            text.find(R"(CompleteRead(): partial read failed on pipe \\.\pipe\node (last error: 997, internal status: )"
                      "2147483653) --> "),
            std::string::npos)
            << text;
        EXPECT_EQ(exception.GetCode(), 0xC000014BU);
    }
    leaver.join();
}

TEST_F(PipeNodeTest, AClientThatBreaksTheRulesIsABrokenPipe)
{
    Server server = Make();
    auto connect = server.Connect();
    const Win32Handle bare = ConnectBare();
    ASSERT_TRUE(connect.WaitForCompletion(LimitMs));
    OverlappedIo read = server.Read();
    SendBare(bare, {1, 2, 3});
    EXPECT_TRUE(read.WaitForCompletion(LimitMs));
    EXPECT_EQ(read.GetStatus(), 0xC000014BU);
    EXPECT_THROW((void)server.Read(), PipeIoException);
}
