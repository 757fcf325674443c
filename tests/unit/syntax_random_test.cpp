// Well-formed random sections of every type, parsed and compared field by field with what was put in.
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/randomSection.h"

#include <algorithm>

namespace psitest {
namespace {

/** @brief Parameter: the table type. */
class RandomSectionTest : public LibraryTest, public testing::WithParamInterface<u32> {
protected:
    static constexpr u32 shortSection = 1024;
    static constexpr u32 longSection = 4096;

    /** @brief A section of exactly @p size bytes. */
    static KnownSection sectionOf(RandomSections &sections, u32 size)
    {
        for (int tries = 0; tries < 1000; ++tries) {
            KnownSection section = sections.make(GetParam(), size);
            if (section.bytes.size() == size)
                return section;
        }
        ADD_FAILURE() << "no section of " << size << " bytes";
        return {};
    }

    GuardedBuffer buffer;
};

std::string parsedTypeName(const testing::TestParamInfo<u32> &info)
{
    static const char *const names[16] = {"Pat",  "Pmt",  "SdtActual", "SdtOther", "NitActual", "NitOther",
                                          "Bat",  "Cat",  "",          "Mgt",      "",          "",
                                          "Ebit", "Ebct", "Ebcat",     "Ebcct"};
    return names[info.param];
}

INSTANTIATE_TEST_SUITE_P(Types, RandomSectionTest, testing::ValuesIn(parsedTypes()), parsedTypeName);

TEST_P(RandomSectionTest, EveryFieldAndEveryListIsKept)
{
    for (u32 seed = 0; seed < 500; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        RandomSections sections(seed);
        const KnownSection section = sections.make(GetParam(), 64 + sections.below(seed % 10 == 0 ? 4033 : 300));
        {
            const ParsedTree tree(GetParam(), buffer.place(section.bytes), section.bytes.size());
            ASSERT_EQ(section.tree, tree.text());
        }
        ASSERT_EQ(0U, liveBlocks());
    }
    EXPECT_NO_LOG(log);
}

TEST_P(RandomSectionTest, TheLongestSectionsAreParsed)
{
    RandomSections sections(1);
    for (const u32 size : {shortSection, longSection}) {
        const KnownSection section = sectionOf(sections, size);
        const ParsedTree tree(GetParam(), buffer.place(section.bytes), section.bytes.size());
        EXPECT_EQ(section.tree, tree.text());
    }
    EXPECT_NO_LOG(log);
}

TEST_P(RandomSectionTest, TheSectionMayGoAsSoonAsItIsParsed)
{
    RandomSections sections(2);
    const KnownSection section = sections.make(GetParam(), longSection);
    Bytes bytes = section.bytes;
    const ParsedTree tree(GetParam(), bytes);
    bytes.assign(bytes.size(), 0xEE);
    EXPECT_EQ(section.tree, tree.text());
}

/** @brief All types but the EBCT, whose bounds lie at the end of the buffer. */
class LongerBufferTest : public RandomSectionTest {};

std::vector<u32> typesButEbct()
{
    std::vector<u32> types = parsedTypes();
    types.erase(std::remove(types.begin(), types.end(), u32{PSI_EBCT}), types.end());
    return types;
}

INSTANTIATE_TEST_SUITE_P(Types, LongerBufferTest, testing::ValuesIn(typesButEbct()), parsedTypeName);

TEST_P(LongerBufferTest, TheCrcIsReadFromTheEndOfALongerBuffer)
{
    RandomSections sections(3);
    const KnownSection section = sections.make(GetParam(), shortSection);
    const Bytes longer = section.bytes + Bytes{0x99, 0x12, 0x34, 0x56, 0x78};
    const std::string fields = section.tree.substr(0, section.tree.rfind("CRC_32"));
    const ParsedTree tree(GetParam(), buffer.place(longer), longer.size());
    EXPECT_EQ(fields + "CRC_32 = 0x12345678\n", tree.text());
}

} // namespace
} // namespace psitest
