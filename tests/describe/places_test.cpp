// Where the fields of a section stand.
#include "describe/places.h"
#include "describe/sections.h"
#include "describe/tableKinds.h"

#include "support/randomSection.h"

#include <gtest/gtest.h>

namespace psi::describe {
namespace {

std::vector<PlacedField> placesIn(ByteView section)
{
    const DescribedSection tree = describeSection(section, tableKindOf(section, std::nullopt), Standard::dvb);
    return placesOf(tree.fields, static_cast<u32>(section.size()) * 8);
}

std::string lines(const std::vector<PlacedField> &places)
{
    std::string text;
    for (const PlacedField &place : places)
        text += std::to_string(place.bit) + "+" + std::to_string(place.bits) + " " + place.path + "\n";
    return text;
}

TEST(Places, NameEveryBitOfASection)
{
    const std::string pmt = fromHex("02b01a0102c70000e111f000"
                                    "1be112f0080a06656e6700"
                                    "5200"
                                    "00000000")
                                .value();
    EXPECT_EQ(lines(placesIn(ByteView(pmt))), "0+8 table_id\n"
                                              "8+1 section_syntax_indicator\n"
                                              "9+3 \n"
                                              "12+12 section_length\n"
                                              "24+16 program_number\n"
                                              "40+2 \n"
                                              "42+5 version_number\n"
                                              "47+1 current_next_indicator\n"
                                              "48+8 section_number\n"
                                              "56+8 last_section_number\n"
                                              "64+3 \n"
                                              "67+13 PCR_PID\n"
                                              "80+4 \n"
                                              "84+12 program_info_length\n"
                                              "96+8 streams[0].stream_type\n"
                                              "104+3 \n"
                                              "107+13 streams[0].elementary_PID\n"
                                              "120+4 \n"
                                              "124+12 streams[0].ES_info_length\n"
                                              "136+8 streams[0].descriptors[0].descriptor_tag\n"
                                              "144+8 streams[0].descriptors[0].descriptor_length\n"
                                              "152+48 streams[0].descriptors[0].data\n"
                                              "200+32 CRC_32\n");
}

TEST(Places, AreInOrderWithoutGapsOrOverlapsWhateverTheSection)
{
    psitest::RandomSections random(31);
    for (const u32 type : psitest::parsedTypes())
        for (int i = 0; i < 20; ++i) {
            const psitest::Bytes section = random.make(type, 64 + random.below(500)).bytes;
            u32 at = 0;
            for (const PlacedField &place : placesIn({section.data(), section.size()})) {
                ASSERT_EQ(place.bit, at) << place.path;
                at += place.bits;
            }
            ASSERT_EQ(at, section.size() * 8);
        }
}

} // namespace
} // namespace psi::describe
