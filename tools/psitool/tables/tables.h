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
    std::vector<std::string> sections; /**< files of sections, one behind the other */
    ScanStandard standard = ScanStandard::automatic;
    DescriptorContext given;        /**< whose private descriptors and which texts are meant; else the stream tells */
    std::vector<std::string> types; /**< words of tableWords() in lower case; empty: all */
    std::vector<u16> pids;          /**< empty: all */
    std::optional<u16> id;          /**< table_id_extension */
    ListenOptions listen;
    bool hex = false;
    bool json = false;
    bool yaml = false; /**< what `json` prints as YAML */
    ColorChoice color = ColorChoice::automatic;
    bool summary = false; /**< a line for each section, and which descriptors were not decoded */
    bool schema = false;  /**< the JSON Schema of what `json` prints, and nothing else */
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
    bool damaged = false;    /**< a file could not be read, or holds no whole section */
    DescriptorContext found; /**< what the sections leave open and others say, also those that are not asked for */
};
SectionFiles readSectionFiles(const TablesOptions &options);

/** @brief True when a section's type and table_id_extension are asked for. */
bool isWanted(const TableSection &section, const TablesOptions &options);

/** @brief Whose descriptors a stream's tables use when they do not say it. */
Standard standardFor(ScanStandard asked, Standard found);

/** @brief What one leaves open, the other says. */
DescriptorContext completed(DescriptorContext usual, const DescriptorContext &other);

/** @brief The same for what the command line says, by what was found. */
DescriptorContext usualFor(const TablesOptions &options, const DescriptorContext &found);

/** @brief What is shown. */
struct TablesResult {
    std::optional<ScanInput> input; /**< nothing when files were read */
    DescriptorContext usual;        /**< whose descriptors and which texts are meant where no table says it */
    bool hex = false;
    bool summary = false;
    std::vector<TableSection> sections;
};

/** @brief Takes a text section by section: all of it may be far more than memory holds. @return false to go no further
 */
using TextSink = std::function<bool(const std::string &)>;

/** @brief The sections as trees of lines, for people. @return false when the sink did not take everything */
bool writeTablesText(const TablesResult &result, const Look &look, const TextSink &sink);

/** @brief How many descriptors have a layout that is known here, and which have none. */
class DescriptorCount {
public:
    /** @brief A kind of descriptor that is not decoded, and how often it was seen. */
    struct Unknown {
        u8 tag;
        std::string name;
        const char *space;        /**< "application information"; "" for an ordinary loop */
        u32 privateDataSpecifier; /**< that stood in front of it; 0: none */
        bool malformed;           /**< its layout is known, but does not fit */
        std::size_t count;
    };

    void add(const Fields &fields);
    std::size_t decoded() const { return decoded_; }
    const std::vector<Unknown> &unknown() const { return unknown_; }

private:
    void add(const ReadDescriptor &descriptor);

    std::size_t decoded_ = 0;
    std::vector<Unknown> unknown_;
};

/** @brief The same as one JSON object (docs/tables-json.md), for programs. */
bool writeTablesJson(const TablesResult &result, const TextSink &sink);

/** @brief Run the subcommand. */
ExitStatus runTables(const TablesOptions &options, Output &output);

} // namespace psitool

#endif
