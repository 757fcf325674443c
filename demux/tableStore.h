/**
 * @file tableStore.h
 * @brief The tables of a stream, each section once, in bounded memory.
 */
#ifndef PSI_DEMUX_TABLE_STORE_H
#define PSI_DEMUX_TABLE_STORE_H

#include "demux/streamClock.h"

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

namespace psi::demux {

/** @brief A section of a table, however often it came. */
struct CollectedSection {
    u8 number = 0; /**< section_number; 0 in the short form */
    uint64_t count = 0;
    Moment first;
    Moment last;
    std::vector<u8> bytes; /**< table_id to the last byte */
};

/** @brief What came of one version of a table. */
struct TableVersion {
    u8 number = 0;       /**< version_number */
    bool current = true; /**< current_next_indicator */
    u8 lastNumber = 0;   /**< last_section_number, as it was told last */
    Moment first;
    Moment last;
    uint64_t changes = 0;                   /**< sections that differ from an earlier one of the same number */
    std::vector<CollectedSection> sections; /**< by number; of one number by first appearance */

    /** @brief How many of the section numbers 0 to `lastNumber` came. */
    unsigned have() const;
    bool complete() const { return have() == lastNumber + 1U; }
};

/** @brief Times between two arrivals of the same section, current or next, in seconds. */
struct Intervals {
    uint64_t count = 0;
    double shortest = 0;
    double longest = 0;
    double sum = 0;

    void add(double seconds);
    void add(const Intervals &others);
    double mean() const { return count > 0 ? sum / static_cast<double>(count) : 0; }
};

/** @brief Another version took the place of the one before, among current ones or among next ones. */
struct VersionChange {
    Moment moment;
    u8 number = 0;
    bool current = true;
};

/** @brief A (sub-)table: what is told apart by more than version and section number. */
struct CollectedTable {
    u16 pid = 0;
    u8 tableId = 0;
    bool longForm = true;
    u16 extension = 0; /**< table_id_extension; 0 in the short form */
    /** original_network_id of an SDT; transport_stream_id << 16 | original_network_id of an EIT; else 0 */
    u32 further = 0;
    uint64_t count = 0; /**< sections, repetitions included */
    Moment first;
    Moment last;
    Intervals intervals;
    std::vector<TableVersion> versions; /**< by first appearance; the same number may be current and next */
    size_t active = 0;                  /**< the version that came last */
    std::deque<VersionChange> changes;  /**< the last kKeptChanges of them, the first version among them */
    uint64_t changeCount = 0;

    static constexpr size_t kKeptChanges = 32;

    /** @brief The version that holds: the last complete current one, or else the current one with most sections. */
    const TableVersion *valid() const;
};

/** @brief Whose memory a section takes. */
enum class TableClass : u8 {
    wellKnown, /**< on a PID that the standards give */
    program,   /**< on a PID that such a table names for tables */
    content,   /**< anything else: data that looks like sections */
};

/**
 * @brief Stores sections by table, version and number.
 *
 * A repetition costs nothing. Memory is bounded: each table_id of a PID has a limit, and so has each class, so that no
 * flood of one kind leaves no room for another. Where a limit is reached, a section that comes a second time takes the
 * place of one that came once: what repeats is what is meant to be received.
 */
class TableStore {
public:
    /** @brief What became of a section. */
    enum class Result { wrongCrc, repeated, stored, leftOut };

    /** @brief Whose memory the tables on a PID take. */
    using ClassOf = std::function<TableClass(u16 pid)>;

    /**
     * @param classOfPid asked for each section that is new
     * @param clock of a recording, asked at settle(); null where moments have their right times at once
     */
    TableStore(ClassOf classOfPid, const StreamClock *clock);
    ~TableStore();

    /** @brief Enter a section of 3 to 4096 bytes; of 12 at least in the long form. */
    Result add(u16 pid, const u8 *section, u16 length, const Moment &moment);
    /** @brief The table that the last section entered belongs to, after `repeated` and `stored`. */
    const CollectedTable &lastTable() const;

    /** @brief Measure the intervals up to now: to be called where the clock has come to know the time, and at the end.
     */
    void settle();

    /** @brief Forget the tables of a PID, which carries none. */
    void drop(u16 pid);

    /** @brief All tables, by first appearance. */
    std::vector<const CollectedTable *> all() const;
    /** @brief The tables of a table_id on a PID. */
    std::vector<const CollectedTable *> tablesOf(u16 pid, u8 tableId) const;
    /** @brief A table in the long form that nothing but its extension tells apart. @return null when it did not come */
    const CollectedTable *table(u16 pid, u8 tableId, u16 extension) const;
    /** @brief Whether a table of a table_id came, on any PID. */
    bool anyOf(u8 tableId) const;
    /** @brief PIDs and table_ids of which all sections had a wrong CRC. */
    std::vector<std::pair<u16, u8>> onlyDamaged() const;
    /** @brief Sections with a right CRC that found no room, repetitions of them included. */
    uint64_t leftOut() const { return notStored; }
    /** @brief Sections of a table_id on a PID with a wrong CRC. */
    uint64_t crcErrors(u16 pid, u8 tableId) const;

private:
    struct Key {
        uint64_t table;
        u32 further;
        bool operator==(const Key &other) const { return table == other.table && further == other.further; }
    };
    struct KeyHash {
        size_t operator()(const Key &key) const
        {
            return static_cast<size_t>((key.table ^ uint64_t{key.further} << 20) * 0x9E3779B97F4A7C15U >> 16);
        }
    };
    struct Entry;
    /** A section number of a table, the current one or the next, in whatever version. */
    struct Place {
        u8 number;
        bool current;
    };
    /** The tables of a table_id on a PID. */
    struct Kind {
        uint64_t used = 0;
        std::vector<Entry *> entries;
        size_t cursor = 0; /**< where the next look for something to forget begins */
    };

    static Key keyOf(u16 pid, const u8 *section, u16 length);
    static CollectedSection *findSection(CollectedTable &table, const u8 *section, u16 length, size_t &version);
    void see(Entry &entry, size_t version, CollectedSection &section, const Moment &moment);
    void await(Entry &entry, Place place, const Moment &moment);
    static void measure(Entry &entry, Place place, double seconds);
    static void activate(Entry &entry, size_t version, const Moment &moment);
    Result store(u16 pid, const Key &key, const u8 *section, u16 length, const Moment &moment);
    Entry &entryFor(TableClass group, u16 pid, const Key &key, const u8 *section, const Moment &moment);
    static size_t versionFor(CollectedTable &table, const u8 *section, const Moment &moment);
    CollectedSection &place(TableVersion &version, const u8 *section, u16 length, Entry &entry);
    bool makeRoom(TableClass group, u32 kind, const u8 *section, u16 length, uint64_t cost);
    bool cameBefore(const u8 *section, u16 length);
    bool forgetOne(Kind &kind);
    void release(Entry &entry, uint64_t bytes);
    void remove(Entry &entry);

    /** A section whose time is known at the next PCR only. */
    struct Arrived {
        Entry *entry;
        Place place;
        uint64_t packet;
    };
    /** Settled without waiting for the clock when there are more; a PCR comes every 100 ms. */
    static constexpr size_t kMostUnsettled = 512;

    ClassOf classOf;
    const StreamClock *streamClock;
    std::vector<Arrived> unsettled;
    std::array<uint64_t, 3> usedOfClass{};
    std::unordered_map<u32, Kind> kinds;
    std::unordered_map<Key, std::unique_ptr<Entry>, KeyHash> known;
    std::unordered_map<u32, uint64_t> wrongCrcs;
    std::vector<bool> once; /**< a bit for each section that came once and found no room; empty until there is one */
    size_t onceCount = 0;
    uint64_t notStored = 0;
    Entry *lastEntry = nullptr;
};

} // namespace psi::demux

#endif // PSI_DEMUX_TABLE_STORE_H
