/**
 * @file buddy.cpp
 * @brief Memory pool after the binary buddy method: allocation and release in O(log n), no bytes in front of a block.
 *
 * The arena is counted in units, the smallest blocks. A block of order k is 2^k units and starts at a multiple of 2^k;
 * the arena is cut into the largest such blocks that fit, so its size need not be a power of two. What is known about
 * blocks stands in one table in front of them, a word per unit, out of the way of a host's overruns:
 *
 *     | BuddyPool | entry[unitCount] | blocks, `unitCount` units |
 *
 * Only the links of the free lists lie in the (free) blocks themselves. A live block has the lowest order that holds
 * the size asked for, so the entry of its first unit, that size, tells its order too.
 */
#include "asan.h"
#include "platform.h"

#include <stdio.h>
#include <string.h>

namespace psi::core {
namespace {

constexpr u32 defaultUnit = 32;
constexpr u32 smallestUnit = 2 * sizeof(void *); // the links of a free block
constexpr u32 orderLimit = 32;
constexpr u32 poolLimit = 8;
constexpr u32 noUnit = 0xFFFFFFFF;

/** Entries: 0 inside of a block, the size asked for at the start of a live one, a mark and the order at a free one. */
constexpr u32 insideEntry = 0;
constexpr u32 freeEntry = 0xC0000000; // above any size that fits into an arena

struct FreeBlock {
    FreeBlock *next;
    FreeBlock *prev;
};

} // namespace

/** A pool, in front of its arena. */
struct BuddyPool {
    u8 *blocks;
    u32 *entry;
    u32 unitCount;
    u32 unitShift;                   // a unit is 1 << unitShift bytes
    u32 mapSize;                     // of the whole arena in bytes
    psiSemId mutex;                  // over all below, the entries and the free lists
    u32 nonEmpty;                    // bit k: there are free blocks of order k
    FreeBlock *freeList[orderLimit]; // per order
    u32 freeCount[orderLimit];       // per order
    u32 used;
    u32 highWater;
    u32 liveBlocks;
    u32 failedAllocs;
    u32 refusedFrees;
};

namespace {

/** The pools there are. An identifier is looked up here and never followed before. Initialised without code. */
BuddyPool *pools[poolLimit] = {};

u32 highestBit(u32 value)
{
    return 31 - static_cast<u32>(__builtin_clz(value));
}

u32 lowestBit(u32 value)
{
    return static_cast<u32>(__builtin_ctz(value));
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
    for (BuddyPool *&slot : pools) {
        if (slot == from) {
            slot = to;
            return true;
        }
    }
    return false;
}

/* -------------------------------------------------- units and bytes ---------------------------------------------- */

u32 orderOf(const BuddyPool *pool, u32 size)
{
    const u32 lastUnit = (size - 1) >> pool->unitShift;
    return lastUnit == 0 ? 0 : highestBit(lastUnit) + 1;
}

u32 bytesOf(const BuddyPool *pool, u32 order)
{
    return 1U << (pool->unitShift + order);
}

u8 *addressOf(const BuddyPool *pool, u32 unit)
{
    return pool->blocks + (static_cast<size_t>(unit) << pool->unitShift);
}

u32 unitOf(const BuddyPool *pool, const void *p)
{
    const auto offset = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(pool->blocks);
    return static_cast<u32>(offset >> pool->unitShift);
}

/** The unit at which a live block starts, or noUnit for any other value of `p`. */
u32 liveUnitOf(const BuddyPool *pool, const void *p)
{
    const auto offset = reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(pool->blocks);
    const uintptr_t unit = offset >> pool->unitShift;
    if (unit >= pool->unitCount || unit << pool->unitShift != offset) {
        return noUnit;
    }
    const u32 entry = pool->entry[unit];
    return entry != insideEntry && entry < freeEntry ? static_cast<u32>(unit) : noUnit;
}

bool isFree(const BuddyPool *pool, u32 unit, u32 order)
{
    return unit < pool->unitCount && pool->entry[unit] == (freeEntry | order);
}

/* ------------------------------------------------------ free lists ----------------------------------------------- */

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
    if (next != nullptr) {
        writePrev(next, block);
    }
    pool->freeList[order] = block;
    pool->freeCount[order]++;
    noteNonEmpty(pool, pool->nonEmpty | 1U << order);
    pool->entry[unit] = freeEntry | order;
}

void unlinkFree(BuddyPool *pool, u32 unit, u32 order)
{
    const FreeBlock links = readLinks(freeBlockAt(pool, unit));
    if (links.prev != nullptr) {
        writeNext(links.prev, links.next);
    } else {
        pool->freeList[order] = links.next;
    }
    if (links.next != nullptr) {
        writePrev(links.next, links.prev);
    }
    if (--pool->freeCount[order] == 0) {
        noteNonEmpty(pool, pool->nonEmpty & ~(1U << order));
    }
    pool->entry[unit] = insideEntry;
}

/* -------------------------------------------------------- blocks ------------------------------------------------- */

/** Cut a block down from one order to a lower one; the upper halves become free. */
void split(BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    while (from > to) {
        from--;
        linkFree(pool, unit + (1U << from), from);
    }
}

u32 takeBlock(BuddyPool *pool, u32 order)
{
    const u32 candidates = pool->nonEmpty >> order;
    if (candidates == 0) {
        return noUnit;
    }
    const u32 from = order + lowestBit(candidates);
    const u32 unit = unitOf(pool, pool->freeList[from]);
    unlinkFree(pool, unit, from);
    split(pool, unit, from, order);
    return unit;
}

void releaseBlock(BuddyPool *pool, u32 unit, u32 order)
{
    pool->entry[unit] = insideEntry;
    for (u32 buddy = unit ^ (1U << order); isFree(pool, buddy, order); buddy = unit ^ (1U << order)) {
        unlinkFree(pool, buddy, order);
        unit &= buddy;
        order++;
    }
    linkFree(pool, unit, order);
}

/** Whether a block can take in its right neighbours until it has a higher order. */
bool canGrow(const BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    for (u32 order = from; order < to; order++) {
        const u32 half = 1U << order;
        if ((unit & half) != 0 || !isFree(pool, unit + half, order)) {
            return false;
        }
    }
    return true;
}

bool resizeInPlace(BuddyPool *pool, u32 unit, u32 from, u32 to)
{
    if (!canGrow(pool, unit, from, to)) {
        return false;
    }
    for (u32 order = from; order < to; order++) {
        unlinkFree(pool, unit + (1U << order), order);
    }
    split(pool, unit, from, to);
    return true;
}

void countUsed(BuddyPool *pool, u32 more, u32 less)
{
    pool->used += more - less;
    if (pool->used > pool->highWater) {
        pool->highWater = pool->used;
    }
}

/** Note the size of a live block; what lies behind it in the block is nobody's. */
void noteSize(BuddyPool *pool, u32 unit, u32 size)
{
    const u8 *block = addressOf(pool, unit);
    pool->entry[unit] = size;
    asanUnpoison(block, size);
    asanPoison(block + size, bytesOf(pool, orderOf(pool, size)) - size);
}

/** Resize a live block where it is. @return false when it has to move. */
bool resizeLive(BuddyPool *pool, u32 unit, u32 size)
{
    const u32 from = orderOf(pool, pool->entry[unit]);
    const u32 to = orderOf(pool, size);
    if (!resizeInPlace(pool, unit, from, to)) {
        return false;
    }
    countUsed(pool, bytesOf(pool, to), bytesOf(pool, from));
    if (to < from) {
        asanPoison(addressOf(pool, unit), bytesOf(pool, from));
    }
    noteSize(pool, unit, size);
    return true;
}

/* -------------------------------------------------------- set-up ------------------------------------------------- */

u32 unitShiftOf(u32 minBlock)
{
    u32 unit = minBlock != 0 ? minBlock : defaultUnit;
    unit = unit < smallestUnit ? smallestUnit : unit;
    return highestBit(unit - 1) + 1;
}

void setUpBlocks(BuddyPool *pool)
{
    u32 order;
    for (u32 unit = 0; unit < pool->unitCount; unit += 1U << order) {
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

BuddyPool *setUpPool(void *arena, u32 mapSize, u32 unitCount, u32 unitShift)
{
    auto *pool = static_cast<BuddyPool *>(arena);
    pool->blocks = static_cast<u8 *>(arena) + headSizeOf(unitCount);
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

/** Note an allocated block. */
void *handOut(BuddyPool *pool, u32 unit, u32 size)
{
    pool->liveBlocks++;
    countUsed(pool, bytesOf(pool, orderOf(pool, size)), 0);
    noteSize(pool, unit, size);
    return addressOf(pool, unit);
}

BuddyStat readStat(const BuddyPool *pool)
{
    BuddyStat stat = {};
    stat.size = pool->unitCount << pool->unitShift;
    stat.used = pool->used;
    stat.free = stat.size - stat.used;
    stat.largestFree = pool->nonEmpty != 0 ? bytesOf(pool, highestBit(pool->nonEmpty)) : 0;
    stat.highWater = pool->highWater;
    stat.liveBlocks = pool->liveBlocks;
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
    for (u32 order = 0; order < orderLimit; order++) {
        if (freeCount[order] != 0) {
            printf("  free blocks of %10lu bytes: %lu\r\n", printable(bytesOf(pool, order)),
                   printable(freeCount[order]));
        }
    }
}

} // namespace

psiPoolId buddy_create(u32 size, u32 minBlock)
{
    constexpr u32 largestUnit = 0x80000000;
    if (minBlock > largestUnit)
        return 0;
    const u32 unitShift = unitShiftOf(minBlock);
    const u32 unitCount = size >> unitShift;
    const u32 headSize = headSizeOf(unitCount);
    const u32 blockSize = unitCount << unitShift;
    if (unitCount == 0 || blockSize > UINT32_MAX - headSize)
        return 0;
    void *arena = osArenaMap(headSize + blockSize, headSize);
    if (arena == nullptr)
        return 0;
    BuddyPool *pool = setUpPool(arena, headSize + blockSize, unitCount, unitShift);
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

PoolGuard::PoolGuard(psiPoolId id) : pool_(findPool(id))
{
    if (pool_ != nullptr && !osMutexTake(pool_->mutex))
        pool_ = nullptr;
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
    const u32 unit = size != 0 ? takeBlock(pool_, orderOf(pool_, size)) : noUnit;
    if (unit == noUnit) {
        pool_->failedAllocs++;
        return nullptr;
    }
    return handOut(pool_, unit, size);
}

i32 PoolGuard::release(void *p)
{
    if (pool_ == nullptr || p == nullptr)
        return pool_ != nullptr ? 0 : -1;
    const u32 unit = liveUnitOf(pool_, p);
    if (unit == noUnit) {
        pool_->refusedFrees++;
        return -1;
    }
    const u32 order = orderOf(pool_, pool_->entry[unit]);
    asanPoison(p, bytesOf(pool_, order));
    pool_->liveBlocks--;
    countUsed(pool_, 0, bytesOf(pool_, order));
    releaseBlock(pool_, unit, order);
    return 0;
}

void *PoolGuard::resize(void *p, u32 size)
{
    if (p == nullptr)
        return allocate(size);
    if (size == 0) {
        release(p);
        return nullptr;
    }
    const u32 unit = pool_ != nullptr ? liveUnitOf(pool_, p) : noUnit;
    if (unit == noUnit) {
        if (pool_ != nullptr)
            pool_->refusedFrees++;
        return nullptr;
    }
    if (resizeLive(pool_, unit, size))
        return p;
    void *moved = allocate(size); // to grow: a block shrinks where it is
    if (moved != nullptr) {
        memcpy(moved, p, pool_->entry[unit]);
        release(p);
    }
    return moved;
}

u32 PoolGuard::size(const void *p) const
{
    const u32 unit = pool_ != nullptr ? liveUnitOf(pool_, p) : noUnit;
    return unit != noUnit ? pool_->entry[unit] : 0;
}

i32 PoolGuard::stat(BuddyStat *stat) const
{
    if (pool_ == nullptr || stat == nullptr)
        return -1;
    *stat = readStat(pool_);
    return 0;
}

bool buddy_could(psiPoolId id, u32 size)
{
    const BuddyPool *pool = findPool(id);
    if (pool == nullptr || size == 0)
        return false;
    const u32 order = orderOf(pool, size);
    return order < orderLimit && __atomic_load_n(&pool->nonEmpty, __ATOMIC_RELAXED) >> order != 0;
}

i32 buddy_report(psiPoolId id, u32 arg, u32 /*reserved*/)
{
    const BuddyPool *pool = findPool(id);
    BuddyStat stat;
    u32 freeCount[orderLimit];
    {
        const PoolGuard guard(id);
        if (guard.stat(&stat) == -1)
            return -1;
        memcpy(freeCount, pool->freeCount, sizeof freeCount);
    }
    printTotals(pool, stat);
    if (arg != 0) {
        printFreeBlocks(pool, freeCount);
    }
    return 0;
}

} // namespace psi::core
