/**
 * @file descriptors.h
 * @brief What a descriptor says, as named fields that any output can print.
 */
#ifndef PSI_DESCRIBE_DESCRIPTORS_H
#define PSI_DESCRIBE_DESCRIPTORS_H

#include "describe/bytes.h"
#include "describe/names.h"

#include <string>
#include <vector>

namespace psi::describe {

struct Field;
struct ReadDescriptor;
using Fields = std::vector<Field>;

/** @brief A field of a descriptor or section under its name in the standard. */
struct Field {
    enum class Kind {
        number,      /**< `number`, with its meaning in `text` where there is one */
        text,        /**< `text`, UTF-8 */
        hex,         /**< `text`, hexadecimal digits */
        list,        /**< `items`, the entries of a loop */
        descriptors, /**< `descriptors`, a loop of them */
    };

    std::string key;
    Kind kind = Kind::number;
    u32 number = 0;
    unsigned hexDigits = 0; /**< a number that engineers write in hexadecimal: how many digits; 0: decimal */
    std::string text;
    std::vector<Fields> items;
    std::vector<ReadDescriptor> descriptors = {};
};

/** @brief What a descriptor's meaning depends on besides its tag. */
struct DescriptorContext {
    Standard standard = Standard::unknown;
    u32 privateDataSpecifier = 0; /**< of the private_data_specifier_descriptor in front of it, or 0 */
    u32 formatIdentifier = 0;     /**< of the program's registration_descriptor, or 0 */
};

/** @brief A descriptor taken apart. */
struct DescribedDescriptor {
    std::string name; /**< for example "ISO_639_language_descriptor" */
    Fields fields;    /**< empty when its layout is not known here: then the payload speaks for itself */
    std::string note; /**< what is wrong with it, or empty */
};

/** @brief A descriptor with what it says. */
struct ReadDescriptor {
    u8 tag = 0;
    ByteView payload;
    DescribedDescriptor description;
};

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

/** @brief The value of a number field. @return `otherwise` when there is no such field */
u32 numberOf(const Fields &fields, const std::string &key, u32 otherwise);

/** @brief Find a field. @return null when there is none */
const Field *findField(const Fields &fields, const std::string &key);

} // namespace psi::describe

#endif
