/**
 * @file editCommand.h
 * @brief The command line of psitool edit.
 */
#ifndef PSITOOL_EDIT_COMMAND_H
#define PSITOOL_EDIT_COMMAND_H

#include "edit/edit.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief Add the subcommand; its arguments are to go through joinEditGroups() first. */
CLI::App *addEdit(CLI::App &app, EditOptions &options);

} // namespace psitool

#endif
