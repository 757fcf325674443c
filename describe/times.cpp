#include "describe/times.h"

#include <ctime>

namespace psi::describe {

std::string gpsTimeText(u32 systemTime, u8 gpsUtcOffset)
{
    constexpr std::time_t gpsEpoch = 315964800;
    const std::time_t seconds = gpsEpoch + static_cast<std::time_t>(systemTime) - gpsUtcOffset;
    std::tm time{};
    char text[32] = "";
    if (gmtime_r(&seconds, &time))
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &time);
    return std::string(text) + " UTC";
}

} // namespace psi::describe
