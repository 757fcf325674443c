/**
 * @file jsonScanner.h
 * @brief Goes over a JSON text once and tells what stands there.
 */
#ifndef PSI_DESCRIBE_JSON_SCANNER_H
#define PSI_DESCRIBE_JSON_SCANNER_H

#include "describe/bytes.h"

#include <string_view>

namespace psi::describe {

/** @brief What a JSON string says. */
struct JsonString {
    std::string_view text;
    bool lasting = true; /**< a part of the text; false: made of its escapes, and gone after the call */
};

/** @brief Is told what stands in a JSON text, in its order. */
class JsonHandler {
public:
    virtual void beginObject() = 0;
    virtual void endObject() = 0;
    virtual void beginArray() = 0;
    virtual void endArray() = 0;
    /** @brief What the next value is called. */
    virtual void key(const JsonString &name) = 0;
    virtual void string(const JsonString &value) = 0;
    virtual void number(u64 value) = 0;
    /** @brief true, false, null, or a number that is none of 0 to 2^64 - 1, as it stands there. */
    virtual void other(std::string_view word) = 0;

protected:
    ~JsonHandler() = default;
};

/**
 * @brief Take a JSON text (RFC 8259) apart.
 * @param text UTF-8, with a byte order mark or without
 * @param handler may throw, and does so where the text is deeper than the stack allows
 * @return false: it is no JSON, or has a number that no double can be; what stands in front of what is wrong was told
 */
bool scanJson(std::string_view text, JsonHandler &handler);

} // namespace psi::describe

#endif
