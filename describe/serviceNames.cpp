#include "describe/isdb.h"
#include "describe/meanings.h"

namespace psi::describe {

namespace {

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

const char *serviceTypeName(u8 type, const DescriptorContext &context)
{
    return isIsdb(context) ? isdbServiceTypeName(type) : serviceTypeName(type);
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

const char *teletextTypeName(u8 type)
{
    return findName(teletextTypes, type, "reserved");
}

const char *streamContentName(u8 content, u8 ext)
{
    const u32 both = static_cast<u32>(content) << 4 | ext;
    return findName(extendedStreamContents, both, findName(streamContents, content, "reserved"));
}

} // namespace psi::describe
