#include "output/jsonParts.h"

namespace psitool {

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

Json inputJson(const ScanInput &input)
{
    const psi::demux::Statistics &statistics = input.statistics;
    return {{"name", input.name},
            {"live", input.live},
            {"interrupted", input.interrupted},
            {"packet_size", statistics.packetSize},
            {"bytes", statistics.bytes},
            {"packets", statistics.packets},
            {"null_packets", statistics.nullPackets},
            {"scrambled_packets", statistics.scrambledPackets},
            {"duplicate_packets", statistics.duplicatePackets},
            {"transport_errors", statistics.transportErrors},
            {"malformed_packets", statistics.malformedPackets},
            {"continuity_errors", statistics.continuityErrors},
            {"discontinuities", statistics.discontinuities},
            {"resyncs", statistics.resyncs},
            {"skipped_bytes", statistics.skippedBytes},
            {"sections", statistics.sections},
            {"crc_errors", statistics.crcErrors},
            {"broken_sections", statistics.brokenSections},
            {"malformed_sections", statistics.malformedSections},
            {"datagrams", statistics.datagrams},
            {"bad_datagrams", statistics.badDatagrams},
            {"rtp_gaps", statistics.rtpGaps},
            {"searches", input.searches},
            {"watched_seconds", input.watchedSeconds}};
}

std::string jsonText(const Json &object)
{
    // A file name may hold any bytes: what is not UTF-8 is replaced.
    return object.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace psitool
