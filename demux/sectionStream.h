/**
 * @file sectionStream.h
 * @brief The sections of an input one after the other, as they come.
 *
 * @code
 * psi::demux::initLibrary();
 * psi::demux::SectionStream stream("input.ts");
 * psi::demux::StreamedSection section;
 * while (stream.next(-1, section) == psi::demux::SectionStream::Next::section)
 *     std::printf("PID %u, table_id 0x%02X\n", section.pid, section.bytes[0]);
 * @endcode
 */
#ifndef PSI_DEMUX_SECTION_STREAM_H
#define PSI_DEMUX_SECTION_STREAM_H

#include "demux/collector.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace psi::demux {

/** @brief A section as it came. */
struct StreamedSection {
    u16 pid = 0;
    bool repeated = false; /**< the same came before */
    uint64_t packet = 0;   /**< number of the packet, from 0, that completed it */
    std::vector<u8> bytes; /**< table_id to the last byte */
};

/**
 * @brief Sections to be asked for one by one, while a thread of its own reads the input.
 *
 * The thread waits when nobody asks for a while, so memory stays bounded; of a live input datagrams are lost then.
 * next() is called by one thread at a time; stop() by any.
 */
class SectionStream {
public:
    /**
     * @brief Open an input, named as for Host::open(); a live one goes on until stop().
     * @param repetitions false: every section once
     * @throw InputError it cannot be opened
     */
    explicit SectionStream(const std::string &input, bool repetitions = false);
    ~SectionStream();
    SectionStream(const SectionStream &) = delete;
    SectionStream &operator=(const SectionStream &) = delete;

    /**
     * @brief Wait for the next section with a right CRC.
     * @param waitMs how long, -1: for ever
     * @param section gets it
     * @return section, waited (none came in time), or ended
     * @throw InputError behind the last section: the input holds no packets, or reading failed
     */
    enum class Next { section, waited, ended };
    Next next(int waitMs, StreamedSection &section);
    void stop() noexcept;

private:
    void run();
    void push(StreamedSection &&section);

    bool repetitions_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<StreamedSection> waiting_;
    bool ended_ = false;
    bool stopped_ = false;
    std::string failure_;
    Collector collector_;
    std::thread thread_;
};

} // namespace psi::demux

#endif // PSI_DEMUX_SECTION_STREAM_H
