#include "support/pattern.h"

#include "asan.h"
#include "platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <vector>

using namespace psi::core;

namespace {

constexpr u32 arenaSize = 64 * 1024;
constexpr u32 unit = 32; // the default smallest block

uintptr_t addressOf(const void *p)
{
    return reinterpret_cast<uintptr_t>(p);
}

BuddyStat statOf(psiPoolId pool)
{
    BuddyStat stat = {};
    EXPECT_EQ(buddy_stat(pool, &stat), 0);
    return stat;
}

u32 blockSizeOf(u32 size, u32 smallest = unit)
{
    u32 block = smallest;
    while (block < size) {
        block *= 2;
    }
    return block;
}

std::string reportOf(psiPoolId pool, u32 arg)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(buddy_report(pool, arg, 0), 0);
    return testing::internal::GetCapturedStdout();
}

class Buddy : public testing::Test {
protected:
    ~Buddy() override { EXPECT_EQ(buddy_destroy(pool), 0); }

    void *allocate(u32 size) const
    {
        void *block = buddy_malloc(pool, size);
        EXPECT_NE(block, nullptr) << size;
        return block;
    }

    const psiPoolId pool = buddy_create(arenaSize, 0);
};

TEST(BuddyCreate, ArgumentsThatMakeNoPoolAreRefused)
{
    EXPECT_EQ(buddy_create(0, 0), 0U);
    EXPECT_EQ(buddy_create(unit - 1, 0), 0U);
    EXPECT_EQ(buddy_create(1000, 1024), 0U);
    EXPECT_EQ(buddy_create(arenaSize, 0xFFFFFFFF), 0U);
    EXPECT_EQ(buddy_create(0xFFFFFFFF, 0), 0U) << "no room for the pool's own data";
}

TEST(BuddyCreate, SmallestBlockIsRoundedUp)
{
    const struct {
        u32 asked;
        u32 given;
    } cases[] = {{0, 32}, {1, 2 * sizeof(void *)}, {16, 16}, {17, 32}, {100, 128}, {4096, 4096}, {5000, 8192}};
    for (const auto &c : cases) {
        const psiPoolId pool = buddy_create(arenaSize, c.asked);
        ASSERT_NE(pool, 0U) << c.asked;
        EXPECT_NE(buddy_malloc(pool, 1), nullptr);
        EXPECT_EQ(statOf(pool).used, c.given) << c.asked;
        EXPECT_EQ(buddy_destroy(pool), 0);
    }
}

TEST(BuddyCreate, ArenaOfAnySizeIsHandedOutWhole)
{
    for (const u32 size : {32U, 33U, 96U, 1000U, 4064U, 4096U, 65535U, 100000U}) {
        const psiPoolId pool = buddy_create(size, 0);
        ASSERT_NE(pool, 0U) << size;
        const BuddyStat fresh = statOf(pool);
        EXPECT_EQ(fresh.size, size / unit * unit);
        std::set<void *> blocks;
        while (void *block = buddy_malloc(pool, unit)) {
            EXPECT_TRUE(blocks.insert(block).second);
        }
        EXPECT_EQ(blocks.size(), size / unit);
        for (void *block : blocks) {
            EXPECT_EQ(buddy_free(pool, block), 0);
        }
        EXPECT_EQ(statOf(pool).free, fresh.size);
        EXPECT_EQ(statOf(pool).largestFree, fresh.largestFree) << size;
        EXPECT_EQ(buddy_destroy(pool), 0);
    }
}

TEST(BuddyCreate, PowerOfTwoArenaIsOneBlock)
{
    const psiPoolId pool = buddy_create(arenaSize, 0);
    EXPECT_EQ(statOf(pool).largestFree, arenaSize);
    void *whole = buddy_malloc(pool, arenaSize);
    ASSERT_NE(whole, nullptr);
    std::memset(whole, 0x5A, arenaSize);
    EXPECT_EQ(buddy_malloc(pool, 1), nullptr);
    EXPECT_EQ(buddy_free(pool, whole), 0);
    EXPECT_EQ(buddy_destroy(pool), 0);
}

TEST(BuddyCreate, EightPoolsAtATime)
{
    std::set<psiPoolId> pools;
    while (const psiPoolId pool = buddy_create(1024, 0)) {
        pools.insert(pool);
    }
    EXPECT_EQ(pools.size(), 8U);
    EXPECT_EQ(buddy_destroy(*pools.begin()), 0);
    const psiPoolId again = buddy_create(1024, 0);
    EXPECT_NE(again, 0U);
    pools.erase(pools.begin());
    pools.insert(again);
    for (const psiPoolId pool : pools) {
        EXPECT_EQ(buddy_destroy(pool), 0);
    }
}

TEST(BuddyIdentifier, WhatIsNoPoolIsRefusedWithoutBeingFollowed)
{
    const psiPoolId gone = buddy_create(1024, 0);
    ASSERT_EQ(buddy_destroy(gone), 0);
    int local = 0;
    for (const psiPoolId id : {psiPoolId{0}, psiPoolId{1}, ~psiPoolId{0}, psiPoolId{addressOf(&local)}, gone}) {
        BuddyStat stat;
        EXPECT_EQ(buddy_malloc(id, 10), nullptr);
        EXPECT_EQ(buddy_realloc(id, nullptr, 10), nullptr);
        EXPECT_EQ(buddy_realloc(id, &local, 10), nullptr);
        EXPECT_EQ(buddy_free(id, &local), -1);
        EXPECT_EQ(buddy_free(id, nullptr), -1);
        EXPECT_EQ(buddy_size(id, &local), 0U);
        EXPECT_EQ(buddy_failedAllocs(id), 0U);
        EXPECT_FALSE(PoolGuard(id).resize(&local, 10));
        EXPECT_EQ(buddy_stat(id, &stat), -1);
        EXPECT_EQ(buddy_report(id, 1, 0), -1);
        EXPECT_EQ(buddy_destroy(id), -1);
    }
}

TEST_F(Buddy, BlocksAreAlignedForAPairOfPointers)
{
    for (u32 size = 1; size < 3000; size += 199) {
        EXPECT_EQ(addressOf(allocate(size)) % (2 * sizeof(void *)), 0U) << size;
    }
}

TEST_F(Buddy, SizeZeroIsRefused)
{
    EXPECT_EQ(buddy_malloc(pool, 0), nullptr);
    EXPECT_EQ(statOf(pool).failedAllocs, 1U);
}

TEST_F(Buddy, SizesBeyondTheArenaAreRefused)
{
    const u32 sizes[] = {arenaSize + 1, 0x7FFFFFFF, 0x80000000, 0x80000001,
                         0xBFFFFFFF,    0xC0000000, 0xFFFFFFE1, 0xFFFFFFFF};
    void *block = allocate(100);
    for (const u32 size : sizes) {
        EXPECT_EQ(buddy_malloc(pool, size), nullptr) << size;
        EXPECT_EQ(buddy_realloc(pool, block, size), nullptr) << size;
    }
    EXPECT_EQ(buddy_size(pool, block), 100U);
    EXPECT_EQ(statOf(pool).failedAllocs, 2 * std::size(sizes));
}

TEST_F(Buddy, ExhaustedPoolServesAgainAfterAFree)
{
    void *half = allocate(arenaSize / 2);
    allocate(arenaSize / 2);
    EXPECT_EQ(buddy_malloc(pool, 1), nullptr);
    EXPECT_EQ(buddy_free(pool, half), 0);
    EXPECT_EQ(buddy_malloc(pool, arenaSize / 2), half);
}

TEST_F(Buddy, SizeAskedForIsRemembered)
{
    for (const u32 size : {1U, 31U, 32U, 33U, 1000U, 4096U, 5000U}) {
        EXPECT_EQ(buddy_size(pool, allocate(size)), size);
    }
}

TEST_F(Buddy, SizeOfWhatIsNoLiveBlockIsZero)
{
    u8 *block = static_cast<u8 *>(allocate(100));
    EXPECT_EQ(buddy_size(pool, nullptr), 0U);
    EXPECT_EQ(buddy_size(pool, block + 1), 0U);
    EXPECT_EQ(buddy_size(pool, block + unit), 0U);
    EXPECT_EQ(buddy_size(pool, &block), 0U);
    EXPECT_EQ(buddy_size(pool, reinterpret_cast<void *>(pool)), 0U);
    EXPECT_EQ(buddy_size(pool, reinterpret_cast<void *>(~uintptr_t{0})), 0U);
    EXPECT_EQ(buddy_size(pool, block + arenaSize), 0U);
    buddy_free(pool, block);
    EXPECT_EQ(buddy_size(pool, block), 0U);
}

TEST_F(Buddy, FreeOfNullDoesNothing)
{
    EXPECT_EQ(buddy_free(pool, nullptr), 0);
    EXPECT_EQ(statOf(pool).refusedFrees, 0U);
}

TEST_F(Buddy, FreeOfWhatIsNoLiveBlockIsRefusedAndCounted)
{
    u8 *block = static_cast<u8 *>(allocate(100));
    int local = 0;
    EXPECT_EQ(buddy_free(pool, &local), -1);
    EXPECT_EQ(buddy_free(pool, block + 1), -1);
    EXPECT_EQ(buddy_free(pool, block + unit), -1);
    EXPECT_EQ(buddy_free(pool, block + arenaSize), -1);
    EXPECT_EQ(buddy_free(pool, block - unit), -1);
    EXPECT_EQ(buddy_size(pool, block), 100U);
    EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(buddy_free(pool, block), -1) << "a second time";
    EXPECT_EQ(statOf(pool).refusedFrees, 6U);
    EXPECT_EQ(statOf(pool).free, arenaSize);
}

TEST_F(Buddy, DoubleFreeIsRefusedAlsoWhileTheBuddyLives)
{
    void *first = allocate(unit);
    void *second = allocate(unit);
    EXPECT_EQ(buddy_free(pool, first), 0);
    EXPECT_EQ(buddy_free(pool, first), -1);
    EXPECT_EQ(buddy_free(pool, second), 0);
    EXPECT_EQ(buddy_free(pool, first), -1);
    EXPECT_EQ(buddy_free(pool, second), -1);
}

TEST_F(Buddy, StatisticsFollowTheBlocks)
{
    void *a = allocate(100);
    void *b = allocate(unit);
    BuddyStat stat = statOf(pool);
    EXPECT_EQ(stat.size, arenaSize);
    EXPECT_EQ(stat.used, 128U + unit);
    EXPECT_EQ(stat.free, arenaSize - 128 - unit);
    EXPECT_EQ(stat.liveBlocks, 2U);
    EXPECT_EQ(stat.largestFree, arenaSize / 2);
    EXPECT_EQ(buddy_free(pool, a), 0);
    EXPECT_EQ(buddy_free(pool, b), 0);
    stat = statOf(pool);
    EXPECT_EQ(stat.used, 0U);
    EXPECT_EQ(stat.liveBlocks, 0U);
    EXPECT_EQ(stat.highWater, 128U + unit);
    EXPECT_EQ(buddy_stat(pool, nullptr), -1);
}

TEST_F(Buddy, ReportShowsTheTotals)
{
    allocate(100);
    EXPECT_EQ(buddy_malloc(pool, arenaSize), nullptr);
    const std::string report = reportOf(pool, 0);
    EXPECT_EQ(psitest::matchesIn(report, "65536 bytes, smallest block 32\r\n").size(), 1U) << report;
    EXPECT_EQ(psitest::matchesIn(report, "used +128 bytes in 1 blocks\r\n").size(), 1U) << report;
    EXPECT_EQ(psitest::matchesIn(report, "free +65408 bytes, largest block 32768\r\n").size(), 1U) << report;
    EXPECT_EQ(psitest::matchesIn(report, "high-water mark +128 bytes\r\n").size(), 1U) << report;
    EXPECT_EQ(psitest::matchesIn(report, "failed allocations 1, refused frees 0\r\n").size(), 1U) << report;
    EXPECT_EQ(report.find("free blocks"), std::string::npos) << report;
}

TEST_F(Buddy, LongReportAccountsForEveryFreeByte)
{
    for (const u32 size : {unit, 100U, 3000U, unit}) {
        allocate(size);
    }
    const std::string report = reportOf(pool, 1);
    unsigned long sum = 0;
    for (const psitest::Match &line : psitest::matchesIn(report, "free blocks of +([0-9]+) bytes: ([0-9]+)\r\n"))
        sum += std::stoul(line[1]) * std::stoul(line[2]);
    EXPECT_EQ(sum, statOf(pool).free) << report;
}

TEST_F(Buddy, LastBlockFreedOfASizeIsTheNextOneHandedOut)
{
    void *first = allocate(100);
    void *second = allocate(100);
    EXPECT_EQ(buddy_free(pool, first), 0);
    EXPECT_EQ(buddy_free(pool, second), 0);
    EXPECT_EQ(allocate(128), second);
    EXPECT_EQ(allocate(65), first);
}

TEST_F(Buddy, BlocksKeptForOneSizeServeOthersBeforeARequestFails)
{
    for (const u32 size : {unit, 64U, 1000U, 8192U}) {
        std::vector<void *> blocks;
        while (void *block = buddy_malloc(pool, size))
            blocks.push_back(block);
        for (void *block : blocks)
            EXPECT_EQ(buddy_free(pool, block), 0);
        void *whole = allocate(arenaSize);
        EXPECT_EQ(buddy_free(pool, whole), 0);
    }
}

TEST_F(Buddy, BlocksKeptForOneSizeAreNeighboursToGrowInto)
{
    void *block = allocate(unit);
    void *buddy = allocate(unit);
    EXPECT_EQ(buddy_free(pool, buddy), 0);
    EXPECT_EQ(buddy_realloc(pool, block, 64), block);
    EXPECT_EQ(buddy_size(pool, buddy), 0U);
}

TEST_F(Buddy, SizeIsLookedUpWhileAnotherTaskHoldsThePool)
{
    void *block = allocate(100);
    const PoolGuard guard(pool);
    ASSERT_TRUE(guard);
    u32 size = 0;
    std::thread([&] { size = buddy_size(pool, block); }).join();
    EXPECT_EQ(size, 100U);
}

TEST_F(Buddy, GuardsOfOneTaskNest)
{
    PoolGuard outer(pool);
    void *block = outer.allocate(100);
    {
        PoolGuard inner(pool);
        EXPECT_TRUE(inner);
        EXPECT_EQ(inner.release(block), 0);
    }
    EXPECT_EQ(outer.release(block), -1);
    EXPECT_NE(outer.allocate(100), nullptr);
}

#ifdef __linux__
TEST(BuddyCreate, TouchesNoMoreThanAFewPages)
{
    constexpr u32 size = 64 * 1024 * 1024;
    constexpr u32 page = 4096;
    const psiPoolId pool = buddy_create(size, 0);
    ASSERT_NE(pool, 0U);
    std::vector<unsigned char> resident(size / page);
    if (mincore(reinterpret_cast<void *>(pool), size, resident.data()) == 0) {
        EXPECT_LT(std::count_if(resident.begin(), resident.end(), [](unsigned char r) { return (r & 1) != 0; }), 40);
    }
    EXPECT_EQ(buddy_destroy(pool), 0);
}
#endif

/* ------------------------------------------------------ overruns ------------------------------------------------- */

/** Write over the links of every free block, as a host does that runs over the end of its own. */
PSI_NO_ASAN void overrunBlock(const void **block, const void *link)
{
    for (u32 i = 0; i < unit / sizeof link; i++)
        block[i] = link;
}

void overrun(u8 *arena, const std::set<const void *> &live, const void *link)
{
    for (u32 at = 0; at < arenaSize; at += unit)
        if (live.count(arena + at) == 0)
            overrunBlock(static_cast<const void **>(static_cast<void *>(arena + at)), link);
}

class BuddyOverrun : public Buddy {
protected:
    /** Three blocks, some buddies free between them and behind; the first block is the arena's first. */
    BuddyOverrun()
    {
        for (u32 i = 0; i < 8; i++)
            blocks.push_back(static_cast<u8 *>(allocate(unit)));
        arena = blocks[0];
        buddy_free(pool, blocks[1]);
        buddy_free(pool, blocks[4]);
        BuddyStat stat;
        buddy_stat(pool, &stat); // nothing is kept any more
        live = {blocks[0], blocks[2], blocks[3], blocks[5], blocks[6], blocks[7]};
    }

    /** Whatever is asked for is refused, or is memory of the arena that nobody has; nothing else is written to. */
    void expectOrder()
    {
        for (const u32 size : {1U, unit, 64U, 1000U, 20000U, arenaSize}) {
            u8 *block = static_cast<u8 *>(buddy_malloc(pool, size));
            if (block != nullptr) {
                EXPECT_LE(block - arena, static_cast<std::ptrdiff_t>(arenaSize - size));
                EXPECT_TRUE(live.insert(block).second);
            }
        }
    }

    std::vector<u8 *> blocks;
    u8 *arena = nullptr;
    std::set<const void *> live;
};

TEST_F(BuddyOverrun, LinksThatLeadOutOfTheArenaAreNotFollowed)
{
    const void *victim[2 * unit] = {};
    overrun(arena, live, victim);
    expectOrder();
    for (const void *block : live)
        EXPECT_EQ(buddy_free(pool, const_cast<void *>(block)), 0);
    live.clear();
    expectOrder();
    EXPECT_EQ(std::count(std::begin(victim), std::end(victim), nullptr),
              std::distance(std::begin(victim), std::end(victim)));
}

TEST_F(BuddyOverrun, LinksToLiveBlocksAreNotFollowed)
{
    std::memset(blocks[2], 0x5A, unit);
    overrun(arena, live, blocks[2]);
    expectOrder();
    EXPECT_EQ(buddy_free(pool, blocks[5]), 0);
    EXPECT_EQ(buddy_free(pool, blocks[0]), 0);
    EXPECT_TRUE(std::all_of(blocks[2], blocks[2] + unit, [](u8 byte) { return byte == 0x5A; }));
}

TEST_F(BuddyOverrun, LinksToFreeBlocksThatDoNotLeadBackAreNotFollowed)
{
    for (const u8 *block : {blocks[1], blocks[4], blocks[1] + 1, arena + arenaSize / 2}) {
        overrun(arena, live, block);
        expectOrder();
    }
    EXPECT_EQ(buddy_malloc(pool, arenaSize / 2), nullptr) << "the block is free, and its links are gone";
    EXPECT_GT(statOf(pool).failedAllocs, 0U);
}

TEST_F(BuddyOverrun, BlocksFreedBesideABrokenOneServeAgain)
{
    overrun(arena, live, this);
    for (const void *block : live)
        EXPECT_EQ(buddy_free(pool, const_cast<void *>(block)), 0);
    for (std::size_t i = 0; i < live.size(); i++)
        EXPECT_NE(buddy_malloc(pool, unit), nullptr) << i;
    EXPECT_EQ(buddy_malloc(pool, unit), nullptr);
}

TEST_F(BuddyOverrun, ABlockDoesNotGrowIntoABrokenOne)
{
    std::memset(blocks[0], 0x5A, unit);
    overrun(arena, live, this);
    EXPECT_EQ(buddy_realloc(pool, blocks[0], 2 * unit), nullptr);
    EXPECT_EQ(buddy_size(pool, blocks[0]), unit);
    EXPECT_TRUE(std::all_of(blocks[0], blocks[0] + unit, [](u8 byte) { return byte == 0x5A; }));
}

/** Parameter: the free block whose links are written over, and the other one, to which they lead; none: elsewhere. */
class BuddyBrokenLinks : public BuddyOverrun, public testing::WithParamInterface<std::pair<u32, u32>> {};

INSTANTIATE_TEST_SUITE_P(Of, BuddyBrokenLinks,
                         testing::Values(std::pair(1, 4), std::pair(4, 1), std::pair(1, 0), std::pair(4, 0)));

TEST_P(BuddyBrokenLinks, AreNotFollowedWhereTheOtherDoesNotLeadBack)
{
    const auto [broken, other] = GetParam();
    overrunBlock(static_cast<const void **>(static_cast<void *>(blocks[broken])),
                 other != 0 ? blocks[other] : arena + arenaSize / 2);
    expectOrder();
    expectOrder();
}

/* ------------------------------------------------------ realloc -------------------------------------------------- */

TEST_F(Buddy, ReallocOfNullAllocates)
{
    void *block = buddy_realloc(pool, nullptr, 100);
    EXPECT_EQ(buddy_size(pool, block), 100U);
}

TEST_F(Buddy, ReallocToZeroFrees)
{
    void *block = allocate(100);
    EXPECT_EQ(buddy_realloc(pool, block, 0), nullptr);
    EXPECT_EQ(statOf(pool).liveBlocks, 0U);
}

TEST_F(Buddy, ReallocOfWhatIsNoLiveBlockIsRefused)
{
    u8 *block = static_cast<u8 *>(allocate(100));
    EXPECT_EQ(buddy_realloc(pool, block + unit, 200), nullptr);
    EXPECT_EQ(buddy_realloc(pool, block + unit, 0), nullptr);
    EXPECT_EQ(statOf(pool).refusedFrees, 2U);
    EXPECT_EQ(statOf(pool).liveBlocks, 1U);
}

TEST_F(Buddy, ReallocWithinTheBlockStaysInPlace)
{
    void *block = allocate(70);
    EXPECT_EQ(buddy_realloc(pool, block, 128), block);
    EXPECT_EQ(buddy_size(pool, block), 128U);
    EXPECT_EQ(statOf(pool).used, 128U);
}

TEST_F(Buddy, ReallocShrinksInPlaceAndGivesTheRestBack)
{
    u8 *block = static_cast<u8 *>(allocate(arenaSize));
    std::memset(block, 0x5A, arenaSize);
    EXPECT_EQ(buddy_realloc(pool, block, 10), block);
    EXPECT_EQ(statOf(pool).used, unit);
    EXPECT_EQ(block[9], 0x5A);
    EXPECT_EQ(buddy_malloc(pool, arenaSize / 2), block + arenaSize / 2);
}

TEST_F(Buddy, ReallocGrowsInPlaceIntoFreeNeighbours)
{
    u8 *block = static_cast<u8 *>(allocate(10));
    std::memset(block, 0x5A, 10);
    EXPECT_EQ(buddy_realloc(pool, block, 5000), block);
    EXPECT_EQ(statOf(pool).used, 8192U);
    EXPECT_EQ(statOf(pool).highWater, 8192U);
    EXPECT_EQ(block[9], 0x5A);
    EXPECT_EQ(buddy_realloc(pool, block, arenaSize), block);
    EXPECT_EQ(statOf(pool).free, 0U);
    EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(statOf(pool).largestFree, arenaSize);
}

TEST_F(Buddy, ReallocMovesTheBytesWhenTheNeighbourLives)
{
    u8 *block = static_cast<u8 *>(allocate(unit));
    for (u8 i = 0; i < unit; i++) {
        block[i] = i;
    }
    allocate(unit);
    u8 *moved = static_cast<u8 *>(buddy_realloc(pool, block, 1000));
    ASSERT_NE(moved, nullptr);
    EXPECT_NE(moved, block);
    for (u8 i = 0; i < unit; i++) {
        EXPECT_EQ(moved[i], i);
    }
    EXPECT_EQ(buddy_size(pool, block), 0U);
    EXPECT_EQ(statOf(pool).liveBlocks, 2U);
}

TEST_F(Buddy, FailedReallocLeavesTheBlock)
{
    u8 *block = static_cast<u8 *>(allocate(100));
    std::memset(block, 0x5A, 100);
    allocate(arenaSize / 2);
    EXPECT_EQ(buddy_realloc(pool, block, arenaSize), nullptr);
    EXPECT_EQ(buddy_size(pool, block), 100U);
    EXPECT_EQ(block[99], 0x5A);
}

/* ----------------------------------------------------- the strip ------------------------------------------------- */

constexpr u32 largeArena = 4 * 1024 * 1024;
constexpr u32 nodeSize = sizeof(descInfo);

/** What a guard gives that works in place: not every one does here. */
BuddyPool *inPlace(psiPoolId pool)
{
    return reinterpret_cast<BuddyPool *>(pool);
}

/** A node in the strip; null where there is no room. */
u8 *layNode(psiPoolId pool)
{
    return hasRoom(inPlace(pool)->strip, laidNodeUnits) ? static_cast<u8 *>(StripLayer(inPlace(pool)).node(nodeSize))
                                                        : nullptr;
}

/** Bytes in the strip; null where there might be no room. */
u8 *layBytes(psiPoolId pool, u32 size)
{
    const u32 units = blockSizeOf(size) / unit;
    return hasRoom(inPlace(pool)->strip, 2 * units - 1) ? StripLayer(inPlace(pool)).bytes(size) : nullptr;
}

/** A pool that is large enough for a strip, and the short ways in and out of it. */
class BuddyStrip : public testing::Test {
protected:
    BuddyStrip() { expectTree(); }
    ~BuddyStrip() override { EXPECT_EQ(buddy_destroy(pool), 0); }

    u8 *node() const
    {
        PoolGuard held(pool);
        u8 *const block = layNode(pool);
        EXPECT_EQ(buddy_size(pool, block), block != nullptr ? nodeSize : 0);
        return block;
    }
    u8 *bytes(u32 size) const
    {
        PoolGuard held(pool);
        u8 *const block = layBytes(pool, size);
        EXPECT_EQ(buddy_size(pool, block), block != nullptr ? size : 0);
        return block;
    }
    /** What is counted while the strip stays. */
    BuddyStat statNow() const
    {
        BuddyStat stat = {};
        EXPECT_EQ(PoolGuard(pool).stat(&stat), 0);
        return stat;
    }
    /** As a request does for which there is no room. */
    void dissolve() const { EXPECT_EQ(buddy_malloc(pool, largeArena), nullptr); }
    bool expectTree(u32 bytes = 300) const
    {
        PoolGuard held(pool);
        return readyStrip(inPlace(pool), bytes);
    }
    /** Nothing is live, and the pool is whole again. */
    void expectEmpty() const
    {
        EXPECT_EQ(statNow().used, 0U);
        EXPECT_EQ(statNow().liveBlocks, 0U);
        const BuddyStat stat = statOf(pool);
        EXPECT_EQ(stat.used, 0U);
        EXPECT_EQ(stat.liveBlocks, 0U);
        EXPECT_EQ(stat.largestFree, largeArena);
    }

    const psiPoolId pool = buddy_create(largeArena, 0);
};

TEST_F(BuddyStrip, NodesAndBytesLieBesideEachOther)
{
    u8 *const first = node();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(node(), first + blockSizeOf(nodeSize));
    u8 *const last = bytes(1);
    EXPECT_EQ(bytes(unit), last - unit);
    u8 *const large = bytes(3 * unit);
    EXPECT_EQ(addressOf(large) % (4 * unit), addressOf(first) % (4 * unit)) << "at a multiple of its block";
    EXPECT_EQ(statNow().liveBlocks, 5U);
    EXPECT_EQ(statNow().used, 2 * blockSizeOf(nodeSize) + 6 * unit);
    for (void *block : {static_cast<void *>(first), static_cast<void *>(last), static_cast<void *>(large)})
        EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(statNow().liveBlocks, 2U);
    EXPECT_EQ(statNow().used, blockSizeOf(nodeSize) + unit);
    EXPECT_EQ(statNow().highWater, 2 * blockSizeOf(nodeSize) + 6 * unit);
    EXPECT_EQ(buddy_free(pool, first + blockSizeOf(nodeSize)), 0);
    EXPECT_EQ(buddy_free(pool, last - unit), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, IsUsedAgainWhenAllOfItIsFree)
{
    u8 *const first = node();
    u8 *const last = bytes(5);
    EXPECT_EQ(buddy_free(pool, first), 0);
    expectTree();
    EXPECT_EQ(node(), first) << "nothing lives beside it";
    for (u8 *const block : {first, last})
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectTree();
    EXPECT_EQ(node(), first);
    EXPECT_EQ(bytes(5), last);
    EXPECT_EQ(statNow().used, blockSizeOf(nodeSize) + unit);
    EXPECT_EQ(buddy_free(pool, first), 0);
    EXPECT_EQ(buddy_free(pool, last), 0);
}

TEST_F(BuddyStrip, RefusesWhatIsNoLiveBlockOfIt)
{
    u8 *const block = node();
    u8 *const other = bytes(3 * unit);
    for (void *wrong : {block + 1, block + unit, other + 1, other + unit, block + 2 * blockSizeOf(nodeSize)})
        EXPECT_EQ(buddy_free(pool, wrong), -1);
    EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(buddy_free(pool, block), -1);
    EXPECT_EQ(buddy_size(pool, block), 0U);
    EXPECT_EQ(statNow().refusedFrees, 6U);
    EXPECT_EQ(statNow().liveBlocks, 1U);
    EXPECT_EQ(buddy_free(pool, other), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, GivesNothingWhereThereIsNoRoom)
{
    std::vector<u8 *> blocks;
    while (u8 *const block = blocks.size() % 2 == 0 ? node() : bytes(7 * unit))
        blocks.push_back(block);
    EXPECT_EQ(blocks.size() % 2 == 0 ? node() : bytes(7 * unit), nullptr);
    for (u8 *const block : blocks)
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, StaysWhereItIsWhenItIsFull)
{
    std::vector<u8 *> blocks;
    while (expectTree())
        for (u32 left = 0; left < 100; left += 3) {
            blocks.push_back(node());
            blocks.push_back(bytes(20));
        }
    const u32 first = inPlace(pool)->strip.first;
    EXPECT_GT(blocks.size(), 200U);
    EXPECT_EQ(std::set<u8 *>(blocks.begin(), blocks.end()).size(), blocks.size());
    EXPECT_EQ(statNow().liveBlocks, blocks.size());
    EXPECT_EQ(statNow().used, blocks.size() / 2 * (blockSizeOf(nodeSize) + unit));
    for (u8 *const block : blocks)
        EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_TRUE(expectTree());
    EXPECT_EQ(inPlace(pool)->strip.first, first);
    expectEmpty();
}

TEST_F(BuddyStrip, TheLastTreesRoomServesAgainWhileOthersLive)
{
    u8 *const lives[] = {node(), bytes(40)};
    std::vector<u8 *> blocks;
    while (expectTree())
        for (u32 size : {1U, 40U, 200U}) {
            blocks.push_back(node());
            blocks.push_back(bytes(size));
        }
    for (u8 *const block : blocks)
        EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_EQ(statNow().used, blockSizeOf(nodeSize) + 2 * unit);
    EXPECT_TRUE(expectTree());
    EXPECT_EQ(node(), blocks[0]);
    EXPECT_EQ(bytes(1), blocks[1]);
    EXPECT_EQ(statNow().liveBlocks, 4U);
    EXPECT_EQ(statNow().used, 2 * blockSizeOf(nodeSize) + 3 * unit);
    for (u8 *const block : {lives[0], lives[1], blocks[0], blocks[1]})
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, ItsRoomServesOthersBeforeARequestFails)
{
    u8 *const kept[] = {node(), bytes(1), bytes(100)};
    EXPECT_EQ(buddy_free(pool, kept[1]), 0);
    const u32 left = largeArena - statNow().used;
    u32 got = 0;
    for (u32 size = largeArena; size >= unit; size /= 2)
        while (buddy_malloc(pool, size) != nullptr)
            got += size;
    EXPECT_EQ(got, left) << "every byte that is not in a live block";
    EXPECT_EQ(statNow().used, largeArena);
    EXPECT_EQ(buddy_size(pool, kept[0]), nodeSize);
    EXPECT_EQ(buddy_size(pool, kept[2]), 100U);
    EXPECT_EQ(buddy_free(pool, kept[0]), 0);
    EXPECT_EQ(buddy_free(pool, kept[2]), 0);
    expectTree();
    EXPECT_EQ(node(), nullptr) << "no room for another one";
}

TEST_F(BuddyStrip, StaysWhenSomebodyLooksAtThePool)
{
    u8 *const blocks[] = {node(), node(), bytes(100)};
    EXPECT_EQ(buddy_free(pool, blocks[0]), 0);
    const u32 first = inPlace(pool)->strip.first;
    const BuddyStat looked = statOf(pool);
    EXPECT_EQ(inPlace(pool)->strip.first, first);
    EXPECT_EQ(inPlace(pool)->strip.live, 2U);
    dissolve();
    EXPECT_EQ(inPlace(pool)->strip.units, 0U);
    const BuddyStat after = statOf(pool);
    EXPECT_EQ(looked.used, after.used);
    EXPECT_EQ(looked.liveBlocks, after.liveBlocks);
    EXPECT_EQ(looked.largestFree, after.largestFree);
    for (u8 *const block : {blocks[1], blocks[2]})
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, WhoLooksIsToldOfTheBlocksThatItWouldLeave)
{
    u8 *const blocks[] = {node(), bytes(100), bytes(1)};
    EXPECT_EQ(buddy_free(pool, blocks[2]), 0);
    BuddyStat stat = {};
    std::array<u32, orderLimit> looked = {};
    std::array<u32, orderLimit> after = {};
    EXPECT_EQ(PoolGuard(pool).stat(&stat, looked.data()), 0);
    dissolve();
    EXPECT_EQ(PoolGuard(pool).stat(&stat, after.data()), 0);
    EXPECT_EQ(looked, after);
    u32 bytesFree = 0;
    for (u32 order = 0; order < orderLimit; order++)
        bytesFree += looked[order] * (unit << order);
    EXPECT_EQ(bytesFree, stat.free);
    for (u8 *const block : {blocks[0], blocks[1]})
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, NothingIsLaidWhenItWentWhileATreeWasMade)
{
    ASSERT_TRUE(expectTree());
    void *const whole = buddy_malloc(pool, largeArena / 2); // all that is not beside the strip
    std::vector<void *> rest;
    while (void *const block = buddy_malloc(pool, unit)) // the strip's room too
        rest.push_back(block);
    PoolGuard held(pool);
    EXPECT_EQ(layNode(pool), nullptr);
    EXPECT_EQ(layBytes(pool, 1), nullptr);
    EXPECT_EQ(statNow().used, largeArena);
    EXPECT_EQ(buddy_free(pool, whole), 0);
    for (void *const block : rest)
        EXPECT_EQ(buddy_free(pool, block), 0);
    expectEmpty();
}

TEST_F(BuddyStrip, ReallocWorksInIt)
{
    u8 *const block = bytes(200);
    node();
    std::memset(block, 0x5A, 200);
    EXPECT_EQ(buddy_realloc(pool, block, 20), block);
    EXPECT_EQ(statNow().used, blockSizeOf(nodeSize) + unit);
    EXPECT_EQ(buddy_realloc(pool, block, 250), block) << "what was given back";
    EXPECT_EQ(block[19], 0x5A);
    EXPECT_EQ(statNow().used, blockSizeOf(nodeSize) + 256);
    EXPECT_EQ(statOf(pool).used, blockSizeOf(nodeSize) + 256);
}

TEST_F(BuddyStrip, IsASixtyFourthOfThePoolAndAtMost128KiB)
{
    constexpr u32 kiB = 1024;
    constexpr u32 miB = 1024 * kiB;
    const std::pair<u32, u32> sizes[] = {{miB, 16 * kiB}, {8 * miB, 128 * kiB}, {16 * miB, 128 * kiB}};
    for (const auto &[size, expected] : sizes) {
        const psiPoolId other = buddy_create(size, 0);
        {
            PoolGuard held(other);
            EXPECT_TRUE(readyStrip(inPlace(other), 300));
            EXPECT_EQ(inPlace(other)->strip.units * unit, expected);
        }
        EXPECT_EQ(buddy_destroy(other), 0);
    }
}

TEST_F(BuddyStrip, ASmallPoolHasNone)
{
    const psiPoolId small = buddy_create(arenaSize, 0);
    {
        PoolGuard held(small);
        EXPECT_FALSE(readyStrip(inPlace(small), 1));
        EXPECT_EQ(layNode(small), nullptr);
        EXPECT_EQ(layBytes(small, 1), nullptr);
    }
    EXPECT_EQ(statOf(small).largestFree, arenaSize);
    EXPECT_EQ(buddy_destroy(small), 0);
}

TEST_F(BuddyStrip, APoolOfOtherUnitsHasNone)
{
    for (const u32 smallest : {16U, 64U, 1024U, 65536U}) {
        const psiPoolId other = buddy_create(largeArena, smallest);
        {
            PoolGuard held(other);
            EXPECT_FALSE(readyStrip(inPlace(other), 1)) << smallest;
            EXPECT_EQ(layNode(other), nullptr);
        }
        EXPECT_EQ(statOf(other).largestFree, largeArena);
        EXPECT_EQ(buddy_destroy(other), 0);
    }
}

TEST_F(BuddyStrip, ATreeThatFitsInNoneLeavesItAlone)
{
    u8 *const first = node();
    EXPECT_FALSE(expectTree(largeArena / unit));
    EXPECT_EQ(node(), first + blockSizeOf(nodeSize)) << "the same one still";
    for (u8 *const block : {first, first + blockSizeOf(nodeSize)})
        EXPECT_EQ(buddy_free(pool, block), 0);
    EXPECT_FALSE(expectTree(largeArena / unit));
    EXPECT_TRUE(expectTree());
    EXPECT_EQ(node(), first);
    EXPECT_EQ(buddy_free(pool, first), 0);
}

TEST_F(BuddyStrip, ALargeTreeGoesElsewhereWhenSomethingLives)
{
    u8 *const first = node();
    const u32 room = inPlace(pool)->strip.units;
    EXPECT_FALSE(expectTree(room)) << "more than is left";
    EXPECT_TRUE(expectTree(room - laidNodeUnits));
    EXPECT_EQ(buddy_free(pool, first), 0);
    EXPECT_TRUE(expectTree(room));
    expectEmpty();
}

/** Everything in any order: what is counted, what is where, and what is free at the end. */
TEST_F(BuddyStrip, BlocksNeverMeetAndNothingIsLost)
{
    std::mt19937 random(7);
    std::map<u8 *, u32> live;
    u32 used = 0;
    u32 most = 0;
    u32 expected = 0;
    const auto anyOne = [&] {
        const auto spread = addressOf(live.rbegin()->first) - addressOf(live.begin()->first) + 1;
        return live.lower_bound(live.begin()->first + random() % spread);
    };
    const auto leave = [&](std::map<u8 *, u32>::iterator gone) {
        for (u32 at = 0; at < gone->second; at++)
            ASSERT_EQ(gone->first[at], static_cast<u8>(addressOf(gone->first) / 16));
        used -= blockSizeOf(gone->second);
        ASSERT_EQ(buddy_free(pool, gone->first), 0);
        live.erase(gone);
    };
    for (int step = 0; step < 30000; step++) {
        const u32 size = 1 + static_cast<u32>(random() % (random() % 8 == 0 ? 2000 : 60));
        u8 *block = nullptr;
        u32 asked = size;
        switch (random() % 9) {
        case 0:
            expected += expectTree();
            break;
        case 1:
        case 2:
            asked = nodeSize;
            block = node();
            break;
        case 3:
        case 4:
            block = bytes(size);
            break;
        case 5:
            block = static_cast<u8 *>(buddy_malloc(pool, size));
            break;
        default:
            for (u32 i = static_cast<u32>(random() % 3); i != 0 && !live.empty(); i--)
                leave(anyOne());
            if (random() % 50 == 0)
                PoolGuard(pool).settle();
            if (!live.empty() && random() % 50 == 0)
                dissolve();
            if (random() % 100 == 0)
                while (!live.empty())
                    leave(live.begin());
        }
        ASSERT_FALSE(HasFailure()) << "step " << step;
        if (block != nullptr) {
            std::memset(block, static_cast<u8>(addressOf(block) / 16), asked);
            ASSERT_TRUE(live.emplace(block, asked).second);
            used += blockSizeOf(asked);
            most = std::max(most, used);
        }
        ASSERT_EQ(statNow().used, used) << "step " << step;
        ASSERT_EQ(statNow().liveBlocks, live.size()) << "step " << step;
    }
    EXPECT_EQ(statNow().highWater, most);
    EXPECT_GT(expected, 1000U) << "mostly with a strip";
    while (!live.empty())
        leave(live.begin());
    expectEmpty();
}

/* ---------------------------------------------------- long runs -------------------------------------------------- */

/** Random calls against a map of what should be live; every block is filled with a byte of its own. */
class Churn {
public:
    Churn(psiPoolId pool, unsigned seed) : pool_(pool), random_(seed) {}

    bool step()
    {
        switch (live_.empty() ? 0 : random_() % 4) {
        case 0:
        case 1:
            return allocate();
        case 2:
            return resize();
        default:
            return release();
        }
    }

    bool releaseAll()
    {
        bool good = true;
        while (!live_.empty()) {
            good = release() && good;
        }
        return good;
    }

    u32 bytes(u32 smallest) const
    {
        u32 sum = 0;
        for (const auto &[block, content] : live_) {
            sum += blockSizeOf(content.size, smallest);
        }
        return sum;
    }

    std::size_t count() const { return live_.size(); }

private:
    struct Content {
        u32 size;
        u8 byte;
    };

    u32 anySize()
    {
        const u32 most = random_() % 8 == 0 ? 5000 : 200;
        return 1 + static_cast<u32>(random_() % most);
    }

    void fill(u8 *block, u32 size)
    {
        const u8 byte = static_cast<u8>(random_());
        std::memset(block, byte, size);
        live_[block] = {size, byte};
    }

    static bool holds(const u8 *block, const Content &content, u32 size)
    {
        return std::all_of(block, block + size, [&](u8 byte) { return byte == content.byte; });
    }

    bool allocate()
    {
        const u32 size = anySize();
        u8 *block = static_cast<u8 *>(buddy_malloc(pool_, size));
        if (block == nullptr) {
            return true;
        }
        const bool fresh = live_.count(block) == 0;
        fill(block, size);
        return fresh;
    }

    bool resize()
    {
        const auto at = std::next(live_.begin(), static_cast<long>(random_() % live_.size()));
        const auto [block, content] = *at;
        const u32 size = anySize();
        u8 *resized = static_cast<u8 *>(buddy_realloc(pool_, block, size));
        if (resized == nullptr) {
            return holds(block, content, content.size);
        }
        const bool good = holds(resized, content, std::min(size, content.size));
        live_.erase(at);
        fill(resized, size);
        return good;
    }

    bool release()
    {
        const auto at = std::next(live_.begin(), static_cast<long>(random_() % live_.size()));
        const auto [block, content] = *at;
        const bool good = buddy_size(pool_, block) == content.size && holds(block, content, content.size);
        live_.erase(at);
        return buddy_free(pool_, block) == 0 && good;
    }

    psiPoolId pool_;
    std::mt19937 random_;
    std::map<u8 *, Content> live_;
};

TEST(BuddyChurn, BlocksNeverMeetAndNothingIsLost)
{
    for (const u32 smallest : {16U, 32U, 256U}) {
        for (const u32 size : {arenaSize, 50000U}) {
            const psiPoolId pool = buddy_create(size, smallest);
            const BuddyStat fresh = statOf(pool);
            Churn churn(pool, smallest + size);
            for (int step = 0; step < 20000; step++) {
                ASSERT_TRUE(churn.step()) << step;
                if (step % 16 != 0) {
                    continue;
                }
                const BuddyStat stat = statOf(pool);
                ASSERT_EQ(stat.used, churn.bytes(smallest)) << step;
                ASSERT_EQ(stat.used + stat.free, fresh.size);
                ASSERT_EQ(stat.liveBlocks, churn.count());
                ASSERT_GE(stat.highWater, stat.used);
            }
            EXPECT_GT(statOf(pool).failedAllocs, 0U) << "the pool was never full";
            EXPECT_TRUE(churn.releaseAll());
            EXPECT_EQ(statOf(pool).free, fresh.size);
            EXPECT_EQ(statOf(pool).largestFree, fresh.largestFree);
            EXPECT_EQ(buddy_destroy(pool), 0);
        }
    }
}

/** Blocks full of what marks free blocks in the pool's own table, in arenas whose last block has no buddy. */
TEST(BuddyChurn, NothingInABlockIsTakenForThePoolsOwnData)
{
    for (u32 variant = 2; variant < 128; variant++) {
        const u32 units = variant / 2;
        const u32 freeMark = variant % 2 == 0 ? 0x80000000 : 0xC0000000;
        const psiPoolId pool = buddy_create(units * unit, 0);
        const BuddyStat fresh = statOf(pool);
        for (u32 order = 0; order < 6; order++) {
            std::vector<void *> blocks;
            while (void *block = buddy_malloc(pool, unit)) {
                std::fill_n(static_cast<u32 *>(block), unit / sizeof(u32), freeMark | order);
                blocks.push_back(block);
            }
            for (void *block : blocks) { // the last blocks of the arena are handed out first
                EXPECT_EQ(buddy_free(pool, block), 0);
            }
            EXPECT_EQ(statOf(pool).free, fresh.size) << units;
            EXPECT_EQ(statOf(pool).largestFree, fresh.largestFree) << units;
        }
        EXPECT_EQ(buddy_destroy(pool), 0);
    }
}

TEST(BuddyThreads, EightThreadsShareAPool)
{
    const psiPoolId pool = buddy_create(1024 * 1024, 0);
    std::vector<std::thread> threads;
    std::vector<char> good(8, 0);
    for (unsigned i = 0; i < good.size(); i++) {
        threads.emplace_back([pool, i, &good] {
            Churn churn(pool, i);
            bool fine = true;
            for (int step = 0; step < 5000; step++) {
                fine = churn.step() && fine;
            }
            good[i] = static_cast<char>(churn.releaseAll() && fine);
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<char>(8, 1));
    EXPECT_EQ(statOf(pool).liveBlocks, 0U);
    EXPECT_EQ(statOf(pool).largestFree, 1024U * 1024);
    EXPECT_EQ(statOf(pool).refusedFrees, 0U);
    EXPECT_EQ(buddy_destroy(pool), 0);
}

/** What one task sees of a block does not depend on what the others do to theirs. */
TEST(BuddyThreads, SizesAreLookedUpWhileOthersAllocateAndFree)
{
    const psiPoolId pool = buddy_create(1024 * 1024, 0);
    void *block = buddy_malloc(pool, 100);
    std::thread other([pool] {
        Churn churn(pool, 1);
        for (int step = 0; step < 5000; step++)
            churn.step();
        EXPECT_TRUE(churn.releaseAll());
    });
    int wrong = 0;
    for (int i = 0; i < 100000; i++)
        wrong += buddy_size(pool, block) != 100;
    other.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(buddy_destroy(pool), 0);
}

/* ---------------------------------------------------- sanitizer -------------------------------------------------- */

/* Whether a block could be had, asked without taking it. */

TEST_F(Buddy, TellsWhetherABlockCouldBeHad)
{
    EXPECT_TRUE(buddy_could(pool, arenaSize));
    void *const half = allocate(arenaSize / 2);
    EXPECT_TRUE(buddy_could(pool, arenaSize / 2));
    EXPECT_FALSE(buddy_could(pool, arenaSize / 2 + 1));
    EXPECT_EQ(0, buddy_free(pool, half));
    EXPECT_TRUE(buddy_could(pool, arenaSize));
}

TEST_F(Buddy, CouldGiveNoBlockThatNoPoolHas)
{
    EXPECT_FALSE(buddy_could(pool, 0));
    EXPECT_FALSE(buddy_could(pool, 0x80000000));
    EXPECT_FALSE(buddy_could(0, 1));
    EXPECT_EQ(0U, statOf(pool).failedAllocs);
}

TEST_F(Buddy, CouldGiveABlockThatKeptOnesMakeUp)
{
    void *blocks[arenaSize / unit];
    for (void *&block : blocks)
        block = allocate(unit);
    EXPECT_FALSE(buddy_could(pool, unit));
    for (void *block : blocks)
        EXPECT_EQ(0, buddy_free(pool, block));
    EXPECT_TRUE(buddy_could(pool, arenaSize));
}

#ifdef PSI_ASAN

bool mayAccess(void *at, u32 size)
{
    return asanMayAccess(at, size);
}

TEST_F(Buddy, AsanSeesTheSlackBehindABlock)
{
    u8 *block = static_cast<u8 *>(allocate(33));
    EXPECT_TRUE(mayAccess(block, 33));
    for (u32 i = 33; i < 64; i++) {
        EXPECT_FALSE(mayAccess(block + i, 1)) << i;
    }
}

TEST_F(Buddy, AsanSeesAFreedBlock)
{
    u8 *block = static_cast<u8 *>(allocate(64));
    buddy_free(pool, block);
    for (u32 i = 0; i < 64; i++) {
        EXPECT_FALSE(mayAccess(block + i, 1)) << i;
    }
}

TEST_F(Buddy, AsanFollowsRealloc)
{
    u8 *block = static_cast<u8 *>(allocate(1000));
    ASSERT_EQ(buddy_realloc(pool, block, 50), block);
    for (u32 i = 0; i < 1024; i++) {
        EXPECT_EQ(mayAccess(block + i, 1), i < 50) << i;
    }
    ASSERT_EQ(buddy_realloc(pool, block, 200), block);
    for (u32 i = 0; i < 1024; i++) {
        EXPECT_EQ(mayAccess(block + i, 1), i < 200) << i;
    }
}

TEST(BuddyDeathTest, AsanStopsAnOverrun)
{
    const psiPoolId pool = buddy_create(arenaSize, 0);
    volatile u8 *block = static_cast<u8 *>(buddy_malloc(pool, 33));
    EXPECT_DEATH(block[33] = 1, "use-after-poison");
    EXPECT_EQ(buddy_destroy(pool), 0);
}

#endif

} // namespace
