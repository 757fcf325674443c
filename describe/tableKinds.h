/**
 * @file tableKinds.h
 * @brief The kinds of tables: their names, where they are found, and how they are laid out.
 */
#ifndef PSI_DESCRIBE_TABLE_KINDS_H
#define PSI_DESCRIBE_TABLE_KINDS_H

#include "describe/layout.h"

#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief What stands at the end of a table's sections. */
enum class SectionEnd : u8 {
    crc,     /**< CRC_32 */
    nothing, /**< of the short form */
    either,  /**< CRC_32 in the long form, a checksum of no use here in the short one. ISO/IEC 13818-6 9.2 */
};

/** @brief A kind of table that is shown. */
struct TableKind {
    const char *title;       /**< "NIT actual" */
    const char *option;      /**< its word: "nit-actual" */
    const char *family;      /**< the word for all of its kind: "nit" */
    const char *description; /**< "network information, actual network" */
    u8 tableId;
    u32 psiType;          /**< table-type code of the library; PSI_NO_TYPE: it does not acquire this table */
    u16 pid;              /**< where the standards put it; of a PMT: anywhere */
    Standard standard;    /**< whose private numbers its descriptors use; unknown: those of the stream */
    const Layout *layout; /**< from table_id to what stands in front of CRC_32 */
    const char *clause;   /**< where its layout comes from */
    u8 lastTableId = 0;   /**< the last of several table_ids in a row, or 0 */
    SectionEnd end = SectionEnd::crc;

    bool isShort() const; /**< by its layout */
    /** @brief Bytes that a section of it has at most. ISO/IEC 13818-1 2.4.4, EN 300 468 5.1.1, A/65 4.2. */
    std::size_t longestSection() const;
    bool holds(u8 id) const { return id == tableId || (id > tableId && id <= lastTableId); }
};

/** @brief All kinds, in the order in which they are shown. */
const std::vector<TableKind> &tableKinds();
/** @brief The kind that a table_id stands for. @return null for one that is not shown */
const TableKind *tableKindOf(u8 tableId);
/** @brief The same where the PID and the section's form count as well: SCTE 35, and ISDB tables on their own PIDs. */
const TableKind *tableKindOf(ByteView section, std::optional<u16> pid);
/** @brief What a table_id stands for, also of tables that are not taken apart. @return "" for an unknown one */
const char *tableDescription(u8 tableId);
/** @brief Every word that names a table or a family of them, in lower case. */
std::vector<std::string> tableWords();

} // namespace psi::describe

#endif
