// What psi.h tells a host beyond the single operation: what takes no lock, what a search may cost, what adds to the
// model, lists that are rearranged by hand, and sections that nobody can parse.
#include "support/makeFixture.h"
#include "support/searchTest.h"

#include "platform.h"
#include "psiInternal.h"

#include <condition_variable>
#include <future>
#include <thread>

namespace psitest {
namespace {

/* ---- Locks ---- */

/** @brief Another task that holds the mutexes of the pool and of an object. */
class Hoarder {
public:
    explicit Hoarder(psiObjId id) : thread_([this, id] { hold(id); }) { held_.get_future().wait(); }
    ~Hoarder()
    {
        release_.set_value();
        thread_.join();
    }
    Hoarder(const Hoarder &) = delete;
    Hoarder &operator=(const Hoarder &) = delete;

private:
    void hold(psiObjId id)
    {
        psiSchLock(id);
        {
            const psi::core::PoolGuard pool(psi::core::psiMp);
            held_.set_value();
            release_.get_future().wait();
        }
        psiSchUnlock(id);
    }
    std::promise<void> held_;
    std::promise<void> release_;
    std::thread thread_;
};

class LockFree : public SearchTest {};

TEST_F(LockFree, IsEveryOperationThatOnlyLooksAHandleUp)
{
    const psiObjId id = host->id();
    const psiObjId make = psiMakeCreate();
    std::promise<void> done;
    std::thread caller;
    {
        const Hoarder other(id);
        // In a thread of its own: a call that waits shows as a time-out, not as a test that hangs.
        caller = std::thread([&] {
            psiSchStop(id);
            psiSchStopResume(id);
            EXPECT_EQ(2000, psiSchTimeOutGet(id, PSI_PAT));
            EXPECT_EQ(PSI_END_NEVER, psiSchEndReason(id, PSI_PAT));
            EXPECT_EQ(0, psiSchUserPointerSet(id, this));
            EXPECT_EQ(this, psiSchUserPointer(id));
            EXPECT_NE(nullptr, getTableObj(id));
            EXPECT_EQ(0U, getSchPrivateValue(id));
            EXPECT_NE(nullptr, getSchObjDataInfo(id));
            EXPECT_NE(nullptr, getOutTableObj(make));
            EXPECT_NE(nullptr, getMakeObjDataInfo(make));
            EXPECT_EQ(nullptr, getTableObj(id + 8));
            done.set_value();
        });
        EXPECT_EQ(std::future_status::ready, done.get_future().wait_for(std::chrono::seconds(20)));
    }
    caller.join();
    EXPECT_EQ(0, psiMakeDestroy(make));
}

TEST_F(LockFree, IsNotAStopThatWaitsForTheSearch)
{
    host->play({answer::notReady().doing([this](const psiSchInfo &) {
        std::thread([this] { psiSchStop(host->id()); }).join(); // while this task holds the object's mutex
    })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_BAT));
    EXPECT_EQ(PSI_END_STOPPED, psiSchEndReason(host->id(), PSI_BAT));
}

/* ---- Callbacks ---- */

class Callback : public SearchTest {};

TEST_F(Callback, MayStopSetTimeOutsLockAndLookUp)
{
    host->play({answer::noTable().doing([this](const psiSchInfo &info) {
        psiSchStop(info.objId);
        psiSchStopResume(info.objId);
        EXPECT_EQ(0, psiSchTimeOutSet(info.objId, PSI_CAT, 4000));
        EXPECT_EQ(4000, psiSchTimeOutGet(info.objId, PSI_CAT));
        EXPECT_EQ(0, psiSchLock(info.objId));
        EXPECT_EQ(0, psiSchUnlock(info.objId));
        EXPECT_EQ(&model(), getSchObjDataInfo(info.objId));
        EXPECT_FALSE(mutexIsFree(host->object()->semId)) << "the search has it still";
    })});
    EXPECT_EQ(0U, schTable(host->id(), PSI_CAT));
    EXPECT_EQ(PSI_END_ABSENT, psiSchEndReason(host->id(), PSI_CAT));
}

TEST_F(Callback, SetsThePaceOfErrors)
{
    setPsiSchRPTLevel(0);
    unsigned reads = 0;
    host->setFallback([&](const psiSchInfo &) { return ++reads < 10000 ? answer::dataError() : answer::noTable(); });
    schTable(host->id(), PSI_CAT);
    EXPECT_EQ(10000U, reads);
    EXPECT_TRUE(fakeClock::takeSleeps().empty()) << "the library sleeps after PSI_DATA_NO_READY only";
}

TEST_F(Callback, ThatDoesNotHonourTheSectionNumberGivesTheSameSectionsAgain)
{
    setPsiSchRPTLevel(0);
    const Bytes first = PatBuilder().number(0, 2).program(1, 0x100).build();
    host->play({answer::section(first), answer::section(first), answer::section(first), answer::noTable()});
    EXPECT_EQ(3U, schTable(host->id(), PSI_PAT));
    EXPECT_EQ(3U, nodesOf(model().progList).size());
}

/* ---- What a second search adds ---- */

class SecondSearch : public SearchTest {};

TEST_F(SecondSearch, AddsEverythingOnceMore)
{
    for (const u32 type : {PSI_PAT, PSI_CAT, PSI_BAT}) {
        for (std::size_t round = 1; round <= 2; ++round) {
            host->play({answer::section(sampleSection(type))});
            EXPECT_EQ(1U, schTable(host->id(), type));
        }
    }
    EXPECT_EQ(6U, nodesOf(model().sectionList).size());
    EXPECT_EQ(2U, nodesOf(model().progList).size());
    EXPECT_EQ(2U, nodesOf(model().catCaList).size());
}

TEST_F(SecondSearch, OfThePmtsSearchesThoseThatAreMissing)
{
    addProgram(4, 0x104);
    addProgram(5, 0x105);
    host->play({answer::noTable(), answer::section(sampleSection(PSI_PMT))});
    EXPECT_EQ(1U, schTable(host->id(), PSI_PMT));
    host->takeCalls();
    EXPECT_EQ(0U, schTable(host->id(), PSI_PMT));
    EXPECT_EQ((Calls{arm(0x104, 0x02, 0, 4)}), armsOf(callsOf(*host)));
}

TEST_F(SecondSearch, AfterAClearFindsTheSame)
{
    for (int round = 1; round <= 2; ++round) {
        host->play({answer::section(sampleSection(PSI_PAT))});
        EXPECT_EQ(1U, schTable(host->id(), PSI_PAT));
        EXPECT_EQ(1U, nodesOf(model().progList).size());
        EXPECT_EQ(0, clearTableInfo(host->id()));
    }
}

/* ---- How long a search may hold the mutex ---- */

class LongestSearch : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        setPsiSchRPTLevel(0);
        for (const u32 type : {PSI_PAT, PSI_PMT, PSI_SDT_OTHER})
            psiSchTimeOutSet(host->id(), type, timeOut);
    }
    /** @brief Time-outs that a search lasts. */
    u32 timeOutsOf(u32 type)
    {
        const u32 start = fakeClock::now();
        schTable(host->id(), type);
        fakeClock::takeSleeps();
        host->takeCalls();
        return (fakeClock::now() - start) / timeOut;
    }
    static constexpr u16 timeOut = 20; // one poll
};

TEST_F(LongestSearch, OfOneSubTableIs256TimeOuts)
{
    // Section 0 comes at the last moment, the others never.
    host->setFallback([this](const psiSchInfo &filter) {
        if (filter.sectionNo == 0 && model().progList == nullptr)
            return answer::section(PatBuilder().number(0, 255).program(1, 0x100).build()).after(timeOut);
        return answer::notReady();
    });
    EXPECT_EQ(256U, timeOutsOf(PSI_PAT));
}

TEST_F(LongestSearch, OfManySubTablesIs32769TimeOuts)
{
    // Of each sub-table the first and the last section come, at the last moment; 256 sections are kept.
    u16 id = 0;
    host->setFallback([&](const psiSchInfo &filter) {
        const bool first = filter.useIdExt == 0;
        if (!first && filter.sectionNo != 255)
            return answer::notReady();
        id = static_cast<u16>(id + (first ? 1 : 0));
        return answer::section(SdtBuilder().other().tsId(id).number(first ? 0 : 255, 255).build()).after(timeOut);
    });
    EXPECT_EQ(32769U, timeOutsOf(PSI_SDT_OTHER));
    EXPECT_EQ(256U, nodesOf(model().sectionList).size());
}

TEST_F(LongestSearch, OfThePmtsIsATimeOutPerProgram)
{
    for (u16 program = 1; program <= 50; ++program)
        addProgram(program, static_cast<u16>(0x100 + program));
    EXPECT_EQ(50U, timeOutsOf(PSI_PMT));
}

TEST_F(LongestSearch, IsEndedByAWatchdogWithin20MsAndOneRead)
{
    unsigned reads = 0;
    u32 stopped = 0;
    host->setFallback([&](const psiSchInfo &) {
        ++reads;
        return answer::notReady();
    });
    psiSchTimeOutSet(host->id(), PSI_BAT, 65535);
    unsigned readsAtStop = 0;
    fakeClock::onSleep([&](u32) {
        if (fakeClock::now() >= 31000 && stopped == 0) {
            psiSchStop(host->id());
            stopped = fakeClock::now();
            readsAtStop = reads;
        }
    });
    schTable(host->id(), PSI_BAT);
    fakeClock::onSleep(nullptr);
    EXPECT_NE(0U, stopped);
    EXPECT_LE(fakeClock::now() - stopped, 20U);
    EXPECT_LE(reads - readsAtStop, 1U);
    fakeClock::takeSleeps();
}

/* ---- Lists rearranged by hand ---- */

/** @brief A list of 30 nodes. */
class RearrangedList : public testing::Test {
protected:
    void SetUp() override
    {
        for (zlstNode &node : nodes)
            ASSERT_EQ(0, zlst_push(&head, &node));
    }
    static std::size_t length(const zlstNode *first)
    {
        std::size_t n = 0;
        for (; first != nullptr; first = static_cast<const zlstNode *>(first->next))
            ++n;
        return n;
    }
    void zeroSpareWordsOfTheFirst()
    {
        for (psiAddress &word : head->spare)
            word = 0;
    }
    zlstNode nodes[30] = {};
    zlstNode *head = nullptr;
    zlstNode more = {};
};

TEST_F(RearrangedList, ThatWasCutKeepsItsOldTail)
{
    nodes[19].next = nullptr;
    EXPECT_EQ(0, zlst_push(&head, &more));
    EXPECT_EQ(20U, length(head));
    EXPECT_EQ(&more, nodes[29].next) << "the push lands on the part that was cut off";
}

TEST_F(RearrangedList, ThatWasCutIsRightOnceTheSpareWordsOfItsFirstNodeAreZeroed)
{
    nodes[19].next = nullptr;
    zeroSpareWordsOfTheFirst();
    EXPECT_EQ(0, zlst_push(&head, &more));
    EXPECT_EQ(21U, length(head));
    EXPECT_EQ(nullptr, nodes[29].next);
}

TEST_F(RearrangedList, LosesWhatStandsBehindANodeThatWasChainedInAndIsPushedAsWell)
{
    more.next = nodes[19].next;
    nodes[19].next = &more;
    EXPECT_EQ(0, zlst_push(&head, &more));
    EXPECT_EQ(21U, length(head));
    EXPECT_EQ(nullptr, more.next);
}

TEST_F(RearrangedList, RefusesANodeThatWasChainedInOnceTheSpareWordsOfItsFirstNodeAreZeroed)
{
    more.next = nodes[19].next;
    nodes[19].next = &more;
    zeroSpareWordsOfTheFirst();
    EXPECT_NE(0, zlst_push(&head, &more));
    EXPECT_EQ(31U, length(head));
}

/* ---- Generated sections that nobody can parse ---- */

class UnparsableSections : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        make = psiMakeCreate();
        model = getMakeObjDataInfo(make);
        model->tableMask = 1U << PSI_CAT;
        prog = progInfoCreat(&model->progList);
        prog->progNo = 5;
        prog->pmtPid = 0x100;
    }
    void TearDown() override
    {
        EXPECT_EQ(0, psiMakeDestroy(make));
        log.clear();
        LibraryTest::TearDown();
    }
    void addStreams(unsigned n)
    {
        for (unsigned i = 0; i < n; ++i)
            esInfoCreat(&prog->esList)->esPid = static_cast<u16>(0x200 + i);
    }
    void addCa(caInfo **list, u8 len)
    {
        caInfo *ca = caInfoCreat(list);
        ca->privateLen = len;
        ca->privateData = static_cast<u8 *>(psi_buddy_malloc(len));
        std::fill_n(ca->privateData, len, u8{0xFF});
    }
    /** @brief Whether the one generated section of a type can be analysed into a model with that program. */
    bool isParsed(u32 type)
    {
        EXPECT_EQ(0, psiMakeSection(model, type));
        sectionData *section = model->sectionList;
        while (section != nullptr && section->psiType != type)
            section = static_cast<sectionData *>(section->link.next);
        EXPECT_NE(nullptr, section);
        LooseModel parsed;
        progInfoCreat(&parsed->progList)->progNo = 5;
        return section != nullptr && analysePsi(parsed.get(), section, 0) == 0;
    }

    psiObjId make = 0;
    tsInfo *model = nullptr;
    progInfo *prog = nullptr;
};

TEST_F(UnparsableSections, AreThoseOfAVctChannelWithMoreThan42Streams)
{
    addStreams(42);
    EXPECT_TRUE(isParsed(PSI_VCT));
    addStreams(1);
    EXPECT_FALSE(isParsed(PSI_VCT));
}

TEST_F(UnparsableSections, AreThoseOfACatWithMoreThan251BytesOfCaData)
{
    addCa(&model->catCaList, 251);
    EXPECT_TRUE(isParsed(PSI_CAT));
    addCa(&model->catCaList, 252);
    EXPECT_FALSE(isParsed(PSI_CAT));
}

TEST_F(UnparsableSections, AreThoseOfAPmtWithMoreThan251BytesOfCaData)
{
    addCa(&prog->caList, 251);
    EXPECT_TRUE(isParsed(PSI_PMT));
    addCa(&prog->caList, 252);
    EXPECT_FALSE(isParsed(PSI_PMT));
}

TEST_F(UnparsableSections, OfACatAreNotMadeWithoutItsBitInTheMask)
{
    addCa(&model->catCaList, 251);
    model->tableMask = 0;
    EXPECT_EQ(0, psiMakeSection(model, PSI_CAT));
    EXPECT_EQ(nullptr, model->sectionList);
}

/* ---- Failures without a message ---- */

class SilentFailure : public LibraryTest {};

TEST_F(SilentFailure, IsWhatThePoolAListAndAMutexRefuse)
{
    u8 stranger[16] = {};
    zlstNode *list = nullptr;
    psiBuddyStat *noStat = nullptr;
    EXPECT_EQ(nullptr, psi_buddy_malloc(0x7FFFFFFF));
    EXPECT_EQ(nullptr, psi_buddy_realloc(nullptr, 0x7FFFFFFF));
    EXPECT_EQ(-1, psi_buddy_stat(noStat));
    EXPECT_NE(0, zlst_push(&list, nullptr));
    EXPECT_EQ(0, zlst_delete(&list, stranger));
    EXPECT_NO_LOG(log);
}

TEST_F(SilentFailure, IsAWrongCrc)
{
    Bytes section = sampleSection(PSI_PAT);
    section.back() ^= 1;
    EXPECT_EQ(-1, psiCheckCrc(section.data(), static_cast<u32>(section.size())));
    EXPECT_NO_LOG(log);
}

TEST_F(SilentFailure, IsAHeaderThatPointsOutOfItsPacket)
{
    Bytes packet = packetsOf(sampleSection(PSI_PAT));
    packet[4] = 200; // pointer_field
    Bytes out(1024);
    u16 len = 0;
    EXPECT_EQ(-1, psiTsToSection(packet.data(), 1, out.data(), &len));
    EXPECT_NO_LOG(log);
}

TEST_F(SilentFailure, IsARunThatEndsTooEarlyButForAnInfoLine)
{
    const Bytes packets = packetsOf(sectionOfSize(500));
    Bytes out(1024);
    u16 len = 0;
    EXPECT_EQ(-1, psiTsToSection(packets.data(), 1, out.data(), &len));
    EXPECT_NO_LOG(log);
    setPsiSchRPTLevel(3);
    EXPECT_EQ(-1, psiTsToSection(packets.data(), 1, out.data(), &len));
    EXPECT_LOG_CONTAINS(log, info("psiFun", "psiTsToSection: data lost!"));
}

TEST_F(SilentFailure, IsAPmtNitOrVctWithAnotherTableId)
{
    for (const u32 type : {PSI_PMT, PSI_NIT_ACTUAL, PSI_VCT}) {
        Bytes section = sampleSection(PSI_CAT);
        sectionData node = sectionNode(static_cast<u8>(type), section.data(), section.size());
        LooseModel model;
        EXPECT_EQ(-1, analysePsi(model.get(), &node, 0));
        EXPECT_NO_LOG(log);
    }
}

} // namespace
} // namespace psitest
