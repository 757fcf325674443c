/**
 * @file headerReaders.h
 * @brief Readers of the first headers of elementary streams. They stay inside what they are given, whatever it holds.
 */
#ifndef PSI_DEMUX_HEADER_READERS_H
#define PSI_DEMUX_HEADER_READERS_H

#include "demux/formats/streamFormat.h"

#include <cstddef>
#include <optional>

namespace psi::demux {

/** @brief Bytes of an elementary stream, not owned. */
struct EsBytes {
    const u8 *data = nullptr;
    size_t size = 0;

    /** @brief What follows an offset; nothing when that is beyond the end. */
    EsBytes from(size_t offset) const
    {
        return offset < size ? EsBytes{data + offset, size - offset} : EsBytes{data + size, 0};
    }
};

/** @name Video: one header, without the start code prefix in front of it; nothing when it is none
 * @{ */

/** @brief sequence_header() with the extensions that follow it. ISO/IEC 11172-2 2.4.2.3, ISO/IEC 13818-2 6.2.2 */
std::optional<StreamFormat> readMpegSequence(EsBytes header);
/** @brief A NAL unit with a sequence parameter set. ISO/IEC 14496-10 7.3.2.1.1 */
std::optional<StreamFormat> readH264Sequence(EsBytes nalUnit);
/** @brief A NAL unit with a sequence parameter set. ISO/IEC 23008-2 7.3.2.2 */
std::optional<StreamFormat> readH265Sequence(EsBytes nalUnit);

/** @} */

/** @brief A frame of sound. */
struct AudioFrame {
    size_t bytes = 0;                   /**< its length, with the header; 0: there is no frame here */
    std::optional<StreamFormat> format; /**< nothing: this frame does not say */
};

/** @brief So many bytes a reader of audio headers wants to see at least, or to be told that there are no more. */
constexpr size_t kAudioHeaderBytes = 64;

/** @name Audio: the frame that begins at the first byte
 * @{ */

/** @brief ISO/IEC 11172-3 2.4.1.3, ISO/IEC 13818-3 */
AudioFrame readMpegAudioFrame(EsBytes stream);
/** @brief adts_frame(). ISO/IEC 14496-3 1.A.2.2 */
AudioFrame readAdtsFrame(EsBytes stream);
/** @brief AudioSyncStream(). ISO/IEC 14496-3 1.7.2 */
AudioFrame readLoasFrame(EsBytes stream);
/** @brief syncframe() of AC-3 or E-AC-3, with the dependent substreams behind it. ETSI TS 102 366 4.3, E.1.2 */
AudioFrame readAc3Frame(EsBytes stream);
/** @brief A frame of the core, or an extension substream. ETSI TS 102 114 5.3, 7.4 */
AudioFrame readDtsFrame(EsBytes stream);
/** @brief ac4_syncframe(). ETSI TS 103 190-1 annex G */
AudioFrame readAc4Frame(EsBytes stream);
/** @brief An access unit of Opus with its control header. Its channels are in the PMT: opusChannels(). */
AudioFrame readOpusUnit(EsBytes stream);

/** @} */

/** @brief A picture of that shape as it is shown. @param sample width to height of a sample; unknown gives unknown */
Ratio shapeOf(const VideoFormat &video, Ratio sample);
/** @brief Whether a size is one that a picture can have. */
bool isPicture(const VideoFormat &video);

} // namespace psi::demux

#endif // PSI_DEMUX_HEADER_READERS_H
