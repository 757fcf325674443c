// The loop for tables of one sub-table: PAT, SDT actual, NIT actual, CAT, MGT, VCT, STT.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

using namespace psi::core;

namespace psitest {
namespace {

/* ---- What the loop says ---- */

const LogLine dataOk = info("psiSch", "schNormalPsi: readPsi get data ok! ");
const LogLine noTable = info("psiSch", "schNormalPsi: PSI_NO_TABLE!");
const LogLine stopped = info("psiSch", "schNormalPsi: psi sch stop!");
const LogLine refused = warning("psiSch", "analysePsi ret error, ret is -1! ");

LogLine analysed(unsigned ms)
{
    return info("psiSch", format("schNormalPsi: analysePsi OK! cost time %ums", ms));
}

LogLine next(unsigned sectNo)
{
    return info("psiSch", format("schNormalPsi: section next table set (sectNo=%u)!", sectNo));
}

LogLine skipped(unsigned sectNo)
{
    return info("psiSch", format("schNormalPsi: timeout,section next table set (sectNo=%u)!", sectNo));
}

/** @brief A PAT section of stream 0x2233 with one program. */
Bytes pat(u8 number, u8 last, u16 program)
{
    const u16 pid = static_cast<u16>(0x100 + program);
    return PatBuilder().tsId(0x2233).number(number, last).program(program, pid).build();
}

/** @brief An MGT section: nothing in it is analysed, so any section is good. */
Bytes mgt(u8 number, u8 last)
{
    return MgtBuilder().number(number, last).table(0, 0x1FFB, 1, number).build();
}

std::string armPat(u8 number = 0)
{
    return arm(0x0000, 0x00, number);
}

std::string armMgt(u8 number = 0)
{
    return arm(0x1FFB, 0xC7, number);
}

class SingleTableSearch : public SearchTest {
protected:
    u32 searchPat() { return schNormalPsi(host->object(), PSI_PAT); }
    u32 searchMgt() { return schNormalPsi(host->object(), PSI_MGT); }
    std::vector<u16> programs()
    {
        std::vector<u16> numbers;
        for (const progInfo *prog : nodesOf(model().progList))
            numbers.push_back(prog->progNo);
        return numbers;
    }
    void expectStored(u32 psiType, const std::vector<Bytes> &sections)
    {
        std::vector<Stored> expected;
        for (const Bytes &section : sections)
            expected.push_back(stored(psiType, factsOf(psiType).pid, section));
        EXPECT_EQ(expected, storedSections(model()));
    }
    /** @brief An answer that also stops the search. */
    Answer stopping(const Answer &answer)
    {
        return answer.doing([this](const psiSchInfo &) { psiSchStop(host->id()); });
    }
};

/* ---- Complete tables ---- */

TEST_F(SingleTableSearch, TakesATableOfOneSection)
{
    for (const u32 type : {PSI_PAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_CAT, PSI_VCT, PSI_MGT, PSI_STT}) {
        const TypeFacts &facts = factsOf(type);
        SCOPED_TRACE(facts.name);
        host->play({answer::section(sampleSection(type)).after(7)});
        EXPECT_EQ(1U, schNormalPsi(host->object(), type));
        EXPECT_EQ((Calls{arm(facts.pid, facts.tableId), readCall}), callsOf(*host));
        EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(7)}), searchLog());
        EXPECT_EQ(stored(type, facts.pid, sampleSection(type)), storedSections(model()).back());
    }
    // The tables reached the model.
    EXPECT_EQ((std::vector<u16>{5}), programs());
    EXPECT_EQ(0x3001, model().netId);
    EXPECT_NE(nullptr, model().catCaList);
    EXPECT_NE(nullptr, model().vctDescList);
    EXPECT_NE(nullptr, model().progList->sname);
}

TEST_F(SingleTableSearch, AsksForOneSectionAfterTheOther)
{
    const std::vector<Bytes> sections = {pat(0, 2, 1), pat(1, 2, 2), pat(2, 2, 3)};
    host->play({answer::section(sections[0]), answer::section(sections[1]), answer::section(sections[2])});
    EXPECT_EQ(3U, searchPat());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(1), readCall, armPat(2), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(0), next(1), dataOk, packetsRead(1), analysed(0), next(2),
                        dataOk, packetsRead(1), analysed(0)}),
              searchLog());
    EXPECT_EQ((std::vector<u16>{1, 2, 3}), programs());
    expectStored(PSI_PAT, sections);
}

TEST_F(SingleTableSearch, TakesSectionNumbersUpTo255)
{
    std::vector<Bytes> sections;
    Calls calls;
    for (unsigned number = 0; number < 256; ++number) {
        const u8 sectionNo = static_cast<u8>(number);
        sections.push_back(mgt(sectionNo, 255));
        host->play({answer::section(sections.back())});
        calls.push_back(armMgt(sectionNo));
        calls.push_back(readCall);
    }
    EXPECT_EQ(256U, searchMgt());
    EXPECT_EQ(calls, callsOf(*host));
    expectStored(PSI_MGT, sections);
}

TEST_F(SingleTableSearch, TakesASectionOf1024BytesInSixPackets)
{
    const Bytes section = sectionOfSize(1024, 0xC7);
    host->play({answer::section(section)});
    EXPECT_EQ(1U, searchMgt());
    EXPECT_EQ((LogLines{dataOk, packetsRead(6), analysed(0)}), LogLines(searchLog()));
    expectStored(PSI_MGT, {section});
}

/* ---- Missing, late and repeated sections, sections in any order ---- */

TEST_F(SingleTableSearch, SkipsASectionThatDoesNotCome)
{
    host->play({answer::section(pat(0, 2, 1))});
    host->setFallback([](const psiSchInfo &filter) {
        return filter.sectionNo == 2 ? answer::section(pat(2, 2, 3)) : answer::notReady();
    });
    EXPECT_EQ(2U, searchPat());
    EXPECT_EQ((std::vector<u16>{1, 3}), programs());
    expectStored(PSI_PAT, {pat(0, 2, 1), pat(2, 2, 3)});
    Calls calls = {armPat(), readCall, armPat(1)};
    for (int i = 0; i < 2000 / 20; ++i)
        calls.insert(calls.end(), {readCall, sleepCall});
    // The read comes straight after the skip.
    calls.insert(calls.end(), {armPat(2), readCall});
    EXPECT_EQ(calls, callsOf(*host));
    LogLines lines = {dataOk, packetsRead(1), analysed(0), next(1)};
    lines.insert(lines.end(), 2000 / 20, debug("psiSch", "schNormalPsi: PSI_DATA_NO_READY!"));
    lines.insert(lines.end(), {skipped(2), dataOk, packetsRead(1), analysed(0)});
    EXPECT_EQ(lines, searchLog());
}

TEST_F(SingleTableSearch, SkipsEverySectionThatDoesNotCome)
{
    host->play({answer::section(pat(0, 3, 1))});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((Calls{armPat(), armPat(1), armPat(2), armPat(3)}), armsOf(callsOf(*host)));
    EXPECT_EQ(1000U + 3 * 2000U, fakeClock::now());
}

TEST_F(SingleTableSearch, ReadsBetweenASkipAndTheNextLookAtTheClock)
{
    RacingTick tick;
    host->play({answer::section(pat(0, 3, 1)).doing([&](const psiSchInfo &) { tick.racing = true; }),
                answer::dataError(), answer::dataError()});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(1), armPat(2), readCall, armPat(2), armPat(3), readCall, armPat(3)}),
              callsOf(*host));
}

TEST_F(SingleTableSearch, StartsTheClockAnewWithEverySection)
{
    host->play({answer::section(pat(0, 2, 1)).after(1999), answer::section(pat(1, 2, 2)).after(1999),
                answer::section(pat(2, 2, 3)).after(1999)});
    EXPECT_EQ(3U, searchPat());
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(1999), next(1), dataOk, packetsRead(1), analysed(1999),
                        next(2), dataOk, packetsRead(1), analysed(1999)}),
              searchLog());
}

TEST_F(SingleTableSearch, TakesASectionThatComesWithTheReadBehindTheTimeOut)
{
    host->play({answer::notReady().after(1970), answer::section(pat(0, 0, 1)).after(5000)});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((LogLines{debug("psiSch", "schNormalPsi: PSI_DATA_NO_READY!"), dataOk, packetsRead(1), analysed(6990)}),
              searchLog());
}

TEST_F(SingleTableSearch, GoesOnBehindTheSectionThatItGot)
{
    // Numbers 3 and 4 of 0..5 were asked for as 0 and 4.
    host->play({answer::section(mgt(3, 5)), answer::section(mgt(4, 5)), answer::section(mgt(5, 5))});
    EXPECT_EQ(3U, searchMgt());
    EXPECT_EQ((Calls{armMgt(), readCall, armMgt(4), readCall, armMgt(5), readCall}), callsOf(*host));
}

TEST_F(SingleTableSearch, EndsWithTheLastSectionEvenWhenItComesFirst)
{
    host->play({answer::section(mgt(5, 5))});
    EXPECT_EQ(1U, searchMgt());
    EXPECT_EQ((Calls{armMgt(), readCall}), callsOf(*host));
}

TEST_F(SingleTableSearch, EndsWithASectionNumberAboveTheLast)
{
    host->play({answer::section(mgt(7, 2))});
    EXPECT_EQ(1U, searchMgt());
    EXPECT_EQ((Calls{armMgt(), readCall}), callsOf(*host));
}

TEST_F(SingleTableSearch, CountsARepeatedSectionAgain)
{
    host->play({answer::section(mgt(0, 1)), answer::section(mgt(0, 1)), answer::section(mgt(1, 1))});
    EXPECT_EQ(3U, searchMgt());
    EXPECT_EQ((Calls{armMgt(), readCall, armMgt(1), readCall, armMgt(1), readCall}), callsOf(*host));
    expectStored(PSI_MGT, {mgt(0, 1), mgt(0, 1), mgt(1, 1)});
}

TEST_F(SingleTableSearch, FollowsALastSectionNumberThatChanges)
{
    host->play({answer::section(mgt(0, 5)), answer::section(mgt(1, 2)), answer::section(mgt(2, 2))});
    EXPECT_EQ(3U, searchMgt());
    EXPECT_EQ(0U, host->unplayed());
}

TEST_F(SingleTableSearch, TakesAVersionThatChangesBetweenTwoSections)
{
    const Bytes older = PatBuilder().tsId(0x2233).version(3).number(0, 1).program(1, 0x101).build();
    const Bytes newer = PatBuilder().tsId(0x2233).version(4).number(1, 1).program(2, 0x102).build();
    host->play({answer::section(older), answer::section(newer)});
    EXPECT_EQ(2U, searchPat());
    EXPECT_EQ(4, model().patHead.version_number);
    EXPECT_EQ((std::vector<u16>{1, 2}), programs());
}

TEST_F(SingleTableSearch, EndsWithWhatItHasWhenTheTableGoesAway)
{
    host->play({answer::section(pat(0, 2, 1)), answer::noTable()});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(0), next(1), noTable}), searchLog());
    expectStored(PSI_PAT, {pat(0, 2, 1)});
}

/* ---- Sections that analysis refuses ---- */

TEST_F(SingleTableSearch, WaitsForTheSameSectionAfterADamagedOne)
{
    Bytes damaged = pat(1, 2, 9);
    damaged.back() ^= 1;
    host->play({answer::section(pat(0, 2, 1)), answer::section(damaged), answer::section(pat(1, 2, 2)),
                answer::section(pat(2, 2, 3))});
    EXPECT_EQ(3U, searchPat());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(1), readCall, armPat(1), readCall, armPat(2), readCall}),
              callsOf(*host));
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(0), next(1), dataOk, packetsRead(1), refused, dataOk,
                        packetsRead(1), analysed(0), next(2), dataOk, packetsRead(1), analysed(0)}),
              searchLog());
    EXPECT_EQ((std::vector<u16>{1, 2, 3}), programs());
    expectStored(PSI_PAT, {pat(0, 2, 1), pat(1, 2, 2), pat(2, 2, 3)});
}

TEST_F(SingleTableSearch, DoesNotRestartTheClockForADamagedSection)
{
    Bytes damaged = pat(0, 0, 9);
    damaged.back() ^= 1;
    host->play({answer::section(damaged).after(1999), answer::section(damaged).after(1)});
    EXPECT_EQ(0U, searchPat());
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), refused, dataOk, packetsRead(1), refused}), searchLog());
    expectStored(PSI_PAT, {});
}

TEST_F(SingleTableSearch, DoesNotRestartTheClockForPacketsWithoutSection)
{
    host->play(
        {answer::packets(repeated(packetSize, 0)).after(1999), answer::packets(repeated(packetSize, 0)).after(1)});
    EXPECT_EQ(0U, searchPat());
    EXPECT_EQ(0U, host->unplayed());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(), readCall, armPat()}), callsOf(*host));
}

TEST_F(SingleTableSearch, CountsOnFromTheNumbersOfARefusedSection)
{
    // The section is of another stream: refused, but its numbers say that 2 is still to come.
    const Bytes foreign = PatBuilder().tsId(0x9999).number(1, 2).program(9, 0x109).build();
    host->play({answer::section(foreign), answer::dataError().after(2000), answer::section(pat(0, 0, 1))});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(), readCall, armPat(), armPat(2), readCall}), callsOf(*host));
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), refused, warning("psiSch", "schNormalPsi: readPsi get data error"),
                        skipped(2), dataOk, packetsRead(1), analysed(0)}),
              searchLog());
}

TEST_F(SingleTableSearch, RefusesPatSection1BeforeSection0)
{
    host->play({answer::section(pat(1, 1, 2)), answer::section(pat(0, 1, 1)), answer::section(pat(1, 1, 2))});
    EXPECT_EQ(2U, searchPat());
    EXPECT_EQ((std::vector<u16>{1, 2}), programs());
    expectStored(PSI_PAT, {pat(0, 1, 1), pat(1, 1, 2)});
}

TEST_F(SingleTableSearch, ReadsTheNumbersOfASectionShorterThanItsHeaderAsFilling)
{
    // table_id and a section_length of 0. No analyser looks at an MGT, so nobody refuses it.
    host->play({answer::section({0xC7, 0xB0, 0x00})});
    EXPECT_EQ(1U, searchMgt());
    EXPECT_EQ((std::vector<Stored>{{PSI_MGT, 0x1FFB, 0xFF, 0xFFFF, {0xC7, 0xB0, 0x00}}}), storedSections(model()));
}

TEST_F(SingleTableSearch, RefusesASectionShorterThanItsHeader)
{
    host->play({answer::section({0x00, 0xB0, 0x00}), answer::section(pat(0, 0, 1))});
    EXPECT_EQ(1U, searchPat());
    expectStored(PSI_PAT, {pat(0, 0, 1)});
}

/* ---- What a refused section leaves in the model ---- */

TEST_F(SingleTableSearch, ForgetsNamesThatLeadIntoARefusedSdt)
{
    progInfo *prog = addProgram(5, 0x100);
    const Bytes descriptors = serviceDescriptor(1, "provider", "service") + descriptor(0x5F, counting(4));
    const Bytes broken = SdtBuilder().service(5, descriptors + Bytes{0x50, 0x09}).build();
    host->play({answer::section(broken), answer::noTable()});
    EXPECT_EQ(0U, schNormalPsi(host->object(), PSI_SDT_ACTUAL));
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), refused, noTable}), searchLog());
    EXPECT_EQ(nullptr, prog->sname);
    EXPECT_EQ(0, prog->snameLen);
    EXPECT_EQ(nullptr, prog->pname);
    EXPECT_EQ(0, prog->pnameLen);
    ASSERT_NE(nullptr, prog->sdtDescList);
    EXPECT_EQ(0x5F, prog->sdtDescList->descTag);
    EXPECT_EQ(nullptr, prog->sdtDescList->descData);
    EXPECT_EQ(0, prog->sdtDescList->descLen);
    EXPECT_EQ(1, prog->prog_type) << "numbers stay";
}

TEST_F(SingleTableSearch, ForgetsPayloadsThatLeadIntoARefusedCat)
{
    const Bytes broken =
        CatBuilder()
            .desc(caDescriptor(0x0B00, 0x1E0, counting(3)) + descriptor(0x80, counting(5)) + Bytes{9, 3, 0, 0, 0})
            .build();
    host->play({answer::section(broken), answer::noTable()});
    EXPECT_EQ(0U, schNormalPsi(host->object(), PSI_CAT));
    ASSERT_NE(nullptr, model().catCaList);
    EXPECT_EQ(0x0B00, model().catCaList->caSystemId);
    EXPECT_EQ(nullptr, model().catCaList->privateData);
    EXPECT_EQ(0, model().catCaList->privateLen);
    ASSERT_NE(nullptr, model().catDescList);
    EXPECT_EQ(nullptr, model().catDescList->descData);
    EXPECT_EQ(0, model().catDescList->descLen);
}

TEST_F(SingleTableSearch, ForgetsPayloadsThatLeadIntoARefusedVct)
{
    addProgram(5, 0x100);
    VctChannel known;
    known.shortName = "KNOWN";
    known.programNumber = 5;
    known.descriptors = descriptor(0xA0, counting(4));
    VctChannel unknown = known;
    unknown.programNumber = 6;
    host->play({answer::section(VctBuilder().channel(known).channel(unknown).build()), answer::noTable()});
    EXPECT_EQ(0U, schNormalPsi(host->object(), PSI_VCT));
    EXPECT_EQ(nullptr, model().progList->sname);
    EXPECT_EQ(0, model().progList->snameLen);
    EXPECT_EQ(nullptr, model().progList->sdtDescList->descData);
    EXPECT_EQ(0, model().progList->sdtDescList->descLen);
}

TEST_F(SingleTableSearch, ForgetsTheAdditionalDescriptorsOfARefusedVct)
{
    const Bytes tooLong = {0xA1, 9, 0};
    host->play(
        {answer::section(
             VctBuilder().additionalDescriptor(descriptor(0xA0, counting(4))).additionalDescriptor(tooLong).build()),
         answer::noTable()});
    EXPECT_EQ(0U, schNormalPsi(host->object(), PSI_VCT));
    ASSERT_NE(nullptr, model().vctDescList);
    EXPECT_EQ(0xA0, model().vctDescList->descTag);
    EXPECT_EQ(nullptr, model().vctDescList->descData);
    EXPECT_EQ(0, model().vctDescList->descLen);
}

TEST_F(SingleTableSearch, KeepsWhatLeadsIntoTheSectionsThatStay)
{
    addProgram(5, 0x100);
    host->play({answer::section(sampleSection(PSI_SDT_ACTUAL)),
                answer::section(SdtBuilder().service(6, Bytes{}).service({7, {}, 0, 0, 4, 0, 50}).build()),
                answer::noTable()});
    EXPECT_EQ(1U, schNormalPsi(host->object(), PSI_SDT_ACTUAL));
    EXPECT_EQ(0U, schNormalPsi(host->object(), PSI_SDT_ACTUAL));
    EXPECT_EQ(bytesOf("service"), bytesAt(model().progList->sname, model().progList->snameLen));
    EXPECT_EQ(bytesOf("provider"), bytesAt(model().progList->pname, model().progList->pnameLen));
}

/* ---- Stop ---- */

TEST_F(SingleTableSearch, StopsBetweenTwoSections)
{
    host->play({stopping(answer::section(pat(0, 2, 1)))});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((Calls{armPat(), readCall, armPat(1)}), callsOf(*host));
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(0), next(1), stopped}), searchLog());
}

TEST_F(SingleTableSearch, IsCompleteEvenWhenItIsStoppedWithItsLastSection)
{
    host->play({stopping(answer::section(pat(0, 0, 1)))});
    EXPECT_EQ(1U, searchPat());
    EXPECT_EQ((LogLines{dataOk, packetsRead(1), analysed(0)}), searchLog());
}

TEST_F(SingleTableSearch, DoesNotClearTheStopItself)
{
    psiSchStop(host->id());
    EXPECT_EQ(0U, searchPat());
    EXPECT_EQ(1, host->object()->stopFlag);
}

} // namespace
} // namespace psitest
