/**
 * @file tables.h
 * @brief psitool tables: the sections of a transport stream, or of files, field by field.
 */
#ifndef PSITOOL_TABLES_H
#define PSITOOL_TABLES_H

#include "demux/transportPacket.h"
#include "describe/sections.h"
#include "input/collection.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace psitool {

/** @brief The command line of the subcommand. */
struct TablesOptions {
    std::string input;                 /**< empty: the section files are read */
    std::vector<std::string> sections; /**< files of one section each */
    ScanStandard standard = ScanStandard::automatic;
    std::vector<std::string> types; /**< words of tableWords() in lower case; empty: all */
    std::vector<u16> pids;          /**< empty: all */
    std::optional<u16> id;          /**< table_id_extension */
    ListenOptions listen;
    bool hex = false;
    bool json = false;
    ColorChoice color = ColorChoice::automatic;
    int verbosity = 0;
};

/** @brief How often a section of a recording was seen. */
struct SectionSightings {
    std::uint64_t count = 0;
    psi::demux::Moment first; /**< when it was complete first */
    psi::demux::Moment last;
};

/** @brief A section to be shown. */
struct TableSection {
    std::vector<u8> bytes;
    const TableKind *kind = nullptr; /**< null: none of tableKinds() */
    std::optional<u16> pid;          /**< of a section of a stream */
    std::string file;                /**< of one of a file */
    bool acquired = false;           /**< the library's search took it */
    std::optional<SectionSightings> seen;
    std::vector<std::string> notes; /**< what is wrong with it */

    ByteView view() const { return {bytes.data(), bytes.size()}; }
    u16 idExtension() const { return bytes.size() < 5 ? u16{0} : psi::demux::tableIdExtension(bytes.data()); }
};

/** @brief The sections of a stream that the options ask for, in the order in which they are shown. */
std::vector<TableSection> sectionsOf(Collection &collection, const TablesOptions &options);

/** @brief The table_ids of the types that are asked for; empty: all. */
std::vector<u8> wantedTableIds(const TablesOptions &options);

/** @brief The sections of files; what is wrong with a file is told on standard error. */
struct SectionFiles {
    std::vector<TableSection> sections;
    bool damaged = false; /**< a file could not be read, or holds no whole section */
};
SectionFiles readSectionFiles(const TablesOptions &options);

/** @brief True when a section's type and table_id_extension are asked for. */
bool isWanted(const TableSection &section, const TablesOptions &options);

/** @brief Whose descriptors a stream's tables use when they do not say it. */
Standard standardFor(ScanStandard asked, Standard found);

/** @brief What is shown. */
struct TablesResult {
    std::optional<ScanInput> input; /**< nothing when files were read */
    Standard standard = Standard::unknown;
    std::vector<TableSection> sections;
};

/** @brief Takes a text section by section: all of it may be far more than memory holds. @return false to go no further
 */
using TextSink = std::function<bool(const std::string &)>;

/** @brief The sections as trees of lines, for people. @return false when the sink did not take everything */
bool writeTablesText(const TablesResult &result, bool hex, const Look &look, const TextSink &sink);

/** @brief The same as one JSON object (docs/tables-json.md), for programs. */
bool writeTablesJson(const TablesResult &result, const TextSink &sink);

/** @brief Run the subcommand. */
ExitStatus runTables(const TablesOptions &options, Output &output);

} // namespace psitool

#endif
