/**
 * @file sectionJson.h
 * @brief Sections as JSON: what compileDocument() takes back.
 */
#ifndef PSI_DESCRIBE_SECTION_JSON_H
#define PSI_DESCRIBE_SECTION_JSON_H

#include "describe/json/jsonWriter.h"
#include "describe/sections.h"

#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief An object of fields under their keys; what a number means stands beside it under KEY_name. */
void writeFields(JsonWriter &json, const Fields &fields);
/** @brief An array of objects. */
void writeDescriptors(JsonWriter &json, const std::vector<ReadDescriptor> &descriptors);

/** @brief Members of a section: which table it is of, "table", "psi_type", "pid". @param kind null: of an unknown one
 */
void writeTable(JsonWriter &json, const TableKind *kind, std::optional<u16> pid);

/**
 * @brief Members of a section: what it says, "crc_right", "parsed", "notes", "tree", "data".
 * @param notes what is to be said about it besides
 */
void writeContent(JsonWriter &json, ByteView section, const TableKind *kind, const DescriptorContext &usual,
                  const std::vector<std::string> &notes);

/** @brief A section by itself as it is printed: its table, its "size" and what it says. Valid UTF-8, with a line end.
 */
std::string sectionJson(ByteView section, std::optional<u16> pid, const DescriptorContext &usual);

} // namespace psi::describe

#endif
