// psitool edit of files as a user starts it. What comes out is taken apart packet by packet.
#include "editFixture.h"

#include <algorithm>
#include <dlfcn.h>
#include <map>
#include <set>

namespace {

using namespace editing;

TEST_F(PsitoolEdit, AServiceGetsItsNewNameProviderAndType)
{
    const Taken before(bytesOfFile(PSITOOL_EXAMPLE));
    const Taken after(edited(example, "--service 10 name='News 24' provider='Someone Else' type=0x19"));
    expectOnlyChanged(before, after, {sdtPid});
    ASSERT_EQ(before.table(sdtPid, 0x42).size(), after.table(sdtPid, 0x42).size());
    for (const Bytes &section : after.table(sdtPid, 0x42))
        EXPECT_EQ(versionOf(section), 1);

    const json stream = scanned("out.ts")["transport_stream"];
    EXPECT_EQ(stream["sdt"]["head"]["version_number"], 1);
    const json &service = stream["programs"][0]["service"];
    EXPECT_EQ(service["name"]["text"], "News 24");
    EXPECT_EQ(service["provider"]["text"], "Someone Else");
    EXPECT_EQ(service["service_type"], 0x19);
    EXPECT_EQ(stream["programs"][1]["service"]["name"]["text"], "Cinéma Deux");
}

TEST_F(PsitoolEdit, AnUnknownServiceIsNamedAndNothingIsWritten)
{
    expectRefused(
        example, "--service 11 name=x", 1,
        "the SDT actual has no service 0x000B (11), only 0x000A (10), 0x0014 (20), 0x001E (30), 0x0028 (40)\n");
}

TEST_F(PsitoolEdit, AServiceWithoutServiceDescriptorGetsOne)
{
    const Bytes stream = muxOfTwo().bytes();
    const Taken after(edited(write("in.ts", stream), "--service 2 name=Zwei provider=Q"));
    expectOnlyChanged(Taken(stream), after, {sdtPid});
    const Bytes expected = writtenSdt(8)
                               .service(writtenService(1, serviceDescriptor(1, "P", "One") + descriptor(0x5D, {1, 2})))
                               .service(writtenService(2, descriptor(0x5D, {3}) + serviceDescriptor(1, "Q", "Zwei")))
                               .build();
    EXPECT_EQ(after.sections.at(sdtPid), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolEdit, WhatIsNotGivenOfAServiceStays)
{
    const Taken after(edited(write("in.ts", muxOfTwo().bytes()), "--service 0x1 type=22"));
    const Bytes expected = writtenSdt(8)
                               .service(writtenService(1, serviceDescriptor(22, "P", "One") + descriptor(0x5D, {1, 2})))
                               .service(writtenService(2, descriptor(0x5D, {3})))
                               .build();
    EXPECT_EQ(after.sections.at(sdtPid), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolEdit, AStreamOfSiAloneNeedsNoPat)
{
    Mux mux;
    for (int i = 0; i < 3; ++i)
        mux.section(sdtPid, sdtOfTwo()).section(nitPid, NitBuilder().networkId(3).build()).nulls(2);
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=New --network-name Net"));
    expectOnlyChanged(Taken(mux.bytes()), after, {sdtPid, nitPid});
    EXPECT_EQ(versionOf(after.table(sdtPid, 0x42).at(2)), 8);
    EXPECT_EQ(versionOf(after.table(nitPid, 0x40).at(2)), 1);
}

TEST_F(PsitoolEdit, AServiceIsRemoved)
{
    const Bytes stream = muxOfTwo().bytes();
    const Taken after(edited(write("in.ts", stream), "--remove-service 1"));
    expectOnlyChanged(Taken(stream), after, {sdtPid});
    const Bytes expected = writtenSdt(8).service(writtenService(2, descriptor(0x5D, {3}))).build();
    EXPECT_EQ(after.sections.at(sdtPid), std::vector<Bytes>(3, expected));
}

TEST_F(PsitoolEdit, TheInputMayStandAnywhere)
{
    const Bytes stream = muxOfTwo().bytes();
    write("removed.ts", stream);
    const Bytes expected = edited("removed.ts", "--service 1 name=x type=2 --program 2 remove");
    for (const char *arguments :
         {"--program 2 remove removed.ts --service 1 name=x type=2 -o out2.ts",
          "-o out2.ts --service=1 name=x type=2 removed.ts --program=2 remove",
          "--output=out2.ts --service 1 name=x --service 1 type=2 --program 2 remove removed.ts"}) {
        const Result result = shell(std::string("rm -f out2.ts; psitool edit ") + arguments);
        EXPECT_EQ(result.status, 0) << arguments << result.err;
        EXPECT_TRUE(bytesOfFile(folder / "out2.ts") == expected) << arguments;
    }
}

TEST_F(PsitoolEdit, TheVersionAfter31Is0)
{
    Mux mux;
    addPrograms(mux, sdtOfTwo(31));
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=x"));
    EXPECT_EQ(versionOf(after.table(sdtPid, 0x42).at(0)), 0);
}

TEST_F(PsitoolEdit, EveryVersionInMidStreamIsEdited)
{
    Mux mux;
    addPrograms(mux, sdtOfTwo(4));
    addPrograms(mux, sdtOfTwo(5));
    addPrograms(mux, sdtOfTwo(4));
    const Taken after(edited(write("in.ts", mux.bytes()), "--remove-service 2"));
    const auto sdt = after.table(sdtPid, 0x42);
    ASSERT_EQ(sdt.size(), 3u);
    EXPECT_EQ(versionOf(sdt[0]), 5);
    EXPECT_EQ(versionOf(sdt[1]), 6);
    EXPECT_EQ(versionOf(sdt[2]), 5);
    EXPECT_EQ(sdt[1].size(), sdt[0].size());
}

TEST_F(PsitoolEdit, TheAnnouncementOfANextVersionIsLeftOut)
{
    Mux mux;
    addPrograms(mux);
    const Bytes announced = SdtBuilder().tsId(5).version(8).currentNext(0).service(1).build();
    mux.section(sdtPid, announced).payload(0x101, 1);
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=x"));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(after.sections.at(sdtPid).size(), 1u);
    EXPECT_EQ(after.packets.at(nullPid).size(), 1u);
}

/* ---- tables that grow and shrink ------------------------------------------------------------------------------------
 */

const std::string longName(200, 'n');

TEST_F(PsitoolEdit, ATableThatGrowsTakesNullPackets)
{
    const Bytes stream = muxOfTwo(5, 2).bytes();
    const Taken before(stream);
    const Taken after(edited(write("in.ts", stream), "--service 1 name=" + longName));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(before.packets.at(nullPid).size(), 10u);
    EXPECT_EQ(after.packets.at(nullPid).size(), 5u);
    EXPECT_EQ(after.packets.at(sdtPid).size(), 10u);
    ASSERT_EQ(after.table(sdtPid, 0x42).size(), 5u);
    EXPECT_EQ(after.table(sdtPid, 0x42)[4].size(), sdtOfTwo().size() + 197);
}

TEST_F(PsitoolEdit, ATableThatShrinksLeavesNullPackets)
{
    Mux mux;
    const Bytes sdt = writtenSdt(0)
                          .service(writtenService(1, serviceDescriptor(1, "P", longName)))
                          .service(writtenService(2, serviceDescriptor(1, "P", longName)))
                          .build();
    for (int i = 0; i < 3; ++i)
        addPrograms(mux, sdt);
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=a --remove-service 2"));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(before.packets.at(sdtPid).size(), 9u);
    EXPECT_EQ(after.packets.at(sdtPid).size(), 3u);
    EXPECT_EQ(after.packets.at(nullPid).size(), 6u);
    const Bytes plainNull = Bytes{0x47, 0x1F, 0xFF, 0x10} + repeated(184, 0xFF);
    EXPECT_EQ(after.packets.at(nullPid), std::vector<Bytes>(6, plainNull));
}

TEST_F(PsitoolEdit, ATableWithoutRoomIsRefusedWithNumbers)
{
    // Packed one behind the other, five sections of 238 bytes with their pointer_fields fill seven packets.
    ASSERT_EQ(sdtOfTwo().size() + 197, 238u);
    expectRefused(
        write("in.ts", muxOfTwo(5).bytes()), "--service 1 name=" + longName, 1,
        "PID 0x0011 (17): the edited tables need 7 packets, there are places for 5 (5 of the PID itself, 0 null "
        "packets behind them)\n");
}

TEST_F(PsitoolEdit, TheEndOfTheStreamMayCutOffARepetition)
{
    Mux mux = muxOfTwo(4, 3);
    addPrograms(mux); // no null packet behind this SDT
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=" + longName));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x42).size(), 4u);
    EXPECT_EQ(after.packets.at(sdtPid).size(), 8u);
}

/** Services from 100 on, so many that the section has about so many bytes. */
Bytes bigSdt(u16 firstService, std::size_t services, u8 number, u8 last)
{
    SdtBuilder builder = SdtBuilder().tsId(5).originalNetworkId(9).version(1).number(number, last);
    for (std::size_t i = 0; i < services; ++i)
        builder.service(static_cast<u16>(firstService + i), serviceDescriptor(1, "Provider", "Service name"));
    return builder.build();
}

std::vector<u16> servicesOf(const std::vector<Bytes> &sections)
{
    std::vector<u16> ids;
    for (const Bytes &section : sections)
        for (std::size_t at = 11; at + 4 < section.size();
             at += 5u + ((section[at + 3] & 0x0Fu) << 8 | section[at + 4]))
            ids.push_back(static_cast<u16>(section[at] << 8 | section[at + 1]));
    return ids;
}

TEST_F(PsitoolEdit, ASectionThatOverflowsSplitsTheTable)
{
    const Bytes sdt = bigSdt(100, 32, 0, 0);
    ASSERT_GT(sdt.size(), 900u);
    Mux mux;
    for (int i = 0; i < 4; ++i) {
        addPrograms(mux, sdt);
        mux.nulls(3);
    }
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 100 name=" + longName));
    expectOnlyChanged(before, after, {sdtPid});
    const auto sections = after.table(sdtPid, 0x42);
    ASSERT_EQ(sections.size(), 8u);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        EXPECT_EQ(sections[i][6], i % 2);
        EXPECT_EQ(sections[i][7], 1);
        EXPECT_EQ(versionOf(sections[i]), 2);
    }
    EXPECT_EQ(servicesOf({sections[0], sections[1]}), servicesOf({sdt}));
}

TEST_F(PsitoolEdit, OfATableOfSeveralSectionsAllGetTheVersionAndTheCycleStays)
{
    const std::vector<Bytes> table = {bigSdt(100, 20, 0, 2), bigSdt(200, 20, 1, 2), bigSdt(300, 20, 2, 2)};
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        mux.section(0, patOfTwo).section(sdtPid, table[0]).payload(0x101, 2);
        mux.section(sdtPid, table[1]).payload(0x101, 2).section(sdtPid, table[2]).nulls(2);
    }
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 205 name=Five"));
    expectOnlyChanged(before, after, {sdtPid});
    const auto sections = after.table(sdtPid, 0x42);
    ASSERT_EQ(sections.size(), 9u);
    for (std::size_t i = 0; i < sections.size(); ++i) {
        EXPECT_EQ(sections[i][6], i % 3);
        EXPECT_EQ(versionOf(sections[i]), 2);
        EXPECT_EQ(servicesOf({sections[i]}), servicesOf({table[i % 3]}));
    }
    // Its own bytes changed in the reserved bits only; the packets of the other sections stand where they stood.
    EXPECT_EQ(after.packets.at(sdtPid).size(), before.packets.at(sdtPid).size());
}

TEST_F(PsitoolEdit, AnEntryTooLargeForASectionIsRefused)
{
    const Bytes sdt =
        writtenSdt(1)
            .service(writtenService(1, descriptor(0x5D, repeated(250, 1)) + descriptor(0x5E, repeated(250, 2)) +
                                           descriptor(0x5F, repeated(250, 3))))
            .build();
    Mux mux;
    addPrograms(mux, sdt);
    mux.nulls(20);
    expectRefused(write("in.ts", mux.bytes()), "--service 1 name=" + longName + " provider=" + std::string(52, 'p'), 1,
                  "an entry of the SDT actual would not fit a section of 1024 bytes\n");
}

/* ---- other tables on the PID ----------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, OtherTablesOnThePidAreKeptSectionBySection)
{
    const Bytes other = SdtBuilder().other().tsId(6).service(9, serviceDescriptor(1, "x", "y")).build();
    const Bytes bat = BatBuilder().bouquetId(77).desc(descriptor(0x47, bytesOf("Bouquet"))).build();
    const Bytes big = sectionOfSize(1000, 0x4A);
    Bytes shortForm = sectionOfSize(300, 0x72);
    shortForm[1] &= 0x7F;
    Mux mux;
    for (int i = 0; i < 6; ++i) {
        mux.section(0, patOfTwo).payload(0x101, 2);
        mux.together(sdtPid, {other, sdtOfTwo(), big, bat}).payload(0x101, 1).section(sdtPid, shortForm).nulls(1);
        mux.section(sdtPid, bat).payload(0x102, 3);
    }
    const Taken before(mux.bytes());
    for (const char *edit : {"--service 1 name=x", "--service 1 name='A name that is a good deal longer'"}) {
        const Bytes out = edited(write("in.ts", mux.bytes()), edit);
        const Taken after(out);
        expectOnlyChanged(before, after, {sdtPid});
        EXPECT_EQ(after.table(sdtPid, 0x46), before.table(sdtPid, 0x46));
        EXPECT_EQ(after.table(sdtPid, 0x4A), before.table(sdtPid, 0x4A));
        EXPECT_EQ(after.table(sdtPid, 0x42).size(), 6u);
        std::size_t shortForms = 0;
        psi::demux::SectionAssembler assembler([](u16, const u8 *, u16) { return true; },
                                               [&](u16, const u8 *section, u16 length) {
                                                   EXPECT_EQ(Bytes(section, section + length), shortForm);
                                                   ++shortForms;
                                                   return true;
                                               });
        for (std::size_t at = 0; at < out.size(); at += packetSize)
            assembler.packet(out.data() + at);
        EXPECT_EQ(shortForms, 6u);
    }
}

TEST_F(PsitoolEdit, WithTheSameLengthOnlyTheSectionsOwnBytesChange)
{
    const Bytes other = SdtBuilder().other().tsId(6).service(9, serviceDescriptor(1, "x", "y")).build();
    Mux mux;
    for (int i = 0; i < 3; ++i)
        mux.section(0, patOfTwo).together(sdtPid, {sectionOfSize(500, 0x4A), sdtOfTwo(), other}).payload(0x101, 2);
    const Bytes out = edited(write("in.ts", mux.bytes()), "--service 1 name=Two");
    ASSERT_EQ(out.size(), mux.bytes().size());
    std::size_t different = 0;
    for (std::size_t i = 0; i < out.size(); ++i)
        different += out[i] != mux.bytes()[i];
    EXPECT_LE(different, 3u * (1 + 3 + 4)); // version, name, CRC_32
}

TEST_F(PsitoolEdit, ADamagedSectionIsNotSentOnAndNothingElseSuffers)
{
    Mux mux = muxOfTwo(2);
    Bytes bad = sectionOfSize(100, 0x46);
    bad[50] ^= 1;
    mux.section(sdtPid, bad).payload(0x101, 1);
    Bytes error = Bytes{0x47, 0x80, sdtPid, 0x10} + repeated(184, 0x5A); // transport_error_indicator
    mux.raw(error);
    addPrograms(mux);
    const Bytes out = edited(write("in.ts", mux.bytes()), "--service 1 name=x");
    const Taken after(out);
    EXPECT_EQ(after.count, Taken(mux.bytes()).count);
    EXPECT_EQ(after.damaged, 0u);
    EXPECT_EQ(after.continuityErrors, 0u);
    EXPECT_EQ(after.table(sdtPid, 0x42).size(), 3u);
    EXPECT_NE(std::search(out.begin(), out.end(), error.begin(), error.end()), out.end());
}

TEST_F(PsitoolEdit, ASectionCutByEitherEndOfTheStreamHarmsNothing)
{
    Mux mux;
    const Bytes sdt = bigSdt(100, 30, 0, 0);
    for (int i = 0; i < 4; ++i)
        mux.section(0, patOfTwo).section(sdtPid, sdt).payload(0x101, 1);
    Bytes stream = mux.bytes();
    stream.erase(stream.begin(), stream.begin() + 3 * packetSize);
    stream.resize(stream.size() - 3 * packetSize);
    const Taken before(stream);
    const Taken after(edited(write("in.ts", stream), "--service 100 name=x"));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(before.table(sdtPid, 0x42).size(), 2u);
    EXPECT_EQ(after.table(sdtPid, 0x42).size(), 2u);
}

TEST_F(PsitoolEdit, AnAdaptationFieldWithAPcrStaysInItsPacket)
{
    const Bytes pcr = {0x07, 0x10, 0x11, 0x22, 0x33, 0x44, 0x7E, 0x55};
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux, writtenSdt(0).service(writtenService(1, serviceDescriptor(1, "P", longName))).build());
        Bytes packet = Bytes{0x47, 0x00, sdtPid, static_cast<u8>(0x20 | ((mux.counter(sdtPid) + 15) & 0x0F))} +
                       Bytes{0xB7} + Bytes(pcr.begin() + 1, pcr.end()) + repeated(176, 0xFF);
        mux.raw(packet);
        Bytes withPayload = packetsOf(sectionOfSize(100, 0x46), sdtPid, mux.counter(sdtPid));
        withPayload[3] |= 0x20;
        withPayload.insert(withPayload.begin() + 4, pcr.begin(), pcr.end());
        withPayload.resize(packetSize);
        mux.counted(sdtPid, 1);
        mux.raw(withPayload);
    }
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--service 1 name=short"));
    expectOnlyChanged(before, after, {sdtPid});
    std::size_t pcrs = 0;
    for (const Bytes &packet : after.packets.at(sdtPid))
        pcrs += (packet[3] & 0x20) != 0 && std::equal(pcr.begin() + 1, pcr.end(), packet.begin() + 5);
    EXPECT_EQ(pcrs, 6u);
    EXPECT_EQ(after.table(sdtPid, 0x46), before.table(sdtPid, 0x46));
    EXPECT_EQ(after.table(sdtPid, 0x42).size(), 3u);
}

/* ---- packets of other sizes, bytes that are no packets --------------------------------------------------------------
 */

/** The stream with bytes in front of and behind each packet, all of them different. */
Bytes framed(const Bytes &stream, std::size_t before, std::size_t behind)
{
    Bytes out;
    for (std::size_t place = 0; place < stream.size(); place += packetSize) {
        out = out + counting(before, static_cast<u8>(place));
        out.insert(out.end(), stream.begin() + static_cast<std::ptrdiff_t>(place),
                   stream.begin() + static_cast<std::ptrdiff_t>(place + packetSize));
        out = out + counting(behind, static_cast<u8>(place + 99));
    }
    return out;
}

TEST_F(PsitoolEdit, ExtraBytesOfLongerPacketsStayInPlace)
{
    const Bytes stream = muxOfTwo(5, 2).bytes();
    const std::string arguments = "--service 1 name=" + longName;
    const Bytes plain = edited(write("in.ts", stream), arguments);
    EXPECT_EQ(edited(write("in.m2ts", framed(stream, 4, 0)), arguments), framed(plain, 4, 0));
    EXPECT_EQ(edited(write("in.204", framed(stream, 0, 16)), arguments), framed(plain, 0, 16));
}

TEST_F(PsitoolEdit, BytesThatAreNoPacketsGoThrough)
{
    const Bytes garbage = counting(70, 0x80);
    const Bytes stream = muxOfTwo(5, 2).bytes();
    const std::string arguments = "--service 1 name=xyz";
    const Bytes plain = edited(write("in.ts", stream), arguments);
    EXPECT_EQ(edited(write("in2.ts", garbage + stream + garbage), arguments), garbage + plain + garbage);
}

/* ---- NIT and BAT ----------------------------------------------------------------------------------------------------
 */

Mux muxWithNit(const Bytes &nit)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        mux.section(nitPid, nit).section(nitPid, NitBuilder().other().networkId(4).build()).nulls(1);
    }
    return mux;
}

TEST_F(PsitoolEdit, TheNetworkGetsItsNewName)
{
    const Mux mux = muxWithNit(writtenNit(2).desc(networkNameDescriptor("Old")).transportStream(5, 9).build());
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--network-name 'Réseau'"));
    expectOnlyChanged(before, after, {nitPid});
    const Bytes expected = writtenNit(3).desc(networkNameDescriptor("\x15R\xC3\xA9seau")).transportStream(5, 9).build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
    EXPECT_EQ(after.table(nitPid, 0x41), before.table(nitPid, 0x41));
}

TEST_F(PsitoolEdit, ANetworkWithoutANameGetsOneInSection0)
{
    Mux mux;
    const Bytes first = writtenNit(2).number(0, 1).transportStream(5, 9).build();
    const Bytes second = writtenNit(2).number(1, 1).desc(descriptor(0x5F, {0, 0, 0, 1})).transportStream(6, 9).build();
    addPrograms(mux);
    mux.section(nitPid, first).section(nitPid, second);
    const Taken after(edited(write("in.ts", mux.bytes()), "--network-name New"));
    const Bytes expected0 = writtenNit(3).number(0, 1).desc(networkNameDescriptor("New")).transportStream(5, 9).build();
    const Bytes expected1 =
        writtenNit(3).number(1, 1).desc(descriptor(0x5F, {0, 0, 0, 1})).transportStream(6, 9).build();
    EXPECT_EQ(after.table(nitPid, 0x40), (std::vector<Bytes>{expected0, expected1}));
}

TEST_F(PsitoolEdit, ADescriptorIsAddedToATransportStreamOrReplacesItsLike)
{
    const Bytes delivery = descriptor(0x43, repeated(11, 1));
    const Mux mux =
        muxWithNit(writtenNit(0).transportStream(5, 9, delivery + descriptor(0x83, {1})).transportStream(6, 9).build());
    const Taken after(
        edited(write("in.ts", mux.bytes()), "--ts 5 descriptor=8303AAbbCC --ts 0x6 descriptor=4100 descriptor=830107"));
    const Bytes expected = writtenNit(1)
                               .transportStream(5, 9, delivery + descriptor(0x83, {0xAA, 0xBB, 0xCC}))
                               .transportStream(6, 9, descriptor(0x41) + descriptor(0x83, {7}))
                               .build();
    EXPECT_EQ(after.table(nitPid, 0x40), std::vector<Bytes>(3, expected));
}

Bytes bouquet(u16 id, u8 version, const std::string &name)
{
    return BatBuilder()
        .privateIndicator(0)
        .bouquetId(id)
        .version(version)
        .desc(descriptor(0x47, bytesOf(name)))
        .transportStream(5, 9)
        .build();
}

Mux muxWithBouquets(const std::vector<u16> &ids)
{
    Mux mux;
    for (int i = 0; i < 3; ++i) {
        addPrograms(mux);
        for (const u16 id : ids)
            mux.section(sdtPid, bouquet(id, 6, "Old"));
        mux.nulls(2);
    }
    return mux;
}

TEST_F(PsitoolEdit, TheOnlyBouquetGetsItsNewName)
{
    const Mux mux = muxWithBouquets({77});
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--bouquet-name 'A=B'"));
    expectOnlyChanged(before, after, {sdtPid});
    EXPECT_EQ(after.table(sdtPid, 0x4A), std::vector<Bytes>(3, bouquet(77, 7, "A=B")));
    EXPECT_EQ(after.table(sdtPid, 0x42), before.table(sdtPid, 0x42));
}

TEST_F(PsitoolEdit, OneOfSeveralBouquetsGetsItsNewName)
{
    const Mux mux = muxWithBouquets({77, 78});
    const Taken after(edited(write("in.ts", mux.bytes()), "--bouquet-name 0x4E=New"));
    std::vector<Bytes> expected;
    for (int i = 0; i < 3; ++i) {
        expected.push_back(bouquet(77, 6, "Old"));
        expected.push_back(bouquet(78, 7, "New"));
    }
    EXPECT_EQ(after.table(sdtPid, 0x4A), expected);
}

TEST_F(PsitoolEdit, ABouquetThatIsNotMeantClearlyIsAskedFor)
{
    const std::string file = write("in.ts", muxWithBouquets({77, 78}).bytes());
    expectRefused(
        file, "--bouquet-name New", 1,
        "there are several bouquets, 0x004D (77), 0x004E (78): which one is meant (--bouquet-name ID=NAME)?\n");
    expectRefused(file, "--bouquet-name 1=New", 1, "there is no bouquet 0x0001 (1), only 0x004D (77), 0x004E (78)\n");
}

/* ---- PSI ------------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, AProgramIsRemovedWithWhatIsItsAlone)
{
    const Bytes stream = muxOfTwo().bytes();
    const Taken before(stream);
    const Taken after(edited(write("in.ts", stream), "--program 2 remove"));
    expectOnlyChanged(before, after, {0, 0x110, 0x111, 0x1F0});
    const Bytes pat = PatBuilder().tsId(5).version(4).network(nitPid).program(1, 0x100).build();
    EXPECT_EQ(after.sections.at(0), std::vector<Bytes>(3, pat));
    for (const u16 pid : {u16{0x110}, u16{0x111}, u16{0x1F0}})
        EXPECT_EQ(after.packets.count(pid), 0u) << pid;
    EXPECT_EQ(after.packets.at(nullPid).size(), 3u * (1 + 2 + 1));
}

TEST_F(PsitoolEdit, OfAPmtPidThatProgramsShareOnlyTheRemovedOnesPmtGoes)
{
    const Bytes pat = PatBuilder().tsId(5).version(3).program(1, 0x100).program(2, 0x100).build();
    Mux mux;
    for (int i = 0; i < 3; ++i)
        mux.section(0, pat).together(0x100, {pmtOfTwo, pmtOfOne}).payload(0x102, 2).payload(0x111, 2).payload(0x101, 1);
    const Taken before(mux.bytes());
    const Taken after(edited(write("in.ts", mux.bytes()), "--program 2 remove"));
    expectOnlyChanged(before, after, {0, 0x100, 0x111});
    EXPECT_EQ(after.sections.at(0x100), std::vector<Bytes>(3, pmtOfOne));
    EXPECT_EQ(after.packets.count(0x111), 0u);
}

TEST_F(PsitoolEdit, PidsAreRenamedInTablesAndPackets)
{
    const Bytes stream = muxOfTwo().bytes();
    const Taken before(stream);
    const Taken after(
        edited(write("in.ts", stream), "--pid 0x102=0x202 --pid 0x111=0x211 --pid 0x1f0=0x2f0 --pid 0x110=528"));
    expectOnlyChanged(before, after, {0, 0x100, 0x102, 0x110, 0x111, 0x1F0});
    const Bytes pat = PatBuilder().tsId(5).version(4).network(nitPid).program(1, 0x100).program(2, 0x210).build();
    const Bytes one = PmtBuilder(1).version(1).pcrPid(0x101).stream(0x1B, 0x101).stream(0x0F, 0x202).build();
    const Bytes two = PmtBuilder(2)
                          .version(0)
                          .pcrPid(0x211)
                          .programDescriptor(caDescriptor(0x0B00, 0x2F0))
                          .stream(0x1B, 0x211)
                          .stream(0x0F, 0x202, descriptor(0x0A, bytesOf("eng") + Bytes{0}))
                          .build();
    EXPECT_EQ(after.sections.at(0), std::vector<Bytes>(3, pat));
    EXPECT_EQ(after.sections.at(0x100), std::vector<Bytes>(3, one));
    EXPECT_EQ(after.sections.at(0x210), std::vector<Bytes>(3, two));
    for (const auto &[from, to] : std::map<u16, u16>{{0x102, 0x202}, {0x111, 0x211}, {0x1F0, 0x2F0}}) {
        EXPECT_EQ(after.packets.count(from), 0u) << from;
        std::vector<Bytes> expected = before.packets.at(from);
        for (Bytes &packet : expected) {
            packet[1] = static_cast<u8>((packet[1] & 0xE0) | to >> 8);
            packet[2] = static_cast<u8>(to);
        }
        EXPECT_EQ(after.packets.at(to), expected) << from;
    }
}

/* ---- character tables -----------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, NamesInJapanAreWrittenInTheCodeOfJapan)
{
    if (dlopen("libaribb24.so.0", RTLD_LAZY) == nullptr)
        GTEST_SKIP() << "libaribb24 is not installed";
    const auto nit = [](u8 version, const std::string &name) {
        return writtenNit(version)
            .desc(networkNameDescriptor(name))
            .desc({0xFE, 2, 0x03, 0x01})
            .transportStream(5, 0x7ED4)
            .build();
    };
    const auto sdt = [](u8 version, const std::string &provider, const std::string &name) {
        return writtenSdt(version).service(writtenService(1, serviceDescriptor(1, provider, name))).build();
    };
    Mux mux = muxWithNit(nit(2, "#B#S")); // letters of double width, JIS X 0208 row 3
    mux.section(sdtPid, sdt(1, "#B#S", "#B#S"));
    const std::string in = write("in.ts", mux.bytes());
    const Taken after(edited(in, "--network-name ＳＢ --service 1 name=ＢＢ provider=ＳＳ"));
    EXPECT_EQ(after.table(nitPid, 0x40).at(0), nit(3, "#S#B"));
    EXPECT_EQ(after.table(sdtPid, 0x42).back(), sdt(2, "#S#S", "#B#B"));
    std::filesystem::remove(folder / "out.ts");
    expectRefused(in, "--network-name BS", 1, "the name \"BS\" cannot be written in ARIB-STD-B24\n");
    expectRefused(in, "--service 1 name=🚀", 1, "the name \"🚀\" cannot be written in ARIB-STD-B24\n");
}

TEST_F(PsitoolEdit, NamesAreWrittenInTheCharsetThatIsNamed)
{
    Mux mux = muxWithNit(writtenNit(2).build());
    const Taken after(edited(write("in.ts", mux.bytes()), "--network-name Мир --charset iso-8859-5"));
    EXPECT_EQ(after.table(nitPid, 0x40).at(0), writtenNit(3).desc(descriptor(0x40, {0xBC, 0xD8, 0xE0})).build());
}

TEST_F(PsitoolEdit, TwoPidsChangePlaces)
{
    const Bytes stream = muxOfTwo().bytes();
    const Taken before(stream);
    const Taken after(edited(write("in.ts", stream), "--pid 0x101=0x111 --pid 0x111=0x101"));
    EXPECT_EQ(before.packets.at(0x101).size(), after.packets.at(0x111).size());
    EXPECT_EQ(before.packets.at(0x111).size(), after.packets.at(0x101).size());
    EXPECT_EQ(after.continuityErrors, 0u);
    EXPECT_EQ(after.sections.at(0), before.sections.at(0)); // no PMT moved
}

TEST_F(PsitoolEdit, WhatIsWrongWithProgramsAndPidsIsSaid)
{
    const std::string file = write("in.ts", muxOfTwo().bytes());
    expectRefused(file, "--program 9 remove", 1, "the PAT has no program 0x0009 (9)\n");
    expectRefused(file, "--pid 0x300=0x301", 1, "PID 0x0300 (768) is neither in a PMT nor that of a PMT\n");
    expectRefused(file, "--pid 0x101=0x102", 1, "PID 0x0102 (258) is in use already\n");
    expectRefused(file, "--pid 0x101=0x100", 1, "PID 0x0100 (256) is in use already\n");
    Mux announcing = muxOfTwo();
    announcing.section(1, LongSectionBuilder(0x01).idExt(0xFFFF).body(caDescriptor(0x0B00, 0x444)).build());
    announcing.section(0x1FFB, MgtBuilder().table(0x0100, 0x555, 9, 100).build());
    const std::string other = write("announcing.ts", announcing.bytes());
    expectRefused(other, "--pid 0x101=0x444", 1, "PID 0x0444 (1092) is in use already\n");
    expectRefused(other, "--pid 0x101=0x555", 1, "PID 0x0555 (1365) is in use already\n");
    expectRefused(file, "--program 2 remove --pid 0x111=0x211", 1, "PID 0x0111 (273) is neither in a PMT");
}

/* ---- errors ---------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, EveryTableThatIsNotInTheStreamIsNamed)
{
    Mux mux;
    mux.section(0, patOfTwo).payload(0x101, 5);
    expectRefused(write("in.ts", mux.bytes()), "--service 1 name=x --network-name y", 1,
                  "in.ts: no SDT actual found; no NIT actual found\n");
}

TEST_F(PsitoolEdit, ATableThatIsNotInTheStreamIsNamed)
{
    const std::string file = write("in.ts", muxOfTwo().bytes());
    expectRefused(file, "--network-name x", 1, "in.ts: no NIT actual found\n");
    expectRefused(file, "--bouquet-name x", 1, "in.ts: no BAT found\n");
    Mux mux;
    mux.section(0, patOfTwo).payload(0x101, 5);
    expectRefused(write("in.ts", mux.bytes()), "--service 1 name=x", 1, "in.ts: no SDT actual found\n");
    expectRefused(write("in.ts", Mux().payload(0x101, 9).bytes()), "--program 1 remove", 1, "in.ts: no PAT found\n");
    mux.section(sdtPid, bigSdt(100, 3, 1, 2)).section(sdtPid, bigSdt(200, 3, 0, 2));
    expectRefused(write("in.ts", mux.bytes()), "--service 100 name=x", 1,
                  "in.ts: the SDT actual is not complete in the stream\n");
    expectRefused(write("in.ts", muxWithNit(writtenNit(0).transportStream(5, 9).build()).bytes()),
                  "--ts 7 descriptor=4100", 1, "the NIT actual has no transport stream 0x0007 (7), only 0x0005 (5)\n");
}

TEST_F(PsitoolEdit, ATableThatIsOnlyAnnouncedIsNotCurrent)
{
    Mux mux = muxOfTwo();
    mux.section(sdtPid, BatBuilder().bouquetId(1).currentNext(0).build());
    mux.section(nitPid, NitBuilder().networkId(1).currentNext(0).build());
    const std::string file = write("in.ts", mux.bytes());
    const std::string announced = " is not current, only announced as the next one\n";
    expectRefused(file, "--bouquet-name x", 1, "in.ts: the BAT" + announced);
    expectRefused(file, "--bouquet-name 1=x", 1, "in.ts: the BAT" + announced);
    expectRefused(file, "--network-name x", 1, "in.ts: the NIT actual" + announced);
}

struct WrongUse {
    const char *name;
    std::string arguments;
    const char *line;
};

void PrintTo(const WrongUse &wrong, std::ostream *out)
{
    *out << wrong.name;
}

class PsitoolEditWrongUse : public PsitoolEdit, public testing::WithParamInterface<WrongUse> {};

TEST_P(PsitoolEditWrongUse, IsRefusedInOneLine)
{
    expectRefused(write("in.ts", muxOfTwo().bytes()), GetParam().arguments, 2, GetParam().line);
}

const WrongUse wrongUses[] = {
    {"Nothing", "", "nothing to change is given"},
    {"NoServiceField", "--service 1", "--service 1: name=, provider= or type= is missing"},
    {"ServiceNoNumber", "--service one name=x", "--service: \"one\" is no number"},
    {"ServiceTooLarge", "--service 65536 name=x", "--service: 65536 is more than 65535"},
    {"TypeTooLarge", "--service 1 type=0x100", "--service: 0x100 is more than 255"},
    {"NameTooLong", "--service 1 name=" + std::string(253, 'x'), "the name takes 253 bytes, its descriptor holds 252"},
    {"NamesTooLong", "--service 1 provider=xxx name=" + std::string(250, 'x'),
     "name and provider take 253 bytes together"},
    {"NameNoUtf8", "--service 1 name=$(printf 'a\\377')", "is no UTF-8, or has control characters"},
    {"NameWithControl", "--service 1 name=$(printf 'a\\033b')", "is no UTF-8, or has control characters"},
    {"NetworkNameTooLong", "--network-name " + std::string(256, 'x'), "takes 256 bytes, its descriptor holds 255"},
    {"TsNoDescriptor", "--ts 5", "--ts 5: descriptor=HEX is missing"},
    {"TsNoHex", "--ts 5 descriptor=4z00", "is not made of pairs of hexadecimal digits"},
    {"TsHalfByte", "--ts 5 descriptor=410", "is not made of pairs of hexadecimal digits"},
    {"TsWrongLength", "--ts 5 descriptor=410201", "is not descriptor_tag, descriptor_length and that many bytes"},
    {"TsEmpty", "--ts 5 descriptor=", "is not descriptor_tag, descriptor_length and that many bytes"},
    {"ProgramNoVerb", "--program 5", "--program 5: \"remove\" is missing"},
    {"Program0", "--program 0 remove", "--program: 0 is no program"},
    {"PidNoEquals", "--pid 0x101", "--pid: \"0x101\" has no '='"},
    {"PidReserved", "--pid 0x101=0x11", "--pid: 0x11 is a reserved PID"},
    {"PidNull", "--pid 0x101=0x1FFF", "--pid: 0x1FFF is a reserved PID"},
    {"PidTwice", "--pid 0x101=0x201 --pid 0x101=0x202", "--pid: 0x101 is given twice"},
    {"PidsToOne", "--pid 0x101=0x201 --pid 0x102=0x201", "--pid: two PIDs get the same new one"},
    {"PidSame", "--pid 0x101=0x101", "--pid: old and new PID are the same"},
    {"DurationTooLong", "--service 1 name=x --duration 864001",
     "--duration: '864001' is no number of seconds up to 864000 (ten days)"},
    {"DurationOfNothing", "--service 1 name=x --duration 0", "--duration: '0' is no number of seconds"},
    {"RemovedAndChanged", "--service 1 name=x --remove-service 1", "service 1 is to be changed and removed"},
};

INSTANTIATE_TEST_SUITE_P(Arguments, PsitoolEditWrongUse, testing::ValuesIn(wrongUses),
                         [](const auto &tested) { return tested.param.name; });

/* ---- outputs --------------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, TheInputIsNotWrittenOver)
{
    const Bytes stream = muxOfTwo().bytes();
    write("in.ts", stream);
    for (const char *arguments : {"in.ts -o in.ts", "in.ts -o ./in.ts", "in.ts -o link.ts", "- -o in.ts <in.ts"}) {
        const Result result = shell(std::string("ln -f in.ts link.ts; psitool edit --service 1 name=x ") + arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_TRUE(contains(result.err, ": is the input as well\n")) << result.err;
    }
    EXPECT_EQ(bytesOfFile(folder / "in.ts"), stream);
}

TEST_F(PsitoolEdit, AnOldOutputStaysWhenTheEditIsRefused)
{
    write("in.ts", muxOfTwo().bytes());
    write("out.ts", bytesOf("old"));
    EXPECT_EQ(shell("psitool edit in.ts -o out.ts --service 9 name=x").status, 1);
    EXPECT_EQ(contentOf(folder / "out.ts"), "old");
    EXPECT_EQ(shell("psitool edit in.ts -o out.ts --service 1 name=x").status, 0);
    EXPECT_EQ(std::filesystem::file_size(folder / "out.ts"), std::filesystem::file_size(folder / "in.ts"));
}

TEST_F(PsitoolEdit, InputsAndOutputsThatFailAreStatus3)
{
    write("empty", {});
    write("in.ts", muxOfTwo().bytes());
    const std::vector<std::pair<std::string, std::string>> failing = {
        {"in.ts -o missing/out.ts", "missing/out.ts: cannot be written: No such file or directory\n"},
        {"in.ts -o /dev/full", "/dev/full: cannot be written: No space left on device\n"},
        {"in.ts -o - >/dev/full", "standard output: cannot be written: No space left on device\n"},
        {"missing.ts -o out.ts", "missing.ts: No such file or directory\n"},
        {"- -o out.ts <empty", "standard input: is empty\n"},
    };
    for (const auto &[arguments, line] : failing) {
        const Result result = shell("psitool edit --service 1 name=x " + arguments);
        EXPECT_EQ(result.status, 3) << arguments;
        EXPECT_EQ(result.err, "psitool: " + line);
    }
}

TEST_F(PsitoolEdit, AWrongUrlIsWrongUse)
{
    for (const char *arguments : {"udp://127.0.0.1:0 -o out.ts", "udp://127.0.0.1:5000 -o rtp://127.0.0.1:0"}) {
        const Result result = shell(std::string("psitool edit --service 1 name=x ") + arguments);
        EXPECT_EQ(result.status, 2) << arguments;
        EXPECT_TRUE(contains(result.err, ": \"0\" is no port\n")) << result.err;
    }
}

TEST_F(PsitoolEdit, AFileThatGrowsIsEditedAsItWas)
{
    // It grows while the edit waits to write: behind the look at it, in front of its second reading.
    const Bytes stream = muxOfTwo(40, 2).bytes();
    const Bytes expected = edited(write("in.ts", stream), "--service 1 name=x");
    write("more.ts", muxOfTwo(20, 2).bytes());
    const Result result = shell("mkfifo pipe; { sleep 0.5; cat more.ts >>in.ts; cat <pipe >got.ts; } & "
                                "psitool edit in.ts -o pipe --service 1 name=x; status=$?; wait; exit $status");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "psitool: in.ts: has grown while it was read: the " + std::to_string(stream.size()) +
                              " bytes that it had at the start were edited\n");
    EXPECT_TRUE(bytesOfFile(folder / "got.ts") == expected);
}

TEST_F(PsitoolEdit, AFileThatShrinksIsAnErrorAndNothingIsWritten)
{
    write("in.ts", muxOfTwo(40, 2).bytes());
    const Result result = shell("mkfifo pipe; { sleep 0.5; truncate -s 18800 in.ts; cat <pipe >got.ts; } & "
                                "psitool edit in.ts -o pipe --service 1 name=x; status=$?; wait; exit $status");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "psitool: in.ts: has become shorter while it was read\n");
}

TEST_F(PsitoolEdit, ADurationIsForWhatHasNoLength)
{
    write("in.ts", muxOfTwo(40, 2).bytes());
    const Result result = shell("psitool edit in.ts -o out.ts --service 1 name=x --duration 5");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "psitool: --duration: in.ts is a file, it is edited whole\n");
    EXPECT_EQ(shell("psitool edit - -o out.ts --service 1 name=x --duration 0 <in.ts").status, 2);
}

/** Where a result goes when it is named as a device, and the file that must not be replaced by it. */
TEST_F(PsitoolEdit, StandardOutputIsWrittenWhateverItIsCalled)
{
    const Bytes stream = muxOfTwo(40, 2).bytes();
    const Bytes expected = edited(write("in.ts", stream), "--service 1 name=x");
    const std::vector<std::string> outputs = {
        "/dev/stdout >new.ts 2>app.log", "/dev/fd/1 >new.ts 2>app.log",       "/proc/self/fd/1 >new.ts 2>app.log",
        "link >new.ts 2>app.log",        "/dev/fd/7 7>new.ts 2>app.log >out", "/dev/stderr 2>new.ts >app.log",
    };
    shell("ln -s /dev/stdout link");
    for (const std::string &output : outputs) {
        const Result result = shell("echo kept >app.log; rm -f new.ts; touch new.ts; ls -i new.ts >before; "
                                    "psitool edit in.ts --service 1 name=x -o " +
                                    output + "; status=$?; ls -i new.ts | cmp - before && exit $status");
        EXPECT_EQ(result.status, 0) << output;
        EXPECT_TRUE(bytesOfFile(folder / "new.ts") == expected) << output;
        EXPECT_EQ(contentOf(folder / "app.log"), "") << output;
    }
    const Result closed = shell("psitool edit in.ts --service 1 name=x -o /dev/fd/8");
    EXPECT_EQ(closed.status, 3);
    EXPECT_EQ(closed.err, "psitool: /dev/fd/8: cannot be written: Bad file descriptor\n");
}

TEST_F(PsitoolEdit, AFileIsNotSentLive)
{
    const Result result =
        shell("psitool edit " + write("in.ts", muxOfTwo().bytes()) + " -o udp://127.0.0.1:9 --service 1 name=x");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "psitool: udp://127.0.0.1:9: only a live input can be sent live, a file has no clock\n");
}

TEST_F(PsitoolEdit, StatisticsCountWhatWentThrough)
{
    write("in.ts", muxOfTwo(5, 2).bytes());
    const Result result = shell("psitool edit in.ts -o out.ts --statistics --service 1 name=" + longName);
    const std::string packets = std::to_string(5 * (4 + 8 + 2));
    for (const std::string &line :
         {"packets in                      " + packets, "packets out                     " + packets,
          std::string("packets lost                    0"), std::string("sections edited                 5"),
          std::string("null packets used               5"), std::string("high-water mark")})
        EXPECT_TRUE(contains(result.err, line)) << line << "\nis not in\n" << result.err;
}

/* ---- what others see ------------------------------------------------------------------------------------------------
 */

TEST_F(PsitoolEdit, FfprobeShowsTheNewNames)
{
    if (shell("command -v ffprobe").status != 0)
        GTEST_SKIP() << "ffprobe is not installed: nothing to compare with (apt-get install ffmpeg)";
    edited(example, "--service 10 name='Nachrichten für alle' provider=Sender --pid 0x200=0x700 --pid 0x100=0x701");
    const Result result = shell("ffprobe -v error -show_programs -of json out.ts");
    EXPECT_EQ(result.err, "");
    const json programs = parsedJson(result.out)["programs"];
    ASSERT_EQ(programs.size(), 4u);
    EXPECT_EQ(programs[0]["tags"]["service_name"], "Nachrichten für alle");
    EXPECT_EQ(programs[0]["tags"]["service_provider"], "Sender");
    EXPECT_EQ(programs[0]["pmt_pid"], 0x701);
    EXPECT_EQ(programs[0]["pcr_pid"], 0x700);
    EXPECT_EQ(programs[0]["streams"][0]["id"], "0x700");
    EXPECT_EQ(programs[1]["tags"]["service_name"], "Cinéma Deux");
}

TEST_F(PsitoolEdit, FfmpegDecodesARenamedStreamToTheSamePictures)
{
    if (shell("command -v ffmpeg").status != 0)
        GTEST_SKIP() << "ffmpeg is not installed: nothing to compare with (apt-get install ffmpeg)";
    edited(example, "--pid 0x200=0x700 --program 20 remove");
    const std::string decode = " -map 0:p:10:v -f framemd5 - | grep -v '^#'";
    const Result before = shell("ffmpeg -v error -nostdin -i " + example + decode);
    const Result after = shell("ffmpeg -v error -nostdin -i out.ts" + decode);
    EXPECT_NE(before.out, "");
    EXPECT_EQ(after.out, before.out);
    EXPECT_EQ(after.err, before.err);
}

TEST_F(PsitoolEdit, TsharkShowsTheNewNamesAndNoWrongCrc)
{
    if (shell("command -v tshark").status != 0)
        GTEST_SKIP() << "tshark is not installed: nothing to compare with (apt-get install tshark)";
    edited(example, "--service 10 name='News 24' --network-name 'My Network'");
    const Result result = shell("tshark -r out.ts -V -Y 'dvb_sdt || dvb_nit' 2>tshark.err");
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(contains(result.out, "Service Name: News 24\n"));
    EXPECT_TRUE(contains(result.out, "Network Name: My Network\n") || contains(result.out, "Name: My Network\n"))
        << result.out.substr(0, 3000);
    EXPECT_FALSE(contains(result.out, "News One"));
    EXPECT_FALSE(contains(result.out, "Malformed"));
    EXPECT_FALSE(contains(result.out, "incorrect"));
}

} // namespace
