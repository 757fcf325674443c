/**
 * @file compile.h
 * @brief psitool compile: sections, or a stream of them, from the JSON of psitool tables.
 */
#ifndef PSITOOL_COMPILE_H
#define PSITOOL_COMPILE_H

#include "input/acquire.h"
#include "output/console.h"

#include <string>

namespace psitool {

/** @brief The command line of the subcommand. */
struct CompileOptions {
    std::string input;   /**< a file, or "-" */
    std::string output;  /**< a file, or "-"; empty with `check` only */
    bool stream = false; /**< transport packets instead of bare sections */
    bool packed = false; /**< sections of a PID that follow each other share packets */
    bool check = false;  /**< say what would change, and write nothing */
    ScanStandard standard = ScanStandard::automatic;
};

/** @brief Run the subcommand. */
ExitStatus runCompile(const CompileOptions &options, Output &output);

} // namespace psitool

#endif
