#include "output/jsonParts.h"

namespace psitool {

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
            {"sections_left_out", statistics.sectionsNotStored},
            {"seconds", input.seconds > 0 ? Json(input.seconds) : Json(nullptr)},
            {"bitrate", input.bitrate > 0 ? Json(input.bitrate) : Json(nullptr)},
            {"failure", input.failure},
            {"searches", input.searches},
            {"watched_seconds", input.watchedSeconds}};
}

} // namespace psitool
