#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

/** samplingFrequencyIndex, ISO/IEC 14496-3 Table 1.18. */
constexpr u32 kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                22050, 16000, 12000, 11025, 8000,  7350};
constexpr unsigned kRateFollows = 15;

constexpr unsigned kSpectralBands = 5; // audioObjectType: AAC with spectral band replication,
constexpr unsigned kStereoToo = 29;    // and with parametric stereo

u32 sampleRate(BitReader &reader)
{
    const unsigned index = reader.bits(4);
    if (index == kRateFollows)
        return reader.bits(24);
    return index < sizeof kSampleRates / sizeof *kSampleRates ? kSampleRates[index] : 0;
}

const char *profileName(unsigned objectType)
{
    constexpr const char *names[] = {"", "Main", "LC", "SSR", "LTP", "HE"};
    return objectType < sizeof names / sizeof *names ? names[objectType] : objectType == kStereoToo ? "HE v2" : "";
}

/** channelConfiguration, ISO/IEC 14496-3 Table 1.19; 0 and unknown ones: no channels. */
void setChannels(AudioFormat &audio, unsigned configuration)
{
    constexpr u8 channels[] = {0, 1, 2, 3, 4, 5, 5, 7, 0, 0, 0, 6, 7, 22, 7};
    constexpr bool low[] = {false, false, false, false, false, false, true, true,
                            false, false, false, true,  true,  true,  true}; // 22.2 has two
    if (configuration < sizeof channels) {
        audio.channels = channels[configuration];
        audio.lowFrequency = low[configuration];
    }
}

unsigned objectType(BitReader &reader)
{
    constexpr unsigned escape = 31;
    const unsigned type = reader.bits(5);
    return type == escape ? 32 + reader.bits(6) : type;
}

/** AudioSpecificConfig(), ISO/IEC 14496-3 1.6.2.1, as far as it is wanted here. */
std::optional<StreamFormat> readConfiguration(BitReader &reader)
{
    StreamFormat format{"AAC", "", "", {}, AudioFormat()};
    const unsigned type = objectType(reader);
    u32 rate = sampleRate(reader);
    const unsigned channels = reader.bits(4);
    if (type == kSpectralBands || type == kStereoToo)
        rate = sampleRate(reader);
    if (!reader.ok() || rate == 0)
        return std::nullopt;
    format.profile = profileName(type);
    format.audio->sampleRate = rate;
    setChannels(*format.audio, type == kStereoToo && channels == 1 ? 2 : channels);
    return format;
}

/** LatmGetValue(), ISO/IEC 14496-3 1.7.3. */
void skipValue(BitReader &reader)
{
    const unsigned bytes = reader.bits(2) + 1;
    reader.skip(size_t{bytes} * 8);
}

/** AudioMuxElement(1): its StreamMuxConfig() when it has one. ISO/IEC 14496-3 1.7.3 */
std::optional<StreamFormat> readMultiplex(BitReader &reader)
{
    if (reader.flag()) // useSameStreamMux
        return std::nullopt;
    const bool version = reader.flag();
    if (version && reader.flag()) // audioMuxVersionA: reserved
        return std::nullopt;
    if (version)
        skipValue(reader); // taraBufferFullness
    reader.skip(1 + 6 + 4 + 3);
    if (version)
        skipValue(reader); // ascLen
    return readConfiguration(reader);
}

} // namespace

AudioFrame readAdtsFrame(EsBytes stream)
{
    constexpr size_t header = 7;
    BitReader reader(stream.data, stream.size);
    const bool sync = reader.bits(12) == 0xFFF;
    reader.skip(1);
    const unsigned layer = reader.bits(2);
    reader.skip(1);
    const unsigned type = reader.bits(2) + 1;
    const unsigned index = reader.bits(4);
    reader.skip(1);
    const unsigned channels = reader.bits(3);
    reader.skip(4);
    const size_t bytes = reader.bits(13);
    if (!reader.ok() || !sync || layer != 0 || index >= sizeof kSampleRates / sizeof *kSampleRates || bytes < header)
        return {};
    StreamFormat format{"AAC", profileName(type), "", {}, AudioFormat()};
    format.audio->sampleRate = kSampleRates[index];
    setChannels(*format.audio, channels);
    return {bytes, format};
}

AudioFrame readLoasFrame(EsBytes stream)
{
    constexpr size_t header = 3;
    BitReader reader(stream.data, stream.size);
    const bool sync = reader.bits(11) == 0x2B7;
    const size_t bytes = reader.bits(13);
    if (!reader.ok() || !sync || bytes == 0)
        return {};
    return {header + bytes, readMultiplex(reader)};
}

} // namespace psi::demux
