#include "describe/json/sectionJson.h"
#include "describe/tagSpaces.h"
#include "output/jsonParts.h"
#include "tables/tables.h"

namespace psitool {

using psi::describe::JsonWriter;

namespace {

/** Raised when a key changes its name or meaning; new keys do not count. */
constexpr int schemaVersion = 1;

void writeSightings(JsonWriter &json, const SectionSightings &seen)
{
    const auto number = [&](const char *key, u64 value) {
        json.key(key);
        json.number(value);
    };
    const auto ms = [&](const char *key, const psi::demux::Moment &moment) {
        json.key(key);
        moment.timed() ? json.number(milliseconds(moment.seconds)) : json.null();
    };
    json.beginObject();
    number("count", seen.count);
    number("first_packet", seen.first.packet);
    number("last_packet", seen.last.packet);
    ms("first_ms", seen.first);
    ms("last_ms", seen.last);
    json.endObject();
}

void writeSection(JsonWriter &json, const TableSection &section, const DescriptorContext &usual)
{
    json.beginObject();
    psi::describe::writeTable(json, section.kind, section.pid);
    json.key("file");
    section.file.empty() ? json.null() : json.text(section.file);
    json.key("size");
    json.number(u64{section.bytes.size()});
    json.key("acquired");
    json.truth(section.acquired);
    json.key("seen");
    section.seen ? writeSightings(json, *section.seen) : json.null();
    psi::describe::writeContent(json, section.view(), section.kind, usual, section.notes);
    json.endObject();
}

Json descriptorsJson(const TablesResult &result)
{
    DescriptorCount count;
    for (const TableSection &section : result.sections)
        count.add(describeSection(section.view(), section.kind, result.usual).fields);
    Json unknown = Json::array();
    for (const DescriptorCount::Unknown &one : count.unknown())
        unknown.push_back({{"tag", one.tag},
                           {"name", one.name},
                           {"space", one.space},
                           {"private_data_specifier", one.privateDataSpecifier},
                           {"malformed", one.malformed},
                           {"count", one.count}});
    return {{"decoded", count.decoded()}, {"not_decoded", unknown}};
}

Json standardWord(Standard standard)
{
    if (standard == Standard::unknown)
        return nullptr;
    return standard == Standard::dvb ? "dvb" : "atsc";
}

} // namespace

bool writeTablesJson(const TablesResult &result, const TextSink &sink)
{
    Json object;
    object["psitool"] = {{"schema", "tables"}, {"schema_version", schemaVersion}};
    object["input"] = result.input ? inputJson(*result.input) : Json(nullptr);
    object["standard"] = standardWord(result.usual.standard);
    const u32 specifier = result.usual.privateDataSpecifier;
    object["private_data_specifier"] = specifier ? Json(specifierWord(specifier)) : Json(nullptr);
    object["charset"] = *result.usual.charset ? Json(result.usual.charset) : Json(nullptr);
    if (result.summary) {
        object["descriptors"] = descriptorsJson(result);
        return sink(jsonText(object));
    }
    object["sections"] = Json::array();
    const std::string around = jsonText(object);
    const std::size_t end = around.rfind(']');
    if (!sink(around.substr(0, end)))
        return false;
    constexpr unsigned level = 2; // an element of an array of the outermost object
    const char *between = "\n    ";
    for (const TableSection &section : result.sections) {
        std::string text = between;
        JsonWriter json(text, level);
        writeSection(json, section, result.usual);
        if (!sink(text))
            return false;
        between = ",\n    ";
    }
    return sink((result.sections.empty() ? "" : "\n  ") + around.substr(end));
}

} // namespace psitool
