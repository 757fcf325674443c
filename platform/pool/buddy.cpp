/**
 * @file buddy.cpp
 * @brief Memory pool after the binary buddy method, with lists by size in front of it; no bytes in front of a block.
 *
 * The arena is counted in units, the smallest blocks. A block of order k is 2^k units and starts at a multiple of 2^k;
 * the arena is cut into the largest such blocks that fit, so its size need not be a power of two. What is known about
 * blocks stands in one table in front of them, a word per unit, out of the way of a host's overruns:
 *
 *     | BuddyPool | entry[unitCount] | blocks, `unitCount` units |
 *
 * A live block has the lowest order that holds the size asked for, so the entry of its first unit, that size, tells its
 * order too. A small block that is freed is kept for the next request of its order: most requests and frees move a
 * block from or to such a list, whose links are entries of the table. What is kept is limited per order, and goes back
 * to its buddies before a request fails; the limit bounds the time of that as well.
 *
 * Only the links of the buddies' free lists lie in the (free) blocks themselves, within a host's reach. Before a block
 * is unlinked, both neighbours have to lead back to it; where they do not, the block stays where it is.
 */
#include "platform.h"

#include <stdio.h>
#include <string.h>

namespace psi::core {
namespace {

constexpr u32 smallestUnit = 2 * sizeof(void *); // the links of a free block
constexpr u32 poolLimit = 8;
constexpr u32 largestKeptShift = 12;   // blocks of up to 4096 bytes are kept: nodes, payloads, sections
constexpr u32 keptLimit = 16 * 1024;   // bytes of blocks of one order that are kept, at most
constexpr u32 keptShare = 128;         // of the pool's bytes one is for them
constexpr u32 stripLimit = 128 * 1024; // bytes of the strip, at most: a tree of the largest section
constexpr u32 stripShare = 64;         // of the pool's bytes one is the strip
constexpr u32 leastStrip = 4 * 1024;   // a smaller one holds few trees

} // namespace

struct FreeBlock {
    FreeBlock *next;
    FreeBlock *prev;
};

namespace {

/** The pools there are. An identifier is looked up here and never followed before. Initialised without code. */
BuddyPool *pools[poolLimit] = {};

u32 lowestBit(u32 value)
{
    return static_cast<u32>(__builtin_ctz(static_cast<unsigned>(value)));
}

BuddyPool *findPool(psiPoolId id)
{
    for (BuddyPool *pool : pools)
        if (pool != nullptr && reinterpret_cast<psiPoolId>(pool) == id)
            return pool;
    return nullptr;
}

bool replacePool(const BuddyPool *from, BuddyPool *to)
{
    for (BuddyPool *&slot : pools)
        if (slot == from) {
            slot = to;
            return true;
        }
    return false;
}

/* -------------------------------------------------- units and bytes ---------------------------------------------- */

/** Bytes asked for when the live block that starts at `p` was allocated; 0 for any other value of `p`. */
u32 liveSizeAt(const BuddyPool *pool, const void *p)
{
    const uintptr_t unit = unitAt(pool, p);
    const u32 entry = unit < pool->unitCount ? __atomic_load_n(&pool->entry[unit], __ATOMIC_RELAXED) : insideEntry;
    return entry <= largestSize ? entry : 0;
}

bool isFree(const BuddyPool *pool, uintptr_t unit, u32 order)
{
    return unit < pool->unitCount && pool->entry[unit] == (freeEntry | order);
}

/* ------------------------------------------------- the buddies' free lists -------------------------------------- */

PSI_NO_ASAN FreeBlock readLinks(const FreeBlock *block)
{
    return {block->next, block->prev};
}

PSI_NO_ASAN void writeNext(FreeBlock *block, FreeBlock *next)
{
    block->next = next;
}

PSI_NO_ASAN void writePrev(FreeBlock *block, FreeBlock *prev)
{
    block->prev = prev;
}

/** Every unit is aligned for a pair of pointers. */
FreeBlock *freeBlockAt(const BuddyPool *pool, u32 unit)
{
    return static_cast<FreeBlock *>(static_cast<void *>(addressOf(pool, unit)));
}

/** Read without the mutex as well. */
void noteNonEmpty(BuddyPool *pool, u32 orders)
{
    __atomic_store_n(&pool->nonEmpty, orders, __ATOMIC_RELAXED);
}

void linkFree(BuddyPool *pool, u32 unit, u32 order)
{
    FreeBlock *block = freeBlockAt(pool, unit);
    FreeBlock *next = pool->freeList[order];
    writeNext(block, next);
    writePrev(block, nullptr);
    if (next != nullptr)
        writePrev(next, block);
    pool->freeList[order] = block;
    pool->freeCount[order]++;
    noteNonEmpty(pool, pool->nonEmpty | u32{1} << order);
    setEntry(pool, unit, freeEntry | order);
}

bool isFreeBlock(const BuddyPool *pool, const FreeBlock *block, u32 order)
{
    return isFree(pool, unitAt(pool, block), order);
}

/** Whether both neighbours of a free block are free blocks of its order and lead back to it. */
bool linksHold(const BuddyPool *pool, const FreeBlock *block, const FreeBlock &links, u32 order)
{
    const bool prevHolds = links.prev == nullptr
                               ? pool->freeList[order] == block
                               : isFreeBlock(pool, links.prev, order) && readLinks(links.prev).next == block;
    return prevHolds &&
           (links.next == nullptr || (isFreeBlock(pool, links.next, order) && readLinks(links.next).prev == block));
}

/** @return false, and the block stays on its list, when somebody wrote over its links */
bool unlinkFree(BuddyPool *pool, u32 unit, u32 order)
{
    const FreeBlock *block = freeBlockAt(pool, unit);
    const FreeBlock links = readLinks(block);
    if (!linksHold(pool, block, links, order))
        return false;
    if (links.prev != nullptr)
        writeNext(links.prev, links.next);
    else
        pool->freeList[order] = links.next;
    if (links.next != nullptr)
        writePrev(links.next, links.prev);
    if (--pool->freeCount[order] == 0)
        noteNonEmpty(pool, pool->nonEmpty & ~(u32{1} << order));
    setEntry(pool, unit, insideEntry);
    return true;
}

/* -------------------------------------------------------- buddies ------------------------------------------------ */

/** Cut a block down from one order to a lower one; the upper halves become free. */
void split(BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    while (from > to) {
        from--;
        linkFree(pool, unit + (u32{1} << from), from);
    }
}

/** A block of an order, cut from the smallest free one that holds it; noUnit when there is none. */
u32 cutBlock(BuddyPool *pool, u32 order)
{
    for (u32 orders = pool->nonEmpty >> order << order; orders != 0; orders &= orders - 1) {
        const u32 from = lowestBit(orders);
        const auto unit = static_cast<u32>(unitAt(pool, pool->freeList[from]));
        if (unlinkFree(pool, unit, from)) {
            split(pool, unit, from, order);
            pool->cut += bytesOf(pool, order);
            pool->cutBlocks++;
            return unit;
        }
    }
    return noUnit;
}

/** Make a live or kept block free, as one with its buddy, when that is free, and so on. */
void mergeBlock(BuddyPool *pool, u32 unit, u32 order)
{
    setEntry(pool, unit, insideEntry);
    pool->cut -= bytesOf(pool, order);
    pool->cutBlocks--;
    for (;; order++) {
        const u32 buddy = unit ^ u32 { 1 } << order;
        if (!isFree(pool, buddy, order) || !unlinkFree(pool, buddy, order))
            break;
        unit &= buddy;
    }
    linkFree(pool, unit, order);
}

/* ------------------------------------------------------- the strip ---------------------------------------------- */

/** Call for the blocks into which units are cut, as large as they can be: call(unit, order). */
template <class Call> void forBlocks(u32 unit, u32 end, Call call)
{
    while (unit != end) {
        const u32 fits = highestBit(end - unit);
        const u32 order = unit != 0 && lowestBit(unit) < fits ? lowestBit(unit) : fits;
        call(unit, order);
        unit += u32{1} << order;
    }
}

/** Call for the free blocks of which a strip is made, besides the live ones. */
template <class Call> void forFreeBlocks(const BuddyPool *pool, const Strip &strip, Call call)
{
    const u32 end = strip.first + strip.units;
    for (u32 unit = strip.first; unit != end;) {
        const u32 hole = unit;
        while (unit != end && pool->entry[unit] == insideEntry)
            unit++;
        forBlocks(hole, unit, call);
        if (unit != end)
            unit += unitsOf(pool->unitShift, pool->entry[unit]);
    }
}

/** Units of live blocks from one unit to another. */
u32 unitsLive(const BuddyPool *pool, u32 from, u32 end)
{
    u32 units = 0;
    for (u32 unit = from; unit != end; unit++)
        if (pool->entry[unit] != insideEntry)
            units += unitsOf(pool->unitShift, pool->entry[unit]);
    return units;
}

/** What was freed in the strip is counted, once, when somebody asks. */
void countFreed(BuddyPool *pool)
{
    Strip &strip = pool->strip;
    if (!poolInPlace || !strip.freed)
        return;
    strip.liveUnits = unitsLive(pool, strip.first, strip.low) + unitsLive(pool, strip.high, strip.first + strip.units);
    strip.freed = false;
}

/** A strip in which nothing lives is one free block. @return whether there is none any more */
bool removeEmptyStrip(BuddyPool *pool)
{
    const Strip strip = pool->strip;
    if (!poolInPlace || strip.units == 0)
        return true;
    if (strip.live != 0)
        return false;
    pool->strip = {};
    mergeBlock(pool, strip.first, highestBit(strip.units));
    return true;
}

/** What is live in the strip is a block like any other, and the rest is free. */
void dissolveStrip(BuddyPool *pool)
{
    if (removeEmptyStrip(pool))
        return;
    countFreed(pool);
    const Strip strip = pool->strip;
    pool->cut -= (strip.units - strip.liveUnits) << pool->unitShift;
    pool->cutBlocks += strip.live - 1;
    pool->strip = {};
    forFreeBlocks(pool, strip, [pool](u32 unit, u32 order) { linkFree(pool, unit, order); });
}

void cutStrip(BuddyPool *pool)
{
    const u32 share = (pool->unitCount << pool->unitShift) / stripShare;
    const u32 bytes = share < stripLimit ? share : stripLimit;
    if (bytes < leastStrip || pool->unitShift != defaultUnitShift)
        return;
    const u32 order = highestBit(bytes >> pool->unitShift);
    const u32 unit = cutBlock(pool, order);
    if (unit == noUnit)
        return;
    const u32 units = u32{1} << order;
    pool->strip = {{unit, unit + units, 0, 0}, unit, units, false, {}};
}

/**
 * What was freed beside the room of the strip is room. When as much is taken as before the last tree, that is what
 * went, and nothing has to be counted.
 */
void takeBackRoom(BuddyPool *pool)
{
    Strip &strip = pool->strip;
    const u32 *low = pool->entry + strip.low;
    const u32 *high = pool->entry + strip.high;
    const u32 *const first = pool->entry + strip.first;
    while (low != first && low[-i32{laidNodeUnits}] == insideEntry)
        low -= laidNodeUnits;
    while (high != first + strip.units && *high == insideEntry)
        high++;
    strip.low = static_cast<u32>(low - pool->entry);
    strip.high = static_cast<u32>(high - pool->entry);
    const StripUse &before = strip.before;
    if (strip.low == before.low && strip.high == before.high && strip.live == before.live) {
        strip.liveUnits = before.liveUnits;
        strip.freed = false;
    }
    strip.before = strip.freed ? StripUse{} : strip;
}

/* --------------------------------------------------- lists by size ----------------------------------------------- */

/** Blocks are kept of the orders below this one. */
u32 keptOrders(const BuddyPool *pool)
{
    return pool->unitShift <= largestKeptShift ? largestKeptShift - pool->unitShift + 1 : 0;
}

/** How many blocks of such an order may be kept. */
u32 keptRoom(const BuddyPool *pool, u32 order)
{
    const u32 share = (pool->unitCount << pool->unitShift) / keptShare;
    return (share < keptLimit ? share : keptLimit) >> (pool->unitShift + order);
}

/** All blocks that are kept go back to their buddies. */
void releaseKept(BuddyPool *pool)
{
    for (u32 order = 0; order < keptOrders(pool); order++) {
        KeptBlocks &kept = pool->kept[order];
        while (kept.first != noUnit) {
            const u32 unit = kept.first;
            kept.first = pool->entry[unit] & noUnit;
            kept.room++;
            mergeBlock(pool, unit, order);
        }
    }
}

/** Everything that is not live is free. */
void releaseAll(BuddyPool *pool)
{
    dissolveStrip(pool);
    releaseKept(pool);
}

/** A block of an order of which none is kept. */
u32 takeUnkept(BuddyPool *pool, u32 order)
{
    const u32 unit = cutBlock(pool, order);
    if (unit != noUnit)
        return unit;
    releaseAll(pool);
    return cutBlock(pool, order);
}

/* ------------------------------------------------------ occupancy ------------------------------------------------ */

/** What is handed out: what was cut from the arena but for what is kept. More bytes than that before countFreed(). */
BlockSum liveOf(const BuddyPool *pool)
{
    BlockSum live = {pool->cutBlocks, pool->cut};
    if (const Strip &strip = pool->strip; poolInPlace && strip.units != 0) {
        live.blocks -= 1 - strip.live;
        live.bytes -= (strip.units - strip.liveUnits) << pool->unitShift;
    }
    live.blocks -= pool->keptLimits.blocks;
    live.bytes -= pool->keptLimits.bytes;
    for (u32 order = 0; order < keptOrders(pool); order++) {
        live.blocks += pool->kept[order].room;
        live.bytes += pool->kept[order].room * bytesOf(pool, order);
    }
    return live;
}

u32 highWaterOf(const BuddyPool *pool, u32 used)
{
    return used > pool->highWater ? used : pool->highWater;
}

/* ------------------------------------------------------ live blocks ---------------------------------------------- */

/** The long way of an allocation, which may fail. */
__attribute__((noinline)) void *allocateUnkept(BuddyPool *pool, u32 size)
{
    const bool possible = size - 1 < largestSize;
    const u32 order = possible ? orderOf(pool, size) : 0;
    const u32 unit = possible ? takeUnkept(pool, order) : noUnit;
    if (unit != noUnit) {
        pool->grown = true;
        noteSize(pool, unit, order, size);
        return addressOf(pool, unit);
    }
    __atomic_store_n(&pool->failedAllocs, pool->failedAllocs + 1, __ATOMIC_RELAXED);
    return nullptr;
}

/** Whether a block can take in its right neighbours until it has a higher order. */
bool canGrow(const BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    for (u32 order = from; order < to; order++) {
        const u32 half = u32{1} << order;
        if ((unit & half) != 0 || !isFree(pool, unit + half, order))
            return false;
    }
    return true;
}

/** Take in right neighbours. @return the order that was reached */
u32 grow(BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    while (from < to && unlinkFree(pool, unit + (u32{1} << from), from))
        from++;
    return from;
}

/** Bring a live block to another order where it is. @return false when it has to move: nothing changed then */
bool changeOrder(BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    if (to > from) {
        if (!canGrow(pool, unit, from, to))
            releaseAll(pool); // neighbours may be among them
        if (!canGrow(pool, unit, from, to))
            return false;
    }
    const u32 reached = grow(pool, unit, from, to);
    const u32 order = reached < to ? from : to;
    split(pool, unit, reached, order);
    return order == to;
}

bool resizeInPlace(BuddyPool *pool, u32 unit, u32 size)
{
    const u32 from = orderOf(pool, pool->entry[unit]);
    const u32 to = orderOf(pool, size);
    notePeak(pool);
    if (unit - pool->strip.first < pool->strip.units)
        dissolveStrip(pool);
    if (!changeOrder(pool, unit, from, to))
        return false;
    pool->cut += bytesOf(pool, to) - bytesOf(pool, from);
    pool->grown = true;
    if (to < from)
        asanPoison(addressOf(pool, unit), bytesOf(pool, from));
    noteSize(pool, unit, to, size);
    return true;
}

/* -------------------------------------------------------- set-up ------------------------------------------------- */

u32 unitShiftOf(u32 minBlock)
{
    u32 unit = minBlock != 0 ? minBlock : u32{1} << defaultUnitShift;
    unit = unit < smallestUnit ? smallestUnit : unit;
    return highestBit(unit - 1) + 1;
}

void setUpBlocks(BuddyPool *pool)
{
    for (KeptBlocks &kept : pool->kept)
        kept = {noUnit, 0};
    for (u32 order = 0; order < keptOrders(pool); order++) {
        const u32 room = keptRoom(pool, order);
        pool->kept[order].room = room;
        pool->keptLimits.blocks += room;
        pool->keptLimits.bytes += room * bytesOf(pool, order);
    }
    u32 order;
    for (u32 unit = 0; unit < pool->unitCount; unit += u32{1} << order) {
        order = highestBit(pool->unitCount - unit);
        linkFree(pool, unit, order);
    }
    asanPoison(pool->blocks, static_cast<size_t>(pool->unitCount) << pool->unitShift);
}

/** Bytes in front of the blocks, such that these start at a cache line. */
u32 headSizeOf(u32 unitCount)
{
    constexpr u32 line = 64;
    return (static_cast<u32>(sizeof(BuddyPool)) + unitCount * static_cast<u32>(sizeof(u32)) + line - 1) / line * line;
}

BuddyPool *setUpPool(void *arena, u32 headSize, u32 mapSize, u32 unitCount, u32 unitShift)
{
    auto *pool = static_cast<BuddyPool *>(arena);
    pool->blocks = static_cast<u8 *>(arena) + headSize;
    pool->entry = reinterpret_cast<u32 *>(pool + 1);
    pool->unitCount = unitCount;
    pool->unitShift = unitShift;
    pool->mapSize = mapSize;
    pool->mutex = osMutexCreate(MutexUse::pool);
    setUpBlocks(pool);
    asanAddRoots(arena, mapSize);
    return pool;
}

void tearDownPool(BuddyPool *pool)
{
    asanUnpoison(pool->blocks, static_cast<size_t>(pool->unitCount) << pool->unitShift);
    asanRemoveRoots(pool, pool->mapSize);
    osMutexDelete(pool->mutex);
    osArenaUnmap(pool, pool->mapSize);
}

/* -------------------------------------------------------- report ------------------------------------------------- */

/** Call for the free blocks that the strip would leave: call(order). */
template <class Call> void forStripsBlocks(const BuddyPool *pool, Call call)
{
    if (poolInPlace)
        forFreeBlocks(pool, pool->strip, [call](u32, u32 order) { call(order); });
}

u32 largestFreeOf(const BuddyPool *pool)
{
    u32 orders = pool->nonEmpty;
    forStripsBlocks(pool, [&orders](u32 order) { orders |= u32{1} << order; });
    return orders != 0 ? bytesOf(pool, highestBit(orders)) : 0;
}

BuddyStat readStat(BuddyPool *pool)
{
    BuddyStat stat = {};
    countFreed(pool);
    const BlockSum live = liveOf(pool);
    stat.size = pool->unitCount << pool->unitShift;
    stat.used = live.bytes;
    stat.free = stat.size - stat.used;
    stat.largestFree = largestFreeOf(pool);
    stat.highWater = highWaterOf(pool, live.bytes);
    stat.liveBlocks = live.blocks;
    stat.failedAllocs = pool->failedAllocs;
    stat.refusedFrees = pool->refusedFrees;
    return stat;
}

unsigned long printable(uintptr_t value)
{
    return static_cast<unsigned long>(value);
}

void printTotals(const BuddyPool *pool, const BuddyStat &stat)
{
    printf("buddy pool 0x%lx: %lu bytes, smallest block %lu\r\n", printable(reinterpret_cast<psiPoolId>(pool)),
           printable(stat.size), printable(bytesOf(pool, 0)));
    printf("  used           %10lu bytes in %lu blocks\r\n", printable(stat.used), printable(stat.liveBlocks));
    printf("  free           %10lu bytes, largest block %lu\r\n", printable(stat.free), printable(stat.largestFree));
    printf("  high-water mark%10lu bytes\r\n", printable(stat.highWater));
    printf("  failed allocations %lu, refused frees %lu\r\n", printable(stat.failedAllocs),
           printable(stat.refusedFrees));
}

void printFreeBlocks(const BuddyPool *pool, const u32 *freeCount)
{
    for (u32 order = 0; order < orderLimit; order++)
        if (freeCount[order] != 0)
            printf("  free blocks of %10lu bytes: %lu\r\n", printable(bytesOf(pool, order)),
                   printable(freeCount[order]));
}

} // namespace

void notePeak(BuddyPool *pool)
{
    if (!pool->grown)
        return;
    pool->grown = false;
    if (liveOf(pool).bytes <= pool->highWater)
        return;
    countFreed(pool);
    pool->highWater = highWaterOf(pool, liveOf(pool).bytes);
}

bool readyStrip(BuddyPool *pool, u32 units)
{
    Strip &strip = pool->strip;
    if (!poolInPlace)
        return false;
    if (strip.units == 0)
        cutStrip(pool);
    if (strip.live == 0)
        strip = {{strip.first, strip.first + strip.units, 0, 0}, strip.first, strip.units, false, {}};
    else
        takeBackRoom(pool);
    return hasRoom(strip, units);
}

psiPoolId buddy_create(u32 size, u32 minBlock)
{
    constexpr u32 largestUnit = 0x80000000;
    if (minBlock > largestUnit)
        return 0;
    const u32 unitShift = unitShiftOf(minBlock);
    const u32 unitCount = size >> unitShift;
    const u32 blockBytes = unitCount << unitShift;
    const u32 headSize = headSizeOf(unitCount);
    if (unitCount == 0 || blockBytes > UINT32_MAX - headSize)
        return 0;
    const u32 mapSize = headSize + blockBytes;
    void *arena = osArenaMap(mapSize, headSize);
    if (arena == nullptr)
        return 0;
    BuddyPool *pool = setUpPool(arena, headSize, mapSize, unitCount, unitShift);
    if (pool->mutex == 0 || !replacePool(nullptr, pool)) {
        tearDownPool(pool);
        return 0;
    }
    return reinterpret_cast<psiPoolId>(pool);
}

i32 buddy_destroy(psiPoolId id)
{
    BuddyPool *pool = findPool(id);
    if (pool == nullptr)
        return -1;
    replacePool(pool, nullptr);
    tearDownPool(pool);
    return 0;
}

void PoolGuard::open(const void *id)
{
    BuddyPool *const pool = findPool(reinterpret_cast<psiPoolId>(id));
    if (pool != nullptr && osMutexTake(pool->mutex))
        pool_ = inPlace_ = pool;
}

PoolGuard::~PoolGuard()
{
    if (pool_ != nullptr)
        osMutexGive(pool_->mutex);
}

void *PoolGuard::allocate(u32 size)
{
    if (pool_ == nullptr)
        return nullptr;
    void *const block = takeKeptBlock(pool_, size);
    return block != nullptr ? block : allocateUnkept(pool_, size);
}

i32 PoolGuard::release(void *p)
{
    BuddyPool *pool = pool_;
    if (pool == nullptr || p == nullptr)
        return pool != nullptr ? 0 : -1;
    notePeak(pool);
    if (u32 freed = 0; poolInPlace && StripRelease(pool).release(p, freed)) {
        noteFreed(pool->strip, freed);
        return 0;
    }
    if (keepBlock(pool, p))
        return 0;
    const u32 size = liveSizeAt(pool, p);
    if (size == 0) {
        pool->refusedFrees++;
        return -1;
    }
    const u32 order = orderOf(pool, size);
    asanPoison(p, bytesOf(pool, order));
    mergeBlock(pool, static_cast<u32>(unitAt(pool, p)), order);
    return 0;
}

bool PoolGuard::resize(void *p, u32 size)
{
    return pool_ != nullptr && size - 1 < largestSize && resizeInPlace(pool_, static_cast<u32>(unitAt(pool_, p)), size);
}

bool PoolGuard::isLive(const void *p)
{
    if (pool_ == nullptr)
        return false;
    const bool live = liveSizeAt(pool_, p) != 0;
    pool_->refusedFrees += !live;
    return live;
}

void PoolGuard::settle()
{
    if (pool_ == nullptr)
        return;
    removeEmptyStrip(pool_);
    releaseKept(pool_);
}

i32 PoolGuard::stat(BuddyStat *stat, u32 *freeCount) const
{
    if (pool_ == nullptr || stat == nullptr)
        return -1;
    *stat = readStat(pool_);
    if (freeCount != nullptr) {
        memcpy(freeCount, pool_->freeCount, sizeof pool_->freeCount);
        forStripsBlocks(pool_, [freeCount](u32 order) { freeCount[order]++; });
    }
    return 0;
}

void *buddy_realloc(psiPoolId id, void *p, u32 size)
{
    void *moved;
    {
        PoolGuard pool(id);
        if (p == nullptr)
            return pool.allocate(size);
        if (size == 0) {
            pool.release(p);
            return nullptr;
        }
        if (!pool.isLive(p))
            return nullptr;
        if (pool.resize(p, size))
            return p;
        moved = pool.allocate(size);
    }
    if (moved != nullptr) { // to grow: a block shrinks where it is
        memcpy(moved, p, buddy_size(id, p));
        buddy_free(id, p);
    }
    return moved;
}

u32 buddy_size(psiPoolId id, const void *p)
{
    const BuddyPool *pool = findPool(id);
    return pool != nullptr ? liveSizeAt(pool, p) : 0;
}

u32 buddy_failedAllocs(psiPoolId id)
{
    const BuddyPool *pool = findPool(id);
    return pool != nullptr ? __atomic_load_n(&pool->failedAllocs, __ATOMIC_RELAXED) : 0;
}

bool buddy_could(psiPoolId id, u32 size)
{
    const BuddyPool *pool = findPool(id);
    if (pool == nullptr || size - 1 >= largestSize)
        return false;
    const u32 order = orderOf(pool, size);
    if (__atomic_load_n(&pool->nonEmpty, __ATOMIC_RELAXED) >> order != 0)
        return true;
    BuddyStat stat = {};
    buddy_stat(id, &stat); // which brings the blocks that are kept together
    return stat.largestFree >= size;
}

i32 buddy_report(psiPoolId id, u32 arg, u32 /*reserved*/)
{
    BuddyStat stat;
    u32 freeCount[orderLimit];
    {
        PoolGuard guard(id);
        guard.settle();
        if (guard.stat(&stat, freeCount) == -1)
            return -1;
    }
    const BuddyPool *pool = findPool(id);
    printTotals(pool, stat);
    if (arg != 0)
        printFreeBlocks(pool, freeCount);
    return 0;
}

} // namespace psi::core
