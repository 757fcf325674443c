// Every operation of psi.h with failing memory and failing list calls: those that allocate with their first, second,
// third ... call failing, once, from then on and again and again, the others while there is no memory at all.
#include "roads.h"

#include "psiInternal.h"

#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

using namespace psi::core;

namespace psitest {
namespace {

/* ------------------------------------------------------------------------------------------------------------------
 * The operations that allocate
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief An operation under conditions that make it allocate. */
struct Row {
    const char *operation; /**< its name in psi.h */
    std::string variant;
    std::function<std::unique_ptr<Road>()> road;
    unsigned failures; /**< that have to be possible, at least, under all conditions together */
};

void PrintTo(const Row &row, std::ostream *os)
{
    *os << row.operation << row.variant;
}

template <typename Of, typename... Arguments>
Row row(unsigned failures, const char *operation, const std::string &variant, Arguments... arguments)
{
    return {operation, variant, [=] { return std::make_unique<Of>(arguments...); }, failures};
}

/** @brief An operation that works without memory. */
struct Calm {
    const char *operation;
    std::function<void()> run; /**< prepares, and runs it withoutMemory() */
};

/** @brief Run an operation while every allocation fails. It asks for none, and says that it succeeded. */
void withoutMemory(const std::function<bool()> &operate)
{
    const u32 before = poolStat().liveBlocks;
    const FaultPlan none(Call::Malloc, 1, Fail::FromThenOn);
    EXPECT_TRUE(operate());
    EXPECT_EQ(0U, none.calls());
    EXPECT_LE(poolStat().liveBlocks, before);
}

/** @brief A creator and its destroyer: a row for the one, and the other among the calm. */
struct Pair {
    Row creator;
    Calm destroyer;
};

template <typename Node>
Pair nodes(const char *creatName, Node *(*creat)(Node **), const char *destroyName,
           const std::function<i32(Node **, Node *)> &destroy)
{
    const auto run = [=] {
        Node *head = nullptr;
        Node *node = creat(&head);
        withoutMemory([&] { return destroy(&head, node) == 0; });
    };
    return {row<NodeCreation<Node>>(6, creatName, "", creat, destroy), {destroyName, run}};
}

template <typename Node>
Pair pair(const char *creatName, Node *(*creat)(Node **), const char *destroyName, i32 (*destroy)(Node **, Node *))
{
    return nodes<Node>(creatName, creat, destroyName, destroy);
}

template <typename Node>
Pair pair(const char *creatName, Node *(*creat)(Node **), const char *destroyName, i32 (*destroy)(Node **, Node *, u32))
{
    return nodes<Node>(creatName, creat, destroyName, [=](Node **head, Node *node) { return destroy(head, node, 1); });
}

template <typename Record>
Pair pair(const char *creatName, Record *(*creat)(), const char *destroyName, i32 (*destroy)(Record *))
{
    const auto run = [=] {
        Record *record = creat();
        withoutMemory([&] { return destroy(record) == 0; });
    };
    return {row<RecordCreation<Record>>(3, creatName, "", creat, destroy), {destroyName, run}};
}

template <typename Side> Pair objects(const char *creatName, const char *destroyName)
{
    const auto run = [] {
        const psiObjId id = Side::creat();
        withoutMemory([&] { return Side::destroy(id) == 0; });
    };
    return {row<ObjectCreation<Side>>(6, creatName, ""), {destroyName, run}};
}

#define PSITEST_PAIR(creat, destroy) pair(#creat, creat, #destroy, destroy)

std::vector<Pair> pairs()
{
    return {
        objects<SearchSide>("psiSchCreate", "psiSchDestroy"),
        objects<MakeSide>("psiMakeCreate", "psiMakeDestroy"),
        PSITEST_PAIR(sectionDataCreat, sectionDataDestroy),
        PSITEST_PAIR(descInfoCreat, descInfoDestroy),
        PSITEST_PAIR(caInfoCreat, caInfoDestroy),
        PSITEST_PAIR(esInfoCreat, esInfoDestroy),
        PSITEST_PAIR(progInfoCreat, progInfoDestroy),
        PSITEST_PAIR(psiPatProgCreat, psiPatProgDestroy),
        PSITEST_PAIR(psiPmtEsCreat, psiPmtEsDestroy),
        PSITEST_PAIR(psiSdtServiceCreat, psiSdtServiceDestroy),
        PSITEST_PAIR(psiStreamInfoCreat, psiStreamInfoDestroy),
        PSITEST_PAIR(mgtTableInfoCreat, mgtTableInfoDestroy),
        PSITEST_PAIR(ebitStreamCreat, ebitStreamDestroy),
        PSITEST_PAIR(ebitResourceCreat, ebitResourceDestroy),
        PSITEST_PAIR(ebitMessageCreat, ebitMessageDestroy),
        PSITEST_PAIR(ebctAuxiliaryDataCreat, ebctAuxiliaryDataDestroy),
        PSITEST_PAIR(ebctContentCreat, ebctContentDestroy),
        PSITEST_PAIR(ebcatCalistCreat, ebcatCalistDestroy),
        PSITEST_PAIR(ebcatCtCreat, ebcatCtDestroy),
        PSITEST_PAIR(ebcctCmdCreat, ebcctCmdDestroy),
        PSITEST_PAIR(psiPatSectionCreat, psiPatSectionDestroy),
        PSITEST_PAIR(psiPmtSectionCreat, psiPmtSectionDestroy),
        PSITEST_PAIR(psiCatSectionCreat, psiCatSectionDestroy),
        PSITEST_PAIR(psiNitSectionCreat, psiNitSectionDestroy),
        PSITEST_PAIR(psiSdtSectionCreat, psiSdtSectionDestroy),
        PSITEST_PAIR(psiBatSectionCreat, psiBatSectionDestroy),
        PSITEST_PAIR(psipMgtSectionCreat, psipMgtSectionDestroy),
        PSITEST_PAIR(psiEbitSectionCreat, psiEbitSectionDestroy),
        PSITEST_PAIR(psiEbctSectionCreat, psiEbctSectionDestroy),
        PSITEST_PAIR(psiEbcatSectionCreat, psiEbcatSectionDestroy),
        PSITEST_PAIR(psiEbcctSectionCreat, psiEbcctSectionDestroy),
        PSITEST_PAIR(ebitDetailsChannelCreat, ebitDetailsChannlDestroy),
    };
}

std::string typed(u32 type)
{
    return "Type" + std::to_string(type);
}

void addParsing(std::vector<Row> &rows)
{
    for (const u32 type : parsedTypes())
        rows.push_back(row<Parsing>(15, "syntaxAnalysePsi", typed(type), type));
}

void addAnalysis(std::vector<Row> &rows)
{
    for (const u32 type : {PSI_PAT, PSI_PMT, PSI_CAT, PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_VCT}) {
        // By reference the NIT gives a pointer to a name and no node.
        if (type != PSI_NIT_ACTUAL)
            rows.push_back(row<Analysis>(6, "analysePsi", "Reference" + typed(type), type, 0U));
        rows.push_back(row<Analysis>(3, "analysePsi", "Copy" + typed(type), type, 1U));
    }
}

void addSearches(std::vector<Row> &rows)
{
    for (const TypeFacts &facts : typesWithTable()) {
        const u32 type = facts.psiType;
        const Standard standard = type >= PSI_MGT && type <= PSI_STT ? atsc : dvb;
        rows.push_back(row<OneSearch>(12, "schTable", typed(type), standard, type));
        if (type < PSI_EBIT)
            rows.push_back(row<SearchAgain>(12, "re_SchTable", typed(type), standard, type));
    }
    rows.push_back(row<StandardSearch>(900, "autoSchTable", "Dvb", dvb));
    rows.push_back(row<StandardSearch>(120, "autoSchTable", "Atsc", atsc));
    rows.push_back(row<StandardSearch>(600, "autoSchTable", "DvbInAnyOrder", dvb, Sections::inAnyOrder));
}

/** @brief Programs with one of everything, whose SDT, VCT and CAT take several sections. */
PlainModel largeModel(Standard standard)
{
    PlainModel model;
    model.tsId = 0x1234;
    model.netFlag = 1;
    model.netPid = 0x10;
    model.tableMask = 1U << PSI_CAT;
    model.catCa = {{0x0500, 0x1F0, counting(3)}, {0x0B00, 0x1F1, {}}};
    model.catDescriptors = fillerDescriptors(1100);
    if (standard == atsc)
        model.vctDescriptors = fillerDescriptors(20);
    for (u16 number = 1; number <= 4; ++number) {
        PlainProgram program;
        program.progNo = number;
        program.pmtPid = static_cast<u16>(0x100 * number);
        program.name = bytesOf("name");
        program.provider = bytesOf("provider");
        program.ca = {{0x0500, 0x1F2, counting(2)}};
        program.pmtDescriptors = fillerDescriptors(10);
        program.sdtDescriptors = fillerDescriptors(400);
        program.streams = {{2, 0x101, {{1, 2, {}}}, fillerDescriptors(6)}, {4, 0x102, {}, {}}};
        model.programs.push_back(program);
    }
    return model;
}

/** @brief Programs for two PAT sections. */
PlainModel crowdedModel()
{
    PlainModel model;
    model.tableMask = 1U << PSI_CAT;
    for (u16 number = 1; number <= 260; ++number) {
        PlainProgram program;
        program.progNo = number;
        program.pmtPid = static_cast<u16>(0x100 + number);
        model.programs.push_back(program);
    }
    return model;
}

i32 failsWithIt(const tsInfo &, bool failed)
{
    return failed ? -1 : 0;
}

/** @brief All programs' PMTs: one that cannot be made is left out. */
i32 neverFails(const tsInfo &, bool)
{
    return 0;
}

/** @brief The results of the tables behind the PAT, of one section, are ignored. */
i32 failsWithThePat(const tsInfo &model, bool)
{
    return sectionsOf(&model, PSI_PAT).size() == 1 ? 0 : -1;
}

void addGeneration(std::vector<Row> &rows)
{
    const auto add = [&](const char *name, const char *variant, Standard standard, const Generation::Generate &generate,
                         const Generation::Result &result) {
        rows.push_back(row<Generation>(9, name, variant, largeModel(standard), standard, generate, result));
    };
    const auto addGenerator = [&](const char *name, i32 (*make)(tsInfo *), u32 type, Standard standard) {
        const Generation::Result result = type == PSI_PMT ? neverFails : failsWithIt;
        add(
            name, "", standard, [=](psiObjId, tsInfo *model) { return make(model); }, result);
        const auto dispatched = [=](psiObjId, tsInfo *model) { return psiMakeSection(model, type); };
        rows.push_back(row<Generation>(9, "psiMakeSection", typed(type), largeModel(standard), standard,
                                       Generation::Generate(dispatched), result));
    };
    addGenerator("patMakeSection", patMakeSection, PSI_PAT, dvb);
    addGenerator("pmtMakeSection", pmtMakeSection, PSI_PMT, dvb);
    addGenerator("catMakeSection", catMakeSection, PSI_CAT, dvb);
    addGenerator("sdtaMakeSection", sdtaMakeSection, PSI_SDT_ACTUAL, dvb);
    addGenerator("vctMakeSection", vctMakeSection, PSI_VCT, atsc);
    addGenerator("mgtMakeSection", mgtMakeSection, PSI_MGT, atsc);
    add(
        "pmtMakeOneSection", "", dvb, [](psiObjId, tsInfo *model) { return pmtMakeOneSection(model, 4); }, failsWithIt);
    for (const Standard standard : {dvb, atsc}) {
        const auto all = [=](psiObjId id, tsInfo *) { return AutoMakeSection(id, standard); };
        add("AutoMakeSection", standard == dvb ? "Dvb" : "Atsc", standard, all, failsWithThePat);
    }
    const auto crowded = [](psiObjId, tsInfo *model) { return patMakeSection(model); };
    rows.push_back(row<Generation>(18, "patMakeSection", "OfManyPrograms", crowdedModel(), dvb,
                                   Generation::Generate(crowded), Generation::Result(failsWithIt)));
}

const std::vector<Shape> shapes = {{"Replaces", {60}}, {"Splits", {600, 600}}, {"Gathers", {300, 400, 800}, 1, 2}};

template <typename Edits> void addRegeneration(std::vector<Row> &rows, const char *operation)
{
    const std::string table = Edits::name;
    for (const Shape &shape : shapes) {
        rows.push_back(row<WriteBack<Edits>>(9, operation, shape.name, shape, Edits::writeBack));
        const auto dispatched = [](tsInfo *model, typename Edits::Section *tree, u16 id) {
            return syntaxSIMakeSeciton(model, tree, id, Edits::actualType);
        };
        rows.push_back(row<WriteBack<Edits>>(9, "syntaxSIMakeSeciton", table + shape.name, shape,
                                             typename WriteBack<Edits>::Write(dispatched)));
    }
    rows.push_back(row<Editing<Edits>>(150, "syntaxSIMakeSeciton", table + "BehindAnEdit"));
}

std::vector<Row> allRows()
{
    std::vector<Row> rows = {
        row<Reassembly>(3, "psiTsToSection", "", psiTsToSection, 900U),
        row<Reassembly>(3, "psiTsToLongSection", "", psiTsToLongSection, 3900U),
    };
    for (const Pair &one : pairs())
        rows.push_back(one.creator);
    addParsing(rows);
    addAnalysis(rows);
    addSearches(rows);
    addGeneration(rows);
    addRegeneration<SdtEdits>(rows, "syntaxSdtMakeSeciton");
    addRegeneration<NitEdits>(rows, "syntaxNitMakeSeciton");
    addRegeneration<BatEdits>(rows, "syntaxBatMakeSeciton");
    return rows;
}

/** @brief Adds the failures of all tests of this process up, and says so at the end. */
class Total : public testing::Environment {
public:
    static unsigned failures;
    void TearDown() override { std::cout << "failing memory: " << failures << " injected failures\n"; }
};
unsigned Total::failures = 0;
const testing::Environment *const total = testing::AddGlobalTestEnvironment(new Total);

/** @brief Takes all of the pool but for some small blocks, for as long as it lives. */
class FullPool {
public:
    explicit FullPool(unsigned room)
    {
        std::vector<void *> left;
        for (unsigned i = 0; i < room; ++i)
            left.push_back(psi_buddy_malloc(1));
        for (u32 size = 1U << 20; size != 0; size /= 2)
            while (void *block = psi_buddy_malloc(size))
                taken_.push_back(block);
        for (void *block : left)
            psi_buddy_free(block);
        failed_ = poolStat().failedAllocs;
    }
    ~FullPool()
    {
        for (void *block : taken_)
            psi_buddy_free(block);
    }
    FullPool(const FullPool &) = delete;
    FullPool &operator=(const FullPool &) = delete;

    /** @brief Did something find no room? */
    bool refused() const { return poolStat().failedAllocs != failed_; }

private:
    std::vector<void *> taken_;
    u32 failed_ = 0;
};

class FailingMemory : public LibraryTest, public testing::WithParamInterface<Row> {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(0);
        setPsiMakeRPTLevel(0);
    }
    /** @brief What the operation makes when nothing fails. */
    static std::string madeOf(Road &road)
    {
        road.prepare();
        road.operate();
        road.expectDocumented(false);
        return road.made();
    }
    /** @brief Let one call after the other fail; behind each failure the operation works when it is tried again. */
    unsigned sweep(Road &road, Call call, Fail mode)
    {
        road.clear();
        const u32 emptyBlocks = liveBlocks();
        const std::string expected = madeOf(road);
        const unsigned failures = sweepFailures(
            call, mode,
            [&] {
                road.clear();
                EXPECT_EQ(emptyBlocks, liveBlocks()) << "the failure before leaked";
                road.prepare();
            },
            [&] { road.operate(); },
            [&](bool failed) {
                road.expectDocumented(failed);
                if (failed) {
                    road.recover();
                    road.operate();
                    road.expectDocumented(false);
                }
                EXPECT_EQ(expected, road.made());
            });
        road.clear();
        EXPECT_EQ(emptyBlocks, liveBlocks());
        return failures;
    }
};

TEST_P(FailingMemory, LeavesEverythingAsDocumentedAndUsable)
{
    const std::unique_ptr<Road> road = GetParam().road();
    unsigned failures = 0;
    for (const Call call : {Call::Malloc, Call::Push}) {
        for (const Fail mode : road->modes()) {
            SCOPED_TRACE(testing::Message() << "call " << int(call) << ", mode " << int(mode));
            failures += sweep(*road, call, mode);
        }
    }
    EXPECT_LE(GetParam().failures, failures) << "calls that fail no more";
    Total::failures += failures;
    RecordProperty("injectedFailures", static_cast<int>(failures));
}

class ExhaustedPool : public FailingMemory {};

TEST_P(ExhaustedPool, LeavesEverythingAsDocumentedAndUsable)
{
    const std::unique_ptr<Road> road = GetParam().road();
    road->clear();
    const u32 emptyBlocks = liveBlocks();
    const std::string expected = madeOf(*road);
    constexpr unsigned turns = 4; // with as much room each
    bool failed = true;
    for (unsigned room = 0, turn = 0; failed || turn % turns != 0; ++turn) {
        if (turn != 0 && turn % turns == 0)
            room += 1 + room / 8;
        SCOPED_TRACE(testing::Message() << room << " blocks");
        road->clear();
        ASSERT_EQ(emptyBlocks, liveBlocks()) << "the failure before leaked";
        road->prepare();
        if (turn % 2 != 0)
            PoolGuard(psiMp).settle(); // every other guard of a test works by calls
        {
            const FullPool full(room);
            road->operate();
            failed = full.refused();
            road->expectDocumented(failed);
        }
        if (failed) {
            road->recover();
            road->operate();
            road->expectDocumented(false);
        }
        ASSERT_EQ(expected, road->made());
    }
    road->clear();
    EXPECT_EQ(emptyBlocks, liveBlocks());
}

template <typename Params> std::string nameOf(const Params &params)
{
    return testing::PrintToString(params.param);
}

INSTANTIATE_TEST_SUITE_P(Of, FailingMemory, testing::ValuesIn(allRows()), nameOf<testing::TestParamInfo<Row>>);

/** @brief Reassembly allocates nothing, it only asks whether the pool could. */
std::vector<Row> rowsThatAllocate()
{
    std::vector<Row> rows = allRows();
    const auto asks = [](const Row &one) { return std::strncmp(one.operation, "psiTsTo", 7) == 0; };
    rows.erase(std::remove_if(rows.begin(), rows.end(), asks), rows.end());
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Of, ExhaustedPool, testing::ValuesIn(rowsThatAllocate()), nameOf<testing::TestParamInfo<Row>>);

/* ------------------------------------------------------------------------------------------------------------------
 * The operations that need no memory
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief One of everything that an operation may be asked about. */
class Bench {
public:
    Bench()
    {
        fillDvb(carousel_);
        carousel_.drive(host);
        EXPECT_EQ(0, autoSchTable(host.id(), dvb));
        fillModel(getMakeObjDataInfo(makeId), largeModel(dvb));
        EXPECT_EQ(0, AutoMakeSection(makeId, dvb));
        for (const u32 type : parsedTypes()) {
            const Bytes section = fullSection(type);
            EXPECT_EQ(0, syntaxAnalysePsi(type, &trees[type], section.data(), static_cast<u32>(section.size())));
        }
    }
    ~Bench()
    {
        destroyTrees();
        EXPECT_EQ(0, psiMakeDestroy(makeId));
        EXPECT_EQ(0, psi_buddy_free(block));
    }
    Bench(const Bench &) = delete;
    Bench &operator=(const Bench &) = delete;

    psiObjId id() const { return host.id(); }
    tsInfo *model() { return host.model(); }
    bool destroyTrees()
    {
        bool destroyed = true;
        for (const auto &[type, tree] : std::exchange(trees, {}))
            destroyed = syntaxDestroyPsiSection(type, tree) == 0 && destroyed;
        return destroyed;
    }

    ScriptedHost host{4711};
    psiObjId makeId = psiMakeCreate();
    std::map<u32, void *> trees;
    void *block = psi_buddy_malloc(100);
    zlstNode *list = nullptr;
    zlstNode node = {};

private:
    Carousel carousel_{500};
};

Calm calm(const char *operation, const std::function<bool(Bench &)> &operate)
{
    return {operation, [=] {
                Bench bench;
                withoutMemory([&] { return operate(bench); });
            }};
}

bool listIsKept(Bench &bench)
{
    return zlst_push(&bench.list, &bench.node) == 0 && zlst_delete(&bench.list, &bench.node) != 0;
}

bool stopIsTakenBack(Bench &bench)
{
    psiSchStop(bench.id());
    const bool stopped = bench.host.object()->stopFlag == 1;
    psiSchStopResume(bench.id());
    return stopped && bench.host.object()->stopFlag == 0;
}

bool levelsAreSet(Bench &)
{
    setPsiSchRPTLevel(3);
    setPsiMakeRPTLevel(3);
    return psi_rpt_lvl == 3 && psimake_rpt_lvl == 3;
}

bool sectionIsCut(Bench &)
{
    const Bytes section = fullSection(PSI_NIT_ACTUAL);
    u8 packets[6 * packetSize];
    u8 count = 0;
    return psiSectionToTs(0x10, section.data(), static_cast<u16>(section.size()), packets, &count) == 0 && count == 1;
}

bool registered(Bench &)
{
    psi_info_register(); // no registry here: it says so
    return true;
}

std::vector<Calm> calmOperations()
{
    static const Bytes section = fullSection(PSI_NIT_ACTUAL);
    static const u32 size = static_cast<u32>(section.size());
    std::vector<Calm> all = {
        calm("zlst_push", listIsKept),
        calm("zlst_delete", listIsKept),
        calm("psi_info_register", registered),
        calm("psi_buddy_free", [](Bench &b) { return psi_buddy_free(std::exchange(b.block, nullptr)) == 0; }),
        calm("psi_buddy_stat",
             [](Bench &) {
                 psiBuddyStat stat = {};
                 return psi_buddy_stat(&stat) == 0 && stat.liveBlocks != 0;
             }),
        calm("psiSch_Exit", [](Bench &) { return psiSch_Exit() == -1; }),
        calm("psiLogHookSet", [](Bench &) { return psiLogHookSet(nullptr, nullptr), true; }),
        calm("psiVersion", [](Bench &) { return psiVersion() != nullptr; }),
        calm("psiSchLock", [](Bench &b) { return psiSchLock(b.id()) == 0 && psiSchUnlock(b.id()) == 0; }),
        calm("psiSchUnlock", [](Bench &b) { return psiSchUnlock(b.id()) == -1; }),
        calm("psiSchUserPointerSet", [](Bench &b) { return psiSchUserPointerSet(b.id(), nullptr) == 0; }),
        calm("psiSchUserPointer", [](Bench &b) { return psiSchUserPointer(b.id()) == nullptr; }),
        calm("psiSchSectionsDestroy", [](Bench &b) { return psiSchSectionsDestroy(b.id(), PSI_BAT, -1) == 0; }),
        calm("psiSchEndReason", [](Bench &b) { return psiSchEndReason(b.id(), PSI_NO_TYPE) == PSI_END_NEVER; }),
        calm("psi_buddy_report", [](Bench &) { return psi_buddy_report(1) == 0; }),
        calm("setPsiSchRPTLevel", levelsAreSet),
        calm("setPsiMakeRPTLevel", levelsAreSet),
        calm("psiGetIncreaseTime", [](Bench &) { return psiGetIncreaseTime(fakeClock::now() - 7) == 7; }),
        calm("showPsiTypeStr", [](Bench &) { return showPsiTypeStr(PSI_PAT) == std::string("PAT"); }),
        calm("singleTypeSectionDataDestroy",
             [](Bench &b) { return singleTypeSectionDataDestroy(&b.model()->sectionList, PSI_BAT) == 0; }),
        calm("singleTypeAndIdExtSectionDataDestroy",
             [](Bench &b) {
                 return singleTypeAndIdExtSectionDataDestroy(&b.model()->sectionList, PSI_BAT, 0x4001) == 0;
             }),
        calm("getProgInfo", [](Bench &b) { return getProgInfo(b.model(), 5) != nullptr; }),
        calm("getTableObj", [](Bench &b) { return getTableObj(b.id()) == b.host.object(); }),
        calm("getSchPrivateValue", [](Bench &b) { return getSchPrivateValue(b.id()) == 4711; }),
        calm("getSchObjDataInfo", [](Bench &b) { return getSchObjDataInfo(b.id()) == b.model(); }),
        calm("clearTableInfo", [](Bench &b) { return clearTableInfo(b.id()) == 0; }),
        calm("clearTsInfo", [](Bench &b) { return clearTsInfo(b.id()) == 0; }),
        calm("psiSchStop", stopIsTakenBack),
        calm("psiSchStopResume", stopIsTakenBack),
        calm("psiSchTimeOutSet", [](Bench &b) { return psiSchTimeOutSet(b.id(), PSI_PAT, 7) == 0; }),
        calm("psiSchTimeOutGet", [](Bench &b) { return psiSchTimeOutGet(b.id(), PSI_PAT) == 2000; }),
        calm("psiCalculateCrc", [](Bench &) { return psiCalculateCrc(section.data(), size) == 0; }),
        calm("psiCheckCrc", [](Bench &) { return psiCheckCrc(section.data(), size) == 0; }),
        calm("psiSectionToTs", sectionIsCut),
        calm("syntaxDestroyPsiSection", [](Bench &b) { return b.destroyTrees(); }),
        calm("clearMakeTableInfo", [](Bench &b) { return clearMakeTableInfo(b.makeId) == 0; }),
        calm("getOutTableObj", [](Bench &b) { return getOutTableObj(b.makeId) != nullptr; }),
        calm("getMakeObjDataInfo", [](Bench &b) { return getMakeObjDataInfo(b.makeId) != nullptr; }),
    };
    for (const Pair &one : pairs())
        all.push_back(one.destroyer);
    return all;
}

void PrintTo(const Calm &one, std::ostream *os)
{
    *os << one.operation;
}

class FailingMemoryUnused : public LibraryTest, public testing::WithParamInterface<Calm> {};

TEST_P(FailingMemoryUnused, OperationSucceedsAndAllocatesNothing)
{
    GetParam().run();
}

INSTANTIATE_TEST_SUITE_P(Of, FailingMemoryUnused, testing::ValuesIn(calmOperations()),
                         nameOf<testing::TestParamInfo<Calm>>);

/* ------------------------------------------------------------------------------------------------------------------
 * The pool itself
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief With everything that the pool has. */
class FailingMemoryPool : public LibraryTest {
protected:
    void TearDown() override
    {
        release();
        LibraryTest::TearDown();
    }
    void fill()
    {
        for (u32 size = 1U << 20; size > 0; size /= 2) {
            while (void *one = psi_buddy_malloc(size))
                blocks_.push_back(one);
        }
    }
    void release()
    {
        for (void *one : std::exchange(blocks_, {}))
            EXPECT_EQ(0, psi_buddy_free(one));
    }

private:
    std::vector<void *> blocks_;
};

TEST_F(FailingMemoryPool, HasABlockAgainWhenOthersCameBack)
{
    fill();
    EXPECT_EQ(nullptr, psi_buddy_malloc(1));
    EXPECT_EQ(nullptr, psi_buddy_realloc(nullptr, 1));
    release();
    void *const block = psi_buddy_malloc(1000);
    EXPECT_NE(nullptr, block);
    EXPECT_EQ(0, psi_buddy_free(block));
}

TEST_F(FailingMemoryPool, KeepsABlockThatCannotGrow)
{
    u8 *block = poolCopy(counting(40));
    fill();
    EXPECT_EQ(nullptr, psi_buddy_realloc(block, 5000));
    EXPECT_EQ(counting(40), bytesAt(block, 40));
    EXPECT_EQ(40U, poolBlockSize(block));
    release();
    block = static_cast<u8 *>(psi_buddy_realloc(block, 5000));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(counting(40), bytesAt(block, 40));
    EXPECT_EQ(0, psi_buddy_free(block));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Nothing was left out
 * ---------------------------------------------------------------------------------------------------------------- */

using Names = std::set<std::string>;

Names declaredNames()
{
    std::istringstream words(PSI_PUBLIC_NAMES);
    return Names(std::istream_iterator<std::string>(words), {});
}

TEST(FailingMemoryTables, HoldEveryOperationOfTheHeader)
{
    Names allocating = {"psi_buddy_malloc", "psi_buddy_realloc"}; // FailingMemoryPool
    for (const Row &one : allRows())
        allocating.insert(one.operation);
    // The start makes the pool; psi_init_test.cpp and posix_failures_test.cpp let that fail.
    Names others = {"psiSch_Init", "headTableObj", "headMakeTableObj"};
    for (const Calm &one : calmOperations())
        others.insert(one.operation);
    Names listed = allocating;
    listed.insert(others.begin(), others.end());
    EXPECT_EQ(declaredNames(), listed);
    EXPECT_EQ(allocating.size() + others.size(), listed.size()) << "in both";
}

} // namespace
} // namespace psitest
