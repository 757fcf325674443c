// The program that a section speaks of, in long lists: what is remembered of a list never changes which one it is.
#include "support/libraryFixture.h"
#include "support/searchTest.h"

#include "psiInternal.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <numeric>
#include <random>

using namespace psi::core;

namespace psitest {
namespace {

/** Many more than analysis walks past before it remembers a list. */
constexpr u16 longList = 200;

class LongProgramList : public LibraryTest {
protected:
    void TearDown() override
    {
        model.clear();
        log.clear(); // other tests know what analysis says
        LibraryTest::TearDown();
    }
    progInfo *add(u16 number)
    {
        progInfo *prog = progInfoCreat(&model->progList);
        EXPECT_NE(nullptr, prog);
        prog->progNo = number;
        return prog;
    }
    void fill(u16 from = 1, u16 to = longList)
    {
        for (u16 number = from; number <= to; ++number)
            add(number);
    }
    /** The program at a place of the list, from 0 on. */
    progInfo *at(std::size_t place) { return nodesOf(model->progList).at(place); }

    /** Analyse a PMT that no other one looks like. @return the program that took it, or null */
    progInfo *takerOf(u16 number)
    {
        const u16 mark = static_cast<u16>(1 + marks_++ % 0x1FFF);
        const Bytes bytes = PmtBuilder(number).pcrPid(mark).build();
        sectionData section = sectionNode(PSI_PMT, const_cast<u8 *>(bytes.data()), bytes.size());
        section.idExt = number;
        if (analysePsi(model.get(), &section, 0) == -1)
            return nullptr;
        progInfo *taker = nullptr;
        for (progInfo *prog : nodesOf(model->progList))
            if (prog->pcrPid == mark) {
                EXPECT_EQ(nullptr, taker) << "two programs took one PMT";
                taker = prog;
                prog->pcrPid = 0;
            }
        EXPECT_NE(nullptr, taker) << "none took it";
        return taker;
    }
    /** So that the list is known, up to the program at a place. */
    void learnUpTo(std::size_t place)
    {
        for (std::size_t i = 0; i <= place; ++i) {
            progInfo *prog = at(i);
            EXPECT_EQ(prog, takerOf(prog->progNo)) << "at " << i;
        }
    }

    LooseModel model;

private:
    u32 marks_ = 0;
};

TEST_F(LongProgramList, TakesPmtsInAnyOrder)
{
    fill();
    std::vector<u16> order(longList);
    std::iota(order.begin(), order.end(), u16{1});
    std::mt19937 random(1);
    for (int round = 0; round < 6; ++round) {
        for (const u16 number : order)
            EXPECT_EQ(at(number - 1U), takerOf(number));
        if (round == 2)
            std::reverse(order.begin(), order.end());
        if (round == 3)
            std::shuffle(order.begin(), order.end(), random);
    }
}

TEST_F(LongProgramList, TakesEveryNumberThatThereIs)
{
    for (u32 number = 0; number <= 0xFFFF; number += 0x0FF)
        add(static_cast<u16>(0xFFFF - number));
    const std::size_t all = nodesOf(model->progList).size();
    for (int round = 0; round < 3; ++round)
        learnUpTo(all - 1);
}

TEST_F(LongProgramList, SkipsProgramsWithoutPmt)
{
    fill();
    for (int round = 0; round < 3; ++round)
        for (u16 number = 1, step = 1; number <= longList; number = static_cast<u16>(number + step++))
            EXPECT_EQ(at(number - 1U), takerOf(number));
}

TEST_F(LongProgramList, GivesTheFirstOfANumberThatRepeats)
{
    fill();
    progInfo *const second = add(150);
    for (int round = 0; round < 3; ++round) {
        learnUpTo(longList - 1);
        EXPECT_EQ(at(149), takerOf(150));
    }
    EXPECT_EQ(at(longList), second);
}

TEST_F(LongProgramList, GivesTheFirstOfANumberThatCameAgainLater)
{
    fill();
    learnUpTo(longList - 2);
    add(7);
    EXPECT_EQ(at(longList - 1), takerOf(longList));
    EXPECT_EQ(at(6), takerOf(7));
}

TEST_F(LongProgramList, GivesTheFirstOfANumberThatCameAgainWhereTheLastOneWas)
{
    fill();
    for (int round = 0; round < 3; ++round)
        learnUpTo(longList - 2);
    progInfo *const last = at(longList - 1);
    ASSERT_EQ(0, progInfoDestroy(&model->progList, last, 0));
    ASSERT_EQ(last, add(7)) << "the pool gives the block again";
    EXPECT_EQ(at(6), takerOf(7)) << "though the one that was expected has the number";
}

TEST_F(LongProgramList, FindsProgramsThatCameLater)
{
    fill();
    learnUpTo(longList - 1);
    fill(longList + 1, longList + 100);
    for (int round = 0; round < 2; ++round)
        learnUpTo(longList + 99);
}

TEST_F(LongProgramList, DoesNotGiveAProgramThatIsGone)
{
    fill();
    learnUpTo(149);
    ASSERT_EQ(0, progInfoDestroy(&model->progList, at(150), 0));
    EXPECT_EQ(nullptr, takerOf(151));
    log.clear();
    EXPECT_EQ(at(150), takerOf(152));
    ASSERT_EQ(0, progInfoDestroy(&model->progList, at(0), 0));
    EXPECT_EQ(at(150), takerOf(153));
}

TEST_F(LongProgramList, DoesNotGiveAProgramThatWasTakenOutByHand)
{
    fill();
    learnUpTo(149);
    progInfo *const out = at(150);
    at(149)->link.next = out->link.next;
    EXPECT_EQ(nullptr, takerOf(151));
    log.clear();
    EXPECT_EQ(at(149), takerOf(150));
    EXPECT_EQ(at(150), takerOf(152));
    EXPECT_EQ(0, psi_buddy_free(out));
    EXPECT_EQ(nullptr, takerOf(151));
    log.clear();
}

TEST_F(LongProgramList, GoesByTheNumbersOfThisMoment)
{
    fill();
    learnUpTo(149);
    at(150)->progNo = 1000;
    EXPECT_EQ(nullptr, takerOf(151));
    log.clear();
    EXPECT_EQ(at(150), takerOf(1000));
    std::swap(at(151)->progNo, at(160)->progNo);
    EXPECT_EQ(at(160), takerOf(152));
    EXPECT_EQ(at(151), takerOf(161));
}

TEST_F(LongProgramList, FollowsAHeadThatWasMoved)
{
    fill();
    learnUpTo(149);
    progInfo *const whole = model->progList;
    model->progList = at(1);
    EXPECT_EQ(nullptr, takerOf(1));
    log.clear();
    for (u16 number = 2; number <= longList; ++number)
        EXPECT_EQ(at(number - 2U), takerOf(number));
    model->progList = whole;
    learnUpTo(longList - 1);
}

TEST_F(LongProgramList, KeepsListsApart)
{
    fill();
    learnUpTo(149);
    progInfo *const mine = model->progList;
    model->progList = nullptr;
    fill(151, 152);
    EXPECT_EQ(at(0), takerOf(151));
    progInfo *const other = model->progList;
    for (int round = 0; round < 3; ++round) {
        model->progList = mine;
        EXPECT_EQ(at(150), takerOf(151));
        model->progList = other;
        EXPECT_EQ(at(0), takerOf(151));
    }
    model.clear();
    model->progList = mine;
}

TEST_F(LongProgramList, StartsAnewInBlocksThatWereAnotherList)
{
    for (int round = 0; round < 4; ++round) {
        fill();
        learnUpTo(149);
        model.clear();
        log.clear();
        fill(1000, 1000 + longList);
        EXPECT_EQ(nullptr, takerOf(151));
        log.clear();
        EXPECT_EQ(at(150), takerOf(1150));
        model.clear();
        log.clear();
    }
}

TEST_F(LongProgramList, ForgetsTheListThatHadTheSameBlocks)
{
    fill();
    learnUpTo(149);
    const progInfo *const first = model->progList;
    const progInfo *const last = at(longList - 1);
    for (int i = 0; i < 2; ++i) { // blocks that were freed come back in reverse order
        model.clear();
        fill();
    }
    ASSERT_EQ(first, model->progList);
    ASSERT_EQ(last, at(longList - 1));
    at(150)->progNo = 7;
    EXPECT_EQ(at(6), takerOf(7)) << "though the one that was expected has the number";
}

TEST_F(LongProgramList, DoesNotReadAProgramThatIsNotInThePool)
{
    const std::size_t size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void *const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, page);
    auto *const own = new (page) progInfo();
    fill(1, 150);
    own->progNo = 151;
    ASSERT_EQ(0, zlst_push(&model->progList, own));
    fill(152, longList);
    learnUpTo(149);
    EXPECT_EQ(own, takerOf(151));
    EXPECT_EQ(at(149), takerOf(150));
    ASSERT_NE(0, zlst_delete(&model->progList, own));
    ASSERT_EQ(0, munmap(page, size));
    EXPECT_EQ(at(150), takerOf(152));
}

TEST_F(LongProgramList, WalksOverProgramsThatNoPoolGave)
{
    std::vector<progInfo> own(longList);
    for (u16 i = 0; i < longList; ++i) {
        own[i].progNo = static_cast<u16>(i + 1);
        ASSERT_EQ(0, zlst_push(&model->progList, &own[i]));
    }
    for (int round = 0; round < 2; ++round)
        learnUpTo(longList - 1);
    model->progList = nullptr;
}

TEST_F(LongProgramList, WalksWhereTheListHasNoWords)
{
    fill();
    learnUpTo(149);
    for (progInfo *prog : nodesOf(model->progList))
        std::fill(std::begin(prog->link.spare), std::end(prog->link.spare), 0U);
    for (int round = 0; round < 2; ++round)
        learnUpTo(longList - 1);
}

TEST_F(LongProgramList, WalksWhileThereIsNoPool)
{
    fill();
    learnUpTo(149);
    at(150)->progNo = 7;
    const Replaced<psiPoolId> none(psiMp, psiPoolId{0});
    EXPECT_EQ(at(6), takerOf(7));
}

TEST_F(LongProgramList, GivesTheFirstThoughAnotherWasChainedBehindTheLastByHand)
{
    fill();
    for (int round = 0; round < 2; ++round)
        learnUpTo(longList - 2);
    auto *const own = static_cast<progInfo *>(psi_buddy_malloc(sizeof(progInfo)));
    ASSERT_NE(nullptr, own);
    *own = progInfo();
    own->progNo = 7;
    at(longList - 1)->link.next = own;
    EXPECT_EQ(at(6), takerOf(7));
    own->progNo = 7777;
    EXPECT_EQ(own, takerOf(7777));
    at(longList - 1)->link.next = nullptr;
    EXPECT_EQ(0, psi_buddy_free(own));
}

TEST_F(LongProgramList, GivesTheFirstThoughAnotherWasPutBetweenByHand)
{
    fill();
    learnUpTo(149);
    auto *const own = static_cast<progInfo *>(psi_buddy_malloc(sizeof(progInfo)));
    ASSERT_NE(nullptr, own);
    *own = progInfo();
    own->progNo = 7;
    progInfo *const before = at(155);
    own->link.next = before->link.next;
    before->link.next = own;
    EXPECT_EQ(at(6), takerOf(7));
    EXPECT_EQ(at(157), takerOf(157));
    before->link.next = own->link.next;
    EXPECT_EQ(0, psi_buddy_free(own));
}

TEST_F(LongProgramList, FindsServicesOfAnSdt)
{
    fill();
    for (int round = 0; round < 3; ++round) {
        SdtBuilder sdt;
        for (u16 number = 1; number <= longList; ++number)
            if (number % 3 != 0)
                sdt.service(number);
        sdt.service(5000);
        const Bytes bytes = sdt.build();
        sectionData section = sectionNode(PSI_SDT_ACTUAL, const_cast<u8 *>(bytes.data()), bytes.size());
        for (progInfo *prog : nodesOf(model->progList))
            prog->run_stat = 0xFF;
        EXPECT_EQ(0, analysePsi(model.get(), &section, 0));
        for (const progInfo *prog : nodesOf(model->progList))
            EXPECT_EQ(prog->progNo % 3 == 0, prog->run_stat == 0xFF) << prog->progNo;
        log.clear();
    }
}

/** Everything that lists allow, in any order: what takes the PMT is always what getProgInfo() gives. */
TEST_F(LongProgramList, GivesWhatAWalkGivesWhateverHappened)
{
    std::mt19937 random(5);
    const auto below = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    fill();
    u16 fresh = 1000;
    std::size_t place = 0;
    for (int step = 0; step < 20000; ++step) {
        const std::vector<progInfo *> all = nodesOf(model->progList);
        switch (below(40)) {
        case 0:
            add(fresh++);
            break;
        case 1: // a number that there is
            add(all[below(all.size())]->progNo);
            break;
        case 2:
        case 3:
            if (all.size() > 100) {
                EXPECT_EQ(0, progInfoDestroy(&model->progList, all[below(all.size())], 0));
            }
            break;
        case 4:
            if (all.size() > 100) {
                EXPECT_EQ(0, progInfoDestroy(&model->progList, all.back(), 0));
            }
            break;
        case 5: // one is taken out by hand
            if (const std::size_t i = 1 + below(all.size() - 2); all.size() > 100) {
                all[i - 1]->link.next = all[i + 1];
                EXPECT_EQ(0, psi_buddy_free(all[i]));
            }
            break;
        case 6:
            all[below(all.size())]->progNo = fresh++;
            break;
        case 7:
            place = below(all.size());
            break;
        default:
            break;
        }
        const std::vector<progInfo *> now = nodesOf(model->progList);
        place = (place + 1 + below(20) / 19) % now.size();
        const u16 number = now[place]->progNo;
        progInfo *const first = getProgInfo(model.get(), number);
        ASSERT_EQ(first, takerOf(number)) << "step " << step;
    }
}

} // namespace
} // namespace psitest
