/**
 * @file names.h
 * @brief Words for the numbers of the public standards and registries.
 *
 * Every function answers any value with a static string; values without a meaning of their own get the name of their
 * range ("reserved", "user private").
 */
#ifndef PSI_DESCRIBE_NAMES_H
#define PSI_DESCRIBE_NAMES_H

#include "psi.h"

#include <cstddef>
#include <string>

namespace psi::describe {

struct DescriptorContext;

/** @brief Whose meaning a number of the private ranges has. */
enum class Standard { unknown, dvb, atsc };

/** @brief Words for a range of numbers, first and last included. */
struct NamedRange {
    u32 first;
    u32 last;
    const char *name;
};

/** @brief The first range that holds the value. @return its name, or `otherwise` */
template <std::size_t N> constexpr const char *findName(const NamedRange (&table)[N], u32 value, const char *otherwise)
{
    for (const NamedRange &range : table)
        if (value >= range.first && value <= range.last)
            return range.name;
    return otherwise;
}

/** @brief stream_type, ISO/IEC 13818-1 2.4.4.9. @param type 0..255 @param formatIdentifier of a registration, or 0
 */
const char *streamTypeName(u8 type, u32 formatIdentifier);

/** @brief What a format_identifier says about a stream of a private type. @return null when nothing is known of it */
const char *registeredFormatName(u32 formatIdentifier);

/**
 * @brief descriptor_tag: ISO/IEC 13818-1 2.6.1, EN 300 468 6.1, A/65 6.9.
 * @param tag 0..255
 * @param standard whose private tags (0x80 and above) are meant
 */
const char *descriptorName(u8 tag, Standard standard);

/** @brief descriptor_tag_extension of tag 0x7F, EN 300 468 6.4. */
const char *dvbExtensionDescriptorName(u8 tagExtension);

/** @brief descriptor_tag_extension of tag 0x3F, ISO/IEC 13818-1 2.6.90. */
const char *mpegExtensionDescriptorName(u8 tagExtension);

/** @brief CA_system_ID, by the ranges of the public registry. */
const char *caSystemName(u16 caSystemId);

/** @brief service_type of a service_descriptor, EN 300 468 6.2.33. */
const char *serviceTypeName(u8 type);
/** @brief The same in the stream that it stands in: of ISDB, isdbServiceTypeName(). */
const char *serviceTypeName(u8 type, const DescriptorContext &context);

/** @brief service_type of a virtual channel, A/65 6.3.1. */
const char *channelServiceTypeName(u8 type);

/** @brief modulation_mode of a virtual channel, A/65 6.3.1. */
const char *modulationModeName(u8 mode);

/** @brief Name of an MGT's table_type: "EIT-0", "cable VCT, current". A/65 Table 6.3. @return "" for a reserved one */
std::string guideTableTypeName(u16 tableType);

/** @brief running_status, EN 300 468 5.2.3. */
const char *runningStatusName(u8 status);

/** @brief teletext_type, EN 300 468 6.2.43. */
const char *teletextTypeName(u8 type);

/** @brief stream_content with stream_content_ext, EN 300 468 6.2.8. @param content 4 bits @param ext 4 bits */
const char *streamContentName(u8 content, u8 ext);

/** @brief component_type, EN 300 468 6.2.8. @return "" for one without a meaning, and for AC-3 and later audio */
const char *componentTypeName(u8 content, u8 ext, u8 type);
/** @brief component_type of AC-3 and E-AC-3: "AC-3, complete main, stereo". EN 300 468 Annex D.5 */
std::string ac3ComponentTypeName(u8 type);

/** @brief content_nibble_level_2 in a level 1, EN 300 468 6.2.9. @return "" for one without a meaning of its own */
const char *contentName(u8 level1, u8 level2);

/** @brief service_type in ISDB, ARIB STD-B10 part 2 6.2.13. */
const char *isdbServiceTypeName(u8 type);

/** @brief component_type in ISDB, ARIB STD-B10 part 2 6.2.3 and 6.2.26. @return "" for one without a meaning */
std::string isdbComponentTypeName(u8 content, u8 type);

/** @brief content_nibble_level_1 in Japan, ARIB STD-B10 part 2 annex H. */
const char *japaneseContentName(u8 level1);

/** @brief English name of an ISO 639-2 code, bibliographic or terminological. @return null for an unknown code */
const char *languageName(const std::string &code);

} // namespace psi::describe

#endif
