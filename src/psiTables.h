/**
 * @file psiTables.h
 * @brief What is known about each table type, as data.
 */
#ifndef PSI_TABLES_H
#define PSI_TABLES_H

#include "psiInternal.h"

namespace psi::core {

/** @name table_id. ISO/IEC 13818-1 2.4.4.4, EN 300 468 5.1.3, A/65 4.1 @{ */
constexpr u8 patId = 0x00;
constexpr u8 catId = 0x01;
constexpr u8 pmtId = 0x02;
constexpr u8 nitActualId = 0x40;
constexpr u8 nitOtherId = 0x41;
constexpr u8 sdtActualId = 0x42;
constexpr u8 sdtOtherId = 0x46;
constexpr u8 batId = 0x4A;
constexpr u8 mgtId = 0xC7;
constexpr u8 terrestrialVctId = 0xC8;
constexpr u8 sttId = 0xCD;
constexpr u8 ebcctId = 0xFB;
constexpr u8 ebcatId = 0xFC;
constexpr u8 ebitId = 0xFD;
constexpr u8 ebctId = 0xFE;
/** @} */

/** @name descriptor_tag. ISO/IEC 13818-1 2.6, EN 300 468 6.1, A/65 6.9 @{ */
constexpr u8 caTag = 0x09;
constexpr u8 languageTag = 0x0A;
constexpr u8 networkNameTag = 0x40;
constexpr u8 serviceTag = 0x48;
constexpr u8 serviceLocationTag = 0xA1;
/** @} */

/** @name PIDs that are the same in every stream @{ */
constexpr u16 patPid = 0x0000;
constexpr u16 catPid = 0x0001;
constexpr u16 nitPid = 0x0010;
constexpr u16 sdtBatPid = 0x0011;
constexpr u16 emergencyPid = 0x0021;
constexpr u16 psipPid = 0x1FFB;
/** @} */

/** @brief The loop that acquires a table type. */
enum class SearchLoop : u8 { none, single, pmt, multi, emergency };

/** @brief What re_SchTable() forgets before a table type is searched again. */
enum class ReSearch : u8 { none, patGroup, ownSections };

struct TableFacts {
    const char *name;
    u16 pid; /**< 13 bits; 0 for the PMT, whose PID the PAT tells */
    u8 tableId;
    u8 timeOut;      /**< index into tableObj.timeOutMs */
    bool ownTimeOut; /**< the host may set this time-out under this type */
    u16 defaultTimeOutMs;
    SearchLoop loop;
    ReSearch reSearch;
};

/** @brief The facts of a type; those of "no table" for a code without one. */
const TableFacts &tableFacts(u32 psiType);

inline bool isLongSection(u32 type)
{
    return tableFacts(type).loop == SearchLoop::emergency;
}

} // namespace psi::core

#endif
