// Streams to the software demultiplexer, searches of everything in them. Input: options, repetitions, tail, then
// pieces.
#include "fuzzTarget.h"
#include "packetInput.h"

#include "demux/demux.h"
#include "demux/packetSync.h"
#include "support/libraryFixture.h"
#include "support/packetBuilder.h"
#include "support/searchTest.h"

#include <array>

namespace psifuzz {

namespace {

bool initialise()
{
    return psi::demux::initLibrary(4U << 20);
}

} // namespace

bool (*const startLibrary)() = initialise;

namespace {

constexpr std::size_t mostBytes = 50000; // of a stream, so that a run stays short

/** @brief Where the tables are that a search asks for, and two places that they are not. */
constexpr std::array<u16, 8> pids = {0x0000, 0x0001, 0x0010, 0x0011, 0x1FFB, 0x0021, 0x0100, 0x1FFF};

/** @brief Builds packets of an input's pieces; every PID has its counter. */
class Pieces {
public:
    explicit Pieces(Input &input) : input_(input) {}

    void take()
    {
        const u8 what = input_.byte();
        const std::size_t which = what >> 5;
        switch (what & 3) {
        case 0:
            return section(which);
        case 1:
            return append(takePacket(input_, pids[which], counters_[which]));
        case 2:
            return append(input_.bytes(what >> 2 & 0x3F));
        default:
            return again();
        }
    }
    const Bytes &bytes() const { return bytes_; }

private:
    void section(std::size_t which)
    {
        const Bytes packets = psitest::packetsOf(takeSection(input_).bytes, pids[which], counters_[which]);
        counters_[which] = static_cast<u8>((counters_[which] + packets.size() / psitest::packetSize) & 0x0F);
        append(packets);
    }
    /** @brief Some of what is there already. */
    void again()
    {
        const std::size_t from = input_.byte() * psitest::packetSize;
        const std::size_t end = std::min(bytes_.size(), from + input_.byte() * psitest::packetSize);
        if (from < end)
            append(Bytes(bytes_.begin() + static_cast<std::ptrdiff_t>(from),
                         bytes_.begin() + static_cast<std::ptrdiff_t>(end)));
    }
    void append(const Bytes &more)
    {
        if (bytes_.size() + more.size() <= mostBytes)
            bytes_.insert(bytes_.end(), more.begin(), more.end());
    }

    Input &input_;
    Bytes bytes_;
    std::array<u8, pids.size()> counters_ = {};
};

/** @brief Packets of 188 bytes with something around each of them. */
Bytes framed(const Bytes &packets, std::size_t front, std::size_t behind)
{
    Bytes stream;
    for (std::size_t at = 0; at < packets.size(); at += psitest::packetSize) {
        const std::size_t end = std::min(at + psitest::packetSize, packets.size());
        stream.insert(stream.end(), front, u8{0x55});
        stream.insert(stream.end(), packets.begin() + static_cast<std::ptrdiff_t>(at),
                      packets.begin() + static_cast<std::ptrdiff_t>(end));
        stream.insert(stream.end(), behind, u8{0xAA});
    }
    return stream;
}

Bytes takeStream(Input &input, u8 options)
{
    if ((options & 3) == 3)
        return input.rest();
    const u32 times = 1 + (input.byte() & 0x0FU);
    const u8 tail = input.byte();
    Pieces pieces(input);
    while (input.left() != 0)
        pieces.take();
    Bytes stream;
    for (u32 i = 0; i < times && stream.size() + pieces.bytes().size() <= mostBytes; ++i)
        stream.insert(stream.end(), pieces.bytes().begin(), pieces.bytes().end());
    stream.insert(stream.end(), tail, u8{0x47});
    return (options & 3) == 0 ? stream : framed(stream, options & 1 ? 4 : 0, options & 1 ? 0 : 16);
}

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
