#include "demux/packetSync.h"

#include <array>
#include <cstring>

namespace psi::demux {

namespace {

/** Packet sizes with the bytes that stand in front of the sync byte. */
struct Layout {
    size_t packetSize;
    size_t prefix;
};
constexpr std::array<Layout, 3> kLayouts = {{{188, 0}, {192, 4}, {204, 0}}};
constexpr size_t kLargestPacket = 204;

/** Sync bytes in a row that make a sync; a later one, where packets are as long as before and look like packets. */
constexpr size_t kFirstRun = 5;
constexpr size_t kLaterRun = 3;

size_t prefixOf(size_t packetSize)
{
    return packetSize == 192 ? 4 : 0;
}

/** A header as most packets have it: tells a sync byte from a byte that happens to have its value. */
bool plausibleHeader(const u8 *packet)
{
    const unsigned control = packet[3] >> 4 & 3U;
    if ((packet[1] & 0x80) != 0 || control == 0)
        return false;
    return control == 1 || (control == 2 ? packet[4] == 183 : packet[4] <= 182);
}

} // namespace

bool PacketSync::onlySyncByteDamaged(const u8 *data, size_t size, size_t at) const
{
    const size_t step = count.packetSize;
    return at + 2 * step < size && data[at + step] == kSyncByte && data[at + 2 * step] == kSyncByte;
}

unsigned PacketSync::score(const u8 *data, size_t size, bool last, size_t offset, size_t packetSize) const
{
    unsigned run = 0;
    unsigned whole = 0;
    unsigned plausible = 0;
    size_t end = offset;
    const auto suffices = [&] {
        return run >= kFirstRun || (run >= kLaterRun && packetSize == count.packetSize && plausible == whole);
    };
    for (size_t at = offset; !suffices() && at < size; at += packetSize, ++run) {
        if (data[at] != kSyncByte)
            return 0;
        if (at + kPacketBytes > size)
            continue;
        ++whole;
        plausible += plausibleHeader(data + at);
        end = std::min(at + packetSize, size);
    }
    const bool atStart = base + offset == prefixOf(packetSize);
    const bool fillsInput = last && (base + size) % packetSize == 0;
    // A short run counts only when it reaches the input's end and nothing speaks against it.
    const bool convincing = plausible == whole || (atStart && fillsInput && plausible != 0);
    if (whole == 0 || (!suffices() && !(last && convincing)))
        return 0;
    // One or two packets could be anything, unless they are where the rest of the input makes packets likely.
    const bool likely = atStart || (end == size && (count.packets != 0 || base + offset < kLargestPacket));
    if (run < kLaterRun && !likely)
        return 0;
    const bool expected = count.packets != 0 ? packetSize == count.packetSize : atStart;
    return 1 + plausible * 4 + (fillsInput ? 2 : 0) + (expected ? 1 : 0);
}

PacketSync::Candidate PacketSync::examine(const u8 *data, size_t size, bool last, size_t offset) const
{
    Candidate best;
    for (const Layout &layout : kLayouts) {
        const unsigned points = score(data, size, last, offset, layout.packetSize);
        if (points > best.score)
            best = {offset, layout.packetSize, points};
    }
    return best;
}

/**
 * Looks for sync from `at` on. A timestamp or parity byte may look like a sync byte packet after packet, so the best of
 * all places within one packet behind the first one counts. False: not found; `at` is then where to go on with more
 * bytes.
 */
bool PacketSync::findSync(const u8 *data, size_t size, bool last, size_t &at)
{
    const size_t lookAhead = kLargestPacket * (kFirstRun + 1);
    for (; at < size; ++at) {
        const void *hit = std::memchr(data + at, kSyncByte, size - at);
        at = hit == nullptr ? size : static_cast<size_t>(static_cast<const u8 *>(hit) - data);
        if (hit == nullptr)
            return false;
        if (!last && at + lookAhead > size)
            return false;
        Candidate best = examine(data, size, last, at);
        if (best.packetSize == 0)
            continue;
        for (size_t other = at + 1; other < std::min(at + best.packetSize, size); ++other) {
            const Candidate candidate = examine(data, size, last, other);
            if (candidate.score > best.score)
                best = candidate;
        }
        at = best.offset;
        lock(best);
        return true;
    }
    return false;
}

void PacketSync::lock(const Candidate &found)
{
    if (count.packets != 0)
        ++count.resyncs;
    count.packetSize = found.packetSize;
    locked = true;
    // What stands in front of a sync byte belongs to its packet.
    const uint64_t start = base + found.offset;
    const uint64_t prefix = prefixOf(found.packetSize);
    if (start >= claimed + prefix) {
        count.skippedBytes += start - prefix - claimed;
        claimed = start;
    }
}

} // namespace psi::demux
