/**
 * @file structures.h
 * @brief The structures that are described, by the standard that they belong to.
 */
#ifndef PSI_DESCRIBE_STRUCTURES_H
#define PSI_DESCRIBE_STRUCTURES_H

#include "describe/layout.h"
#include "describe/meanings.h"
#include "describe/spelling.h"

namespace psi::describe {

/** @brief Structures in the order of their tags. */
struct StructureList {
    const Structure *first = nullptr;
    std::size_t count = 0;

    constexpr StructureList() = default;
    template <std::size_t N>
    constexpr StructureList(const Structure (&structures)[N]) : first(structures), count(N) // NOLINT: they are a list
    {
    }
    constexpr const Structure *begin() const { return first; }
    constexpr const Structure *end() const { return first + count; }
    constexpr const Structure *find(u32 tag) const
    {
        for (const Structure &structure : *this)
            if (structure.tag == tag)
                return &structure;
        return nullptr;
    }
};

extern const StructureList mpegDescriptors;          /**< ISO/IEC 13818-1 2.6, by descriptor_tag */
extern const StructureList mpegExtensionDescriptors; /**< the same, by descriptor_tag_extension */
extern const StructureList dvbDescriptors;           /**< EN 300 468 6.2 */
extern const StructureList dvbExtensionDescriptors;  /**< EN 300 468 6.4 */
extern const StructureList atscDescriptors;          /**< A/65 6.9, A/52, SCTE 35 */

extern const StructureList deliveryDescriptors;          /**< EN 300 468 6.2.13 and what belongs to it */
extern const StructureList deliveryExtensionDescriptors; /**< EN 300 468 6.4.6 */

extern const StructureList aitDescriptors;    /**< TS 102 809: in application information */
extern const StructureList spliceDescriptors; /**< SCTE 35: in splice information */

extern const StructureList ipMacDescriptors;      /**< EN 301 192: in IP/MAC notification */
extern const StructureList updateDescriptors;     /**< TS 102 006: in update notification */
extern const StructureList resolutionDescriptors; /**< TS 102 323: in resolution provider notification */

extern const StructureList aribDescriptors; /**< ARIB STD-B10 part 2 6.2 */

/** @brief Stands for a private_data_specifier where ARIB's descriptors are meant, which come without one. */
inline constexpr u32 aribSpecifier = 0x41524942; // "ARIB"

/** @brief Private descriptors of one owner: of a range of private_data_specifiers. */
struct PrivateStructures {
    u32 firstSpecifier;
    u32 lastSpecifier;
    const char *word; /**< for command lines and documents: "nordig" */
    const char *owner;
    const StructureList *list;
};
extern const PrivateStructures privateStructures[];
extern const std::size_t privateStructuresCount;

/** @brief The name of a CA_system_ID. */
std::string sayCaSystem(const Field &number, const Fields &record, const DescriptorContext &context);
/** @brief A bit rate in units of 400 bit/s. */
std::string sayRate(const Field &number, const Fields &record, const DescriptorContext &context);

/* ---- rows that many structures have ---------------------------------------------------------------------------------
 */

constexpr Row<1> text(const char *key)
{
    return run(key, dvbText);
}
constexpr Row<1> text8(const char *key)
{
    return counted(8, key, dvbText);
}
constexpr Row<1> bytes(const char *key)
{
    return run(key, hexDigits);
}
constexpr Row<1> bytes8(const char *key)
{
    return counted(8, key, hexDigits);
}
/** @brief Bytes that a length field of its own name announces. */
constexpr Row<1> bytesOf(u8 lengthBits, const char *lengthKey, const char *key)
{
    return counted(lengthBits, key, hexDigits, lengthKey);
}
constexpr Row<1> language(const char *key = "ISO_639_language_code")
{
    return fixed(24, key, letters);
}
constexpr Row<1> country()
{
    return fixed(24, "country_code", letters);
}

} // namespace psi::describe

#endif
