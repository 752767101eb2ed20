#pragma once

#include "shared.time-clock.hpp"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace Shared::Util
{

/// A span written as "%H:%M:%S": hours 0 to 23, minutes 0 to 59 and seconds 0 to 60, each of one or two digits, and
/// nothing before, between or behind.
/// Throws the runtime exception "Could not parse TimeSpan " and the text. Any thread; the locale has no say.
std::chrono::milliseconds ParseTimeSpan(std::wstring_view text);

/// How the time zone at the end of a time text is written.
enum class ZoneForm
{
    /// Sign and digits: "+0", "-300". The form of messages.
    Unpadded,
    /// At least four characters: "+000", "-300". The form of `last-connected-time`.
    Padded
};

/// The agent's time text: "yyyyMMdd-HH:mm:ss.", milliseconds without padding, and the negated bias: the time is UTC
/// although an offset stands behind it. Five milliseconds past nine at night, two hours east of Greenwich:
/// "20240307-21:00:00.5+120". Fractions of a millisecond are cut.
/// @param biasMinutes what must be added to local time to have UTC, in minutes.
std::string FormatTimeText(Time::UtcTime time, std::int32_t biasMinutes, ZoneForm form);

/// The same with this machine's bias of the moment.
std::string FormatTimeText(Time::UtcTime time, ZoneForm form = ZoneForm::Unpadded);

/// What must be added to this machine's local standard time to have UTC, in minutes: negative east of Greenwich. Daylight
/// saving never counts, whatever the season. 0 when the system cannot tell. Any thread.
std::int32_t GetTimeZoneBiasMinutes() noexcept;

} // namespace Shared::Util
