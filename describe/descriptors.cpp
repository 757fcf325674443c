#include "describe/descriptors.h"

#include "describe/layoutReader.h"

namespace psi::describe {

namespace {

constexpr u8 privateSections = 0x05;
constexpr u8 privatePes = 0x06;
constexpr u8 firstUserPrivate = 0x80;
constexpr u8 dataComponentTag = 0xFD; // in ISDB, ARIB STD-B10 part 2 6.2; anywhere else it has no such field
constexpr u64 captionsComponent = 0x0008;

struct TagMeaning {
    u8 tag;
    const char *kind;
};

// What these descriptors make of a stream of PES private data, EN 300 468 Annexes D to H.
constexpr TagMeaning pesKinds[] = {
    {0x6A, "AC-3 audio"}, {0x7A, "E-AC-3 audio"},  {0x7B, "DTS audio"},    {0x7C, "AAC audio"},
    {0x56, "teletext"},   {0x59, "DVB subtitles"}, {0x46, "VBI teletext"}, {0x45, "VBI data"},
};

constexpr TagMeaning sectionKinds[] = {{0x6F, "AIT"}};

// The same for the descriptors behind tag 0x7F, by descriptor_tag_extension.
constexpr TagMeaning pesExtensionKinds[] = {
    {0x0E, "DTS-HD audio"}, {0x15, "AC-4 audio"}, {0x20, "TTML subtitles"}, {0x21, "DTS-UHD audio"}};

template <std::size_t N> const char *kindOf(const TagMeaning (&table)[N], u8 tag)
{
    for (const TagMeaning &entry : table)
        if (entry.tag == tag)
            return entry.kind;
    return nullptr;
}

const char *pesKindOf(const ReadDescriptor &descriptor)
{
    if (descriptor.tag == 0x7F && !descriptor.payload.empty())
        return kindOf(pesExtensionKinds, descriptor.payload[0]);
    if (descriptor.tag == dataComponentTag)
        return numberOf(descriptor.description.fields, "data_component_id", 0) == captionsComponent ? "captions"
                                                                                                    : nullptr;
    return kindOf(pesKinds, descriptor.tag);
}

/** The first descriptor that tells what a private stream is. */
const char *describedKind(u8 streamType, const std::vector<ReadDescriptor> &descriptors)
{
    for (const ReadDescriptor &descriptor : descriptors) {
        const char *kind = nullptr;
        if (streamType == privatePes)
            kind = pesKindOf(descriptor);
        else if (streamType == privateSections)
            kind = kindOf(sectionKinds, descriptor.tag);
        if (kind)
            return kind;
    }
    const bool isPrivate = streamType == privatePes || streamType == privateSections || streamType >= firstUserPrivate;
    return isPrivate ? registeredFormatName(formatIdentifierOf(descriptors)) : nullptr;
}

} // namespace

const Field *findField(const Fields &fields, std::string_view key)
{
    for (const Field &field : fields)
        if (field.key == key)
            return &field;
    return nullptr;
}

u64 numberOf(const Fields &fields, std::string_view key, u64 otherwise)
{
    const Field *field = findField(fields, key);
    return field && field->kind == Field::Kind::number ? field->number : otherwise;
}

DescribedDescriptor describeDescriptor(u8 tag, ByteView payload, const DescriptorContext &context)
{
    return readDescriptor(tag, payload, TagSpace::si, context, 0).description;
}

ReadDescriptor readNext(u8 tag, ByteView payload, DescriptorContext &context)
{
    ReadDescriptor read = readDescriptor(tag, payload, TagSpace::si, context, 0);
    if (tag == privateDataSpecifierTag)
        context.privateDataSpecifier =
            static_cast<u32>(numberOf(read.description.fields, "private_data_specifier", context.privateDataSpecifier));
    return read;
}

std::vector<ReadDescriptor> readDescriptors(ByteView loop, DescriptorContext context)
{
    std::vector<ReadDescriptor> descriptors;
    ByteReader reader(loop);
    while (reader.more()) {
        const u8 tag = reader.u8Field();
        const ByteView payload = reader.counted();
        if (reader.ok())
            descriptors.push_back(readNext(tag, payload, context));
    }
    return descriptors;
}

DescriptorContext registered(const DescriptorContext &context, u32 formatIdentifier)
{
    constexpr u32 atscFormat = 0x47413934; // "GA94"
    DescriptorContext made = context;
    made.formatIdentifier = formatIdentifier;
    if (formatIdentifier == atscFormat)
        made.standard = Standard::atsc;
    return made;
}

DescriptorContext streamContext(const DescriptorContext &program, u8 streamType)
{
    constexpr u8 ac3AudioStream = 0x81;
    DescriptorContext context = program;
    // Outside of ATSC systems too, this stream type comes with the descriptor that A/52 gives it.
    if (streamType == ac3AudioStream && context.standard == Standard::unknown)
        context.standard = Standard::atsc;
    return context;
}

u32 formatIdentifierOf(const std::vector<ReadDescriptor> &descriptors)
{
    const ReadDescriptor *registration = findDescriptor(descriptors, registrationTag);
    return registration ? static_cast<u32>(numberOf(registration->description.fields, "format_identifier", 0)) : 0;
}

std::string streamKind(u8 streamType, const std::vector<ReadDescriptor> &descriptors, const DescriptorContext &program)
{
    if (const char *kind = describedKind(streamType, descriptors))
        return kind;
    const bool isOfDisc = formatIdentifierOf(descriptors) == discFormat; // the stream alone, if not its program
    return streamTypeName(streamType, isOfDisc ? discFormat : program.formatIdentifier);
}

const ReadDescriptor *findDescriptor(const std::vector<ReadDescriptor> &descriptors, u8 tag)
{
    for (const ReadDescriptor &descriptor : descriptors)
        if (descriptor.tag == tag)
            return &descriptor;
    return nullptr;
}

} // namespace psi::describe
