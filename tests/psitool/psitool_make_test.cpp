// psitool make as a user starts it. What comes out is read with psitool scan, and taken apart packet by packet.
#include "programFixture.h"

#include "support/pattern.h"
#include "support/plainModel.h"

#include "demux/sectionAssembler.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <unistd.h>

namespace {

using namespace psitest;
using nlohmann::json;

constexpr u16 nullPid = 0x1FFF;
constexpr std::size_t bitsPerPacket = 1504;

/** A stream taken apart: in which packet each section begins, and what is wrong with it. */
struct Stream {
    explicit Stream(const std::string &bytes)
    {
        psi::demux::SectionAssembler assembler([&](u16 pid, const u8 *section, u16 length) {
            starts[{pid, Bytes(section, section + length)}].push_back(assembler.sectionStart());
            return crc32Mpeg(section, length) == 0;
        });
        EXPECT_EQ(bytes.size() % packetSize, 0U);
        for (; packets * packetSize < bytes.size(); ++packets) {
            const u8 *packet = reinterpret_cast<const u8 *>(bytes.data()) + packets * packetSize;
            EXPECT_EQ(packet[0], 0x47) << "packet " << packets;
            ofPid[static_cast<u16>((packet[1] & 0x1F) << 8 | packet[2])].push_back(packets);
            assembler.packet(packet);
        }
        const psi::demux::Statistics counters = assembler.counters();
        EXPECT_EQ(counters.continuityErrors, 0U);
        EXPECT_EQ(counters.crcErrors, 0U);
        EXPECT_EQ(counters.brokenSections, 0U);
        EXPECT_EQ(counters.duplicatePackets, 0U);
        expectWholeSections();
    }

    /** The longest time between two transmissions of each section, by table_id; the ends of the stream count too. */
    std::map<u8, double> longestIntervals(double bitrate) const
    {
        std::map<u8, double> longest;
        for (const auto &[section, places] : starts) {
            std::uint64_t last = 0;
            std::vector<std::uint64_t> ends = places;
            ends.push_back(packets);
            for (const std::uint64_t place : ends) {
                const double seconds = static_cast<double>((place - last) * bitsPerPacket) / bitrate;
                double &most = longest[section.second[0]];
                most = std::max(most, seconds);
                last = place;
            }
        }
        return longest;
    }

    /** Every packet but the null packets belongs to a section that is complete. */
    void expectWholeSections() const
    {
        std::size_t used = 0;
        for (const auto &[section, places] : starts)
            used += places.size() * packetsOf(section.second).size() / packetSize;
        const auto nulls = ofPid.find(nullPid);
        EXPECT_EQ(used, packets - (nulls == ofPid.end() ? 0 : nulls->second.size()));
    }

    std::size_t packets = 0;
    std::map<u16, std::vector<std::size_t>> ofPid;                      /**< numbers of its packets */
    std::map<std::pair<u16, Bytes>, std::vector<std::uint64_t>> starts; /**< its packets, by PID and section */
};

class PsitoolMake : public PsitoolTest {
protected:
    void put(const std::string &name, const std::string &text) const { std::ofstream(folder / name) << text; }
    void put(const json &model) const { put("m.json", model.dump(2)); }

    /** Make y.ts from a model; nothing is to be said about it. */
    void make(const json &model, const std::string &arguments = "") const
    {
        put(model);
        const Result result = shell("psitool make m.json -o y.ts " + arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        EXPECT_EQ(result.out, "");
    }
    json madeAndScanned(const json &model, const std::string &arguments = "") const
    {
        make(model, arguments);
        return scanned("y.ts");
    }
    std::string stream() const { return contentOf(folder / "y.ts"); }

    /** The files in the folder but those of the fixture itself. */
    std::set<std::string> files() const
    {
        std::set<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            names.insert(entry.path().filename());
        for (const char *own : {"out", "err", "m.json", "in.ts"})
            names.erase(own);
        return names;
    }

    /** The model is refused with this one line, and leaves nothing behind. */
    void expectRefused(const std::string &reason, const std::string &arguments = "") const
    {
        const Result result = shell("psitool make m.json -o y.ts " + arguments);
        EXPECT_EQ(result.err, "psitool: " + reason + "\n");
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(files(), std::set<std::string>{});
    }

    json exampleModel() const { return scanned(example); }

    /** A station with two channels, as a multiplexer packs it. */
    json atscModel() const
    {
        const Bytes ac3 = descriptor(0x81, {0x08, 0x1E, 0x05});
        const Bytes language = descriptor(0x0A, bytesOf("eng") + Bytes{0});
        VctChannel first;
        first.shortName = "KPSI-HD";
        first.major = 7;
        first.minor = 1;
        first.channelTsid = 0x0801;
        first.programNumber = 3;
        first.sourceId = 1;
        first.descriptors =
            descriptor(0xA1, Bytes{0xE0, 0x31, 2, 0x02, 0xE0, 0x31, 0, 0, 0, 0x81, 0xE0, 0x34} + bytesOf("eng")) +
            descriptor(0xA0, bytesOf("long name"));
        VctChannel second = first;
        second.shortName = "News";
        second.minor = 2;
        second.programNumber = 4;
        second.sourceId = 2;
        second.descriptors = descriptor(0xA1, {0xE0, 0x41, 1, 0x02, 0xE0, 0x41, 0, 0, 0});
        const Bytes vct = VctBuilder().tsId(0x0801).version(9).channel(first).channel(second).build();
        const Bytes mgt = MgtBuilder()
                              .version(4)
                              .table(0x0000, 0x1FFB, 9, static_cast<u32>(vct.size()))
                              .table(0x0100, 0x1D00, 1, 500)
                              .build();
        const Bytes stt = LongSectionBuilder(0xCD).idExt(0).body({0, 0x4D, 0x5C, 0x6B, 0x7A, 18, 0x60, 0}).build();
        write(
            "in.ts",
            packetsOf(PatBuilder().tsId(0x0801).version(3).program(3, 0x30).program(4, 0x40).build(), 0) +
                packetsOf(PmtBuilder(3).pcrPid(0x31).stream(2, 0x31).stream(0x81, 0x34, ac3 + language).build(), 0x30) +
                packetsOf(PmtBuilder(4).pcrPid(0x41).stream(2, 0x41).build(), 0x40) +
                PacketStream(0x1FFB).section(mgt).section(vct).section(stt).bytes());
        const json model = scanned("in.ts");
        EXPECT_EQ(model["sections"].size(), 6U);
        return model;
    }

    /** Programs without streams, their names of the given lengths. */
    static json manyPrograms(unsigned count, std::size_t nameLength)
    {
        json programs = json::array();
        for (unsigned i = 1; i <= count; ++i) {
            std::string name = "Program " + std::to_string(i) + " ";
            name.resize(nameLength, 'x');
            programs.push_back({{"program_number", i},
                                {"service", {{"name", {{"text", name}}}, {"service_type", 1}}},
                                {"pmt", {{"pid", 0x100 + i}, {"pcr_pid", nullPid}, {"streams", json::array()}}}});
        }
        return {{"transport_stream", {{"transport_stream_id", 5}, {"programs", programs}}}};
    }

    static json smallModel() { return manyPrograms(1, 7); }
};

/* ------------------------------------------------------------------------------------------------------------------
 * There and back
 * ---------------------------------------------------------------------------------------------------------------- */

std::set<std::string> dataOf(const json &sections)
{
    std::set<std::string> data;
    for (const json &section : sections)
        data.insert(section["data"]);
    return data;
}

TEST_F(PsitoolMake, TheExampleComesBackAsItWas)
{
    const json model = exampleModel();
    const json again = madeAndScanned(model);
    EXPECT_EQ(again["transport_stream"], model["transport_stream"]);
    EXPECT_EQ(again["tables"], model["tables"]);
    EXPECT_EQ(again["input"]["packets"], model["sections"].size()); // all of them are short: each once
}

TEST_F(PsitoolMake, AnAtscStationComesBackAsItWas)
{
    const json model = atscModel();
    const json again = madeAndScanned(model);
    EXPECT_EQ(again["transport_stream"], model["transport_stream"]);
    EXPECT_EQ(again["tables"], model["tables"]);
    EXPECT_EQ(dataOf(again["sections"]), dataOf(model["sections"]));
}

TEST_F(PsitoolMake, AStreamComesBackAsItWas)
{
    const json model = exampleModel();
    EXPECT_EQ(madeAndScanned(model, "--duration 3 --bitrate 1M")["transport_stream"], model["transport_stream"]);
}

TEST_F(PsitoolMake, TablesThatAreNotGeneratedAreSentAsTheyCame)
{
    const Bytes bat = BatBuilder().bouquetId(9).desc(descriptor(0x47, bytesOf("Bouquet"))).build();
    const Bytes sdtOther = SdtBuilder().other().tsId(8).service(5, serviceDescriptor(1, "p", "n")).build();
    const Bytes nitOther = NitBuilder().other().networkId(77).transportStream(1, 2).build();
    const Bytes ebit = LongSectionBuilder(0xFD).idExt(1).body(Bytes(1500, 0x11)).build();
    write("in.ts", packetsOf(PatBuilder().tsId(1).program(1, 0x100).build(), 0) +
                       packetsOf(PmtBuilder(1).stream(27, 0x101).build(), 0x100) +
                       PacketStream(0x11).section(bat).section(sdtOther).bytes() + packetsOf(nitOther, 0x10) +
                       packetsOf(ebit, 0x21));
    const json model = scanned("in.ts");
    const json again = madeAndScanned(model);
    for (const Bytes &section : {bat, sdtOther, nitOther, ebit}) {
        EXPECT_EQ(dataOf(model["sections"]).count(hexOf(section)), 1U) << hexOf(section);
        EXPECT_EQ(dataOf(again["sections"]).count(hexOf(section)), 1U) << hexOf(section);
    }
    EXPECT_EQ(again["transport_stream"], model["transport_stream"]);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Tables that nobody edited
 * ---------------------------------------------------------------------------------------------------------------- */

const Bytes caA = descriptor(0x09, {0x18, 0x3D, 0xEA, 0x29});
const Bytes caB = descriptor(0x09, {0x18, 0x3E, 0xF5, 0x2D});
const Bytes italian = descriptor(0x0A, bytesOf("ita") + Bytes{0});

/** Two programs, CA descriptors among others, and an SDT with a service that the PAT does not have. */
Bytes stationWithMuchElse()
{
    return packetsOf(PatBuilder().tsId(7).version(3).program(1, 0x100).program(2, 0x110).build(), 0) +
           packetsOf(PmtBuilder(1).pcrPid(0x101).stream(2, 0x101, italian + caA + caB).build(), 0x100) +
           packetsOf(PmtBuilder(2).pcrPid(0x111).stream(2, 0x111).build(), 0x110) +
           packetsOf(SdtBuilder()
                         .tsId(7)
                         .service(1, serviceDescriptor(1, "p", "One"))
                         .service(99, serviceDescriptor(2, "p", "Elsewhere"))
                         .build(),
                     0x11);
}

TEST_F(PsitoolMake, SectionsOfTablesThatNobodyEditedComeBackBitForBit)
{
    write("in.ts", stationWithMuchElse());
    const json model = scanned("in.ts");
    EXPECT_EQ(dataOf(madeAndScanned(model)["sections"]), dataOf(model["sections"]));
}

TEST_F(PsitoolMake, AnEditOfOnePmtLeavesTheOthersAsTheyCameAndSaysWhatItLoses)
{
    write("in.ts", stationWithMuchElse());
    json model = scanned("in.ts");
    model["transport_stream"]["programs"][0]["pmt"]["head"]["version_number"] = 9;
    put(model);
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: m.json: PMT of program 1: is edited, its CA descriptors now come first in their "
                          "loops\n");
    const json again = scanned("y.ts");
    EXPECT_EQ(again["transport_stream"]["programs"][0]["pmt"]["head"]["version_number"], 9);
    std::set<std::string> expected = dataOf(model["sections"]);
    std::set<std::string> other;
    for (const std::string &data : dataOf(again["sections"]))
        if (expected.erase(data) == 0)
            other.insert(data);
    ASSERT_EQ(other.size(), 1U);
    EXPECT_NE(other.begin()->find(hexOf(caA + caB + italian)), std::string::npos);
    EXPECT_EQ(expected.size(), 1U); // the PMT that was edited
}

TEST_F(PsitoolMake, ServicesOutsideThePatStayInAnEditedSdtAndNoneIsInvented)
{
    write("in.ts", stationWithMuchElse());
    json model = scanned("in.ts");
    model["transport_stream"]["programs"][0]["service"]["name"]["text"] = "New name";
    make(model);
    const json services =
        parsedJson(shell("psitool tables --json --type sdt y.ts").out)["sections"][0]["tree"]["services"];
    ASSERT_EQ(services.size(), 2U);
    EXPECT_EQ(services[0]["service_id"], 1);
    EXPECT_EQ(services[1]["service_id"], 99);
    EXPECT_NE(services[0].dump().find("New name"), std::string::npos);
    EXPECT_NE(services[1].dump().find("Elsewhere"), std::string::npos);
}

TEST_F(PsitoolMake, AServiceWhoseProgramIsTakenOutGoesWithIt)
{
    write("in.ts", stationWithMuchElse());
    json model = scanned("in.ts");
    model["transport_stream"]["programs"].erase(0);
    make(model);
    const json services =
        parsedJson(shell("psitool tables --json --type sdt y.ts").out)["sections"][0]["tree"]["services"];
    ASSERT_EQ(services.size(), 1U);
    EXPECT_EQ(services[0]["service_id"], 99);
}

/** A VCT of the cable, of one program that the PAT has and one that it does not have. */
Bytes cableStation()
{
    VctChannel first;
    first.shortName = "KPSI";
    first.major = 7;
    first.minor = 1;
    first.channelTsid = 0x0801;
    first.programNumber = 3;
    first.sourceId = 1;
    VctChannel second = first;
    second.programNumber = 4;
    second.minor = 2;
    Bytes vct = VctBuilder().tsId(0x0801).version(9).channel(first).channel(second).build();
    vct[0] = 0xC9;
    vct[10 + 18] = 0x12; // carrier_frequency
    vct[10 + 26] = 0x74; // ETM_location 1, access_controlled, hidden, path_select 0, out_of_band 1, hide_guide 0
    const u32 crc = crc32Mpeg(vct.data(), vct.size() - 4);
    for (unsigned i = 0; i < 4; ++i)
        vct[vct.size() - 4 + i] = static_cast<u8>(crc >> (24 - 8 * i));
    const Bytes mgt = MgtBuilder().table(0x0002, 0x1FFB, 9, static_cast<u32>(vct.size())).build();
    return packetsOf(PatBuilder().tsId(0x0801).program(3, 0x30).build(), 0) +
           packetsOf(PmtBuilder(3).pcrPid(0x31).stream(2, 0x31).build(), 0x30) +
           PacketStream(0x1FFB).section(mgt).section(vct).bytes();
}

TEST_F(PsitoolMake, ACableVctComesBackBitForBit)
{
    write("in.ts", cableStation());
    const json model = scanned("in.ts");
    EXPECT_EQ(dataOf(madeAndScanned(model)["sections"]), dataOf(model["sections"]));
    EXPECT_NE(shell("psitool tables --json --type vct y.ts").out.find("\"table_id\": 201"), std::string::npos);
}

TEST_F(PsitoolMake, AnEditedCableVctStaysOneAndItsChannelsKeepWhatTheModelHasNot)
{
    write("in.ts", cableStation());
    json model = scanned("in.ts");
    model["transport_stream"]["programs"][0]["service"]["name"]["text"] = "NEW";
    put(model);
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: m.json: VCT: the channel of program 4, which the PAT does not have, is left out\n");
    const Stream made(stream());
    Bytes vct;
    Bytes mgt;
    for (const auto &[section, places] : made.starts) {
        if (section.second[0] == 0xC9)
            vct = section.second;
        if (section.second[0] == 0xC7)
            mgt = section.second;
        EXPECT_NE(section.second[0], 0xC8);
    }
    ASSERT_GT(vct.size(), 42U);
    EXPECT_EQ(vct[10 + 18], 0x12);
    EXPECT_EQ(vct[10 + 26], 0x74);
    ASSERT_GT(mgt.size(), 22U);
    EXPECT_EQ(mgt[11] << 8 | mgt[12], 0x0002);
    EXPECT_EQ(scanned("y.ts")["transport_stream"]["programs"][0]["service"]["name"]["text"], "NEW");
}

TEST_F(PsitoolMake, AnMgtWithoutAVctMakesNone)
{
    const Bytes mgt = MgtBuilder().table(0x0100, 0x1D00, 1, 500).build();
    write("in.ts", packetsOf(PatBuilder().tsId(7).program(1, 0x100).build(), 0) +
                       packetsOf(PmtBuilder(1).pcrPid(0x101).stream(2, 0x101).build(), 0x100) + packetsOf(mgt, 0x1FFB));
    const json model = scanned("in.ts");
    EXPECT_EQ(dataOf(madeAndScanned(model)["sections"]), dataOf(model["sections"]));
}

TEST_F(PsitoolMake, ANextPatThatComesFirstIsNotTakenForTheCurrentOne)
{
    const Bytes next = PatBuilder().version(2).currentNext(0).program(9, 0x109).build();
    const Bytes current = PatBuilder().version(1).program(7, 0x107).build();
    const std::string file = write("a.ts", packetsOf(next, 0) + packetsOf(current, 0, 1) + packetsOf(next, 0, 2));
    const std::string model = (folder / "m.json").string();
    const std::string made = (folder / "made.ts").string();
    ASSERT_EQ(shell("psitool scan --json " + file + " >" + model).status, 0);
    ASSERT_EQ(shell("psitool make " + model + " -o " + made).status, 0);
    for (const std::string &stream : {file, made}) {
        const json programs = jsonOf("psitool scan --json " + stream)["transport_stream"]["programs"];
        ASSERT_EQ(programs.size(), 1u) << stream;
        EXPECT_EQ(programs[0]["program_number"], 7) << stream;
    }
}

TEST_F(PsitoolMake, APatThatWasNotThereIsNotInvented)
{
    write("in.ts", packetsOf(NitBuilder().networkId(77).transportStream(1, 2).build(), 0x10));
    const Result scan = shell("psitool scan --json in.ts >m.json");
    EXPECT_EQ(scan.status, 1);
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(Stream(stream()).ofPid.count(0), 0U);
    EXPECT_EQ(Stream(stream()).ofPid.count(0x10), 1U);
}

TEST_F(PsitoolMake, AModelWithoutTablesMakesNullPackets)
{
    put(json{{"transport_stream",
              {{"transport_stream_id", 0},
               {"pat", {{"head", {{"section_syntax_indicator", 0}}}}},
               {"programs", json::array()}}}});
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: m.json: there is no table in it, the stream has null packets only\n");
    EXPECT_EQ(Stream(stream()).ofPid.begin()->first, nullPid);
}

TEST_F(PsitoolMake, AnMgtIsKeptButForTheVctThatItAnnounces)
{
    json model = atscModel();
    model["transport_stream"]["sdt"]["head"]["version_number"] = 10;
    const json again = madeAndScanned(model);
    const json tables = parsedJson(shell("psitool tables --json --type mgt y.ts").out);
    EXPECT_EQ(again["transport_stream"], model["transport_stream"]);
    const Stream made(stream());
    const Bytes *mgt = nullptr;
    for (const auto &[section, places] : made.starts)
        if (section.second[0] == 0xC7)
            mgt = &section.second;
    ASSERT_NE(mgt, nullptr);
    EXPECT_EQ((*mgt)[11 + 4] & 0x1F, 10);                      // table_type_version_number of the VCT
    EXPECT_EQ((*mgt)[11 + 11] << 8 | (*mgt)[11 + 12], 0x0100); // the other table is still there
}

TEST_F(PsitoolMake, ProgramsMayShareThePidOfTheirPmts)
{
    json model = exampleModel();
    json &programs = model["transport_stream"]["programs"];
    programs[1]["pmt"]["pid"] = programs[0]["pmt"]["pid"];
    EXPECT_EQ(madeAndScanned(model)["transport_stream"], model["transport_stream"]);
    EXPECT_EQ(madeAndScanned(model, "--duration 1")["transport_stream"], model["transport_stream"]);
}

TEST_F(PsitoolMake, ProgramsWithoutAPmtGetNone)
{
    json model = exampleModel();
    json &pmt = model["transport_stream"]["programs"][1]["pmt"];
    for (const char *key : {"streams", "descriptors", "ca"})
        pmt[key] = json::array();
    pmt["found"] = false;
    const json again = madeAndScanned(model);
    EXPECT_EQ(again["transport_stream"]["programs"][1]["pmt"]["found"], false);
    EXPECT_EQ(again["transport_stream"]["programs"][1]["pmt"]["pid"], pmt["pid"]);
    EXPECT_EQ(again["transport_stream"]["programs"][0]["pmt"]["found"], true);
}

TEST_F(PsitoolMake, TablesThatTheModelDoesNotHaveAreNotMade)
{
    json model = smallModel();
    model["transport_stream"]["programs"][0].erase("service");
    EXPECT_EQ(madeAndScanned(model)["transport_stream"]["table_mask"], 1U << PSI_PAT);
    const json withSdt = madeAndScanned(model, "--standard dvb");
    EXPECT_EQ(withSdt["transport_stream"]["table_mask"], 1U << PSI_PAT | 1U << PSI_SDT_ACTUAL);
    model["transport_stream"]["cat"] = {{"ca", {{{"ca_system_id", 0x2610}, {"ca_pid", 0x90}}}}};
    const json withCat = madeAndScanned(model);
    EXPECT_EQ(withCat["transport_stream"]["table_mask"], 1U << PSI_PAT | 1U << PSI_CAT);
    EXPECT_EQ(withCat["transport_stream"]["cat"]["ca"][0]["ca_pid"], 0x90);
}

TEST_F(PsitoolMake, AHandWrittenModelNeedsFewKeys)
{
    json model = smallModel();
    model["transport_stream"]["original_network_id"] = 8;
    model["transport_stream"]["network_id"] = 12;
    model["transport_stream"]["network_name"] = {{"text", "Net"}};
    const json again = madeAndScanned(model)["transport_stream"];
    EXPECT_EQ(again["transport_stream_id"], 5);
    EXPECT_EQ(again["network_id"], 12);
    EXPECT_EQ(again["network_name"]["text"], "Net");
    EXPECT_EQ(again["network_pid_found"], true);
    EXPECT_EQ(again["network_pid"], 0x10);
    EXPECT_EQ(again["programs"][0]["service"]["name"]["text"], "Program");
    EXPECT_EQ(again["programs"][0]["pmt"]["found"], true);
}

TEST_F(PsitoolMake, TheSmallestModelOfTheManualIsEnough)
{
    const std::string manual = contentOf(PSITOOL_JSON_MANUAL);
    const std::size_t marked = manual.find("<!-- smallest.json -->\n```\n");
    ASSERT_NE(marked, std::string::npos);
    const std::size_t begin = manual.find('{', marked);
    const json model = parsedJson(manual.substr(begin, manual.find("```", begin) - begin));
    const json again = madeAndScanned(model)["transport_stream"];
    EXPECT_EQ(again["transport_stream_id"], 1);
    EXPECT_EQ(again["programs"][0]["program_number"], 10);
    EXPECT_EQ(again["programs"][0]["pmt"]["streams"][0]["elementary_pid"], 257);
}

TEST_F(PsitoolMake, KeysThatNobodyKnowsAreIgnored)
{
    json model = smallModel();
    model["transport_stream"]["weather"] = "fine";
    model["transport_stream"]["programs"][0]["pmt"]["note_of_mine"] = {1, 2};
    make(model);
    EXPECT_EQ(files(), std::set<std::string>{"y.ts"});
}

TEST_F(PsitoolMake, AKeyThatLooksMisspeltIsNamed)
{
    json model = smallModel();
    json &service = model["transport_stream"]["programs"][0]["service"];
    service["servicetype"] = 2;
    service.erase("service_type");
    put(model);
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: m.json: /transport_stream/programs/0/service: \"servicetype\" is not known and "
                          "ignored; is it meant for \"service_type\"?\n");
}

/* ------------------------------------------------------------------------------------------------------------------
 * Names
 * ---------------------------------------------------------------------------------------------------------------- */

json &nameOf(json &model, std::size_t program = 0)
{
    return model["transport_stream"]["programs"][program]["service"]["name"];
}

TEST_F(PsitoolMake, AnEditedTextCounts)
{
    json model = exampleModel();
    nameOf(model)["text"] = "News Two";
    model["transport_stream"]["programs"][1]["service"]["provider"]["text"] = "Österreich";
    json again = madeAndScanned(model);
    EXPECT_EQ(nameOf(again)["text"], "News Two");
    EXPECT_EQ(nameOf(again)["data"], hexOf(bytesOf("News Two")));
    const json &provider = again["transport_stream"]["programs"][1]["service"]["provider"];
    EXPECT_EQ(provider["text"], "Österreich");
    EXPECT_EQ(provider["data"], hexOf(bytesOf("\x15Österreich")));
}

TEST_F(PsitoolMake, BytesOfANameThatWasNotEditedStayAsTheyAre)
{
    json model = smallModel();
    for (const char *data : {"010203c1c2", "10000541", "8641879f", "20412020", "154142", "1f0541", "ffff"}) {
        nameOf(model) = {{"data", data}};
        const json again = madeAndScanned(model);
        json reread = again;
        EXPECT_EQ(nameOf(reread)["data"], data);
        EXPECT_EQ(madeAndScanned(again)["transport_stream"], again["transport_stream"]);
    }
}

TEST_F(PsitoolMake, AnEditedChannelNameIsUtf16)
{
    json model = atscModel();
    nameOf(model)["text"] = "Ñ-\U0001F4FA";
    json again = madeAndScanned(model);
    EXPECT_EQ(nameOf(again)["text"], "Ñ-\U0001F4FA");
    EXPECT_EQ(nameOf(again)["data"], "00d1002dd83ddcfa000000000000");
    nameOf(model)["text"] = "8letters";
    put(model);
    std::filesystem::remove(folder / "y.ts");
    expectRefused("m.json: /transport_stream/programs/0/service/name/text: expected at most 14 bytes, found 16");
}

TEST_F(PsitoolMake, AnEditedNetworkNameGoesIntoTheNit)
{
    json model = exampleModel();
    json &name = model["transport_stream"]["network_name"];
    for (const char *text : {"Short", "A much longer name than the one that stood there before it", ""}) {
        name["text"] = text;
        const json again = madeAndScanned(model);
        EXPECT_EQ(again["transport_stream"]["network_name"]["text"], text);
        EXPECT_EQ(again["tables"], model["tables"]);
        EXPECT_EQ(again["transport_stream"]["programs"], model["transport_stream"]["programs"]);
    }
}

TEST_F(PsitoolMake, AnEditedNetworkIdGoesIntoTheNit)
{
    json model = exampleModel();
    model["transport_stream"]["network_id"] = 4711;
    EXPECT_EQ(madeAndScanned(model)["transport_stream"], model["transport_stream"]);
}

/** As some multiplexers do it: the network's own NIT where the PAT says, those of others on the usual PID. */
TEST_F(PsitoolMake, ANitThatIsNotWhereThoseOfOtherNetworksAreComesBackOnItsPid)
{
    const Bytes nit = NitBuilder().networkId(7).desc(networkNameDescriptor("Home")).build();
    const Bytes other = NitBuilder().other().networkId(8).desc(networkNameDescriptor("Away")).build();
    const Bytes programs =
        packetsOf(PatBuilder().network(0x30).program(7, 0x100).build(), 0) + packetsOf(PmtBuilder(7).build(), 0x100);
    for (const auto &[pid, otherPid] : {std::pair<u16, u16>{0x30, 0x10}, {0x10, 0x30}, {0x30, 0x30}}) {
        const json scan = scanned(write("in.ts", programs + packetsOf(nit, pid) + packetsOf(other, otherPid)));
        EXPECT_EQ(scan["transport_stream"]["network_name"]["text"], "Home") << pid;
        EXPECT_TRUE(contains(shell("psitool scan in.ts").out, "network_id            0x0007 (7)  \"Home\"\n")) << pid;
        std::map<int, int> places;
        for (const json &section : scan["sections"])
            places[section["psi_type"]] = section["pid"];
        EXPECT_EQ(places, (std::map<int, int>{
                              {PSI_PAT, 0}, {PSI_PMT, 0x100}, {PSI_NIT_ACTUAL, pid}, {PSI_NIT_OTHER, otherPid}}));
        EXPECT_EQ(madeAndScanned(scan)["sections"], scan["sections"]) << pid;
        const json tables = jsonOf("psitool tables --json --type nit y.ts")["sections"];
        ASSERT_EQ(tables.size(), 2u) << pid;
        EXPECT_EQ(tables[0]["pid"], pid);
        EXPECT_EQ(tables[1]["pid"], otherPid);
    }
}

TEST_F(PsitoolMake, NamesChangeTheirCodingWithTheStandard)
{
    json dvb = madeAndScanned(atscModel(), "--standard dvb");
    EXPECT_EQ(nameOf(dvb)["data"], hexOf(bytesOf("KPSI-HD")));
    EXPECT_EQ(dvb["transport_stream"]["table_mask"], 1U << PSI_PAT | 1U << PSI_SDT_ACTUAL);
    put(exampleModel());
    const Result result = shell("psitool make m.json -o y.ts --standard atsc");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(contains(result.err,
                         "psitool: m.json: /transport_stream/programs/0/service/name/data: the name is cut to "
                         "14 bytes\n"))
        << result.err;
    json atsc = scanned("y.ts");
    EXPECT_EQ(nameOf(atsc)["text"], "News On");
    EXPECT_EQ(atsc["transport_stream"]["table_mask"], 1U << PSI_PAT | 1U << PSI_CAT | 1U << PSI_VCT | 1U << PSI_MGT);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Large models
 * ---------------------------------------------------------------------------------------------------------------- */

void expectSamePrograms(json model, json again)
{
    const json &programs = model["transport_stream"]["programs"];
    const json &found = again["transport_stream"]["programs"];
    ASSERT_EQ(found.size(), programs.size());
    for (std::size_t i = 0; i < programs.size(); ++i) {
        EXPECT_EQ(found[i]["program_number"], programs[i]["program_number"]);
        EXPECT_EQ(found[i]["pmt"]["pid"], programs[i]["pmt"]["pid"]);
        EXPECT_EQ(found[i]["pmt"]["found"], true);
        EXPECT_EQ(found[i]["service"]["name"]["text"], programs[i]["service"]["name"]["text"]);
    }
}

TEST_F(PsitoolMake, SixHundredProgramsComeBack)
{
    // Of 47 bytes the services leave gaps in the sections, of 90 they take more than 65,535 bytes.
    for (const std::size_t nameLength : {std::size_t{30}, std::size_t{47}, std::size_t{90}}) {
        const json model = manyPrograms(600, nameLength);
        expectSamePrograms(model, madeAndScanned(model));
    }
}

TEST_F(PsitoolMake, SixHundredProgramsKeepTheirIntervals)
{
    const json model = manyPrograms(600, 47);
    const json again = madeAndScanned(model, "--duration 2.5 --bitrate 12M");
    expectSamePrograms(model, again);
    const std::map<u8, double> longest = Stream(stream()).longestIntervals(12e6);
    EXPECT_LE(longest.at(0x00), 0.1);
    EXPECT_LE(longest.at(0x02), 0.1);
    EXPECT_LE(longest.at(0x42), 2.0);
}

/* ------------------------------------------------------------------------------------------------------------------
 * Streams
 * ---------------------------------------------------------------------------------------------------------------- */

void expectIntervals(const Stream &made, double bitrate, const std::map<u8, double> &most)
{
    const std::map<u8, double> longest = made.longestIntervals(bitrate);
    for (const auto &[tableId, seconds] : most) {
        ASSERT_EQ(longest.count(tableId), 1U) << unsigned{tableId};
        EXPECT_LE(longest.at(tableId), seconds) << unsigned{tableId};
        EXPECT_GE(longest.at(tableId), 0.8 * seconds) << unsigned{tableId};
    }
    EXPECT_EQ(longest.size(), most.size());
}

TEST_F(PsitoolMake, DvbTablesComeAtTheirIntervals)
{
    make(exampleModel(), "--duration 31 --bitrate 400k");
    expectIntervals(Stream(stream()), 400e3, {{0x00, 0.1}, {0x01, 1}, {0x02, 0.1}, {0x40, 10}, {0x42, 2}});
}

TEST_F(PsitoolMake, AtscTablesComeAtTheirIntervals)
{
    make(atscModel(), "--duration 5 --bitrate 19.39M");
    expectIntervals(Stream(stream()), 19.39e6, {{0x00, 0.1}, {0x02, 0.4}, {0xC7, 0.15}, {0xC8, 0.4}, {0xCD, 1}});
}

TEST_F(PsitoolMake, AStreamHasExactlyItsBitrate)
{
    struct {
        const char *arguments;
        std::size_t packets;
    } const cases[] = {
        {"--bitrate 5M", 33244},                  // 10 s
        {"--bitrate 5000000 --duration 1", 3324}, // 3324.47
        {"--bitrate 1504k --duration 2", 2000},
        {"--bitrate 0.2M --duration 0.5", 66},
        {"--duration 2", 132}, // 100 kbit/s
    };
    for (const auto &tested : cases) {
        make(exampleModel(), tested.arguments);
        const Stream made(stream());
        EXPECT_EQ(made.packets, tested.packets) << tested.arguments;
        EXPECT_EQ(made.ofPid.at(0).front(), 0U) << tested.arguments;
    }
}

TEST_F(PsitoolMake, NullPacketsAreAllAlike)
{
    make(smallModel(), "--bitrate 1M --duration 1");
    const std::string bytes = stream();
    const Stream made(bytes);
    ASSERT_GT(made.ofPid.at(nullPid).size(), 500U);
    const std::string null = std::string("\x47\x1F\xFF\x10") + std::string(184, '\xFF');
    for (const std::size_t packet : made.ofPid.at(nullPid))
        ASSERT_EQ(bytes.substr(packet * packetSize, packetSize), null) << packet;
}

TEST_F(PsitoolMake, PacketsOfAPidDoNotComeFasterThanAReceiverTakesThem)
{
    make(manyPrograms(100, 60), "--bitrate 50M --duration 2");
    const std::vector<std::size_t> packets = Stream(stream()).ofPid.at(0x11);
    ASSERT_GT(packets.size(), 40U);
    for (std::size_t i = 1; i < packets.size(); ++i)
        EXPECT_GE(packets[i] - packets[i - 1], 50U) << packets[i];
}

TEST_F(PsitoolMake, ShortStreamsHoldEverySectionToo)
{
    const json model = manyPrograms(200, 60);
    expectSamePrograms(model, madeAndScanned(model, "--duration 0.5"));
}

TEST_F(PsitoolMake, TooShortADurationIsRefusedAndNothingIsWritten)
{
    put(exampleModel());
    for (const char *arguments : {"--duration 0.0001", "--duration 0.0001 --bitrate 10M"}) {
        const Result result = shell(std::string("psitool make m.json -o y.ts ") + arguments);
        EXPECT_EQ(result.status, 3) << arguments;
        EXPECT_EQ(
            matchesIn(result.err,
                      "^psitool: --duration: the tables take [0-9]+ packets, at [0-9]{1,3}(,[0-9]{3})* kbit/s there is "
                      "time for [0-9]+\n$")
                .size(),
            1U)
            << result.err;
        EXPECT_EQ(files(), std::set<std::string>{});
    }
}

TEST_F(PsitoolMake, TooLowABitrateIsRefusedAndOneThatDoesIsNamed)
{
    const std::string refusal = "^psitool: --bitrate: the tables need ([0-9]+) kbit/s to come at their intervals, more "
                                "than 20 kbit/s\n$";
    for (const json &model : {exampleModel(), atscModel(), manyPrograms(50, 40)}) {
        std::filesystem::remove(folder / "y.ts");
        put(model);
        const Result result = shell("psitool make m.json -o y.ts --bitrate 20k");
        EXPECT_EQ(result.status, 3);
        const std::vector<Match> found = matchesIn(result.err, refusal);
        ASSERT_EQ(found.size(), 1U) << result.err;
        const unsigned long needed = std::stoul(found[0][1]);
        EXPECT_EQ(files(), std::set<std::string>{});
        make(model, "--bitrate " + std::to_string(needed) + "k");
        EXPECT_EQ(shell("psitool make m.json -o z.ts --bitrate " + std::to_string(needed * 8 / 10) + "k").status, 3);
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Sections in files
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(PsitoolMake, EverySectionIsAFileThatTablesReads)
{
    const json model = exampleModel();
    put(model);
    const Result result = shell("psitool make m.json --sections tables");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    std::set<std::string> names;
    std::set<std::string> data;
    for (const auto &entry : std::filesystem::directory_iterator(folder / "tables")) {
        names.insert(entry.path().filename());
        const std::string content = contentOf(entry.path());
        data.insert(hexOf(Bytes(content.begin(), content.end())));
        EXPECT_EQ(shell("psitool tables --section '" + entry.path().string() + "'").status, 0) << entry.path();
    }
    EXPECT_EQ(names, (std::set<std::string>{
                         "pat-pid0x0000-ts257-0.sec", "pmt-pid0x0100-program10-0.sec", "pmt-pid0x0101-program20-0.sec",
                         "pmt-pid0x0102-program30-0.sec", "pmt-pid0x0103-program40-0.sec", "cat-pid0x0001-0.sec",
                         "nit-actual-pid0x0010-network65281-0.sec", "sdt-actual-pid0x0011-ts257-0.sec"}));
    EXPECT_EQ(data, dataOf(madeAndScanned(model)["sections"]));
}

TEST_F(PsitoolMake, VersionsOfOneSectionGetFilesOfTheirOwn)
{
    json model = smallModel();
    for (const u8 version : {u8{1}, u8{2}})
        model["sections"].push_back(
            {{"psi_type", 6}, {"pid", 0x11}, {"data", hexOf(BatBuilder().bouquetId(9).version(version).build())}});
    put(model);
    EXPECT_EQ(shell("psitool make m.json --sections tables").status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "tables" / "bat-pid0x0011-bouquet9-0.sec"));
    EXPECT_TRUE(std::filesystem::exists(folder / "tables" / "bat-pid0x0011-bouquet9-0-2.sec"));
}

/* ------------------------------------------------------------------------------------------------------------------
 * Input and output
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(PsitoolMake, ReadsStandardInputAndWritesStandardOutput)
{
    make(exampleModel());
    const std::string file = stream();
    const Result piped = shell("psitool scan --json " + example + " | psitool make - -o -");
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(piped.out, file);
}

TEST_F(PsitoolMake, AFailureLeavesTheFileThatWasThere)
{
    put("y.ts", "old");
    put("m.json", "{");
    EXPECT_EQ(shell("psitool make m.json -o y.ts").status, 3);
    EXPECT_EQ(stream(), "old");
    EXPECT_EQ(files(), std::set<std::string>{"y.ts"});
}

TEST_F(PsitoolMake, WhatCannotBeReadOrWrittenIsNamed)
{
    put(smallModel());
    std::filesystem::create_directory(folder / "here");
    struct {
        const char *arguments;
        const char *err;
    } const cases[] = {
        {"no.json -o y.ts", "no.json: cannot be read: No such file or directory"},
        {"here -o y.ts", "here: cannot be read: Is a directory"},
        {"m.json -o no/y.ts", "no/y.ts: cannot be written: No such file or directory"},
        {"m.json -o here", "here: cannot be written: Is a directory"},
        {"m.json -o /dev/full", "/dev/full: cannot be written: No space left on device"},
        {"m.json -o /dev/full --bitrate 5M", "/dev/full: cannot be written: No space left on device"},
        {"m.json -o - >/dev/full", "standard output: cannot be written: No space left on device"},
        {"m.json --sections no/here", "no/here: cannot be made: No such file or directory"},
        {"m.json --sections m.json", "m.json/pat-pid0x0000-ts5-0.sec: cannot be written: Not a directory"},
    };
    for (const auto &tested : cases) {
        const Result result = shell(std::string("psitool make ") + tested.arguments);
        EXPECT_EQ(result.err, std::string("psitool: ") + tested.err + "\n");
        EXPECT_EQ(result.status, 3) << tested.arguments;
        EXPECT_EQ(files(), std::set<std::string>{"here"});
    }
}

TEST_F(PsitoolMake, TheModelIsNotOverwritten)
{
    put(smallModel());
    const std::string model = contentOf(folder / "m.json");
    for (const char *arguments : {"m.json -o ./m.json", "- -o m.json <m.json"}) {
        const Result result = shell(std::string("psitool make ") + arguments);
        EXPECT_TRUE(contains(result.err, "m.json: is the model as well\n")) << result.err;
        EXPECT_EQ(result.status, 2);
    }
    EXPECT_EQ(contentOf(folder / "m.json"), model);
}

TEST_F(PsitoolMake, WrongUseIsToldApart)
{
    put(smallModel());
    struct {
        const char *arguments;
        const char *err;
    } const cases[] = {
        {"m.json", "--output or --sections is required"},
        {"-o y.ts", "MODEL is required"},
        {"m.json -o y.ts --bitrate fast",
         "--bitrate: 'fast' is no bitrate such as 5000000, 500k or 5M, from 1k to 10G"},
        {"m.json -o y.ts --bitrate 5.5.5M",
         "--bitrate: '5.5.5M' is no bitrate such as 5000000, 500k or 5M, from 1k to 10G"},
        {"m.json -o y.ts --bitrate 999", "--bitrate: '999' is no bitrate such as 5000000, 500k or 5M, from 1k to 10G"},
        {"m.json -o y.ts --bitrate 11G", "--bitrate: '11G' is no bitrate such as 5000000, 500k or 5M, from 1k to 10G"},
        {"m.json -o y.ts --duration 0", "--duration: '0' is no number of seconds up to 86400 (a day)"},
        {"m.json -o y.ts --duration 1e3", "--duration: '1e3' is no number of seconds up to 86400 (a day)"},
        {"m.json -o y.ts --duration 86401", "--duration: '86401' is no number of seconds up to 86400 (a day)"},
    };
    for (const auto &tested : cases) {
        const Result result = shell(std::string("psitool make ") + tested.arguments);
        EXPECT_EQ(result.err, std::string("psitool: ") + tested.err + " (see psitool make --help)\n");
        EXPECT_EQ(result.status, 2) << tested.arguments;
        EXPECT_EQ(files(), std::set<std::string>{});
    }
}

/* ------------------------------------------------------------------------------------------------------------------
 * Wrong models
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(PsitoolMake, AKeyThatIsThereTwiceIsRefusedAtItsPlace)
{
    std::string text = exampleModel().dump();
    const std::size_t program = text.find("\"program_number\":20");
    ASSERT_NE(program, std::string::npos);
    text.insert(program, "\"program_number\":21,");
    std::ofstream(folder / "m.json") << text;
    const Result result = shell("psitool make m.json -o y.ts");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: m.json: /transport_stream/programs/1/program_number: this key is there twice\n");
    EXPECT_EQ(files(), std::set<std::string>{});
}

TEST_F(PsitoolMake, WhatIsNoJsonIsRefusedWithLineAndColumn)
{
    struct {
        const char *text;
        const char *err;
    } const cases[] = {
        {"", "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
             "literal"},
        {"{\n  \"a\": 1\n  \"b\": 2\n}", "line 3, column 5: syntax error while parsing object - unexpected string "
                                         "literal; expected '}'"},
        {"{\"ä\" 2}", "line 1, column 6: syntax error while parsing object separator - unexpected number literal; "
                      "expected ':'"},
        {"{\n \"a\": [1, 1e999]}", "line 2, column 11: the number 1e999 is too large"},
        {"{\"a\": \"\xFF\"}", "line 1, column 8: syntax error while parsing value - invalid string: ill-formed UTF-8 "
                              "byte; last read: '\"\uFFFD'"},
    };
    for (const auto &tested : cases) {
        put("m.json", tested.text);
        expectRefused(std::string("m.json: ") + tested.err);
    }
}

struct Wrong {
    const char *name;
    const char *place;  /**< where the value is put; nothing: the model is as it is */
    const char *value;  /**< JSON; nothing: the key is taken away */
    const char *reason; /**< behind the place */
};

void PrintTo(const Wrong &wrong, std::ostream *out)
{
    *out << wrong.name;
}

const Wrong wrongModels[] = {
    {"PidTooLarge", "/transport_stream/programs/1/pmt/pid", "8192", "expected a number from 16 to 8190, found 8192"},
    {"PidOfTheNullPackets", "/transport_stream/programs/1/pmt/pid", "8191",
     "expected a number from 16 to 8190, found 8191"},
    {"PidOfThePat", "/transport_stream/programs/1/pmt/pid", "0", "expected a number from 16 to 8190, found 0"},
    {"PidNegative", "/transport_stream/programs/1/pmt/pid", "-1", "expected a number from 16 to 8190, found -1"},
    {"PidFraction", "/transport_stream/programs/1/pmt/pid", "256.5", "expected a number from 16 to 8190, found 256.5"},
    {"PidText", "/transport_stream/programs/1/pmt/pid", "\"0x100\"",
     "expected a number from 16 to 8190, found \"0x100\""},
    {"PidLongText", "/transport_stream/programs/1/pmt/pid", R"("01234567890123456789012345678901234567\u00e9")",
     "expected a number from 16 to 8190, found \"01234567890123456789012345678901234567..."},
    {"PidNull", "/transport_stream/programs/1/pmt/pid", "null", "expected a number from 16 to 8190, found null"},
    {"PidHuge", "/transport_stream/programs/1/pmt/pid", "18446744073709551615",
     "expected a number from 16 to 8190, found 18446744073709551615"},
    {"ProgramTwice", "/transport_stream/programs/2/program_number", "10",
     "expected another program_number than that at /transport_stream/programs/0/program_number, found 10 again"},
    {"ProgramZero", "/transport_stream/programs/2/program_number", "0", "expected a number from 1 to 65535, found 0"},
    {"PcrPid", "/transport_stream/programs/0/pmt/pcr_pid", "9000", "expected a number from 0 to 8191, found 9000"},
    {"ElementaryPid", "/transport_stream/programs/0/pmt/streams/1/elementary_pid", "8192",
     "expected a number from 0 to 8191, found 8192"},
    {"StreamType", "/transport_stream/programs/0/pmt/streams/0/stream_type", "256",
     "expected a number from 0 to 255, found 256"},
    {"Version", "/transport_stream/programs/0/pmt/head/version_number", "32",
     "expected a number from 0 to 31, found 32"},
    {"PatVersion", "/transport_stream/pat/head/version_number", "32", "expected a number from 0 to 31, found 32"},
    {"RunningStatus", "/transport_stream/programs/0/service/running_status", "8",
     "expected a number from 0 to 7, found 8"},
    {"FreeCaMode", "/transport_stream/programs/0/service/free_ca_mode", "2", "expected a number from 0 to 1, found 2"},
    {"ChannelNumber", "/transport_stream/programs/0/channel/major_channel_number", "1024",
     "expected a number from 0 to 1023, found 1024"},
    {"OddHex", "/transport_stream/programs/0/service/name/data", "\"4e6\"",
     "expected an even number of hexadecimal digits, found \"4e6\""},
    {"NoHex", "/transport_stream/programs/0/pmt/streams/1/descriptors/0/data", "\"65 6e\"",
     "expected an even number of hexadecimal digits, found \"65 6e\""},
    {"OtherLetters", "/transport_stream/programs/0/pmt/streams/1/descriptors/0/data", "\"engl\"",
     "expected hexadecimal digits, found \"engl\""},
    {"HexIsANumber", "/transport_stream/programs/0/pmt/streams/1/descriptors/0/data", "12",
     "expected a text of hexadecimal digits, found 12"},
    {"Tag", "/transport_stream/programs/0/pmt/streams/1/descriptors/0/tag", "256",
     "expected a number from 0 to 255, found 256"},
    {"CaSystem", "/transport_stream/cat/ca/0/ca_system_id", "65536", "expected a number from 0 to 65535, found 65536"},
    {"ControlInName", "/transport_stream/programs/0/service/name/text", "\"a\\nb\"",
     "expected a text without control characters and without U+FFFD, which stands for what could not be read"},
    {"ReplacementInName", "/transport_stream/network_name/text", "\"a\\ufffd\"",
     "expected a text without control characters and without U+FFFD, which stands for what could not be read"},
    {"TextIsANumber", "/transport_stream/programs/0/service/name/text", "5", "expected a text, found 5"},
    {"FoundIsANumber", "/transport_stream/programs/0/pmt/found", "1", "expected true or false, found 1"},
    {"ProgramsObject", "/transport_stream/programs", "{}", "expected an array, found an object"},
    {"ProgramIsANumber", "/transport_stream/programs/0", "7", "expected an object, found 7"},
    {"SectionType", "/sections/0/psi_type", "16", "expected a number from 0 to 15, found 16"},
    {"NewerSchema", "/psitool/schema_version", "2", "expected a number from 1 to 1, found 2"},
    {"OtherSchema", "/psitool/schema", "\"tables\"", "expected \"transport-stream\", the JSON of psitool scan"},
};

class PsitoolMakeWrong : public PsitoolMake, public testing::WithParamInterface<Wrong> {};

TEST_P(PsitoolMakeWrong, IsRefusedAtItsPlace)
{
    const Wrong &wrong = GetParam();
    json model = exampleModel();
    const json::json_pointer place(wrong.place);
    ASSERT_TRUE(model.contains(place)) << wrong.place; // else the model would have a new key, which is ignored
    model[place] = parsedJson(wrong.value);
    put(model);
    expectRefused(std::string("m.json: ") + wrong.place + ": " + wrong.reason);
}

INSTANTIATE_TEST_SUITE_P(Models, PsitoolMakeWrong, testing::ValuesIn(wrongModels),
                         [](const auto &tested) { return tested.param.name; });

class PsitoolMakeMissing : public PsitoolMake, public testing::WithParamInterface<const char *> {};

TEST_P(PsitoolMakeMissing, KeyIsNamed)
{
    json model = exampleModel();
    const json::json_pointer place(GetParam());
    ASSERT_TRUE(model.contains(place));
    model[place.parent_pointer()].erase(place.back());
    put(model);
    const std::string parent = place.parent_pointer().to_string();
    expectRefused("m.json: " + (parent.empty() ? "/" : parent) + ": the key \"" + place.back() + "\" is missing");
    model[place.parent_pointer()][place.back() + "x"] = 1;
    put(model);
    expectRefused("m.json: " + (parent.empty() ? "/" : parent) + ": the key \"" + place.back() +
                  "\" is missing; is \"" + place.back() + "x\" meant for it?");
}

INSTANTIATE_TEST_SUITE_P(Keys, PsitoolMakeMissing,
                         testing::Values("/transport_stream", "/transport_stream/transport_stream_id",
                                         "/transport_stream/programs", "/transport_stream/programs/0/program_number",
                                         "/transport_stream/programs/0/pmt", "/transport_stream/programs/0/pmt/pid",
                                         "/transport_stream/programs/0/pmt/pcr_pid",
                                         "/transport_stream/programs/0/pmt/streams",
                                         "/transport_stream/programs/0/pmt/streams/0/stream_type",
                                         "/transport_stream/programs/0/pmt/streams/0/elementary_pid",
                                         "/transport_stream/programs/0/pmt/streams/1/descriptors/0/tag",
                                         "/transport_stream/programs/0/pmt/streams/1/descriptors/0/data",
                                         "/transport_stream/cat/ca/0/ca_pid"));

TEST_F(PsitoolMake, DescriptorsThatAreTooLongAreRefused)
{
    json model = exampleModel();
    json &data = model["transport_stream"]["programs"][0]["pmt"]["streams"][1]["descriptors"][0]["data"];
    data = std::string(2 * 255, '0');
    make(model);
    std::filesystem::remove(folder / "y.ts");
    data = std::string(2 * 256, '0');
    put(model);
    expectRefused("m.json: /transport_stream/programs/0/pmt/streams/1/descriptors/0/data: expected at most 255 bytes, "
                  "found 256");
}

TEST_F(PsitoolMake, NamesThatAreTooLongTogetherAreRefused)
{
    json model = smallModel();
    json &service = model["transport_stream"]["programs"][0]["service"];
    service["name"]["text"] = std::string(200, 'n');
    service["provider"]["text"] = std::string(52, 'p');
    make(model);
    std::filesystem::remove(folder / "y.ts");
    service["provider"]["text"] = std::string(53, 'p');
    put(model);
    expectRefused("m.json: /transport_stream/programs/0/service: expected at most 252 bytes of name and provider "
                  "together, found 253");
}

json fillers(unsigned count, std::size_t bytes)
{
    json descriptors = json::array();
    for (unsigned i = 0; i < count; ++i)
        descriptors.push_back({{"tag", 0x80}, {"data", std::string(2 * bytes, '0')}});
    return descriptors;
}

TEST_F(PsitoolMake, WhatDoesNotFitIntoItsTableIsRefused)
{
    json model = smallModel();
    json &stream = model["transport_stream"];
    json &program = stream["programs"][0];
    program["pmt"]["descriptors"] = fillers(5, 200);
    put(model);
    expectRefused("m.json: /transport_stream/programs/0/pmt: descriptors and streams do not fit into one section of "
                  "1024 bytes");
    program["pmt"].erase("descriptors");
    program["service"]["descriptors"] = fillers(5, 200);
    put(model);
    expectRefused("m.json: /transport_stream/programs/0/service: names and descriptors do not fit into one section of "
                  "1024 bytes");
    put(model);
    expectRefused("m.json: /transport_stream/programs/0: the channel does not fit into the sections of the VCT; "
                  "shorten its descriptors or those of the channels before it",
                  "--standard atsc");
    program["service"].erase("descriptors");
    stream["vct"]["descriptors"] = fillers(10, 190);
    put(model);
    expectRefused("m.json: /transport_stream/vct/descriptors/5: the descriptor does not fit into the sections of the "
                  "VCT",
                  "--standard atsc");
    stream.erase("vct");
    stream["cat"]["descriptors"] = fillers(7, 255);
    put(model);
    expectRefused("m.json: /transport_stream/cat: only 6 of 7 descriptors fit into its sections; shorten or remove "
                  "some");
}

TEST_F(PsitoolMake, AChannelHasAtMostFortyTwoStreams)
{
    json model = smallModel();
    json &streams = model["transport_stream"]["programs"][0]["pmt"]["streams"];
    for (unsigned i = 0; i < 43; ++i)
        streams.push_back({{"stream_type", 2}, {"elementary_pid", 0x200 + i}});
    make(model);
    std::filesystem::remove(folder / "y.ts");
    expectRefused(
        "m.json: /transport_stream/programs/0/pmt/streams: expected at most 42 streams of a channel, found 43",
        "--standard atsc");
    streams.erase(0);
    make(model, "--standard atsc");
}

TEST_F(PsitoolMake, SectionsAreCheckedBeforeTheyAreSent)
{
    const Bytes bat = BatBuilder().bouquetId(9).build();
    Bytes damaged = bat;
    damaged[4] ^= 1;
    json model = smallModel();
    const auto expectSection = [&](const Bytes &bytes, const std::string &reason) {
        model["sections"] = {{{"psi_type", 6}, {"pid", 0x11}, {"data", hexOf(bytes)}}};
        put(model);
        expectRefused("m.json: /sections/0/data: " + reason);
    };
    expectSection(damaged, "expected a section with a right CRC_32");
    expectSection(bat + Bytes{0}, "expected 16 bytes, as section_length says, found 17");
    expectSection(Bytes(bat.begin(), bat.begin() + 11), "expected a section of at least 12 bytes, found 11");
    model["sections"] = {{{"psi_type", 6}, {"pid", 8191}, {"data", hexOf(bat)}}};
    put(model);
    expectRefused("m.json: /sections/0/pid: expected a number from 0 to 8190, found 8191");
}

/* ------------------------------------------------------------------------------------------------------------------
 * Other readers
 * ---------------------------------------------------------------------------------------------------------------- */

TEST_F(PsitoolMake, FfprobeShowsThePrograms)
{
    if (shell("command -v ffprobe").status != 0)
        GTEST_SKIP() << "ffprobe is not installed: nothing to compare with (apt-get install ffmpeg)";
    for (const char *arguments : {"", "--duration 2 --bitrate 1M"}) {
        for (const json &model : {exampleModel(), atscModel()}) {
            make(model, arguments);
            const Result result = shell("ffprobe -v error -show_programs -of json y.ts");
            EXPECT_EQ(result.status, 0) << result.err;
            const json probed = parsedJson(result.out)["programs"];
            const json &programs = model["transport_stream"]["programs"];
            ASSERT_EQ(probed.size(), programs.size());
            for (std::size_t i = 0; i < probed.size(); ++i) {
                EXPECT_EQ(probed[i]["program_num"], programs[i]["program_number"]);
                EXPECT_EQ(probed[i]["pmt_pid"], programs[i]["pmt"]["pid"]);
                EXPECT_EQ(probed[i]["pcr_pid"], programs[i]["pmt"]["pcr_pid"]);
                EXPECT_EQ(probed[i]["streams"].size(), programs[i]["pmt"]["streams"].size());
                if (!programs[i]["channel"]["found"]) {
                    EXPECT_EQ(probed[i]["tags"]["service_name"], programs[i]["service"]["name"]["text"]);
                }
            }
        }
    }
}

class Tshark : public PsitoolMake {
protected:
    void SetUp() override
    {
        PsitoolMake::SetUp();
        if (shell("command -v tshark").status != 0)
            GTEST_SKIP() << "tshark is not installed: nothing to compare with (apt-get install tshark)";
    }

    /** What tshark prints of y.ts, a line for each packet. */
    std::string read(const std::string &arguments) const
    {
        const Result result =
            shell("tshark -r y.ts -o mpeg_sect.verify_crc:TRUE -T fields " + arguments + " 2>tshark.err");
        EXPECT_EQ(result.status, 0) << contentOf(folder / "tshark.err");
        return result.out;
    }

    /** The values of fields in all packets, by the field. */
    std::map<std::string, std::set<std::string>> fields(const std::vector<std::string> &names) const
    {
        std::string arguments = "-E aggregator='|' -E separator=/t";
        for (const std::string &name : names)
            arguments += " -e " + name;
        std::map<std::string, std::set<std::string>> values;
        std::istringstream lines(read(arguments));
        for (std::string line; std::getline(lines, line);) {
            std::istringstream columns(line);
            std::string column;
            for (auto name = names.begin(); name != names.end() && std::getline(columns, column, '\t'); ++name) {
                std::istringstream words(column);
                for (std::string word; std::getline(words, word, '|');)
                    values[*name].insert(word);
            }
        }
        return values;
    }

    void expectClean() const
    {
        EXPECT_EQ(read("-Y '_ws.malformed || mpeg_sect.crc.status == \"Bad\" || mp2t.cc.drop' -e frame.number -e "
                       "_ws.col.Info"),
                  "");
    }
};

TEST_F(Tshark, ReadsTheTablesOfADvbStream)
{
    for (const char *arguments : {"", "--duration 2 --bitrate 1M"}) {
        make(exampleModel(), arguments);
        expectClean();
        auto values =
            fields({"mpeg_pat.prog_num", "mpeg_pmt.pg_num", "mpeg_descr.svc.svc_name", "mpeg_descr.net_name.name"});
        EXPECT_EQ(values["mpeg_pat.prog_num"],
                  (std::set<std::string>{"0x0000", "0x000a", "0x0014", "0x001e", "0x0028"}));
        EXPECT_EQ(values["mpeg_pmt.pg_num"], (std::set<std::string>{"0x000a", "0x0014", "0x001e", "0x0028"}));
        EXPECT_EQ(values["mpeg_descr.svc.svc_name"].count("News One"), 1U);
        EXPECT_EQ(values["mpeg_descr.net_name.name"], std::set<std::string>{"Example Broadcasting"});
    }
}

TEST_F(Tshark, ReadsTheTablesOfAnAtscStream)
{
    make(atscModel(), "--duration 2 --bitrate 1M");
    expectClean();
    auto values = fields({"mpeg_pat.prog_num", "mpeg_sect.tid"});
    EXPECT_EQ(values["mpeg_pat.prog_num"], (std::set<std::string>{"0x0003", "0x0004"}));
    EXPECT_EQ(values["mpeg_sect.tid"], (std::set<std::string>{"0x00", "0x02", "0xc7", "0xc8", "0xcd"}));
}

} // namespace
