/**
 * @file filterRound.h
 * @brief The section filter of one search over a recorded input.
 */
#ifndef PSI_DEMUX_FILTER_ROUND_H
#define PSI_DEMUX_FILTER_ROUND_H

#include "demux/heldVersions.h"
#include "demux/sectionIndex.h"

#include <unordered_set>

namespace psi::demux {

/**
 * @brief Goes round a recorded stream, handing out each section once a round.
 *
 * Of a sub-table one version is handed out. Only who wants one certain sub-table and has all of a version gets the next
 * one: the library has rejected something. There is one place in the stream, whatever filter is armed: each
 * section is the next one behind the last, and behind the end comes the beginning. A round ends when a filter for
 * another PID or table_id is armed, when it has nothing more to give, or with restart().
 */
class FilterRound {
public:
    /** @brief What a read has found. */
    enum class Answer {
        section,   /**< here it is */
        notYet,    /**< nothing, but more of the input may come */
        missing,   /**< this section is not in the stream, others of its table may be: let the search time out */
        exhausted, /**< the round is over */
    };

    void arm(const Filter &newFilter);
    void restart();

    /**
     * @brief Look for the next section.
     * @param complete the input was read to its end
     * @param section gets the section's number in the index
     */
    Answer next(const SectionIndex &index, bool complete, u32 &section);

private:
    bool find(const SectionIndex &index, const Filter &wanted, u32 &section);
    void beginRound();
    bool fresh(const SectionIndex &index, const Filter &wanted, u32 section) const;
    void handOut(const SectionIndex &index, const SectionIndex::Occurrence &occurrence);

    Filter filter;
    u32 place = 0;                  /**< where the stream goes on */
    size_t searched = 0;            /**< matching occurrences that were looked at in vain since arming */
    u8 lastSectionNo = 0;           /**< last_section_number of the section handed out last */
    std::unordered_set<u32> handed; /**< sections handed out in this round */
    HeldVersions versions;          /**< of the sub-tables that they belong to */
};

} // namespace psi::demux

#endif // PSI_DEMUX_FILTER_ROUND_H
