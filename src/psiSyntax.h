/**
 * @file psiSyntax.h
 * @brief What the parsers of syntax trees share, and the parsers themselves.
 */
#ifndef PSI_SYNTAX_H
#define PSI_SYNTAX_H

#include "psiSection.h"

namespace psi::core {

struct ParserTexts {
    LogText noRecord, noBuffer, crc, tableId, length;
};

/**
 * @brief The gate in front of every parser: arguments, CRC and table_id; stores what they all store.
 * @param otherId a second table_id that the parser accepts, or the first again
 */
template <class Record>
bool openSection(Record *record, const u8 *buf, u32 bufLen, u8 id, u8 otherId, const ParserTexts &texts)
{
    if (!record)
        return refused(texts.noRecord);
    if (!buf)
        return refused(texts.noBuffer);
    if (psiCheckCrc(buf, bufLen) == -1)
        return refused(texts.crc);
    record->CRC_32 = beU32(buf + bufLen - crcLen);
    record->table_id = buf[0];
    if (record->table_id != id && record->table_id != otherId)
        return refused(texts.tableId);
    record->section_syntax_indicator = syntaxIndicator(buf);
    record->section_length = static_cast<u16>(sectionLength(buf));
    return true;
}

/** @brief The long header into a record. @return table_id_extension */
template <class Record> u16 takeHeader(Record *record, Reader &body)
{
    const LongHeader header = takeLongHeader(body);
    record->version_number = header.version;
    record->current_next_indicator = header.currentNext;
    record->section_number = header.sectionNumber;
    record->last_section_number = header.lastSectionNumber;
    return header.tableIdExt;
}

/** @brief A loop of `length` bytes. @return false when it runs past the section's end or a descriptor past its own */
template <class Source>
bool takeDescriptorLoop(Reader &body, u16 length, descInfo **head, const DescriptorTexts &texts,
                        const LogText &sectionEnd, const Source &source)
{
    const Reader loop = body.takeLoop(length);
    if (body.overrun())
        return refused(sectionEnd);
    return takeDescriptors(loop, head, source, texts);
}

/** @brief A tree whose nodes lie beside each other. */
template <class Take> __attribute__((noinline)) bool layTree(BuddyPool *pool, Take take)
{
    StripLayer strip(pool);
    return take(KeepLaid{strip});
}

/**
 * @brief Make a tree: into the pool's strip where it has room, of nodes that fit there.
 *
 * No block of a tree takes more units than bytes of the section stand for it.
 *
 * @tparam Node of its list that is none of descriptors
 * @param record of the section, with its length
 * @param take called with where nodes come from
 */
template <class Node, class Record, class Take> bool makeTree(const Record *record, const Keep &keep, Take take)
{
    if constexpr (poolInPlace && areLaid(sizeof(Node)))
        if (BuddyPool *const pool = keep.pool.laysTree(record->section_length))
            return layTree(pool, take);
    return take(keep);
}

/**
 * @name The parsers
 *
 * Each takes its record, zeroed, the `bufLen` bytes of one section, and where to keep what it finds. False: the section
 * is refused, or the pool is empty, which was logged; the record is the caller's either way.
 * @{
 */
bool syntaxAnalysePat(patSection *pat, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalysePmt(pmtSection *pmt, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseCat(catSection *cat, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseNit(nitSection *nit, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseBat(batSection *bat, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseSdt(sdtSection *sdt, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseMgt(mgtSection *mgt, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseEbit(ebitSection *ebit, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseEbct(ebctSection *ebct, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseEbcat(ebcatSection *ebcat, const u8 *buf, u32 bufLen, const Keep &keep);
bool syntaxAnalyseEbcct(ebcctSection *ebcct, const u8 *buf, u32 bufLen, const Keep &keep);
/** @} */

} // namespace psi::core

#endif
