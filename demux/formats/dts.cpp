#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

constexpr u32 kCoreSync = 0x7FFE8001;
constexpr u32 kExtensionSync = 0x64582025;

/** SFREQ; 0: none. ETSI TS 102 114 5.3.1 */
constexpr u32 kSampleRates[] = {0, 8000, 16000, 32000, 0, 0, 11025, 22050, 44100, 0, 0, 12000, 24000, 48000, 0, 0};
/** AMODE: mono, twice mono, stereo in three ways, and so on; others are arranged as the user likes. */
constexpr u8 kChannels[] = {1, 2, 2, 2, 2, 3, 3, 4, 4, 5, 6, 6, 6, 7, 8, 8};

/** EXT_AUDIO_ID: what else is in the frame of the core. */
void addExtension(StreamFormat &format, unsigned id)
{
    constexpr unsigned surroundCentre = 0;
    constexpr unsigned doubleRate = 2;
    if (id == surroundCentre && format.audio->channels != 0) {
        format.profile = "ES";
        ++format.audio->channels;
    } else if (id == doubleRate) {
        format.profile = "96/24";
    }
}

/** The header of a core frame behind its sync word. 5.3.1 */
AudioFrame readCore(BitReader &reader)
{
    constexpr unsigned blockSamples = 32;
    constexpr unsigned fewestBlocks = 6;
    constexpr unsigned fewestBytes = 96;
    const bool normal = reader.flag(); // else one that ends a stream, with less samples
    reader.skip(5 + 1);
    const unsigned blocks = reader.bits(7) + 1;
    const size_t bytes = reader.bits(14) + 1;
    const unsigned arrangement = reader.bits(6);
    const u32 sampleRate = kSampleRates[reader.bits(4)];
    reader.skip(5 + 5); // RATE, the nearest one of a table: the frame's own size is exact
    const unsigned extension = reader.bits(3);
    const bool extended = reader.flag();
    reader.skip(1);
    const unsigned low = reader.bits(2);
    if (!reader.ok() || blocks < fewestBlocks || bytes < fewestBytes || sampleRate == 0 || low == 3)
        return {};
    if (!normal)
        return {bytes, std::nullopt};
    StreamFormat format{"DTS", "", "", {}, AudioFormat()};
    format.audio->channels = arrangement < sizeof kChannels ? kChannels[arrangement] : u8{0};
    format.audio->lowFrequency = low != 0;
    format.audio->sampleRate = sampleRate;
    const uint64_t samples = uint64_t{blocks} * blockSamples;
    format.audio->bitRate = static_cast<u32>(uint64_t{bytes} * 8 * sampleRate / samples);
    if (extended)
        addExtension(format, extension);
    return {bytes, format};
}

/** The header of an extension substream behind its sync word, 7.4.1. Without a core it says nothing here. */
AudioFrame readExtension(BitReader &reader)
{
    reader.skip(8 + 2);
    const bool isLong = reader.flag();
    const size_t header = reader.bits(isLong ? 12 : 8) + 1;
    const size_t bytes = reader.bits(isLong ? 20 : 16) + 1;
    return reader.ok() && header < bytes ? AudioFrame{bytes, std::nullopt} : AudioFrame();
}

} // namespace

AudioFrame readDtsFrame(EsBytes stream)
{
    BitReader reader(stream.data, stream.size);
    const u32 sync = reader.bits(32);
    if (sync == kExtensionSync)
        return readExtension(reader);
    AudioFrame frame = sync == kCoreSync ? readCore(reader) : AudioFrame();
    const EsBytes next = stream.from(frame.bytes);
    if (frame.format && BitReader(next.data, next.size).bits(32) == kExtensionSync) {
        frame.format->coding = "DTS-HD";
        frame.format->profile = "core";
    }
    return frame;
}

} // namespace psi::demux
