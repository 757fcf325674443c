// Captured frames and RTP packets of any bytes. Input: what to do, then frames; or a whole capture file.
#include "fuzzTarget.h"

#include "demux/capture.h"

#include <array>
#include <cstdio>

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psi::demux;

constexpr std::array<int, 9> linkTypes = {0, 1, 12, 101, 108, 113, 228, 229, 276};

/** @brief Packets that leave a reader: whole ones, and never more than came. */
class Packets {
public:
    PacketSink sink()
    {
        return [this](const u8 *packet, std::size_t size) {
            EXPECT_EQ(packet[0], 0x47);
            EXPECT_TRUE(size == 188 || size == 204);
            bytes_ += size;
        };
    }
    void expectNoMoreThan(const Statistics &statistics) const
    {
        EXPECT_LE(bytes_ + statistics.skippedBytes, statistics.bytes);
        EXPECT_LE(statistics.badDatagrams + statistics.rtpDuplicates + statistics.rtpLate, statistics.datagrams);
    }

private:
    std::uint64_t bytes_ = 0;
};

void takeFrames(Input &input)
{
    FrameReader frames(linkTypes[input.below(static_cast<u32>(linkTypes.size()))]);
    DatagramReader reader;
    Packets packets;
    std::uint64_t ms = 0;
    while (input.left() > 0) {
        const Bytes frame = input.bytes(input.below(400));
        CapturedDatagram datagram;
        ms += input.below(60);
        if (frames.read(frame.data(), frame.size(), ms, datagram) != FrameKind::datagram)
            continue;
        const Bytes payload(datagram.payload, datagram.payload + datagram.size); // all of it is there
        EXPECT_LE(payload.size(), 0xFFFFU);
        EXPECT_FALSE(datagram.cut && hasWrongChecksum(datagram));
        reader.take(datagram.payload, datagram.size, ms, packets.sink());
    }
    reader.finish(packets.sink());
    Statistics statistics;
    reader.addTo(statistics);
    packets.expectNoMoreThan(statistics);
}

/** @brief Parts of a few datagrams in which each byte tells its place: what is whole has every one of them. */
void takeFragments(Input &input)
{
    IpFragments fragments;
    std::uint64_t parts = 0;
    std::uint64_t ms = 0;
    while (input.left() > 0) {
        IpFragment part;
        part.identification = input.below(80);
        part.offset = input.below(16) * 8;
        part.more = input.below(2) != 0;
        Bytes bytes(input.below(5) * 8 + input.below(2));
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<u8>(part.offset + i);
        part.data = bytes.data();
        part.size = bytes.size();
        part.ms = ms += input.below(4) * 1000;
        const Bytes *whole = fragments.take(part);
        EXPECT_LE(fragments.leftOver(), ++parts);
        for (std::size_t i = 0; whole != nullptr && i < whole->size(); ++i)
            EXPECT_EQ((*whole)[i], static_cast<u8>(i));
    }
}

/** @brief RTP packets of one transport packet each, with the sequence numbers of the input. */
void takeRtp(Input &input)
{
    DatagramReader reader;
    Packets packets;
    std::uint64_t ms = 0;
    Bytes datagram(12 + 188, 0x47);
    while (input.left() > 0) {
        const Bytes header = input.bytes(4);
        std::copy(header.begin(), header.end(), datagram.begin());
        datagram[0] = static_cast<u8>(0x80 | (datagram[0] & 0x0F));
        ms += input.below(30);
        reader.take(datagram.data(), datagram.size(), ms, packets.sink());
    }
    reader.finish(packets.sink());
    Statistics statistics;
    reader.addTo(statistics);
    packets.expectNoMoreThan(statistics);
}

void takeFile(Input &input)
{
    Bytes bytes = input.bytes(input.left());
    if (bytes.empty())
        return;
    std::FILE *file = fmemopen(bytes.data(), bytes.size(), "rb");
    try {
        CaptureFile capture(file, "capture");
        for (const CapturedStream &stream : streamsOf(capture)) {
            EXPECT_GT(stream.datagrams, 0u);
            EXPECT_FALSE(stream.address.empty());
        }
    } catch (const InputError &error) {
        EXPECT_EQ(std::string(error.what()).rfind("capture: ", 0), 0u);
    }
}

} // namespace

void fuzzOne(Input input)
{
    switch (input.below(4)) {
    case 0:
        return takeFrames(input);
    case 1:
        return takeRtp(input);
    case 2:
        return takeFile(input);
    default:
        return takeFragments(input);
    }
}

} // namespace psifuzz
