#include "describe/times.h"

#include <cstdint>
#include <cstdio>

namespace psi::describe {

// Dates are counted here and not by the C library, whose time_t may have 32 bits: it begins in 1901 and ends in 2038.
namespace {

constexpr u32 daySeconds = 86400;
constexpr int gpsEpochMjd = 44244; // 1980-01-06
/** Years are counted from March, so that a leap day is a year's last: days from March of the year 0 to MJD 0. */
constexpr int daysToMjd = 678881;
constexpr int daysIn400Years = 146097;
constexpr int monthsFromMarch(int days)
{
    return (5 * days + 2) / 153;
}
constexpr int daysBeforeMonth(int monthFromMarch)
{
    return (153 * monthFromMarch + 2) / 5;
}
constexpr int daysBeforeYear(int year)
{
    return 365 * year + year / 4 - year / 100 + year / 400;
}

/** @param mjd 0 or more */
std::string dateText(int mjd)
{
    const int days = mjd + daysToMjd;
    int year = days / daysIn400Years * 400 + days % daysIn400Years / 365;
    while (daysBeforeYear(year) > days)
        --year;
    const int inYear = days - daysBeforeYear(year);
    const int month = monthsFromMarch(inYear);
    const int januaryOn = month >= 10 ? 1 : 0;
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", year + januaryOn, month + 3 - 12 * januaryOn,
                  inYear - daysBeforeMonth(month) + 1);
    return text;
}

int mjdOf(int year, int month, int day)
{
    const int januaryOn = month < 3 ? 1 : 0;
    return daysBeforeYear(year - januaryOn) + daysBeforeMonth(month - 3 + 12 * januaryOn) + day - 1 - daysToMjd;
}

} // namespace

std::string gpsTimeText(u32 systemTime, u8 gpsUtcOffset)
{
    const uint64_t seconds = uint64_t{gpsEpochMjd} * daySeconds + systemTime - gpsUtcOffset;
    const u32 inDay = static_cast<u32>(seconds % daySeconds);
    char text[16];
    std::snprintf(text, sizeof text, " %02u:%02u:%02u", inDay / 3600, inDay / 60 % 60, inDay % 60);
    return dateText(static_cast<int>(seconds / daySeconds)) + text;
}

std::string mjdText(u16 day)
{
    return dateText(day);
}

std::optional<u16> mjdFrom(const std::string &text)
{
    int year = 0;
    int month = 0;
    int day = 0;
    char behind = 0;
    // Four digits and two cannot overflow. NOLINTNEXTLINE(cert-err34-c)
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &year, &month, &day, &behind) != 3 || month < 1 || month > 12)
        return std::nullopt;
    const int mjd = mjdOf(year, month, day);
    const bool inRange = mjd >= 0 && mjd <= 0xFFFF;
    return inRange && mjdText(static_cast<u16>(mjd)) == text ? std::optional<u16>(static_cast<u16>(mjd)) : std::nullopt;
}

} // namespace psi::describe
