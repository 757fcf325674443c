// JSON to the model of psitool make, and to its sections. Input: options, then the text.
#include "fuzzTarget.h"

#include "make/jsonPlace.h"
#include "make/makeObject.h"
#include "make/makeSections.h"
#include "support/libraryFixture.h"
#include "support/safeUtf8.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using psitool::ScanStandard;

ScanStandard standardOf(u8 options)
{
    const u32 which = options % 3;
    return which == 0 ? ScanStandard::automatic : which == 1 ? ScanStandard::dvb : ScanStandard::atsc;
}

/** @brief Sections of a table that a JSON gives can be trusted as any that is received. */
void expectWhole(const std::vector<psitool::MadeSection> &sections)
{
    for (const psitool::MadeSection &section : sections) {
        const Bytes bytes(section.bytes.begin(), section.bytes.end());
        EXPECT_EQ(bytes.size(), psitest::sectionLength(bytes) + std::size_t{3});
        EXPECT_EQ(0, psiCheckCrc(bytes.data(), static_cast<u32>(bytes.size())));
        EXPECT_LE(section.pid, 0x1FFF);
        EXPECT_NE(0U, section.intervalMs);
    }
    EXPECT_EQ(sections.size(), psitool::sectionFileNames(sections).size());
}

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const Bytes bytes = input.rest();
    const std::string text(bytes.begin(), bytes.end());
    try {
        psitool::MakeObject object;
        const psitool::JsonFacts facts = psitool::fillModel(object.model(), text, standardOf(options));
        EXPECT_NE(ScanStandard::automatic, facts.standard);
        expectWhole(psitool::makeSections(object, facts).sections);
    } catch (const psitool::JsonError &error) {
        EXPECT_NE(std::string(), error.what());
    }
}

} // namespace psifuzz
