/**
 * @file make.h
 * @brief psitool make: a transport stream from the JSON of psitool scan.
 */
#ifndef PSITOOL_MAKE_H
#define PSITOOL_MAKE_H

#include "make/modelFromJson.h"
#include "output/console.h"

#include <cstdint>
#include <string>

namespace psitool {

/** @brief The command line of the subcommand. */
struct MakeOptions {
    std::string input;    /**< a file, or "-" */
    std::string output;   /**< a file, "-", or empty: no stream is wanted */
    std::string sections; /**< a folder, or empty */
    ScanStandard standard = ScanStandard::automatic;
    double seconds = 0;              /**< 0: not given */
    std::uint64_t bitsPerSecond = 0; /**< 0: not given */
    int verbosity = 0;               /**< 0: silent; 1: errors and warnings; 2: and info; 3: and debug */
};

/** @brief Seconds: "60", "0.5". @return 0 for anything else, and above a day */
double parseDuration(const std::string &text);

/** @brief Bits in a second: "5000000", "500k", "1.5M", "1G". @return 0 for anything else, and outside of 1k to 10G */
std::uint64_t parseBitrate(const std::string &text);

/** @brief Run the subcommand. */
ExitStatus runMake(const MakeOptions &options, Output &output);

} // namespace psitool

#endif
