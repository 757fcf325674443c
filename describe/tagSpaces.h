/**
 * @file tagSpaces.h
 * @brief Which descriptor a tag stands for.
 */
#ifndef PSI_DESCRIBE_TAG_SPACES_H
#define PSI_DESCRIBE_TAG_SPACES_H

#include "describe/layout.h"

namespace psi::describe {

/** @brief A descriptor's layout: that of its tag, or behind it that of its descriptor_tag_extension. */
struct DescriptorLayout {
    const char *plainName = "";           /**< by the tag alone */
    const char *extensionName = nullptr;  /**< of an extension_descriptor: by its first byte */
    const Structure *structure = nullptr; /**< null when the layout is not known */
    Layout start = {};                    /**< descriptor_tag_extension, or nothing */
    Layout layout = {};

    bool known() const { return layout.items != nullptr; }
    /** @brief Its name: "extension_descriptor: T2_delivery_system_descriptor". @param extended its first byte is there
     */
    std::string name(bool extended = true) const
    {
        return extensionName && extended ? std::string(plainName) + ": " + extensionName : plainName;
    }
};

/** @param firstByte of the payload, or 0 */
DescriptorLayout layoutOf(TagSpace space, u8 tag, u8 firstByte, const DescriptorContext &context);

/** @brief The private_data_specifier behind a word such as "nordig", or a number in decimal or behind 0x. */
std::optional<u32> specifierOf(const std::string &word);
/** @brief The word of a private_data_specifier, or its number behind 0x. */
std::string specifierWord(u32 specifier);
/** @brief Every word that specifierOf() knows. */
std::vector<std::string> specifierWords();
/** @brief Where the tags of a space are used: "application information"; "" for ordinary ones. */
const char *spaceName(TagSpace space);

/** @brief The tag of a descriptor's name, and of an extension its first byte. */
struct NamedTag {
    u8 tag;
    std::optional<u8> extension;
};
/** @brief The tag behind a descriptor's name. @return nothing for a name that the space does not have */
std::optional<NamedTag> tagOf(TagSpace space, std::string_view name, const DescriptorContext &context);

/** @brief The names of all descriptors of a space whose layouts are known. */
std::vector<std::string> namesOf(TagSpace space, const DescriptorContext &context);

} // namespace psi::describe

#endif
