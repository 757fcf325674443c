#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

/** au_size: a sum of bytes that goes on behind each that is 255. */
size_t accessUnitSize(BitReader &reader)
{
    constexpr u32 goesOn = 255;
    size_t size = 0;
    u32 byte = goesOn;
    while (reader.ok() && byte == goesOn) {
        byte = reader.bits(8);
        size += byte;
    }
    return size;
}

} // namespace

AudioFrame readOpusUnit(EsBytes stream)
{
    constexpr unsigned prefix = 0x3FF;
    constexpr u32 sampleRate = 48000; // of every decoder, RFC 6716 2
    BitReader reader(stream.data, stream.size);
    if (reader.bits(11) != prefix)
        return {};
    const bool trimsStart = reader.flag();
    const bool trimsEnd = reader.flag();
    const bool extended = reader.flag();
    reader.skip(2);
    const size_t payload = accessUnitSize(reader);
    const size_t trims = (trimsStart ? size_t{2} : 0) + (trimsEnd ? 2 : 0);
    size_t header = reader.place() / 8 + trims;
    reader.skip(trims * 8);
    if (extended)
        header += 1 + reader.bits(8);
    if (!reader.ok() || payload == 0)
        return {};
    StreamFormat format{"Opus", "", "", {}, AudioFormat()};
    format.audio->sampleRate = sampleRate;
    return {header + payload, format};
}

} // namespace psi::demux
