#include "shared.system-osrelease.linux.hpp"

#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using Shared::System::MakeOsVersion;
using Shared::System::OsRelease;
using Shared::System::ParseOsRelease;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

TEST(OsReleaseTest, ReadsBareAndQuotedValues)
{
    EXPECT_THAT(
        ParseOsRelease("ID=debian\nNAME=\"Debian GNU/Linux\"\nVERSION_ID='12'\n"),
        ElementsAre(Pair("ID", "debian"), Pair("NAME", "Debian GNU/Linux"), Pair("VERSION_ID", "12")));
}

TEST(OsReleaseTest, UndoesEscapesOutsideOfSingleQuotes)
{
    EXPECT_THAT(
        ParseOsRelease("A=\"a \\\"b\\\" \\$c\"\nB='a\\b'\n"), ElementsAre(Pair("A", "a \"b\" $c"), Pair("B", "a\\b")));
}

TEST(OsReleaseTest, OfEqualNamesTheLastCounts)
{
    EXPECT_THAT(ParseOsRelease("A=1\nA=2"), ElementsAre(Pair("A", "2")));
}

TEST(OsReleaseTest, PassesOverCommentsAndLinesOfAnotherForm)
{
    EXPECT_THAT(ParseOsRelease("# A=1\n\nnonsense\n=x\n  B=2\r\n"), ElementsAre(Pair("B", "2")));
}

TEST(OsReleaseTest, AValueMayBeEmptyOrHoldTheSeparator)
{
    EXPECT_THAT(
        ParseOsRelease("A=\nB=\"\"\nC=x=y\nD=\"\n"),
        ElementsAre(Pair("A", ""), Pair("B", ""), Pair("C", "x=y"), Pair("D", "\"")));
}

TEST(OsReleaseTest, AnEmptyFileGivesNothing)
{
    EXPECT_THAT(ParseOsRelease(""), IsEmpty());
}

const OsRelease Stable{{"VERSION_ID", "12"}, {"VERSION_CODENAME", "bookworm"}};

void ExpectUnreadable(const std::string& value, std::string_view kernelRelease, const OsRelease& distribution)
{
    try
    {
        MakeOsVersion("Linux", kernelRelease, distribution);
        ADD_FAILURE() << "no exception";
    }
    catch (const std::runtime_error& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("Couldn't read " + value));
    }
}

TEST(MakeOsVersionTest, ComesFromTheKernelAndTheDistribution)
{
    const auto version = MakeOsVersion("Linux", "6.1.0-28-amd64", Stable);
    EXPECT_EQ(version.buildNumber, L"Linux 6.1.0-28-amd64");
    EXPECT_EQ(version.majorVersion, 6U);
    EXPECT_EQ(version.minorVersion, 1U);
    EXPECT_EQ(version.releaseId, L"12");
}

TEST(MakeOsVersionTest, ADistributionWithoutVersionsIsNamedByWhatItHas)
{
    EXPECT_EQ(MakeOsVersion("Linux", "6.1", {{"BUILD_ID", "rolling"}, {"VERSION_ID", ""}}).releaseId, L"rolling");
    EXPECT_EQ(MakeOsVersion("Linux", "6.1", {{"VERSION_CODENAME", "sid"}}).releaseId, L"sid");
}

TEST(MakeOsVersionTest, EachMissingValueHasItsOwnFailure)
{
    ExpectUnreadable("CurrentBuildNumber", "", Stable);
    ExpectUnreadable("MajorVersionNumber", "next", Stable);
    ExpectUnreadable("MinorVersionNumber", "6.next", Stable);
    ExpectUnreadable("MinorVersionNumber", "6", Stable);
    ExpectUnreadable("MajorVersionNumber", "99999999999.1", Stable);
    ExpectUnreadable("ReleaseId", "6.1", {});
}

} // namespace
