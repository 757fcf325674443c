/**
 * @file repetition.h
 * @brief A stream of constant bitrate in which every section comes back in time.
 */
#ifndef PSITOOL_REPETITION_H
#define PSITOOL_REPETITION_H

#include "make/packetOut.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace psitool {

/** @brief A section to be repeated. */
struct RepeatedSection {
    u16 pid = 0;
    u32 intervalMs = 0; /**< the longest time from the start of one transmission to the start of the next */
    std::vector<Packet> packets;
    double phase = 0; /**< 0..1: which part of the interval passes before the first transmission */
};

/** @brief How long and how fast. */
struct StreamSize {
    std::uint64_t bitsPerSecond = 0;
    std::uint64_t packets = 0; /**< null packets included */
};

/** @brief Packets of so many seconds, rounded down. */
std::uint64_t packetsIn(double seconds, std::uint64_t bitsPerSecond);

/** @brief True when every section keeps its interval from the first packet to the last. */
bool keepsIntervals(const std::vector<RepeatedSection> &sections, const StreamSize &size);

/** @brief A bitrate at which the sections keep their intervals: not much above what their bytes need. */
std::uint64_t sufficientBitrate(const std::vector<RepeatedSection> &sections);

/**
 * @brief Make the stream, filled up with null packets.
 * @param write gets every packet, counters running on, null packets with how many follow each other; it returns false
 *        when it wants no more
 *
 * Sections of one PID follow each other, sections of different PIDs are interleaved. The last section of a PID is left
 * out when it would not be complete.
 */
void repeatSections(const std::vector<RepeatedSection> &sections, const StreamSize &size,
                    const std::function<bool(const Packet &, std::uint64_t times)> &write);

} // namespace psitool

#endif
