/**
 * @file pids.h
 * @brief psitool pids: every PID of a stream, and how often its tables come.
 */
#ifndef PSITOOL_PIDS_H
#define PSITOOL_PIDS_H

#include "input/collection.h"

namespace psitool {

/** @brief The command line of the subcommand. */
struct PidsOptions : CollectOptions {
    bool json = false;
};

/** @brief Run the subcommand. */
ExitStatus runPids(const PidsOptions &options, Output &output);

} // namespace psitool

#endif
