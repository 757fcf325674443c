/**
 * @file packetSync.h
 * @brief Finds the packets of a transport stream in a run of bytes.
 */
#ifndef PSI_DEMUX_PACKET_SYNC_H
#define PSI_DEMUX_PACKET_SYNC_H

#include "demux/transportPacket.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace psi::demux {

/** @brief Where no packet was found in so many bytes, there is none to be expected. */
constexpr uint64_t kSearchLimit = 64U << 20;

/** @brief What PacketSync saw. */
struct SyncCounters {
    size_t packetSize = 0; /**< distance of two packets: 188, 192 (4 bytes in front) or 204 (16 behind); 0: none yet */
    uint64_t packets = 0;  /**< packets handed on */
    uint64_t skippedBytes = 0; /**< bytes that belong to no packet; complete after finish() */
    uint64_t resyncs = 0;      /**< times that the sync was lost and found again */
};

/**
 * @brief What a sink may have its own way for: going past packets that say nothing new to it.
 * @param packet the next packet; the others lie behind it, `step` bytes apart
 * @param last those from here on are not to be passed, nor is one that no sync byte follows
 * @return the first packet that was not passed
 */
template <class Sink>
const u8 *passQuiet(Sink & /*sink*/, const u8 *packet, [[maybe_unused]] const u8 *last, [[maybe_unused]] size_t step)
{
    return packet;
}

/**
 * @brief Packet sync: takes bytes in chunks of any size, hands on the 188 bytes of each packet.
 *
 * Packets that lie whole in a chunk are handed on where they lie; only what a chunk's end cuts is copied. Sync is found
 * where several sync bytes follow each other at the distance of a packet, and held over one damaged sync byte. When it
 * is lost, the search begins inside the last packet, since bytes may be missing there.
 */
class PacketSync {
public:
    /**
     * @brief Go on with the next bytes.
     * @param sink called with a pointer to the 188 bytes of each packet, valid during the call
     */
    template <class Sink> void feed(const u8 *data, size_t size, Sink &&sink)
    {
        if (!carry.empty()) {
            const size_t old = carry.size();
            carry.insert(carry.end(), data, data + std::min(size, kJoinBytes));
            const size_t used = process(carry.data(), carry.size(), false, sink);
            base += used;
            if (used < old) {
                carry.erase(carry.begin(), carry.begin() + static_cast<std::ptrdiff_t>(used));
                return;
            }
            carry.clear();
            data += used - old;
            size -= used - old;
        }
        const size_t used = process(data, size, false, sink);
        base += used;
        carry.assign(data + used, data + size);
    }

    /** @brief The input ends here: hand on what is left. */
    template <class Sink> void finish(Sink &&sink)
    {
        base += process(carry.data(), carry.size(), true, sink);
        if (base > claimed)
            count.skippedBytes += base - claimed;
        claimed = base;
        carry.clear();
    }

    const SyncCounters &counters() const { return count; }

    /** @brief Where in the input the packet begins that the sink is given, in bytes from its start. */
    uint64_t place(const u8 *packet) const { return base + static_cast<size_t>(packet - chunk); }

private:
    /** More than any step looks ahead, so that a joined chunk always gets beyond the old bytes. */
    static constexpr size_t kJoinBytes = 2048;
    struct Candidate {
        size_t offset = 0;
        size_t packetSize = 0; /**< 0: no packets here */
        unsigned score = 0;
    };

    /** Hand on packets from `data`; returns the bytes done with. With `last` that is all of them. */
    template <class Sink> size_t process(const u8 *data, size_t size, bool last, Sink &sink)
    {
        size_t at = 0;
        chunk = data;
        for (;;) {
            if (!locked && !findSync(data, size, last, at))
                return at;
            if (takePackets(data, size, last, at, sink))
                return last ? size : at;
        }
    }

    /** Hand on packets until more bytes are wanted (true) or the sync is lost (false). */
    template <class Sink> bool takePackets(const u8 *data, size_t size, bool last, size_t &at, Sink &sink)
    {
        const size_t step = count.packetSize;
        for (takeRun(data, size, at, sink); at + step < size; takeRun(data, size, at, sink)) {
            const size_t next = at + step;
            if (!last && next + 2 * step >= size)
                return true;
            const bool goesOn = onlySyncByteDamaged(data, size, next);
            handOn(data, at, sink);
            claim(at, step);
            if (!goesOn) {
                ++at;
                locked = false;
                return false;
            }
            at = next + step;
        }
        if (last && at + kPacketBytes <= size) {
            handOn(data, at, sink);
            claim(at, std::min(step, size - at));
            at = size;
        }
        return true;
    }

    /** Hand on the packets behind which a sync byte stands: nearly all. */
    template <class Sink> void takeRun(const u8 *data, size_t size, size_t &at, Sink &sink)
    {
        const size_t step = count.packetSize; // locals: nothing that the sink does can change them
        const u8 *const last = data + (size > step ? size - step : 0);
        const u8 *packet = data + at;
        for (;; packet += step) {
            packet = passQuiet(sink, packet, last, step);
            if (packet >= last || packet[step] != kSyncByte)
                break;
            sink(packet);
        }
        const size_t taken = static_cast<size_t>(packet - data) - at;
        if (taken == 0)
            return;
        count.packets += taken / step;
        claim(at, taken);
        at += taken;
    }

    template <class Sink> void handOn(const u8 *data, size_t at, Sink &sink)
    {
        ++count.packets;
        sink(data + at);
    }

    void claim(size_t at, size_t length)
    {
        const uint64_t start = base + at;
        if (start > claimed)
            count.skippedBytes += start - claimed;
        claimed = std::max(claimed, start + length);
    }

    bool onlySyncByteDamaged(const u8 *data, size_t size, size_t at) const;
    bool findSync(const u8 *data, size_t size, bool last, size_t &at);
    Candidate examine(const u8 *data, size_t size, bool last, size_t offset) const;
    unsigned score(const u8 *data, size_t size, bool last, size_t offset, size_t packetSize) const;
    void lock(const Candidate &found);

    SyncCounters count;
    bool locked = false;
    uint64_t base = 0;         /**< place in the input of the first byte not yet done with */
    const u8 *chunk = nullptr; /**< that byte, while packets are handed on */
    uint64_t claimed = 0;      /**< place behind the last byte that belongs to a packet or is counted as skipped */
    std::vector<u8> carry;     /**< bytes that wait for the next chunk */
};

} // namespace psi::demux

#endif // PSI_DEMUX_PACKET_SYNC_H
