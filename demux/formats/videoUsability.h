/**
 * @file videoUsability.h
 * @brief What the sequence parameter sets of H.264 and H.265 have in common.
 */
#ifndef PSI_DEMUX_VIDEO_USABILITY_H
#define PSI_DEMUX_VIDEO_USABILITY_H

#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

#include <vector>

namespace psi::demux {

/** @brief A NAL unit without its emulation prevention bytes, cut behind its first KiB. ISO/IEC 14496-10 7.4.1.1 */
std::vector<u8> withoutEmulation(EsBytes nalUnit);

/** @brief Take cropping at the edges off a picture. @return false when nothing is left */
bool crop(BitReader &reader, VideoFormat &video, u32 unitX, u32 unitY);

/** @brief The beginning of vui_parameters(), the same in both: to chroma_loc_info. @return the samples' shape */
Ratio readUsability(BitReader &reader, VideoFormat &video);

/** @brief Samples of luminance for one of chrominance, across and down. @param chroma chroma_format_idc */
constexpr u32 chromaWidth(u8 chroma)
{
    return chroma == 1 || chroma == 2 ? 2 : 1;
}
constexpr u32 chromaHeight(u8 chroma)
{
    return chroma == 1 ? 2 : 1;
}

} // namespace psi::demux

#endif // PSI_DEMUX_VIDEO_USABILITY_H
