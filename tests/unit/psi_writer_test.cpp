// The section writer at the end of its room. What it writes within it, the tests of the generators compare byte by
// byte.
#include "psiWriter.h"

#include "support/sectionBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace psi::core;

namespace psitest {
namespace {

class Writer : public testing::Test {
protected:
    static constexpr u32 capacity = 8;
    static constexpr u8 untouched = 0xEE;

    ~Writer() override
    {
        EXPECT_TRUE(std::all_of(room.begin() + capacity, room.end(), [](u8 byte) { return byte == untouched; }))
            << "written behind the room";
    }
    Bytes written() const { return {room.begin(), room.begin() + writer.size()}; }

    Bytes room = repeated(capacity + 16, untouched);
    SectionWriter writer{room.data(), capacity};
};

TEST_F(Writer, FillsItsRoomToTheLastByte)
{
    writer.put32(0x01020304);
    writer.put16(0x0506);
    writer.put16(0x0708);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), written());
    writer.put8(9);
    writer.put16(9);
    writer.put32(9);
    EXPECT_EQ((Bytes{1, 2, 3, 4, 5, 6, 7, 8}), written());
}

TEST_F(Writer, ClosesTheLoopOfTheBytesThatItClaimed)
{
    u8 *const fields = writer.claim(5);
    ASSERT_EQ(room.data(), fields);
    std::fill(fields, fields + 5, u8{1});
    writer.put16(0x0203);
    writer.closeLoop(fields, 5, 0xF000);
    EXPECT_EQ((Bytes{1, 1, 1, 0xF0, 2, 2, 3}), written());
}

TEST_F(Writer, ClosesNoLoopThatDidNotFit)
{
    writer.put8(1);
    u8 *const fields = writer.claim(capacity);
    EXPECT_EQ(nullptr, fields);
    writer.closeLoop(fields, capacity, 0xF000);
    EXPECT_EQ(Bytes{1}, written());
}

TEST_F(Writer, LeavesARunOutWholeWhenItDoesNotFit)
{
    const Bytes run = counting(capacity, 1);
    writer.put8(0xAA);
    writer.putBytes(run.data(), capacity);
    EXPECT_EQ(Bytes{0xAA}, written());
    writer.putBytes(run.data(), capacity - 1);
    EXPECT_EQ(Bytes{0xAA} + counting(capacity - 1, 1), written());
}

TEST_F(Writer, LeavesADescriptorOutWholeWhenItDoesNotFit)
{
    Bytes payload = counting(capacity - 2, 1);
    descInfo descriptor = {};
    descriptor.descTag = 0x52;
    descriptor.descLen = static_cast<u8>(payload.size());
    descriptor.descData = payload.data();
    writer.put8(0xAA);
    writer.putDescriptor(descriptor);
    EXPECT_EQ(Bytes{0xAA}, written());
    descriptor.descLen--;
    writer.putDescriptor(descriptor);
    EXPECT_EQ((Bytes{0xAA, 0x52, capacity - 3}) + counting(capacity - 3, 1), written());
}

TEST_F(Writer, WritesNothingOfARunOfNone)
{
    writer.put8(0xAA);
    writer.putBytes(room.data(), 0);
    EXPECT_EQ(Bytes{0xAA}, written());
}

TEST_F(Writer, WritesZerosForNoBytes)
{
    writer.putBytes(nullptr, 3);
    EXPECT_EQ(repeated(3, 0), written());
}

TEST_F(Writer, FillsAReservedFieldLater)
{
    writer.put8(1);
    const u32 field = writer.reserve(2);
    EXPECT_EQ(1U, field);
    writer.put8(4);
    writer.patchLength(field, 0xF000, 0x0123);
    EXPECT_EQ((Bytes{1, 0xF1, 0x23, 4}), written());
}

TEST_F(Writer, FillsNoFieldThatDidNotFit)
{
    writer.putBytes(nullptr, capacity - 1);
    const u32 field = writer.reserve(2);
    EXPECT_EQ(capacity - 1, field);
    writer.patchLength(field, 0xF000, 0x0123);
    EXPECT_EQ(repeated(capacity - 1, 0), written());
    EXPECT_EQ(untouched, room[capacity - 1]);
}

TEST_F(Writer, SealsWithoutACrcWhenThereIsNoRoomForIt)
{
    writer.putHeader({0x42, 0x0102, 3, 4, 5});
    EXPECT_EQ((Bytes{0x42, 0, 0, 1, 2, 0xC7, 4, 5}), written());
    writer.seal(0xB000);
    EXPECT_EQ((Bytes{0x42, 0xB0, 9, 1, 2, 0xC7, 4, 5}), written());
}

/** @brief A writer with its own room. */
template <u32 capacity> struct SectionBuffer : SectionWriter {
    SectionBuffer() : SectionWriter(room, capacity) {}

    u8 room[capacity] = {};
};

Bytes contents(const SectionWriter &section)
{
    return {section.bytes(), section.bytes() + section.size()};
}

TEST(SectionWriter, MasksPidsAndLengths)
{
    SectionBuffer<6> section;
    section.putPid(0xFFFF);
    section.putLength12(0xABCD);
    section.putLength10(0xABCD);
    EXPECT_EQ((Bytes{0xFF, 0xFF, 0xFB, 0xCD, 0xFF, 0xCD}), contents(section));
}

TEST(SectionWriter, SealsAHeaderByTheBook)
{
    SectionBuffer<12> section;
    section.putHeader({0x42, 0x1234, 0xE3, 1, 2});
    section.seal(psiSectionFlags);
    EXPECT_EQ(sealed({0x42, 0xB0, 0x09, 0x12, 0x34, 0xC7, 1, 2}), contents(section));
}

} // namespace
} // namespace psitest
