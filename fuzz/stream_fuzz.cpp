// Streams to the software demultiplexer, searches of everything in them. Input: options, repetitions, tail, then
// pieces.
#include "fuzzTarget.h"
#include "streamInput.h"

#include "demux/demux.h"
#include "demux/packetSync.h"
#include "support/libraryFixture.h"
#include "support/searchTest.h"

namespace psifuzz {

bool (*const startLibrary)() = startDemultiplexer;

namespace {

/** @brief Packets are the same in whatever chunks a stream comes. */
void expectSameInChunks(const Bytes &stream, std::size_t chunk)
{
    const auto packetsOf = [&](std::size_t step) {
        psi::demux::PacketSync sync;
        Bytes seen;
        const auto keep = [&seen](const u8 *packet) {
            seen.insert(seen.end(), packet, packet + psi::demux::kPacketBytes);
        };
        for (std::size_t at = 0; at < stream.size(); at += step)
            sync.feed(stream.data() + at, std::min(step, stream.size() - at), keep);
        sync.finish(keep);
        EXPECT_EQ(sync.counters().packets * psi::demux::kPacketBytes, seen.size());
        EXPECT_LE(sync.counters().skippedBytes + sync.counters().packets, stream.size());
        return seen;
    };
    EXPECT_EQ(packetsOf(stream.size() + 1), packetsOf(chunk));
}

void expectSound(const psi::demux::Host &host, std::size_t bytes)
{
    const psi::demux::Statistics statistics = host.statistics();
    EXPECT_EQ(bytes, statistics.bytes);
    EXPECT_LE(statistics.packets + statistics.skippedBytes, bytes); // packets overlap where bytes are missing
    std::uint64_t sightings = 0;
    const std::vector<psi::demux::Section> sections = host.sections();
    EXPECT_EQ(statistics.distinctSections, sections.size());
    for (const psi::demux::Section &section : sections) {
        EXPECT_EQ(0, psiCheckCrc(section.bytes.data(), static_cast<u32>(section.bytes.size())));
        EXPECT_EQ(section.bytes.size(), psitest::sectionLength(section.bytes) + std::size_t{3});
        EXPECT_LE(section.firstPacket, section.lastPacket);
        EXPECT_LT(section.lastPacket, statistics.packets);
        sightings += section.count;
    }
    EXPECT_EQ(statistics.sections, sightings + statistics.sectionsNotStored);
    std::uint64_t packets = 0;
    for (const psi::demux::PidStatistics &pid : host.pids())
        packets += pid.packets;
    EXPECT_LE(packets, statistics.packets);
}

/** @brief Everything that can be asked of a stream, one after the other. */
void searchAll(psi::demux::Host &host, u8 options)
{
    const tsInfo &model = *getSchObjDataInfo(host.object());
    const u32 standard = options >> 2 & 1;
    host.searchAll(standard);
    psitest::expectNoDanglingBytes(model);
    host.searchAgain(options >> 3 & 0x0F, standard);
    psitest::expectNoDanglingBytes(model);
    for (u32 type = 0; (options & 0x80) && type < 16; ++type)
        host.search(type);
    psitest::expectNoDanglingBytes(model);
}

constexpr u8 inChunks = 0x40; // option: look at the packet sync alone

} // namespace

void fuzzOne(Input input)
{
    const u8 options = input.byte();
    const u8 chunk = input.byte();
    const Bytes stream = takeStream(input, options);
    if (options & inChunks)
        expectSameInChunks(stream, chunk * std::size_t{17} + 1);
    try {
        const auto host = psi::demux::Host::openMemory(stream.data(), stream.size());
        searchAll(*host, options);
        expectSound(*host, stream.size());
    } catch (const psi::demux::InputError &) {
        // no transport stream
    }
}

} // namespace psifuzz
