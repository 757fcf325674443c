#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

namespace psi::demux {

namespace {

constexpr u8 kExtensionCode = 0xB5;
constexpr unsigned kSequenceExtension = 1;

struct Named {
    unsigned code;
    const char *name;
};

/** ISO/IEC 13818-2 Tables 8-2 and 8-3. */
constexpr Named kProfiles[] = {{1, "High"}, {2, "Spatially Scalable"}, {3, "SNR Scalable"}, {4, "Main"}, {5, "Simple"}};
constexpr Named kLevels[] = {{4, "High"}, {6, "High 1440"}, {8, "Main"}, {10, "Low"}};

constexpr Named kEscapedLevels[] = {{2, "High"}, {5, "Main"}};

template <size_t N> const char *nameOf(const Named (&names)[N], unsigned code)
{
    for (const Named &one : names)
        if (one.code == code)
            return one.name;
    return "";
}

/** frame_rate_code, ISO/IEC 13818-2 Table 6-4. */
Ratio rateOf(unsigned code)
{
    constexpr Ratio rates[] = {{0, 1},  {24000, 1001}, {24, 1},       {25, 1}, {30000, 1001},
                               {30, 1}, {50, 1},       {60000, 1001}, {60, 1}};
    return code < sizeof rates / sizeof *rates ? rates[code] : Ratio();
}

/** aspect_ratio_information, ISO/IEC 13818-2 Table 6-3. */
Ratio aspectOf(const VideoFormat &video, unsigned code)
{
    constexpr Ratio shapes[] = {{4, 3}, {16, 9}, {221, 100}};
    if (code == 1)
        return shapeOf(video, {1, 1});
    return code >= 2 && code <= 4 ? shapes[code - 2] : Ratio();
}

/** The sequence_extension in the extensions behind a header; nothing for MPEG-1. */
EsBytes sequenceExtension(EsBytes header)
{
    for (size_t i = 0; i + 4 < header.size; ++i) {
        const u8 *at = header.data + i;
        if (at[0] == 0 && at[1] == 0 && at[2] == 1 && at[3] == kExtensionCode && at[4] >> 4 == kSequenceExtension)
            return header.from(i + 4);
    }
    return {};
}

void takeExtension(EsBytes extension, StreamFormat &format)
{
    BitReader reader(extension.data, extension.size);
    VideoFormat &video = *format.video;
    reader.skip(4);
    const bool escape = reader.flag();
    const unsigned profile = reader.bits(3);
    const unsigned level = reader.bits(4);
    video.interlaced = !reader.flag();
    video.chroma = static_cast<u8>(reader.bits(2));
    video.width |= reader.bits(2) << 12;
    video.height |= reader.bits(2) << 12;
    reader.skip(12 + 1 + 8 + 1); // bit rate, marker, buffer size, low delay
    const uint64_t more = reader.bits(2) + 1U;
    const uint64_t less = reader.bits(5) + 1U;
    if (!reader.ok())
        return;
    format.coding = "MPEG-2";
    format.profile = escape ? (profile == 0 ? "4:2:2" : "") : nameOf(kProfiles, profile);
    format.level = escape ? nameOf(kEscapedLevels, level) : nameOf(kLevels, level);
    video.frameRate = reduced(video.frameRate.numerator * more, video.frameRate.denominator * less);
}

} // namespace

std::optional<StreamFormat> readMpegSequence(EsBytes header)
{
    BitReader reader(header.data, header.size);
    StreamFormat format;
    VideoFormat video;
    reader.skip(8); // start code
    video.width = reader.bits(12);
    video.height = reader.bits(12);
    const unsigned aspect = reader.bits(4);
    video.frameRate = rateOf(reader.bits(4));
    reader.skip(18);
    const bool marker = reader.flag();
    if (!reader.ok() || !marker || !video.frameRate.known())
        return std::nullopt;
    format.coding = "MPEG-1";
    format.video = video;
    const EsBytes extension = sequenceExtension(header);
    if (extension.size > 0)
        takeExtension(extension, format);
    const bool isMpeg2 = extension.size > 0;
    format.video->aspect = isMpeg2 || aspect == 1 ? aspectOf(*format.video, aspect) : Ratio();
    return isPicture(*format.video) ? std::optional(format) : std::nullopt;
}

} // namespace psi::demux
