/**
 * @file fieldChange.h
 * @brief Changes of a table's fields: where a path leads, and what is to stand there.
 */
#ifndef PSI_DESCRIBE_FIELD_CHANGE_H
#define PSI_DESCRIBE_FIELD_CHANGE_H

#include "describe/fieldPath.h"
#include "describe/fields.h"

namespace psi::describe {

/** @brief What is to stand at the end of a path. */
struct FieldChange {
    std::string text;            /**< the value as it was written */
    const Field *json = nullptr; /**< the same as JSON, where it is any */
    bool remove = false;         /**< nothing is to stand there */
};

/** @brief How far a path led. */
struct PathMatch {
    std::size_t hits = 0;  /**< places that were changed */
    std::size_t depth = 0; /**< steps that the best try could go */
    std::string miss;      /**< why it could not go further */
};

/**
 * @brief Change what a path leads to.
 * @param sections the editable() trees of one table's sections, by number. Their lists count as one: entry 0 of the
 * second section comes behind the last of the first
 * @param change refers to nothing that is not to outlive the trees
 * @param match gets what was found
 * @throw PathError the value cannot stand there
 */
void changeFields(const std::vector<Fields *> &sections, const FieldPath &path, const FieldChange &change,
                  PathMatch &match);

/** @brief The same fields with their descriptors in the form of documents, lists of "tag", "name" and "fields" or
 * "data": that can be changed everywhere, and written. */
Fields editable(const Fields &fields);

/** @brief A descriptor's own fields. @param descriptor a record of an editable() loop @return null: only bytes */
Fields *fieldsOf(Fields &descriptor);
/** @brief The same field of fields that may be changed. */
Field *findField(Fields &fields, std::string_view key);

} // namespace psi::describe

#endif
