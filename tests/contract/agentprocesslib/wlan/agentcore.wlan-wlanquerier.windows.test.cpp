#include <gtest/gtest.h>

#include "agentcore.wlan-wlanquerier.hpp"

#include "shared.platform-windows.windows.hpp"

namespace
{

TEST(WlanLibraryTest, IsNoConditionForTheProgramToStart)
{
    // Editions of Windows for servers come without it, and would not start a program that imports it.
    EXPECT_EQ(::GetModuleHandleW(L"wlanapi.dll"), nullptr);
    {
        const AgentCore::Wlan::WlanQuerier querier;
        EXPECT_EQ(::GetModuleHandleW(L"wlanapi.dll") != nullptr, querier.HasClient());
    }
}

} // namespace
