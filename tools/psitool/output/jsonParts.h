/**
 * @file jsonParts.h
 * @brief What the JSON of the subcommands has in common.
 */
#ifndef PSITOOL_JSON_PARTS_H
#define PSITOOL_JSON_PARTS_H

#include "describe/json/json.h"
#include "input/acquire.h"
#include "output/described.h"

namespace psitool {

using psi::describe::Json;

Json inputJson(const ScanInput &input);

} // namespace psitool

#endif
