#include "shared.security-functions.hpp"

#include "contract.toolrunner.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-wine.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using Contract::RunTool;
using Shared::Raii::Win32Handle;
using TestSupport::InvalidArgumentText;
namespace Security = Shared::Security;

TEST(SecurityTest, ARestrictedTokenIsANewOneEachTime)
{
    const Win32Handle first = Security::CreateAdminRestrictedToken();
    const Win32Handle second = Security::CreateAdminRestrictedToken();
    EXPECT_TRUE(first.IsValid());
    EXPECT_FALSE(first == second);
}

TEST(SecurityTest, TheIdentityOfPathTestsIsMadeOnceAndEachCallerHasAHandleOfItsOwn)
{
    const Win32Handle first = Security::GetMtrChildProcessIdentity(true);
    const Win32Handle second = Security::GetMtrChildProcessIdentity(true);
    EXPECT_TRUE(first == second);
    EXPECT_NE(first.GetRawHandle(), second.GetRawHandle());
}

TEST(SecurityTest, TheIdentityOfOtherToolsIsOneOfItsOwn)
{
    const Win32Handle first = Security::GetCurlTcPingChildProcessIdentity(true);
    const Win32Handle second = Security::GetCurlTcPingChildProcessIdentity(true);
    EXPECT_TRUE(first == second);
    EXPECT_NE(first.GetRawHandle(), second.GetRawHandle());
    EXPECT_FALSE(first == Security::GetMtrChildProcessIdentity(true));
}

TEST(SecurityTest, ToolsRunWithTheRestrictedIdentities)
{
    EXPECT_EQ(RunTool({L"--print=3"}, Security::GetMtrChildProcessIdentity(true)), "012");
    EXPECT_EQ(RunTool({L"--print=4"}, Security::GetCurlTcPingChildProcessIdentity(true)), "0123");
}

TEST(SecurityTest, ToolsRunWithTheIdentitiesOfTheServiceAccount)
{
    if (TestSupport::IsWine())
    {
        GTEST_SKIP() << "Wine's logon gives no token";
    }
    EXPECT_EQ(RunTool({L"--print=3"}, Security::GetMtrChildProcessIdentity(false)), "012");
    EXPECT_EQ(RunTool({L"--print=4"}, Security::GetCurlTcPingChildProcessIdentity(false)), "0123");
}

TEST(SecurityTest, LoweringNoTokenIsRefused)
{
    EXPECT_EQ(InvalidArgumentText([] { Security::SetTokenToLowIntegrity({}); }), "Token cannot be null");
}

TEST(SecurityTest, LoweringATokenLeavesOthersAlone)
{
    const Win32Handle token = Security::CreateAdminRestrictedToken();
    Security::SetTokenToLowIntegrity(token);
    EXPECT_EQ(RunTool({L"--print=3"}, token), "012");
}

TEST(SecurityTest, TheSystemsOwnAccountCannotBeLoggedOn)
{
    EXPECT_EQ(
        TestSupport::Win32Text([] { (void)Security::LogonService(Security::WellKnownAccount::LocalSystem); }),
        "LogonUserW() failed");
    EXPECT_EQ(
        TestSupport::Win32Text(
            [] { (void)Security::LogonService(Security::WellKnownAccount::LocalSystem, "LogonUser() failed"); }),
        "LogonUser() failed");
}

TEST(SecurityTest, AProcessRunsAsOneAccountAtMost)
{
    int count = 0;
    for (const Security::WellKnownAccount account :
         {Security::WellKnownAccount::LocalSystem, Security::WellKnownAccount::NetworkService})
    {
        count += Security::IsRunningAs(account) ? 1 : 0;
    }
    EXPECT_LE(count, 1);
}
