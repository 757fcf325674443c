/**
 * @file editTables.h
 * @brief Tables as trees of their fields, what is changed in them, and sections again.
 */
#ifndef PSITOOL_EDIT_TABLES_H
#define PSITOOL_EDIT_TABLES_H

#include "describe/fieldChange.h"
#include "describe/tableKinds.h"
#include "edit/editRequest.h"
#include "output/described.h"

namespace psitool {

/** @brief The sections of one table in one version, by ascending section_number. */
using Sections = std::vector<Bytes>;

inline ByteView view(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

/** @brief The editable() fields of each section of a table, by ascending section_number. */
using Trees = std::vector<Fields>;

/** @brief What has to be known to read and write a table. */
struct TableContext {
    const TableKind *kind = nullptr;
    u16 pid = 0;
    DescriptorContext usual; /**< whose private descriptors and which texts are meant where the table does not say it */
};

/** @brief Take a table apart. Throws EditError when a section does not fit its layout. */
Trees readTrees(const Sections &sections, const TableContext &context);

/**
 * @brief Put a table together: lengths, counts and CRC_32 computed.
 *
 * A section that has grown too large gives the end of its main loop to a new one behind it, and all are renumbered.
 * Throws EditError: a value that cannot be written, with its place; an entry that no section can hold; a table that
 * cannot be split.
 */
Sections writeTrees(Trees trees, const TableContext &context);

/**
 * @brief Refuse an edit that gives sections another form or number, or makes them those of another structure.
 * @param standAlone the sections are no parts of a table whose sections are all known
 */
void requireSameTable(const Trees &before, const Trees &after, const TableContext &context, bool standAlone);

/** @brief Raise version_number by one, where there is any that counts. */
void raiseVersion(Trees &trees);

/**
 * @name Edits of a table
 * @return whether the table has what was to be changed. They throw EditError
 *
 * `charset` is the character table of the stream's texts, "" for that of the standard.
 * @{
 */
bool editSdt(Trees &sdt, const EditRequest &request, const char *charset);
bool editNit(Trees &nit, const EditRequest &request, const char *charset);
/** @param name the new bouquet_name */
bool editBat(Trees &bat, const std::string &name, const char *charset);
bool editPat(Trees &pat, const EditRequest &request);
bool editPmt(Trees &pmt, const EditRequest &request);
/** @param transportStream transport_stream_id of the PAT: channels of other streams stay as they are */
bool editVct(Trees &vct, const EditRequest &request, std::optional<u16> transportStream);
/** @} */

/** @brief The numbers that stand under a key in the entries of a table's main loop. */
std::set<u16> numbersIn(const Trees &trees, std::string_view list, std::string_view key);

/** @brief An entry of the PAT. */
struct ProgramEntry {
    u16 programNumber = 0; /**< 0: the network PID */
    u16 pid = 0;
};
std::vector<ProgramEntry> programsOf(const Trees &pat);

/** @brief Elementary PIDs, PCR PID and ECM PIDs that a PMT names. */
std::set<u16> pidsOf(Trees pmt);

/** @brief EMM PIDs that a CAT names, PIDs of tables that an MGT does. @param tables sections of those */
std::set<u16> announcedPids(Trees tables);

} // namespace psitool

#endif
