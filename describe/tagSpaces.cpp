#include "describe/tagSpaces.h"

#include "describe/descriptors.h"
#include "describe/structures/structures.h"

#include <cstdio>

namespace psi::describe {

namespace {

constexpr u8 mpegExtensionTag = 0x3F;
constexpr u8 dvbExtensionTag = 0x7F;
constexpr u8 firstDvbTag = 0x40;
constexpr u8 firstPrivateTag = 0x80;

// SCTE 35 8.2: a program that is registered as "CUEI" may carry this descriptor in any system.
constexpr u8 cueIdentifierTag = 0x8A;
constexpr u32 cueingFormat = 0x43554549;

// DTCP volume 1 Appendix B: programs of discs carry this descriptor as well.
constexpr u8 dtcpTag = 0x88;

constexpr auto extensionStart = fields(hex(8, "descriptor_tag_extension"));
constexpr auto extensionSelector = fields(run("selector", hexDigits));

const Structure *findIn(u32 tag, const StructureList &first, const StructureList &second)
{
    const Structure *found = first.find(tag);
    return found ? found : second.find(tag);
}

const PrivateStructures *ownerOf(u32 specifier)
{
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        if (specifier >= privateStructures[i].firstSpecifier && specifier <= privateStructures[i].lastSpecifier)
            return &privateStructures[i];
    return nullptr;
}

const Structure *findPrivate(u8 tag, u32 specifier)
{
    const PrivateStructures *owner = ownerOf(specifier);
    return owner ? owner->list->find(tag) : nullptr;
}

Standard standardOf(u8 tag, const DescriptorContext &context)
{
    const bool cueing = tag == cueIdentifierTag && context.formatIdentifier == cueingFormat;
    const bool protecting = tag == dtcpTag && context.formatIdentifier == discFormat;
    return cueing || protecting ? Standard::atsc : context.standard;
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

namespace {

/** Those of tables whose tags below 0x40, and some above, have a meaning of their own. */
const StructureList *ownDescriptors(TagSpace space)
{
    switch (space) {
    case TagSpace::ipMac:
        return &ipMacDescriptors;
    case TagSpace::update:
        return &updateDescriptors;
    case TagSpace::relatedContent:
        return &resolutionDescriptors;
    default:
        return nullptr;
    }
}

} // namespace

DescriptorLayout layoutOf(TagSpace space, u8 tag, u8 firstByte, const DescriptorContext &context)
{
    if (space == TagSpace::ait && tag < firstDvbTag)
        return plainLayout(aitDescriptors.find(tag), "reserved");
    if (space == TagSpace::splice)
        return plainLayout(spliceDescriptors.find(tag), "reserved");
    if (const StructureList *own = ownDescriptors(space)) {
        const Structure *found = own->find(tag);
        if (found || tag < firstDvbTag)
            return plainLayout(found, "of this table only");
    }
    if (tag == mpegExtensionTag || tag == dvbExtensionTag)
        return extensionLayout(tag, firstByte);
    if (const Structure *found = findPrivate(tag, context.privateDataSpecifier)) // ARIB gives some of DVB's other bits
        return plainLayout(found, "");
    const Standard standard = standardOf(tag, context);
    return plainLayout(findPublic(tag, standard), descriptorName(tag, standard));
}

std::optional<u32> specifierOf(const std::string &word)
{
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        if (word == privateStructures[i].word)
            return privateStructures[i].firstSpecifier;
    const bool hex = word.compare(0, 2, "0x") == 0 || word.compare(0, 2, "0X") == 0;
    const std::string digits = word.substr(hex ? 2 : 0);
    constexpr std::size_t mostDigits = 10;
    const bool number = !digits.empty() && digits.size() <= mostDigits &&
                        digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") == std::string::npos;
    const unsigned long long value = number ? std::stoull(digits, nullptr, hex ? 16 : 10) : ~0ULL;
    return value <= 0xFFFFFFFF ? std::optional<u32>(static_cast<u32>(value)) : std::nullopt;
}

std::string specifierWord(u32 specifier)
{
    const PrivateStructures *owner = ownerOf(specifier);
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", specifier);
    return owner && owner->firstSpecifier == specifier ? owner->word : text;
}

std::vector<std::string> specifierWords()
{
    std::vector<std::string> words;
    for (std::size_t i = 0; i < privateStructuresCount; ++i)
        words.emplace_back(privateStructures[i].word);
    return words;
}

const char *spaceName(TagSpace space)
{
    switch (space) {
    case TagSpace::si:
        return "";
    case TagSpace::ait:
        return "application information";
    case TagSpace::ipMac:
        return "IP/MAC notification";
    case TagSpace::update:
        return "update notification";
    case TagSpace::relatedContent:
        return "resolution provider notification";
    case TagSpace::splice:
        return "splice information";
    }
    return "";
}

namespace {

/** Show every descriptor whose layout is known, until one is taken. */
template <typename Take>
std::optional<NamedTag> findLayout(TagSpace space, const DescriptorContext &context, const Take &take)
{
    for (unsigned tag = 0; tag < 256; ++tag) {
        const bool extended = space == TagSpace::si && (tag == mpegExtensionTag || tag == dvbExtensionTag);
        for (unsigned extension = 0; extension < (extended ? 256U : 1U); ++extension) {
            const DescriptorLayout layout = layoutOf(space, static_cast<u8>(tag), static_cast<u8>(extension), context);
            if (layout.structure && take(layout, extended))
                return NamedTag{static_cast<u8>(tag),
                                extended ? std::optional<u8>(static_cast<u8>(extension)) : std::nullopt};
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<NamedTag> tagOf(TagSpace space, std::string_view name, const DescriptorContext &context)
{
    return findLayout(space, context, [&](const DescriptorLayout &layout, bool extended) {
        return extended ? name == layout.extensionName || name == layout.name() : name == layout.plainName;
    });
}

std::vector<std::string> namesOf(TagSpace space, const DescriptorContext &context)
{
    std::vector<std::string> names;
    findLayout(space, context, [&](const DescriptorLayout &layout, bool extended) {
        names.emplace_back(extended ? layout.extensionName : layout.plainName);
        return false;
    });
    return names;
}

} // namespace psi::describe
