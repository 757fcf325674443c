// Section CRC: the sum itself and the check of a whole section.
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"

#include "psiCrcTables.h"

#include <thread>

#ifdef PSI_CRC_FOLD_X86
#include "psiCrcX86.h"
#endif
#ifdef PSI_CRC_FOLD_ARM
#include <sys/auxv.h>
#endif

namespace psitest {
namespace {

class Crc : public LibraryTest {
protected:
    i32 check(const Bytes &section, std::size_t bufLen)
    {
        return psiCheckCrc(buffer.place(section), static_cast<u32>(bufLen));
    }
    i32 check(const Bytes &section) { return check(section, section.size()); }

    GuardedBuffer buffer;
};

const LogLine outOfBuffer = error("psiFun", "tsCrcPsi section_length out of buflen");

TEST_F(Crc, HasTheCheckValueOfCrc32Mpeg2)
{
    const Bytes digits = bytesOf("123456789");
    EXPECT_EQ(0x0376E6E7U, psiCalculateCrc(digits.data(), 9));
}

TEST_F(Crc, OfNothingIsTheStartValue)
{
    EXPECT_EQ(0xFFFFFFFFU, psiCalculateCrc(nullptr, 0));
    const u8 byte = 0x55;
    EXPECT_EQ(0xFFFFFFFFU, psiCalculateCrc(&byte, 0));
}

TEST_F(Crc, AgreesForEveryByteValue)
{
    for (unsigned value = 0; value < 256; ++value) {
        const u8 byte = static_cast<u8>(value);
        ASSERT_EQ(crc32Mpeg(&byte, 1), psiCalculateCrc(&byte, 1)) << value;
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * All ways to the sum: each against the bitwise definition
 * ---------------------------------------------------------------------------------------------------------------- */

struct CrcWay {
    const char *name;
    u32 (*sum)(u32 crc, const u8 *bytes, u32 len);
    u32 shortest;
};

template <u32 slices> u32 sumByTables(u32 crc, const u8 *bytes, u32 len)
{
    static constexpr psi::core::CrcTables<slices> tables;
    return tables.sum(crc, bytes, len);
}

const CrcWay tableWays[] = {
    {"the library's tables", psi::core::crcPortable, 0},
    {"1 KiB", sumByTables<1>, 0},
    {"4 KiB", sumByTables<4>, 0},
    {"8 KiB", sumByTables<8>, 0},
    {"16 KiB", sumByTables<16>, 0},
};

/** @brief Those of the machine that the test runs on. */
std::vector<CrcWay> foldingWays()
{
    std::vector<CrcWay> ways;
#ifdef PSI_CRC_FOLD
    using namespace psi::core;
    if (crcCanFold())
        ways.push_back({"fold", crcFold, crcFoldMin});
    if (crcCanFoldWide())
        ways.push_back({"wide fold", crcFoldWide, crcFoldWideMin});
#endif
    return ways;
}

#ifdef PSI_CRC_FOLD
/* Whether there is a fast way is asked of the processor; here the compiler's library, or the kernel, is asked. */
TEST_F(Crc, KnowsWhatTheProcessorCanDo)
{
#ifdef PSI_CRC_FOLD_X86
    __builtin_cpu_init();
    EXPECT_EQ(__builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("ssse3"),
              psi::core::crcCanFold());
    EXPECT_EQ(__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                  __builtin_cpu_supports("vpclmulqdq"),
              psi::core::crcCanFoldWide());
#else
    EXPECT_EQ((getauxval(AT_HWCAP) & HWCAP_PMULL) != 0, psi::core::crcCanFold());
    EXPECT_FALSE(psi::core::crcCanFoldWide());
#endif
}
#endif

#ifdef PSI_CRC_FOLD_X86
/* A processor that lacks one of the features, whichever, does not fold. */
TEST_F(Crc, AsksForEveryFeatureThatItNeeds)
{
    using psi::core::X86Features;
    const X86Features all = {bit_PCLMUL | bit_SSE4_1 | bit_SSSE3, bit_AVX512F | bit_AVX512BW, bit_VPCLMULQDQ, 0xE6};
    EXPECT_TRUE(psi::core::canFold(all));
    EXPECT_TRUE(psi::core::canFoldWide(all));
    for (unsigned bit = 0; bit < 32; ++bit) {
        SCOPED_TRACE(bit);
        const u32 others = ~(1U << bit);
        EXPECT_EQ((all.ecx1 & others) == all.ecx1, psi::core::canFold({all.ecx1 & others, 0, 0, 0}));
        EXPECT_EQ((all.ebx7 & others) == all.ebx7,
                  psi::core::canFoldWide({all.ecx1, all.ebx7 & others, all.ecx7, all.kept}));
        EXPECT_EQ((all.ecx7 & others) == all.ecx7,
                  psi::core::canFoldWide({all.ecx1, all.ebx7, all.ecx7 & others, all.kept}));
        EXPECT_EQ((all.kept & others) == all.kept,
                  psi::core::canFoldWide({all.ecx1, all.ebx7, all.ecx7, all.kept & others}));
    }
}
#endif

constexpr std::size_t longestRun = 4200;

/** @brief Bytes without a pattern, and the register in front of each, by the bitwise definition. */
struct BitwiseSums {
    Bytes bytes;
    std::vector<u32> sums;

    explicit BitwiseSums(u32 start)
    {
        u32 crc = start;
        u32 noise = start + 1;
        for (std::size_t i = 0; i <= longestRun; ++i) {
            sums.push_back(crc);
            noise = noise * 1664525U + 1013904223U;
            bytes.push_back(static_cast<u8>(noise >> 24));
            crc ^= noise >> 24 << 24;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 0x80000000U) != 0 ? crc << 1 ^ 0x04C11DB7U : crc << 1;
        }
    }
};

/** @brief The bytes at every distance from a boundary of 16 and of 64. */
class AlignedBytes {
public:
    const u8 *at(const Bytes &bytes, std::size_t offset)
    {
        std::copy(bytes.begin(), bytes.end(), room_ + offset);
        return room_ + offset;
    }

private:
    alignas(64) u8 room_[longestRun + 80];
};

TEST_F(Crc, EveryTableSizeAgreesWithTheBitwiseDefinition)
{
    AlignedBytes aligned;
    const BitwiseSums right(0xFFFFFFFF);
    for (std::size_t offset = 0; offset < 16; ++offset) {
        const u8 *bytes = aligned.at(right.bytes, offset);
        for (const CrcWay &way : tableWays)
            for (u32 len = static_cast<u32>(offset); len <= longestRun; len += len < 300 ? 1 : 16)
                ASSERT_EQ(right.sums[len], way.sum(0xFFFFFFFF, bytes, len))
                    << way.name << ": " << len << " at " << offset;
    }
}

TEST_F(Crc, FoldingAgreesWithTheBitwiseDefinitionAtEveryLengthAndAlignment)
{
    AlignedBytes aligned;
    const BitwiseSums right(0xFFFFFFFF);
    for (const CrcWay &way : foldingWays()) {
        for (std::size_t offset = 0; offset < 16; ++offset) {
            const u8 *bytes = aligned.at(right.bytes, offset);
            for (u32 len = way.shortest; len <= longestRun; ++len)
                ASSERT_EQ(right.sums[len], way.sum(0xFFFFFFFF, bytes, len))
                    << way.name << ": " << len << " at " << offset;
        }
    }
}

TEST_F(Crc, EveryWayGoesOnFromAnyRegister)
{
    std::vector<CrcWay> ways = foldingWays();
    ways.insert(ways.end(), std::begin(tableWays), std::end(tableWays));
    for (const u32 start : {0U, 1U, 0x80000000U, 0x12345678U, 0xFFFFFFFFU}) {
        const BitwiseSums right(start);
        for (const CrcWay &way : ways)
            for (u32 len = way.shortest; len < way.shortest + 300; ++len)
                ASSERT_EQ(right.sums[len], way.sum(start, right.bytes.data(), len)) << way.name << ": " << len;
    }
}

TEST_F(Crc, NoWayReadsOutsideItsBytes)
{
    std::vector<CrcWay> ways = foldingWays();
    ways.insert(ways.end(), std::begin(tableWays), std::end(tableWays));
    const BitwiseSums right(0xFFFFFFFF);
    for (const CrcWay &way : ways) {
        for (u32 len = way.shortest; len < way.shortest + 300; ++len) {
            const Bytes bytes(right.bytes.data(), right.bytes.data() + len);
            ASSERT_EQ(right.sums[len], way.sum(0xFFFFFFFF, buffer.place(bytes), len)) << way.name;
            ASSERT_EQ(right.sums[len], way.sum(0xFFFFFFFF, buffer.placeAtStart(bytes), len)) << way.name;
        }
    }
}

TEST_F(Crc, TheBestWayAgreesWithTheBitwiseDefinitionAtEveryLength)
{
    AlignedBytes aligned;
    const BitwiseSums right(0xFFFFFFFF);
    for (u32 len = 0; len <= longestRun; ++len)
        ASSERT_EQ(right.sums[len], psiCalculateCrc(aligned.at(right.bytes, len % 16), len)) << len;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The check of a section
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(Crc, IsTheSameInManyThreads)
{
    const Bytes section = sectionOfSize(1024);
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int &count : failures) {
        threads.emplace_back([&section, &count] {
            for (int i = 0; i < 200; ++i)
                count += psiCheckCrc(section.data(), 1024) == 0 ? 0 : 1;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(std::vector<int>(4, 0), failures);
}

TEST_F(Crc, AcceptsASectionThatFillsItsBuffer)
{
    for (const std::size_t size : {12U, 183U, 184U, 367U, 1024U, 4096U}) {
        const Bytes section = sectionOfSize(size);
        EXPECT_EQ(0, check(section)) << size;
        EXPECT_EQ(0, check(section + repeated(10, 0xFF))) << "bytes behind the section do not matter";
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Crc, RefusesASectionLongerThanItsBuffer)
{
    const Bytes section = sectionOfSize(100);
    for (std::size_t bufLen = 3; bufLen < section.size(); ++bufLen) {
        EXPECT_EQ(-1, check(Bytes(section.begin(), section.begin() + static_cast<std::ptrdiff_t>(bufLen))));
        EXPECT_LOG(log, outOfBuffer);
    }
}

TEST_F(Crc, RefusesABufferThatDoesNotHoldTheLengthItself)
{
    for (const std::size_t bufLen : {0U, 1U, 2U}) {
        EXPECT_EQ(-1, check(repeated(bufLen, 0), bufLen)) << bufLen;
        EXPECT_LOG(log, outOfBuffer);
    }
}

TEST_F(Crc, RefusesASectionWithoutRoomForTheCrcSilently)
{
    for (unsigned length = 0; length < 4; ++length) {
        Bytes section = repeated(3 + length, 0);
        setSectionLength(section, length);
        EXPECT_EQ(-1, check(section)) << length;
        EXPECT_EQ(-1, check(section + repeated(50, 0))) << length;
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Crc, AcceptsTheShortestSectionThatHasOne)
{
    Bytes section = {0x70, 0x00, 0x04};
    EXPECT_EQ(0, check(sealed(section)));
    EXPECT_NO_LOG(log);
}

TEST_F(Crc, RefusesEveryFlippedBitSilently)
{
    const Bytes section = sectionOfSize(64);
    for (std::size_t bit = 0; bit < section.size() * 8; ++bit) {
        Bytes flipped = section;
        flipped[bit / 8] = static_cast<u8>(flipped[bit / 8] ^ (0x80U >> bit % 8));
        EXPECT_EQ(-1, check(flipped)) << "bit " << bit;
        const bool lengthBit = bit >= 12 && bit < 24;
        if (lengthBit)
            log.clear();
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Crc, TakesTwelveBitsOfTheLength)
{
    for (const u32 upper : {0x00U, 0x10U, 0x30U, 0x40U, 0x80U, 0xF0U}) {
        Bytes section = sectionOfSize(300);
        section[1] = static_cast<u8>((section[1] & 0x0FU) | upper);
        EXPECT_EQ(0, check(withRightCrc(section))) << upper;
    }
    EXPECT_NO_LOG(log);
}

TEST_F(Crc, ChecksNothingBehindTheSection)
{
    // A right CRC at the end of the buffer does not help a section that ends before.
    Bytes section = sectionOfSize(40);
    section[20] ^= 1;
    EXPECT_EQ(-1, check(sealed(section)));
}

TEST_F(Crc, LevelZeroSilencesTheLengthError)
{
    setPsiSchRPTLevel(0);
    EXPECT_EQ(-1, check(sectionOfSize(100), 99));
    EXPECT_NO_LOG(log);
}

} // namespace
} // namespace psitest
