#include "demux/formats/videoUsability.h"

#include <algorithm>

namespace psi::demux {

namespace {

/** aspect_ratio_idc, ISO/IEC 14496-10 Table E-1. */
Ratio sampleShape(BitReader &reader)
{
    constexpr Ratio shapes[] = {{0, 1},   {1, 1},    {12, 11}, {10, 11}, {16, 11}, {40, 33},
                                {24, 11}, {20, 11},  {32, 11}, {80, 33}, {18, 11}, {15, 11},
                                {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1}};
    constexpr unsigned extended = 255;
    const unsigned code = reader.bits(8);
    if (code == extended) {
        const u32 width = reader.bits(16);
        return {width, reader.bits(16)};
    }
    return code < sizeof shapes / sizeof *shapes ? shapes[code] : Ratio();
}

} // namespace

std::vector<u8> withoutEmulation(EsBytes nalUnit)
{
    constexpr size_t enough = 1024;
    constexpr u8 prevention = 3;
    std::vector<u8> bytes;
    unsigned zeros = 0;
    for (size_t i = 0; i < nalUnit.size && bytes.size() < enough; ++i) {
        const u8 byte = nalUnit.data[i];
        if (zeros >= 2 && byte == prevention) {
            zeros = 0;
            continue;
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        bytes.push_back(byte);
    }
    return bytes;
}

bool crop(BitReader &reader, VideoFormat &video, u32 unitX, u32 unitY)
{
    const uint64_t left = reader.golomb();
    const uint64_t right = reader.golomb();
    const uint64_t top = reader.golomb();
    const uint64_t bottom = reader.golomb();
    const uint64_t across = (left + right) * unitX;
    const uint64_t down = (top + bottom) * unitY;
    if (!reader.ok() || across >= video.width || down >= video.height)
        return false;
    video.width -= static_cast<u32>(across);
    video.height -= static_cast<u32>(down);
    return true;
}

Ratio readUsability(BitReader &reader, VideoFormat &video)
{
    const Ratio sample = reader.flag() ? sampleShape(reader) : Ratio();
    if (reader.flag()) // overscan_info_present_flag
        reader.skip(1);
    if (reader.flag()) { // video_signal_type_present_flag
        reader.skip(4);
        if (reader.flag()) { // colour_description_present_flag
            reader.skip(8);
            video.transfer = static_cast<u8>(reader.bits(8));
            reader.skip(8);
        }
    }
    if (reader.flag()) { // chroma_loc_info_present_flag
        reader.golomb();
        reader.golomb();
    }
    return sample;
}

Ratio shapeOf(const VideoFormat &video, Ratio sample)
{
    return reduced(uint64_t{video.width} * sample.numerator, uint64_t{video.height} * sample.denominator);
}

bool isPicture(const VideoFormat &video)
{
    constexpr u32 largest = 16384;
    return video.width > 0 && video.height > 0 && video.width <= largest && video.height <= largest;
}

} // namespace psi::demux
