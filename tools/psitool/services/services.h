/**
 * @file services.h
 * @brief psitool services: the services of a stream.
 */
#ifndef PSITOOL_SERVICES_H
#define PSITOOL_SERVICES_H

#include "input/collection.h"

namespace psitool {

/** @brief How the list is written. */
enum class ServiceFormat { text, json, m3u, csv };

/** @brief The command line of the subcommand. */
struct ServicesOptions {
    std::string input;
    ScanStandard standard = ScanStandard::automatic;
    ListenOptions listen;
    ServiceFormat format = ServiceFormat::text;
    int verbosity = 0;
};

/** @brief Run the subcommand. */
ExitStatus runServices(const ServicesOptions &options, Output &output);

} // namespace psitool

#endif
