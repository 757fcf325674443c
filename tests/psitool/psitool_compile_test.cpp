#include "programFixture.h"

#include "support/fullSection.h"
#include "support/packetBuilder.h"
#include "support/sectionBuilder.h"

namespace {

using namespace psitest;
using nlohmann::json;

class PsitoolCompile : public PsitoolTest {
protected:
    /** What tables prints of the sections, each in a file of its own. */
    json printed(const std::vector<Bytes> &sections) const
    {
        std::string arguments;
        for (std::size_t i = 0; i < sections.size(); ++i)
            arguments += " --section " + write(std::to_string(i) + ".bin", sections[i]);
        return json::parse(shell("psitool tables --json" + arguments).out);
    }
    Result compiled(const json &document, const std::string &options = "") const
    {
        return shell("psitool compile " + write("in.json", bytesOf(document.dump())) + " " + options + " -o out.bin");
    }
    /** The bytes that came out; status and standard error say that all is well. */
    std::string outOf(const json &document, const std::string &options = "") const
    {
        const Result result = compiled(document, options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(result.err, "");
        return contentOf((folder / "out.bin").string());
    }
    void expectRefused(const json &document, const std::string &message) const
    {
        const Result result = compiled(document);
        EXPECT_EQ(result.status, 3);
        EXPECT_TRUE(contains(result.err, message)) << result.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "out.bin"));
    }
};

std::string textOf(const Bytes &bytes)
{
    return {bytes.begin(), bytes.end()};
}

Bytes pmt()
{
    return PmtBuilder(10).pcrPid(0x101).stream(0x1B, 0x101).stream(0x04, 0x102).build();
}

TEST_F(PsitoolCompile, UneditedSectionsComeBackBitForBit)
{
    Bytes wrong = pmt();
    wrong.back() ^= 1;
    const std::vector<Bytes> sections = {PatBuilder().program(10, 0x100).build(), pmt(), wrong, fullSection(PSI_EBIT),
                                         fullSection(PSI_NIT_OTHER)};
    std::string all;
    for (const Bytes &section : sections)
        all += textOf(section);
    EXPECT_EQ(outOf(printed(sections)), all);
}

TEST_F(PsitoolCompile, EditedFieldWinsOverTheDataThatIsAsOldAsItWas)
{
    json document = printed({pmt()});
    document["sections"][0]["tree"]["streams"][1]["elementary_PID"] = 0x1FF;
    const Bytes edited = PmtBuilder(10).pcrPid(0x101).stream(0x1B, 0x101).stream(0x04, 0x1FF).build();
    EXPECT_EQ(outOf(document), textOf(edited));
}

TEST_F(PsitoolCompile, DataThatWasEditedBesidesTheTreeIsAContradiction)
{
    json document = printed({pmt()});
    document["sections"][0]["tree"]["PCR_PID"] = 0x1FF;
    std::string data = document["sections"][0]["data"];
    data[20] = data[20] == '0' ? '1' : '0';
    document["sections"][0]["data"] = data;
    expectRefused(document, "/sections/0: \"tree\" and \"data\" contradict each other");
}

TEST_F(PsitoolCompile, OfATextAndItsBytesTheEditedOneCounts)
{
    // Not what would be written for the text: the bytes stand beside it.
    const auto sdtNamed = [](u8 last) {
        return SdtBuilder().service(10, {0x48, 0x08, 0x01, 0x00, 0x05, 0x10, 0x00, 0x09, 'A', last}).build();
    };
    const Bytes sdt = sdtNamed(0xDE);    // "Ş" of ISO 8859-9
    const Bytes wanted = sdtNamed(0xD0); // "Ğ"
    const json asItWas = printed({sdt});
    const auto edited = [&](const auto &change) {
        json document = asItWas;
        change(document["sections"][0]["tree"]["services"][0]["descriptors"][0]["fields"]);
        return document;
    };
    EXPECT_EQ(outOf(edited([](json &fields) { fields["service_name"] = "AĞ"; })), textOf(wanted));
    EXPECT_EQ(outOf(edited([](json &fields) { fields["service_name_bytes"] = "10000941d0"; })), textOf(wanted));
    std::filesystem::remove(folder / "out.bin");
    expectRefused(
        edited([](json &fields) {
            fields["service_name"] = "ABC";
            fields["service_name_bytes"] = "10000941d0";
        }),
        "/sections/0/tree/services/0/descriptors/0/fields/service_name: and \"service_name_bytes\" contradict "
        "each other, and both were edited: leave one out");
}

TEST_F(PsitoolCompile, WhatOnlySaysTheSameAgainIsToldWhenItSaysSomethingElse)
{
    const json asItWas = printed({PmtBuilder(10).stream(0x04, 0x102, {0x0A, 0x04, 'e', 'n', 'g', 0}).build()});
    const auto expectTold = [&](const std::string &line, const auto &change) {
        json document = asItWas;
        change(document["sections"][0]);
        const Result result = compiled(document);
        EXPECT_EQ(result.status, 0);
        EXPECT_TRUE(line.empty() ? result.err.empty() : contains(result.err, line)) << result.err;
    };
    expectTold("", [](json &section) { // what the number meant before is nobody's mistake
        json &stream = section["tree"]["streams"][0];
        stream["stream_type"] = 3;
        stream["descriptors"][0]["tag"] = 0x52;
        stream["descriptors"][0]["fields"] = {{"component_tag", 7}};
        stream["descriptors"][0].erase("data");
    });
    expectTold(
        "/sections/0/tree/streams/0/descriptors/0/fields/languages/0/audio_type_name: \"clean effects\" is not what 0 "
        "means: the number is taken\n",
        [](json &section) {
            section["tree"]["streams"][0]["descriptors"][0]["fields"]["languages"][0]["audio_type_name"] =
                "clean effects";
        });
    expectTold(
        "/sections/0/tree/streams/0/descriptors/0/name: \"service_descriptor\" has the tag 72: \"tag\" is taken\n",
        [](json &section) { section["tree"]["streams"][0]["descriptors"][0]["name"] = "service_descriptor"; });
    expectTold("/sections/0/table: \"CAT\" is not what its table_id says, which is \"PMT\": the table_id is taken\n",
               [](json &section) { section["table"] = "CAT"; });
}

TEST_F(PsitoolCompile, ACountThatContradictsItsListIsTold)
{
    const Bytes captions = descriptor(0x86, {0xC1, 'e', 'n', 'g', 0xC1, 0x3F, 0xFF});
    const json asItWas = printed({MgtBuilder().table(0, 0x1FFB, 1, 100, captions).build()});
    const auto expectTold = [&](const std::vector<std::string> &lines, const auto &change) {
        json document = asItWas;
        change(document["sections"][0]);
        const Result result = compiled(document);
        std::string all;
        for (const std::string &line : lines)
            all += "psitool: " + (folder / "in.json").string() + ": /sections/0/tree/" + line + ": the list is taken\n";
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, all);
    };
    const auto byHand = [](json &section) {
        section.erase("data");
        section["tree"]["tables"][0]["descriptors"][0].erase("data");
    };
    const std::string tables = "tables_defined: 2 is not how many \"tables\" has, which is 1";
    expectTold({}, [](json &) {});
    expectTold({}, byHand);
    expectTold({}, [](json &section) { section["tree"]["tables"].push_back(section["tree"]["tables"][0]); });
    expectTold({tables}, [](json &section) { section["tree"]["tables_defined"] = 2; });
    expectTold(
        {tables, "tables/0/descriptors/0/fields/number_of_services: 3 is not how many \"services\" has, which is 1"},
        [&](json &section) {
            byHand(section);
            section["tree"]["tables_defined"] = 2;
            section["tree"]["tables"][0]["descriptors"][0]["fields"]["number_of_services"] = 3;
        });
}

TEST_F(PsitoolCompile, AMemberThatLooksLikeASlipIsTold)
{
    json document = printed({pmt()});
    document["comment"] = "mine";
    document["sections"][0]["comment"] = "mine";
    EXPECT_EQ(compiled(document).err, "");
    document["standrad"] = "dvb";
    document["sections"][0]["pdi"] = 300;
    const std::string told = compiled(document).err;
    EXPECT_TRUE(contains(told, "/standrad: is passed over; the nearest is \"standard\"\n")) << told;
    EXPECT_TRUE(contains(told, "/sections/0/pdi: is passed over; the nearest is \"pid\"\n")) << told;
}

TEST_F(PsitoolCompile, ADurationIsAClockOrAsIso8601HasIt)
{
    const json event = {{"event_id", 1},         {"start_time", "2024-02-29T20:15:00Z"},
                        {"duration", "PT1H30M"}, {"running_status", 0},
                        {"free_CA_mode", 0},     {"descriptors", json::array()}};
    const auto withDuration = [&](const char *duration) {
        json one = event;
        one["duration"] = duration;
        return json{{"table_id", 0x4E},
                    {"service_id", 1},
                    {"transport_stream_id", 2},
                    {"original_network_id", 3},
                    {"segment_last_section_number", 0},
                    {"last_table_id", 0x4E},
                    {"events", {one}}};
    };
    const auto same = [&](const char *a, const char *b) { EXPECT_EQ(outOf(withDuration(a)), outOf(withDuration(b))); };
    same("PT1H30M", "01:30:00");
    same("PT90M", "01:30:00");
    same("PT5S", "00:00:05");
    same("PT99H59M59S", "99:59:59");
    for (const char *wrong : {"PT", "PT1", "PT1M1H", "PT100H", "PT1.5H", "P1D", "PTH", "PT1H1H", "PT9999999S"})
        EXPECT_TRUE(contains(compiled(withDuration(wrong)).err, "is not a duration such as")) << wrong;
}

TEST_F(PsitoolCompile, ASectionThatIsTooLongForItsTableIsToldUnlessItCameSo)
{
    PmtBuilder builder(10);
    for (u16 i = 0; i < 202; ++i)
        builder.stream(0x1B, static_cast<u16>(0x100 + i));
    json document = printed({builder.build()});
    EXPECT_EQ(compiled(document).err, "");
    json &tree = document["sections"][0]["tree"];
    tree["version_number"] = 7;
    EXPECT_TRUE(
        contains(compiled(document).err, "/sections/0: 1026 bytes are more than the 1024 of a section of the PMT\n"));
    tree["streams"].erase(0);
    EXPECT_EQ(compiled(document).err, "");
}

TEST_F(PsitoolCompile, LengthsCrcNamesAndWhatIsForReadingMayBeLeftOut)
{
    const json document = json::parse(R"({"sections": [{"pid": 256, "tree": {
        "table_id": 2, "program_number": 10, "PCR_PID": 257, "descriptors": [],
        "streams": [{"stream_type": "H.264 video", "elementary_PID": 257, "descriptors": []},
                    {"stream_type": 4, "elementary_PID": 258, "descriptors": []}]}}]})");
    EXPECT_EQ(outOf(document), textOf(pmt()));
}

TEST_F(PsitoolCompile, TreeAloneIsADocument)
{
    const json tree = {{"table_id", 0},
                       {"transport_stream_id", 1},
                       {"programs", {{{"program_number", 10}, {"program_map_PID", 0x100}}}}};
    EXPECT_EQ(outOf(tree), textOf(PatBuilder().tsId(1).program(10, 0x100).build()));
}

TEST_F(PsitoolCompile, StreamHasTheSectionsOnTheirPidsAndCountersThatRunOn)
{
    json document = printed({PatBuilder().program(10, 0x100).build(), pmt(), pmt()});
    for (json &section : document["sections"])
        section.erase("pid");
    const std::string packets = outOf(document, "--ts");
    ASSERT_EQ(packets.size(), 3u * 188u);
    EXPECT_EQ(packets.substr(188, 4), std::string("\x47\x41\x00\x10", 4));
    EXPECT_EQ(packets.substr(376, 4), std::string("\x47\x41\x00\x11", 4));
}

TEST_F(PsitoolCompile, PackedSectionsOfAPidShareItsPackets)
{
    json document = printed({PatBuilder().program(10, 0x100).build(), pmt(), pmt()});
    for (json &section : document["sections"])
        section.erase("pid");
    const std::string packets = outOf(document, "--ts --packed");
    const std::string section = textOf(pmt());
    ASSERT_EQ(packets.size(), 2u * 188u);
    EXPECT_EQ(packets.substr(188, 5), std::string("\x47\x41\x00\x10\x00", 5));
    EXPECT_EQ(packets.substr(193, 2 * section.size()), section + section);
    EXPECT_EQ(packets.substr(193 + 2 * section.size()), std::string(183 - 2 * section.size(), '\xFF'));
}

/** Sections of every size, so that they begin and end anywhere in packets. */
TEST_F(PsitoolCompile, PackedSectionsOfAnySizeAreFoundAgain)
{
    std::vector<Bytes> sections;
    for (u16 program = 1; program <= 400; ++program) {
        PmtBuilder builder(program);
        builder.stream(0x1B, 0x200, descriptor(0x05, Bytes(4 + program % 200, 0x41)));
        sections.push_back(builder.build());
    }
    json document = printed(sections);
    for (json &section : document["sections"])
        section["pid"] = 0x100;
    const std::string packets = outOf(document, "--ts --packed");
    const std::string file = write("packed.ts", Bytes(packets.begin(), packets.end()));
    const json found = jsonOf("psitool tables --json --pid 0x100 " + file)["sections"];
    ASSERT_EQ(found.size(), sections.size());
    std::size_t bytes = 0;
    for (const json &section : found)
        bytes += section["size"].get<std::size_t>();
    EXPECT_LE(packets.size(), (bytes + bytes / 90) / 184 * 188 + 188)
        << "nothing but headers and pointers between them";
}

struct RefusedCase {
    const char *pointer;
    json value;
    const char *message;
};

void PrintTo(const RefusedCase &refused, std::ostream *out)
{
    *out << refused.pointer << " " << refused.value.dump();
}

class PsitoolCompileRefused : public PsitoolCompile, public testing::WithParamInterface<RefusedCase> {};

TEST_P(PsitoolCompileRefused, IsToldWithItsPlaceAndNothingIsWritten)
{
    json document = printed({pmt()});
    document["sections"][0]["tree"][json::json_pointer(GetParam().pointer)] = GetParam().value;
    expectRefused(document, "/sections/0/tree" + std::string(GetParam().pointer) + ": " + GetParam().message);
}

const RefusedCase refusedCases[] = {
    {"/PCR_PID", 8192, "8192 is not a whole number of 0 to 8191"},
    {"/PCR_PID", -1, "-1 is not a whole number of 0 to 8191"},
    {"/PCR_PID", 1.5, "1.5 is not a whole number"},
    {"/PCR_PID", "257", "\"257\" is no name of a value"},
    {"/PCR_PID", true, "true is not a whole number"},
    {"/PCR_PID", nullptr, "null is not a whole number"},
    {"/streams/0/stream_type", "H.269 video", "\"H.269 video\" is no name of a value; the nearest is"},
    {"/streams/0/elementary_PIDD", 1, "no such field; the nearest is \"elementary_PID\""},
    {"/streams", 7, "is not a list of objects"},
    {"/streams", {7}, "is not a list of objects"},
};

INSTANTIATE_TEST_SUITE_P(Values, PsitoolCompileRefused, testing::ValuesIn(refusedCases));

TEST_F(PsitoolCompile, HostileJsonIsToldWithItsPlace)
{
    const auto refusal = [&](const std::string &text) {
        const Result result = shell("psitool compile " + write("in.json", bytesOf(text)) + " -o out.bin");
        EXPECT_EQ(result.status, 3);
        return result.err;
    };
    EXPECT_TRUE(contains(refusal("{\"sections\": [{\"tree\": {\"a\": 1, \"a\": 2}}]}"),
                         "/sections/0/tree/a: this key is there twice"));
    EXPECT_TRUE(contains(refusal("{\n  \"sections\": [}\n}"), "line 2, column"));
    EXPECT_TRUE(contains(refusal(std::string(100000, '[')), "more than 64 levels"));
    EXPECT_TRUE(contains(refusal("{\"table_id\": 99999999999999999999999}"), "/table_id: 99999999999999999999999 is"));
}

TEST_F(PsitoolCompile, AListThatHasAtLeastOneEntryAndBytesThatANumberCountsAreHeldToThat)
{
    const Bytes scene = {0x0A, 0x5F, 7, 0xE1, 0xC3, 0xE1, 0x82, 0x83, 0x82};
    const Bytes subregion = {0x13, 0x8F, 32, 90, 0x85, 1, 60, 7, 0x80, 4, 0x38, 0x81, 0xFF, 1};
    json document =
        printed({PmtBuilder(10).stream(0x2D, 0x102, descriptor(0x3F, scene) + descriptor(0x3F, subregion)).build()});
    document["sections"][0].erase("data");
    json &descriptors = document["sections"][0]["tree"]["streams"][0]["descriptors"];
    for (json &one : descriptors)
        one.erase("data");
    const json asItWas = document;
    json &group = descriptors[0]["fields"]["switch_groups"][0];
    group["members"].push_back(group["members"][0]);
    group.erase("mae_bsSwitchGroupNumMembers");
    const Bytes wanted = {0xC3, 0xE2, 0x82, 0x83, 0x82, 0x82};
    EXPECT_TRUE(contains(outOf(document), textOf(wanted)));
    std::filesystem::remove(folder / "out.bin");
    group["members"].clear();
    expectRefused(document, "/switch_groups/0/members: has no entries, and has at least one");
    document = asItWas;
    document["sections"][0]["tree"]["streams"][0]["descriptors"][1]["fields"]["layouts"][0]["SubstreamCountMinus1"] = 2;
    expectRefused(document, "/layouts/0/patterns/0/SubstreamOffset: has 2 bytes in place of the 3 that "
                            "\"SubstreamCountMinus1\" says");
}

TEST_F(PsitoolCompile, SectionsThatAreNoListAreToldByThatName)
{
    for (const json &sections : {json(5), json::object(), json::array({5})})
        expectRefused({{"sections", sections}}, "/sections: is not a list of sections");
}

TEST_F(PsitoolCompile, ANumberIsNoText)
{
    json document = printed({SdtBuilder().service(1, descriptor(0x48, Bytes{1, 1, 'P', 1, 'S'})).build()});
    const json::json_pointer fields("/sections/0/tree/services/0/descriptors/0/fields");
    document[fields]["service_name"] = 24;
    expectRefused(document, fields.to_string() + "/service_name: is a number, not a text; \"24\" is one");
    document[fields]["service_name"] = "24";
    outOf(document, "");
}

TEST_F(PsitoolCompile, ATextWithANulIsToldWhole)
{
    json document = printed({SdtBuilder().service(1, descriptor(0x48, Bytes{1, 1, 'P', 1, 'S'})).build()});
    const json::json_pointer fields("/sections/0/tree/services/0/descriptors/0/fields");
    document[fields]["service_name"] = std::string("a\0b", 3);
    expectRefused(document, "b\" is not a text without control characters");
}

TEST_F(PsitoolCompile, ADescriptorsNameThatIsMisspeltIsToldWithTheNearest)
{
    json document = printed({pmt()});
    json &tree = document["sections"][0]["tree"];
    tree["descriptors"] = {{{"name", "ISO_639_langage_descriptor"}, {"fields", {{"languages", json::array()}}}}};
    expectRefused(document, "/sections/0/tree/descriptors/0/name: \"ISO_639_langage_descriptor\" is no descriptor that "
                            "is known here; the nearest is \"ISO_639_language_descriptor\"");
}

TEST_F(PsitoolCompile, TheNameOfAnExtendedDescriptorSaysItsTagExtension)
{
    const json fields = {{"mix_type", 1}, {"editorial_classification", 1}};
    for (const char *name :
         {"supplementary_audio_descriptor", "extension_descriptor: supplementary_audio_descriptor"}) {
        const json tree = {{"table_id", 2},
                           {"program_number", 1},
                           {"PCR_PID", 257},
                           {"descriptors", {{{"name", name}, {"fields", fields}}}}};
        const Result made = shell("psitool compile " + write("in.json", bytesOf(tree.dump())) + " -o out.bin");
        EXPECT_EQ(made.err, "");
        EXPECT_EQ(
            contentOf((folder / "out.bin").string()),
            textOf(PmtBuilder(1).version(0).pcrPid(257).programDescriptor(descriptor(0x7F, {0x06, 0x86})).build()));
    }
}

TEST_F(PsitoolCompile, CheckTellsWhichSectionsWereEdited)
{
    json document = printed({PatBuilder().program(10, 0x100).build(), pmt()});
    document["sections"][1]["tree"]["PCR_PID"] = 0x1FF;
    const Result result = shell("psitool compile " + write("in.json", bytesOf(document.dump())) + " --check");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(contains(result.out, "/sections/1 (PMT): changed, now ")) << result.out;
    EXPECT_TRUE(contains(result.out, "1 of 2 sections would not be as before")) << result.out;
}

/** Documents as YAML, where the program was built with a library for it. */
class PsitoolYaml : public PsitoolCompile {
protected:
    void SetUp() override
    {
        PsitoolCompile::SetUp();
        if (contains(shell("psitool tables --yaml none.ts").err, "built without"))
            GTEST_SKIP() << "this psitool reads no YAML";
    }
    void expectYamlRefused(const std::string &yaml, const std::string &message) const
    {
        write("in.yaml", bytesOf(yaml));
        const Result result = shell("psitool compile in.yaml -o out.bin");
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.err, "psitool: in.yaml: " + message + "\n");
        EXPECT_FALSE(std::filesystem::exists(folder / "out.bin"));
    }
};

TEST_F(PsitoolYaml, SectionsComeBackBitForBit)
{
    Bytes wrong = pmt();
    wrong.back() ^= 1;
    const Bytes sdt =
        SdtBuilder().service(1, descriptor(0x48, Bytes{1, 4} + bytesOf("null") + Bytes{6} + bytesOf("012: #"))).build();
    std::string all;
    std::string files;
    for (const Bytes &section : {pmt(), wrong, fullSection(PSI_EBIT), fullSection(PSI_NIT_OTHER), sdt}) {
        files += " --section " + write(std::to_string(all.size()) + ".bin", section);
        all += textOf(section);
    }
    const Result yaml = shell("psitool tables --yaml" + files);
    EXPECT_EQ(yaml.status, 0) << yaml.err;
    EXPECT_TRUE(contains(yaml.out, "service_name: \"012: #\"")) << yaml.out;
    write("t.yaml", bytesOf(yaml.out));
    const Result made = shell("psitool compile t.yaml -o out.bin");
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(contentOf((folder / "out.bin").string()), all);
    EXPECT_EQ(shell("psitool compile --check t.yaml").out, "0 of 5 sections would not be as before\n");
}

TEST_F(PsitoolYaml, ATreeIsWrittenByHand)
{
    write("pmt.yml", bytesOf("# a PMT\ntable_id: 0x02\nprogram_number: 10\nPCR_PID: 257\ndescriptors: []\nstreams:\n"
                             "  - {stream_type: H.264 video, elementary_PID: 0x101, descriptors: []}\n"
                             "  - stream_type: 4\n    elementary_PID: 258\n    descriptors: []\n"));
    const Result made = shell("psitool compile pmt.yml -o out.bin");
    EXPECT_EQ(made.err, "");
    EXPECT_EQ(contentOf((folder / "out.bin").string()), textOf(pmt()));
}

TEST_F(PsitoolYaml, WhatCannotBeUsedIsToldWithItsPlace)
{
    expectYamlRefused("table_id: \"0\"\n", "/table_id: not a whole number of 0 to 255");
    expectYamlRefused("table_id: 0\ntable_id: 0\n", "/table_id: this key is there twice");
    expectYamlRefused("a: &x [1]\nb: *x\n", "line 2, column 4: aliases are not taken");
    expectYamlRefused("? [1]\n: 2\n", "line 1, column 3: a key is a text");
    expectYamlRefused("a: 1\n---\nb: 2\n", "line 2, column 1: there is a document already");
    expectYamlRefused("a: [1\n", "line 2, column 1: end of sequence flow not found");
    std::string deep;
    for (int level = 0; level < 65; ++level)
        deep += "- ";
    expectYamlRefused(deep + "1\n", "line 1, column 129: more than 64 levels");
}

TEST_F(PsitoolCompile, OutputIsRequired)
{
    const Result result = shell("psitool compile " + write("in.json", bytesOf("{}")));
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(contains(result.err, "--output")) << result.err;
}

} // namespace
