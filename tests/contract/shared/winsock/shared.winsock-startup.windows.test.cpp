#include "shared.winsock-winsockinitialiser.hpp"

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

namespace
{

bool SocketsWork()
{
    const SOCKET socket = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
    if (socket == INVALID_SOCKET)
    {
        return false;
    }
    ::closesocket(socket);
    return true;
}

TEST(WinSockStartupTest, SocketsWorkExactlyWhileOneLives)
{
    ASSERT_FALSE(SocketsWork());
    {
        Shared::WinSock::WinSockInitialiser winsock;
        winsock.Initialise();
        winsock.Initialise();
        EXPECT_TRUE(SocketsWork());
    }
    EXPECT_FALSE(SocketsWork());
}

} // namespace
