/**
 * @file descriptors.h
 * @brief What a descriptor says, as named fields that any output can print.
 */
#ifndef PSI_DESCRIBE_DESCRIPTORS_H
#define PSI_DESCRIBE_DESCRIPTORS_H

#include "describe/fields.h"

namespace psi::describe {

constexpr u8 registrationTag = 0x05;         /**< ISO/IEC 13818-1 2.6.8 */
constexpr u8 privateDataSpecifierTag = 0x5F; /**< EN 300 468 6.2.31 */
constexpr u32 discFormat = 0x48444D56;       /**< "HDMV": the format_identifier of discs */

/**
 * @brief Take a descriptor apart.
 * @param tag descriptor_tag
 * @param payload the bytes behind descriptor_length
 * @param context where it stands
 *
 * Never reads outside the payload. A payload too short for its own fields gives no fields and a note; bytes that are
 * left behind the last field of a layout stand in a field "extra".
 */
DescribedDescriptor describeDescriptor(u8 tag, ByteView payload, const DescriptorContext &context);

/** @brief The descriptors of a loop as it stands in a section; what does not fit into it is left out. */
std::vector<ReadDescriptor> readDescriptors(ByteView loop, DescriptorContext context);

/** @brief Read a descriptor of a loop; a private_data_specifier changes the context for those behind it. */
ReadDescriptor readNext(u8 tag, ByteView payload, DescriptorContext &context);

/** @brief What a registration_descriptor of a program says about all its descriptors. */
DescriptorContext registered(const DescriptorContext &context, u32 formatIdentifier);

/** @brief How the descriptors of a stream are to be read. @param program the context of its program */
DescriptorContext streamContext(const DescriptorContext &program, u8 streamType);

/** @brief Find a descriptor by its tag. @return null when there is none */
const ReadDescriptor *findDescriptor(const std::vector<ReadDescriptor> &descriptors, u8 tag);

/** @brief The format_identifier of the first registration_descriptor, or 0. */
u32 formatIdentifierOf(const std::vector<ReadDescriptor> &descriptors);

/** @brief What an elementary stream carries, in words; its descriptors tell what private stream types are. */
std::string streamKind(u8 streamType, const std::vector<ReadDescriptor> &descriptors, const DescriptorContext &program);

} // namespace psi::describe

#endif
