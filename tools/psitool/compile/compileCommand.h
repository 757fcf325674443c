/**
 * @file compileCommand.h
 * @brief The command line of psitool compile.
 */
#ifndef PSITOOL_COMPILE_COMMAND_H
#define PSITOOL_COMPILE_COMMAND_H

#include "compile/compile.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief Add the subcommand. @param options outlives the parsing */
CLI::App *addCompile(CLI::App &app, CompileOptions &options);

} // namespace psitool

#endif
