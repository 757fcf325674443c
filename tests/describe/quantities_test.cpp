#include "describe/quantities.h"

#include <gtest/gtest.h>

namespace {

using psi::describe::grouped;
using psi::describe::kbitText;

TEST(Quantities, DigitsStandInGroupsOfThree)
{
    EXPECT_EQ(grouped(std::uint64_t{0}), "0");
    EXPECT_EQ(grouped(std::uint64_t{999}), "999");
    EXPECT_EQ(grouped(std::uint64_t{1000}), "1,000");
    EXPECT_EQ(grouped(~std::uint64_t{0}), "18,446,744,073,709,551,615");
}

TEST(Quantities, DigitsBehindThePointAreNotGrouped)
{
    EXPECT_EQ(grouped(std::string("1234567.8901")), "1,234,567.8901");
    EXPECT_EQ(grouped(std::string("999.5")), "999.5");
    EXPECT_EQ(grouped(std::string("inf")), "inf") << "what is no number stays as it is";
    EXPECT_EQ(grouped(std::string()), "");
}

TEST(Quantities, BitRatesAreExactToATenthOfAKilobit)
{
    EXPECT_EQ(kbitText(0), "0 kbit/s");
    EXPECT_EQ(kbitText(400), "0.4 kbit/s");
    EXPECT_EQ(kbitText(4000000), "4,000 kbit/s");
    EXPECT_EQ(kbitText(19392800), "19,392.8 kbit/s");
}

} // namespace
