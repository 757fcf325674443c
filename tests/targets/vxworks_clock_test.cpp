#include "kernel.h"
#include "psiVxClock.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using u64 = unsigned long long;

constexpr u32 msPerS = 1000;

/** The parameter is the clock rate in ticks per second. */
class VxWorksClock : public testing::TestWithParam<int> {
protected:
    VxWorksClock()
    {
        kernel = Kernel();
        kernel.clockRate = GetParam();
    }
    ~VxWorksClock() override { psiVxClockStop(); }

    void start(u32 tick)
    {
        kernel.tick = tick;
        ASSERT_EQ(psiVxClockStart(), 0);
        EXPECT_EQ(psiVxTick(), 0U);
    }
    static u32 rate() { return static_cast<u32>(GetParam()); }
    int lastDelay() const { return kernel.delays.back(); }
};

TEST_P(VxWorksClock, CountsMillisecondsWithoutLosingAny)
{
    start(0);
    for (u32 tick = 1; tick <= 10 * rate(); tick++) {
        kernel.tick = tick;
        const u64 expected = u64{tick} * msPerS / rate();
        ASSERT_EQ(psiVxTick(), expected) << "after " << tick << " ticks";
    }
}

TEST_P(VxWorksClock, RunsOnWhereTheTickCounterWraps)
{
    start(0xFFFFFFFF - rate());
    kernel.tick += rate();
    EXPECT_EQ(psiVxTick(), msPerS);
    kernel.tick += rate();
    EXPECT_LT(kernel.tick, rate());
    EXPECT_EQ(psiVxTick(), 2 * msPerS);
}

TEST_P(VxWorksClock, RunsOnThroughAllOfTheTickCounter)
{
    start(0);
    const u32 step = 0x10000000;
    u64 ticks = 0;
    for (int i = 0; i < 64; i++) { // four times round
        kernel.tick += step;
        ticks += step;
        ASSERT_EQ(psiVxTick(), static_cast<u32>(ticks * msPerS / rate()));
    }
}

TEST_P(VxWorksClock, SleepsNoLessThanWasAskedAndHardlyMore)
{
    for (const u32 ms : {0U, 1U, 19U, 20U, 999U, 1000U, 4001U, 3600000U}) {
        psiVxSleep(ms);
        const auto ticks = static_cast<u64>(lastDelay());
        EXPECT_GE((ticks - 1) * msPerS, u64{ms} * rate()) << ms << " ms, the first tick at once";
        EXPECT_LT((ticks - 2) * msPerS + msPerS, u64{ms} * rate() + msPerS + 1) << ms << " ms";
        EXPECT_GE(lastDelay(), 1) << "taskDelay(0) would let no task of a lower priority run";
    }
}

TEST_P(VxWorksClock, LongestSleepIsAsLongAsTheKernelCanDelay)
{
    psiVxSleep(0xFFFFFFFF);
    const u64 exact = (u64{0xFFFFFFFF} * rate() + msPerS - 1) / msPerS + 1;
    EXPECT_EQ(static_cast<u64>(lastDelay()), std::min(exact, u64{0x7FFFFFFF}));
}

TEST_P(VxWorksClock, HoldsAMutexThatProtectsItsOwnerFromDeletion)
{
    constexpr int inheritanceAndNoDeletion = 13;
    start(5);
    EXPECT_EQ(kernel.sem.options, inheritanceAndNoDeletion);
    EXPECT_EQ(kernel.timeouts, std::vector<int>{WAIT_FOREVER});
    EXPECT_EQ(kernel.sem.taken, 0);
    psiVxClockStop();
    EXPECT_TRUE(kernel.sem.deleted);
}

TEST_P(VxWorksClock, DoesNotStartWithoutAMutex)
{
    kernel.outOfMutexes = true;
    EXPECT_EQ(psiVxClockStart(), -1);
}

INSTANTIATE_TEST_SUITE_P(Rates, VxWorksClock, testing::Values(1, 50, 60, 64, 100, 250, 300, 1000, 3000),
                         [](const auto &rate) { return "At" + std::to_string(rate.param) + "Hz"; });

} // namespace
