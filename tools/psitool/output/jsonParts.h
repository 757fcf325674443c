/**
 * @file jsonParts.h
 * @brief What the JSON of the subcommands has in common.
 */
#ifndef PSITOOL_JSON_PARTS_H
#define PSITOOL_JSON_PARTS_H

#include "describe/json/json.h"
#include "input/acquire.h"
#include "output/described.h"
#include "output/rounded.h"

namespace psitool {

using psi::describe::Json;

Json inputJson(const ScanInput &input);

/** @brief Seconds as milliseconds, to a microsecond. */
inline double milliseconds(double seconds)
{
    return rounded(seconds * 1e6) / 1e3;
}

} // namespace psitool

#endif
