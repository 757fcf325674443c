#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

/** bitrate_index in kbit/s: MPEG-1 by layer, then the lower sampling rates. ISO/IEC 11172-3 2.4.2.3, 13818-3 2.4.2.3 */
constexpr u16 kBitRates[5][15] = {
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
};
constexpr u32 kSampleRates[] = {44100, 48000, 32000};

struct Header {
    unsigned version = 0; /**< 3: MPEG-1, 2: MPEG-2, 0: the lowest rates */
    unsigned layer = 0;   /**< 1 to 3 */
    u32 bitRate = 0;
    u32 sampleRate = 0;
    unsigned padding = 0;
};

size_t bytesOf(const Header &header)
{
    if (header.layer == 1)
        return size_t{12 * header.bitRate / header.sampleRate + header.padding} * 4;
    const u32 slots = header.layer == 3 && header.version != 3 ? 72 : 144;
    return slots * header.bitRate / header.sampleRate + header.padding;
}

} // namespace

AudioFrame readMpegAudioFrame(EsBytes stream)
{
    constexpr const char *layers[] = {"", "layer I", "layer II", "layer III"};
    BitReader reader(stream.data, stream.size);
    const bool sync = reader.bits(11) == 0x7FF;
    Header header;
    header.version = reader.bits(2);
    header.layer = 4 - reader.bits(2);
    reader.skip(1);
    const unsigned rate = reader.bits(4);
    const unsigned sampling = reader.bits(2);
    header.padding = reader.bits(1);
    reader.skip(1);
    const unsigned mode = reader.bits(2);
    const bool free = rate == 0; // a bit rate of no table: the frame's length is not told
    if (!reader.ok() || !sync || header.version == 1 || header.layer == 4 || rate == 15 || free || sampling == 3)
        return {};
    const bool isLow = header.version != 3;
    header.bitRate = kBitRates[isLow ? (header.layer == 1 ? 3 : 4) : header.layer - 1][rate] * 1000U;
    header.sampleRate = kSampleRates[sampling] / (header.version == 3 ? 1 : header.version == 2 ? 2 : 4);
    StreamFormat format{isLow ? "MPEG-2" : "MPEG-1", layers[header.layer], "", {}, AudioFormat()};
    format.audio->channels = mode == 3 ? 1 : 2;
    format.audio->sampleRate = header.sampleRate;
    format.audio->bitRate = header.bitRate;
    return {bytesOf(header), format};
}

} // namespace psi::demux
