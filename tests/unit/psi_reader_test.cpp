// The bounded reader: what it gives, and that nothing is read past its end.
#include "psiReader.h"

#include "support/guardedBuffer.h"

#include <gtest/gtest.h>

using namespace psi::core;

namespace psitest {
namespace {

class ReaderTest : public testing::Test {
protected:
    Reader over(const Bytes &bytes) { return {buffer.place(bytes), static_cast<u32>(bytes.size())}; }
    GuardedBuffer buffer;
};

TEST_F(ReaderTest, TakesFieldsMostSignificantByteFirst)
{
    Reader reader = over({0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0xFF, 0xFE, 0xFF, 0xFD});
    EXPECT_EQ(0x81U, reader.take8());
    EXPECT_EQ(0x8283U, reader.take16());
    EXPECT_EQ(0x848586U, reader.take24());
    EXPECT_EQ(0x8788898AU, reader.take32());
    EXPECT_EQ(0x1FFEU, reader.takePid());
    EXPECT_EQ(0x0FFDU, reader.takeLength12());
    EXPECT_EQ(0U, reader.remaining());
    EXPECT_FALSE(reader.overrun());
}

TEST_F(ReaderTest, GivesZeroPastItsEndAndHasNothingLeft)
{
    for (const u32 size : {1U, 2U, 3U}) {
        SCOPED_TRACE(size);
        Reader reader = over(counting(size, 1));
        EXPECT_EQ(0U, reader.take32());
        EXPECT_TRUE(reader.overrun());
        EXPECT_EQ(0U, reader.remaining());
        EXPECT_EQ(0U, reader.take8());
    }
}

TEST_F(ReaderTest, GivesALoopOfItsOwnBounds)
{
    Reader reader = over(counting(5, 1));
    Reader loop = reader.takeLoop(3);
    EXPECT_EQ(3U, loop.remaining());
    EXPECT_EQ(2U, reader.remaining());
    EXPECT_EQ(0U, loop.take32());
    EXPECT_TRUE(loop.overrun());
    EXPECT_FALSE(reader.overrun());
    EXPECT_EQ(0x0405U, reader.take16());
}

TEST_F(ReaderTest, GivesAnEmptyLoopWhereItsBytesAreNotThere)
{
    Reader reader = over(counting(5, 1));
    const Reader loop = reader.takeLoop(6);
    EXPECT_EQ(0U, loop.remaining());
    EXPECT_FALSE(loop.overrun());
    EXPECT_TRUE(reader.overrun());
    EXPECT_EQ(0U, reader.remaining());
}

TEST_F(ReaderTest, SkipsToItsEndAndNotBehind)
{
    Reader reader = over(counting(5, 1));
    reader.skip(5);
    EXPECT_FALSE(reader.overrun());
    reader.skip(0);
    EXPECT_FALSE(reader.overrun());
    reader.skip(1);
    EXPECT_TRUE(reader.overrun());
}

} // namespace
} // namespace psitest
