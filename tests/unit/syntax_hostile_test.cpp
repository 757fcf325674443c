// Sections cut short and bent, with a right CRC, in front of a page that must not be touched.
#include "support/fullSection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"
#include "support/randomSection.h"

namespace psitest {
namespace {

/** @brief Parameter: the table type. */
class HostileSection : public LibraryTest, public testing::WithParamInterface<u32> {
protected:
    void SetUp() override
    {
        LibraryTest::SetUp();
        setPsiSchRPTLevel(0);
    }

    /** @brief Parse: 0 with a tree that can be walked, or -1 with nothing; then nothing is left. */
    void expectSurvived(const u8 *bytes, std::size_t size)
    {
        int before = 0;
        void *tree = &before;
        const i32 result = syntaxAnalysePsi(GetParam(), &tree, bytes, static_cast<u32>(size));
        if (result == 0) {
            EXPECT_EQ(std::string::npos, describeTree(GetParam(), tree).find("in a block of"));
            EXPECT_EQ(0, syntaxDestroyPsiSection(GetParam(), tree));
            ++accepted;
        } else {
            EXPECT_EQ(-1, result);
            EXPECT_EQ(&before, tree);
            ++refused;
        }
        ASSERT_EQ(0U, liveBlocks());
    }

    MutationVisitor survive()
    {
        return [this](const Bytes &section, const std::string &how) {
            SCOPED_TRACE(how);
            expectSurvived(buffer.place(section), section.size());
        };
    }

    GuardedBuffer buffer;
    const Bytes sample = fullSection(GetParam());
    unsigned accepted = 0;
    unsigned refused = 0;
};

std::string typeName(const testing::TestParamInfo<u32> &type)
{
    return "Type" + std::to_string(type.param);
}

INSTANTIATE_TEST_SUITE_P(Types, HostileSection, testing::ValuesIn(parsedTypes()), typeName);

TEST_P(HostileSection, CutAnywhere)
{
    forEachTruncation(sample, Truncated::Raw, survive());
    EXPECT_EQ(0U, accepted) << "section_length is beyond the buffer, or there are no bytes at all";
    EXPECT_EQ(sample.size(), refused);
    forEachTruncation(sample, Truncated::Resealed, survive());
}

TEST_P(HostileSection, EveryByteChanged)
{
    forEachByteChange(sample, survive());
    EXPECT_NE(0U, accepted);
    EXPECT_NE(0U, refused);
}

TEST_P(HostileSection, BytesInFrontAreNotTouchedEither)
{
    forEachByteChange(sample, nastyValues(), [this](const Bytes &section, const std::string &how) {
        SCOPED_TRACE(how);
        expectSurvived(buffer.placeAtStart(section), section.size());
    });
}

TEST_P(HostileSection, SeveralBytesChangedInRandomSections)
{
    RandomSections sections(GetParam());
    for (int i = 0; i < 1000; ++i) {
        SCOPED_TRACE(i);
        Bytes section = sections.make(GetParam(), 64 + sections.below(400)).bytes;
        for (u32 changes = 1 + sections.below(4); changes-- > 0;) {
            const u32 at = 3 + sections.below(static_cast<u32>(section.size()) - 7);
            section[at] = nastyValues()[sections.below(static_cast<u32>(nastyValues().size()))];
        }
        section = withRightCrc(section);
        expectSurvived(buffer.place(section), section.size());
    }
    EXPECT_NE(0U, accepted);
}

TEST_P(HostileSection, RandomBytesBehindTheHeader)
{
    RandomSections random(100 + GetParam());
    for (int i = 0; i < 1000; ++i) {
        SCOPED_TRACE(i);
        Bytes body(random.below(300));
        for (u8 &byte : body)
            byte = static_cast<u8>(random.below(random.below(2) == 0 ? 256 : 6));
        const Bytes section = LongSectionBuilder(sample[0]).body(body).build();
        expectSurvived(buffer.place(section), section.size());
    }
}

TEST_P(HostileSection, AllCountsAndLengthsAtTheirMost)
{
    for (std::size_t size = 0; size < 600; ++size) {
        const Bytes section = LongSectionBuilder(sample[0]).body(repeated(size, 0xFF)).build();
        expectSurvived(buffer.place(section), section.size());
    }
}

} // namespace
} // namespace psitest
