/**
 * @file collector.h
 * @brief Everything that is in a stream, in one pass: its PIDs, and every section of every table.
 *
 * @code
 * psi::demux::initLibrary();
 * psi::demux::Collector collector("multiplex.ts");
 * collector.run();
 * for (const psi::demux::CollectedTable *table : collector.tables())
 *     ...
 * @endcode
 *
 * Memory is bounded, whatever the stream is: see TableStore.
 */
#ifndef PSI_DEMUX_COLLECTOR_H
#define PSI_DEMUX_COLLECTOR_H

#include "demux/demux.h"
#include "demux/pidUses.h"
#include "demux/streamClock.h"
#include "demux/tableStore.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace psi::demux {

/** @brief Why a table that was awaited is not there. */
enum class MissingReason {
    notSeen,     /**< no section of it came */
    crcWrong,    /**< those that came have a wrong CRC */
    incomplete,  /**< some of its sections did not come */
    notCurrent,  /**< only a version that is not yet applicable came */
    changesFast, /**< each version was replaced before it was complete */
    scrambled,   /**< its PID is scrambled */
};

/** @brief A table that was announced, or begun, and is not whole. */
struct MissingTable {
    u16 pid = 0;
    u8 tableId = 0;
    std::optional<u16> extension; /**< table_id_extension, when it is known */
    MissingReason reason = MissingReason::notSeen;
    unsigned have = 0;      /**< sections of it that came */
    unsigned wanted = 0;    /**< sections that it has, where that is known */
    uint64_t crcErrors = 0; /**< sections of that table_id with a wrong CRC */
};

/** @brief Which standards' tables are waited for in a live input. */
enum class AwaitedStandard { any, dvb, atsc };

/** @brief A section with a right CRC, when it has just come. */
struct ArrivedSection {
    u16 pid = 0;
    const u8 *bytes = nullptr; /**< table_id to the last byte; valid during the call */
    u16 length = 0;
    uint64_t packet = 0;   /**< number of the packet, from 0, that completed it */
    bool repeated = false; /**< the same came before */
};

/** @brief How to collect. */
struct CollectorOptions {
    Options input; /**< progress and receive buffer */
    double bitrate =
        0; /**< of the stream in bit/s, for times where it has no PCR or they are not to be used; 0: by PCR */
    AwaitedStandard standard = AwaitedStandard::any;
    double timeout = 11;        /**< live: the end, in seconds, whatever is missing; 0: none */
    std::map<u8, double> waits; /**< live: how long to wait for a table_id, in place of its longest interval */
    std::vector<u8> wanted;     /**< live: only these table_ids are waited for; empty: all */
    bool untilTimeout = false;  /**< live: go on until `timeout` although nothing is awaited any more */
    /** live: asked when all else has come whether something else is awaited still; unset: nothing is */
    std::function<bool(double seconds)> awaitsMore;
    std::function<void(double seconds)> tick;              /**< live: called several times a second */
    std::function<void(const ArrivedSection &)> onSection; /**< called with every section that is collected */
};

/** @brief Goes through an input once. Used by one thread; stop() may be called by any, and by a signal handler. */
class Collector {
public:
    /** @brief Open an input, named as for Host::open(). @throw InputError it cannot be opened */
    explicit Collector(const std::string &input, CollectorOptions options = {});
    ~Collector();
    Collector(const Collector &) = delete;
    Collector &operator=(const Collector &) = delete;

    /**
     * @brief Collect until the input's end; of a live one until all that was announced has come and nothing can be
     * missing that comes as often as its standard wants.
     * @throw InputError a recorded input holds no transport packets, or nothing of it can be read
     */
    void run();
    void stop() noexcept;
    bool stopped() const noexcept;

    const std::string &name() const;
    bool live() const;
    /** @brief Why reading ended early, "" when it did not: what was read until then was collected. */
    const std::string &failure() const;

    Statistics statistics() const;
    /** @brief Counters of each PID that was seen, by ascending PID. */
    std::vector<PidStatistics> pids() const;
    /** @brief What the tables say about the PIDs. */
    const PidUses &uses() const;
    /** @brief Every table that came, by first appearance. */
    std::vector<const CollectedTable *> tables() const;
    /** @brief The table_ids that a live input is listened to for; at any time, from the thread that runs. */
    std::vector<u8> awaited() const;
    /** @brief What was announced or begun and is not whole, by PID. */
    std::vector<MissingTable> missing() const;

    /** @brief Times between two PCRs of a PID, by the PCRs themselves; announced jumps are left out. */
    const std::map<u16, Intervals> &pcrIntervals() const;

    /** @brief Length of the stream in seconds; 0 when nobody knows. */
    double duration() const;
    /** @brief Rate of the stream in bits of its 188-byte packets per second; 0 when nobody knows. */
    double bitrate() const;
    /** @brief A moment with its time, where that is known now. */
    Moment resolved(const Moment &moment) const;

    /**
     * @brief The sections of the tables that hold: of each the last complete current version.
     *
     * Of a PID where two tables have the same role (two PATs), the one that came last goes last.
     *
     * @param wants asked whether a table is wanted; unset: all are
     */
    std::vector<Section> validSections(const std::function<bool(const CollectedTable &table)> &wants = {}) const;

    /** @brief Hand the payload of elementary streams to somebody, until he has enough. @param wants is asked once for
     * each stream of a PMT @param take returns false when it has enough */
    void watchStreams(std::function<bool(u16 pid, const PidUse &use)> wants,
                      std::function<bool(u16 pid, const u8 *data, size_t size, bool start)> take);

private:
    struct Impl;
    std::unique_ptr<Impl> impl;
};

} // namespace psi::demux

#endif // PSI_DEMUX_COLLECTOR_H
