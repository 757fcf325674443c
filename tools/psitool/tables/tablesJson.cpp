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

Json sectionJson(const TableSection &section, Standard standard)
{
    Json object;
    psi::describe::addTable(object, section.kind, section.pid);
    object["file"] = section.file.empty() ? Json(nullptr) : Json(section.file);
    object["size"] = section.bytes.size();
    object["acquired"] = section.acquired;
    object["seen"] = sightingsJson(section.seen);
    psi::describe::addContent(object, section.view(), section.kind, standard, section.notes);
    return object;
}

Json standardWord(Standard standard)
{
    if (standard == Standard::unknown)
        return nullptr;
    return standard == Standard::dvb ? "dvb" : "atsc";
}

} // namespace

std::string tablesJson(const TablesResult &result)
{
    Json object;
    object["psitool"] = {{"schema", "tables"}, {"schema_version", schemaVersion}};
    object["input"] = result.input ? inputJson(*result.input) : Json(nullptr);
    object["standard"] = standardWord(result.standard);
    object["sections"] = Json::array();
    for (const TableSection &section : result.sections)
        object["sections"].push_back(sectionJson(section, result.standard));
    return jsonText(object);
}

} // namespace psitool
