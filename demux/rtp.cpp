#include "demux/rtp.h"

#include "demux/transportPacket.h"

#include <algorithm>
#include <initializer_list>
#include <random>

namespace psi::demux {

namespace {

/** Sequence numbers that are farther off mean that the sender began anew; RFC 3550 A.1. */
constexpr int kMaxMisorder = 100;
constexpr int kMaxDropout = 3000;
constexpr u8 kVersion2 = 0x80;
constexpr u8 kTransportStream = 33; /**< payload type MP2T, RFC 3551 6 */
constexpr double kRtpTicksPerSecond = 90000;

bool isRtp(const u8 *datagram, size_t size)
{
    return size > kRtpHeaderBytes && datagram[0] >> 6 == 2;
}

/** Bytes in front of the payload, RFC 3550 5.1 and 5.3.1; may exceed the datagram. */
size_t headerBytes(const u8 *datagram, size_t size)
{
    size_t length = kRtpHeaderBytes + 4 * size_t{datagram[0] & 0x0FU};
    const bool extended = (datagram[0] & 0x10) != 0;
    if (extended && length + 4 <= size)
        length += 4 + 4 * size_t{wordAt(datagram + length + 2)};
    return length;
}

DatagramContent packetsOf(const u8 *data, size_t size, bool rtp)
{
    for (const size_t packetSize : {kPacketBytes, size_t{204}})
        if (size > 0 && size % packetSize == 0 && data[0] == kSyncByte)
            return {data, packetSize, size / packetSize, rtp};
    return {};
}

} // namespace

RtpHeader::RtpHeader()
{
    std::random_device random;
    sequence = static_cast<u16>(random());
    firstTick = random();
    source = random();
}

std::array<u8, kRtpHeaderBytes> RtpHeader::next(double seconds)
{
    const u32 tick = firstTick + static_cast<u32>(static_cast<uint64_t>(seconds * kRtpTicksPerSecond));
    const u16 number = sequence++;
    std::array<u8, kRtpHeaderBytes> header = {kVersion2, kTransportStream, static_cast<u8>(number >> 8),
                                              static_cast<u8>(number & 0xFF)};
    for (const unsigned i : {0U, 1U, 2U, 3U}) {
        header[4 + i] = static_cast<u8>(tick >> (24 - 8 * i));
        header[8 + i] = static_cast<u8>(source >> (24 - 8 * i));
    }
    return header;
}

DatagramContent contentOf(const u8 *datagram, size_t size)
{
    if (!isRtp(datagram, size))
        return packetsOf(datagram, size, false);
    const size_t front = headerBytes(datagram, size);
    const bool padded = (datagram[0] & 0x20) != 0;
    const size_t behind = padded ? datagram[size - 1] : 0;
    return front + behind < size ? packetsOf(datagram + front, size - front - behind, true) : DatagramContent();
}

void DatagramReader::take(const u8 *datagram, size_t size, uint64_t ms, const PacketSink &sink)
{
    ++counted.datagrams;
    counted.bytes += size;
    const DatagramContent content = contentOf(datagram, size);
    if (content.count == 0)
        ++counted.badDatagrams;
    else if (content.rtp)
        takeRtp(datagram, content, ms, sink);
    else
        pass(content.packets, content.count * content.packetSize, content.packetSize, sink);
    passTime(ms, sink);
}

void DatagramReader::begin(u32 sender, uint64_t sequence)
{
    started = true;
    source = sender;
    expected = sequence;
    passed = 0;
}

bool DatagramReader::cameBefore(uint64_t sequence) const
{
    const uint64_t back = expected - 1 - sequence;
    return back < 64 && (passed >> back & 1) != 0;
}

void DatagramReader::takeRtp(const u8 *header, const DatagramContent &content, uint64_t ms, const PacketSink &sink)
{
    constexpr uint64_t room = 1U << 16; // so that a number in front of the first one is none below 0
    const u16 number = wordAt(header + 2);
    const u32 sender = u32{wordAt(header + 8)} << 16 | wordAt(header + 10);
    const int ahead = static_cast<int16_t>(number - static_cast<u16>(expected));
    if (!started || sender != source || ahead < -kMaxMisorder || ahead > kMaxDropout) {
        finish(sink);
        begin(sender, number + room);
    }
    const uint64_t sequence =
        expected +
        static_cast<uint64_t>(static_cast<int64_t>(static_cast<int16_t>(number - static_cast<u16>(expected))));
    const size_t bytes = content.count * content.packetSize;
    if (sequence < expected) {
        ++(cameBefore(sequence) ? counted.rtpDuplicates : counted.rtpLate);
    } else if (sequence > expected) {
        const bool isNew =
            waiting.try_emplace(sequence, Waiting{ms, content.packetSize, {content.packets, content.packets + bytes}})
                .second;
        counted.rtpDuplicates += !isNew;
    } else {
        counted.rtpReordered += !waiting.empty();
        pass(content.packets, bytes, content.packetSize, sink);
        ++expected;
        passWaiting(sink);
    }
}

/** Packets leave. */
void DatagramReader::pass(const u8 *packets, size_t size, size_t packetSize, const PacketSink &sink)
{
    counted.packetSize = static_cast<uint16_t>(packetSize);
    passed = passed << 1 | 1;
    for (size_t at = 0; at < size; at += packetSize) {
        if (packets[at] == kSyncByte)
            sink(packets + at, packetSize);
        else
            counted.skippedBytes += packetSize;
    }
}

/** What waited for that which has just come. */
void DatagramReader::passWaiting(const PacketSink &sink)
{
    for (auto next = waiting.begin(); next != waiting.end() && next->first == expected; next = waiting.erase(next)) {
        const Waiting &one = next->second;
        ++expected;
        pass(one.packets.data(), one.packets.size(), one.packetSize, sink);
    }
}

void DatagramReader::giveUpGap(const PacketSink &sink)
{
    const uint64_t gap = waiting.begin()->first - expected;
    counted.rtpGaps += gap;
    passed = gap < 64 ? passed << gap : 0;
    expected += gap;
    passWaiting(sink);
}

void DatagramReader::passTime(uint64_t ms, const PacketSink &sink)
{
    const auto isLate = [ms](const auto &one) { return one.second.since + kLongestWaitMs <= ms; };
    while (waiting.size() > kMostWaiting || std::any_of(waiting.begin(), waiting.end(), isLate))
        giveUpGap(sink);
}

void DatagramReader::finish(const PacketSink &sink)
{
    while (!waiting.empty())
        giveUpGap(sink);
}

void DatagramReader::addTo(Statistics &statistics) const
{
    statistics.packetSize = counted.packetSize;
    statistics.bytes = counted.bytes;
    statistics.skippedBytes = counted.skippedBytes;
    statistics.datagrams = counted.datagrams;
    statistics.badDatagrams = counted.badDatagrams;
    statistics.rtpGaps = counted.rtpGaps;
    statistics.rtpLate = counted.rtpLate;
    statistics.rtpDuplicates = counted.rtpDuplicates;
    statistics.rtpReordered = counted.rtpReordered;
}

} // namespace psi::demux
