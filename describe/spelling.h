/**
 * @file spelling.h
 * @brief How people write runs of bytes: texts, times, decimals. Both ways.
 */
#ifndef PSI_DESCRIBE_SPELLING_H
#define PSI_DESCRIBE_SPELLING_H

#include "describe/fields.h"

#include <optional>

namespace psi::describe {

/** @brief What a spelling may look at besides the value itself. */
struct SpellingPlace {
    const Fields &record; /**< the fields in front of it in its record */
    const DescriptorContext &context;
    std::size_t size = 0; /**< of a run of a fixed size: how many bytes it has; else 0 */
    ByteView old = {};    /**< when a value replaces another: the bytes that it had */
};

/**
 * @brief A way to write bytes as text.
 *
 * Bits that do not fill whole bytes come as bytes with zero bits in front. What read() cannot tell apart stays: a field
 * keeps its bytes beside the text when write() would not give them back.
 */
struct Spelling {
    const char *name;   /**< what it is, for reference pages: "text" */
    const char *wanted; /**< what a value looks like, for messages: "a time such as 12:34:56" */
    Field::Kind kind;   /**< text or hex; number: how many bytes there are */
    std::string (*read)(ByteView bytes, const SpellingPlace &place);
    /** @return nothing for what cannot be written */
    std::optional<std::string> (*write)(const std::string &text, const SpellingPlace &place);
    bool words = false; /**< a name or a text of people's, not a code or a quantity */
};

extern const Spelling hexDigits;       /**< bytes as hexadecimal digits */
extern const Spelling stuffingBytes;   /**< bytes of ones, of which only the number counts */
extern const Spelling dvbText;         /**< EN 300 468 Annex A */
extern const Spelling asciiText;       /**< a byte is a character; what is not printable stands as '.' */
extern const Spelling utf8Text;        /**< for URLs and the like */
extern const Spelling languageCode;    /**< three letters, or nothing for three zero bytes */
extern const Spelling letters;         /**< codes of letters: ISO 639, ISO 3166 */
extern const Spelling utf16Text;       /**< UTF-16 in a fixed size, padded with zeros: short_name of A/65 */
extern const Spelling multipleStrings; /**< multiple_string_structure, A/65 6.10 */
extern const Spelling dateAndTime;     /**< MJD and BCD, EN 300 468 Annex C: "2023-02-25 12:34:56" */
extern const Spelling date;            /**< MJD "2023-02-25" */
extern const Spelling hoursMinutes;    /**< BCD "05:30" */
extern const Spelling signedHours;     /**< a sign bit, then BCD "+05:30" */
extern const Spelling likeSignedHours; /**< BCD with the sign of the signedHours in front of it */
extern const Spelling clockTime;       /**< BCD "12:34:56" */
extern const Spelling duration;        /**< BCD "12:34:56", written also as "PT12H34M56S" (ISO 8601) */
extern const Spelling gigahertz;       /**< 8 BCD digits "11.75725 GHz" */
extern const Spelling megahertz;       /**< 8 BCD digits "346.0000 MHz" */
extern const Spelling tensOfHertz;     /**< 32 bits in units of 10 Hz "498.00000 MHz" */
extern const Spelling symbolRate;      /**< 7 BCD digits "27.5000 Msymbol/s" */
extern const Spelling longSymbolRate;  /**< 8 BCD digits, the same */
extern const Spelling orbitalPosition; /**< 4 BCD digits and a bit for east "19.2 E" */
extern const Spelling ip4Address;      /**< "239.1.1.1" */
extern const Spelling ip6Address;      /**< "ff15::1" */
extern const Spelling teletextPage;    /**< magazine of 3 bits and page of 8 "888" */

} // namespace psi::describe

#endif
