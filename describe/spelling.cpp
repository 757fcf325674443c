#include "describe/spelling.h"

#include "describe/text.h"
#include "describe/times.h"

#include <arpa/inet.h>
#include <cstdio>

namespace psi::describe {

namespace {

using Text = std::optional<std::string>;

/* ---- bytes that are no value of their spelling ----------------------------------------------------------------------
 */

constexpr std::string_view hexPrefix = "0x";

/** What is no time or decimal stands as "0x" and its digits, and may be written so. */
std::string asHex(ByteView bytes)
{
    return std::string(hexPrefix) + toHex(bytes);
}

Text fromPrefixedHex(const std::string &text, std::size_t size)
{
    if (text.compare(0, hexPrefix.size(), hexPrefix) != 0)
        return std::nullopt;
    Text bytes = fromHex(text.substr(hexPrefix.size()));
    return bytes && bytes->size() == size ? bytes : std::nullopt;
}

bool isUndefined(ByteView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](u8 byte) { return byte == 0xFF; });
}

constexpr const char *undefined = "undefined";

/* ---- binary coded decimals ------------------------------------------------------------------------------------------
 */

/** The digits of bytes, four bits each; nothing when one of them is no decimal digit. */
Text decimalDigits(ByteView bytes)
{
    std::string digits = toHex(bytes);
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return digits;
}

Text fromDigits(const std::string &digits)
{
    return digits.find_first_not_of("0123456789") == std::string::npos ? fromHex(digits) : std::nullopt;
}

/** "0117570" with 3 whole digits: "11.7570" */
std::string withPoint(const std::string &digits, std::size_t whole)
{
    const std::size_t first = std::min(digits.find_first_not_of('0'), whole - 1);
    return digits.substr(first, whole - first) + "." + digits.substr(whole);
}

/** A physical quantity: how its digits count. */
struct Quantity {
    const char *unit;   /**< behind the prefix: "Hz" */
    char prefix;        /**< that it is shown with: 'M' */
    int smallest;       /**< power of ten of the unit that the last digit counts */
    std::size_t digits; /**< how many it has */
    std::size_t whole;  /**< of them in front of the point */
};

constexpr Quantity satelliteFrequency = {"Hz", 'G', 4, 8, 3};
constexpr Quantity cableFrequency = {"Hz", 'M', 2, 8, 4};
constexpr Quantity terrestrialFrequency = {"Hz", 'M', 1, 10, 5};
constexpr Quantity symbols = {"symbol/s", 'M', 2, 7, 3};
constexpr Quantity moreSymbols = {"symbol/s", 'M', 2, 8, 4};

std::string showQuantity(const Quantity &quantity, const std::string &digits)
{
    return withPoint(digits, quantity.whole) + " " + quantity.prefix + quantity.unit;
}

/** The power of ten of a unit with its prefix, "" being the plain unit; nothing for another one. */
std::optional<int> powerOf(const std::string &unit, const char *plain)
{
    static constexpr std::pair<char, int> prefixes[] = {{'k', 3}, {'M', 6}, {'G', 9}};
    if (unit.empty() || unit == plain)
        return 0;
    for (const auto &[letter, power] : prefixes)
        if (unit == letter + std::string(plain))
            return power;
    return std::nullopt;
}

/** Digits behind the last place of a quantity must be zeros. */
Text shifted(std::string digits, int places)
{
    for (; places > 0; --places)
        digits += '0';
    for (; places < 0; ++places) {
        if (digits.empty() || digits.back() != '0')
            return std::nullopt;
        digits.pop_back();
    }
    return digits;
}

/** "498 MHz", "498.5 MHz" and "498000000" to the digits that a quantity counts. */
Text quantityDigits(const Quantity &quantity, const std::string &text)
{
    constexpr std::size_t longest = 40;
    const std::size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::size_t unitStart = std::min(text.find_first_not_of(' ', end), text.size());
    const std::optional<int> power = powerOf(text.substr(unitStart), quantity.unit);
    std::string digits = text.substr(0, end);
    const std::size_t point = std::min(digits.find('.'), digits.size());
    const std::size_t fraction = digits.size() - std::min(point + 1, digits.size());
    digits.erase(point, point < digits.size() ? 1 : 0);
    if (!power || text.size() > longest || digits.empty() || digits.find('.') != std::string::npos)
        return std::nullopt;
    Text counted = shifted("0" + digits, *power - static_cast<int>(fraction) - quantity.smallest);
    if (!counted)
        return std::nullopt;
    counted->erase(0, std::min(counted->find_first_not_of('0'), counted->size()));
    if (counted->size() > quantity.digits)
        return std::nullopt;
    return std::string(quantity.digits - counted->size(), '0') + *counted;
}

template <const Quantity &quantity> std::string readQuantity(ByteView bytes, const SpellingPlace &)
{
    const Text digits = decimalDigits(bytes);
    if (!digits || digits->size() < quantity.digits)
        return asHex(bytes);
    return showQuantity(quantity, digits->substr(digits->size() - quantity.digits));
}

template <const Quantity &quantity> Text writeQuantity(const std::string &text, const SpellingPlace &place)
{
    const Text digits = quantityDigits(quantity, text);
    return digits ? fromDigits((digits->size() % 2 ? "0" : "") + *digits) : fromPrefixedHex(text, place.size);
}

std::string readTensOfHertz(ByteView bytes, const SpellingPlace &)
{
    ByteReader reader(bytes);
    const u32 value = reader.u32Field();
    if (isUndefined(bytes))
        return undefined;
    char digits[16];
    std::snprintf(digits, sizeof digits, "%010u", value);
    return showQuantity(terrestrialFrequency, digits);
}

Text writeTensOfHertz(const std::string &text, const SpellingPlace &place)
{
    if (text == undefined)
        return std::string(4, '\xFF');
    const Text digits = quantityDigits(terrestrialFrequency, text);
    if (!digits)
        return fromPrefixedHex(text, place.size);
    const unsigned long long value = std::stoull(*digits);
    if (value > 0xFFFFFFFF)
        return std::nullopt;
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

/** Four digits of tenths of a degree, then the bit for east. */
std::string readOrbit(ByteView bytes, const SpellingPlace &)
{
    ByteReader reader(bytes);
    const u32 bits = reader.u24Field();
    const u8 tenths[] = {static_cast<u8>(bits >> 9), static_cast<u8>(bits >> 1)};
    const Text digits = decimalDigits({tenths, sizeof tenths});
    if (!digits)
        return asHex(bytes);
    return withPoint(*digits, 3) + (bits & 1 ? " E" : " W");
}

Text writeOrbit(const std::string &text, const SpellingPlace &place)
{
    unsigned whole = 0;
    unsigned tenth = 0;
    char side = 0;
    char behind = 0;
    // Three digits and one cannot overflow. NOLINTNEXTLINE(cert-err34-c)
    if (std::sscanf(text.c_str(), "%3u.%1u %c%c", &whole, &tenth, &side, &behind) != 3 || (side != 'E' && side != 'W'))
        return fromPrefixedHex(text, place.size);
    char digits[16];
    std::snprintf(digits, sizeof digits, "%03u%u", whole, tenth);
    const Text tenths = fromDigits(digits);
    const u32 bits = static_cast<u32>(static_cast<u8>((*tenths)[0]) << 8 | static_cast<u8>((*tenths)[1])) << 1 |
                     (side == 'E' ? 1U : 0U);
    return std::string{static_cast<char>(bits >> 16), static_cast<char>(bits >> 8), static_cast<char>(bits)};
}

/* ---- times ----------------------------------------------------------------------------------------------------------
 */

/** "123456" to "12:34:56" */
std::string withColons(const std::string &digits)
{
    std::string text = digits.substr(0, 2);
    for (std::size_t i = 2; i < digits.size(); i += 2)
        text += ":" + digits.substr(i, 2);
    return text;
}

/** Two digits, colon, two digits ...: as many bytes as asked for. */
Text fromColons(const std::string &text, std::size_t size)
{
    std::string digits;
    if (text.size() != size * 3 - 1)
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((i % 3 == 2) != (text[i] == ':'))
            return std::nullopt;
        if (text[i] != ':')
            digits += text[i];
    }
    return fromDigits(digits);
}

template <std::size_t size> std::string readClock(ByteView bytes, const SpellingPlace &)
{
    if (isUndefined(bytes))
        return undefined;
    const Text digits = decimalDigits(bytes);
    return digits ? withColons(*digits) : asHex(bytes);
}

template <std::size_t size> Text writeClock(const std::string &text, const SpellingPlace &)
{
    if (text == undefined)
        return std::string(size, '\xFF');
    const Text bytes = fromColons(text, size);
    return bytes ? bytes : fromPrefixedHex(text, size);
}

constexpr u32 minuteSeconds = 60;
constexpr u32 hourSeconds = 60 * minuteSeconds;

/** "PT1H30M" to seconds (ISO 8601): hours, minutes and seconds, each at most once and in this order. */
std::optional<u32> fromIsoDuration(std::string_view text)
{
    constexpr std::string_view start = "PT";
    constexpr std::size_t mostDigits = 6;
    if (text.substr(0, start.size()) != start || text.size() == start.size())
        return std::nullopt;
    text.remove_prefix(start.size());
    u32 seconds = 0;
    for (const auto &[unit, factor] :
         {std::pair{'H', hourSeconds}, std::pair{'M', minuteSeconds}, std::pair{'S', 1U}}) {
        const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
        if (digits == 0 || digits > mostDigits || digits == text.size() || text[digits] != unit)
            continue;
        seconds += static_cast<u32>(std::stoul(std::string(text.substr(0, digits)))) * factor;
        text.remove_prefix(digits + 1);
    }
    return text.empty() ? std::optional(seconds) : std::nullopt;
}

Text writeDuration(const std::string &text, const SpellingPlace &place)
{
    const std::optional<u32> seconds = fromIsoDuration(text);
    if (!seconds)
        return writeClock<3>(text, place);
    char clock[16];
    std::snprintf(clock, sizeof clock, "%02u:%02u:%02u", *seconds / hourSeconds, *seconds / minuteSeconds % 60,
                  *seconds % minuteSeconds);
    return fromColons(clock, 3);
}

std::string readSigned(ByteView bytes, const SpellingPlace &)
{
    const Text digits = decimalDigits(bytes.part(1));
    return digits ? (bytes[0] ? "-" : "+") + withColons(*digits) : asHex(bytes);
}

Text writeSigned(const std::string &text, const SpellingPlace &place)
{
    const bool sign = !text.empty() && (text[0] == '-' || text[0] == '+');
    const Text time = fromColons(text.substr(sign ? 1 : 0), 2);
    return time ? (sign && text[0] == '-' ? '\x01' : '\0') + *time : fromPrefixedHex(text, place.size);
}

char signInFront(const Fields &record)
{
    for (const Field &field : record)
        if (field.kind == Field::Kind::text && !field.text.empty() && (field.text[0] == '-' || field.text[0] == '+'))
            return field.text[0];
    return '+';
}

std::string readLikeSigned(ByteView bytes, const SpellingPlace &place)
{
    const Text digits = decimalDigits(bytes);
    return digits ? signInFront(place.record) + withColons(*digits) : asHex(bytes);
}

Text writeLikeSigned(const std::string &text, const SpellingPlace &place)
{
    const bool sign = !text.empty() && (text[0] == '-' || text[0] == '+');
    if (sign && text[0] != signInFront(place.record))
        return std::nullopt;
    const Text time = fromColons(text.substr(sign ? 1 : 0), 2);
    return time ? time : fromPrefixedHex(text, 2);
}

std::string readDate(ByteView bytes, const SpellingPlace &place)
{
    ByteReader reader(bytes);
    const u16 day = reader.u16Field();
    const Text digits = decimalDigits(bytes.part(2));
    if (isUndefined(bytes) || !digits)
        return readClock<5>(bytes, place);
    return mjdText(day) + " " + withColons(*digits);
}

Text writeDate(const std::string &text, const SpellingPlace &place)
{
    constexpr std::size_t dateSize = 10;
    if (text == undefined || text.size() <= dateSize)
        return writeClock<5>(text, place);
    const std::optional<u16> day = mjdFrom(text.substr(0, dateSize));
    std::string time = text.substr(dateSize + 1);
    if (!time.empty() && time.back() == 'Z')
        time.pop_back();
    const Text clock = fromColons(time, 3);
    if (!day || !clock || (text[dateSize] != ' ' && text[dateSize] != 'T'))
        return fromPrefixedHex(text, place.size);
    return std::string{static_cast<char>(*day >> 8), static_cast<char>(*day & 0xFF)} + *clock;
}

std::string readDay(ByteView bytes, const SpellingPlace &)
{
    ByteReader reader(bytes);
    return isUndefined(bytes) ? undefined : mjdText(reader.u16Field());
}

Text writeDay(const std::string &text, const SpellingPlace &place)
{
    if (text == undefined)
        return std::string(place.size, '\xFF');
    const std::optional<u16> day = mjdFrom(text);
    return day ? Text(std::string{static_cast<char>(*day >> 8), static_cast<char>(*day & 0xFF)})
               : fromPrefixedHex(text, place.size);
}

/* ---- texts ----------------------------------------------------------------------------------------------------------
 */

std::string readHex(ByteView bytes, const SpellingPlace &)
{
    return toHex(bytes);
}

Text writeHex(const std::string &text, const SpellingPlace &)
{
    return fromHex(text);
}

std::string readSize(ByteView bytes, const SpellingPlace &)
{
    return std::to_string(bytes.size());
}

Text writeStuffing(const std::string &text, const SpellingPlace &)
{
    constexpr std::size_t mostDigits = 4; // more than any section has
    const bool number = !text.empty() && text.size() <= mostDigits && text.find_first_not_of("0123456789") > mostDigits;
    return number ? Text(std::string(std::stoul(text), '\xFF')) : std::nullopt;
}

std::string readAscii(ByteView bytes, const SpellingPlace &)
{
    return printableAscii(bytes);
}

bool isPlainAscii(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

Text writeAscii(const std::string &text, const SpellingPlace &)
{
    return isPlainAscii(text) ? Text(text) : std::nullopt;
}

Text writeLetters(const std::string &text, const SpellingPlace &place)
{
    return isPlainAscii(text) && text.size() == place.size ? Text(text) : std::nullopt;
}

std::string readLanguage(ByteView bytes, const SpellingPlace &)
{
    const bool none = std::all_of(bytes.begin(), bytes.end(), [](u8 byte) { return byte == 0; });
    return none ? "" : printableAscii(bytes);
}

Text writeLanguage(const std::string &text, const SpellingPlace &place)
{
    return text.empty() ? Text(std::string(place.size, '\0')) : writeLetters(text, place);
}

std::string readUtf8(ByteView bytes, const SpellingPlace &)
{
    return safeText({bytes.begin(), bytes.end()});
}

Text writeUtf8(const std::string &text, const SpellingPlace &)
{
    return safeText(text) == text ? Text(text) : std::nullopt;
}

std::string readDvb(ByteView bytes, const SpellingPlace &place)
{
    return decodeDvbText(bytes, place.context.charset).utf8;
}

Text writeDvb(const std::string &text, const SpellingPlace &place)
{
    const bool usual = *place.context.charset == '\0';
    return usual && isPlainAscii(text) ? Text(text) : encodeDvbText(text, place.old, place.context.charset);
}

std::string readUtf16(ByteView bytes, const SpellingPlace &)
{
    return decodeUtf16(bytes).utf8;
}

Text writeUtf16(const std::string &text, const SpellingPlace &place)
{
    Text bytes = encodeUtf16(text);
    if (!bytes || (place.size > 0 && bytes->size() > place.size))
        return std::nullopt;
    bytes->resize(std::max(place.size, bytes->size()));
    return bytes;
}

std::string readMultipleString(ByteView bytes, const SpellingPlace &)
{
    return bytes.empty() ? "" : decodeMultipleString(bytes).utf8;
}

Text writeMultipleString(const std::string &text, const SpellingPlace &place)
{
    return text.empty() ? Text("") : encodeMultipleString(text, place.old);
}

/** Three bits of a magazine, 0 being the eighth, and a page of two digits. EN 300 468 6.2.43. */
std::string readPage(ByteView bytes, const SpellingPlace &)
{
    return std::to_string(bytes[0] == 0 ? 8 : bytes[0]) + toHex(bytes.part(1));
}

Text writePage(const std::string &text, const SpellingPlace &)
{
    if (text.size() != 3 || text[0] < '1' || text[0] > '8')
        return std::nullopt;
    const Text page = fromHex(text.substr(1));
    return page ? Text(static_cast<char>((text[0] - '0') % 8) + *page) : std::nullopt;
}

template <int family> std::string readAddress(ByteView bytes, const SpellingPlace &)
{
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(family, bytes.data(), text, sizeof text);
    return text;
}

template <int family> Text writeAddress(const std::string &text, const SpellingPlace &place)
{
    std::string bytes(place.size, '\0');
    return inet_pton(family, text.c_str(), bytes.data()) == 1 ? Text(bytes) : std::nullopt;
}

constexpr Field::Kind asText = Field::Kind::text;

} // namespace

const Spelling hexDigits = {"bytes", "pairs of hexadecimal digits", Field::Kind::hex, readHex, writeHex};
const Spelling stuffingBytes = {"stuffing", "a number of bytes", Field::Kind::number, readSize, writeStuffing};
const Spelling dvbText = {"text", "a text without control characters", asText, readDvb, writeDvb, true};
const Spelling asciiText = {"ASCII", "a text of ASCII characters", asText, readAscii, writeAscii, true};
const Spelling utf8Text = {"UTF-8", "a text without control characters", asText, readUtf8, writeUtf8, true};
const Spelling letters = {"letters", "a code of its number of letters", asText, readAscii, writeLetters};
const Spelling languageCode = {"language", "a language code of three letters", asText, readLanguage, writeLanguage};
const Spelling utf16Text = {"UTF-16", "a text that fits its bytes in UTF-16", asText, readUtf16, writeUtf16, true};
const Spelling multipleStrings = {"multiple_string_structure",
                                  "a text without control characters",
                                  asText,
                                  readMultipleString,
                                  writeMultipleString,
                                  true};
const Spelling dateAndTime = {"date and time", "a time such as \"2023-02-25 12:34:56\"", asText, readDate, writeDate};
const Spelling date = {"date", "a date such as \"2023-02-25\"", asText, readDay, writeDay};
const Spelling hoursMinutes = {"hours and minutes", "a time such as \"05:30\"", asText, readClock<2>, writeClock<2>};
const Spelling signedHours = {"signed hours and minutes", "an offset such as \"+05:30\"", asText, readSigned,
                              writeSigned};
const Spelling likeSignedHours = {"signed hours and minutes",
                                  "an offset such as \"+05:30\" with the sign of the one in front of it", asText,
                                  readLikeSigned, writeLikeSigned};
const Spelling clockTime = {"time", "a time such as \"12:34:56\"", asText, readClock<3>, writeClock<3>};
const Spelling duration = {"duration", "a duration such as \"01:30:00\" or \"PT1H30M\"", asText, readClock<3>,
                           writeDuration};
const Spelling gigahertz = {"frequency", "a frequency such as \"11.75725 GHz\", or a number of Hz", asText,
                            readQuantity<satelliteFrequency>, writeQuantity<satelliteFrequency>};
const Spelling megahertz = {"frequency", "a frequency such as \"346.0000 MHz\", or a number of Hz", asText,
                            readQuantity<cableFrequency>, writeQuantity<cableFrequency>};
const Spelling tensOfHertz = {"frequency", "a frequency such as \"498.00000 MHz\", or a number of Hz", asText,
                              readTensOfHertz, writeTensOfHertz};
const Spelling symbolRate = {"symbol rate", "a rate such as \"27.5000 Msymbol/s\"", asText, readQuantity<symbols>,
                             writeQuantity<symbols>};
const Spelling longSymbolRate = {"symbol rate", "a rate such as \"427.5000 Msymbol/s\"", asText,
                                 readQuantity<moreSymbols>, writeQuantity<moreSymbols>};
const Spelling orbitalPosition = {"orbital position", "a position such as \"19.2 E\"", asText, readOrbit, writeOrbit};
const Spelling ip4Address = {"IPv4 address", "an address such as \"239.1.1.1\"", asText, readAddress<AF_INET>,
                             writeAddress<AF_INET>};
const Spelling ip6Address = {"IPv6 address", "an address such as \"ff15::1\"", asText, readAddress<AF_INET6>,
                             writeAddress<AF_INET6>};
const Spelling teletextPage = {"teletext page", "a page of 100 to 8FF", asText, readPage, writePage};

} // namespace psi::describe
