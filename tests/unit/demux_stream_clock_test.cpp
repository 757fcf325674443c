// The time of packets by the PCRs among them.
#include "demux/streamClock.h"

#include <gtest/gtest.h>

namespace psi::demux {
namespace {

constexpr uint64_t kMillisecond = 27000;
constexpr u16 kPcrPid = 0x100;

/** A clock with PCRs at 40 ms, ten packets from one to the next. */
class SteadyClock : public ::testing::Test {
protected:
    SteadyClock()
    {
        for (int i = 0; i < 10; ++i)
            next(10);
    }
    void next(uint64_t packets)
    {
        packet_ += packets;
        ticks_ += 40 * kMillisecond;
        clock_.pcr(kPcrPid, ticks_, false, packet_);
    }
    StreamClock clock_;
    uint64_t packet_ = 0;
    uint64_t ticks_ = 0;
};

TEST_F(SteadyClock, GoesOnBetweenPcrsAtTheirRate)
{
    const double now = clock_.seconds(packet_);
    EXPECT_NEAR(clock_.seconds(packet_ + 5), now + 0.02, 1e-9);
    EXPECT_NEAR(clock_.secondsAtMost(packet_ + 5), now + 0.02, 1e-9);
}

TEST_F(SteadyClock, ABurstTakesNoMoreTimeThanThereIsBetweenTwoPcrs)
{
    const double now = clock_.seconds(packet_);
    EXPECT_NEAR(clock_.seconds(packet_ + 1000), now + 4, 1e-9);
    EXPECT_NEAR(clock_.secondsAtMost(packet_ + 1000), now + 0.04, 1e-9);
}

TEST_F(SteadyClock, BehindABurstTheNextOneIsExpected)
{
    next(1000);
    next(10);
    const double now = clock_.seconds(packet_);
    EXPECT_LT(clock_.secondsAtMost(packet_ + 10), now + 0.002) << "ten packets may be a hundredth of a burst";
    for (int i = 0; i < 1000; ++i)
        next(10);
    EXPECT_NEAR(clock_.secondsAtMost(packet_ + 5), clock_.seconds(packet_) + 0.02, 1e-4) << "there was none for long";
}

TEST_F(SteadyClock, GoesOnAtTheMeanRateWhereNoPcrComesAnyMore)
{
    const double now = clock_.seconds(packet_);
    EXPECT_NEAR(clock_.secondsAtMost(packet_ + 20000), now + 0.04, 1e-9);
    EXPECT_NEAR(clock_.secondsAtMost(packet_ + 25000), now + 100, 1e-6);
}

TEST(StreamClockOfAGivenRate, CountsPacketsOnly)
{
    const StreamClock clock(1504000); // a thousand packets a second
    EXPECT_NEAR(clock.secondsAtMost(500), 0.5, 1e-9);
}

TEST(StreamClockWithoutPcrs, KnowsNoTime)
{
    EXPECT_LT(StreamClock().secondsAtMost(5), 0);
}

} // namespace
} // namespace psi::demux
