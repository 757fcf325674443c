/**
 * @file times.h
 * @brief Points of time as people write them.
 */
#ifndef PSI_DESCRIBE_TIMES_H
#define PSI_DESCRIBE_TIMES_H

#include "psi.h"

#include <string>

namespace psi::describe {

/** @brief system_time of an STT, seconds since 1980-01-06 with its leap seconds: "2017-02-15 12:37:07 UTC". A/65 6.1.
 */
std::string gpsTimeText(u32 systemTime, u8 gpsUtcOffset);

} // namespace psi::describe

#endif
