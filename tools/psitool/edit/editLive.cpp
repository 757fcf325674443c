#include "edit/editLive.h"
#include "edit/liveOutput.h"
#include "input/collection.h"
#include "output/signals.h"

#include "demux/byteSource.h"
#include "demux/input.h"
#include "demux/receiver.h"
#include "demux/rtp.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace psitool {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/** The first bytes that are searched; then whenever there is a quarter more. */
constexpr std::size_t firstBeginning = 128U << 10;

/** The beginning of a stream, until it holds what is to be edited. */
class Beginning {
public:
    Beginning(const EditRequest &request, std::string name) : request_(request), name_(std::move(name))
    {
        bytes_.reserve(largestBeginning + (1U << 20)); // growing would hold it twice
    }

    void add(const u8 *data, std::size_t size) { bytes_.insert(bytes_.end(), data, data + size); }
    const Bytes &bytes() const { return bytes_; }
    void forget() { Bytes().swap(bytes_); }

    /**
     * @brief Look whether it is enough.
     * @param last there will be no more: then it throws when it is not
     * @param slow time has passed; then a little more is looked at as well
     */
    bool enough(bool last, bool slow = false)
    {
        last = last || bytes_.size() >= largestBeginning;
        if (!last && bytes_.size() < next_ && !(slow && bytes_.size() < largestSlow))
            return false;
        next_ = bytes_.size() + bytes_.size() / 4;
        try {
            const auto host = psi::demux::Host::openMemory(bytes_.data(), bytes_.size(), name_);
            plan_ = makeEditPlan(request_, *host, last);
            return true;
        } catch (const TableMissing &) {
            if (last)
                throw;
        } catch (const psi::demux::InputError &) {
            if (last)
                throw;
        }
        return false;
    }

    /** @brief The plan, once that was enough. */
    const EditPlan &plan() const { return plan_; }

    /** @brief Throw EditError when the tables do not fit. @param ended this is the whole stream */
    SectionLimits judge(bool ended) const
    {
        StreamEditor trial(plan_);
        EditedBytes pass(trial, bytes_.size(), [](const u8 *, std::size_t) {});
        pass.feed(bytes_.data(), bytes_.size());
        pass.finish();
        return trial.judge(ended);
    }

private:
    /** Up to here a look costs next to nothing. */
    static constexpr std::size_t largestSlow = 4U << 20;

    const EditRequest &request_;
    std::string name_;
    Bytes bytes_;
    std::size_t next_ = firstBeginning;
    EditPlan plan_;
};

/** Packets that came in one datagram. */
struct Arrival {
    Clock::time_point time;
    std::size_t packetSize = 0;
    Bytes packets;
};

/** What a receiver's thread got, until it is taken. */
class ArrivalQueue {
public:
    explicit ArrivalQueue(const std::string &url)
        : receiver_(url, receiveBufferBytes, [this](const u8 *datagram, std::size_t size) { add(datagram, size); })
    {
    }

    /** @brief All that has come; waits for something. */
    std::deque<Arrival> take(milliseconds wait)
    {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, wait, [this] { return !queue_.empty(); });
        waiting_ = 0;
        return std::exchange(queue_, {});
    }

    /** @brief Packets that came faster than they were taken. */
    std::uint64_t dropped() const { return dropped_; }
    /** @brief What the network and the socket lost. */
    psi::demux::Statistics statistics()
    {
        const std::lock_guard lock(mutex_);
        psi::demux::Statistics all;
        reader_.addTo(all);
        receiver_.addTo(all);
        return all;
    }

private:
    static constexpr u32 receiveBufferBytes = 16U << 20;
    static constexpr std::size_t mostWaiting = 16U << 20;

    void add(const u8 *datagram, std::size_t size)
    {
        Arrival arrival;
        const psi::demux::PacketSink sink = [&arrival](const u8 *packet, std::size_t packetSize) {
            arrival.packetSize = packetSize;
            arrival.packets.insert(arrival.packets.end(), packet, packet + packetSize);
        };
        const std::uint64_t now = psi::demux::steadyMilliseconds();
        const std::lock_guard lock(mutex_);
        if (size > 0)
            reader_.take(datagram, size, now, sink);
        else
            reader_.passTime(now, sink);
        if (arrival.packets.empty())
            return;
        if (waiting_ + arrival.packets.size() > mostWaiting) {
            dropped_ += arrival.packets.size() / arrival.packetSize;
            return;
        }
        waiting_ += arrival.packets.size();
        arrival.time = Clock::now();
        queue_.push_back(std::move(arrival));
        arrived_.notify_one();
    }

    psi::demux::DatagramReader reader_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Arrival> queue_;
    std::size_t waiting_ = 0;
    std::atomic<std::uint64_t> dropped_{0};
    psi::demux::Receiver receiver_; // last: its thread uses all of the above
};

/** A live stream on its way: held back, edited, sent. */
class LiveEdit {
public:
    LiveEdit(const EditPlan &plan, milliseconds delay, LiveOutput &output)
        : editor_(plan, true), delay_(delay), output_(output)
    {
    }

    void take(Arrival arrival)
    {
        if (heldBytes_ + arrival.packets.size() > mostHeld) {
            dropped_ += arrival.packets.size() / arrival.packetSize;
            return;
        }
        heldBytes_ += arrival.packets.size();
        for (std::size_t at = 0; at < arrival.packets.size(); at += arrival.packetSize, ++report_.packetsIn)
            editor_.look(arrival.packets.data() + at);
        held_.push_back(std::move(arrival));
    }
    /** @brief Packets for which there was no room. */
    std::uint64_t dropped() const { return dropped_; }

    /** @brief Send what is due. */
    void leave(Clock::time_point now)
    {
        for (; !held_.empty() && held_.front().time <= now - delay_; held_.pop_front()) {
            Arrival &one = held_.front();
            for (std::size_t at = 0; at < one.packets.size(); at += one.packetSize, ++report_.packetsOut) {
                editor_.edit(one.packets.data() + at);
                output_.packet(one.packets.data() + at, one.packetSize);
            }
            heldBytes_ -= one.packets.size();
        }
    }

    /** @brief Send everything. */
    void leaveAll() { leave(Clock::time_point::max()); }

    bool empty() const { return held_.empty(); }
    /** @brief How long until something is due. */
    milliseconds due(Clock::time_point now) const
    {
        constexpr milliseconds longest(20);
        if (held_.empty())
            return longest;
        const auto left = std::chrono::duration_cast<milliseconds>(held_.front().time + delay_ - now);
        return std::clamp(left, milliseconds(0), longest);
    }

    EditReport report() const
    {
        EditReport all = report_;
        all.counters = editor_.counters();
        all.continuityErrors = editor_.continuityErrors();
        all.packetsHeld = report_.packetsIn - report_.packetsOut;
        all.delayMs = static_cast<std::uint64_t>(delay_.count());
        return all;
    }

private:
    StreamEditor editor_;
    milliseconds delay_;
    LiveOutput &output_;
    /** A stream that becomes faster while it is held back: what the longest beginning has, and as much again. */
    static constexpr std::size_t mostHeld = 2 * largestBeginning;

    std::deque<Arrival> held_;
    std::size_t heldBytes_ = 0;
    std::uint64_t dropped_ = 0;
    EditReport report_;
};

/** How long the edit may run. */
class RunningTime {
public:
    RunningTime(const EditOptions &options, const Output &output)
        : options_(options), output_(output), name_(options.input == "-" ? "standard input" : options.input)
    {
        if (options.duration)
            end_ += std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(*options.duration));
    }

    bool isOver() const { return options_.duration && Clock::now() >= end_; }
    /** @brief When it is over, if ever. */
    std::optional<Clock::time_point> end() const { return options_.duration ? std::optional(end_) : std::nullopt; }
    /** @brief Throw EditError when it is over, or a signal has come, before the tables were found; NobodyReads. */
    void checkBeginning() const
    {
        if (options_.output == "-" && output_.readerGone())
            throw NobodyReads();
        if (interrupted())
            throw EditError(exitInterrupted, name_ + ": interrupted before the tables were found");
        if (isOver())
            throw EditError(exitNotFound, name_ + ": --duration was over before the tables were found");
    }

private:
    const EditOptions &options_;
    const Output &output_;
    std::string name_; /**< of the input, in messages */
    Clock::time_point end_ = Clock::now();
};

/** Gathers the beginning of a live stream. @return what came, in order */
std::deque<Arrival> gather(ArrivalQueue &receiver, Beginning &beginning, const RunningTime &time,
                           const std::string &name)
{
    constexpr std::chrono::seconds patience(longestBeginningSeconds);
    std::deque<Arrival> arrivals;
    constexpr milliseconds lookEvery(300);
    const Clock::time_point start = Clock::now();
    Clock::time_point looked = start;
    while (true) {
        for (Arrival &arrival : receiver.take(milliseconds(100))) {
            beginning.add(arrival.packets.data(), arrival.packets.size());
            arrivals.push_back(std::move(arrival));
        }
        time.checkBeginning();
        const bool last = Clock::now() - start > patience;
        if (last && arrivals.empty())
            throw psi::demux::InputError(name + ": no packets came within " + std::to_string(patience.count()) + " s");
        const bool slow = Clock::now() - looked > lookEvery;
        if (slow)
            looked = Clock::now();
        if (!arrivals.empty() && beginning.enough(last, slow))
            return arrivals;
    }
}

milliseconds sinceFirst(const std::deque<Arrival> &arrivals)
{
    constexpr milliseconds shortest(1000);
    const auto since = std::chrono::duration_cast<milliseconds>(Clock::now() - arrivals.front().time);
    return std::max(since, shortest);
}

void reportDropped(const std::string &input, std::uint64_t packets)
{
    if (packets > 0)
        reportError(input + ": " + droppedText(packets) + ", they came faster than they could be edited");
}

EditReport passLive(ArrivalQueue &receiver, std::deque<Arrival> arrivals, const EditPlan &plan, LiveOutput &output,
                    const RunningTime &time, const EditOptions &options)
{
    LiveEdit live(plan, sinceFirst(arrivals), output);
    for (Arrival &arrival : arrivals)
        live.take(std::move(arrival));
    while (!interrupted() && !time.isOver() && output.passOn()) {
        for (Arrival &arrival : receiver.take(live.due(Clock::now())))
            live.take(std::move(arrival));
        live.leave(Clock::now());
        if (live.empty())
            output.flush();
    }
    if (!output.isLive())
        live.leaveAll();
    // What came in time leaves in time, behind it.
    while (time.isOver() && !interrupted() && !live.empty()) {
        receiver.take(live.due(Clock::now()));
        live.leave(Clock::now());
    }
    output.finish();
    reportDropped(options.input, live.dropped() + receiver.dropped());
    return live.report();
}

} // namespace

EditReport reportOf(const StreamEditor &editor)
{
    EditReport report;
    report.counters = editor.counters();
    report.packetsIn = report.counters.packets;
    report.packetsOut = report.packetsIn;
    report.continuityErrors = editor.continuityErrors();
    return report;
}

EditReport editPipe(const EditOptions &options, const EditRequest &request, Output &output)
{
    constexpr int lookEveryMs = 100;
    const RunningTime time(options, output);
    psi::demux::ByteSource source(options.input);
    Beginning beginning(request, source.name());
    psi::demux::Chunk chunk;
    bool ended = false;
    do {
        ended = !source.read(lookEveryMs, chunk);
        beginning.add(chunk.data, chunk.size);
        time.checkBeginning();
    } while ((chunk.size == 0 && !ended) || !beginning.enough(ended));
    const SectionLimits limits = beginning.judge(ended);

    OutputFile file(options.output, output);
    if (time.end())
        file.dropFrom(*time.end());
    StreamEditor editor(beginning.plan(), !ended);
    if (ended)
        editor.limit(limits);
    EditedBytes pass(editor, beginning.bytes().size(),
                     [&](const u8 *data, std::size_t size) { file.write(reinterpret_cast<const char *>(data), size); });
    pass.feed(beginning.bytes().data(), beginning.bytes().size());
    beginning.forget();
    while (!ended && !interrupted() && !time.isOver() && !file.readerGone()) {
        ended = !source.read(lookEveryMs, chunk);
        pass.feed(chunk.data, chunk.size);
    }
    if (interrupted())
        throw EditError(exitInterrupted, source.name() + ": interrupted");
    pass.finish();
    file.commit();
    EditReport report = reportOf(editor);
    report.packetsLost = pass.packetsIn(file.bytesLost());
    report.packetsOut -= report.packetsLost;
    if (report.packetsLost > 0)
        reportError(file.name() + ": " + droppedText(report.packetsLost) +
                    ", its reader took nothing when --duration was over");
    psi::demux::Statistics came;
    source.addTo(came);
    reportLosses(source.name(), came);
    return report;
}

EditReport editLive(const EditOptions &options, const EditRequest &request, Output &output)
{
    if (psi::demux::isLiveUrl(options.output) && psi::demux::feedsItself(options.input, options.output))
        throw EditError(exitWrongUse,
                        options.output + ": is where the input comes from: it would be edited over and over");
    const RunningTime time(options, output);
    const std::unique_ptr<LiveOutput> out = openLiveOutput(options.output, output);
    ArrivalQueue receiver(options.input);

    Beginning beginning(request, options.input);
    std::deque<Arrival> arrivals = gather(receiver, beginning, time, options.input);
    beginning.judge(false);
    beginning.forget();
    EditReport report = passLive(receiver, std::move(arrivals), beginning.plan(), *out, time, options);
    const psi::demux::Statistics came = receiver.statistics();
    reportLosses(options.input, came);
    report.rtpGaps = came.rtpGaps;
    report.packetsLost = out->lost();
    report.packetsOut -= report.packetsLost;
    report.interrupted = interrupted();
    return report;
}

} // namespace psitool
