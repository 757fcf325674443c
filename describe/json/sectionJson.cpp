#include "describe/json/sectionJson.h"

namespace psi::describe {

namespace {

void writeField(JsonWriter &json, const Field &field)
{
    json.key(field.key);
    switch (field.kind) {
    case Field::Kind::number:
        json.number(field.number);
        if (!field.text.empty()) {
            json.key(field.key, "_name");
            json.text(field.text);
        }
        break;
    case Field::Kind::list:
        json.beginArray();
        for (const Fields &item : field.items)
            writeFields(json, item);
        json.endArray();
        break;
    case Field::Kind::descriptors:
        writeDescriptors(json, field.descriptors);
        break;
    default:
        json.text(field.text);
        break;
    }
    if (!field.bytes.empty()) {
        json.key(field.key, "_bytes");
        json.hex(ByteView(field.bytes));
    }
}

void writeDescriptor(JsonWriter &json, const ReadDescriptor &descriptor)
{
    json.beginObject();
    json.key("tag");
    json.number(u64{descriptor.tag});
    json.key("name");
    json.text(descriptor.description.name);
    json.key("data");
    json.hex(descriptor.payload);
    if (!descriptor.description.fields.empty()) {
        json.key("fields");
        writeFields(json, descriptor.description.fields);
    }
    if (!descriptor.description.note.empty()) {
        json.key("note");
        json.text(descriptor.description.note);
    }
    json.endObject();
}

void writeTexts(JsonWriter &json, const std::vector<std::string> &texts)
{
    for (const std::string &text : texts)
        json.text(text);
}

} // namespace

void writeFields(JsonWriter &json, const Fields &fields)
{
    json.beginObject();
    for (const Field &field : fields)
        writeField(json, field);
    json.endObject();
}

void writeDescriptors(JsonWriter &json, const std::vector<ReadDescriptor> &descriptors)
{
    json.beginArray();
    for (const ReadDescriptor &descriptor : descriptors)
        writeDescriptor(json, descriptor);
    json.endArray();
}

void writeTable(JsonWriter &json, const TableKind *kind, std::optional<u16> pid)
{
    const auto numberOrNull = [&](const char *key, bool there, u64 number) {
        json.key(key);
        there ? json.number(number) : json.null();
    };
    json.key("table");
    kind ? json.text(kind->title) : json.null();
    numberOrNull("psi_type", kind && kind->psiType != PSI_NO_TYPE, kind ? kind->psiType : 0);
    numberOrNull("pid", pid.has_value(), pid.value_or(0));
}

void writeContent(JsonWriter &json, ByteView section, const TableKind *kind, const DescriptorContext &usual,
                  const std::vector<std::string> &notes)
{
    const DescribedSection tree = describeSection(section, kind, usual);
    const std::optional<SectionCrc> crc = crcOf(section);
    json.key("crc_right");
    crc ? json.truth(crc->right()) : json.null();
    json.key("parsed");
    json.truth(tree.parsed);
    json.key("notes");
    json.beginArray();
    writeTexts(json, notes);
    writeTexts(json, tree.notes);
    json.endArray();
    json.key("tree");
    writeFields(json, tree.fields);
    json.key("data");
    json.hex(section);
}

std::string sectionJson(ByteView section, std::optional<u16> pid, const DescriptorContext &usual)
{
    const TableKind *kind = tableKindOf(section, pid);
    std::string text;
    text.reserve(std::size_t{24} * section.size()); // it is about as long
    JsonWriter json(text);
    json.beginObject();
    writeTable(json, kind, pid);
    json.key("size");
    json.number(u64{section.size()});
    writeContent(json, section, kind, usual, {});
    json.endObject();
    text += '\n';
    return text;
}

} // namespace psi::describe
