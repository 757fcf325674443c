/**
 * @file sections.h
 * @brief Sections taken apart, field by field, and put together again.
 */
#ifndef PSI_DESCRIBE_SECTIONS_H
#define PSI_DESCRIBE_SECTIONS_H

#include "describe/descriptors.h"
#include "describe/layoutWriter.h"
#include "describe/tableKinds.h"

#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief A section taken apart. */
struct DescribedSection {
    Fields fields;                  /**< everything that it says, in its order */
    bool parsed = false;            /**< by the layout of its table, not just its header */
    std::vector<std::string> notes; /**< what is wrong with it, or left out */
};

/** @brief What the CRC_32 of a section should be. */
struct SectionCrc {
    u32 stored = 0;
    u32 calculated = 0;
    bool right() const { return stored == calculated; }
};

/** @return nothing for a section that is cut short, or has none */
std::optional<SectionCrc> crcOf(ByteView section);

/**
 * @brief Take a section apart.
 * @param bytes of a section, which may be cut short, and what stands behind it; outlive the result, in which payloads
 * of descriptors lead to them
 * @param kind what its table_id stands for, or null
 * @param usual whose private descriptors and which texts are meant where the table does not say it
 */
DescribedSection describeSection(ByteView bytes, const TableKind *kind, const DescriptorContext &usual);

/** @brief What becomes of a section's CRC_32. */
enum class CrcTerms : u8 {
    computed,
    kept, /**< it is wrong and shall be so: the one that is given */
    none, /**< a section that is only bytes was cut short and has none */
};

/** @brief What writing a section has to know besides its fields. */
struct SectionTerms {
    const TableKind *kind = nullptr; /**< null: what its table_id says */
    DescriptorContext usual = {};    /**< as describeSection() was told */
    CrcTerms crc = CrcTerms::computed;
    std::optional<u16> pid = std::nullopt; /**< where the section stands, when that is known */
};

/**
 * @brief Put a section together: the counterpart of describeSection().
 * @param tree its fields, as they were read or as somebody wrote them
 * @param place where they stand, for messages
 * @return its bytes, lengths, counts and CRC_32 computed
 * @throw FieldError what cannot be written, with its place
 */
std::string writeSection(const Fields &tree, const SectionTerms &terms, WriteReport &report, const FieldPlace &place);

} // namespace psi::describe

#endif
