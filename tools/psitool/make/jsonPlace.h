/**
 * @file jsonPlace.h
 * @brief Reading JSON that people edit: every value knows where it stands.
 */
#ifndef PSITOOL_JSON_PLACE_H
#define PSITOOL_JSON_PLACE_H

#include "describe/json/jsonFields.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace psitool {

/** @brief JSON that cannot be used: one line that begins with the place, a JSON pointer (RFC 6901) or line and column.
 */
class JsonError : public std::runtime_error {
public:
    JsonError(const std::string &place, const std::string &message) : std::runtime_error(place + ": " + message) {}
};

/** @brief What all places of one document share. */
struct ModelDocument {
    /** @throw JsonError with line and column, counted from 1 */
    ModelDocument(const std::string &text, std::vector<std::string> keys);

    psi::describe::JsonDocument json;
    std::vector<std::string> vocabulary; /**< keys with a meaning: no misspellings of each other */
    std::vector<std::string> warnings;   /**< keys that are likely misspelt */
};

/** @brief A value and its place. The document must outlive it. */
class JsonPlace {
public:
    explicit JsonPlace(ModelDocument &document) : JsonPlace(document, document.json.root(), "") {}

    /** @brief The JSON pointer; "" for the outermost value. */
    const std::string &pointer() const { return pointer_; }

    /** @brief A member. @throw JsonError this is no object, or has no such member */
    JsonPlace operator[](const char *key) const;
    /** @brief A member that need not be there. @throw JsonError this is no object */
    std::optional<JsonPlace> find(const char *key) const;
    /** @brief The elements. @throw JsonError this is no array */
    std::vector<JsonPlace> elements() const;

    /** @brief A number. @throw JsonError anything but a whole number from lowest to highest */
    u32 number(u32 highest, u32 lowest = 0) const;
    bool boolean() const;
    std::string text() const;
    /** @brief The bytes behind hexadecimal digits. @param most bytes allowed */
    std::string bytes(std::size_t most) const;

    [[noreturn]] void fail(const std::string &message) const;
    void warn(const std::string &message) const;

private:
    using Field = psi::describe::Field;
    using Fields = psi::describe::Fields;

    JsonPlace(ModelDocument &document, const Field &value, std::string pointer);
    /** An object that is an element of an array. */
    JsonPlace(ModelDocument &document, const Fields &members, std::string pointer)
        : document_(&document), members_(&members), pointer_(std::move(pointer))
    {
    }
    [[noreturn]] void expected(const std::string &what) const;
    std::string found() const;
    std::string misspelling(const std::string &key) const;
    bool isOther(const char *word) const;

    ModelDocument *document_;
    const Field *value_ = nullptr;    // of anything but an object
    const Fields *members_ = nullptr; // of an object
    std::string pointer_;
};

} // namespace psitool

#endif
