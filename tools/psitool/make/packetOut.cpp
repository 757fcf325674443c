#include "make/packetOut.h"

#include "demux/packetizer.h"
#include "demux/transportPacket.h"

#include <stdexcept>

namespace psitool {

std::vector<Packet> cutSection(u16 pid, ByteView section)
{
    constexpr std::size_t librarySectionLimit = 1024;
    constexpr std::size_t longestSection = psi::demux::kLongestSection;
    constexpr std::size_t mostPackets = 23;
    if (section.size() > longestSection)
        throw std::length_error("a section of " + std::to_string(section.size()) + " bytes");
    std::vector<Packet> packets(mostPackets);
    const u16 length = static_cast<u16>(section.size());
    u8 count = 0;
    if (section.size() > librarySectionLimit)
        count = psi::demux::packetize(pid, section.data(), length, packets.front().data());
    else
        psiSectionToTs(pid, section.data(), length, packets.front().data(), &count);
    packets.resize(count);
    return packets;
}

const Packet &nullPacket()
{
    static const Packet packet = [] {
        Packet made;
        psi::demux::makeNull(made.data());
        return made;
    }();
    return packet;
}

void ContinuityCounters::stamp(Packet &packet)
{
    const u16 pid = psi::demux::pidOf(packet.data());
    if (pid == psi::demux::kNullPid)
        return;
    u8 &next = next_[pid];
    packet[3] = static_cast<u8>((packet[3] & 0xF0) | next);
    next = (next + 1) & 0x0F;
}

} // namespace psitool
