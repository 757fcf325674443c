#include "demux/packetizer.h"
#include "demux/transportPacket.h"

#include <algorithm>
#include <cstring>

namespace psi::demux {

u8 packetize(u16 pid, const u8 *section, u16 length, u8 *packets)
{
    size_t left = length;
    u8 count = 0;
    for (; left > 0; ++count, packets += kPacketBytes) {
        const bool first = count == 0;
        std::memset(packets, 0xFF, kPacketBytes);
        packets[0] = kSyncByte;
        packets[1] = first ? 0x40 : 0;
        setPid(packets, pid);
        packets[3] = static_cast<u8>(0x10 | (count & 0x0F));
        size_t start = kPacketHeaderBytes;
        if (first)
            packets[start++] = 0;
        const size_t part = std::min(left, kPacketBytes - start);
        std::memcpy(packets + start, section, part);
        section += part;
        left -= part;
    }
    return count;
}

} // namespace psi::demux
