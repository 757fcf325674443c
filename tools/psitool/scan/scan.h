/**
 * @file scan.h
 * @brief psitool scan: what a transport stream carries.
 */
#ifndef PSITOOL_SCAN_H
#define PSITOOL_SCAN_H

#include "describe/modelView.h"
#include "input/collection.h"
#include "output/described.h"
#include "output/lineTree.h"

#include <string>

namespace psitool {

/** @brief How much is shown. */
enum class ScanExtent {
    fitting, /**< the summary on a terminal, else the details */
    summary,
    details,
};

/** @brief The command line of the subcommand. */
struct ScanOptions {
    std::string input;
    ScanStandard standard = ScanStandard::automatic;
    bool json = false;
    ScanExtent extent = ScanExtent::fitting;
    ColorChoice color = ColorChoice::automatic;
    bool search = false; /**< by the library's searches on the input, as a host does it */
    ListenOptions listen;
    std::chrono::seconds watch{0}; /**< listen to a live input for so long, or search it over and over */
    int verbosity = 0;             /**< 0: silent; 1: errors and warnings; 2: and info; 3: and debug */
};

/** @brief Run the subcommand. */
ExitStatus runScan(const ScanOptions &options, Output &output);

/** @brief What is shown. */
struct ScanResult {
    ScanInput input;
    const ModelView &view;
    const psi::demux::Collector *collector; /**< null: the model comes from searches */

    /** @brief True when there is a PAT without programs, which makes no model. */
    bool emptyPat() const { return !view.acquired(PSI_PAT) && collector && collector->uses().transportStream(); }
};

/** @brief What is known of the input, its errors with their PIDs. @param collector may be null */
LineTree inputTree(const ScanInput &input, const psi::demux::Collector *collector);

/** @brief The result as trees of lines, for people. */
std::string scanText(const ScanResult &result, const Look &look);

/** @brief The same on one screen: a line for each program and each table. */
std::string scanSummary(const ScanResult &result, const Look &look);

/** @brief The last of these trees: which tables were acquired, and what those say that are not in the model. */
LineTree tablesTree(const ScanResult &result);

/** @brief The result as one JSON object (docs/json.md), for programs. */
std::string scanJson(const ScanResult &result);

} // namespace psitool

#endif
