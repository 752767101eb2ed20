#include "shared.concurrency-functions.hpp"

#include "contract.concurrencychild.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

using Contract::OwnId;
using Contract::OwnProgramName;
using Shared::Concurrency::GetProcessIDByName;

TEST(ProcessSessionTest, OnlyProcessesOfTheSessionAreFound)
{
    DWORD session = 0;
    ASSERT_NE(::ProcessIdToSessionId(OwnId(), &session), FALSE);
    const auto isFound = [](DWORD wanted)
    {
        const std::vector<std::uint32_t> ids = GetProcessIDByName(OwnProgramName(), static_cast<std::int32_t>(wanted));
        return std::find(ids.begin(), ids.end(), OwnId()) != ids.end();
    };
    EXPECT_TRUE(isFound(session));
    EXPECT_FALSE(isFound(session + 1));
}
