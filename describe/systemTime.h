/**
 * @file systemTime.h
 * @brief The time that a stream of ATSC tells, and what makes UTC of the times in its other tables.
 */
#ifndef PSI_DESCRIBE_SYSTEM_TIME_H
#define PSI_DESCRIBE_SYSTEM_TIME_H

#include "describe/fields.h"

#include <optional>

namespace psi::describe {

/** @brief What an STT says. A/65 6.1 */
struct SystemTime {
    u32 seconds = 0;     /**< since 1980-01-06, leap seconds included */
    u8 gpsUtcOffset = 0; /**< the leap seconds since then */
};

/** @return nothing for a section of another table, or a damaged one */
std::optional<SystemTime> systemTimeOf(ByteView stt);

/** @brief Learn from an STT by how much GPS time is ahead of UTC: the one that comes last counts. @param stt a section;
 * one of another table, or a damaged one, teaches nothing */
void learnFromStt(DescriptorContext &usual, ByteView stt);

} // namespace psi::describe

#endif
