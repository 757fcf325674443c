/**
 * @file sectionAssembler.h
 * @brief Puts the sections of all PIDs of a transport stream together.
 */
#ifndef PSI_DEMUX_SECTION_ASSEMBLER_H
#define PSI_DEMUX_SECTION_ASSEMBLER_H

#include "demux/demux.h"
#include "demux/transportPacket.h"

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace psi::demux {

/**
 * @brief Gets every section in the long form (section_syntax_indicator 1) of 12 to 4096 bytes.
 * @return whether its CRC is right
 */
using SectionSink = std::function<bool(u16 pid, const u8 *section, u16 length)>;

/** @brief What the payload of a PID is taken for. */
enum class PidContent : u8 {
    unknown,  /**< sections, unless a PES packet begins */
    sections, /**< sections, whatever it looks like */
    other,    /**< no sections */
};

/** @brief A PCR. @param ticks of 27 MHz, modulo 2^33 * 300 @param jump its base may have changed */
using PcrSink = std::function<void(u16 pid, uint64_t ticks, bool jump)>;
/** @brief Payload of a PID that carries no sections. @param start a PES packet begins here */
using PayloadSink = std::function<void(u16 pid, const u8 *data, size_t size, bool start)>;

/**
 * @brief Section assembly after ISO/IEC 13818-1 2.4.3 and 2.4.4, for all PIDs at once.
 *
 * A PID costs memory only once it was seen, a gathering buffer only once a section was begun on it. A packet that
 * follows the one before it on a PID without sections costs one look into a table.
 */
class SectionAssembler {
public:
    /**
     * @param onSection gets the sections in the long form
     * @param onShortForm gets those with section_syntax_indicator 0, of 3 to 4096 bytes; its result does not count
     */
    explicit SectionAssembler(SectionSink onSection, SectionSink onShortForm = {});

    /** @brief Take the next packet of the stream. @param packet 188 bytes that begin with the sync byte */
    void packet(const u8 *packet)
    {
        ++count.packets;
        if (!isQuiet(slots->all, packet))
            lookInto(packet);
    }
    void operator()(const u8 *next) { packet(next); }

    /** @brief Take packets up to one that says something new, or `last`, or one that no sync byte follows. */
    const u8 *takeQuiet(const u8 *first, const u8 *last, size_t step)
    {
        Slot *const all = slots->all; // in a register
        const u8 *packet = first;
        for (; packet < last && isQuiet(all, packet); packet += step)
            __builtin_prefetch(packet + kAhead); // of all the bytes only headers are looked at; behind the last no harm
        return endQuiet(first, packet, step);
    }

    /** @brief Tell what a PID carries; what was begun or counted under another assumption is forgotten. */
    void expect(u16 pid, PidContent content);
    /** @brief Called with every PCR. */
    void onPcr(PcrSink pcrs) { pcrSink = std::move(pcrs); }
    /** @brief Called with the payload of one more PID, which must not carry sections. */
    void onPayload(PayloadSink payloads) { payloadSink = std::move(payloads); }
    /** @brief Whether a packet of a PID was seen. */
    bool carries(u16 pid) const { return seen(pid) != nullptr && seen(pid)->statistics.packets != 0; }
    /** @brief Whether somebody said that a PID carries sections. */
    bool expectsSections(u16 pid) const { return seen(pid) != nullptr && seen(pid)->content == PidContent::sections; }
    /** @brief Whether a scrambled packet of a PID was seen. */
    bool scrambled(u16 pid) const { return seen(pid) != nullptr && seen(pid)->statistics.scrambledPackets != 0; }
    /** @brief Begin (or end) to hand on the payload of a PID. */
    void watch(u16 pid, bool on);

    /** @brief Counters of packets and sections; what belongs to the input or the store stays 0. */
    Statistics counters() const;
    /** @brief Packets taken so far. */
    uint64_t packets() const { return count.packets; }

    /** @brief Number of the packet, from 0, in which the section began that a sink is given; it ends in the last one.
     */
    uint64_t sectionStart() const { return deliveredStart; }

    /** @brief Counters of each PID that was seen, by ascending PID. */
    std::vector<PidStatistics> pids() const;

private:
    /** Section in progress, and the last payload, on a PID that carries sections. */
    struct Gather {
        u16 have = 0;
        u16 want = 0; /**< 0: no section in progress */
        u8 lastSize = 0;
        uint64_t start = 0; /**< number of the packet in which it began */
        std::array<u8, 184> lastPayload;
        std::vector<u8> bytes; /**< as many as were ever wanted */

        /** Ask for the bytes of a section up to a length. */
        void await(u16 length)
        {
            want = length;
            if (bytes.size() < length)
                bytes.resize(length);
        }
    };

    /** What a packet that is looked into meets, in one line of the cache; most counters lie behind it. */
    struct alignas(64) PidState {
        std::unique_ptr<Gather> gather;
        int lastCounter = -1; /**< continuity_counter of the last payload, -1: none yet */
        bool repeated = false;
        bool jumpAnnounced = false;
        bool inPes = false;
        bool watched = false; /**< its payload is handed on */
        PidContent content = PidContent::unknown;
        PidStatistics statistics;
    };

    /**
     * What every packet meets. Each is looked into where `next` has the PID of another slot; all bits 0 say so, but in
     * the first slot.
     */
    struct Slot {
        u32 next;         /**< rotatedHeader() of a packet that follows without news */
        u32 step;         /**< from there to the one behind */
        uint64_t packets; /**< those that followed, not yet in the PID's statistics */
    };
    /** By PID. Of a stream with a few dozen most of these pages are never touched, and so not there. */
    struct Slots {
        Slot all[kPidCount];
        PidState *states[kPidCount]; /**< in `states`; null: a PID that was not seen */
    };
    struct Unmapped {
        void operator()(Slots *mapped) const;
    };
    /**
     * The four bytes of a packet's header with continuity_counter in front, which then counts modulo 16 by itself, and
     * with the PID where it is the offset of its slot. From bit 31 on: continuity_counter 4, sync_byte 8,
     * transport_error_indicator 1, payload_unit_start_indicator 1, transport_priority 1, PID 13,
     * transport_scrambling_control 2, adaptation_field_control 2.
     */
    static u32 rotatedHeader(const u8 *packet)
    {
        const u32 header = u32{wordAt(packet)} << 16 | wordAt(packet + 2);
        return header >> 4 | header << kCounterShift;
    }
    static Slot &slotAt(Slot *all, u32 rotated)
    {
        static_assert(sizeof(Slot) == 1U << kPidShift, "the PID's bits are an offset");
        const size_t offset = rotated & kPid;
        return *static_cast<Slot *>(static_cast<void *>(reinterpret_cast<u8 *>(all) + offset));
    }
    /** Whether a packet follows the one before it without news; counts it then. */
    static bool isQuiet(Slot *all, const u8 *packet)
    {
        const u32 header = rotatedHeader(packet);
        Slot &slot = slotAt(all, header);
        if (__builtin_expect(((header ^ slot.next) & ~kPriority) != 0, 0))
            return false;
        slot.next += slot.step; // modulo 16
        ++slot.packets;
        return true;
    }
    /** The header that is wanted soon, in bytes from the one in hand. */
    static constexpr size_t kAhead = 8 * kPacketBytes;
    static constexpr unsigned kPidShift = 4;
    static constexpr unsigned kCounterShift = 28;
    static constexpr u32 kCounterStep = 1U << kCounterShift;
    static constexpr u32 kPid = u32{kPidCount - 1} << kPidShift;
    static constexpr u32 kNoNext = kPid; /**< in other slots than that of null packets */
    static constexpr u32 kSync = u32{kSyncByte} << 20;
    static constexpr u32 kPriority = 0x20000;
    static constexpr u32 kScrambled = 0xC;
    static constexpr u32 kPayloadOnly = 1;

    struct Payload {
        const u8 *data;
        size_t size;
    };

    const u8 *endQuiet(const u8 *first, const u8 *packet, size_t step);
    void lookInto(const u8 *packet);
    void takePacket(const u8 *packet, PidState &state);
    void settle(PidState &state, Slot &slot);
    void lookIntoNext(u16 pid);
    static void expectNext(const PidState &state, Slot &slot, const u8 *packet);
    static void takeNull(Slot &slot, const u8 *packet);
    void takePcr(const u8 *packet, PidState &state);
    PidState &stateOf(u16 pid)
    {
        PidState *const state = slots->states[pid];
        return state != nullptr ? *state : newState(pid);
    }
    PidState &newState(u16 pid);
    const PidState *seen(u16 pid) const { return slots->states[pid]; }
    PidStatistics statisticsOf(u16 pid) const;
    bool locatePayload(const u8 *packet, PidState &state, Payload &payload);
    static bool hasSamePayload(const PidState &state, const Payload &payload);
    bool follows(const u8 *packet, PidState &state, const Payload &payload);
    static void keepPayload(Gather &gather, const Payload &payload);
    void unitStart(PidState &state, const Payload &payload);
    void takeSections(PidState &state, const u8 *data, size_t size);
    void append(PidState &state, const u8 *data, size_t size);
    bool learnLength(Gather &gather);
    void deliver(PidState &state, const u8 *section, u16 length, uint64_t start);
    void abandon(PidState &state);

    SectionSink sink;
    SectionSink shortFormSink;
    uint64_t deliveredStart = 0;
    Statistics count;
    PcrSink pcrSink;
    PayloadSink payloadSink;
    std::unique_ptr<Slots, Unmapped> slots;
    std::vector<std::unique_ptr<PidState>> states;
};

/** @brief An assembler is a sink of PacketSync, and this is its way past what says nothing new. */
inline const u8 *passQuiet(SectionAssembler &sink, const u8 *packet, const u8 *last, size_t step)
{
    return sink.takeQuiet(packet, last, step);
}

} // namespace psi::demux

#endif // PSI_DEMUX_SECTION_ASSEMBLER_H
