#include "support/packetBuilder.h"

#include <algorithm>

namespace psitest {
namespace {

constexpr std::size_t headerSize = 4;

// What is left of a packet behind its header, adaptation field and pointer_field.
std::size_t roomOf(const Packet &packet)
{
    std::size_t taken = headerSize;
    if (packet.adaptationLength)
        taken += std::size_t{1} + *packet.adaptationLength;
    if (packet.pointer)
        taken += 1;
    return taken < packetSize ? packetSize - taken : 0;
}

Bytes takeFront(Bytes &from, std::size_t count)
{
    const auto end = from.begin() + static_cast<std::ptrdiff_t>(std::min(count, from.size()));
    Bytes front(from.begin(), end);
    from.erase(from.begin(), end);
    return front;
}

} // namespace

Bytes Packet::bytes() const
{
    const u8 derived = adaptationLength ? 3 : 1;
    BitWriter out;
    out.put(8, sync).put(1, 0).put(1, pusi ? 1 : 0).put(1, 0).put(13, pid);
    out.put(2, 0).put(2, adaptationFieldControl.value_or(derived)).put(4, cc);
    if (adaptationLength) {
        out.put(8, *adaptationLength);
        if (*adaptationLength > 0)
            out.put(8, 0).append(repeated(*adaptationLength - std::size_t{1}, 0xFF));
    }
    if (pointer)
        out.put(8, *pointer);
    Bytes packet = out.append(payload).bytes();
    packet.resize(packetSize, 0xFF);
    return packet;
}

Packet adaptationOnly(u16 pid, u8 cc)
{
    Packet packet;
    packet.pid = pid;
    packet.cc = cc;
    packet.adaptationLength = static_cast<u8>(packetSize - headerSize - 1);
    packet.adaptationFieldControl = u8{2};
    return packet;
}

u8 PacketStream::nextCc()
{
    const u8 now = cc_;
    cc_ = static_cast<u8>((cc_ + 1U) & 0x0FU);
    return now;
}

PacketStream &PacketStream::section(const Bytes &section, const Bytes &lead, std::optional<u8> adaptationLength)
{
    Bytes rest = lead + section;
    bool first = true;
    while (!rest.empty()) {
        Packet next;
        next.pid = pid_;
        next.cc = nextCc();
        next.pusi = first;
        if (first) {
            next.pointer = static_cast<u8>(lead.size());
            next.adaptationLength = adaptationLength;
        }
        next.payload = takeFront(rest, roomOf(next));
        packet(next);
        first = false;
    }
    return *this;
}

PacketStream &PacketStream::backToBack(const std::vector<Bytes> &sections)
{
    Bytes all;
    std::vector<std::size_t> starts;
    for (const Bytes &section : sections) {
        starts.push_back(all.size());
        all = all + section;
    }
    std::size_t at = 0;
    while (at < all.size()) {
        Packet next;
        next.pid = pid_;
        next.cc = nextCc();
        const auto start = std::lower_bound(starts.begin(), starts.end(), at);
        // The pointer_field itself takes a byte, so a start in the last payload byte waits for the next packet.
        if (start != starts.end() && *start < at + packetSize - headerSize - 1) {
            next.pusi = true;
            next.pointer = static_cast<u8>(*start - at);
        }
        std::size_t end = std::min(all.size(), at + roomOf(next));
        if (!next.pusi && start != starts.end())
            end = std::min(end, *start);
        next.payload.assign(all.begin() + static_cast<std::ptrdiff_t>(at),
                            all.begin() + static_cast<std::ptrdiff_t>(end));
        packet(next);
        at = end;
    }
    return *this;
}

PacketStream &PacketStream::packet(const Packet &packet)
{
    packets_.push_back(packet.bytes());
    return *this;
}

PacketStream &PacketStream::duplicateLast()
{
    packets_.push_back(Bytes(packets_.back()));
    return *this;
}

PacketStream &PacketStream::withoutPayload()
{
    return packet(adaptationOnly(pid_, static_cast<u8>((cc_ - 1U) & 0x0FU)));
}

Bytes PacketStream::bytes() const
{
    Bytes all;
    for (const Bytes &packet : packets_)
        all.insert(all.end(), packet.begin(), packet.end());
    return all;
}

Bytes packetsOf(const Bytes &section, u16 pid, u8 firstCc)
{
    return PacketStream(pid, firstCc).section(section).bytes();
}

} // namespace psitest
