#include "shared.system-osversion.hpp"

#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.util-functions.hpp"

namespace
{

using namespace Shared::System;
using testing::HasSubstr;

TEST(OsVersionContract, TheBuildNumberIsThere)
{
    EXPECT_FALSE(GetOsBuildNumber().empty());
}

TEST(OsVersionContract, TheBuildNumberNeverMeansASystemThatIsTooOld)
{
    // Read as a number, it is that of Windows 10 1809 or later, or it is none.
    const auto text = Shared::Util::ConvertStringType(GetOsBuildNumber());
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc{})
    {
        EXPECT_GE(number, 17763U) << text;
    }
}

TEST(OsVersionContract, TellsEverythingOrWhatIsMissing)
{
    try
    {
        const auto version = GetOsVersion();
        EXPECT_EQ(version.buildNumber, GetOsBuildNumber());
        EXPECT_GT(version.majorVersion, 0U);
        EXPECT_FALSE(version.releaseId.empty());
    }
    catch (const std::runtime_error& exception)
    {
        // The one value that newer systems do not have any more.
        EXPECT_THAT(exception.what(), HasSubstr("Couldn't read ReleaseId"));
    }
}

} // namespace
