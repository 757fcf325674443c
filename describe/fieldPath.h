/**
 * @file fieldPath.h
 * @brief Paths to the fields of a table, as people write them, and what is changed there.
 *
 * Two ways to write the same:
 *
 *     pmt[10].streams[1].ISO_639_language_descriptor.languages[0].code
 *     /pmt/10/streams/1/descriptors/0/fields/languages/0/ISO_639_language_code
 *
 * The second is a JSON pointer (RFC 6901) into the trees that sectionJson() gives.
 */
#ifndef PSI_DESCRIBE_FIELD_PATH_H
#define PSI_DESCRIBE_FIELD_PATH_H

#include "describe/fields.h"
#include "describe/layout.h"

#include <optional>
#include <stdexcept>

namespace psi::describe {

/** @brief A path that is not written as one, or a value that cannot stand where it leads. */
class PathError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @brief One step of a path. */
struct PathStep {
    enum class Kind : u8 {
        key,    /**< a field of a record, or a descriptor by its name */
        number, /**< of a loop of descriptors a tag, of another list an index */
        index,  /**< an entry, counted from 0 */
        equal,  /**< the entries whose field `key` is `value` */
        every,  /**< all entries */
        behind, /**< the place behind the last entry */
    };
    Kind kind = Kind::key;
    std::string text = {}; /**< as it was written */
    std::string key = {};
    std::string value = {};
    u64 number = 0;
    std::size_t nth = 0; /**< of descriptors of one name or tag: how many stand in front of it */
};

/** @brief A path: which tables, and where in them. */
struct FieldPath {
    std::string text; /**< as it was written */
    std::string table;
    std::optional<u16> id; /**< table_id_extension */
    std::vector<PathStep> steps;
};

/** @brief Understand a path. @throw PathError with the column where it cannot be */
FieldPath parseFieldPath(const std::string &text);

/** @brief The path in front of the '=' that is outside brackets, and the text behind it. @throw PathError there is none
 */
std::pair<std::string, std::string> splitAssignment(const std::string &text);

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

/** @brief True for a field that follows from everything else, in whatever table: lengths, CRC_32. */
bool isComputed(std::string_view key);

/** @brief A descriptor's own fields. @param descriptor a record of an editable() loop @return null: only bytes */
Fields *fieldsOf(Fields &descriptor);
/** @brief The same field of fields that may be changed. */
Field *findField(Fields &fields, std::string_view key);

} // namespace psi::describe

#endif
