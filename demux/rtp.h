/**
 * @file rtp.h
 * @brief The transport packets of a datagram: plain or behind an RTP header (RFC 3550, RFC 2250).
 */
#ifndef PSI_DEMUX_RTP_H
#define PSI_DEMUX_RTP_H

#include "psi.h"

#include <array>
#include <cstddef>

namespace psi::demux {

/** @brief Bytes of an RTP header without contributing sources and extension. RFC 3550 5.1. */
constexpr size_t kRtpHeaderBytes = 12;

/** @brief The RTP headers of one sender, for transport packets: payload type 33, a clock of 90 kHz. RFC 2250 2. */
class RtpHeader {
public:
    /** @brief Sequence number, time and sender begin at random, as RFC 3550 5.1 wants it. */
    RtpHeader();
    /** @brief The header of the next packet. @param seconds when its first byte leaves, by any clock */
    std::array<u8, kRtpHeaderBytes> next(double seconds);

private:
    u16 sequence;
    u32 firstTick;
    u32 source;
};

/** @brief Takes datagrams of one stream in the order of their arrival. */
class DatagramReader {
public:
    /** @brief Packets of a datagram; size 0 when there are none. */
    struct Packets {
        const u8 *data = nullptr;
        size_t packetSize = 0; /**< distance of two packets, 188 or 204 */
        size_t count = 0;
    };

    /**
     * @brief Look into a datagram.
     * @return its packets, within the datagram; none for a datagram of anything else, and for an RTP packet that comes
     * too late: what follows it was handed on already
     */
    Packets open(const u8 *datagram, size_t size);

    /** @brief RTP packets that are missing by their sequence numbers. */
    uint64_t gaps() const { return missing; }
    /** @brief Datagrams that held no packets. */
    uint64_t bad() const { return withoutPackets; }

private:
    bool inSequence(const u8 *header);

    uint64_t missing = 0;
    uint64_t withoutPackets = 0;
    bool started = false;
    u16 expected = 0; /**< next sequence number */
    u32 source = 0;   /**< SSRC */
};

} // namespace psi::demux

#endif // PSI_DEMUX_RTP_H
