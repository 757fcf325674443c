/**
 * @file makeParts.h
 * @brief What making the sections of different tables has in common.
 */
#ifndef PSITOOL_MAKE_PARTS_H
#define PSITOOL_MAKE_PARTS_H

#include "make/modelFromJson.h"

#include "describe/modelView.h"
#include "output/described.h"

#include <iterator>

namespace psitool {

class KeptTables;

constexpr std::size_t longestSection = 1024; // of all tables that are generated

template <typename Node> std::size_t length(const Node *list)
{
    const NodeList<Node> all = nodes(list);
    return static_cast<std::size_t>(std::distance(all.begin(), all.end()));
}

inline void removeType(tsInfo &model, u32 psiType)
{
    singleTypeSectionDataDestroy(&model.sectionList, psiType);
}

/** How many entries the sections of a table have together. @param entries counts those of one section */
template <typename Entries> std::size_t entriesOf(const tsInfo &model, u32 psiType, const Entries &entries)
{
    std::size_t count = 0;
    for (const sectionData &section : nodes(model.sectionList))
        if (section.psiType == psiType)
            count += entries(section);
    return count;
}

inline bool hasTable(const tsInfo &model, u32 psiType)
{
    return entriesOf(model, psiType, [](const sectionData &) { return 1U; }) > 0;
}

/** @brief Let the SDT have a service for all that the model has something to say about, and those that came besides. */
void completeSdt(tsInfo &model, const KeptTables &kept);

/** @brief Keep the NIT, which is not generated, in line with the model. */
void alignNit(tsInfo &model, const JsonFacts &facts);

} // namespace psitool

#endif
