/**
 * @file diff.h
 * @brief psitool diff: which tables and fields of two inputs differ.
 */
#ifndef PSITOOL_DIFF_H
#define PSITOOL_DIFF_H

#include "tables/tables.h"

#include <map>

namespace psitool {

/** @brief The command line of the subcommand. */
struct DiffOptions {
    std::string a;
    std::string b;
    TablesOptions filter; /**< types, PIDs and table_id_extension that are compared, and whose descriptors */
    bool json = false;
};

/** @brief A table of an input: its last version. */
struct ComparedTable {
    std::string title; /**< "SDT actual 0x0101 (257)" */
    const TableKind *kind = nullptr;
    std::optional<u16> id;
    std::optional<u16> pid;
    std::map<u8, std::vector<u8>> sections; /**< by section_number */
};

/** @brief The tables of an input, in the order in which they are shown; those of two inputs have the same keys. */
struct ComparedInput {
    std::string name;
    DescriptorContext usual; /**< whose descriptors and which texts are meant where no table says it */
    std::map<std::string, ComparedTable> tables;
};

/**
 * @brief Read a stream, a file of sections or the JSON of tables.
 * @throw std::runtime_error it cannot be read: one line that begins with its name
 */
ComparedInput readCompared(const std::string &name, const TablesOptions &filter);

/** @brief A place where two tables differ. */
struct FieldDifference {
    std::string path;             /**< as psitool edit --set takes it, without the table; "" for the whole */
    std::optional<std::string> a; /**< what stands there, as it is shown; nothing: nothing does */
    std::optional<std::string> b;
};

/** @brief Compare two tables field by field. */
std::vector<FieldDifference> compareTables(const ComparedTable &a, const DescriptorContext &usualOfA,
                                           const ComparedTable &b, const DescriptorContext &usualOfB);

/** @brief Run the subcommand. @return exitFound: no difference; exitNotFound: some; exitWrongUse: trouble */
ExitStatus runDiff(const DiffOptions &options, Output &output);

} // namespace psitool

#endif
