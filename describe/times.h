/**
 * @file times.h
 * @brief Points of time as people write them.
 */
#ifndef PSI_DESCRIBE_TIMES_H
#define PSI_DESCRIBE_TIMES_H

#include "psi.h"

#include <optional>
#include <string>

namespace psi::describe {

/** @brief system_time of an STT, seconds since 1980-01-06: "2017-02-15 12:37:07", UTC when its leap seconds are given
 * and else GPS time. A/65 6.1. */
std::string gpsTimeText(u32 systemTime, u8 gpsUtcOffset);

/** @brief The day of a modified Julian date: "2023-02-25". EN 300 468 Annex C. */
std::string mjdText(u16 day);

/** @brief The modified Julian date of a day. @return nothing for what is no day of the calendar, or out of range */
std::optional<u16> mjdFrom(const std::string &text);

} // namespace psi::describe

#endif
