// Trees that are laid into the pool's strip beside those that are not: nothing but the place of their blocks differs.
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/randomSection.h"

#include "psiNode.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <utility>

using psi::core::areLaid;
using psi::core::BuddyPool;
using psi::core::BuddyStat;
using psi::core::PoolGuard;
using psi::core::psiMp;

namespace psitest {
namespace {

/** @brief What a host sees of a parse. */
struct Outcome {
    i32 result = 0;
    std::string tree;
    std::string log;
    u32 liveBlocks = 0; // while the tree lives
    u32 used = 0;
    u32 liveAfterwards = 0;
    bool laid = false; // not compared
};

bool operator==(const Outcome &a, const Outcome &b)
{
    return a.result == b.result && a.tree == b.tree && a.log == b.log && a.liveBlocks == b.liveBlocks &&
           a.used == b.used && a.liveAfterwards == b.liveAfterwards;
}

void PrintTo(const Outcome &outcome, std::ostream *os)
{
    *os << outcome.result << ", " << outcome.liveBlocks << " blocks, " << outcome.used << " bytes, then "
        << outcome.liveAfterwards << "\n"
        << outcome.tree << outcome.log;
}

/** @brief What is counted while the strip stays. */
BuddyStat statNow()
{
    BuddyStat stat = {};
    EXPECT_EQ(0, PoolGuard(psiMp).stat(&stat));
    return stat;
}

/** @brief Parameter: the table type. */
class LaidTreeTest : public LibraryTest, public testing::WithParamInterface<u32> {
protected:
    ~LaidTreeTest() override { EXPECT_EQ(0, psi::core::buddy_destroy(small)); }

    Outcome parse(const Bytes &section)
    {
        if (turns() % 2 == 0)
            PoolGuard(psiMp).settle(); // every other guard of a test works by calls: half of the parses are to do so
        const u32 live = statNow().liveBlocks;
        const u32 used = statNow().used;
        Outcome outcome;
        {
            const ParsedTree tree(GetParam(), section);
            outcome.result = tree.result();
            outcome.tree = tree.text();
            outcome.liveBlocks = statNow().liveBlocks - live;
            outcome.used = statNow().used - used;
            const auto &strip = reinterpret_cast<const BuddyPool *>(psiMp)->strip;
            outcome.laid = strip.low != strip.first;
        }
        outcome.log = log.takeRaw();
        outcome.liveAfterwards = statNow().liveBlocks - live;
        return outcome;
    }

    /** @brief The same in a pool that has no strip. */
    Outcome parseElsewhere(const Bytes &section)
    {
        const psiPoolId pool = std::exchange(psiMp, small);
        Outcome outcome = parse(section);
        psiMp = pool;
        EXPECT_FALSE(outcome.laid);
        return outcome;
    }

    std::minstd_rand turns;
    const psiPoolId small = psi::core::buddy_create(200U << 10, 0);
};

INSTANTIATE_TEST_SUITE_P(Types, LaidTreeTest, testing::ValuesIn(parsedTypes()));

bool isLaid(u32 type)
{
    return type <= PSI_CAT || (type == PSI_MGT && areLaid(sizeof(mgtTableInfo)));
}

TEST_P(LaidTreeTest, IsTheSameTree)
{
    bool laid = false;
    for (u32 seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomSections sections(seed);
        const KnownSection section = sections.make(GetParam(), 64 + sections.below(seed % 10 == 0 ? 4033 : 500));
        const Outcome outcome = parse(section.bytes);
        ASSERT_EQ(outcome, parseElsewhere(section.bytes));
        ASSERT_EQ(section.tree, outcome.tree);
        laid = laid || outcome.laid;
    }
    EXPECT_EQ(isLaid(GetParam()), laid);
}

TEST_P(LaidTreeTest, IsTheSameTreeOrFailureWhereBytesAreWrong)
{
    bool laid = false;
    u32 failures = 0;
    for (u32 seed = 0; seed < 1000; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomSections random(seed);
        Bytes section = random.make(GetParam(), 64 + random.below(300)).bytes;
        for (u32 wrong = 1 + random.below(3); wrong != 0; --wrong)
            section[8 + random.below(static_cast<u32>(section.size()) - 12)] = static_cast<u8>(random.below(256));
        section = withRightCrc(section);
        const Outcome outcome = parse(section);
        ASSERT_EQ(outcome, parseElsewhere(section));
        laid = laid || outcome.laid;
        failures += outcome.result == -1 ? 1 : 0;
    }
    EXPECT_EQ(isLaid(GetParam()), laid);
    const bool mayFail = isLaid(GetParam()) && GetParam() != PSI_PAT; // any four bytes are a program
    EXPECT_GE(failures, mayFail ? 1U : 0U);
}

TEST_P(LaidTreeTest, TellsTheSameOfEachEntry)
{
    setPsiSchRPTLevel(4);
    for (u32 seed = 0; seed < 20; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomSections sections(seed);
        const Bytes section = sections.make(GetParam(), 64 + sections.below(300)).bytes;
        const Outcome outcome = parse(section);
        ASSERT_EQ(outcome, parseElsewhere(section));
        ASSERT_NE("", outcome.log);
    }
}

TEST_P(LaidTreeTest, FollowsAnotherThatLives)
{
    RandomSections sections(1);
    std::vector<KnownSection> known;
    std::vector<std::unique_ptr<ParsedTree>> trees;
    for (u32 i = 0; i < 60; ++i) {
        known.push_back(sections.make(GetParam(), 64 + sections.below(900)));
        trees.push_back(std::make_unique<ParsedTree>(GetParam(), known.back().bytes));
        if (i % 7 == 6)
            trees[sections.below(i)].reset();
    }
    for (u32 i = 0; i < 60; ++i)
        EXPECT_EQ(trees[i] ? known[i].tree : "", trees[i] ? trees[i]->text() : "");
}

/* The bytes of a descriptor are copied in pieces that overlap: none of them begins or ends beside the descriptor. */
TEST(CopyFew, TouchesTheBytesOfTheCopyOnly)
{
    GuardedBuffer from, to;
    for (u32 n = 1; n <= 255; ++n) {
        Bytes bytes;
        while (bytes.size() < n)
            bytes.push_back(static_cast<u8>(bytes.size() * 7 + n));
        u8 *copy = to.room(n);
        psi::core::copyFew(copy, from.place(bytes), n);
        EXPECT_EQ(bytes, Bytes(copy, copy + n)) << n;
        copy = to.placeAtStart(Bytes(n));
        psi::core::copyFew(copy, from.placeAtStart(bytes), n);
        EXPECT_EQ(bytes, Bytes(copy, copy + n)) << n;
    }
}

} // namespace
} // namespace psitest
