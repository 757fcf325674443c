#include "programFixture.h"

#include "support/fullSection.h"
#include "support/syntaxTree.h"

#include <algorithm>
#include <dlfcn.h>

namespace {

using namespace psitest;
using nlohmann::json;

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
         ("│       └── 0x41 service_list_descriptor: service_id 0x0301 (769), service_type 0x19 (H.264/AVC HD digital "
          "television)"),
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
         ("│   └── table_type 0x0000 (terrestrial VCT, current), table_type_PID 0x1FFB (8187), "
          "table_type_version_number 4, number_bytes 4294967295, table_type_descriptors_length 3"),
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
         "│           └── auxiliary_data_type 0x61, auxiliary_data_length 6, auxiliary_data 000102030405",
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

TEST_F(PsitoolTables, SectionsOfOneVersionThatDifferArePointedOut)
{
    const Bytes first = PmtBuilder(0x0102).version(3).build();
    const Bytes second = PmtBuilder(0x0102).version(3).stream(0x1B, 0x111).build();
    const Bytes third = PmtBuilder(0x0102).version(4).build();
    const Bytes stream = packetsOf(fullSection(PSI_PAT), 0) +
                         PacketStream(0x100).section(first).section(first).section(second).section(third).bytes();
    const json sections = jsonSections("--type pmt " + write("a.ts", stream));
    ASSERT_EQ(sections.size(), 3u);
    EXPECT_EQ(sections[0]["notes"], json::array());
    EXPECT_EQ(
        sections[0]["seen"],
        (json{{"count", 2}, {"first_packet", 1}, {"last_packet", 2}, {"first_ms", nullptr}, {"last_ms", nullptr}}));
    EXPECT_EQ(sections[1]["notes"], json::array({"differs from the one above, but version_number is the same"}));
    EXPECT_EQ(sections[2]["notes"], json::array());
    EXPECT_EQ(sections[0]["acquired"], false);
    EXPECT_EQ(sections[2]["acquired"], true) << "the version that holds at the end";
}

TEST_F(PsitoolTables, SystemTimesAreNoVersionsOfEachOther)
{
    const Bytes stream = PacketStream(0x1FFB).section(sttSection(1000)).section(sttSection(1001)).bytes();
    for (const json &section : jsonSections(write("a.ts", stream)))
        EXPECT_EQ(section["notes"], json::array());
}

TEST_F(PsitoolTables, PmtThatThePatDoesNotNameIsShownWithANote)
{
    const Bytes pat = PatBuilder().program(1, 0x101).program(2, 0x102).build();
    const Bytes stream = packetsOf(pat, 0) + packetsOf(PmtBuilder(1).build(), 0x101) +
                         packetsOf(PmtBuilder(2).build(), 0x202) + packetsOf(PmtBuilder(3).build(), 0x303);
    const json sections = jsonSections("--type pmt " + write("a.ts", stream));
    ASSERT_EQ(sections.size(), 3u);
    EXPECT_EQ(sections[0]["notes"], json::array());
    EXPECT_EQ(sections[1]["notes"], json::array({"the PAT puts this PMT on PID 0x0102 (258)"}));
    EXPECT_EQ(sections[2]["notes"], json::array({"the PAT has no such program"}));
}

TEST_F(PsitoolTables, NetworkPidOfThePatIsLookedAt)
{
    const Bytes stream =
        packetsOf(PatBuilder().network(0x1F).build(), 0) + packetsOf(fullSection(PSI_NIT_ACTUAL), 0x1F);
    EXPECT_EQ(jsonSections("--type nit " + write("a.ts", stream))[0]["pid"], 0x1F);
}

TEST_F(PsitoolTables, TableThatTheLibraryRefusesIsShownAsBytes)
{
    const Bytes sdt = SdtBuilder().service(7, {0x48, 0x7F, 0x01}).build(); // longer than its loop
    const std::string file = write("a.ts", packetsOf(sdt, 0x11));
    const std::string text = textOf(file);
    expectLines(text, {"├── NOTE: the library cannot parse it (-v tells why): its bytes follow",
                       "├── body                          0000ff0007fc8003487f01"});
    const json section = jsonSections(file)[0];
    EXPECT_EQ(section["parsed"], false);
    EXPECT_EQ(section["tree"]["body"], "0000ff0007fc8003487f01");
    EXPECT_EQ(section["tree"]["version_number"], 0);
    EXPECT_TRUE(contains(shell("psitool tables -v " + file).err, "syntaxAnalyseSdt: service_desc_len ERROR"));
}

TEST_F(PsitoolTables, PatWithoutProgramsSaysSo)
{
    expectLines(textOf(write("a.ts", packetsOf(PatBuilder().build(), 0))),
                {"├── NOTE: it has no programs, and the library parses no such PAT"});
}

TEST_F(PsitoolTables, VctThatDoesNotFitItsLengthIsShownAsBytes)
{
    const Bytes vct = VctBuilder().forcedChannels(2).channel({}).build();
    const json section = jsonSections(write("a.ts", packetsOf(vct, 0x1FFB)))[0];
    EXPECT_EQ(section["parsed"], false);
    EXPECT_EQ(section["tree"]["body"].get<std::string>().size(), 2 * (vct.size() - 12));
}

TEST_F(PsitoolTables, EbctThatWasCutSaysHowMuchIsMissing)
{
    EbctTable table = fullEbct();
    table.contents.resize(1);
    Bytes bytes = ebctOf(table).build();
    bytes[26] = 0x03; // content_number
    const Result result = shell("psitool tables --section " + write("x.bin", withRightCrc(bytes)));
    EXPECT_EQ(result.status, 0);
    expectLines(result.out, {"├── NOTE: content_number is 3, but 1 of them were read"});
    const Bytes second = ebctOf(fullEbct()).number(1, 1).build();
    expectLines(textOf("--section " + write("y.bin", second)),
                {"├── NOTE: the library parses the first section of an EBCT only"});
}

/* ---- filters --------------------------------------------------------------------------------------------------------
 */

struct FilterCase {
    const char *arguments;
    std::vector<const char *> tables;
};

void PrintTo(const FilterCase &filter, std::ostream *out)
{
    *out << filter.arguments;
}

class PsitoolTablesFilter : public PsitoolTables, public testing::WithParamInterface<FilterCase> {};

TEST_P(PsitoolTablesFilter, ShowsWhatWasAskedFor)
{
    std::vector<std::string> tables;
    for (const json &section : jsonSections(GetParam().arguments + (" " + write("a.ts", fullStream()))))
        tables.push_back(section["table"]);
    EXPECT_EQ(tables, std::vector<std::string>(GetParam().tables.begin(), GetParam().tables.end()));
}

const FilterCase filterCases[] = {
    {"--type pmt", {"PMT"}},
    {"--type NIT", {"NIT actual", "NIT other"}},
    {"--type nit-other --type cat", {"CAT", "NIT other"}},
    {"--type vct", {"VCT terrestrial", "VCT cable"}},
    {"--type ebct", {"EBCT"}},
    {"--pid 17", {"SDT actual", "SDT other", "BAT"}},
    {"--pid 0x11 --type bat", {"BAT"}},
    {"--pid 0X0001 --pid 0", {"PAT", "CAT"}},
    {"--id 0x0a0b", {"NIT actual", "NIT other", "BAT"}},
    {"--id 258 --type pmt --type nit", {"PMT"}},
    {"--standard atsc", {"PAT", "CAT", "PMT", "MGT", "VCT terrestrial", "VCT cable", "STT"}},
    {"--standard dvb --type mgt --type bat", {"BAT"}},
};

INSTANTIATE_TEST_SUITE_P(Filters, PsitoolTablesFilter, testing::ValuesIn(filterCases));

TEST_F(PsitoolTables, PidThatWasAskedForShowsTablesOfAnyKind)
{
    const Bytes emm = LongSectionBuilder(0x82).idExt(7).body({1, 2, 3}).build();
    const std::string file = write("a.ts", packetsOf(fullSection(PSI_PAT), 0) +
                                               PacketStream(0xC8).section(fullSection(PSI_BAT)).section(emm).bytes());
    EXPECT_EQ(titlesOf(textOf(file)), (std::vector<std::string>{"PAT on PID 0x0000 (0)", "BAT on PID 0x00C8 (200)"}));
    const std::string text = textOf("--pid 0xC8 " + file);
    EXPECT_EQ(titlesOf(text), (std::vector<std::string>{"BAT on PID 0x00C8 (200)", "Table 0x82 on PID 0x00C8 (200)"}));
    expectLines(text,
                {"├── table_id                      0x82 (CA message)", "├── body                          010203"});
}

struct NothingFound {
    const char *arguments;
    const char *message;
};

void PrintTo(const NothingFound &nothing, std::ostream *out)
{
    *out << nothing.arguments;
}

class PsitoolTablesNothing : public PsitoolTables, public testing::WithParamInterface<NothingFound> {};

TEST_P(PsitoolTablesNothing, IsOneLineThatSaysWhatAndStatus1)
{
    const std::string file = write("a.ts", packetsOf(fullSection(PSI_PAT), 0));
    const Result result = shell("psitool tables " + std::string(GetParam().arguments) + " " + file);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "psitool: " + file + ": " + GetParam().message + "\n");
}

const NothingFound nothingFound[] = {
    {"--type pmt", "no pmt found"},
    {"--type pmt --type bat --id 7", "no pmt, bat with table_id_extension 0x0007 (7) found"},
    {"--pid 0x100 --pid 9", "no table found on PID 0x0100 (256), 0x0009 (9)"},
};

INSTANTIATE_TEST_SUITE_P(Filters, PsitoolTablesNothing, testing::ValuesIn(nothingFound));

/** Nothing but a video stream. */
Bytes streamWithoutTables()
{
    Bytes packet = {0x47, 0x41, 0x00, 0x10, 0, 0, 1, 0xE0};
    packet.resize(packetSize, 0xAA);
    Bytes stream;
    for (u8 i = 0; i < 20; ++i) {
        packet[3] = 0x10 | (i & 0x0F);
        stream = stream + packet;
    }
    return stream;
}

TEST_F(PsitoolTables, OfAStreamWithoutAnyTableItSaysWhatIsMissing)
{
    const std::string file = write("video.ts", streamWithoutTables());
    for (const char *command : {"tables ", "tables --summary ", "services "}) {
        const Result result = shell(std::string("psitool ") + command + file);
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_EQ(result.out, "Tables missing\n└── PAT, PID 0x0000 (0): not seen\n") << command;
        EXPECT_TRUE(contains(result.err, "video.ts: no ")) << command << result.err;
    }
    EXPECT_EQ(shell("psitool tables --type pat " + file).out, "");
}

TEST_F(PsitoolTables, JsonOfNothingIsAnEmptyArrayAndStatus1)
{
    const Result result =
        shell("psitool tables --json --type pmt " + write("a.ts", packetsOf(fullSection(PSI_PAT), 0)));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(parsedJson(result.out)["sections"], json::array());
}

/* ---- what no table says
 * -----------------------------------------------------------------------------------------------
 */

/** A NIT with a logical channel of 16383, without a private_data_specifier. */
Bytes nitWithChannels()
{
    return NitBuilder().networkId(1).transportStream(1, 2, {0x83, 4, 0x12, 0x34, 0xFF, 0xFF}).build();
}

TEST_F(PsitoolTables, PrivateDescriptorsAreThoseOfTheOwnerThatIsNamed)
{
    const std::string file = write("nit.bin", nitWithChannels());
    const auto shown = [&](const std::string &arguments) {
        return jsonSections(arguments + " --section " + file)[0]["tree"]["transport_streams"][0]["descriptors"][0];
    };
    EXPECT_EQ(shown("")["name"], "user private");
    EXPECT_EQ(shown("--private NorDig")["fields"]["services"][0]["logical_channel_number"], 16383);
    EXPECT_EQ(shown("--private eacem")["fields"]["services"][0]["logical_channel_number"], 1023);
    EXPECT_EQ(shown("--private 0x233a")["fields"]["services"][0]["logical_channel_number"], 1023);
    const Result wrong = shell("psitool tables --private nobody --section " + file);
    EXPECT_EQ(wrong.status, 2);
    EXPECT_TRUE(contains(wrong.err, "'nobody' is none of eacem, nordig, ciplus, dtg, australia, arib, and no number"));
}

TEST_F(PsitoolTables, TextsWithoutASelectorAreInTheCharsetThatIsNamed)
{
    const std::string file = write("sdt.bin", SdtBuilder().service(7, {0x48, 5, 1, 0, 2, 0xBC, 0xD8}).build());
    const auto name = [&](const std::string &arguments) {
        return jsonSections(arguments + " --section " +
                            file)[0]["tree"]["services"][0]["descriptors"][0]["fields"]["service_name"];
    };
    EXPECT_EQ(name("--charset iso-8859-5"), "Ми");
    EXPECT_EQ(name("--charset CP1251"), "јШ");
    EXPECT_EQ(shell("psitool tables --charset klingon --section " + file).status, 2);
}

TEST_F(PsitoolTables, WhatWasNamedComesBackFromTheJson)
{
    const std::string nit = write("nit.bin", nitWithChannels());
    const std::string made = (folder / "made.bin").string();
    const Result result = shell("psitool tables --private nordig --charset iso-8859-5 --json --section " + nit +
                                " >t.json && psitool compile t.json -o " + made);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(contentOf(made), contentOf(nit));
}

TEST_F(PsitoolTables, TablesOnPidsThatNobodyNamesAreShownButForCaMessages)
{
    const Bytes stream = packetsOf(PatBuilder().program(7, 0x100).build(), 0xC8) +
                         packetsOf(NitBuilder().networkId(9).build(), 0xC8, 1) +
                         packetsOf(LongSectionBuilder(0xB3).build(), 0xC8, 2) +
                         packetsOf(LongSectionBuilder(0x82).build(), 0xC8, 3);
    const std::string text = textOf("--summary " + write("a.ts", stream));
    EXPECT_TRUE(contains(text, "PAT on PID 0x00C8 (200): ")) << text;
    EXPECT_TRUE(contains(text, "NIT actual on PID 0x00C8 (200): network_id 0x0009 (9)")) << text;
    EXPECT_TRUE(contains(text, "Table 0xB3 on PID 0x00C8 (200): ")) << text;
    EXPECT_FALSE(contains(text, "0x82")) << text;
}

TEST_F(PsitoolTables, TablesThatAreNotTakenApartHaveTheirNames)
{
    const std::string file = write("a.ts", packetsOf(LongSectionBuilder(0x77).build(), 0xC8));
    expectLines(textOf(file), {"├── table_id                      0x77 (content identifier)"});
}

TEST_F(PsitoolTables, SummaryHasALineForEachSectionAndWhatWasNotDecoded)
{
    const std::string file = write("nit.bin", nitWithChannels());
    EXPECT_EQ(textOf("--summary --section " + file),
              "NIT actual in " + file +
                  ": network_id 0x0001 (1), version 0, section 0/0, 28 bytes\n\n"
                  "0 descriptors decoded, 1 not:\n└── 0x83 user private, 1 time\n");
    EXPECT_TRUE(contains(textOf("--summary --private nordig --section " + file), "\n1 descriptor, all decoded\n"));
    const json summary = jsonOf("psitool tables --summary --json --section " + file)["descriptors"];
    EXPECT_EQ(summary["decoded"], 0);
    EXPECT_EQ(summary["not_decoded"][0]["tag"], 0x83);
    EXPECT_EQ(summary["not_decoded"][0]["count"], 1);
}

TEST_F(PsitoolTables, SeveralFilesAndSeveralSectionsInAFile)
{
    const Bytes pat = fullSection(PSI_PAT);
    const Bytes tdt = {0x70, 0x70, 0x05, 0xEA, 0x60, 0x12, 0x34, 0x56};
    const std::string two = write("two.bin", pat + tdt + fullSection(PSI_CAT));
    const std::string one = write("one.bin", fullSection(PSI_PMT));
    for (const std::string &arguments : {two + " " + one, two + " --section " + one}) {
        std::vector<std::string> tables;
        for (const json &section : jsonSections("--section " + arguments))
            tables.push_back(section["table"]);
        EXPECT_EQ(tables, (std::vector<std::string>{"PAT", "TDT", "CAT", "PMT"}));
    }
    const std::string padded = write("padded.bin", pat + tdt + Bytes(9, 0xFF));
    const Result result = shell("psitool tables --section " + padded);
    EXPECT_EQ(result.err, "psitool: " + padded + ": 9 bytes behind the section, left out\n");
}

TEST_F(PsitoolTables, IsdbIsToldByItsNit)
{
    const Bytes nit =
        NitBuilder().desc({0xFE, 2, 0x03, 0x01}).transportStream(0x7ED4, 0x7ED4, {0xFB, 2, 0x49, 0xA0}).build();
    const json document = jsonOf("psitool tables --json " + write("a.ts", packetsOf(nit, 0x10)));
    EXPECT_EQ(document["private_data_specifier"], "arib");
    EXPECT_EQ(document["charset"], "ARIB-STD-B24");
    EXPECT_EQ(document["sections"][0]["tree"]["transport_streams"][0]["descriptors"][0]["name"],
              "partial_reception_descriptor");
}

TEST_F(PsitoolTables, IsdbOfBrazilIsToldByTheDescriptorsOfItsStream)
{
    const Bytes delivery = {0xFA, 4, 0x89, 0x16, 0x0F, 0x90};
    const Bytes information = {0xCD, 4, 0x07, 0x08, 'T', 'V'};
    const auto ownerOf = [this](const Bytes &descriptors) {
        const Bytes nit = NitBuilder().transportStream(0x02E1, 0x02E1, descriptors).build();
        return jsonOf("psitool tables --json " + write("a.ts", packetsOf(nit, 0x10)));
    };
    const json brazilian = ownerOf(delivery + information);
    EXPECT_EQ(brazilian["private_data_specifier"], "arib");
    EXPECT_EQ(brazilian["charset"], "ISO-8859-15");
    EXPECT_EQ(ownerOf(delivery)["private_data_specifier"], nullptr);
    EXPECT_EQ(ownerOf(Bytes{0x5F, 4, 0, 0, 0, 0x28} + delivery + information)["private_data_specifier"], nullptr);
}

TEST_F(PsitoolTables, IsdbWithoutANitIsToldByTheProgrammeForHandhelds)
{
    const auto ownerOf = [this](u16 pid, const Bytes &descriptors, const Bytes &nit) {
        const Bytes pmt = PmtBuilder(7).stream(0x06, 0x119, descriptors).build();
        const std::string file =
            write("a.ts", packetsOf(PatBuilder().program(7, pid).build(), 0) + packetsOf(pmt, pid) + nit);
        return jsonOf("psitool tables --json " + file)["private_data_specifier"];
    };
    const Bytes captions = {0xFD, 3, 0x00, 0x08, 0x3D};
    const Bytes application = {0xFD, 2, 0x00, 0xA3};
    EXPECT_EQ(ownerOf(0x1FC8, captions, {}), "arib");
    EXPECT_EQ(ownerOf(0x1FC8, application, {}), "arib");
    EXPECT_EQ(ownerOf(0x1FC7, captions, {}), nullptr);
    EXPECT_EQ(ownerOf(0x1FC8, {0xFD, 3, 0x00, 0x09, 0x3D}, {}), nullptr);
    EXPECT_EQ(ownerOf(0x1FC8, Bytes{0x5F, 4, 0, 0, 0, 0x28} + captions, {}), nullptr);
    EXPECT_EQ(ownerOf(0x1FC8, captions, packetsOf(NitBuilder().networkId(1).build(), 0x10)), nullptr);
}

TEST_F(PsitoolTables, RatingsAndAudioOfBrazilAreReadItsWay)
{
    const Bytes delivery = {0xFA, 4, 0x89, 0x16, 0x0F, 0x90};
    const Bytes information = {0xCD, 4, 0x07, 0x08, 'T', 'V'};
    const Bytes ratings = {0x55, 8, 'B', 'R', 'A', 0x23, 'A', 'R', 'G', 0x09};
    const Bytes audio = {0xC4, 9, 0xF6, 0x03, 0x10, 0x11, 0xFF, 0x5F, 'p', 'o', 'r'};
    const Bytes nit = NitBuilder().transportStream(1, 1, delivery + information + ratings + audio).build();
    const std::string text = textOf(write("a.ts", packetsOf(nit, 0x10)));
    for (const char *part :
         {"country_code BRA, rating 0x23 (from 12 years)\n", "country_code ARG, rating 0x09 (from 12 years)\n",
          "stream_content 0x6 (HE-AAC audio), component_type 0x03 (stereo)"})
        EXPECT_TRUE(contains(text, part)) << part << text;
    EXPECT_TRUE(contains(textOf("--section " + write("a.bin", NitBuilder().desc(ratings).build())),
                         "country_code BRA, rating 0x23 (defined by the broadcaster)\n"));
}

TEST_F(PsitoolTables, TextsOfBrazilAreLatinAlsoWhereTheDefaultTableHasTheirLetters)
{
    const Bytes delivery = {0xFA, 4, 0x89, 0x16, 0x0F, 0x90};
    const Bytes information = {0xCD, 4, 0x07, 0x08, 'T', 'V'};
    const Bytes network = {0x40, 5, 'a', 0xE7, 0xE3, 'o', 0xE9};
    const Bytes nit = NitBuilder().desc(network).transportStream(1, 1, delivery + information).build();
    const std::string text = textOf(write("a.ts", packetsOf(nit, 0x10)));
    EXPECT_TRUE(contains(text, "name \"ação\u00e9\"")) << text;
}

/** The NIT of a Japanese satellite, with what EN 300 468 and ARIB STD-B10 have in different bits. */
Bytes japaneseNit()
{
    const Bytes delivery = {0x43, 11, 0x01, 0x17, 0x27, 0x48, 0x11, 0x00, 0xE8, 0x02, 0x88, 0x60, 0x08};
    const Bytes services = {0x41, 3, 0x02, 0xF1, 0xC0};
    const Bytes contents = {0x54, 2, 0x1A, 0xFF, 0x50, 6, 0xF1, 0xB3, 0, 'j', 'p', 'n'};
    return NitBuilder()
        .networkId(4)
        .desc({0xFE, 2, 0x02, 0x01, 0x40, 8, 0x1B, 0x7C, 0xC6, 0xEC, 0xD3, 0x0E, 'T', 'V'})
        .transportStream(0x4010, 0x0004, delivery + services + contents)
        .build();
}

TEST_F(PsitoolTables, WhatIsdbHasInOtherBitsIsReadItsWay)
{
    const std::string text = textOf(write("a.ts", packetsOf(japaneseNit(), 0x10)));
    for (const char *part : {"polarization 3 (right circular), modulation 8 (as TMCC says), symbol_rate 28.8600",
                             "FEC_inner 8 (as TMCC says)", "service_type 0xC0 (data)",
                             "content_nibble_level_1 0x1 (sports), content_nibble_level_2 0xA, user_byte",
                             "stream_content 0x1 (MPEG-2 video), component_type 0xB3 (1080i, 16:9)"})
        EXPECT_TRUE(contains(text, part)) << part << " in\n" << text;
}

TEST_F(PsitoolTables, JapaneseTextsBeginWithKatakanaInTheirFourthSet)
{
    if (dlopen("libaribb24.so.0", RTLD_LAZY) == nullptr)
        GTEST_SKIP() << "libaribb24 is not installed";
    const std::string text = textOf(write("a.ts", packetsOf(japaneseNit(), 0x10)));
    EXPECT_TRUE(contains(text, "network_name_descriptor: name \"テレビＴＶ\"")) << text;
}

/** multiple_string_structure of one uncompressed string. */
Bytes atscString(const std::string &text)
{
    return Bytes{1, 'e', 'n', 'g', 1, 0, 0, static_cast<u8>(text.size())} + bytesOf(text);
}

Bytes extendedText(u16 source, u16 event)
{
    const u8 kind = event ? 2 : 0;
    const Bytes id = {static_cast<u8>(source >> 8), static_cast<u8>(source), static_cast<u8>(event >> 6),
                      static_cast<u8>(event << 2 | kind)};
    return LongSectionBuilder(0xCC).idExt(0).body(Bytes{0} + id + atscString("More about it")).build();
}

TEST_F(PsitoolTables, AnExtendedTextIsShownWithTheEventOrChannelThatItBelongsTo)
{
    VctChannel channel;
    channel.shortName = "N-HD";
    channel.major = 13;
    channel.minor = 1;
    channel.sourceId = 7;
    const Bytes title = atscString("News");
    const Bytes event = Bytes{1, 0xC0, 9, 0x40, 0, 0, 0, 0xC0, 7, 8, static_cast<u8>(title.size())} + title;
    const Bytes eit = LongSectionBuilder(0xCB).idExt(7).body(Bytes{0} + event + Bytes{0xF0, 0}).build();
    const std::string file = write("psip.bin", VctBuilder().channel(channel).build() + eit + extendedText(7, 9) +
                                                   extendedText(7, 0) + extendedText(8, 9));
    const std::string summary = textOf("--summary --section " + file);
    EXPECT_TRUE(contains(summary, "section 0/0, text of event \"News\" on channel 13.1 \"N-HD\", ")) << summary;
    EXPECT_TRUE(contains(summary, "section 0/0, text of channel 13.1 \"N-HD\", ")) << summary;
    const std::string text = textOf("--type ett --section " + file);
    EXPECT_TRUE(contains(text, "0x00070026 (event_id 0x0009 (9) of source_id 0x0007 (7))")) << text;
    EXPECT_TRUE(contains(text, "0x00070000 (source_id 0x0007 (7))")) << text;
    EXPECT_FALSE(contains(text, "text of")) << text;
}

/** A/65 6.5: an event that begins 10 seconds behind the time of sttSection(). */
Bytes eitSection()
{
    const Bytes start = BitWriter().put(32, 1171197454).bytes();
    return LongSectionBuilder(0xCB).idExt(7).body(Bytes{0, 1, 0xC0, 9} + start + Bytes{0xC0, 7, 8, 0, 0xF0, 0}).build();
}

TEST_F(PsitoolTables, TimesOfAtscAreUtcWhereAnSttTellsTheOffset)
{
    const Bytes guide = PacketStream(0x1FFB)
                            .section(MgtBuilder().table(0x0100, 0x1D00, 0, 100).build())
                            .section(VctBuilder().tsId(1).channel({}).build())
                            .bytes() +
                        packetsOf(eitSection(), 0x1D00);
    const std::string file = write("a.ts", guide + packetsOf(sttSection(), 0x1FFB));
    const std::string utc = "start_time 1171197454 (2017-02-15 12:37:17 UTC)";
    const std::string gps = "start_time 1171197454 (2017-02-15 12:37:34 GPS time)";
    EXPECT_TRUE(contains(textOf(file), utc)) << textOf(file);
    EXPECT_TRUE(contains(textOf("--type eit " + file), utc)) << "also when the STT itself is not shown";
    EXPECT_TRUE(contains(textOf(write("b.ts", guide)), gps));
    const json event = jsonSections("--type eit " + file)[0]["tree"]["events"][0];
    EXPECT_EQ(event["start_time"], 1171197454);
    EXPECT_EQ(event["start_time_name"], "2017-02-15 12:37:17 UTC");
    const std::string sections = write("psip.bin", eitSection() + sttSection());
    EXPECT_TRUE(contains(textOf("--type eit --section " + sections), utc));
    EXPECT_TRUE(contains(textOf("--section " + write("eit.bin", eitSection())), gps));
}

TEST_F(PsitoolTables, TimesThatAreShownAsUtcAreCompiledToTheSameBytes)
{
    const Bytes both = eitSection() + sttSection();
    json document = jsonOf("psitool tables --json --section " + write("psip.bin", both));
    for (json &section : document["sections"])
        section.erase("data");
    write("psip.json", bytesOf(document.dump()));
    const Result result = shell("psitool compile psip.json -o out.bin");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(contentOf((folder / "out.bin").string()), std::string(both.begin(), both.end()));
}

TEST_F(PsitoolTables, NamesAndTextsStandInQuotationMarksAndCodesDoNot)
{
    const Bytes application = {0x00, 0x00, 0x00, 0x0B, 0x00, 0x01, 0x01, 0xF0, 0x04, 0x15, 0x02, 'a', ','};
    const Bytes ait = LongSectionBuilder(0x74).idExt(0x10).body(Bytes{0xF0, 0, 0xF0, 13} + application).build();
    const std::string text = textOf("--section " + write("ait.bin", ait));
    EXPECT_TRUE(contains(text, "initial_path \"a,\"")) << text;
    const std::string pmt = textOf("--type pmt --id 40 " + example);
    EXPECT_TRUE(contains(pmt, "ISO_639_language_code spa, audio_type 0 (undefined)")) << pmt;
}

/* ---- bytes ----------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolTables, HexShowsTheBytesAsADump)
{
    expectLines(textOf("--hex --section " + write("x.bin", fullSection(PSI_PMT))),
                {"├── CRC_32                        0xFCC0CE33", "└── bytes",
                 "    ├── 0000  02 b0 1d 01 02 c7 00 00  e1 11 f0 06 05 04 48 44  |..............HD|",
                 "    └── 0010  4d 56 1b e1 12 f0 05 52  01 07 6a 00 fc c0 ce 33  |MV.....R..j....3|"});
}

TEST_F(PsitoolTables, HexMarksWhichBytesAndBitsAreWhichField)
{
    expectLines(textOf("--hex --section " + write("x.bin", fullSection(PSI_PMT))),
                {"├── fields by their bytes and bits", "│   ├── 0000  02                               table_id",
                 "│   ├── 0001  b0                        7      section_syntax_indicator",
                 "│   ├── 0001  b0                        6..4   (not shown)",
                 "│   ├── 0001  b0 1d                     11..0  section_length",
                 "│   ├── 0008  e1 11                     12..0  PCR_PID",
                 "│   ├── 000E  48 44 4d 56                      "
                 "descriptors[0].registration_descriptor.format_identifier",
                 "│   └── 001C  fc c0 ce 33                      CRC_32"});
}

TEST_F(PsitoolTables, SchemaIsJsonAndNamesTablesAndDescriptors)
{
    const json schema = parsedJson(shell("psitool tables --schema").out);
    const std::string text = schema["$defs"].dump();
    for (const char *name : {"\"PAT\"", "\"SDTT\"", "\"service_descriptor\"", "\"elementary_PID\""})
        EXPECT_TRUE(contains(text, name)) << name;
}

TEST_F(PsitoolTables, LongByteRunsAreADump)
{
    EbctTable table = fullEbct();
    table.contents[0].text = bytesOf("Water is rising quickly, leave now.");
    expectLines(textOf("--section " + write("x.bin", ebctOf(table).build())),
                {"│       ├── message_text                  35 bytes",
                 "│       │   ├── 0000  57 61 74 65 72 20 69 73  20 72 69 73 69 6e 67 20  |Water is rising |",
                 "│       │   └── 0020  6f 77 2e                                          |ow.|"});
}

TEST_F(PsitoolTables, JsonHoldsTheWholeSection)
{
    const Bytes section = fullSection(PSI_EBIT);
    const json shown = jsonSections("--section " + write("x.bin", section))[0];
    EXPECT_EQ(shown["size"], section.size());
    EXPECT_EQ(shown["data"].get<std::string>().size(), 2 * section.size());
    EXPECT_EQ(shown["table"], "EBIT");
    EXPECT_EQ(shown["psi_type"], PSI_EBIT);
    EXPECT_EQ(shown["pid"], nullptr);
    EXPECT_EQ(shown["seen"], nullptr);
    const json &message = shown["tree"]["messages"][0];
    EXPECT_EQ(message["resources"][0]["resource_code"], "01f2f3f4f5f6f7f8f9fafbfc");
    EXPECT_EQ(message["details_channel"][0]["details_pid"], 0x333);
    EXPECT_EQ(message["details_channel"][0]["streams"][0]["stream_type"], 4);
    EXPECT_EQ(message["details_channel"][0]["descriptors"][0]["data"], "0a0b");
    EXPECT_EQ(shown["tree"]["signature"], "7369676e");
}

TEST_F(PsitoolTables, ManualsShowWhatIsPrinted)
{
    const std::string text = textOf("--type pmt --id 40 " + example);
    EXPECT_TRUE(contains(contentOf(PSITOOL_README), "\n```\n" + text + "```\n")) << text;
    const Result cat = shell("psitool tables --json --type cat " + example);
    const std::string sections = cat.out.substr(cat.out.find("  \"sections\": ["));
    EXPECT_TRUE(contains(contentOf(PSITOOL_TABLES_MANUAL), sections + "```\n")) << sections;
}

TEST_F(PsitoolTables, EveryJsonKeyIsDocumented)
{
    const std::string manual = contentOf(PSITOOL_TABLES_MANUAL);
    std::set<std::string> keys = keysOf(jsonOf("psitool tables --json " + write("a.ts", fullStream())));
    keys.merge(keysOf(jsonOf("psitool tables --json --section " + write("x.bin", fullSection(PSI_PAT)))));
    EXPECT_GT(keys.size(), 100u);
    for (const std::string &key : keys)
        EXPECT_TRUE(isDocumented(key, manual)) << key;
}

/* ---- section files --------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolTables, WrongCrcIsToldWithBothValuesAndTheTreeShown)
{
    Bytes section = fullSection(PSI_PMT);
    section[9] = 0x22; // PCR_PID
    const std::string file = write("x.bin", section);
    const Result result = shell("psitool tables --section " + file);
    const std::string note = "CRC_32 is 0xFCC0CE33, but the bytes give 0x04E4C5DF: any field may be wrong\n";
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: " + file + ": " + note);
    EXPECT_TRUE(contains(result.out, "├── NOTE: " + note)) << result.out;
    expectLines(result.out, {"├── PCR_PID                       0x0122 (290)", "├── streams                       1",
                             "└── CRC_32                        0xFCC0CE33"});
    const json shown = parsedJson(shell("psitool tables --json --section " + file).out)["sections"][0];
    EXPECT_EQ(shown["crc_right"], false);
    EXPECT_EQ(shown["parsed"], true);
}

TEST_F(PsitoolTables, BytesBehindTheSectionAreToldAndLeftOut)
{
    const std::string file = write("x.bin", fullSection(PSI_PMT) + bytesOf("12345"));
    const Result result = shell("psitool tables --hex --section " + file);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: " + file + ": 5 bytes behind the section, left out\n");
    expectLines(result.out, {"    └── 0010  4d 56 1b e1 12 f0 05 52  01 07 6a 00 fc c0 ce 33  |MV.....R..j....3|"});
}

TEST_F(PsitoolTables, UnknownTableIdIsToldAndItsBytesShown)
{
    Bytes section = fullSection(PSI_PMT);
    section[0] = 0x99;
    const std::string file = write("x.bin", withRightCrc(section));
    const Result result = shell("psitool tables --section " + file);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "psitool: " + file + ": table_id 0x99 is none of the tables that are read here\n");
    EXPECT_EQ(titlesOf(result.out), std::vector<std::string>{"Table 0x99 in " + file});
    expectLines(result.out, {"├── body                          e111f006050448444d561be112f0055201076a00"});
}

TEST_F(PsitoolTables, TransportStreamGivenAsASectionIsRecognised)
{
    const Result result = shell("psitool tables --section " + example);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    EXPECT_TRUE(contains(result.err, "(a transport stream is given without --section)\n")) << result.err;
}

struct DamagedFile {
    const char *name;
    const char *prepare;
    const char *message;
};

void PrintTo(const DamagedFile &file, std::ostream *out)
{
    *out << file.name;
}

class PsitoolTablesDamagedFile : public PsitoolTables, public testing::WithParamInterface<DamagedFile> {};

TEST_P(PsitoolTablesDamagedFile, IsOneLineThatNamesItAndStatus3)
{
    write("pat.bin", fullSection(PSI_PAT));
    const std::string name = GetParam().name;
    const Result result =
        shell(std::string(GetParam().prepare) + "; psitool tables --section " + name + " --section pat.bin");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: " + name + ": " + GetParam().message + "\n");
    EXPECT_TRUE(contains(result.out, "PAT in pat.bin: ")) << "the other file is shown nevertheless";
}

const DamagedFile damagedFiles[] = {
    {"missing.bin", ":", "No such file or directory"},
    {"folder.bin", "mkdir folder.bin", "Is a directory"},
    {"empty.bin", ": >empty.bin", "empty, no section"},
    {"two.bin", "head -c 2 pat.bin >two.bin", "cut short: 2 bytes, where the header alone has 3"},
    {"cut.bin", "head -c 19 pat.bin >cut.bin", "cut short: section_length 17 asks for 20 bytes, the file has 19"},
};

INSTANTIATE_TEST_SUITE_P(Files, PsitoolTablesDamagedFile, testing::ValuesIn(damagedFiles));

TEST_F(PsitoolTables, CutSectionsBytesAreShown)
{
    Bytes section = fullSection(PSI_PAT);
    section.resize(14);
    const Result result = shell("psitool tables --section " + write("x.bin", section));
    EXPECT_EQ(result.status, 3);
    expectLines(result.out, {"├── section_length                17", "├── version_number                5",
                             "└── body                          0000e0100102"});
}

TEST_F(PsitoolTables, SectionFilesAreFilteredByTypeAndIdentifier)
{
    const std::string files =
        "--section " + write("a.bin", fullSection(PSI_PAT)) + " --section " + write("b.bin", fullSection(PSI_BAT));
    EXPECT_EQ(titlesOf(textOf("--type bat " + files)).size(), 1u);
    EXPECT_EQ(titlesOf(textOf("--id 0x1234 " + files)).size(), 1u);
    const Result none = shell("psitool tables --type ebit --section a.bin --section b.bin");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "psitool: a.bin, b.bin: no ebit found\n");
}

TEST_F(PsitoolTables, SeveralSectionFilesAreShownInTheirOrder)
{
    const std::string text = textOf("--section " + write("y.bin", fullSection(PSI_EBIT)) + " --section " +
                                    write("x.bin", fullSection(PSI_PAT)));
    EXPECT_EQ(titlesOf(text), (std::vector<std::string>{"EBIT in " + (folder / "y.bin").string(),
                                                        "PAT in " + (folder / "x.bin").string()}));
}

TEST_F(PsitoolTables, SectionOnStandardInputIsRead)
{
    EXPECT_EQ(titlesOf(textOf("--section - <" + write("x.bin", fullSection(PSI_PAT)))),
              std::vector<std::string>{"PAT in standard input"});
}

TEST_F(PsitoolTables, HostileNamesReachNoTerminal)
{
    const std::string hostile = "N\x1B]0;x\x07\x9B"
                                "31m";
    const Bytes sdt = SdtBuilder().service(7, serviceDescriptor(1, hostile, hostile)).build();
    EbctTable table = fullEbct();
    table.contents[0].text = bytesOf(hostile);
    const std::string file = write("a\x1B[31m.ts", packetsOf(sdt, 0x11) + packetsOf(ebctOf(table).build(), 0x21));
    const std::string text = textOf("--hex a*.ts") + textOf("--section \"$(echo x*.bin)\" <" + write("x\x1B.bin", sdt));
    for (const char byte : text)
        ASSERT_TRUE(byte == '\n' || static_cast<unsigned char>(byte) >= 0x20) << static_cast<int>(byte);
    EXPECT_TRUE(contains(text, "service_name \"N\uFFFD]0;x\uFFFD31m\"")) << text;
    const json shown = jsonSections("a*.ts");
    EXPECT_EQ(shown[0]["tree"]["services"][0]["descriptors"][0]["fields"]["service_name"], "N\uFFFD]0;x\uFFFD31m");
}

/* ---- command line and inputs ----------------------------------------------------------------------------------------
 */

struct WrongTablesUse {
    const char *arguments;
    const char *named;
};

void PrintTo(const WrongTablesUse &use, std::ostream *out)
{
    *out << "psitool tables " << use.arguments;
}

class PsitoolTablesWrongUse : public PsitoolTables, public testing::WithParamInterface<WrongTablesUse> {};

TEST_P(PsitoolTablesWrongUse, IsOneLineThatNamesTheWordAndStatus2)
{
    const Result result = shell(std::string("psitool tables ") + GetParam().arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(contains(result.err, GetParam().named)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

const WrongTablesUse wrongTablesUses[] = {
    {"", "INPUT or --section is required"},
    {"a.ts --section b.bin", "INPUT excludes --section"},
    {"--pid 1 --section b.bin", "--pid excludes --section"},
    {"--type xyz a.ts", "xyz"},
    {"--pid 0x2000 a.ts", "'0x2000' is no number of 0 to 0x1FFF (8191)"},
    {"--pid 8192 a.ts", "'8192' is no number of 0 to 0x1FFF (8191)"},
    {"--pid 17x a.ts", "'17x'"},
    {"--pid 0x a.ts", "'0x'"},
    {"--pid=-1 a.ts", "'-1'"},
    {"--pid 99999999999999999999 a.ts", "'99999999999999999999'"},
    {"--id 65536 a.ts", "'65536' is no number of 0 to 0xFFFF (65535)"},
    {"--standard isdb a.ts", "isdb"},
};

INSTANTIATE_TEST_SUITE_P(Uses, PsitoolTablesWrongUse, testing::ValuesIn(wrongTablesUses));

TEST_F(PsitoolTables, StreamThatCannotBeReadIsOneLineAndStatus3AWrongUrlStatus2)
{
    const std::pair<std::string, int> inputs[] = {{"missing.ts", 3}, {"udp://nowhere", 2}};
    for (const auto &[input, status] : inputs) {
        const Result result = shell("psitool tables " + input);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err.rfind(std::string("psitool: ") + input + ": ", 0), 0u) << result.err;
    }
}

TEST_F(PsitoolTables, OutputThatCannotBeWrittenIsAnError)
{
    const Result result = shell("psitool tables " + example + " >/dev/full");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: standard output: No space left on device\n");
}

TEST_F(PsitoolTables, PipeIsReadToItsEnd)
{
    const std::string file = write("a.ts", fullStream() + repeated(40, 0) + fullStream());
    const std::string text = textOf("- <" + file);
    EXPECT_EQ(titlesOf(shell("cat " + file + " | psitool tables -").out), titlesOf(text));
    EXPECT_EQ(titlesOf(text).size(), 16u);
}

TEST_F(PsitoolTables, HelpNamesEveryTable)
{
    const Result help = shell("psitool tables --help");
    EXPECT_EQ(help.status, 0);
    for (const char *word : {"nit-actual", "vct-cable", "ebcct", "--section", "--hex", "Exit status:"})
        EXPECT_TRUE(contains(help.out, word)) << word;
}

} // namespace
