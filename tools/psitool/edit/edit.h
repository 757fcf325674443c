/**
 * @file edit.h
 * @brief psitool edit: a whole stream goes through, with other tables in it.
 */
#ifndef PSITOOL_EDIT_H
#define PSITOOL_EDIT_H

#include "edit/editRequest.h"

namespace psitool {

/** @brief The command line of the subcommand. */
struct EditOptions {
    std::string input;
    std::string output;
    EditWords words;
    std::optional<double> duration; /**< of a pipe or a live input: the end, in seconds of running */
    bool statistics = false;
    int verbosity = 0; /**< 0: silent; 1: errors and warnings, and the statistics; 2: and info; 3: and debug */
};

/** @brief Run the subcommand. */
ExitStatus runEdit(const EditOptions &options, Output &output);

} // namespace psitool

#endif
