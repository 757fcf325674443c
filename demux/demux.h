/**
 * @file demux.h
 * @brief The host side of the library on Linux: a software demultiplexer behind the two host callbacks.
 *
 * A Host owns one search object and feeds it from an input: a file, standard input or a pipe, bytes in memory, or a
 * live multicast. It finds the packets, assembles the sections, and answers the library's section filter as a hardware
 * filter would. Programs use it and psi.h; nothing else of this folder is needed.
 *
 * @code
 * psi::demux::initLibrary();
 * auto host = psi::demux::Host::open("multiplex.ts");
 * host->searchAll(0);
 * const tsInfo *model = getSchObjDataInfo(host->object());
 * @endcode
 *
 * Threads: one Host is used by one thread at a time, but for stop(), stopped(), statistics(), pids() and sections(),
 * which any thread may call. Different Hosts, also such as share an input, run in parallel.
 */
#ifndef PSI_DEMUX_H
#define PSI_DEMUX_H

#include "psi.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace psi::demux {

/**
 * @brief An input that cannot be opened or read, or that holds no transport stream.
 *
 * what() is one line that begins with the input's name, for example "x.ts: No such file or directory".
 */
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @brief A name of an input that cannot be any: a URL that is not written as it should be. */
class WrongName : public InputError {
public:
    using InputError::InputError;
};

/** @brief UDP datagrams to one address and port, in a capture. */
struct CapturedStream {
    std::string address; /**< "239.1.1.1:5000", "[ff02::1]:5000" */
    uint64_t datagrams = 0;
    uint64_t packets = 0; /**< transport packets in them; 0: it is something else */
    bool rtp = false;
};

/** @brief A capture from which a stream is to be chosen. */
class SeveralStreams : public InputError {
public:
    SeveralStreams(const std::string &what, std::vector<CapturedStream> all) : InputError(what), streams(std::move(all))
    {
    }
    const std::vector<CapturedStream> streams; /**< all that are in it, by first appearance */
};

/**
 * @brief Told about the way through an input.
 * @param done bytes gone through
 * @param total bytes of the input, 0 when nobody knows (a pipe)
 * @return false to go no further: the Host then knows what was read until then
 */
using Progress = std::function<bool(uint64_t done, uint64_t total)>;

/** @brief How to open an input. */
struct Options {
    Progress progress;                      /**< called about every 4 MiB of a file or pipe, and at its end */
    uint64_t maxIndexBytes = 256U << 20;    /**< memory for distinct sections; a PID gets at most an eighth of it */
    uint32_t receiveBufferBytes = 8U << 20; /**< receive buffer asked of the kernel for a live input */
    uint64_t mostBytes = 0;                 /**< of a file or pipe no more is read; 0: all */
};

/** @brief Counters over everything read from an input so far. */
struct Statistics {
    uint16_t packetSize = 0;        /**< 188, 192 or 204; 0 before the first packet */
    uint64_t bytes = 0;             /**< bytes read */
    uint64_t packets = 0;           /**< packets found */
    uint64_t skippedBytes = 0;      /**< bytes that belong to no packet: garbage, a truncated tail */
    uint64_t resyncs = 0;           /**< times that the packet sync was lost and found again */
    uint64_t nullPackets = 0;       /**< packets of PID 0x1FFF */
    uint64_t transportErrors = 0;   /**< packets with transport_error_indicator */
    uint64_t scrambledPackets = 0;  /**< packets with transport_scrambling_control */
    uint64_t malformedPackets = 0;  /**< adaptation field or pointer_field beyond the packet, reserved control value */
    uint64_t duplicatePackets = 0;  /**< packets that repeat the one before */
    uint64_t continuityErrors = 0;  /**< breaks of the continuity_counter */
    uint64_t discontinuities = 0;   /**< breaks that a discontinuity_indicator announced */
    uint64_t sections = 0;          /**< whole sections with a right CRC, repetitions included */
    uint64_t distinctSections = 0;  /**< different ones among them (of a live input: 0) */
    uint64_t crcErrors = 0;         /**< sections with a wrong CRC */
    uint64_t brokenSections = 0;    /**< sections that were begun and not completed */
    uint64_t malformedSections = 0; /**< sections over 4096 bytes or shorter than header and CRC */
    uint64_t shortFormSections = 0; /**< sections with section_syntax_indicator 0: not looked at */
    uint64_t sectionsNotStored = 0; /**< good sections that the memory limit kept out */
    uint64_t datagrams = 0;         /**< live: datagrams received */
    uint64_t badDatagrams = 0;      /**< live: datagrams without packets */
    uint64_t rtpGaps = 0;           /**< live: RTP packets missing by their sequence numbers */
    uint64_t rtpLate = 0;           /**< RTP packets among them that came after all, too late to be put in order */
    uint64_t rtpDuplicates = 0;     /**< live: RTP packets that came twice */
    uint64_t rtpReordered = 0;      /**< live: RTP packets that came behind later ones and were put in order */
    uint64_t datagramsLost = 0;     /**< live: datagrams that came and found the receive buffer full */
    uint64_t receiveBuffer = 0;     /**< live: bytes of the receive buffer that the kernel granted */
    uint64_t ipFragments = 0;       /**< capture: parts of datagrams that did not become whole */
    uint64_t cutDatagrams = 0;      /**< capture: datagrams that were not captured to their end */
    uint64_t wrongChecksums = 0;    /**< capture: datagrams with a wrong UDP checksum, which are taken all the same */
    uint64_t overflows = 0;         /**< times that a device lost packets because it was read too slowly */
};

/** @brief Counters of one PID. */
struct PidStatistics {
    uint16_t pid = 0;
    uint64_t packets = 0;           /**< packets without transport error, scrambled ones included */
    uint64_t scrambledPackets = 0;  /**< packets with transport_scrambling_control */
    uint64_t transportErrors = 0;   /**< packets with transport_error_indicator: their PID may be wrong */
    uint64_t duplicatePackets = 0;  /**< packets that repeat the one before */
    uint64_t continuityErrors = 0;  /**< breaks of the continuity_counter, announced ones not counted */
    uint64_t discontinuities = 0;   /**< breaks that a discontinuity_indicator announced */
    uint64_t sections = 0;          /**< whole sections in the long form with a right CRC, repetitions included */
    uint64_t shortFormSections = 0; /**< whole sections with section_syntax_indicator 0 */
    uint64_t crcErrors = 0;         /**< sections with a wrong CRC */
    uint64_t brokenSections = 0;    /**< sections that were begun and not completed */
    uint64_t pcrCount = 0;          /**< PCRs seen */
    bool pes = false;               /**< a PES packet began here */
    bool pcr = false;               /**< a PCR was seen here */
};

/** @brief A distinct section of a recorded input. */
struct Section {
    uint16_t pid = 0;
    uint64_t firstPacket = 0; /**< number of the packet, from 0, that completed it first */
    uint64_t lastPacket = 0;  /**< and last */
    uint64_t count = 0;       /**< times it was seen */
    std::vector<u8> bytes;    /**< table_id to CRC_32 */
};

/**
 * @brief Initialise the library with the clock and the sleep of this host; to be called before the first Host,
 * Collector or SectionStream.
 * @param poolBytes size of the library's pool
 * @return false when the library was initialised by somebody else, or the pool cannot be made; every later call gives
 *         the result of the first
 *
 * The clock belongs to the calling thread. While its search runs on a recorded input it stands still but for the
 * sleeps, so that a time-out never waits in real time; on a live input it is the monotonic clock.
 */
bool initLibrary(u32 poolBytes = 64U << 20);

/** @brief A search object with the input that feeds it. */
class Host {
public:
    /**
     * @brief Open an input and make a search object for it.
     * @param input a file; "-" for standard input; a FIFO or character device; a capture of network packets (pcap,
     *        pcapng) with one stream in it, or "file?stream=[source@]address:port";
     *        "udp://[source@]address:port[?iface=name]" with a group, an address of this machine or none (any), or the
     *        same with "rtp://"
     * @param options progress and limits
     * @return the Host, never null
     * @throw InputError the input cannot be read, or a recorded one holds no transport packets
     * @throw std::runtime_error the library has no room for a search object, or was not initialised
     *
     * A file is read to its end here, once, or until reading it fails, see failure(). Of a pipe only the beginning is:
     * the rest is read as searches ask for it.
     */
    static std::unique_ptr<Host> open(const std::string &input, const Options &options = {});

    /**
     * @brief The same for a transport stream in memory.
     * @param bytes the stream, in packets of 188, 192 or 204 bytes; not needed after the call
     * @param size its length
     * @param name stands in messages
     */
    static std::unique_ptr<Host> openMemory(const u8 *bytes, size_t size, const std::string &name = "memory",
                                            const Options &options = {});

    /**
     * @brief The same for sections that somebody assembled, each to be found once in a round of searches.
     * @param sections in their order, of any PIDs; those whose CRC is wrong are left out
     */
    static std::unique_ptr<Host> openSections(const std::vector<Section> &sections, const std::string &name);

    /** @brief Make another search object, for another thread, on the same input. @return never null */
    std::unique_ptr<Host> another() const;

    /** @brief Destroys the search object. Its search must have ended. */
    ~Host();
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    /** @brief Handle of the search object, for every operation of psi.h. */
    psiObjId object() const;
    /** @brief The input's name as messages show it. */
    const std::string &name() const;
    /** @brief True for a network input, which has no end and keeps no history. */
    bool live() const;

    /** @brief restart(), then schTable(). @param psiType table-type code @return sections (programs) found */
    u32 search(u32 psiType);
    /** @brief restart(), then autoSchTable(). @param standard 0: DVB, 1: ATSC @return 0 or -1 */
    i32 searchAll(u32 standard);
    /** @brief restart(), then re_SchTable(). @return sections found */
    u32 searchAgain(u32 psiType, u32 standard);

    /**
     * @brief Begin a new round: every section may be handed out again.
     *
     * Needed between two searches of the same table only, and only by those who call schTable() or re_SchTable()
     * themselves: a filter for another PID or table_id, or the answer PSI_NO_TABLE, begins a new round as well. The
     * place in the stream stays.
     */
    void restart();

    /** @brief End the running search and all later ones, until resume(). Any thread; safe in a signal handler. */
    void stop() noexcept;
    /** @brief Take stop() back. */
    void resume() noexcept;
    /** @brief True between stop() and resume(). */
    bool stopped() const noexcept;

    /** @brief Read what is left of a pipe, so that statistics and sections are complete. Ends early on stop().
     * @throw InputError reading failed */
    void readToEnd();
    /** @brief Why reading ended early, "" when it did not: what was read until then is known. */
    std::string failure() const;

    /** @brief Counters of the input, shared by all Hosts on it. */
    Statistics statistics() const;
    /** @brief Counters of each PID that was seen, by ascending PID. */
    std::vector<PidStatistics> pids() const;
    /** @brief Every distinct section of a recorded input, by first appearance; empty for a live one. */
    std::vector<Section> sections() const;

private:
    struct Impl;
    explicit Host(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl;
};

} // namespace psi::demux

#endif // PSI_DEMUX_H
