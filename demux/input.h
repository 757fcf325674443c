/**
 * @file input.h
 * @brief What feeds a search: an input, and the section filters on it.
 */
#ifndef PSI_DEMUX_INPUT_H
#define PSI_DEMUX_INPUT_H

#include "demux/demux.h"

#include <array>
#include <atomic>

namespace psi::demux {

/** @brief Bytes between two reports of progress. */
constexpr uint64_t kReportStep = 4U << 20;

/** @brief A section on its way to the library. */
struct Captured {
    u16 length = 0;
    std::array<u8, 4096> bytes;
};

/** @brief The section filter of one search object. Used by one thread at a time. */
class SectionFilter {
public:
    virtual ~SectionFilter() = default;
    virtual void arm(const psiSchInfo &info) = 0;
    /** @brief Take the next section that passes. @return PSI_DATA_OK, PSI_DATA_NO_READY or PSI_NO_TABLE; sets the clock
     */
    virtual i32 take(Captured &section) = 0;
    virtual void restart() = 0;
};

/** @brief An input, shared by the Hosts on it. Its operations may be called by any thread. */
class Input {
public:
    virtual ~Input() = default;
    virtual bool live() const = 0;
    virtual std::unique_ptr<SectionFilter> attach() = 0;
    virtual void readToEnd(const std::atomic<bool> &stopped) = 0;
    virtual std::string failure() const { return {}; }
    virtual Statistics statistics() const = 0;
    virtual std::vector<PidStatistics> pids() const = 0;
    virtual std::vector<Section> sections() const = 0;
};

/** @brief Open a recorded input or a pipe. Throws InputError. */
std::shared_ptr<Input> openRecording(const std::string &name, const Options &options);
/** @brief Take a recorded input from memory. Throws InputError. */
std::shared_ptr<Input> openBytes(const u8 *bytes, size_t size, const std::string &name, const Options &options);
/** @brief Take a recorded input as sections. */
std::shared_ptr<Input> openSections(const std::vector<Section> &sections, const std::string &name);
/** @brief Open a live input. Throws InputError. @param url "udp://..." or "rtp://..." */
std::shared_ptr<Input> openLive(const std::string &url, const Options &options);

/** @brief True when an input's name is the URL of a live input. */
bool isLiveUrl(const std::string &name);
/** @brief True when it is one of RTP. */
bool isRtpUrl(const std::string &name);

} // namespace psi::demux

#endif // PSI_DEMUX_INPUT_H
