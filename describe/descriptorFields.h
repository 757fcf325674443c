/**
 * @file descriptorFields.h
 * @brief What the descriptor decoders share: they take fields off a reader and add them under their names.
 */
#ifndef PSI_DESCRIBE_DESCRIPTOR_FIELDS_H
#define PSI_DESCRIBE_DESCRIPTOR_FIELDS_H

#include "describe/descriptors.h"

namespace psi::describe {

/** @brief Takes the fields of one descriptor off the reader. Checks no length: describeDescriptor() asks the reader. */
using DescriptorDecoder = void (*)(ByteReader &reader, Fields &fields);

/** @brief A decoder and the tag that it is for. */
struct TaggedDecoder {
    u8 tag;
    DescriptorDecoder decode;
};

/** @brief The decoder for a tag. @return null when there is none */
DescriptorDecoder findMpegDecoder(u8 tag);
DescriptorDecoder findDvbDecoder(u8 tag);
DescriptorDecoder findAtscDecoder(u8 tag);
DescriptorDecoder findDeliveryDecoder(u8 tag);

template <std::size_t N> DescriptorDecoder findDecoder(const TaggedDecoder (&table)[N], u8 tag)
{
    for (const TaggedDecoder &entry : table)
        if (entry.tag == tag)
            return entry.decode;
    return nullptr;
}

void addNumber(Fields &fields, const char *key, u32 value, const char *meaning = "");
void addHex(Fields &fields, const char *key, u32 value, unsigned digits, const char *meaning = "");
void addText(Fields &fields, const char *key, const std::string &text);
/** @brief Bytes as hexadecimal digits; nothing when there are none. */
void addBytes(Fields &fields, const char *key, ByteView bytes);
void addDvbText(Fields &fields, const char *key, ByteView text);
/** @brief ISO_639_language_code, three bytes. */
void addLanguage(Fields &fields, ByteReader &reader, const char *key = "ISO_639_language_code");

/** @brief A loop to the end of the reader, one list entry for each run of `decode`. */
void addLoop(Fields &fields, const char *key, ByteReader &reader, DescriptorDecoder decode);

/**
 * @brief Binary coded decimals as text: "11.75725 GHz".
 * @param coded the digits, four bits each @param digits how many count @param whole how many stand before the point
 */
std::string decimal(ByteView coded, std::size_t digits, std::size_t whole, const char *unit);

/** @brief The T2_delivery_system_descriptor behind its descriptor_tag_extension. */
void decodeT2Delivery(ByteReader &reader, Fields &fields);

/** @brief The stuffing_descriptor, which DVB and ATSC number differently. */
void decodeStuffing(ByteReader &reader, Fields &fields);

} // namespace psi::describe

#endif
