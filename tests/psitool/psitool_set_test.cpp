// psitool edit --set, --table and --insert, and what follows from them in other tables.
#include "editFixture.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <random>

namespace {

using namespace editing;

constexpr u16 eitPid = 0x12;
constexpr u16 psipPid = 0x1FFB;

/** `--set` with a value that the shell leaves alone. */
std::string set(const std::string &assignment)
{
    return " --set '" + assignment + "'";
}

class PsitoolSet : public PsitoolEdit {
protected:
    /** The trees of a table in what was edited last. */
    std::vector<json> treesOf(const std::string &type) const
    {
        std::vector<json> trees;
        const json document = jsonOf("psitool tables --json --type " + type + " out.ts");
        for (const json &section : document["sections"])
            trees.push_back(section["tree"]);
        return trees;
    }
    json onlyTree(const std::string &type) const
    {
        const std::vector<json> trees = treesOf(type);
        EXPECT_EQ(trees.size(), 1u);
        return trees.empty() ? json() : trees[0];
    }

    /** A `--set` that cannot be, and what is said of it. */
    struct Refusal {
        const char *assignment;
        int status;
        const char *line;
    };
    void expectSetsRefused(const std::string &input, const std::vector<Refusal> &refusals) const
    {
        for (const Refusal &one : refusals)
            expectRefused(input, set(one.assignment), one.status, one.line);
    }

    /** Edit a multiplex: no other section and no other PID may change. */
    Taken changed(const Mux &mux, const std::string &arguments, const std::set<u16> &pids) const
    {
        const Taken before(mux.bytes());
        const Taken after(edited(write("in.ts", mux.bytes()), arguments));
        expectOnlyChanged(before, after, pids);
        return after;
    }
};

/* ---- streams --------------------------------------------------------------------------------------------------------
 */

const Bytes eacem = descriptor(0x5F, {0, 0, 0, 0x28});

/** Descriptors of a transport stream: terrestrial delivery at 474 MHz and channel numbers. */
const Bytes terrestrialDelivery = descriptor(0x5A, {0x02, 0xD3, 0x42, 0x40, 0x1F, 0x81, 0x1A, 0xFF, 0xFF, 0xFF, 0xFF});
const Bytes channelNumbers = eacem + descriptor(0x83, {0, 1, 0xFC, 5, 0, 2, 0xFC, 6});

Bytes twoStreams()
{
    return writtenNit(2)
        .desc(networkNameDescriptor("Net"))
        .transportStream(5, 9, terrestrialDelivery + channelNumbers)
        .transportStream(6, 9, descriptor(0x41, {0, 1, 1}))
        .build();
}

Mux withNit(const Bytes &nit, u16 pid = nitPid)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        mux.section(pid, nit).section(pid, NitBuilder().other().networkId(4).build()).nulls(3);
    }
    return mux;
}

/** A program whose PAT says where its PMT comes, and where the NIT, if there is one. */
Mux withPlaces(u16 nitPlace, const Bytes &nit, u16 pmtPlace = 0x100, const Bytes &pmt = pmtOfOne)
{
    const Bytes pat = PatBuilder().tsId(5).version(3).network(nitPlace).program(1, pmtPlace).build();
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        mux.section(0, pat).section(pmtPlace, pmt).payload(0x101, 2).nulls(1);
        if (!nit.empty())
            mux.section(nitPlace, nit);
    }
    return mux;
}

Bytes event(u16 id, const std::string &name, const std::string &text)
{
    const Bytes shortEvent = bytesOf("eng") + Bytes{static_cast<u8>(name.size())} + bytesOf(name) +
                             Bytes{static_cast<u8>(text.size())} + bytesOf(text);
    const Bytes descriptors = descriptor(0x4D, shortEvent);
    return Bytes{static_cast<u8>(id >> 8), static_cast<u8>(id), 0xE0, 0x2B, 0x12, 0x34, 0x56, 0x01, 0x30, 0x00} +
           Bytes{0x80, static_cast<u8>(descriptors.size())} + descriptors;
}

Bytes eit(u8 tableId, u16 service, u8 number, u8 last, const Bytes &events)
{
    return LongSectionBuilder(tableId)
        .idExt(service)
        .version(4)
        .number(number, last)
        .body(Bytes{0, 5, 0, 9, last, tableId} + events)
        .build();
}

Mux withEit()
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        for (const u16 service : {u16{1}, u16{2}})
            mux.section(eitPid, eit(0x4E, service, 0, 1, event(10, "Now", "It is on")))
                .section(eitPid, eit(0x4E, service, 1, 1, event(11, "Next", "It comes")));
        mux.section(eitPid, eit(0x50, 1, 0, 8, event(10, "Now", "") + event(11, "Next", "")))
            .section(eitPid, eit(0x50, 1, 8, 8, event(12, "Later", "")));
        mux.nulls(4);
    }
    return mux;
}

/* ---- fields ---------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolSet, AFrequencyIsChangedByTagAndNothingElseIs)
{
    const Mux mux = withNit(twoStreams());
    const Taken after = changed(mux, set("nit.streams[0].descriptors[0x5A].centre_frequency=498000000"), {nitPid});
    const Bytes other = descriptor(0x5A, {0x02, 0xF7, 0xE3, 0x40, 0x1F, 0x81, 0x1A, 0xFF, 0xFF, 0xFF, 0xFF});
    const json tree = treesOf("nit-actual").at(0);
    EXPECT_EQ(tree["transport_streams"][0]["descriptors"][0]["fields"]["centre_frequency"], "498.00000 MHz");
    const Bytes expected = writtenNit(3)
                               .desc(networkNameDescriptor("Net"))
                               .transportStream(5, 9, other + channelNumbers)
                               .transportStream(6, 9, descriptor(0x41, {0, 1, 1}))
                               .build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
    EXPECT_EQ(after.table(nitPid, 0x41), Taken(mux.bytes()).table(nitPid, 0x41));
}

TEST_F(PsitoolSet, AJsonPointerLeadsToTheSame)
{
    const std::string in = write("in.ts", withNit(twoStreams()).bytes());
    const Bytes byPath = edited(in, set("nit-actual.streams[0].descriptors[0x5A].centre_frequency=498000000"));
    for (const char *pointer : {"/nit-actual/3/transport_streams/0/descriptors/0/fields/centre_frequency=498 MHz",
                                "/nit-actual/transport_streams/0/descriptors/0x5A/centre_frequency=498.00000 MHz",
                                "/nit-actual/transport_streams/0/terrestrial_delivery_system_descriptor/"
                                "centre_frequency=498000000"})
        EXPECT_TRUE(edited(in, set(pointer)) == byPath) << pointer;
}

TEST_F(PsitoolSet, ALanguageIsChangedByTheDescriptorsName)
{
    changed(muxOfTwo(), set("pmt[2].streams[1].ISO_639_language_descriptor.languages[0].code=fra"), {0x110});
    const json streams = jsonOf("psitool tables --json --type pmt --id 2 out.ts")["sections"][0]["tree"]["streams"];
    EXPECT_EQ(streams[1]["descriptors"][0]["fields"]["languages"][0]["ISO_639_language_code"], "fra");
}

TEST_F(PsitoolSet, AStreamTypeIsGivenByItsName)
{
    const Taken after =
        changed(muxOfTwo(), set("pmt[1].streams[elementary_PID=0x101].stream_type=H.265 video"), {0x100});
    const Bytes expected = PmtBuilder(1).version(1).pcrPid(0x101).stream(0x24, 0x101).stream(0x0F, 0x102).build();
    EXPECT_EQ(after.sections.at(0x100), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolSet, WithoutAnIdAllTablesOfTheKindAreMeant)
{
    changed(muxOfTwo(), set("pmt.PCR_PID=0x1FFF"), {0x100, 0x110});
    for (const json &tree : treesOf("pmt"))
        EXPECT_EQ(tree["PCR_PID"], 0x1FFF);
}

TEST_F(PsitoolSet, ATableWithoutTheFieldStaysAsItIs)
{
    changed(muxOfTwo(), set("pmt.descriptors[0x09].CA_system_ID=0x0500"), {0x110});
    EXPECT_EQ(treesOf("pmt").at(1)["descriptors"][0]["fields"]["CA_system_ID"], 0x0500);
}

TEST_F(PsitoolSet, ChannelNumbersOfServicesAreChanged)
{
    changed(withNit(twoStreams()),
            set("nit-actual.streams[transport_stream_id=5].logical_channel_descriptor.services[service_id=2]"
                ".logical_channel_number=42"),
            {nitPid});
    const json services = treesOf("nit-actual").at(0)["transport_streams"][0]["descriptors"][2]["fields"]["services"];
    EXPECT_EQ(services[0]["logical_channel_number"], 5);
    EXPECT_EQ(services[1]["logical_channel_number"], 42);
}

TEST_F(PsitoolSet, IdsOfNetworkAndStreamAreChanged)
{
    changed(withNit(twoStreams()),
            set("nit-actual.network_id=77") + set("pat.transport_stream_id=6") + set("sdt.transport_stream_id=6") +
                set("nit-actual.streams[0].transport_stream_id=16"),
            {0, sdtPid, nitPid});
    EXPECT_EQ(treesOf("nit-actual").at(0)["network_id"], 77);
    EXPECT_EQ(treesOf("nit-actual").at(0)["transport_streams"][0]["transport_stream_id"], 16);
    EXPECT_EQ(onlyTree("pat")["transport_stream_id"], 6);
    EXPECT_EQ(onlyTree("sdt")["transport_stream_id"], 6);
}

TEST_F(PsitoolSet, TextsOfEventsAreChanged)
{
    const Mux mux = withEit();
    const Taken after =
        changed(mux,
                set("eit-actual-pf[1].events[0].short_event_descriptor.event_name=Aujourd’hui") +
                    set("eit-actual-schedule.events[event_id=12].short_event_descriptor.text=Ganz spät"),
                {eitPid});
    const std::vector<Bytes> before = Taken(mux.bytes()).sections.at(eitPid);
    const std::vector<Bytes> sections = after.sections.at(eitPid);
    ASSERT_EQ(sections.size(), before.size());
    EXPECT_EQ(versionOf(sections[0]), 5);
    EXPECT_EQ(versionOf(sections[1]), 5) << "of the same table";
    EXPECT_EQ(sections[2], before[2]) << "of another service";
    EXPECT_EQ(versionOf(sections[4]), 5) << "of the same schedule, though nothing else changed in it";
    EXPECT_EQ(versionOf(sections[5]), 5);
    const std::vector<json> trees = treesOf("eit");
    EXPECT_EQ(trees.at(0)["events"][0]["descriptors"][0]["fields"]["event_name"], "Aujourd’hui");
    EXPECT_EQ(trees.at(1)["events"][0]["descriptors"][0]["fields"]["event_name"], "Next");
    EXPECT_EQ(trees.at(5)["events"][0]["descriptors"][0]["fields"]["text"], "Ganz spät");
}

TEST_F(PsitoolSet, PrivateDescriptorsAreThoseOfTheOwnerThatIsNamed)
{
    const Bytes nit = writtenNit(2).transportStream(5, 9, descriptor(0x83, {0, 1, 0xC0, 5})).build();
    const Mux mux = withNit(nit);
    const std::string path = "nit-actual.streams[0].logical_channel_descriptor.services[0].logical_channel_number";
    const Result refused = shell("psitool edit " + write("in.ts", mux.bytes()) + " -o out.ts" + set(path + "=16000"));
    EXPECT_EQ(refused.status, 1) << refused.err;
    const Taken after = changed(mux, set(path + "=16000") + " --private nordig", {nitPid});
    const Bytes expected = writtenNit(3).transportStream(5, 9, descriptor(0x83, {0, 1, 0xFE, 0x80})).build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
    EXPECT_EQ(shell("psitool edit in.ts -o out.ts --private nobody" + set(path + "=1")).status, 2);
}

TEST_F(PsitoolSet, OfIsdbTheNitTellsWhoseDescriptorsAreMeant)
{
    const Bytes manager = descriptor(0xFE, {0x03, 0x01});
    const Mux mux =
        withNit(writtenNit(2).desc(manager).transportStream(5, 0x7ED4, descriptor(0xFB, {0x49, 0xA0})).build());
    const Taken after =
        changed(mux, set("nit-actual.streams[0].partial_reception_descriptor.services[0].service_id=5"), {nitPid});
    const Bytes expected =
        writtenNit(3).desc(manager).transportStream(5, 0x7ED4, descriptor(0xFB, {0x00, 0x05})).build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolSet, OfIsdbTheNitTellsItOnThePidThatThePatGivesToo)
{
    const Bytes manager = descriptor(0xFE, {0x03, 0x01});
    const auto nit = [&](u8 version, const Bytes &reception) {
        return writtenNit(version).desc(manager).transportStream(5, 0x7ED4, descriptor(0xFB, reception)).build();
    };
    const Taken after =
        changed(withPlaces(0x1F, nit(2, {0x49, 0xA0})),
                set("nit-actual.streams[0].partial_reception_descriptor.services[0].service_id=5"), {0x1F});
    EXPECT_EQ(after.table(0x1F, 0x40), std::vector<Bytes>(3, nit(3, {0x00, 0x05})));
}

TEST_F(PsitoolSet, OfIsdbThePmtOfHandheldsTellsItWhereThereIsNoNit)
{
    constexpr u16 handhelds = 0x1FC8;
    const auto pmt = [](u8 version, u8 component) {
        return PmtBuilder(1).version(version).pcrPid(0x101).stream(6, 0x101, descriptor(0xFD, {0, component})).build();
    };
    const std::string change = set("pmt.streams[0].data_component_descriptor.data_component_id=0x0A");
    const Taken after = changed(withPlaces(nitPid, {}, handhelds, pmt(0, 0x08)), change, {handhelds});
    EXPECT_EQ(after.sections.at(handhelds), std::vector<Bytes>(3, pmt(1, 0x0A)));
    const std::string in = write("in.ts", withPlaces(0x1F, twoStreams(), handhelds, pmt(0, 0x08)).bytes());
    std::filesystem::remove(folder / "out.ts");
    expectRefused(in, change, 1, ".data_component_descriptor: there is no such field or descriptor");
}

TEST_F(PsitoolSet, ATextIsWrittenInTheCharsetThatIsNamed)
{
    const Mux mux = withNit(writtenNit(2).desc(networkNameDescriptor("Old")).build());
    const Taken after =
        changed(mux, set("nit-actual.network_name_descriptor.name=Мир") + " --charset iso-8859-5", {nitPid});
    const Bytes expected = writtenNit(3).desc(descriptor(0x40, {0xBC, 0xD8, 0xE0})).build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
    EXPECT_EQ(shell("psitool edit in.ts -o out.ts --charset klingon" + set("nit.network_id=1")).status, 2);
}

TEST_F(PsitoolSet, ATimeIsGivenAsIso8601)
{
    changed(withEit(), set("eit-actual-pf[1].events[event_id=10].start_time=2026-11-22T20:15:00"), {eitPid});
    EXPECT_EQ(treesOf("eit").at(0)["events"][0]["start_time"], "2026-11-22 20:15:00");
}

TEST_F(PsitoolSet, ATableInTheShortFormIsChanged)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        mux.section(0x14, {0x70, 0x70, 0x05, 0xE0, 0x2B, 0x12, 0x34, static_cast<u8>(0x50 + i)}).nulls(1);
    }
    changed(mux, set("tdt.UTC_time=2026-11-22T20:15:00"), {0x14});
    EXPECT_EQ(onlyTree("tdt")["UTC_time"], "2026-11-22 20:15:00");
}

TEST_F(PsitoolSet, AValueThatATableInTheShortFormCannotHaveIsTold)
{
    Mux mux;
    addPrograms(mux);
    mux.section(0x14, {0x70, 0x70, 0x05, 0xE0, 0x2B, 0x12, 0x34, 0x56}).nulls(1);
    const std::string in = write("in.ts", mux.bytes());
    for (const std::string value : {"soon", "2026-02-31T20:15:00", "2026-02-01T20:15:00+01:00"})
        expectRefused(in, set("tdt.UTC_time=" + value), 1,
                      "TDT: /UTC_time: \"" + value + "\" is not a time such as \"2023-02-25 12:34:56\"\n");
}

TEST_F(PsitoolSet, EntriesDescriptorsAndFieldsAreTakenOut)
{
    const Taken after = changed(
        muxOfTwo(), set("pmt[2].streams[elementary_PID=0x102]=null") + set("pmt[2].descriptors[0x09]=null"), {0x110});
    const Bytes expected = PmtBuilder(2).version(0).pcrPid(0x111).stream(0x1B, 0x111).build();
    EXPECT_EQ(after.sections.at(0x110), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolSet, EntriesAndDescriptorsAreAdded)
{
    const Taken after = changed(
        muxOfTwo(3, 2),
        set("pmt[1].streams[+]={\"stream_type\":134,\"elementary_PID\":500,\"descriptors\":[{\"tag\":138,\"data\":"
            "\"02\"}]}") +
            set("pmt[1].streams[1].descriptors[+]={\"name\":\"ISO_639_language_descriptor\",\"fields\":{\"languages\":"
                "[{\"ISO_639_language_code\":\"deu\",\"audio_type\":0}]}}"),
        {0x100});
    const Bytes expected = PmtBuilder(1)
                               .version(1)
                               .pcrPid(0x101)
                               .stream(0x1B, 0x101)
                               .stream(0x0F, 0x102, descriptor(0x0A, bytesOf("deu") + Bytes{0}))
                               .stream(0x86, 500, descriptor(0x8A, {2}))
                               .build();
    EXPECT_EQ(after.sections.at(0x100), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolSet, AnIndexCountsOverAllSectionsOfATable)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        mux.section(nitPid, writtenNit(2).number(0, 1).transportStream(5, 9).transportStream(6, 9).build());
        mux.section(nitPid, writtenNit(2).number(1, 1).transportStream(7, 9).build()).nulls(1);
    }
    changed(mux, set("nit.streams[2].original_network_id=1"), {nitPid});
    EXPECT_EQ(treesOf("nit").at(0)["transport_streams"][1]["original_network_id"], 9);
    EXPECT_EQ(treesOf("nit").at(1)["transport_streams"][0]["original_network_id"], 1);
    EXPECT_EQ(treesOf("nit").at(0)["version_number"], 3);
}

TEST_F(PsitoolSet, OneSectionIsMeantByItsNumber)
{
    const Mux mux = withEit();
    expectRefused(write("in.ts", mux.bytes()), set("eit-actual-pf[1].sections[2].last_table_id=0"), 1,
                  "[2]: there is no such section\n");
    changed(mux, set("eit-actual-pf[1].sections[1].last_table_id=0x4F"), {eitPid});
    const std::vector<json> trees = treesOf("eit-actual-pf");
    EXPECT_EQ(trees.at(0)["last_table_id"], 0x4E);
    EXPECT_EQ(trees.at(1)["last_table_id"], 0x4F);
    EXPECT_EQ(trees.at(0)["version_number"], trees.at(1)["version_number"]);
}

TEST_F(PsitoolSet, ATableWithoutATableIdExtensionIsKnownByTheBitsInItsPlace)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        mux.section(1, LongSectionBuilder(0x01).idExt(0xFFFF).body(descriptor(0x09, {0x0B, 0, 0xF0, 0x12})).build());
    }
    const std::string in = write("in.ts", mux.bytes());
    expectRefused(in, set("cat[7].descriptors[0x09].CA_PID=0x20"), 1, "in.ts: no CAT 0x0007 (7) found\n");
    edited(in, set("cat[65535].descriptors[0x09].CA_PID=0x20"));
    EXPECT_EQ(onlyTree("cat")["descriptors"][0]["fields"]["CA_PID"], 0x20);
}

TEST_F(PsitoolSet, AValueThatIsThereAlreadyIsNoNewVersion)
{
    const Mux mux = withNit(twoStreams());
    write("in.ts", mux.bytes());
    edited("in.ts", set("nit-actual.streams[0].original_network_id=9"));
    const Bytes same = bytesOfFile(folder / "out.ts");
    EXPECT_TRUE(same == mux.bytes());
}

TEST_F(PsitoolSet, BytesAreGivenByTheirDigits)
{
    write("in.ts", withNit(twoStreams()).bytes());
    edited("in.ts", set("nit-actual.extra=0012"));
    const json tables = jsonOf("psitool tables --json --type nit-actual out.ts");
    EXPECT_EQ(tables["sections"][0]["tree"]["extra"], "0012");
    edited("in.ts", set("nit-actual.streams[0].descriptors[0x5A].data=1234"));
    const json cut = jsonOf("psitool tables --json --type nit-actual out.ts");
    EXPECT_EQ(cut["sections"][0]["tree"]["transport_streams"][0]["descriptors"][0]["data"], "1234");
}

TEST_F(PsitoolSet, AVersionThatIsGivenIsTaken)
{
    changed(muxOfTwo(), set("sdt.version_number=19"), {sdtPid});
    EXPECT_EQ(onlyTree("sdt")["version_number"], 19);
}

TEST_F(PsitoolSet, ATextIsGivenInBytesWhateverItsCharacterTable)
{
    const Mux mux = withNit(writtenNit(2).desc(networkNameDescriptor("Old")).build());
    const std::string in = write("in.ts", mux.bytes());
    expectRefused(in, set("nit-actual.network_name_descriptor.name_bytes=1bc"), 2,
                  "name_bytes: is not pairs of hexadecimal digits\n");
    expectRefused(in, set("nit-actual.network_id_bytes=01"), 1, "/network_id_bytes: no such field");
    const Taken after = changed(mux, set("nit-actual.network_name_descriptor.name_bytes=01bcd8e0"), {nitPid});
    const Bytes expected = writtenNit(3).desc(descriptor(0x40, {0x01, 0xBC, 0xD8, 0xE0})).build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolSet, ReservedBitsAreGivenAsTablesShowsThem)
{
    const Mux mux = muxOfTwo();
    const u8 flags = Taken(mux.bytes()).table(sdtPid, 0x42).at(0).at(13) & 3; // of a service, behind reserved bits
    const Taken after = changed(mux, set("sdt.services[0].reserved=1"), {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x42).at(0).at(13), 1 << 2 | flags);
    EXPECT_EQ(onlyTree("sdt")["services"][0]["reserved"], 1);
    const std::string again = write("again.ts", bytesOfFile(folder / "out.ts"));
    const Taken asWanted(edited(again, set("sdt.services[0].reserved=null")));
    EXPECT_EQ(asWanted.table(sdtPid, 0x42).at(0).at(13), 0xFC | flags);
    EXPECT_EQ(onlyTree("sdt")["services"][0].count("reserved"), 0u);
}

TEST_F(PsitoolSet, ATableBecomesOneOfTheSameStructure)
{
    const Taken after = changed(muxOfTwo(), set("sdt.table_id=0x46"), {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x42), std::vector<Bytes>());
    EXPECT_EQ(after.table(sdtPid, 0x46).size(), 3u);
}

TEST_F(PsitoolSet, ItGoesTogetherWithTheOtherOptions)
{
    changed(muxOfTwo(), "--service 1 name=New" + set("sdt.services[service_id=1].running_status=4"), {sdtPid});
    const json service = onlyTree("sdt")["services"][0];
    EXPECT_EQ(service["running_status"], 4);
    EXPECT_EQ(service["descriptors"][0]["fields"]["service_name"], "New");
    EXPECT_EQ(onlyTree("sdt")["version_number"], 8);
}

/* ---- what does not fit ----------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolSet, WhatFitsNothingIsToldWithTheNearestNameAndNothingIsWritten)
{
    const std::string in = write("in.ts", withNit(twoStreams()).bytes());
    const std::vector<Refusal> refusals = {
        {"nits.network_id=1", 2, "there is no table \"nits\"; the nearest is \"nit\"\n"},
        {"nti.network_id=1", 2, "there is no table \"nti\"; the nearest is \"nit\"\n"},
        {"nit.network_ids=1", 1, "/network_ids: no such field; the nearest is \"network_id\"\n"},
        {"nit.NETWORK_ID=1", 1, "/NETWORK_ID: no such field; the nearest is \"network_id\"\n"},
        {"nit.streems[0].original_network_id=1", 1,
         ".streems: there is no such field or descriptor; the nearest is \"streams\"\n"},
        {"nit.transport_streems[0].original_network_id=1", 1, "the nearest is \"transport_streams\"\n"},
        {"nit-actual.streams[2].original_network_id=1", 1, "[2]: the list has 2 entries\n"},
        {"nit-actual.streams[0].descriptors[0x43].frequency=1", 1,
         "[0x43]: there is no such descriptor, only 0x5A, 0x5F, 0x83\n"},
        {"nit-actual.streams[0].terestrial_delivery_system_descriptor.priority=1", 1,
         "the nearest is \"terrestrial_delivery_system_descriptor\"\n"},
        {"nit-actual.streams[transport_stream_id=7].original_network_id=1", 1,
         "[transport_stream_id=7]: no entry has this value\n"},
        {"bat.bouquet_id=1", 1, "in.ts: no BAT found\n"},
        {"sdt-other.transport_stream_id=1", 1, "in.ts: no SDT other found\n"},
        {"vct.transport_stream_id=1", 1, "in.ts: no VCT found\n"},
        {"pmt[3].PCR_PID=1", 1, "in.ts: no PMT 0x0003 (3) found\n"},
        {"nit.streams.original_network_id=1", 1, "of a list an entry is wanted: [INDEX], [KEY=VALUE] or [*]\n"},
    };
    expectSetsRefused(in, refusals);
}

TEST_F(PsitoolSet, AValueThatCannotStandThereIsToldByItsFieldsName)
{
    const std::string in = write("in.ts", withNit(twoStreams()).bytes());
    const std::vector<Refusal> refusals = {
        {"nit.network_id=70000", 1, "/network_id: 70000 is not a whole number of 0 to 65535\n"},
        {"pmt[1].streams[0].stream_type=H.999", 1, "/streams/0/stream_type: \"H.999\" is no name of a value"},
        {"nit-actual.streams[0].descriptors[0x5A].centre_frequency=fast", 1,
         "/transport_streams/0/descriptors/0/fields/centre_frequency: \"fast\" is not a frequency"},
        {"nit.streams=5", 2, "a list is given as a JSON array"},
        {"nit.streams[0]={\"transport_stream_id\":1", 2, "the value: line 1, column 25: "},
        {"nit.streams[0]={\"transport_stream_id\":1}", 1, "/transport_streams/0/original_network_id: is missing\n"},
        {"nit.section_length=9", 2, "nit.section_length: is computed"},
        {"nit.CRC_32=9", 2, "nit.CRC_32: is computed"},
        {"sdt.services[0].descriptors_loop_length=9", 2, "descriptors_loop_length: is computed"},
        {"nit.network_id=[1,2]", 2, "nit.network_id: is a single value, no list and no record;"},
        {"nit.network_name_descriptor.name={\"text\":\"x\"}", 2, "name: is a single value"},
    };
    expectSetsRefused(in, refusals);
}

TEST_F(PsitoolSet, ACountIsThatOfItsList)
{
    const Bytes nit = writtenNit(2).desc(descriptor(0x3F, {0x18, 2, 5, 6})).build();
    const std::string in = write("in.ts", withNit(nit).bytes());
    const std::string linkage = "nit-actual.descriptors[0x3F].";
    expectRefused(in, set(linkage + "num_lcevc_stream_tags=3"), 2, "num_lcevc_stream_tags: is computed");
    const Taken after(edited(in, set(linkage + "lcevc_streams[+]={\"lcevc_stream_tag\":7}")));
    EXPECT_EQ(after.table(nitPid, 0x40).at(0), writtenNit(3).desc(descriptor(0x3F, {0x18, 3, 5, 6, 7})).build());
}

TEST_F(PsitoolSet, WhatFollowsFromTheTableIsNotSet)
{
    const std::string in = write("in.ts", withEit().bytes());
    const std::vector<Refusal> refusals = {
        {"sdt.section_number=1", 1, "SDT actual: /section_number: follows from the table, which has 0 here\n"},
        {"eit-actual-pf.last_section_number=2", 1,
         "EIT actual p/f: /last_section_number: follows from the table, which has 1 here\n"},
        {"sdt.section_syntax_indicator=0", 1,
         "SDT actual: /section_syntax_indicator: follows from the table, which has 1 here\n"},
        {"pat.table_id=1", 1, "PAT: /table_id: only that of a table of the same structure fits\n"},
        {"sdt.table_id=5", 1, "SDT actual: /table_id: only that of a table of the same structure"},
        {"eit-actual-schedule.section_number=9", 1,
         "EIT actual schedule: /section_number: is more than last_section_number, 8\n"},
    };
    expectSetsRefused(in, refusals);
    edited(in, set("sdt.section_number=0")); // as it is
}

TEST_F(PsitoolSet, APathThatIsNoneIsToldWithItsColumn)
{
    const std::vector<Refusal> refusals = {
        {"nit[1.a=1", 2, "no '=' behind the path\n"},     {"nit=1", 2, "column 4: a field of the table is missing\n"},
        {"nit..a=1", 2, "column 5: a name is missing\n"}, {"nit[70000].a=1", 2, "is no table_id_extension"},
        {"network_id", 2, "no '=' behind the path\n"},
    };
    expectSetsRefused(example, refusals);
}

/* ---- whole tables ---------------------------------------------------------------------------------------------------
 */

/** The JSON of a stream's tables, with something changed in it, in a file. */
class PsitoolTable : public PsitoolSet {
protected:
    std::string tablesOf(const std::string &input, const std::string &type,
                         const std::function<void(json &sections)> &change) const
    {
        json document = jsonOf("psitool tables --json --type " + type + " " + input);
        change(document["sections"]);
        std::ofstream(folder / "t.json") << document.dump();
        return "t.json";
    }
    void writeText(const std::string &name, const std::string &text) const { std::ofstream(folder / name) << text; }
};

TEST_F(PsitoolTable, ATableIsReplacedAndItsVersionCountsOn)
{
    const Mux mux = muxOfTwo();
    const std::string file = tablesOf(write("in.ts", mux.bytes()), "sdt",
                                      [](json &sections) { sections[0]["tree"]["services"][1]["running_status"] = 1; });
    const Taken after = changed(mux, "--table " + file, {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x42).size(), 3u);
    EXPECT_EQ(onlyTree("sdt")["services"][1]["running_status"], 1);
    EXPECT_EQ(onlyTree("sdt")["version_number"], 8);
}

TEST_F(PsitoolTable, TablesThatAreAsTheStreamHasThemStay)
{
    const Mux mux = muxOfTwo();
    const std::string in = write("in.ts", mux.bytes());
    const std::string file = tablesOf(in, "pat --type pmt --type sdt", [](json &sections) {
        for (json &section : sections)
            if (section["tree"].value("program_number", 0) == 2)
                section["tree"]["PCR_PID"] = 0x1FFF;
    });
    changed(mux, "--table " + file, {0x110});
    EXPECT_EQ(treesOf("pmt").at(1)["PCR_PID"], 0x1FFF);
    EXPECT_TRUE(edited(in, "--table " + tablesOf(in, "pat --type pmt --type sdt", [](json &) {})) == mux.bytes());
}

TEST_F(PsitoolTable, ATableOfMoreSectionsTakesThePlaceOfOneOfFewer)
{
    const Mux mux = muxOfTwo(3, 6);
    const std::string file = tablesOf(write("in.ts", mux.bytes()), "sdt", [](json &sections) {
        sections.push_back(sections[0]);
        sections[0]["tree"]["services"].erase(1);
        sections[1]["tree"]["services"].erase(0);
        sections[1]["tree"]["section_number"] = 1;
    });
    const Taken after = changed(mux, "--table " + file, {sdtPid});
    const std::vector<Bytes> sections = after.table(sdtPid, 0x42);
    ASSERT_EQ(sections.size(), 6u);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        EXPECT_EQ(sections[i][6], i % 2);
        EXPECT_EQ(sections[i][7], 1);
        EXPECT_EQ(versionOf(sections[i]), 8);
    }
}

TEST_F(PsitoolTable, EverythingThatIsNotInTheStreamIsToldAtOnce)
{
    Mux mux; // with a table that nobody knows
    mux.section(0x30, LongSectionBuilder(0x90).build());
    mux.section(0x110, pmtOfTwo).section(sdtPid, SdtBuilder().number(1, 2).build());
    writeText("nit.json", R"({"table_id": 64, "network_id": 1, "descriptors": [], "transport_streams": []})");
    expectRefused(write("in.ts", mux.bytes()),
                  "--table nit.json --service 100 name=x --bouquet-name 1=x --program 1 remove" +
                      set("cat.version_number=1") + set("cat.current_next_indicator=1"),
                  1,
                  "in.ts: nit.json: NIT actual 0x0001 (1) is not in the stream on PID 0x0010 (16) (--insert adds a "
                  "table); no BAT found; no PAT found; the SDT actual is not complete in the stream; no CAT found\n");
    mux.section(0, patOfTwo);
    expectRefused(write("in.ts", mux.bytes()), "--bouquet-name x --pid 0x110=0x210" + set("tdt.UTC_time=0"), 1,
                  "in.ts: no BAT found\n");
    expectRefused(write("in.ts", mux.bytes()),
                  set("tdt.UTC_time=2026-11-22T20:15:00") + set("pmt.streams[9].elementary_PID=1"), 1,
                  "in.ts: --set pmt.streams[9].elementary_PID: [9]: the list has 2 entries\n");
    expectRefused(write("in.ts", mux.bytes()), set("tdt.UTC_time=2026-11-22T20:15:00") + set("rst.events[+]={}"), 1,
                  "in.ts: no TDT found; no RST found\n");
}

TEST_F(PsitoolTable, ATableThatIsNotThereIsToldAndBrokenJsonWithItsPlace)
{
    const std::string in = write("in.ts", muxOfTwo().bytes());
    writeText("nit.json", R"({"table_id": 64, "network_id": 1, "descriptors": [], "transport_streams": []})");
    writeText("wide.json", R"({"table_id": 64, "network_id": 70000, "descriptors": [], "transport_streams": []})");
    writeText("deep.json", std::string(100, '[') + std::string(100, ']'));
    writeText("twice.json", R"({"table_id": 64, "table_id": 64})");
    expectRefused(in, "--table nit.json", 1,
                  "NIT actual 0x0001 (1) is not in the stream on PID 0x0010 (16) (--insert adds a table)\n");
    expectRefused(in, "--table wide.json", 2, "wide.json: /network_id: 70000 is not a whole number of 0 to 65535\n");
    expectRefused(in, "--table deep.json", 2, "more than 64 levels\n");
    expectRefused(in, "--table twice.json", 2, "twice.json: /table_id: this key is there twice\n");
    expectRefused(in, "--table none.json", 3, "none.json: cannot be read: No such file or directory\n");
    expectRefused(in, "--insert nit.json", 2, "--insert needs --interval\n");
    expectRefused(in, "--set nit.network_id=1 --interval 100", 2, "--interval belongs to --insert\n");
}

constexpr const char *spliceNull = R"({"pid": 500, "tree": {"table_id": 252, "section_syntax_indicator": 0,
    "encryption_algorithm": 0, "encrypted_packet": 0, "pts_adjustment": 0, "cw_index": 0, "tier": 4095,
    "splice_command_type": 0, "descriptors": []}})";

/** A packet with an adaptation field and a PCR. */
Bytes pcrPacket(u16 pid, std::uint64_t ticksOf90kHz, u8 counter)
{
    Bytes packet = {0x47, static_cast<u8>(pid >> 8), static_cast<u8>(pid), static_cast<u8>(0x20 | counter), 183, 0x10};
    for (int shift = 25; shift >= 1; shift -= 8)
        packet.push_back(static_cast<u8>(ticksOf90kHz >> shift));
    packet.push_back(static_cast<u8>((ticksOf90kHz & 1) << 7 | 0x7E));
    packet.push_back(0);
    return packet + repeated(packetSize - packet.size(), 0xFF);
}

/** A second of a stream of 1000 packets with a PCR each 20 ms; every fourth packet is null. */
Mux timed()
{
    Mux mux;
    for (unsigned i = 0; i < 50; ++i) {
        mux.raw(pcrPacket(0x300, std::uint64_t{i} * 1800, 0));
        if (i % 5 == 0)
            addPrograms(mux);
        else
            mux.payload(0x101, 12);
        mux.nulls(7);
    }
    return mux;
}

TEST_F(PsitoolTable, ASectionIsInsertedAtItsIntervalOnAPidOfItsOwn)
{
    const Mux mux = timed();
    writeText("eit.json", R"({"table_id": 78, "service_id": 1, "transport_stream_id": 5, "original_network_id": 9,
        "segment_last_section_number": 0, "last_table_id": 78, "events": []})");
    const Taken after = changed(mux, "--insert eit.json --interval 100", {eitPid});
    const std::vector<Bytes> sections = after.sections.at(eitPid);
    EXPECT_GE(sections.size(), 9u);
    EXPECT_LE(sections.size(), 11u);
    EXPECT_EQ(sections[0][0], 0x4E);
    EXPECT_EQ(after.packets.at(nullPid).size() + after.packets.at(eitPid).size(),
              Taken(mux.bytes()).packets.at(nullPid).size());
}

/** The same when a quarter of the time has most of the packets. */
Mux bursty()
{
    Mux mux;
    for (unsigned i = 0; i < 50; ++i) {
        mux.raw(pcrPacket(0x300, std::uint64_t{i} * 1800, 0));
        addPrograms(mux);
        mux.nulls(i % 4 == 0 ? 60 : 6);
    }
    return mux;
}

TEST_F(PsitoolTable, ASectionIsInsertedAtItsIntervalAlsoWhereTheRateChanges)
{
    write("in.ts", bursty().bytes());
    writeText("eit.json", R"({"table_id": 78, "service_id": 1, "transport_stream_id": 5, "original_network_id": 9,
        "segment_last_section_number": 0, "last_table_id": 78, "events": []})");
    edited("in.ts", "--insert eit.json --interval 40");
    const json scanned = jsonOf("psitool scan --json out.ts");
    for (const json &table : scanned["table_times"])
        if (table["pid"] == eitPid) {
            EXPECT_GT(table["interval_ms"]["shortest"], 1.0);
            EXPECT_LE(table["interval_ms"]["longest"],
                      40.0 + 20.0 + 4.0); // the next PCR tells, and the next null packet takes it
            return;
        }
    FAIL() << "no EIT";
}

/** Bursts of packets between two PCRs, at any time; PCRs at 20 to 100 ms. */
Mux veryBursty(double &seconds)
{
    std::mt19937 random(5);
    Mux mux;
    std::uint64_t ticks = 0;
    for (unsigned i = 0; i < 200; ++i) {
        mux.raw(pcrPacket(0x300, ticks, 0));
        addPrograms(mux);
        mux.nulls(random() % 7 == 0 ? 600 : 6);
        seconds = static_cast<double>(ticks) / 90000;
        ticks += 1800 + random() % 7200;
    }
    return mux;
}

TEST_F(PsitoolTable, BurstsOfPacketsMakeNoSectionComeMoreOften)
{
    double seconds = 0;
    write("in.ts", veryBursty(seconds).bytes());
    writeText("bat.json", R"({"table_id": 74, "bouquet_id": 1, "descriptors": [], "transport_streams": []})");
    for (const int interval : {100, 500}) {
        const Taken after(edited("in.ts", "--insert bat.json --interval " + std::to_string(interval)));
        const double asked = seconds * 1000 / interval;
        const double inserted = static_cast<double>(after.table(sdtPid, 0x4A).size());
        EXPECT_GE(inserted, asked * 0.9) << interval;
        EXPECT_LE(inserted, asked + 2) << interval;
        const json times = jsonOf("psitool scan --json out.ts")["table_times"];
        const auto bat =
            std::find_if(times.begin(), times.end(), [](const json &one) { return one["table_id"] == 0x4A; });
        ASSERT_NE(bat, times.end());
        EXPECT_LE((*bat)["interval_ms"]["longest"], interval + 200.0) << "a PCR late, and one early";
    }
}

TEST_F(PsitoolTable, ASectionIsInsertedAmongOthersOnTheirPid)
{
    const Mux mux = timed();
    writeText("bat.json", R"({"table_id": 74, "bouquet_id": 1, "descriptors": [], "transport_streams": []})");
    const Taken before(mux.bytes());
    const Taken after = changed(mux, "--insert bat.json --interval 50", {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x42), before.table(sdtPid, 0x42));
    EXPECT_GE(after.table(sdtPid, 0x4A).size(), 18u);
}

TEST_F(PsitoolTable, ASpliceMessageAndItsAnnouncementAreAdded)
{
    const Mux mux = timed();
    writeText("splice.json", spliceNull);
    const Taken after = changed(mux,
                                "--insert splice.json --interval 200" +
                                    set("pmt[1].streams[+]={\"stream_type\":134,\"elementary_PID\":500}"),
                                {500, 0x100});
    ASSERT_EQ(after.packets.count(500), 1u);
    const json splices = jsonOf("psitool tables --json --type scte35 out.ts")["sections"];
    ASSERT_EQ(splices.size(), 1u);
    EXPECT_EQ(splices[0]["pid"], 500);
    EXPECT_EQ(splices[0]["crc_right"], true);
}

TEST_F(PsitoolTable, WhatCannotBeInsertedIsTold)
{
    const std::string in = write("in.ts", timed().bytes());
    writeText("splice.json", spliceNull);
    writeText("sdt.json", R"({"table_id": 66, "transport_stream_id": 5, "original_network_id": 9, "services": []})");
    expectRefused(in, "--insert sdt.json --interval 100", 1, "SDT actual 0x0005 (5) is in the stream already");
    expectRefused(write("clockless.ts", muxOfTwo(3, 3).bytes()), "--insert splice.json --interval 10", 1,
                  "no PCR tells the time of the stream; --bitrate gives its rate\n");
    expectRefused(write("full.ts", muxOfTwo(9, 0).bytes()), "--insert splice.json --interval 10 --bitrate 1M", 1,
                  "PID 0x01F4 (500): the edited tables need ");
    const Taken after(edited("clockless.ts", "--insert splice.json --interval 10 --bitrate 1M"));
    EXPECT_EQ(after.packets.count(500), 1u);
}

TEST_F(PsitoolTable, WhereThereIsNoRoomRepetitionsAreLeftOutWhenThatIsAllowed)
{
    Mux mux;
    for (int i = 0; i < 6; ++i)
        addPrograms(mux);
    mux.nulls(1);
    const std::string in = write("in.ts", mux.bytes());
    const std::string longName = "--service 1 name=" + std::string(200, 'n');
    expectRefused(in, longName, 1, "the edited tables need ");
    // Once each must be sent: without a single place there is none.
    Mux once;
    addPrograms(once);
    expectRefused(write("once.ts", once.bytes()), longName + " --allow-slower", 1, "the edited tables need ");
    const Taken after(edited(in, longName + " --allow-slower"));
    expectOnlyChanged(Taken(mux.bytes()), after, {sdtPid});
    EXPECT_GE(after.table(sdtPid, 0x42).size(), 3u);
    EXPECT_LT(after.table(sdtPid, 0x42).size(), 6u);
    for (const Bytes &section : after.table(sdtPid, 0x42))
        EXPECT_EQ(versionOf(section), 8);
}

/* ---- ATSC -----------------------------------------------------------------------------------------------------------
 */

Bytes channels()
{
    VctChannel one;
    one.shortName = "ONE";
    one.channelTsid = 5;
    one.programNumber = 1;
    one.descriptors = descriptor(0xA1, {0xE1, 0x01, 2, 0x02, 0xE1, 0x01, 0, 0, 0, 0x81, 0xE1, 0x02, 'e', 'n', 'g'});
    VctChannel two = one;
    two.shortName = "TWO";
    two.programNumber = 2;
    two.sourceId = 2;
    two.descriptors = {};
    return VctBuilder().tsId(5).version(3).channel(one).channel(two).build();
}

Mux atsc()
{
    const Bytes vct = channels();
    const Bytes mgt = MgtBuilder()
                          .version(6)
                          .table(0x0000, psipPid, 3, static_cast<u32>(vct.size()))
                          .table(0x0100, 0x1D00, 9, 100)
                          .build();
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        mux.section(psipPid, mgt).section(psipPid, vct).nulls(3);
    }
    return mux;
}

TEST_F(PsitoolSet, ARenamedPidIsRenamedInTheChannelsLocationAndTheMgtFollows)
{
    changed(atsc(), "--pid 0x102=0x202", {0x100, 0x102, 0x110, 0x202, psipPid});
    const json location = onlyTree("vct")["channels"][0]["descriptors"][0]["fields"];
    EXPECT_EQ(location["PCR_PID"], 0x101);
    EXPECT_EQ(location["elements"][1]["elementary_PID"], 0x202);
    EXPECT_EQ(onlyTree("vct")["version_number"], 4);
    const json mgt = onlyTree("mgt");
    EXPECT_EQ(mgt["version_number"], 7);
    EXPECT_EQ(mgt["tables"][0]["table_type_version_number"], 4);
    EXPECT_EQ(mgt["tables"][0]["number_bytes"], channels().size());
    EXPECT_EQ(mgt["tables"][1]["table_type_version_number"], 9);
}

TEST_F(PsitoolSet, ARemovedProgramLosesItsChannelAndTheMgtItsBytes)
{
    changed(atsc(), "--program 1 remove", {0, 0x100, 0x101, 0x102, psipPid});
    const json vct = onlyTree("vct");
    ASSERT_EQ(vct["channels"].size(), 1u);
    EXPECT_EQ(vct["channels"][0]["short_name"], "TWO");
    const json table = onlyTree("mgt")["tables"][0];
    EXPECT_EQ(table["table_type_version_number"], 4);
    EXPECT_EQ(table["number_bytes"], static_cast<unsigned>(vct["section_length"]) + 3);
    EXPECT_LT(table["number_bytes"], channels().size());
}

TEST_F(PsitoolSet, AChannelGetsItsNewNameAndTheMgtFollows)
{
    changed(atsc(), set("vct.channels[program_number=1].short_name=NEWS"), {psipPid});
    EXPECT_EQ(onlyTree("vct")["channels"][0]["short_name"], "NEWS");
    EXPECT_EQ(onlyTree("mgt")["tables"][0]["table_type_version_number"], 4);
}

TEST_F(PsitoolSet, ATableWhoseVersionIsAlwaysZeroKeepsIt)
{
    Mux mux = atsc();
    mux.section(psipPid, LongSectionBuilder(0xCD).version(0).body({0, 0x4F, 0x12, 0x34, 0x56, 17, 0x60, 0}).build());
    changed(mux, set("stt.GPS_UTC_offset=18"), {psipPid});
    EXPECT_EQ(onlyTree("stt")["GPS_UTC_offset"], 18);
    EXPECT_EQ(onlyTree("stt")["version_number"], 0);
    EXPECT_EQ(onlyTree("mgt")["version_number"], 6);
}

TEST_F(PsitoolSet, WhereNoTableOfPsipChangesTheMgtStays)
{
    changed(atsc(), set("pmt[1].PCR_PID=0x102"), {0x100});
    EXPECT_EQ(onlyTree("mgt")["version_number"], 6);
}

TEST_F(PsitoolSet, ANitOnThePidThatThePatGivesIsFound)
{
    const Mux mux = withPlaces(0x1F, twoStreams());
    changed(mux, "--network-name Other", {0x1F});
    const Taken after = changed(mux, set("nit.network_id=9"), {0x1F});
    EXPECT_EQ(after.table(0x1F, 0x40).at(0)[4], 9);
    EXPECT_EQ(versionOf(after.table(0x1F, 0x40).at(0)), 3);
}

} // namespace
