#include "shared.security-functions.hpp"

#include "contract.toolrunner.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-wine.hpp"

#include <gtest/gtest.h>

#include "shared.platform-windows.windows.hpp"

using Contract::Report;
using Contract::RunTool;
using Shared::Raii::Win32Handle;
namespace Security = Shared::Security;

namespace
{

constexpr const char* LowIntegrity = "S-1-16-4096";
constexpr const char* NetworkService = "S-1-5-20";

} // namespace

TEST(TokenOfWindowsTest, ARestrictedChildIsTheSameUserWithOnePrivilege)
{
    const Report own(RunTool({L"--report"}));
    const Report restricted(RunTool({L"--report"}, Security::CreateAdminRestrictedToken()));
    EXPECT_NE(own.One("user"), "(none)");
    EXPECT_EQ(restricted.One("user"), own.One("user"));
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's restricted tokens keep their privileges";
    }
    EXPECT_EQ(restricted.One("privileges"), "1");
}

TEST(TokenOfWindowsTest, ATokenCanBeLowered)
{
    const Win32Handle token = Security::GetCurlTcPingChildProcessIdentity(true);
    const Report report(RunTool({L"--report"}, token));
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine does not change the label of a token";
    }
    EXPECT_EQ(report.One("integrity"), LowIntegrity);
}

TEST(TokenOfWindowsTest, PathTestsAreNotLowered)
{
    (void)Security::GetCurlTcPingChildProcessIdentity(true);
    EXPECT_NE(
        Report(RunTool({L"--report"}, Security::GetMtrChildProcessIdentity(true))).One("integrity"), LowIntegrity);
}

TEST(TokenOfWindowsTest, ToolsRunAsTheNetworkService)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's logon gives no token";
    }
    EXPECT_EQ(Report(RunTool({L"--report"}, Security::GetMtrChildProcessIdentity(false))).One("user"), NetworkService);
    EXPECT_EQ(
        Report(RunTool({L"--report"}, Security::GetCurlTcPingChildProcessIdentity(false))).One("user"), NetworkService);
}

TEST(TokenOfWindowsTest, AHandleThatIsNoTokenCannotBeLowered)
{
    const Win32Handle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine accepts every handle for this";
    }
    EXPECT_EQ(TestSupport::Win32Text([&] { Security::SetTokenToLowIntegrity(event); }), "SetTokenInformation() failed");
}
