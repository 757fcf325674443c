/**
 * @file modelJson.h
 * @brief The model of a transport stream as JSON (docs/json.md).
 */
#ifndef PSITOOL_MODEL_JSON_H
#define PSITOOL_MODEL_JSON_H

#include "describe/modelView.h"
#include "output/jsonParts.h"

namespace psitool {

/** @brief Every field of the model, the value of `transport_stream`. */
Json transportStreamJson(const ModelView &view);

} // namespace psitool

#endif
