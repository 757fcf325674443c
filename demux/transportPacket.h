/**
 * @file transportPacket.h
 * @brief Fields of a transport packet and of a section's header. ISO/IEC 13818-1 2.4.3.2, 2.4.4.11.
 */
#ifndef PSI_DEMUX_TRANSPORT_PACKET_H
#define PSI_DEMUX_TRANSPORT_PACKET_H

#include "psi.h"

#include <cstddef>
#include <cstring>

namespace psi::demux {

/** @brief Sizes and numbers of packets and sections. ISO/IEC 13818-1 2.4.3.2, 2.4.4 */
constexpr u8 kSyncByte = 0x47;
constexpr size_t kPacketBytes = 188;
constexpr size_t kPacketHeaderBytes = 4;
constexpr size_t kPidCount = 0x2000;
constexpr u16 kNullPid = 0x1FFF;
constexpr size_t kSectionHeaderBytes = 3;
constexpr size_t kLongestSection = 4096;

/** @brief Where the standards put tables. EN 300 468 Table 1, A/65 4.1. */
constexpr u16 kPatPid = 0x0000;
constexpr u16 kCatPid = 0x0001;
constexpr u16 kNitPid = 0x0010;
constexpr u16 kSdtPid = 0x0011;
constexpr u16 kEitPid = 0x0012;
constexpr u16 kTimePid = 0x0014;
constexpr u16 kSitPid = 0x001F;
constexpr u16 kEmergencyPid = 0x0021;
constexpr u16 kPsipPid = 0x1FFB;

/** @brief A 16-bit number, high byte first. */
constexpr u16 wordAt(const u8 *bytes)
{
    return static_cast<u16>(bytes[0] << 8 | bytes[1]);
}

/** @brief The PID of a packet. @param packet at its sync_byte */
constexpr u16 pidOf(const u8 *packet)
{
    return wordAt(packet + 1) & 0x1FFF;
}

/** @brief Give a packet another PID. */
constexpr void setPid(u8 *packet, u16 pid)
{
    packet[1] = static_cast<u8>((packet[1] & 0xE0) | (pid >> 8 & 0x1F));
    packet[2] = static_cast<u8>(pid & 0xFF);
}

/** @brief adaptation_field_control: is there a payload? */
constexpr bool hasPayload(const u8 *packet)
{
    return (packet[3] & 0x10) != 0;
}

/** @brief Make a null packet. @param packet room for 188 bytes */
inline void makeNull(u8 *packet)
{
    std::memset(packet, 0xFF, kPacketBytes);
    packet[0] = kSyncByte;
    packet[1] = kNullPid >> 8;
    packet[3] = 0x10;
}

/** @brief Length of a section, table_id to its last byte, by its section_length. @param section three bytes at least */
constexpr u16 sectionBytes(const u8 *section)
{
    return static_cast<u16>((wordAt(section + 1) & 0x0FFF) + kSectionHeaderBytes);
}

/** @brief section_syntax_indicator. @param section two bytes at least */
constexpr bool isLongForm(const u8 *section)
{
    return (section[1] & 0x80) != 0;
}

/** @brief current_next_indicator of a section in the long form. @param section six bytes at least */
constexpr bool isCurrent(const u8 *section)
{
    return (section[5] & 1) != 0;
}

/** @brief version_number of a section in the long form. @param section six bytes at least */
constexpr u8 versionOf(const u8 *section)
{
    return section[5] >> 1 & 0x1F;
}

/** @brief table_id_extension of a section in the long form. @param section five bytes at least */
constexpr u16 tableIdExtension(const u8 *section)
{
    return wordAt(section + 3);
}

} // namespace psi::demux

#endif // PSI_DEMUX_TRANSPORT_PACKET_H
