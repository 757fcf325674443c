#include "describe/meanings.h"

namespace psi::describe {

namespace {

constexpr u32 fourCc(char a, char b, char c, char d)
{
    return static_cast<u32>(a) << 24 | static_cast<u32>(b) << 16 | static_cast<u32>(c) << 8 | static_cast<u32>(d);
}

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
