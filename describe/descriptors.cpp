#include "describe/descriptors.h"

#include "describe/descriptorFields.h"

namespace psi::describe {

namespace {

constexpr u32 eacemSpecifier = 0x00000028;
constexpr u32 nordigSpecifier = 0x00000029;

// SCTE 35 8.2: a program that is registered as "CUEI" may carry this descriptor in any system.
constexpr u8 cueIdentifierTag = 0x8A;
constexpr u32 cueingFormat = 0x43554549;

/** Logical channel numbers are private descriptors, but nearly every network carries them. EN 62216. */
void decodeLogicalChannel(ByteReader &reader, Fields &fields)
{
    addHex(fields, "service_id", reader.u16Field(), 4);
    const u16 word = reader.u16Field();
    addNumber(fields, "visible_service_flag", word >> 15);
    addNumber(fields, "logical_channel_number", word & 0x3FF);
}

void decodeLogicalChannels(ByteReader &reader, Fields &fields)
{
    addLoop(fields, "services", reader, decodeLogicalChannel);
}

struct PrivateDescriptor {
    u32 privateDataSpecifier;
    u8 tag;
    const char *name;
    DescriptorDecoder decode;
};

constexpr PrivateDescriptor privateDescriptors[] = {
    {eacemSpecifier, 0x83, "logical_channel_descriptor", decodeLogicalChannels},
    {eacemSpecifier, 0x88, "HD_simulcast_logical_channel_descriptor", decodeLogicalChannels},
    {nordigSpecifier, 0x83, "logical_channel_descriptor", decodeLogicalChannels},
};

const PrivateDescriptor *findPrivateDescriptor(u8 tag, u32 privateDataSpecifier)
{
    for (const PrivateDescriptor &entry : privateDescriptors)
        if (entry.tag == tag && entry.privateDataSpecifier == privateDataSpecifier)
            return &entry;
    return nullptr;
}

struct Layout {
    std::string name;
    DescriptorDecoder decode;
};

DescriptorDecoder findPublicDecoder(u8 tag, Standard standard)
{
    if (tag < 0x40)
        return findMpegDecoder(tag);
    if (tag < 0x80)
        return findDvbDecoder(tag);
    return standard == Standard::atsc ? findAtscDecoder(tag) : nullptr;
}

/** Names that the first payload byte makes more precise. */
std::string fullName(u8 tag, ByteView payload, Standard standard)
{
    std::string name = descriptorName(tag, standard);
    if (payload.empty())
        return name;
    if (tag == 0x7F)
        return name + ": " + dvbExtensionDescriptorName(payload[0]);
    if (tag == 0x3F)
        return name + ": " + mpegExtensionDescriptorName(payload[0]);
    return name;
}

Layout findLayout(u8 tag, ByteView payload, const DescriptorContext &context)
{
    const PrivateDescriptor *found = tag >= 0x80 ? findPrivateDescriptor(tag, context.privateDataSpecifier) : nullptr;
    if (found)
        return {found->name, found->decode};
    const bool cueing = tag == cueIdentifierTag && context.formatIdentifier == cueingFormat;
    const Standard standard = cueing ? Standard::atsc : context.standard;
    return {fullName(tag, payload, standard), findPublicDecoder(tag, standard)};
}

} // namespace

DescribedDescriptor describeDescriptor(u8 tag, ByteView payload, const DescriptorContext &context)
{
    const Layout layout = findLayout(tag, payload, context);
    DescribedDescriptor described{layout.name, {}, ""};
    if (!layout.decode)
        return described;
    ByteReader reader(payload);
    layout.decode(reader, described.fields);
    if (!reader.ok()) {
        described.fields.clear();
        described.note = "malformed: its fields do not fit its length, " + std::to_string(payload.size());
        return described;
    }
    addBytes(described.fields, "extra", reader.rest());
    return described;
}

} // namespace psi::describe
