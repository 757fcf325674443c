#include "demux/recording.h"
#include "demux/filterRound.h"
#include "demux/searchClock.h"

#include <algorithm>
#include <chrono>

namespace psi::demux {

namespace {

/** How long a read of the library may wait for a pipe. */
constexpr std::chrono::milliseconds kReadTime(20);

/** The filter of one search on a recording. */
class RecordingFilter : public SectionFilter {
public:
    explicit RecordingFilter(std::shared_ptr<Recording> input) : recording(std::move(input)) {}

    void arm(const psiSchInfo &info) override
    {
        const Recording::View view = recording->view();
        setClock();
        round.arm(Filter::of(info));
    }

    void restart() override { round.restart(); }

    i32 take(Captured &section) override
    {
        const Recording::View view = recording->view();
        u32 number = 0;
        FilterRound::Answer answer = round.next(view.index, recording->complete(), number);
        const auto until = std::chrono::steady_clock::now() + kReadTime;
        while (answer == FilterRound::Answer::notYet && std::chrono::steady_clock::now() < until) {
            recording->readMore(static_cast<int>(kReadTime.count()));
            answer = round.next(view.index, recording->complete(), number);
        }
        setClock();
        return deliver(view.index, answer, number, section);
    }

private:
    void setClock() const
    {
        // A read of a pipe waits by itself.
        if (recording->complete())
            SearchClock::ofThread().freeze();
        else
            SearchClock::ofThread().runBusy();
    }

    static i32 deliver(const SectionIndex &index, FilterRound::Answer answer, u32 number, Captured &section)
    {
        switch (answer) {
        case FilterRound::Answer::section:
            section.length = index[number].length;
            std::copy_n(index[number].bytes, section.length, section.bytes.begin());
            return PSI_DATA_OK;
        case FilterRound::Answer::missing:
            SearchClock::ofThread().passTimeOut();
            return PSI_DATA_NO_READY;
        case FilterRound::Answer::exhausted:
            return PSI_NO_TABLE;
        case FilterRound::Answer::notYet:
            break;
        }
        return PSI_DATA_NO_READY;
    }

    std::shared_ptr<Recording> recording;
    FilterRound round;
};

} // namespace

Recording::Recording(const std::string &shownName, const Options &options, std::unique_ptr<ByteSource> byteSource)
    : name(shownName), progress(options.progress), source(std::move(byteSource)), index(options.maxIndexBytes),
      assembler([this](u16 pid, const u8 *section, u16 length) {
          return index.add(pid, section, length, assembler.packets() - 1);
      })
{
}

Recording::Recording(const std::string &input, const Options &options)
    : Recording(input, options, std::make_unique<ByteSource>(input, options.mostBytes))
{
    name = source->name();
    while (!ended && (source->isFile() || sync.counters().packets == 0) &&
           (bytesRead < kSearchLimit || sync.counters().packets != 0))
        readMore(-1);
    if (bytesRead == 0 && !failedBy.empty())
        throw InputError(failedBy);
    if (bytesRead == 0)
        throw InputError(name + ": is empty");
    requirePackets();
}

Recording::Recording(const u8 *bytes, size_t size, const std::string &shownName, const Options &options)
    : Recording(shownName, options, nullptr)
{
    if (size == 0)
        throw InputError(name + ": is empty");
    take(bytes, size);
    end();
    requirePackets();
}

Recording::Recording(const std::vector<Section> &sections, const std::string &shownName)
    : Recording(shownName, Options(), nullptr)
{
    for (const Section &section : sections)
        index.add(section.pid, section.bytes.data(), static_cast<u16>(section.bytes.size()), section.lastPacket);
    ended = true;
}

void Recording::requirePackets() const
{
    if (sync.counters().packets == 0)
        throw InputError(name + ": no transport packets found (of 188, 192 or 204 bytes)");
}

void Recording::pump(int waitMs)
{
    Chunk chunk;
    if (!source->read(waitMs, chunk)) {
        end();
        report();
        return;
    }
    take(chunk.data, chunk.size);
    if (bytesRead >= nextReport || chunk.size == 0)
        report();
}

void Recording::take(const u8 *data, size_t size)
{
    sync.feed(data, size, assembler);
    bytesRead += size;
}

void Recording::report()
{
    nextReport = bytesRead + kReportStep;
    if (progress && !progress(bytesRead, source->size()))
        end();
}

void Recording::end()
{
    if (ended)
        return;
    sync.finish(assembler);
    ended = true;
}

void Recording::readMore(int waitMs) noexcept
{
    try {
        pump(waitMs);
    } catch (const std::exception &error) {
        failedBy = error.what();
        end();
    }
}

void Recording::readToEnd(const std::atomic<bool> &stopped)
{
    for (;;) {
        const View locked = view();
        if (ended && !failedBy.empty())
            throw InputError(failedBy);
        if (ended || stopped)
            return;
        readMore(20);
    }
}

std::unique_ptr<SectionFilter> Recording::attach()
{
    return std::make_unique<RecordingFilter>(shared_from_this());
}

std::string Recording::failure() const
{
    const View locked = view();
    return failedBy;
}

Statistics Recording::statistics() const
{
    const View locked = view();
    Statistics all = assembler.counters();
    const SyncCounters &found = sync.counters();
    if (source != nullptr)
        source->addTo(all);
    all.packetSize = static_cast<uint16_t>(found.packetSize);
    all.bytes = bytesRead;
    all.skippedBytes += found.skippedBytes;
    all.resyncs = found.resyncs;
    all.distinctSections = index.sections().size();
    all.sectionsNotStored = index.notStored();
    return all;
}

std::vector<PidStatistics> Recording::pids() const
{
    const View locked = view();
    return assembler.pids();
}

std::vector<Section> Recording::sections() const
{
    const View locked = view();
    std::vector<Section> all;
    for (const StoredSection &one : index.sections())
        all.push_back({one.pid, one.firstPacket, one.lastPacket, one.count, {one.bytes, one.bytes + one.length}});
    return all;
}

std::shared_ptr<Input> openRecording(const std::string &name, const Options &options)
{
    return std::make_shared<Recording>(name, options);
}

std::shared_ptr<Input> openSections(const std::vector<Section> &sections, const std::string &name)
{
    return std::make_shared<Recording>(sections, name);
}

std::shared_ptr<Input> openBytes(const u8 *bytes, size_t size, const std::string &name, const Options &options)
{
    return std::make_shared<Recording>(bytes, size, name, options);
}

} // namespace psi::demux
