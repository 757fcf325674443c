/**
 * @file sectionIndex.h
 * @brief The sections of a recorded input: each distinct one once, and the order in which they come.
 */
#ifndef PSI_DEMUX_SECTION_INDEX_H
#define PSI_DEMUX_SECTION_INDEX_H

#include "demux/demux.h"

#include <string_view>
#include <unordered_map>

namespace psi::demux {

/** @brief What a section filter looks at. */
struct Filter {
    u16 pid = 0;
    u8 tableId = 0;
    u8 sectionNo = 0;
    bool useIdExt = false;
    u16 tableIdExt = 0;
    u16 maxLength = 1024; /**< longer sections do not pass */

    static Filter of(const psiSchInfo &info);
    /** @brief Whether a section in the long form passes. One that is not yet applicable never does. */
    bool passes(u16 sectionPid, const u8 *section, u16 length) const;
};

/** @brief A distinct section. */
struct StoredSection {
    const u8 *bytes;
    u16 length;
    u16 pid;
    uint64_t firstPacket;
    uint64_t lastPacket;
    uint64_t count;
};

/**
 * @brief Stores the sections of an input and finds those that a filter wants.
 *
 * Memory is bounded: distinct sections, with what they cost in bookkeeping, fill at most the given number of bytes,
 * those of one PID an eighth of it, so that a PID full of data leaves room for the tables. Sections beyond are counted
 * and left out. Of the order, kMaxOccurrences entries are kept; behind them only sections not seen before are entered.
 */
class SectionIndex {
public:
    static constexpr size_t kMaxOccurrences = 4U << 20;

    /** @brief A section at its place among all sections of the stream. */
    struct Occurrence {
        u32 place;
        u32 section;
    };
    /** @brief In the order of their places. */
    using Occurrences = std::vector<Occurrence>;

    explicit SectionIndex(uint64_t maxBytes) : byteLimit(maxBytes) {}

    /**
     * @brief Enter a section in the long form.
     * @param packet number of the packet that completed it
     * @return false when its CRC is wrong
     */
    bool add(u16 pid, const u8 *section, u16 length, uint64_t packet);

    /** @brief Where the sections that a filter asks for are, by ascending place; their lengths are not looked at. */
    const Occurrences &matching(const Filter &filter) const;

    const StoredSection &operator[](u32 section) const { return stored[section]; }
    const std::vector<StoredSection> &sections() const { return stored; }
    uint64_t notStored() const { return leftOut; }

private:
    struct Key {
        u16 pid;
        std::string_view bytes;
        bool operator==(const Key &other) const { return pid == other.pid && bytes == other.bytes; }
    };
    struct KeyHash {
        size_t operator()(const Key &key) const { return std::hash<std::string_view>()(key.bytes) ^ key.pid; }
    };

    bool store(u16 pid, const u8 *section, u16 length, uint64_t packet);
    const u8 *copy(const u8 *section, u16 length);
    void enter(u32 section);

    uint64_t byteLimit;
    uint64_t bytesUsed = 0;
    uint64_t leftOut = 0;
    u32 nextPlace = 0;
    size_t occurrenceCount = 0;
    std::vector<StoredSection> stored;
    std::unordered_map<Key, u32, KeyHash> known;
    std::unordered_map<uint64_t, Occurrences> groups; /**< by what a filter asks for, with and without extension */
    std::unordered_map<u16, uint64_t> bytesOfPid;
    std::vector<std::unique_ptr<u8[]>> blocks;
    size_t blockFree = 0;
};

} // namespace psi::demux

#endif // PSI_DEMUX_SECTION_INDEX_H
