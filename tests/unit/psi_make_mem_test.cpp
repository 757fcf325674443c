// Make objects: create, look up, clear, destroy.
#include "support/makeFixture.h"

#include "psiInternal.h"

#include <chrono>
#include <cstring>
#include <future>
#include <ostream>

using namespace psi::core;

namespace psitest {
namespace {

unsigned long printed(psiObjId objId)
{
    return static_cast<unsigned long>(objId);
}

LogLine memError(const char *fmt, psiObjId objId)
{
    std::string text = fmt;
    text.replace(text.find("%lu"), 3, std::to_string(printed(objId)));
    return error("psiMakeMem", text);
}

LogLine dataError(const char *fmt, psiObjId objId)
{
    return error("psiMakeData", memError(fmt, objId).text);
}

const char *const notFound = "getTableObj: Not Found, objId = %lu!";

/** @brief Something in every list and every name of a model. */
PlainModel richModel()
{
    const PlainCas cas = {{0x0100, 0x101, {}}, {0x0500, 0x102, counting(251)}};
    const PlainDescriptors descriptors = {{0x81, {}}, {0x82, counting(255)}};
    PlainModel model;
    model.tsId = 7;
    model.netFlag = 1;
    model.patVersion = 7;
    model.sdtVersion = 8;
    model.catVersion = 9;
    model.tableMask = 0xFFFFFFFF;
    for (u16 progNo = 1; progNo <= 2; ++progNo) {
        PlainProgram program;
        program.progNo = progNo;
        program.provider = bytesOf("provider");
        program.name = counting(255);
        program.ca = cas;
        program.pmtDescriptors = descriptors;
        program.sdtDescriptors = descriptors;
        program.streams = {{2, 0x201, cas, descriptors}, {4, 0x202, cas, descriptors}};
        model.programs.push_back(program);
    }
    model.catCa = cas;
    model.catDescriptors = descriptors;
    model.vctDescriptors = descriptors;
    return model;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Creation
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeObjectCreation : public LibraryTest {};

TEST_F(MakeObjectCreation, ReportsAnExhaustedPool)
{
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(0U, psiMakeCreate());
    EXPECT_EQ(nullptr, headMakeTableObj);
    EXPECT_LOG(log, error("psiMakeMem", "psiMakeCreate: malloc TableOj failed!"));
}

TEST_F(MakeObjectCreation, FreesTheObjectThatCannotBePushed)
{
    const FaultPlan plan(Call::Push, 1);
    EXPECT_EQ(0U, psiMakeCreate());
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_LOG(log, error("psiMakeMem", "psiMakeCreate: newTableObj zlst_push failed!"));
}

TEST_F(MakeObjectCreation, SaysTheHandleAtInfoLevelOfTheMakeSide)
{
    setPsiMakeRPTLevel(3);
    const psiObjId id = psiMakeCreate();
    EXPECT_LOG(log, info("psiMakeMem", format("psiMakeCreate: OK! objId = 0x%lx", printed(id))));
    setPsiMakeRPTLevel(2);
    setPsiSchRPTLevel(4);
    const psiObjId silent = psiMakeCreate();
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0, psiMakeDestroy(silent));
    EXPECT_EQ(0, psiMakeDestroy(id));
}

TEST_F(MakeObjectCreation, GivesAnEmptyModelWhateverTheBlockHeldBefore)
{
    void *soiled = psi_buddy_malloc(sizeof(tableMakeObj));
    std::memset(soiled, 0xEE, sizeof(tableMakeObj));
    psi_buddy_free(soiled);
    const psiObjId id = psiMakeCreate();
    const u8 *model = reinterpret_cast<const u8 *>(getMakeObjDataInfo(id));
    EXPECT_EQ(repeated(sizeof(tsInfo), 0), bytesAt(model, sizeof(tsInfo)));
    EXPECT_EQ(0, psiMakeDestroy(id));
}

TEST_F(MakeObjectCreation, ObjectsStandOnTheirOwnListInOrder)
{
    const psiObjId a = psiMakeCreate();
    const psiObjId b = psiMakeCreate();
    const psiObjId c = psiMakeCreate();
    EXPECT_EQ((std::vector{getOutTableObj(a), getOutTableObj(b), getOutTableObj(c)}), nodesOf(headMakeTableObj));
    EXPECT_EQ(nullptr, headTableObj);
    EXPECT_EQ(0, psiMakeDestroy(b));
    EXPECT_EQ((std::vector{getOutTableObj(a), getOutTableObj(c)}), nodesOf(headMakeTableObj));
    EXPECT_EQ(0, psiMakeDestroy(a));
    EXPECT_EQ(0, psiMakeDestroy(c));
    EXPECT_EQ(nullptr, headMakeTableObj);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Look-up
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeObject : public MakeTest {};

TEST_F(MakeObject, IsItsOwnHandle)
{
    tableMakeObj *obj = getOutTableObj(id);
    ASSERT_EQ(reinterpret_cast<tableMakeObj *>(id), obj);
    EXPECT_EQ(id, obj->objId);
    EXPECT_EQ(&obj->tsInfo, getMakeObjDataInfo(id));
    EXPECT_NO_LOG(log);
}

TEST_F(MakeObject, HasAMutexThatItsOwnerMayTakeAgain)
{
    const psiSemId mutex = getOutTableObj(id)->semId;
    EXPECT_TRUE(mutexIsFree(mutex));
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_FALSE(mutexIsFree(mutex));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_TRUE(mutexIsFree(mutex));
}

TEST_F(MakeObject, LookUpOfZeroCarriesTheSearchSidesName)
{
    EXPECT_EQ(nullptr, getOutTableObj(0));
    EXPECT_LOG(log, error("psiMakeData", "getTableObj: ERROR, objId = 0!"));
}

TEST_F(MakeObject, LookUpOfAnythingElseThatIsNoObjectIsNotFound)
{
    const psiSchRegisterInfo record = {0, 0, [](psiSchInfo *) { return 0; },
                                       [](psiSchInfo *, u8 *, u8 *) -> i32 { return PSI_NO_TABLE; }};
    const psiObjId search = psiSchCreate(&record);
    const psiObjId stale = psiMakeCreate();
    EXPECT_EQ(0, psiMakeDestroy(stale));
    void *freeBlock = psi_buddy_malloc(64);
    psi_buddy_free(freeBlock);
    void *small = psi_buddy_malloc(16);
    auto *sameSize = static_cast<tableMakeObj *>(psi_buddy_malloc(sizeof(tableMakeObj)));
    std::memset(static_cast<void *>(sameSize), 0, sizeof *sameSize);
    int onTheStack = 0;
    const psiObjId values[] = {1,
                               2,
                               3,
                               id + 1,
                               id + sizeof(void *),
                               id - 1,
                               id - sizeof(tableMakeObj),
                               reinterpret_cast<psiObjId>(model),
                               ~psiObjId{0},
                               ~psiObjId{0} - 15,
                               ~psiObjId{0} / 2,
                               reinterpret_cast<psiObjId>(&onTheStack),
                               reinterpret_cast<psiObjId>(&headMakeTableObj),
                               psiMp,
                               reinterpret_cast<psiObjId>(freeBlock),
                               reinterpret_cast<psiObjId>(small),
                               reinterpret_cast<psiObjId>(sameSize),
                               search};
    for (const psiObjId value : values) {
        SCOPED_TRACE(value);
        EXPECT_EQ(nullptr, getOutTableObj(value));
        EXPECT_LOG(log, dataError(notFound, value));
    }
    EXPECT_NE(nullptr, getTableObj(search));
    EXPECT_EQ(0, psiSchDestroy(search));
    psi_buddy_free(small);
    psi_buddy_free(sameSize);
}

TEST_F(MakeObject, AStaleHandleIsRefusedByEveryOperation)
{
    const psiObjId stale = psiMakeCreate();
    EXPECT_EQ(0, psiMakeDestroy(stale));
    EXPECT_EQ(nullptr, getMakeObjDataInfo(stale));
    EXPECT_LOG(log, dataError(notFound, stale),
               dataError("getMakeObjDataInfo: getOutTableObj failed, objId = %lu!", stale));
    EXPECT_EQ(-1, clearMakeTableInfo(stale));
    EXPECT_LOG(log, dataError(notFound, stale),
               memError("clearMakeTableInfo: get tableObj failed, objId = %lu!", stale));
    EXPECT_EQ(-1, psiMakeDestroy(stale));
    EXPECT_LOG(log, dataError(notFound, stale),
               memError("psiMakeDestroy: ERROR! objId is %lu, tableOj is not exist!", stale));
}

TEST_F(MakeObject, AHandleOfZeroIsRefusedByEveryOperation)
{
    const LogLine zero = error("psiMakeData", "getTableObj: ERROR, objId = 0!");
    EXPECT_EQ(nullptr, getMakeObjDataInfo(0));
    EXPECT_LOG(log, zero, error("psiMakeData", "getMakeObjDataInfo: getOutTableObj failed, objId = 0!"));
    EXPECT_EQ(-1, clearMakeTableInfo(0));
    EXPECT_LOG(log, zero, error("psiMakeMem", "clearMakeTableInfo: get tableObj failed, objId = 0!"));
    EXPECT_EQ(-1, psiMakeDestroy(0));
    EXPECT_LOG(log, zero, error("psiMakeMem", "psiMakeDestroy: ERROR! objId is 0, tableOj is not exist!"));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Clear
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeObjectClear : public MakeTest {
protected:
    void fill()
    {
        fillModel(model, richModel());
        model->netname = poolCopy(counting(255));
        model->netnameLen = 255;
        model->netId = 3;
        model->orNetId = 4;
        EXPECT_EQ(0, AutoMakeSection(id, 0));
        EXPECT_EQ(0, AutoMakeSection(id, 1));
        log.clear();
    }
    /** @brief Nothing in the model but version_number of the PAT. */
    void expectClearBut(u8 patVersion) const
    {
        tsInfo expected = {};
        expected.patHead.version_number = patVersion;
        EXPECT_EQ(modelFields(expected), modelFields(*model));
    }
    bool mutexFree() const { return mutexIsFree(getOutTableObj(id)->semId); }
};

TEST_F(MakeObjectClear, GivesEveryBlockBackAndKeepsOnlyThePatVersion)
{
    fill();
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, clearMakeTableInfo(id));
    EXPECT_EQ(emptyBlocks, liveBlocks());
    expectClearBut(7);
    EXPECT_TRUE(mutexFree());
    EXPECT_LOG(log, info("psiMakeMem", format("clearMakeTableInfo: OK! objId = %lu!", printed(id))));
}

TEST_F(MakeObjectClear, OfAnEmptyModelSucceeds)
{
    EXPECT_EQ(0, clearMakeTableInfo(id));
    expectClearBut(0);
    EXPECT_NO_LOG(log);
}

TEST_F(MakeObjectClear, LeavesANetworkNameOfLengthZeroToTheHost)
{
    u8 hostsOwn = 0;
    model->netname = &hostsOwn;
    model->netnameLen = 0;
    EXPECT_EQ(0, clearMakeTableInfo(id));
    expectClearBut(0);
}

TEST_F(MakeObjectClear, LeavesAModelThatCanBeFilledAndClearedAgain)
{
    for (int round = 0; round < 3; ++round) {
        fill();
        EXPECT_EQ(0, clearMakeTableInfo(id));
        EXPECT_EQ(emptyBlocks, liveBlocks());
    }
}

TEST_F(MakeObjectClear, WaitsForTheMutexOfTheObject)
{
    const psiSemId sem = getOutTableObj(id)->semId;
    model->tsId = 5;
    osMutexTake(sem);
    auto clearing = std::async(std::launch::async, [&] { return clearMakeTableInfo(id); });
    EXPECT_EQ(std::future_status::timeout, clearing.wait_for(std::chrono::milliseconds(50)));
    EXPECT_EQ(5, model->tsId);
    osMutexGive(sem);
    EXPECT_EQ(0, clearing.get());
    EXPECT_EQ(0, model->tsId);
}

struct ClearStep {
    const char *name;
    void (*fill)(tsInfo *model);
    const char *text;
};

void PrintTo(const ClearStep &row, std::ostream *os)
{
    *os << row.name;
}

const ClearStep clearSteps[] = {
    {"Sections", [](tsInfo *model) { storeSection(&model->sectionList, PSI_PAT, sectionOfSize(20)); },
     "clearMakeTableInfo: sectionDataDestroy failed!"},
    {"Programs", [](tsInfo *model) { addProgram(model, {}); }, "clearMakeTableInfo: progInfoDestroy failed!"},
    {"CatCa",
     [](tsInfo *model) {
         addCas(&model->catCaList, {{1, 2, counting(9)}});
     },
     "clearMakeTableInfo: cat caInfoDestroy failed!"},
    {"CatDescriptors",
     [](tsInfo *model) {
         addDescriptors(&model->catDescList, {{1, counting(9)}});
     },
     "clearMakeTableInfo: cat descInfoDestroy failed!"},
    {"VctDescriptors",
     [](tsInfo *model) {
         addDescriptors(&model->vctDescList, {{1, counting(9)}});
     },
     "clearMakeTableInfo: vct descInfoDestroy failed!"},
};

class MakeObjectClearStep : public MakeObjectClear, public testing::WithParamInterface<ClearStep> {};

TEST_P(MakeObjectClearStep, GoesOnAfterADestroyThatFailsOnce)
{
    GetParam().fill(model);
    GetParam().fill(model);
    model->patHead.version_number = 31;
    setPsiMakeRPTLevel(3);
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, clearMakeTableInfo(id));
    }
    EXPECT_LOG(log, error("psiMakeMem", GetParam().text));
    EXPECT_EQ(emptyBlocks, liveBlocks());
    expectClearBut(31);
    EXPECT_TRUE(mutexFree());
}

INSTANTIATE_TEST_SUITE_P(Lists, MakeObjectClearStep, testing::ValuesIn(clearSteps),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(MakeObjectClear, ThatCanDestroyNothingGivesUpAndKeepsThePatVersion)
{
    for (const ClearStep &step : clearSteps)
        step.fill(model);
    model->patHead.version_number = 12;
    const tsInfo before = *model;
    {
        const FaultPlan plan(Call::Delete, 1, Fail::FromThenOn);
        EXPECT_EQ(-1, clearMakeTableInfo(id));
        EXPECT_LT(plan.calls(), 100U);
    }
    const LogLines lines = log.take();
    LogLines expected;
    for (const ClearStep &step : clearSteps)
        expected.insert(expected.end(), 3, error("psiMakeMem", step.text)); // as often as a node is tried
    EXPECT_EQ(expected, lines);
    expectClearBut(12);
    EXPECT_TRUE(mutexFree());
    // What was given up lies unreachable in the pool; only a test that kept a copy of the heads can free it.
    const psiHead kept = model->patHead;
    *model = before;
    EXPECT_EQ(0, clearMakeTableInfo(id));
    EXPECT_EQ(kept.version_number, model->patHead.version_number);
    EXPECT_EQ(emptyBlocks, liveBlocks());
}

TEST_F(MakeObjectClear, ANestedFailureCostsThatProgramOnly)
{
    PlainProgram program;
    program.streams = {{2, 0x100, {}, {}}};
    progInfo *lost = addProgram(model, program);
    addProgram(model, program);
    {
        const FaultPlan plan(Call::Delete, 2);
        EXPECT_EQ(-1, clearMakeTableInfo(id));
    }
    EXPECT_LOG(log, error("psiMakeMem", "clearMakeTableInfo: progInfoDestroy failed!"));
    EXPECT_EQ(emptyBlocks + 2, liveBlocks()) << "the unlinked program and its stream, as documented";
    EXPECT_EQ(0, esInfoDestroy(&lost->esList, lost->esList, 1));
    psi_buddy_free(lost);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Destroy
 * ---------------------------------------------------------------------------------------------------------------- */

class MakeObjectDestroy : public MakeObjectClear {
protected:
    LogLine failed(const char *fmt) const { return memError(fmt, id); }
};

TEST_F(MakeObjectDestroy, GivesEveryBlockBack)
{
    fill();
    setPsiMakeRPTLevel(3);
    EXPECT_EQ(0, psiMakeDestroy(id));
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_EQ(nullptr, headMakeTableObj);
    EXPECT_LOG(log, info("psiMakeMem", format("clearMakeTableInfo: OK! objId = %lu!", printed(id))),
               info("psiMakeMem", format("psiMakeDestroy: free tableObj OK, id = %lu ! ", printed(id))));
    id = 0;
}

TEST_F(MakeObjectDestroy, FreesTheObjectAlthoughClearingFailed)
{
    addDescriptors(&model->catDescList, {{1, {}}});
    setPsiMakeRPTLevel(3);
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, psiMakeDestroy(id));
    }
    EXPECT_LOG(log, error("psiMakeMem", "clearMakeTableInfo: cat descInfoDestroy failed!"),
               failed("psiMakeDestroy: ERROR! objId is %lu, clearMakeTableInfo failed!"));
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_EQ(nullptr, headMakeTableObj);
    id = 0;
}

TEST_F(MakeObjectDestroy, FreesTheObjectThatCannotBeUnlinked)
{
    setPsiMakeRPTLevel(3);
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, psiMakeDestroy(id));
    }
    EXPECT_LOG(log, info("psiMakeMem", format("clearMakeTableInfo: OK! objId = %lu!", printed(id))),
               failed("psiMakeDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!"));
    EXPECT_EQ(0U, liveBlocks());
    headMakeTableObj = nullptr; // it names the freed object
    id = 0;
}

TEST_F(MakeObjectDestroy, ReportsBothFailuresOfOneCall)
{
    addDescriptors(&model->catDescList, {{1, {}}});
    descInfo *lost = model->catDescList;
    {
        const FaultPlan plan(Call::Delete, 1, Fail::FromThenOn);
        EXPECT_EQ(-1, psiMakeDestroy(id));
    }
    const LogLines lines = log.take();
    ASSERT_LE(2U, lines.size());
    EXPECT_EQ(failed("psiMakeDestroy: ERROR! objId is %lu, clearMakeTableInfo failed!"), lines[lines.size() - 2]);
    EXPECT_EQ(failed("psiMakeDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!"), lines.back());
    psi_buddy_free(lost);
    headMakeTableObj = nullptr;
    id = 0;
}

TEST_F(MakeObjectDestroy, LevelZeroSilencesEverything)
{
    setPsiMakeRPTLevel(0);
    EXPECT_EQ(-1, psiMakeDestroy(0));
    EXPECT_EQ(-1, clearMakeTableInfo(1));
    EXPECT_EQ(nullptr, getMakeObjDataInfo(1));
    EXPECT_NO_LOG(log);
}

} // namespace
} // namespace psitest
