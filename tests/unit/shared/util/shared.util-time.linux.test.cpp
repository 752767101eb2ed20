#include "shared.util-time.hpp"

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "shared.time-clockcontrol.hpp"

namespace
{

using Shared::Util::GetTimeZoneBiasMinutes;

/// Sets the process's time zone by its rules, which needs no data base, and puts the old one back.
class TimeZoneTest : public testing::Test
{
protected:
    TimeZoneTest()
    {
        if (const char* const before = std::getenv("TZ"))
        {
            m_before = before;
        }
    }

    ~TimeZoneTest() override
    {
        Shared::Time::ClockControl::Reset();
        if (m_before)
        {
            ::setenv("TZ", m_before->c_str(), 1);
        }
        else
        {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

    /// The bias in each month of the year to come.
    static void ExpectAllYear(const char* zone, int bias)
    {
        ::setenv("TZ", zone, 1);
        for (int month = 0; month < 13; ++month)
        {
            EXPECT_EQ(GetTimeZoneBiasMinutes(), bias) << zone << " month " << month;
            Shared::Time::ClockControl::JumpUtc(std::chrono::hours{730});
        }
    }

private:
    std::optional<std::string> m_before;
};

TEST_F(TimeZoneTest, AZoneWithoutSeasonsHasItsOffset)
{
    ExpectAllYear("UTC0", 0);
    ExpectAllYear("IST-5:30", -330);
    ExpectAllYear("NST3:30", 210);
}

TEST_F(TimeZoneTest, DaylightSavingNeverCountsNorthOfTheEquator)
{
    ExpectAllYear("CET-1CEST,M3.5.0,M10.5.0/3", -60);
    ExpectAllYear("EST5EDT,M3.2.0,M11.1.0", 300);
}

TEST_F(TimeZoneTest, DaylightSavingNeverCountsSouthOfTheEquator)
{
    ExpectAllYear("AEST-10AEDT,M10.1.0,M4.1.0/3", -600);
}

TEST_F(TimeZoneTest, AZoneWhoseWinterIsTheExceptionHasTheOffsetOfItsWinter)
{
    ExpectAllYear("IST-1GMT0,M10.5.0,M3.5.0/1", 0);
}

TEST_F(TimeZoneTest, AZoneThatMakesNoSenseIsUniversalTime)
{
    ::setenv("TZ", ":no/such/zone", 1);
    EXPECT_EQ(GetTimeZoneBiasMinutes(), 0);
}

} // namespace
