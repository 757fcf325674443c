/**
 * @file rtp.h
 * @brief The transport packets of datagrams: plain or behind an RTP header (RFC 3550, RFC 2250).
 */
#ifndef PSI_DEMUX_RTP_H
#define PSI_DEMUX_RTP_H

#include "demux/demux.h"

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <vector>

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

/** @brief What a datagram holds. */
struct DatagramContent {
    const u8 *packets = nullptr; /**< within the datagram */
    size_t packetSize = 0;       /**< distance of two packets, 188 or 204 */
    size_t count = 0;            /**< 0: no transport packets */
    bool rtp = false;            /**< they stand behind an RTP header */
};

/** @brief Look into a datagram. */
DatagramContent contentOf(const u8 *datagram, size_t size);

/** @brief Called with each packet, in order. @param packet begins with the sync byte @param size 188 or 204 */
using PacketSink = std::function<void(const u8 *packet, size_t size)>;

/**
 * @brief The packets of one stream that comes in datagrams.
 *
 * RTP packets are put in order again: what comes in front of one that is missing waits for it, up to 16 RTP packets or
 * 50 ms. Times are in milliseconds, by any clock that does not go back.
 */
class DatagramReader {
public:
    static constexpr size_t kMostWaiting = 16;
    static constexpr uint64_t kLongestWaitMs = 50;

    /** @brief A datagram has come. */
    void take(const u8 *datagram, size_t size, uint64_t ms, const PacketSink &sink);
    /** @brief Nothing has come: what has waited long enough goes on. */
    void passTime(uint64_t ms, const PacketSink &sink);
    /** @brief Nothing more will come. */
    void finish(const PacketSink &sink);

    /** @brief Put in what was counted: datagrams, bytes, packet size, RTP. */
    void addTo(Statistics &statistics) const;

private:
    /** An RTP packet that waits for one in front of it. */
    struct Waiting {
        uint64_t since;
        size_t packetSize;
        std::vector<u8> packets;
    };

    void takeRtp(const u8 *header, const DatagramContent &content, uint64_t ms, const PacketSink &sink);
    void begin(u32 sender, uint64_t sequence);
    bool cameBefore(uint64_t sequence) const;
    void pass(const u8 *packets, size_t size, size_t packetSize, const PacketSink &sink);
    void passWaiting(const PacketSink &sink);
    void giveUpGap(const PacketSink &sink);

    Statistics counted;
    bool started = false;
    u32 source = 0;        /**< SSRC */
    uint64_t expected = 0; /**< next sequence number, counted on beyond 16 bits */
    uint64_t passed = 0;   /**< bit n: that of expected - 1 - n was passed on */
    std::map<uint64_t, Waiting> waiting;
};

} // namespace psi::demux

#endif // PSI_DEMUX_RTP_H
