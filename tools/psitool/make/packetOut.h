/**
 * @file packetOut.h
 * @brief Sections on their way out: transport packets whose continuity_counter runs on.
 */
#ifndef PSITOOL_PACKET_OUT_H
#define PSITOOL_PACKET_OUT_H

#include "describe/bytes.h"
#include "output/described.h"

#include <array>
#include <map>
#include <vector>

namespace psitool {

/** @brief A transport packet. */
using Packet = std::array<u8, 188>;

/**
 * @brief Cut a section into packets, counters from 0, stuffing behind its end.
 * @param pid 13 bits
 * @param section table_id to CRC_32, 1 to 4096 bytes
 * @throw std::length_error the section is longer
 */
std::vector<Packet> cutSection(u16 pid, ByteView section);

/**
 * @brief Cut sections into packets, each beginning right behind the one in front of it. ISO/IEC 13818-1 2.4.4.1.
 * @param pid 13 bits
 * @param sections in their order; counters from 0, stuffing behind the last
 */
std::vector<Packet> packSections(u16 pid, const std::vector<ByteView> &sections);

/** @brief A packet of PID 0x1FFF. */
const Packet &nullPacket();

/** @brief The continuity_counter of every PID of one stream. ISO/IEC 13818-1 2.4.3.3. */
class ContinuityCounters {
public:
    /** @brief Give the packet the next counter of its PID, from 0; null packets stay as they are. */
    void stamp(Packet &packet);

private:
    std::map<u16, u8> next_;
};

/** @brief Append a packet to bytes that are to be written. */
inline void append(std::string &bytes, const Packet &packet)
{
    bytes.append(reinterpret_cast<const char *>(packet.data()), packet.size());
}

} // namespace psitool

#endif
