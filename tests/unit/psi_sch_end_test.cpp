// How a search ended: the reason per table type.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

using namespace psi::core;

/** @brief For messages of failed tests. */
static void PrintTo(psiEndReason reason, std::ostream *os)
{
    static const char *const names[] = {"never", "whole", "absent", "time-out", "stopped", "no memory", "refused"};
    *os << names[reason];
}

namespace psitest {
namespace {

class EndReason : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        setPsiSchRPTLevel(0);
    }
    psiEndReason end(u32 type) { return psiSchEndReason(host->id(), type); }
    psiEndReason search(u32 type, const std::vector<Answer> &answers)
    {
        host->play(answers);
        schTable(host->id(), type);
        EXPECT_EQ(0U, host->unplayed());
        return end(type);
    }
    /** @brief Section `number` of a PAT with three sections. */
    static Bytes pat(u8 number, u8 last = 2)
    {
        return PatBuilder().number(number, last).program(static_cast<u16>(10 + number), 0x100).build();
    }
    static Bytes bat(u16 bouquet, u8 number = 0, u8 last = 0)
    {
        return BatBuilder().bouquetId(bouquet).number(number, last).build();
    }
    static Bytes damaged(Bytes section)
    {
        section.back() ^= 1;
        return section;
    }
    static Answer stop(psiObjId id)
    {
        return answer::notReady().doing([id](const psiSchInfo &) { psiSchStop(id); });
    }
    /** @brief A section that comes while the pool cannot give its n-th block: scratch, node, bytes, then analysis. */
    Answer lost(const Bytes &section, unsigned nth = 1) { return withoutMemory(answer::section(section), nth); }
    Answer withoutMemory(const Answer &answer, unsigned nth = 1)
    {
        return answer.doing([this, nth](const psiSchInfo &) { plan.emplace(Call::Malloc, nth); });
    }
    /** @brief Memory is there again. */
    Answer relieved(const Answer &answer)
    {
        return answer.doing([this](const psiSchInfo &) {
            EXPECT_EQ(1U, plan->injected());
            plan.reset();
        });
    }
    std::optional<FaultPlan> plan;
};

/** @brief The same for every type. */
class EndReasonOf : public EndReason, public testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        EndReason::SetUp();
        addProgram(5, 0x100);
    }
    const u32 type = GetParam();
};

INSTANTIATE_TEST_SUITE_P(EveryType, EndReasonOf, testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15));

TEST_P(EndReasonOf, IsNeverBeforeTheFirstSearch)
{
    EXPECT_EQ(PSI_END_NEVER, end(type));
}

TEST_P(EndReasonOf, IsWholeWhenItsOneSectionCame)
{
    EXPECT_EQ(PSI_END_WHOLE, search(type, {answer::section(sampleSection(type))}));
}

TEST_P(EndReasonOf, IsAbsentWhenTheHostSaysSo)
{
    EXPECT_EQ(PSI_END_ABSENT, search(type, {answer::noTable()}));
}

TEST_P(EndReasonOf, IsTimeOutWhenNothingComes)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(type, {}));
    EXPECT_EQ(PSI_END_TIMEOUT, search(type, {answer::dataError(), answer::result(2)}));
}

TEST_P(EndReasonOf, IsStoppedAfterAStop)
{
    EXPECT_EQ(PSI_END_STOPPED, search(type, {stop(host->id())}));
    if (type != PSI_PAT) { // whose search takes the stop back
        EXPECT_EQ(PSI_END_STOPPED, search(type, {}));
    }
}

TEST_P(EndReasonOf, IsNoMemoryWithoutRoomForItsWorkRecord)
{
    const FaultPlan noRoom(Call::Malloc, 1);
    EXPECT_EQ(PSI_END_NO_MEMORY, search(type, {}));
}

TEST_P(EndReasonOf, IsNoMemoryWhenItsSectionCannotBeStored)
{
    for (unsigned nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        EXPECT_EQ(PSI_END_NO_MEMORY, search(type, {lost(sampleSection(type), nth)}));
        EXPECT_EQ(1U, plan->injected());
        plan.reset();
    }
}

TEST_P(EndReasonOf, IsWholeWhenASectionThatFoundNoMemoryComesAgain)
{
    for (unsigned nth = 1; nth <= 3; ++nth) {
        SCOPED_TRACE(nth);
        const Bytes section = sampleSection(type);
        EXPECT_EQ(PSI_END_WHOLE, search(type, {lost(section, nth), relieved(answer::section(section))}));
        clearTableInfo(host->id());
        addProgram(5, 0x100);
    }
}

TEST_P(EndReasonOf, IsRefusedWithoutTheMutex)
{
    const Replaced<psiSemId> none(host->object()->semId, 0);
    EXPECT_EQ(0U, schTable(host->id(), type));
    EXPECT_EQ(PSI_END_REFUSED, end(type));
    EXPECT_TRUE(host->takeCalls().empty()) << "nothing is searched";
}

TEST_P(EndReasonOf, IsRefusedWhenTheMutexIsMissingForAReSearch)
{
    const Replaced<psiSemId> none(host->object()->semId, 0);
    EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
    EXPECT_EQ(PSI_END_REFUSED, end(type));
}

TEST_P(EndReasonOf, IsRefusedWithoutTheHostsCallbacks)
{
    const Replaced<void (*)(u32)> none(psiMsSleep, nullptr);
    EXPECT_EQ(PSI_END_REFUSED, search(type, {}));
}

TEST_P(EndReasonOf, IsThatOfTheLastSearch)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(type, {}));
    host->play({answer::noTable().doing(
        [this](const psiSchInfo &) { EXPECT_EQ(PSI_END_TIMEOUT, end(type)) << "while the next one runs"; })});
    schTable(host->id(), type);
    EXPECT_EQ(PSI_END_ABSENT, end(type));
    EXPECT_EQ(PSI_END_WHOLE, search(type, {answer::section(sampleSection(type))}));
    for (const TypeFacts &other : typesWithTable()) {
        if (other.psiType != type) {
            EXPECT_EQ(PSI_END_NEVER, end(other.psiType)) << "one reason for each type";
        }
    }
}

TEST_F(EndReason, IsNeverForAWrongHandleOrCode)
{
    for (const u32 type : {8U, 16U, 255U, 0x100U, 0xFFFFFFFFU}) {
        schTable(host->id(), type);
        re_SchTable(host->id(), type, 0);
        EXPECT_EQ(PSI_END_NEVER, end(type));
    }
    search(PSI_PAT, {answer::noTable()});
    EXPECT_EQ(PSI_END_NEVER, psiSchEndReason(0, PSI_PAT));
    EXPECT_EQ(PSI_END_NEVER, psiSchEndReason(host->id() + 1, PSI_PAT));
}

TEST_F(EndReason, StartsAnewWithANewObjectAtAnOldAddress)
{
    search(PSI_PAT, {answer::noTable()});
    const psiObjId old = host->id();
    EXPECT_EQ(0, psiSchUserPointerSet(old, this));
    EXPECT_EQ(0, host->destroy());
    EXPECT_EQ(PSI_END_NEVER, psiSchEndReason(old, PSI_PAT));
    host.reset();
    host.emplace();
    ASSERT_EQ(old, host->id());
    EXPECT_EQ(PSI_END_NEVER, end(PSI_PAT));
    EXPECT_EQ(nullptr, psiSchUserPointer(old));
}

TEST_F(EndReason, StaysThroughAClear)
{
    search(PSI_PAT, {answer::section(sampleSection(PSI_PAT))});
    EXPECT_EQ(0, clearTableInfo(host->id()));
    EXPECT_EQ(PSI_END_WHOLE, end(PSI_PAT));
}

TEST_F(EndReason, OfAReSearchIsThatOfItsSearches)
{
    host->play({answer::section(sampleSection(PSI_PAT)), answer::section(sampleSection(PSI_PMT)), answer::noTable()});
    re_SchTable(host->id(), PSI_CAT, 0);
    EXPECT_EQ(PSI_END_WHOLE, end(PSI_PAT));
    EXPECT_EQ(PSI_END_WHOLE, end(PSI_PMT));
    EXPECT_EQ(PSI_END_ABSENT, end(PSI_CAT));
    EXPECT_EQ(PSI_END_TIMEOUT, end(PSI_SDT_ACTUAL));
    EXPECT_EQ(PSI_END_NEVER, end(PSI_VCT));
}

TEST_F(EndReason, OfAReSearchOfAnEmergencyTableIsRefused)
{
    for (const u32 type : {PSI_EBIT, PSI_EBCT, PSI_EBCAT, PSI_EBCCT}) {
        EXPECT_EQ(PSI_END_WHOLE, search(type, {answer::section(sampleSection(type))}));
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ(PSI_END_REFUSED, end(type));
    }
}

TEST_F(EndReason, OfAReSearchThatCannotForgetIsRefused)
{
    for (const u32 type : {PSI_PAT, PSI_BAT}) {
        search(type, {answer::section(sampleSection(type))});
        const FaultPlan stuck(Call::Delete, 1);
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ(PSI_END_REFUSED, end(type));
    }
}

/* ---- Tables of one sub-table ---- */

TEST_F(EndReason, OfATableIsWholeWithItsLastSection)
{
    EXPECT_EQ(PSI_END_WHOLE,
              search(PSI_PAT, {answer::section(pat(0)), answer::section(pat(1)), answer::section(pat(2))}));
}

TEST_F(EndReason, OfATableThatLacksASectionIsTimeOut)
{
    host->play({answer::section(pat(0)), answer::notReady().after(2000), answer::section(pat(2))});
    EXPECT_EQ(2U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(PSI_END_TIMEOUT, end(PSI_PAT));
}

TEST_F(EndReason, OfATableWhoseLastSectionCameAloneIsTimeOut)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PAT, {answer::section(pat(2))}));
}

TEST_F(EndReason, OfATableWithWrongCrcsIsTimeOut)
{
    EXPECT_EQ(PSI_END_TIMEOUT,
              search(PSI_PAT, {answer::section(damaged(pat(0, 0))), answer::section(damaged(pat(0, 0)))}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PAT, {answer::section(damaged(pat(0, 0))), answer::section(pat(0, 0))}));
}

TEST_F(EndReason, OfATableIsNotMadeWholeByADamagedSectionThatClaimsToBeTheOnlyOne)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PAT, {answer::section(pat(0)), answer::section(damaged(pat(0, 0)))}));
}

TEST_F(EndReason, OfATableThatTheHostEndsInTheMiddleIsAbsent)
{
    EXPECT_EQ(PSI_END_ABSENT, search(PSI_PAT, {answer::section(pat(0)), answer::noTable()}));
}

TEST_F(EndReason, OfATableWithoutRoomInTheModelIsNoMemory)
{
    // Behind scratch, node and bytes: the program.
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_PAT, {lost(pat(0, 0), 4)}));
    plan.reset();
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PAT, {lost(pat(0, 0), 4), relieved(answer::section(pat(0, 0)))}));
}

TEST_F(EndReason, OfATableThatLostASectionInTheMiddleIsNoMemory)
{
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_PAT, {answer::section(pat(0)), lost(pat(1)),
                                                  relieved(answer::notReady().after(2000)), answer::section(pat(2))}));
}

TEST_F(EndReason, OfATableIsTimeOutWhenWhatItLacksIsNotWhatFoundNoMemory)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PAT, {lost(pat(0)), relieved(answer::section(pat(0))),
                                                answer::notReady().after(2000), answer::section(pat(2))}));
}

TEST_F(EndReason, NoMemoryGivesWayToAStopAndToTheHostsWord)
{
    EXPECT_EQ(PSI_END_ABSENT, search(PSI_PAT, {lost(pat(0)), answer::noTable()}));
    plan.reset();
    EXPECT_EQ(PSI_END_STOPPED, search(PSI_PAT, {lost(pat(0)), stop(host->id())}));
}

TEST_F(EndReason, IsTimeOutWhenAnotherTasksCallsFindNoMemory)
{
    const Answer elsewhere = answer::section(damaged(pat(0, 0))).doing([](const psiSchInfo &) {
        EXPECT_EQ(nullptr, psi_buddy_malloc(0x7FFFFFFF));
    });
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PAT, {elsewhere}));
}

/* ---- PMTs ---- */

class PmtEndReason : public EndReason {
protected:
    static Bytes pmt(u16 program) { return PmtBuilder(program).pcrPid(0x101).stream(2, 0x101).build(); }
    /** @brief Programs 1 to n, each with a PMT on a PID of its own. */
    void addPrograms(u16 n)
    {
        for (u16 program = 1; program <= n; ++program)
            addProgram(program, static_cast<u16>(0x100 + program));
    }
};

TEST_F(PmtEndReason, IsWholeWithoutPrograms)
{
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {}));
}

TEST_F(PmtEndReason, IsWholeWhenAllCame)
{
    addPrograms(2);
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {answer::section(pmt(1)), answer::section(pmt(2))}));
}

TEST_F(PmtEndReason, IsThatOfTheFirstProgramThatWasNotWhole)
{
    addPrograms(4);
    EXPECT_EQ(PSI_END_ABSENT, search(PSI_PMT, {answer::section(pmt(1)), answer::noTable(),
                                               answer::notReady().after(9999), answer::section(pmt(4))}));
}

TEST_F(PmtEndReason, IsThatOfAProgramInFrontOfAStop)
{
    addPrograms(3);
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PMT, {answer::notReady().after(9999), stop(host->id())}));
}

TEST_F(PmtEndReason, IsStoppedWhenTheStopCutTheFirstMissingOneOff)
{
    addPrograms(3);
    EXPECT_EQ(PSI_END_STOPPED,
              search(PSI_PMT, {answer::section(pmt(1)).doing([this](const psiSchInfo &) { psiSchStop(host->id()); })}));
}

TEST_F(PmtEndReason, IsWholeWhenAStopCameBehindTheLastOne)
{
    addPrograms(2);
    model().progList->pmtValid = 1;
    EXPECT_EQ(PSI_END_WHOLE,
              search(PSI_PMT, {answer::section(pmt(2)).doing([this](const psiSchInfo &) { psiSchStop(host->id()); })}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {})) << "all have theirs";
}

TEST_F(PmtEndReason, OfProgramsThatHaveTheirsIsWhole)
{
    addPrograms(2);
    model().progList->pmtValid = 1;
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {answer::section(pmt(2))}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {}));
}

TEST_F(PmtEndReason, IsNoMemoryWhenThereIsNoRoomForTheStreams)
{
    addPrograms(1);
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_PMT, {lost(pmt(1), 4)}));
}

TEST_F(PmtEndReason, IsTimeOutWhenThePmtOfAnotherProgramFindsNoMemory)
{
    addPrograms(1);
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PMT, {lost(pmt(7))}));
}

TEST_F(PmtEndReason, IsTimeOutWhenPacketsInWhichNoSectionBeginsFindNoMemory)
{
    addPrograms(1);
    Packet continuation;
    continuation.pid = 0x101;
    continuation.payload = pmt(1);
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PMT, {withoutMemory(answer::packets(continuation.bytes()))}));
}

TEST_F(PmtEndReason, IsNoMemoryForASectionBehindTheTailOfAnother)
{
    addPrograms(1);
    PacketStream packets(0x101);
    packets.section(pmt(1), repeated(20, 0xFF));
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_PMT, {withoutMemory(answer::packets(packets.bytes()))}));
}

TEST_F(PmtEndReason, OfAHeaderInTwoPacketsGoesByTheFirstOfThem)
{
    addProgram(0x47FF, 0x101); // as though the second packet began with the rest of the header
    PacketStream packets(0x101);
    const std::size_t lead = packetSize - 5 - 3; // leaves room for the section's first three bytes
    packets.section(pmt(0x47FF), repeated(lead, 0xFF));
    ASSERT_EQ(2U, packets.count());
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_PMT, {withoutMemory(answer::packets(packets.bytes()))}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_PMT, {relieved(answer::packets(packets.bytes()))}));
}

/* ---- Tables of many sub-tables ---- */

TEST_F(EndReason, OfACollectionIsWholeWhenNoSubTableLacksASection)
{
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1, 0, 1)), answer::section(bat(1, 1, 1)),
                                              answer::section(bat(2)), answer::section(bat(1, 0, 1))}));
}

TEST_F(EndReason, OfACollectionWithASubTableThatLacksASectionIsTimeOut)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(bat(1, 0, 2)), answer::notReady().after(6000),
                                                answer::section(bat(1, 2, 2)), answer::section(bat(2))}));
}

TEST_F(EndReason, OfACollectionWhoseSubTable0LacksASectionIsTimeOut)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(bat(0, 0, 1))}));
}

TEST_F(EndReason, OfACollectionDoesNotCountTheSectionsOfAnEarlierSearch)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(bat(1, 0, 2))}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1, 0, 0))})) << "a new version has one section";
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1, 0, 1)), answer::section(bat(1, 1, 1))}));
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(bat(1, 0, 1))}));
}

TEST_F(EndReason, OfACollectionWithWrongCrcsIsTimeOut)
{
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(damaged(bat(1))), answer::section(damaged(bat(2)))}));
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(bat(1)), answer::section(damaged(bat(2)))}));
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1)), answer::section(bat(2))}));
    const Bytes tiny = {0x4A, 0xB0, 0x01, 0x43};
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, {answer::section(tiny)}));
}

TEST_F(EndReason, OfACollectionGoesByItsOwnTypeOnly)
{
    Bytes section = damaged(pat(0));
    const auto keepPat = [this, &section](const psiSchInfo &) {
        sectionData *const kept = sectionDataCreat(&model().sectionList);
        ASSERT_NE(nullptr, kept);
        kept->psiType = PSI_PAT;
        kept->buf = static_cast<u8 *>(psi_buddy_malloc(static_cast<u32>(section.size())));
        ASSERT_NE(nullptr, kept->buf);
        kept->len = static_cast<u16>(section.size());
        std::copy(section.begin(), section.end(), kept->buf);
    };
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1)), answer::notReady().doing(keepPat)}));
}

TEST_F(EndReason, OfACollectionThatTheHostEndsIsAbsent)
{
    EXPECT_EQ(PSI_END_ABSENT, search(PSI_BAT, {answer::section(bat(1)), answer::noTable()}));
}

TEST_F(EndReason, OfACollectionThatFoundNoMemoryForOneSectionIsNoMemory)
{
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_BAT, {answer::section(bat(1)), lost(bat(2), 2), answer::section(bat(3))}));
    plan.reset();
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, {answer::section(bat(1)), lost(bat(2), 2), answer::section(bat(3)),
                                              relieved(answer::section(bat(2)))}));
}

TEST_F(EndReason, OfACollectionThatFoundNoMemoryForSubTable0IsNoMemory)
{
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_BAT, {lost(bat(0), 2)}));
}

TEST_F(EndReason, OfACollectionOfWhichOneOfTwoLostSectionsComesAgainIsNoMemory)
{
    EXPECT_EQ(PSI_END_NO_MEMORY,
              search(PSI_BAT, {lost(bat(1), 2), lost(bat(2), 2), relieved(answer::section(bat(1)))}));
}

TEST_F(EndReason, OfACollectionWithoutRoomForItsRecordIsNoMemory)
{
    const FaultPlan noRoom(Call::Malloc, 2);
    EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_BAT, {}));
    EXPECT_EQ(1U, noRoom.injected());
}

/** @brief Sub-tables 0 to n - 1, one section each. */
std::vector<Answer> subTables(unsigned n)
{
    std::vector<Answer> answers;
    for (unsigned id = 0; id < n; ++id)
        answers.push_back(answer::section(BatBuilder().bouquetId(static_cast<u16>(id)).build()));
    return answers;
}

TEST_F(EndReason, OfACollectionOf256SectionsIsWholeAndOfMoreIsTimeOut)
{
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, subTables(256)));
    clearTableInfo(host->id());
    EXPECT_EQ(PSI_END_TIMEOUT, search(PSI_BAT, subTables(257)));
}

TEST_F(EndReason, OfACollectionRemembersManySectionsThatFoundNoMemory)
{
    for (const unsigned n : {64U, 65U}) {
        SCOPED_TRACE(n);
        plan.emplace(Call::Malloc, 3, Fail::FromThenOn); // behind the two records of the search
        EXPECT_EQ(PSI_END_NO_MEMORY, search(PSI_BAT, subTables(n)));
        plan.reset();
    }
    // 64 of them can come again: each allocation but those of the first round succeeds.
    std::vector<Answer> twice = subTables(64);
    twice.front() =
        twice.front().doing([this](const psiSchInfo &) { plan.emplace(Call::Malloc, 1, Fail::FromThenOn); });
    std::vector<Answer> again = subTables(64);
    again.front() = again.front().doing([this](const psiSchInfo &) { plan.reset(); });
    twice.insert(twice.end(), again.begin(), again.end());
    EXPECT_EQ(PSI_END_WHOLE, search(PSI_BAT, twice));
}

/* ---- The standard set ---- */

TEST_F(EndReason, OfTheStandardSetIsToldPerTable)
{
    Carousel carousel(500, true);
    fillAtsc(carousel);
    carousel.drive(*host);
    EXPECT_EQ(0, autoSchTable(host->id(), 1));
    for (const u32 type : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_VCT, PSI_MGT, PSI_STT})
        EXPECT_EQ(PSI_END_WHOLE, end(type)) << type;
    EXPECT_EQ(PSI_END_NEVER, end(PSI_SDT_ACTUAL));
}

} // namespace
} // namespace psitest
