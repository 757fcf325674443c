// The loops that collect the sections of many sub-tables: SDT other, NIT other, BAT, and the emergency tables.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

using namespace psi::core;

namespace psitest {
namespace {

/* ---- What the loops say; all of them with the same prefix ---- */

const LogLine otherOk = info("psiSch", "schOtherPsi: readPsi get data ok!");
const LogLine otherNoTable = info("psiSch", "schOtherPsi: PSI_NO_TABLE!");
const LogLine otherStopped = info("psiSch", "schOtherPsi: psi sch stop!");
const LogLine seenBefore = info("psiSch", "schOtherPsi: the section is already exist, continue!");

LogLine cost(unsigned ms)
{
    return info("psiSch", format("schOtherPsi: section sch cost time %ums !", ms));
}

LogLine recordId(unsigned id)
{
    return info("psiSch", format("schOtherPsi: the record id is 0x%x !", id));
}

LogLine taken(unsigned tableId, unsigned id, unsigned number)
{
    return info("psiSch", format("schOtherPsi: tableid is 0x%x, id=0x%x, sectionNo=%u !", tableId, id, number));
}

LogLine next(unsigned number, unsigned id)
{
    return info("psiSch", format("section next table set (sectNo=%u, id=%u)!", number, id));
}

LogLine skipped(unsigned number, unsigned id)
{
    return info("psiSch", format("schOtherPsi: timeout,section next table set (sectNo=%u, id=%u)!", number, id));
}

LogLine ended(unsigned count)
{
    return info("psiSch", format("schOtherPsi: sch section number is %u!", count));
}

/** @brief The lines of a one-packet section that is new. */
LogLines accepted(unsigned tableId, unsigned id, unsigned number, unsigned ms = 0)
{
    return {otherOk, packetsRead(1), cost(ms), recordId(id), cost(ms), taken(tableId, id, number)};
}

/** @brief The lines of one that was there before. */
LogLines dropped(unsigned id, unsigned ms = 0)
{
    return {otherOk, packetsRead(1), cost(ms), recordId(id), seenBefore};
}

Bytes bat(u16 bouquet, u8 number, u8 last)
{
    return BatBuilder().bouquetId(bouquet).number(number, last).build();
}

std::string armBat(u8 number = 0, std::optional<u16> bouquet = {})
{
    return arm(0x11, 0x4A, number, bouquet);
}

/** @brief A section of an emergency table that fills so many packets. */
Bytes filling(unsigned packetCount, u8 tableId)
{
    return sectionOfSize(183 + (packetCount - 1) * 184, tableId);
}

class CollectingSearch : public SearchTest {
protected:
    u32 searchBat() { return schOtherPsi(host->object(), PSI_BAT); }
    void expectStoredBat(const std::vector<Bytes> &sections)
    {
        std::vector<Stored> expected;
        for (const Bytes &section : sections)
            expected.push_back(stored(PSI_BAT, 0x11, section));
        EXPECT_EQ(expected, storedSections(model()));
    }
    Answer stopping(const Answer &answer)
    {
        return answer.doing([this](const psiSchInfo &) { psiSchStop(host->id()); });
    }
};

/* ---- Complete tables ---- */

TEST_F(CollectingSearch, CollectsTheSectionsOfAllSubTablesUntilNothingNewComes)
{
    const std::vector<Bytes> sections = {bat(0x10, 0, 1), bat(0x10, 1, 1), bat(0x20, 0, 1), bat(0x20, 1, 1)};
    for (const Bytes &section : sections)
        host->play({answer::section(section)});
    // Then the first comes again, and after that nothing for the rest of the time-out.
    host->play({answer::section(sections[0]).after(1000), answer::dataError().after(5000)});
    EXPECT_EQ(4U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x10), readCall, armBat(), readCall, armBat(1, 0x20), readCall,
                     armBat(), readCall, armBat(), readCall, armBat()}),
              callsOf(*host));
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + next(1, 0x10) + accepted(0x4A, 0x10, 1) + accepted(0x4A, 0x20, 0) +
                  next(1, 0x20) + accepted(0x4A, 0x20, 1) + dropped(0x10, 1000) +
                  warning("psiSch", "schOtherPsi: readPsi get data error") + ended(4),
              searchLog());
    expectStoredBat(sections);
}

TEST_F(CollectingSearch, FindsAllTypesOfItsKindAndAnalysesNothing)
{
    addProgram(6, 0x100);
    for (const u32 type : {PSI_SDT_OTHER, PSI_NIT_OTHER, PSI_BAT, PSI_EBIT, PSI_EBCT, PSI_EBCAT, PSI_EBCCT}) {
        const TypeFacts &facts = factsOf(type);
        SCOPED_TRACE(facts.name);
        log.clear();
        const Bytes section = sampleSection(type);
        const unsigned id = static_cast<unsigned>(section[3] << 8 | section[4]);
        host->play({answer::section(section).after(9), answer::noTable()});
        EXPECT_EQ(1U, facts.longSection ? schEbtTable(host->object(), type) : schOtherPsi(host->object(), type));
        const std::string armed = arm(facts.pid, facts.tableId, 0, {}, facts.longSection);
        EXPECT_EQ((Calls{armed, readCall, armed, readCall}), callsOf(*host));
        EXPECT_EQ(accepted(facts.tableId, id, 0, 9) + otherNoTable, searchLog());
        EXPECT_EQ(stored(type, facts.pid, section), storedSections(model()).back());
    }
    EXPECT_EQ(7U, storedSections(model()).size());
    EXPECT_EQ(nullptr, model().progList->sname);
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(0, model().netId);
    EXPECT_EQ(0, model().tsId);
}

TEST_F(CollectingSearch, KeepsSectionsWhoseCrcIsWrong)
{
    Bytes damaged = bat(0x10, 0, 0);
    damaged.back() ^= 1;
    host->play({answer::section(damaged), answer::noTable()});
    EXPECT_EQ(1U, searchBat());
    expectStoredBat({damaged});
}

TEST_F(CollectingSearch, CountsTheSectionsWhenTheTableGoesAway)
{
    host->play({answer::section(bat(0x10, 0, 2)), answer::section(bat(0x10, 1, 2)), answer::noTable()});
    EXPECT_EQ(2U, searchBat());
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + next(1, 0x10) + accepted(0x4A, 0x10, 1) + next(2, 0x10) + otherNoTable,
              searchLog());
}

TEST_F(CollectingSearch, TakesSectionNumbersUpTo255)
{
    std::vector<Bytes> sections;
    Calls calls;
    for (unsigned number = 0; number < 256; ++number) {
        const u8 sectionNo = static_cast<u8>(number);
        sections.push_back(bat(0x10, sectionNo, 255));
        host->play({answer::section(sections.back())});
        calls.push_back(number == 0 ? armBat() : armBat(sectionNo, 0x10));
        calls.push_back(readCall);
    }
    host->play({answer::noTable()});
    calls.insert(calls.end(), {armBat(), readCall});
    EXPECT_EQ(256U, searchBat());
    EXPECT_EQ(calls, callsOf(*host));
    expectStoredBat(sections);
}

TEST_F(CollectingSearch, Takes200SubTables)
{
    std::vector<Bytes> sections;
    for (unsigned bouquet = 0; bouquet < 200; ++bouquet) {
        sections.push_back(bat(static_cast<u16>(bouquet * 321), 0, 0));
        host->play({answer::section(sections.back())});
    }
    EXPECT_EQ(200U, searchBat());
    expectStoredBat(sections);
    EXPECT_EQ(1000U + 6000U, fakeClock::now()) << "one time-out behind the last new sub-table";
    EXPECT_EQ(ended(200), searchLog().back());
}

/* ---- 256 sections ---- */

TEST_F(CollectingSearch, DropsThe257thSection)
{
    setPsiSchRPTLevel(0);
    std::vector<Bytes> sections;
    for (unsigned i = 0; i < 256; ++i) {
        sections.push_back(bat(static_cast<u16>(0x100 + i), 0, 0));
        host->play({answer::section(sections.back())});
    }
    host->play({answer::section(bat(0x900, 0, 0)).doing([](const psiSchInfo &) { setPsiSchRPTLevel(3); }),
                answer::section(bat(0x100, 0, 0)), answer::section(bat(0x901, 0, 3)), answer::noTable()});
    EXPECT_EQ(256U, searchBat());
    EXPECT_EQ(dropped(0x900) + dropped(0x100) + dropped(0x901) + otherNoTable, searchLog());
    expectStoredBat(sections);
    const Calls calls = callsOf(*host);
    EXPECT_EQ((Calls{armBat(), readCall, armBat(), readCall, armBat(), readCall, armBat(), readCall}),
              Calls(calls.end() - 8, calls.end()))
        << "a dropped section asks for nothing more";
}

TEST_F(CollectingSearch, TellsTheLastOfThe256FromTheNext)
{
    setPsiSchRPTLevel(0);
    for (unsigned i = 0; i < 255; ++i)
        host->play({answer::section(bat(static_cast<u16>(0x100 + i), 0, 0))});
    host->play({answer::section(bat(0x900, 0, 0)), answer::noTable()});
    EXPECT_EQ(256U, searchBat());
    EXPECT_EQ(stored(PSI_BAT, 0x11, bat(0x900, 0, 0)), storedSections(model()).back());
}

/* ---- Repeated sections ---- */

TEST_F(CollectingSearch, TellsSectionsByExtensionAndNumber)
{
    const std::vector<Bytes> distinct = {bat(0x10, 0, 0), bat(0x11, 0, 0), bat(0x10, 1, 1), bat(0x1010, 0, 0)};
    for (const Bytes &section : distinct)
        host->play({answer::section(section)});
    // The same numbers with another content are no new section.
    host->play(
        {answer::section(BatBuilder().bouquetId(0x11).version(9).desc(descriptor(0x47)).build()), answer::noTable()});
    EXPECT_EQ(4U, searchBat());
    expectStoredBat(distinct);
}

TEST_F(CollectingSearch, DoesNotRestartTheClockForARepeatedSection)
{
    host->play({answer::section(bat(0x10, 0, 0)), answer::section(bat(0x10, 0, 0)).after(5999),
                answer::section(bat(0x10, 0, 0)).after(1)});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + dropped(0x10, 5999) + dropped(0x10, 6000) + ended(1), searchLog());
}

TEST_F(CollectingSearch, AsksForTheSameSectionAfterARepeatedOne)
{
    host->play({answer::section(bat(0x10, 0, 1)), answer::section(bat(0x10, 0, 1)), answer::section(bat(0x10, 1, 1)),
                answer::noTable()});
    EXPECT_EQ(2U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x10), readCall, armBat(1, 0x10), readCall, armBat(), readCall}),
              callsOf(*host));
}

TEST_F(CollectingSearch, StartsEverySearchWithoutMemoryOfTheLast)
{
    for (int run = 0; run < 2; ++run) {
        host->play({answer::section(bat(0x10, 0, 0)), answer::noTable()});
        EXPECT_EQ(1U, searchBat());
    }
    expectStoredBat({bat(0x10, 0, 0), bat(0x10, 0, 0)});
}

/* ---- Missing and late sections, sections in any order ---- */

TEST_F(CollectingSearch, SkipsASectionThatDoesNotCome)
{
    host->play({answer::section(bat(0x4321, 0, 2)), answer::dataError().after(6000), answer::section(bat(0x4321, 2, 2)),
                answer::noTable()});
    EXPECT_EQ(2U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x4321), readCall, armBat(1, 0x4321), armBat(2, 0x4321), readCall,
                     armBat(), readCall}),
              callsOf(*host));
    EXPECT_EQ(accepted(0x4A, 0x4321, 0) + next(1, 0x4321) + warning("psiSch", "schOtherPsi: readPsi get data error") +
                  skipped(2, 0x4321) + accepted(0x4A, 0x4321, 2) + otherNoTable,
              searchLog());
    expectStoredBat({bat(0x4321, 0, 2), bat(0x4321, 2, 2)});
}

TEST_F(CollectingSearch, EndsWhenNothingComesForTheLastSection)
{
    host->play({answer::section(bat(0x10, 0, 2)), answer::dataError().after(6000), answer::dataError().after(6000)});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ(0U, host->unplayed());
    EXPECT_EQ(ended(1), searchLog().back());
}

TEST_F(CollectingSearch, LooksAtStopAndTimeOutBetweenASkipAndTheNextRead)
{
    RacingTick tick;
    host->play({answer::section(bat(0x10, 0, 3)).doing([&](const psiSchInfo &) { tick.racing = true; })});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x10), armBat(2, 0x10), armBat(3, 0x10)}), callsOf(*host));
    EXPECT_EQ(ended(1), searchLog().back());
}

TEST_F(CollectingSearch, TakesTheExtensionOfTheLastSectionForASkip)
{
    // While section 1 of 0x10 is awaited, a section of 0x20 comes that is known already.
    host->play({answer::section(bat(0x20, 0, 0)), answer::section(bat(0x10, 0, 2)), answer::section(bat(0x20, 0, 0)),
                answer::dataError().after(6000), answer::noTable()});
    EXPECT_EQ(2U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(), readCall, armBat(1, 0x10), readCall, armBat(1, 0x10), readCall,
                     armBat(1, 0x10), armBat(2, 0x20), readCall}),
              callsOf(*host));
    EXPECT_TRUE(contains(searchLog(), skipped(2, 0x20)));
}

TEST_F(CollectingSearch, GoesOnWithTheSubTableOfANewSection)
{
    // While section 1 of 0x10 is awaited, a new sub-table interrupts.
    host->play({answer::section(bat(0x10, 0, 1)), answer::section(bat(0x20, 0, 1)), answer::section(bat(0x20, 1, 1)),
                answer::section(bat(0x10, 1, 1)), answer::noTable()});
    EXPECT_EQ(4U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x10), readCall, armBat(1, 0x20), readCall, armBat(), readCall,
                     armBat(), readCall}),
              callsOf(*host));
}

TEST_F(CollectingSearch, TakesTheSectionsOfASubTableInAnyOrder)
{
    host->play({answer::section(bat(0x10, 2, 2)), answer::section(bat(0x10, 1, 2)), answer::section(bat(0x10, 2, 2)),
                answer::section(bat(0x10, 0, 2)), answer::noTable()});
    EXPECT_EQ(3U, searchBat());
    expectStoredBat({bat(0x10, 2, 2), bat(0x10, 1, 2), bat(0x10, 0, 2)});
    EXPECT_EQ((Calls{armBat(), readCall, armBat(), readCall, armBat(2, 0x10), readCall, armBat(2, 0x10), readCall,
                     armBat(1, 0x10), readCall}),
              callsOf(*host));
}

TEST_F(CollectingSearch, ReadsTheNumbersOfASectionShorterThanItsHeaderAsFilling)
{
    host->play({answer::section({0x4A, 0xF0, 0x00}), answer::noTable()});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ((std::vector<Stored>{{PSI_BAT, 0x11, 0xFF, 0xFFFF, {0x4A, 0xF0, 0x00}}}), storedSections(model()));
}

TEST_F(CollectingSearch, LeavesNothingOfARepeatedSectionToAShorterOne)
{
    const Bytes shortest = {0x4A, 0xF0, 0x00};
    host->play({answer::section(bat(0x10, 0, 1)), answer::section(bat(0x10, 0, 1)), answer::section(shortest),
                answer::noTable()});
    EXPECT_EQ(2U, searchBat());
    const std::vector<Stored> sections = storedSections(model());
    ASSERT_EQ(2U, sections.size());
    EXPECT_EQ((Stored{PSI_BAT, 0x11, 0xFF, 0xFFFF, shortest}), sections[1]);
}

/* ---- Stop ---- */

TEST_F(CollectingSearch, StopsInTheMiddleOfASubTable)
{
    host->play({stopping(answer::section(bat(0x10, 0, 1)))});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat(1, 0x10)}), callsOf(*host));
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + next(1, 0x10) + otherStopped, searchLog());
}

TEST_F(CollectingSearch, StopsBetweenTwoSubTablesBehindTheArming)
{
    host->play({stopping(answer::section(bat(0x10, 0, 0)))});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ((Calls{armBat(), readCall, armBat()}), callsOf(*host));
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + otherStopped, searchLog());
}

TEST_F(CollectingSearch, StopsBehindARepeatedSection)
{
    host->play({answer::section(bat(0x10, 0, 0)), stopping(answer::section(bat(0x10, 0, 0)))});
    EXPECT_EQ(1U, searchBat());
    EXPECT_EQ(accepted(0x4A, 0x10, 0) + dropped(0x10) + otherStopped, searchLog());
}

/* ---- Long sections ---- */

TEST_F(CollectingSearch, TakesAnEbitOf20PacketsButNoBat)
{
    const Bytes ebit = filling(20, 0xFD);
    host->play({answer::section(ebit), answer::noTable()});
    EXPECT_EQ(1U, schEbtTable(host->object(), PSI_EBIT));
    EXPECT_EQ((LogLines{otherOk, packetsRead(20), cost(0), recordId(1), cost(0), taken(0xFD, 1, 0), otherNoTable}),
              searchLog());
    EXPECT_EQ((std::vector<Stored>{stored(PSI_EBIT, 0x21, ebit)}), storedSections(model()));

    host->play({answer::packets(packetsOf(filling(20, 0x4A), 0x11)), answer::noTable()});
    EXPECT_EQ(0U, searchBat());
    EXPECT_EQ((LogLines{error("psiSch", "schOtherPsi: readPsi get data error, tsNum is 20!"), otherNoTable}),
              searchLog());
}

TEST_F(CollectingSearch, TakesEmergencySectionsOfUpTo4096Bytes)
{
    for (const u32 type : {PSI_EBIT, PSI_EBCT, PSI_EBCAT, PSI_EBCCT}) {
        const Bytes section = sectionOfSize(4096, factsOf(type).tableId);
        host->play({answer::section(section), answer::noTable()});
        EXPECT_EQ(1U, schEbtTable(host->object(), type));
        EXPECT_EQ(stored(type, 0x21, section), storedSections(model()).back());
    }
}

TEST_F(CollectingSearch, RefusesOtherSectionsOfMoreThan1024Bytes)
{
    const Bytes fits = sectionOfSize(1024, 0x4A);
    host->play({answer::section(sectionOfSize(1025, 0x4A)), answer::section(fits), answer::noTable()});
    EXPECT_EQ(1U, searchBat());
    expectStoredBat({fits});
}

TEST_F(CollectingSearch, UsesTheTimeOutOfNitActualForEmergencyTables)
{
    host->object()->timeOutMs[PSI_NIT_ACTUAL] = 100;
    for (const u32 type : {PSI_EBIT, PSI_EBCT, PSI_EBCAT, PSI_EBCCT}) {
        const u32 start = fakeClock::now();
        EXPECT_EQ(0U, schEbtTable(host->object(), type));
        EXPECT_EQ(100U, fakeClock::now() - start);
    }
}

} // namespace
} // namespace psitest
