// The filter record, the work record, and the step from the packets of a read to a stored section.
#include "support/faultInjection.h"
#include "support/searchTest.h"

#include "psiInternal.h"

#include <cstring>
#include <utility>

using namespace psi::core;

namespace psitest {
namespace {

/* ---- The filter record ---- */

class FilterRecord : public SearchTest {
protected:
    static psiSchInfo dirty()
    {
        psiSchInfo info;
        std::memset(static_cast<void *>(&info), 0xA5, sizeof info);
        return info;
    }
};

TEST_F(FilterRecord, HasPidTableIdAndSizeOfEveryType)
{
    for (const TypeFacts &facts : typesWithTable()) {
        SCOPED_TRACE(facts.name);
        psiSchInfo info = dirty();
        initPsiSchItem(host->id(), &info, facts.psiType);
        const u16 pid = facts.psiType == PSI_PMT ? 0 : facts.pid;
        psiSchInfo expected = filterRecord(host->id(), pid, facts.tableId);
        expected.longSection = facts.longSection ? 1 : 0;
        EXPECT_EQ(expected, info);
        EXPECT_NO_LOG(log);
    }
}

TEST_F(FilterRecord, OnlyTheLowByteOfTheTypeCounts)
{
    psiSchInfo info = dirty();
    initPsiSchItem(host->id(), &info, 0x102);
    EXPECT_EQ(filterRecord(host->id(), 0x11, 0x42), info);
    EXPECT_NO_LOG(log);
}

TEST_F(FilterRecord, OfATypeWithoutTableIsEmptyButForTheObject)
{
    for (const u32 type : {8U, 16U, 255U}) {
        psiSchInfo info = dirty();
        initPsiSchItem(host->id(), &info, type);
        EXPECT_EQ(filterRecord(host->id(), 0, 0), info);
        EXPECT_LOG(log, warning("psiSch", format("initPsiSchItem: psiType = %u, not support!", type)));
    }
}

TEST_F(FilterRecord, IsLeftAloneWithoutAnObject)
{
    psiSchInfo info = dirty();
    initPsiSchItem(0, &info, PSI_PAT);
    EXPECT_EQ(dirty(), info);
    EXPECT_LOG(log, error("psiSch", "initPsiSchItem: objId=0, ERROR!"));
    initPsiSchItem(0, nullptr, PSI_PAT);
    EXPECT_LOG(log, error("psiSch", "initPsiSchItem: objId=0, ERROR!"));
}

TEST_F(FilterRecord, MustBeThere)
{
    initPsiSchItem(host->id(), nullptr, PSI_PAT);
    EXPECT_LOG(log, error("psiSch", "initPsiSchItem: psiSchInfo is NULL!"));
}

/* ---- The work record ---- */

class WorkRecord : public LibraryTest {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(4);
        std::memset(static_cast<void *>(&work), 0x5A, sizeof work);
    }
    void expectFresh(u8 psiType, u8 tableId)
    {
        EXPECT_EQ(psiType, work.psiType);
        EXPECT_EQ(tableId, work.tableId);

        EXPECT_EQ(0, work.section_len);
        EXPECT_EQ(repeated(8, 0xFF), bytesAt(work.header.bytes, 8));
    }

    tableInfo work;
};

TEST_F(WorkRecord, IsReadyForEveryType)
{
    for (const TypeFacts &facts : typesWithTable()) {
        SCOPED_TRACE(facts.name);
        sectionData *const before = work.sectionDataRef;
        initTmpTable(&work, facts.psiType);
        expectFresh(static_cast<u8>(facts.psiType), facts.tableId);
        EXPECT_EQ(before, work.sectionDataRef);
        EXPECT_NO_LOG(log);
        std::memset(static_cast<void *>(&work), 0x5A, sizeof work);
    }
}

TEST_F(WorkRecord, KeepsTheTableIdForATypeWithoutTable)
{
    for (const u32 type : {8U, 16U, 255U}) {
        initTmpTable(&work, type);
        expectFresh(static_cast<u8>(type), 0x5A);
        EXPECT_LOG(log, warning("psiSch", format("initTmpTable: psiType = %u, not support!", type)));
    }
}

TEST_F(WorkRecord, MustBeThere)
{
    initTmpTable(nullptr, PSI_PAT);
    EXPECT_LOG(log, error("psiSch", "initTmpTable: tableInfo is NULL!"));
}

/* ---- From packets to a stored section ---- */

class SectionStore : public SearchTest {
protected:
    void SetUp() override
    {
        SearchTest::SetUp();
        initTmpTable(&work, PSI_BAT);
        log.clear();
    }
    /** @brief ts2Section() of whole packets, with some room behind them. */
    i32 take(const Bytes &packets, std::optional<u8> tsNum = {})
    {
        Bytes data = packets;
        data.resize(std::max<std::size_t>(data.size(), 25 * packetSize), 0);
        return ts2Section(host->object(), &work, data.data(),
                          tsNum.value_or(static_cast<u8>(packets.size() / packetSize)));
    }

    tableInfo work = {};
    const Bytes bat = BatBuilder().bouquetId(0x4321).number(3, 9).build();
};

TEST_F(SectionStore, ChecksItsArguments)
{
    u8 data[packetSize] = {};
    EXPECT_EQ(-1, ts2Section(nullptr, &work, data, 1));
    EXPECT_LOG(log, error("psiSch", "ts2Section: tableObj is NULL!"));
    EXPECT_EQ(-1, ts2Section(host->object(), nullptr, data, 1));
    EXPECT_LOG(log, error("psiSch", "ts2Section: tableInfo is NULL!"));
    EXPECT_EQ(-1, ts2Section(host->object(), &work, nullptr, 1));
    EXPECT_LOG(log, error("psiSch", "ts2Section: tsData is NULL!"));
    EXPECT_EQ(-1, ts2Section(nullptr, nullptr, nullptr, 0));
    EXPECT_LOG(log, error("psiSch", "ts2Section: tableObj is NULL!"));
}

TEST_F(SectionStore, RefusesNoPacketsAndMoreThan24)
{
    for (const u8 tsNum : Bytes{0, 25, 255}) {
        EXPECT_EQ(-1, take(packetsOf(bat), tsNum));
        EXPECT_LOG(log, error("psiSch", format("ts2Section: tsNum=%u, ERROR!", tsNum)));
    }
}

TEST_F(SectionStore, TakesUpTo24PacketsForEveryType)
{
    for (const u8 tsNum : Bytes{1, 7, 8, 24}) {
        EXPECT_EQ(0, take(packetsOf(bat), tsNum));
        EXPECT_EQ((LogLines{packetsRead(tsNum)}), searchLog());
    }
    EXPECT_EQ(4U, storedSections(model()).size());
}

TEST_F(SectionStore, StoresTheSectionWithWhatItsHeaderSays)
{
    EXPECT_EQ(0, take(packetsOf(bat, 0x11)));
    EXPECT_EQ((std::vector<Stored>{{PSI_BAT, 0x11, 3, 0x4321, bat}}), storedSections(model()));
    EXPECT_EQ(model().sectionList, work.sectionDataRef);
    EXPECT_EQ(bat.size(), work.section_len);
    EXPECT_EQ(Bytes(bat.begin(), bat.begin() + 8), bytesAt(work.header.bytes, 8));
    EXPECT_EQ(bat.size(), buddy_size(psiMp, model().sectionList->buf)) << "a block of exactly the section's length";
}

TEST_F(SectionStore, TakesThePidOfTheFirstPacket)
{
    for (const u16 pid : std::vector<u16>{0x0000, 0x0011, 0x1000, 0x1FFB, 0x1FFF}) {
        EXPECT_EQ(0, take(packetsOf(bat, pid)));
        EXPECT_EQ(pid, work.sectionDataRef->pid);
    }
}

TEST_F(SectionStore, OfASectionWithoutAFullHeaderHasOnesForWhatIsMissing)
{
    const Bytes tiny = {0x4A, 0xB0, 0x01, 0x43};
    EXPECT_EQ(0, take(packetsOf(tiny + repeated(9, 0x11), 0x11)));
    EXPECT_EQ((std::vector<Stored>{{PSI_BAT, 0x11, 0xFF, 0x43FF, tiny}}), storedSections(model()));
}

TEST_F(SectionStore, AppendsToWhatIsStored)
{
    const Bytes second = BatBuilder().bouquetId(0x4322).build();
    EXPECT_EQ(0, take(packetsOf(bat)));
    EXPECT_EQ(0, take(packetsOf(second)));
    EXPECT_EQ((std::vector<Stored>{stored(PSI_BAT, 0x100, bat), stored(PSI_BAT, 0x100, second)}),
              storedSections(model()));
    EXPECT_EQ(model().sectionList->link.next, work.sectionDataRef);
}

TEST_F(SectionStore, DoesNotLookAtTheCrc)
{
    Bytes damaged = bat;
    damaged.back() ^= 1;
    EXPECT_EQ(0, take(packetsOf(damaged)));
    EXPECT_EQ((std::vector<Stored>{stored(PSI_BAT, 0x100, damaged)}), storedSections(model()));
}

TEST_F(SectionStore, RefusesAnotherTable)
{
    EXPECT_EQ(-1, take(packetsOf(NitBuilder().build())));
    EXPECT_EQ((LogLines{packetsRead(1), error("psiSch", "ts2Section: tableid error!")}), searchLog());
    EXPECT_EQ(nullptr, model().sectionList);
}

TEST_F(SectionStore, FailsWithTheReassembly)
{
    Bytes packets = packetsOf(bat);
    packets[0] = 0x48;
    EXPECT_EQ(-1, take(packets));
    EXPECT_LOG(log, packetsRead(1), info("psiFun", "tsGetTable tsNum = 1"),
               warning("psiFun", "psiTsToSection: tsData[0] != 0x47"));
    EXPECT_EQ(nullptr, model().sectionList);
}

TEST_F(SectionStore, HasTheShortLimitForAllButTheEmergencyTables)
{
    for (const TypeFacts &facts : typesWithTable()) {
        SCOPED_TRACE(facts.name);
        for (const auto &[size, fits] :
             {std::pair{1024, true}, std::pair{1025, facts.longSection}, std::pair{4096, facts.longSection}}) {
            initTmpTable(&work, facts.psiType);
            const Bytes packets = packetsOf(sectionOfSize(static_cast<std::size_t>(size), facts.tableId));
            EXPECT_EQ(fits ? 0 : -1, take(packets)) << size;
        }
    }
}

/** @brief What a failing call says, in order. */
struct StoreFailure {
    Call call;
    unsigned nth;
    LogLines lines;
};

TEST_F(SectionStore, LosesOnlyTheSectionWhenACallFails)
{
    const LogLine creatFailed = error("psiSch", "ts2Section: sectionData creat failed!");
    const StoreFailure failures[] = {
        {Call::Malloc, 1, {}}, // the work record of the reassembly
        {Call::Malloc, 2, {error("psiMem", "sectionDataCreat: buddy_malloc sectionData node failed"), creatFailed}},
        {Call::Malloc, 3, {error("psiSch", "ts2Section: sectionData->buf buddy_malloc failed!")}},
        {Call::Push, 1, {error("psiMem", "sectionDataCreat: sectionData zlst_push failed!"), creatFailed}},
    };
    for (const StoreFailure &failure : failures) {
        const FaultPlan plan(failure.call, failure.nth);
        EXPECT_EQ(-1, take(packetsOf(bat)));
        EXPECT_EQ(1U, plan.injected());
        EXPECT_TRUE(work.outOfMemory);
        EXPECT_EQ(Bytes(bat.begin(), bat.begin() + 8), bytesAt(work.header.bytes, 8)) << "what was lost";
        EXPECT_EQ(failure.lines, ofKind(log.take(), Kind::Error));
        EXPECT_EQ(nullptr, model().sectionList);
    }
    EXPECT_EQ(0, take(packetsOf(bat)));
}

} // namespace
} // namespace psitest
