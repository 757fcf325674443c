/**
 * @file platform.h
 * @brief Everything that the library calls outside itself: mutex, symbol look-up, memory pool.
 *
 * Mutexes and symbols are declared in os.h, the list library in psi.h.
 *
 * A pool is safe for any number of tasks. Its identifier is looked up and never followed, so 0, a wrong one or one of a
 * pool that is gone gets the answer of a failure.
 */
#ifndef PSI_PLATFORM_H
#define PSI_PLATFORM_H

#include "os.h"
#include "pool/buddyPool.h"
#include "psi.h"

namespace psi::core {

/** @brief Occupancy of a pool, in bytes of whole blocks where nothing else is said. */
struct BuddyStat {
    u32 size;         /**< bytes that can be handed out, all blocks together */
    u32 used;         /**< bytes in live blocks */
    u32 free;         /**< bytes in free blocks */
    u32 largestFree;  /**< largest block that could be handed out now */
    u32 highWater;    /**< the most that `used` has ever been */
    u32 liveBlocks;   /**< number of live blocks */
    u32 failedAllocs; /**< requests that the pool could not serve */
    u32 refusedFrees; /**< frees of a foreign pointer or of a block that was free already */
};

/**
 * @brief Create a pool. Pools are created and destroyed by one task, and while no other one uses them.
 * @param size bytes to hand out, rounded down to whole smallest blocks; the pool's own data comes on top, 4 bytes each
 * @param minBlock smallest block in bytes, rounded up to a power of two that holds a pair of pointers; 0: the default
 * @return the pool, or 0 when the arguments make no pool, memory is short, or there are eight pools already
 */
psiPoolId buddy_create(u32 size, u32 minBlock);

/** @brief Give a pool and its arena back to the system. @param pool the pool @return 0, or -1 when it is none */
i32 buddy_destroy(psiPoolId pool);

/**
 * @brief A pool whose mutex is held for the length of a scope: all work on blocks goes through one.
 *
 * The mutex may be taken again by the same task, so guards nest and calls of psi.h work meanwhile. Where the pool is
 * none or its mutex was not to be had, every call fails.
 */
class PoolGuard {
public:
    explicit PoolGuard(psiPoolId pool) { open(reinterpret_cast<const void *>(pool)); }
    ~PoolGuard();
    PoolGuard(const PoolGuard &) = delete;
    PoolGuard &operator=(const PoolGuard &) = delete;

    /** @brief Whether the mutex is held. */
    explicit operator bool() const { return pool_ != nullptr; }

    /**
     * @brief Allocate, in constant time for a size that was freed before, else in O(log n).
     * @param size bytes, 0 is refused
     * @return the block, aligned for a pair of pointers, or null
     */
    void *allocate(u32 size);

    /**
     * @brief Free, in constant time or in O(log n).
     * @param p start of a live block, or null
     * @return 0, or -1 for a pointer that is not the start of a live block: nothing happens then
     */
    i32 release(void *p);

    /** @brief The pool, for work on small blocks in place; null where that is to be done by calls. */
    BuddyPool *inPlace() const { return poolInPlace ? inPlace_ : nullptr; }

    /** @brief A tree is to be made now of a section of `bytes` bytes: its blocks are to lie beside each other. */
    void expectTree(u32 bytes)
    {
        if (BuddyPool *const pool = inPlace())
            laysTree_ = readyStrip(pool, bytes);
    }
    /** @brief Where the tree is laid; null when it is not, for want of room, or when none is expected. */
    BuddyPool *laysTree(u32 bytes) const
    {
        return poolInPlace && laysTree_ && hasRoom(inPlace_->strip, bytes) ? inPlace_ : nullptr;
    }

    /** @brief Allocate, in place when a block is kept for the size. */
    void *take(u32 size)
    {
        if (BuddyPool *const pool = inPlace())
            if (void *const block = takeKeptBlock(pool, size))
                return block;
        return allocate(size);
    }

    /** @brief Resize a live block where it is. @param size bytes @return false when it would have to move */
    bool resize(void *p, u32 size);

    /** @brief Whether a live block starts at `p`; when none does, that counts as a refused free. */
    bool isLive(const void *p);

    /** @brief Bring the blocks that are kept for requests of their size together with their neighbours. */
    void settle();

    /**
     * @brief Read the occupancy; of the largest block all is told behind settle() only.
     * @param stat gets it
     * @param freeCount gets the number of free blocks per order, 32 of them; may be null
     * @return 0, or -1 when there is no pool or `stat` is null
     */
    i32 stat(BuddyStat *stat, u32 *freeCount = nullptr) const;

private:
    friend struct PoolGuardTest;

    void open(const void *pool);

    BuddyPool *pool_ = nullptr;
    BuddyPool *inPlace_ = nullptr;
    bool laysTree_ = false;
};

/** @name Single calls, each with the mutex for itself @{ */
inline void *buddy_malloc(psiPoolId pool, u32 size)
{
    return PoolGuard(pool).allocate(size);
}

inline i32 buddy_free(psiPoolId pool, void *p)
{
    return PoolGuard(pool).release(p);
}

inline i32 buddy_stat(psiPoolId pool, BuddyStat *stat)
{
    PoolGuard guard(pool);
    guard.settle();
    return guard.stat(stat);
}
/** @} */

/**
 * @brief Resize, in place when the block shrinks or its right neighbours are free; see psi_buddy_realloc().
 * @param pool the pool
 * @param p a live block or null
 * @param size bytes, 0 frees the block
 * @return the block, or null: the old one is unchanged then (unless `size` was 0)
 *
 * The mutex is not held while bytes are moved.
 */
void *buddy_realloc(psiPoolId pool, void *p, u32 size);

/**
 * @brief Bytes asked for when the live block that starts at `p` was allocated; takes no lock.
 * @param pool the pool
 * @param p any value; it is not followed
 * @return the size, or 0 when no live block of the pool starts there
 */
u32 buddy_size(psiPoolId pool, const void *p);

/** @brief How often the pool could not serve a request; takes no lock. */
u32 buddy_failedAllocs(psiPoolId pool);

/**
 * @brief Whether the pool could give a block of `size` bytes at this moment.
 *
 * Takes no mutex where one is free: where others allocate and free meanwhile, the answer may be old.
 */
bool buddy_could(psiPoolId pool, u32 size);

/**
 * @brief Print the pool's occupancy with printf().
 * @param pool the pool
 * @param arg 0: the totals; other: the free blocks of every size as well
 * @param reserved 0
 * @return 0, or -1 when there is no pool
 */
i32 buddy_report(psiPoolId pool, u32 arg, u32 reserved);

} // namespace psi::core

#endif
