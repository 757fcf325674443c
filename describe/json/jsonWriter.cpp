#include "describe/json/jsonWriter.h"

#include "describe/json/json.h"
#include "describe/text.h"

#include <algorithm>
#include <charconv>

namespace psi::describe {

namespace {

std::string serialised(const Json &value, int indent)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

/** It stands in JSON as it is. */
bool isPlain(std::string_view text)
{
    bool ascii = true;
    for (const char c : text) {
        const u8 byte = static_cast<u8>(c);
        if (byte < 0x20 || byte == '"' || byte == '\\')
            return false;
        ascii = ascii && byte < 0x80;
    }
    return ascii || isUtf8(ByteView(text));
}

} // namespace

std::string jsonText(const Json &object)
{
    return serialised(object, 2) + "\n";
}

void JsonWriter::startLine()
{
    if (!empty_)
        text_ += ',';
    empty_ = false;
    text_ += '\n';
    text_.append(std::size_t{2} * level_, ' ');
}

void JsonWriter::startValue()
{
    if (!keyed_ && level_ > outermost_)
        startLine();
    keyed_ = false;
}

void JsonWriter::begin(char bracket)
{
    startValue();
    text_ += bracket;
    ++level_;
    empty_ = true;
}

void JsonWriter::end(char bracket)
{
    --level_;
    const bool lines = !empty_;
    empty_ = true; // no comma behind the last
    if (lines)
        startLine();
    empty_ = false;
    text_ += bracket;
}

void JsonWriter::key(std::string_view name, std::string_view suffix)
{
    startLine();
    text_ += '"';
    text_ += name;
    text_ += suffix;
    text_ += "\": ";
    keyed_ = true;
}

void JsonWriter::anyKey(std::string_view name)
{
    if (isPlain(name))
        return key(name);
    startLine();
    text_ += serialised(std::string(name), -1) + ": ";
    keyed_ = true;
}

void JsonWriter::literal(std::string_view word)
{
    startValue();
    text_ += word;
}

void JsonWriter::number(u64 value)
{
    constexpr std::size_t mostDigits = 20;
    char digits[mostDigits];
    const char *end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    literal({digits, static_cast<std::size_t>(end - digits)});
}

void JsonWriter::number(double value)
{
    literal(serialised(value, -1));
}

void JsonWriter::text(std::string_view value)
{
    if (!isPlain(value))
        return literal(serialised(std::string(value), -1));
    literal("\"");
    text_ += value;
    text_ += '"';
}

void JsonWriter::hex(ByteView bytes)
{
    literal("\"");
    appendHex(text_, bytes);
    text_ += '"';
}

} // namespace psi::describe
