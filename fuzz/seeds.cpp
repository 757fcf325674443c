// Writes the inputs that the fuzzers start from: seeds FOLDER makes FOLDER/TARGET/NAME for every target.
#include "fuzzTarget.h"

#include "scan/scan.h"
#include "support/fullSection.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"
#include "support/searchTest.h"
#include "support/soundHeaders.h"
#include "support/syntaxTree.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

void fuzzOne(Input) {}

namespace {

using psitest::operator+;

namespace fs = std::filesystem;

/** @brief Writes the files of one target. */
class Folder {
public:
    Folder(const fs::path &root, const std::string &target) : path_(root / target) { fs::create_directories(path_); }
    void add(const std::string &name, const Bytes &input) const
    {
        std::ofstream file(path_ / name, std::ios::binary);
        for (const u8 byte : input)
            file.put(static_cast<char>(byte));
    }

private:
    fs::path path_;
};

Bytes word(std::size_t value)
{
    return {static_cast<u8>(value >> 8), static_cast<u8>(value)};
}

Bytes record(u32 psiType, const Bytes &section)
{
    return Bytes{static_cast<u8>(psiType | keepTableId)} + word(section.size()) + section;
}

std::string typeName(u32 psiType)
{
    std::string name = showPsiTypeStr(psiType);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '(' || c == ')'; }, '-');
    return name + std::to_string(psiType);
}

/* ---- runs of bytes ---- */

void crc(const Folder &folder)
{
    for (const std::size_t size : {0U, 1U, 31U, 32U, 35U, 64U, 188U, 255U, 256U, 1024U, 4096U})
        folder.add("run-" + std::to_string(size),
                   Bytes{0xFF, 0xFF, 0xFF, 0xFF, static_cast<u8>(size % 16), 0, 100} + psitest::counting(size));
}

/* ---- packets ---- */

void packets(const Folder &folder)
{
    for (const std::size_t size : {3U, 12U, 183U, 184U, 367U, 1021U, 1024U}) {
        const Bytes section = psitest::sectionOfSize(std::max<std::size_t>(size, 12));
        folder.add("roundtrip-" + std::to_string(size),
                   Bytes{2, 1, 0} + Bytes(section.begin(), section.begin() + static_cast<std::ptrdiff_t>(size)));
    }
    for (const std::size_t size : {1025U, 1400U})
        folder.add("long-" + std::to_string(size), Bytes{3, 14, 2, 0xAA, 0xBB} + psitest::sectionOfSize(size));
    folder.add("raw", Bytes{1} + psitest::packetsOf(psitest::sectionOfSize(300)));
    const Bytes section = psitest::sectionOfSize(20);
    folder.add("composed", Bytes{0, 0, 0x10, 0, 20} + section);
    folder.add("composed-pointer", Bytes{0, 0, 0x10, 2, 22, 0xFF, 0xFF} + section);
    folder.add("composed-adaptation", Bytes{0, 0, 0x30, 0, 10, 20} + section);
    folder.add("composed-counter", Bytes{0, 5, 0x18, 7, 0, 10} + psitest::counting(10) + Bytes{0x08, 9, 3, 1, 2, 3});
    folder.add("composed-two",
               Bytes{0, 15, 0x30, 0, 170, 8} + psitest::sectionOfSize(200) + Bytes{0x10, 4, 2, 0xFF, 0xFF});
    folder.add("composed-wrong-sync", Bytes{0, 0, 0x90, 0, 4, 1, 0xB0, 1, 2, 0, 0x46});
}

/* ---- lists of sections ---- */

const std::vector<Bytes> &options()
{
    static const std::vector<Bytes> all = {{0, 0}, {1, 0}, {3, 0}, {1, 3}, {1, 0x82}, {1, 0x43}};
    return all;
}

void parse(const Folder &folder)
{
    for (const u32 type : psitest::parsedTypes()) {
        for (std::size_t i = 0; i < 3; ++i)
            folder.add(typeName(type) + "-" + std::to_string(i),
                       options()[2 * i] + record(type, psitest::fullSection(type)));
    }
    for (const psitest::TypeFacts &facts : psitest::typesWithTable())
        folder.add(typeName(facts.psiType) + "-sample",
                   options()[0] + record(facts.psiType, psitest::sampleSection(facts.psiType)));
}

/** @brief Two programs with everything that is analysed, twice. */
Bytes dvbSections()
{
    using namespace psitest;
    const Bytes pat = PatBuilder().tsId(9).network(0x10).program(1, 0x100).program(2, 0x101).build();
    const auto pmt = [](u16 program) {
        return PmtBuilder(program)
            .programDescriptor(caDescriptor(0x100, 0x1F0, {1, 2}) + descriptor(0x05, bytesOf("HDMV")))
            .stream(0x1B, 0x200, descriptor(0x52, {1}) + caDescriptor(0x101, 0x1F1))
            .build();
    };
    const Bytes sdt = SdtBuilder()
                          .tsId(9)
                          .service(1, serviceDescriptor(1, "provider", "one") + descriptor(0x5F, {0, 0, 0, 40}))
                          .service(2, serviceDescriptor(2, "", "two"))
                          .build();
    return record(PSI_PAT, pat) + record(PSI_PMT, pmt(1)) + record(PSI_PMT, pmt(2)) + record(PSI_SDT_ACTUAL, sdt) +
           record(PSI_NIT_ACTUAL, sampleSection(PSI_NIT_ACTUAL)) + record(PSI_CAT, sampleSection(PSI_CAT));
}

Bytes atscSections()
{
    using namespace psitest;
    VctChannel channel;
    channel.shortName = "WPSI";
    channel.programNumber = 5;
    channel.sourceId = 7;
    channel.descriptors = descriptor(0xA1, {0, 0});
    const Bytes vct = VctBuilder().channel(channel).additionalDescriptor(descriptor(0xA0, bytesOf("more"))).build();
    return record(PSI_PAT, sampleSection(PSI_PAT)) + record(PSI_PMT, sampleSection(PSI_PMT)) + record(PSI_VCT, vct) +
           record(PSI_MGT, sampleSection(PSI_MGT)) + record(PSI_STT, sampleSection(PSI_STT));
}

void analyse(const Folder &folder)
{
    for (std::size_t i = 0; i < options().size(); ++i) {
        const std::string number = std::to_string(i);
        folder.add("dvb-" + number, options()[i] + dvbSections());
        folder.add("atsc-" + number, options()[i] + atscSections());
        folder.add("dvb-twice-" + number, options()[i] + dvbSections() + dvbSections());
        folder.add("atsc-twice-" + number, options()[i] + atscSections() + atscSections());
    }
}

/* ---- searches ---- */

/** @brief An answer: a section that is made to fit the filter. */
Bytes answer(const Bytes &section)
{
    return Bytes{0x40} + word(section.size()) + section;
}

void search(const Folder &folder)
{
    using namespace psitest;
    constexpr u8 dvb = 4;
    constexpr u8 atsc = 4 | 1 << 3;
    constexpr u8 clear = 5;
    const Bytes dvbTables = answer(PatBuilder().tsId(9).network(0x10).program(5, 0x100).build()) +
                            answer(sampleSection(PSI_PMT)) + answer(sampleSection(PSI_CAT)) +
                            answer(sampleSection(PSI_SDT_ACTUAL)) + answer(sampleSection(PSI_NIT_ACTUAL));
    const Bytes atscTables = answer(sampleSection(PSI_PAT)) + answer(sampleSection(PSI_PMT)) +
                             answer(sampleSection(PSI_CAT)) + answer(sampleSection(PSI_VCT)) +
                             answer(sampleSection(PSI_MGT));
    for (u8 i = 0; i < 2; ++i) {
        const std::string number = std::to_string(i);
        folder.add("dvb-" + number, Bytes{i, 0, dvb} + dvbTables);
        folder.add("atsc-" + number, Bytes{i, 0, atsc} + atscTables);
        folder.add("dvb-again-" + number, Bytes{i, 0, dvb} + dvbTables + Bytes{3} + dvbTables + Bytes{clear});
        folder.add("dvb-failing-" + number, Bytes{i, 7, dvb} + dvbTables);
    }
    for (const TypeFacts &facts : typesWithTable()) {
        const Bytes section = answer(sampleSection(facts.psiType));
        const u8 operation = static_cast<u8>(facts.psiType << 3);
        folder.add("one-" + typeName(facts.psiType), Bytes{0, 0, operation} + section + section);
        folder.add("two-" + typeName(facts.psiType),
                   Bytes{1, 0, 0} + answer(sampleSection(PSI_PAT)) + Bytes{operation, 5, 6, 0x81, 9} + section);
        folder.add("again-" + typeName(facts.psiType),
                   Bytes{1, 0, operation} + section + Bytes{static_cast<u8>(operation | 3)} + section);
    }
}

/* ---- streams ---- */

/** @brief A piece: a section on the PID of that number. */
Bytes sectionPiece(u8 which, u32 psiType, const Bytes &section)
{
    return Bytes{static_cast<u8>(which << 5)} + record(psiType, section);
}

void stream(const Folder &folder)
{
    using namespace psitest;
    const Bytes dvb = sectionPiece(0, PSI_PAT, PatBuilder().tsId(9).network(0x10).program(5, 0x100).build()) +
                      sectionPiece(6, PSI_PMT, sampleSection(PSI_PMT)) +
                      sectionPiece(1, PSI_CAT, sampleSection(PSI_CAT)) +
                      sectionPiece(2, PSI_NIT_ACTUAL, sampleSection(PSI_NIT_ACTUAL)) +
                      sectionPiece(3, PSI_SDT_ACTUAL, sampleSection(PSI_SDT_ACTUAL)) +
                      sectionPiece(3, PSI_BAT, sampleSection(PSI_BAT));
    const Bytes emergency = sectionPiece(5, PSI_EBIT, fullSection(PSI_EBIT)) +
                            sectionPiece(5, PSI_EBCT, fullSection(PSI_EBCT)) +
                            sectionPiece(5, PSI_EBCCT, fullSection(PSI_EBCCT));
    const Bytes atsc =
        sectionPiece(0, PSI_PAT, sampleSection(PSI_PAT)) + sectionPiece(4, PSI_VCT, sampleSection(PSI_VCT)) +
        sectionPiece(4, PSI_MGT, sampleSection(PSI_MGT)) + sectionPiece(4, PSI_STT, sampleSection(PSI_STT));
    const Bytes damage = {0x1E, 1, 2, 3, 4, 5, 6, 7, 0xC1, 0x10, 0, 3, 1, 2, 3, 3, 0, 4};
    for (u8 form = 0; form < 3; ++form) {
        const std::string name = std::to_string(form);
        folder.add("dvb-" + name, Bytes{static_cast<u8>(0x80 | form), 11, 3, 0} + dvb + emergency);
        folder.add("atsc-" + name, Bytes{static_cast<u8>(0x84 | form), 11, 3, 0} + atsc);
        folder.add("damaged-" + name, Bytes{static_cast<u8>(0xC0 | form), 11, 3, 9} + dvb + damage + dvb);
    }
    Bytes raw;
    for (int i = 0; i < 3; ++i)
        raw = raw + packetsOf(sampleSection(PSI_PAT), 0, static_cast<u8>(i));
    folder.add("raw", Bytes{0x43, 5} + raw);
}

/** @brief The streams again, behind what the collector's target has in front. */
void collector(const fs::path &root, const Folder &folder)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(root / "stream")) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        const Bytes rest(bytes.begin() + 2, bytes.end());
        const u8 options = static_cast<u8>(bytes[0] & 3);
        folder.add("piped-" + entry.path().filename().string(), Bytes{options, 2, 5} + rest);
        folder.add("sent-" + entry.path().filename().string(), Bytes{static_cast<u8>(options | 0x40), 2, 5} + rest);
    }
}

void inputs(const Folder &folder)
{
    using psitest::bytesOf;
    const std::vector<std::string> urls = {"239.1.1.1:5000",      "10.0.0.1@232.1.1.1:5000?iface=eth0&ttl=4",
                                           "[ff02::1%eth0]:5004", ":0",
                                           "host?ttl=0",          "[::1:5"};
    for (std::size_t i = 0; i < urls.size(); ++i)
        folder.add("url-" + std::to_string(i), Bytes{0, static_cast<u8>(i & 1)} + bytesOf(urls[i]));
    for (const char *number : {"0x1FFF", "4294967296", "0.5", "38.015M", "1e5", "864000"})
        folder.add("number-" + std::string(number), Bytes{1} + bytesOf(number));
    const std::vector<std::string> words = {"10\x1Fname=News\x1Ftype=0x19",
                                            "10",
                                            "Network",
                                            "5=Bouquet",
                                            "5\x1F"
                                            "descriptor=4100",
                                            "3\x1Fremove",
                                            "0x100=0x200",
                                            "pmt[10].streams[+]={\"stream_type\": 134}",
                                            "500"};
    for (std::size_t i = 0; i < words.size(); ++i)
        folder.add("edit-" + std::to_string(i),
                   Bytes{2, static_cast<u8>(i), static_cast<u8>(words[i].size())} + bytesOf(words[i]));
    folder.add("arguments", Bytes{3, 5, 19, 'i', 'n', '.', 0, 4, 3, 1, 4, 18, '-', 'o'});
    folder.add("disorder", Bytes{4, 0xFF, 0xFE, 30} + psitest::counting(30, 0x78));
    for (u8 form = 0; form < 3; ++form)
        folder.add("framing-" + std::to_string(form), Bytes{5, form, 1, 44, 9, 50} + psitest::counting(50));
}

void paths(const Folder &folder)
{
    const Bytes sdt = psitest::fullSection(PSI_SDT_ACTUAL);
    const Bytes pmt = psitest::fullSection(PSI_PMT);
    const auto add = [&folder](const std::string &name, const Bytes &section, const std::string &assignment) {
        folder.add(name, word(section.size()) + section + psitest::bytesOf(assignment));
    };
    add("dotted", sdt, "sdt.services[0].running_status=4");
    add("pointer", sdt, "/sdt/services/0/descriptors/0/service_name=A");
    add("selected", sdt, "sdt.services[service_id=1].service.service_type=0x19");
    add("taken-out", sdt, "sdt.services[*].descriptors[#0]=null");
    add("added", pmt, "pmt.streams[+]={\"stream_type\": 134, \"elementary_PID\": 500}");
    add("by-tag", pmt, "pmt.streams[0].descriptors[0x0A#1].languages[0].code=fra");
    add("no-such", pmt, "pmt.streem[0].stream_type=H.265 video");
}

/* ---- what psitool prints ---- */

void describe(const Folder &folder)
{
    using psitest::bytesOf;
    folder.add("text-latin", Bytes{0} + bytesOf("T\xC2\x65l\xC2\x65 \x86one\x87"));
    folder.add("text-cyrillic", Bytes{0, 0x01, 0xB0, 0xB1, 0xB2});
    folder.add("text-iso", Bytes{0, 0x10, 0x00, 0x02, 0xE8, 0xE9});
    folder.add("text-utf8", Bytes{0, 0x15} + bytesOf("caf\xC3\xA9"));
    folder.add("text-utf16", Bytes{0, 0x11, 0x04, 0x10, 0xD8, 0x3D, 0xDE, 0x00});
    folder.add("units", Bytes{1, 0, 'W', 0, 'P', 0xD8, 0x00, 0, 0});
    folder.add("multiple", Bytes{2, 1} + bytesOf("eng") + Bytes{2, 0, 0, 2, 'o', 'k', 1, 0, 1, 5});
    folder.add("ascii", Bytes{3} + bytesOf("HDMV\x01"));
    for (unsigned tag = 0; tag < 256; ++tag) {
        const Bytes head = {static_cast<u8>(tag), 0, 0, 0, 0, 0, 0, 0, 0};
        folder.add("descriptor-" + std::to_string(tag), Bytes{4} + head + psitest::counting(12, 1));
        if (tag >= 0x40)
            folder.add("dvb-" + std::to_string(tag), Bytes{6} + head + bytesOf("eng\x02xyfra\x01zdeu\x03"));
        if (tag >= 0x80)
            folder.add("atsc-" + std::to_string(tag), Bytes{5} + head +
                                                          bytesOf("\x01"
                                                                  "eng\x01\x02"));
    }
}

void show(const Folder &folder)
{
    folder.add("dvb", options()[0] + dvbSections());
    folder.add("atsc", options()[1] + atscSections());
    for (const u32 type : psitest::parsedTypes())
        folder.add(typeName(type), options()[0] + record(type, psitest::fullSection(type)));
}

/* ---- generation ---- */

void make(const Folder &folder)
{
    // The same seeds in every build. NOLINTNEXTLINE(cert-msc32-c,cert-msc51-cpp)
    std::mt19937 random(5);
    for (u8 options = 0; options < 8; ++options) {
        for (const u8 failingCall : Bytes{0, 5, 0x47}) {
            Bytes numbers(400);
            std::generate(numbers.begin(), numbers.end(), [&random] { return static_cast<u8>(random()); });
            folder.add("random-" + std::to_string(options) + "-" + std::to_string(failingCall),
                       Bytes{options, failingCall} + numbers);
        }
    }
}

void remake(const Folder &folder)
{
    constexpr std::array<u32, 3> types = {PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_BAT};
    const Bytes small = {3, 3, 0x41, 5, 1, 0, 7, 5, 9, 9};
    Bytes large = {6};
    for (u8 i = 0; i < 6; ++i)
        large = large + Bytes{0x85, i, 250};
    for (u8 i = 0; i < 3; ++i) {
        const Bytes section = record(types[i], psitest::fullSection(types[i]));
        const std::string name = typeName(types[i]);
        folder.add(name + "-small", Bytes{i, 0} + small + section);
        folder.add(name + "-split", Bytes{i, 0} + large + section);
        folder.add(name + "-rebuilt", Bytes{i, 0} + large + section + section + section);
        folder.add(name + "-failing", Bytes{i, 30} + large + section + section);
        folder.add(name + "-numbers", Bytes{static_cast<u8>(i | 0x40), 0} + large + section + section);
    }
}

/** @brief What psitool scan would write. */
Bytes jsonOf(const Bytes &sections)
{
    psitest::LooseModel model;
    Input input(sections.data(), sections.size());
    while (input.left() > recordHeader) {
        const SectionRecord record = takeSection(input);
        analysePsi(model.get(), psitest::storeSection(&model->sectionList, record.psiType, record.bytes), 0);
        model->tableMask |= 1U << record.psiType;
    }
    psitool::ScanInput scanned;
    scanned.name = "seed";
    const std::string text = psitool::scanJson({scanned, psitool::ModelView(*model.get()), nullptr});
    return psitest::bytesOf(nlohmann::json::parse(text).dump()); // without the blanks
}

/** Codec, channels of Opus, size of a packet's payload, then a PES packet. */
void formats(const Folder &folder)
{
    using namespace psitest;
    using psi::demux::Codec;
    const auto add = [&](const std::string &name, Codec codec, const Bytes &frames) {
        const Bytes pes = {0, 0, 1, 0xC0, 0, 0, 0x80, 0, 0};
        folder.add(name, Bytes{static_cast<u8>(codec), 6, 183} + pes + frames + frames + frames);
    };
    const Bytes dependent = enhancedFrame({1, 0, 2, false, 0x0200, 64});
    add("eac3-dependent", Codec::ac3, enhancedFrame({0, 0, 7, true, -1, 64}) + dependent + dependent);
    add("eac3-programs", Codec::ac3, enhancedFrame({0, 0, 0, false, -1, 64}) + enhancedFrame({0, 1, 2, false, -1, 64}));
    add("dts", Codec::dts, dtsFrame({true, 9, 13, 0, 2, 96}));
    add("dts-hd", Codec::dts, dtsFrame({true, 9, 13, -1, 2, 96}) + dtsExtension(64) + dtsExtension(64, true));
    add("ac4", Codec::ac4, ac4Frame(ac4Contents("1110 1 0"), 64));
    add("ac4-groups", Codec::ac4, ac4Frame(ac4GroupContents("1111001 0", 10), 64, true));
    add("opus", Codec::opus, opusUnit(70, 7));
    add("opus-long", Codec::opus, opusUnit(300));
}

void json(const Folder &folder)
{
    folder.add("dvb", Bytes{0} + jsonOf(dvbSections()));
    folder.add("atsc", Bytes{0} + jsonOf(atscSections()));
    folder.add("dvb-as-atsc", Bytes{2} + jsonOf(dvbSections()));
    folder.add("bat", Bytes{1} + jsonOf(record(PSI_BAT, psitest::sampleSection(PSI_BAT))));
    folder.add("empty", Bytes{0} + psitest::bytesOf("{\"transport_stream\": {}}"));
}

} // namespace

void writeSeeds(const fs::path &root)
{
    crc({root, "crc"});
    packets({root, "packets"});
    parse({root, "parse"});
    analyse({root, "analyse"});
    search({root, "search"});
    stream({root, "stream"});
    collector(root, {root, "collector"});
    inputs({root, "inputs"});
    paths({root, "paths"});
    describe({root, "describe"});
    show({root, "show"});
    make({root, "make"});
    remake({root, "remake"});
    json({root, "json"});
    formats({root, "formats"});
}

} // namespace psifuzz

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: seeds FOLDER\n", stderr);
        return 2;
    }
    if (!psifuzz::initialisePsi())
        return 1;
    setPsiSchRPTLevel(0);
    psifuzz::writeSeeds(argv[1]);
    return 0;
}
