#include "demux/filterRound.h"
#include "demux/transportPacket.h"

#include <algorithm>

namespace psi::demux {

void FilterRound::restart()
{
    beginRound();
    searched = 0;
}

void FilterRound::beginRound()
{
    handed.clear();
    versions.clear();
}

void FilterRound::arm(const Filter &newFilter)
{
    if (newFilter.pid != filter.pid || newFilter.tableId != filter.tableId)
        beginRound();
    filter = newFilter;
    searched = 0;
}

FilterRound::Answer FilterRound::next(const SectionIndex &index, bool complete, u32 &section)
{
    if (find(index, filter, section))
        return Answer::section;
    if (!complete)
        return Answer::notYet;
    if (filter.sectionNo == 0) {
        restart();
        return Answer::exhausted;
    }
    // A search that times out at the last section of a sub-table ends, and would leave the sub-tables behind it. It
    // takes whatever comes, so it gets the next sub-table's first section.
    if (filter.useIdExt && filter.sectionNo >= lastSectionNo) {
        Filter nextSubTable = filter;
        nextSubTable.useIdExt = false;
        nextSubTable.sectionNo = 0;
        searched = 0;
        if (find(index, nextSubTable, section))
            return Answer::section;
    }
    return Answer::missing;
}

/** Looks once round the stream, or at what has come since the last look. */
bool FilterRound::find(const SectionIndex &index, const Filter &wanted, u32 &section)
{
    using Occurrence = SectionIndex::Occurrence;
    const SectionIndex::Occurrences &all = index.matching(wanted);
    const auto isFresh = [&](const Occurrence &one) { return fresh(index, wanted, one.section); };
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(searched);
    const auto here = std::lower_bound(begin, all.end(), place,
                                       [](const Occurrence &one, u32 wantedPlace) { return one.place < wantedPlace; });
    auto found = std::find_if(here, all.end(), isFresh);
    if (found == all.end()) {
        found = std::find_if(begin, here, isFresh);
        if (found == here) {
            searched = all.size();
            return false;
        }
    }
    section = found->section;
    handOut(index, *found);
    return true;
}

bool FilterRound::fresh(const SectionIndex &index, const Filter &wanted, u32 section) const
{
    const StoredSection &one = index[section];
    return one.length <= wanted.maxLength && handed.count(section) == 0 &&
           versions.allows(one.bytes, one.length, wanted.useIdExt);
}

void FilterRound::handOut(const SectionIndex &index, const SectionIndex::Occurrence &occurrence)
{
    const StoredSection &one = index[occurrence.section];
    handed.insert(occurrence.section);
    lastSectionNo = one.bytes[7];
    versions.handOut(one.bytes, one.length);
    place = occurrence.place + 1;
}

} // namespace psi::demux
