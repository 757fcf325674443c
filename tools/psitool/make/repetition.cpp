#include "make/repetition.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <queue>
#include <stdexcept>

namespace psitool {

namespace {

using Slot = std::uint64_t; // place of a packet in the stream

constexpr std::uint64_t bitsPerPacket = 188U * std::uint64_t{8};

/** What a receiver's transport buffer for tables is emptied with: a PID should not bring more. ISO/IEC 13818-1 2.4.2.
 */
constexpr double systemLeakRate = 1e6;

Slot slotsIn(std::uint64_t milliseconds, std::uint64_t bitsPerSecond)
{
    return milliseconds * bitsPerSecond / (1000 * bitsPerPacket);
}

/** A section that is due again and again. */
struct Repeated {
    const RepeatedSection *section;
    Slot interval;
    Slot earliest; // not to be sent again before
    Slot latest;   // to be begun by then
};

/** Bits in a second that a section needs at least. */
double neededRate(const RepeatedSection &section)
{
    return static_cast<double>(section.packets.size() * bitsPerPacket) * 1000 / section.intervalMs;
}

/** Numbers of sections, the one with the lowest slot on top; of equals the first. */
using SectionHeap =
    std::priority_queue<std::pair<Slot, std::size_t>, std::vector<std::pair<Slot, std::size_t>>, std::greater<>>;

/** The sections of one PID. */
struct PidQueue {
    u16 pid = 0;
    double neededRate = 0;
    Slot spacing = 1; // from packet to packet
    std::vector<Repeated> sections;
    SectionHeap resting;               // by the slot at which they may be sent again
    SectionHeap due;                   // those that may, by the slot at which they become late
    const Repeated *current = nullptr; // being sent
    std::size_t sent = 0;              // packets of it
    Slot currentStart = 0;
};

/** What is to be sent in one slot. */
struct Turn {
    const Packet *packet = nullptr;
    u16 pid = 0;
    Slot sectionStart = 0;
    bool late = false; // a section begins too late
};

/**
 * Who sends when: of those PIDs that have something to send the one whose section is most urgent. A section is ready
 * again when nine tenths of its interval are over, so that there is room for others at that moment.
 */
class Schedule {
public:
    Schedule(const std::vector<RepeatedSection> &sections, const StreamSize &size);
    Turn next();
    /** Go on to the next slot in which something is to be sent, or to the end. @return the slots passed over */
    Slot pass(Slot end);
    Slot now() const { return now_; }
    /** True when a section that should have been begun in the slots so far was not. */
    bool anyOverdue() const;
    /** The starts of the sections that are not complete yet. */
    std::map<u16, Slot> unfinished() const;

private:
    struct Entry {
        Slot slot;
        PidQueue *queue;
        bool operator>(const Entry &other) const { return slot > other.slot; }
    };
    using Heap = std::priority_queue<Entry, std::vector<Entry>, std::greater<>>;

    void wakeUp();
    bool begin(PidQueue &queue) const;
    static void rest(PidQueue &queue, std::size_t section);
    static std::size_t mostUrgent(PidQueue &queue, Slot now);
    static Slot readyAt(const PidQueue &queue);

    std::map<u16, PidQueue> queues_;
    Heap waiting_; // by the slot at which they become ready
    Heap ready_;   // by the slot at which they become late
    Slot now_ = 0;
};

Schedule::Schedule(const std::vector<RepeatedSection> &sections, const StreamSize &size)
{
    for (const RepeatedSection &section : sections) {
        const Slot interval = std::max<Slot>(1, slotsIn(section.intervalMs, size.bitsPerSecond));
        const Slot first = static_cast<Slot>(section.phase * static_cast<double>(interval));
        PidQueue &queue = queues_[section.pid];
        queue.pid = section.pid;
        queue.neededRate += neededRate(section);
        queue.sections.push_back({&section, interval, first, interval});
        rest(queue, queue.sections.size() - 1);
    }
    for (auto &[pid, queue] : queues_) {
        const double most = std::max(systemLeakRate, 2 * queue.neededRate);
        queue.spacing = std::max<Slot>(1, static_cast<Slot>(static_cast<double>(size.bitsPerSecond) / most));
        waiting_.push({readyAt(queue), &queue});
    }
}

void Schedule::rest(PidQueue &queue, std::size_t section)
{
    queue.resting.push({queue.sections[section].earliest, section});
}

Slot Schedule::readyAt(const PidQueue &queue)
{
    return queue.due.empty() ? queue.resting.top().first : 0;
}

/** Of the sections that may be sent now, of which there is one at least. */
std::size_t Schedule::mostUrgent(PidQueue &queue, Slot now)
{
    for (; !queue.resting.empty() && queue.resting.top().first <= now; queue.resting.pop()) {
        const std::size_t section = queue.resting.top().second;
        queue.due.push({queue.sections[section].latest, section});
    }
    return queue.due.top().second;
}

void Schedule::wakeUp()
{
    while (!waiting_.empty() && waiting_.top().slot <= now_) {
        PidQueue *queue = waiting_.top().queue;
        waiting_.pop();
        // A section in progress keeps its urgency: until it is through, its PID cannot begin another one.
        const Slot latest = queue->current ? queue->currentStart : queue->sections[mostUrgent(*queue, now_)].latest;
        ready_.push({latest, queue});
    }
}

/** @return false when that is too late */
bool Schedule::begin(PidQueue &queue) const
{
    const std::size_t number = mostUrgent(queue, now_);
    Repeated &section = queue.sections[number];
    const bool inTime = now_ <= section.latest;
    queue.current = &section;
    queue.currentStart = now_;
    queue.sent = 0;
    section.earliest = now_ + section.interval - section.interval / 10;
    section.latest = now_ + section.interval;
    queue.due.pop();
    rest(queue, number);
    return inTime;
}

Turn Schedule::next()
{
    wakeUp();
    Turn turn;
    if (!ready_.empty()) {
        PidQueue &queue = *ready_.top().queue;
        ready_.pop();
        turn.late = !queue.current && !begin(queue);
        turn.pid = queue.pid;
        turn.sectionStart = queue.currentStart;
        const std::vector<Packet> &packets = queue.current->section->packets;
        turn.packet = &packets[queue.sent];
        if (++queue.sent == packets.size())
            queue.current = nullptr;
        const Slot soonest = now_ + queue.spacing;
        waiting_.push({queue.current ? soonest : std::max(soonest, readyAt(queue)), &queue});
    }
    ++now_;
    return turn;
}

Slot Schedule::pass(Slot end)
{
    const Slot before = now_;
    const Slot next = waiting_.empty() ? end : waiting_.top().slot;
    if (ready_.empty() && next > now_)
        now_ = std::min(next, end);
    return now_ - before;
}

bool Schedule::anyOverdue() const
{
    for (const auto &[pid, queue] : queues_)
        for (const Repeated &section : queue.sections)
            if (section.latest < now_)
                return true;
    return false;
}

std::map<u16, Slot> Schedule::unfinished() const
{
    std::map<u16, Slot> starts;
    for (const auto &[pid, queue] : queues_)
        if (queue.current)
            starts[pid] = queue.currentStart;
    return starts;
}

std::map<u16, Slot> unfinishedAtEnd(const std::vector<RepeatedSection> &sections, const StreamSize &size)
{
    Schedule schedule(sections, size);
    while (schedule.pass(size.packets), schedule.now() < size.packets)
        schedule.next();
    return schedule.unfinished();
}

} // namespace

std::uint64_t packetsIn(double seconds, std::uint64_t bitsPerSecond)
{
    return static_cast<std::uint64_t>(std::floor(seconds * static_cast<double>(bitsPerSecond) / bitsPerPacket));
}

bool keepsIntervals(const std::vector<RepeatedSection> &sections, const StreamSize &size)
{
    Schedule schedule(sections, size);
    while (schedule.pass(size.packets), schedule.now() < size.packets)
        if (schedule.next().late)
            return false;
    return !schedule.anyOverdue();
}

std::uint64_t sufficientBitrate(const std::vector<RepeatedSection> &sections)
{
    constexpr double trialSeconds = 30;
    constexpr double step = 1.02;
    constexpr double roundTo = 1000;
    constexpr int mostSteps = 500;
    double needed = 0;
    for (const RepeatedSection &section : sections)
        needed += neededRate(section);
    for (int i = 0; i < mostSteps; ++i) {
        const std::uint64_t rate = static_cast<std::uint64_t>(std::ceil(needed / roundTo) * roundTo);
        if (keepsIntervals(sections, {rate, packetsIn(trialSeconds, rate)}))
            return rate;
        needed *= step;
    }
    throw std::runtime_error("no bitrate is high enough for the tables");
}

void repeatSections(const std::vector<RepeatedSection> &sections, const StreamSize &size,
                    const std::function<bool(const Packet &, std::uint64_t)> &write)
{
    const std::map<u16, Slot> unfinished = unfinishedAtEnd(sections, size);
    Schedule schedule(sections, size);
    ContinuityCounters counters;
    while (schedule.now() < size.packets) {
        const Slot nulls = schedule.pass(size.packets);
        if (nulls > 0) {
            if (!write(nullPacket(), nulls))
                return;
            continue;
        }
        const Turn turn = schedule.next();
        const auto cut = unfinished.find(turn.pid);
        const bool complete = cut == unfinished.end() || turn.sectionStart < cut->second;
        Packet packet = complete ? *turn.packet : nullPacket();
        counters.stamp(packet);
        if (!write(packet, 1))
            return;
    }
}

} // namespace psitool
