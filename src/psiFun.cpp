#include "psiRun.h"

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

/** @brief Is the section whole? */
Take progress(const Run &run)
{
    if (run.sectionLen() == 0)
        return Take::more;
    if (run.sectionLen() <= run.dataLen()) {
        PSI_INFO("psiTsToSection: OK! tableInfo->section_len is %u, done", run.sectionLen());
        return Take::whole;
    }
    PSI_INFO("psiTsToSection: tableInfo->section_len is %u, dataLen is %u, continue", run.sectionLen(), run.dataLen());
    return Take::more;
}

/** @brief Take in the payload of a packet from one of its bytes on. */
Take takePayload(Run &run, const Packet &packet, u32 from, u32 n)
{
    if (from + n > tsPacketLen)
        return Take::broken;
    run.setCounter(packet.counter);
    run.append(packet.bytes + from, n);
    return progress(run);
}

/** @brief The packet that opens the section: the bytes behind pointer_field and what it skips. */
Take takeOpening(Run &run, const Packet &packet)
{
    const u32 from = packet.hasPointer() ? packet.begin + 1 + packet.pointer() : packet.begin;
    return from > tsPacketLen ? Take::broken : takePayload(run, packet, from, tsPacketLen - from);
}

Take takeContinuation(Run &run, const Packet &packet)
{
    if (!run.follows(packet.counter)) {
        PSI_ERROR("psiTsToSection: con_counter ERROR");
        return Take::broken;
    }
    // Where another section starts, ours has the bytes that the pointer_field skips, and no more.
    if (packet.hasPointer())
        return takePayload(run, packet, packet.begin + 1, packet.pointer());
    return takePayload(run, packet, packet.begin, tsPacketLen - packet.begin);
}

Take takePacket(Run &run, const u8 *bytes)
{
    if (bytes[0] != 0x47) {
        PSI_WARNING("psiTsToSection: tsData[0] != 0x47");
        return Take::broken;
    }
    const Packet packet(bytes);
    if (!packet.unitStart && !run.started()) {
        PSI_WARNING("psiTsToSection: payload_unit_start_indicator is 1, ERROR");
        return Take::broken;
    }
    if (packet.unitStart && packet.overrun())
        return Take::broken;
    if (packet.hasPointer() && packet.pointer() == 0 && run.started()) {
        PSI_WARNING("psiTsToSection: payload_unit_start_indicator is 0, ERROR");
        return Take::broken;
    }
    if (!packet.payload) {
        PSI_WARNING("psiTsToSection: adaptation_field_control is 0, continue");
        return Take::more;
    }
    if (packet.overrun())
        return Take::broken;
    return run.started() ? takeContinuation(run, packet) : takeOpening(run, packet);
}

bool isWhole(const Run &run, u16 maxLen)
{
    if (run.sectionLen() == 0 || run.sectionLen() > maxLen) {
        PSI_ERROR("psiTsToSection: ERROR! section_len is %u!", run.sectionLen());
        return false;
    }
    if (run.sectionLen() > run.dataLen())
        PSI_INFO("psiTsToSection: data lost!");
    return run.sectionLen() <= run.dataLen();
}

bool canReassemble(const u8 *tsData, u8 tsNum, const u8 *section, const u16 *sectionLen)
{
    if (!tsData) {
        PSI_ERROR("psiTsToSection: tsData is NULL!");
        return false;
    }
    if (!section) {
        PSI_ERROR("psiTsToSection: sectionData is NULL!");
        return false;
    }
    if (!sectionLen) {
        PSI_ERROR("psiTsToSection: sectionLen is NULL!");
        return false;
    }
    if (tsNum == 0 || tsNum > maxRunPackets) {
        PSI_ERROR("psiTsToSection: tsNum=%u, ERROR!", tsNum);
        return false;
    }
    return true;
}

/** @brief A host's call fails where the pool has no room for a work record, although none is needed any more. */
i32 reassembleForHost(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen, u16 maxLen)
{
    if (!canReassemble(tsData, tsNum, section, sectionLen) || !poolCould(reassemblyRoom))
        return -1;
    return _psiTsToSection(tsData, tsNum, section, sectionLen, maxLen);
}

} // namespace

bool psi::core::findSection(Run &run, const u8 *tsData, u8 tsNum, u16 maxLen)
{
    PSI_INFO("tsGetTable tsNum = %u", tsNum);
    Take take = Take::more;
    for (u32 i = 0; i < tsNum && take == Take::more; ++i, tsData += tsPacketLen)
        take = takePacket(run, tsData);
    return take != Take::broken && isWhole(run, maxLen);
}

LongHeaderBytes psi::core::peekHeader(const u8 *bytes)
{
    const Packet packet(bytes);
    const u32 at = packet.hasPointer() ? packet.begin + 1 + packet.pointer() : tsPacketLen;
    LongHeaderBytes header;
    for (u32 i = 0; i < longHeaderLen && at + i < tsPacketLen; ++i)
        header.bytes[i] = bytes[at + i];
    return header;
}

i32 psi::core::_psiTsToSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen, u16 maxLen)
{
    Run run;
    if (!findSection(run, tsData, tsNum, maxLen))
        return -1;
    run.copyTo(section);
    *sectionLen = run.sectionLen();
    return 0;
}

i32 psiTsToSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen)
{
    return reassembleForHost(tsData, tsNum, section, sectionLen, maxSectionLen);
}

i32 psiTsToLongSection(const u8 *tsData, u8 tsNum, u8 *section, u16 *sectionLen)
{
    return reassembleForHost(tsData, tsNum, section, sectionLen, maxLongSectionLen);
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
