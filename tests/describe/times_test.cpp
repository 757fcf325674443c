#include "describe/times.h"

#include <gtest/gtest.h>

namespace {

using namespace psi::describe;

TEST(Times, EveryDayOfAModifiedJulianDateIsADate)
{
    EXPECT_EQ(mjdText(0), "1858-11-17");
    EXPECT_EQ(mjdText(15078), "1900-02-28");
    EXPECT_EQ(mjdText(15079), "1900-03-01") << "no leap year";
    EXPECT_EQ(mjdText(15384), "1900-12-31") << "before a time_t of 32 bits begins";
    EXPECT_EQ(mjdText(51603), "2000-02-29");
    EXPECT_EQ(mjdText(0xFFFF), "2038-04-22") << "after it has ended";
    for (u32 day = 0; day <= 0xFFFF; ++day)
        ASSERT_EQ(mjdFrom(mjdText(static_cast<u16>(day))), static_cast<u16>(day));
}

TEST(Times, NoOtherDateHasANumber)
{
    for (const char *text : {"1858-11-16", "2038-04-23", "1900-02-29", "2023-13-01", "2023-00-10", "2023-04-31",
                             "2023-4-1", "2023-04-01x", ""})
        EXPECT_EQ(mjdFrom(text), std::nullopt) << text;
}

TEST(Times, GpsSecondsLessTheirOffsetAreUtc)
{
    EXPECT_EQ(gpsTimeText(0, 0), "1980-01-06 00:00:00");
    EXPECT_EQ(gpsTimeText(0, 1), "1980-01-05 23:59:59");
    EXPECT_EQ(gpsTimeText(1400000000, 18), "2024-05-17 16:53:02");
    EXPECT_EQ(gpsTimeText(0xFFFFFFFF, 18), "2116-02-12 06:27:57");
}

} // namespace
