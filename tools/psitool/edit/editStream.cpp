#include "edit/editStream.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace psitool {

namespace {

using namespace psi::demux;

constexpr std::size_t headerBytes = kPacketHeaderBytes;
constexpr std::size_t payloadBytes = kPacketBytes - headerBytes;
constexpr u8 stuffing = 0xFF;
/** Sections that wait on a PID where there is never enough room. */
constexpr std::size_t mostWaiting = 1024;
/** The same where none is left out: what waits behind so many would be of another time. */
constexpr std::size_t mostQueued = 65536;
/** More than the packet sync looks ahead. */
constexpr std::size_t leastHeld = 16U << 10;
constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

bool damaged(const u8 *packet)
{
    return (packet[1] & 0x80) != 0;
}

/** Bytes of an adaptation field that says something (a PCR, say), its length byte included; 0: stuffing at most. */
std::size_t usefulAdaptation(const u8 *packet)
{
    const bool present = (packet[3] & 0x20) != 0;
    const std::size_t length = packet[4];
    if (!present || length == 0 || length >= payloadBytes - 1 || packet[5] == 0)
        return 0;
    return 1 + length;
}

/** What tells a section apart from all others on its PID. */
std::uint64_t identity(const Bytes &section)
{
    std::uint64_t value = section.size();
    for (std::size_t i = section.size() - std::min<std::size_t>(section.size(), 4); i < section.size(); ++i)
        value = value << 8 | section[i];
    return value << 8 | section[0];
}

} // namespace

void PidWriter::arrive(Arrival arrival)
{
    arrival.joined = arrival.start == lastEnd_;
    lastEnd_ = arrival.end;
    arrivals_.push_back(std::move(arrival));
}

void PidWriter::keep(std::uint64_t start, std::uint64_t end, ByteView section)
{
    arrive({start, end, false, std::make_shared<const Bytes>(section.begin(), section.end()), nullptr, 0});
}

void PidWriter::insert(std::uint64_t place, const SharedSection &section)
{
    arrive({place, place, false, section, nullptr, 0});
}

void PidWriter::replace(std::uint64_t start, std::uint64_t end, std::shared_ptr<EditedTable::Version> version,
                        u8 number)
{
    arrive({start, end, false, nullptr, std::move(version), number});
}

bool PidWriter::waits(const SharedSection &section) const
{
    const auto first = jobs_.begin() + (offset_ > 0 ? 1 : 0);
    return std::any_of(first, jobs_.end(), [&](const Job &job) { return *job.section == *section; });
}

void PidWriter::push(const Arrival &arrival, const SharedSection &section, bool joined)
{
    const bool late = leaveOutLate_ && !jobs_.empty() && jobs_.front().due < arrival.start;
    if (late && (waits(section) || jobs_.size() >= mostWaiting)) {
        ++counters_.lateSections;
        return;
    }
    if (released_ >= sectionLimit_)
        return;
    if (jobs_.size() >= mostQueued)
        throw EditError(exitNotFound, "PID " + numberText(pid_) +
                                          ": the edited tables need many more packets than there are places for");
    ++released_;
    jobs_.push_back({arrival.end, joined, section});
}

/** Sections whose originals have begun up to this place may be sent. */
void PidWriter::release(std::uint64_t place)
{
    for (; !arrivals_.empty() && arrivals_.front().start <= place; arrivals_.pop_front()) {
        const Arrival &arrival = arrivals_.front();
        if (arrival.version == nullptr) {
            ++counters_.keptSections;
            push(arrival, arrival.kept, arrival.joined);
            continue;
        }
        const std::vector<SharedSection> sections = arrival.version->inPlaceOf(arrival.number);
        ++(sections.empty() ? counters_.omittedSections : counters_.replacedSections);
        bool joined = arrival.joined;
        for (const SharedSection &section : sections) {
            push(arrival, section, joined);
            joined = false;
        }
    }
}

std::uint64_t PidWriter::dueBefore(std::uint64_t place)
{
    release(place);
    return !jobs_.empty() && jobs_.front().due < place ? jobs_.front().due : never;
}

/** Copies from the first section as much as there is room for. */
u8 *PidWriter::copy(u8 *at, const u8 *end)
{
    const Bytes &section = *jobs_.front().section;
    const std::size_t part = std::min(section.size() - offset_, static_cast<std::size_t>(end - at));
    std::memcpy(at, section.data() + offset_, part);
    offset_ += part;
    if (offset_ == section.size()) {
        if (!endless_ && sent_.size() < mostSent)
            sent_.insert(identity(section));
        ++sentSections_;
        offset_ = 0;
        jobs_.pop_front();
    }
    return at + part;
}

/**
 * Fills the payload. A section begins behind another one where it did so in the input, and wherever there is arrears.
 * ISO/IEC 13818-1 2.4.4.1: pointer_field where a section begins in the packet.
 */
void PidWriter::write(u8 *packet, std::size_t payloadStart, bool late)
{
    u8 *at = packet + payloadStart;
    u8 *const end = packet + kPacketBytes;
    const std::size_t rest = offset_ > 0 ? jobs_.front().section->size() - offset_ : 0;
    const std::size_t following = offset_ > 0 ? 1 : 0;
    const bool mayFollow = following == 0 || late || (jobs_.size() > 1 && jobs_[1].joined);
    const bool begins = jobs_.size() > following && mayFollow && rest + 2 <= static_cast<std::size_t>(end - at);
    if (begins)
        *at++ = static_cast<u8>(rest);
    if (rest > 0)
        at = copy(at, end);
    for (bool next = begins; next && at < end; next = !jobs_.empty() && (late || jobs_.front().joined))
        at = copy(at, end);
    std::fill(at, end, stuffing);

    continuityCounter_ = (continuityCounter_ + 1) & 0x0F;
    packet[1] = static_cast<u8>((begins ? 0x40 : 0) | (packet[1] & 0x20));
    setPid(packet, pid_);
    const bool adaptation = payloadStart > headerBytes;
    packet[3] = static_cast<u8>((adaptation ? 0x30 : 0x10) | continuityCounter_);
    ++sentPackets_;
}

/** A packet that nothing is sent in: a null packet, but for what its adaptation field says. */
void PidWriter::free(u8 *packet, std::size_t adaptationBytes) const
{
    if (adaptationBytes == 0) {
        makeNull(packet);
        return;
    }
    setPid(packet, pid_);
    packet[1] = static_cast<u8>(packet[1] & ~0x40);
    packet[3] = static_cast<u8>(0x20 | (continuityCounter_ & 0x0F));
    packet[4] = static_cast<u8>(payloadBytes - 1);
    std::memset(packet + headerBytes + adaptationBytes, stuffing, payloadBytes - adaptationBytes);
}

bool PidWriter::fillOwn(u8 *packet, std::uint64_t place)
{
    if (continuityCounter_ < 0)
        continuityCounter_ = (packet[3] + (hasPayload(packet) ? 0x0F : 0)) & 0x0F;
    if (!hasPayload(packet)) {
        setPid(packet, pid_);
        packet[3] = static_cast<u8>((packet[3] & 0xF0) | continuityCounter_);
        return true;
    }
    ++ownPlaces_;
    const std::size_t adaptation = usefulAdaptation(packet);
    const bool late = dueBefore(place) != never;
    if (!jobs_.empty()) {
        write(packet, headerBytes + adaptation, late);
        return true;
    }
    ++freed_;
    free(packet, adaptation);
    return adaptation > 0;
}

void PidWriter::fillFree(u8 *packet)
{
    packet[1] = 0;
    ++usedNullPackets_;
    continuityCounter_ = std::max(continuityCounter_, 0);
    write(packet, headerBytes, true);
}

std::uint64_t PidWriter::packetsMissing() const
{
    constexpr std::size_t afterPointerField = payloadBytes - 1;
    std::size_t bytes = 0;
    for (const Job &job : jobs_)
        bytes += job.section->size();
    return (bytes - offset_ + afterPointerField - 1) / afterPointerField;
}

bool PidWriter::onlyRepetitionsLeft() const
{
    return std::all_of(jobs_.begin(), jobs_.end(),
                       [&](const Job &job) { return sent_.count(identity(*job.section)) != 0; });
}

void PidWriter::addTo(EditCounters &counters) const
{
    counters.replacedSections += counters_.replacedSections;
    counters.keptSections += counters_.keptSections;
    counters.omittedSections += counters_.omittedSections;
    counters.lateSections += counters_.lateSections;
    counters.sentPackets += sentPackets_;
    counters.freedPackets += freed_;
    counters.usedNullPackets += usedNullPackets_;
}

StreamEditor::StreamEditor(const EditPlan &plan, bool leaveOutLate)
    : plan_(plan),
      assembler_([this](u16 pid, const u8 *section, u16 length) { return take(pid, section, length, true); },
                 [this](u16 pid, const u8 *section, u16 length) { return take(pid, section, length, false); }),
      clock_(plan.bitrate)
{
    for (std::size_t pid = 0; pid < newPids_.size(); ++pid)
        newPids_[pid] = static_cast<u16>(pid);
    for (const auto &[from, to] : plan.renamedPids)
        newPids_[from] = to;
    for (const u16 pid : plan.droppedPids)
        newPids_[pid] = kNullPid;
    for (const u16 pid : plan.editedPids) {
        writers_[pid] = std::make_unique<PidWriter>(newPids_[pid], leaveOutLate || plan.fewerRepetitions, leaveOutLate);
        all_.push_back(writers_[pid].get());
    }
    for (const InsertedTable &table : plan.inserted)
        inserts_.push_back({&table});
    if (!inserts_.empty())
        assembler_.onPcr([this](u16 pid, std::uint64_t ticks, bool jump) {
            clock_.pcr(pid, ticks, jump, assembler_.packets() - 1);
        });
}

void StreamEditor::insertDue()
{
    const std::uint64_t place = assembler_.packets() - 1;
    const double now = clock_.secondsAtMost(place);
    if (now < 0)
        return;
    for (Insert &insert : inserts_) {
        if (insert.due < 0)
            insert.due = now;
        if (now < insert.due)
            continue;
        // By the first one's time: a guess that was ahead, or late, makes none come more often in the long run.
        const double interval = insert.table->interval;
        insert.due += interval * (std::floor((now - insert.due) / interval) + 1);
        for (const SharedSection &section : insert.table->sections)
            writers_[insert.table->pid]->insert(place, section);
        counters_.insertedSections += insert.table->sections.size();
    }
}

bool StreamEditor::take(u16 pid, const u8 *bytes, u16 length, bool longForm)
{
    PidWriter *writer = writers_[pid].get();
    if (writer == nullptr)
        return true;
    const ByteView section(bytes, length);
    if (longForm && psiCheckCrc(bytes, length) != 0) {
        ++counters_.damagedSections;
        return false;
    }
    const std::uint64_t start = assembler_.sectionStart();
    const std::uint64_t end = assembler_.packets() - 1;
    EditedTable *table = plan_.tables->of(pid, section);
    const bool announcement = table && !isCurrent(section);
    if (!table || (announcement && !table->touched() && !table->removed()))
        writer->keep(start, end, section);
    else if (announcement)
        ++counters_.omittedSections; // would announce the version that the edited table has now
    else
        writer->replace(start, end, table->add(section), longForm ? bytes[6] : u8{0});
    return true;
}

void StreamEditor::useFree(u8 *packet, std::uint64_t place)
{
    PidWriter *neediest = nullptr;
    std::uint64_t earliest = never;
    for (PidWriter *writer : all_) {
        const std::uint64_t due = writer->dueBefore(place);
        if (due < earliest) {
            earliest = due;
            neediest = writer;
        }
    }
    if (neediest != nullptr)
        neediest->fillFree(packet);
    else
        ++freePackets_;
}

void StreamEditor::edit(u8 *packet)
{
    const std::uint64_t place = edited_++;
    if (damaged(packet))
        return;
    const u16 pid = pidOf(packet);
    bool free = pid == kNullPid;
    if (PidWriter *writer = writers_[pid].get()) {
        free = !writer->fillOwn(packet, place);
    } else if (!free && newPids_[pid] == kNullPid) {
        makeNull(packet);
        free = true;
    } else if (newPids_[pid] != pid) {
        setPid(packet, newPids_[pid]);
    }
    if (free)
        useFree(packet, place);
}

SectionLimits StreamEditor::judge(bool ended)
{
    plan_.requireHits();
    if (!inserts_.empty() && counters_.insertedSections == 0)
        throw EditError(exitNotFound, "--insert: no PCR tells the time of the stream; --bitrate gives its rate");
    SectionLimits limits;
    for (std::size_t pid = 0; pid < writers_.size(); ++pid) {
        PidWriter *writer = writers_[pid].get();
        if (writer == nullptr)
            continue;
        writer->dueBefore(edited_);
        const std::uint64_t needed = writer->sentPackets() + writer->packetsMissing();
        const std::uint64_t places = writer->ownPlaces() + writer->usedNullPackets() + freePackets_;
        if ((needed > places && !plan_.fewerRepetitions) || (ended && !writer->onlyRepetitionsLeft()))
            throw EditError(exitNotFound, "PID " + numberText(static_cast<u16>(pid)) + ": the edited tables need " +
                                              std::to_string(needed) + " packets, there are places for " +
                                              std::to_string(writer->sentPackets()) + " (" +
                                              std::to_string(writer->ownPlaces()) + " of the PID itself, " +
                                              std::to_string(writer->usedNullPackets()) + " null packets behind them)");
        limits[static_cast<u16>(pid)] = writer->sentSections();
    }
    return limits;
}

void StreamEditor::limit(const SectionLimits &limits)
{
    for (const auto &[pid, sections] : limits)
        writers_[pid]->limit(sections);
}

EditCounters StreamEditor::counters() const
{
    EditCounters all = counters_;
    all.packets = edited_;
    all.sectionsBeyond = plan_.tables->beyond();
    for (const PidWriter *writer : all_)
        writer->addTo(all);
    return all;
}

EditedBytes::EditedBytes(StreamEditor &editor, std::size_t heldBytes, ByteSink sink)
    : editor_(editor), heldBytes_(std::max(heldBytes, leastHeld)), sink_(std::move(sink))
{
}

void EditedBytes::look(const u8 *packet)
{
    editor_.look(packet);
    places_.push_back(sync_.place(packet));
}

void EditedBytes::feed(const u8 *data, std::size_t size)
{
    bytes_.append(data, size);
    sync_.feed(data, size, [this](const u8 *packet) { look(packet); });
    leave(heldBytes_);
    // No packet begins in what the packet sync is done with.
    if (places_.empty() && bytes_.end() - bytes_.begin() > leastHeld)
        flushUpTo(bytes_.end() - leastHeld);
}

void EditedBytes::finish()
{
    sync_.finish([this](const u8 *packet) { look(packet); });
    leave(0);
    flushUpTo(bytes_.end());
}

/** Packets leave but for so many bytes. */
void EditedBytes::leave(std::size_t keep)
{
    while (!places_.empty() && places_.front() + kPacketBytes + keep <= bytes_.end()) {
        editAt(places_.front());
        editedTo_ = places_.front() + kPacketBytes;
        places_.pop_front();
    }
    // After damage the next packet may begin within the last one.
    flushUpTo(places_.empty() ? editedTo_ : std::min(places_.front(), editedTo_));
}

/** One that begins within bytes that have left can be counted, but not changed any more. */
void EditedBytes::editAt(std::uint64_t place)
{
    std::array<u8, kPacketBytes> packet = {psi::demux::kSyncByte, 0x80};
    const bool gone = place < bytes_.begin();
    if (!gone)
        bytes_.get(place, packet.data(), packet.size());
    editor_.edit(packet.data());
    if (!gone)
        bytes_.put(place, packet.data(), packet.size());
}

void EditedBytes::flushUpTo(std::uint64_t place)
{
    if (place > bytes_.begin())
        bytes_.leave(place, sink_);
}

} // namespace psitool
