/**
 * @file jsonParts.h
 * @brief What the JSON of the subcommands has in common.
 */
#ifndef PSITOOL_JSON_PARTS_H
#define PSITOOL_JSON_PARTS_H

#include "describe/descriptors.h"
#include "input/acquire.h"
#include "output/described.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace psitool {

using Json = nlohmann::ordered_json;

/** @brief Fields under their keys; what a number means stands beside it under KEY_name. */
Json fieldsJson(const Fields &fields);
Json descriptorsJson(const std::vector<ReadDescriptor> &descriptors);
Json inputJson(const ScanInput &input);

/** @brief The object as it is printed: valid UTF-8, with a line end. */
std::string jsonText(const Json &object);

} // namespace psitool

#endif
