/**
 * @file testSections.h
 * @brief The sections that the rows are about: full tables of everyday content.
 */
#ifndef PSIBENCH_TEST_SECTIONS_H
#define PSIBENCH_TEST_SECTIONS_H

#include "support/sectionBuilder.h"

namespace psibench {

using psitest::Bytes;

/** @brief The PAT section of up to 253 programs (1 to 253: so many fit into 1024 bytes), numbered from `first`. */
Bytes patSection(u16 first, u16 programs, u8 number = 0, u8 last = 0);
/** @brief PMT: `streams` streams of 3 descriptors each. */
Bytes pmtSection(u16 program, u16 streams = 10);
/** @brief SDT: `services` services of 4 descriptors each, the first one a service_descriptor. */
Bytes sdtSection(u16 first = 1, u16 services = 12);
/** @brief NIT: `streams` transport streams of 2 descriptors each. */
Bytes nitSection(u16 network = 1, u16 streams = 20);
/** @brief BAT: the same. */
Bytes batSection(u16 bouquet = 1, u16 streams = 20);
/** @brief MGT of `tables` tables. */
Bytes mgtSection(u16 tables = 8);

/** @brief PIDs of the programs: 32 + n. */
constexpr u16 pmtPidOf(u16 program)
{
    return static_cast<u16>(0x20 + program);
}

} // namespace psibench

#endif // PSIBENCH_TEST_SECTIONS_H
