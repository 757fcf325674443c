// Any bytes as a section: what was read is written as it was, and read again as the same fields.
#include "fuzzTarget.h"

#include "describe/sections.h"

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
    EXPECT_TRUE(std::equal(section.begin(), section.end(), ByteView(bytes).begin(), ByteView(bytes).end()))
        << toHex(ByteView(bytes)) << "\n"
        << toHex(section);
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

} // namespace

void fuzzOne(Input input)
{
    const bool sealed = input.byte() % 2 != 0;
    Bytes bytes = whole(input.rest());
    if (sealed && bytes.size() > 12)
        bytes = psitest::withRightCrc(bytes);
    readAndWrite(viewOf(bytes), sealed ? Standard::dvb : Standard::atsc);
}

} // namespace psifuzz
