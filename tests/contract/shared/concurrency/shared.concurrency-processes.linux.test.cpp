#include "shared.concurrency-functions.hpp"

#include "contract.concurrencychild.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Contract::OwnId;
using Contract::OwnProgramName;
using Shared::Concurrency::GetProcessIDByName;
using TestSupport::Win32Text;

namespace
{

constexpr const char* SessionFile = "/proc/self/sessionid";

bool IsFoundInSession(std::int32_t sessionId)
{
    const std::vector<std::uint32_t> ids = GetProcessIDByName(OwnProgramName(), sessionId);
    return std::find(ids.begin(), ids.end(), OwnId()) != ids.end();
}

/// The kernel's number of the login session; the highest number means none.
std::uint32_t ReadSession()
{
    std::uint32_t session = 0;
    std::ifstream(SessionFile) >> session;
    return session;
}

} // namespace

TEST(ProcessSessionTest, ASessionThatTheKernelDoesNotTellIsAFailure)
{
    if (std::filesystem::exists(SessionFile))
    {
        GTEST_SKIP() << "this kernel tells the session of every process";
    }
    EXPECT_EQ(Win32Text([] { (void)IsFoundInSession(0); }), "ProcessIdToSessionId() failed");
}

TEST(ProcessSessionTest, OnlyProcessesOfTheSessionAreFound)
{
    if (!std::filesystem::exists(SessionFile))
    {
        GTEST_SKIP() << "this kernel does not tell sessions";
    }
    if (ReadSession() == std::numeric_limits<std::uint32_t>::max())
    {
        EXPECT_FALSE(IsFoundInSession(0));
        EXPECT_FALSE(IsFoundInSession(std::numeric_limits<std::int32_t>::max()));
        // A process of no session can begin one, if it is allowed to, by saying who logged in.
        std::ofstream("/proc/self/loginuid") << 0;
    }
    const std::uint32_t session = ReadSession();
    if (session > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max()))
    {
        GTEST_SKIP() << "this process belongs to no session and may not begin one";
    }
    EXPECT_TRUE(IsFoundInSession(static_cast<std::int32_t>(session)));
    EXPECT_FALSE(IsFoundInSession(static_cast<std::int32_t>(session) + 1));
}
