#include "shared.winsock-winsockinitialiser.hpp"

#include <array>
#include <cerrno>
#include <csignal>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

/// Starts from the default action and puts back what was there.
class SigPipeTest : public testing::Test
{
protected:
    SigPipeTest()
    {
        ::sigaction(SIGPIPE, nullptr, &m_before);
        std::signal(SIGPIPE, SIG_DFL);
    }

    ~SigPipeTest() override
    {
        ::sigaction(SIGPIPE, &m_before, nullptr);
    }

    static void (*Handler())(int)
    {
        struct sigaction current
        {
        };

        ::sigaction(SIGPIPE, nullptr, &current);
        return current.sa_handler;
    }

private:
    struct sigaction m_before
    {
    };
};

TEST_F(SigPipeTest, WritingToASocketWithoutAnotherEndIsAnErrorAndNoDeath)
{
    Shared::WinSock::WinSockInitialiser winsock;
    winsock.Initialise();
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    ::close(ends[1]);
    EXPECT_EQ(::write(ends[0], "x", 1), -1);
    EXPECT_EQ(errno, EPIPE);
    ::close(ends[0]);
}

TEST_F(SigPipeTest, StaysIgnoredBehindTheInitialiser)
{
    {
        Shared::WinSock::WinSockInitialiser winsock;
        winsock.Initialise();
    }
    EXPECT_EQ(Handler(), SIG_IGN);
}

TEST_F(SigPipeTest, AnInstalledHandlerIsLeftAlone)
{
    const auto handler = [](int) {
    };
    std::signal(SIGPIPE, handler);
    Shared::WinSock::WinSockInitialiser winsock;
    winsock.Initialise();
    EXPECT_EQ(Handler(), static_cast<void (*)(int)>(handler));
}

} // namespace
