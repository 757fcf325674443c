#include "demux/input.h"
#include "demux/receiver.h"
#include "demux/rtp.h"
#include "demux/searchClock.h"
#include "demux/sectionAssembler.h"
#include "demux/sectionIndex.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>

namespace psi::demux {

namespace {

using SteadyClock = std::chrono::steady_clock;

/** A filter that nobody reads for so long has been given up. A search reads every 20 ms. */
constexpr std::chrono::milliseconds kIdleTime(500);
/** Sections kept for a filter; a table has far fewer different ones. */
constexpr size_t kQueueLimit = 1024;

/**
 * Keeps the sections of the armed PID and table_id that come while the search is busy: also those of other numbers and
 * extensions, since the search will ask for them next.
 */
class SectionQueue {
public:
    void arm(const Filter &newFilter)
    {
        const auto now = SteadyClock::now();
        if (newFilter.pid != filter.pid || newFilter.tableId != filter.tableId || now - lastUse > kIdleTime)
            waiting.clear();
        filter = newFilter;
        lastUse = now;
        armed = true;
    }

    void clear()
    {
        waiting.clear();
        armed = false;
    }

    void offer(u16 pid, const u8 *section, u16 length)
    {
        if (!armed || pid != filter.pid || section[0] != filter.tableId || length > filter.maxLength)
            return;
        const auto same = [&](const Bytes &one) {
            return std::equal(one.begin(), one.end(), section, section + length);
        };
        if (std::any_of(waiting.begin(), waiting.end(), same))
            return;
        if (waiting.size() == kQueueLimit)
            waiting.pop_front();
        waiting.emplace_back(section, section + length);
    }

    bool take(Captured &section)
    {
        lastUse = SteadyClock::now();
        const auto passes = [&](const Bytes &one) {
            return filter.passes(filter.pid, one.data(), static_cast<u16>(one.size()));
        };
        const auto found = std::find_if(waiting.begin(), waiting.end(), passes);
        if (found == waiting.end())
            return false;
        section.length = static_cast<u16>(found->size());
        std::copy(found->begin(), found->end(), section.bytes.begin());
        waiting.erase(found);
        return true;
    }

private:
    using Bytes = std::vector<u8>;

    Filter filter;
    bool armed = false;
    SteadyClock::time_point lastUse;
    std::deque<Bytes> waiting;
};

/** A live input: a thread receives, so that nothing is lost between two reads of a search. It keeps no history. */
class LiveInput : public Input, public std::enable_shared_from_this<LiveInput> {
public:
    LiveInput(const std::string &url, const Options &options)
        : assembler([this](u16 pid, const u8 *section, u16 length) { return distribute(pid, section, length); }),
          receiver(url, options.receiveBufferBytes, [this](const u8 *datagram, size_t size) { take(datagram, size); })
    {
    }

    bool live() const override { return true; }
    std::unique_ptr<SectionFilter> attach() override;
    void readToEnd(const std::atomic<bool> &) override {}
    Statistics statistics() const override;
    std::vector<PidStatistics> pids() const override
    {
        const std::lock_guard lock(mutex);
        return assembler.pids();
    }
    std::vector<Section> sections() const override { return {}; }

    void add(SectionQueue *queue)
    {
        const std::lock_guard lock(mutex);
        queues.push_back(queue);
    }
    void remove(SectionQueue *queue)
    {
        const std::lock_guard lock(mutex);
        queues.erase(std::find(queues.begin(), queues.end(), queue));
    }
    std::unique_lock<std::mutex> lock() const { return std::unique_lock(mutex); }

private:
    void take(const u8 *datagram, size_t size);
    bool distribute(u16 pid, const u8 *section, u16 length);

    mutable std::mutex mutex;
    std::vector<SectionQueue *> queues;
    SectionAssembler assembler;
    DatagramReader reader;
    Receiver receiver; // last: its thread uses all of the above
};

void LiveInput::take(const u8 *datagram, size_t size)
{
    const std::lock_guard lock(mutex);
    const PacketSink sink = [this](const u8 *packet, size_t) { assembler.packet(packet); };
    const uint64_t now = steadyMilliseconds();
    if (size > 0)
        reader.take(datagram, size, now, sink);
    else
        reader.passTime(now, sink);
}

bool LiveInput::distribute(u16 pid, const u8 *section, u16 length)
{
    if (psiCalculateCrc(section, length) != 0)
        return false;
    for (SectionQueue *queue : queues)
        queue->offer(pid, section, length);
    return true;
}

Statistics LiveInput::statistics() const
{
    const std::lock_guard lock(mutex);
    Statistics all = assembler.counters();
    reader.addTo(all);
    receiver.addTo(all);
    return all;
}

/** The filter of one search on a live input. */
class LiveFilter : public SectionFilter {
public:
    explicit LiveFilter(std::shared_ptr<LiveInput> source) : input(std::move(source)) { input->add(&queue); }
    ~LiveFilter() override { input->remove(&queue); }
    LiveFilter(const LiveFilter &) = delete;
    LiveFilter &operator=(const LiveFilter &) = delete;

    void arm(const psiSchInfo &info) override
    {
        SearchClock::ofThread().run();
        const auto lock = input->lock();
        queue.arm(Filter::of(info));
    }

    i32 take(Captured &section) override
    {
        SearchClock::ofThread().run();
        const auto lock = input->lock();
        return queue.take(section) ? PSI_DATA_OK : PSI_DATA_NO_READY;
    }

    void restart() override
    {
        const auto lock = input->lock();
        queue.clear();
    }

private:
    std::shared_ptr<LiveInput> input;
    SectionQueue queue;
};

std::unique_ptr<SectionFilter> LiveInput::attach()
{
    return std::make_unique<LiveFilter>(shared_from_this());
}

bool beginsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

} // namespace

bool isLiveUrl(const std::string &name)
{
    return beginsWith(name, "udp://") || isRtpUrl(name);
}

bool isRtpUrl(const std::string &name)
{
    return beginsWith(name, "rtp://");
}

std::shared_ptr<Input> openLive(const std::string &url, const Options &options)
{
    return std::make_shared<LiveInput>(url, options);
}

} // namespace psi::demux
