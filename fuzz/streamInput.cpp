#include "streamInput.h"
#include "packetInput.h"

#include "support/packetBuilder.h"

#include <array>

namespace psifuzz {

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

} // namespace

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

} // namespace psifuzz
