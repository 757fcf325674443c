// What a host does with a search object besides searching: lock it, keep a pointer with it, destroy its sections.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include <thread>

namespace psitest {
namespace {

/* ---- The mutex ---- */

class ObjectLock : public SearchTest {};

TEST_F(ObjectLock, KeepsOtherTasksOut)
{
    EXPECT_EQ(0, psiSchLock(host->id()));
    EXPECT_FALSE(mutexIsFree(host->object()->semId));
    EXPECT_EQ(0, psiSchUnlock(host->id()));
    EXPECT_TRUE(mutexIsFree(host->object()->semId));
    EXPECT_NO_LOG(log);
}

TEST_F(ObjectLock, IsTakenAgainByItsOwner)
{
    EXPECT_EQ(0, psiSchLock(host->id()));
    EXPECT_EQ(0, psiSchLock(host->id()));
    EXPECT_EQ(0U, schTable(host->id(), PSI_CAT)) << "the owner searches";
    EXPECT_EQ(0, psiSchUnlock(host->id()));
    EXPECT_FALSE(mutexIsFree(host->object()->semId));
    EXPECT_EQ(0, psiSchUnlock(host->id()));
    EXPECT_TRUE(mutexIsFree(host->object()->semId));
}

#ifndef __SANITIZE_THREAD__ // which stops the program for it
TEST_F(ObjectLock, IsNotGivenBackByATaskThatDoesNotOwnIt)
{
    EXPECT_EQ(-1, psiSchUnlock(host->id())) << "nobody has it";
    EXPECT_EQ(0, psiSchLock(host->id()));
    std::thread([this] { EXPECT_EQ(-1, psiSchUnlock(host->id())); }).join();
    EXPECT_FALSE(mutexIsFree(host->object()->semId));
    EXPECT_EQ(0, psiSchUnlock(host->id()));
    EXPECT_EQ(-1, psiSchUnlock(host->id()));
    EXPECT_NO_LOG(log);
}
#endif

TEST_F(ObjectLock, IsThatWhichASearchHolds)
{
    host->play({answer::noTable().doing([this](const psiSchInfo &) {
        EXPECT_EQ(0, psiSchLock(host->id())) << "in the task that searches";
        EXPECT_EQ(0, psiSchUnlock(host->id()));
        EXPECT_FALSE(mutexIsFree(host->object()->semId));
    })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_CAT));
}

TEST_F(ObjectLock, IsRefusedForAWrongHandle)
{
    EXPECT_EQ(-1, psiSchLock(0));
    EXPECT_LOG(log, error("psiData", "getTableObj: ERROR, objId = 0!"));
    EXPECT_EQ(-1, psiSchUnlock(0));
    EXPECT_LOG(log, error("psiData", "getTableObj: ERROR, objId = 0!"));
}

/** @brief The object of the test has no mutex. */
class WithoutMutex : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        host->play({answer::section(sampleSection(PSI_CAT))});
        schTable(host->id(), PSI_CAT);
        host->takeCalls();
        log.clear();
        none.emplace(host->object()->semId, psiSemId{0});
    }
    void TearDown() override
    {
        none.reset();
        SearchTest::TearDown();
    }
    std::optional<Replaced<psiSemId>> none;
};

TEST_F(WithoutMutex, NothingThatTakesItIsDone)
{
    EXPECT_EQ(-1, psiSchLock(host->id()));
    EXPECT_EQ(-1, psiSchUnlock(host->id()));
    EXPECT_EQ(-1, psiSchSectionsDestroy(host->id(), PSI_CAT, -1));
    EXPECT_EQ(-1, psiSchTimeOutSet(host->id(), PSI_CAT, 7));
    EXPECT_EQ(4000, psiSchTimeOutGet(host->id(), PSI_CAT));
    EXPECT_EQ(-1, clearTableInfo(host->id()));
    EXPECT_EQ(0U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_CAT, 0));
    EXPECT_EQ(0U, re_SchTable(host->id(), PSI_STT, 0));
    EXPECT_EQ(-1, autoSchTable(host->id(), 0));
    EXPECT_EQ(1U, storedSections(model()).size()) << "the model is as it was";
    EXPECT_TRUE(host->takeCalls().empty());
    EXPECT_TRUE(ofKind(log.take(), Kind::Error).empty());
}

TEST_F(WithoutMutex, AnObjectIsDestroyedAllTheSame)
{
    none.reset();
    const psiSemId mutex = host->object()->semId;
    host->object()->semId = 0;
    EXPECT_EQ(0, host->destroy());
    EXPECT_EQ(0U, liveBlocks());
    psi::core::osMutexDelete(mutex);
    host.reset();
}

TEST_F(WithoutMutex, AMakeObjectKeepsItsModelUntilItIsDestroyed)
{
    const psiObjId make = psiMakeCreate();
    const psiSemId mutex = getOutTableObj(make)->semId;
    progInfoCreat(&getMakeObjDataInfo(make)->progList);
    getOutTableObj(make)->semId = 0;
    EXPECT_EQ(-1, clearMakeTableInfo(make));
    EXPECT_NE(nullptr, getMakeObjDataInfo(make)->progList);
    EXPECT_EQ(-1, psiMakeDestroy(make)) << "it is gone, but not all was well";
    EXPECT_EQ(nullptr, getOutTableObj(make));
    psi::core::osMutexDelete(mutex);
}

/* ---- The user pointer ---- */

class UserPointer : public SearchTest {};

TEST_F(UserPointer, IsNullAtFirstAndThenWhatWasSet)
{
    EXPECT_EQ(nullptr, psiSchUserPointer(host->id()));
    EXPECT_EQ(0, psiSchUserPointerSet(host->id(), this));
    EXPECT_EQ(this, psiSchUserPointer(host->id()));
    EXPECT_EQ(0, psiSchUserPointerSet(host->id(), nullptr));
    EXPECT_EQ(nullptr, psiSchUserPointer(host->id()));
    EXPECT_NO_LOG(log);
}

TEST_F(UserPointer, BelongsToOneObject)
{
    ScriptedHost other;
    EXPECT_EQ(0, psiSchUserPointerSet(host->id(), this));
    EXPECT_EQ(nullptr, psiSchUserPointer(other.id()));
    EXPECT_EQ(0, psiSchUserPointerSet(other.id(), &other));
    EXPECT_EQ(this, psiSchUserPointer(host->id()));
}

TEST_F(UserPointer, SurvivesSearchesAndClears)
{
    EXPECT_EQ(0, psiSchUserPointerSet(host->id(), this));
    host->play({answer::section(sampleSection(PSI_PAT))});
    autoSchTable(host->id(), 0);
    EXPECT_EQ(this, psiSchUserPointer(host->id()));
    EXPECT_EQ(0, clearTableInfo(host->id()));
    EXPECT_EQ(0, clearTsInfo(host->id()));
    EXPECT_EQ(this, psiSchUserPointer(host->id()));
}

TEST_F(UserPointer, IsSetAndReadInACallback)
{
    host->play({answer::noTable().doing([this](const psiSchInfo &info) {
        EXPECT_EQ(0, psiSchUserPointerSet(info.objId, this));
        EXPECT_EQ(this, psiSchUserPointer(info.objId));
    })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_CAT));
}

TEST_F(UserPointer, OfAWrongHandleIsNull)
{
    EXPECT_EQ(-1, psiSchUserPointerSet(0, this));
    EXPECT_LOG(log, error("psiData", "getTableObj: ERROR, objId = 0!"));
    EXPECT_EQ(nullptr, psiSchUserPointer(host->id() + 4));
    EXPECT_EQ(1U, log.take().size());
}

/* ---- Sections destroyed ---- */

class SectionsDestroy : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        addProgram(5, 0x100);
        for (const u32 type : {PSI_PMT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_CAT}) {
            host->play({answer::section(sampleSection(type))});
            EXPECT_EQ(1U, schTable(host->id(), type));
        }
        for (const u16 bouquet : std::vector<u16>{1, 2, 1})
            storeSection(&model().sectionList, PSI_BAT, BatBuilder().bouquetId(bouquet).build());
        setPsiSchRPTLevel(2);
        log.clear();
    }
    /** @brief Number of stored sections of a type. */
    std::size_t stored(u32 type)
    {
        std::size_t n = 0;
        for (const sectionData *node : nodesOf(model().sectionList))
            n += node->psiType == type;
        return n;
    }
};

TEST_F(SectionsDestroy, TakesAllOfAType)
{
    EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_BAT, -1));
    EXPECT_EQ(0U, stored(PSI_BAT));
    EXPECT_EQ(4U, nodesOf(model().sectionList).size());
    EXPECT_NO_LOG(log);
}

TEST_F(SectionsDestroy, TakesThoseOfATableIdExtension)
{
    EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_BAT, 1));
    EXPECT_EQ(1U, stored(PSI_BAT));
    EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_BAT, 2));
    EXPECT_EQ(0U, stored(PSI_BAT));
}

TEST_F(SectionsDestroy, FindsNothingToDoWithoutComplaint)
{
    for (const u32 type : {u32{PSI_PAT}, u32{PSI_NO_TYPE}, 0x100U + PSI_BAT, 0xFFFFFFFFU})
        EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), type, -1)) << type;
    for (const i32 idExt : {3, 0x10001, -2, -0x10000 + 1})
        EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_BAT, idExt)) << idExt;
    EXPECT_EQ(7U, nodesOf(model().sectionList).size());
    EXPECT_NO_LOG(log);
}

TEST_F(SectionsDestroy, ForgetsWhatTheModelHasInThem)
{
    progInfo *prog = model().progList;
    ASSERT_EQ("service", std::string(reinterpret_cast<char *>(prog->sname), prog->snameLen));
    const u32 mask = model().tableMask;
    EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_SDT_ACTUAL, 0x2233));
    EXPECT_EQ(nullptr, prog->sname);
    EXPECT_EQ(0, prog->snameLen);
    EXPECT_EQ(nullptr, prog->pname);
    EXPECT_EQ(0, prog->pnameLen);
    ASSERT_NE(nullptr, prog->sdtDescList) << "nodes stay";
    EXPECT_EQ(0x5F, prog->sdtDescList->descTag);
    EXPECT_EQ(nullptr, prog->sdtDescList->descData);
    EXPECT_EQ(0, prog->sdtDescList->descLen);
    EXPECT_EQ(1, prog->prog_type) << "scalars stay";
    EXPECT_EQ(mask, model().tableMask);
    EXPECT_EQ(bytesOf("network"), bytesAt(model().netname, model().netnameLen)) << "of another section";
    expectNoDanglingBytes(model());
}

TEST_F(SectionsDestroy, ForgetsNamesAndPayloadsOfEveryList)
{
    for (const u32 type : {PSI_PMT, PSI_NIT_ACTUAL, PSI_CAT}) {
        EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), type, -1));
        expectNoDanglingBytes(model());
    }
    EXPECT_EQ(nullptr, model().netname);
    EXPECT_EQ(nullptr, model().catCaList->privateData);
    EXPECT_EQ(0x0B00, model().catCaList->caSystemId);
    EXPECT_EQ(nullptr, model().progList->esList->caList->privateData);
    EXPECT_EQ(1, model().progList->pmtValid);
}

TEST_F(SectionsDestroy, EndsWithTheFirstThatCannotBeDestroyed)
{
    const FaultPlan plan(Call::Delete, 2);
    EXPECT_EQ(-1, psiSchSectionsDestroy(host->id(), PSI_BAT, -1));
    EXPECT_EQ(2U, stored(PSI_BAT));
    EXPECT_LOG(log, error("psiMem", "sectionDataDestroy: sectionData zlst_delete failed!"));
    EXPECT_TRUE(mutexIsFree(host->object()->semId));
    expectNoDanglingBytes(model());
}

TEST_F(SectionsDestroy, HoldsTheMutex)
{
    EXPECT_EQ(0, psiSchLock(host->id()));
    std::thread other([this] { EXPECT_EQ(0, psiSchSectionsDestroy(host->id(), PSI_BAT, -1)); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(3U, stored(PSI_BAT));
    EXPECT_EQ(0, psiSchUnlock(host->id()));
    other.join();
    EXPECT_EQ(0U, stored(PSI_BAT));
}

TEST_F(SectionsDestroy, IsRefusedForAWrongHandle)
{
    EXPECT_EQ(-1, psiSchSectionsDestroy(0, PSI_BAT, -1));
    EXPECT_LOG(log, error("psiData", "getTableObj: ERROR, objId = 0!"));
}

/* ---- Room ---- */

/** @brief Bytes of the pool that are used by a search while it reads. */
class SearchRoom : public SearchTest, public testing::WithParamInterface<u32> {};

INSTANTIATE_TEST_SUITE_P(EveryType, SearchRoom, testing::Values(0, 1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15));

TEST_P(SearchRoom, IsTwoKilobytesForShortTablesAndTenAtMostForLongOnes)
{
    addProgram(5, 0x100);
    const u32 before = poolStat().used;
    u32 used = 0;
    host->play({answer::noTable().doing([&](const psiSchInfo &) { used = poolStat().used - before; })});
    schTable(host->id(), GetParam());
    const bool many = std::string(factsOf(GetParam()).loop) == "schOtherPsi";
    EXPECT_EQ((factsOf(GetParam()).longSection ? 8192U : 2048U) + (many ? 1024U : 0U), used);
    EXPECT_LE(used, 10U << 10);
}

/** @brief What the library has in a pool of so many bytes. */
class SmallPool : public FreshProcessTest {};

TEST_F(SmallPool, IsEnoughToScanAMultiplex)
{
    const psiInitRegisterInfo record = initRecord(16U << 10);
    ASSERT_EQ(0, psiSch_Init(&record));
    ScriptedHost host;
    Carousel carousel(500, true);
    for (const u32 type :
         {PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_SDT_OTHER, PSI_BAT, PSI_EBIT})
        carousel.add(factsOf(type).pid, sampleSection(type));
    carousel.drive(host);
    EXPECT_EQ(0, autoSchTable(host.id(), 0));
    for (const u32 type : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL})
        EXPECT_EQ(PSI_END_WHOLE, psiSchEndReason(host.id(), type)) << type;
    EXPECT_EQ(9U, nodesOf(host.model()->sectionList).size());
    psiBuddyStat stat = {};
    EXPECT_EQ(0, psi_buddy_stat(&stat));
    EXPECT_EQ(0U, stat.failedAllocs);
}

} // namespace
} // namespace psitest
