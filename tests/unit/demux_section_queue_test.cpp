// The section filter of a search over a live input: one version at a time, whole where it can be.
#include "demux/sectionQueue.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

using namespace psi::demux;
using psitest::Bytes;
using std::chrono::milliseconds;

namespace {

class LiveFilterQueue : public testing::Test {
protected:
    void SetUp() override { arm(0); }

    static Bytes section(u8 number, u8 last, u8 version, u8 current = 1, u16 idExt = 1)
    {
        return psitest::LongSectionBuilder(0x42)
            .idExt(idExt)
            .number(number, last)
            .version(version)
            .currentNext(current)
            .body(Bytes{idExt == 1 ? u8{9} : u8{8}, 9, 0xFF})
            .build();
    }
    void arm(u8 number, bool useIdExt = false)
    {
        Filter filter;
        filter.pid = 0x11;
        filter.tableId = 0x42;
        filter.sectionNo = number;
        filter.useIdExt = useIdExt;
        filter.tableIdExt = 1;
        queue.arm(filter, now);
    }
    void offer(const Bytes &bytes) { queue.offer(0x11, bytes.data(), static_cast<u16>(bytes.size()), now); }
    /** The section that a search for this number gets; empty: none. */
    Bytes taken(u8 number)
    {
        arm(number);
        Captured captured;
        return queue.take(captured, now) ? Bytes(captured.bytes.begin(), captured.bytes.begin() + captured.length)
                                         : Bytes();
    }

    SectionQueue queue;
    SectionQueue::Clock::time_point now = SectionQueue::Clock::now();
};

TEST_F(LiveFilterQueue, OfATableThatChangesWhileItComesTheNewVersionIsGivenWhole)
{
    offer(section(0, 2, 1));
    offer(section(1, 2, 1));
    EXPECT_EQ(taken(0), Bytes());
    for (const u8 number : {u8{2}, u8{0}, u8{1}})
        offer(section(number, 2, 2));
    for (const u8 number : {u8{0}, u8{1}, u8{2}})
        EXPECT_EQ(taken(number), section(number, 2, 2));
}

TEST_F(LiveFilterQueue, AVersionThatWasBegunIsGivenToItsEnd)
{
    for (const u8 number : {u8{0}, u8{1}, u8{2}})
        offer(section(number, 2, 1));
    EXPECT_EQ(taken(0), section(0, 2, 1));
    for (const u8 number : {u8{0}, u8{1}, u8{2}})
        offer(section(number, 2, 2));
    EXPECT_EQ(taken(1), section(1, 2, 1));
    EXPECT_EQ(taken(0), Bytes()) << "version 1 is not whole yet";
    EXPECT_EQ(taken(2), section(2, 2, 1));
    EXPECT_EQ(taken(0), section(0, 2, 2)) << "a search that begins anew gets the next one";
}

TEST_F(LiveFilterQueue, AVersionIsHeldToAlsoWhereItCannotBecomeWhole)
{
    offer(section(0, 2, 1));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(taken(0), Bytes());
        now += SectionQueue::kPatience / 4;
    }
    EXPECT_EQ(taken(0), section(0, 2, 1));
    offer(section(1, 2, 2));
    EXPECT_EQ(taken(1), Bytes());
    offer(section(1, 2, 1));
    EXPECT_EQ(taken(1), section(1, 2, 1));
}

TEST_F(LiveFilterQueue, WhatDoesNotBecomeWholeIsGivenWhenItComesAgain)
{
    offer(section(0, 2, 1));
    offer(section(2, 2, 1));
    EXPECT_EQ(taken(0), Bytes());
    offer(section(0, 2, 1));
    EXPECT_EQ(taken(0), section(0, 2, 1));
    EXPECT_EQ(taken(1), Bytes());
    EXPECT_EQ(taken(2), section(2, 2, 1));
}

TEST_F(LiveFilterQueue, ATableThatNeverStaysIsGivenAfterAWhile)
{
    Bytes last;
    for (u8 version = 0; now < SectionQueue::Clock::time_point::max(); version = (version + 1) & 31) {
        last = section(0, 1, version);
        offer(last);
        if (const Bytes got = taken(0); !got.empty()) {
            EXPECT_EQ(got, last);
            EXPECT_GE(version, 10);
            return;
        }
        now += SectionQueue::kPatience / 10;
    }
}

TEST_F(LiveFilterQueue, WhatIsNotYetApplicableIsNeitherGivenNorCounted)
{
    offer(section(0, 1, 1));
    offer(section(0, 1, 2, 0));
    offer(section(1, 1, 2, 0));
    EXPECT_EQ(taken(0), Bytes());
    EXPECT_EQ(taken(1), Bytes());
    offer(section(1, 1, 1));
    EXPECT_EQ(taken(0), section(0, 1, 1));
}

TEST_F(LiveFilterQueue, OneSubTableDoesNotWaitForAnother)
{
    offer(section(0, 1, 1));
    offer(section(0, 0, 5, 1, 2));
    EXPECT_EQ(taken(0), section(0, 0, 5, 1, 2));
}

TEST_F(LiveFilterQueue, AFloodIsBoundedAndWhatIsLeftOutIsCounted)
{
    for (u32 id = 0; id < 3000; ++id)
        offer(section(0, 1, 1, 1, static_cast<u16>(id + 2)));
    EXPECT_EQ(queue.leftOut(), 3000 - SectionQueue::kMostWaiting);
}

} // namespace
