/**
 * @file psiTables.h
 * @brief What is known about each table type, as data.
 */
#ifndef PSI_TABLES_H
#define PSI_TABLES_H

#include "psi.h"

namespace psi::core {

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

/** @brief Number of table-type codes. */
constexpr u32 tableTypes = 16;

/** @brief The facts of a type; those of "no table" for a code without one. */
const TableFacts &tableFacts(u32 psiType);

inline bool isLongSection(u32 type)
{
    return tableFacts(type).loop == SearchLoop::emergency;
}

} // namespace psi::core

#endif
