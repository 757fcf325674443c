#include "demux/formats/streamFormat.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace psi::demux {

namespace {

/** With as many digits behind the point as it needs, and a comma behind the thousands. @param most digits behind it,
 * at least 1 */
std::string decimal(double value, int most = 3)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", most, value);
    std::string shortened = text;
    shortened.erase(shortened.find_last_not_of('0') + 1);
    if (shortened.back() == '.')
        shortened.pop_back();
    const std::size_t whole = std::min(shortened.find('.'), shortened.size());
    if (whole > 3)
        shortened.insert(whole - 3, ",");
    return shortened;
}

void append(std::string &text, const char *separator, const std::string &part)
{
    if (!part.empty())
        text += (text.empty() ? "" : separator) + part;
}

std::string withUnit(const std::string &number, const char *unit)
{
    return number.empty() ? "" : number + " " + unit;
}

std::string pictureText(const VideoFormat &video)
{
    std::string text =
        std::to_string(video.width) + "x" + std::to_string(video.height) + (video.interlaced ? "i" : "p");
    append(text, " ", withUnit(rateText(video.frameRate), "fps"));
    append(text, " ", aspectText(video.aspect));
    if (video.chroma != 1)
        append(text, " ", chromaName(video.chroma));
    if (video.bitDepth != 8)
        append(text, " ", std::to_string(video.bitDepth) + " bit");
    if (const char *transfer = transferName(video.transfer))
        append(text, " ", transfer);
    return text;
}

std::string soundText(const AudioFormat &audio)
{
    std::string text = channelsText(audio);
    if (audio.sampleRate != 0)
        append(text, " ", decimal(audio.sampleRate / 1e3) + " kHz");
    if (audio.bitRate != 0)
        append(text, " ", decimal(audio.bitRate / 1e3, 1) + " kbit/s");
    append(text, " ", withUnit(rateText(audio.frameRate), "fps"));
    return text;
}

} // namespace

Ratio reduced(uint64_t numerator, uint64_t denominator)
{
    const uint64_t common = std::gcd(numerator, denominator);
    if (numerator == 0 || denominator == 0 || numerator / common > 0xFFFFFFFF || denominator / common > 0xFFFFFFFF)
        return {};
    return {static_cast<u32>(numerator / common), static_cast<u32>(denominator / common)};
}

const char *chromaName(u8 chroma)
{
    constexpr const char *names[] = {"monochrome", "4:2:0", "4:2:2", "4:4:4"};
    return names[chroma & 3U];
}

const char *transferName(u8 transfer)
{
    constexpr u8 perceptualQuantizer = 16;
    constexpr u8 hybridLogGamma = 18;
    return transfer == perceptualQuantizer ? "PQ" : transfer == hybridLogGamma ? "HLG" : nullptr;
}

std::string aspectText(const Ratio &aspect)
{
    // The sample shapes of 601 pictures are rounded, or meant for 704 of their 720 columns: a few per cent beside.
    constexpr struct {
        double value;
        const char *name;
    } shapes[] = {{4.0 / 3, "4:3"}, {16.0 / 9, "16:9"}, {2.21, "2.21:1"}};
    constexpr double near = 0.03;
    if (!aspect.known())
        return "";
    for (const auto &shape : shapes)
        if (aspect.value() > shape.value * (1 - near) && aspect.value() < shape.value * (1 + near))
            return shape.name;
    return std::to_string(aspect.numerator) + ":" + std::to_string(aspect.denominator);
}

std::string rateText(const Ratio &frameRate)
{
    constexpr u32 colour = 1001;
    if (!frameRate.known())
        return "";
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", frameRate.value()); // 59.94, as everybody calls it
    return frameRate.denominator == colour && frameRate.numerator != 24000 ? text : decimal(frameRate.value());
}

std::string channelsText(const AudioFormat &audio)
{
    if (audio.channels == 0)
        return "";
    if (audio.lowFrequency)
        return std::to_string(audio.channels) + ".1";
    if (audio.channels <= 2)
        return audio.channels == 1 ? "mono" : "stereo";
    return std::to_string(audio.channels) + ".0";
}

std::string formatText(const StreamFormat &format)
{
    std::string text = format.video ? pictureText(*format.video) : format.audio ? soundText(*format.audio) : "";
    std::string coded = format.profile;
    append(coded, "@", format.level);
    append(text, ", ", coded);
    return text;
}

} // namespace psi::demux
