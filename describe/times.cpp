#include "describe/times.h"

#include <cstdio>
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

namespace {

constexpr std::time_t daySeconds = 86400;
constexpr std::time_t epochMjd = 40587; // 1970-01-01

} // namespace

std::string mjdText(u16 day)
{
    const std::time_t seconds = (static_cast<std::time_t>(day) - epochMjd) * daySeconds;
    std::tm time{};
    char text[32] = "";
    if (gmtime_r(&seconds, &time))
        std::strftime(text, sizeof text, "%Y-%m-%d", &time);
    return text;
}

std::optional<u16> mjdFrom(const std::string &text)
{
    std::tm time{};
    char behind = 0;
    // Four digits and two cannot overflow. NOLINTNEXTLINE(cert-err34-c)
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &time.tm_year, &time.tm_mon, &time.tm_mday, &behind) != 3)
        return std::nullopt;
    time.tm_year -= 1900;
    --time.tm_mon;
    const std::time_t day = timegm(&time) / daySeconds + epochMjd;
    const bool inRange = day >= 0 && day <= 0xFFFF;
    return inRange && mjdText(static_cast<u16>(day)) == text ? std::optional<u16>(static_cast<u16>(day)) : std::nullopt;
}

} // namespace psi::describe
