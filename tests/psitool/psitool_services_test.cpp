// psitool services: the services of a stream, as a viewer, a playlist or a spreadsheet knows them.
#include "programFixture.h"

#include "support/soundHeaders.h"

#include <dlfcn.h>

namespace {

using namespace psitest;
using nlohmann::json;

class PsitoolServices : public PsitoolTest {
protected:
    /** A PAT of such programs, and an SDT that names them and 99. */
    std::string named(const std::vector<u16> &programs, const std::string &name = "N") const
    {
        PatBuilder pat;
        SdtBuilder sdt;
        pat.tsId(1);
        sdt.tsId(1).service(99, serviceDescriptor(1, "P", "Elsewhere"));
        for (const u16 program : programs) {
            pat.program(program, 0x100);
            sdt.service(program, serviceDescriptor(1, "P", name + std::to_string(program)));
        }
        return write("a.ts", packetsOf(pat.build(), 0) + packetsOf(sdt.build(), 0x11));
    }
    /** One program, 7, and perhaps an SDT. */
    std::string packetsFile(const Bytes &pmt, const Bytes &sdt) const
    {
        return write("a.ts", packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100) +
                                 (sdt.empty() ? Bytes() : packetsOf(sdt, 0x11)));
    }
};

TEST_F(PsitoolServices, AFeedWithoutAnSdtIsNamedByItsPmt)
{
    const Bytes pmt =
        PmtBuilder(7).programDescriptor(serviceDescriptor(0x80, "Van", "Feed")).stream(0x02, 0x200).build();
    const std::string feed = packetsFile(pmt, {});
    EXPECT_TRUE(
        contains(shell("psitool services " + feed).out, "0x0007 (7)     \"Feed\": user defined 0x80, \"Van\", free\n"));
    const Bytes sdt = SdtBuilder().tsId(1).service(7, serviceDescriptor(1, "P", "By the SDT")).build();
    EXPECT_EQ(jsonOf("psitool services --json " + packetsFile(pmt, sdt))["services"][0]["name"], "By the SDT");
}

TEST_F(PsitoolServices, FormatsAreThoseOfTheStreamsOwnHeaders)
{
    const std::string text = shell("psitool services " + example).out;
    for (const char *line :
         {"MPEG-2 video                96x64p 25 fps 3:2, Main@Main\n",
          "MPEG-1 audio eng            mono 48 kHz 32 kbit/s, layer II\n",
          "AC-3 audio fra              mono 48 kHz 32 kbit/s\n",
          "H.264/AVC video             96x64p 25 fps 3:2, High@1.0\n", "AAC audio (ADTS) fra        mono 48 kHz, LC\n"})
        EXPECT_TRUE(contains(text, line)) << line << text;
}

TEST_F(PsitoolServices, JsonHasEveryPartOfAFormat)
{
    const json services = jsonOf("psitool services --json " + example)["services"];
    const json video = services[0]["streams"][0]["format"];
    EXPECT_EQ(video["coding"], "MPEG-2");
    EXPECT_EQ(video["profile"], "Main");
    EXPECT_EQ(video["width"], 96);
    EXPECT_EQ(video["height"], 64);
    EXPECT_EQ(video["interlaced"], false);
    EXPECT_EQ(video["frame_rate"], "25/1");
    EXPECT_EQ(video["aspect_ratio"], "3:2");
    EXPECT_EQ(video["chroma"], "4:2:0");
    const json audio = services[1]["streams"][1]["format"];
    EXPECT_EQ(audio["channels"], "mono");
    EXPECT_EQ(audio["sample_rate"], 48000);
    EXPECT_EQ(audio["bit_rate"], nullptr) << "AAC does not say";
}

Bytes pesPackets(Bytes pes, u16 pid)
{
    constexpr std::size_t payload = 184;
    Bytes packets;
    for (std::size_t at = 0; at < pes.size(); at += payload) {
        Packet packet;
        packet.pid = pid;
        packet.pusi = at == 0;
        packet.cc = static_cast<u8>(at / payload & 0xF);
        packet.payload.assign(pes.begin() + static_cast<std::ptrdiff_t>(at),
                              pes.begin() + static_cast<std::ptrdiff_t>(std::min(at + payload, pes.size())));
        packets = packets + packet.bytes();
    }
    return packets;
}

/** Two frames of MPEG-1 layer II, 384 kbit/s, 48 kHz. */
Bytes audioPackets(u16 pid)
{
    constexpr std::size_t frameBytes = 1152;
    Bytes frame = {0xFF, 0xFC, 0xE4, 0x00};
    frame.resize(frameBytes, 0);
    return pesPackets(Bytes{0, 0, 1, 0xC0, 0, 0, 0x80, 0, 0} + frame + frame, pid);
}

TEST_F(PsitoolServices, StreamsAreInThePmtsOrderWhateverIsKnownOfThem)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const Bytes pmt =
        PmtBuilder(7).stream(0x1B, 0x200).stream(0x0F, 0x201).stream(0x04, 0x101).stream(0x81, 0x202).build();
    const std::string file = write("a.ts", packetsOf(pat, 0) + packetsOf(pmt, 0x100) + audioPackets(0x101));
    EXPECT_EQ(shell("psitool services " + file).out,
              "0x0007 (7)     (no name): free\n"
              "               H.264/AVC video, AAC audio (ADTS)\n"
              "               MPEG-2 audio                stereo 48 kHz 384 kbit/s, layer II\n"
              "               AC-3 audio\n");
}

TEST_F(PsitoolServices, AnAudioStreamWithoutPacketsHasNoFormat)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const Bytes pmt = PmtBuilder(7).stream(0x04, 0x101, {}).stream(0x04, 0x102, {}).build();
    const std::string file = write("a.ts", packetsOf(pat, 0) + packetsOf(pmt, 0x100) + audioPackets(0x101));
    const json streams = jsonOf("psitool services --json " + file)["services"][0]["streams"];
    EXPECT_EQ(streams[0]["format"]["text"], "stereo 48 kHz 384 kbit/s, layer II");
    EXPECT_EQ(streams[1]["format"], nullptr);
}

TEST_F(PsitoolServices, StreamType82IsDtsWhereItHasTheHeadersOfIt)
{
    const Bytes pat = PatBuilder().program(7, 0x100).build();
    const Bytes pmt = PmtBuilder(7).stream(0x82, 0x101, {}).stream(0x82, 0x102, {}).build();
    const Bytes pes = Bytes{0, 0, 1, 0xBD, 0, 0, 0x80, 0, 0} + dtsFrame({}) + dtsFrame({});
    const Bytes subtitles = Bytes{0, 0, 1, 0xBD, 0, 0, 0x80, 0, 0} + repeated(3000, 0x5A);
    const std::string file = write("a.ts", packetsOf(pat, 0) + packetsOf(pmt, 0x100) + pesPackets(pes, 0x101) +
                                               pesPackets(subtitles, 0x102));
    const json streams = jsonOf("psitool services --json " + file)["services"][0]["streams"];
    EXPECT_EQ(streams[0]["kind"], "DTS audio");
    EXPECT_EQ(streams[0]["format"]["text"], "5.1 48 kHz 768 kbit/s");
    EXPECT_EQ(streams[1]["kind"], "SCTE subtitles");
    EXPECT_EQ(streams[1]["format"], nullptr);
}

TEST_F(PsitoolServices, EveryJsonKeyIsDocumented)
{
    const std::string manual = contentOf(PSITOOL_JSON_MANUAL);
    for (const std::string &key : keysOf(jsonOf("psitool services --json " + example)))
        EXPECT_TRUE(isDocumented(key, manual)) << key;
}

TEST_F(PsitoolServices, NobodySaysWhetherAServiceWithoutSdtAndPmtIsScrambled)
{
    const std::string file = write("a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0));
    EXPECT_EQ(shell("psitool services " + file).out, "0x0007 (7)     (no name): PMT not found\n");
    EXPECT_EQ(jsonOf("psitool services --json " + file)["services"][0]["scrambled"], nullptr);
}

/** A terrestrial stream in Japan, whose names are "BS" in wide letters: 8-unit code of ARIB STD-B24. */
Bytes japaneseStream()
{
    const std::string name = "\x0E"
                             "BS";
    const Bytes nit = NitBuilder()
                          .desc(networkNameDescriptor(name))
                          .desc({0xFE, 2, 0x03, 0x01})
                          .transportStream(0x7ED4, 0x7ED4)
                          .build();
    const Bytes sdt = SdtBuilder()
                          .tsId(1)
                          .service(7, serviceDescriptor(1, name, name))
                          .service(99, serviceDescriptor(0xC0, "", name))
                          .build();
    return packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0) + packetsOf(nit, 0x10) + packetsOf(sdt, 0x11);
}

TEST_F(PsitoolServices, NamesInJapanAreReadInTheCodeOfJapan)
{
    if (dlopen("libaribb24.so.0", RTLD_LAZY) == nullptr)
        GTEST_SKIP() << "libaribb24 is not installed";
    const std::string file = write("a.ts", japaneseStream());
    EXPECT_EQ(shell("psitool services --format csv " + file + " | cut -d, -f1,3,4").out,
              "number,name,provider\n7,\"ＢＳ\",\"ＢＳ\"\n99,\"ＢＳ\",\"\"\n");
    const std::string text = shell("psitool scan --details " + file).out;
    for (const char *line : {"├── network_id            0x0001 (1)  \"ＢＳ\"",
                             "│   └── network_id 0x0001 (1)  \"ＢＳ\": 1 transport stream\n",
                             "Program 0x0007 (7)  \"ＢＳ\"", "provider              \"ＢＳ\""})
        EXPECT_TRUE(contains(text, line)) << line << text;
    EXPECT_EQ(jsonOf("psitool scan --json " + file)["transport_stream"]["network_name"],
              (json{{"data", "0e4253"}, {"text", "ＢＳ"}, {"charset", "ARIB-STD-B24"}}));
}

TEST_F(PsitoolServices, TypesOfServicesAndCaptionsInJapanAreThoseOfIsdb)
{
    const Bytes pmt = PmtBuilder(7).stream(0x06, 0x130, {0xFD, 3, 0x00, 0x08, 0x3D}).build();
    const std::string file = write("a.ts", japaneseStream() + packetsOf(pmt, 0x100));
    const json services = jsonOf("psitool services --json " + file)["services"];
    EXPECT_EQ(services[0]["streams"][0]["kind"], "captions");
    EXPECT_EQ(services[1]["type"], "data");
    const std::string dvb =
        write("b.ts", packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100));
    EXPECT_EQ(jsonOf("psitool services --json " + dvb)["services"][0]["streams"][0]["kind"], "PES private data");
}

TEST_F(PsitoolServices, NamesInJapanGoBackAsTheyWere)
{
    const std::string file = write("a.ts", japaneseStream());
    const std::string again = write("again.ts", Bytes());
    const Result made = shell("psitool scan --json " + file + " | psitool make - -o " + again);
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(jsonOf("psitool tables --json --pid 0x11 " + again)["sections"][0]["tree"]["services"][0],
              jsonOf("psitool tables --json --pid 0x11 " + file)["sections"][0]["tree"]["services"][0]);
    const Result edited = shell("psitool scan --json " + file +
                                " | sed 's/\"text\": \"ＢＳ\"/\"text\": \"東京\"/' | psitool make - -o " + again);
    EXPECT_EQ(edited.status, 0) << edited.err;
    EXPECT_TRUE(contains(shell("psitool tables --hex --pid 0x11 " + again).out, "45 6c 35 7e")) << "kanji of two bytes";
}

TEST_F(PsitoolServices, NamesInBrazilGoBackAsTheyWereAndStayLatin)
{
    const std::string name = "S\xC3O"; // ISO/IEC 8859-15; in ISO/IEC 6937 the second byte is a circumflex for the third
    const Bytes streams = {0xFA, 4, 0x89, 0x16, 0x0F, 0x90, 0xCD, 4, 0x07, 0x08, 'T', 'V'};
    const Bytes nit = NitBuilder().desc(networkNameDescriptor(name)).transportStream(1, 1, streams).build();
    const Bytes sdt = SdtBuilder().tsId(1).service(7, serviceDescriptor(1, "", name)).build();
    const std::string file = write("a.ts", packetsOf(PatBuilder().tsId(1).program(7, 0x100).build(), 0) +
                                               packetsOf(nit, 0x10) + packetsOf(sdt, 0x11));
    EXPECT_EQ(jsonOf("psitool scan --json " + file)["transport_stream"]["network_name"],
              (json{{"data", "53c34f"}, {"text", "SÃO"}, {"charset", "ISO-8859-15"}}));
    const std::string again = write("again.ts", Bytes());
    const Result made = shell("psitool scan --json " + file + " | psitool make - -o " + again);
    EXPECT_EQ(made.status, 0) << made.err;
    for (const char *pid : {"0x10", "0x11"})
        EXPECT_EQ(jsonOf("psitool tables --json --pid " + std::string(pid) + " " + again)["sections"],
                  jsonOf("psitool tables --json --pid " + std::string(pid) + " " + file)["sections"]);
    const Result edited = shell("psitool scan --json " + file +
                                " | sed 's/\"text\": \"SÃO\"/\"text\": \"ÃO\"/' | psitool make - -o " + again);
    EXPECT_EQ(edited.status, 0) << edited.err;
    EXPECT_TRUE(contains(shell("psitool tables --hex --pid 0x11 " + again).out, "02 c3 4f")) << "no selector";
}

TEST_F(PsitoolServices, ScrambledPacketsMakeAServiceScrambled)
{
    Bytes scrambled = Packet{}.bytes();
    scrambled[1] = 0x41;
    scrambled[2] = 0x01;
    scrambled[3] = 0x90;
    const Bytes pmt = PmtBuilder(7).stream(0x1B, 0x101).build();
    const Bytes stream = packetsOf(PatBuilder().program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100);
    EXPECT_EQ(jsonOf("psitool services --json " + write("a.ts", stream + scrambled))["services"][0]["scrambled"], true);
    EXPECT_EQ(jsonOf("psitool services --json " + write("b.ts", stream))["services"][0]["scrambled"], false);
}

TEST_F(PsitoolServices, StreamsThatAreAlikeStandOnce)
{
    const Bytes pmt = PmtBuilder(7).stream(0x0D, 0x101).stream(0x0D, 0x102).stream(0x05, 0x103).build();
    const std::string file =
        write("a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0) + packetsOf(pmt, 0x100));
    EXPECT_TRUE(
        contains(shell("psitool services " + file).out, "               DSM-CC sections (2), private sections\n"));
}

TEST_F(PsitoolServices, AreSortedAsAskedFor)
{
    const std::string file = named({30, 7, 20});
    const auto order = [&](const std::string &options) {
        std::vector<int> numbers;
        const json object = jsonOf("psitool services --json " + options + " " + file);
        for (const json &service : object["services"])
            numbers.push_back(service["number"]);
        return numbers;
    };
    EXPECT_EQ(order(""), (std::vector<int>{30, 7, 20, 99}));
    EXPECT_EQ(order("--sort number"), (std::vector<int>{7, 20, 30, 99}));
    EXPECT_EQ(order("--sort name"), (std::vector<int>{99, 20, 30, 7}));
    EXPECT_EQ(order("--sort channel"), (std::vector<int>{30, 7, 20, 99})) << "none has one";
}

TEST_F(PsitoolServices, ChannelsAreSortedAsNumbers)
{
    VctBuilder vct;
    vct.tsId(1);
    PatBuilder pat;
    pat.tsId(1);
    const std::vector<std::pair<u16, u16>> channels = {{10, 1}, {9, 10}, {9, 2}};
    for (u16 i = 0; i < 3; ++i) {
        VctChannel channel;
        channel.shortName = "C";
        channel.programNumber = static_cast<u16>(i + 1);
        channel.major = channels[i].first;
        channel.minor = channels[i].second;
        pat.program(channel.programNumber, 0x100);
        vct.channel(channel);
    }
    const std::string file = write("a.ts", packetsOf(pat.build(), 0) + packetsOf(vct.build(), 0x1FFB));
    const json services = jsonOf("psitool services --json --sort channel " + file)["services"];
    EXPECT_EQ(services[0]["channel"], "9.2");
    EXPECT_EQ(services[1]["channel"], "9.10");
    EXPECT_EQ(services[2]["channel"], "10.1");
}

Bytes bytesOf32(u32 value)
{
    return {static_cast<u8>(value >> 24), static_cast<u8>(value >> 16), static_cast<u8>(value >> 8),
            static_cast<u8>(value)};
}

/** A/65 6.1. */
Bytes systemTimeSection(u32 seconds, u8 leapSeconds)
{
    return LongSectionBuilder(0xCD).body(Bytes{0} + bytesOf32(seconds) + Bytes{leapSeconds, 0x60, 0}).build();
}

/** An event of half an hour, A/65 6.5, with a title in Latin-1. */
Bytes atscEvent(u32 start, const std::string &title)
{
    const Bytes name(title.begin(), title.end());
    const Bytes text = Bytes{1, 'e', 'n', 'g', 1, 0, 0, static_cast<u8>(name.size())} + name;
    return Bytes{0xC0, 1} + bytesOf32(start) + Bytes{0xC0, 1800 >> 8, 1800 & 0xFF, static_cast<u8>(text.size())} +
           text + Bytes{0xF0, 0};
}

TEST_F(PsitoolServices, EventsOfAtscAreThoseOfTheChannelsSourceAtTheSystemTime)
{
    constexpr u32 noon = 1171195218; // 2017-02-15 12:00:00 UTC and 18 leap seconds
    constexpr u32 halfHour = 1800;
    VctChannel channel;
    channel.shortName = "One";
    channel.programNumber = 3;
    channel.sourceId = 9;
    const Bytes guide =
        LongSectionBuilder(0xCB)
            .idExt(9)
            .body(Bytes{0, 4} + atscEvent(noon + 2 * halfHour, "Later") + atscEvent(noon - halfHour, "Before") +
                  atscEvent(noon, "Noon") + atscEvent(noon + halfHour, "Then"))
            .build();
    const Bytes other = LongSectionBuilder(0xCB).idExt(8).body(Bytes{0, 1} + atscEvent(noon, "Other")).build();
    const Bytes tables = packetsOf(PatBuilder().tsId(1).program(3, 0x100).build(), 0) +
                         packetsOf(VctBuilder().tsId(1).channel(channel).build(), 0x1FFB) +
                         packetsOf(MgtBuilder().table(0x0100, 0x1D00, 0, 100).build(), 0x1FFB) +
                         packetsOf(guide, 0x1D00) + packetsOf(other, 0x1D01);
    const std::string file = write("a.ts", tables + packetsOf(systemTimeSection(noon + 60, 18), 0x1FFB));
    const json service = jsonOf("psitool services --json " + file)["services"][0];
    EXPECT_EQ(service["now"], "Noon");
    EXPECT_EQ(service["now_start"], "2017-02-15 12:00:00 UTC");
    EXPECT_EQ(service["next"], "Then");
    EXPECT_EQ(service["next_start"], "2017-02-15 12:30:00 UTC");
    EXPECT_TRUE(contains(shell("psitool services " + file).out, "now \"Noon\", next \"Then\"\n"));
    const json timeless = jsonOf("psitool services --json " + write("b.ts", tables))["services"][0];
    EXPECT_EQ(timeless["now"], "") << "without a system time nobody knows";
}

TEST_F(PsitoolServices, APlaylistHasWhatAPlayerNeeds)
{
    const std::string file = named({7}, "A \"B\", ");
    EXPECT_EQ(shell("psitool services --format m3u a.ts").out,
              "#EXTM3U\n"
              "#EXTINF:-1 tvg-name=\"A 'B', 7\" group-title=\"P\",A \"B\", 7\n"
              "#EXTVLCOPT:program=7\n" +
                  file + "\n");
    const Result none = shell("psitool services --format m3u - <a.ts");
    EXPECT_EQ(none.status, 2);
    EXPECT_TRUE(contains(none.err, "standard input")) << none.err;
}

TEST_F(PsitoolServices, CsvKeepsCommasAndQuotationMarks)
{
    const std::string text = shell("psitool services --format csv " + named({7}, "A \"B\", ")).out;
    EXPECT_TRUE(contains(text, "\r\n7,,\"A \"\"B\"\", 7\",\"P\",\"digital television\",no,yes,")) << text;
}

} // namespace
