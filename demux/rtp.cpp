#include "demux/rtp.h"

#include <initializer_list>
#include <random>

namespace psi::demux {

namespace {

/** Sequence numbers that are farther off mean that the sender began anew; RFC 3550 A.1. */
constexpr int kMaxMisorder = 100;
constexpr int kMaxDropout = 3000;
constexpr u8 kVersion2 = 0x80;
constexpr u8 kTransportStream = 33; /**< payload type MP2T, RFC 3551 6 */
constexpr double kTicksPerSecond = 90000;

u16 u16At(const u8 *bytes)
{
    return static_cast<u16>(bytes[0] << 8 | bytes[1]);
}

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
        length += 4 + 4 * size_t{u16At(datagram + length + 2)};
    return length;
}

DatagramReader::Packets packetsOf(const u8 *data, size_t size)
{
    for (const size_t packetSize : {size_t{188}, size_t{204}})
        if (size > 0 && size % packetSize == 0 && data[0] == 0x47)
            return {data, packetSize, size / packetSize};
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
    const u32 tick = firstTick + static_cast<u32>(static_cast<uint64_t>(seconds * kTicksPerSecond));
    const u16 number = sequence++;
    std::array<u8, kRtpHeaderBytes> header = {kVersion2, kTransportStream, static_cast<u8>(number >> 8),
                                              static_cast<u8>(number & 0xFF)};
    for (const unsigned i : {0U, 1U, 2U, 3U}) {
        header[4 + i] = static_cast<u8>(tick >> (24 - 8 * i));
        header[8 + i] = static_cast<u8>(source >> (24 - 8 * i));
    }
    return header;
}

/** False for a packet that comes too late. */
bool DatagramReader::inSequence(const u8 *header)
{
    const u16 sequence = u16At(header + 2);
    const u32 sender = u32{u16At(header + 8)} << 16 | u16At(header + 10);
    const int ahead = static_cast<int16_t>(sequence - expected);
    const bool anew = !started || sender != source || ahead < -kMaxMisorder || ahead > kMaxDropout;
    if (!anew && ahead < 0)
        return false;
    if (!anew)
        missing += static_cast<unsigned>(ahead);
    started = true;
    source = sender;
    expected = static_cast<u16>(sequence + 1);
    return true;
}

DatagramReader::Packets DatagramReader::open(const u8 *datagram, size_t size)
{
    Packets packets;
    if (!isRtp(datagram, size)) {
        packets = packetsOf(datagram, size);
    } else {
        const size_t front = headerBytes(datagram, size);
        const bool padded = (datagram[0] & 0x20) != 0;
        const size_t behind = padded ? datagram[size - 1] : 0;
        if (front + behind < size)
            packets = packetsOf(datagram + front, size - front - behind);
        if (packets.count > 0 && !inSequence(datagram))
            return {};
    }
    withoutPackets += packets.count == 0;
    return packets;
}

} // namespace psi::demux
