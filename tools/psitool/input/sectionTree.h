/**
 * @file sectionTree.h
 * @brief A section as a tree of its fields, and bytes again.
 */
#ifndef PSITOOL_SECTION_TREE_H
#define PSITOOL_SECTION_TREE_H

#include "describe/sections.h"
#include "output/described.h"

#include <optional>
#include <string>

namespace psitool {

/** @brief The editable() fields of a section. @return nothing when it does not fit its table's layout */
std::optional<Fields> sectionTree(ByteView section, const TableKind &kind);

/** @brief A section out of its fields: lengths, counts and CRC_32 computed. @throw FieldError what cannot be written */
std::string sectionBytes(const Fields &tree, const TableKind &kind);

} // namespace psitool

#endif
