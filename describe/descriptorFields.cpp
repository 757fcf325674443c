#include "describe/descriptorFields.h"

#include "describe/text.h"

#include <utility>

namespace psi::describe {

namespace {

void add(Fields &fields, Field field)
{
    fields.push_back(std::move(field));
}

} // namespace

void addNumber(Fields &fields, const char *key, u32 value, const char *meaning)
{
    add(fields, {key, Field::Kind::number, value, 0, meaning, {}});
}

void addHex(Fields &fields, const char *key, u32 value, unsigned digits, const char *meaning)
{
    add(fields, {key, Field::Kind::number, value, digits, meaning, {}});
}

void addText(Fields &fields, const char *key, const std::string &text)
{
    add(fields, {key, Field::Kind::text, 0, 0, text, {}});
}

void addBytes(Fields &fields, const char *key, ByteView bytes)
{
    if (!bytes.empty())
        add(fields, {key, Field::Kind::hex, 0, 0, toHex(bytes), {}});
}

void addDvbText(Fields &fields, const char *key, ByteView text)
{
    addText(fields, key, decodeDvbText(text).utf8);
}

void addLanguage(Fields &fields, ByteReader &reader, const char *key)
{
    addText(fields, key, printableAscii(reader.bytes(3)));
}

void addLoop(Fields &fields, const char *key, ByteReader &reader, DescriptorDecoder decode)
{
    std::vector<Fields> items;
    while (reader.more()) {
        items.emplace_back();
        decode(reader, items.back());
    }
    add(fields, {key, Field::Kind::list, 0, 0, "", std::move(items)});
}

std::string decimal(ByteView coded, std::size_t digits, std::size_t whole, const char *unit)
{
    const std::string text = toHex(coded).substr(0, digits);
    if (text.size() < digits)
        return "";
    const std::size_t firstDigit = std::min(text.find_first_not_of('0'), whole - 1);
    return text.substr(firstDigit, whole - firstDigit) + "." + text.substr(whole) + unit;
}

void decodeStuffing(ByteReader &reader, Fields &fields)
{
    addNumber(fields, "stuffing_bytes", static_cast<u32>(reader.rest().size()));
}

const Field *findField(const Fields &fields, const std::string &key)
{
    for (const Field &field : fields)
        if (field.key == key)
            return &field;
    return nullptr;
}

u32 numberOf(const Fields &fields, const std::string &key, u32 otherwise)
{
    const Field *field = findField(fields, key);
    return field && field->kind == Field::Kind::number ? field->number : otherwise;
}

} // namespace psi::describe
