/**
 * @file streamFormat.h
 * @brief What an elementary stream's first headers say: size and rate of pictures, channels and rate of sound.
 */
#ifndef PSI_DEMUX_STREAM_FORMAT_H
#define PSI_DEMUX_STREAM_FORMAT_H

#include "psi.h"

#include <optional>
#include <string>

namespace psi::demux {

/** @brief A ratio of whole numbers; 0 over anything: not known. */
struct Ratio {
    u32 numerator = 0;
    u32 denominator = 1;

    bool known() const { return numerator != 0 && denominator != 0; }
    double value() const { return static_cast<double>(numerator) / denominator; }
};

/** @brief numerator and denominator without a common divisor, cut to 32 bits; not known when one of them is 0. */
Ratio reduced(uint64_t numerator, uint64_t denominator);

/** @brief Pictures. */
struct VideoFormat {
    u32 width = 0;  /**< of the part that is shown */
    u32 height = 0; /**< of a whole frame */
    bool interlaced = false;
    Ratio frameRate; /**< frames a second */
    Ratio aspect;    /**< width to height of the picture as it is shown */
    u8 chroma = 1;   /**< chroma_format_idc: 0 monochrome, 1 4:2:0, 2 4:2:2, 3 4:4:4 */
    u8 bitDepth = 8; /**< of luminance */
    u8 transfer = 0; /**< transfer_characteristics, ISO/IEC 23091-2 8.2; 0: not told */
};

/** @brief Sound. */
struct AudioFormat {
    u8 channels = 0;           /**< full-range ones; 0: not told here */
    bool lowFrequency = false; /**< and one for low frequencies */
    u32 sampleRate = 0;        /**< Hz */
    u32 bitRate = 0;           /**< bit/s; 0: not told here */
    Ratio frameRate;           /**< frames a second where sound is cut as the pictures are; else not known */
};

/** @brief What the headers of a stream say. One of `video` and `audio` is there. */
struct StreamFormat {
    const char *coding = ""; /**< "H.264", "AC-3": what it is by its own headers */
    std::string profile;     /**< "High", "Main 10", "layer II"; empty: none */
    std::string level;       /**< "4.0", "Main"; empty: none */
    std::optional<VideoFormat> video;
    std::optional<AudioFormat> audio;
};

/** @brief "4:2:0" of a VideoFormat's chroma. */
const char *chromaName(u8 chroma);
/** @brief "HLG", "PQ"; null for those of standard dynamic range. */
const char *transferName(u8 transfer);
/** @brief "16:9": the usual name of a shape next to this one, else the ratio itself; "" when it is not known. */
std::string aspectText(const Ratio &aspect);
/** @brief "25", "29.97"; "" when it is not known. */
std::string rateText(const Ratio &frameRate);
/** @brief "mono", "stereo", "5.1"; "" when it is not known. */
std::string channelsText(const AudioFormat &audio);
/** @brief "1920x1080i 25 fps 16:9, High 4.0", "5.1 48 kHz 384 kbit/s". */
std::string formatText(const StreamFormat &format);

} // namespace psi::demux

#endif // PSI_DEMUX_STREAM_FORMAT_H
