#include "support/libraryFixture.h"

#include "psiInternal.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <pthread.h>
#include <thread>
#include <utility>

using namespace psi::core;

namespace psitest {
namespace {

std::atomic<u32> tick{1000};
std::mutex clockLock;
std::vector<u32> sleeps;
std::function<void(u32)> sleepObserver;

bool initialised = false;
u32 liveBefore = 0;
u32 refusedBefore = 0;

} // namespace

u32 fakeClock::now()
{
    return tick;
}

void fakeClock::set(u32 value)
{
    tick = value;
}

void fakeClock::advance(u32 ms)
{
    tick += ms;
}

void fakeClock::sleep(u32 ms)
{
    advance(ms);
    const std::lock_guard<std::mutex> guard(clockLock);
    sleeps.push_back(ms);
    if (sleepObserver)
        sleepObserver(ms);
}

std::vector<u32> fakeClock::takeSleeps()
{
    const std::lock_guard<std::mutex> guard(clockLock);
    return std::exchange(sleeps, {});
}

void fakeClock::onSleep(std::function<void(u32)> observer)
{
    const std::lock_guard<std::mutex> guard(clockLock);
    sleepObserver = std::move(observer);
}

BuddyStat poolStat()
{
    BuddyStat stat = {};
    EXPECT_EQ(0, buddy_stat(psiMp, &stat));
    return stat;
}

u32 poolBlockSize(const void *data)
{
    return buddy_size(psiMp, data);
}

void *blockAsLeft(u32 size)
{
    // The pool's own call of PoolGuard::allocate() passes no wrapper.
    return psi_buddy_realloc(nullptr, size);
}

bool mutexIsFree(psiSemId mutex)
{
    bool isFree = false;
    std::thread([&] {
        isFree = pthread_mutex_trylock(reinterpret_cast<pthread_mutex_t *>(mutex)) == 0;
        if (isFree)
            osMutexGive(mutex);
    }).join();
    return isFree;
}

psiInitRegisterInfo initRecord(u32 poolBytes)
{
    psiInitRegisterInfo record = {};
    record.memPoolParam0 = poolBytes;
    record.psiMsSleep = fakeClock::sleep;
    record.getMsTimeCnt = fakeClock::now;
    return record;
}

bool moduleWasInitialised()
{
    return psiMp != 0 || initialised;
}

void LibraryTest::SetUp()
{
    if (psiMp == 0) {
        const psiInitRegisterInfo record = initRecord();
        ASSERT_EQ(0, psiSch_Init(&record));
        initialised = true;
    }
    const BuddyStat stat = poolStat();
    liveBefore = stat.liveBlocks;
    refusedBefore = stat.refusedFrees;
    fakeClock::set(1000);
    fakeClock::takeSleeps();
    log.clear();
}

void LibraryTest::TearDown()
{
    setPsiSchRPTLevel(2);
    setPsiMakeRPTLevel(2);
    EXPECT_EQ(0U, liveBlocks()) << "blocks of the pool that nobody freed";
    EXPECT_EQ(refusedBefore, poolStat().refusedFrees) << "frees of what is no live block";
}

u32 LibraryTest::liveBlocks() const
{
    return poolStat().liveBlocks - liveBefore;
}

void FreshProcessTest::SetUp()
{
    if (std::exchange(initialised, true) || psiMp != 0)
        GTEST_SKIP() << "needs a process of its own, as ctest gives it";
}

sectionData sectionNode(u8 psiType, u8 *bytes, std::size_t len)
{
    sectionData node = {};
    node.psiType = psiType;
    node.len = static_cast<u16>(len);
    node.buf = bytes;
    if (len > 6) {
        node.sectionNo = bytes[6];
        node.idExt = static_cast<u16>(bytes[3] << 8 | bytes[4]);
    }
    return node;
}

sectionData *storeSection(sectionData **list, u8 psiType, const Bytes &bytes)
{
    sectionData *node = sectionDataCreat(list);
    u8 *copy = static_cast<u8 *>(psi_buddy_malloc(static_cast<u32>(bytes.size())));
    if (node == nullptr || copy == nullptr) {
        ADD_FAILURE() << "no room for a section";
        return node;
    }
    std::memcpy(copy, bytes.data(), bytes.size());
    const zlstNode link = node->link;
    *node = sectionNode(psiType, copy, bytes.size());
    node->link = link;
    return node;
}

Bytes modelFields(const tsInfo &info)
{
    Bytes fields;
    const auto add = [&fields](const auto &...field) {
        // Of a field that is a pointer, the pointer itself. NOLINTNEXTLINE(bugprone-sizeof-expression)
        ((fields = fields + bytesAt(reinterpret_cast<const u8 *>(&field), sizeof field)), ...);
    };
    // Does not compile when the record has another number of fields.
    const auto &[patHead, sdtHead, catHead, netPid, tsId, orNetId, netId, tableMask, netFlag, netnameLen, netname,
                 progList, catDescList, vctDescList, catCaList, sectionList] = info;
    add(patHead, sdtHead, catHead, netPid, tsId, orNetId, netId, tableMask, netFlag, netnameLen, netname);
    add(progList, catDescList, vctDescList, catCaList, sectionList);
    return fields;
}

void LooseModel::clear()
{
    while (info_.sectionList != nullptr && sectionDataDestroy(&info_.sectionList, info_.sectionList) == 0) {
    }
    while (info_.progList != nullptr && progInfoDestroy(&info_.progList, info_.progList, ioFlag_) == 0) {
    }
    while (info_.catCaList != nullptr && caInfoDestroy(&info_.catCaList, info_.catCaList, ioFlag_) == 0) {
    }
    for (descInfo **list : {&info_.catDescList, &info_.vctDescList}) {
        while (*list != nullptr && descInfoDestroy(list, *list, ioFlag_) == 0) {
        }
    }
    if (ioFlag_ != 0)
        psi_buddy_free(info_.netname);
    info_ = {};
}

} // namespace psitest
