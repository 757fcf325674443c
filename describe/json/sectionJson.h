/**
 * @file sectionJson.h
 * @brief Sections as JSON: what compileDocument() takes back.
 */
#ifndef PSI_DESCRIBE_SECTION_JSON_H
#define PSI_DESCRIBE_SECTION_JSON_H

#include "describe/sections.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief JSON whose keys keep their order. */
using Json = nlohmann::ordered_json;

/** @brief Fields under their keys; what a number means stands beside it under KEY_name. */
Json fieldsJson(const Fields &fields);
Json descriptorsJson(const std::vector<ReadDescriptor> &descriptors);

/** @brief Which table a section is of: "table", "psi_type", "pid". @param kind null: of an unknown one */
void addTable(Json &object, const TableKind *kind, std::optional<u16> pid);

/**
 * @brief What a section says: "crc_right", "parsed", "notes", "tree", "data".
 * @param notes what is to be said about it besides
 */
void addContent(Json &object, ByteView section, const TableKind *kind, const DescriptorContext &usual,
                const std::vector<std::string> &notes);

/** @brief A section by itself: its table, its "size" and what it says. */
Json sectionJson(ByteView section, std::optional<u16> pid, const DescriptorContext &usual);

/** @brief The object as it is printed: valid UTF-8, with a line end. Bytes that are not UTF-8 are replaced. */
std::string jsonText(const Json &object);

} // namespace psi::describe

#endif
