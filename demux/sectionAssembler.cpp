#include "demux/sectionAssembler.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <sys/mman.h>

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

SectionAssembler::SectionAssembler(SectionSink onSection, SectionSink onShortForm)
    : sink(std::move(onSection)), shortFormSink(std::move(onShortForm))
{
    void *zeros = mmap(nullptr, sizeof(Slots), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (zeros == MAP_FAILED)
        throw std::bad_alloc();
    slots.reset(static_cast<Slots *>(zeros));
    lookIntoNext(kPatPid);
}

void SectionAssembler::Unmapped::operator()(Slots *mapped) const
{
    munmap(mapped, sizeof(Slots));
}

SectionAssembler::PidState &SectionAssembler::newState(u16 pid)
{
    states.push_back(std::make_unique<PidState>());
    states.back()->statistics.pid = pid;
    return *(slots->states[pid] = states.back().get());
}

/** Counts what followed the last packet that was looked into. */
inline void SectionAssembler::settle(PidState &state, Slot &slot)
{
    if (slot.packets == 0)
        return;
    state.statistics.packets += slot.packets;
    if ((slot.next & kScrambled) != 0) {
        state.statistics.scrambledPackets += slot.packets;
        count.scrambledPackets += slot.packets;
    }
    state.lastCounter = static_cast<int>((slot.next - kCounterStep) >> kCounterShift);
    state.repeated = false;
    state.jumpAnnounced = false;
    slot.packets = 0;
}

/** But for null packets, which say nothing. */
void SectionAssembler::lookIntoNext(u16 pid)
{
    if (pid != kNullPid)
        slots->all[pid] = {kNoNext, 0, 0};
}

/** Where there are no sections, a packet whose counter goes on says nothing new. */
inline void SectionAssembler::expectNext(const PidState &state, Slot &slot, const u8 *packet)
{
    const bool idle = state.gather == nullptr || (state.gather->want == 0 && state.inPes);
    if (!idle || state.watched || state.content == PidContent::sections || state.lastCounter < 0)
        slot = {kNoNext, 0, 0};
    else
        slot = {(static_cast<u32>(state.lastCounter) + 1) << kCounterShift | kSync |
                    (rotatedHeader(packet) & (kPid | kScrambled)) | kPayloadOnly,
                kCounterStep, 0};
}

/** Their counters mean nothing: mostly they stand still, or go on. */
void SectionAssembler::takeNull(Slot &slot, const u8 *packet)
{
    const u32 last = slot.next - slot.step;
    const u32 counter = rotatedHeader(packet) >> kCounterShift;
    slot.step = (counter - (last >> kCounterShift)) << kCounterShift;
    slot.next = (counter << kCounterShift | kSync | kPid | kPayloadOnly) + slot.step;
    ++slot.packets;
}

PidStatistics SectionAssembler::statisticsOf(u16 pid) const
{
    const Slot &slot = slots->all[pid];
    PidStatistics statistics = seen(pid) != nullptr ? seen(pid)->statistics : PidStatistics();
    statistics.pid = pid;
    statistics.packets += slot.packets;
    statistics.scrambledPackets += (slot.next & kScrambled) != 0 ? slot.packets : 0;
    return statistics;
}

std::vector<PidStatistics> SectionAssembler::pids() const
{
    std::vector<PidStatistics> all;
    for (const auto &state : states)
        all.push_back(statisticsOf(state->statistics.pid));
    if (seen(kNullPid) == nullptr)
        all.push_back(statisticsOf(kNullPid));
    const auto isUnused = [](const PidStatistics &one) { return one.packets + one.transportErrors == 0; };
    all.erase(std::remove_if(all.begin(), all.end(), isUnused), all.end());
    std::sort(all.begin(), all.end(), [](const PidStatistics &a, const PidStatistics &b) { return a.pid < b.pid; });
    return all;
}

Statistics SectionAssembler::counters() const
{
    Statistics all = count;
    all.nullPackets = statisticsOf(kNullPid).packets;
    for (const auto &state : states)
        if (const Slot &slot = slots->all[state->statistics.pid]; (slot.next & kScrambled) != 0)
            all.scrambledPackets += slot.packets;
    return all;
}

void SectionAssembler::expect(u16 pid, PidContent content)
{
    PidState &state = stateOf(pid);
    if (state.content == content)
        return;
    settle(state, slots->all[pid]);
    lookIntoNext(pid);
    state.content = content;
    if (content != PidContent::other)
        return;
    count.crcErrors -= state.statistics.crcErrors;
    count.brokenSections -= state.statistics.brokenSections;
    count.sections -= state.statistics.sections;
    count.shortFormSections -= state.statistics.shortFormSections;
    state.statistics.crcErrors = state.statistics.brokenSections = 0;
    state.statistics.sections = state.statistics.shortFormSections = 0;
    state.inPes = true;
    if (state.gather != nullptr)
        state.gather->want = 0; // not freed: it may be what is being delivered
}

void SectionAssembler::watch(u16 pid, bool on)
{
    PidState &state = stateOf(pid);
    settle(state, slots->all[pid]);
    lookIntoNext(pid);
    state.watched = on;
}

/**
 * Behind a run of quiet packets, at the first other one. A sync byte is compared with the rest of its header, and so is
 * known to follow each of them but the last.
 */
const u8 *SectionAssembler::endQuiet(const u8 *first, const u8 *packet, size_t step)
{
    if (packet != first && *packet != kSyncByte) {
        packet -= step;
        Slot &slot = slotAt(slots->all, rotatedHeader(packet)); // as if it had not come
        slot.next -= slot.step;
        --slot.packets;
    }
    count.packets += static_cast<size_t>(packet - first) / step;
    return packet;
}

void SectionAssembler::lookInto(const u8 *packet)
{
    const u16 pid = pidOf(packet);
    if ((packet[1] & 0x80) != 0) {
        ++count.transportErrors;
        if (seen(pid) != nullptr) // else the PID is as likely damaged as any other bit
            ++stateOf(pid).statistics.transportErrors;
        return;
    }
    Slot &slot = slots->all[pid];
    if (pid == kNullPid) {
        takeNull(slot, packet);
        return;
    }
    PidState &state = stateOf(pid);
    settle(state, slot);
    ++state.statistics.packets;
    takePacket(packet, state);
    expectNext(state, slot, packet);
}

inline void SectionAssembler::takePacket(const u8 *packet, PidState &state)
{
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
    if (state.watched && !scrambled && payloadSink)
        payloadSink(state.statistics.pid, payload.data, payload.size, unitStarts(packet));
}

/** ISO/IEC 13818-1 2.4.3.3 to 2.4.3.5. False: no payload. */
inline bool SectionAssembler::locatePayload(const u8 *packet, PidState &state, Payload &payload)
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
            if ((packet[5] & 0x10) != 0 && adaptationLength >= 7)
                takePcr(packet, state);
        }
    }
    count.malformedPackets += control == 0;
    payload = {packet + start, kPacketBytes - start};
    return control == 1 || control == 3;
}

/** ISO/IEC 13818-1 2.4.3.5: program_clock_reference_base of 90 kHz, and an extension that counts to 300 in each. */
void SectionAssembler::takePcr(const u8 *packet, PidState &state)
{
    state.statistics.pcr = true;
    ++state.statistics.pcrCount;
    if (!pcrSink)
        return;
    const uint64_t base =
        uint64_t{packet[6]} << 25 | u32{packet[7]} << 17 | u32{packet[8]} << 9 | u32{packet[9]} << 1 | packet[10] >> 7;
    const u32 extension = (packet[10] & 1U) << 8 | packet[11];
    pcrSink(state.statistics.pid, base * 300 + extension, (packet[5] & 0x80) != 0);
}

/** Sixteen lost packets look like a repetition, but for the payload; of a PES only the counter is known. */
bool SectionAssembler::hasSamePayload(const PidState &state, const Payload &payload)
{
    const Gather *gather = state.gather.get();
    if (gather == nullptr || state.inPes)
        return !state.jumpAnnounced;
    return gather->lastSize == payload.size && std::memcmp(gather->lastPayload.data(), payload.data, payload.size) == 0;
}

/** Looks at the continuity_counter; false for a packet that repeats the one before. ISO/IEC 13818-1 2.4.3.3. */
inline bool SectionAssembler::follows(const u8 *packet, PidState &state, const Payload &payload)
{
    const int counter = packet[3] & 0x0F;
    const int last = state.lastCounter;
    const bool announced = state.jumpAnnounced;
    if (counter == last && !state.repeated && hasSamePayload(state, payload)) {
        state.repeated = true;
        ++count.duplicatePackets;
        ++state.statistics.duplicatePackets;
        return false;
    }
    state.lastCounter = counter;
    state.repeated = false;
    state.jumpAnnounced = false;
    if (state.gather != nullptr)
        keepPayload(*state.gather, payload);
    if (last < 0 || counter == ((last + 1) & 0x0F))
        return true;

    count.discontinuities += announced;
    count.continuityErrors += !announced;
    state.statistics.continuityErrors += !announced;
    state.statistics.discontinuities += announced;
    abandon(state);
    return true;
}

inline void SectionAssembler::keepPayload(Gather &gather, const Payload &payload)
{
    gather.lastSize = static_cast<u8>(payload.size);
    std::memcpy(gather.lastPayload.data(), payload.data, payload.size);
}

void SectionAssembler::unitStart(PidState &state, const Payload &payload)
{
    const bool pes = beginsPes(payload.data, payload.size);
    state.inPes = state.content == PidContent::other || (pes && state.content == PidContent::unknown);
    state.statistics.pes = state.statistics.pes || (state.inPes && pes);
    if (state.inPes) {
        abandon(state);
        return;
    }
    if (state.gather == nullptr) {
        state.gather = std::make_unique<Gather>();
        keepPayload(*state.gather, payload);
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
    while (size > 0 && data[0] != kStuffing && state.content != PidContent::other) {
        const size_t length = size < kSectionHeaderBytes ? size + 1 : sectionBytes(data);
        if (length > size) {
            state.gather->have = 0;
            state.gather->await(kSectionHeaderBytes);
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
    if (length <= kLongestSection) {
        gather.await(length);
    } else {
        ++count.malformedSections;
        gather.want = 0;
    }
    return false;
}

void SectionAssembler::deliver(PidState &state, const u8 *section, u16 length, uint64_t start)
{
    PidStatistics &ofPid = state.statistics;
    const bool longForm = isLongForm(section);
    deliveredStart = start;
    if (longForm && length < kShortestSection) {
        ++count.malformedSections;
        return;
    }
    const bool right = longForm ? sink(ofPid.pid, section, length)
                                : !shortFormSink || (shortFormSink(ofPid.pid, section, length), true);
    if (state.content == PidContent::other)
        return; // the section told it so
    uint64_t PidStatistics::*counter = right ? &PidStatistics::sections : &PidStatistics::crcErrors;
    if (!longForm)
        counter = &PidStatistics::shortFormSections;
    ++(ofPid.*counter);
    ++(longForm ? right ? count.sections : count.crcErrors : count.shortFormSections);
}

void SectionAssembler::abandon(PidState &state)
{
    Gather *gather = state.gather.get();
    if (gather == nullptr || gather->want == 0)
        return;
    gather->want = 0;
    ++count.brokenSections;
    ++state.statistics.brokenSections;
}

} // namespace psi::demux
