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
constexpr u32 noUnit = 0x3FFFFFFF; // fits in a link

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

/**
 * @brief A block within which trees are laid: small live blocks beside each other, nodes, which are all of one size,
 * from its beginning on, and bytes from its end on.
 *
 * What is freed in it is room again when all of it is: mostly one tree comes and goes. As soon as anything else wants
 * the room it is live and free blocks like all others.
 */
struct Strip {
    u32 first;
    u32 units; // 0: there is none
    u32 low;   // from this unit
    u32 high;  // to this one there is room
    u32 nodeUnits;
    u32 byteBlocks; // that were laid
    u32 gaps;       // units that were skipped, so that a block starts at a multiple of its units
    u32 freed;      // blocks of what was laid
    u32 counted;    // of them, whose units are known:
    u32 freedUnits;
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
    u32 cut;                     // bytes of the blocks that are live or kept
    u32 cutBlocks;               // and their number
    u32 highWater;
    u32 failedAllocs;
    u32 refusedFrees;
    u32 nonEmpty;                    // bit k: there are free blocks of order k
    FreeBlock *freeList[orderLimit]; // per order
    u32 freeCount[orderLimit];       // per order
};

inline u32 highestBit(u32 value)
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
inline u32 unitsOf(const BuddyPool *pool, u32 size)
{
    const u32 last = (size - 1) >> pool->unitShift;
    return last == 0 ? 1 : u32{2} << highestBit(last);
}

inline u8 *addressOf(const BuddyPool *pool, u32 unit)
{
    return pool->blocks + (static_cast<size_t>(unit) << pool->unitShift);
}

/** @brief The unit that starts at `p`; a number that no unit has when none does. */
inline uintptr_t unitAt(const BuddyPool *pool, const void *p)
{
    constexpr u32 bits = 8 * sizeof(uintptr_t);
    const uintptr_t offset = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(pool->blocks);
    return offset >> pool->unitShift | offset << (bits - pool->unitShift) % bits; // odd bytes go to the top
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

/** @brief Whether nodes of so many bytes can be laid; there need not be room. */
inline bool areLaid(const BuddyPool *pool, u32 size)
{
    return unitsOf(pool, size) == pool->strip.nodeUnits;
}

/** @brief A live block in the strip. */
inline u8 *markLaid(BuddyPool *pool, u32 unit, u32 units, u32 size)
{
    u8 *const block = addressOf(pool, unit);
    setEntry(pool, unit, size);
    asanUnpoison(block, size);
    asanPoison(block + size, (static_cast<size_t>(units) << pool->unitShift) - size);
    pool->grown = true;
    return block;
}

/** @brief Lay a node of a size that areLaid(). @return null when there is no room */
inline void *layNode(BuddyPool *pool, u32 size)
{
    Strip &strip = pool->strip;
    const u32 unit = strip.low;
    const u32 room = strip.high - unit;
    if (room == 0 || room < strip.nodeUnits) // the strip may be gone since
        return nullptr;
    strip.low = unit + strip.nodeUnits;
    return markLaid(pool, unit, strip.nodeUnits, size);
}

/** @brief Lay 1 to largestSize bytes. @return null when there is no room */
inline void *layBytes(BuddyPool *pool, u32 size)
{
    Strip &strip = pool->strip;
    u32 units = 1;
    u32 gap = 0;
    if ((size - 1) >> pool->unitShift != 0) {
        units = unitsOf(pool, size);
        gap = strip.high & (units - 1);
    }
    if (strip.high - strip.low < units + gap)
        return nullptr;
    strip.gaps += gap;
    strip.high -= units + gap;
    strip.byteBlocks++;
    return markLaid(pool, strip.high, units, size);
}

/** @brief Gives back live blocks of the strip, whose peak is noted, and which is told how many afterwards. */
class StripRelease {
public:
    /** @brief One that knows of no strip. */
    StripRelease() = default;
    explicit StripRelease(const BuddyPool *pool)
        : entries_(pool->entry + pool->strip.first), blocks_(addressOf(pool, pool->strip.first)),
          units_(pool->strip.units), unitShift_(pool->unitShift)
    {
    }

    /** @return false when it is no live block of the strip: nothing happened */
    bool release(const void *p) const
    {
        constexpr u32 bits = 8 * sizeof(uintptr_t);
        const uintptr_t offset = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(blocks_);
        const uintptr_t unit = offset >> unitShift_ | offset << (bits - unitShift_) % bits; // odd bytes go to the top
        if (unit >= units_ || entries_[unit] - 1 >= largestSize)
            return false;
        asanPoison(p, entries_[unit]);
        __atomic_store_n(entries_ + unit, insideEntry, __ATOMIC_RELAXED);
        return true;
    }

private:
    u32 *entries_ = nullptr;
    const u8 *blocks_ = nullptr;
    u32 units_ = 0;
    u32 unitShift_ = 0;
};

/**
 * @brief Keep a live block, if there is room; the peak is noted.
 * @return false when it is none or there is no room: nothing happened
 */
inline bool keepBlock(BuddyPool *pool, const void *p)
{
    const uintptr_t unit = unitAt(pool, p);
    const u32 size = unit < pool->unitCount ? pool->entry[unit] : insideEntry;
    if (size - 1 >= largestSize)
        return false;
    if (poolInPlace && unit - pool->strip.first < pool->strip.units) {
        StripRelease(pool).release(p);
        pool->strip.freed++;
        return true;
    }
    return KeptOrder(pool, orderOf(pool, size)).keep(unit);
}

/** @brief See that there is room for a tree in the strip. @return false when the pool is too small for one */
bool readyStrip(BuddyPool *pool);

/** @brief To be called before fewer bytes are used: the high-water mark is looked at where use ends to grow. */
void notePeak(BuddyPool *pool);

} // namespace psi::core

#endif
