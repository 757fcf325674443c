#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

constexpr u32 kSampleRates[] = {48000, 44100, 32000};
/** frmsizecod, in kbit/s. ETSI TS 102 366 Table 4.13 */
constexpr u16 kBitRates[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 512, 576, 640};
constexpr unsigned kSamples = 1536; // of a frame
constexpr unsigned kSync = 0x0B77;
constexpr size_t kWord = 2;

/** acmod, Table 4.3: 1+1, 1/0, 2/0, 3/0, 2/1, 3/1, 2/2, 3/2. */
constexpr u8 kChannels[] = {2, 1, 2, 3, 3, 4, 4, 5};

StreamFormat formatOf(const char *coding, unsigned mode, bool low, u32 sampleRate, u32 bitRate)
{
    StreamFormat format{coding, "", "", {}, AudioFormat()};
    format.audio->channels = kChannels[mode & 7U];
    format.audio->lowFrequency = low;
    format.audio->sampleRate = sampleRate;
    format.audio->bitRate = bitRate;
    return format;
}

/** syncinfo() behind crc1, and bsi(). 4.3.1, 4.3.2 */
AudioFrame readAc3(BitReader &reader)
{
    const unsigned sampling = reader.bits(2);
    const unsigned size = reader.bits(6);
    reader.skip(5 + 3); // bsid, bsmod
    const unsigned mode = reader.bits(3);
    if ((mode & 1) != 0 && mode != 1)
        reader.skip(2); // cmixlev
    if ((mode & 4) != 0)
        reader.skip(2); // surmixlev
    if (mode == 2)
        reader.skip(2); // dsurmod
    const bool low = reader.flag();
    if (!reader.ok() || sampling == 3 || size / 2 >= sizeof kBitRates / sizeof *kBitRates)
        return {};
    const u32 bitRate = kBitRates[size / 2] * 1000U;
    const u32 sampleRate = kSampleRates[sampling];
    const size_t words = size_t{bitRate} * kSamples / (size_t{16} * sampleRate) + (sampling == 1 ? size & 1U : 0);
    return {words * kWord, formatOf("AC-3", mode, low, sampleRate, bitRate)};
}

/** bsi() of E-AC-3, E.1.2.2. What depends on a stream before it says nothing by itself. */
AudioFrame readEnhanced(BitReader &reader)
{
    constexpr unsigned dependent = 1;
    constexpr unsigned blocks[] = {1, 2, 3, 6};
    constexpr unsigned blockSamples = 256;
    const unsigned type = reader.bits(2);
    const unsigned substream = reader.bits(3);
    const size_t bytes = (reader.bits(11) + 1) * kWord;
    const unsigned sampling = reader.bits(2);
    const unsigned more = reader.bits(2); // numblkscod, or fscod2
    const unsigned mode = reader.bits(3);
    const bool low = reader.flag();
    if (!reader.ok() || type == 3 || (sampling == 3 && more == 3))
        return {};
    if (type == dependent || substream != 0)
        return {bytes, std::nullopt};
    const u32 sampleRate = sampling == 3 ? kSampleRates[more] / 2 : kSampleRates[sampling];
    const unsigned samples = blockSamples * (sampling == 3 ? 6 : blocks[more]);
    const u32 bitRate = static_cast<u32>(uint64_t{bytes} * 8 * sampleRate / samples);
    return {bytes, formatOf("E-AC-3", mode, low, sampleRate, bitRate)};
}

} // namespace

AudioFrame readAc3Frame(EsBytes stream)
{
    constexpr size_t identificationPlace = 5;
    constexpr unsigned lastAc3 = 8;
    constexpr unsigned firstEnhanced = 11;
    constexpr unsigned lastEnhanced = 16;
    if (stream.size <= identificationPlace)
        return {};
    const unsigned identification = stream.data[identificationPlace] >> 3; // bsid, at the same place in both
    BitReader reader(stream.data, stream.size);
    if (reader.bits(16) != kSync)
        return {};
    if (identification <= lastAc3) {
        reader.skip(16); // crc1
        return readAc3(reader);
    }
    return identification >= firstEnhanced && identification <= lastEnhanced ? readEnhanced(reader) : AudioFrame();
}

} // namespace psi::demux
