#include "shared.util-time.hpp"

#include <cstddef>
#include <optional>

#include <fmt/format.h>

#include "shared.exception-exceptions.hpp"
#include "shared.util-functions.hpp"

namespace Shared::Util
{

namespace
{

constexpr int LastHour = 23;
constexpr int LastMinute = 59;
/// The format's own limit: a minute may have a leap second.
constexpr int LastSecond = 60;

std::optional<int> ParseField(std::wstring_view field, int last)
{
    if (field.empty() || field.size() > 2)
    {
        return std::nullopt;
    }
    int value = 0;
    for (const wchar_t digit : field)
    {
        if (digit < L'0' || digit > L'9')
        {
            return std::nullopt;
        }
        value = value * 10 + static_cast<int>(digit - L'0');
    }
    return value <= last ? std::optional{value} : std::nullopt;
}

} // namespace

std::chrono::milliseconds ParseTimeSpan(std::wstring_view text)
{
    const auto fields = Split(text, L":");
    if (fields.size() == 3)
    {
        const auto hours = ParseField(fields[0], LastHour);
        const auto minutes = ParseField(fields[1], LastMinute);
        const auto seconds = ParseField(fields[2], LastSecond);
        if (hours && minutes && seconds)
        {
            return std::chrono::hours{*hours} + std::chrono::minutes{*minutes} + std::chrono::seconds{*seconds};
        }
    }
    throw Exception::RuntimeException("Could not parse TimeSpan " + ConvertStringType(text));
}

std::string FormatTimeText(Time::UtcTime time, std::int32_t biasMinutes, ZoneForm form)
{
    // Cut first: in nanoseconds, the start of the first day that the type can hold is one that it cannot.
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time);
    const auto day = std::chrono::floor<std::chrono::days>(milliseconds);
    const std::chrono::year_month_day date{day};
    const std::chrono::hh_mm_ss clock{milliseconds - day};
    const std::int64_t offset = -std::int64_t{biasMinutes};
    return fmt::format(
        "{:04}{:02}{:02}-{:02}:{:02}:{:02}.{}{}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
        clock.subseconds().count(),
        form == ZoneForm::Padded ? fmt::format("{:+04}", offset) : fmt::format("{:+}", offset));
}

std::string FormatTimeText(Time::UtcTime time, ZoneForm form)
{
    return FormatTimeText(time, GetTimeZoneBiasMinutes(), form);
}

} // namespace Shared::Util
