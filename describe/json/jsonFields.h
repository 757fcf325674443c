/**
 * @file jsonFields.h
 * @brief JSON to fields: what somebody wrote, with the place of everything.
 */
#ifndef PSI_DESCRIBE_JSON_FIELDS_H
#define PSI_DESCRIBE_JSON_FIELDS_H

#include "describe/layoutWriter.h"

#include <deque>

namespace psi::describe {

/**
 * @brief A JSON document as fields.
 *
 * Objects are records, arrays of objects are lists, numbers and texts are what they are; anything else, such as true,
 * null, 1.5 or an array of numbers, is Field::Kind::other and says in its text what it is; such an array has its
 * elements in items[0]. KEY_name beside KEY is for
 * reading and left out; KEY_bytes beside KEY are its Field::bytes.
 */
class JsonDocument {
public:
    /**
     * @brief Parse.
     * @throw FieldError not JSON (the place is line and column, from 1), deeper than 64 levels, more than 65536 members
     *        in an object, or a key twice in one (the place is a JSON pointer)
     */
    explicit JsonDocument(std::string text);
    JsonDocument(const JsonDocument &) = delete;
    JsonDocument &operator=(const JsonDocument &) = delete;

    const Field &root() const { return root_; }

private:
    friend class JsonReader;

    std::string text_;             // the keys of the fields are parts of it
    std::deque<std::string> keys_; // or these, where it has escapes for them
    Field root_;
};

/** @brief A place of a JSON text as editors count: "line 3, column 7". @param offset in bytes, from 0 */
std::string lineAndColumn(const std::string &text, std::size_t offset);

} // namespace psi::describe

#endif
