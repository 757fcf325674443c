/**
 * @file meanings.h
 * @brief Words for numbers that several structures have.
 */
#ifndef PSI_DESCRIBE_MEANINGS_H
#define PSI_DESCRIBE_MEANINGS_H

#include "describe/names.h"

namespace psi::describe {

/** @brief free_CA_mode. EN 300 468 5.2 */
inline constexpr NamedRange scrambled[] = {{0, 0, "not scrambled"}, {1, 1, "scrambled"}};

/** @brief ETM_location. A/65 6.3 */
inline constexpr NamedRange etmLocations[] = {
    {0, 0, "no ETM"}, {1, 1, "ETM in this stream"}, {2, 2, "ETM in the stream of channel_TSID"}, {3, 3, "reserved"}};

/** @brief bsmod. A/52 4.4.2.2 */
inline constexpr NamedRange ac3Services[] = {
    {0, 0, "complete main"}, {1, 1, "music and effects"}, {2, 2, "visually impaired"}, {3, 3, "hearing impaired"},
    {4, 4, "dialogue"},      {5, 5, "commentary"},        {6, 6, "emergency"},         {7, 7, "voice over or karaoke"},
};

/** @brief rating_region. A/65 6.4 */
inline constexpr NamedRange ratingRegions[] = {{1, 1, "United States"},
                                               {2, 2, "Canada"},
                                               {3, 3, "Taiwan"},
                                               {4, 4, "South Korea"},
                                               {5, 5, "United States, downloadable"}};

inline constexpr NamedRange serviceTypes[] = {
    {0x01, 0x01, "digital television"},
    {0x02, 0x02, "digital radio"},
    {0x03, 0x03, "teletext"},
    {0x04, 0x04, "NVOD reference"},
    {0x05, 0x05, "NVOD time-shifted"},
    {0x06, 0x06, "mosaic"},
    {0x07, 0x07, "FM radio"},
    {0x08, 0x08, "DVB SRM"},
    {0x0A, 0x0A, "advanced codec digital radio"},
    {0x0B, 0x0B, "H.264/AVC mosaic"},
    {0x0C, 0x0C, "data broadcast"},
    {0x0D, 0x0D, "reserved for common interface use"},
    {0x0E, 0x0E, "RCS map"},
    {0x0F, 0x0F, "RCS FLS"},
    {0x10, 0x10, "DVB MHP"},
    {0x11, 0x11, "MPEG-2 HD digital television"},
    {0x16, 0x16, "H.264/AVC SD digital television"},
    {0x17, 0x17, "H.264/AVC SD NVOD time-shifted"},
    {0x18, 0x18, "H.264/AVC SD NVOD reference"},
    {0x19, 0x19, "H.264/AVC HD digital television"},
    {0x1A, 0x1A, "H.264/AVC HD NVOD time-shifted"},
    {0x1B, 0x1B, "H.264/AVC HD NVOD reference"},
    {0x1C, 0x1C, "H.264/AVC 3D HD digital television"},
    {0x1D, 0x1D, "H.264/AVC 3D HD NVOD time-shifted"},
    {0x1E, 0x1E, "H.264/AVC 3D HD NVOD reference"},
    {0x1F, 0x1F, "H.265/HEVC digital television"},
    {0x20, 0x20, "H.265/HEVC UHD digital television"},
    {0x21, 0x21, "H.266/VVC digital television"},
    {0x22, 0x22, "AVS3 digital television"},
    {0x80, 0xFE, "user defined"},
};

inline constexpr NamedRange channelServiceTypes[] = {
    {0x01, 0x01, "analog television"},
    {0x02, 0x02, "ATSC digital television"},
    {0x03, 0x03, "ATSC audio"},
    {0x04, 0x04, "ATSC data only"},
    {0x05, 0x05, "ATSC software download"},
    {0x06, 0x06, "unassociated or small screen"},
    {0x07, 0x07, "parameterized"},
    {0x08, 0x08, "ATSC non-real-time"},
    {0x09, 0x09, "extended parameterized"},
};

inline constexpr NamedRange modulationModes[] = {
    {0x01, 0x01, "analog"}, {0x02, 0x02, "64-QAM"}, {0x03, 0x03, "256-QAM"},
    {0x04, 0x04, "8-VSB"},  {0x05, 0x05, "16-VSB"}, {0x80, 0xFF, "private"},
};

inline constexpr NamedRange runningStatuses[] = {
    {0, 0, "undefined"}, {1, 1, "not running"}, {2, 2, "starts in a few seconds"},
    {3, 3, "pausing"},   {4, 4, "running"},     {5, 5, "off-air"},
};

inline constexpr NamedRange audioTypes[] = {
    {0x00, 0x00, "undefined"},
    {0x01, 0x01, "clean effects"},
    {0x02, 0x02, "hearing impaired"},
    {0x03, 0x03, "visually impaired commentary"},
    {0x04, 0x7F, "user private"},
    {0x80, 0x80, "primary"},
    {0x81, 0x81, "native"},
    {0x82, 0x82, "emergency"},
    {0x83, 0x83, "primary commentary"},
    {0x84, 0x84, "alternate commentary"},
};

inline constexpr NamedRange teletextTypes[] = {
    {1, 1, "initial page"},
    {2, 2, "subtitle page"},
    {3, 3, "additional information page"},
    {4, 4, "programme schedule page"},
    {5, 5, "subtitle page for the hard of hearing"},
};

inline constexpr NamedRange subtitlingTypes[] = {
    {0x01, 0x01, "teletext subtitles"},
    {0x02, 0x02, "associated teletext"},
    {0x03, 0x03, "VBI data"},
    {0x10, 0x10, "DVB subtitles"},
    {0x11, 0x11, "DVB subtitles, 4:3"},
    {0x12, 0x12, "DVB subtitles, 16:9"},
    {0x13, 0x13, "DVB subtitles, 2.21:1"},
    {0x14, 0x14, "DVB subtitles, HD"},
    {0x15, 0x15, "DVB subtitles, 3D HD"},
    {0x16, 0x16, "DVB subtitles, UHD"},
    {0x20, 0x20, "DVB subtitles for the hard of hearing"},
    {0x21, 0x21, "DVB subtitles for the hard of hearing, 4:3"},
    {0x22, 0x22, "DVB subtitles for the hard of hearing, 16:9"},
    {0x23, 0x23, "DVB subtitles for the hard of hearing, 2.21:1"},
    {0x24, 0x24, "DVB subtitles for the hard of hearing, HD"},
    {0x25, 0x25, "DVB subtitles for the hard of hearing, 3D HD"},
    {0x26, 0x26, "DVB subtitles for the hard of hearing, UHD"},
    {0x30, 0x30, "open sign language"},
    {0x31, 0x31, "closed sign language"},
};

inline constexpr NamedRange streamContents[] = {
    {0x1, 0x1, "MPEG-2 video"},
    {0x2, 0x2, "MPEG-1 layer II audio"},
    {0x3, 0x3, "subtitles or teletext"},
    {0x4, 0x4, "AC-3 audio"},
    {0x5, 0x5, "H.264/AVC video"},
    {0x6, 0x6, "HE-AAC audio"},
    {0x7, 0x7, "DTS audio"},
    {0x8, 0x8, "DVB SRM"},
    {0xC, 0xF, "user defined"},
};

inline constexpr NamedRange applicationTypes[] = {
    {0x0001, 0x0001, "DVB-J"}, {0x0002, 0x0002, "DVB-HTML"}, {0x0006, 0x0006, "MHEG-5"}, {0x0010, 0x0010, "HbbTV"}};

/** MPEG-4_audio_profile_and_level, ISO/IEC 13818-1 2.6.39. */
inline constexpr NamedRange audioProfiles[] = {
    {0x10, 0x10, "Main level 1"},
    {0x11, 0x11, "Main level 2"},
    {0x12, 0x12, "Main level 3"},
    {0x13, 0x13, "Main level 4"},
    {0x18, 0x18, "Scalable level 1"},
    {0x19, 0x19, "Scalable level 2"},
    {0x1A, 0x1A, "Scalable level 3"},
    {0x1B, 0x1B, "Scalable level 4"},
    {0x20, 0x20, "Speech level 1"},
    {0x21, 0x21, "Speech level 2"},
    {0x28, 0x28, "Synthesis level 1"},
    {0x29, 0x29, "Synthesis level 2"},
    {0x2A, 0x2A, "Synthesis level 3"},
    {0x30, 0x30, "High Quality level 1"},
    {0x31, 0x31, "High Quality level 2"},
    {0x32, 0x32, "High Quality level 3"},
    {0x33, 0x33, "High Quality level 4"},
    {0x34, 0x34, "High Quality level 5"},
    {0x35, 0x35, "High Quality level 6"},
    {0x36, 0x36, "High Quality level 7"},
    {0x37, 0x37, "High Quality level 8"},
    {0x38, 0x38, "Low Delay level 1"},
    {0x39, 0x39, "Low Delay level 2"},
    {0x3A, 0x3A, "Low Delay level 3"},
    {0x3B, 0x3B, "Low Delay level 4"},
    {0x3C, 0x3C, "Low Delay level 5"},
    {0x3D, 0x3D, "Low Delay level 6"},
    {0x3E, 0x3E, "Low Delay level 7"},
    {0x3F, 0x3F, "Low Delay level 8"},
    {0x40, 0x40, "Natural level 1"},
    {0x41, 0x41, "Natural level 2"},
    {0x42, 0x42, "Natural level 3"},
    {0x43, 0x43, "Natural level 4"},
    {0x48, 0x48, "Mobile Internetworking level 1"},
    {0x49, 0x49, "Mobile Internetworking level 2"},
    {0x4A, 0x4A, "Mobile Internetworking level 3"},
    {0x4B, 0x4B, "Mobile Internetworking level 4"},
    {0x4C, 0x4C, "Mobile Internetworking level 5"},
    {0x4D, 0x4D, "Mobile Internetworking level 6"},
    {0x50, 0x50, "AAC level 1"},
    {0x51, 0x51, "AAC level 2"},
    {0x52, 0x52, "AAC level 4"},
    {0x53, 0x53, "AAC level 5"},
    {0x58, 0x58, "HE-AAC level 2"},
    {0x59, 0x59, "HE-AAC level 3"},
    {0x5A, 0x5A, "HE-AAC level 4"},
    {0x5B, 0x5B, "HE-AAC level 5"},
    {0x60, 0x60, "HE-AAC v2 level 2"},
    {0x61, 0x61, "HE-AAC v2 level 3"},
    {0x62, 0x62, "HE-AAC v2 level 4"},
    {0x63, 0x63, "HE-AAC v2 level 5"},
    {0xFF, 0xFF, "not given"},
};

inline constexpr NamedRange streamTypes[] = {
    {0x00, 0x00, "reserved"},
    {0x01, 0x01, "MPEG-1 video"},
    {0x02, 0x02, "MPEG-2 video"},
    {0x03, 0x03, "MPEG-1 audio"},
    {0x04, 0x04, "MPEG-2 audio"},
    {0x05, 0x05, "private sections"},
    {0x06, 0x06, "PES private data"},
    {0x07, 0x07, "MHEG"},
    {0x08, 0x08, "DSM-CC"},
    {0x09, 0x09, "H.222.1"},
    {0x0A, 0x0A, "DSM-CC multiprotocol encapsulation"},
    {0x0B, 0x0B, "DSM-CC U-N messages"},
    {0x0C, 0x0C, "DSM-CC stream descriptors"},
    {0x0D, 0x0D, "DSM-CC sections"},
    {0x0E, 0x0E, "MPEG-2 systems auxiliary data"},
    {0x0F, 0x0F, "AAC audio (ADTS)"},
    {0x10, 0x10, "MPEG-4 part 2 video"},
    {0x11, 0x11, "AAC audio (LATM)"},
    {0x12, 0x12, "MPEG-4 SL in PES"},
    {0x13, 0x13, "MPEG-4 SL in sections"},
    {0x14, 0x14, "DSM-CC synchronized download"},
    {0x15, 0x15, "metadata in PES"},
    {0x16, 0x16, "metadata in sections"},
    {0x17, 0x17, "metadata in DSM-CC data carousel"},
    {0x18, 0x18, "metadata in DSM-CC object carousel"},
    {0x19, 0x19, "metadata in synchronized download"},
    {0x1A, 0x1A, "MPEG-2 IPMP"},
    {0x1B, 0x1B, "H.264/AVC video"},
    {0x1C, 0x1C, "MPEG-4 raw audio"},
    {0x1D, 0x1D, "MPEG-4 text"},
    {0x1E, 0x1E, "auxiliary video"},
    {0x1F, 0x1F, "H.264/SVC sub-bitstream"},
    {0x20, 0x20, "H.264/MVC sub-bitstream"},
    {0x21, 0x21, "JPEG 2000 video"},
    {0x22, 0x22, "MPEG-2 video, additional view"},
    {0x23, 0x23, "H.264/AVC video, additional view"},
    {0x24, 0x24, "H.265/HEVC video"},
    {0x25, 0x25, "H.265/HEVC temporal sub-bitstream"},
    {0x26, 0x26, "H.264/MVCD sub-bitstream"},
    {0x27, 0x27, "timeline and external media information"},
    {0x28, 0x2B, "H.265/HEVC enhancement sub-partition"},
    {0x2C, 0x2C, "green access units"},
    {0x2D, 0x2D, "MPEG-H 3D audio, main stream"},
    {0x2E, 0x2E, "MPEG-H 3D audio, auxiliary stream"},
    {0x2F, 0x2F, "quality access units"},
    {0x30, 0x30, "media orchestration access units"},
    {0x31, 0x31, "H.265/HEVC tile substream"},
    {0x32, 0x32, "JPEG XS video"},
    {0x33, 0x33, "H.266/VVC video"},
    {0x34, 0x34, "H.266/VVC temporal sub-bitstream"},
    {0x35, 0x35, "EVC video"},
    {0x36, 0x36, "LCEVC video"},
    {0x42, 0x42, "AVS video"},
    {0x7F, 0x7F, "IPMP"},
    {0x80, 0x80, "DigiCipher II video or user private"},
    {0x81, 0x81, "AC-3 audio"},
    {0x82, 0x82, "SCTE subtitles"},
    {0x83, 0x83, "SCTE isochronous data"},
    {0x86, 0x86, "SCTE 35 splice information"},
    {0x87, 0x87, "E-AC-3 audio"},
    {0x88, 0x88, "DTS-HD audio"},
    {0x95, 0x95, "ATSC data service table"},
    {0xC2, 0xC2, "ATSC synchronous data"},
    {0xC3, 0xC3, "SCTE asynchronous data"},
    {0xD1, 0xD1, "Dirac video"},
    {0xD2, 0xD2, "AVS2 video"},
    {0xD4, 0xD4, "AVS3 video"},
    {0xEA, 0xEA, "VC-1 video"},
    {0x80, 0xFF, "user private"},
};

} // namespace psi::describe

#endif
