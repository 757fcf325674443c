#include "describe/names.h"

namespace psi::describe {

namespace {

constexpr NamedRange serviceTypes[] = {
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

constexpr NamedRange channelServiceTypes[] = {
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

constexpr NamedRange modulationModes[] = {
    {0x01, 0x01, "analog"}, {0x02, 0x02, "64-QAM"}, {0x03, 0x03, "256-QAM"},
    {0x04, 0x04, "8-VSB"},  {0x05, 0x05, "16-VSB"}, {0x80, 0xFF, "private"},
};

constexpr NamedRange runningStatuses[] = {
    {0, 0, "undefined"}, {1, 1, "not running"}, {2, 2, "starts in a few seconds"},
    {3, 3, "pausing"},   {4, 4, "running"},     {5, 5, "off-air"},
};

constexpr NamedRange audioTypes[] = {
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

constexpr NamedRange teletextTypes[] = {
    {1, 1, "initial page"},
    {2, 2, "subtitle page"},
    {3, 3, "additional information page"},
    {4, 4, "programme schedule page"},
    {5, 5, "subtitle page for the hard of hearing"},
};

constexpr NamedRange subtitlingTypes[] = {
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

constexpr NamedRange streamContents[] = {
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

// Of stream_content 0x9 and 0xB the meaning is in stream_content_ext: here the two in one byte.
constexpr NamedRange extendedStreamContents[] = {
    {0x90, 0x90, "H.265/HEVC video"},   {0x91, 0x91, "next generation audio"},
    {0x92, 0x92, "TTML subtitles"},     {0xBE, 0xBE, "next generation audio features"},
    {0xBF, 0xBF, "component features"},
};

} // namespace

const char *serviceTypeName(u8 type)
{
    return findName(serviceTypes, type, "reserved");
}

const char *channelServiceTypeName(u8 type)
{
    return findName(channelServiceTypes, type, "reserved");
}

const char *modulationModeName(u8 mode)
{
    return findName(modulationModes, mode, "reserved");
}

const char *runningStatusName(u8 status)
{
    return findName(runningStatuses, status, "reserved");
}

const char *audioTypeName(u8 type)
{
    return findName(audioTypes, type, "reserved");
}

const char *teletextTypeName(u8 type)
{
    return findName(teletextTypes, type, "reserved");
}

const char *subtitlingTypeName(u8 type)
{
    return findName(subtitlingTypes, type, "reserved");
}

const char *streamContentName(u8 content, u8 ext)
{
    const u32 both = static_cast<u32>(content) << 4 | ext;
    return findName(extendedStreamContents, both, findName(streamContents, content, "reserved"));
}

} // namespace psi::describe
