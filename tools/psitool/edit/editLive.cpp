#include "edit/editLive.h"
#include "input/acquire.h"
#include "output/outputFile.h"

#include "demux/byteSource.h"
#include "demux/input.h"
#include "demux/receiver.h"
#include "demux/rtp.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
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
    Beginning(const EditRequest &request, std::string name) : request_(request), name_(std::move(name)) {}

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

/** Sends packets, seven in a datagram. */
class DatagramOutput {
public:
    explicit DatagramOutput(const std::string &url) : sender_(url) {}

    void packet(const u8 *data, std::size_t size)
    {
        waiting_.insert(waiting_.end(), data, data + size);
        if (++packets_ == packetsOfDatagram)
            flush();
    }
    void flush()
    {
        if (packets_ > 0 && !sender_.send(waiting_.data(), waiting_.size()))
            lost_ += packets_;
        waiting_.clear();
        packets_ = 0;
    }
    std::uint64_t lost() const { return lost_; }

private:
    static constexpr unsigned packetsOfDatagram = 7;

    psi::demux::LiveSender sender_;
    Bytes waiting_;
    unsigned packets_ = 0;
    std::uint64_t lost_ = 0;
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
        return std::exchange(queue_, {});
    }

private:
    static constexpr u32 receiveBufferBytes = 16U << 20;

    void add(const u8 *datagram, std::size_t size)
    {
        const auto found = reader_.open(datagram, size);
        if (found.count == 0)
            return;
        const std::size_t bytes = found.count * found.packetSize;
        const std::lock_guard lock(mutex_);
        queue_.push_back({Clock::now(), found.packetSize, {found.data, found.data + bytes}});
        arrived_.notify_one();
    }

    psi::demux::DatagramReader reader_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Arrival> queue_;
    psi::demux::Receiver receiver_; // last: its thread uses all of the above
};

/** A live stream on its way: held back, edited, sent. */
class LiveEdit {
public:
    LiveEdit(const EditPlan &plan, milliseconds delay, std::function<void(const u8 *, std::size_t)> sink)
        : editor_(plan, true), delay_(delay), sink_(std::move(sink))
    {
    }

    void take(Arrival arrival)
    {
        for (std::size_t at = 0; at < arrival.packets.size(); at += arrival.packetSize, ++report_.packetsIn)
            editor_.look(arrival.packets.data() + at);
        held_.push_back(std::move(arrival));
    }

    /** @brief Send what is due. */
    void leave(Clock::time_point now)
    {
        for (; !held_.empty() && held_.front().time + delay_ <= now; held_.pop_front()) {
            Arrival &one = held_.front();
            for (std::size_t at = 0; at < one.packets.size(); at += one.packetSize, ++report_.packetsOut) {
                editor_.edit(one.packets.data() + at);
                sink_(one.packets.data() + at, one.packetSize);
            }
        }
    }

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
    std::function<void(const u8 *, std::size_t)> sink_;
    std::deque<Arrival> held_;
    EditReport report_;
};

/** Gathers the beginning of a live stream. @return what came, in order */
std::deque<Arrival> gather(ArrivalQueue &receiver, Beginning &beginning, const std::string &name)
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
        if (interrupted())
            return {};
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

EditReport passLive(ArrivalQueue &receiver, std::deque<Arrival> arrivals, const EditPlan &plan,
                    const std::function<void(const u8 *, std::size_t)> &sink, const std::function<void()> &pause)
{
    LiveEdit live(plan, sinceFirst(arrivals), sink);
    for (Arrival &arrival : arrivals)
        live.take(std::move(arrival));
    while (!interrupted()) {
        for (Arrival &arrival : receiver.take(live.due(Clock::now())))
            live.take(std::move(arrival));
        live.leave(Clock::now());
        if (live.empty())
            pause();
    }
    pause();
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
    psi::demux::ByteSource source(options.input);
    Beginning beginning(request, source.name());
    psi::demux::Chunk chunk;
    bool ended = false;
    do {
        ended = !source.read(-1, chunk);
        beginning.add(chunk.data, chunk.size);
    } while (!beginning.enough(ended));
    const SectionLimits limits = beginning.judge(ended);

    OutputFile file(options.output, output);
    const InterruptGuard guard;
    StreamEditor editor(beginning.plan(), !ended);
    if (ended)
        editor.limit(limits);
    EditedBytes pass(editor, beginning.bytes().size(),
                     [&](const u8 *data, std::size_t size) { file.write(reinterpret_cast<const char *>(data), size); });
    pass.feed(beginning.bytes().data(), beginning.bytes().size());
    beginning.forget();
    while (!ended && !interrupted() && !output.readerGone()) {
        ended = !source.read(100, chunk);
        pass.feed(chunk.data, chunk.size);
    }
    pass.finish();
    file.commit();
    return reportOf(editor);
}

EditReport editLive(const EditOptions &options, const EditRequest &request, Output &output)
{
    const bool toNetwork = psi::demux::isLiveUrl(options.output);
    std::optional<DatagramOutput> datagrams;
    if (toNetwork)
        datagrams.emplace(options.output);
    ArrivalQueue receiver(options.input);
    std::optional<OutputFile> file;
    if (!toNetwork)
        file.emplace(options.output, output);
    const InterruptGuard guard;

    Beginning beginning(request, options.input);
    std::deque<Arrival> arrivals = gather(receiver, beginning, options.input);
    if (arrivals.empty())
        throw EditError(exitNotFound, options.input + ": interrupted before the tables were found");
    beginning.judge(false);
    beginning.forget();
    const auto sink = [&](const u8 *data, std::size_t size) {
        if (datagrams)
            datagrams->packet(data, size);
        else
            file->write(reinterpret_cast<const char *>(data), size);
    };
    EditReport report = passLive(receiver, std::move(arrivals), beginning.plan(), sink, [&] {
        if (datagrams)
            datagrams->flush();
    });
    if (file)
        file->commit();
    report.packetsLost = datagrams ? datagrams->lost() : 0;
    report.packetsOut -= report.packetsLost;
    return report;
}

} // namespace psitool
