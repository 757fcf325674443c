// What all search loops share: how they react to each result of the read callback, when they end.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

using namespace psi::core;

namespace psitest {
namespace {

/** @brief Run the loop of a type without schTable() around it. */
u32 runLoop(tableObj *obj, u32 psiType)
{
    const std::string loop = factsOf(psiType).loop;
    if (loop == "schPmt")
        return schPmt(obj);
    if (loop == "schNormalPsi")
        return schNormalPsi(obj, psiType);
    return factsOf(psiType).longSection ? schEbtTable(obj, psiType) : schOtherPsi(obj, psiType);
}

class EveryLoop : public SearchTest, public testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        // The loops but the PMT's do not mind a program.
        addProgram(5, 0x100);
        log.clear();
    }
    u32 run() { return runLoop(host->object(), GetParam()); }

    /** @name What the loop says, with its own prefix @{ */
    std::string text(const std::string &words) const { return std::string(facts.loop) + ": " + words; }
    LogLine notReadyLine() const { return debug("psiSch", text("PSI_DATA_NO_READY!")); }
    LogLine noTableLine() const { return info("psiSch", text("PSI_NO_TABLE!")); }
    LogLine dataErrorLine() const { return warning("psiSch", text("readPsi get data error")); }
    LogLine badPacketsLine(unsigned tsNum) const
    {
        return error("psiSch", text(format("readPsi get data error, tsNum is %u!%s", tsNum, normal ? " " : "")));
    }
    LogLine dataOkLine() const
    {
        return info("psiSch", text(normal ? "readPsi get data ok! " : "readPsi get data ok!"));
    }
    LogLine unknownLine(int result) const
    {
        const std::string words = text(format("readPsi return val error, %d(unknown)", result));
        return normal ? warning("psiSch", words) : error("psiSch", words);
    }
    LogLine stopLine() const { return info("psiSch", text("psi sch stop!")); }
    /** @} */

    /** @brief The lines in front of the first read. */
    LogLines opening() const
    {
        return pmt ? LogLines{info("psiSch", "schPmt: sch pmt progNo is 5, pmtpid is 0x100!")} : LogLines{};
    }
    /** @brief The lines of a search that timed out. */
    LogLines timedOut() const
    {
        return multi ? LogLines{info("psiSch", "schOtherPsi: sch section number is 0!")} : LogLines{};
    }
    void expectLog(const LogLines &rest)
    {
        LogLines lines = opening();
        lines.insert(lines.end(), rest.begin(), rest.end());
        EXPECT_EQ(lines, searchLog());
    }
    std::string armCall() const
    {
        const auto idExt = pmt ? std::optional<u16>(5) : std::nullopt;
        return arm(facts.pid, facts.tableId, 0, idExt, facts.longSection);
    }
    u8 capacity() const { return facts.longSection ? 24 : 7; }

    const TypeFacts &facts = factsOf(GetParam());
    const bool normal = facts.loop == std::string("schNormalPsi");
    const bool pmt = facts.loop == std::string("schPmt");
    const bool multi = facts.loop == std::string("schOtherPsi");
};

/** @brief The loops that analyse; they look whether there is an object. */
class AnalysingLoop : public EveryLoop {};
/** @brief The loops that collect; they keep a record of what they have seen. */
class CollectingLoop : public EveryLoop {};

std::vector<u32> types(bool analysed, bool collected)
{
    std::vector<u32> picked;
    for (const TypeFacts &facts : typesWithTable()) {
        if (facts.loop == std::string("schOtherPsi") ? collected : analysed)
            picked.push_back(facts.psiType);
    }
    return picked;
}

std::string typeName(const testing::TestParamInfo<u32> &param)
{
    return "type" + std::to_string(param.param);
}

INSTANTIATE_TEST_SUITE_P(Types, EveryLoop, testing::ValuesIn(types(true, true)), typeName);
INSTANTIATE_TEST_SUITE_P(Types, AnalysingLoop, testing::ValuesIn(types(true, false)), typeName);
INSTANTIATE_TEST_SUITE_P(Types, CollectingLoop, testing::ValuesIn(types(false, true)), typeName);

/* ---- Results of the read callback ---- */

TEST_P(EveryLoop, SleepsAndReadsAgainWhenNothingIsReady)
{
    host->play({answer::notReady(), answer::notReady(), answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall, sleepCall, readCall, sleepCall, readCall}), callsOf(*host));
    expectLog({notReadyLine(), notReadyLine(), noTableLine()});
}

TEST_P(EveryLoop, ArmsAgainAfterADataError)
{
    host->play({answer::dataError(), answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), callsOf(*host));
    expectLog({dataErrorLine(), noTableLine()});
}

TEST_P(EveryLoop, EndsAtOnceWithoutTheTable)
{
    host->play({answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall}), callsOf(*host));
    expectLog({noTableLine()});
    EXPECT_EQ(nullptr, model().sectionList);
}

TEST_P(EveryLoop, ArmsAgainAfterAnUnknownResult)
{
    for (const i32 result : {2, 5, -1, 256, 0x7FFFFFFF}) {
        SCOPED_TRACE(result);
        host->play({answer::result(result), answer::noTable()});
        EXPECT_EQ(0U, run());
        EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), callsOf(*host));
        expectLog({unknownLine(result), noTableLine()});
    }
}

TEST_P(EveryLoop, RefusesNoPacketsAndMoreThanItsBufferHolds)
{
    const Bytes packets = packetsOf(sampleSection(GetParam()), facts.pid);
    for (const u8 tsNum : Bytes{0, 8, 24, 25, 255}) {
        if (tsNum != 0 && tsNum <= capacity())
            continue;
        SCOPED_TRACE(+tsNum);
        host->play({answer::packets(packets, tsNum), answer::noTable()});
        EXPECT_EQ(0U, run());
        EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), callsOf(*host));
        expectLog({badPacketsLine(tsNum), noTableLine()});
    }
}

TEST_P(EveryLoop, TakesAsManyPacketsAsItsBufferHolds)
{
    Bytes packets = packetsOf(sampleSection(GetParam()), facts.pid);
    packets.resize(capacity() * packetSize, 0x47);
    host->play({answer::packets(packets, capacity()), answer::noTable()});
    EXPECT_EQ(1U, run());
    const LogLines lines = searchLog();
    EXPECT_TRUE(contains(lines, dataOkLine()));
    EXPECT_TRUE(contains(lines, packetsRead(capacity())));
    EXPECT_EQ((std::vector<Stored>{stored(GetParam(), facts.pid, sampleSection(GetParam()))}), storedSections(model()));
}

TEST_P(EveryLoop, ArmsAgainWhenThePacketsHoldNoSection)
{
    host->play({answer::packets(repeated(packetSize, 0)), answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), callsOf(*host));
    expectLog({dataOkLine(), packetsRead(1), noTableLine()});
}

TEST_P(EveryLoop, ArmsAgainForAnotherTable)
{
    const Bytes wrong = LongSectionBuilder(static_cast<u8>(facts.tableId ^ 0x20)).idExt(5).body(counting(20)).build();
    host->play({answer::section(wrong), answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), callsOf(*host));
    expectLog({dataOkLine(), packetsRead(1), error("psiSch", "ts2Section: tableid error!"), noTableLine()});
    EXPECT_EQ(nullptr, model().sectionList);
}

TEST_P(EveryLoop, LosesOnlyTheSectionForWhichThereIsNoRoom)
{
    host->play(
        {answer::section(sampleSection(GetParam())), answer::section(sampleSection(GetParam())), answer::noTable()});
    // Allocations: the work record, the seen sections where they are kept, the scratch of reassembly, the node.
    const FaultPlan plan(Call::Malloc, multi ? 4 : 3);
    EXPECT_EQ(1U, run());
    EXPECT_EQ(1U, plan.injected());
    EXPECT_TRUE(contains(log.take(), error("psiSch", "ts2Section: sectionData creat failed!")));
    EXPECT_EQ((std::vector<Stored>{stored(GetParam(), facts.pid, sampleSection(GetParam()))}), storedSections(model()));
    const Calls calls = callsOf(*host);
    EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall}), Calls(calls.begin(), calls.begin() + 4));
}

/* ---- Time-out ---- */

TEST_P(EveryLoop, PollsEvery20MsUntilItsTimeOutHasPassed)
{
    const u32 start = fakeClock::now();
    EXPECT_EQ(0U, run());
    EXPECT_EQ(facts.timeOutMs, fakeClock::now() - start);
    EXPECT_EQ(std::vector<u32>(facts.timeOutMs / 20U, 20U), fakeClock::takeSleeps());
    EXPECT_EQ(1U, host->takeRecords(HostCall::Kind::Arm).size());
    LogLines lines(facts.timeOutMs / 20U, notReadyLine());
    for (const LogLine &line : timedOut())
        lines.push_back(line);
    expectLog(lines);
}

TEST_P(EveryLoop, EndsWithTheLastMillisecondOfItsTimeOut)
{
    host->play({answer::dataError().after(facts.timeOutMs - 1U), answer::dataError().after(1)});
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall(), readCall, armCall(), readCall, armCall()}), callsOf(*host));
    LogLines lines = {dataErrorLine(), dataErrorLine()};
    for (const LogLine &line : timedOut())
        lines.push_back(line);
    expectLog(lines);
}

TEST_P(EveryLoop, TimesOutAcrossAWrapOfTheTick)
{
    fakeClock::set(0xFFFFFF00);
    EXPECT_EQ(0U, run());
    EXPECT_EQ(facts.timeOutMs - 0x100U, fakeClock::now());
}

TEST_P(EveryLoop, WithoutTimeArmsOnceAndReadsNothing)
{
    for (u16 &timeOut : host->object()->timeOutMs)
        timeOut = 0;
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{armCall()}), callsOf(*host));
    expectLog(timedOut());
}

TEST_P(EveryLoop, HasATimeOutOfUpTo65535Ms)
{
    for (u16 &timeOut : host->object()->timeOutMs)
        timeOut = 65535;
    host->play({answer::dataError().after(65534), answer::noTable()});
    EXPECT_EQ(0U, run());
    EXPECT_EQ(0U, host->unplayed());
}

/* ---- Stop ---- */

TEST_P(EveryLoop, WithAStoppedObjectReadsNothing)
{
    psiSchStop(host->id());
    EXPECT_EQ(0U, run());
    // The PMT search looks before it arms.
    EXPECT_EQ(pmt ? Calls{} : Calls{armCall()}, callsOf(*host));
    EXPECT_EQ((LogLines{stopLine()}), searchLog());
}

TEST_P(EveryLoop, EndsBeforeTheNextReadWhenItIsStopped)
{
    const auto stop = [this](const psiSchInfo &) { psiSchStop(host->id()); };
    for (const Answer &last :
         {answer::notReady(), answer::dataError(), answer::result(2), answer::packets(repeated(packetSize, 0))}) {
        host->object()->stopFlag = 0;
        host->play({answer::notReady(), last.doing(stop)});
        EXPECT_EQ(0U, run());
        EXPECT_EQ(0U, host->unplayed());
        EXPECT_EQ(2U, host->takeRecords(HostCall::Kind::Read).size());
        EXPECT_EQ(stopLine(), searchLog().back());
    }
}

TEST_P(EveryLoop, PrefersTheStopToTheTimeOut)
{
    const auto stop = [this](const psiSchInfo &) { psiSchStop(host->id()); };
    host->play({answer::dataError().after(facts.timeOutMs).doing(stop)});
    EXPECT_EQ(0U, run());
    expectLog({dataErrorLine(), stopLine()});
}

/* ---- What must be there ---- */

TEST_P(EveryLoop, NeedsTheSleepCallback)
{
    const Replaced<decltype(psiMsSleep)> none(psiMsSleep, nullptr);
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_LOG(log, error("psiSch", text("fatal error, psiMsSleep is NULL!")));
}

TEST_P(EveryLoop, NeedsTheTickCallback)
{
    const Replaced<decltype(getMsTimeCnt)> none(getMsTimeCnt, nullptr);
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_LOG(log, error("psiSch", text("fatal error, getMsTimeCnt is NULL!")));
}

TEST_P(EveryLoop, NeedsTheSleepCallbackFirst)
{
    const Replaced<decltype(psiMsSleep)> noSleep(psiMsSleep, nullptr);
    const Replaced<decltype(getMsTimeCnt)> noTick(getMsTimeCnt, nullptr);
    EXPECT_EQ(0U, run());
    EXPECT_LOG(log, error("psiSch", text("fatal error, psiMsSleep is NULL!")));
}

TEST_P(AnalysingLoop, NeedsAnObject)
{
    EXPECT_EQ(0U, runLoop(nullptr, GetParam()));
    EXPECT_LOG(log, error("psiSch", text("tableObj is NULL!")));
}

TEST_P(EveryLoop, NeedsAWorkRecord)
{
    const FaultPlan plan(Call::Malloc, 1, Fail::FromThenOn);
    EXPECT_EQ(0U, run());
    EXPECT_EQ(1U, plan.injected());
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_LOG(log, error("psiSch", text("buddy_malloc faild, tmpTableInfo is NULL!")));
}

TEST_P(CollectingLoop, NeedsARecordOfSeenSections)
{
    const u32 before = liveBlocks();
    const FaultPlan plan(Call::Malloc, 2, Fail::FromThenOn);
    EXPECT_EQ(0U, run());
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_LOG(log, error("psiSch", "schOtherPsi: buddy_malloc faild, record is NULL!"));
    EXPECT_EQ(before, liveBlocks());
}

TEST_P(EveryLoop, GivesItsOwnBlocksBack)
{
    const u32 before = liveBlocks();
    EXPECT_EQ(0U, run());
    EXPECT_EQ(before, liveBlocks());
}

/* ---- Report level ---- */

TEST_P(EveryLoop, SaysAsMuchAsTheReportLevelAllows)
{
    const std::vector<Answer> script = {answer::notReady(), answer::dataError(), answer::result(2),
                                        answer::packets({}, u8{0}), answer::noTable()};
    host->play(script);
    run();
    const LogLines all = log.take();
    for (const int level : {0, 1, 2, 3, 4, 5}) {
        SCOPED_TRACE(level);
        setPsiSchRPTLevel(static_cast<u32>(level));
        host->play(script);
        run();
        LogLines expected;
        for (const LogLine &line : all) {
            if (static_cast<int>(line.kind) < level)
                expected.push_back(line);
        }
        EXPECT_EQ(expected, log.take());
    }
}

} // namespace
} // namespace psitest
