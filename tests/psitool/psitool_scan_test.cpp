#include "programFixture.h"

#include <algorithm>
#include <map>
#include <set>

namespace {

using namespace psitest;
using nlohmann::json;

using PsitoolScan = psitest::PsitoolTest;

Bytes repeatedStream(int times)
{
    Bytes stream;
    for (int i = 0; i < times; ++i)
        stream = stream + shortStream();
    return stream;
}

/** Packets with something in front of and behind each: 192-byte (time code) and 204-byte (parity) recordings. */
Bytes framed(const Bytes &stream, std::size_t before, std::size_t behind)
{
    Bytes out;
    for (std::size_t place = 0; place < stream.size(); place += packetSize) {
        out = out + repeated(before, 0x11);
        out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(place),
                   stream.begin() + static_cast<std::ptrdiff_t>(place + packetSize));
        out = out + repeated(behind, 0x22);
    }
    return out;
}

/* ---- output ---------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolScan, TextShowsTheExamplesProgramsAndStreams)
{
    const Result result = shell("psitool scan " + example);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    for (const char *line : {
             "Transport stream 0x0101 (257)\n",
             "├── network_id            0xFF01 (65281)  \"Example Broadcasting\"\n",
             "│   └── CA 0x2610 BISS-CA        EMM PID 0x0FF1 (4081)\n",
             "Program 0x000A (10)  \"News One\"\n",
             "Program 0x0014 (20)  \"Cinéma Deux\"\n",
             "Program 0x001E (30)  \"Radio Three\"\n",
             "├── service type          0x02 digital radio\n",
             "Program 0x0028 (40)  \"Pay Four\"\n",
             "├── free_CA_mode          1 scrambled\n",
             "├── CA 0x2610 BISS-CA        ECM PID 0x0FF0 (4080)\n",
             "├── PID 0x0200 (512)   0x02 MPEG-2 video\n",
             "├── PID 0x0204 (516)   0x1B H.264/AVC video\n",
             "├── PID 0x0205 (517)   0x0F AAC audio (ADTS), fra (French)\n",
             "└── PID 0x0203 (515)   0x06 AC-3 audio, fra (French)\n",
             "├── PMT                   4 sections, every 19 to 177 ms (mean 92)\n",
         })
        EXPECT_TRUE(contains(result.out, line)) << line << "\nis not in\n" << result.out;
}

TEST_F(PsitoolScan, EveryNetworkThatSaysItIsTheActualOneIsShown)
{
    const Bytes one = NitBuilder().networkId(0x321D).build();
    const Bytes other = NitBuilder().networkId(0x321B).build();
    const std::string text =
        shell("psitool scan " + write("a.ts", packetsOf(one, 0x10) + packetsOf(other, 0x10, 1))).out;
    for (const char *line : {"└── NIT actual            2 sections\n",
                             "    ├── network_id 0x321B (12827): 0 transport streams, 1 section\n",
                             "    └── network_id 0x321D (12829): 0 transport streams, 1 section\n"})
        EXPECT_TRUE(contains(text, line)) << line << text;
}

TEST_F(PsitoolScan, BranchesAreAsciiWhereTheLocaleIs)
{
    const Result result = shell("LC_ALL=C psitool scan " + write("a.ts", shortStream()));
    EXPECT_TRUE(contains(result.out, "|-- PAT                   version 5, 1 program\n")) << result.out;
    EXPECT_TRUE(contains(result.out, "`-- PID 0x0101 (257)   0x1B H.264/AVC video\n")) << result.out;
}

TEST_F(PsitoolScan, JsonHoldsTheExamplesModel)
{
    const json scan = scanned(example);
    EXPECT_EQ(scan["psitool"]["schema"], "transport-stream");
    EXPECT_EQ(scan["input"]["packet_size"], 188);
    const json &stream = scan["transport_stream"];
    EXPECT_EQ(stream["transport_stream_id"], 0x101);
    EXPECT_EQ(stream["network_name"]["text"], "Example Broadcasting");
    EXPECT_EQ(stream["cat"]["ca"][0]["ca_pid"], 0xFF1);
    ASSERT_EQ(stream["programs"].size(), 4u);
    const json &cinema = stream["programs"][1];
    EXPECT_EQ(cinema["program_number"], 20);
    EXPECT_EQ(cinema["service"]["name"]["text"], "Cinéma Deux");
    EXPECT_EQ(cinema["service"]["name"]["data"], "1543696ec3a96d612044657578");
    EXPECT_EQ(cinema["service"]["name"]["charset"], "UTF-8");
    EXPECT_EQ(cinema["pmt"]["streams"][1]["languages"], json::array({"fra"}));
    const json &pay = stream["programs"][3];
    EXPECT_EQ(pay["service"]["free_ca_mode"], 1);
    EXPECT_EQ(pay["pmt"]["ca"][0]["ca_system_id"], 0x2610);
    EXPECT_EQ(pay["pmt"]["ca_flag"], 1);
}

TEST_F(PsitoolScan, JsonKeepsEveryByteOfTheModel)
{
    const Bytes unknownDescriptor = descriptor(0xFB, {1, 2, 3});
    const Bytes pmt = PmtBuilder(7)
                          .version(31)
                          .programDescriptor(caDescriptor(0x0500, 0x200, {0xAA, 0xBB}) + unknownDescriptor)
                          .stream(0xFE, 0x101, caDescriptor(0x0600, 0x201) + descriptor(0x52, {0x42}))
                          .build();
    const std::string file = write(
        "a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100) +
                    packetsOf(CatBuilder().desc(caDescriptor(0x0B00, 0x300, {9}) + unknownDescriptor).build(), 1));
    const json stream = scanned(file)["transport_stream"];
    EXPECT_EQ(stream["cat"]["ca"][0]["private_data"], "09");
    EXPECT_EQ(stream["cat"]["descriptors"][0]["data"], "010203");
    const json &program = stream["programs"][0]["pmt"];
    EXPECT_EQ(program["head"]["version_number"], 31);
    EXPECT_EQ(program["ca"][0]["private_data"], "aabb");
    EXPECT_EQ(program["descriptors"][0]["tag"], 0xFB);
    EXPECT_EQ(program["descriptors"][0]["data"], "010203");
    EXPECT_EQ(program["streams"][0]["stream_type"], 0xFE);
    EXPECT_EQ(program["streams"][0]["ca"][0]["ca_pid"], 0x201);
    EXPECT_EQ(program["streams"][0]["descriptors"][0]["fields"]["component_tag"], 0x42);
    EXPECT_EQ(program["ca_flag"], 3);
}

TEST_F(PsitoolScan, EveryJsonKeyIsDocumented)
{
    const std::set<std::string> keys = keysOf(scanned(example));
    EXPECT_GT(keys.size(), 60u);
    for (const std::string &key : keys)
        EXPECT_TRUE(isDocumented(key, contentOf(PSITOOL_JSON_MANUAL))) << key;
}

TEST_F(PsitoolScan, JsonHoldsTheAcquiredSections)
{
    const json scan = scanned(write("a.ts", shortStream()));
    ASSERT_EQ(scan["sections"].size(), 2u);
    EXPECT_EQ(scan["sections"][1]["psi_type"], PSI_PMT);
    EXPECT_EQ(scan["sections"][1]["pid"], 0x100);
    EXPECT_EQ(scan["sections"][1]["table_id_extension"], 7);
    const std::string data = scan["sections"][0]["data"];
    EXPECT_EQ(data.substr(0, 16), "00b0111234cb0000");
    EXPECT_EQ(scan["tables"][PSI_PMT]["sections"], 1);
}

TEST_F(PsitoolScan, ProgramWithoutPmtSaysSo)
{
    const std::string file = write("a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0));
    EXPECT_TRUE(contains(shell("psitool scan " + file).out, "PMT                   PID 0x0100 (256)   not found\n"));
    EXPECT_EQ(scanned(file)["transport_stream"]["programs"][0]["pmt"]["found"], false);
}

TEST_F(PsitoolScan, TransportStreamIdThatDiffersInPatAndSdtIsPointedOut)
{
    const Bytes sdt = SdtBuilder().tsId(0x5678).service(7).build();
    const std::string same = shell("psitool scan " + write("a.ts", shortStream())).out;
    const std::string text = shell("psitool scan " + write("b.ts", shortStream() + packetsOf(sdt, 0x11))).out;
    EXPECT_TRUE(contains(text, "Transport stream 0x5678 (22136)\n")) << text;
    EXPECT_TRUE(contains(text, "in the PAT            transport_stream_id 0x1234 (4660), another than in the SDT\n"));
    EXPECT_FALSE(contains(same, "in the PAT")) << same;
}

TEST_F(PsitoolScan, OtherNetworksStreamsAndBouquetsAreCounted)
{
    const Bytes tables =
        packetsOf(NitBuilder().networkId(1).desc(networkNameDescriptor("Home")).transportStream(1, 2).build(), 0x10) +
        packetsOf(NitBuilder().other().networkId(0x21).desc(networkNameDescriptor("Away")).build(), 0x10, 1) +
        packetsOf(NitBuilder().other().networkId(0x22).transportStream(3, 4).transportStream(5, 6).build(), 0x10, 2) +
        packetsOf(SdtBuilder().other().tsId(0x31).originalNetworkId(0x99).service(1).service(2).build(), 0x11) +
        packetsOf(BatBuilder().bouquetId(0x41).desc(descriptor(0x47, bytesOf("Sports"))).build(), 0x11, 1) +
        packetsOf(LongSectionBuilder(0xFD, 1).idExt(0x51).body(repeated(5, 0)).build(), 0x21);
    const std::string file = write("a.ts", shortStream() + tables);
    const std::string text = shell("psitool scan " + file).out;
    for (const char *line : {
             "├── NIT actual            1 section\n",
             "│   └── network_id 0x0001 (1)  \"Home\": 1 transport stream\n",
             "├── NIT other             2 sections\n",
             "│   ├── network_id 0x0021 (33)  \"Away\": 0 transport streams, 1 section\n",
             "│   └── network_id 0x0022 (34): 2 transport streams, 1 section\n",
             "├── SDT other             1 section\n",
             "│   └── transport_stream_id 0x0031 (49), original_network_id 0x0099 (153): 2 services\n",
             "├── BAT                   1 section\n",
             "│   └── bouquet_id 0x0041 (65)  \"Sports\": 0 transport streams\n",
             "└── EBIT                  1 section\n",
             "    └── table_id_extension 0x0051 (81)\n",
         })
        EXPECT_TRUE(contains(text, line)) << line << "\nis not in\n" << text;
    const json tablesFound = scanned(file)["tables"];
    EXPECT_EQ(tablesFound[5], (json{{"name", "NIT(other)"}, {"psi_type", PSI_NIT_OTHER}, {"sections", 2}}));
}

TEST_F(PsitoolScan, ANetworkIsKnownOnThePidThatThePatGives)
{
    const Bytes nit = NitBuilder().networkId(7).desc(networkNameDescriptor("Home")).transportStream(0x101, 2).build();
    for (const u16 pid : {u16{0x10}, u16{0x11}, u16{0x1F}, u16{0x30}}) {
        const std::string file = write("a.ts", packetsOf(PatBuilder().network(pid).program(7, 0x100).build(), 0) +
                                                   packetsOf(nit, pid) + packetsOf(PmtBuilder(7).build(), 0x100));
        const json scan = scanned(file);
        EXPECT_EQ(scan["transport_stream"]["network_name"]["text"], "Home") << pid;
        EXPECT_EQ(scan["transport_stream"]["network_pid"], pid);
        EXPECT_TRUE(contains(shell("psitool scan " + file).out, "network_id            0x0007 (7)  \"Home\"\n")) << pid;
        EXPECT_EQ(shell("psitool scan --json " + file + " | psitool make - -o b.ts").status, 0);
        EXPECT_EQ(scanned((folder / "b.ts").string())["sections"], scan["sections"]) << pid;
        for (const std::string &stream : {file, (folder / "b.ts").string()})
            EXPECT_TRUE(contains(shell("psitool tables --type NIT " + stream).out, "(" + std::to_string(pid) + "):"))
                << stream << pid;
        const std::string text = shell("psitool scan " + file).out;
        EXPECT_EQ(text.find("NIT actual"), text.rfind("NIT actual")) << text;
    }
}

TEST_F(PsitoolScan, VirtualChannelsHaveTheirNumbersAndNames)
{
    VctChannel channel;
    channel.shortName = "KXYZ-HD";
    channel.major = 13;
    channel.minor = 2;
    channel.programNumber = 7;
    channel.sourceId = 5;
    channel.descriptors = descriptor(0xA0, {1, 'e', 'n', 'g', 1, 0, 0, 3, 'L', 'o', 'n'});
    const Bytes vct = packetsOf(VctBuilder().tsId(0x1234).channel(channel).build(), 0x1FFB);
    const std::string file = write("a.ts", shortStream() + vct);
    const std::string text = shell("psitool scan " + file).out;
    EXPECT_TRUE(contains(text, "Program 0x0007 (7)  \"KXYZ-HD\"\n")) << text;
    EXPECT_TRUE(contains(text, "channel               13.2, source_id 0x0005 (5)")) << text;
    EXPECT_TRUE(contains(text, "0xA0 extended_channel_name_descriptor: long_channel_name \"Lon\"\n")) << text;
    const json program = scanned(file)["transport_stream"]["programs"][0];
    EXPECT_EQ(program["channel"]["found"], true);
    EXPECT_EQ(program["channel"]["minor_channel_number"], 2);
    EXPECT_EQ(program["service"]["name"]["charset"], "UTF-16BE");
}

TEST_F(PsitoolScan, AChannelOutsideOfThePatTakesNoNamesAway)
{
    VctChannel here;
    here.shortName = "HERE";
    here.programNumber = 7;
    here.major = 5;
    VctChannel elsewhere = here;
    elsewhere.shortName = "ELSEWH";
    elsewhere.programNumber = 99;
    const Bytes vct = VctBuilder().tsId(0x1234).channel(elsewhere).channel(here).build();
    const std::string text = shell("psitool scan " + write("a.ts", shortStream() + packetsOf(vct, 0x1FFB))).out;
    EXPECT_TRUE(contains(text, "Program 0x0007 (7)  \"HERE\"\n")) << text;
    EXPECT_TRUE(contains(text, "Services that are not in the PAT\n")) << text;
    EXPECT_TRUE(contains(text, "0x0063 (99)  \"ELSEWH\", channel 5.")) << text;
}

TEST_F(PsitoolScan, ACableVctGivesNamesAndChannels)
{
    VctChannel channel;
    channel.shortName = "CABLE";
    channel.programNumber = 7;
    Bytes vct = VctBuilder().tsId(0x1234).channel(channel).build();
    vct[0] = 0xC9;
    const std::string file = write("a.ts", shortStream() + packetsOf(withRightCrc(vct), 0x1FFB));
    const std::string text = shell("psitool scan " + file).out;
    EXPECT_TRUE(contains(text, "Program 0x0007 (7)  \"CABLE\"\n")) << text;
}

TEST_F(PsitoolScan, ServicesOutsideOfThePatAreShown)
{
    const Bytes sdt = SdtBuilder().tsId(0x1234).service(8, serviceDescriptor(1, "P", "Eight")).build();
    const std::string file = write("a.ts", shortStream() + packetsOf(sdt, 0x11));
    EXPECT_TRUE(contains(shell("psitool scan " + file).out, "0x0008 (8)  \"Eight\", digital television\n"));
    const json services = jsonOf("psitool services --json " + file)["services"];
    ASSERT_EQ(services.size(), 2u);
    EXPECT_EQ(services[1]["number"], 8);
    EXPECT_EQ(services[1]["in_pat"], false);
}

TEST_F(PsitoolScan, APatWithoutProgramsIsAPat)
{
    const Result result = shell("psitool scan " + write("a.ts", packetsOf(PatBuilder().tsId(1).build(), 0)));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(contains(result.out, "Transport stream 0x0001 (1)\n├── PAT                   without programs\n"));
}

TEST_F(PsitoolScan, AStreamsLineHasEveryLanguageWithItsName)
{
    const Bytes languages = {0x0A, 4, 'q', 'a', 'd', 3, 0x7F, 5, 0x06, 0x03, 'F', 'R', 'A'};
    const Bytes pmt = PmtBuilder(7).stream(0x04, 0x101, languages).build();
    const std::string file =
        write("a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100));
    const std::string text = shell("psitool scan " + file).out;
    EXPECT_TRUE(contains(text, "0x04 MPEG-2 audio, qad (local use), FRA (French)\n")) << text;
}

TEST_F(PsitoolScan, AMistypedWordIsNamedWithWhereHelpIs)
{
    struct {
        const char *arguments;
        const char *err;
    } const cases[] = {
        {"scna a.ts", "'scna' is none of the subcommands scan, pids, services, tables, make, compile, diff, edit (see "
                      "psitool --help)"},
        {"--nope", "there is no option --nope (see psitool --help)"},
        {"scan --jsn a.ts", "there is no option --jsn (see psitool scan --help)"},
        {"pids a.ts b.ts c.ts", "'b.ts' is one argument too many (see psitool pids --help)"},
        {"services --format jsn a.ts", "--format: jsn not in {text,json,m3u,csv} (see psitool services --help)"},
        {"tables --pid abc a.ts", "--pid: 'abc' is no number of 0 to 0x1FFF (8191) (see psitool tables --help)"},
        {"", "A subcommand is required (see psitool --help)"},
    };
    for (const auto &tested : cases) {
        const Result result = shell(std::string("psitool ") + tested.arguments);
        EXPECT_EQ(result.err, std::string("psitool: ") + tested.err + "\n");
        EXPECT_EQ(result.status, 2) << tested.arguments;
    }
}

TEST_F(PsitoolScan, AWrongUrlIsWrongUse)
{
    const Result result = shell("psitool scan udp://nowhere");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "psitool: udp://nowhere: no port\n");
    for (const auto &[url, why] : std::map<std::string, std::string>{
             {"udp://999.1.1.1:5", "\"999.1.1.1\" is no address"},
             {"udp://999.1.1.1@239.1.1.1:5", "\"999.1.1.1\" is no address"},
             {"udp://[ff02::g]:5", "\"ff02::g\" is no address"},
             {"udp://[ff02::1%nosuch0]:5", "no interface \"nosuch0\""},
             {"udp://239.1.1.1:5?iface=nosuch0", "no interface \"nosuch0\""},
             {"udp://239.1.1.1:99999", "\"99999\" is no port"},
         })
        for (const char *command : {"scan", "scan --search", "tables", "services", "pids"}) {
            const Result one = shell(std::string("psitool ") + command + " '" + url + "'");
            EXPECT_EQ(one.status, 2) << command << " " << url;
            EXPECT_EQ(one.err, "psitool: " + url + ": " + why + "\n") << command;
        }
}

TEST_F(PsitoolScan, AnAddressThatIsNotHereIsAnInputThatCannotBeRead)
{
    for (const char *url : {"udp://192.0.2.77:5555", "udp://no-such-host.invalid:5555"}) {
        const Result result = shell(std::string("psitool scan ") + url);
        EXPECT_EQ(result.status, 3) << result.err;
        EXPECT_TRUE(contains(result.err, std::string("psitool: ") + url + ": ")) << result.err;
    }
}

TEST_F(PsitoolScan, SeveralLossesOfSyncAreLosses)
{
    const auto packets = [](u8 first) {
        Bytes all;
        for (u8 counter = first; counter < first + 16; ++counter)
            all = all + packetsOf(PatBuilder().program(7, 0x100).build(), 0, counter);
        return all;
    };
    const Bytes one = packets(0);
    const Bytes noise = repeated(1000, 0x55);
    const std::string once = shell("psitool scan " + write("a.ts", one + noise + one)).out;
    EXPECT_TRUE(contains(once, "errors                1 sync loss, 1,000 skipped bytes\n")) << once;
    const std::string twice = shell("psitool scan " + write("b.ts", one + noise + one + noise + one)).out;
    EXPECT_TRUE(contains(twice, "errors                2 sync losses, 2,000 skipped bytes\n")) << twice;
}

TEST_F(PsitoolScan, MissingTablesAreToldWithTheReason)
{
    const Bytes pat = PatBuilder().program(7, 0x100).program(8, 0x200).build();
    const Bytes pmt = PmtBuilder(7).number(0, 1).build();
    const std::string text = shell("psitool scan " + write("a.ts", packetsOf(pat, 0) + packetsOf(pmt, 0x100))).out;
    EXPECT_TRUE(contains(text, "PMT, program_number 0x0007 (7), PID 0x0100 (256): incomplete (1 of 2 sections)\n"))
        << text;
    EXPECT_TRUE(contains(text, "PMT, program_number 0x0008 (8), PID 0x0200 (512): not seen\n")) << text;
}

TEST_F(PsitoolScan, ChannelAndServiceOfOneProgramAreBothShown)
{
    VctChannel channel;
    channel.shortName = "CHAN";
    channel.programNumber = 7;
    channel.major = 4;
    const Bytes sdt = SdtBuilder().tsId(0x1234).service(7, serviceDescriptor(1, "Provider", "Service")).build();
    const std::string file = write("a.ts", shortStream() + packetsOf(sdt, 0x11) +
                                               packetsOf(VctBuilder().tsId(0x1234).channel(channel).build(), 0x1FFB));
    const std::string text = shell("psitool scan " + file).out;
    EXPECT_TRUE(contains(text, "Program 0x0007 (7)  \"CHAN\"\n")) << text;
    EXPECT_TRUE(contains(text, "provider              \"Provider\"\n")) << text;
    EXPECT_TRUE(contains(shell("psitool scan --standard dvb " + file).out, "Program 0x0007 (7)  \"Service\"\n"));
    EXPECT_FALSE(contains(shell("psitool scan --standard atsc " + file).out, "Provider"));
}

TEST_F(PsitoolScan, HostileNamesReachNeitherTerminalNorJson)
{
    const std::string hostile = "N\x1B]0;x\x07\x9B"
                                "31m";
    const Bytes sdt = SdtBuilder().tsId(0x1234).service(7, serviceDescriptor(1, hostile, hostile)).build();
    const std::string file = write("a.ts", shortStream() + packetsOf(sdt, 0x11));
    const std::string text = shell("psitool scan " + file).out;
    EXPECT_TRUE(contains(text, "\"N\uFFFD]0;x\uFFFD31m\"")) << text;
    for (const char byte : text)
        ASSERT_TRUE(byte == '\n' || static_cast<unsigned char>(byte) >= 0x20) << static_cast<int>(byte);
    EXPECT_EQ(scanned(file)["transport_stream"]["programs"][0]["service"]["name"]["data"], "4e1b5d303b78079b33316d");
}

TEST_F(PsitoolScan, HostileFileNamesReachNoTerminal)
{
    write("a\x1B[31m.ts", shortStream());
    const Result found = shell("psitool scan a*.ts");
    EXPECT_EQ(found.out.rfind("Input a\uFFFD[31m.ts\n", 0), 0u) << found.out;
    const Result missing = shell("psitool scan \"$(printf 'b\\033[31m.ts')\"");
    EXPECT_EQ(missing.err, "psitool: b\uFFFD[31m.ts: No such file or directory\n");
}

/* ---- inputs ---------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolScan, AnAddressWithoutItsSchemeIsToldHowToBeWritten)
{
    const std::string missing = ": No such file or directory";
    EXPECT_EQ(shell("psitool scan 239.1.1.1:5000").err,
              "psitool: 239.1.1.1:5000" + missing + " (a live input is udp://239.1.1.1:5000)\n");
    EXPECT_EQ(shell("psitool scan http://a/b.ts").err,
              "psitool: http://a/b.ts" + missing + " (live inputs are udp://... and rtp://...)\n");
    for (const std::string name : {":5000", "a:", "5000", "a:b", "a5000"})
        EXPECT_EQ(shell("psitool scan " + name).err, "psitool: " + name + missing + "\n");
}

TEST_F(PsitoolScan, PacketsOf192And204BytesAreRead)
{
    const Bytes stream = repeatedStream(4);
    EXPECT_EQ(scanned(write("192.ts", framed(stream, 4, 0)))["input"]["packet_size"], 192);
    EXPECT_EQ(scanned(write("204.ts", framed(stream, 0, 16)))["input"]["packet_size"], 204);
}

/** The example in a capture of raw IP packets, seven transport packets in each UDP datagram. */
Bytes captureOfExample(const std::vector<u8> &groups)
{
    const auto little = [](std::size_t value) {
        return Bytes{static_cast<u8>(value), static_cast<u8>(value >> 8), static_cast<u8>(value >> 16), 0};
    };
    const auto big = [](std::size_t value) { return Bytes{static_cast<u8>(value >> 8), static_cast<u8>(value)}; };
    const std::string stream = contentOf(PSITOOL_EXAMPLE);
    Bytes capture = Bytes{0xD4, 0xC3, 0xB2, 0xA1, 2, 0, 4, 0} + repeated(8, 0) + little(65535) + little(101);
    for (std::size_t at = 0; at < stream.size(); at += 7 * packetSize) {
        const std::string part = stream.substr(at, 7 * packetSize);
        const Bytes payload(part.begin(), part.end());
        for (const u8 group : groups) {
            const Bytes udp = big(4000) + big(5000) + big(payload.size() + 8) + big(0) + payload;
            const Bytes packet = Bytes{0x45, 0} + big(udp.size() + 20) + Bytes{0, 1, 0, 0, 64, 17, 0, 0} +
                                 Bytes{10, 0, 0, 1, 239, 1, 1, group} + udp;
            capture = capture + little(1) + little(at) + little(packet.size()) + little(packet.size()) + packet;
        }
    }
    return capture;
}

TEST_F(PsitoolScan, ACaptureIsReadLikeTheStreamInIt)
{
    write("one.pcap", captureOfExample({1}));
    const Result result = shell("psitool scan one.pcap");
    if (contains(result.err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string text = shell("psitool scan '" PSITOOL_EXAMPLE "'").out;
    EXPECT_EQ(result.out.substr(result.out.find('\n')), text.substr(text.find('\n')));
    EXPECT_EQ(shell("psitool scan - <one.pcap | tail -n +2").out, text.substr(text.find('\n') + 1));
}

TEST_F(PsitoolScan, WrongChecksumsInACaptureAreToldAndTheirDatagramsTaken)
{
    Bytes capture = captureOfExample({1});
    const std::size_t record = 16 + 28 + 7 * packetSize;
    constexpr std::size_t firstChecksum = 24 + 16 + 20 + 6;
    capture[firstChecksum] = 1;
    write("one.pcap", capture);
    const Result result = shell("psitool scan one.pcap");
    if (contains(result.err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    EXPECT_EQ(result.err,
              "psitool: one.pcap: 1 datagram with a wrong UDP checksum: a receiver drops it, here it is taken\n");
    const std::string text = shell("psitool scan '" PSITOOL_EXAMPLE "'").out;
    EXPECT_EQ(result.out.substr(result.out.find('\n')), text.substr(text.find('\n')));
    EXPECT_EQ(json::parse(shell("psitool scan --json one.pcap").out)["input"]["wrong_udp_checksums"], 1);

    for (std::size_t at = firstChecksum; at < capture.size(); at += record)
        capture[at] = 1;
    write("all.pcap", capture);
    EXPECT_EQ(
        shell("psitool scan all.pcap").err,
        "psitool: all.pcap: no datagram has the right UDP checksum: it was captured in front of the network card that "
        "makes them\n");
}

TEST_F(PsitoolScan, ACaptureThroughAPipeIsRefusedWhoeverReadsIt)
{
    write("one.pcap", captureOfExample({1}));
    for (const char *reader : {"scan -", "scan --search -", "pids -", "services -", "tables -",
                               "edit - -o out.ts --service 10 name=x", "diff '" PSITOOL_EXAMPLE "' -"}) {
        const Result result = shell("cat one.pcap | psitool " + std::string(reader));
        EXPECT_EQ(result.status, contains(reader, "diff") ? 2 : 3) << reader;
        EXPECT_EQ(result.err, "psitool: standard input: is a capture of network packets, and comes through a pipe: it "
                              "has to be gone through twice, give the file itself\n");
        EXPECT_EQ(result.out, "") << reader;
    }
}

TEST_F(PsitoolScan, ACaptureIsNotWrittenOverByItsEditedStream)
{
    const Bytes capture = captureOfExample({1});
    write("one.pcap", capture);
    for (const char *input : {"one.pcap", "'one.pcap?stream=239.1.1.1:5000'", "./one.pcap?stream=239.1.1.1:5000"}) {
        const Result result = shell("psitool edit " + std::string(input) + " -o one.pcap --service 10 name=x");
        EXPECT_EQ(result.status, 2) << input;
        EXPECT_EQ(result.err, "psitool: one.pcap: is the input as well\n") << input;
    }
    const std::string content = contentOf(folder / "one.pcap");
    EXPECT_TRUE(Bytes(content.begin(), content.end()) == capture);
}

TEST_F(PsitoolScan, ACaptureWithoutLibpcapIsRefusedInWords)
{
    write("one.pcap", captureOfExample({1}));
    if (contains(shell("psitool scan one.pcap").err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    write("libpcap.so.0.8", Bytes(100, 0)); // found, and no library
    const Result result = shell("LD_LIBRARY_PATH=. psitool scan one.pcap");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "psitool: one.pcap: is a capture of network packets; to read it, libpcap must be installed\n");
}

TEST_F(PsitoolScan, LibrariesThatFewRunsNeedAreNotLoadedAtTheStart)
{
    const std::string loaded = shell("LD_TRACE_LOADED_OBJECTS=1 psitool scan x.ts").out;
    EXPECT_TRUE(contains(loaded, "libc.so")) << loaded;
    EXPECT_FALSE(contains(loaded, "libpcap") || contains(loaded, "libaribb24")) << loaded;
}

TEST_F(PsitoolScan, OfACaptureOfSeveralStreamsTheListIsShown)
{
    write("two.pcap", captureOfExample({1, 2}));
    const Result result = shell("psitool scan two.pcap");
    if (contains(result.err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "psitool: two.pcap: holds 2 transport streams; choose one with two.pcap?stream=ADDRESS:PORT\n"
                          "  239.1.1.1:5000                           UDP   131 datagrams, 912 transport packets\n"
                          "  239.1.1.2:5000                           UDP   131 datagrams, 912 transport packets\n");
    EXPECT_EQ(shell("psitool scan 'two.pcap?stream=239.1.1.2:5000'").status, 0);
}

TEST_F(PsitoolScan, ACaptureWithoutAStreamCannotBeReadAndWhatIsInItIsShown)
{
    Bytes capture = captureOfExample({1});
    std::replace(capture.begin(), capture.end(), u8{0x47}, u8{0x46}); // no sync bytes
    write("none.pcap", capture);
    const Result result = shell("psitool scan none.pcap");
    if (contains(result.err, "lacks libpcap"))
        GTEST_SKIP() << "built without libpcap";
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: none.pcap: no transport packets found in its UDP datagrams\n"
                          "  239.1.1.1:5000                           other 131 datagrams, 0 transport packets\n");
}

TEST_F(PsitoolScan, StandardInputIsRead)
{
    const Result result = shell("cat " + write("a.ts", repeatedStream(4)) + " | psitool scan -");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(result.out, "Program 0x0007 (7)\n")) << result.out;
}

TEST_F(PsitoolScan, RecordingWithoutPatShowsTheRestAndFails)
{
    const Bytes nit = NitBuilder().networkId(9).desc(networkNameDescriptor("Lonely")).build();
    const Result result = shell("psitool scan " + write("nit.ts", packetsOf(nit, 0x10)));
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "\"Lonely\"")) << result.out;
    EXPECT_EQ(result.err, "psitool: " + (folder / "nit.ts").string() + ": no PAT found\n");
}

TEST_F(PsitoolScan, RecordingWithoutAnyTableShowsItsPidsAndFails)
{
    Packet packet;
    packet.pid = 0x123;
    const std::string file = write("a.ts", packet.bytes());
    for (const char *form : {"", "--summary "}) {
        const Result result = shell("psitool scan " + std::string(form) + file);
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(contains(result.out, "0x0123 (291)            1 100.00 %           -  not referenced\n"))
            << result.out;
        EXPECT_TRUE(contains(result.out, "PAT, PID 0x0000 (0): not seen")) << result.out;
        EXPECT_EQ(result.err, "psitool: " + (folder / "a.ts").string() + ": no PAT found\n");
    }
    const Result result = shell("psitool scan --json " + file);
    EXPECT_EQ(result.status, 1);
    const nlohmann::json object = parsedJson(result.out);
    EXPECT_EQ(object["input"]["packets"], 1);
    EXPECT_EQ(object["pids"][0]["pid"], 0x123);
    EXPECT_EQ(object["missing"][0]["reason"], "not seen");
}

struct BadInput {
    const char *name;
    const char *prepare;
    const char *arguments;
};

void PrintTo(const BadInput &input, std::ostream *out)
{
    *out << input.name;
}

class PsitoolScanBadInput : public PsitoolScan, public testing::WithParamInterface<BadInput> {};

TEST_P(PsitoolScanBadInput, IsOneLineThatNamesItAndStatus3)
{
    const Result result = shell(std::string(GetParam().prepare) + "; psitool scan " + GetParam().arguments);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind(std::string("psitool: ") + GetParam().name + ": ", 0), 0u) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

const BadInput badInputs[] = {
    {"zeros.ts", "head -c 100000 /dev/zero >zeros.ts", "zeros.ts"},
    {"empty.ts", ": >empty.ts", "empty.ts"},
    {"text.ts", "seq 1 20000 >text.ts", "text.ts"},
    {"folder.ts", "mkdir folder.ts", "folder.ts"},
    {"missing.ts", ":", "missing.ts"},
    {"standard input", ":", "- </dev/null"},
};

INSTANTIATE_TEST_SUITE_P(Inputs, PsitoolScanBadInput, testing::ValuesIn(badInputs));

/* ---- command line ---------------------------------------------------------------------------------------------------
 */

struct WrongUse {
    const char *arguments;
    const char *named;
};

void PrintTo(const WrongUse &use, std::ostream *out)
{
    *out << "psitool " << use.arguments;
}

class PsitoolWrongUse : public PsitoolScan, public testing::WithParamInterface<WrongUse> {};

TEST_P(PsitoolWrongUse, IsOneLineThatNamesTheWordAndStatus2)
{
    const Result result = shell(std::string("psitool ") + GetParam().arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("psitool: ", 0), 0u) << result.err;
    EXPECT_TRUE(contains(result.err, GetParam().named)) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
}

const WrongUse wrongUses[] = {
    {"", "subcommand"},
    {"skan x.ts", "skan"},
    {"scan", "INPUT"},
    {"scan a.ts b.ts", "b.ts"},
    {"scan --jason a.ts", "--jason"},
    {"scan --standard isdb a.ts", "isdb"},
    {"scan --timeout 864001 a.ts", "--timeout: '864001' is no number of seconds up to 864000 (ten days)"},
    {"scan --timeout 0 a.ts", "--timeout: '0' is no number of seconds"},
    {"scan --timeout 5s a.ts", "--timeout: '5s' is no number of seconds"},
};

INSTANTIATE_TEST_SUITE_P(Uses, PsitoolWrongUse, testing::ValuesIn(wrongUses));

TEST_F(PsitoolScan, HelpAndVersionGoToStandardOutput)
{
    const Result version = shell("psitool --version");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "psitool " PSITOOL_VERSION "\n");
    for (const char *arguments : {"--help", "scan --help"}) {
        const Result help = shell(std::string("psitool ") + arguments);
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_TRUE(contains(help.out, "Exit status:")) << help.out;
    }
    EXPECT_TRUE(contains(shell("psitool scan --help").out, "--standard"));
}

TEST_F(PsitoolScan, LogLinesGoToStandardErrorOnly)
{
    const std::string file = write("a.ts", shortStream());
    const Result silent = shell("psitool scan " + file);
    const Result verbose = shell("psitool scan -vv " + file);
    EXPECT_EQ(silent.err, "");
    EXPECT_EQ(verbose.out, silent.out);
    EXPECT_TRUE(contains(verbose.err, "info: schTable: PAT section sch start:")) << verbose.err;
    EXPECT_FALSE(contains(shell("psitool scan -v " + file).err, "info: "));
}

TEST_F(PsitoolScan, ReaderThatGoesAwayIsNoError)
{
    const Result result = shell("{ psitool scan " + example + "; echo status $? >&2; } | true; sleep 0.1");
    EXPECT_EQ(result.err, "status 0\n");
}

TEST_F(PsitoolScan, OutputThatCannotBeWrittenIsAnError)
{
    const Result result = shell("psitool scan " + example + " >/dev/full");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: standard output: No space left on device\n");
}

TEST_F(PsitoolScan, WatchOfARecordingIsWrongUse)
{
    const Result result = shell("psitool scan --watch 1 " + write("a.ts", shortStream()));
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(contains(result.err, "a.ts is no live input")) << result.err;
}

} // namespace
