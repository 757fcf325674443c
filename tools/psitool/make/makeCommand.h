/**
 * @file makeCommand.h
 * @brief The command line of psitool make.
 */
#ifndef PSITOOL_MAKE_COMMAND_H
#define PSITOOL_MAKE_COMMAND_H

#include "make/make.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief Add the subcommand. @param options gets what it is called with @return the subcommand, owned by `app` */
CLI::App *addMake(CLI::App &app, MakeOptions &options);

} // namespace psitool

#endif
