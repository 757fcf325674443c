/**
 * @file packetBuilder.h
 * @brief Transport packets for tests. ISO/IEC 13818-1 2.4.3.
 */
#ifndef PSITEST_PACKET_BUILDER_H
#define PSITEST_PACKET_BUILDER_H

#include "support/sectionBuilder.h"

#include <optional>

namespace psitest {

constexpr std::size_t packetSize = 188;

/** @brief One packet, field by field. */
struct Packet {
    u16 pid = 0x100;
    u8 cc = 0;
    bool pusi = false;
    u8 sync = 0x47;
    std::optional<u8> pointer;                /**< pointer_field, in front of the payload */
    std::optional<u8> adaptationLength;       /**< adaptation_field_length; the field is stuffing (0xFF) */
    std::optional<u8> adaptationFieldControl; /**< instead of the value that fits the fields above */
    Bytes payload;                            /**< cut or filled with 0xFF to the end of the packet */

    Bytes bytes() const;
};

/** @brief A packet that only has an adaptation field (adaptation_field_control 2). */
Packet adaptationOnly(u16 pid, u8 cc);

/**
 * @brief Cuts sections into the packets of one PID, as a multiplexer does.
 *
 * `PacketStream(0x11).section(a).section(b).bytes()`. The counter goes on from section to section.
 */
class PacketStream {
public:
    explicit PacketStream(u16 pid = 0x100, u8 firstCc = 0) : pid_(pid), cc_(firstCc) {}

    /**
     * @brief Append a section that begins in a packet of its own; stuffing fills its last packet.
     * @param section the section
     * @param lead the tail of an earlier section between pointer_field and this section (at most 182 bytes)
     * @param adaptationLength give the first packet an adaptation field of that length
     */
    PacketStream &section(const Bytes &section, const Bytes &lead = {}, std::optional<u8> adaptationLength = {});
    /** @brief Append sections one right behind the other; a new one starts in the packet where the last one ends. */
    PacketStream &backToBack(const std::vector<Bytes> &sections);
    /** @brief Append a packet of any kind; the running counter is not touched. */
    PacketStream &packet(const Packet &packet);
    /** @brief Repeat the last packet. */
    PacketStream &duplicateLast();
    /** @brief Append a packet without payload. */
    PacketStream &withoutPayload();

    std::size_t count() const { return packets_.size(); }
    /** @brief The packets one by one, to be changed by the caller. */
    std::vector<Bytes> &packets() { return packets_; }
    /** @brief All packets back to back. */
    Bytes bytes() const;

private:
    u8 nextCc();

    u16 pid_;
    u8 cc_;
    std::vector<Bytes> packets_;
};

/** @brief The packets of one section: PacketStream(pid, firstCc).section(section).bytes(). */
Bytes packetsOf(const Bytes &section, u16 pid = 0x100, u8 firstCc = 0);

} // namespace psitest

#endif // PSITEST_PACKET_BUILDER_H
