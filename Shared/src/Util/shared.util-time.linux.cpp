#include "shared.util-time.hpp"

#include <algorithm>
#include <mutex>

#include <time.h>

namespace Shared::Util
{

std::int32_t GetTimeZoneBiasMinutes() noexcept
{
    // The system tells offsets with the season in them. The zone's own is found by comparing with the next season of the
    // other kind; the smaller of the two is the standard one. (The smaller, not the one without the season's mark: a zone
    // whose law has summer as its standard time marks winter as the exception.)
    constexpr ::time_t week = 7 * 24 * 3600;
    constexpr int weeksOfAYear = 53;

    // Not every C library guards its zone against a tzset() on another thread.
    static std::mutex s_zoneLock;
    const std::scoped_lock hold(s_zoneLock);
    ::tzset();
    ::time_t when = static_cast<::time_t>(Time::EpochSeconds());
    ::tm now{};
    if (::localtime_r(&when, &now) == nullptr)
    {
        return 0;
    }
    long offset = now.tm_gmtoff;
    for (int i = 0; i < weeksOfAYear; ++i)
    {
        when += week;
        ::tm then{};
        if (::localtime_r(&when, &then) == nullptr)
        {
            break;
        }
        if (then.tm_isdst != now.tm_isdst)
        {
            offset = std::min(offset, then.tm_gmtoff);
            break;
        }
    }
    return static_cast<std::int32_t>(-offset / 60);
}

} // namespace Shared::Util
