/**
 * @file recording.h
 * @brief Inputs that have a beginning and an end: files, pipes, bytes in memory.
 */
#ifndef PSI_DEMUX_RECORDING_H
#define PSI_DEMUX_RECORDING_H

#include "demux/byteSource.h"
#include "demux/input.h"
#include "demux/packetSync.h"
#include "demux/sectionAssembler.h"
#include "demux/sectionIndex.h"

#include <mutex>

namespace psi::demux {

/**
 * @brief A recorded input: gone through once, its sections indexed.
 *
 * A file is indexed when it is opened. A pipe is read on whenever a search asks for a section that has not come yet;
 * once it has ended it is like a file.
 */
class Recording : public Input, public std::enable_shared_from_this<Recording> {
public:
    Recording(const std::string &input, const Options &options);
    Recording(const u8 *bytes, size_t size, const std::string &name, const Options &options);

    Recording(const std::vector<Section> &sections, const std::string &name);

    bool live() const override { return false; }
    std::unique_ptr<SectionFilter> attach() override;
    void readToEnd(const std::atomic<bool> &stopped) override;
    std::string failure() const override;
    Statistics statistics() const override;
    std::vector<PidStatistics> pids() const override;
    std::vector<Section> sections() const override;

    /** @brief What a filter works on; valid while `lock` is held. */
    struct View {
        std::unique_lock<std::mutex> lock;
        const SectionIndex &index;
    };
    View view() const { return {std::unique_lock(mutex), index}; }
    /** @brief True when nothing more will come. The caller holds a View. */
    bool complete() const { return ended; }
    /** @brief Read some more, waiting at most so long for it; a failure ends the input. The caller holds a View. */
    void readMore(int waitMs) noexcept;

private:
    Recording(const std::string &shownName, const Options &options, std::unique_ptr<ByteSource> byteSource);

    void pump(int waitMs);
    void take(const u8 *data, size_t size);
    void report();
    void end();
    void requirePackets() const;

    mutable std::mutex mutex;
    std::string name;
    Progress progress;
    std::unique_ptr<ByteSource> source;
    uint64_t bytesRead = 0;
    uint64_t nextReport = 0;
    bool ended = false;
    std::string failedBy; /**< why reading ended early, or empty */
    PacketSync sync;
    SectionIndex index;
    SectionAssembler assembler;
};

} // namespace psi::demux

#endif // PSI_DEMUX_RECORDING_H
