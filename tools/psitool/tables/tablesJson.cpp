#include "output/jsonParts.h"
#include "tables/tables.h"

namespace psitool {

namespace {

/** Raised when a key changes its name or meaning; new keys do not count. */
constexpr int schemaVersion = 1;

Json sightingsJson(const std::optional<SectionSightings> &seen)
{
    if (!seen)
        return nullptr;
    return {{"count", seen->count}, {"first_packet", seen->firstPacket}, {"last_packet", seen->lastPacket}};
}

Json crcJson(const std::optional<SectionCrc> &crc)
{
    return crc ? Json(crc->right()) : Json(nullptr);
}

Json sectionJson(const TableSection &section, Standard standard)
{
    const DescribedSection tree = describeSection(section.view(), section.kind, standard);
    Json object;
    object["table"] = section.kind ? Json(section.kind->title) : Json(nullptr);
    object["psi_type"] = section.kind && section.kind->psiType != PSI_NO_TYPE ? Json(section.kind->psiType) : nullptr;
    object["pid"] = section.pid ? Json(*section.pid) : Json(nullptr);
    object["file"] = section.file.empty() ? Json(nullptr) : Json(section.file);
    object["size"] = section.bytes.size();
    object["acquired"] = section.acquired;
    object["seen"] = sightingsJson(section.seen);
    object["crc_right"] = crcJson(crcOf(section.view()));
    object["parsed"] = tree.parsed;
    object["notes"] = section.notes;
    for (const std::string &note : tree.notes)
        object["notes"].push_back(note);
    object["tree"] = fieldsJson(tree.fields);
    object["data"] = toHex(section.view());
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
