// What all generators share, the dispatch by table type, and the two standard sets.
#include "support/makeFixture.h"
#include "support/randomModel.h"

#include "psiInternal.h"

#include <ostream>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * Each generator: null model, old sections, failures of storing
 * ---------------------------------------------------------------------------------------------------------------- */

struct Generator {
    const char *name;
    i32 (*make)(tsInfo *model);
    u8 type;
    const char *noModel;
    const char *destroyFailed;
    const char *creatFailed;
    const char *mallocFailed;
};

void PrintTo(const Generator &row, std::ostream *os)
{
    *os << row.name;
}

i32 makeOnePmt(tsInfo *model)
{
    return pmtMakeOneSection(model, 1);
}

const Generator generators[] = {
    {"Pat", patMakeSection, PSI_PAT, "patMakeSection: objDataInfo is NULL!",
     "patMakeSection: pat SectionDataDestroy failed!", "patMakeSection: sectionData creat failed!",
     "patMakeSection: sectionData->buf buddy_malloc failed!"},
    {"OnePmt", makeOnePmt, PSI_PMT, "pmtMakeOneSection: tableMakeObj is NULL!",
     "pmtMakeOneSection: sectionDataDestroy failed!", "pmtMakeOneSection: sectionData creat failed!",
     "pmtMakeOneSection: sectionData->buf buddy_malloc failed!"},
    {"Cat", catMakeSection, PSI_CAT, "catMakeSection: objDataInfo is NULL!",
     "catMakeSection: cat SectionDataDestroy failed!", "catMakeSection: sectionData creat failed!",
     "catMakeSection: sectionData->buf buddy_malloc failed!"},
    {"Sdt", sdtaMakeSection, PSI_SDT_ACTUAL, "sdtaMakeSection: tableMakeObj is NULL!",
     "sdtaMakeSection: sdta SectionDataDestroy failed!", "sdtaMakeSection: sectionData creat failed!",
     "sdtaMakeSection: sectionData->buf buddy_malloc failed!"},
    {"Vct", vctMakeSection, PSI_VCT, "vctMakeSection: objDataInfo is NULL!",
     "vctMakeSection: vct SectionDataDestroy failed!", "vctMakeSection: sectionData creat failed!",
     "vctMakeSection: sectionData->buf buddy_malloc failed!"},
    // The MGT reports a null model with the VCT's text.
    {"Mgt", mgtMakeSection, PSI_MGT, "vctMakeSection: objDataInfo is NULL!",
     "mgtMakeSection: mgt SectionDataDestroy failed!", "mgtMakeSection: sectionData creat failed!",
     "mgtMakeSection: sectionData->buf buddy_malloc failed!"},
};

PlainModel smallModel()
{
    PlainModel model;
    model.tsId = 0x1234;
    model.tableMask = 1U << PSI_CAT;
    PlainProgram program;
    program.progNo = 1;
    program.pmtPid = 0x100;
    program.name = bytesOf("one");
    program.streams = {{2, 0x101, {}, {}}};
    model.programs = {program};
    model.catCa = {{1, 2, {}}};
    return model;
}

class MakeGenerator : public MakeTest, public testing::WithParamInterface<Generator> {
protected:
    void SetUp() override
    {
        MakeTest::SetUp();
        fillModel(model, smallModel());
        filledBlocks = liveBlocks();
    }
    /** @brief Generate with the n-th call of a kind failing; nothing is left behind. */
    void expectFailure(Call call, unsigned nth, const char *text)
    {
        {
            const FaultPlan plan(call, nth);
            EXPECT_EQ(-1, GetParam().make(model));
            EXPECT_EQ(1U, plan.injected());
        }
        EXPECT_LOG(log, error("psiMake", text));
        EXPECT_EQ(filledBlocks, liveBlocks());
        EXPECT_EQ(nullptr, model->sectionList);
    }
    u32 filledBlocks = 0;
};

TEST_P(MakeGenerator, RefusesANullModel)
{
    EXPECT_EQ(-1, GetParam().make(nullptr));
    EXPECT_LOG(log, error("psiMake", GetParam().noModel));
}

TEST_P(MakeGenerator, ReplacesItsOwnSectionsAndOnlyThose)
{
    EXPECT_EQ(0, GetParam().make(model));
    const std::vector<Bytes> first = sections(GetParam().type);
    ASSERT_FALSE(first.empty());
    storeSection(&model->sectionList, PSI_NIT_ACTUAL, sectionOfSize(50));
    const std::string before = textOf(*model);
    EXPECT_EQ(0, GetParam().make(model));
    EXPECT_EQ(first, sections(GetParam().type)) << "generating twice gives the same bytes, once";
    EXPECT_EQ(std::vector<Bytes>{sectionOfSize(50)}, sections(PSI_NIT_ACTUAL));
    EXPECT_EQ(before, textOf(*model)) << "the model is only read";
}

TEST_P(MakeGenerator, KeepsTheListWhenAnOldSectionCannotBeDestroyed)
{
    EXPECT_EQ(0, GetParam().make(model));
    const std::vector<sectionData *> before = nodesOf(model->sectionList);
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, GetParam().make(model));
    }
    EXPECT_LOG(log, error("psiMake", GetParam().destroyFailed));
    EXPECT_EQ(before, nodesOf(model->sectionList));
}

TEST_P(MakeGenerator, ReportsThatThereIsNoMemoryForTheNode)
{
    expectFailure(Call::Malloc, 1, GetParam().creatFailed);
}

TEST_P(MakeGenerator, ReportsThatTheNodeCannotBePushed)
{
    expectFailure(Call::Push, 1, GetParam().creatFailed);
}

TEST_P(MakeGenerator, ReportsThatThereIsNoMemoryForTheBytesAndDestroysTheNode)
{
    expectFailure(Call::Malloc, 2, GetParam().mallocFailed);
}

TEST_P(MakeGenerator, StoresABlockOfExactlyTheSectionsLength)
{
    EXPECT_EQ(0, GetParam().make(model));
    for (const sectionData *node : nodes(GetParam().type)) {
        EXPECT_EQ(node->len, buddy_size(psiMp, node->buf));
        EXPECT_EQ(0, psiCheckCrc(node->buf, node->len));
    }
}

TEST_P(MakeGenerator, LevelZeroSilencesEverything)
{
    setPsiMakeRPTLevel(0);
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, GetParam().make(nullptr));
    EXPECT_EQ(0, GetParam().make(model));
    EXPECT_NO_LOG(log);
}

TEST_P(MakeGenerator, SaysNothingAtTheLevelOfTheStart)
{
    EXPECT_EQ(0, GetParam().make(model));
    EXPECT_NO_LOG(log);
}

INSTANTIATE_TEST_SUITE_P(Tables, MakeGenerator, testing::ValuesIn(generators),
                         [](const auto &row) { return std::string(row.param.name); });

/* ------------------------------------------------------------------------------------------------------------------
 * Dispatch
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeDispatch : public MakeTest {};

TEST_F(MakeDispatch, RefusesANullModelBeforeTheTypeIsLookedAt)
{
    EXPECT_EQ(-1, psiMakeSection(nullptr, 99));
    EXPECT_LOG(log, error("psiMake", "psiMakeSection: objDataInfo is NULL!"));
}

TEST_F(MakeDispatch, SendsEachTypeToItsGenerator)
{
    fillModel(model, smallModel());
    for (const u8 type : {PSI_PAT, PSI_PMT, PSI_SDT_ACTUAL, PSI_CAT, PSI_MGT, PSI_VCT}) {
        EXPECT_EQ(0, psiMakeSection(model, type));
        const std::vector<sectionData *> all = nodesOf(model->sectionList);
        EXPECT_EQ(type, all.back()->psiType);
    }
    EXPECT_EQ(6U, nodesOf(model->sectionList).size());
}

TEST_F(MakeDispatch, ReturnsTheGeneratorsResult)
{
    EXPECT_EQ(-1, psiMakeSection(model, PSI_SDT_ACTUAL)) << "no programs";
    EXPECT_EQ(0, psiMakeSection(model, PSI_PMT)) << "no programs either";
    EXPECT_NO_LOG(log);
}

TEST_F(MakeDispatch, WarnsOfEveryOtherType)
{
    fillModel(model, smallModel());
    for (const u32 type : {3U, 4U, 5U, 6U, 8U, 11U, 12U, 13U, 14U, 15U, 16U, 255U, 256U, 65537U, 0xFFFFFFFFU}) {
        EXPECT_EQ(-1, psiMakeSection(model, type));
        EXPECT_LOG(log, warning("psiMake", format("psiMakeSection: psiType = %u, not support!", type)));
    }
    EXPECT_EQ(nullptr, model->sectionList);
    setPsiMakeRPTLevel(1);
    EXPECT_EQ(-1, psiMakeSection(model, PSI_NIT_ACTUAL));
    EXPECT_NO_LOG(log);
}

/* ------------------------------------------------------------------------------------------------------------------
 * The standard sets
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeAuto : public MakeTest {
protected:
    std::vector<u8> typesInOrder() const
    {
        std::vector<u8> types;
        for (const sectionData *node : nodesOf(model->sectionList))
            types.push_back(node->psiType);
        return types;
    }
};

TEST_F(MakeAuto, RefusesAnUnknownStandardBeforeTheObjectIsLookedUp)
{
    EXPECT_EQ(-1, AutoMakeSection(0, 2));
    EXPECT_LOG(log, error("psiMake", "makeTable: standard = 2, not support!"));
    EXPECT_EQ(-1, AutoMakeSection(id, 0xFFFFFFFF));
    EXPECT_LOG(log, error("psiMake", "makeTable: standard = 4294967295, not support!"));
    EXPECT_EQ(-1, AutoMakeSection(id, 256));
    EXPECT_LOG(log, error("psiMake", "makeTable: standard = 256, not support!"));
}

TEST_F(MakeAuto, RefusesAnUnknownObject)
{
    EXPECT_EQ(-1, AutoMakeSection(5, 1));
    EXPECT_LOG(log, error("psiMakeData", "getTableObj: Not Found, objId = 5!"),
               error("psiMake", "makeTable: objId=5, get tableMakeObj is NULL!"));
}

TEST_F(MakeAuto, AnEmptyModelStillGivesAPat)
{
    EXPECT_EQ(0, AutoMakeSection(id, 0));
    EXPECT_EQ(std::vector<u8>{PSI_PAT}, typesInOrder());
    model->netFlag = 1;
    model->netPid = 0x10;
    EXPECT_EQ(0, AutoMakeSection(id, 0));
    EXPECT_EQ(std::vector<Bytes>{PatBuilder().tsId(0).network(0x10).build()}, sections(PSI_PAT));
    EXPECT_NO_LOG(log);
}

TEST_F(MakeAuto, TheDvbSetIsPatPmtCatSdt)
{
    fillModel(model, smallModel());
    EXPECT_EQ(0, AutoMakeSection(id, 0));
    EXPECT_EQ((std::vector<u8>{PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL}), typesInOrder());
}

TEST_F(MakeAuto, TheAtscSetIsPatPmtCatVctMgt)
{
    fillModel(model, smallModel());
    EXPECT_EQ(0, AutoMakeSection(id, 1));
    EXPECT_EQ((std::vector<u8>{PSI_PAT, PSI_PMT, PSI_CAT, PSI_VCT, PSI_MGT}), typesInOrder());
}

TEST_F(MakeAuto, TheMgtAnnouncesTheVctThatWasJustMade)
{
    fillModel(model, smallModel());
    EXPECT_EQ(0, AutoMakeSection(id, 1));
    PlainProgram second = smallModel().programs[0];
    second.progNo = 2;
    addProgram(model, second);
    EXPECT_EQ(0, AutoMakeSection(id, 1));
    const Bytes mgt = sections(PSI_MGT).at(0);
    EXPECT_EQ(nodes(PSI_VCT).at(0)->len, mgt[18] << 8 | mgt[19]);
}

TEST_F(MakeAuto, StopsWhenThePatFails)
{
    fillModel(model, smallModel());
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(-1, AutoMakeSection(id, 0));
    EXPECT_EQ(nullptr, model->sectionList);
}

TEST_F(MakeAuto, IgnoresTheFailureOfEveryLaterTable)
{
    fillModel(model, smallModel());
    for (const u32 standard : {0U, 1U}) {
        EXPECT_EQ(0, AutoMakeSection(id, standard));
        while (model->sectionList != nullptr)
            sectionDataDestroy(&model->sectionList, model->sectionList);
        const FaultPlan plan(Call::Malloc, 3, Fail::FromThenOn);
        EXPECT_EQ(0, AutoMakeSection(id, standard));
        EXPECT_EQ(std::vector<u8>{PSI_PAT}, typesInOrder());
    }
}

TEST_F(MakeAuto, GeneratingTwiceGivesTheSameSections)
{
    fillModel(model, smallModel());
    for (const u32 standard : {0U, 1U}) {
        EXPECT_EQ(0, AutoMakeSection(id, standard));
        const std::vector<u8> types = typesInOrder();
        std::vector<std::vector<Bytes>> first(16);
        for (u8 type = 0; type < 16; ++type)
            first[type] = sections(type);
        EXPECT_EQ(0, AutoMakeSection(id, standard));
        for (u8 type = 0; type < 16; ++type)
            EXPECT_EQ(first[type], sections(type)) << int{type};
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * No failing removal leaks
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeFailures : public MakeAuto {
protected:
    /** @brief Generate with the first, second, third ... removal failing. @return failures that were tried */
    unsigned sweep(const PlainModel &plain, Standard standard)
    {
        unsigned failures = 0;
        for (const Fail mode : {Fail::Once, Fail::FromThenOn}) {
            SCOPED_TRACE(testing::Message() << "mode " << int(mode));
            failures += sweepFailures(
                Call::Delete, mode,
                [&] {
                    ASSERT_EQ(0, clearMakeTableInfo(id));
                    fillModel(model, plain);
                    ASSERT_EQ(0, AutoMakeSection(id, standard)); // so that there are sections to destroy
                },
                [&] { AutoMakeSection(id, standard); },
                [&](bool) {
                    EXPECT_EQ(0, clearMakeTableInfo(id));
                    EXPECT_EQ(emptyBlocks, liveBlocks());
                });
            log.clear();
        }
        return failures;
    }
};

TEST_F(MakeFailures, NoFailingRemovalLeaksABlock)
{
    for (const Standard standard : {dvb, atsc})
        EXPECT_LE(8U, sweep(smallModel(), standard));
}

TEST_F(MakeFailures, NoFailingRemovalLeaksABlockOfTablesOfSeveralSections)
{
    RandomModels models(1, {12, 2, 2, 200, 30, 60, 60});
    for (const Standard standard : {dvb, atsc}) {
        PlainModel plain = models.next(standard);
        while (plain.programs.size() < 8)
            plain = models.next(standard);
        plain.catDescriptors = fillerDescriptors(1100);
        EXPECT_LE(30U, sweep(plain, standard));
    }
}

} // namespace
} // namespace psitest
