/**
 * @file json.h
 * @brief JSON as a tree in memory, for what is small and put together from many places.
 */
#ifndef PSI_DESCRIBE_JSON_H
#define PSI_DESCRIBE_JSON_H

#include <nlohmann/json.hpp>

#include <string>

namespace psi::describe {

/** @brief JSON whose keys keep their order. */
using Json = nlohmann::ordered_json;

/** @brief The object as it is printed: valid UTF-8, with a line end. Bytes that are not UTF-8 are replaced. */
std::string jsonText(const Json &object);

} // namespace psi::describe

#endif
