#include "demux/sectionAssembler.h"

#include <algorithm>
#include <cstring>

namespace psi::demux {

namespace {

constexpr u8 kStuffing = 0xFF;
/** Header and CRC_32 of a section in the long form. */
constexpr u16 kShortestSection = 12;

bool unitStarts(const u8 *packet)
{
    return (packet[1] & 0x40) != 0;
}

/** packet_start_code_prefix: a PES packet, ISO/IEC 13818-1 2.4.3.6. As section bytes it would be no long form. */
bool beginsPes(const u8 *data, size_t size)
{
    return size >= 3 && data[0] == 0 && data[1] == 0 && data[2] == 1;
}

} // namespace

SectionAssembler::PidState &SectionAssembler::stateOf(u16 pid)
{
    std::unique_ptr<PidState> &state = states[pid];
    if (state == nullptr) {
        state = std::make_unique<PidState>();
        state->statistics.pid = pid;
    }
    return *state;
}

std::vector<PidStatistics> SectionAssembler::pids() const
{
    std::vector<PidStatistics> all;
    for (const auto &state : states)
        if (state != nullptr)
            all.push_back(state->statistics);
    return all;
}

void SectionAssembler::packet(const u8 *packet)
{
    ++count.packets;
    if ((packet[1] & 0x80) != 0) {
        ++count.transportErrors;
        return;
    }
    const u16 pid = pidOf(packet);
    PidState &state = stateOf(pid);
    ++state.statistics.packets;
    if (pid == kNullPid) {
        ++count.nullPackets;
        return;
    }
    const bool scrambled = (packet[3] & 0xC0) != 0;
    count.scrambledPackets += scrambled;
    state.statistics.scrambledPackets += scrambled;

    Payload payload = {};
    if (!locatePayload(packet, state, payload) || !follows(packet, state, payload))
        return;
    if (scrambled)
        abandon(state);
    else if (payload.size == 0)
        return;
    else if (unitStarts(packet))
        unitStart(state, payload);
    else
        append(state, payload.data, payload.size);
}

/** ISO/IEC 13818-1 2.4.3.3 to 2.4.3.5. False: no payload. */
bool SectionAssembler::locatePayload(const u8 *packet, PidState &state, Payload &payload)
{
    const unsigned control = packet[3] >> 4 & 3U;
    const size_t adaptationLength = packet[4];
    size_t start = kPacketHeaderBytes;
    if (control >= 2) {
        start += 1 + adaptationLength;
        if (start > kPacketBytes) {
            ++count.malformedPackets;
            return false;
        }
        if (adaptationLength > 0) {
            state.jumpAnnounced = state.jumpAnnounced || (packet[5] & 0x80) != 0;
            state.statistics.pcr = state.statistics.pcr || ((packet[5] & 0x10) != 0 && adaptationLength >= 7);
        }
    }
    count.malformedPackets += control == 0;
    payload = {packet + start, kPacketBytes - start};
    return control == 1 || control == 3;
}

/** Looks at the continuity_counter; false for a packet that repeats the one before. ISO/IEC 13818-1 2.4.3.3. */
bool SectionAssembler::follows(const u8 *packet, PidState &state, const Payload &payload)
{
    const int counter = packet[3] & 0x0F;
    const int last = state.lastCounter;
    const bool announced = state.jumpAnnounced;
    Gather *gather = state.gather.get();

    // Sixteen lost packets look like a repetition, but for the payload; of a PES only the counter is known.
    const bool samePayload = gather == nullptr || state.inPes
                                 ? !announced
                                 : gather->lastSize == payload.size &&
                                       std::memcmp(gather->lastPayload.data(), payload.data, payload.size) == 0;
    if (counter == last && !state.repeated && samePayload) {
        state.repeated = true;
        ++count.duplicatePackets;
        return false;
    }
    state.lastCounter = counter;
    state.repeated = false;
    state.jumpAnnounced = false;
    if (gather != nullptr) {
        gather->lastSize = static_cast<u8>(payload.size);
        std::memcpy(gather->lastPayload.data(), payload.data, payload.size);
    }
    if (last < 0 || counter == ((last + 1) & 0x0F))
        return true;

    count.discontinuities += announced;
    count.continuityErrors += !announced;
    state.statistics.continuityErrors += !announced;
    abandon(state);
    return true;
}

void SectionAssembler::unitStart(PidState &state, const Payload &payload)
{
    state.inPes = beginsPes(payload.data, payload.size);
    if (state.inPes) {
        state.statistics.pes = true;
        abandon(state);
        return;
    }
    if (state.gather == nullptr) {
        state.gather = std::make_unique<Gather>();
        state.gather->lastSize = static_cast<u8>(payload.size);
        std::memcpy(state.gather->lastPayload.data(), payload.data, payload.size);
    }
    const size_t pointer = payload.data[0];
    const size_t start = 1 + pointer;
    if (start > payload.size) {
        ++count.malformedPackets;
        abandon(state);
        return;
    }
    append(state, payload.data + 1, pointer);
    abandon(state);
    takeSections(state, payload.data + start, payload.size - start);
}

/** Sections that begin in this packet, one behind the other, up to the stuffing. ISO/IEC 13818-1 2.4.4.1. */
void SectionAssembler::takeSections(PidState &state, const u8 *data, size_t size)
{
    while (size > 0 && data[0] != kStuffing) {
        const size_t length = size < kSectionHeaderBytes ? size + 1 : sectionBytes(data);
        if (length > size) {
            state.gather->have = 0;
            state.gather->want = kSectionHeaderBytes;
            state.gather->start = count.packets - 1;
            append(state, data, size);
            return;
        }
        deliver(state, data, static_cast<u16>(length), count.packets - 1);
        data += length;
        size -= length;
    }
}

/** Goes on with the section in progress; what follows its end is stuffing. */
void SectionAssembler::append(PidState &state, const u8 *data, size_t size)
{
    Gather *gather = state.gather.get();
    while (gather != nullptr && gather->want != 0 && size > 0) {
        const size_t part = std::min<size_t>(size, gather->want - gather->have);
        std::memcpy(gather->bytes.data() + gather->have, data, part);
        gather->have = static_cast<u16>(gather->have + part);
        data += part;
        size -= part;
        if (gather->have < gather->want || !learnLength(*gather))
            continue;
        const u16 length = gather->want;
        gather->want = 0;
        deliver(state, gather->bytes.data(), length, gather->start);
    }
}

/** Of a section whose header has come now, asks for the rest. True when the section is whole. */
bool SectionAssembler::learnLength(Gather &gather)
{
    const u16 length = sectionBytes(gather.bytes.data());
    if (gather.have == length)
        return true;
    gather.want = length;
    if (length > kLongestSection) {
        ++count.malformedSections;
        gather.want = 0;
    }
    return false;
}

void SectionAssembler::deliver(PidState &state, const u8 *section, u16 length, uint64_t start)
{
    const bool longForm = (section[1] & 0x80) != 0;
    deliveredStart = start;
    if (!longForm) {
        ++count.shortFormSections;
        if (shortFormSink)
            shortFormSink(state.statistics.pid, section, length);
    } else if (length < kShortestSection) {
        ++count.malformedSections;
    } else if (sink(state.statistics.pid, section, length)) {
        ++count.sections;
        ++state.statistics.sections;
    } else {
        ++count.crcErrors;
    }
}

void SectionAssembler::abandon(PidState &state)
{
    Gather *gather = state.gather.get();
    if (gather == nullptr || gather->want == 0)
        return;
    gather->want = 0;
    ++count.brokenSections;
}

} // namespace psi::demux
