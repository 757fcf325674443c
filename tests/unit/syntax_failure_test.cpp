// Sections that contradict themselves: what every parser says about each of them.
#include "support/fullSection.h"
#include "support/guardedBuffer.h"
#include "support/libraryFixture.h"
#include "support/mutation.h"
#include "support/syntaxTree.h"

#include <ostream>

namespace psitest {
namespace {

/** @brief A section that has to be refused, and all that is logged about it. */
struct Refusal {
    const char *name;
    u32 type;
    Bytes section;
    LogLines lines;
};

void PrintTo(const Refusal &refusal, std::ostream *os)
{
    *os << refusal.name << ", type " << refusal.type;
}

LogLines says(const std::string &text)
{
    return {error("psiAnalyse", text)};
}

/** @brief The first bytes of a section as a section of its own. @param length its section_length */
Bytes cutTo(Bytes section, unsigned length)
{
    section.resize(length - 1); // three bytes in front of it, four of CRC_32 to come
    setSectionLength(section, length);
    return sealed(section);
}

/** @brief Other bytes at a position, CRC_32 made right. */
Bytes patched(Bytes section, std::size_t at, const Bytes &bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
        section.at(at + i) = bytes[i];
    return withRightCrc(section);
}

Bytes cutBy(const Bytes &section, unsigned bytes)
{
    return cutTo(section, sectionLength(section) - bytes);
}

class SyntaxFailure : public LibraryTest, public testing::WithParamInterface<Refusal> {
protected:
    GuardedBuffer buffer;
};

std::string nameOf(const testing::TestParamInfo<Refusal> &info)
{
    return info.param.name;
}

TEST_P(SyntaxFailure, IsReported)
{
    int before = 0;
    void *tree = &before;
    const Bytes &section = GetParam().section;
    EXPECT_EQ(-1, syntaxAnalysePsi(GetParam().type, &tree, buffer.place(section), static_cast<u32>(section.size())));
    EXPECT_EQ(&before, tree);
    EXPECT_EQ(GetParam().lines, log.take());
    EXPECT_EQ(0U, liveBlocks());
}

/* ------------------------------------------------------------------------------------------------------------------
 * The gate in front of every parser: CRC, then table_id
 * ---------------------------------------------------------------------------------------------------------------- */

struct GateTexts {
    const char *name;
    u32 type;
    const char *crc;
    const char *tableId;
};

constexpr GateTexts gateTexts[] = {
    {"Pat", PSI_PAT, "syntaxAnalysePat: tsCrcPsi ERROR ", "syntaxAnalysePat: tableid ERROR "},
    {"Pmt", PSI_PMT, "syntaxAnalysePmt: tsCrcPsi ERROR", "syntaxAnalysePmt: tableid ERROR!"},
    {"Cat", PSI_CAT, "syntaxAnalyseCat: tsCrcPsi ERROR ", "syntaxAnalyseCat: tableid ERROR!"},
    {"NitActual", PSI_NIT_ACTUAL, "syntaxAnalyseNit: tsCrcPsi ERROR ", "syntaxAnalyseNit: tableid ERROR!"},
    {"NitOther", PSI_NIT_OTHER, "syntaxAnalyseNit: tsCrcPsi ERROR ", "syntaxAnalyseNit: tableid ERROR!"},
    {"SdtActual", PSI_SDT_ACTUAL, "syntaxAnalyseSdt: tsCrcPsi ERROR ", "syntaxAnalyseSdt: tableid ERROR!"},
    {"SdtOther", PSI_SDT_OTHER, "syntaxAnalyseSdt: tsCrcPsi ERROR ", "syntaxAnalyseSdt: tableid ERROR!"},
    {"Bat", PSI_BAT, "syntaxAnalyseBat: tsCrcPsi ERROR ", "syntaxAnalyseBat: tableid ERROR!"},
    {"Mgt", PSI_MGT, "syntaxAnalyseMgt: tsCrcPsi ERROR ", "syntaxAnalyseMgt: tableid ERROR!"},
    {"Ebit", PSI_EBIT, "syntaxAnalyseEbit: tsCrcPsi ERROR ", "syntaxAnalyseEbit: tableid ERROR!"},
    {"Ebct", PSI_EBCT, "syntaxAnalyseEbct: tsCrcPsi ERROR ", "syntaxAnalyseEbct: tableid ERROR!"},
    {"Ebcat", PSI_EBCAT, "syntaxAnalyseEbcat: tsCrcPsi ERROR ", "syntaxAnalyseEbcat: tableid ERROR!"},
    {"Ebcct", PSI_EBCCT, "syntaxAnalyseEbcct: tsCrcPsi ERROR ", "syntaxAnalyseEbcct: tableid ERROR!"},
};

class SyntaxGate : public LibraryTest, public testing::WithParamInterface<GateTexts> {
protected:
    LogLines linesFor(const Bytes &bytes)
    {
        const ParsedTree tree(GetParam().type, buffer.place(bytes), bytes.size());
        EXPECT_EQ(-1, tree.result());
        return log.take();
    }

    GuardedBuffer buffer;
    const Bytes section = fullSection(GetParam().type);
};

INSTANTIATE_TEST_SUITE_P(Types, SyntaxGate, testing::ValuesIn(gateTexts),
                         [](const auto &gate) { return gate.param.name; });

TEST_P(SyntaxGate, AWrongCrcIsRefusedBeforeTheTableIdIsLookedAt)
{
    Bytes bad = section;
    bad[0] = 0x99;
    EXPECT_EQ(says(GetParam().crc), linesFor(bad));
}

TEST_P(SyntaxGate, ABufferShorterThanTheSectionIsRefused)
{
    const Bytes shorter(section.begin(), section.end() - 1);
    const LogLine outOfBuffer = error("psiFun", "tsCrcPsi section_length out of buflen");
    EXPECT_EQ((LogLines{outOfBuffer, error("psiAnalyse", GetParam().crc)}), linesFor(shorter));
    EXPECT_EQ((LogLines{outOfBuffer, error("psiAnalyse", GetParam().crc)}), linesFor({section[0], section[1]}));
}

TEST_P(SyntaxGate, ASectionWithoutRoomForItsCrcIsRefused)
{
    for (u8 length = 0; length < 4; ++length)
        EXPECT_EQ(says(GetParam().crc), linesFor(Bytes{section[0], 0xB0, length} + repeated(8, 0)));
}

TEST_P(SyntaxGate, OnlyItsOwnTableIdsAreAccepted)
{
    for (unsigned id = 0; id < 256; ++id) {
        const bool isNit = GetParam().type == PSI_NIT_ACTUAL || GetParam().type == PSI_NIT_OTHER;
        const bool isSdt = GetParam().type == PSI_SDT_ACTUAL || GetParam().type == PSI_SDT_OTHER;
        if (id == section[0] || (isNit && (id == 0x40 || id == 0x41)) || (isSdt && (id == 0x42 || id == 0x46)))
            continue;
        EXPECT_EQ(says(GetParam().tableId), linesFor(patched(section, 0, {static_cast<u8>(id)}))) << "table_id " << id;
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * ISO/IEC 13818-1 tables
 * ---------------------------------------------------------------------------------------------------------------- */

const Bytes longDescriptor = {0x52, 0x03, 0x01, 0x02}; // claims a byte more than is there

std::vector<Refusal> patRefusals()
{
    const Bytes pat = fullSection(PSI_PAT);
    const LogLines length = says("syntaxAnalysePat: section length ERROR ");
    return {{"PatWithoutProgramSilently", PSI_PAT, cutTo(pat, 9), {}},
            {"PatWithoutHeaderSilently", PSI_PAT, cutTo(pat, 4), {}},
            {"PatWithOneByteOfAProgram", PSI_PAT, cutTo(pat, 10), length},
            {"PatWithThreeBytesOfAProgram", PSI_PAT, cutTo(pat, 12), length},
            {"PatWithHalfASecondProgram", PSI_PAT, cutTo(pat, 15), length}};
}

std::vector<Refusal> pmtRefusals()
{
    const Bytes pmt = fullSection(PSI_PMT);
    const LogLines length = says("syntaxAnalysePmt: length ERROR");
    const LogLines infoLength = says("syntaxAnalysePmt: program_info_length ERROR ");
    const LogLines streamLength = says("syntaxAnalysePmt: es_info_len ERROR ");
    return {
        {"PmtWithoutHeader", PSI_PMT, cutTo(pmt, 4), length},
        {"PmtWithoutPcrPid", PSI_PMT, cutTo(pmt, 10), length},
        {"PmtWithoutProgramInfoLength", PSI_PMT, cutTo(pmt, 12), infoLength},
        {"PmtProgramInfoLengthOneTooMany", PSI_PMT, PmtBuilder(1).forcedProgramInfoLength(1).build(), infoLength},
        {"PmtProgramDescriptorTooLong", PSI_PMT, PmtBuilder(1).programDescriptor(longDescriptor).build(),
         says("syntaxAnalysePmt: prog_desc_len ERROR ")},
        {"PmtProgramDescriptorWithoutLength", PSI_PMT, PmtBuilder(1).programDescriptor({0x52}).build(),
         says("syntaxAnalysePmt: prog_desc_len ERROR ")},
        {"PmtStreamWithoutInfoLength", PSI_PMT, PmtBuilder(1).rawStream({0x1B, 0xE1, 0x11, 0xF0}).build(),
         streamLength},
        {"PmtStreamInfoLengthOneTooMany", PSI_PMT, PmtBuilder(1).rawStream({0x1B, 0xE1, 0x11, 0xF0, 0x01}).build(),
         streamLength},
        {"PmtSecondStreamTooLong", PSI_PMT,
         PmtBuilder(1).stream(0x1B, 0x111).rawStream({0x0F, 0xE1, 0x12, 0xF0, 0x03, 0x52, 0x00}).build(), streamLength},
        {"PmtStreamDescriptorTooLong", PSI_PMT, PmtBuilder(1).stream(0x1B, 0x111, longDescriptor).build(),
         says("syntaxAnalysePmt: es_desc_len ERROR ")},
    };
}

std::vector<Refusal> catRefusals()
{
    const Bytes cat = fullSection(PSI_CAT);
    return {{"CatWithoutHeader", PSI_CAT, cutTo(cat, 4), says("syntaxAnalyseCat: section length ERROR ")},
            {"CatWithHalfAHeader", PSI_CAT, cutTo(cat, 8), says("syntaxAnalyseCat: section length ERROR ")},
            {"CatDescriptorTooLong", PSI_CAT, CatBuilder().desc(longDescriptor).build(),
             says("syntaxAnalyseCat: desc_len ERROR ")}};
}

INSTANTIATE_TEST_SUITE_P(Pat, SyntaxFailure, testing::ValuesIn(patRefusals()), nameOf);
INSTANTIATE_TEST_SUITE_P(Pmt, SyntaxFailure, testing::ValuesIn(pmtRefusals()), nameOf);
INSTANTIATE_TEST_SUITE_P(Cat, SyntaxFailure, testing::ValuesIn(catRefusals()), nameOf);

/* ------------------------------------------------------------------------------------------------------------------
 * EN 300 468 tables
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief NIT and BAT fail alike, in their own words. */
template <typename Builder> std::vector<Refusal> networkRefusals(u32 type, const std::string &parser)
{
    const auto text = [&](const char *rest) { return says(parser + rest); };
    const Bytes full = fullSection(type);
    const LogLines length = text(": section length ERROR ");
    const LogLines streamLength = text(": stream_info_len ERROR ");
    return {
        {"WithoutHeader", type, cutTo(full, 4), length},
        {"WithoutDescriptorsLength", type, cutTo(full, 10), length},
        {"WithoutStreamLoopLength", type, cutTo(Builder().build(), 12), length},
        {"DescriptorsLengthTooLong", type, Builder().forcedDescriptorsLength(3).build(), length},
        {"StreamLoopLengthTooLong", type, Builder().forcedStreamLoopLength(1).build(), length},
        {"DescriptorTooLong", type, Builder().desc(longDescriptor).build(), text(": net_desc_len ERROR ")},
        {"StreamCutOff", type, Builder().transportStream(1, 2).forcedStreamLoopLength(5).build(), streamLength},
        {"StreamDescriptorsTooLong", type,
         Builder().transportStream(1, 2, descriptor(0x41)).forcedStreamLoopLength(7).build(), streamLength},
        {"StreamDescriptorTooLong", type, Builder().transportStream(1, 2, longDescriptor).build(),
         text(": stream_desc_len ERROR ")},
    };
}

INSTANTIATE_TEST_SUITE_P(Nit, SyntaxFailure,
                         testing::ValuesIn(networkRefusals<NitBuilder>(PSI_NIT_ACTUAL, "syntaxAnalyseNit")), nameOf);
INSTANTIATE_TEST_SUITE_P(Bat, SyntaxFailure,
                         testing::ValuesIn(networkRefusals<BatBuilder>(PSI_BAT, "syntaxAnalyseBat")), nameOf);

Bytes sdtWithLoopLength(const Bytes &descriptors, int length)
{
    SdtService service;
    service.descriptors = descriptors;
    service.forcedLoopLength = length;
    return SdtBuilder().service(service).build();
}

std::vector<Refusal> sdtRefusals()
{
    const Bytes sdt = fullSection(PSI_SDT_ACTUAL);
    const LogLines length = says("syntaxAnalyseSdt: section length ERROR ");
    const LogLines serviceLength = says("syntaxAnalyseSdt: serviceInfoLen ERROR ");
    return {
        {"SdtWithoutHeader", PSI_SDT_ACTUAL, cutTo(sdt, 4), length},
        {"SdtWithoutOriginalNetworkId", PSI_SDT_ACTUAL, cutTo(sdt, 10), length},
        {"SdtWithoutReservedByte", PSI_SDT_ACTUAL, cutTo(sdt, 11), length},
        {"SdtServiceCutOff", PSI_SDT_ACTUAL, cutTo(sdt, 16), serviceLength},
        {"SdtLoopLengthOneTooMany", PSI_SDT_ACTUAL, sdtWithLoopLength({}, 1), serviceLength},
        {"SdtDescriptorTooLong", PSI_SDT_ACTUAL, sdtWithLoopLength(longDescriptor, -1),
         says("syntaxAnalyseSdt: service_desc_len ERROR ")},
    };
}

INSTANTIATE_TEST_SUITE_P(Sdt, SyntaxFailure, testing::ValuesIn(sdtRefusals()), nameOf);

/* ------------------------------------------------------------------------------------------------------------------
 * A/65 MGT
 * ---------------------------------------------------------------------------------------------------------------- */

std::vector<Refusal> mgtRefusals()
{
    const Bytes mgt = fullSection(PSI_MGT);
    const Bytes oneTable = MgtBuilder().table(1, 2, 3, 4).build();
    const LogLines length = says("syntaxAnalyseMgt: section length ERROR ");
    return {
        {"MgtWithoutHeader", PSI_MGT, cutTo(mgt, 4), length},
        {"MgtWithoutTablesDefined", PSI_MGT, cutTo(mgt, 11), length},
        {"MgtTableCutOff", PSI_MGT, cutTo(mgt, 22), length},
        {"MgtMoreTablesDefinedThanThere", PSI_MGT, MgtBuilder().forcedTables(0xFFFF).build(), length},
        {"MgtTableDescriptorsTooLong", PSI_MGT, patched(oneTable, 20, {0xF0, 0x03}), length},
        {"MgtWithoutDescriptorsLength", PSI_MGT, cutBy(oneTable, 1), length},
        {"MgtDescriptorsLengthTooLong", PSI_MGT, patched(oneTable, 22, {0xF0, 0x01}), length},
        {"MgtTableDescriptorTooLong", PSI_MGT, MgtBuilder().table(1, 2, 3, 4, longDescriptor).build(),
         says("syntaxAnalyseMgt: table_desc_len ERROR ")},
        {"MgtDescriptorTooLong", PSI_MGT, MgtBuilder().desc(longDescriptor).build(),
         says("syntaxAnalyseMgt: mgt_desc_length ERROR ")},
    };
}

INSTANTIATE_TEST_SUITE_P(Mgt, SyntaxFailure, testing::ValuesIn(mgtRefusals()), nameOf);

/* ------------------------------------------------------------------------------------------------------------------
 * Emergency tables; the EBCT, which fails in its own way, has a file of its own
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief An EBIT of the sample's message, its channel changed. */
template <typename Change> Bytes ebitWithChannel(Change change)
{
    EbitTable table = fullEbit();
    change(*table.messages[0].channel);
    return ebitOf(table).build();
}

std::vector<Refusal> ebitRefusals()
{
    const Bytes ebit = fullSection(PSI_EBIT);
    constexpr std::size_t message = 9;
    constexpr std::size_t flag = message + 39 + 12;
    constexpr std::size_t infoLength = flag + 1 + 8;
    constexpr std::size_t streamLength = infoLength + 2 + 4;
    const LogLines length = says("syntaxAnalyseEbit: section length ERROR ");
    const LogLines streamInfo = says("syntaxAnalyseEbit: stream_info_length ERROR");
    return {
        {"EbitWithoutHeader", PSI_EBIT, cutTo(ebit, 4), length},
        {"EbitWithoutNumber", PSI_EBIT, cutTo(ebit, 9), length},
        {"EbitMessageCutOff", PSI_EBIT, cutTo(ebit, message + 1 + 38), length},
        {"EbitResourceCutOff", PSI_EBIT, cutTo(ebit, flag), length},
        {"EbitWithoutChannelFlag", PSI_EBIT, cutTo(ebit, flag + 1), length},
        {"EbitChannelCutOff", PSI_EBIT, cutTo(ebit, infoLength + 2), length},
        {"EbitProgramInfoTooLong", PSI_EBIT, patched(ebit, infoLength, {0xFF, 0xFF}), length},
        {"EbitWithoutStreamInfoLength", PSI_EBIT, cutTo(ebit, streamLength + 2), length},
        {"EbitStreamInfoLengthHasAll16Bits", PSI_EBIT, patched(ebit, streamLength, {0xF0, 0x00}), length},
        {"EbitWithoutSignatureLength", PSI_EBIT, cutBy(ebit, 5), length},
        {"EbitSignatureOneTooLong", PSI_EBIT, cutBy(ebit, 1), length},
        {"EbitMoreMessagesThanThere", PSI_EBIT, patched(ebit, 8, {0x02}), length},
        {"EbitProgramDescriptorTooLong", PSI_EBIT,
         ebitWithChannel([](EbitChannel &channel) { channel.descriptors = longDescriptor; }),
         says("syntaxAnalyseEbit: program_info_length ERROR")},
        {"EbitStreamCutOff", PSI_EBIT, patched(ebit, streamLength, {0x00, 0x04}), streamInfo},
        {"EbitStreamDescriptorsTooLong", PSI_EBIT, patched(ebit, streamLength, {0x00, 0x09}), streamInfo},
        {"EbitStreamDescriptorTooLong", PSI_EBIT,
         ebitWithChannel([](EbitChannel &channel) { channel.streams[0].descriptors = longDescriptor; }),
         says("syntaxAnalyseEbit: es_info_length ERROR")},
    };
}

std::vector<Refusal> ebcatRefusals()
{
    const Bytes ebcat = fullSection(PSI_EBCAT);
    constexpr std::size_t ctNumber = 9 + 2 + 9;
    constexpr std::size_t signature = ctNumber + 1 + 1 + 11;
    const LogLines length = says("syntaxAnalyseEbcat: section length ERROR ");
    return {
        {"EbcatWithoutHeader", PSI_EBCAT, cutTo(ebcat, 4), length},
        {"EbcatWithoutCalistNumber", PSI_EBCAT, cutTo(ebcat, 9), length},
        {"EbcatWithoutCaDataLength", PSI_EBCAT, cutTo(ebcat, 11), length},
        {"EbcatCaDataCutOff", PSI_EBCAT, cutTo(ebcat, ctNumber), length},
        {"EbcatWithoutCtNumber", PSI_EBCAT, cutTo(ebcat, ctNumber + 1), length},
        {"EbcatWithoutCtDataLength", PSI_EBCAT, cutTo(ebcat, ctNumber + 2), length},
        {"EbcatCtDataCutOff", PSI_EBCAT, cutTo(ebcat, signature), length},
        {"EbcatWithoutSignatureLength", PSI_EBCAT, cutTo(ebcat, signature + 2), length},
        {"EbcatSignatureOneTooLong", PSI_EBCAT, cutBy(ebcat, 1), length},
        {"EbcatMoreCaListThanThere", PSI_EBCAT, patched(ebcatOf({}).build(), 8, {0xFF}), length},
        {"EbcatMoreCtThanThere", PSI_EBCAT, patched(ebcatOf({}).build(), 9, {0xFF}), length},
    };
}

std::vector<Refusal> ebcctRefusals()
{
    const Bytes ebcct = fullSection(PSI_EBCCT);
    const LogLines length = says("syntaxAnalyseEbcct: section length ERROR ");
    return {
        {"EbcctWithoutHeader", PSI_EBCCT, cutTo(ebcct, 4), length},
        {"EbcctWithoutNumber", PSI_EBCCT, cutTo(ebcct, 9), length},
        {"EbcctWithoutDataLength", PSI_EBCCT, cutTo(ebcct, 12), length},
        {"EbcctDataCutOff", PSI_EBCCT, cutTo(ebcct, 19), length},
        {"EbcctWithoutSignatureLength", PSI_EBCCT, cutBy(ebcct, 5), length},
        {"EbcctSignatureOneTooLong", PSI_EBCCT, cutBy(ebcct, 1), length},
        {"EbcctMoreCommandsThanThere", PSI_EBCCT, patched(ebcctOf({}).build(), 8, {0xFF}), length},
    };
}

INSTANTIATE_TEST_SUITE_P(Ebit, SyntaxFailure, testing::ValuesIn(ebitRefusals()), nameOf);
INSTANTIATE_TEST_SUITE_P(Ebcat, SyntaxFailure, testing::ValuesIn(ebcatRefusals()), nameOf);
INSTANTIATE_TEST_SUITE_P(Ebcct, SyntaxFailure, testing::ValuesIn(ebcctRefusals()), nameOf);

} // namespace
} // namespace psitest
