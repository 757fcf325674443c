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
            {"rtp_late", statistics.rtpLate},
            {"rtp_duplicates", statistics.rtpDuplicates},
            {"rtp_reordered", statistics.rtpReordered},
            {"datagrams_lost", statistics.datagramsLost},
            {"receive_buffer", statistics.receiveBuffer},
            {"ip_fragments", statistics.ipFragments},
            {"cut_datagrams", statistics.cutDatagrams},
            {"wrong_udp_checksums", statistics.wrongChecksums},
            {"device_overflows", statistics.overflows},
            {"sections_left_out", statistics.sectionsNotStored},
            {"seconds", input.seconds > 0 ? Json(input.seconds) : Json(nullptr)},
            {"bitrate", input.bitrate > 0 ? Json(input.bitrate) : Json(nullptr)},
            {"failure", input.failure},
            {"searches", input.searches},
            {"watched_seconds", input.watchedSeconds}};
}

} // namespace psitool
