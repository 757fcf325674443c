#include "demux/formats/videoUsability.h"

#include <algorithm>

namespace psi::demux {

namespace {

/** Those whose parameter sets tell about chrominance and scaling, ISO/IEC 14496-10 7.3.2.1.1. */
bool isHighProfile(unsigned profile)
{
    constexpr unsigned high[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(high), std::end(high), profile) != std::end(high);
}

/** ISO/IEC 14496-10 A.2. @param constraints constraint_set0_flag is the highest bit */
std::string profileName(unsigned profile, unsigned constraints)
{
    const bool set1 = (constraints & 0x40) != 0;
    const bool set3 = (constraints & 0x10) != 0;
    switch (profile) {
    case 66:
        return set1 ? "Constrained Baseline" : "Baseline";
    case 77:
        return "Main";
    case 88:
        return "Extended";
    case 100:
        return "High";
    case 110:
        return set3 ? "High 10 Intra" : "High 10";
    case 122:
        return set3 ? "High 4:2:2 Intra" : "High 4:2:2";
    case 244:
        return set3 ? "High 4:4:4 Intra" : "High 4:4:4 Predictive";
    case 44:
        return "CAVLC 4:4:4 Intra";
    default:
        return "profile " + std::to_string(profile);
    }
}

std::string levelName(unsigned profile, unsigned constraints, unsigned level)
{
    const bool set3 = (constraints & 0x10) != 0;
    if (level == 9 || (level == 11 && set3 && profile < 100))
        return "1b";
    return std::to_string(level / 10) + "." + std::to_string(level % 10);
}

/** scaling_list(), 7.3.2.1.1.1 */
void skipScalingList(BitReader &reader, unsigned size)
{
    i32 last = 8;
    i32 next = 8;
    for (unsigned i = 0; i < size && next != 0 && reader.ok(); ++i) {
        next = (last + reader.signedGolomb() % 256 + 256) % 256;
        last = next != 0 ? next : last;
    }
}

void readChroma(BitReader &reader, VideoFormat &video)
{
    video.chroma = static_cast<u8>(std::min(reader.golomb(), u32{4}));
    if (video.chroma == 3)
        reader.skip(1); // separate_colour_plane_flag
    video.bitDepth = static_cast<u8>(8 + reader.golomb() % 8);
    reader.golomb(); // of chrominance
    reader.skip(1);
    if (!reader.flag()) // seq_scaling_matrix_present_flag
        return;
    for (unsigned i = 0; i < (video.chroma == 3 ? 12U : 8U); ++i)
        if (reader.flag())
            skipScalingList(reader, i < 6 ? 16 : 64);
}

void skipPictureOrder(BitReader &reader)
{
    const u32 type = reader.golomb();
    if (type == 0)
        reader.golomb();
    if (type != 1)
        return;
    reader.skip(1);
    reader.golomb();
    reader.golomb();
    for (u32 left = reader.golomb(); left > 0 && reader.ok(); --left)
        reader.golomb();
}

/** @return false when the picture has no size */
bool readSize(BitReader &reader, VideoFormat &video)
{
    constexpr u32 macroblock = 16;
    constexpr u32 most = 1024; // macroblocks
    const u32 across = reader.golomb();
    const u32 down = reader.golomb();
    video.interlaced = !reader.flag(); // frame_mbs_only_flag
    const u32 fields = video.interlaced ? 2 : 1;
    if (video.interlaced)
        reader.skip(1);
    reader.skip(1);
    if (!reader.ok() || across >= most || down >= most)
        return false;
    video.width = (across + 1) * macroblock;
    video.height = (down + 1) * macroblock * fields;
    return !reader.flag() || crop(reader, video, chromaWidth(video.chroma), chromaHeight(video.chroma) * fields);
}

void readUsabilityOf(BitReader &reader, VideoFormat &video)
{
    const Ratio sample = readUsability(reader, video);
    if (reader.flag()) { // timing_info_present_flag
        const u32 tick = reader.bits(32);
        video.frameRate = reduced(reader.bits(32), uint64_t{tick} * 2);
    }
    if (reader.ok())
        video.aspect = shapeOf(video, sample);
    else
        video.frameRate = {};
}

} // namespace

std::optional<StreamFormat> readH264Sequence(EsBytes nalUnit)
{
    const std::vector<u8> bytes = withoutEmulation(nalUnit);
    BitReader reader(bytes.data(), bytes.size());
    reader.skip(8); // nal_unit_type
    const unsigned profile = reader.bits(8);
    const unsigned constraints = reader.bits(8);
    const unsigned level = reader.bits(8);
    StreamFormat format{"H.264", profileName(profile, constraints), levelName(profile, constraints, level), {}, {}};
    VideoFormat video;
    reader.golomb(); // seq_parameter_set_id
    if (isHighProfile(profile))
        readChroma(reader, video);
    reader.golomb(); // log2_max_frame_num_minus4
    skipPictureOrder(reader);
    reader.golomb(); // max_num_ref_frames
    reader.skip(1);
    if (video.chroma > 3 || !readSize(reader, video))
        return std::nullopt;
    if (reader.flag()) // vui_parameters_present_flag
        readUsabilityOf(reader, video);
    format.video = video;
    return isPicture(video) ? std::optional(format) : std::nullopt;
}

} // namespace psi::demux
