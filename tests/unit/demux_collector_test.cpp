#include "demux/collector.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

using namespace psi::demux;
using namespace psitest;

constexpr u16 patPid = 0;
constexpr u16 sdtPid = 0x11;
constexpr u16 pmtPid = 0x100;
constexpr u16 streamPid = 0x101;

Bytes pat(u8 version = 1, u8 currentNext = 1)
{
    return PatBuilder().tsId(1).version(version).currentNext(currentNext).program(7, pmtPid).build();
}

Bytes sdtOther(u16 tsId, u8 version = 1)
{
    return SdtBuilder().other().tsId(tsId).version(version).service(1).build();
}

/** A packet of an adaptation field with a PCR. */
Bytes pcrPacket(u16 pid, uint64_t ticks)
{
    const uint64_t base = ticks / 300;
    const uint64_t extension = ticks % 300;
    Bytes packet = {0x47, static_cast<u8>(pid >> 8), static_cast<u8>(pid & 0xFF), 0x20, 183, 0x10};
    for (const unsigned shift : {25U, 17U, 9U, 1U})
        packet.push_back(static_cast<u8>(base >> shift & 0xFF));
    packet.push_back(static_cast<u8>((base & 1) << 7 | 0x7E | extension >> 8));
    packet.push_back(static_cast<u8>(extension & 0xFF));
    return packet + repeated(188 - packet.size(), 0xFF);
}

class CollectorTest : public testing::Test {
protected:
    static void SetUpTestSuite() { initLibrary(); }
    void TearDown() override { std::remove(file().c_str()); }

    static std::string file() { return testing::TempDir() + "collector_" + std::to_string(getpid()) + ".ts"; }

    Collector &collect(const Bytes &stream)
    {
        std::ofstream(file(), std::ios::binary)
            .write(reinterpret_cast<const char *>(stream.data()), static_cast<std::streamsize>(stream.size()));
        collector = std::make_unique<Collector>(file());
        collector->run();
        return *collector;
    }

    const CollectedTable *table(u16 pid, u8 tableId) const
    {
        for (const CollectedTable *one : collector->tables())
            if (one->pid == pid && one->tableId == tableId)
                return one;
        return nullptr;
    }

    std::unique_ptr<Collector> collector;
};

TEST_F(CollectorTest, KeepsARepeatedSectionOnce)
{
    PacketStream stream(patPid);
    for (int i = 0; i < 100; ++i)
        stream.section(pat());
    collect(stream.bytes());
    ASSERT_EQ(collector->tables().size(), 1u);
    const CollectedTable *found = table(patPid, 0x00);
    EXPECT_EQ(found->count, 100u);
    ASSERT_EQ(found->versions.size(), 1u);
    EXPECT_EQ(found->versions[0].sections.size(), 1u);
    EXPECT_EQ(collector->validSections().size(), 1u);
}

TEST_F(CollectorTest, ANextTableIsKeptButDoesNotHold)
{
    collect(PacketStream(patPid).section(pat(2, 0)).section(pat(1, 1)).section(pat(2, 0)).bytes());
    const CollectedTable *found = table(patPid, 0x00);
    ASSERT_EQ(found->versions.size(), 2u);
    ASSERT_NE(found->valid(), nullptr);
    EXPECT_EQ(found->valid()->number, 1);
    EXPECT_EQ(found->changeCount, 2u) << "the first of each";
}

TEST_F(CollectorTest, CurrentAndNextThatTakeTurnsChangeNothingAndHaveIntervalsOfTheirOwn)
{
    Bytes stream;
    for (uint64_t i = 0; i < 20; ++i) { // a PCR, a PAT and the next one every 40 ms
        const u8 counter = static_cast<u8>(2 * i & 0x0F);
        stream = stream + pcrPacket(streamPid, i * 1080000) + packetsOf(pat(2, 0), patPid, counter) +
                 packetsOf(pat(i < 10 ? 1 : 2), patPid, static_cast<u8>(counter + 1));
    }
    collect(stream);
    const CollectedTable *found = table(patPid, 0x00);
    EXPECT_EQ(found->changeCount, 3u) << "next 2, current 1, current 2";
    EXPECT_NEAR(found->intervals.shortest, 0.040, 1e-6);
    EXPECT_NEAR(found->intervals.longest, 0.040, 1e-6);
}

TEST_F(CollectorTest, SectionsOfTwoVersionsAreNotMixed)
{
    const auto section = [](u8 version, u8 number) {
        return PatBuilder().tsId(1).version(version).number(number, 1).program(number + 1U, pmtPid).build();
    };
    collect(PacketStream(patPid).section(section(1, 0)).section(section(1, 1)).section(section(2, 0)).bytes());
    const std::vector<Section> valid = collector->validSections();
    ASSERT_EQ(valid.size(), 2u) << "version 2 is not whole: version 1 holds";
    for (const Section &one : valid)
        EXPECT_EQ(one.bytes[5] >> 1 & 0x1F, 1);
}

TEST_F(CollectorTest, AFloodDoesNotPushOutWhatTheStreamIsMadeOf)
{
    PacketStream flood(sdtPid);
    for (u32 i = 0; i < 20000; ++i)
        flood.section(sdtOther(static_cast<u16>(i), static_cast<u8>(i >> 16)));
    PacketStream real(sdtPid, 0);
    const Bytes sdt = SdtBuilder().tsId(1).service(7).build();
    collect(flood.bytes() + packetsOf(pat(), patPid) + packetsOf(sdt, sdtPid));
    EXPECT_GT(collector->statistics().sectionsNotStored, 0u);
    EXPECT_NE(table(patPid, 0x00), nullptr);
    EXPECT_NE(table(sdtPid, 0x42), nullptr);
}

TEST_F(CollectorTest, WhatRepeatsTakesThePlaceOfWhatCameOnce)
{
    PacketStream stream(sdtPid);
    for (u32 i = 0; i < 20000; ++i)
        stream.section(sdtOther(static_cast<u16>(i)));
    for (int i = 0; i < 3; ++i)
        stream.section(sdtOther(0xFFF0));
    collect(stream.bytes());
    bool found = false;
    for (const CollectedTable *one : collector->tables())
        found = found || one->extension == 0xFFF0;
    EXPECT_TRUE(found);
}

TEST_F(CollectorTest, AStreamThatItsPmtDeclaresIsNotTakenForSections)
{
    const Bytes pmt = PmtBuilder(7).stream(0x06, streamPid).build();
    Bytes wrong = sdtOther(1);
    wrong.back() ^= 0xFF;
    Bytes data;
    for (u8 i = 0; i < 4; ++i)
        data = data + packetsOf(wrong, streamPid, i);
    collect(data + packetsOf(pat(), patPid) + packetsOf(pmt, pmtPid) + packetsOf(wrong, streamPid, 4));
    EXPECT_EQ(collector->statistics().crcErrors, 0u);
    EXPECT_EQ(table(streamPid, 0x46), nullptr);
}

TEST_F(CollectorTest, NullPacketsAreCountedAlsoWhenAPmtNamesTheirPid)
{
    Packet null;
    null.pid = 0x1FFF;
    Bytes stream = null.bytes() + PacketStream(patPid).section(pat()).bytes() + null.bytes();
    stream = stream + PacketStream(pmtPid).section(PmtBuilder(7).stream(0x1B, 0x1FFF).build()).bytes();
    Bytes damaged = null.bytes();
    damaged[1] |= 0x80;
    const Collector &all = collect(stream + null.bytes() + damaged + null.bytes());
    EXPECT_EQ(4u, all.statistics().nullPackets);
    EXPECT_EQ(1u, all.statistics().transportErrors);
    EXPECT_EQ(0u, all.statistics().scrambledPackets);
    const std::vector<PidStatistics> pids = all.pids();
    EXPECT_EQ(0x1FFF, pids.back().pid);
    EXPECT_EQ(4u, pids.back().packets);
    EXPECT_EQ(0u, pids.back().continuityErrors) << "their counters mean nothing";
}

TEST_F(CollectorTest, CrcErrorsBelongToTheirPid)
{
    Bytes wrong = SdtBuilder().tsId(1).service(7).build();
    wrong.back() ^= 0xFF;
    collect(packetsOf(pat(), patPid) + packetsOf(wrong, sdtPid));
    EXPECT_EQ(collector->statistics().crcErrors, 1u);
    for (const PidStatistics &pid : collector->pids())
        EXPECT_EQ(pid.crcErrors, pid.pid == sdtPid ? 1u : 0u) << pid.pid;
}

TEST_F(CollectorTest, TellsWhyATableIsMissing)
{
    const Bytes twoPrograms = PatBuilder().tsId(1).program(7, pmtPid).program(8, 0x200).build();
    Bytes wrong = PmtBuilder(7).build();
    wrong.back() ^= 0xFF;
    const Bytes part = SdtBuilder().tsId(1).number(1, 2).service(7).build();
    const Bytes next = NitBuilder().networkId(3).currentNext(0).build();
    collect(packetsOf(twoPrograms, patPid) + packetsOf(wrong, pmtPid) + packetsOf(part, sdtPid) +
            packetsOf(next, 0x10));
    std::map<u8, std::vector<MissingReason>> reasons;
    for (const MissingTable &missing : collector->missing())
        reasons[missing.tableId].push_back(missing.reason);
    EXPECT_EQ(reasons[0x02], (std::vector<MissingReason>{MissingReason::crcWrong, MissingReason::notSeen}));
    EXPECT_EQ(reasons[0x42], std::vector<MissingReason>{MissingReason::incomplete});
    EXPECT_EQ(reasons[0x40], std::vector<MissingReason>{MissingReason::notCurrent});
    EXPECT_EQ(reasons.count(0x00), 0u);
}

TEST_F(CollectorTest, TimesFollowThePcr)
{
    Bytes stream;
    for (uint64_t i = 0; i < 20; ++i) // a PCR and a PAT every 40 ms
        stream = stream + pcrPacket(streamPid, i * 1080000) + packetsOf(pat(), patPid, static_cast<u8>(i & 0x0F));
    collect(stream);
    const CollectedTable *found = table(patPid, 0x00);
    ASSERT_GT(found->intervals.count, 10u);
    EXPECT_NEAR(found->intervals.shortest, 0.040, 1e-6);
    EXPECT_NEAR(found->intervals.longest, 0.040, 1e-6);
    EXPECT_NEAR(collector->bitrate(), 2 * 188 * 8 / 0.040, 1);
    EXPECT_NEAR(collector->resolved(found->first).seconds, 0.020, 1e-6);
}

TEST_F(CollectorTest, IntervalsBeforeTheClockRunsAreMeasuredWhenItDoes)
{
    Bytes stream;
    for (u8 i = 0; i < 10; ++i) // ten PATs in front of the first of two PCRs, a packet a millisecond
        stream = stream + packetsOf(pat(), patPid, i);
    stream = stream + pcrPacket(streamPid, 0) + pcrPacket(streamPid, 27000);
    collect(stream);
    const CollectedTable *found = table(patPid, 0x00);
    EXPECT_EQ(found->intervals.count, 9u);
    EXPECT_NEAR(found->intervals.shortest, 0.001, 1e-9);
    EXPECT_NEAR(found->intervals.longest, 0.001, 1e-9);
}

TEST_F(CollectorTest, IntervalsAreRightWhereTheRateChanges)
{
    constexpr uint64_t millisecond = 27000;
    Bytes stream = pcrPacket(streamPid, 0) + packetsOf(pat(), patPid) + pcrPacket(streamPid, 2 * millisecond);
    for (u8 i = 0; i < 9; ++i) // ten times as many packets in the same time: the PAT is at 2.2 ms
        stream = stream + packetsOf(pat(), i == 1 ? patPid : streamPid, 1);
    collect(stream + pcrPacket(streamPid, 4 * millisecond));
    const CollectedTable *found = table(patPid, 0x00);
    ASSERT_EQ(found->intervals.count, 1u);
    EXPECT_NEAR(found->intervals.shortest, 0.0014, 1e-9);
}

TEST_F(CollectorTest, AStreamWithoutAClockHasNoIntervals)
{
    collect(packetsOf(pat(), patPid) + packetsOf(pat(), patPid, 1));
    EXPECT_EQ(table(patPid, 0x00)->intervals.count, 0u);
}

TEST_F(CollectorTest, ShortFormTablesAreKept)
{
    const Bytes tdt = {0x70, 0x70, 0x05, 0xE7, 0x53, 0x12, 0x34, 0x56};
    collect(packetsOf(pat(), patPid) + packetsOf(tdt, 0x14));
    const CollectedTable *found = table(0x14, 0x70);
    ASSERT_NE(found, nullptr);
    EXPECT_FALSE(found->longForm);
}

TEST_F(CollectorTest, ASectionInTheShortFormIsNoPatAndTakesNothingFromTheOneThatIs)
{
    const Bytes empty = {0x00, 0x30, 0x00};
    const Bytes other = {0x00, 0x30, 0x02, 0x12, 0x34};
    collect(packetsOf(empty, patPid) + packetsOf(pat(), patPid, 1) + packetsOf(other, patPid, 2));
    EXPECT_FALSE(collector->uses().programs().empty());
}

} // namespace
