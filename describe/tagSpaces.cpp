#include "describe/tagSpaces.h"

#include "describe/structures/structures.h"

namespace psi::describe {

namespace {

constexpr u8 mpegExtensionTag = 0x3F;
constexpr u8 dvbExtensionTag = 0x7F;
constexpr u8 firstDvbTag = 0x40;
constexpr u8 firstPrivateTag = 0x80;

// SCTE 35 8.2: a program that is registered as "CUEI" may carry this descriptor in any system.
constexpr u8 cueIdentifierTag = 0x8A;
constexpr u32 cueingFormat = 0x43554549;

constexpr auto extensionStart = fields(hex(8, "descriptor_tag_extension"));
constexpr auto extensionSelector = fields(run("selector", hexDigits));

const Structure *findIn(u32 tag, const StructureList &first, const StructureList &second)
{
    const Structure *found = first.find(tag);
    return found ? found : second.find(tag);
}

const Structure *findPrivate(u8 tag, u32 specifier)
{
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        if (specifier >= privateStructures[i].firstSpecifier && specifier <= privateStructures[i].lastSpecifier)
            if (const Structure *found = privateStructures[i].list.find(tag))
                return found;
    return nullptr;
}

Standard standardOf(u8 tag, const DescriptorContext &context)
{
    const bool cueing = tag == cueIdentifierTag && context.formatIdentifier == cueingFormat;
    return cueing ? Standard::atsc : context.standard;
}

const Structure *findPublic(u8 tag, Standard standard)
{
    if (tag < firstDvbTag)
        return mpegDescriptors.find(tag);
    if (tag < firstPrivateTag)
        return findIn(tag, dvbDescriptors, deliveryDescriptors);
    return standard == Standard::atsc ? atscDescriptors.find(tag) : nullptr;
}

DescriptorLayout extensionLayout(u8 tag, u8 extension)
{
    DescriptorLayout layout;
    layout.plainName = "extension_descriptor";
    layout.extensionName =
        tag == dvbExtensionTag ? dvbExtensionDescriptorName(extension) : mpegExtensionDescriptorName(extension);
    layout.structure = tag == dvbExtensionTag ? findIn(extension, dvbExtensionDescriptors, deliveryExtensionDescriptors)
                                              : mpegExtensionDescriptors.find(extension);
    layout.start = extensionStart;
    layout.layout = layout.structure ? layout.structure->layout : Layout(extensionSelector);
    return layout;
}

DescriptorLayout plainLayout(const Structure *structure, const char *nameWithout)
{
    DescriptorLayout layout;
    layout.plainName = structure ? structure->name : nameWithout;
    layout.structure = structure;
    if (structure)
        layout.layout = structure->layout;
    return layout;
}

} // namespace

DescriptorLayout layoutOf(TagSpace space, u8 tag, u8 firstByte, const DescriptorContext &context)
{
    if (space == TagSpace::ait && tag < firstDvbTag)
        return plainLayout(aitDescriptors.find(tag), "reserved");
    if (space == TagSpace::splice)
        return plainLayout(spliceDescriptors.find(tag), "reserved");
    const bool ownMeaning = space == TagSpace::ipMac || space == TagSpace::relatedContent;
    if (ownMeaning && tag < firstDvbTag)
        return plainLayout(nullptr, "of this table only");
    if (tag == mpegExtensionTag || tag == dvbExtensionTag)
        return extensionLayout(tag, firstByte);
    if (const Structure *found = tag >= firstPrivateTag ? findPrivate(tag, context.privateDataSpecifier) : nullptr)
        return plainLayout(found, "");
    const Standard standard = standardOf(tag, context);
    return plainLayout(findPublic(tag, standard), descriptorName(tag, standard));
}

std::optional<NamedTag> tagOf(TagSpace space, std::string_view name, const DescriptorContext &context)
{
    for (unsigned tag = 0; tag < 256; ++tag) {
        const bool extended = space == TagSpace::si && (tag == mpegExtensionTag || tag == dvbExtensionTag);
        for (unsigned extension = 0; extension < (extended ? 256U : 1U); ++extension) {
            const DescriptorLayout layout = layoutOf(space, static_cast<u8>(tag), static_cast<u8>(extension), context);
            const bool named = extended ? name == layout.extensionName || name == layout.name()
                                        : layout.structure && name == layout.plainName;
            if (named && layout.structure)
                return NamedTag{static_cast<u8>(tag),
                                extended ? std::optional<u8>(static_cast<u8>(extension)) : std::nullopt};
        }
    }
    return std::nullopt;
}

} // namespace psi::describe
