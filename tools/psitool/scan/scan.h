/**
 * @file scan.h
 * @brief psitool scan: what a transport stream carries.
 */
#ifndef PSITOOL_SCAN_H
#define PSITOOL_SCAN_H

#include "describe/modelView.h"
#include "input/acquire.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <string>

namespace psitool {

/** @brief The command line of the subcommand. */
struct ScanOptions {
    std::string input;
    ScanStandard standard = ScanStandard::automatic;
    bool json = false;
    std::chrono::seconds watch{0}; /**< search a live input over and over for so long */
    int verbosity = 0;             /**< 0: silent; 1: errors and warnings; 2: and info; 3: and debug */
};

/** @brief Run the subcommand. */
ExitStatus runScan(const ScanOptions &options, Output &output);

/** @brief The result as trees of lines, for people. */
std::string scanText(const ScanInput &input, const ModelView &view, Branches branches);

/** @brief The last of these trees: which tables were acquired, and what those say that are not in the model. */
LineTree tablesTree(const ModelView &view);

/** @brief The result as one JSON object (docs/json.md), for programs. */
std::string scanJson(const ScanInput &input, const ModelView &view);

} // namespace psitool

#endif
