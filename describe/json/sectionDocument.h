/**
 * @file sectionDocument.h
 * @brief Sections from the JSON of psitool tables, edited or written by hand.
 */
#ifndef PSI_DESCRIBE_SECTION_DOCUMENT_H
#define PSI_DESCRIBE_SECTION_DOCUMENT_H

#include "describe/json/jsonFields.h"
#include "describe/sections.h"

namespace psi::describe {

/** @brief A section that was put together. */
struct CompiledSection {
    std::string bytes;
    std::optional<u16> pid;          /**< what the document says, or where the standards put the table */
    const TableKind *kind = nullptr; /**< of its table_id; null for an unknown one */
    std::string place;               /**< JSON pointer of its object */
    bool hadData = false;            /**< the document says what it was before */
    bool changed = false;            /**< and it is something else now */
};

/** @brief The sections of a document, and what is to be said about it. */
struct CompiledDocument {
    std::vector<CompiledSection> sections;
    std::vector<std::string> warnings;
    DescriptorContext usual; /**< whose private descriptors and which texts were meant */
};

/**
 * @brief Put the sections of a document together.
 * @param document what psitool tables --json prints, an array of its sections, one of them, or one's tree
 * @param usual whose private descriptors and which texts are meant; what it leaves open, the document says
 * @throw FieldError what cannot be written, with its place
 *
 * A section's tree counts. Its data is taken when there is no tree; when the tree was edited, data that is as old as it
 * was is passed over, and data that was edited as well is an error. Lengths, counts and CRC_32 are computed.
 */
CompiledDocument compileDocument(const JsonDocument &document, DescriptorContext usual);

} // namespace psi::describe

#endif
