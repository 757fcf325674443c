#include "describe/sections.h"

#include "support/libraryFixture.h"
#include "support/randomSection.h"
#include "support/sanitizers.h"

#include <algorithm>
#include <sstream>

namespace {

using namespace psitest;
using psi::describe::Field;
using psi::describe::Fields;

class Sections : public LibraryTest {};

psi::describe::DescribedSection described(const Bytes &bytes)
{
    using namespace psi::describe;
    return describeSection({bytes.data(), bytes.size()}, tableKindOf(bytes[0]), Standard::unknown);
}

using Lines = std::vector<std::string>;

std::string numberLine(const std::string &name, u32 value)
{
    return TreeText().field(name.c_str(), value).text();
}

std::string bytesLine(const std::string &name, const std::string &digits)
{
    std::string upper = digits;
    std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
    return name + ": " + upper + "\n";
}

/** Fields that the library's records do not keep. */
bool isExtra(const Field &field, u8 tableId)
{
    constexpr u8 mgt = 0xC7;
    const bool auxiliary = field.key == "auxiliary_data" && field.kind == Field::Kind::hex;
    return field.quiet || auxiliary || field.key == "extra" || field.key == "transport_stream_loop_length" ||
           (field.key == "table_id_extension" && tableId == mgt);
}

/** Every value of a tree in the form of describeTree(), the nodes' names and places left out. */
void collect(const Fields &fields, u8 tableId, Lines &lines)
{
    for (const Field &field : fields) {
        const std::string key(field.key == "network_PID" ? "program_map_PID" : field.key);
        if (field.kind == Field::Kind::number && !isExtra(field, tableId))
            lines.push_back(numberLine(key, static_cast<u32>(field.number)));
        if (field.kind == Field::Kind::hex && !field.text.empty() && !isExtra(field, tableId))
            lines.push_back(bytesLine(key, field.text));
        for (const Fields &item : field.items)
            collect(item, tableId, lines);
        for (const psi::describe::ReadDescriptor &descriptor : field.descriptors) {
            lines.push_back(numberLine("descTag", descriptor.tag));
            lines.push_back(numberLine("descLen", static_cast<u32>(descriptor.payload.size())));
            if (!descriptor.payload.empty())
                lines.push_back(bytesLine("descData", psi::describe::toHex(descriptor.payload)));
        }
    }
}

Lines valuesOf(const Fields &fields, u8 tableId)
{
    Lines lines;
    collect(fields, tableId, lines);
    std::sort(lines.begin(), lines.end());
    return lines;
}

Lines valuesOf(const std::string &tree)
{
    Lines lines;
    std::istringstream text(tree);
    for (std::string line; std::getline(text, line);) {
        line.erase(0, line.find_first_not_of(' '));
        const bool value = line.find(" = ") != std::string::npos || line.find(": ") != std::string::npos;
        const bool none = line.find(": none") != std::string::npos;
        if (value && !none)
            lines.push_back(line + "\n");
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

/** The EBCT's parser takes no signature that ends with the last byte in front of CRC_32. */
bool leavesSignatureOut(const KnownSection &section)
{
    constexpr u8 ebct = 0xFE;
    return section.bytes[0] == ebct && section.tree.find("signature: none") != std::string::npos;
}

bool isSignature(const std::string &line)
{
    return line.rfind("signature: ", 0) == 0;
}

class SectionsOfType : public Sections, public testing::WithParamInterface<u32> {};

TEST_P(SectionsOfType, HasEveryValueOfTheLibrarysRecord)
{
    RandomSections random(GetParam() + 1);
    for (int i = 0; i < 60; ++i) {
        const KnownSection section = random.make(GetParam(), 64 + random.below(1500));
        const psi::describe::DescribedSection tree = described(section.bytes);
        ASSERT_TRUE(tree.parsed);
        Lines values = valuesOf(tree.fields, section.bytes[0]);
        if (leavesSignatureOut(section)) // the library's bound is a byte short there
            values.erase(std::remove_if(values.begin(), values.end(), isSignature), values.end());
        ASSERT_EQ(values, valuesOf(section.tree)) << section.tree;
    }
}

TEST_P(SectionsOfType, OfAWrongCrcHasTheFieldsAndTheCrcThatIsThere)
{
    RandomSections random(GetParam() + 1);
    const KnownSection section = random.make(GetParam(), 500);
    Bytes wrong = section.bytes;
    wrong.back() ^= 1;
    const psi::describe::DescribedSection tree = described(wrong);
    const psi::describe::DescribedSection right = described(section.bytes);
    ASSERT_TRUE(tree.parsed);
    EXPECT_EQ(tree.fields.size(), right.fields.size());
    EXPECT_EQ(tree.fields.back().number, right.fields.back().number ^ 1);
    const std::optional<psi::describe::SectionCrc> crc = psi::describe::crcOf({wrong.data(), wrong.size()});
    ASSERT_TRUE(crc);
    EXPECT_FALSE(crc->right());
    EXPECT_EQ(crc->calculated, right.fields.back().number);
}

/** What the parser refuses keeps all its bytes: in fields of the header, the body and CRC_32. */
TEST_P(SectionsOfType, OfRandomDamageNeverLosesASection)
{
    RandomSections random(GetParam() + 77);
    int refused = 0;
    for (int i = 0; i < 60; ++i) {
        const Bytes good = random.make(GetParam(), 64 + random.below(400)).bytes;
        Bytes damaged = good;
        damaged[8 + random.below(static_cast<u32>(good.size() - 12))] = static_cast<u8>(random.below(256));
        const psi::describe::DescribedSection tree = described(withRightCrc(damaged));
        ASSERT_GE(tree.fields.size(), 8u);
        EXPECT_EQ(tree.fields.front().number, good[0]);
        EXPECT_EQ(tree.parsed, tree.fields[tree.fields.size() - 2].key != "body");
        if (!tree.parsed) {
            ++refused;
            EXPECT_EQ(tree.notes.front().rfind("the library cannot parse it", 0), 0u);
            EXPECT_EQ(tree.fields[tree.fields.size() - 2].text.size(), 2 * (good.size() - 12));
        }
    }
    if (GetParam() != PSI_PAT && GetParam() != PSI_EBCT) { // neither has inner lengths that make it fail
        EXPECT_GT(refused, 0);
    }
}

/** Sections that one of the two refuses; the other's reasons are counted, not looked at. */
struct Verdicts {
    int both = 0;
    int libraryOnly = 0;
    int descriptionOnly = 0;
};

/** Fields of both, wherever both take a section. */
void compareWithTheLibrary(u32 type, const Bytes &section, Verdicts &verdicts)
{
    const ParsedTree library(type, section);
    const psi::describe::DescribedSection tree = described(section);
    const bool parsed = library.result() == 0;
    ++(parsed && tree.parsed ? verdicts.both : parsed ? verdicts.libraryOnly : verdicts.descriptionOnly);
    const bool cut = !tree.notes.empty(); // of a content that was cut the library keeps the part that is there
    if (!parsed || !tree.parsed || cut)
        return;
    const std::string text = library.text();
    Lines values = valuesOf(tree.fields, section[0]);
    const Lines known = valuesOf(text);
    if (text.find("signature: none") != std::string::npos)
        values.erase(std::remove_if(values.begin(), values.end(), isSignature), values.end());
    ASSERT_EQ(values, known) << psi::describe::toHex({section.data(), section.size()});
}

TEST_P(SectionsOfType, OfRandomDamageHasTheFieldsThatTheLibraryReads)
{
    RandomSections random(GetParam() + 1234);
    Verdicts verdicts;
    for (int i = 0; i < (sanitized ? 500 : 2000); ++i) {
        Bytes section = random.make(GetParam(), 64 + random.below(400)).bytes;
        for (u32 errors = 1 + random.below(3); errors > 0; --errors)
            section[8 + random.below(static_cast<u32>(section.size() - 12))] = static_cast<u8>(random.below(256));
        compareWithTheLibrary(GetParam(), withRightCrc(section), verdicts);
        if (HasFatalFailure())
            return;
    }
    EXPECT_GT(verdicts.both, 100);
    RecordProperty("both", verdicts.both);
    RecordProperty("libraryOnly", verdicts.libraryOnly);
    RecordProperty("descriptionOnly", verdicts.descriptionOnly);
}

Bytes written(const Bytes &section, const psi::describe::DescribedSection &tree)
{
    psi::describe::WriteReport report;
    const std::optional<psi::describe::SectionCrc> crc = psi::describe::crcOf({section.data(), section.size()});
    using psi::describe::CrcTerms;
    const CrcTerms terms = !crc ? CrcTerms::none : crc->right() ? CrcTerms::computed : CrcTerms::kept;
    const std::string bytes =
        psi::describe::writeSection(tree.fields, {nullptr, psi::describe::Standard::unknown, terms}, report, {});
    return {bytes.begin(), bytes.end()};
}

TEST_P(SectionsOfType, IsWrittenAsItWasRead)
{
    RandomSections random(GetParam() + 5);
    for (int i = 0; i < 100; ++i) {
        const Bytes section = random.make(GetParam(), 64 + random.below(1500)).bytes;
        ASSERT_EQ(written(section, described(section)), section);
    }
}

TEST_P(SectionsOfType, OfRandomDamageIsWrittenAsItWasRead)
{
    RandomSections random(GetParam() + 99);
    for (int i = 0; i < 300; ++i) {
        Bytes section = random.make(GetParam(), 64 + random.below(400)).bytes;
        for (u32 errors = random.below(4); errors > 0; --errors)
            section[3 + random.below(static_cast<u32>(section.size() - 7))] = static_cast<u8>(random.below(256));
        if (i % 2)
            section = withRightCrc(section);
        ASSERT_EQ(written(section, described(section)), section)
            << psi::describe::toHex({section.data(), section.size()});
    }
}

INSTANTIATE_TEST_SUITE_P(Types, SectionsOfType, testing::ValuesIn(parsedTypes()));

TEST_F(Sections, CutShortKeepsEveryByte)
{
    const Bytes whole = PatBuilder().program(1, 0x100).build();
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const psi::describe::DescribedSection tree =
            described(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_FALSE(tree.parsed);
        const Field *body = psi::describe::findField(tree.fields, "body");
        const std::size_t header = size < 3 ? 0 : size < 8 ? 3 : 8;
        EXPECT_EQ(body ? body->text.size() / 2 : 0, size - header) << size;
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(written(cut, described(cut)), cut);
    }
}

TEST_F(Sections, ShortFormCutShortKeepsItsLengthAndEveryByte)
{
    const Bytes whole = {0x70, 0x70, 0x05, 0xEA, 0x60, 0x12, 0x34, 0x56};
    EXPECT_TRUE(described(whole).parsed);
    for (std::size_t size = 1; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_FALSE(described(cut).parsed) << size;
        EXPECT_EQ(written(cut, described(cut)), cut);
    }
    const Bytes stuffing = {0x72, 0x65, 0x72, 0x65, 0x64}; // reads as stuffing of any length
    EXPECT_EQ(written(stuffing, described(stuffing)), stuffing);
}

} // namespace
