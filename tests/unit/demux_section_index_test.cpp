#include "demux/filterRound.h"
#include "demux/packetizer.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

using namespace psi::demux;
using psitest::Bytes;
using psitest::LongSectionBuilder;

namespace {

using psitest::operator+;

constexpr uint64_t kRoom = 1u << 20;

Bytes section(u8 tableId, u16 idExt, u8 number = 0, u8 last = 0, u8 version = 0, size_t bodyBytes = 10)
{
    return LongSectionBuilder(tableId)
        .idExt(idExt)
        .number(number, last)
        .version(version)
        .body(psitest::counting(bodyBytes))
        .build();
}

bool add(SectionIndex &index, u16 pid, const Bytes &bytes, uint64_t packet = 0)
{
    return index.add(pid, bytes.data(), static_cast<u16>(bytes.size()), packet);
}

Filter filterFor(u16 pid, u8 tableId, u8 sectionNo = 0)
{
    Filter filter;
    filter.pid = pid;
    filter.tableId = tableId;
    filter.sectionNo = sectionNo;
    return filter;
}

Filter filterFor(u16 pid, u8 tableId, u8 sectionNo, u16 idExt)
{
    Filter filter = filterFor(pid, tableId, sectionNo);
    filter.useIdExt = true;
    filter.tableIdExt = idExt;
    return filter;
}

/** A round over an index, with the bytes of what it gives; empty when it gives nothing. */
struct RoundOver {
    const SectionIndex &index;
    FilterRound round = {};
    FilterRound::Answer answer = FilterRound::Answer::notYet;

    Bytes next(const Filter &filter, bool complete = true)
    {
        round.arm(filter);
        return again(complete);
    }
    Bytes again(bool complete = true)
    {
        u32 number = 0;
        answer = round.next(index, complete, number);
        if (answer != FilterRound::Answer::section)
            return {};
        return {index[number].bytes, index[number].bytes + index[number].length};
    }
};

} // namespace

TEST(SectionIndex, StoresADistinctSectionOnceAndCountsIt)
{
    SectionIndex index(kRoom);
    const Bytes one = section(0x42, 1);
    EXPECT_TRUE(add(index, 0x11, one, 3));
    EXPECT_TRUE(add(index, 0x11, one, 8));
    ASSERT_EQ(1u, index.sections().size());
    EXPECT_EQ(2u, index[0].count);
    EXPECT_EQ(3u, index[0].firstPacket);
    EXPECT_EQ(8u, index[0].lastPacket);
    EXPECT_EQ(one, Bytes(index[0].bytes, index[0].bytes + index[0].length));
}

TEST(SectionIndex, TheSameBytesOnTwoPidsAreTwoSections)
{
    SectionIndex index(kRoom);
    add(index, 0x11, section(0x42, 1));
    add(index, 0x12, section(0x42, 1));
    EXPECT_EQ(2u, index.sections().size());
}

TEST(SectionIndex, RefusesAWrongCrc)
{
    SectionIndex index(kRoom);
    Bytes bad = section(0x42, 1);
    bad.back() ^= 1;
    EXPECT_FALSE(add(index, 0x11, bad));
    EXPECT_TRUE(index.sections().empty());
}

TEST(SectionIndex, MatchesPidTableNumberAndExtension)
{
    SectionIndex index(kRoom);
    add(index, 0x11, section(0x42, 1, 0, 1));
    add(index, 0x11, section(0x42, 1, 1, 1));
    add(index, 0x11, section(0x42, 2, 0, 0));
    add(index, 0x11, section(0x46, 1, 0, 0));
    add(index, 0x10, section(0x42, 1, 0, 0));
    EXPECT_EQ(2u, index.matching(filterFor(0x11, 0x42)).size());
    EXPECT_EQ(1u, index.matching(filterFor(0x11, 0x42, 1)).size());
    EXPECT_EQ(1u, index.matching(filterFor(0x11, 0x42, 0, 2)).size());
    EXPECT_EQ(0u, index.matching(filterFor(0x11, 0x42, 1, 2)).size());
    EXPECT_EQ(1u, index.matching(filterFor(0x10, 0x42)).size());
    // Extension 0 is an extension like others.
    EXPECT_EQ(0u, index.matching(filterFor(0x11, 0x42, 0, 0)).size());
}

TEST(SectionIndex, APidFullOfDataLeavesRoomForTables)
{
    SectionIndex index(64 * 1024);
    for (u16 i = 0; i < 1000; ++i)
        EXPECT_TRUE(add(index, 0x200, section(0x3E, i, 0, 0, 0, 100)));
    const size_t ofData = index.sections().size();
    EXPECT_LT(ofData, 1000u);
    EXPECT_GT(ofData, 5u);
    EXPECT_EQ(1000 - ofData, index.notStored());
    EXPECT_TRUE(add(index, 0x00, section(0x00, 1)));
    EXPECT_EQ(ofData + 1, index.sections().size());
}

TEST(SectionIndex, AllPidsTogetherStayWithinTheLimit)
{
    SectionIndex index(64 * 1024);
    for (u16 i = 0; i < 500; ++i)
        add(index, i, section(0x3E, i, 0, 0, 0, 500));
    EXPECT_LE(index.sections().size(), 64u);
    EXPECT_EQ(500 - index.sections().size(), index.notStored());
}

TEST(FilterRound, GoesOnBehindTheSectionHandedOutLast)
{
    SectionIndex index(kRoom);
    for (u16 i = 0; i < 4; ++i)
        add(index, 0x11, section(0x46, i));
    RoundOver over{index};
    for (u16 i = 0; i < 4; ++i)
        EXPECT_EQ(section(0x46, i), over.next(filterFor(0x11, 0x46)));
}

TEST(FilterRound, OnePlaceHoldsForAllPids)
{
    SectionIndex index(kRoom);
    add(index, 0x00, section(0x00, 1, 0, 0, 1));
    add(index, 0x10, section(0x40, 1));
    add(index, 0x00, section(0x00, 1, 0, 0, 2));
    RoundOver over{index};
    over.next(filterFor(0x10, 0x40));
    EXPECT_EQ(section(0x00, 1, 0, 0, 2), over.next(filterFor(0x00, 0x00)));
}

TEST(FilterRound, WrapsAtTheEnd)
{
    SectionIndex index(kRoom);
    add(index, 0x00, section(0x00, 1));
    add(index, 0x10, section(0x40, 1));
    RoundOver over{index};
    EXPECT_EQ(section(0x40, 1), over.next(filterFor(0x10, 0x40)));
    EXPECT_EQ(section(0x00, 1), over.next(filterFor(0x00, 0x00)));
}

TEST(FilterRound, IsExhaustedOnceAllWasHandedOut)
{
    SectionIndex index(kRoom);
    for (int repetition = 0; repetition < 3; ++repetition)
        for (u16 i = 0; i < 3; ++i)
            add(index, 0x11, section(0x4A, i));
    RoundOver over{index};
    for (u16 i = 0; i < 3; ++i)
        EXPECT_FALSE(over.next(filterFor(0x11, 0x4A)).empty());
    EXPECT_TRUE(over.next(filterFor(0x11, 0x4A)).empty());
    EXPECT_EQ(FilterRound::Answer::exhausted, over.answer);
    EXPECT_FALSE(over.next(filterFor(0x11, 0x4A)).empty()) << "the answer begins a new round";
}

TEST(FilterRound, IsExhaustedAtOnceWhenNothingMatches)
{
    SectionIndex index(kRoom);
    add(index, 0x11, section(0x42, 1));
    RoundOver over{index};
    over.next(filterFor(0x11, 0x4A));
    EXPECT_EQ(FilterRound::Answer::exhausted, over.answer);
    over.next(filterFor(0x100, 0x02, 0, 77));
    EXPECT_EQ(FilterRound::Answer::exhausted, over.answer);
}

TEST(FilterRound, RestartHandsOutTheSameAgain)
{
    SectionIndex index(kRoom);
    add(index, 0x00, section(0x00, 1));
    RoundOver over{index};
    EXPECT_EQ(section(0x00, 1), over.next(filterFor(0x00, 0x00)));
    over.round.restart();
    EXPECT_EQ(section(0x00, 1), over.next(filterFor(0x00, 0x00)));
}

TEST(FilterRound, AnotherTableBeginsANewRound)
{
    SectionIndex index(kRoom);
    add(index, 0x11, section(0x42, 1));
    add(index, 0x11, section(0x46, 1));
    RoundOver over{index};
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(over.next(filterFor(0x11, 0x42)).empty());
        EXPECT_FALSE(over.next(filterFor(0x11, 0x46)).empty());
    }
}

TEST(FilterRound, HandsOutOneVersionOfASubTable)
{
    SectionIndex index(kRoom);
    const Bytes first = section(0x42, 1, 0, 1, 1);
    const Bytes second = section(0x42, 1, 1, 1, 1);
    const Bytes other = section(0x42, 2, 0, 0, 5);
    add(index, 0x11, first, 0);
    add(index, 0x11, section(0x42, 1, 1, 1, 2), 1);
    add(index, 0x11, section(0x42, 1, 0, 1, 2), 2);
    add(index, 0x11, other, 3);
    add(index, 0x11, second, 4);
    RoundOver over{index};
    EXPECT_EQ(first, over.next(filterFor(0x11, 0x42)));
    EXPECT_EQ(second, over.next(filterFor(0x11, 0x42, 1, 1))) << "not that of the next version";
    EXPECT_EQ(other, over.next(filterFor(0x11, 0x42)));
    EXPECT_EQ(Bytes(), over.next(filterFor(0x11, 0x42)));
}

TEST(FilterRound, TheSdtsOfTwoNetworksAreTwoSubTables)
{
    SectionIndex index(kRoom);
    const Bytes one = psitest::SdtBuilder().other().tsId(1).originalNetworkId(7).version(3).build();
    const Bytes two = psitest::SdtBuilder().other().tsId(1).originalNetworkId(8).version(4).build();
    add(index, 0x11, one, 0);
    add(index, 0x11, two, 1);
    RoundOver over{index};
    EXPECT_EQ(one, over.next(filterFor(0x11, 0x46)));
    EXPECT_EQ(two, over.next(filterFor(0x11, 0x46)));
}

TEST(FilterRound, ASectionThatIsNotYetApplicableIsNotHandedOut)
{
    SectionIndex index(kRoom);
    const Bytes announced = LongSectionBuilder(0x42).idExt(1).version(2).currentNext(0).build();
    const Bytes current = LongSectionBuilder(0x42).idExt(1).version(1).build();
    add(index, 0x11, announced, 0);
    add(index, 0x11, current, 1);
    RoundOver over{index};
    EXPECT_EQ(current, over.next(filterFor(0x11, 0x42)));
    EXPECT_EQ(Bytes(), over.next(filterFor(0x11, 0x42)));
    EXPECT_FALSE(filterFor(0x11, 0x42).passes(0x11, announced.data(), static_cast<u16>(announced.size())));
    EXPECT_TRUE(filterFor(0x11, 0x42).passes(0x11, current.data(), static_cast<u16>(current.size())));
}

TEST(FilterRound, SkipsSectionsTooLargeForTheFilter)
{
    SectionIndex index(kRoom);
    const Bytes tooLarge = LongSectionBuilder(0xFD).body(psitest::counting(1025 - 12)).build();
    const Bytes fits = LongSectionBuilder(0xFD).body(psitest::counting(1024 - 12)).build();
    add(index, 0x21, tooLarge);
    add(index, 0x21, fits);
    RoundOver over{index};
    Filter filter = filterFor(0x21, 0xFD);
    EXPECT_EQ(fits, over.next(filter));
    over.round.restart();
    filter.maxLength = 4096;
    EXPECT_EQ(tooLarge, over.next(filter));
}

TEST(FilterRound, AMissingSectionIsNotTheEndOfItsTable)
{
    SectionIndex index(kRoom);
    add(index, 0x00, section(0x00, 1, 0, 2));
    add(index, 0x00, section(0x00, 1, 2, 2));
    RoundOver over{index};
    EXPECT_FALSE(over.next(filterFor(0x00, 0x00, 0)).empty());
    EXPECT_TRUE(over.next(filterFor(0x00, 0x00, 1)).empty());
    EXPECT_EQ(FilterRound::Answer::missing, over.answer);
    EXPECT_EQ(section(0x00, 1, 2, 2), over.next(filterFor(0x00, 0x00, 2)));
}

TEST(FilterRound, TheNextSubTableComesInPlaceOfAMissingLastSection)
{
    SectionIndex index(kRoom);
    add(index, 0x11, section(0x4A, 1, 0, 1));
    add(index, 0x11, section(0x4A, 2, 0, 0));
    RoundOver over{index};
    EXPECT_EQ(section(0x4A, 1, 0, 1), over.next(filterFor(0x11, 0x4A)));
    EXPECT_EQ(section(0x4A, 2, 0, 0), over.next(filterFor(0x11, 0x4A, 1, 1)));
}

TEST(FilterRound, WaitsWhileTheInputIsNotComplete)
{
    SectionIndex index(kRoom);
    RoundOver over{index};
    EXPECT_TRUE(over.next(filterFor(0x00, 0x00), false).empty());
    EXPECT_EQ(FilterRound::Answer::notYet, over.answer);
    add(index, 0x00, section(0x00, 1));
    EXPECT_EQ(section(0x00, 1), over.again(false));
    EXPECT_TRUE(over.next(filterFor(0x00, 0x00), false).empty());
    EXPECT_EQ(FilterRound::Answer::notYet, over.answer);
    EXPECT_TRUE(over.again(true).empty());
    EXPECT_EQ(FilterRound::Answer::exhausted, over.answer);
}

TEST(Packetizer, PacketsGiveTheSectionBack)
{
    ASSERT_TRUE(initLibrary());
    for (const size_t size : std::vector<size_t>{12, 182, 183, 184, 367, 368, 1024, 1025, 4096}) {
        const Bytes whole = psitest::sectionOfSize(size);
        std::vector<u8> packets(24 * 188);
        const u8 count = packetize(0x1ABC, whole.data(), static_cast<u16>(size), packets.data());
        EXPECT_EQ((size + 184) / 184, count);
        EXPECT_LE(count, size <= 1024 ? 7 : 24);
        Bytes back(4096);
        u16 length = 0;
        ASSERT_EQ(0, psiTsToLongSection(packets.data(), count, back.data(), &length)) << size;
        back.resize(length);
        EXPECT_EQ(whole, back);
    }
}

TEST(Packetizer, PacketsAreThoseOfAMultiplexer)
{
    const Bytes whole = psitest::sectionOfSize(700);
    std::vector<u8> packets(7 * 188);
    const u8 count = packetize(0x1ABC, whole.data(), 700, packets.data());
    packets.resize(count * size_t{188});
    EXPECT_EQ(psitest::packetsOf(whole, 0x1ABC), packets);
}
