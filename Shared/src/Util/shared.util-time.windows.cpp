#include "shared.util-time.hpp"

#include "shared.platform-windows.windows.hpp"

namespace Shared::Util
{

std::int32_t GetTimeZoneBiasMinutes() noexcept
{
    TIME_ZONE_INFORMATION zone{};
    if (::GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID)
    {
        return 0;
    }
    // StandardBias and DaylightBias are left out on purpose: the server wants the zone, not the season.
    return static_cast<std::int32_t>(zone.Bias);
}

} // namespace Shared::Util
