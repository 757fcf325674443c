/**
 * @file sections.h
 * @brief Sections taken apart, field by field.
 */
#ifndef PSI_DESCRIBE_SECTIONS_H
#define PSI_DESCRIBE_SECTIONS_H

#include "describe/descriptors.h"
#include "describe/tableKinds.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief A section taken apart. */
struct DescribedSection {
    Fields fields;                  /**< everything that it says, in its order */
    bool parsed = false;            /**< by a parser of its table, not just its header */
    std::vector<std::string> notes; /**< what is wrong with it, or left out */
    std::shared_ptr<void> owner;    /**< the library's tree, to which payloads of descriptors lead */
};

/** @brief What the CRC_32 of a section should be. */
struct SectionCrc {
    u32 stored = 0;
    u32 calculated = 0;
    bool right() const { return stored == calculated; }
};

/** @return nothing for a section that is cut short, or in the short form and of none of tableKinds() */
std::optional<SectionCrc> crcOf(ByteView section);

/**
 * @brief Take a section apart, with the library's parser of its table where there is one.
 * @param section outlives the result
 * @param kind what its table_id stands for, or null
 * @param standard whose private descriptors are meant where the table does not say it
 */
DescribedSection describeSection(ByteView section, const TableKind *kind, Standard standard);

} // namespace psi::describe

#endif
