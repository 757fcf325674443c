// Start-up: the one initialisation, the pool behind the wrappers, the platform's module registry.
#include "support/libraryFixture.h"

#include "psiInternal.h"

#include <cstring>
#include <string>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * psiSch_Init()
 * ---------------------------------------------------------------------------------------------------------------- */

class Initialisation : public FreshProcessTest {};

const LogLine initialisedYet = error("psiInit", "psi_Init failed: psiModule has been initialized yet!");

TEST_F(Initialisation, InstallsTheCallbacksAndThePool)
{
    const psiInitRegisterInfo record = initRecord();
    EXPECT_EQ(0, psiSch_Init(&record));
    EXPECT_EQ(&fakeClock::sleep, psiMsSleep);
    EXPECT_EQ(&fakeClock::now, getMsTimeCnt);
    ASSERT_NE(psiPoolId{0}, psiMp);
    BuddyStat stat = {};
    EXPECT_EQ(0, buddy_stat(psiMp, &stat));
    EXPECT_EQ(0U, stat.liveBlocks);
    EXPECT_NO_LOG(log);
}

TEST_F(Initialisation, SaysSoAtInfoLevelOnly)
{
    setPsiSchRPTLevel(3);
    const psiInitRegisterInfo record = initRecord();
    EXPECT_EQ(0, psiSch_Init(&record));
    EXPECT_LOG(log,
               info("psiInit", format("psi_Init: OK! buddy memPool id = 0x%lx!", static_cast<unsigned long>(psiMp))));
}

TEST_F(Initialisation, DoesNotReadTheLeadingWord)
{
    psiInitRegisterInfo record = initRecord();
    record.reserved = 0xDEADBEEF;
    EXPECT_EQ(0, psiSch_Init(&record));
}

TEST_F(Initialisation, HandsThePoolParametersThrough)
{
    psiInitRegisterInfo record = initRecord(64U << 10);
    record.memPoolParam1 = 256;
    ASSERT_EQ(0, psiSch_Init(&record));
    BuddyStat stat = {};
    ASSERT_EQ(0, buddy_stat(psiMp, &stat));
    EXPECT_LE(stat.size, 64U << 10);
    void *block = psi_buddy_malloc(1);
    ASSERT_EQ(0, buddy_stat(psiMp, &stat));
    EXPECT_GE(stat.used, 256U);
    EXPECT_EQ(0, psi_buddy_free(block));
}

TEST_F(Initialisation, WorksOnceAndKeepsWhatItInstalled)
{
    const psiInitRegisterInfo record = initRecord();
    ASSERT_EQ(0, psiSch_Init(&record));
    const psiPoolId pool = psiMp;
    psiInitRegisterInfo other = record;
    other.psiMsSleep = [](u32) {};
    EXPECT_EQ(-1, psiSch_Init(&other));
    EXPECT_LOG(log, initialisedYet);
    EXPECT_EQ(-1, psiSch_Init(nullptr));
    EXPECT_LOG(log, initialisedYet);
    EXPECT_EQ(pool, psiMp);
    EXPECT_EQ(&fakeClock::sleep, psiMsSleep);
}

/* A first call that fails: what is wrong with its record, what is logged, whether the callbacks were taken over. */

struct FailedStart {
    const char *name;
    bool hasRecord, hasSleep, hasTick;
    u32 poolBytes;
    const char *text;
    bool installs;
};

constexpr FailedStart failedStarts[] = {
    {"NullRecord", false, false, false, 0, "psi_Init failed: registerInfo is NULL!", false},
    {"MissingSleep", true, false, true, 1 << 20, "psi_Init failed: registerInfo->psiMsSleep is NULL!", false},
    {"MissingTick", true, true, false, 1 << 20, "psi_Init failed: registerInfo->getMsTimeCnt is NULL!", false},
    {"MissingBoth", true, false, false, 1 << 20, "psi_Init failed: registerInfo->psiMsSleep is NULL!", false},
    {"NoPool", true, true, true, 0, "psi_Init: buddy create failed!", true},
};

class FailedInitialisation : public FreshProcessTest, public testing::WithParamInterface<FailedStart> {};

i32 attempt(const FailedStart &start)
{
    psiInitRegisterInfo record = initRecord(start.poolBytes);
    if (!start.hasSleep)
        record.psiMsSleep = nullptr;
    if (!start.hasTick)
        record.getMsTimeCnt = nullptr;
    return psiSch_Init(start.hasRecord ? &record : nullptr);
}

TEST_P(FailedInitialisation, CountsAsTheOneCall)
{
    const FailedStart &start = GetParam();
    EXPECT_EQ(-1, attempt(start));
    EXPECT_LOG(log, error("psiInit", start.text));
    EXPECT_EQ(start.installs ? &fakeClock::sleep : nullptr, psiMsSleep);
    EXPECT_EQ(start.installs ? &fakeClock::now : nullptr, getMsTimeCnt);

    const psiInitRegisterInfo good = initRecord();
    EXPECT_EQ(-1, psiSch_Init(&good));
    EXPECT_LOG(log, initialisedYet);
    EXPECT_EQ(psiPoolId{0}, psiMp);
}

TEST_P(FailedInitialisation, IsSilentAtLevelZero)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, attempt(GetParam()));
    EXPECT_NO_LOG(log);
}

INSTANTIATE_TEST_SUITE_P(EveryCause, FailedInitialisation, testing::ValuesIn(failedStarts),
                         [](const auto &param) { return param.param.name; });

TEST_F(Initialisation, LevelZeroSilencesTheRefusals)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, psiSch_Init(nullptr));
    EXPECT_EQ(-1, psiSch_Init(nullptr));
    EXPECT_NO_LOG(log);
}

TEST_F(Initialisation, WithoutItNothingIsAllocated)
{
    EXPECT_EQ(nullptr, psi_buddy_malloc(16));
    EXPECT_EQ(nullptr, psi_buddy_realloc(nullptr, 16));
    EXPECT_EQ(0U, psiGetIncreaseTime(5)) << "nobody counts the time";
    EXPECT_EQ(-1, psi_buddy_report(0));
    psiBuddyStat stat = {};
    EXPECT_EQ(-1, psi_buddy_stat(&stat));
    EXPECT_EQ(nullptr, getTableObj(1));
    sectionData *list = nullptr;
    EXPECT_EQ(nullptr, sectionDataCreat(&list));
    EXPECT_EQ(nullptr, list);
}

/* ------------------------------------------------------------------------------------------------------------------
 * psiSch_Exit() and psiVersion()
 * ---------------------------------------------------------------------------------------------------------------- */

class Exit : public FreshProcessTest {
protected:
    static i32 init()
    {
        const psiInitRegisterInfo record = initRecord();
        return psiSch_Init(&record);
    }
};

TEST_F(Exit, WithoutAPoolIsZero)
{
    EXPECT_EQ(0, psiSch_Exit());
    EXPECT_EQ(0, psiSch_Exit());
    EXPECT_NO_LOG(log);
}

TEST_F(Exit, GivesThePoolBackAndForgetsTheCallbacks)
{
    ASSERT_EQ(0, init());
    void *block = psi_buddy_malloc(16);
    EXPECT_NE(nullptr, block);
    EXPECT_EQ(0, psiSch_Exit());
    EXPECT_EQ(psiPoolId{0}, psiMp);
    EXPECT_EQ(nullptr, psiMsSleep);
    EXPECT_EQ(nullptr, getMsTimeCnt);
    EXPECT_EQ(nullptr, psi_buddy_malloc(16));
    EXPECT_EQ(-1, psi_buddy_free(block));
    psiBuddyStat stat = {};
    EXPECT_EQ(-1, psi_buddy_stat(&stat));
    EXPECT_NO_LOG(log);
}

TEST_F(Exit, LetsTheModuleBeInitialisedAgain)
{
    for (int round = 0; round < 20; ++round) { // more often than there are pools
        ASSERT_EQ(0, init());
        const psiObjId id = psiSchCreate(nullptr);
        EXPECT_EQ(0U, id);
        EXPECT_EQ(0, psiSch_Exit());
    }
    log.clear();
    ASSERT_EQ(0, init());
    EXPECT_EQ(-1, init());
    EXPECT_LOG(log, initialisedYet);
    EXPECT_EQ(0, psiSch_Exit());
}

TEST_F(Exit, TakesAFailedInitialisationBack)
{
    EXPECT_EQ(-1, psiSch_Init(nullptr));
    EXPECT_EQ(0, psiSch_Exit());
    log.clear();
    EXPECT_EQ(0, init());
    EXPECT_NO_LOG(log);
    EXPECT_EQ(0, psiSch_Exit());
}

TEST_F(Exit, IsRefusedWhileASearchObjectLives)
{
    ASSERT_EQ(0, init());
    const psiSchRegisterInfo record = {0, 0, [](psiSchInfo *) { return 0; },
                                       [](psiSchInfo *, u8 *, u8 *) { return i32{PSI_NO_TABLE}; }};
    const psiObjId id = psiSchCreate(&record);
    EXPECT_EQ(-1, psiSch_Exit());
    EXPECT_NE(nullptr, getTableObj(id)) << "nothing has happened";
    EXPECT_NE(nullptr, psiMsSleep);
    EXPECT_EQ(0, psiSchDestroy(id));
    EXPECT_EQ(0, psiSch_Exit());
    EXPECT_EQ(nullptr, getTableObj(id));
}

TEST_F(Exit, IsRefusedWhileAMakeObjectLives)
{
    ASSERT_EQ(0, init());
    const psiObjId id = psiMakeCreate();
    EXPECT_EQ(-1, psiSch_Exit());
    EXPECT_EQ(0, psiMakeDestroy(id));
    EXPECT_EQ(0, psiSch_Exit());
}

TEST_F(Exit, LeavesTheHookInPlace)
{
    static unsigned messages;
    messages = 0;
    psiLogHookSet([](void *, u32, const char *, u32, const char *, va_list) { ++messages; }, nullptr);
    EXPECT_EQ(0, psiSch_Exit());
    EXPECT_EQ(nullptr, getTableObj(0));
    EXPECT_EQ(1U, messages);
    psiLogHookSet(nullptr, nullptr);
}

TEST(Version, IsThatOfTheHeader)
{
    EXPECT_EQ(std::to_string(PSI_VERSION_MAJOR) + "." + std::to_string(PSI_VERSION_MINOR) + "." +
                  std::to_string(PSI_VERSION_PATCH),
              psiVersion());
}

/* ------------------------------------------------------------------------------------------------------------------
 * The pool wrappers
 * ---------------------------------------------------------------------------------------------------------------- */

class PoolWrappers : public LibraryTest {};

TEST_F(PoolWrappers, WorkOnTheModulesPool)
{
    void *block = psi_buddy_malloc(100);
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(100U, buddy_size(psiMp, block));
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(block) % (2 * sizeof(void *)));
    EXPECT_EQ(1U, liveBlocks());
    EXPECT_EQ(0, psi_buddy_free(block));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(PoolWrappers, MallocAnswersNullWhenThePoolIsExhausted)
{
    EXPECT_EQ(nullptr, psi_buddy_malloc(0x7FFFFFFF));
    std::vector<void *> blocks;
    while (void *block = psi_buddy_malloc(64U << 10))
        blocks.push_back(block);
    EXPECT_GE(blocks.size(), 8U);
    for (void *block : blocks)
        EXPECT_EQ(0, psi_buddy_free(block));
}

TEST_F(PoolWrappers, ReallocKeepsTheBytes)
{
    u8 *block = static_cast<u8 *>(psi_buddy_realloc(nullptr, 40));
    ASSERT_NE(nullptr, block);
    const Bytes content = counting(40);
    std::memcpy(block, content.data(), content.size());
    block = static_cast<u8 *>(psi_buddy_realloc(block, 5000));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(content, bytesAt(block, 40));
    block = static_cast<u8 *>(psi_buddy_realloc(block, 8));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(counting(8), bytesAt(block, 8));
    EXPECT_EQ(nullptr, psi_buddy_realloc(block, 0x7FFFFFFF));
    EXPECT_EQ(counting(8), bytesAt(block, 8)) << "a block that cannot grow is unchanged";
    EXPECT_EQ(nullptr, psi_buddy_realloc(block, 0));
    EXPECT_EQ(0U, liveBlocks());
}

TEST_F(PoolWrappers, FreeAcceptsNull)
{
    EXPECT_EQ(0, psi_buddy_free(nullptr));
}

TEST(PoolWrappersRefusal, FreeHandsTheRefusalOfThePoolBack)
{
    if (!moduleWasInitialised()) {
        const psiInitRegisterInfo record = initRecord();
        ASSERT_EQ(0, psiSch_Init(&record));
    }
    u8 stranger[32] = {};
    EXPECT_EQ(-1, psi_buddy_free(stranger));
    u8 *block = static_cast<u8 *>(psi_buddy_malloc(64));
    EXPECT_EQ(-1, psi_buddy_free(block + 16));
    EXPECT_EQ(0, psi_buddy_free(block));
    EXPECT_EQ(-1, psi_buddy_free(block)) << "freed twice";
    psiBuddyStat stat = {};
    EXPECT_EQ(0, psi_buddy_stat(&stat));
    EXPECT_EQ(3U, stat.refusedFrees);
}

TEST_F(PoolWrappers, StatReadsTheStatistics)
{
    psiBuddyStat before = {};
    EXPECT_EQ(0, psi_buddy_stat(&before));
    EXPECT_EQ(4U << 20, before.size);
    void *block = psi_buddy_malloc(1000);
    EXPECT_EQ(nullptr, psi_buddy_malloc(0x7FFFFFFF));
    psiBuddyStat stat = {};
    EXPECT_EQ(0, psi_buddy_stat(&stat));
    EXPECT_EQ(before.used + 1024, stat.used);
    EXPECT_EQ(before.liveBlocks + 1, stat.liveBlocks);
    EXPECT_EQ(before.failedAllocs + 1, stat.failedAllocs);
    EXPECT_EQ(before.refusedFrees, stat.refusedFrees);
    EXPECT_EQ(0, psi_buddy_free(block));
    EXPECT_EQ(0, psi_buddy_stat(&stat));
    EXPECT_EQ(before.used, stat.used);
    EXPECT_LE(before.used + 1024, stat.highWater);
    EXPECT_NO_LOG(log);
}

TEST_F(PoolWrappers, StatRefusesNull)
{
    EXPECT_EQ(-1, psi_buddy_stat(nullptr));
    EXPECT_NO_LOG(log);
}

TEST_F(PoolWrappers, ReportPrintsTheStatistics)
{
    EXPECT_EQ(0, psi_buddy_report(0));
    const std::string totals = log.takeRaw();
    EXPECT_NE("", totals);
    EXPECT_EQ(0, psi_buddy_report(1));
    EXPECT_LT(totals.size(), log.takeRaw().size()) << "the free blocks are missing";
}

/* ------------------------------------------------------------------------------------------------------------------
 * psi_info_register()
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief What the registry of these tests was handed and what it answers. */
struct Registry {
    u32 answer = 0;
    std::vector<Bytes> records;
} registry;

u32 takeRecord(const u8 *record)
{
    registry.records.push_back(bytesAt(record, 68));
    return registry.answer;
}

bool installed = false;

} // namespace

// The linker sends the library's calls of osSymbol(const char *) here, so that the registry can come and go.
extern "C" {
void *__real__ZN3psi4core8osSymbolEPKc(const char *name);
void *__wrap__ZN3psi4core8osSymbolEPKc(const char *name);

void *__wrap__ZN3psi4core8osSymbolEPKc(const char *name)
{
    const bool known = installed && std::strcmp(name, "module_info_register") == 0;
    return known ? reinterpret_cast<void *>(takeRecord) : __real__ZN3psi4core8osSymbolEPKc(name);
}
}

namespace {

class ModuleRegistration : public FreshProcessTest {
protected:
    ~ModuleRegistration() override { installed = false; }
    static void install() { installed = true; }
    static void remove() { installed = false; }
    static std::string fieldAt(std::size_t offset)
    {
        return reinterpret_cast<const char *>(registry.records.at(0).data() + offset);
    }
};

constexpr char registryMissing[] = "can not find fun module_info_register, maybe not OXA3.0\r\n";

TEST_F(ModuleRegistration, HandsOverWordNameAndVersion)
{
    install();
    psi_info_register();
    ASSERT_EQ(1U, registry.records.size());
    u32 word = 0;
    std::memcpy(&word, registry.records[0].data(), sizeof word);
    EXPECT_EQ(1U, word);
    EXPECT_EQ("psi", fieldAt(4));
    EXPECT_EQ("V1.0.11", fieldAt(36));
    EXPECT_NO_LOG(log);
}

TEST_F(ModuleRegistration, HappensOnce)
{
    install();
    psi_info_register();
    psi_info_register();
    EXPECT_EQ(1U, registry.records.size());
}

TEST_F(ModuleRegistration, IsTriedAgainAfterARefusal)
{
    install();
    registry.answer = 1;
    psi_info_register();
    psi_info_register();
    EXPECT_EQ(2U, registry.records.size());
    registry.answer = 0;
    psi_info_register();
    psi_info_register();
    EXPECT_EQ(3U, registry.records.size());
    EXPECT_NO_LOG(log);
}

TEST_F(ModuleRegistration, KeepsTheAddressAfterARefusal)
{
    install();
    registry.answer = 0xFF;
    psi_info_register();
    remove();
    psi_info_register();
    EXPECT_EQ(2U, registry.records.size());
    EXPECT_NO_LOG(log);
}

TEST_F(ModuleRegistration, LooksAtTheLowByteOfTheAnswer)
{
    install();
    registry.answer = 0x80000001;
    psi_info_register();
    registry.answer = 0xFFFFFF00;
    psi_info_register();
    psi_info_register();
    EXPECT_EQ(2U, registry.records.size());
}

TEST_F(ModuleRegistration, SaysWithoutPrefixAndAtEveryLevelThatThereIsNoRegistry)
{
    setPsiSchRPTLevel(0);
    psi_info_register();
    EXPECT_EQ(registryMissing, log.takeRaw());
    setPsiSchRPTLevel(4);
    psi_info_register();
    EXPECT_EQ(registryMissing, log.takeRaw());
}

TEST_F(ModuleRegistration, FindsARegistryThatCameLater)
{
    psi_info_register();
    EXPECT_EQ(registryMissing, log.takeRaw());
    install();
    psi_info_register();
    EXPECT_EQ(1U, registry.records.size());
    EXPECT_NO_LOG(log);
}

/* ------------------------------------------------------------------------------------------------------------------
 * psiGetIncreaseTime()
 * ---------------------------------------------------------------------------------------------------------------- */

class IncreaseTime : public LibraryTest {};

struct TickCase {
    u32 start;
    u32 now;
    u32 elapsed;
};

TEST_F(IncreaseTime, CountsAcrossTheWrapOfTheTick)
{
    constexpr TickCase cases[] = {
        {100, 100, 0},      {100, 101, 1}, {0, 0xFFFFFFFF, 0xFFFFFFFF}, {0xFFFFFFF0, 0x10, 32}, {1, 0, 0xFFFFFFFF},
        {0xFFFFFFFF, 0, 1}, {0, 0, 0},
    };
    for (const TickCase &c : cases) {
        fakeClock::set(c.now);
        EXPECT_EQ(c.elapsed, psiGetIncreaseTime(c.start)) << c.start << " to " << c.now;
    }
}

} // namespace
} // namespace psitest
