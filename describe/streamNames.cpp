#include "describe/names.h"

namespace psi::describe {

namespace {

constexpr u32 fourCc(char a, char b, char c, char d)
{
    return static_cast<u32>(a) << 24 | static_cast<u32>(b) << 16 | static_cast<u32>(c) << 8 | static_cast<u32>(d);
}

constexpr NamedRange streamTypes[] = {
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

// Streams of discs, registered as "HDMV", use the private types their own way.
constexpr NamedRange discStreamTypes[] = {
    {0x80, 0x80, "LPCM audio"},
    {0x81, 0x81, "AC-3 audio"},
    {0x82, 0x82, "DTS audio"},
    {0x83, 0x83, "TrueHD audio"},
    {0x84, 0x84, "E-AC-3 audio"},
    {0x85, 0x85, "DTS-HD high resolution audio"},
    {0x86, 0x86, "DTS-HD master audio"},
    {0x90, 0x90, "presentation graphics"},
    {0x91, 0x91, "interactive graphics"},
    {0x92, 0x92, "text subtitles"},
};

struct RegisteredFormat {
    u32 formatIdentifier;
    const char *name;
};

constexpr RegisteredFormat registeredFormats[] = {
    {fourCc('A', 'C', '-', '3'), "AC-3 audio"},
    {fourCc('E', 'A', 'C', '3'), "E-AC-3 audio"},
    {fourCc('A', 'C', '-', '4'), "AC-4 audio"},
    {fourCc('D', 'T', 'S', '1'), "DTS audio"},
    {fourCc('D', 'T', 'S', '2'), "DTS audio"},
    {fourCc('D', 'T', 'S', '3'), "DTS audio"},
    {fourCc('D', 'T', 'S', 'H'), "DTS-HD audio"},
    {fourCc('O', 'p', 'u', 's'), "Opus audio"},
    {fourCc('B', 'S', 'S', 'D'), "SMPTE 302M audio"},
    {fourCc('M', 'L', 'P', 'A'), "TrueHD audio"},
    {fourCc('H', 'E', 'V', 'C'), "H.265/HEVC video"},
    {fourCc('V', 'V', 'C', ' '), "H.266/VVC video"},
    {fourCc('A', 'V', '0', '1'), "AV1 video"},
    {fourCc('V', 'C', '-', '1'), "VC-1 video"},
    {fourCc('d', 'r', 'a', 'c'), "Dirac video"},
    {fourCc('A', 'V', 'S', '2'), "AVS2 video"},
    {fourCc('A', 'V', 'S', '3'), "AVS3 video"},
    {fourCc('A', 'V', 'S', 'V'), "AVS video"},
    {fourCc('V', 'A', 'N', 'C'), "SMPTE 2038 ancillary data"},
    {fourCc('K', 'L', 'V', 'A'), "KLV metadata"},
    {fourCc('I', 'D', '3', ' '), "ID3 metadata"},
    {fourCc('C', 'U', 'E', 'I'), "SCTE 35 splice information"},
    {fourCc('E', 'T', 'V', '1'), "enhanced TV binary interchange"},
};

} // namespace

const char *registeredFormatName(u32 formatIdentifier)
{
    for (const RegisteredFormat &format : registeredFormats)
        if (format.formatIdentifier == formatIdentifier)
            return format.name;
    return nullptr;
}

const char *streamTypeName(u8 type, u32 formatIdentifier)
{
    const char *standardName = findName(streamTypes, type, "reserved");
    return formatIdentifier == fourCc('H', 'D', 'M', 'V') ? findName(discStreamTypes, type, standardName)
                                                          : standardName;
}

} // namespace psi::describe
