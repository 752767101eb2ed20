#include "shared.winsock-winsockinitialiser.hpp"

#include <gtest/gtest.h>

namespace
{

using Shared::WinSock::WinSockInitialiser;

TEST(WinSockInitialiserContract, IsNotInitialisedUntilAsked)
{
    const WinSockInitialiser winsock;
    EXPECT_FALSE(winsock.IsInitialised());
}

TEST(WinSockInitialiserContract, InitialisesOnce)
{
    WinSockInitialiser winsock;
    winsock.Initialise();
    EXPECT_TRUE(winsock.IsInitialised());
    winsock.Initialise();
    EXPECT_TRUE(winsock.IsInitialised());
}

TEST(WinSockInitialiserContract, TwoMayLiveAtOnce)
{
    WinSockInitialiser first;
    first.Initialise();
    {
        WinSockInitialiser second;
        second.Initialise();
    }
    EXPECT_TRUE(first.IsInitialised());
}

} // namespace
