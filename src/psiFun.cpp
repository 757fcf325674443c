#include "psiInternal.h"

using namespace psi::core;

i32 psiCheckCrc(const u8 *section, u32 bufLen)
{
    const u32 total = bufLen < sectionLengthEnd ? 0 : (beU16(section + 1) & 0x0FFFU) + sectionLengthEnd;
    if (total == 0 || total > bufLen) {
        PSI_ERROR("tsCrcPsi section_length out of buflen");
        return -1;
    }
    if (total < sectionLengthEnd + crcLen)
        return -1;
    return psiCalculateCrc(section, total - crcLen) == beU32(section + total - crcLen) ? 0 : -1;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Reassembly. ISO/IEC 13818-1 2.4.3.2 (packet), 2.4.4.1 (pointer_field)
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

enum class Take { more, whole, broken };

/** @brief The header fields of a packet that matter here, and where its payload lies. */
struct Packet {
    const u8 *bytes;
    bool unitStart; /**< payload_unit_start_indicator */
    bool payload;   /**< adaptation_field_control: payload present */
    u8 counter;     /**< continuity_counter */
    u32 begin;      /**< first byte behind the header and the adaptation field; above 188 when that overruns */

    explicit Packet(const u8 *p)
        : bytes(p), unitStart(p[1] & 0x40), payload(p[3] & 0x10), counter(p[3] & 0x0F),
          begin(p[3] & 0x20 ? 5U + p[4] : 4U)
    {
    }
    bool overrun() const { return begin > tsPacketLen; }
    /** @brief Is there a byte where the pointer_field belongs? */
    bool hasPointer() const { return unitStart && begin < tsPacketLen; }
    /** @brief Only where there is one. */
    u8 pointer() const { return bytes[begin]; }
};

void startRun(tableInfo *work)
{
    work->tsCount = 0;
    work->dataLen = 0;
    work->section_len = 0;
    work->waitStart = 1;
    memset(work->buf, 0xFF, sizeof(work->buf));
}

void append(tableInfo *work, const u8 *bytes, u32 n)
{
    memcpy(work->buf + work->dataLen, bytes, n);
    work->dataLen = static_cast<u16>(work->dataLen + n);
}

/** @brief Is the section whole? Works its length out as soon as three bytes are known. */
Take progress(tableInfo *work)
{
    if (work->section_len == 0) {
        if (work->dataLen < sectionLengthEnd)
            return Take::more;
        work->section_len = static_cast<u16>((beU16(work->buf + 1) & 0x0FFF) + sectionLengthEnd);
    }
    if (work->section_len <= work->dataLen) {
        PSI_INFO("psiTsToSection: OK! tableInfo->section_len is %u, done", work->section_len);
        return Take::whole;
    }
    PSI_INFO("psiTsToSection: tableInfo->section_len is %u, dataLen is %u, continue", work->section_len, work->dataLen);
    return Take::more;
}

/** @brief The packet that opens the section: the bytes behind pointer_field and what it skips. */
Take takeOpening(tableInfo *work, const Packet &packet)
{
    const u32 from = packet.hasPointer() ? packet.begin + 1 + packet.pointer() : packet.begin;
    if (from > tsPacketLen)
        return Take::broken;
    work->waitStart = 0;
    work->lastCc = packet.counter;
    append(work, packet.bytes + from, tsPacketLen - from);
    return progress(work);
}

Take takeContinuation(tableInfo *work, const Packet &packet)
{
    if (packet.counter != ((work->lastCc + 1) & 0x0F)) {
        PSI_ERROR("psiTsToSection: con_counter ERROR");
        return Take::broken;
    }
    work->lastCc = packet.counter;
    // Where another section starts, ours has the bytes that the pointer_field skips, and no more.
    const u32 from = packet.hasPointer() ? packet.begin + 1 : packet.begin;
    const u32 n = packet.hasPointer() ? packet.pointer() : tsPacketLen - from;
    if (from + n > tsPacketLen)
        return Take::broken;
    append(work, packet.bytes + from, n);
    ++work->tsCount;
    return progress(work);
}

Take takePacket(tableInfo *work, const u8 *bytes)
{
    if (bytes[0] != 0x47) {
        PSI_WARNING("psiTsToSection: tsData[0] != 0x47");
        return Take::broken;
    }
    const Packet packet(bytes);
    if (!packet.unitStart && work->waitStart) {
        PSI_WARNING("psiTsToSection: payload_unit_start_indicator is 1, ERROR");
        return Take::broken;
    }
    if (packet.unitStart && packet.overrun())
        return Take::broken;
    if (packet.hasPointer() && packet.pointer() == 0 && !work->waitStart) {
        PSI_WARNING("psiTsToSection: payload_unit_start_indicator is 0, ERROR");
        return Take::broken;
    }
    if (!packet.payload) {
        PSI_WARNING("psiTsToSection: adaptation_field_control is 0, continue");
        return Take::more;
    }
    if (packet.overrun())
        return Take::broken;
    return work->waitStart ? takeOpening(work, packet) : takeContinuation(work, packet);
}

i32 reassemble(tableInfo *work, const u8 *tsData, u8 tsNum, u16 maxLen)
{
    Take take = Take::more;
    for (u32 i = 0; i < tsNum && take == Take::more; ++i, tsData += tsPacketLen)
        take = takePacket(work, tsData);
    if (take == Take::broken)
        return -1;
    if (work->section_len == 0 || work->section_len > maxLen) {
        PSI_ERROR("psiTsToSection: ERROR! section_len is %u!", work->section_len);
        return -1;
    }
    if (work->section_len > work->dataLen) {
        PSI_INFO("psiTsToSection: data lost!");
        return -1;
    }
    return 0;
}

} // namespace

i32 psi::core::_psiTsToSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen, u16 maxLen)
{
    if (!tsData) {
        PSI_ERROR("psiTsToSection: tsData is NULL!");
        return -1;
    }
    if (!section) {
        PSI_ERROR("psiTsToSection: sectionData is NULL!");
        return -1;
    }
    if (!sectionLen) {
        PSI_ERROR("psiTsToSection: sectionLen is NULL!");
        return -1;
    }
    if (tsNum == 0 || tsNum > maxRunPackets) {
        PSI_ERROR("psiTsToSection: tsNum=%u, ERROR!", tsNum);
        return -1;
    }
    const PoolBlock<tableInfo> work;
    if (!work)
        return -1;
    startRun(work.get());
    PSI_INFO("tsGetTable tsNum = %u", tsNum);
    if (reassemble(work.get(), tsData, tsNum, maxLen) == -1)
        return -1;
    memcpy(section, work->buf, work->section_len);
    *sectionLen = work->section_len;
    return 0;
}

i32 psiTsToSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen)
{
    return _psiTsToSection(tsData, tsNum, section, sectionLen, maxSectionLen);
}

i32 psiTsToLongSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen)
{
    return _psiTsToSection(tsData, tsNum, section, sectionLen, maxLongSectionLen);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Packetization
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/**
 * @brief Write a packet with the next bytes of a section, stuffing behind its last one.
 * @param number of the packet within the section; the first one has a pointer_field
 * @param left bytes of the section that are not yet written, from `bytes` on
 * @return bytes that the packet took
 */
u32 putPacket(u8 *packet, u16 pid, u8 number, const u8 *bytes, u32 left)
{
    const bool first = number == 0;
    packet[0] = 0x47;
    packet[1] = static_cast<u8>(pid >> 8 | (first ? 0x40 : 0)); // payload_unit_start_indicator
    packet[2] = static_cast<u8>(pid);
    packet[3] = static_cast<u8>(0x10 | (number & 0x0F)); // payload only, continuity_counter
    if (first)
        packet[4] = 0; // pointer_field
    const u32 header = first ? 5 : 4;
    const u32 room = tsPacketLen - header;
    const u32 taken = left < room ? left : room;
    memcpy(packet + header, bytes, taken);
    memset(packet + header + taken, 0xFF, room - taken);
    return taken;
}

} // namespace

i32 psiSectionToTs(u16 pid, const u8 *section, u16 sectionLen, u8 *tsData, u8 *tsNum)
{
    if (!section) {
        PSI_ERROR("psiSectionToTs: sectionData is NULL!");
        return -1;
    }
    if (!tsData) {
        PSI_ERROR("psiSectionToTs: tsData is NULL!");
        return -1;
    }
    if (!tsNum) {
        PSI_ERROR("psiSectionToTs: tsNum is NULL!");
        return -1;
    }
    if (sectionLen > maxSectionLen) {
        PSI_ERROR("psiSectionToTs: sectionLen=%u, ERROR!", sectionLen);
        return -1;
    }
    u8 packets = 0;
    u32 done = 0;
    do {
        done += putPacket(tsData, pid, packets, section + done, sectionLen - done);
        tsData += tsPacketLen;
        ++packets;
    } while (done < sectionLen);
    *tsNum = packets;
    return 0;
}
