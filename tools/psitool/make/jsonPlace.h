/**
 * @file jsonPlace.h
 * @brief Reading JSON that people edit: every value knows where it stands.
 */
#ifndef PSITOOL_JSON_PLACE_H
#define PSITOOL_JSON_PLACE_H

#include "psi.h"

#include <nlohmann/json.hpp>

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
struct JsonDocument {
    nlohmann::json root;
    std::vector<std::string> vocabulary; /**< keys with a meaning: no misspellings of each other */
    std::vector<std::string> warnings;   /**< keys that are likely misspelt */
};

/** @brief Parse. @throw JsonError with line and column, counted from 1 */
nlohmann::json parseJson(const std::string &text);

/** @brief A value and its place. The document must outlive it. */
class JsonPlace {
public:
    explicit JsonPlace(JsonDocument &document) : document_(&document), value_(&document.root) {}

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
    JsonPlace(const JsonPlace &parent, const nlohmann::json &value, const std::string &step)
        : document_(parent.document_), value_(&value), pointer_(parent.pointer_ + "/" + step)
    {
    }
    [[noreturn]] void expected(const std::string &what) const;
    std::string misspelling(const std::string &key) const;

    JsonDocument *document_;
    const nlohmann::json *value_;
    std::string pointer_;
};

} // namespace psitool

#endif
