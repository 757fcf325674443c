// Which way the section CRC takes on processors that multiply, multiply four at once, or do not. What the processor at
// hand can do is asked once in a process, so each test wants its own.
#include "support/sectionBuilder.h"

#include "psiCrc.h"

#include <gtest/gtest.h>

namespace {

constexpr u32 longest = 600;

unsigned narrowRuns = 0;
unsigned wideRuns = 0;

} // namespace

#ifdef PSI_CRC_FOLD

namespace {

bool folds = false;
bool foldsWide = false;

} // namespace

// What the processor says, and the calls of either way, pass here.
extern "C" {

bool __wrap__ZN3psi4core10crcCanFoldEv();
bool __wrap__ZN3psi4core14crcCanFoldWideEv();
u32 __real__ZN3psi4core7crcFoldEjPKhj(u32 crc, const u8 *bytes, u32 len);
u32 __wrap__ZN3psi4core7crcFoldEjPKhj(u32 crc, const u8 *bytes, u32 len);
u32 __real__ZN3psi4core11crcFoldWideEjPKhj(u32 crc, const u8 *bytes, u32 len);
u32 __wrap__ZN3psi4core11crcFoldWideEjPKhj(u32 crc, const u8 *bytes, u32 len);
bool __real__ZN3psi4core10crcCanFoldEv();
bool __real__ZN3psi4core14crcCanFoldWideEv();

bool __wrap__ZN3psi4core10crcCanFoldEv()
{
    return folds;
}

bool __wrap__ZN3psi4core14crcCanFoldWideEv()
{
    return foldsWide;
}

u32 __wrap__ZN3psi4core7crcFoldEjPKhj(u32 crc, const u8 *bytes, u32 len)
{
    ++narrowRuns;
    return __real__ZN3psi4core7crcFoldEjPKhj(crc, bytes, len);
}

u32 __wrap__ZN3psi4core11crcFoldWideEjPKhj(u32 crc, const u8 *bytes, u32 len)
{
    ++wideRuns;
    return __real__ZN3psi4core11crcFoldWideEjPKhj(crc, bytes, len);
}

} // extern "C"

#endif

namespace psitest {
namespace {

class CrcWayFreshProcessTest : public testing::Test {
protected:
    void SetUp() override
    {
        static bool chosen = false;
        if (chosen)
            GTEST_SKIP() << "the way was chosen already; ctest gives every test a process of its own";
        chosen = true;
    }

    static void expectSumsOfTheTables()
    {
        const Bytes bytes = counting(longest, 3);
        for (u32 len = 0; len < longest; ++len)
            ASSERT_EQ(psi::core::crcPortable(psi::core::crcStart, bytes.data(), len),
                      psiCalculateCrc(bytes.data(), len))
                << len;
    }
};

TEST_F(CrcWayFreshProcessTest, GoesThroughTheTablesWhereNothingMultiplies)
{
    expectSumsOfTheTables();
    EXPECT_EQ(0U, narrowRuns);
    EXPECT_EQ(0U, wideRuns);
}

#ifdef PSI_CRC_FOLD

TEST_F(CrcWayFreshProcessTest, FoldsWhatIsLongEnough)
{
    if (!__real__ZN3psi4core10crcCanFoldEv())
        GTEST_SKIP() << "this processor does not multiply";
    folds = true;
    expectSumsOfTheTables();
    EXPECT_EQ(longest - psi::core::crcFoldMin, narrowRuns);
    EXPECT_EQ(0U, wideRuns);
}

TEST_F(CrcWayFreshProcessTest, FoldsLongRunsFourAtOnce)
{
    if (!__real__ZN3psi4core10crcCanFoldEv() || !__real__ZN3psi4core14crcCanFoldWideEv())
        GTEST_SKIP() << "this processor does not multiply four at once";
    folds = foldsWide = true;
    expectSumsOfTheTables();
    EXPECT_EQ(psi::core::crcFoldWideMin - psi::core::crcFoldMin, narrowRuns);
    EXPECT_EQ(longest - psi::core::crcFoldWideMin, wideRuns);
}

#endif

} // namespace
} // namespace psitest
