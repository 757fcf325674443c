#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

#include <algorithm>

namespace psi::demux {

namespace {

/** frame_rate_index at 48 kHz; the last is one of 2048 samples. ETSI TS 103 190-1 4.3.3.2.6 */
constexpr Ratio kFrameRates[] = {{24000, 1001}, {24, 1},        {25, 1},  {30000, 1001}, {30, 1},
                                 {48000, 1001}, {48, 1},        {50, 1},  {60000, 1001}, {60, 1},
                                 {100, 1},      {120000, 1001}, {120, 1}, {375, 16}};
constexpr unsigned kFree = 13; // the only one at 44.1 kHz

/** ac4_toc(). ETSI TS 103 190-1 4.2.3, 103 190-2 6.2.1 */
class Contents {
public:
    explicit Contents(EsBytes frame) : reader(frame.data, frame.size) {}

    std::optional<StreamFormat> read();

private:
    /** variable_bits(). */
    u32 variable(unsigned count)
    {
        u32 value = reader.bits(count);
        while (reader.ok() && reader.flag())
            value = ((value + 1) << count) + reader.bits(count);
        return value;
    }
    /** A number that goes on in variable_bits() when all its bits are set. */
    void skipNumber(unsigned count, unsigned more)
    {
        if (reader.bits(count) == (1U << count) - 1)
            variable(more);
    }
    void skipPresentationVersion()
    {
        while (reader.ok() && reader.flag()) {
        }
    }

    bool reachSubstream(unsigned version);
    bool reachGroupsSubstream();
    unsigned skipRateFactor();
    void skipRateFraction(unsigned factor);
    void skipEmdf();
    void readSubstream(AudioFormat &audio);

    BitReader reader;
    bool is48 = false;
    unsigned rate = 0;
};

/** frame_rate_multiply_info(). @return frames of the coder for one of the stream */
unsigned Contents::skipRateFactor()
{
    if (rate >= 2 && rate <= 4)
        return reader.flag() ? (reader.flag() ? 4 : 2) : 1;
    if (rate <= 1 || (rate >= 7 && rate <= 9))
        return reader.flag() ? 2 : 1;
    return 1;
}

/** frame_rate_fractions_info(). */
void Contents::skipRateFraction(unsigned factor)
{
    const bool half = rate >= 5 && rate <= 9 && factor == 1;
    const bool quarter = rate >= 10 && rate <= 12 && reader.flag();
    if (half || quarter)
        reader.skip(1);
}

/** emdf_info(). */
void Contents::skipEmdf()
{
    constexpr u8 bits[] = {0, 8, 32, 128};
    skipNumber(2, 2);
    skipNumber(3, 3);
    if (reader.flag())
        skipNumber(2, 2);
    const unsigned primary = reader.bits(2);
    const unsigned secondary = reader.bits(2);
    reader.skip(size_t{bits[primary]} + bits[secondary]);
}

/** The only presentation's info, to its only substream. @return false when there is more than one, or nobody knows */
bool Contents::reachSubstream(unsigned version)
{
    const bool groups = version == 2;
    if (version == 1)
        return false;
    if (groups && reader.flag()) {
        reader.skip(16); // short_program_id
        if (reader.flag())
            reader.skip(128);
    }
    if (!reader.flag()) // b_single_substream, b_single_substream_group
        return false;
    skipPresentationVersion();
    reader.skip(3); // mdcompat
    if (reader.flag())
        variable(2); // presentation_id
    const unsigned factor = skipRateFactor();
    if (groups)
        skipRateFraction(factor);
    skipEmdf();
    return !groups || reachGroupsSubstream();
}

/** The rest of ac4_presentation_v1_info(), and ac4_substream_group_info(). */
bool Contents::reachGroupsSubstream()
{
    if (reader.flag())
        reader.skip(1); // b_enable_presentation
    skipNumber(3, 2);   // group_index
    reader.skip(1);     // b_pre_virtualized
    const bool moreData = reader.flag();
    reader.skip(2);
    skipNumber(2, 2); // substream_index
    reader.skip(2);   // b_substreams_present, b_hsf_ext
    const bool isSingle = reader.flag();
    const bool inChannels = reader.flag(); // not in objects
    return !moreData && isSingle && inChannels;
}

/** channel_mode and the factor of the sampling rate; what is above 7.1 is arranged by more than these. */
void Contents::readSubstream(AudioFormat &audio)
{
    constexpr AudioFormat few[] = {{3, false, 0, 0, {}}, {5, false, 0, 0, {}}, {5, true, 0, 0, {}}};
    AudioFormat mode;
    if (!reader.flag()) {
        mode.channels = 1;
    } else if (!reader.flag()) {
        mode.channels = 2;
    } else if (const unsigned next = reader.bits(2); next < 3) {
        mode = few[next];
    } else if (const unsigned many = reader.bits(3); many < 6) {
        mode.channels = 7;
        mode.lowFrequency = many % 2 != 0;
    }
    const bool multiplied = mode.channels != 0 && is48 && reader.flag();
    const u32 factor = multiplied ? (reader.flag() ? 4 : 2) : 1;
    if (!reader.ok())
        return;
    audio.channels = mode.channels;
    audio.lowFrequency = mode.lowFrequency;
    audio.sampleRate *= factor;
}

std::optional<StreamFormat> Contents::read()
{
    constexpr unsigned lastVersion = 2;
    const unsigned version = reader.bits(2);
    reader.skip(10); // sequence_counter
    if (reader.flag() && reader.bits(3) > 0)
        reader.skip(2);
    is48 = reader.flag();
    rate = reader.bits(4);
    reader.skip(1); // b_iframe_global
    if (!reader.ok() || version > lastVersion || rate > kFree || (!is48 && rate != kFree))
        return std::nullopt;
    StreamFormat format{"AC-4", "", "", {}, AudioFormat()};
    format.audio->sampleRate = is48 ? 48000 : 44100;
    format.audio->frameRate = is48 ? kFrameRates[rate] : Ratio{11025, 512};
    const bool isOne = reader.flag();
    if (isOne && reader.flag()) // b_single_presentation, b_payload_base
        skipNumber(5, 3);
    if (isOne && reachSubstream(version))
        readSubstream(*format.audio);
    return format;
}

} // namespace

AudioFrame readAc4Frame(EsBytes stream)
{
    constexpr unsigned sync = 0xAC40;
    constexpr unsigned syncWithCrc = 0xAC41;
    constexpr u32 sizeFollows = 0xFFFF;
    BitReader reader(stream.data, stream.size);
    const unsigned word = reader.bits(16);
    u32 size = reader.bits(16);
    size_t header = 4;
    if (size == sizeFollows) {
        size = reader.bits(24);
        header += 3;
    }
    if (!reader.ok() || (word != sync && word != syncWithCrc) || size == 0)
        return {};
    EsBytes raw = stream.from(header);
    raw.size = std::min<size_t>(raw.size, size);
    std::optional<StreamFormat> format = Contents(raw).read();
    const size_t crc = word == syncWithCrc ? 2 : 0;
    return format ? AudioFrame{header + size + crc, format} : AudioFrame();
}

} // namespace psi::demux
