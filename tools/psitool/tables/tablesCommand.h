/**
 * @file tablesCommand.h
 * @brief The command line of psitool tables.
 */
#ifndef PSITOOL_TABLES_COMMAND_H
#define PSITOOL_TABLES_COMMAND_H

#include "tables/tables.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief Add the subcommand. @param options gets what it is called with @return the subcommand, owned by `app` */
CLI::App *addTables(CLI::App &app, TablesOptions &options);

/** @brief Add the options that choose sections: --type, --pid, --id. */
void addFilters(CLI::App &subcommand, TablesOptions &options);

} // namespace psitool

#endif
