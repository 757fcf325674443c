/**
 * @file capture.h
 * @brief Transport streams in a capture of network packets (pcap, pcapng).
 */
#ifndef PSI_DEMUX_CAPTURE_H
#define PSI_DEMUX_CAPTURE_H

#include "demux/ipFragments.h"
#include "demux/rtp.h"

#include <array>
#include <cstdio>
#include <memory>
#include <optional>

namespace psi::demux {

/** @brief A capture's name: "FILE", or "FILE?stream=[SOURCE@]ADDRESS:PORT" for one of several streams in it. */
struct CaptureName {
    std::string file;
    /** as streams are listed: "239.1.1.1:5000", "10.0.0.1@239.1.1.1:5000", "[ff02::1]:5000"; empty: the only one */
    std::string stream;
};

/** @brief True when a file that begins so is a capture. @param start at least four bytes */
bool beginsLikeCapture(const u8 *start);

/** @brief The parts of an input's name when it is a capture's, by its first bytes. */
std::optional<CaptureName> captureNamed(const std::string &input);

/** @brief A UDP datagram within a captured frame. */
struct CapturedDatagram {
    std::array<u8, 16> address; /**< of the destination, IPv4 in the first four bytes */
    std::array<u8, 16> source;  /**< alike */
    bool v6 = false;
    u16 port = 0;
    const u8 *payload = nullptr;
    size_t size = 0;
    bool cut = false; /**< it was not captured to its end */
};

/**
 * @brief Whether a datagram's checksum is wrong, RFC 768.
 *
 * A receiver drops it then; but where a sender captures its own datagrams, its network card may be who makes the sum,
 * and none is right. No sum (0) is not wrong, also over IPv6 (RFC 6935), nor is that of a datagram which was cut.
 */
bool hasWrongChecksum(const CapturedDatagram &datagram);

/** @brief What a frame is; `fragment`: a part of a datagram of which others are missing. */
enum class FrameKind { datagram, fragment, other };

/** @brief Looks into frames: VLAN tags, MPLS labels or PPPoE, IPv4 or IPv6, UDP. */
class FrameReader {
public:
    /** @param type of the capture's links: Ethernet, Linux "cooked" (both versions), raw IP, BSD loopback */
    explicit FrameReader(int type) : linkType(type) {}

    /**
     * @brief Look into a frame.
     * @param size bytes captured
     * @param ms when it came
     * @param datagram gets the datagram that is in it, or that it is the last missing part of; its bytes are valid as
     * long as the frame's, and until the next call
     */
    FrameKind read(const u8 *frame, size_t size, uint64_t ms, CapturedDatagram &datagram);

    /** @brief Parts of datagrams that did not become whole. */
    uint64_t leftOver() const { return fragments.leftOver(); }

private:
    int linkType;
    IpFragments fragments;
};

/** @brief Goes through a capture once. */
class CaptureFile {
public:
    /** @brief Take an open file, which it closes. Throws InputError. @param name stands in messages */
    CaptureFile(std::FILE *file, const std::string &name);
    ~CaptureFile();
    CaptureFile(const CaptureFile &) = delete;
    CaptureFile &operator=(const CaptureFile &) = delete;

    /**
     * @brief Go on to the next UDP datagram.
     * @param ms gets its time
     * @return false at the end. Throws InputError when the file is damaged.
     */
    bool next(CapturedDatagram &datagram, uint64_t &ms);
    /** @brief Parts of datagrams that were met and did not become whole. */
    uint64_t fragments() const;
    /** @brief Packets of any kind that were met. */
    uint64_t frames() const { return met; }

private:
    struct Handle;
    std::string shownName;
    std::unique_ptr<Handle> handle;
    uint64_t met = 0;
};

/**
 * @brief Every stream of UDP datagrams, by first appearance. Throws InputError.
 *
 * Where several sources send transport packets to one address and port, each of them is a stream.
 */
std::vector<CapturedStream> streamsOf(CaptureFile &capture);

/** @brief The transport packets of one stream of a capture, one behind the other. */
class CaptureReader {
public:
    /** @brief Open it. Throws InputError; SeveralStreams when none is chosen and there are several. */
    CaptureReader(const CaptureName &name, const std::string &shownName);

    /** @brief Read on. @param bytes gets some packets @return false at the end. Throws InputError. */
    bool read(std::vector<u8> &bytes);
    void addTo(Statistics &statistics) const;

private:
    bool readOne(const PacketSink &sink);

    std::string wanted;
    std::string failure;
    CaptureFile capture;
    DatagramReader reader;
    uint64_t cut = 0;
    uint64_t wrongChecksums = 0;
};

} // namespace psi::demux

#endif // PSI_DEMUX_CAPTURE_H
