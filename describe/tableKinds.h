/**
 * @file tableKinds.h
 * @brief The kinds of tables: their names, and what their table_id stands for.
 */
#ifndef PSI_DESCRIBE_TABLE_KINDS_H
#define PSI_DESCRIBE_TABLE_KINDS_H

#include "describe/names.h"

#include <string>
#include <vector>

namespace psi::describe {

/** @brief A kind of table that is shown. */
struct TableKind {
    const char *title;       /**< "NIT actual" */
    const char *option;      /**< its word: "nit-actual" */
    const char *family;      /**< the word for all of its kind: "nit" */
    const char *description; /**< "network information, actual network" */
    u8 tableId;
    u32 psiType;       /**< table-type code of the library; PSI_NO_TYPE: it does not acquire this table */
    u16 pid;           /**< where the standards put it; of a PMT: anywhere */
    Standard standard; /**< whose private numbers its descriptors use; unknown: those of the stream */
};

/** @brief All kinds, in the order in which they are shown. */
const std::vector<TableKind> &tableKinds();
/** @brief The kind that a table_id stands for. @return null for one that is not shown */
const TableKind *tableKindOf(u8 tableId);
/** @brief What a table_id stands for, also of tables that are not taken apart. @return "" for an unknown one */
const char *tableDescription(u8 tableId);
/** @brief Every word that names a table or a family of them, in lower case. */
std::vector<std::string> tableWords();

} // namespace psi::describe

#endif
