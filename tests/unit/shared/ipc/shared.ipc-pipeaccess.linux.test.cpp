#include "shared.ipc-pipeaccess.linux.hpp"

#include <string>

#include <gtest/gtest.h>

#include <unistd.h>

using Shared::Ipc::Native::FindReducedUser;
using Shared::Ipc::Native::PipeAccess;
using Shared::Ipc::Native::ReadDescriptor;

namespace
{

/// A user that nobody is.
constexpr uid_t Stranger = 54321;

bool GrantsToReduced(std::wstring_view descriptor)
{
    const auto grants = ReadDescriptor(descriptor);
    EXPECT_TRUE(grants.has_value()) << std::string(descriptor.begin(), descriptor.end());
    return grants.has_value() && grants->toReducedAccount;
}

} // namespace

TEST(PipeAccessTest, AnEmptyDescriptorIsForTheOwnUserAndRoot)
{
    const auto access = PipeAccess::FromDescriptor(L"");
    ASSERT_TRUE(access.has_value());
    EXPECT_TRUE(access->GetOthers().empty());
    EXPECT_TRUE(access->Admits(0));
    EXPECT_TRUE(access->Admits(::geteuid()));
    EXPECT_FALSE(access->Admits(Stranger));
}

TEST(PipeAccessTest, TheReducedAccountIsAdmittedWhereTheDescriptorSaysSo)
{
    const auto reduced = FindReducedUser();
    if (!reduced)
    {
        GTEST_SKIP() << "this system has no user nobody";
    }
    const auto access = PipeAccess::FromDescriptor(L"D:(A;;GRGW;;;NS)");
    ASSERT_TRUE(access.has_value());
    EXPECT_TRUE(access->Admits(*reduced));
    EXPECT_TRUE(access->Admits(::geteuid()));
    EXPECT_FALSE(access->Admits(Stranger));
    const auto ofUsers = PipeAccess::FromDescriptor(L"D:(A;;GRGW;;;BU)");
    ASSERT_TRUE(ofUsers.has_value());
    EXPECT_TRUE(ofUsers->GetOthers().empty());
}

TEST(PipeAccessTest, WhatIsNoDescriptorIsNone)
{
    EXPECT_FALSE(PipeAccess::FromDescriptor(L"nonsense").has_value());
}

TEST(ReadDescriptorTest, TheDescriptorsOfTheAgentMeanWhatTheySay)
{
    EXPECT_FALSE(GrantsToReduced(L""));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;GRGW;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;GRGW;;;LS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;GRGW;;;BU)"));
}

TEST(ReadDescriptorTest, BothReadingAndWritingAreNeeded)
{
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;GR;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;GW;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;RCSD;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;GR;;;NS)(A;;GW;;;LS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;FRFW;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;GA;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;FA;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;0xC0000000;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(A;;0X12019f;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;0x80100000;;;NS)"));
}

TEST(ReadDescriptorTest, ADenialCountsMore)
{
    EXPECT_FALSE(GrantsToReduced(L"D:(D;;GW;;;NS)(A;;GRGW;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"D:(A;;GRGW;;;NS)(D;;GA;;;NS)"));
    EXPECT_TRUE(GrantsToReduced(L"D:(D;;GRGW;;;BU)(A;;GRGW;;;NS)"));
}

TEST(ReadDescriptorTest, OnlyTheAccessListGrants)
{
    EXPECT_FALSE(GrantsToReduced(L"S:(A;;GRGW;;;NS)"));
    EXPECT_FALSE(GrantsToReduced(L"O:NSG:NS"));
    EXPECT_TRUE(GrantsToReduced(L"O:BAG:SYD:PAI(A;;GRGW;;;NS)S:(ML;;NW;;;LW)"));
    EXPECT_TRUE(GrantsToReduced(L"D:P(A;OICI;GRGW;;;S-1-5-20)(A;;GA;;;S-1-5-21-1-2-3-1000)"));
    EXPECT_FALSE(GrantsToReduced(L"D:"));
    EXPECT_FALSE(GrantsToReduced(L"D:P"));
}

TEST(ReadDescriptorTest, WhatHasAnotherFormIsRefused)
{
    for (const wchar_t* const text :
         {L"x",
          L"D",
          L"D(A;;GA;;;NS)",
          L"X:(A;;GA;;;NS)",
          L"D:(A;;GA;;;NS",
          L"D:A;;GA;;;NS)",
          L"D:(A;;GA;;NS)",
          L"D:(;;GA;;;NS)",
          L"D:(a;;GA;;;NS)",
          L"D:(A;;ga;;;NS)",
          L"D:(A;;GAG;;;NS)",
          L"D:(A;;0x;;;NS)",
          L"D:(A;;0x123456789;;;NS)",
          L"D:(A;;0xG;;;NS)",
          L"D:(A;;GA;;;)",
          L"D:(A;;GA;;;nobody)",
          L"D:(A;;GA;;;S-1-)",
          L"D:(A;;GA;;;S-1-5-x)",
          L"D:()",
          L"D:(A;;GA;;;NS)D:(A;;GA;;;NS)",
          L"O:",
          L"O:N",
          L"O:NSx",
          L"O::",
          L" D:(A;;GA;;;NS)",
          L"D:(A;;GA;;;NS) ",
          L"D: (A;;GA;;;NS)"})
    {
        const std::wstring wide(text);
        EXPECT_FALSE(ReadDescriptor(wide).has_value()) << std::string(wide.begin(), wide.end());
    }
}
