#include "demux/sectionAssembler.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using namespace psi::demux;
using psitest::Bytes;
using psitest::Packet;
using psitest::PacketStream;
using psitest::sectionOfSize;

namespace {

using psitest::operator+;
using Sections = std::vector<Bytes>;

constexpr u16 kPid = 0x100;

struct Assembled {
    Sections sections;
    std::vector<u16> pids;
    Statistics count;
    std::vector<PidStatistics> perPid;
};

Assembled assemble(const std::vector<Bytes> &packets)
{
    Assembled result;
    SectionAssembler assembler([&](u16 pid, const u8 *section, u16 length) {
        if (psiCalculateCrc(section, length) != 0)
            return false;
        result.sections.emplace_back(section, section + length);
        result.pids.push_back(pid);
        return true;
    });
    for (const Bytes &packet : packets) {
        // A packet of its own on the heap, so that a sanitizer sees a read beyond it.
        const Bytes copy(packet.begin(), packet.end());
        assembler.packet(copy.data());
    }
    result.count = assembler.counters();
    result.perPid = assembler.pids();
    return result;
}

std::vector<Bytes> inPackets(const Bytes &section, u8 firstCc = 0, u16 pid = kPid)
{
    return PacketStream(pid, firstCc).section(section).packets();
}

std::vector<Bytes> operator+(std::vector<Bytes> a, const std::vector<Bytes> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/** A packet that opens a unit: pointer_field, then the bytes. */
Bytes opening(u8 cc, u8 pointer, const Bytes &payload)
{
    Packet packet;
    packet.pid = kPid;
    packet.cc = cc;
    packet.pusi = true;
    packet.pointer = pointer;
    packet.payload = payload;
    return packet.bytes();
}

/** The packet with a discontinuity_indicator in an adaptation field of its own. */
Bytes announcement(u8 cc)
{
    Bytes packet = psitest::adaptationOnly(kPid, cc).bytes();
    packet[5] = 0x80;
    return packet;
}

} // namespace

TEST(SectionAssembler, TakesSectionsOfAllSizes)
{
    for (const size_t size : std::vector<size_t>{12, 182, 183, 184, 367, 368, 1021, 1024, 1025, 4095, 4096}) {
        const Assembled result = assemble(inPackets(sectionOfSize(size)));
        EXPECT_EQ(Sections{sectionOfSize(size)}, result.sections) << size;
        EXPECT_EQ(1u, result.count.sections);
    }
}

TEST(SectionAssembler, TakesSeveralSectionsOfOnePacket)
{
    const Sections three = {sectionOfSize(20), sectionOfSize(30), sectionOfSize(40)};
    const Assembled result = assemble({opening(0, 0, three[0] + three[1] + three[2])});
    EXPECT_EQ(three, result.sections);
}

TEST(SectionAssembler, TakesSectionsThatBeginBehindAnother)
{
    const Sections all = {sectionOfSize(200), sectionOfSize(50), sectionOfSize(400), sectionOfSize(20)};
    const Assembled result = assemble(PacketStream(kPid).backToBack(all).packets());
    EXPECT_EQ(all, result.sections);
    EXPECT_EQ(0u, result.count.brokenSections);
}

TEST(SectionAssembler, TakesASectionWhoseHeaderIsSplitOverPackets)
{
    for (size_t lead = 181; lead <= 182; ++lead) {
        const Bytes first = sectionOfSize(lead + 183);
        const Bytes second = sectionOfSize(300);
        const Assembled result = assemble(PacketStream(kPid).backToBack({first, second}).packets());
        EXPECT_EQ((Sections{first, second}), result.sections) << lead;
    }
}

TEST(SectionAssembler, SkipsTheTailBehindThePointerWhenNothingIsInProgress)
{
    const Bytes section = sectionOfSize(60);
    const Assembled result = assemble({opening(0, 10, psitest::repeated(10, 0x33) + section)});
    EXPECT_EQ(Sections{section}, result.sections);
}

TEST(SectionAssembler, TakesAPointerToTheVeryEndOfThePacket)
{
    const Bytes section = sectionOfSize(183 + 183);
    std::vector<Bytes> packets = inPackets(section);
    ASSERT_EQ(2u, packets.size());
    packets.back() = opening(1, 183, Bytes(section.end() - 183, section.end()));
    EXPECT_EQ(Sections{section}, assemble(packets).sections);
}

TEST(SectionAssembler, DropsAPacketWhosePointerLeadsBeyondIt)
{
    for (unsigned pointer = 184; pointer <= 255; ++pointer) {
        const Assembled result = assemble(std::vector<Bytes>{opening(0, static_cast<u8>(pointer), sectionOfSize(60))} +
                                          inPackets(sectionOfSize(70), 1));
        EXPECT_EQ(Sections{sectionOfSize(70)}, result.sections) << pointer;
        EXPECT_EQ(1u, result.count.malformedPackets) << pointer;
    }
}

TEST(SectionAssembler, ReadsPayloadBehindAdaptationFieldsOfAllLengths)
{
    const Bytes section = sectionOfSize(500);
    for (unsigned length = 0; length <= 181; ++length) {
        const auto packets = PacketStream(kPid).section(section, {}, static_cast<u8>(length)).packets();
        EXPECT_EQ(Sections{section}, assemble(packets).sections) << length;
    }
}

TEST(SectionAssembler, DropsPacketsWhoseAdaptationFieldLeadsBeyondThem)
{
    for (unsigned length = 184; length <= 255; ++length) {
        Bytes packet = opening(0, 0, sectionOfSize(60));
        packet[3] = 0x30;
        packet[4] = static_cast<u8>(length);
        const Assembled result = assemble({packet});
        EXPECT_TRUE(result.sections.empty());
        EXPECT_EQ(1u, result.count.malformedPackets) << length;
    }
}

TEST(SectionAssembler, CountsThePacketWithoutRoomForPayloadAsContinuous)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(300));
    Packet full;
    full.pid = kPid;
    full.cc = 1;
    full.adaptationLength = u8{183};
    packets[1][3] = 0x12;
    packets.insert(packets.begin() + 1, full.bytes());
    const Assembled result = assemble(packets);
    EXPECT_EQ(Sections{sectionOfSize(300)}, result.sections);
    EXPECT_EQ(0u, result.count.continuityErrors);
}

TEST(SectionAssembler, IgnoresTheCounterOfPacketsWithoutPayload)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(300), 14);
    packets.insert(packets.begin() + 1, psitest::adaptationOnly(kPid, 14).bytes());
    packets.insert(packets.begin() + 1, psitest::adaptationOnly(kPid, 9).bytes());
    const Assembled result = assemble(packets + inPackets(sectionOfSize(20), 0));
    EXPECT_EQ((Sections{sectionOfSize(300), sectionOfSize(20)}), result.sections);
    EXPECT_EQ(0u, result.count.continuityErrors);
}

TEST(SectionAssembler, DropsARepeatedPacketOnce)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(600));
    for (size_t at = packets.size(); at-- > 0;)
        packets.insert(packets.begin() + static_cast<std::ptrdiff_t>(at), packets[at]);
    const Assembled result = assemble(packets);
    EXPECT_EQ(Sections{sectionOfSize(600)}, result.sections);
    EXPECT_EQ(packets.size() / 2, result.count.duplicatePackets);
    EXPECT_EQ(0u, result.count.continuityErrors);
}

TEST(SectionAssembler, TheThirdOfThreeEqualPacketsIsAContinuityError)
{
    const Bytes packet = opening(5, 0, sectionOfSize(40));
    const Assembled result = assemble({packet, packet, packet});
    EXPECT_EQ(1u, result.count.duplicatePackets);
    EXPECT_EQ(1u, result.count.continuityErrors);
    EXPECT_EQ(2u, result.sections.size());
}

TEST(SectionAssembler, ALossOfSixteenPacketsIsNoRepetition)
{
    const Assembled result = assemble(inPackets(sectionOfSize(40), 5) + inPackets(sectionOfSize(41), 5));
    EXPECT_EQ((Sections{sectionOfSize(40), sectionOfSize(41)}), result.sections);
    EXPECT_EQ(0u, result.count.duplicatePackets);
    EXPECT_EQ(1u, result.count.continuityErrors);
}

TEST(SectionAssembler, ContinuityBreakDropsOnlyTheSectionInProgress)
{
    std::vector<Bytes> packets = PacketStream(kPid)
                                     .section(sectionOfSize(100))
                                     .section(sectionOfSize(700))
                                     .section(sectionOfSize(200))
                                     .packets();
    packets.erase(packets.begin() + 2);
    const Assembled result = assemble(packets);
    EXPECT_EQ((Sections{sectionOfSize(100), sectionOfSize(200)}), result.sections);
    EXPECT_EQ(1u, result.count.continuityErrors);
    EXPECT_EQ(1u, result.count.brokenSections);
    EXPECT_EQ(0u, result.count.crcErrors);
    EXPECT_EQ(1u, result.perPid.at(0).continuityErrors);
}

TEST(SectionAssembler, TheSectionBehindALostTailIsTaken)
{
    const Sections all = {sectionOfSize(700), sectionOfSize(60)};
    std::vector<Bytes> packets = PacketStream(kPid).backToBack(all).packets();
    packets.erase(packets.begin() + 1);
    EXPECT_EQ(Sections{all[1]}, assemble(packets).sections);
}

TEST(SectionAssembler, AnAnnouncedJumpIsNoError)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(700));
    packets.erase(packets.begin() + 2, packets.end());
    const Assembled result = assemble(packets + std::vector<Bytes>{announcement(9)} + inPackets(sectionOfSize(50), 9));
    EXPECT_EQ(Sections{sectionOfSize(50)}, result.sections);
    EXPECT_EQ(0u, result.count.continuityErrors);
    EXPECT_EQ(1u, result.count.discontinuities);
    EXPECT_EQ(1u, result.count.brokenSections);
}

TEST(SectionAssembler, AJumpMayBeAnnouncedInThePacketItself)
{
    auto after = PacketStream(kPid, 9).section(sectionOfSize(50), {}, u8{1}).packets();
    after[0][5] = 0x80;
    const Assembled result = assemble(inPackets(sectionOfSize(40)) + after);
    EXPECT_EQ((Sections{sectionOfSize(40), sectionOfSize(50)}), result.sections);
    EXPECT_EQ(0u, result.count.continuityErrors);
    EXPECT_EQ(1u, result.count.discontinuities);
}

TEST(SectionAssembler, AnAnnouncementWithoutAJumpBreaksNothing)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(700));
    packets.insert(packets.begin() + 1, announcement(0));
    const Assembled result = assemble(packets);
    EXPECT_EQ(Sections{sectionOfSize(700)}, result.sections);
    EXPECT_EQ(0u, result.count.discontinuities);
}

TEST(SectionAssembler, DropsPacketsWithTransportError)
{
    std::vector<Bytes> packets = inPackets(sectionOfSize(300)) + inPackets(sectionOfSize(40), 2);
    packets[1][1] |= 0x80;
    const Assembled result = assemble(packets);
    EXPECT_EQ(Sections{sectionOfSize(40)}, result.sections);
    EXPECT_EQ(1u, result.count.transportErrors);
    EXPECT_EQ(1u, result.count.brokenSections);
}

TEST(SectionAssembler, DropsScrambledPacketsButFollowsTheirCounter)
{
    std::vector<Bytes> packets =
        inPackets(sectionOfSize(30)) + inPackets(sectionOfSize(31), 1) + inPackets(sectionOfSize(32), 2);
    packets[1][3] |= 0xC0;
    const Assembled result = assemble(packets);
    EXPECT_EQ((Sections{sectionOfSize(30), sectionOfSize(32)}), result.sections);
    EXPECT_EQ(1u, result.count.scrambledPackets);
    EXPECT_EQ(1u, result.perPid.at(0).scrambledPackets);
    EXPECT_EQ(0u, result.count.continuityErrors);
}

TEST(SectionAssembler, DropsNullPackets)
{
    const Assembled result = assemble(inPackets(sectionOfSize(30), 0, 0x1FFF));
    EXPECT_TRUE(result.sections.empty());
    EXPECT_EQ(1u, result.count.nullPackets);
}

TEST(SectionAssembler, DropsPacketsWithTheReservedControlValue)
{
    Bytes packet = opening(0, 0, sectionOfSize(30));
    packet[3] &= 0x0F;
    const Assembled result = assemble({packet});
    EXPECT_TRUE(result.sections.empty());
    EXPECT_EQ(1u, result.count.malformedPackets);
}

TEST(SectionAssembler, StopsAtStuffing)
{
    const Assembled result = assemble({opening(0, 0, sectionOfSize(30) + Bytes{0xFF} + sectionOfSize(40))});
    EXPECT_EQ(Sections{sectionOfSize(30)}, result.sections);
}

TEST(SectionAssembler, CountsAWrongCrc)
{
    Bytes bad = sectionOfSize(60);
    bad[20] ^= 1;
    const Assembled result = assemble({opening(0, 0, bad + sectionOfSize(50))});
    EXPECT_EQ(Sections{sectionOfSize(50)}, result.sections);
    EXPECT_EQ(1u, result.count.crcErrors);
    EXPECT_EQ(1u, result.perPid.at(0).sections);
}

TEST(SectionAssembler, StepsOverSectionsInTheShortForm)
{
    Bytes shortForm = sectionOfSize(40);
    shortForm[1] &= 0x7F;
    const Assembled result = assemble({opening(0, 0, shortForm + sectionOfSize(50))});
    EXPECT_EQ(Sections{sectionOfSize(50)}, result.sections);
    EXPECT_EQ(1u, result.count.shortFormSections);
}

TEST(SectionAssembler, HandsOnSectionsInTheShortFormWhereSomebodyWantsThem)
{
    Bytes shortForm = sectionOfSize(400);
    shortForm[1] &= 0x7F;
    Sections shortForms;
    Sections longForms;
    SectionAssembler assembler(
        [&](u16, const u8 *section, u16 length) {
            longForms.emplace_back(section, section + length);
            return true;
        },
        [&](u16 pid, const u8 *section, u16 length) {
            EXPECT_EQ(kPid, pid);
            shortForms.emplace_back(section, section + length);
            return true;
        });
    PacketStream stream(kPid);
    for (const Bytes &packet : stream.backToBack({shortForm, sectionOfSize(50)}).packets())
        assembler.packet(packet.data());
    EXPECT_EQ(Sections{shortForm}, shortForms);
    EXPECT_EQ(Sections{sectionOfSize(50)}, longForms);
    EXPECT_EQ(1u, assembler.counters().sections);
}

TEST(SectionAssembler, TellsInWhichPacketASectionBegan)
{
    std::vector<uint64_t> starts;
    std::vector<uint64_t> ends;
    SectionAssembler assembler([&](u16, const u8 *, u16) {
        starts.push_back(assembler.sectionStart());
        ends.push_back(assembler.counters().packets - 1);
        return true;
    });
    const Bytes other = psitest::packetsOf(sectionOfSize(20), 0x200);
    assembler.packet(other.data());
    // 400 bytes: three packets; the next one begins in the third; 600 bytes more: up to the sixth
    PacketStream stream(kPid);
    for (const Bytes &packet : stream.backToBack({sectionOfSize(400), sectionOfSize(600)}).packets())
        assembler.packet(packet.data());
    EXPECT_EQ((std::vector<uint64_t>{0, 1, 3}), starts);
    EXPECT_EQ((std::vector<uint64_t>{0, 3, 6}), ends);
}

TEST(SectionAssembler, StepsOverSectionsThatAreTooShortForTheLongForm)
{
    for (u8 length = 0; length < 9; ++length) {
        const Bytes tooShort = Bytes{0x4A, 0xB0, length} + psitest::repeated(length, 0x11);
        const Assembled result = assemble({opening(0, 0, tooShort + sectionOfSize(50))});
        EXPECT_EQ(Sections{sectionOfSize(50)}, result.sections) << int{length};
        EXPECT_EQ(1u, result.count.malformedSections);
    }
}

TEST(SectionAssembler, DropsASectionLongerThan4096Bytes)
{
    for (const unsigned length : {4094u, 4095u}) {
        const Bytes tooLong = {0x4A, static_cast<u8>(0xB0 | length >> 8), static_cast<u8>(length), 1, 2, 3};
        const Assembled result = assemble(std::vector<Bytes>{opening(0, 0, tooLong)} + inPackets(sectionOfSize(30), 1));
        EXPECT_EQ(Sections{sectionOfSize(30)}, result.sections) << length;
        EXPECT_EQ(1u, result.count.malformedSections);
    }
}

TEST(SectionAssembler, RejectsPes)
{
    Packet pes;
    pes.pid = kPid;
    pes.pusi = true;
    pes.payload = Bytes{0, 0, 1, 0xE0, 0, 0} + sectionOfSize(60);
    std::vector<Bytes> packets = {pes.bytes()};
    pes.pusi = false;
    for (u8 cc = 1; cc < 5; ++cc) {
        pes.cc = cc;
        packets.push_back(pes.bytes());
    }
    const Assembled result = assemble(packets);
    EXPECT_TRUE(result.sections.empty());
    EXPECT_TRUE(result.perPid.at(0).pes);
    EXPECT_EQ(0u, result.count.crcErrors + result.count.brokenSections + result.count.malformedSections);
}

TEST(SectionAssembler, KeepsPidsApart)
{
    const auto one = inPackets(sectionOfSize(400), 0, 0x11);
    const auto two = inPackets(sectionOfSize(500), 7, 0x12);
    const Assembled result = assemble({one[0], two[0], two[1], one[1], one[2], two[2]});
    EXPECT_EQ((Sections{sectionOfSize(400), sectionOfSize(500)}), result.sections);
    EXPECT_EQ((std::vector<u16>{0x11, 0x12}), result.pids);
}

TEST(SectionAssembler, CountsPerPidInOrderOfPid)
{
    const Assembled result = assemble(inPackets(sectionOfSize(400), 0, 0x12) + inPackets(sectionOfSize(20), 0, 0x11));
    ASSERT_EQ(2u, result.perPid.size());
    EXPECT_EQ(0x11, result.perPid[0].pid);
    EXPECT_EQ(1u, result.perPid[0].packets);
    EXPECT_EQ(0x12, result.perPid[1].pid);
    EXPECT_EQ(3u, result.perPid[1].packets);
    EXPECT_EQ(1u, result.perPid[1].sections);
}

TEST(SectionAssembler, SeesThePcr)
{
    Packet packet;
    packet.pid = kPid;
    packet.adaptationLength = u8{7};
    Bytes bytes = packet.bytes();
    bytes[5] = 0x10;
    EXPECT_TRUE(assemble({bytes}).perPid.at(0).pcr);
    EXPECT_FALSE(assemble({packet.bytes()}).perPid.at(0).pcr);
}

/** Packets of a PID without sections, one behind the other; the first one tells so. */
Bytes pesRun(unsigned packets)
{
    Bytes run;
    for (unsigned i = 0; i < packets; ++i) {
        Packet packet;
        packet.pid = kPid;
        packet.cc = static_cast<u8>(i & 0xF);
        packet.pusi = i == 0;
        packet.payload = Bytes{0, 0, 1, 0xE0, 0, 0};
        run = run + packet.bytes();
    }
    return run;
}

/** Packets that the assembler goes past behind those that it looks into. */
size_t passed(SectionAssembler &assembler, const Bytes &run, size_t lookedInto = 1)
{
    for (size_t i = 0; i < lookedInto; ++i)
        assembler.packet(run.data() + i * kPacketBytes);
    const u8 *const first = run.data() + lookedInto * kPacketBytes;
    const u8 *const last = run.data() + run.size() - kPacketBytes;
    return static_cast<size_t>(assembler.takeQuiet(first, last, kPacketBytes) - first) / kPacketBytes;
}

TEST(SectionAssembler, GoesPastNoPacketThatNoSyncByteFollows)
{
    constexpr unsigned packets = 20;
    for (unsigned bit = 0; bit < 8; ++bit)
        for (unsigned at = 2; at < packets; ++at)
            for (const bool null : {false, true}) {
                Bytes run = pesRun(packets);
                if (null)
                    makeNull(run.data() + at * kPacketBytes);
                run[at * kPacketBytes] = static_cast<u8>(kSyncByte ^ 1U << bit);
                SectionAssembler assembler([](u16, const u8 *, u16) { return true; });
                EXPECT_EQ(at - 2, passed(assembler, run)) << bit;
                EXPECT_EQ(at - 1, assembler.packets());
                EXPECT_EQ(at - 1, assembler.pids().at(0).packets);
                // The one that was left is the next one.
                assembler.packet(run.data() + (at - 1) * kPacketBytes);
                EXPECT_EQ(at, assembler.pids().at(0).packets);
                EXPECT_EQ(0u, assembler.counters().continuityErrors);
            }
}

TEST(SectionAssembler, TakesARunOfZerosForNoHeader)
{
    Bytes run = pesRun(6);
    std::fill_n(run.begin() + 3 * kPacketBytes, kPacketBytes, u8{0});
    SectionAssembler assembler([](u16, const u8 *, u16) { return true; });
    EXPECT_EQ(1u, passed(assembler, run));
    EXPECT_FALSE(assembler.carries(kPatPid));
    EXPECT_EQ(1u, assembler.pids().size());
}

Bytes nullPacket(unsigned counter)
{
    Bytes packet(kPacketBytes);
    makeNull(packet.data());
    packet[3] = static_cast<u8>(0x10U | (counter & 0xFU));
    return packet;
}

TEST(SectionAssembler, CountsNullPacketsWhateverTheirCounterIs)
{
    std::vector<Bytes> packets;
    for (const unsigned counter : {0U, 0U, 7U, 3U, 3U, 15U, 1U, 2U, 3U, 4U, 4U})
        packets.push_back(nullPacket(counter));
    packets.back()[1] |= 0x60; // a unit begins, and priority
    packets.push_back(nullPacket(5));
    packets.back()[3] |= 0xC0; // scrambled
    const Assembled result = assemble(packets);
    EXPECT_EQ(packets.size(), result.count.nullPackets);
    EXPECT_EQ(packets.size(), result.perPid.at(0).packets);
    EXPECT_EQ(0u, result.count.continuityErrors + result.count.scrambledPackets);
}

TEST(SectionAssembler, GoesPastNullPacketsWhoseCounterStandsStillOrGoesOn)
{
    for (const unsigned step : {0U, 1U}) {
        Bytes run;
        for (unsigned i = 0; i < 40; ++i)
            run = run + nullPacket(7 + i * step);
        SectionAssembler assembler([](u16, const u8 *, u16) { return true; });
        EXPECT_EQ(37u, passed(assembler, run, 2)) << step; // two tell how it goes on; the last one is not to be passed
        EXPECT_EQ(39u, assembler.counters().nullPackets);
    }
}

TEST(SectionAssembler, RandomPacketsNeverLeaveTheirBounds)
{
    std::minstd_rand random(7);
    std::vector<Bytes> packets;
    for (int i = 0; i < 20000; ++i) {
        Bytes packet(188);
        for (u8 &byte : packet)
            byte = static_cast<u8>(random() >> 8);
        packet[1] &= 0x40;
        packet[2] &= 0x03;
        packets.push_back(packet);
    }
    const Assembled result = assemble(packets);
    EXPECT_EQ(packets.size(), result.count.packets);
    EXPECT_GT(result.count.crcErrors, 0u);
    EXPECT_GT(result.count.malformedPackets, 0u);
}

TEST(SectionAssembler, MutatedStreamsGiveOnlyRightSections)
{
    std::minstd_rand random(11);
    const Sections all = {sectionOfSize(700), sectionOfSize(60), sectionOfSize(4096), sectionOfSize(20)};
    const auto good = PacketStream(kPid).backToBack(all).section(all[1]).duplicateLast().packets();
    for (int round = 0; round < 2000; ++round) {
        auto packets = good;
        for (int change = 0; change < 5; ++change) {
            Bytes &packet = packets[random() % packets.size()];
            packet[random() % 2 == 0 ? random() % 8 : random() % 188] = static_cast<u8>(random() >> 8);
        }
        for (const Bytes &section : assemble(packets).sections)
            EXPECT_EQ(0u, psitest::crc32Mpeg(section.data(), section.size()));
    }
}
