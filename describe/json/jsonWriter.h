/**
 * @file jsonWriter.h
 * @brief JSON as text, written in one go.
 */
#ifndef PSI_DESCRIBE_JSON_WRITER_H
#define PSI_DESCRIBE_JSON_WRITER_H

#include "describe/bytes.h"

#include <string>
#include <string_view>

namespace psi::describe {

/**
 * @brief Appends JSON to a text: a member or element a line, two blanks a level, as jsonText() has it.
 *
 * What the calls say has to be JSON: a key in front of each member of an object, an end for each begin.
 */
class JsonWriter {
public:
    /** @param level how deep the value stands in what is around it; its first line gets no blanks */
    explicit JsonWriter(std::string &text, unsigned level = 0) : text_(text), outermost_(level), level_(level) {}

    /** @brief Members follow, each behind its key(). */
    void beginObject() { begin('{'); }
    /** @brief The object that was begun last is whole. */
    void endObject() { end('}'); }
    /** @brief Elements follow. */
    void beginArray() { begin('['); }
    /** @brief The array that was begun last is whole. */
    void endArray() { end(']'); }
    /** @brief What the next value is called. */
    void key(std::string_view name, std::string_view suffix = {});
    /** @brief The same of a name that JSON may have to write with escapes. */
    void anyKey(std::string_view name);

    /** @brief A whole number. */
    void number(u64 value);
    /** @brief Any other number. */
    void number(double value);
    /** @brief A string; bytes that are not UTF-8 are replaced. */
    void text(std::string_view value);
    /** @brief A string of hexadecimal digits, two for a byte. */
    void hex(ByteView bytes);
    /** @brief A value as it stands in JSON: null, a number. */
    void word(std::string_view value) { literal(value); }
    /** @brief true or false. */
    void truth(bool value) { literal(value ? "true" : "false"); }
    /** @brief null. */
    void null() { literal("null"); }

private:
    void begin(char bracket);
    void end(char bracket);
    void literal(std::string_view word);
    void startValue();
    void startLine();

    std::string &text_;
    unsigned outermost_;
    unsigned level_;
    bool empty_ = true; // what was begun last
    bool keyed_ = false;
};

} // namespace psi::describe

#endif
