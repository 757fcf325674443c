// Section CRC: the sum itself and the check of a whole section.
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"

#include <thread>

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

TEST_F(Crc, AgreesWithTheBitwiseDefinitionAtEveryLength)
{
    Bytes data;
    u32 noise = 1;
    for (std::size_t len = 0; len <= 4200; ++len) {
        if (len < 300 || len % 97 == 0) {
            ASSERT_EQ(crc32Mpeg(data.data(), len), psiCalculateCrc(buffer.place(data), static_cast<u32>(len))) << len;
        }
        noise = noise * 1664525U + 1013904223U;
        data.push_back(static_cast<u8>(noise >> 24));
    }
}

TEST_F(Crc, AgreesForEveryByteValue)
{
    for (unsigned value = 0; value < 256; ++value) {
        const u8 byte = static_cast<u8>(value);
        ASSERT_EQ(crc32Mpeg(&byte, 1), psiCalculateCrc(&byte, 1)) << value;
    }
}

TEST_F(Crc, DoesNotDependOnAlignment)
{
    const Bytes data = counting(600);
    for (std::size_t offset = 0; offset < 16; ++offset)
        EXPECT_EQ(crc32Mpeg(data.data() + offset, 512), psiCalculateCrc(data.data() + offset, 512)) << offset;
}

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
