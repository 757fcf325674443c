/**
 * @file psiMake.h
 * @brief What the generators and the regeneration share.
 */
#ifndef PSI_MAKE_H
#define PSI_MAKE_H

#include "psiTables.h"
#include "psiWriter.h"

namespace psi::core {

/** @brief The first stored section that `matches`, or null. */
template <class Matches> sectionData *findSection(const tsInfo *model, Matches matches)
{
    sectionData *node = model->sectionList;
    while (node && !matches(*node))
        node = nextOf(node);
    return node;
}

/** @brief Bytes of a section around its content: the header to last_section_number, and CRC_32. */
constexpr u32 emptySectionSize = 12;

/** @brief A section that is written where it is stored, at the end of a model's section list. */
class NewSection : public SectionWriter {
public:
    /** @param size bytes that it takes in the end */
    NewSection(PoolGuard &pool, tsInfo *model, const SectionTag &tag, u32 size, const StoreTexts &texts)
        : NewSection(creatSection(pool, &model->sectionList, tag, static_cast<u16>(size), texts))
    {
    }

    /** @brief Was there memory for it? If not, that was logged. */
    explicit operator bool() const { return node_ != nullptr; }
    /** @brief Nothing follows. */
    void seal(u32 flags)
    {
        SectionWriter::seal(flags);
        node_->len = size();
    }

private:
    explicit NewSection(sectionData *node)
        : SectionWriter(node ? node->buf : nullptr, node ? node->len : 0), node_(node)
    {
    }

    sectionData *node_;
};

/** @brief Of a table's bytes 16 bits count. */
constexpr u32 countedBytes(u32 bytes)
{
    return bytes & 0xFFFF;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Tables that are split by their byte count: PAT, CAT, SDT, VCT
 * ---------------------------------------------------------------------------------------------------------------- */

struct SplitTexts {
    LogText noModel, oldStays;
    LogTextOf<unsigned> lastNumber;
    LogTextOf<unsigned, unsigned> made;
    StoreTexts store;
};

/** @brief Destroy the sections that an earlier run made. 0 or -1. */
i32 removeOld(tsInfo *model, u8 type, const SplitTexts &texts);

/**
 * @brief Make sections 0 to last_section_number.
 *
 * Their number follows from the byte count alone: behind a last section that comes out exactly full stands an empty
 * one, and what the gaps at the ends of sections push out of the last one is left out.
 *
 * @param bytes what the loops of all sections take together
 * @param budget what those of one section may take
 * @param makeOne called with section_number and last_section_number; 0, or -1 to end it
 */
template <class MakeOne> i32 makeSections(u32 bytes, u32 budget, const SplitTexts &texts, MakeOne makeOne)
{
    const u8 last = static_cast<u8>(countedBytes(bytes) / budget);
    makeLog(texts.lastNumber, static_cast<unsigned>(last));
    for (u32 number = 0; number <= last; ++number)
        if (makeOne(static_cast<u8>(number), last) == -1)
            return -1;
    return 0;
}

/** @brief Begin a section of one of these tables: tell of it and put its header. @param contentSize bytes of the rest
 */
NewSection beginSection(PoolGuard &pool, tsInfo *model, const SectionTag &tag, const SectionHeader &header,
                        u32 contentSize, const SplitTexts &texts);

/* ------------------------------------------------------------------------------------------------------------------
 * What an SDT made of a model and one made of a tree have in common. EN 300 468 5.2.3
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Bytes that the services of a section may take. */
constexpr u32 sdtBudget = 1009;
constexpr u32 serviceFixedSize = 5;

/** @brief What an SDT has between its header and its services. */
constexpr u32 sdtFieldsSize = 3;
void putSdtFields(SectionWriter &section, u16 originalNetworkId);

/**
 * @brief What precedes the descriptors of a service. The reserved bits in front of the EIT flags are zeros.
 * @return its bytes, the last two of which are for closeLoop(); null when there is no room
 */
u8 *beginService(SectionWriter &section, u16 serviceId, u32 eitFlags);

} // namespace psi::core

#endif
