/**
 * @file editTables.h
 * @brief Sections in, edited sections out: the library parses, changes and writes them.
 */
#ifndef PSITOOL_EDIT_TABLES_H
#define PSITOOL_EDIT_TABLES_H

#include "describe/bytes.h"
#include "edit/editRequest.h"
#include "output/described.h"

namespace psitool {

/** @brief The sections of one table in one version, by ascending section_number. */
using Sections = std::vector<Bytes>;

inline ByteView view(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

/**
 * @name Edits of a table
 *
 * Each gives the new sections, with version_number raised by one. They throw EditError when the table cannot be parsed,
 * or when something in it has become too large for a section. Sections are whole and of right CRC.
 * @{
 */
Sections editSdt(const Sections &old, const EditRequest &request);
Sections editNit(const Sections &old, const EditRequest &request);
/** @param name the new bouquet_name */
Sections editBat(const Sections &old, const Bytes &name);
Sections editPat(const Sections &old, const EditRequest &request);
/** @param pmtPid the PID that the PMT comes on */
Sections editPmt(const Sections &old, u16 pmtPid, const EditRequest &request);
/** @} */

/** @brief service_ids of SDT sections, in order. */
std::vector<u32> servicesOf(const Sections &sdt);
/** @brief transport_stream_id << 16 | original_network_id of the transport streams of NIT sections, in order. */
std::vector<u32> streamsOf(const Sections &nit);

/** @brief An entry of the PAT. */
struct ProgramEntry {
    u16 programNumber = 0; /**< 0: the network PID */
    u16 pid = 0;
};
std::vector<ProgramEntry> programsOf(ByteView patSection);

/** @brief Elementary PIDs, PCR PID and ECM PIDs that a PMT names. */
std::set<u16> pidsOf(ByteView pmtSection);

} // namespace psitool

#endif
