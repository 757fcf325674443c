// Analysis of PAT and PMT sections into the model, by reference and by copy.
#include "support/analyseLines.h"
#include "support/faultInjection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"

#include <functional>

namespace psitest {
namespace {

/** @brief A loose model, and sections that live as long as it does. */
class Analysis : public LibraryTest {
protected:
    i32 analyse(LooseModel &model, u8 psiType, const Bytes &section, u32 ioFlag = 0)
    {
        return analysePsi(model.get(), storeSection(&model->sectionList, psiType, section), ioFlag);
    }
};

/* ------------------------------------------------------------------------------------------------------------------
 * The dispatcher
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(Analysis, RefusesBadArgumentsInTheirOrder)
{
    LooseModel model;
    sectionData node = {};
    EXPECT_EQ(-1, analysePsi(nullptr, nullptr, 2));
    EXPECT_LOG(log, analyseError("analysePsi: tsInfo is NULL!"));
    EXPECT_EQ(-1, analysePsi(model.get(), nullptr, 2));
    EXPECT_LOG(log, analyseError("analysePsi: psiSectionData is NULL!"));
    for (const u32 ioFlag : {2U, 0xFFU, 0x102U}) {
        node.psiType = PSI_PAT;
        EXPECT_EQ(-1, analysePsi(model.get(), &node, ioFlag));
        EXPECT_LOG(log, analyseError("analysePsi: ioFlag value error!"));
    }
    node.psiType = PSI_BAT;
    EXPECT_EQ(-1, analysePsi(model.get(), &node, 2)) << "even for a type that is not analysed";
}

TEST_F(Analysis, LooksAtTheLowByteOfTheIoFlag)
{
    for (const u32 ioFlag : {0x100U, 0xFFFFFF01U}) {
        LooseModel model(ioFlag & 1);
        EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().program(1, 0x100).build(), ioFlag));
    }
}

TEST_F(Analysis, AcknowledgesTablesThatItDoesNotAnalyse)
{
    setPsiSchRPTLevel(3);
    LooseModel model;
    for (const u8 type : Bytes{3, 5, 6, 8, 9, 11, 12, 13, 14, 15, 16, 255}) {
        sectionData node = {};
        node.psiType = type;
        EXPECT_EQ(0, analysePsi(model.get(), &node, 0));
        EXPECT_LOG(log, analyseInfo(format("analysePsi: psiType = %u, not support!", type)));
    }
    setPsiSchRPTLevel(2);
    sectionData node = {};
    node.psiType = PSI_SDT_OTHER;
    EXPECT_EQ(0, analysePsi(model.get(), &node, 1));
    EXPECT_NO_LOG(log);
}

/* ------------------------------------------------------------------------------------------------------------------
 * PAT
 * ---------------------------------------------------------------------------------------------------------------- */

class PatAnalysis : public Analysis {};

TEST_F(PatAnalysis, FillsTheModel)
{
    LooseModel model;
    const Bytes pat = PatBuilder()
                          .tsId(0x1234)
                          .version(17)
                          .currentNext(0)
                          .number(0, 3)
                          .network(0x1FF0)
                          .program(1, 0x0100)
                          .program(0xFFFF, 0x1ABC)
                          .build();
    EXPECT_EQ(0, analyse(model, PSI_PAT, pat));
    EXPECT_EQ(0x1234, model->tsId);
    EXPECT_EQ(1, model->netFlag);
    EXPECT_EQ(0x1FF0, model->netPid);
    EXPECT_EQ(1, model->patHead.syntax_indicator);
    EXPECT_EQ(17, model->patHead.version_number);
    EXPECT_EQ(0, model->patHead.current_next);
    EXPECT_EQ(0, model->patHead.section_number);
    EXPECT_EQ(3, model->patHead.last_section_number);
    const auto programs = nodesOf(model->progList);
    ASSERT_EQ(2U, programs.size());
    EXPECT_EQ(1, programs[0]->progNo);
    EXPECT_EQ(0x0100, programs[0]->pmtPid);
    EXPECT_EQ(0, programs[0]->pmtValid);
    EXPECT_EQ(0xFFFF, programs[1]->progNo);
    EXPECT_EQ(0x1ABC, programs[1]->pmtPid);
    EXPECT_NO_LOG(log);
}

TEST_F(PatAnalysis, ReportsItsStepsAtInfoLevel)
{
    setPsiSchRPTLevel(3);
    LooseModel model;
    EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().tsId(0xAB).network(0x10).program(0x1F, 0x20).build()));
    EXPECT_LOG(log, analyseInfo("analysePat: tsId = 0xab!"), analyseInfo("netpid = 16"),
               analyseInfo("analysePat: prognumber = 0x1f"), analyseInfo("analysePat: pmtpid = 0x20"),
               analyseInfo("analysePat: OK!"));
}

TEST_F(PatAnalysis, MayNameANetworkOnly)
{
    LooseModel model;
    EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().network(0x10).build()));
    EXPECT_EQ(1, model->netFlag);
    EXPECT_EQ(0x10, model->netPid);
    EXPECT_EQ(nullptr, model->progList);
}

TEST_F(PatAnalysis, LeavesTheNetworkAloneWithoutAnEntry)
{
    LooseModel model;
    EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().program(1, 0x100).build()));
    EXPECT_EQ(0, model->netFlag);
    EXPECT_EQ(0, model->netPid);
}

TEST_F(PatAnalysis, AppendsProgramsAgain)
{
    LooseModel model;
    const Bytes pat = PatBuilder().program(1, 0x100).program(2, 0x200).build();
    EXPECT_EQ(0, analyse(model, PSI_PAT, pat));
    EXPECT_EQ(0, analyse(model, PSI_PAT, pat));
    std::vector<u16> numbers;
    for (const progInfo *prog : nodesOf(model->progList))
        numbers.push_back(prog->progNo);
    EXPECT_EQ((std::vector<u16>{1, 2, 1, 2}), numbers);
}

TEST_F(PatAnalysis, TakesAFullSection)
{
    PatBuilder builder;
    for (u16 i = 1; i <= 253; ++i)
        builder.program(i, static_cast<u16>(0x100 + i));
    const Bytes pat = builder.build();
    ASSERT_EQ(1024U, pat.size());
    LooseModel model;
    EXPECT_EQ(0, analyse(model, PSI_PAT, pat));
    EXPECT_EQ(253U, nodesOf(model->progList).size());
}

TEST_F(PatAnalysis, NeedsSectionZeroFirst)
{
    LooseModel model;
    const Bytes second = PatBuilder().tsId(0x55).number(1, 1).program(2, 0x200).build();
    EXPECT_EQ(-1, analyse(model, PSI_PAT, second));
    EXPECT_LOG(log, analyseError("analysePat: sectionNo is 1, tsInfo->tsId is 0 ERROR"));
    EXPECT_EQ(nullptr, model->progList);
    EXPECT_EQ(0, model->patHead.last_section_number) << "the header is stored behind this check";

    EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().tsId(0x55).number(0, 1).program(1, 0x100).build()));
    EXPECT_EQ(0, analyse(model, PSI_PAT, second));
    EXPECT_EQ(2U, nodesOf(model->progList).size());
    EXPECT_EQ(1, model->patHead.section_number);

    EXPECT_EQ(-1, analyse(model, PSI_PAT, PatBuilder().tsId(0x56).number(1, 1).program(3, 0x300).build()));
    EXPECT_LOG(log, analyseError("analysePat: sectionNo is 1, tsInfo->tsId is 85 ERROR"));
    EXPECT_EQ(0x55, model->tsId);
}

TEST_F(PatAnalysis, AcceptsALaterSectionOfTransportStreamZero)
{
    LooseModel model;
    EXPECT_EQ(0, analyse(model, PSI_PAT, PatBuilder().tsId(0).number(4, 4).program(2, 0x200).build()));
    EXPECT_NO_LOG(log);
}

TEST_F(PatAnalysis, StoresTheHeaderOfASectionWithoutEntries)
{
    LooseModel model;
    EXPECT_EQ(-1, analyse(model, PSI_PAT, PatBuilder().tsId(9).version(5).number(0, 2).build()));
    EXPECT_LOG(log, analyseError("analysePat: section length is 9 ERROR"));
    EXPECT_EQ(9, model->tsId);
    EXPECT_EQ(5, model->patHead.version_number);
    EXPECT_EQ(1, model->patHead.current_next);
    EXPECT_EQ(2, model->patHead.last_section_number);
}

/* A refused PAT: the section, what is logged, how many programs were made. */

struct RefusedPat {
    const char *name;
    Bytes section;
    LogLine line;
    std::size_t programs;
};

/** @brief A PAT whose entry loop has extra bytes at its end. */
Bytes patWithTail(std::size_t extra)
{
    return LongSectionBuilder(0x00, 0).body(Bytes{0, 1, 0xE1, 0x00} + repeated(extra, 0xFF)).build();
}

Bytes brokenCrc(Bytes section)
{
    section.back() ^= 1;
    return section;
}

const RefusedPat refusedPats[] = {
    {"WrongCrc", brokenCrc(PatBuilder().program(1, 0x100).build()), analyseError("analysePat: tsCrcPsi ERROR"), 0},
    {"WrongTableId", PatBuilder().tableId(0x01).program(1, 0x100).build(), analyseError("analysePat tableid ERROR"), 0},
    {"NoEntry", PatBuilder().build(), analyseError("analysePat: section length is 9 ERROR"), 0},
    {"OneByte", LongSectionBuilder(0x00, 0).body({0xFF}).build(), analyseError("analysePat: section length ERROR"), 0},
    {"OneByteTooMany", patWithTail(1), analyseError("analysePat: section length ERROR"), 1},
    {"TwoBytesTooMany", patWithTail(2), analyseError("analysePat: section length ERROR"), 1},
    {"ThreeBytesTooMany", patWithTail(3), analyseError("analysePat: section length ERROR"), 1},
};

class PatRefusal : public Analysis, public testing::WithParamInterface<RefusedPat> {};

TEST_P(PatRefusal, IsReported)
{
    LooseModel model;
    EXPECT_EQ(-1, analyse(model, PSI_PAT, GetParam().section));
    EXPECT_LOG(log, GetParam().line);
    EXPECT_EQ(GetParam().programs, nodesOf(model->progList).size());
}

INSTANTIATE_TEST_SUITE_P(EveryCause, PatRefusal, testing::ValuesIn(refusedPats),
                         [](const auto &param) { return param.param.name; });

TEST_F(PatAnalysis, StoresNothingOfASectionWithAWrongCrc)
{
    LooseModel model;
    EXPECT_EQ(-1, analyse(model, PSI_PAT, brokenCrc(PatBuilder().tsId(7).network(3).program(1, 0x100).build())));
    tsInfo expected = {};
    expected.sectionList = model->sectionList;
    EXPECT_EQ(modelFields(expected), modelFields(*model.get()));
}

TEST_F(PatAnalysis, ReportsASectionThatIsLongerThanItsNode)
{
    const Bytes pat = PatBuilder().program(1, 0x100).build();
    LooseModel model;
    sectionData *node = storeSection(&model->sectionList, PSI_PAT, pat);
    node->len = static_cast<u16>(pat.size() - 1);
    EXPECT_EQ(-1, analysePsi(model.get(), node, 0));
    EXPECT_LOG(log, error("psiFun", "tsCrcPsi section_length out of buflen"),
               analyseError("analysePat: tsCrcPsi ERROR"));
}

TEST_F(PatAnalysis, KeepsTheProgramsBeforeAFailure)
{
    const Bytes pat = PatBuilder().program(1, 0x100).program(2, 0x200).program(3, 0x300).build();
    for (const Call call : {Call::Malloc, Call::Push}) {
        LooseModel model;
        sectionData *node = storeSection(&model->sectionList, PSI_PAT, pat);
        const FaultPlan plan(call, 3);
        EXPECT_EQ(-1, analysePsi(model.get(), node, 0));
        EXPECT_EQ(2U, nodesOf(model->progList).size());
        EXPECT_EQ(analyseError("analysePat progInfo creat failed !"), log.take().at(1));
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * PMT
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief A PMT with everything that a PMT has: CA and other descriptors at both levels, empty payloads too. */
Bytes richPmt(u16 program = 5)
{
    return PmtBuilder(program)
        .version(9)
        .number(0, 0)
        .pcrPid(0x1ABC)
        .programDescriptor(descriptor(0x05, bytesOf("HDMV")))
        .programDescriptor(caDescriptor(0x0B00, 0x0123, bytesOf("prog")))
        .programDescriptor(descriptor(0x7F))
        .stream(0x1B, 0x0101, descriptor(0x52, {7}) + caDescriptor(0x1800, 0x0456))
        .stream(0x0F, 0x0102)
        .stream(0x06, 0x0103, caDescriptor(0x0500, 0x1FFF, bytesOf("es")) + descriptor(0x0A, bytesOf("eng\1")))
        .build();
}

/** @brief The whole analysis in both modes, of reference and of copy. */
class PmtAnalysis : public Analysis, public testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        Analysis::SetUp();
        ASSERT_EQ(0, analyse(model, PSI_PAT, PatBuilder().program(5, 0x100).program(6, 0x200).build()));
        prog = model->progList;
    }
    void TearDown() override
    {
        model.clear();
        Analysis::TearDown();
    }
    u32 mode() const { return GetParam(); }
    i32 analysePmt(const Bytes &pmt)
    {
        node = storeSection(&model->sectionList, PSI_PMT, pmt);
        return analysePsi(model.get(), node, mode());
    }
    /** @brief Whether a payload lies where this mode puts it. */
    bool rightPlace(const u8 *data) const
    {
        const bool inSection = data >= node->buf && data <= node->buf + node->len;
        return mode() == 0 ? inSection : poolBlockSize(data) != 0;
    }

    LooseModel model{GetParam()};
    progInfo *prog = nullptr;
    sectionData *node = nullptr;
};

INSTANTIATE_TEST_SUITE_P(BothModes, PmtAnalysis, testing::Values(0U, 1U),
                         [](const auto &param) { return param.param == 0 ? "Reference" : "Copy"; });

TEST_P(PmtAnalysis, FillsTheProgram)
{
    const Bytes pmt = richPmt();
    ASSERT_EQ(0, analysePmt(pmt));
    EXPECT_EQ(1, prog->pmtValid);
    EXPECT_EQ(1, prog->pmtHead.syntax_indicator);
    EXPECT_EQ(9, prog->pmtHead.version_number);
    EXPECT_EQ(1, prog->pmtHead.current_next);
    EXPECT_EQ(0, prog->pmtHead.section_number);
    EXPECT_EQ(0, prog->pmtHead.last_section_number);
    EXPECT_EQ(0x1ABC, prog->pcrPid);
    EXPECT_EQ(0x100, prog->pmtPid) << "from the PAT";
    EXPECT_EQ(3, prog->caFlag);
    EXPECT_EQ(crc32Mpeg(pmt.data(), pmt.size() - 4), prog->pmtCrc);
    EXPECT_NO_LOG(log);
}

TEST_P(PmtAnalysis, PartsCaFromOtherDescriptors)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    const auto cas = nodesOf(prog->caList);
    ASSERT_EQ(1U, cas.size());
    EXPECT_EQ(0x0B00, cas[0]->caSystemId);
    EXPECT_EQ(0x0123, cas[0]->caPid);
    EXPECT_EQ(bytesOf("prog"), bytesAt(cas[0]->privateData, cas[0]->privateLen));
    EXPECT_TRUE(rightPlace(cas[0]->privateData));
    const auto descs = nodesOf(prog->pmtDescList);
    ASSERT_EQ(2U, descs.size());
    EXPECT_EQ(0x05, descs[0]->descTag);
    EXPECT_EQ(bytesOf("HDMV"), bytesAt(descs[0]->descData, descs[0]->descLen));
    EXPECT_TRUE(rightPlace(descs[0]->descData));
    EXPECT_EQ(0x7F, descs[1]->descTag);
    EXPECT_EQ(0, descs[1]->descLen);
}

TEST_P(PmtAnalysis, KeepsTheOrderOfTheStreams)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    const auto streams = nodesOf(prog->esList);
    ASSERT_EQ(3U, streams.size());
    EXPECT_EQ(0x1B, streams[0]->esType);
    EXPECT_EQ(0x0101, streams[0]->esPid);
    EXPECT_EQ(Bytes{7}, bytesAt(streams[0]->descList->descData, streams[0]->descList->descLen));
    EXPECT_EQ(0x1800, streams[0]->caList->caSystemId);
    EXPECT_EQ(0x0F, streams[1]->esType);
    EXPECT_EQ(nullptr, streams[1]->descList);
    EXPECT_EQ(nullptr, streams[1]->caList);
    EXPECT_EQ(0x06, streams[2]->esType);
    EXPECT_EQ(0x1FFF, streams[2]->caList->caPid);
    EXPECT_EQ(bytesOf("es"), bytesAt(streams[2]->caList->privateData, streams[2]->caList->privateLen));
    EXPECT_EQ(0x0A, streams[2]->descList->descTag);
}

TEST_P(PmtAnalysis, HasNoBlockForAnEmptyPayload)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    const descInfo *empty = nodesOf(prog->pmtDescList).at(1);
    const caInfo *bare = prog->esList->caList;
    EXPECT_EQ(0, bare->privateLen);
    if (mode() == 1) {
        EXPECT_EQ(nullptr, empty->descData);
        EXPECT_EQ(nullptr, bare->privateData);
    } else {
        const u8 *behindCaPid = node->buf + node->len; // found below
        for (const u8 *p = node->buf; p + 6 <= node->buf + node->len; ++p) {
            if (bytesAt(p, 6) == caDescriptor(0x1800, 0x0456))
                behindCaPid = p + 6;
        }
        EXPECT_EQ(behindCaPid, bare->privateData);
        EXPECT_TRUE(rightPlace(empty->descData));
    }
}

TEST_P(PmtAnalysis, SetsTheCaFlagByLevel)
{
    const Bytes none = PmtBuilder(5).stream(2, 0x31).build();
    const Bytes programOnly = PmtBuilder(5).programDescriptor(caDescriptor(1, 2)).stream(2, 0x31).build();
    const Bytes streamOnly = PmtBuilder(5).stream(2, 0x31, caDescriptor(1, 2)).build();
    ASSERT_EQ(0, analysePmt(programOnly));
    EXPECT_EQ(1, prog->caFlag);
    ASSERT_EQ(0, analysePmt(streamOnly));
    EXPECT_EQ(2, prog->caFlag) << "it starts at 0 with every section";
    ASSERT_EQ(0, analysePmt(none));
    EXPECT_EQ(0, prog->caFlag);
}

TEST_P(PmtAnalysis, ResetsTheCaFlagBehindTheCheckOfProgramInfoLength)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    EXPECT_EQ(-1, analysePmt(PmtBuilder(5).pcrPid(0x77).forcedProgramInfoLength(1).build()));
    EXPECT_EQ(3, prog->caFlag);
    EXPECT_EQ(0x77, prog->pcrPid) << "stored before the check";
    EXPECT_EQ(-1, analysePmt(PmtBuilder(5).rawStream({1}).build()));
    EXPECT_EQ(0, prog->caFlag);
}

TEST_P(PmtAnalysis, MayHaveNothingInside)
{
    ASSERT_EQ(0, analysePmt(PmtBuilder(5).build()));
    EXPECT_EQ(1, prog->pmtValid);
    EXPECT_EQ(nullptr, prog->esList);
    EXPECT_EQ(0x1FFF, prog->pcrPid);
}

TEST_P(PmtAnalysis, AppendsStreamsAgain)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    ASSERT_EQ(0, analysePmt(richPmt()));
    EXPECT_EQ(6U, nodesOf(prog->esList).size());
    EXPECT_EQ(4U, nodesOf(prog->pmtDescList).size());
    EXPECT_EQ(2U, nodesOf(prog->caList).size());
}

TEST_P(PmtAnalysis, GoesToTheProgramOfTheNode)
{
    ASSERT_EQ(0, analysePmt(richPmt(6)));
    EXPECT_EQ(0, prog->pmtValid);
    EXPECT_EQ(1, nodesOf(model->progList).at(1)->pmtValid);
}

TEST_P(PmtAnalysis, ReportsItsStepsAtInfoLevel)
{
    setPsiSchRPTLevel(3);
    ASSERT_EQ(0, analysePmt(PmtBuilder(5).pcrPid(0x1F).stream(0x1B, 0x2A).stream(3, 0x2B).build()));
    EXPECT_LOG(log, analyseInfo("analysePmt start, prognumber = 5"), analyseInfo("analysePmt: pcrpid = 0x1f"),
               analyseInfo("analysePmt: espid = 0x2a, esType = 0x1b"),
               analyseInfo("analysePmt: espid = 0x2b, esType = 0x3"), analyseInfo("analysePmt: OK!"));
}

TEST_P(PmtAnalysis, NeedsItsProgramInThePat)
{
    EXPECT_EQ(-1, analysePmt(richPmt(7)));
    EXPECT_LOG(log, error("psiData", "getProgInfo: Not Found, progNo = 7!"),
               analyseError("analysePmt: getProgInfo failed!"));
}

TEST_P(PmtAnalysis, OfAnotherTableIdIsRefusedSilently)
{
    EXPECT_EQ(-1, analysePmt(PmtBuilder(5).tableId(0x03).build()));
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0U, prog->pmtCrc);
}

TEST_P(PmtAnalysis, StoresNothingOfASectionWithAWrongCrc)
{
    EXPECT_EQ(-1, analysePmt(brokenCrc(richPmt())));
    EXPECT_LOG(log, analyseError("analysePmt: tsCrcPsi ERROR"));
    EXPECT_EQ(0U, prog->pmtCrc);
    EXPECT_EQ(0, prog->pmtHead.version_number);
    EXPECT_EQ(0, prog->pmtValid);
}

TEST_P(PmtAnalysis, StoresTheCrcBeforeItsOwnChecks)
{
    const Bytes pmt = richPmt(6);
    node = storeSection(&model->sectionList, PSI_PMT, pmt);
    node->idExt = 5;
    EXPECT_EQ(-1, analysePsi(model.get(), node, mode()));
    EXPECT_LOG(log, analyseError("analysePmt: progNo ERROR"));
    EXPECT_EQ(crc32Mpeg(pmt.data(), pmt.size() - 4), prog->pmtCrc);
    EXPECT_EQ(1, prog->pmtHead.syntax_indicator);
    EXPECT_EQ(0, prog->pmtHead.version_number) << "stored behind the check";
}

TEST_P(PmtAnalysis, KeepsAnEarlierSuccessThroughALaterFailure)
{
    ASSERT_EQ(0, analysePmt(richPmt()));
    EXPECT_EQ(-1, analysePmt(PmtBuilder(5).rawStream({1, 0xE0, 1, 0xF0, 9}).build()));
    EXPECT_EQ(1, prog->pmtValid);
}

/* A refused PMT: the section, what is logged, what was stored before. */

struct RefusedPmt {
    const char *name;
    Bytes section;
    const char *text;
    std::size_t cas, descs, streams;
};

const Bytes pmtDesc = descriptor(0x52, {1, 2});
const Bytes pmtCa = caDescriptor(0x1234, 0x200, {1});
const Bytes stream5 = {0x1B, 0xE1, 0x01, 0xF0}; // the first four bytes of an entry

/** @brief A descriptor whose length says more than there is. */
Bytes overlong(u8 tag, u8 claimed, std::size_t there)
{
    return Bytes{tag, claimed} + repeated(there, 0);
}

/** @brief A PMT cut so that section_length is @p length. */
Bytes shortPmt(unsigned length)
{
    Bytes pmt = PmtBuilder(5).build();
    pmt.resize(length + 3);
    setSectionLength(pmt, length);
    return withRightCrc(pmt);
}

const RefusedPmt refusedPmts[] = {
    {"NoRoomForProgramInfoLength", shortPmt(12), "analysePmt: program_info_length ERROR", 0, 0, 0},
    {"NoRoomForTheHeader", shortPmt(8), "analysePmt: section length ERROR", 0, 0, 0},
    {"NoRoomForPcrPid", shortPmt(10), "analysePmt: section length ERROR", 0, 0, 0},
    {"ProgramInfoOverByOne", PmtBuilder(5).programDescriptor(pmtDesc).forcedProgramInfoLength(5).build(),
     "analysePmt: program_info_length ERROR", 0, 0, 0},
    {"ProgramInfoOverByAll", PmtBuilder(5).forcedProgramInfoLength(0xFFF).build(),
     "analysePmt: program_info_length ERROR", 0, 0, 0},
    {"ProgramDescriptorOverByOne", PmtBuilder(5).programDescriptor(pmtDesc + overlong(0x52, 3, 2)).build(),
     "analysePmt: prog_desc_len ERROR", 0, 1, 0},
    {"ProgramDescriptorOverByAll", PmtBuilder(5).programDescriptor(pmtCa + overlong(0x52, 255, 0)).build(),
     "analysePmt: prog_desc_len ERROR", 1, 0, 0},
    {"ProgramDescriptorWithoutLength", PmtBuilder(5).programDescriptor(pmtDesc + Bytes{0x52}).build(),
     "analysePmt: prog_desc_len ERROR", 0, 1, 0},
    {"ProgramDescriptorReachesIntoTheStreams",
     PmtBuilder(5).programDescriptor(overlong(0x52, 4, 2)).stream(2, 0x31).build(), "analysePmt: prog_desc_len ERROR",
     0, 0, 0},
    {"ProgramCaOfThree", PmtBuilder(5).programDescriptor(pmtDesc + pmtCa + descriptor(0x09, {1, 2, 3})).build(),
     "analysePmt: caInfo desc_len < 4, ERROR", 1, 1, 0},
    {"ProgramCaOfNone", PmtBuilder(5).programDescriptor(descriptor(0x09)).build(),
     "analysePmt: caInfo desc_len < 4, ERROR", 0, 0, 0},
    {"StreamInfoOverByOne", PmtBuilder(5).stream(2, 0x31, pmtDesc).rawStream(stream5 + Bytes{1}).build(),
     "analysePmt: es_info_len ERROR", 0, 0, 1},
    {"StreamInfoOverByAll", PmtBuilder(5).rawStream({2, 0xE0, 0x31, 0xFF, 0xFF}).build(),
     "analysePmt: es_info_len ERROR", 0, 0, 0},
    {"StreamWithoutInfoLength", PmtBuilder(5).stream(2, 0x31).rawStream(stream5).build(),
     "analysePmt: es_info_len ERROR", 0, 0, 1},
    {"OneByteOfAStream", PmtBuilder(5).stream(2, 0x31).rawStream({0xFF}).build(), "analysePmt: es_info_len ERROR", 0, 0,
     1},
    {"StreamDescriptorOverByOne", PmtBuilder(5).stream(2, 0x31).stream(3, 0x32, overlong(0x0A, 5, 4)).build(),
     "analysePmt: es_desc_len ERROR", 0, 0, 2},
    {"StreamDescriptorReachesIntoTheNextStream",
     PmtBuilder(5).stream(3, 0x32, overlong(0x0A, 2, 0)).stream(2, 0x31).build(), "analysePmt: es_desc_len ERROR", 0, 0,
     1},
    {"StreamDescriptorReachesIntoTheCrc", PmtBuilder(5).stream(3, 0x32, overlong(0x0A, 4, 0)).build(),
     "analysePmt: es_desc_len ERROR", 0, 0, 1},
    {"StreamCaOfThree", PmtBuilder(5).stream(3, 0x32, pmtDesc + descriptor(0x09, {1, 2, 3})).build(),
     "analysePmt: caInfo desc_len < 4, ERROR", 0, 0, 1},
};

class PmtRefusal : public Analysis, public testing::WithParamInterface<RefusedPmt> {};

TEST_P(PmtRefusal, IsReportedAndKeepsWhatCameBefore)
{
    const RefusedPmt &expected = GetParam();
    GuardedBuffer buffer;
    for (const u32 mode : {0U, 1U}) {
        LooseModel model(mode);
        ASSERT_EQ(0, analyse(model, PSI_PAT, PatBuilder().program(5, 0x100).build()));
        u8 *bytes = buffer.place(expected.section);
        sectionData node = sectionNode(PSI_PMT, bytes, expected.section.size());
        node.idExt = 5;
        EXPECT_EQ(-1, analysePsi(model.get(), &node, mode));
        EXPECT_LOG(log, analyseError(expected.text));
        const progInfo *prog = model->progList;
        EXPECT_EQ(expected.cas, nodesOf(prog->caList).size());
        EXPECT_EQ(expected.descs, nodesOf(prog->pmtDescList).size());
        EXPECT_EQ(expected.streams, nodesOf(prog->esList).size());
        EXPECT_EQ(0, prog->pmtValid);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryCause, PmtRefusal, testing::ValuesIn(refusedPmts),
                         [](const auto &param) { return param.param.name; });

/* ------------------------------------------------------------------------------------------------------------------
 * An exhausted pool
 * ---------------------------------------------------------------------------------------------------------------- */

/* The allocations of the rich PMT in copy mode, in their order; by reference the payloads fall away. */

struct PmtAllocation {
    bool payload;
    const char *nodeText; /**< of psiMem, null for a payload */
    const char *text;
};

constexpr char noDescNode[] = "descInfoCreat: buddy_malloc descInfo node failed";
constexpr char noCaNode[] = "caInfoCreat: buddy_malloc caInfo node failed";
constexpr char noEsNode[] = "esInfoCreat: buddy_malloc descInfo node failed";

constexpr PmtAllocation pmtAllocations[] = {
    {false, noDescNode, "analysePmt: prog descInfo creat failed!"},
    {true, nullptr, "analysePmt: prog descInfo->descData buddy_malloc failed!"},
    {false, noCaNode, "analysePmt: prog caInfo creat failed!"},
    {true, nullptr, "analysePmt: prog caInfo->privateData buddy_malloc failed!"},
    {false, noDescNode, "analysePmt: prog descInfo creat failed!"},
    {false, noEsNode, "analysePmt: esInfo creat failed!"},
    {false, noDescNode, "analysePmt: es descInfo creat failed!"},
    {true, nullptr, "analysePmt: es descInfo->descData buddy_malloc failed!"},
    {false, noCaNode, "analysePmt: prog caInfo creat failed!"},
    {false, noEsNode, "analysePmt: esInfo creat failed!"},
    {false, noEsNode, "analysePmt: esInfo creat failed!"},
    {false, noCaNode, "analysePmt: prog caInfo creat failed!"},
    {true, nullptr, "analysePmt: es caInfo->privateData buddy_malloc failed!"},
    {false, noDescNode, "analysePmt: es descInfo creat failed!"},
    {true, nullptr, "analysePmt: es descInfo->descData buddy_malloc failed!"},
};

/** @brief Number of nodes of the program, all levels. */
std::size_t countNodes(const progInfo *prog)
{
    std::size_t count = nodesOf(prog->caList).size() + nodesOf(prog->pmtDescList).size();
    for (const esInfo *stream : nodesOf(prog->esList))
        count += 1 + nodesOf(stream->caList).size() + nodesOf(stream->descList).size();
    return count;
}

TEST_P(PmtAnalysis, ReportsEveryFailingAllocation)
{
    node = storeSection(&model->sectionList, PSI_PMT, richPmt());
    unsigned nth = 0;
    std::size_t nodesBefore = 0;
    for (const PmtAllocation &allocation : pmtAllocations) {
        if (allocation.payload && mode() == 0)
            continue;
        LooseModel other(mode());
        ASSERT_EQ(0, analyse(other, PSI_PAT, PatBuilder().program(5, 0x100).build()));
        const u32 liveBefore = liveBlocks();
        {
            const FaultPlan plan(Call::Malloc, ++nth);
            EXPECT_EQ(-1, analysePsi(other.get(), node, mode()));
            EXPECT_EQ(nth, plan.calls()) << "the analysis ends at the failure";
        }
        LogLines expected = {analyseError(allocation.text)};
        if (allocation.nodeText != nullptr)
            expected.insert(expected.begin(), error("psiMem", allocation.nodeText));
        EXPECT_EQ(expected, log.take());
        const std::size_t nodes = countNodes(other->progList);
        if (allocation.payload)
            --nodesBefore; // the node whose payload failed is gone again
        EXPECT_EQ(nodesBefore, nodes) << "allocation " << nth;
        EXPECT_LE(nodes, liveBlocks() - liveBefore);
        EXPECT_EQ(0, other->progList->pmtValid);
        ++nodesBefore;
    }
    ASSERT_EQ(0, analysePsi(model.get(), node, mode()));
    EXPECT_EQ(nth, countCalls(Call::Malloc, [&] { analysePsi(model.get(), node, mode()); })) << "none was left out";
}

TEST_P(PmtAnalysis, ReportsEveryFailingPush)
{
    node = storeSection(&model->sectionList, PSI_PMT, richPmt());
    unsigned nth = 0;
    for (const PmtAllocation &allocation : pmtAllocations) {
        if (allocation.payload)
            continue;
        LooseModel other(mode());
        ASSERT_EQ(0, analyse(other, PSI_PAT, PatBuilder().program(5, 0x100).build()));
        const FaultPlan plan(Call::Push, ++nth);
        EXPECT_EQ(-1, analysePsi(other.get(), node, mode()));
        EXPECT_EQ(analyseError(allocation.text), log.take().back());
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Hostile sections: whatever the bytes say, nothing outside them is read and nothing leaks
 * ---------------------------------------------------------------------------------------------------------------- */

class HostileAnalysis : public Analysis {
protected:
    void SetUp() override
    {
        Analysis::SetUp();
        setPsiSchRPTLevel(0);
        patBytes = PatBuilder().program(5, 0x100).build();
    }
    void feed(u8 psiType, u16 idExt, const Bytes &section, const std::string &how)
    {
        for (const u32 mode : {0U, 1U}) {
            LooseModel model(mode);
            ASSERT_EQ(0, analyse(model, PSI_PAT, patBytes));
            sectionData node = sectionNode(psiType, buffer.place(section), section.size());
            node.idExt = idExt;
            const i32 result = analysePsi(model.get(), &node, mode);
            EXPECT_TRUE(result == 0 || result == -1) << how;
            expectInside(model, node, mode, how);
            ++cases;
        }
    }
    /** @brief By reference every payload lies in the section, by copy in a block that is large enough. */
    static void expectInside(LooseModel &model, const sectionData &node, u32 mode, const std::string &how);

    GuardedBuffer buffer;
    Bytes patBytes;
    unsigned cases = 0;
};

void HostileAnalysis::expectInside(LooseModel &model, const sectionData &node, u32 mode, const std::string &how)
{
    const auto check = [&](const u8 *data, std::size_t len) {
        if (data == nullptr)
            EXPECT_EQ(0U, len) << how;
        else if (mode == 0)
            EXPECT_TRUE(data >= node.buf && data + len <= node.buf + node.len - 4) << how;
        else
            EXPECT_GE(poolBlockSize(data), len) << how;
    };
    const auto checkLists = [&](const caInfo *cas, const descInfo *descs) {
        for (; cas != nullptr; cas = static_cast<const caInfo *>(cas->link.next))
            check(cas->privateData, cas->privateLen);
        for (; descs != nullptr; descs = static_cast<const descInfo *>(descs->link.next))
            check(descs->descData, descs->descLen);
    };
    for (const progInfo *prog : nodesOf(model->progList)) {
        checkLists(prog->caList, prog->pmtDescList);
        for (const esInfo *stream : nodesOf(prog->esList))
            checkLists(stream->caList, stream->descList);
    }
}

TEST_F(HostileAnalysis, EveryTruncationOfAPmt)
{
    for (const Truncated how : {Truncated::Raw, Truncated::Resealed}) {
        forEachTruncation(richPmt(), how,
                          [&](const Bytes &section, const std::string &text) { feed(PSI_PMT, 5, section, text); });
    }
    EXPECT_GT(cases, 200U);
}

TEST_F(HostileAnalysis, EveryByteOfAPmtChanged)
{
    forEachByteChange(richPmt(), [&](const Bytes &section, const std::string &how) { feed(PSI_PMT, 5, section, how); });
    EXPECT_GT(cases, 20000U);
}

TEST_F(HostileAnalysis, EveryTruncationOfAPat)
{
    const Bytes pat = PatBuilder().network(0x10).program(7, 0x70).program(8, 0x80).build();
    for (const Truncated how : {Truncated::Raw, Truncated::Resealed}) {
        forEachTruncation(pat, how,
                          [&](const Bytes &section, const std::string &text) { feed(PSI_PAT, 1, section, text); });
    }
    EXPECT_GT(cases, 50U);
}

TEST_F(HostileAnalysis, EveryByteOfAPatChanged)
{
    const Bytes pat = PatBuilder().network(0x10).program(7, 0x70).program(8, 0x80).build();
    forEachByteChange(pat, [&](const Bytes &section, const std::string &how) { feed(PSI_PAT, 1, section, how); });
    EXPECT_GT(cases, 10000U);
}

} // namespace
} // namespace psitest
