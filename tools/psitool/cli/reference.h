/**
 * @file reference.h
 * @brief The subcommands "manual" and "completion", which print what packages install. No help lists them.
 */
#ifndef PSITOOL_REFERENCE_H
#define PSITOOL_REFERENCE_H

#include "cli/commandLine.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief What is asked of the two. */
struct ReferenceOptions {
    bool asked = false;
    std::string page;  /**< a subcommand, or empty for the program */
    std::string shell; /**< empty: the manual is asked for */
};

/** @brief Add both, behind all other subcommands. */
void addReference(CLI::App &app, ReferenceOptions &options);

/** @brief All that a definition says. */
CommandLine commandLineOf(const CLI::App &app);

/** @brief The text that was asked for. */
std::string referenceText(const CLI::App &app, const ReferenceOptions &options, const std::string &version);

} // namespace psitool

#endif
