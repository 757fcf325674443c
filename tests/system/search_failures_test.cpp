// Searches whose removals from a list fail: what cannot be taken off its list stays there, and nothing keeps the mutex.
#include "support/faultInjection.h"
#include "support/searchTest.h"

namespace psitest {
namespace {

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
