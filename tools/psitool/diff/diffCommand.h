/**
 * @file diffCommand.h
 * @brief The command line of psitool diff.
 */
#ifndef PSITOOL_DIFF_COMMAND_H
#define PSITOOL_DIFF_COMMAND_H

#include "diff/diff.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief Add the subcommand. @param options outlives the parsing */
CLI::App *addDiff(CLI::App &app, DiffOptions &options);

} // namespace psitool

#endif
