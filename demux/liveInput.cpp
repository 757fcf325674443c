#include "demux/input.h"
#include "demux/receiver.h"
#include "demux/rtp.h"
#include "demux/searchClock.h"
#include "demux/sectionAssembler.h"
#include "demux/sectionQueue.h"

#include <algorithm>
#include <mutex>

namespace psi::demux {

namespace {

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
        leftOut += queue->leftOut();
        queues.erase(std::find(queues.begin(), queues.end(), queue));
    }
    std::unique_lock<std::mutex> lock() const { return std::unique_lock(mutex); }

private:
    void take(const u8 *datagram, size_t size);
    bool distribute(u16 pid, const u8 *section, u16 length);

    mutable std::mutex mutex;
    std::vector<SectionQueue *> queues;
    uint64_t leftOut = 0; /**< by queues that are gone */
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
        queue->offer(pid, section, length, SectionQueue::Clock::now());
    return true;
}

Statistics LiveInput::statistics() const
{
    const std::lock_guard lock(mutex);
    Statistics all = assembler.counters();
    reader.addTo(all);
    receiver.addTo(all);
    all.sectionsNotStored = leftOut;
    for (const SectionQueue *queue : queues)
        all.sectionsNotStored += queue->leftOut();
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
        queue.arm(Filter::of(info), SectionQueue::Clock::now());
    }

    i32 take(Captured &section) override
    {
        SearchClock::ofThread().run();
        const auto lock = input->lock();
        return queue.take(section, SectionQueue::Clock::now()) ? PSI_DATA_OK : PSI_DATA_NO_READY;
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
