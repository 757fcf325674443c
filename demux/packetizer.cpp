#include "demux/packetizer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace psi::demux {

u8 packetize(u16 pid, const u8 *section, u16 length, u8 *packets)
{
    constexpr size_t packetBytes = 188;
    size_t left = length;
    u8 count = 0;
    for (; left > 0; ++count, packets += packetBytes) {
        const bool first = count == 0;
        std::memset(packets, 0xFF, packetBytes);
        packets[0] = 0x47;
        packets[1] = static_cast<u8>((first ? 0x40 : 0) | (pid >> 8 & 0x1F));
        packets[2] = static_cast<u8>(pid & 0xFF);
        packets[3] = static_cast<u8>(0x10 | (count & 0x0F));
        size_t start = 4;
        if (first)
            packets[start++] = 0;
        const size_t part = std::min(left, packetBytes - start);
        std::memcpy(packets + start, section, part);
        section += part;
        left -= part;
    }
    return count;
}

} // namespace psi::demux
