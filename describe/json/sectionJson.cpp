#include "describe/json/sectionJson.h"

namespace psi::describe {

namespace {

void addField(Json &object, const Field &field)
{
    const std::string key(field.key);
    switch (field.kind) {
    case Field::Kind::number:
        object[key] = field.number;
        if (!field.text.empty())
            object[key + "_name"] = field.text;
        break;
    case Field::Kind::list:
        object[key] = Json::array();
        for (const Fields &item : field.items)
            object[key].push_back(fieldsJson(item));
        break;
    case Field::Kind::descriptors:
        object[key] = descriptorsJson(field.descriptors);
        break;
    default:
        object[key] = field.text;
        break;
    }
    if (!field.bytes.empty())
        object[key + "_bytes"] = toHex(ByteView(field.bytes));
}

Json descriptorJson(const ReadDescriptor &descriptor)
{
    Json object;
    object["tag"] = descriptor.tag;
    object["name"] = descriptor.description.name;
    object["data"] = toHex(descriptor.payload);
    if (!descriptor.description.fields.empty())
        object["fields"] = fieldsJson(descriptor.description.fields);
    if (!descriptor.description.note.empty())
        object["note"] = descriptor.description.note;
    return object;
}

} // namespace

Json fieldsJson(const Fields &fields)
{
    Json object = Json::object();
    for (const Field &field : fields)
        addField(object, field);
    return object;
}

Json descriptorsJson(const std::vector<ReadDescriptor> &descriptors)
{
    Json array = Json::array();
    for (const ReadDescriptor &descriptor : descriptors)
        array.push_back(descriptorJson(descriptor));
    return array;
}

void addTable(Json &object, const TableKind *kind, std::optional<u16> pid)
{
    object["table"] = kind ? Json(kind->title) : Json(nullptr);
    object["psi_type"] = kind && kind->psiType != PSI_NO_TYPE ? Json(kind->psiType) : Json(nullptr);
    object["pid"] = pid ? Json(*pid) : Json(nullptr);
}

void addContent(Json &object, ByteView section, const TableKind *kind, const DescriptorContext &usual,
                const std::vector<std::string> &notes)
{
    const DescribedSection tree = describeSection(section, kind, usual);
    const std::optional<SectionCrc> crc = crcOf(section);
    object["crc_right"] = crc ? Json(crc->right()) : Json(nullptr);
    object["parsed"] = tree.parsed;
    object["notes"] = notes;
    for (const std::string &note : tree.notes)
        object["notes"].push_back(note);
    object["tree"] = fieldsJson(tree.fields);
    object["data"] = toHex(section);
}

Json sectionJson(ByteView section, std::optional<u16> pid, const DescriptorContext &usual)
{
    const TableKind *kind = tableKindOf(section, pid);
    Json object;
    addTable(object, kind, pid);
    object["size"] = section.size();
    addContent(object, section, kind, usual, {});
    return object;
}

std::string jsonText(const Json &object)
{
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace psi::describe
