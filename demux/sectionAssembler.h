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

/**
 * @brief Section assembly after ISO/IEC 13818-1 2.4.3 and 2.4.4, for all PIDs at once.
 *
 * A PID costs memory only once it was seen, a gathering buffer only once a section was begun on it.
 */
class SectionAssembler {
public:
    /**
     * @param onSection gets the sections in the long form
     * @param onShortForm gets those with section_syntax_indicator 0, of 3 to 4096 bytes; its result does not count
     */
    explicit SectionAssembler(SectionSink onSection, SectionSink onShortForm = {})
        : sink(std::move(onSection)), shortFormSink(std::move(onShortForm))
    {
    }

    /** @brief Take the next packet of the stream. @param packet 188 bytes that begin with the sync byte */
    void packet(const u8 *packet);

    /** @brief Counters of packets and sections; what belongs to the input or the store stays 0. */
    const Statistics &counters() const { return count; }

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
        std::array<u8, kLongestSection> bytes;
    };

    struct PidState {
        PidStatistics statistics;
        std::unique_ptr<Gather> gather;
        int lastCounter = -1; /**< continuity_counter of the last payload, -1: none yet */
        bool repeated = false;
        bool jumpAnnounced = false;
        bool inPes = false;
    };

    struct Payload {
        const u8 *data;
        size_t size;
    };

    PidState &stateOf(u16 pid);
    bool locatePayload(const u8 *packet, PidState &state, Payload &payload);
    bool follows(const u8 *packet, PidState &state, const Payload &payload);
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
    std::array<std::unique_ptr<PidState>, kPidCount> states;
};

} // namespace psi::demux

#endif // PSI_DEMUX_SECTION_ASSEMBLER_H
