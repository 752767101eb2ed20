#include "shared.security-identity.linux.hpp"

#include "shared.platform-errors.hpp"
#include "shared.raii-nativehandle.linux.hpp"
#include "shared.raii-win32handle.hpp"

#include <cerrno>
#include <utility>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using Shared::Raii::Win32Handle;
using Shared::Security::Identity;
using Shared::Security::MakeToken;
using Shared::Security::ReadToken;
using Shared::Security::RewriteToken;
using Shared::Security::TakeOn;

namespace
{

Identity Somebody()
{
    Identity identity;
    identity.changesUser = 1;
    identity.userId = 1234;
    identity.groupId = 5678;
    identity.groupCount = 2;
    identity.groups[0] = 11;
    identity.groups[1] = 12;
    identity.isRestricted = 1;
    return identity;
}

/// What `question` says in a process that has called `change` before; 100 if that failed.
template <typename Change, typename Question>
int InCopy(Change change, Question question)
{
    const pid_t copy = ::fork();
    if (copy == 0)
    {
        ::_exit(change() == 0 ? question() : 100);
    }
    int status = 0;
    ::waitpid(copy, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}

bool IsRoot()
{
    return ::geteuid() == 0;
}

} // namespace

TEST(TokenTest, ItGivesBackWhatItHolds)
{
    const Win32Handle token(MakeToken(Somebody()));
    ASSERT_TRUE(token.IsValid());
    EXPECT_FALSE(token.IsInheritable());
    Identity identity;
    ASSERT_TRUE(ReadToken(token.GetRawHandle(), identity));
    EXPECT_EQ(identity.changesUser, 1U);
    EXPECT_EQ(identity.userId, 1234U);
    EXPECT_EQ(identity.groupId, 5678U);
    EXPECT_EQ(identity.groupCount, 2U);
    EXPECT_EQ(identity.groups[1], 12U);
    EXPECT_EQ(identity.isRestricted, 1U);
    EXPECT_EQ(identity.hasLowIntegrity, 0U);
}

TEST(TokenTest, DuplicatesShareWhatItHolds)
{
    const Win32Handle token(MakeToken(Somebody()));
    const Win32Handle duplicate = token.Duplicate();
    Identity changed = Somebody();
    changed.hasLowIntegrity = 1;
    ASSERT_TRUE(RewriteToken(token.GetRawHandle(), changed));
    Identity identity;
    ASSERT_TRUE(ReadToken(duplicate.GetRawHandle(), identity));
    EXPECT_EQ(identity.hasLowIntegrity, 1U);
    EXPECT_TRUE(token == duplicate);
    EXPECT_FALSE(token == Win32Handle(MakeToken(changed)));
}

TEST(TokenTest, WhatIsNoTokenIsRefused)
{
    const Win32Handle nowhere(Shared::Raii::Native::FromDescriptor(::open("/dev/zero", O_RDWR | O_CLOEXEC)));
    Identity identity = Somebody();
    EXPECT_FALSE(ReadToken(nowhere.GetRawHandle(), identity));
    EXPECT_FALSE(RewriteToken(nowhere.GetRawHandle(), identity));
    EXPECT_EQ(identity.userId, 1234U);
    EXPECT_FALSE(ReadToken(nullptr, identity));
    EXPECT_EQ(Shared::Platform::LastError(), static_cast<std::uint32_t>(EBADF));
}

TEST(TakeOnTest, AnIdentityAsInitialisedChangesNothing)
{
    const auto same = [user = ::geteuid()]
    {
        return ::geteuid() == user && ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 0 ? 0 : 1;
    };
    EXPECT_EQ(InCopy([] { return TakeOn({}, -1); }, same), 0);
}

TEST(TakeOnTest, TheUserTheGroupAndTheGroupsAreTakenOn)
{
    if (!IsRoot())
    {
        GTEST_SKIP() << "only root may become somebody else";
    }
    const auto isSomebody = []
    {
        std::array<gid_t, 4> groups{};
        const bool hasGroups = ::getgroups(4, groups.data()) == 2 && groups[0] == 11 && groups[1] == 12;
        return ::getuid() == 1234 && ::geteuid() == 1234 && ::getgid() == 5678 && hasGroups ? 0 : 1;
    };
    EXPECT_EQ(InCopy([] { return TakeOn(Somebody(), -1); }, isSomebody), 0);
}

TEST(TakeOnTest, WhoMayNotBecomeSomebodyElseDoesNotHalfwayEither)
{
    const auto attempt = []
    {
        Identity first = Somebody();
        if (IsRoot() && TakeOn(first, -1) != 0)
        {
            return 99;
        }
        Identity other = Somebody();
        other.userId = 4321;
        return TakeOn(other, -1) == EPERM ? 0 : 1;
    };
    EXPECT_EQ(InCopy(attempt, [] { return 0; }), 0);
}

TEST(TakeOnTest, ARestrictedProcessHasNoNewPrivilegesAndNoCapabilities)
{
    Identity restricted;
    restricted.isRestricted = 1;
    const auto isRestricted = []
    {
        const bool hasNone = !Shared::Security::HasRawSockets();
        return hasNone && ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1 ? 0 : 1;
    };
    EXPECT_EQ(InCopy([&] { return TakeOn(restricted, -1); }, isRestricted), 0);
}

TEST(TakeOnTest, RawSocketsStayWhereTheyAreToStay)
{
    if (!Shared::Security::HasRawSockets())
    {
        GTEST_SKIP() << "this process may not open raw sockets";
    }
    Identity ofPathTests = Somebody();
    ofPathTests.changesUser = IsRoot() ? 1 : 0;
    ofPathTests.keepsRawSockets = 1;
    const auto hasThem = []
    {
        return Shared::Security::HasRawSockets() ? 0 : 1;
    };
    EXPECT_EQ(InCopy([&] { return TakeOn(ofPathTests, -1); }, hasThem), 0);
}

TEST(TakeOnTest, ARulesetThatIsNoneIsRefused)
{
    Identity restricted;
    restricted.isRestricted = 1;
    const int file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(InCopy([&] { return TakeOn(restricted, file) == 0 ? 1 : 0; }, [] { return 0; }), 0);
    ::close(file);
}

TEST(RestrictDescendantsTest, NoCapabilityButRawSocketsCanBeHadAgain)
{
    constexpr int RawSockets = 13;
    constexpr int ChangeUser = 7;
    const auto isBounded = []
    {
        if (::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) != 1)
        {
            return 1;
        }
        const bool isLeft = ::prctl(PR_CAPBSET_READ, RawSockets, 0, 0, 0) == 1;
        const bool isGone = ::prctl(PR_CAPBSET_READ, ChangeUser, 0, 0, 0) == 0;
        return !IsRoot() || (isLeft && isGone) ? 0 : 2;
    };
    EXPECT_EQ(InCopy([] { return Shared::Security::RestrictDescendants(); }, isBounded), 0);
}
