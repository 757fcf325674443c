/**
 * @file text.h
 * @brief Names of services, networks and channels as UTF-8 that is safe on a terminal and in JSON.
 */
#ifndef PSI_DESCRIBE_TEXT_H
#define PSI_DESCRIBE_TEXT_H

#include "describe/bytes.h"

#include <optional>
#include <string>
#include <vector>

namespace psi::describe {

/** @brief A name as people read it. */
struct DecodedText {
    std::string utf8;    /**< valid UTF-8 without control characters; what could not be read stands as U+FFFD */
    std::string charset; /**< the character table it was read with, for example "ISO-8859-5" */
    bool known = true;   /**< false: the bytes ask for a table that is reserved or not supported */
};

/**
 * @brief Read a DVB string. EN 300 468 Annex A.
 * @param bytes the string with its character-table selector, if it has one
 * @param charset the table of strings without a selector, one of usualCharsets(); "": the standard's
 * @return the text; emphasis and other control codes are dropped, line breaks become blanks
 *
 * A string without selector that the default table cannot spell is taken for UTF-8 or ISO/IEC 8859-15; `charset` says
 * so.
 */
DecodedText decodeDvbText(ByteView bytes, const char *charset = "");

/**
 * @brief Read UTF-16 code units, high byte first, as in an ATSC short_name. A/65 6.3.1.
 * @param bytes the code units; trailing zeros are padding, an odd byte at the end stands as U+FFFD
 */
DecodedText decodeUtf16(ByteView bytes);

/**
 * @brief Read an ATSC multiple_string_structure. A/65 6.10.
 * @param bytes the structure
 * @return the uncompressed strings, joined by " / "; known is false when there are compressed ones or it is cut short
 */
DecodedText decodeMultipleString(ByteView bytes);

/** @brief Whether bytes are valid UTF-8: no overlong forms, no surrogates. RFC 3629. */
bool isUtf8(ByteView text);

/** @brief Any text, perhaps damaged UTF-8, without what must not reach a terminal, and without blanks around it. */
std::string safeText(const std::string &text);

/** @brief Printable ASCII as it is, every other byte as '.'; for codes like "HDMV". */
std::string printableAscii(ByteView bytes);

/**
 * @brief Write a DVB string. EN 300 468 Annex A.
 * @param utf8 valid UTF-8
 * @return the bytes: ASCII without a selector, everything else in UTF-8 behind the selector 0x15; nothing when there is
 *         a control character or a U+FFFD in it, which decodeDvbText() would not give back
 */
std::optional<std::string> encodeDvbText(const std::string &utf8);

/**
 * @brief The same, with the character table of the string that it replaces where that can spell it.
 * @param old the bytes of that string, or none
 */
std::optional<std::string> encodeDvbText(const std::string &utf8, ByteView old, const char *charset = "");

/** @brief Character tables that strings without a selector may be in. */
const std::vector<std::string> &usualCharsets();

/** @brief One of usualCharsets() that is written like that, in capitals or not. @return null when there is none */
const char *charsetNamed(const std::string &name);

/** @brief Reads the 8-unit code of ARIB STD-B24 as UTF-8, perhaps with control characters. */
using AribDecoder = std::string (*)(ByteView text);

/** @brief Let strings of the charset "ARIB-STD-B24" be read; to be called before there are threads. */
void useAribDecoder(AribDecoder decoder);

/** @brief Write a multiple_string_structure with the language of the one that it replaces, or English. A/65 6.10. */
std::optional<std::string> encodeMultipleString(const std::string &utf8, ByteView old);

/**
 * @brief Write UTF-16 code units, high byte first.
 * @param utf8 valid UTF-8
 * @return the code units, or nothing, as encodeDvbText()
 */
std::optional<std::string> encodeUtf16(const std::string &utf8);

} // namespace psi::describe

#endif
