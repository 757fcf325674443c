// The loop that searches the PMT of every program.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

using namespace psi::core;

namespace psitest {
namespace {

const LogLine pmtOk = info("psiSch", "schPmt: readPsi get data ok!");
const LogLine pmtNoTable = info("psiSch", "schPmt: PSI_NO_TABLE!");
const LogLine pmtStopped = info("psiSch", "schPmt: psi sch stop!");

LogLine searching(unsigned progNo, unsigned pid)
{
    return info("psiSch", format("schPmt: sch pmt progNo is %u, pmtpid is 0x%x!", progNo, pid));
}

LogLine pmtAnalysed(unsigned ms)
{
    return info("psiSch", format("schPmt: analysePsi OK! cost time %ums", ms));
}

LogLine wrongProgram(unsigned wanted, unsigned got)
{
    return error("psiSch", format("schPmt: pmt get progNo %u error,  get is %u!!", wanted, got));
}

Bytes pmt(u16 program)
{
    return PmtBuilder(program).pcrPid(0x1FF).stream(0x1B, static_cast<u16>(0x300 + program)).build();
}

Bytes damaged(Bytes section)
{
    section.back() ^= 1;
    return section;
}

std::string armPmt(u16 program, u16 pid)
{
    return arm(pid, 0x02, 0, program);
}

class PmtSearch : public SearchTest {
protected:
    u32 search() { return schPmt(host->object()); }
    Answer stopping(const Answer &answer)
    {
        return answer.doing([this](const psiSchInfo &) { psiSchStop(host->id()); });
    }
    void addPrograms(const std::vector<u16> &numbers)
    {
        for (const u16 number : numbers)
            addProgram(number, static_cast<u16>(0x100 + number));
        log.clear();
    }
    std::vector<u16> validPrograms()
    {
        std::vector<u16> numbers;
        for (const progInfo *prog : nodesOf(model().progList)) {
            if (prog->pmtValid == 1)
                numbers.push_back(prog->progNo);
        }
        return numbers;
    }
};

TEST_F(PmtSearch, WalksTheProgramsInTheirOrder)
{
    addPrograms({9, 2, 5});
    host->play({answer::section(pmt(9)).after(3), answer::section(pmt(2)), answer::section(pmt(5))});
    EXPECT_EQ(3U, search());
    EXPECT_EQ((Calls{armPmt(9, 0x109), readCall, armPmt(2, 0x102), readCall, armPmt(5, 0x105), readCall}),
              callsOf(*host));
    EXPECT_EQ((LogLines{searching(9, 0x109), pmtOk, packetsRead(1), pmtAnalysed(3), searching(2, 0x102), pmtOk,
                        packetsRead(1), pmtAnalysed(0), searching(5, 0x105), pmtOk, packetsRead(1), pmtAnalysed(0)}),
              searchLog());
    EXPECT_EQ((std::vector<Stored>{stored(PSI_PMT, 0x109, pmt(9)), stored(PSI_PMT, 0x102, pmt(2)),
                                   stored(PSI_PMT, 0x105, pmt(5))}),
              storedSections(model()));
    EXPECT_EQ((std::vector<u16>{9, 2, 5}), validPrograms());
    EXPECT_EQ(0x309, model().progList->esList->esPid);
}

TEST_F(PmtSearch, FindsNothingWithoutPrograms)
{
    psiSchStop(host->id());
    EXPECT_EQ(0U, search());
    EXPECT_EQ((Calls{}), callsOf(*host));
    EXPECT_NO_LOG(log);
}

TEST_F(PmtSearch, LeavesOutProgramsThatHaveTheirPmt)
{
    addPrograms({1, 2, 3});
    host->play({answer::section(pmt(1)), answer::noTable(), answer::section(pmt(3))});
    EXPECT_EQ(2U, search());
    EXPECT_EQ((std::vector<u16>{1, 3}), validPrograms());
    host->takeCalls();
    log.clear();

    host->play({answer::section(pmt(2))});
    EXPECT_EQ(1U, search());
    EXPECT_EQ((Calls{armPmt(2, 0x102), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{searching(2, 0x102), pmtOk, packetsRead(1), pmtAnalysed(0)}), searchLog());

    EXPECT_EQ(0U, search());
    EXPECT_EQ((Calls{}), callsOf(*host));
}

TEST_F(PmtSearch, GoesOnWithTheNextProgramWhenAPmtIsAbsent)
{
    addPrograms({1, 2});
    host->play({answer::noTable(), answer::section(pmt(2))});
    EXPECT_EQ(1U, search());
    EXPECT_EQ((LogLines{searching(1, 0x101), pmtNoTable, searching(2, 0x102), pmtOk, packetsRead(1), pmtAnalysed(0)}),
              searchLog());
}

TEST_F(PmtSearch, GoesOnWithTheNextProgramSilentlyAfterATimeOut)
{
    addPrograms({1, 2});
    host->play({answer::dataError().after(4000), answer::section(pmt(2)).after(3999)});
    EXPECT_EQ(1U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x101), readCall, armPmt(1, 0x101), armPmt(2, 0x102), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{searching(1, 0x101), warning("psiSch", "schPmt: readPsi get data error"), searching(2, 0x102),
                        pmtOk, packetsRead(1), pmtAnalysed(3999)}),
              searchLog());
}

TEST_F(PmtSearch, GivesEveryProgramItsOwnTime)
{
    addPrograms({1, 2, 3});
    EXPECT_EQ(0U, search());
    EXPECT_EQ(1000U + 3 * 4000U, fakeClock::now());
}

TEST_F(PmtSearch, TakesTwoProgramsFromOnePid)
{
    addProgram(1, 0x100);
    addProgram(2, 0x100);
    host->play({answer::section(pmt(1)), answer::section(pmt(2))});
    EXPECT_EQ(2U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x100), readCall, armPmt(2, 0x100), readCall}), callsOf(*host));
}

TEST_F(PmtSearch, KeepsThePmtOfAnotherProgramAndWaitsForTheRightOne)
{
    addPrograms({1, 2});
    host->play({answer::section(pmt(2)).after(10), answer::section(pmt(7)).after(10), answer::section(pmt(1)).after(10),
                answer::section(pmt(2))});
    EXPECT_EQ(2U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x101), readCall, armPmt(1, 0x101), readCall, armPmt(1, 0x101), readCall,
                     armPmt(2, 0x102), readCall}),
              callsOf(*host));
    EXPECT_EQ((LogLines{searching(1, 0x101), pmtOk, packetsRead(1), wrongProgram(1, 2), pmtOk, packetsRead(1),
                        wrongProgram(1, 7), pmtOk, packetsRead(1), pmtAnalysed(30), searching(2, 0x102), pmtOk,
                        packetsRead(1), pmtAnalysed(0)}),
              searchLog());
    EXPECT_EQ((std::vector<Stored>{stored(PSI_PMT, 0x101, pmt(2)), stored(PSI_PMT, 0x101, pmt(7)),
                                   stored(PSI_PMT, 0x101, pmt(1)), stored(PSI_PMT, 0x102, pmt(2))}),
              storedSections(model()));
    EXPECT_EQ(1U, nodesOf(nodesOf(model().progList)[1]->esList).size()) << "a wrong PMT is not pmtAnalysed";
}

TEST_F(PmtSearch, DoesNotRestartTheClockForThePmtOfAnotherProgram)
{
    addPrograms({1});
    host->play({answer::section(pmt(2)).after(3999), answer::section(pmt(2)).after(1)});
    EXPECT_EQ(0U, search());
    EXPECT_EQ(0U, host->unplayed());
    EXPECT_EQ(2U, storedSections(model()).size());
}

TEST_F(PmtSearch, DropsADamagedPmtWithoutAWord)
{
    addPrograms({1});
    host->play({answer::section(damaged(pmt(1))).after(5), answer::section(pmt(1)).after(5)});
    EXPECT_EQ(1U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x101), readCall, armPmt(1, 0x101), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{searching(1, 0x101), pmtOk, packetsRead(1), pmtOk, packetsRead(1), pmtAnalysed(10)}),
              searchLog());
    EXPECT_EQ((std::vector<Stored>{stored(PSI_PMT, 0x101, pmt(1))}), storedSections(model()));
}

TEST_F(PmtSearch, TimesOutWhenOnlyDamagedPmtsCome)
{
    addPrograms({1});
    host->setFallback([](const psiSchInfo &) { return answer::section(damaged(pmt(1))).after(500); });
    EXPECT_EQ(0U, search());
    EXPECT_EQ(8U, host->takeRecords(HostCall::Kind::Read).size());
    EXPECT_EQ((std::vector<u16>{}), validPrograms());
    EXPECT_EQ(nullptr, model().sectionList);
}

TEST_F(PmtSearch, ForgetsPayloadsThatLeadIntoARefusedPmt)
{
    addPrograms({1});
    const Bytes broken =
        PmtBuilder(1)
            .programDescriptor(caDescriptor(0x0B00, 0x1F0, counting(3)) + descriptor(0x0E, counting(3)))
            .stream(2, 0x301, caDescriptor(0x0B01, 0x1F1, counting(2)) + descriptor(0x52, {1}))
            .stream(3, 0x302, {0x52, 0x07})
            .build();
    host->play({answer::section(broken), answer::noTable()});
    EXPECT_EQ(0U, search());
    const progInfo &prog = *model().progList;
    ASSERT_EQ(2U, nodesOf(prog.esList).size());
    const esInfo &es = *prog.esList;
    for (const caInfo *ca : {prog.caList, es.caList}) {
        ASSERT_NE(nullptr, ca);
        EXPECT_EQ(nullptr, ca->privateData);
        EXPECT_EQ(0, ca->privateLen);
        EXPECT_EQ(0x0B00, ca->caSystemId & 0xFF00);
    }
    for (const descInfo *desc : {prog.pmtDescList, es.descList}) {
        ASSERT_NE(nullptr, desc);
        EXPECT_EQ(nullptr, desc->descData);
        EXPECT_EQ(0, desc->descLen);
        EXPECT_NE(0, desc->descTag);
    }
    EXPECT_EQ(0, prog.pmtValid);
}

TEST_F(PmtSearch, KeepsThePartsOfARefusedPmtBesidesThoseOfTheGoodOne)
{
    addPrograms({1});
    const Bytes broken = PmtBuilder(1).stream(2, 0x301).stream(3, 0x302, {0x52, 0x07}).build();
    host->play({answer::section(broken), answer::section(pmt(1))});
    EXPECT_EQ(1U, search());
    std::vector<u16> pids;
    for (const esInfo *es : nodesOf(model().progList->esList))
        pids.push_back(es->esPid);
    EXPECT_EQ((std::vector<u16>{0x301, 0x302, 0x301}), pids);
}

/* ---- Stop ---- */

TEST_F(PmtSearch, StoppedWithinAProgramSaysSoAgainInFrontOfTheNext)
{
    addPrograms({1, 2, 3});
    host->play({stopping(answer::notReady())});
    EXPECT_EQ(0U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x101), readCall, sleepCall}), callsOf(*host));
    EXPECT_EQ((LogLines{searching(1, 0x101), debug("psiSch", "schPmt: PSI_DATA_NO_READY!"), pmtStopped, pmtStopped}),
              searchLog());
}

TEST_F(PmtSearch, StoppedWithinTheLastProgramSaysSoOnce)
{
    addPrograms({1});
    host->play({stopping(answer::notReady())});
    EXPECT_EQ(0U, search());
    EXPECT_EQ((LogLines{searching(1, 0x101), debug("psiSch", "schPmt: PSI_DATA_NO_READY!"), pmtStopped}), searchLog());
}

TEST_F(PmtSearch, StopsBetweenTwoPrograms)
{
    addPrograms({1, 2});
    host->play({stopping(answer::section(pmt(1)))});
    EXPECT_EQ(1U, search());
    EXPECT_EQ((Calls{armPmt(1, 0x101), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{searching(1, 0x101), pmtOk, packetsRead(1), pmtAnalysed(0), pmtStopped}), searchLog());
}

TEST_F(PmtSearch, NoticesTheStopInFrontOfAProgramThatHasItsPmt)
{
    addPrograms({1, 2});
    model().progList->pmtValid = 1;
    psiSchStop(host->id());
    EXPECT_EQ(0U, search());
    EXPECT_EQ((LogLines{pmtStopped}), searchLog());
    EXPECT_EQ((Calls{}), callsOf(*host));
}

} // namespace
} // namespace psitest
