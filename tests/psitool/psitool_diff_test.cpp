// psitool diff as a user starts it: streams, files of sections and JSON against each other.
#include "editFixture.h"

#include <fstream>

namespace {

using namespace editing;

class PsitoolDiff : public PsitoolEdit {
protected:
    /** What an edit of the example changed. */
    Result differenceOf(const std::string &arguments, const std::string &options = "") const
    {
        edited(example, arguments);
        return shell("psitool diff " + options + " " + example + " out.ts");
    }
    std::string file(const std::string &name, const Bytes &sections) const { return write(name, sections); }
};

TEST_F(PsitoolDiff, AnInputIsTheSameAsItself)
{
    const Result result = shell("psitool diff " + example + " " + example);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "");
}

TEST_F(PsitoolDiff, ChangedFieldsAreToldByTheirPaths)
{
    const Result result =
        differenceOf("--service 20 name='Kino Zwei' --network-name Other --set 'pmt[30].PCR_PID=0x1FFE'");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.substr(result.out.find("\n\n")),
              "\n\nPMT 0x001E (30)\n"
              "  version_number: 0 -> 1\n"
              "  PCR_PID: 0x0207 (519) -> 0x1FFE (8190)\n"
              "\nNIT actual 0xFF01 (65281)\n"
              "  version_number: 0 -> 1\n"
              "  network_name_descriptor.name: \"Example Broadcasting\" -> \"Other\"\n"
              "\nSDT actual 0x0101 (257)\n"
              "  version_number: 0 -> 1\n"
              "  services[service_id=0x0014].service_descriptor.service_name: \"Cinéma Deux\" -> \"Kino Zwei\"\n");
}

TEST_F(PsitoolDiff, APathIsWhatEditTakes)
{
    const Result result = differenceOf("--set 'pmt[20].streams[1].ISO_639_language_descriptor.languages[0].code=deu'");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(contains(result.out, "  streams[elementary_PID=0x0205].ISO_639_language_descriptor.languages["))
        << result.out;
    const Result back = shell("psitool edit out.ts -o back.ts --set 'pmt[20].streams[elementary_PID=0x0205]"
                              ".ISO_639_language_descriptor.languages[0].ISO_639_language_code=fra' "
                              "--set 'pmt[20].version_number=0'");
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(shell("psitool diff back.ts " + example).status, 0);
}

TEST_F(PsitoolDiff, EntriesAndTablesThatOnlyOneHasAreTold)
{
    const Bytes one = writtenSdt(3)
                          .service(writtenService(1, serviceDescriptor(1, "P", "One")))
                          .service(writtenService(2, descriptor(0x5D, {3})))
                          .build();
    const Bytes two = writtenSdt(3)
                          .service(writtenService(2, descriptor(0x5D, {3})))
                          .service(writtenService(7, serviceDescriptor(1, "P", "Seven")))
                          .build();
    const Bytes bat = BatBuilder().bouquetId(9).build();
    const std::string a = file("a.bin", one);
    const std::string b = file("b.bin", two + bat);
    const Result result = shell("psitool diff " + a + " " + b);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(contains(result.out, "  services[service_id=0x0001]: only in A: service_id 0x0001 (1)")) << result.out;
    EXPECT_TRUE(contains(result.out, "  services[service_id=0x0007]: only in B: service_id 0x0007 (7)")) << result.out;
    EXPECT_FALSE(contains(result.out, "service_id=0x0002")) << result.out;
    EXPECT_TRUE(contains(result.out, "\nBAT 0x0009 (9): only in B\n")) << result.out;
    EXPECT_EQ(shell("psitool diff --type bat " + a + " " + b).status, 1);
    EXPECT_EQ(shell("psitool diff --id 10 " + a + " " + b).status, 2);
}

TEST_F(PsitoolDiff, AnIdThatChangedIsAFieldThatChanged)
{
    const Result result = differenceOf("--set pat.transport_stream_id=5 --set nit-actual.network_id=6 "
                                       "--set sdt-actual.original_network_id=7 --set sdt-actual.version_number=0");
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.out.substr(result.out.find("\n\n")), "\n\nPAT 0x0101 (257)\n"
                                                          "  transport_stream_id: 0x0101 (257) -> 0x0005 (5)\n"
                                                          "  version_number: 0 -> 1\n"
                                                          "\nNIT actual 0xFF01 (65281)\n"
                                                          "  network_id: 0xFF01 (65281) -> 0x0006 (6)\n"
                                                          "  version_number: 0 -> 1\n"
                                                          "\nSDT actual 0x0101 (257)\n"
                                                          "  original_network_id: 0xFF01 (65281) -> 0x0007 (7)\n");
    const Bytes one = PmtBuilder(1).build();
    const Result programs = shell("psitool diff " + file("a.bin", one + PmtBuilder(2).build()) + " " +
                                  file("b.bin", one + PmtBuilder(3).build()));
    EXPECT_TRUE(contains(programs.out, "\nPMT 0x0002 (2): only in A\n")) << programs.out;
    EXPECT_TRUE(contains(programs.out, "\nPMT 0x0003 (3): only in B\n")) << programs.out;
}

TEST_F(PsitoolDiff, HowALoopIsSplitIsNoDifferenceOfItsEntries)
{
    const auto nit = [](u8 number, u8 last) { return writtenNit(2).number(number, last); };
    const std::string a = file("a.bin", nit(0, 0).transportStream(5, 9).transportStream(6, 9).build());
    const std::string b =
        file("b.bin", nit(0, 1).transportStream(5, 9).build() + nit(1, 1).transportStream(6, 9).build());
    const Result result = shell("psitool diff " + a + " " + b);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out.substr(result.out.find("\n\n")), "\n\nNIT actual 0x0003 (3)\n  sections: 1 -> 2\n");
}

TEST_F(PsitoolDiff, SectionsBehindTheFirstHaveFieldsOfTheirOwn)
{
    const auto eit = [](u8 number, u8 lastTable) {
        return LongSectionBuilder(0x4E).idExt(1).version(4).number(number, 1).body({0, 5, 0, 9, 1, lastTable}).build();
    };
    const std::string a = file("a.bin", eit(0, 0x4E) + eit(1, 0x4E));
    const std::string b = file("b.bin", eit(0, 0x4E) + eit(1, 0x4F));
    const Result result = shell("psitool diff " + a + " " + b);
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.out.substr(result.out.find("\n\n")),
              "\n\nEIT actual p/f 0x0001 (1)\n  sections[1].last_table_id: 0x4E -> 0x4F\n");
    const Result both = shell("psitool diff " + a + " " + file("c.bin", eit(0, 0x4F) + eit(1, 0x4F)));
    EXPECT_EQ(both.out.substr(both.out.find("\n\n")), "\n\nEIT actual p/f 0x0001 (1)\n  last_table_id: 0x4E -> 0x4F\n");
}

TEST_F(PsitoolDiff, AnEntryMoreIsOneDifferenceWithoutItsCountsAndLengths)
{
    const auto nit = [](const Bytes &linkage) { return writtenNit(2).desc(descriptor(0x3F, linkage)).build(); };
    const Result result =
        shell("psitool diff " + file("a.bin", nit({0x18, 1, 5})) + " " + file("b.bin", nit({0x18, 2, 5, 6})));
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.out.substr(result.out.find("\n\n")),
              "\n\nNIT actual 0x0003 (3)\n  descriptors[0x3F].lcevc_streams[1]: only in B: lcevc_stream_tag 6\n");
}

TEST_F(PsitoolDiff, PrivateDescriptorsAreReadAsThoseOfTheirOwner)
{
    const auto nit = [](u8 channel, const Bytes &first) {
        return writtenNit(2).desc(first).transportStream(5, 9, descriptor(0x83, {0, 1, 0xC0, channel})).build();
    };
    const std::string a = file("a.bin", nit(5, {}));
    const std::string b = file("b.bin", nit(6, {}));
    const std::string path = "transport_streams[transport_stream_id=0x0005].";
    EXPECT_TRUE(
        contains(shell("psitool diff " + a + " " + b).out, path + "descriptors[0x83].data: 0001c005 -> 0001c006"));
    const std::string field =
        path + "logical_channel_descriptor.services[service_id=0x0001].logical_channel_number: 5 -> 6";
    EXPECT_TRUE(contains(shell("psitool diff --private nordig " + a + " " + b).out, field));
    EXPECT_EQ(shell("psitool tables --json --private nordig --section " + b + " >b.json").status, 0);
    EXPECT_TRUE(contains(shell("psitool diff " + a + " b.json").out, field)) << "the document says it for both";
}

TEST_F(PsitoolDiff, OfIsdbTheNitTellsWhoseDescriptorsDiffer)
{
    const auto stream = [](u8 service) {
        Mux mux;
        addPrograms(mux);
        const Bytes manager = descriptor(0xFE, {0x03, 0x01});
        mux.section(nitPid,
                    writtenNit(2).desc(manager).transportStream(5, 0x7ED4, descriptor(0xFB, {0x49, service})).build());
        return mux.bytes();
    };
    const Result result = shell("psitool diff " + write("a.ts", stream(0xA0)) + " " + write("b.ts", stream(0xA1)));
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(contains(result.out, ".partial_reception_descriptor.services[service_id=0x49A0]: only in A"))
        << result.out;
}

TEST_F(PsitoolDiff, AStreamItsJsonAndItsSectionsAreTheSame)
{
    EXPECT_EQ(shell("psitool tables --json " + example + " >t.json").status, 0);
    const Result document = shell("psitool diff " + example + " t.json");
    EXPECT_EQ(document.status, 0) << document.out << document.err;
    EXPECT_EQ(shell("psitool compile t.json -o t.bin").status, 0);
    const Result sections = shell("psitool diff t.bin t.json");
    EXPECT_EQ(sections.status, 0) << sections.out << sections.err;
}

TEST_F(PsitoolDiff, JsonHasTheSameForPrograms)
{
    const Result result = differenceOf("--remove-service 40", "--json");
    EXPECT_EQ(result.status, 1);
    const json object = parsedJson(result.out);
    EXPECT_EQ(object["psitool"]["schema"], "diff");
    ASSERT_EQ(object["tables"].size(), 1u);
    const json &table = object["tables"][0];
    EXPECT_EQ(table["table"], "SDT actual");
    EXPECT_EQ(table["id"], 0x0101);
    EXPECT_EQ(table["in"], "both");
    ASSERT_EQ(table["fields"].size(), 2u);
    EXPECT_EQ(table["fields"][0]["path"], "version_number");
    EXPECT_EQ(table["fields"][0]["b"], "1");
    EXPECT_EQ(table["fields"][1]["path"], "services[service_id=0x0028]");
    EXPECT_EQ(table["fields"][1]["b"], nullptr);
    const json same = parsedJson(shell("psitool diff --json out.ts out.ts").out);
    EXPECT_EQ(same["tables"], json::array());
}

TEST_F(PsitoolDiff, TroubleIsStatus2)
{
    EXPECT_EQ(shell("psitool diff " + example).status, 2);
    const Result absent = shell("psitool diff " + example + " none.ts");
    EXPECT_EQ(absent.status, 2);
    EXPECT_EQ(absent.err, "psitool: none.ts: No such file or directory\n");
    std::ofstream(folder / "broken.json") << "{\"sections\": [{]}";
    const Result broken = shell("psitool diff broken.json " + example);
    EXPECT_EQ(broken.status, 2);
    EXPECT_TRUE(contains(broken.err, "psitool: broken.json: line 1, column 16: ")) << broken.err;
    const Bytes sdt = sdtOfTwo();
    const Result cut =
        shell("psitool diff " + file("cut.bin", sdt + Bytes(sdt.begin(), sdt.begin() + 9)) + " " + example);
    EXPECT_EQ(cut.status, 2);
    EXPECT_TRUE(contains(cut.err, "is cut short")) << cut.err;
}

/** A/65 6.5 and 6.1: an event and the system time, 18 seconds ahead of UTC. */
Bytes guideFrom(u32 start)
{
    const Bytes time = BitWriter().put(32, start).bytes();
    return LongSectionBuilder(0xCB).idExt(7).body(Bytes{0, 1, 0xC0, 9} + time + Bytes{0xC0, 7, 8, 0, 0xF0, 0}).build() +
           LongSectionBuilder(0xCD).idExt(0).body(Bytes{0} + time + Bytes{18, 0x60, 0}).build();
}

TEST_F(PsitoolDiff, TimesOfAtscAreUtcWhereAnSttTellsTheOffsetAlsoInFilesOfSections)
{
    const Result result = shell("psitool diff --type eit " + file("a.bin", guideFrom(1171197454)) + " " +
                                file("b.bin", guideFrom(1171197464)));
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_TRUE(contains(result.out, "start_time: 1171197454 (2017-02-15 12:37:16 UTC) -> "
                                     "1171197464 (2017-02-15 12:37:26 UTC)\n"))
        << result.out;
}

} // namespace
