/**
 * @file fieldPath.h
 * @brief Paths to the fields of a table, as people write them.
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

#include "describe/bytes.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

/** @brief A number as people write it, in decimal or behind 0x. @return nothing for any other text */
std::optional<u64> numberOfText(std::string_view text);

} // namespace psi::describe

#endif
