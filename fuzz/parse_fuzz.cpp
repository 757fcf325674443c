// Sections of every type to their parsers. Input: options, failing call, then sections.
#include "fuzzTarget.h"

#include "support/libraryFixture.h"
#include "support/syntaxTree.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

/** @brief Option: read every byte of the trees as well. It takes time, so only one value asks for it. */
constexpr u8 describe = 1;

/** @brief A section of exactly the bytes of its buffer is refused or gives a tree that can be freed again. */
void parse(const SectionRecord &record, u8 options, u8 failingCall)
{
    const u32 blocksBefore = psitest::poolStat().liveBlocks;
    int untouched = 0;
    void *tree = &untouched;
    i32 result = 0;
    {
        const Faults faults(failingCall);
        result = syntaxAnalysePsi(record.psiType, &tree, record.bytes.data(), static_cast<u32>(record.bytes.size()));
    }
    if (result != 0) {
        EXPECT_EQ(-1, result);
        EXPECT_EQ(&untouched, tree) << "a failure leaves the caller's pointer";
    } else {
        EXPECT_NE(nullptr, tree);
        EXPECT_NE(&untouched, tree);
        if (options == describe) {
            EXPECT_EQ(std::string::npos, psitest::describeTree(record.psiType, tree).find("block of"));
        }
        EXPECT_EQ(0, syntaxDestroyPsiSection(record.psiType, tree));
    }
    EXPECT_EQ(blocksBefore, psitest::poolStat().liveBlocks);
}

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 failingCall = input.byte();
    while (input.left() > recordHeader)
        parse(takeSection(input), options, failingCall);
}

} // namespace psifuzz
