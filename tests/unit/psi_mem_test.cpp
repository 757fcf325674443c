// Search objects: create, look up, clear, destroy; and the section list's operations by type.
#include "support/faultInjection.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"

#include "psiInternal.h"

#include <chrono>
#include <cstring>
#include <future>
#include <set>

using namespace psi::core;

namespace psitest {
namespace {

i32 armNothing(psiSchInfo *)
{
    return 0;
}

i32 readNothing(psiSchInfo *, u8 *, u8 *)
{
    return PSI_NO_TABLE;
}

psiSchRegisterInfo goodRecord()
{
    psiSchRegisterInfo record = {};
    record.privateValue = 0xCAFE0001;
    record.psiSearchHandle = armNothing;
    record.readPsiHandle = readNothing;
    return record;
}

unsigned long printed(psiObjId objId)
{
    return static_cast<unsigned long>(objId);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Creation and look-up
 * ---------------------------------------------------------------------------------------------------------------- */

class SearchObjectCreation : public LibraryTest {};

TEST_F(SearchObjectCreation, RefusesWhatIsMissing)
{
    EXPECT_EQ(0U, psiSchCreate(nullptr));
    EXPECT_LOG(log, error("psiMem", "psiSchCreate failed: registerInfo is NULL!"));
    psiSchRegisterInfo record = goodRecord();
    record.readPsiHandle = nullptr;
    EXPECT_EQ(0U, psiSchCreate(&record));
    EXPECT_LOG(log, error("psiMem", "psiSchCreat failed: registerInfo->readPsiHandle is NULL!"));
    record.psiSearchHandle = nullptr;
    EXPECT_EQ(0U, psiSchCreate(&record));
    EXPECT_LOG(log, error("psiMem", "psiSchCreat failed: registerInfo->psiSearchHandle is NULL!"));
    EXPECT_EQ(nullptr, headTableObj);
}

TEST_F(SearchObjectCreation, ReportsAnExhaustedPool)
{
    const psiSchRegisterInfo record = goodRecord();
    const FaultPlan plan(Call::Malloc, 1);
    EXPECT_EQ(0U, psiSchCreate(&record));
    EXPECT_LOG(log, error("psiMem", "psiSchCreat: malloc TableOj failed!"));
    EXPECT_EQ(nullptr, headTableObj);
}

TEST_F(SearchObjectCreation, FreesTheObjectThatCannotBePushed)
{
    const psiSchRegisterInfo record = goodRecord();
    const FaultPlan plan(Call::Push, 1);
    EXPECT_EQ(0U, psiSchCreate(&record));
    EXPECT_LOG(log, error("psiMem", "psiSchCreat: newTableObj zlst_push failed!"));
    EXPECT_EQ(0U, liveBlocks());
}

/** @brief With one object. */
class SearchObject : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        const psiSchRegisterInfo record = goodRecord();
        id = psiSchCreate(&record);
        ASSERT_NE(psiObjId{0}, id);
        obj = reinterpret_cast<tableObj *>(id);
        log.clear();
    }
    void TearDown() override
    {
        if (id != 0) {
            EXPECT_EQ(0, psiSchDestroy(id));
        }
        LibraryTest::TearDown();
    }
    void destroy()
    {
        EXPECT_EQ(0, psiSchDestroy(id));
        id = 0;
    }

    psiObjId id = 0;
    tableObj *obj = nullptr;
};

TEST_F(SearchObject, IsItsOwnHandle)
{
    EXPECT_EQ(id, obj->objId);
    EXPECT_EQ(obj, getTableObj(id));
    EXPECT_EQ(obj, headTableObj);
}

TEST_F(SearchObject, TakesTheHostsRecordOver)
{
    EXPECT_EQ(0xCAFE0001U, obj->privateValue);
    EXPECT_EQ(0xCAFE0001U, getSchPrivateValue(id));
    EXPECT_EQ(&armNothing, obj->psiSearchHandle);
    EXPECT_EQ(&readNothing, obj->readPsiHandle);
    EXPECT_EQ(0, obj->stopFlag);
    EXPECT_EQ(&obj->tsInfo, getSchObjDataInfo(id));
}

TEST_F(SearchObject, StartsWithAnEmptyModel)
{
    destroy();
    auto *const soiled = static_cast<u8 *>(psi_buddy_malloc(sizeof(tableObj)));
    std::memset(soiled, 0xEE, sizeof(tableObj));
    psi_buddy_free(soiled);
    const psiSchRegisterInfo record = goodRecord();
    id = psiSchCreate(&record);
    const u8 *model = reinterpret_cast<const u8 *>(getSchObjDataInfo(id));
    EXPECT_EQ(repeated(sizeof(tsInfo), 0), bytesAt(model, sizeof(tsInfo)));
}

TEST_F(SearchObject, StartsWithTheDefaultTimeOuts)
{
    const std::vector<u16> expected = {2000, 4000, 4000, 6000, 4000, 6000, 6000, 4000, 0, 4000, 4000, 4000};
    EXPECT_EQ(expected, std::vector<u16>(std::begin(obj->timeOutMs), std::end(obj->timeOutMs)));
    for (u32 type = 0; type < expected.size(); ++type)
        EXPECT_EQ(expected[type], psiSchTimeOutGet(id, type)) << "psiType " << type;
}

TEST_F(SearchObject, HasAMutexThatItsOwnerMayTakeAgain)
{
    const psiSemId mutex = obj->semId;
    ASSERT_NE(psiSemId{0}, mutex);
    EXPECT_TRUE(mutexIsFree(obj->semId));
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_TRUE(osMutexTake(mutex));
    EXPECT_FALSE(mutexIsFree(obj->semId));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_FALSE(mutexIsFree(obj->semId));
    EXPECT_TRUE(osMutexGive(mutex));
    EXPECT_TRUE(mutexIsFree(obj->semId));
}

TEST_F(SearchObject, IsOneOfAnyNumber)
{
    const psiSchRegisterInfo record = goodRecord();
    std::set<psiObjId> ids = {id};
    for (int i = 0; i < 20; ++i)
        ids.insert(psiSchCreate(&record));
    EXPECT_EQ(21U, ids.size());
    EXPECT_EQ(21U, nodesOf(headTableObj).size());
    for (const psiObjId other : ids) {
        if (other != id) {
            EXPECT_EQ(0, psiSchDestroy(other));
        }
    }
    EXPECT_EQ(std::vector{obj}, nodesOf(headTableObj));
}

TEST_F(SearchObject, ReportsItsLifeAtInfoLevel)
{
    setPsiSchRPTLevel(3);
    const psiSchRegisterInfo record = goodRecord();
    const psiObjId other = psiSchCreate(&record);
    EXPECT_LOG(log, info("psiMem", format("psiSchCreat: OK! objId = 0x%lx", printed(other))));
    EXPECT_EQ(0, psiSchDestroy(other));
    EXPECT_LOG(log, info("psiMem", format("clearTableInfo: OK! objId = %lu!", printed(other))),
               info("psiMem", format("psiSchDestroy: free tableObj OK, id = %lu ! ", printed(other))));
}

TEST_F(SearchObject, DoesNotReadTheLeadingWordOfTheRecord)
{
    psiSchRegisterInfo record = goodRecord();
    record.reserved = 0xFFFFFFFF;
    const psiObjId other = psiSchCreate(&record);
    EXPECT_NE(psiObjId{0}, other);
    EXPECT_EQ(0, psiSchDestroy(other));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Handles that are none
 * ---------------------------------------------------------------------------------------------------------------- */

struct HandleUser {
    const char *name;
    std::function<void(psiObjId)> use;            /**< also checks the result */
    std::function<LogLines(unsigned long)> lines; /**< behind those of getTableObj() */
};

const HandleUser handleUsers[] = {
    {"getTableObj", [](psiObjId id) { EXPECT_EQ(nullptr, getTableObj(id)); }, [](unsigned long) { return LogLines{}; }},
    {"getSchPrivateValue", [](psiObjId id) { EXPECT_EQ(0U, getSchPrivateValue(id)); },
     [](unsigned long id) {
         return LogLines{error("psiData", format("getSchPrivateValue: getTableObj failed, objId = %lu!", id))};
     }},
    {"getSchObjDataInfo", [](psiObjId id) { EXPECT_EQ(nullptr, getSchObjDataInfo(id)); },
     [](unsigned long id) {
         return LogLines{error("psiData", format("getSchObjDataInfo: getTableObj failed, objId = %lu!", id))};
     }},
    {"psiSchDestroy", [](psiObjId id) { EXPECT_EQ(-1, psiSchDestroy(id)); },
     [](unsigned long id) {
         return LogLines{error("psiMem", format("psiSchDestroy: ERROR! objId is %lu, tableOj is not exist!", id))};
     }},
    {"clearTableInfo", [](psiObjId id) { EXPECT_EQ(-1, clearTableInfo(id)); },
     [](unsigned long id) {
         return LogLines{error("psiMem", format("clearTableInfo: get tableObj failed, objId = %lu!", id))};
     }},
    {"clearTsInfo", [](psiObjId id) { EXPECT_EQ(-1, clearTsInfo(id)); },
     [](unsigned long id) {
         return LogLines{error("psiMem", format("clearTsInfo: get tableObj failed, objId = %lu!", id))};
     }},
};

class WrongHandle : public SearchObject, public testing::WithParamInterface<HandleUser> {
protected:
    void expectRefused(psiObjId wrong)
    {
        const char *text = wrong == 0 ? "getTableObj: ERROR, objId = %lu!" : "getTableObj: Not Found, objId = %lu!";
        const std::string shown =
            std::string(text).replace(std::string(text).find("%lu"), 3, std::to_string(printed(wrong)));
        LogLines expected = {error("psiData", shown)};
        for (const LogLine &line : GetParam().lines(printed(wrong)))
            expected.push_back(line);
        GetParam().use(wrong);
        EXPECT_EQ(expected, log.take());
    }
};

TEST_P(WrongHandle, ZeroIsRefused)
{
    expectRefused(0);
}

TEST_P(WrongHandle, AnotherAddressIsRefused)
{
    tableObj outside = {};
    outside.objId = reinterpret_cast<psiObjId>(&outside);
    expectRefused(1);
    expectRefused(id + 8);
    expectRefused(~psiObjId{0});
    expectRefused(reinterpret_cast<psiObjId>(&outside) + 4);
    expectRefused(reinterpret_cast<psiObjId>(&obj->tsInfo));
}

TEST_P(WrongHandle, ADestroyedObjectIsRefused)
{
    const psiObjId gone = id;
    destroy();
    expectRefused(gone);
}

TEST_P(WrongHandle, ABlockWithoutTheSelfReferenceIsRefused)
{
    obj->objId = id + 1;
    expectRefused(id);
    obj->objId = id;
}

TEST_P(WrongHandle, AMakeObjectIsRefused)
{
    const psiObjId makeObject = psiMakeCreate();
    expectRefused(makeObject);
    EXPECT_EQ(0, psiMakeDestroy(makeObject));
}

INSTANTIATE_TEST_SUITE_P(EveryUser, WrongHandle, testing::ValuesIn(handleUsers),
                         [](const auto &param) { return param.param.name; });

/* ------------------------------------------------------------------------------------------------------------------
 * Section lists by type
 * ---------------------------------------------------------------------------------------------------------------- */

class SectionList : public LibraryTest {
protected:
    void TearDown() override
    {
        while (list != nullptr && sectionDataDestroy(&list, list) == 0) {
        }
        LibraryTest::TearDown();
    }
    sectionData *add(u8 psiType, u16 idExt)
    {
        return storeSection(&list, psiType, LongSectionBuilder(0x42).idExt(idExt).build());
    }
    sectionData *list = nullptr;
};

const LogLine noSectionHead = error("psiMem", "singleTypeSectionDataDestroy: ERROR! headSectionData is NULL!");

TEST_F(SectionList, FreesTheBufferWithTheNode)
{
    sectionData *node = add(PSI_PAT, 1);
    EXPECT_EQ(2U, liveBlocks());
    EXPECT_EQ(0, sectionDataDestroy(&list, node));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(SectionList, DropsOneType)
{
    add(PSI_PAT, 1);
    sectionData *pmt = add(PSI_PMT, 2);
    add(PSI_PAT, 3);
    add(PSI_PAT, 4);
    sectionData *bat = add(PSI_BAT, 5);
    EXPECT_EQ(0, singleTypeSectionDataDestroy(&list, PSI_PAT));
    EXPECT_EQ((std::vector{pmt, bat}), nodesOf(list));
    EXPECT_EQ(0, singleTypeSectionDataDestroy(&list, PSI_STT)) << "a type that is not there";
    EXPECT_EQ(2U, nodesOf(list).size());
    EXPECT_EQ(0, singleTypeSectionDataDestroy(&list, PSI_BAT + 256)) << "the type is compared whole";
    EXPECT_EQ(2U, nodesOf(list).size());
}

TEST_F(SectionList, DropsOneTypeAndIdExtension)
{
    sectionData *pmt2 = add(PSI_PMT, 2);
    add(PSI_PMT, 3);
    sectionData *bat3 = add(PSI_BAT, 3);
    add(PSI_PMT, 3);
    EXPECT_EQ(0, singleTypeAndIdExtSectionDataDestroy(&list, PSI_PMT, 3));
    EXPECT_EQ((std::vector{pmt2, bat3}), nodesOf(list));
    EXPECT_EQ(0, singleTypeAndIdExtSectionDataDestroy(&list, PSI_PMT, 0x10002));
    EXPECT_EQ(2U, nodesOf(list).size());
}

TEST_F(SectionList, MayBeEmptyForTheOperationsByType)
{
    EXPECT_EQ(0, singleTypeSectionDataDestroy(&list, PSI_PAT));
    EXPECT_EQ(0, singleTypeAndIdExtSectionDataDestroy(&list, PSI_PAT, 1));
    EXPECT_NO_LOG(log);
    sectionData stranger = {};
    EXPECT_EQ(-1, sectionDataDestroy(&list, &stranger)) << "unlike the destruction of one node";
}

TEST_F(SectionList, RefusesANullHeadWithOneSharedText)
{
    EXPECT_EQ(-1, singleTypeSectionDataDestroy(nullptr, PSI_PAT));
    EXPECT_LOG(log, noSectionHead);
    EXPECT_EQ(-1, singleTypeAndIdExtSectionDataDestroy(nullptr, PSI_PAT, 1));
    EXPECT_LOG(log, noSectionHead);
}

TEST_F(SectionList, StopsAtTheFirstFailure)
{
    for (const bool withIdExt : {false, true}) {
        add(PSI_PAT, 1);
        add(PSI_PAT, 1);
        add(PSI_PAT, 1);
        const FaultPlan plan(Call::Delete, 2);
        EXPECT_EQ(-1, withIdExt ? singleTypeAndIdExtSectionDataDestroy(&list, PSI_PAT, 1)
                                : singleTypeSectionDataDestroy(&list, PSI_PAT));
        EXPECT_EQ(2U, nodesOf(list).size());
        EXPECT_LOG(log, error("psiMem", "sectionDataDestroy: sectionData zlst_delete failed!"));
        EXPECT_EQ(0, singleTypeSectionDataDestroy(&list, PSI_PAT));
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Emptying the model
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief An object whose model has something in every list and in every field. */
class FilledObject : public SearchObject {
protected:
    void SetUp() override
    {
        SearchObject::SetUp();
        model = getSchObjDataInfo(id);
        std::memset(static_cast<void *>(model), 0xFF, offsetof(tsInfo, sectionList));
        model->progList = nullptr;
        model->catDescList = model->vctDescList = nullptr;
        model->catCaList = nullptr;
        for (u8 type = 0; type < 16; ++type)
            storeSection(&model->sectionList, type, LongSectionBuilder(0x42).idExt(type).build());
        esInfoCreat(&progInfoCreat(&model->progList)->esList);
        caInfoCreat(&model->catCaList);
        descInfoCreat(&model->catDescList)->descTag = 1;
        descInfoCreat(&model->vctDescList)->descTag = 2;
        log.clear();
    }

    std::vector<unsigned> typesLeft() const
    {
        std::vector<unsigned> types;
        for (const sectionData *node : nodesOf(model->sectionList))
            types.push_back(node->psiType);
        return types;
    }
    /** @brief All fields of the model, `tableMask` and the section list taken as empty. */
    Bytes scalars() const
    {
        tsInfo copy = *model;
        copy.tableMask = 0;
        copy.sectionList = nullptr;
        return modelFields(copy);
    }
    static Bytes noScalars() { return modelFields({}); }

    tsInfo *model = nullptr;
};

const LogLine sectionDone = info("psiMem", "sectionDataDestroy: free sectionData OK!");
const LogLine esDone = info("psiMem", "esInfoDestroy: free esInfo OK!");
const LogLine progDone = info("psiMem", "progInfoDestroy: free progInfo OK!");
const LogLine caDone = info("psiMem", "caInfoDestroy: free caInfo OK!");
const LogLine descDone = info("psiMem", "descInfoDestroy: free descInfo OK!");

TEST_F(FilledObject, IsEmptiedByClearTableInfo)
{
    EXPECT_EQ(0, clearTableInfo(id));
    EXPECT_EQ(nullptr, model->sectionList);
    EXPECT_EQ(0U, model->tableMask);
    EXPECT_EQ(noScalars(), scalars());
    EXPECT_EQ(1U, liveBlocks()) << "the object itself";
    EXPECT_EQ(obj, getTableObj(id));
    EXPECT_EQ(0, clearTableInfo(id)) << "any number of times";
    EXPECT_NO_LOG(log);
    EXPECT_TRUE(mutexIsFree(obj->semId));
}

/** @brief The lines of a clear operation that destroys so many sections, all lists in their order. */
LogLines clearedLines(psiObjId id, std::size_t sections)
{
    LogLines lines(sections, sectionDone);
    lines.insert(lines.end(), {esDone, progDone, caDone, descDone, descDone});
    lines.push_back(info("psiMem", format("clearTableInfo: OK! objId = %lu!", printed(id))));
    return lines;
}

TEST_F(FilledObject, IsEmptiedInTheDocumentedOrder)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, clearTableInfo(id));
    EXPECT_EQ(clearedLines(id, 16), log.take());
}

TEST_F(FilledObject, KeepsOtherTablesInClearTsInfo)
{
    EXPECT_EQ(0, clearTsInfo(id));
    EXPECT_EQ((std::vector<unsigned>{3, 4, 5, 6, 8, 9, 11, 12, 13, 14, 15}), typesLeft());
    EXPECT_EQ(0xFFFFFFFFU & ~0x487U, model->tableMask);
    EXPECT_EQ(noScalars(), scalars());
    EXPECT_NO_LOG(log);
}

TEST_F(FilledObject, ClearTsInfoReportsUnderTheOtherName)
{
    setPsiSchRPTLevel(3);
    EXPECT_EQ(0, clearTsInfo(id));
    EXPECT_EQ(clearedLines(id, 5), log.take());
}

TEST_F(FilledObject, ClearTableInfoLeavesPayloadsAlone)
{
    u8 bytes[4] = {1, 2, 3, 4};
    model->netname = bytes;
    model->progList->sname = model->progList->pname = bytes;
    model->catCaList->privateData = bytes;
    model->catDescList->descData = model->vctDescList->descData = bytes;
    EXPECT_EQ(0, clearTableInfo(id));
    EXPECT_EQ(counting(4, 1), bytesAt(bytes, 4));
}

TEST_F(FilledObject, ClearTableInfoWaitsForTheMutex)
{
    const psiSemId mutex = obj->semId;
    ASSERT_TRUE(osMutexTake(mutex));
    auto cleared = std::async(std::launch::async, [this] { return clearTableInfo(id); });
    EXPECT_EQ(std::future_status::timeout, cleared.wait_for(std::chrono::milliseconds(50)));
    EXPECT_EQ(16U, nodesOf(model->sectionList).size());
    ASSERT_TRUE(osMutexGive(mutex));
    EXPECT_EQ(0, cleared.get());
    EXPECT_EQ(nullptr, model->sectionList);
}

TEST_F(FilledObject, ClearTsInfoTakesNoLock)
{
    const psiSemId mutex = obj->semId;
    ASSERT_TRUE(osMutexTake(mutex));
    EXPECT_EQ(0, std::async(std::launch::async, [this] { return clearTsInfo(id); }).get());
    ASSERT_TRUE(osMutexGive(mutex));
}

/* Which list call fails in which operation, and what is logged behind the node's own line. */

struct ClearFailure {
    const char *name;
    bool tsInfoOnly; /**< clearTsInfo() instead of clearTableInfo() */
    unsigned failingDelete;
    const char *nodeLine;
    const char *text;
};

constexpr char sectionUnlink[] = "sectionDataDestroy: sectionData zlst_delete failed!";
constexpr char progUnlink[] = "progInfoDestroy: progInfo zlst_delete failed!";
constexpr char caUnlink[] = "caInfoDestroy: caInfo zlst_delete failed!";
constexpr char descUnlink[] = "descInfoDestroy: descInfo zlst_delete failed!";

constexpr ClearFailure clearFailures[] = {
    {"TableSections", false, 1, sectionUnlink, "clearTableInfo: sectionDataDestroy failed!"},
    {"TableLastSection", false, 16, sectionUnlink, "clearTableInfo: sectionDataDestroy failed!"},
    {"TablePrograms", false, 17, progUnlink, "clearTableInfo: progInfoDestroy failed!"},
    {"TableCatCa", false, 19, caUnlink, "clearTableInfo: cat caInfoDestroy failed!"},
    {"TableCatDesc", false, 20, descUnlink, "clearTableInfo: cat descInfoDestroy failed!"},
    {"TableVctDesc", false, 21, descUnlink, "clearTableInfo: vct descInfoDestroy failed!"},
    {"TsPatSections", true, 1, sectionUnlink, "clearTsInfo: pat destroy section failed!"},
    {"TsPmtSections", true, 2, sectionUnlink, "clearTsInfo: pmt destroy section failed!"},
    {"TsSdtSections", true, 3, sectionUnlink, "clearTsInfo: sdta destroy section failed!"},
    {"TsCatSections", true, 4, sectionUnlink, "clearTsInfo: cat destroy section failed!"},
    {"TsVctSections", true, 5, sectionUnlink, "clearTsInfo: vct destroy section failed!"},
    {"TsPrograms", true, 6, progUnlink, "clearTsInfo: progInfoDestroy failed!"},
    {"TsCatCa", true, 8, caUnlink, "clearTsInfo: cat caInfoDestroy failed!"},
    {"TsCatDesc", true, 9, descUnlink, "clearTsInfo: cat descInfoDestroy failed!"},
    {"TsVctDesc", true, 10, descUnlink, "clearTsInfo: vct descInfoDestroy failed!"},
};

class ClearFails : public FilledObject, public testing::WithParamInterface<ClearFailure> {
protected:
    i32 clear() { return GetParam().tsInfoOnly ? clearTsInfo(id) : clearTableInfo(id); }
};

TEST_P(ClearFails, AtTheFirstNodeThatCannotBeDestroyed)
{
    const u32 maskBefore = model->tableMask;
    {
        const FaultPlan plan(Call::Delete, GetParam().failingDelete);
        EXPECT_EQ(-1, clear());
        EXPECT_EQ(GetParam().failingDelete, plan.calls());
    }
    EXPECT_LOG(log, error("psiMem", GetParam().nodeLine), error("psiMem", GetParam().text));
    EXPECT_TRUE(mutexIsFree(obj->semId));
    EXPECT_EQ(maskBefore, model->tableMask) << "the fields are zeroed only at the end";
    EXPECT_EQ(0, clear()) << "what is left can be cleared";
}

INSTANTIATE_TEST_SUITE_P(EveryList, ClearFails, testing::ValuesIn(clearFailures),
                         [](const auto &param) { return param.param.name; });

/* ------------------------------------------------------------------------------------------------------------------
 * Destruction
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(FilledObject, IsFreedWholeByDestroy)
{
    destroy();
    EXPECT_EQ(0U, liveBlocks());
    EXPECT_EQ(nullptr, headTableObj);
    EXPECT_NO_LOG(log);
}

TEST_F(FilledObject, IsKeptWhenItCannotBeCleared)
{
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, psiSchDestroy(id));
    }
    EXPECT_LOG(log, error("psiMem", sectionUnlink), error("psiMem", "clearTableInfo: sectionDataDestroy failed!"),
               error("psiMem", format("psiSchDestroy: ERROR! objId is %lu, clearTableInfo failed!", printed(id))));
    EXPECT_EQ(obj, getTableObj(id));
    EXPECT_EQ(obj, headTableObj);
}

TEST_F(SearchObject, IsKeptWhenItCannotBeUnlinked)
{
    {
        const FaultPlan plan(Call::Delete, 1);
        EXPECT_EQ(-1, psiSchDestroy(id));
    }
    EXPECT_LOG(log,
               error("psiMem", format("psiSchDestroy: ERROR! objId is %lu, tableOj zlst_delete failed!", printed(id))));
    EXPECT_EQ(obj, getTableObj(id));
    EXPECT_TRUE(mutexIsFree(obj->semId));
}

/* ------------------------------------------------------------------------------------------------------------------
 * No pointer of a model outlives its section
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(SearchObject, ForgetsNamesOfASectionThatGoesAway)
{
    tsInfo *model = getSchObjDataInfo(id);
    const Bytes nit = NitBuilder().networkId(5).desc(networkNameDescriptor("net")).build();
    sectionData *node = storeSection(&model->sectionList, PSI_NIT_ACTUAL, nit);
    ASSERT_EQ(0, analysePsi(model, node, 0));
    ASSERT_EQ(bytesOf("net"), bytesAt(model->netname, model->netnameLen));
    forgetSectionBytes(model, node);
    EXPECT_EQ(nullptr, model->netname);
    EXPECT_EQ(0, model->netnameLen);
    EXPECT_EQ(5, model->netId) << "scalar fields stay";
}

TEST_F(SearchObject, ForgetsWhatLeadsIntoTheSectionFromItsFirstToItsLastByte)
{
    Bytes bytes(30);
    sectionData section = sectionNode(PSI_NIT_ACTUAL, &bytes[10], 10);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        SCOPED_TRACE(at);
        tsInfo model = {};
        model.netname = &bytes[at];
        model.netnameLen = 1;
        forgetSectionBytes(&model, &section);
        const bool inside = at >= 10 && at < 20;
        EXPECT_EQ(inside ? nullptr : &bytes[at], model.netname);
        EXPECT_EQ(inside ? 0 : 1, model.netnameLen);
    }
}

/** @brief An object whose names lead into an SDT and a NIT, with a CAT on the list behind them. */
class NamedObject : public SearchObject {
protected:
    void SetUp() override
    {
        SearchObject::SetUp();
        model = getSchObjDataInfo(id);
        progInfoCreat(&model->progList)->progNo = 5;
        analyse(PSI_SDT_ACTUAL, SdtBuilder().service(5, serviceDescriptor(1, "provider", "service")).build());
        analyse(PSI_NIT_ACTUAL, NitBuilder().desc(networkNameDescriptor("net")).build());
        analyse(PSI_CAT, CatBuilder().build());
        log.clear();
    }

    void analyse(u8 type, const Bytes &section)
    {
        ASSERT_EQ(0, analysePsi(model, storeSection(&model->sectionList, type, section), 0));
    }
    Bytes networkName() const { return bytesAt(model->netname, model->netnameLen); }
    void expectNoServiceNames() const
    {
        EXPECT_EQ(nullptr, model->progList->pname);
        EXPECT_EQ(0, model->progList->pnameLen);
        EXPECT_EQ(nullptr, model->progList->sname);
        EXPECT_EQ(0, model->progList->snameLen);
    }

    tsInfo *model = nullptr;
};

TEST_F(NamedObject, HalfClearedKeepsOnlyTheNamesWhoseSectionsAreThere)
{
    {
        const FaultPlan plan(Call::Delete, 2); // the SDT goes, the NIT does not
        EXPECT_EQ(-1, clearTableInfo(id));
    }
    expectNoServiceNames();
    EXPECT_EQ(bytesOf("net"), networkName());
}

TEST_F(NamedObject, HalfForgottenKeepsOnlyTheNamesWhoseSectionsAreThere)
{
    {
        const FaultPlan plan(Call::Delete, 2); // the SDT goes, the CAT does not
        EXPECT_EQ(-1, clearTsInfo(id));
    }
    expectNoServiceNames();
    EXPECT_EQ(bytesOf("net"), networkName());
}

} // namespace
} // namespace psitest
