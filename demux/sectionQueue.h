/**
 * @file sectionQueue.h
 * @brief The section filter of one search over a live input.
 */
#ifndef PSI_DEMUX_SECTION_QUEUE_H
#define PSI_DEMUX_SECTION_QUEUE_H

#include "demux/heldVersions.h"
#include "demux/input.h"
#include "demux/sectionIndex.h"

#include <chrono>
#include <deque>

namespace psi::demux {

/**
 * @brief Keeps the sections of the armed PID and table_id that come while a search is busy: also those of other numbers
 * and extensions, since the search will ask for them next.
 *
 * A sub-table is handed out when a version of it is whole, and then that version only: one that changes while it comes
 * would else be got in halves. One that does not become whole is handed out as it is, as soon as a section of it comes
 * again, or after kPatience. Of what comes in front of that the last version counts. Memory is bounded: of more than
 * kMostWaiting sections the oldest are left out, and counted.
 */
class SectionQueue {
public:
    using Clock = std::chrono::steady_clock;

    /** @brief Sections kept; a table has far fewer different ones. */
    static constexpr size_t kMostWaiting = 1024;
    /** @brief For the rest of a sub-table; shorter than any usual time-out of a search. */
    static constexpr std::chrono::milliseconds kPatience{1500};

    void arm(const Filter &newFilter, Clock::time_point now);
    void clear();
    /** @brief A section has come, in the long form, with a right CRC. */
    void offer(u16 pid, const u8 *section, u16 length, Clock::time_point now);
    /** @brief Take the next section that passes the filter. @return false when there is none yet */
    bool take(Captured &section, Clock::time_point now);
    uint64_t leftOut() const { return dropped; }

private:
    struct Waiting {
        std::vector<u8> bytes;
        u32 subTable;
        Clock::time_point since; /**< when the first section of the sub-table came */
        bool again = false;      /**< it came once more */

        u16 length() const { return static_cast<u16>(bytes.size()); }
    };

    Clock::time_point replaceOlder(u32 subTable, const u8 *section, Clock::time_point now);
    bool passes(const Waiting &one, Clock::time_point now) const;
    bool isReady(u32 subTable, Clock::time_point now) const;

    Filter filter;
    bool armed = false;
    Clock::time_point lastUse;
    std::deque<Waiting> waiting;
    HeldVersions versions;
    uint64_t dropped = 0;
};

} // namespace psi::demux

#endif // PSI_DEMUX_SECTION_QUEUE_H
