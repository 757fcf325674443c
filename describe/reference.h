/**
 * @file reference.h
 * @brief What the descriptions say, for readers.
 */
#ifndef PSI_DESCRIBE_REFERENCE_H
#define PSI_DESCRIBE_REFERENCE_H

#include <string>

namespace psi::describe {

/** @brief Every table and descriptor with its fields, widths, meanings and clause, in Markdown: docs/structures.md. */
std::string referencePage();

} // namespace psi::describe

#endif
