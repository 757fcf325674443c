#include "describe/tagSpaces.h"
#include "output/jsonParts.h"
#include "tables/tables.h"

#include <cmath>

namespace psitool {

namespace {

/** Raised when a key changes its name or meaning; new keys do not count. */
constexpr int schemaVersion = 1;

Json sightingsJson(const std::optional<SectionSightings> &seen)
{
    if (!seen)
        return nullptr;
    const auto ms = [](const psi::demux::Moment &moment) {
        return moment.timed() ? Json(std::round(moment.seconds * 1e6) / 1e3) : Json(nullptr);
    };
    return {{"count", seen->count},
            {"first_packet", seen->first.packet},
            {"last_packet", seen->last.packet},
            {"first_ms", ms(seen->first)},
            {"last_ms", ms(seen->last)}};
}

Json sectionJson(const TableSection &section, const DescriptorContext &usual)
{
    Json object;
    psi::describe::addTable(object, section.kind, section.pid);
    object["file"] = section.file.empty() ? Json(nullptr) : Json(section.file);
    object["size"] = section.bytes.size();
    object["acquired"] = section.acquired;
    object["seen"] = sightingsJson(section.seen);
    psi::describe::addContent(object, section.view(), section.kind, usual, section.notes);
    return object;
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

/** A value as it stands in an array that is a member of the outermost object. */
std::string elementText(const Json &value)
{
    constexpr const char *indent = "    ";
    std::string text;
    for (const char c : indent + jsonText(value)) {
        text += c;
        if (c == '\n')
            text += indent;
    }
    text.resize(text.find_last_not_of(" \n") + 1);
    return text;
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
    const char *between = "\n";
    for (const TableSection &section : result.sections) {
        if (!sink(between + elementText(sectionJson(section, result.usual))))
            return false;
        between = ",\n";
    }
    return sink((result.sections.empty() ? "" : "\n  ") + around.substr(end));
}

} // namespace psitool
