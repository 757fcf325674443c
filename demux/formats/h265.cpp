#include "demux/formats/videoUsability.h"

#include <algorithm>
#include <functional>

namespace psi::demux {

namespace {

/** ISO/IEC 23008-2 A.3. */
std::string profileName(unsigned profile)
{
    constexpr const char *names[] = {"",
                                     "Main",
                                     "Main 10",
                                     "Main Still Picture",
                                     "Rext",
                                     "High Throughput",
                                     "Multiview Main",
                                     "Scalable Main",
                                     "3D Main",
                                     "Screen Content",
                                     "Scalable Rext",
                                     "High Throughput Screen Content"};
    return profile < sizeof names / sizeof *names ? names[profile] : "profile " + std::to_string(profile);
}

/** profile_tier_level(), 7.3.3. @param subLayers sps_max_sub_layers_minus1 */
void readProfile(BitReader &reader, unsigned subLayers, StreamFormat &format)
{
    constexpr size_t profileBits = 88;
    constexpr size_t levelBits = 8;
    reader.skip(2);
    const bool highTier = reader.flag();
    format.profile = profileName(reader.bits(5));
    reader.skip(32);
    const bool progressive = reader.flag();
    const bool interlaced = reader.flag();
    format.video->interlaced = interlaced && !progressive;
    reader.skip(2 + 43 + 1);
    const unsigned level = reader.bits(8);
    format.level = std::to_string(level / 30) + "." + std::to_string(level % 30 / 3) + (highTier ? " High tier" : "");
    const u32 present = reader.bits(subLayers > 0 ? 16 : 0);
    for (unsigned i = 0; i < subLayers; ++i) {
        reader.skip((present >> (15 - 2 * i) & 1U) != 0 ? profileBits : 0);
        reader.skip((present >> (14 - 2 * i) & 1U) != 0 ? levelBits : 0);
    }
}

/** scaling_list_data(), 7.3.4 */
void skipScalingLists(BitReader &reader)
{
    for (unsigned size = 0; size < 4; ++size)
        for (unsigned matrix = 0; matrix < 6; matrix += size == 3 ? 3 : 1) {
            if (!reader.flag()) { // scaling_list_pred_mode_flag
                reader.golomb();
                continue;
            }
            const unsigned coefficients = std::min(64U, 1U << (4 + (size << 1)));
            for (unsigned i = size > 1 ? 0 : 1; i <= coefficients && reader.ok(); ++i)
                reader.signedGolomb();
        }
}

using PictureSet = std::vector<i32>; /**< distances, those before in front, each side from the next on */

/** Those of a set that is told by the distances of the one before it, 7.4.8. */
PictureSet predictedSet(BitReader &reader, const PictureSet &reference)
{
    const bool back = reader.flag();
    const i32 magnitude = static_cast<i32>(reader.golomb() % 0x8000) + 1;
    const i32 shift = back ? -magnitude : magnitude;
    PictureSet set;
    for (size_t j = 0; j <= reference.size(); ++j) {
        const bool taken = reader.flag() || reader.flag(); // used_by_curr_pic_flag, else use_delta_flag
        const i32 distance = (j < reference.size() ? reference[j] : 0) + shift;
        if (taken && distance != 0)
            set.push_back(distance);
    }
    std::sort(set.begin(), set.end(), std::greater<>());
    std::stable_partition(set.begin(), set.end(), [](i32 distance) { return distance < 0; });
    std::reverse(std::find_if(set.begin(), set.end(), [](i32 distance) { return distance > 0; }), set.end());
    return set;
}

/** st_ref_pic_set(), 7.3.7. @return false when there are more than can be */
bool readPictureSet(BitReader &reader, bool first, PictureSet &set)
{
    constexpr u32 most = 16;
    if (!first && reader.flag()) { // inter_ref_pic_set_prediction_flag
        set = predictedSet(reader, set);
        return set.size() <= most;
    }
    const u32 before = reader.golomb();
    const u32 behind = reader.golomb();
    if (before > most || behind > most)
        return false;
    set.clear();
    for (const auto &[count, sign] : {std::pair(before, -1), std::pair(behind, 1)}) {
        i32 distance = 0;
        for (u32 i = 0; i < count; ++i) {
            distance += static_cast<i32>(reader.golomb() % 0x8000) + 1;
            set.push_back(sign * distance);
            reader.skip(1);
        }
    }
    return reader.ok();
}

/** From log2_min_luma_coding_block_size_minus3 to strong_intra_smoothing_enabled_flag. @return false: not to be read */
bool skipCodingTools(BitReader &reader, u32 orderBits)
{
    constexpr u32 mostSets = 64;
    constexpr u32 mostLongTerm = 32;
    for (int i = 0; i < 6; ++i)
        reader.golomb();
    if (reader.flag() && reader.flag()) // scaling lists enabled, and here
        skipScalingLists(reader);
    reader.skip(2);
    if (reader.flag()) { // pcm_enabled_flag
        reader.skip(8);
        reader.golomb();
        reader.golomb();
        reader.skip(1);
    }
    const u32 sets = reader.golomb();
    PictureSet set;
    for (u32 i = 0; i < sets; ++i)
        if (sets > mostSets || !readPictureSet(reader, i == 0, set))
            return false;
    if (reader.flag()) { // long_term_ref_pics_present_flag
        const u32 count = reader.golomb();
        reader.skip(std::min(count, mostLongTerm) * size_t{orderBits + 1});
    }
    reader.skip(2);
    return reader.ok();
}

void readUsabilityOf(BitReader &reader, VideoFormat &video)
{
    const Ratio sample = readUsability(reader, video);
    reader.skip(1); // neutral_chroma_indication_flag
    const bool isField = reader.flag();
    reader.skip(1);
    if (reader.flag()) // default_display_window_flag
        for (int i = 0; i < 4; ++i)
            reader.golomb();
    const bool timed = reader.flag();
    const u32 tick = timed ? reader.bits(32) : 0;
    const u32 scale = timed ? reader.bits(32) : 0;
    if (!reader.ok())
        return;
    if (isField) { // each picture is a field of a frame
        video.interlaced = true;
        video.height *= 2;
    }
    video.frameRate = reduced(scale, uint64_t{tick} * (isField ? 2 : 1));
    video.aspect = shapeOf(video, sample);
}

/** The picture's size and depth. @return false when it has none */
bool readSize(BitReader &reader, VideoFormat &video)
{
    const u32 chroma = reader.golomb();
    if (chroma == 3)
        reader.skip(1); // separate_colour_plane_flag
    video.width = reader.golomb();
    video.height = reader.golomb();
    if (!reader.ok() || chroma > 3 || !isPicture(video))
        return false;
    video.chroma = static_cast<u8>(chroma);
    if (reader.flag() && !crop(reader, video, chromaWidth(video.chroma), chromaHeight(video.chroma)))
        return false;
    video.bitDepth = static_cast<u8>(8 + reader.golomb() % 9);
    reader.golomb(); // of chrominance
    return reader.ok();
}

} // namespace

std::optional<StreamFormat> readH265Sequence(EsBytes nalUnit)
{
    const std::vector<u8> bytes = withoutEmulation(nalUnit);
    BitReader reader(bytes.data(), bytes.size());
    StreamFormat format;
    format.coding = "H.265";
    format.video.emplace();
    VideoFormat &video = *format.video;
    reader.skip(16 + 4); // NAL unit header, sps_video_parameter_set_id
    const unsigned subLayers = reader.bits(3);
    reader.skip(1);
    readProfile(reader, subLayers, format);
    reader.golomb(); // sps_seq_parameter_set_id
    if (!readSize(reader, video))
        return std::nullopt;
    const u32 orderBits = reader.golomb() % 16 + 4;
    const unsigned told = reader.flag() ? subLayers + 1 : 1; // sps_sub_layer_ordering_info_present_flag
    for (unsigned i = 0; i < 3 * told; ++i)
        reader.golomb();
    if (skipCodingTools(reader, orderBits) && reader.flag()) // vui_parameters_present_flag
        readUsabilityOf(reader, video);
    return isPicture(video) ? std::optional(format) : std::nullopt;
}

} // namespace psi::demux
