#include "describe/json/schema.h"

#include "describe/json/json.h"
#include "describe/layoutReader.h"
#include "describe/spelling.h"
#include "describe/structures/structures.h"
#include "describe/structures/tables.h"
#include "describe/tableKinds.h"
#include "describe/tagSpaces.h"

#include <map>

namespace psi::describe {

namespace {

constexpr const char *pairsOfDigits = "^([0-9a-f]{2})*$";

Json stringType()
{
    return {{"type", "string"}};
}

Json hexType()
{
    return {{"type", "string"}, {"pattern", pairsOfDigits}};
}

Json reference(const std::string &name)
{
    return {{"$ref", "#/$defs/" + name}};
}

/** A number; where it has meanings, their names may be written instead. */
Json numberType(const Item &item)
{
    const u64 most = item.bits >= 64 ? ~u64{0} : (u64{1} << item.bits) - 1;
    const Json type = item.meanings.count > 0 ? Json{"integer", "string"} : Json("integer");
    return {{"type", type}, {"minimum", 0}, {"maximum", most}};
}

/** The members of a record, those of conditional parts among them. */
class RecordSchema {
public:
    Json of(const Layout &layout)
    {
        items(layout);
        add("extra", hexType());
        Json properties = Json::object();
        for (const auto &[key, types] : members_)
            properties[key] = types.size() == 1 ? types.front() : Json{{"anyOf", types}};
        return {{"type", "object"},
                {"properties", properties},
                {"patternProperties", {{"^reserved(_[0-9]+)?$", {{"type", "integer"}, {"minimum", 0}}}}},
                {"additionalProperties", false}};
    }

private:
    void add(const std::string &key, const Json &type)
    {
        std::vector<Json> &types = members_[key];
        if (std::find(types.begin(), types.end(), type) == types.end())
            types.push_back(type);
    }

    void items(const Layout &layout)
    {
        for (std::size_t i = 0; i < layout.count; i += 1U + layout.items[i].inside)
            item(layout.items[i]);
    }

    void item(const Item &item)
    {
        switch (item.shape) {
        case Shape::number:
            add(std::string(item.key) + "_name", stringType());
            [[fallthrough]];
        case Shape::length:
        case Shape::count:
        case Shape::lengthOf:
            return item.key ? add(item.key, numberType(item)) : void();
        case Shape::attempt:
            run(item);
            return items(insideOf(item));
        case Shape::run:
            return run(item);
        case Shape::sized:
            if (item.key)
                add(item.key, numberType(item));
            return items(insideOf(item));
        case Shape::when:
        case Shape::rest:
            return items(insideOf(item));
        case Shape::list:
            return add(item.key, {{"type", "array"}, {"items", RecordSchema().of(insideOf(item))}});
        case Shape::descriptors:
            return add(item.key, reference("descriptors"));
        case Shape::announces:
        case Shape::ahead:
        case Shape::reserved:
        case Shape::note:
            return;
        }
    }

    void run(const Item &item)
    {
        if (item.lengthBits && item.of)
            add(item.of, {{"type", "integer"}, {"minimum", 0}});
        switch (item.spelling->kind) {
        case Field::Kind::hex:
            return add(item.key, hexType());
        case Field::Kind::number:
            add(item.key, {{"type", "integer"}, {"minimum", 0}});
            break;
        default:
            add(item.key, stringType());
        }
        add(std::string(item.key) + "_bytes", hexType());
    }

    std::map<std::string, std::vector<Json>> members_;
};

/** Schemas by the name that selects them; several structures may have one name. */
using ByName = std::map<std::string, std::vector<Json>>;

void add(ByName &all, const StructureList &list, bool extended = false)
{
    static constexpr auto start = fields(hex(8, "descriptor_tag_extension"));
    for (const Structure &structure : list) {
        Json record = RecordSchema().of(structure.layout);
        if (extended)
            record["properties"].update(RecordSchema().of(start)["properties"]);
        all[(extended ? "extension_descriptor: " : "") + std::string(structure.name)].push_back(record);
    }
}

ByName descriptorSchemas()
{
    ByName all;
    for (const StructureList *list :
         {&mpegDescriptors, &dvbDescriptors, &deliveryDescriptors, &atscDescriptors, &aitDescriptors,
          &spliceDescriptors, &ipMacDescriptors, &updateDescriptors, &resolutionDescriptors})
        add(all, *list);
    for (const StructureList *list :
         {&mpegExtensionDescriptors, &dvbExtensionDescriptors, &deliveryExtensionDescriptors})
        add(all, *list, true);
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        add(all, *privateStructures[i].list);
    return all;
}

/** What a member has to be when another one has a name. */
Json choice(const char *key, const std::string &name, const char *member, const std::vector<Json> &types)
{
    const Json type = types.size() == 1 ? types.front() : Json{{"anyOf", types}};
    return {{"if", {{"properties", {{key, {{"const", name}}}}}, {"required", {key}}}},
            {"then", {{"properties", {{member, type}}}}}};
}

Json descriptorSchema()
{
    Json choices = Json::array();
    for (const auto &[name, types] : descriptorSchemas())
        choices.push_back(choice("name", name, "fields", types));
    return {{"type", "object"},
            {"properties",
             {{"tag", {{"type", "integer"}, {"minimum", 0}, {"maximum", 255}}},
              {"name", stringType()},
              {"data", hexType()},
              {"fields", {{"type", "object"}}},
              {"note", stringType()}}},
            {"additionalProperties", false},
            {"anyOf", {{{"required", {"tag"}}}, {{"required", {"name"}}}}},
            {"allOf", choices}};
}

/** A table's tree: its fields, or the bytes of a section that they do not fit. */
Json treeSchema(const Layout &layout, const Json &bytes)
{
    Json tree = RecordSchema().of(layout);
    tree["properties"].update(RecordSchema().of(crcLayout)["properties"]);
    return {{"anyOf", {tree, bytes}}};
}

Json bytesSchema()
{
    Json record = RecordSchema().of(anyLongLayout);
    record["properties"].update(RecordSchema().of(crcLayout)["properties"]);
    return record;
}

Json sectionSchema()
{
    Json choices = Json::array();
    for (const TableKind &kind : tableKinds())
        choices.push_back(choice("table", kind.title, "tree", {treeSchema(*kind.layout, reference("bytes"))}));
    return {{"type", "object"},
            {"properties",
             {{"table", {{"type", {"string", "null"}}}},
              {"pid", {{"type", {"integer", "null"}}, {"minimum", 0}, {"maximum", 8191}}},
              {"crc_right", {{"type", {"boolean", "null"}}}},
              {"parsed", {{"type", "boolean"}}},
              {"notes", {{"type", "array"}, {"items", stringType()}}},
              {"tree", {{"type", "object"}}},
              {"data", hexType()}}},
            {"anyOf", {{{"required", {"tree"}}}, {{"required", {"data"}}}}},
            {"allOf", choices}};
}

} // namespace

std::string documentSchema()
{
    const Json schema = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                         {"title", "Sections of a transport stream, field by field"},
                         {"type", "object"},
                         {"properties",
                          {{"standard", {{"enum", {"dvb", "atsc", nullptr}}}},
                           {"private_data_specifier", {{"type", {"string", "null"}}}},
                           {"charset", {{"type", {"string", "null"}}}},
                           {"sections", {{"type", "array"}, {"items", reference("section")}}}}},
                         {"required", {"sections"}},
                         {"$defs",
                          {{"section", sectionSchema()},
                           {"bytes", bytesSchema()},
                           {"descriptors", {{"type", "array"}, {"items", reference("descriptor")}}},
                           {"descriptor", descriptorSchema()}}}};
    return jsonText(schema);
}

} // namespace psi::describe
