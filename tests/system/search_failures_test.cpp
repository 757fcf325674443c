// Whole searches with failing memory and failing list calls: nothing leaks, crashes or keeps the mutex.
#include "support/faultInjection.h"
#include "support/searchTest.h"

namespace psitest {
namespace {

struct Sweep {
    const char *name;
    u32 standard;
    Call call;
    Fail mode;
};

class FailingSearch : public SearchTest, public testing::WithParamInterface<Sweep> {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        setPsiSchRPTLevel(0);
        standard() == 0 ? fillDvb(carousel) : fillAtsc(carousel);
        carousel.drive(*host);
        emptyBlocks = liveBlocks();
    }
    u32 standard() const { return GetParam().standard; }
    u32 completeMask() const { return standard() == 0 ? 0xF0FD : 0xE81; }
    void empty()
    {
        EXPECT_EQ(0, clearTableInfo(host->id()));
        EXPECT_EQ(emptyBlocks, liveBlocks()) << "an empty object holds no blocks";
        host->takeCalls();
    }
    /** @brief After any failure: no lock held, no wild pointer, and the next search is complete. */
    void expectUsable()
    {
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
        expectNoDanglingBytes(model());
        empty();
        EXPECT_EQ(0, autoSchTable(host->id(), standard()));
        EXPECT_EQ(completeMask(), model().tableMask);
    }

    Carousel carousel{500};
    u32 emptyBlocks = 0;
};

TEST_P(FailingSearch, OfTheStandardSet)
{
    i32 result = 0;
    const unsigned runs = sweepFailures(
        GetParam().call, GetParam().mode, [&] { empty(); }, [&] { result = autoSchTable(host->id(), standard()); },
        [&](bool injected) {
            if (!injected) {
                EXPECT_EQ(0, result);
                EXPECT_EQ(completeMask(), model().tableMask);
            }
            expectUsable();
        });
    EXPECT_GT(runs, standard() == 0 ? 40U : 14U);
}

TEST_P(FailingSearch, AgainOfEveryType)
{
    for (const u32 type : {PSI_PAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_BAT, PSI_MGT}) {
        SCOPED_TRACE(type);
        u32 blocks = 0;
        sweepFailures(
            GetParam().call, GetParam().mode,
            [&] {
                empty();
                EXPECT_EQ(0, autoSchTable(host->id(), standard()));
                blocks = liveBlocks();
            },
            [&] { re_SchTable(host->id(), type, standard()); },
            [&](bool injected) {
                EXPECT_TRUE(mutexIsFree(host->object()->semId));
                expectNoDanglingBytes(model());
                if (!injected) {
                    EXPECT_EQ(blocks, liveBlocks());
                }
            });
        expectUsable();
    }
}

const Sweep sweeps[] = {
    {"DvbMemoryOnce", 0, Call::Malloc, Fail::Once},  {"DvbMemoryGone", 0, Call::Malloc, Fail::FromThenOn},
    {"DvbPushOnce", 0, Call::Push, Fail::Once},      {"DvbPushGone", 0, Call::Push, Fail::FromThenOn},
    {"AtscMemoryOnce", 1, Call::Malloc, Fail::Once}, {"AtscMemoryGone", 1, Call::Malloc, Fail::FromThenOn},
    {"AtscPushOnce", 1, Call::Push, Fail::Once},     {"AtscPushGone", 1, Call::Push, Fail::FromThenOn},
};

INSTANTIATE_TEST_SUITE_P(EveryCall, FailingSearch, testing::ValuesIn(sweeps),
                         [](const auto &param) { return param.param.name; });

/* ---- Deletes: what cannot be taken off its list stays there ---- */

class FailingDelete : public SearchTest {};

TEST_F(FailingDelete, LeavesADamagedSectionOnItsList)
{
    Bytes damaged = sampleSection(PSI_CAT);
    damaged.back() ^= 1;
    host->play({answer::section(damaged), answer::section(sampleSection(PSI_CAT))});
    const FaultPlan plan(Call::Delete, 1);
    EXPECT_EQ(1U, schTable(host->id(), PSI_CAT));
    EXPECT_EQ(1U, plan.injected());
    EXPECT_EQ((std::vector<Stored>{stored(PSI_CAT, 0x01, damaged), stored(PSI_CAT, 0x01, sampleSection(PSI_CAT))}),
              storedSections(model()));
}

TEST_F(FailingDelete, LeavesARepeatedSectionOnItsList)
{
    const Bytes bat = sampleSection(PSI_BAT);
    host->play({answer::section(bat), answer::section(bat), answer::section(bat), answer::noTable()});
    const FaultPlan plan(Call::Delete, 1);
    EXPECT_EQ(1U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ((std::vector<Stored>{stored(PSI_BAT, 0x11, bat), stored(PSI_BAT, 0x11, bat)}), storedSections(model()));
}

TEST_F(FailingDelete, NeverStopsASearchAgainFromGivingTheMutexBack)
{
    setPsiSchRPTLevel(0);
    Carousel carousel(500);
    fillDvb(carousel);
    carousel.drive(*host);
    for (const u32 type : {PSI_PAT, PSI_NIT_ACTUAL, PSI_BAT}) {
        for (const Fail mode : {Fail::Once, Fail::FromThenOn}) {
            // A node that a destroyer has unlinked and then failed on is lost, so the object is made anew each time.
            EXPECT_EQ(0, autoSchTable(host->id(), 0));
            const unsigned deletes = countCalls(Call::Delete, [&] { re_SchTable(host->id(), type, 0); });
            EXPECT_GT(deletes, 0U);
            {
                const FaultPlan plan(Call::Delete, 1, mode);
                EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
                EXPECT_EQ(1U, plan.injected()) << "the first failure ends it";
            }
            EXPECT_TRUE(mutexIsFree(host->object()->semId));
            expectNoDanglingBytes(model());
            EXPECT_NE(0U, re_SchTable(host->id(), type, 0));
            EXPECT_EQ(0, clearTableInfo(host->id()));
        }
    }
}

} // namespace
} // namespace psitest
