// The host's search operations: one type, the standard set, again; stop, resume, time-outs.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

#include <set>

using namespace psi::core;

namespace psitest {
namespace {

/* ---- Names and time ---- */

TEST(TableNames, AreThoseOfTheLog)
{
    const char *const names[] = {"PAT",  "PMT",  "SDT(actual)",  "SDT(other)", "NIT(actual)", "NIT(other)",
                                 "BAT",  "CAT",  "unknow table", "MGT",        "VCAT",        "STT",
                                 "EBIT", "EBCT", "EBCAT",        "EBCCT",      "unknow table"};
    for (u32 type = 0; type <= 16; ++type)
        EXPECT_STREQ(names[type], showPsiTypeStr(type)) << type;
    for (const u32 type : {17U, 255U, 256U, 0x10000U, 0xFFFFFFFFU})
        EXPECT_STREQ("unknow table", showPsiTypeStr(type)) << type;
}

struct Elapsed {
    u32 start;
    u32 now;
    u32 ms;
};

class IncreaseTime : public LibraryTest, public testing::WithParamInterface<Elapsed> {};

TEST_P(IncreaseTime, CountsAcrossAWrap)
{
    fakeClock::set(GetParam().now);
    EXPECT_EQ(GetParam().ms, psiGetIncreaseTime(GetParam().start));
}

INSTANTIATE_TEST_SUITE_P(Ticks, IncreaseTime,
                         testing::Values(Elapsed{0, 0, 0}, Elapsed{1000, 1000, 0}, Elapsed{1000, 1001, 1},
                                         Elapsed{0xFFFFFFF0, 0x10, 32}, Elapsed{0xFFFFFFFF, 0, 1},
                                         Elapsed{0, 0xFFFFFFFF, 0xFFFFFFFF}, Elapsed{0xFFFFFFFF, 0xFFFFFFFF, 0},
                                         Elapsed{1001, 1000, 0xFFFFFFFF}, Elapsed{0x7FFFFFFF, 0x80000001, 2}));

/* ---- Time-outs per type ---- */

class TimeOuts : public SearchTest {
protected:
    /** @brief What psiSchTimeOutGet() says of the types 0 to 15. */
    std::vector<u16> all()
    {
        std::vector<u16> values;
        for (u32 type = 0; type < 16; ++type)
            values.push_back(psiSchTimeOutGet(host->id(), type));
        log.clear();
        return values;
    }
    const std::vector<u16> defaults = {2000, 4000, 4000, 6000, 4000, 6000, 6000, 4000,
                                       0,    4000, 4000, 4000, 4000, 4000, 4000, 4000};
};

TEST_F(TimeOuts, OfANewObjectAreTheDefaults)
{
    EXPECT_EQ(defaults, all());
    EXPECT_EQ(0, host->object()->timeOutMs[8]);
}

TEST_F(TimeOuts, AreSetPerType)
{
    for (const u32 type : {0U, 1U, 2U, 3U, 5U, 6U, 7U, 9U, 10U, 11U}) {
        SCOPED_TRACE(type);
        const u16 before = psiSchTimeOutGet(host->id(), type);
        EXPECT_EQ(0, psiSchTimeOutSet(host->id(), type, 1234));
        EXPECT_NO_LOG(log);
        std::vector<u16> expected = defaults;
        expected[type] = 1234;
        EXPECT_EQ(expected, all());
        EXPECT_EQ(0, psiSchTimeOutSet(host->id(), type, before));
    }
}

TEST_F(TimeOuts, OfNitActualIsThatOfTheEmergencyTables)
{
    EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_NIT_ACTUAL, 9000));
    std::vector<u16> expected = defaults;
    for (const u32 type : {4U, 12U, 13U, 14U, 15U})
        expected[type] = 9000;
    EXPECT_EQ(expected, all());
}

TEST_F(TimeOuts, AreNotSetForEmergencyTablesAndTypesWithoutTable)
{
    for (const u32 type : {8U, 12U, 13U, 14U, 15U, 16U, 255U, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(0, psiSchTimeOutSet(host->id(), type, 9000));
        EXPECT_LOG(log, warning("psiInit", format("psiSchTimeOutSet: psiType = %u, not support!", type)));
    }
    EXPECT_EQ(defaults, all());
    EXPECT_EQ(0, host->object()->timeOutMs[8]);
}

TEST_F(TimeOuts, AreNotKnownForTypesWithoutTable)
{
    for (const u32 type : {8U, 16U, 255U, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(0, psiSchTimeOutGet(host->id(), type));
        EXPECT_LOG(log, warning("psiInit", format("psiSchTimeOutGet: psiType = %u, not support!", type)));
    }
    for (const u32 type : {12U, 15U}) {
        EXPECT_EQ(4000, psiSchTimeOutGet(host->id(), type));
        EXPECT_NO_LOG(log);
    }
}

TEST_F(TimeOuts, AreCutTo16Bits)
{
    const u32 ms = 70000;
    EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_PAT, static_cast<u16>(ms)));
    EXPECT_EQ(4464, psiSchTimeOutGet(host->id(), PSI_PAT));
    EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_PAT, 65535));
    EXPECT_EQ(65535, psiSchTimeOutGet(host->id(), PSI_PAT));
}

TEST_F(TimeOuts, BoundTheNextSearch)
{
    EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_BAT, 500));
    EXPECT_EQ(0U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ(1500U, fakeClock::now());
}

TEST_F(TimeOuts, SetWhileTheOwnerSearchesTakeTheMutexAgain)
{
    // The mutex is recursive: the callback of a search may set a time-out.
    host->play({answer::noTable().doing(
        [this](const psiSchInfo &) { EXPECT_EQ(0, psiSchTimeOutSet(host->id(), PSI_BAT, 77)); })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ(77, psiSchTimeOutGet(host->id(), PSI_BAT));
}

/* ---- Wrong handles ---- */

class WrongHandle : public SearchTest {
protected:
    /** @brief What an operation says when the handle is 0. */
    LogLines saying(const LogLine &own) { return {error("psiData", "getTableObj: ERROR, objId = 0!"), own}; }
    const LogLine control = error("psiInit", "psiSchTimeOutSet: get tableObj failed, objId = 0!");
};

TEST_F(WrongHandle, IsReportedByTheControlOperationsWithOneText)
{
    psiSchStop(0);
    EXPECT_EQ(saying(control), log.take());
    psiSchStopResume(0);
    EXPECT_EQ(saying(control), log.take());
    EXPECT_EQ(-1, psiSchTimeOutSet(0, PSI_PAT, 1));
    EXPECT_EQ(saying(control), log.take());
    EXPECT_EQ(0, psiSchTimeOutGet(0, PSI_PAT));
    EXPECT_EQ(saying(control), log.take());
}

TEST_F(WrongHandle, IsReportedByTheSearches)
{
    EXPECT_EQ(0U, schTable(0, PSI_PAT));
    EXPECT_EQ(saying(error("psiSch", "get tableObj failed, objId = 0!")), log.take());
    EXPECT_EQ(0U, re_SchTable(0, PSI_PAT, 0));
    EXPECT_EQ(saying(error("psiSch", "re_SchTable: get tableObj failed, objId = 0!")), log.take());
    EXPECT_EQ(-1, autoSchTable(0, 0));
    EXPECT_EQ(saying(error("psiSch", "get tableObj failed, objId = 0!")) +
                  warning("psiSch", "psi tableObj objId = 0 PAT not find"),
              log.take());
}

TEST_F(WrongHandle, OfADestroyedObjectIsNotFound)
{
    const psiObjId id = host->id();
    EXPECT_EQ(0, host->destroy());
    log.clear();
    const unsigned long number = static_cast<unsigned long>(id);
    const LogLine notFound = error("psiData", format("getTableObj: Not Found, objId = %lu!", number));
    EXPECT_EQ(0U, schTable(id, PSI_PAT));
    EXPECT_LOG(log, notFound, error("psiSch", format("get tableObj failed, objId = %lu!", number)));
    EXPECT_EQ(-1, psiSchTimeOutSet(id, PSI_PAT, 1));
    EXPECT_LOG(log, notFound, error("psiInit", format("psiSchTimeOutSet: get tableObj failed, objId = %lu!", number)));
    EXPECT_EQ(0U, re_SchTable(id, PSI_PAT, 0));
    EXPECT_LOG(log, notFound, error("psiSch", format("re_SchTable: get tableObj failed, objId = %lu!", number)));
}

/* ---- One type ---- */

class TableSearch : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        addProgram(5, 0x100);
        log.clear();
        host->setFallback([](const psiSchInfo &) { return answer::noTable(); });
    }
    LogLine startLine(const char *name) { return info("psiSch", format("schTable: %s section sch start:", name)); }
    LogLine endLine(const char *name, unsigned count)
    {
        return info("psiSch", format("schTable: %s section sch End, section number is %u!", name, count));
    }
    /** @brief The calls of the search callback since the last look at the calls. */
    Calls arms() { return armsOf(callsOf(*host)); }
    Answer checkingTheMutex(const Answer &answer)
    {
        return answer.doing([this](const psiSchInfo &) { EXPECT_FALSE(mutexIsFree(host->object()->semId)); });
    }
};

TEST_F(TableSearch, RunsTheLoopOfTheTypeWithTheMutexHeld)
{
    for (const TypeFacts &facts : typesWithTable()) {
        SCOPED_TRACE(facts.name);
        host->play({checkingTheMutex(answer::section(sampleSection(facts.psiType)))});
        EXPECT_EQ(1U, schTable(host->id(), facts.psiType));
        const LogLines lines = searchLog();
        EXPECT_EQ(startLine(facts.name), lines.front());
        EXPECT_EQ(endLine(facts.name, 1), lines.back());
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
        const std::string firstCall = callsOf(*host).front();
        const std::string expected = arm(facts.pid, facts.tableId);
        EXPECT_EQ(expected, firstCall.substr(0, expected.size()));
    }
}

TEST_F(TableSearch, SetsTheBitOfTheTypeButNeverThatOfThePmt)
{
    u32 mask = 0;
    for (const TypeFacts &facts : typesWithTable()) {
        SCOPED_TRACE(facts.name);
        EXPECT_EQ(0U, schTable(host->id(), facts.psiType));
        EXPECT_EQ(mask, model().tableMask) << "nothing was found";
        host->play({answer::section(sampleSection(facts.psiType))});
        EXPECT_EQ(1U, schTable(host->id(), facts.psiType));
        if (facts.psiType != PSI_PMT)
            mask |= 1U << facts.psiType;
        EXPECT_EQ(mask, model().tableMask);
        EXPECT_EQ(0U, schTable(host->id(), facts.psiType));
        EXPECT_EQ(mask, model().tableMask) << "a search that finds nothing clears no bit";
    }
    EXPECT_EQ(0xFEFDU, mask);
}

TEST_F(TableSearch, WarnsOfATypeWithoutTable)
{
    for (const u32 type : {8U, 16U, 255U, 0x100U, 0xFFFFFFFFU}) {
        EXPECT_EQ(0U, schTable(host->id(), type));
        EXPECT_LOG(log, startLine("unknow table"),
                   warning("psiSch", format("schTable: psiType = %u, not support!", type)), endLine("unknow table", 0));
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
    }
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_EQ(0U, model().tableMask);
}

TEST_F(TableSearch, ReturnsTheNumberOfSections)
{
    host->play({answer::section(PatBuilder().number(0, 1).program(1, 0x101).build()),
                answer::section(PatBuilder().number(1, 1).program(2, 0x102).build())});
    EXPECT_EQ(2U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(endLine("PAT", 2), searchLog().back());
}

/* ---- Stop and resume ---- */

TEST_F(TableSearch, OfAStoppedObjectArmsOnceAndReadsNothing)
{
    for (const TypeFacts &facts : typesWithTable()) {
        if (facts.psiType == PSI_PAT)
            continue;
        SCOPED_TRACE(facts.name);
        psiSchStop(host->id());
        EXPECT_EQ(0U, schTable(host->id(), facts.psiType));
        // The PMT search looks before it arms.
        const bool arms = facts.psiType != PSI_PMT;
        EXPECT_EQ(arms ? Calls{arm(facts.pid, facts.tableId, 0, {}, facts.longSection)} : Calls{}, callsOf(*host));
        EXPECT_EQ((LogLines{startLine(facts.name), info("psiSch", format("%s: psi sch stop!", facts.loop)),
                            endLine(facts.name, 0)}),
                  searchLog());
        EXPECT_EQ(1, host->object()->stopFlag) << "it stays stopped";
    }
}

TEST_F(TableSearch, OfThePatClearsTheStop)
{
    psiSchStop(host->id());
    EXPECT_EQ(1, host->object()->stopFlag);
    host->play({answer::section(sampleSection(PSI_PAT))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(0, host->object()->stopFlag);
    host->play({answer::section(sampleSection(PSI_CAT))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_CAT));
}

TEST_F(TableSearch, GoesOnAfterAResume)
{
    psiSchStop(host->id());
    psiSchStopResume(host->id());
    EXPECT_EQ(0, host->object()->stopFlag);
    EXPECT_NO_LOG(log);
    host->play({answer::section(sampleSection(PSI_CAT))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_CAT));
}

TEST_F(TableSearch, StopsFromWithinACallback)
{
    host->play({answer::notReady().doing([this](const psiSchInfo &) { psiSchStop(host->id()); })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ((Calls{arm(0x11, 0x4A), readCall, sleepCall}), callsOf(*host));
}

/* ---- The standard set ---- */

class AutoSearch : public TableSearch {
protected:
    void expectStarts(const std::vector<u32> &types)
    {
        LogLines expected;
        for (const u32 type : types)
            expected.push_back(startLine(factsOf(type).name));
        LogLines starts;
        for (const LogLine &line : searchLog()) {
            if (line.text.find(" section sch start:") != std::string::npos)
                starts.push_back(line);
        }
        EXPECT_EQ(expected, starts);
    }
};

TEST_F(AutoSearch, OfADvbStreamHasAFixedOrder)
{
    host->play({answer::section(sampleSection(PSI_PAT))});
    model().progList->pmtValid = 1;
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    EXPECT_EQ(
        (Calls{arm(0x0000, 0x00), arm(0x0100, 0x02, 0, 5), arm(0x0001, 0x01), arm(0x0011, 0x42), arm(0x0010, 0x40),
               arm(0x0010, 0x41), arm(0x0011, 0x46), arm(0x0011, 0x4A), arm(0x0021, 0xFD, 0, {}, true),
               arm(0x0021, 0xFE, 0, {}, true), arm(0x0021, 0xFC, 0, {}, true), arm(0x0021, 0xFB, 0, {}, true)}),
        arms());
    expectStarts({0, 1, 7, 2, 4, 5, 3, 6, 12, 13, 14, 15});
    EXPECT_EQ(1U, model().tableMask) << "the other tables were not found, which is no failure";
}

TEST_F(AutoSearch, OfAnAtscStreamHasAFixedOrder)
{
    host->play({answer::section(sampleSection(PSI_PAT))});
    model().progList->pmtValid = 1;
    EXPECT_EQ(0, autoSchTable(host->id(), 1));
    EXPECT_EQ((Calls{arm(0x0000, 0x00), arm(0x0100, 0x02, 0, 5), arm(0x0001, 0x01), arm(0x1FFB, 0xC8),
                     arm(0x1FFB, 0xC7), arm(0x1FFB, 0xCD)}),
              arms());
    expectStarts({0, 1, 7, 10, 9, 11});
}

TEST_F(AutoSearch, EndsWithoutPat)
{
    EXPECT_EQ(-1, autoSchTable(host->id(), 0));
    EXPECT_EQ((Calls{arm(0, 0)}), arms());
    const unsigned long id = static_cast<unsigned long>(host->id());
    EXPECT_EQ((LogLines{startLine("PAT"), info("psiSch", "schNormalPsi: PSI_NO_TABLE!"), endLine("PAT", 0),
                        warning("psiSch", format("psi tableObj objId = %lu PAT not find", id))}),
              searchLog());
}

TEST_F(AutoSearch, KnowsTwoStandards)
{
    for (const u32 standard : {2U, 3U, 0x100U, 0xFFFFFFFFU}) {
        psiSchStop(host->id());
        EXPECT_EQ(-1, autoSchTable(host->id(), standard));
        EXPECT_LOG(log, error("psiSch", format("autoSchTable: ERROR! standard = %u, not support!", standard)));
        EXPECT_EQ(1, host->object()->stopFlag) << "the object is not touched";
        EXPECT_EQ((Calls{}), callsOf(*host));
    }
    EXPECT_EQ(-1, autoSchTable(0, 2));
    EXPECT_LOG(log, error("psiSch", "autoSchTable: ERROR! standard = 2, not support!"));
}

TEST_F(AutoSearch, SearchesAStoppedObject)
{
    psiSchStop(host->id());
    host->play({answer::section(sampleSection(PSI_PAT))});
    EXPECT_EQ(0, autoSchTable(host->id(), 1));
    EXPECT_EQ(0, host->object()->stopFlag);
    expectStarts({0, 1, 7, 10, 9, 11});
}

TEST_F(AutoSearch, StoppedInTheMiddleArmsTheRestOnceAndReadsNothing)
{
    host->play({answer::section(sampleSection(PSI_PAT)), answer::noTable(), answer::noTable(), // PAT and both PMTs
                answer::notReady().doing([this](const psiSchInfo &) { psiSchStop(host->id()); })});
    EXPECT_EQ(0, autoSchTable(host->id(), 1));
    EXPECT_EQ((Calls{arm(0x0000, 0x00), readCall, arm(0x0100, 0x02, 0, 5), readCall, arm(0x0100, 0x02, 0, 5), readCall,
                     arm(0x0001, 0x01), readCall, sleepCall, arm(0x1FFB, 0xC8), arm(0x1FFB, 0xC7), arm(0x1FFB, 0xCD)}),
              callsOf(*host));
}

TEST_F(AutoSearch, HoldsTheMutexDuringEveryTableAndGivesItBack)
{
    host->play({answer::section(sampleSection(PSI_PAT))});
    host->setFallback([this](const psiSchInfo &) {
        EXPECT_FALSE(mutexIsFree(host->object()->semId));
        return answer::noTable();
    });
    EXPECT_EQ(0, autoSchTable(host->id(), 0));
    EXPECT_TRUE(mutexIsFree(host->object()->semId));
}

/* ---- Again ---- */

class ReSearch : public TableSearch {
protected:
    LogLine againLine(const char *name)
    {
        return info("psiSch", format("re_SchTable: %s section re-search start:", name));
    }
    LogLine againEndLine(const char *name, unsigned count)
    {
        return info("psiSch", format("re_SchTable: %s section re-search End, section number is %u!", name, count));
    }
    /** @brief One section of every type, as searches store them, and every bit of the mask. */
    void storeEverything()
    {
        for (const TypeFacts &facts : typesWithTable())
            storeSection(&model().sectionList, static_cast<u8>(facts.psiType), sampleSection(facts.psiType));
        model().tableMask = 0xFFFFFFFF;
        log.clear();
    }
    std::vector<u32> storedTypes()
    {
        std::vector<u32> types;
        for (const sectionData *node : nodesOf(model().sectionList))
            types.push_back(node->psiType);
        return types;
    }
    /** @brief A host that has every table, once. */
    void haveEverything()
    {
        host->setFallback([this](const psiSchInfo &filter) {
            EXPECT_FALSE(mutexIsFree(host->object()->semId));
            for (const TypeFacts &facts : typesWithTable()) {
                if (facts.tableId == filter.tableId && given.insert(filter.tableId).second)
                    return answer::section(sampleSection(facts.psiType));
            }
            return answer::noTable();
        });
    }

    std::set<u8> given;
    const u32 patGroup[5] = {PSI_PAT, PSI_PMT, PSI_SDT_ACTUAL, PSI_CAT, PSI_VCT};
    const u32 ownSections[6] = {PSI_SDT_OTHER, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_BAT, PSI_MGT, PSI_STT};
};

TEST_F(ReSearch, OfThePatGroupSearchesWhatHangsOnThePat)
{
    for (const u32 type : patGroup) {
        for (const u32 standard : {0U, 1U, 2U, 0x101U}) {
            SCOPED_TRACE(testing::Message() << "type " << type << ", standard " << standard);
            EXPECT_EQ(0, clearTableInfo(host->id()));
            given.clear();
            haveEverything();
            storeEverything();
            host->takeCalls();
            EXPECT_EQ(1U, re_SchTable(host->id(), type, standard));
            const bool atsc = standard == 1;
            EXPECT_EQ((Calls{arm(0x0000, 0x00), arm(0x0100, 0x02, 0, 5), arm(0x0001, 0x01),
                             atsc ? arm(0x1FFB, 0xC8) : arm(0x0011, 0x42)}),
                      arms());
            EXPECT_EQ((std::vector<u32>{3, 4, 5, 6, 9, 11, 12, 13, 14, 15, 0, 1, 7, atsc ? 10U : 2U}), storedTypes());
            EXPECT_EQ(0xFFFFFB78U | 0x81U | (atsc ? 0x400U : 0x4U), model().tableMask);
            EXPECT_EQ(1U, nodesOf(model().progList).size());
            const LogLines lines = searchLog();
            EXPECT_EQ(againLine(factsOf(type).name), lines.front());
            EXPECT_EQ(againEndLine(factsOf(type).name, 1), lines.back());
            EXPECT_TRUE(mutexIsFree(host->object()->semId));
        }
    }
}

TEST_F(ReSearch, ReturnsTheCountOfThePat)
{
    host->play({answer::section(PatBuilder().number(0, 1).program(1, 0x101).build()),
                answer::section(PatBuilder().number(1, 1).program(2, 0x102).build())});
    EXPECT_EQ(2U, re_SchTable(host->id(), PSI_SDT_ACTUAL, 0));
    EXPECT_EQ(againEndLine("SDT(actual)", 2), searchLog().back());
}

TEST_F(ReSearch, OfThePatGroupEndsWithoutPat)
{
    for (const u32 type : patGroup) {
        SCOPED_TRACE(type);
        storeEverything();
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ((Calls{arm(0, 0)}), arms());
        const unsigned long id = static_cast<unsigned long>(host->id());
        const char *const name = factsOf(type).name;
        EXPECT_EQ((LogLines{againLine(name), startLine("PAT"), info("psiSch", "schNormalPsi: PSI_NO_TABLE!"),
                            endLine("PAT", 0),
                            warning("psiSch", format("re_SchTable: psi tableObj objId = %lu PAT not find", id)),
                            againEndLine(name, 0)}),
                  searchLog());
        EXPECT_EQ(0xFFFFFB78U, model().tableMask);
        EXPECT_EQ(nullptr, model().progList);
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
        EXPECT_EQ(0, clearTableInfo(host->id()));
    }
}

TEST_F(ReSearch, OfThePatGroupClearsTheStop)
{
    psiSchStop(host->id());
    haveEverything();
    EXPECT_EQ(1U, re_SchTable(host->id(), PSI_CAT, 0));
    EXPECT_EQ(0, host->object()->stopFlag);
}

TEST_F(ReSearch, OfAnotherTypeDropsAndSearchesThatTypeOnly)
{
    storeEverything();
    for (const u32 type : ownSections) {
        const TypeFacts &facts = factsOf(type);
        SCOPED_TRACE(facts.name);
        host->play({answer::section(sampleSection(type)).doing([&](const psiSchInfo &) {
            EXPECT_EQ(0xFFFFFFFFU & ~(1U << type), model().tableMask);
            EXPECT_EQ(14U, storedTypes().size());
            EXPECT_FALSE(mutexIsFree(host->object()->semId));
        })});
        EXPECT_EQ(1U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ(arm(facts.pid, facts.tableId), arms().front());
        EXPECT_EQ(15U, storedTypes().size());
        EXPECT_EQ(type, storedTypes().back());
        EXPECT_EQ(0xFFFFFFFFU, model().tableMask);
        EXPECT_NE(nullptr, model().progList) << "the programs stay";
        const LogLines lines = searchLog();
        EXPECT_EQ(againLine(facts.name), lines.front());
        EXPECT_EQ(startLine(facts.name), lines.at(1));
        EXPECT_EQ(endLine(facts.name, 1), lines.at(lines.size() - 2));
        EXPECT_EQ(againEndLine(facts.name, 1), lines.back());
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
    }
}

TEST_F(ReSearch, LeavesTheBitClearWhenTheTableIsGone)
{
    storeEverything();
    u32 mask = 0xFFFFFFFF;
    for (const u32 type : ownSections) {
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 1));
        mask &= ~(1U << type);
        EXPECT_EQ(mask, model().tableMask);
        EXPECT_EQ(againEndLine(factsOf(type).name, 0), searchLog().back());
    }
    EXPECT_EQ((std::vector<u32>{0, 1, 2, 7, 10, 12, 13, 14, 15}), storedTypes());
}

TEST_F(ReSearch, OfAnotherTypeDoesNotClearTheStop)
{
    psiSchStop(host->id());
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_BAT, 0));
    EXPECT_EQ((Calls{arm(0x11, 0x4A)}), callsOf(*host));
    EXPECT_EQ(1, host->object()->stopFlag);
}

TEST_F(ReSearch, WarnsOfTheTypesThatItDoesNotKnow)
{
    storeEverything();
    for (const u32 type : {8U, 12U, 13U, 14U, 15U, 16U, 255U, 0x100U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(type);
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
        const char *const name = showPsiTypeStr(type);
        EXPECT_LOG(log, againLine(name), warning("psiSch", format("schTable: psiType = %u, not support!", type)),
                   againEndLine(name, 0));
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
    }
    EXPECT_EQ((Calls{}), arms());
    EXPECT_EQ(15U, storedTypes().size());
    EXPECT_EQ(0xFFFFFFFFU, model().tableMask);
}

/* A clear that fails */

TEST_F(ReSearch, GivesUpWhenItCannotForgetThePatGroup)
{
    for (const u32 type : patGroup) {
        SCOPED_TRACE(type);
        // Deletes: the sections of the five types, then the program.
        for (unsigned nth = 1; nth <= 6; ++nth) {
            SCOPED_TRACE(nth);
            EXPECT_EQ(0, clearTableInfo(host->id()));
            addProgram(5, 0x100);
            storeEverything();
            const FaultPlan plan(Call::Delete, nth);
            EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
            EXPECT_EQ(1U, plan.injected());
            EXPECT_EQ((LogLines{againLine(factsOf(type).name),
                                warning("psiSch", format("re_SchTable: psiType = %u, clearTsInfo failed", type))}),
                      searchLog());
            EXPECT_EQ((Calls{}), arms());
            EXPECT_TRUE(mutexIsFree(host->object()->semId));
            EXPECT_EQ(0xFFFFFFFFU, model().tableMask);
            EXPECT_EQ(16U - nth, storedTypes().size()) << "what was destroyed stays destroyed";
        }
    }
}

TEST_F(ReSearch, GivesUpWhenItCannotDropTheSections)
{
    for (const u32 type : ownSections) {
        SCOPED_TRACE(type);
        storeEverything();
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(0U, re_SchTable(host->id(), type, 0));
        EXPECT_EQ(1U, plan.injected());
        EXPECT_EQ((LogLines{againLine(factsOf(type).name),
                            warning("psiSch", format("re_SchTable: psiType = %u, sectionDestroy failed", type))}),
                  searchLog());
        EXPECT_EQ((Calls{}), arms());
        EXPECT_TRUE(mutexIsFree(host->object()->semId));
        EXPECT_EQ(0xFFFFFFFFU, model().tableMask);
        EXPECT_EQ(15U, storedTypes().size());
        EXPECT_EQ(0, clearTableInfo(host->id()));
    }
}

/* Names of the model */

TEST_F(ReSearch, OfTheNitForgetsTheNetworkName)
{
    host->play({answer::section(sampleSection(PSI_NIT_ACTUAL))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_NIT_ACTUAL));
    EXPECT_EQ(bytesOf("network"), bytesAt(model().netname, model().netnameLen));

    host->play({answer::noTable().doing([this](const psiSchInfo &) {
        EXPECT_EQ(nullptr, model().netname);
        EXPECT_EQ(0, model().netnameLen);
    })});
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_NIT_ACTUAL, 0));
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(0, model().netnameLen);
    EXPECT_EQ(0x3001, model().netId) << "numbers stay";
    EXPECT_EQ(0U, model().tableMask);
}

TEST_F(ReSearch, OfAnotherTypeKeepsTheNetworkName)
{
    host->play({answer::section(sampleSection(PSI_NIT_ACTUAL))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_NIT_ACTUAL));
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_NIT_OTHER, 0));
    EXPECT_EQ(bytesOf("network"), bytesAt(model().netname, model().netnameLen));
}

TEST_F(ReSearch, OfThePatGroupForgetsEveryName)
{
    host->play({answer::section(sampleSection(PSI_SDT_ACTUAL)), answer::section(sampleSection(PSI_NIT_ACTUAL))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_SDT_ACTUAL));
    EXPECT_EQ(1U, schTable(host->id(), PSI_NIT_ACTUAL));
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_PAT, 0));
    EXPECT_EQ(nullptr, model().progList);
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(0, model().netnameLen);
    EXPECT_EQ((std::vector<u32>{PSI_NIT_ACTUAL}), storedTypes());
}

TEST_F(ReSearch, ThatCannotDropAllSectionsLeavesNoNameOfADroppedOne)
{
    host->play({answer::section(NitBuilder().number(0, 1).desc(networkNameDescriptor("network")).build()),
                answer::section(NitBuilder().number(1, 1).build())});
    EXPECT_EQ(2U, schTable(host->id(), PSI_NIT_ACTUAL));
    {
        const FaultPlan plan(Call::Delete, 2);
        EXPECT_EQ(0U, re_SchTable(host->id(), PSI_NIT_ACTUAL, 0));
        EXPECT_EQ(1U, plan.injected());
    }
    EXPECT_EQ((std::vector<u32>{PSI_NIT_ACTUAL}), storedTypes());
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(0, model().netnameLen);
}

} // namespace
} // namespace psitest
