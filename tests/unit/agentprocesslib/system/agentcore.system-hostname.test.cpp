#include "agentcore.system-hostname.hpp"

#include <gtest/gtest.h>

namespace
{

using AgentCore::System::FindHostNames;
using AgentCore::System::HostNames;

TEST(HostNamesTest, AFullHostNameHasItsDomainInIt)
{
    EXPECT_EQ(
        FindHostNames("fern.corp.test\n", "nis.test\n", "127.0.1.1 fern.hosts.test fern\n"),
        (HostNames{"fern", "corp.test"}));
}

TEST(HostNamesTest, TheHostsFileMayTellTheDomain)
{
    EXPECT_EQ(
        FindHostNames(
            "fern\n", "nis.test\n",
            "# 127.0.1.1 fern.wrong.test\n127.0.0.1 localhost\n127.0.1.1\tFERN.corp.test fern # x\n"),
        (HostNames{"fern", "corp.test"}));
}

TEST(HostNamesTest, OtherHostsOfTheFileDoNotCount)
{
    EXPECT_EQ(
        FindHostNames("fern", "(none)", "10.0.0.1 moss.corp.test moss\n10.0.0.2 fern\n"), (HostNames{"fern", ""}));
    EXPECT_EQ(FindHostNames("fern", "(none)", "fern.corp.test\n"), (HostNames{"fern", ""})) << "that is no address";
}

TEST(HostNamesTest, TheKernelsDomainComesLast)
{
    EXPECT_EQ(FindHostNames("fern", "nis.test\n", ""), (HostNames{"fern", "nis.test"}));
    EXPECT_EQ(FindHostNames("fern", "(none)\n", ""), (HostNames{"fern", ""}));
}

TEST(HostNamesTest, SenselessTextsGiveWhatTheyCan)
{
    EXPECT_EQ(FindHostNames("", "", ""), HostNames{});
    EXPECT_EQ(FindHostNames("fern.", "", ""), (HostNames{"fern", ""}));
    EXPECT_EQ(FindHostNames(".", "", "1 .x"), HostNames{});
}

} // namespace
