#include "shared.util-time.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "shared.exception-exceptions.hpp"

namespace
{

using namespace std::chrono_literals;
using Shared::Util::FormatTimeText;
using Shared::Util::ParseTimeSpan;
using Shared::Util::ZoneForm;
using testing::HasSubstr;

Shared::Time::UtcTime Utc(std::chrono::year_month_day date, std::chrono::nanoseconds sinceMidnight)
{
    return std::chrono::sys_days{date} + sinceMidnight;
}

const auto Evening = Utc(std::chrono::year{2024} / 3 / 7, 21h + 4min + 9s + 5ms);

TEST(ParseTimeSpanTest, GivesHoursMinutesAndSecondsAsMilliseconds)
{
    EXPECT_EQ(ParseTimeSpan(L"00:04:30"), 270000ms);
    EXPECT_EQ(ParseTimeSpan(L"01:02:03"), 3723000ms);
    EXPECT_EQ(ParseTimeSpan(L"00:00:00"), 0ms);
}

TEST(ParseTimeSpanTest, OneDigitIsEnough)
{
    EXPECT_EQ(ParseTimeSpan(L"1:2:3"), 3723000ms);
}

TEST(ParseTimeSpanTest, TakesTheLargestValueOfEachField)
{
    EXPECT_EQ(ParseTimeSpan(L"23:59:59"), 86399000ms);
    EXPECT_EQ(ParseTimeSpan(L"00:00:60"), 60000ms);
}

TEST(ParseTimeSpanTest, TheTextOfTheExceptionNamesTheText)
{
    try
    {
        ParseTimeSpan(L"99:99:99");
        FAIL() << "no exception";
    }
    catch (const std::runtime_error& exception)
    {
        EXPECT_THAT(exception.what(), HasSubstr("Could not parse TimeSpan 99:99:99"));
    }
}

class UnparsableTimeSpanTest : public testing::TestWithParam<const wchar_t*>
{
};

TEST_P(UnparsableTimeSpanTest, Throws)
{
    EXPECT_THROW(ParseTimeSpan(GetParam()), Shared::Exception::RuntimeException);
}

INSTANTIATE_TEST_SUITE_P(
    All,
    UnparsableTimeSpanTest,
    testing::Values(
        L"",
        L":",
        L"::",
        L"30",
        L"00:30",
        L"00:00:30:00",
        L"24:00:00",
        L"00:60:00",
        L"00:00:61",
        L"-1:00:00",
        L"+1:00:00",
        L"000:00:30",
        L"00:00:30 ",
        L" 00:00:30",
        L"00:00:3s",
        L"00:00:30.5",
        L"00;00;30",
        L"\uFF10\uFF10:00:30"));

TEST(FormatTimeTextTest, WritesDateTimeMillisecondsAndTheNegatedBias)
{
    EXPECT_EQ(FormatTimeText(Evening, -120, ZoneForm::Unpadded), "20240307-21:04:09.5+120");
    EXPECT_EQ(FormatTimeText(Evening, 300, ZoneForm::Unpadded), "20240307-21:04:09.5-300");
}

TEST(FormatTimeTextTest, MillisecondsAreNotPadded)
{
    const auto date = std::chrono::year{2024} / 3 / 7;
    EXPECT_EQ(FormatTimeText(Utc(date, 0ms), 0, ZoneForm::Unpadded), "20240307-00:00:00.0+0");
    EXPECT_EQ(FormatTimeText(Utc(date, 50ms), 0, ZoneForm::Unpadded), "20240307-00:00:00.50+0");
    EXPECT_EQ(FormatTimeText(Utc(date, 999ms), 0, ZoneForm::Unpadded), "20240307-00:00:00.999+0");
}

TEST(FormatTimeTextTest, FractionsOfAMillisecondAreCut)
{
    const auto date = std::chrono::year{2024} / 3 / 7;
    EXPECT_EQ(FormatTimeText(Utc(date, 5ms + 999'999ns), 0, ZoneForm::Unpadded), "20240307-00:00:00.5+0");
}

TEST(FormatTimeTextTest, ThePaddedZoneHasAtLeastFourCharacters)
{
    EXPECT_EQ(FormatTimeText(Evening, 0, ZoneForm::Padded), "20240307-21:04:09.5+000");
    EXPECT_EQ(FormatTimeText(Evening, -60, ZoneForm::Padded), "20240307-21:04:09.5+060");
    EXPECT_EQ(FormatTimeText(Evening, 60, ZoneForm::Padded), "20240307-21:04:09.5-060");
    EXPECT_EQ(FormatTimeText(Evening, -330, ZoneForm::Padded), "20240307-21:04:09.5+330");
}

TEST(FormatTimeTextTest, TimesBeforeTheEpochAreRight)
{
    const auto time = Utc(std::chrono::year{1969} / 12 / 31, 23h + 59min + 59s + 1ms);
    EXPECT_EQ(FormatTimeText(time, 0, ZoneForm::Unpadded), "19691231-23:59:59.1+0");
}

TEST(FormatTimeTextTest, TheFirstAndTheLastTimeOfTheClockAreRight)
{
    EXPECT_EQ(FormatTimeText(Shared::Time::UtcTime::min(), 0, ZoneForm::Unpadded), "16770921-00:12:43.145+0");
    EXPECT_EQ(FormatTimeText(Shared::Time::UtcTime::max(), 0, ZoneForm::Unpadded), "22620411-23:47:16.854+0");
}

TEST(FormatTimeTextTest, EvenAnImpossibleBiasGivesAText)
{
    EXPECT_THAT(
        FormatTimeText(Evening, std::numeric_limits<std::int32_t>::min(), ZoneForm::Unpadded),
        HasSubstr("+2147483648"));
}

TEST(FormatTimeTextTest, WithoutABiasItIsThatOfTheMachine)
{
    EXPECT_EQ(
        FormatTimeText(Evening), FormatTimeText(Evening, Shared::Util::GetTimeZoneBiasMinutes(), ZoneForm::Unpadded));
}

} // namespace
