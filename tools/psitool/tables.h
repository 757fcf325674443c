/**
 * @file tables.h
 * @brief psitool tables: the sections of a transport stream, or of files, field by field.
 */
#ifndef PSITOOL_TABLES_H
#define PSITOOL_TABLES_H

#include "acquire.h"
#include "descriptors.h"
#include "tree.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace psitool {

/** @brief A kind of table that is shown. */
struct TableKind {
    const char *title;       /**< "NIT actual" */
    const char *option;      /**< the word of --type: "nit-actual" */
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
/** @brief Every word that --type takes. */
std::vector<std::string> tableWords();

/** @brief The command line of the subcommand. */
struct TablesOptions {
    std::string input;                 /**< empty: the section files are read */
    std::vector<std::string> sections; /**< files of one section each */
    ScanStandard standard = ScanStandard::automatic;
    std::vector<std::string> types; /**< words of tableWords() in lower case; empty: all */
    std::vector<u16> pids;          /**< empty: all */
    std::optional<u16> id;          /**< table_id_extension */
    bool hex = false;
    bool json = false;
    int verbosity = 0;
};

/** @brief How often a section of a recording was seen. */
struct SectionSightings {
    std::uint64_t count = 0;
    std::uint64_t firstPacket = 0; /**< number of the packet, from 0, that completed it first */
    std::uint64_t lastPacket = 0;
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
    u16 idExtension() const { return bytes.size() < 5 ? u16{0} : static_cast<u16>(bytes[3] << 8 | bytes[4]); }
};

/** @brief A section taken apart. */
struct SectionTree {
    Fields fields;                  /**< everything that it says, in its order */
    bool parsed = false;            /**< by a parser of its table, not just its header */
    std::vector<std::string> notes; /**< what is wrong with it, or left out */
    std::shared_ptr<void> owner;    /**< the library's tree, to which payloads of descriptors lead */
};

/** @brief What the CRC_32 of a section should be. */
struct SectionCrc {
    u32 stored = 0;
    u32 calculated = 0;
    bool right() const { return stored == calculated; }
};

/** @return nothing for a section that is cut short, or in the short form and of none of tableKinds() */
std::optional<SectionCrc> crcOf(ByteView section);

/**
 * @brief Take a section apart, with the library's parser of its table where there is one.
 * @param section outlives the result
 * @param standard whose private descriptors are meant where the table does not say it
 */
SectionTree readSection(const TableSection &section, Standard standard);

/** @brief The sections of a stream that the options ask for, in the order in which they are shown. */
std::vector<TableSection> sectionsOf(Acquisition &acquisition, const TablesOptions &options);

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

/** @brief The sections as trees of lines, for people. */
std::string tablesText(const TablesResult &result, bool hex, Branches branches);

/** @brief The same as one JSON object (docs/tables-json.md), for programs. */
std::string tablesJson(const TablesResult &result);

/** @brief Run the subcommand. */
ExitStatus runTables(const TablesOptions &options, Output &output);

} // namespace psitool

#endif
