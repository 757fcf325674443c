#include "demux/packetSync.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <random>

using namespace psi::demux;
using psitest::Bytes;

namespace {

using psitest::operator+;
using Sizes = std::vector<size_t>;

/** Packets whose continuity_counter and first payload bytes number them. */
Bytes numberedPacket(unsigned number)
{
    psitest::Packet packet;
    packet.pid = 0x123;
    packet.cc = number & 0x0F;
    packet.payload = {static_cast<u8>(number >> 8), static_cast<u8>(number)};
    return packet.bytes();
}

Bytes numberedPackets(unsigned from, unsigned count, size_t bytesInFront = 0, size_t bytesBehind = 0)
{
    Bytes stream;
    for (unsigned i = from; i < from + count; ++i)
        stream = stream + psitest::counting(bytesInFront, static_cast<u8>(i * 7)) + numberedPacket(i) +
                 psitest::counting(bytesBehind, static_cast<u8>(i * 11));
    return stream;
}

struct Found {
    std::vector<unsigned> numbers;
    SyncCounters counters;
};

/** Feeds a stream in chunks of `chunk` bytes and notes the numbers of the packets that come out. */
Found syncOn(const Bytes &stream, size_t chunk = SIZE_MAX)
{
    Found found;
    PacketSync sync;
    const auto note = [&](const u8 *packet) {
        EXPECT_EQ(kSyncByte, packet[0]);
        found.numbers.push_back(static_cast<unsigned>(packet[4] << 8 | packet[5]));
    };
    for (size_t at = 0; at < stream.size(); at += std::min(chunk, stream.size() - at)) {
        // A copy of its own, so that a sanitizer sees a read beyond the chunk.
        const Bytes part(stream.begin() + static_cast<std::ptrdiff_t>(at),
                         stream.begin() + static_cast<std::ptrdiff_t>(at + std::min(chunk, stream.size() - at)));
        sync.feed(part.data(), part.size(), note);
    }
    sync.finish(note);
    found.counters = sync.counters();
    return found;
}

std::vector<unsigned> range(unsigned from, unsigned count)
{
    std::vector<unsigned> numbers;
    for (unsigned i = from; i < from + count; ++i)
        numbers.push_back(i);
    return numbers;
}

std::vector<unsigned> operator+(std::vector<unsigned> a, const std::vector<unsigned> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes noSyncBytes(size_t count, unsigned seed)
{
    std::minstd_rand random(seed);
    Bytes bytes(count);
    for (u8 &byte : bytes)
        do
            byte = static_cast<u8>(random() >> 8);
        while (byte == kSyncByte);
    return bytes;
}

} // namespace

TEST(PacketSync, FindsPacketsOf188Bytes)
{
    const Found found = syncOn(numberedPackets(0, 40));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(188u, found.counters.packetSize);
    EXPECT_EQ(40u, found.counters.packets);
    EXPECT_EQ(0u, found.counters.skippedBytes);
    EXPECT_EQ(0u, found.counters.resyncs);
}

TEST(PacketSync, FindsPacketsOf192BytesWithATimestampInFront)
{
    const Found found = syncOn(numberedPackets(0, 40, 4));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(192u, found.counters.packetSize);
    EXPECT_EQ(0u, found.counters.skippedBytes);
}

TEST(PacketSync, FindsPacketsOf204BytesWithParityBehind)
{
    const Found found = syncOn(numberedPackets(0, 40, 0, 16));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(204u, found.counters.packetSize);
    EXPECT_EQ(0u, found.counters.skippedBytes);
}

TEST(PacketSync, IsNotMisledByATimestampThatLooksLikeASyncByte)
{
    Bytes stream;
    for (unsigned i = 0; i < 30; ++i)
        stream = stream + Bytes{0x47, static_cast<u8>(0x80 | i), static_cast<u8>(i * 37), static_cast<u8>(i * 91)} +
                 numberedPacket(i);
    const Found found = syncOn(stream);
    EXPECT_EQ(range(0, 30), found.numbers);
    EXPECT_EQ(192u, found.counters.packetSize);
}

TEST(PacketSync, TakesChunksOfAnySize)
{
    for (const size_t front : Sizes{0, 4}) {
        const Bytes stream = psitest::repeated(33, 0x11) + numberedPackets(0, 60, front);
        const Found whole = syncOn(stream);
        ASSERT_EQ(range(0, 60), whole.numbers);
        for (const size_t chunk : Sizes{1, 2, 3, 187, 188, 189, 192, 204, 1000, 4095, 4096, 4097, 10000}) {
            const Found found = syncOn(stream, chunk);
            EXPECT_EQ(whole.numbers, found.numbers) << "chunks of " << chunk;
            EXPECT_EQ(whole.counters.skippedBytes, found.counters.skippedBytes) << "chunks of " << chunk;
            EXPECT_EQ(whole.counters.packetSize, found.counters.packetSize) << "chunks of " << chunk;
        }
    }
}

TEST(PacketSync, HandsOnThePacketsOfAChunkWhereTheyLie)
{
    const Bytes stream = numberedPackets(0, 50);
    PacketSync sync;
    size_t inPlace = 0;
    sync.feed(stream.data(), stream.size(),
              [&](const u8 *packet) { inPlace += packet >= stream.data() && packet < stream.data() + stream.size(); });
    EXPECT_GE(inPlace, 44u);
    EXPECT_EQ(inPlace, sync.counters().packets);
}

TEST(PacketSync, AcceptsAFileOfOneOrTwoPackets)
{
    for (const size_t front : Sizes{0, 4})
        for (const size_t behind : Sizes{0, 16})
            for (unsigned count = 1; count <= 2; ++count) {
                if (front != 0 && behind != 0)
                    continue;
                const Found found = syncOn(numberedPackets(7, count, front, behind));
                EXPECT_EQ(range(7, count), found.numbers) << front << " in front, " << behind << " behind";
                EXPECT_EQ(188 + front + behind, found.counters.packetSize);
                EXPECT_EQ(0u, found.counters.skippedBytes);
            }
}

TEST(PacketSync, AcceptsAFileOfFewPacketsWithADamagedHeaderAmongThem)
{
    Bytes stream = numberedPackets(0, 4);
    stream[2 * kPacketBytes + 3] &= 0xCF; // adaptation_field_control: reserved
    EXPECT_EQ(range(0, 4), syncOn(stream).numbers);
    EXPECT_EQ(188u, syncOn(stream).counters.packetSize);
    for (size_t at = 0; at < stream.size(); at += kPacketBytes)
        stream[at + 3] &= 0xCF;
    EXPECT_TRUE(syncOn(stream).numbers.empty());
}

TEST(PacketSync, SkipsGarbageInFront)
{
    for (const size_t garbage : Sizes{1, 100, 187, 188, 5000}) {
        const Found found = syncOn(noSyncBytes(garbage, 1) + numberedPackets(0, 20));
        EXPECT_EQ(range(0, 20), found.numbers) << garbage;
        EXPECT_EQ(garbage, found.counters.skippedBytes);
        EXPECT_EQ(0u, found.counters.resyncs);
    }
}

TEST(PacketSync, FindsOnePacketBehindGarbage)
{
    const Found found = syncOn(noSyncBytes(50, 2) + numberedPackets(3, 1));
    EXPECT_EQ(range(3, 1), found.numbers);
    EXPECT_EQ(50u, found.counters.skippedBytes);
}

TEST(PacketSync, SurvivesGarbageBetweenPackets)
{
    const Found found = syncOn(numberedPackets(0, 20) + noSyncBytes(777, 3) + numberedPackets(20, 20));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(777u, found.counters.skippedBytes);
    EXPECT_EQ(1u, found.counters.resyncs);
}

TEST(PacketSync, GarbageIsNotTakenForPacketsOfAnotherSize)
{
    Bytes garbage = noSyncBytes(2000, 3);
    for (const unsigned at : {300u, 300u + 204, 300u + 2 * 204})
        garbage[at] = 0x47;
    const Found found = syncOn(numberedPackets(0, 20) + garbage + numberedPackets(20, 20));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(188u, found.counters.packetSize);
    EXPECT_EQ(2000u, found.counters.skippedBytes);
    EXPECT_EQ(1u, found.counters.resyncs);
}

TEST(PacketSync, GarbageIsTakenForPacketsOfTheSameSizeOnlyWhereItLooksLikeThem)
{
    Bytes garbage = noSyncBytes(2000, 3);
    for (const unsigned at : {300u, 300u + 188, 300u + 2 * 188}) {
        garbage[at] = 0x47;
        garbage[at + 3] = 0x00; // adaptation_field_control '00'
    }
    const Found found = syncOn(numberedPackets(0, 20) + garbage + numberedPackets(20, 20));
    EXPECT_EQ(range(0, 40), found.numbers);
    EXPECT_EQ(2000u, found.counters.skippedBytes);
}

TEST(PacketSync, MissingBytesCostNoPacketBehindThem)
{
    for (const int missing : {1, 10, 100, 180}) {
        Bytes cut = numberedPacket(20);
        cut.erase(cut.begin() + 6, cut.begin() + 6 + missing);
        const Found found = syncOn(numberedPackets(0, 20) + cut + numberedPackets(21, 20));
        EXPECT_EQ(range(0, 41), found.numbers) << missing;
        EXPECT_EQ(1u, found.counters.resyncs);
    }
}

TEST(PacketSync, InsertedBytesCostNoPacketBehindThem)
{
    for (const unsigned inserted : {1u, 10u, 100u, 500u}) {
        Bytes longer = numberedPacket(20);
        longer.insert(longer.begin() + 6, inserted, 0x55);
        const Found found = syncOn(numberedPackets(0, 20) + longer + numberedPackets(21, 20));
        EXPECT_EQ(range(0, 41), found.numbers) << inserted;
        EXPECT_EQ(inserted, found.counters.skippedBytes);
        EXPECT_EQ(1u, found.counters.resyncs);
    }
}

TEST(PacketSync, KeepsSyncOverOneDamagedSyncByte)
{
    Bytes stream = numberedPackets(0, 40);
    stream[188 * 10] = 0x46;
    const Found found = syncOn(stream);
    EXPECT_EQ(range(0, 10) + range(11, 29), found.numbers);
    EXPECT_EQ(188u, found.counters.skippedBytes);
    EXPECT_EQ(0u, found.counters.resyncs);
}

TEST(PacketSync, DamageNearTheEndDoesNotDependOnChunks)
{
    for (unsigned damaged = 30; damaged < 40; ++damaged) {
        Bytes stream = numberedPackets(0, 40);
        stream[188 * damaged] = 0;
        const Found whole = syncOn(stream);
        EXPECT_EQ(range(0, damaged) + range(damaged + 1, 39 - damaged), whole.numbers) << damaged;
        for (const size_t chunk : Sizes{1, 188, 376, 1000})
            EXPECT_EQ(whole.numbers, syncOn(stream, chunk).numbers) << damaged << " chunks of " << chunk;
    }
}

TEST(PacketSync, CountsATruncatedTailAsSkipped)
{
    for (const size_t tail : Sizes{1, 100, 187}) {
        Bytes stream = numberedPackets(0, 21);
        stream.resize(20 * 188 + tail);
        const Found found = syncOn(stream);
        EXPECT_EQ(range(0, 20), found.numbers) << tail;
        EXPECT_EQ(tail, found.counters.skippedBytes);
    }
}

TEST(PacketSync, TakesTheLastPacketOf204BytesWithoutItsParity)
{
    Bytes stream = numberedPackets(0, 20, 0, 16);
    stream.resize(stream.size() - 16);
    const Found found = syncOn(stream);
    EXPECT_EQ(range(0, 20), found.numbers);
    EXPECT_EQ(0u, found.counters.skippedBytes);
}

TEST(PacketSync, FollowsAChangeOfThePacketSize)
{
    const Found found = syncOn(numberedPackets(0, 20) + numberedPackets(20, 20, 0, 16) + numberedPackets(40, 20, 4));
    EXPECT_EQ(range(0, 60), found.numbers);
    EXPECT_EQ(192u, found.counters.packetSize);
    EXPECT_EQ(2u, found.counters.resyncs);
}

TEST(PacketSync, FindsNothingInText)
{
    Bytes text;
    while (text.size() < 100000)
        text = text + psitest::bytesOf("Going Great Guns: GIF89a GGGG is no transport stream. ");
    const Found found = syncOn(text);
    EXPECT_TRUE(found.numbers.empty());
    EXPECT_EQ(text.size(), found.counters.skippedBytes);
    EXPECT_EQ(0u, found.counters.packetSize);
}

TEST(PacketSync, FindsNothingInLessThanAPacket)
{
    for (size_t size = 0; size < 188; ++size) {
        Bytes stream = numberedPacket(0);
        stream.resize(size);
        EXPECT_TRUE(syncOn(stream).numbers.empty()) << size;
    }
}

TEST(PacketSync, EveryByteIsPartOfAPacketOrSkipped)
{
    std::minstd_rand random(20240501);
    for (int round = 0; round < 300; ++round) {
        Bytes stream = numberedPackets(0, 30);
        for (int damage = 0; damage < 4; ++damage) {
            const auto at = static_cast<std::ptrdiff_t>(random() % stream.size());
            if (random() % 2 == 0)
                stream.insert(stream.begin() + at, random() % 300, 0x47);
            else
                stream.erase(stream.begin() + at,
                             stream.begin() + std::min<std::ptrdiff_t>(at + static_cast<std::ptrdiff_t>(random() % 300),
                                                                       static_cast<std::ptrdiff_t>(stream.size())));
        }
        const Found found = syncOn(stream, 1 + random() % 2000);
        // Packets may overlap where bytes are missing, so their number only bounds the skipped bytes.
        EXPECT_GE(found.counters.skippedBytes + found.counters.packets * 204, stream.size());
        EXPECT_LE(found.counters.skippedBytes, stream.size());
        EXPECT_GE(found.numbers.size(), 15u);
    }
}

TEST(PacketSync, TellsWhereAPacketBeginsHoweverTheBytesCome)
{
    const Bytes stream = psitest::counting(50) + numberedPackets(0, 20, 4);
    for (const size_t chunk : {size_t{1}, size_t{187}, size_t{1000}, stream.size()}) {
        std::vector<uint64_t> places;
        PacketSync sync;
        const auto note = [&](const u8 *packet) { places.push_back(sync.place(packet)); };
        for (size_t at = 0; at < stream.size(); at += std::min(chunk, stream.size() - at))
            sync.feed(stream.data() + at, std::min(chunk, stream.size() - at), note);
        sync.finish(note);
        ASSERT_EQ(20u, places.size()) << chunk;
        for (size_t i = 0; i < places.size(); ++i)
            EXPECT_EQ(50 + 192 * i + 4, places[i]) << chunk;
    }
}
