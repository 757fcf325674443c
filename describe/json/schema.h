/**
 * @file schema.h
 * @brief JSON Schema of the documents that hold sections, made from the descriptions of the structures.
 */
#ifndef PSI_DESCRIBE_SCHEMA_H
#define PSI_DESCRIBE_SCHEMA_H

#include <string>

namespace psi::describe {

/**
 * @brief The schema (draft 2020-12) of what `psitool tables --json` prints and `psitool compile` takes: documents with
 * "sections", and each section's tree by the table that it names.
 */
std::string documentSchema();

} // namespace psi::describe

#endif
