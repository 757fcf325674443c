// What an edit keeps has bounds, each tried by going beyond it; what lies beyond is left out in a way that is
// documented.
#include "edit/editStream.h"
#include "edit/editTables.h"

#include "support/sectionBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace psitest;
using namespace psitool;

constexpr u16 bouquetPid = 0x11;

Bytes numberedBouquet(u32 number)
{
    return BatBuilder().bouquetId(1).desc({0x80, 2, static_cast<u8>(number >> 8), static_cast<u8>(number)}).build();
}

SharedSection sharedBouquet(u32 number)
{
    return std::make_shared<const Bytes>(numberedBouquet(number));
}

psi::describe::ByteView viewOf(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

EditedTables selectingAll()
{
    EditedTables tables;
    tables.edits.push_back({[](u16, psi::describe::ByteView) { return true; }, [](Trees &) { return true; }});
    return tables;
}

TEST(EditBounds, OfATableThatNeverStopsChangingTheLatestVersionsAreKept)
{
    constexpr u32 most = 1024;
    EditedTables tables = selectingAll();
    EditedTable *table = tables.of(bouquetPid, viewOf(numberedBouquet(0)));
    for (u32 i = 0; i < most; ++i)
        table->add(viewOf(numberedBouquet(i)));
    EXPECT_EQ(table->completeVersions().size(), most);
    table->add(viewOf(numberedBouquet(0))); // the first one again: the second is the one unseen for longest
    for (u32 i = most; i < 2 * most - 1; ++i)
        table->add(viewOf(numberedBouquet(i)));
    const std::vector<Sections> kept = table->completeVersions();
    EXPECT_EQ(kept.size(), most);
    const auto has = [&](u32 number) {
        return std::count(kept.begin(), kept.end(), Sections{numberedBouquet(number)});
    };
    EXPECT_EQ(has(0), 1);
    EXPECT_EQ(has(1), 0);
    EXPECT_EQ(has(most), 1);
}

TEST(EditBounds, OfMoreTablesTheRestIsCountedAndNotEdited)
{
    EditedTables tables = selectingAll();
    const auto bouquet = [](u32 id) { return BatBuilder().bouquetId(static_cast<u16>(id)).build(); };
    for (u32 id = 0; id < EditedTables::mostTables; ++id)
        ASSERT_NE(tables.of(bouquetPid, viewOf(bouquet(id))), nullptr);
    EXPECT_EQ(tables.beyond(), 0u);
    EXPECT_EQ(tables.of(bouquetPid, viewOf(bouquet(0xF000))), nullptr);
    EXPECT_NE(tables.of(bouquetPid, viewOf(bouquet(5))), nullptr);
    EXPECT_EQ(tables.beyond(), 1u);
}

TEST(EditBounds, AFloodOfTablesThatAreNotEditedTakesNoRoomFromTheOthers)
{
    EditedTables tables;
    tables.edits.push_back(
        {[](u16, psi::describe::ByteView section) { return section[0] == 0x42; }, [](Trees &) { return true; }});
    for (u32 id = 0; id <= EditedTables::mostTables; ++id)
        ASSERT_EQ(tables.of(bouquetPid, viewOf(BatBuilder().bouquetId(static_cast<u16>(id)).build())), nullptr);
    EXPECT_NE(tables.of(bouquetPid, viewOf(SdtBuilder().build())), nullptr);
    EXPECT_EQ(tables.beyond(), 0u);
}

TEST(EditBounds, ARunningStreamLeavesOutWhatIsLateWhenAThousandSectionsWait)
{
    constexpr u32 mostLate = 1024;
    PidWriter writer(bouquetPid, true, true);
    for (u32 i = 0; i < mostLate + 10; ++i)
        writer.insert(i, sharedBouquet(i));
    EXPECT_EQ(writer.dueBefore(mostLate + 20), 0u);
    EditCounters counters;
    writer.addTo(counters);
    EXPECT_EQ(counters.lateSections, 10u);
}

TEST(EditBounds, ARepetitionThatIsLateIsLeftOutWhileTheSameWaits)
{
    PidWriter writer(bouquetPid, true, true);
    for (u32 i = 0; i < 30; ++i)
        writer.insert(i, sharedBouquet(i % 3));
    EXPECT_EQ(writer.dueBefore(40), 0u);
    EditCounters counters;
    writer.addTo(counters);
    EXPECT_EQ(counters.lateSections, 27u);
}

TEST(EditBounds, AFileWhoseSectionsFindNoPlaceEndsTheEdit)
{
    constexpr u32 mostQueued = 65536;
    PidWriter writer(bouquetPid, false, false);
    const SharedSection section = sharedBouquet(1);
    for (u32 i = 0; i < mostQueued; ++i)
        writer.insert(i, section);
    EXPECT_EQ(writer.dueBefore(mostQueued), 0u);
    writer.insert(mostQueued, section);
    try {
        writer.dueBefore(mostQueued + 1);
        ADD_FAILURE() << "there is no bound";
    } catch (const EditError &error) {
        EXPECT_STREQ(error.what(),
                     "PID 0x0011 (17): the edited tables need many more packets than there are places for");
    }
}

/** Sections of a bouquet, each with one transport stream more than its 1024 bytes have room for. */
Trees fullBouquet(std::size_t sections, const TableContext &context)
{
    constexpr std::size_t room = 168;
    Fields tree = readTrees({BatBuilder().bouquetId(1).transportStream(1, 1).build()}, context)[0];
    for (Field &field : tree)
        if (field.key == "transport_streams")
            field.items.resize(room + 1, field.items[0]);
    return Trees(sections, tree);
}

TEST(EditBounds, ATableThatGrowsBeyond256SectionsIsRefused)
{
    const TableContext context{psi::describe::tableKindOf(0x4A), bouquetPid, {}};
    EXPECT_EQ(writeTrees(fullBouquet(128, context), context).size(), 256u);
    try {
        writeTrees(fullBouquet(129, context), context);
        ADD_FAILURE() << "there is no bound";
    } catch (const EditError &error) {
        EXPECT_STREQ(error.what(), "the BAT would need more than 256 sections");
    }
}

TEST(EditBounds, BytesThatAreNoPacketsAreNotHeldForLong)
{
    constexpr std::size_t held = 1U << 20;
    constexpr std::size_t leastHeld = 16U << 10;
    EditPlan plan;
    StreamEditor editor(plan);
    std::size_t out = 0;
    EditedBytes way(editor, held, [&](const u8 *, std::size_t size) { out += size; });
    const Bytes garbage(64U << 10, 0x55);
    std::size_t in = 0;
    for (int i = 0; i < 100; ++i) {
        way.feed(garbage.data(), garbage.size());
        in += garbage.size();
        EXPECT_LE(in - out, leastHeld + garbage.size());
    }
    way.finish();
    EXPECT_EQ(in, out);
}

} // namespace
