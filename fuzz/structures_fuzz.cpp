// Any bytes as a section: what was read is written as it was. Any JSON as a document of sections: its sections are
// written, and read again as they were written, or what is wrong is told with its place.
#include "fuzzTarget.h"

#include "describe/json/sectionDocument.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psi::describe;

ByteView viewOf(const Bytes &bytes)
{
    return {bytes.data(), bytes.size()};
}

void readAndWrite(ByteView section, Standard standard)
{
    const TableKind *kind = tableKindOf(section, std::nullopt);
    const DescribedSection tree = describeSection(section, kind, standard);
    const std::optional<SectionCrc> crc = crcOf(section);
    const CrcTerms terms = !crc ? CrcTerms::none : crc->right() ? CrcTerms::computed : CrcTerms::kept;
    WriteReport report;
    const std::string bytes = writeSection(tree.fields, {kind, standard, terms}, report, {});
    EXPECT_EQ(toHex(ByteView(bytes)), toHex(section));
}

/** A section of the length that its header says, as every input gives them. */
Bytes whole(Bytes bytes)
{
    constexpr std::size_t header = 3;
    if (bytes.size() < header)
        return bytes;
    const std::size_t size = header + ((bytes[1] & 0x0FU) << 8 | bytes[2]);
    bytes.resize(std::min(size, bytes.size()));
    return bytes;
}

void compile(const Bytes &text)
{
    try {
        const JsonDocument json({text.begin(), text.end()});
        for (const CompiledSection &section : compileDocument(json, Standard::dvb).sections)
            if (!section.hadData && !section.bytes.empty())
                readAndWrite(ByteView(section.bytes), Standard::dvb);
    } catch (const FieldError &error) {
        EXPECT_NE(std::string(error.what()).find(": "), std::string::npos);
    }
}

} // namespace

void fuzzOne(Input input)
{
    switch (input.byte() % 4) {
    case 0:
        return compile(input.rest());
    case 1:
    case 2: {
        const Bytes bytes = whole(input.rest());
        return readAndWrite(viewOf(bytes), Standard::atsc);
    }
    default: {
        Bytes bytes = whole(input.rest());
        if (bytes.size() > 12)
            bytes = psitest::withRightCrc(bytes);
        return readAndWrite(viewOf(bytes), Standard::dvb);
    }
    }
}

} // namespace psifuzz
