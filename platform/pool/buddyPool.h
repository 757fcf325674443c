/**
 * @file buddyPool.h
 * @brief What a pool knows about its blocks, and the short ways of a small block out of a pool and back.
 *
 * buddy.cpp tells how a pool is laid out, and has everything else.
 */
#ifndef PSI_BUDDY_POOL_H
#define PSI_BUDDY_POOL_H

#include "asan.h"
#include "os.h"
#include "psi.h"

namespace psi::core {

/** @brief Are the short ways compiled in where they are taken? Not in a small build, which calls them. */
#ifdef __OPTIMIZE_SIZE__
constexpr bool poolInPlace = false;
#define PSI_IN_PLACE inline
#else
constexpr bool poolInPlace = true;
#define PSI_IN_PLACE __attribute__((always_inline)) inline
#endif

constexpr u32 orderLimit = 32;
constexpr u32 noUnit = 0x3FFFFFFF;  // fits in a link
constexpr u32 defaultUnitShift = 5; // blocks of 32 bytes or more

/**
 * @name Entries
 *
 * 0 inside of a block; the size asked for, up to `largestSize`, at the start of a live one; a mark and the order at
 * that of a free one; a mark and the next one's unit, or noUnit, at that of a block that is kept for its size.
 * @{
 */
constexpr u32 insideEntry = 0;
constexpr u32 largestSize = 0x7FFFFFFF;
constexpr u32 freeEntry = 0x80000000;
constexpr u32 keptEntry = 0xC0000000;
/** @} */

/** @brief Blocks of one order that were freed and are kept: the first one's unit, and how many more may be. */
struct KeptBlocks {
    u32 first;
    u32 room;
};

/** @brief Blocks, and their bytes. */
struct BlockSum {
    u32 blocks;
    u32 bytes;
};

/** @brief What of a strip is taken. */
struct StripUse {
    u32 low;  // from this unit
    u32 high; // to this one there is room
    u32 live; // blocks
    u32 liveUnits;
};

/**
 * @brief A block within which trees are laid: small live blocks beside each other, nodes, which are all of one size,
 * from its beginning on, and bytes from its end on.
 *
 * What is freed in it is room again when nothing live is left between it and the room: mostly one tree comes and goes.
 * Where trees stay, the next ones go elsewhere: there is one strip, so that no more than its share of the pool is in
 * pieces through it. When a request finds no room it is live and free blocks like all others; who only looks at the
 * pool is told of these blocks, and it stays. Only pools whose smallest block is the default one have one, for what is
 * known when this is compiled need not be worked out for each block.
 */
struct Strip : StripUse {
    u32 first;
    u32 units;       // 0: there is none
    bool freed;      // since liveUnits were counted, which are fewer then
    StripUse before; // the last tree that was laid; nothing when that is not known
};

struct FreeBlock;

/** @brief A pool, in front of its arena. */
struct BuddyPool {
    u8 *blocks;
    u32 *entry;
    u32 unitCount;
    u32 unitShift;               // a unit is 1 << unitShift bytes
    u32 mapSize;                 // of the whole arena in bytes
    KeptBlocks kept[orderLimit]; // per order; no room for large ones
    psiSemId mutex;              // over all but the first five
    Strip strip;                 // where poolInPlace
    bool grown;                  // since the high-water mark was looked at
    BlockSum keptLimits;         // what may be kept of all orders together
    u32 cut;                     // bytes of the blocks that are live or kept
    u32 cutBlocks;               // and their number
    u32 highWater;
    u32 failedAllocs;
    u32 refusedFrees;
    u32 nonEmpty;                    // bit k: there are free blocks of order k
    FreeBlock *freeList[orderLimit]; // per order
    u32 freeCount[orderLimit];       // per order
};

constexpr u32 highestBit(u32 value)
{
    return 31 - static_cast<u32>(__builtin_clz(static_cast<unsigned>(value)));
}

/** @param size 1 to largestSize; any other gives an order, too, but one of which no block is kept */
inline u32 orderOf(const BuddyPool *pool, u32 size)
{
    return highestBit((size - 1) >> pool->unitShift << 1 | 1);
}

inline u32 bytesOf(const BuddyPool *pool, u32 order)
{
    return u32{1} << (pool->unitShift + order);
}

/** @brief Units of a live block. @param size 1 to largestSize */
constexpr u32 unitsOf(u32 unitShift, u32 size)
{
    const u32 last = (size - 1) >> unitShift;
    return last == 0 ? 1 : u32{2} << highestBit(last);
}

inline u8 *addressOf(const BuddyPool *pool, u32 unit)
{
    return pool->blocks + (static_cast<size_t>(unit) << pool->unitShift);
}

/** @brief The unit that starts at `p`; a number that no unit has when none does. */
inline uintptr_t unitAt(const u8 *blocks, u32 unitShift, const void *p)
{
    constexpr u32 bits = 8 * sizeof(uintptr_t);
    const uintptr_t offset = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(blocks);
    return offset >> unitShift | offset << (bits - unitShift) % bits; // odd bytes go to the top
}

inline uintptr_t unitAt(const BuddyPool *pool, const void *p)
{
    return unitAt(pool->blocks, pool->unitShift, p);
}

/** @brief Whether an entry is the size of a live block. */
inline bool isLive(u32 entry)
{
    return entry - 1 < largestSize;
}

/** @brief Entries are written under the mutex; buddy_size() reads them without it. */
inline void setEntry(BuddyPool *pool, uintptr_t unit, u32 entry)
{
    __atomic_store_n(&pool->entry[unit], entry, __ATOMIC_RELAXED);
}

/** @brief Note the size of a live block of an order; what lies behind it in the block is nobody's. */
inline void noteSize(BuddyPool *pool, u32 unit, u32 order, u32 size)
{
    const u8 *block = addressOf(pool, unit);
    setEntry(pool, unit, size);
    asanUnpoison(block, size);
    asanPoison(block + size, bytesOf(pool, order) - size);
}

/** @brief The blocks of one order that are kept, and what is done with one of them in place. */
class KeptOrder {
public:
    KeptOrder() = default;
    KeptOrder(BuddyPool *pool, u32 order) : pool_(pool), kept_(pool->kept + order) {}

    /** @brief Hand out a block for a request of `size` bytes, which need this order. @return null when none is kept */
    void *take(u32 size) const
    {
        const u32 unit = kept_->first;
        if (unit == noUnit)
            return nullptr;
        kept_->first = pool_->entry[unit] & noUnit;
        kept_->room++;
        pool_->grown = true;
        noteSize(pool_, unit, order(), size);
        return addressOf(pool_, unit);
    }

    /** @brief Keep the live block that starts at a unit; the peak is noted. @return false when there is no room */
    bool keep(uintptr_t unit) const
    {
        if (kept_->room == 0)
            return false;
        setEntry(pool_, unit, keptEntry | kept_->first);
        kept_->first = static_cast<u32>(unit);
        kept_->room--;
        asanPoison(addressOf(pool_, kept_->first), bytesOf(pool_, order()));
        return true;
    }

private:
    u32 order() const { return static_cast<u32>(kept_ - pool_->kept); }

    BuddyPool *pool_ = nullptr;
    KeptBlocks *kept_ = nullptr;
};

/** @brief Hand out a block that is kept for requests of this size. @return null when there is none */
inline void *takeKeptBlock(BuddyPool *pool, u32 size)
{
    return KeptOrder(pool, orderOf(pool, size)).take(size);
}

/** @brief Units of every node in the strip. */
constexpr u32 laidNodeUnits = unitsOf(defaultUnitShift, sizeof(descInfo));
/** @brief Bytes from one node to the next. */
constexpr u32 laidNodeStep = laidNodeUnits << defaultUnitShift;

/** @brief Whether nodes of so many bytes can be laid. */
constexpr bool areLaid(u32 size)
{
    return unitsOf(defaultUnitShift, size) == laidNodeUnits;
}

/** @brief Whether there is room for so many units, 1 or more; there is none when the strip went. */
inline bool hasRoom(const Strip &strip, u32 units)
{
    return strip.high - strip.low >= units;
}

/** @brief Lays blocks in the strip, for which there is room, while nobody else allocates or frees. */
class StripLayer {
public:
    explicit StripLayer(BuddyPool *pool)
        : pool_(pool), low_(addressOf(pool, pool->strip.low)), high_(addressOf(pool, pool->strip.high)),
          lowEntry_(pool->entry + pool->strip.low), highEntry_(pool->entry + pool->strip.high)
    {
    }
    ~StripLayer()
    {
        Strip &strip = pool_->strip;
        const u32 low = static_cast<u32>(lowEntry_ - pool_->entry);
        const u32 high = static_cast<u32>(highEntry_ - pool_->entry);
        const u32 nodeUnits = low - strip.low;
        const u32 byteUnits = strip.high - high - gaps_;
        strip.live += nodeUnits / laidNodeUnits + byteUnits - more_;
        strip.liveUnits += nodeUnits + byteUnits;
        strip.low = low;
        strip.high = high;
        pool_->grown = true;
    }
    StripLayer(const StripLayer &) = delete;
    StripLayer &operator=(const StripLayer &) = delete;

    /** @brief Where the next node will lie. */
    u8 *nextNode() const { return low_; }

    /** @brief Lay a node of a size that areLaid(). */
    PSI_IN_PLACE void *node(u32 size)
    {
        u8 *const block = low_;
        mark(block, lowEntry_, laidNodeUnits, size);
        low_ += laidNodeStep;
        lowEntry_ += laidNodeUnits;
        return block;
    }

    /** @brief Lay `size` bytes, 1 or more. */
    PSI_IN_PLACE u8 *bytes(u32 size)
    {
        u32 units = 1;
        if (size > 1U << defaultUnitShift) {
            units = unitsOf(defaultUnitShift, size);
            const u32 gap = static_cast<u32>(highEntry_ - pool_->entry) & (units - 1);
            more_ += units - 1;
            gaps_ += gap;
            high_ -= gap << defaultUnitShift;
            highEntry_ -= gap;
        }
        high_ -= units << defaultUnitShift;
        highEntry_ -= units;
        mark(high_, highEntry_, units, size);
        return high_;
    }

private:
    // clang-tidy 14 does not see that an atomic store writes. NOLINTNEXTLINE(readability-non-const-parameter)
    static void mark(const u8 *block, u32 *entry, u32 units, u32 size)
    {
        __atomic_store_n(entry, size, __ATOMIC_RELAXED);
        asanUnpoison(block, size);
        asanPoison(block + size, (static_cast<size_t>(units) << defaultUnitShift) - size);
    }

    BuddyPool *const pool_;
    u8 *low_;
    u8 *high_;
    u32 *lowEntry_;
    u32 *highEntry_;
    u32 more_ = 0; // units of byte blocks besides their first ones
    u32 gaps_ = 0; // units that were skipped, so that a block starts at a multiple of its units
};

/** @brief Gives back live blocks of the strip, whose peak is noted, as long as nothing is allocated. */
class StripRelease {
public:
    /** @brief One that knows of no strip. */
    StripRelease() = default;
    explicit StripRelease(const BuddyPool *pool)
        : entries_(pool->entry + pool->strip.first), blocks_(addressOf(pool, pool->strip.first)),
          units_(pool->strip.units)
    {
    }

    /**
     * @param freed counts the blocks, of which noteFreed() is to be told
     * @return false when it is no live block of the strip: nothing happened
     */
    bool release(const void *p, u32 &freed) const
    {
        const uintptr_t unit = unitAt(blocks_, defaultUnitShift, p);
        if (!poolInPlace || unit >= units_ || !isLive(entries_[unit]))
            return false;
        asanPoison(p, entries_[unit]);
        __atomic_store_n(entries_ + unit, insideEntry, __ATOMIC_RELAXED);
        freed++;
        return true;
    }

private:
    u32 *entries_ = nullptr;
    const u8 *blocks_ = nullptr;
    uintptr_t units_ = 0;
};

/** @brief So many blocks were released. */
inline void noteFreed(Strip &strip, u32 blocks)
{
    strip.live -= blocks;
    strip.freed = strip.freed || blocks != 0;
}

/**
 * @brief Keep a live block that is none of the strip, if there is room; the peak is noted.
 * @return false when it is no live block or there is no room: nothing happened
 */
inline bool keepBlock(BuddyPool *pool, const void *p)
{
    const uintptr_t unit = unitAt(pool, p);
    const u32 size = unit < pool->unitCount ? pool->entry[unit] : insideEntry;
    return isLive(size) && KeptOrder(pool, orderOf(pool, size)).keep(unit);
}

/** @brief See that there is room for a tree of so many units in the strip. @return false when there cannot be */
bool readyStrip(BuddyPool *pool, u32 units);

/** @brief To be called before fewer bytes are used: the high-water mark is looked at where use ends to grow. */
void notePeak(BuddyPool *pool);

} // namespace psi::core

#endif
