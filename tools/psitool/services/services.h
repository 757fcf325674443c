/**
 * @file services.h
 * @brief psitool services: the services of a stream.
 */
#ifndef PSITOOL_SERVICES_H
#define PSITOOL_SERVICES_H

#include "input/collection.h"
#include "services/serviceForms.h"

namespace psitool {

/** @brief The command line of the subcommand. */
struct ServicesOptions : CollectOptions {
    ServiceForm form = ServiceForm::text;
    ServiceOrder order = ServiceOrder::stream;
};

/** @brief Run the subcommand. */
ExitStatus runServices(const ServicesOptions &options, Output &output);

} // namespace psitool

#endif
