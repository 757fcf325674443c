/**
 * @file fields.h
 * @brief What bytes say: a tree of named fields, which reading makes and writing takes.
 */
#ifndef PSI_DESCRIBE_FIELDS_H
#define PSI_DESCRIBE_FIELDS_H

#include "describe/bytes.h"
#include "describe/names.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace psi::describe {

struct Field;
struct ReadDescriptor;
/** @brief The fields of a descriptor or section, in their order. */
using Fields = std::vector<Field>;

/** @brief A field of a descriptor or section under its name in the standard. */
struct Field {
    /** @brief Which of its members say what the field is. */
    enum class Kind {
        number,      /**< `number`, with its meaning in `text` where there is one */
        text,        /**< `text`, UTF-8 */
        hex,         /**< `text`, hexadecimal digits */
        list,        /**< `items`, the entries of a loop */
        descriptors, /**< `descriptors`, a loop of them */
        record,      /**< `items[0]`: fields below a name; never read from bytes */
        other,       /**< what no field can be: `text` says what stands there; never read from bytes */
    };

    std::string_view key; /**< of the description, or of the document that the field was written in */
    Kind kind = Kind::number;
    u64 number = 0;
    unsigned hexDigits = 0; /**< a number that engineers write in hexadecimal: how many digits; 0: decimal */
    std::string text = {};
    std::string bytes = {}; /**< of a text: the bytes themselves when writing the text would give others */
    bool words = false; /**< a text that is a name or a sentence, not a code or a quantity; a number with its words */
    bool computed = false; /**< follows from everything else: a length, a count, CRC_32 */
    bool quiet = false;    /**< reserved bits that are not as the standard wants them: for programs, not for people */
    u32 bit = 0;           /**< place of its first bit, counted from the first of the section or descriptor payload */
    u32 bits = 0;          /**< how many bits it has there */
    std::vector<Fields> items = {};
    std::vector<ReadDescriptor> descriptors = {};
};

/** @brief What a descriptor's meaning depends on besides its tag. */
struct DescriptorContext {
    Standard standard = Standard::unknown;
    u32 privateDataSpecifier = 0; /**< of the private_data_specifier_descriptor in front of it, else what is usual */
    u32 formatIdentifier = 0;     /**< of the program's registration_descriptor, or 0 */
    const char *charset = ""; /**< of texts without a selector, a name of usualCharsets(); "" as the standard has it */
    std::optional<u8> gpsUtcOffset = {}; /**< seconds that GPS time is ahead of UTC, where an STT says it */

    constexpr DescriptorContext() = default;
    /** @brief The fields in their order. */
    constexpr DescriptorContext(Standard whose, u32 specifier = 0, u32 format = 0, const char *texts = "") // NOLINT
        : standard(whose), privateDataSpecifier(specifier), formatIdentifier(format), charset(texts)
    {
    }
};

/** @brief Where the tags of a loop of descriptors have their meaning from. */
enum class TagSpace : u8 { si, ait, ipMac, update, relatedContent, splice };

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
    u32 bit = 0; /**< place of its tag's first bit */
    TagSpace space = TagSpace::si;
    u32 privateDataSpecifier = 0; /**< that it was read with */
    bool known = false;           /**< its layout is */
};

/** @brief The value of a number field. @return `otherwise` when there is no such field */
u64 numberOf(const Fields &fields, std::string_view key, u64 otherwise);

/** @brief Find a field. @return null when there is none */
const Field *findField(const Fields &fields, std::string_view key);

} // namespace psi::describe

#endif
