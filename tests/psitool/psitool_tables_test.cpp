#include "loopback.h"
#include "programFixture.h"

#include "support/fullSection.h"
#include "support/syntaxTree.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

using namespace psitest;
using nlohmann::json;

const std::string example = "'" PSITOOL_EXAMPLE "'";

class PsitoolTables : public PsitoolTest {
protected:
    std::string textOf(const std::string &arguments) const
    {
        const Result result = shell("psitool tables " + arguments);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return result.out;
    }
    json jsonSections(const std::string &arguments) const
    {
        return jsonOf("psitool tables --json " + arguments)["sections"];
    }
};

void expectLines(const std::string &text, const std::vector<const char *> &lines)
{
    for (const char *line : lines)
        EXPECT_TRUE(contains(text, line + std::string("\n"))) << line << "\nis not in\n" << text;
}

/** The first lines of the sections, which stand at the left margin. */
std::vector<std::string> titlesOf(const std::string &text)
{
    std::vector<std::string> titles;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (!line.empty() && line[0] >= 'A' && line[0] <= 'Z')
            titles.push_back(line.substr(0, line.find(':')));
    return titles;
}

Bytes vctSection(u8 tableId)
{
    VctChannel channel;
    channel.shortName = "KXYZ-HD";
    channel.major = 13;
    channel.minor = 2;
    channel.carrierFrequency = 533000000;
    channel.channelTsid = 0x0708;
    channel.programNumber = 7;
    channel.etmLocation = 1;
    channel.hidden = 1;
    channel.sourceId = 5;
    channel.descriptors = descriptor(0xA0, {1, 'e', 'n', 'g', 1, 0, 0, 3, 'L', 'o', 'n'});
    return VctBuilder().tableId(tableId).tsId(0x1234).version(6).channel(channel).build();
}

Bytes sttSection(u32 systemTime = 1171197444)
{
    return LongSectionBuilder(0xCD)
        .idExt(0)
        .body(BitWriter().put(8, 0).put(32, systemTime).put(8, 17).put(16, 0x8C02).bytes())
        .build();
}

/** A stream with every table that is shown. */
Bytes fullStream()
{
    const std::pair<u16, std::vector<Bytes>> tables[] = {
        {0x0000, {fullSection(PSI_PAT)}},
        {0x0001, {fullSection(PSI_CAT)}},
        {0x0100, {fullSection(PSI_PMT)}},
        {0x0010, {fullSection(PSI_NIT_ACTUAL), fullSection(PSI_NIT_OTHER)}},
        {0x0011, {fullSection(PSI_SDT_ACTUAL), fullSection(PSI_SDT_OTHER), fullSection(PSI_BAT)}},
        {0x1FFB, {fullSection(PSI_MGT), vctSection(0xC8), vctSection(0xC9), sttSection()}},
        {0x0021, {fullSection(PSI_EBIT), fullSection(PSI_EBCT), fullSection(PSI_EBCAT), fullSection(PSI_EBCCT)}},
    };
    Bytes stream;
    for (const auto &[pid, sections] : tables)
        stream = stream + PacketStream(pid).backToBack(sections).bytes();
    return stream;
}

/* ---- every table ----------------------------------------------------------------------------------------------------
 */

struct ShownTable {
    const char *name;
    Bytes section;
    std::vector<const char *> lines;
};

void PrintTo(const ShownTable &table, std::ostream *out)
{
    *out << table.name;
}

class PsitoolTablesText : public PsitoolTables, public testing::WithParamInterface<ShownTable> {};

TEST_P(PsitoolTablesText, ShowsEveryFieldOfTheTable)
{
    expectLines(textOf("--section " + write("x.bin", GetParam().section)), GetParam().lines);
}

const ShownTable shownTables[] = {
    {"PAT",
     fullSection(PSI_PAT),
     {
         "├── table_id                      0x00 (program association)",
         "├── section_syntax_indicator      1",
         "├── section_length                17",
         "├── transport_stream_id           0x1234 (4660)",
         "├── version_number                5",
         "├── current_next_indicator        1",
         "├── section_number                0",
         "├── last_section_number           0",
         "├── programs                      2",
         "│   ├── program_number 0x0000 (0), network_PID 0x0010 (16)",
         "│   └── program_number 0x0102 (258), program_map_PID 0x0100 (256)",
     }},
    {"PMT",
     fullSection(PSI_PMT),
     {
         "├── program_number                0x0102 (258)",
         "├── PCR_PID                       0x0111 (273)",
         "├── program_info_length           6",
         "│   └── 0x05 registration_descriptor: format_identifier 0x48444D56 (HDMV)",
         "├── streams                       1",
         "│   └── stream_type 0x1B (H.264/AVC video), elementary_PID 0x0112 (274), ES_info_length 5",
         "│       ├── 0x52 stream_identifier_descriptor: component_tag 0x07",
         "└── CRC_32                        0xFCC0CE33",
     }},
    {"CAT",
     fullSection(PSI_CAT),
     {
         "├── descriptors                   2",
         "│   ├── 0x09 CA_descriptor: CA_system_ID 0x0500 (Viaccess), CA_PID 0x0300 (768)",
     }},
    {"NIT",
     fullSection(PSI_NIT_OTHER),
     {
         "├── table_id                      0x41 (network information, other network)",
         "├── network_id                    0x0A0B (2571)",
         "├── network_descriptors_length    6",
         "│   └── 0x40 network_name_descriptor: name \"Dale\"",
         "├── transport_stream_loop_length  11",
         "├── transport_streams             1",
         "│   └── transport_stream_id 0x0C0D (3085), original_network_id 0x0E0F (3599), transport_descriptors_length 5",
         "│       └── 0x41 service_list_descriptor: service_id 0x0301 (769), service_type 0x19 (H.264/AVC HD digital "
         "television)",
     }},
    {"SDT",
     fullSection(PSI_SDT_ACTUAL),
     {
         "├── transport_stream_id           0x0405 (1029)",
         "├── original_network_id           0x0607 (1543)",
         "│   └── service_id 0x0301 (769), EIT_schedule_flag 0, EIT_present_following_flag 1, running_status 4 "
         "(running), free_CA_mode 1 (scrambled), descriptors_loop_length 12",
         "│       └── 0x48 service_descriptor: service_type 0x19 (H.264/AVC HD digital television), "
         "service_provider_name \"Hill\", service_name \"One\"",
     }},
    {"BAT",
     fullSection(PSI_BAT),
     {
         "├── bouquet_id                    0x0A0B (2571)",
         "├── bouquet_descriptors_length    6",
         "├── transport_stream_loop_length  11",
         "├── transport_streams             1",
     }},
    {"MGT",
     fullSection(PSI_MGT),
     {
         "├── table_id_extension            0x0000 (0)",
         "├── private_indicator             1",
         "├── protocol_version              0",
         "├── tables_defined                1",
         "│   └── table_type 0x0000 (terrestrial VCT, current), table_type_PID 0x1FFB (8187), "
         "table_type_version_number 4, number_bytes 4294967295, table_type_descriptors_length 3",
         "│       └── 0x80 stuffing_descriptor: stuffing_bytes 1",
         "├── descriptors_length            4",
     }},
    {"VCT",
     vctSection(0xC8),
     {
         "├── num_channels_in_section       1",
         "│   └── short_name \"KXYZ-HD\"",
         "│       ├── major_channel_number          13",
         "│       ├── minor_channel_number          2",
         "│       ├── modulation_mode               0x04 (8-VSB)",
         "│       ├── carrier_frequency             533000000 (Hz)",
         "│       ├── channel_TSID                  0x0708 (1800)",
         "│       ├── program_number                0x0007 (7)",
         "│       ├── ETM_location                  1 (ETM in this stream)",
         "│       ├── access_controlled             0",
         "│       ├── hidden                        1",
         "│       ├── hide_guide                    0",
         "│       ├── service_type                  0x02 (ATSC digital television)",
         "│       ├── source_id                     0x0005 (5)",
         "│       ├── descriptors_length            13",
         "│           └── 0xA0 extended_channel_name_descriptor: long_channel_name \"Lon\"",
         "├── additional_descriptors_length 0",
     }},
    {"STT",
     sttSection(),
     {
         "├── system_time                   1171197444 (2017-02-15 12:37:07 UTC)",
         "├── GPS_UTC_offset                17",
         "├── DS_status                     1 (daylight saving time)",
         "├── DS_day_of_month               12",
         "├── DS_hour                       2",
     }},
    {"EBIT",
     fullSection(PSI_EBIT),
     {
         "├── ebm_number                    1",
         "│   └── ebm_id 00a1a2a3a4a5a6a7a8a9aaabacadaeafb0b1",
         "│       ├── ebm_word0                     0x0102 (258)",
         "│       ├── ebm_word20                    0x2021 (8225)",
         "│       ├── ebm_word22                    0x2223 (8739)",
         "│       ├── ebm_value24                   0x242526",
         "│       ├── ebm_word27                    0x2728 (10024)",
         "│       ├── ebm_value29                   0x293031",
         "│       ├── ebm_bytes32                   0001020304",
         "│       ├── ebm_high37                    0xC",
         "│       ├── ebm_low37                     0x3",
         "│       ├── resource_number               1",
         "│       │   └── resource_code 01f2f3f4f5f6f7f8f9fafbfc",
         "│       ├── details_channel_flag          1",
         "│           └── details_word0 0x1111 (4369)",
         "│               ├── details_word1                 0x2222 (8738)",
         "│               ├── details_word2                 0x0034 (52)",
         "│               ├── details_pid                   0x0333 (819)",
         "│               ├── program_info_length           4",
         "│               ├── stream_info_length            10",
         "│                   └── stream_type 0x04 (MPEG-2 audio), elementary_PID 0x0444 (1092), ES_info_length 5",
         "├── signature_length              4",
         "├── signature                     7369676e  \"sign\"",
     }},
    {"EBCT",
     fullSection(PSI_EBCT),
     {
         "├── ebm_id                        00b1b2b3b4b5b6b7b8b9babbbcbdbebfc0c1",
         "├── content_number                1",
         "│   └── content_word 0x7A686F00",
         "│       ├── content_byte4                 0x04",
         "│       ├── content_byte5                 0x05",
         "│       ├── content_byte6                 0x06",
         "│       ├── content_bits7                 0x5",
         "│       ├── message_text_length           5",
         "│       ├── message_text                  466c6f6f64  \"Flood\"",
         "│       ├── agency_name_length            4",
         "│       ├── agency_name                   57656972  \"Weir\"",
         "│       ├── auxiliary_data_number         1",
         "│           └── auxiliary_data_type 0x61, auxiliary_data_length 6",
         "├── signature                     7369676e  \"sign\"",
     }},
    {"EBCAT",
     fullSection(PSI_EBCAT),
     {
         "├── calist_number                 1",
         "│   └── ca_data_length 9, ca_data 617574686f72697479",
         "├── ct_number                     1",
         "│   └── ct_data_length 11, ct_data 6365727469666963617465",
         "├── signature_length              4",
     }},
    {"EBCCT",
     fullSection(PSI_EBCCT),
     {
         "├── cmd_number                    1",
         "│   └── cmd_tag 0x21, cmd_data_length 7, cmd_data 72657374617274",
         "├── signature_length              4",
     }},
};

INSTANTIATE_TEST_SUITE_P(Tables, PsitoolTablesText, testing::ValuesIn(shownTables));

TEST_F(PsitoolTables, StreamsTablesStandInTheirOrder)
{
    const std::string text = textOf(write("a.ts", fullStream()));
    EXPECT_EQ(titlesOf(text), (std::vector<std::string>{
                                  "PAT on PID 0x0000 (0)",
                                  "CAT on PID 0x0001 (1)",
                                  "PMT on PID 0x0100 (256)",
                                  "NIT actual on PID 0x0010 (16)",
                                  "NIT other on PID 0x0010 (16)",
                                  "SDT actual on PID 0x0011 (17)",
                                  "SDT other on PID 0x0011 (17)",
                                  "BAT on PID 0x0011 (17)",
                                  "MGT on PID 0x1FFB (8187)",
                                  "VCT terrestrial on PID 0x1FFB (8187)",
                                  "VCT cable on PID 0x1FFB (8187)",
                                  "STT on PID 0x1FFB (8187)",
                                  "EBIT on PID 0x0021 (33)",
                                  "EBCT on PID 0x0021 (33)",
                                  "EBCAT on PID 0x0021 (33)",
                                  "EBCCT on PID 0x0021 (33)",
                              }));
    expectLines(text,
                {"PMT on PID 0x0100 (256): program_number 0x0102 (258), version 3, section 0/0, 32 bytes, seen once, "
                 "packet 2"});
}

TEST_F(PsitoolTables, ProgramsAreInTheOrderOfTheirNumbers)
{
    const Bytes pat = PatBuilder().program(9, 0x109).program(3, 0x103).program(5, 0x105).build();
    Bytes stream = packetsOf(pat, 0);
    for (const u16 number : {u16{9}, u16{3}, u16{5}})
        stream = stream + packetsOf(PmtBuilder(number).build(), static_cast<u16>(0x100 + number));
    EXPECT_EQ(
        titlesOf(textOf("--type pmt " + write("a.ts", stream))),
        (std::vector<std::string>{"PMT on PID 0x0103 (259)", "PMT on PID 0x0105 (261)", "PMT on PID 0x0109 (265)"}));
}

} // namespace
