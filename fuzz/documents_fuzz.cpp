// Any JSON as a document of sections: its sections are written, and read again they are written the same, or what is
// wrong is told with its place. Input: a byte for the mutator, then the text.
#include "fuzzTarget.h"

#include "describe/json/sectionDocument.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psi::describe;

/** @brief What was written reads as fields that give it again. */
void readAndWrite(ByteView section)
{
    const TableKind *kind = tableKindOf(section, std::nullopt);
    const DescribedSection tree = describeSection(section, kind, Standard::dvb);
    const std::optional<SectionCrc> crc = crcOf(section);
    WriteReport report;
    const SectionTerms terms{kind, Standard::dvb, crc ? CrcTerms::computed : CrcTerms::none};
    EXPECT_EQ(toHex(ByteView(writeSection(tree.fields, terms, report, {}))), toHex(section));
}

} // namespace

void fuzzOne(Input input)
{
    input.byte();
    const Bytes text = input.rest();
    try {
        const JsonDocument json({text.begin(), text.end()});
        for (const CompiledSection &section : compileDocument(json, Standard::dvb).sections)
            if (!section.hadData && !section.bytes.empty())
                readAndWrite(ByteView(section.bytes));
    } catch (const FieldError &error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find(": "));
        EXPECT_NE("is not JSON", error.message()); // both of its readers agree on what is JSON
    }
}

} // namespace psifuzz
