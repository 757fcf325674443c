#include "make/packetOut.h"

#include "demux/packetizer.h"
#include "demux/transportPacket.h"

#include <algorithm>
#include <stdexcept>

namespace psitool {

std::vector<Packet> cutSection(u16 pid, ByteView section)
{
    constexpr std::size_t librarySectionLimit = 1024;
    constexpr std::size_t longest = psi::demux::kLongestSection;
    constexpr std::size_t mostPackets = 23;
    if (section.size() > longest)
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

namespace {

/** Where the sections of a run begin in their bytes. */
struct PackedRun {
    std::string bytes;
    std::vector<std::size_t> starts;
};

/** The next packet of a run. @param at where its bytes begin; moves behind them */
Packet packedPacket(u16 pid, const PackedRun &run, std::size_t &at)
{
    constexpr std::size_t header = 4;
    constexpr std::size_t payload = std::tuple_size_v<Packet> - header;
    constexpr u8 unitStart = 0x40;
    constexpr u8 payloadOnly = 0x10;
    Packet packet;
    packet.fill(0xFF);
    packet[0] = psi::demux::kSyncByte;
    packet[1] = static_cast<u8>(pid >> 8);
    packet[2] = static_cast<u8>(pid);
    packet[3] = payloadOnly;
    const auto start = std::lower_bound(run.starts.begin(), run.starts.end(), at);
    const std::size_t old = (start == run.starts.end() ? run.bytes.size() : *start) - at;
    const bool begins = start != run.starts.end() && old < payload - 1; // room for pointer_field and a byte of it
    const std::size_t left = begins ? run.bytes.size() - at : old;
    const std::size_t taken = std::min(left, begins ? payload - 1 : payload);
    std::size_t to = header;
    if (begins) {
        packet[1] |= unitStart;
        packet[to++] = static_cast<u8>(old);
    }
    std::copy_n(run.bytes.begin() + static_cast<std::ptrdiff_t>(at), taken,
                packet.begin() + static_cast<std::ptrdiff_t>(to));
    at += taken;
    return packet;
}

} // namespace

std::vector<Packet> packSections(u16 pid, const std::vector<ByteView> &sections)
{
    PackedRun run;
    for (const ByteView section : sections) {
        run.starts.push_back(run.bytes.size());
        run.bytes.append(section.begin(), section.end());
    }
    std::vector<Packet> packets;
    for (std::size_t at = 0; at < run.bytes.size();)
        packets.push_back(packedPacket(pid, run, at));
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
