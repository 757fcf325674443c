#include "describe/text.h"

#include "describe/scsu.h"

#include <array>
#include <cerrno>
#include <iconv.h>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

namespace psi::describe {

namespace {

constexpr std::string_view replacementUtf8 = "\xEF\xBF\xBD";

/** How the bytes of a character table are taken apart. */
enum class Coding {
    latin,    // the default table: an accent stands before its letter
    oneByte,  // 0x80..0x9F are control codes
    mixed,    // one byte below 0x80, two bytes above 0x9F; 0x80..0x9F are control codes
    twoBytes, // always two bytes
    utf8,
    whole,    // one or more bytes, as the table says
    arib,     // ARIB STD-B24: tables are changed within the text
    reserved, // nobody knows
};

struct CharacterTable {
    const char *name; // as iconv knows it
    Coding coding;
};

constexpr const char *aribName = "ARIB-STD-B24";

AribDecoder aribDecoder = nullptr;

constexpr CharacterTable latinTable = {"ISO_6937", Coding::latin};
constexpr CharacterTable reservedTable = {"", Coding::reserved};

// EN 300 468 Annex A.2: what the first byte selects. ISO/IEC 8859-12 was never published.
constexpr CharacterTable selectorTables[0x20] = {
    /* 0x00 */ reservedTable,
    /* 0x01 */ {"ISO-8859-5", Coding::oneByte},
    /* 0x02 */ {"ISO-8859-6", Coding::oneByte},
    /* 0x03 */ {"ISO-8859-7", Coding::oneByte},
    /* 0x04 */ {"ISO-8859-8", Coding::oneByte},
    /* 0x05 */ {"ISO-8859-9", Coding::oneByte},
    /* 0x06 */ {"ISO-8859-10", Coding::oneByte},
    /* 0x07 */ {"ISO-8859-11", Coding::oneByte},
    /* 0x08 */ reservedTable,
    /* 0x09 */ {"ISO-8859-13", Coding::oneByte},
    /* 0x0A */ {"ISO-8859-14", Coding::oneByte},
    /* 0x0B */ {"ISO-8859-15", Coding::oneByte},
    /* 0x0C */ reservedTable,
    /* 0x0D */ reservedTable,
    /* 0x0E */ reservedTable,
    /* 0x0F */ reservedTable,
    /* 0x10 */ reservedTable, // two bytes more: isoTables
    /* 0x11 */ {"UTF-16BE", Coding::twoBytes},
    /* 0x12 */ {"EUC-KR", Coding::mixed}, // KS X 1001
    /* 0x13 */ {"GB2312", Coding::mixed},
    /* 0x14 */ {"UTF-16BE", Coding::twoBytes}, // the characters of Big5 at their places in ISO/IEC 10646
    /* 0x15 */ {"UTF-8", Coding::utf8},
    /* 0x16 */ reservedTable,
    /* 0x17 */ reservedTable,
    /* 0x18 */ reservedTable,
    /* 0x19 */ reservedTable,
    /* 0x1A */ reservedTable,
    /* 0x1B */ reservedTable,
    /* 0x1C */ reservedTable,
    /* 0x1D */ reservedTable,
    /* 0x1E */ reservedTable,
    /* 0x1F */ reservedTable, // encoding_type_id follows: codings that their owners keep
};

// The selector 0x10 0x00 n: ISO/IEC 8859-n.
constexpr CharacterTable isoTables[16] = {
    reservedTable,
    {"ISO-8859-1", Coding::oneByte},
    {"ISO-8859-2", Coding::oneByte},
    {"ISO-8859-3", Coding::oneByte},
    {"ISO-8859-4", Coding::oneByte},
    {"ISO-8859-5", Coding::oneByte},
    {"ISO-8859-6", Coding::oneByte},
    {"ISO-8859-7", Coding::oneByte},
    {"ISO-8859-8", Coding::oneByte},
    {"ISO-8859-9", Coding::oneByte},
    {"ISO-8859-10", Coding::oneByte},
    {"ISO-8859-11", Coding::oneByte},
    reservedTable,
    {"ISO-8859-13", Coding::oneByte},
    {"ISO-8859-14", Coding::oneByte},
    {"ISO-8859-15", Coding::oneByte},
};

/** A string's table and the bytes behind the selector. */
struct Selection {
    CharacterTable table;
    ByteView text;
};

Selection selectTable(ByteView bytes)
{
    if (bytes.empty() || bytes[0] >= 0x20)
        return {latinTable, bytes};
    if (bytes[0] == 0x10) {
        const bool known = bytes.size() >= 3 && bytes[1] == 0 && bytes[2] < 16;
        return {known ? isoTables[bytes[2]] : reservedTable, bytes.part(3)};
    }
    return {selectorTables[bytes[0]], bytes.part(1)};
}

class Iconv {
public:
    Iconv(const std::string &from, const std::string &to) : handle_(iconv_open(to.c_str(), from.c_str())) {}
    ~Iconv()
    {
        if (valid())
            iconv_close(handle_);
    }
    Iconv(const Iconv &) = delete;
    Iconv &operator=(const Iconv &) = delete;

    bool valid() const { return handle_ != invalidHandle(); }

    /** The one of this thread: opening one loads a module. */
    static Iconv &between(const std::string &from, const std::string &to)
    {
        static thread_local std::map<std::string, std::unique_ptr<Iconv>> all;
        std::unique_ptr<Iconv> &one = all[from + " " + to];
        if (!one)
            one = std::make_unique<Iconv>(from, to);
        return *one;
    }
    static Iconv &reading(const std::string &charset) { return between(charset, "UTF-8"); }

    /** Convert a whole text. False when it cannot be spelled exactly. */
    bool convert(const std::string &text, std::string &result)
    {
        constexpr std::size_t widest = 4; // bytes that a byte can become
        std::string bytes(text.size() * widest, '\0');
        char *in = const_cast<char *>(text.data()); // iconv does not write it
        char *out = bytes.data();
        std::size_t inLeft = text.size();
        std::size_t outLeft = bytes.size();
        if (!valid())
            return false;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        const bool converted = iconv(handle_, &in, &inLeft, &out, &outLeft) == 0 && inLeft == 0 &&
                               iconv(handle_, nullptr, nullptr, &out, &outLeft) == 0;
        result.append(bytes, 0, bytes.size() - outLeft);
        return converted;
    }

    /** Convert one character's bytes. False, and nothing added, when they are not exactly characters of the table. */
    bool append(ByteView character, std::string &utf8)
    {
        char out[32];
        char *outPos = out;
        std::size_t outLeft = sizeof out;
        char *in = const_cast<char *>(reinterpret_cast<const char *>(character.data())); // iconv does not write it
        std::size_t inLeft = character.size();
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        // The second call pushes out what a table with floating accents holds back.
        const bool converted = iconv(handle_, &in, &inLeft, &outPos, &outLeft) == 0 && inLeft == 0 &&
                               iconv(handle_, nullptr, nullptr, &outPos, &outLeft) == 0;
        if (converted)
            utf8.append(out, sizeof out - outLeft);
        return converted;
    }

private:
    static iconv_t invalidHandle() { return reinterpret_cast<iconv_t>(static_cast<std::intptr_t>(-1)); }

    iconv_t handle_;
};

constexpr bool isPrintableAscii(u8 byte)
{
    return byte >= 0x20 && byte < 0x7F;
}

constexpr bool isControlCode(u8 byte)
{
    return byte >= 0x80 && byte < 0xA0;
}

constexpr bool isLatinAccent(u8 byte)
{
    return byte >= 0xC1 && byte <= 0xCF && byte != 0xC9 && byte != 0xCC;
}

std::size_t characterSize(Coding coding, u8 first)
{
    switch (coding) {
    case Coding::latin:
        return isLatinAccent(first) ? 2 : 1;
    case Coding::mixed:
        return first >= 0xA0 ? 2 : 1;
    case Coding::twoBytes:
        return 2;
    default:
        return 1;
    }
}

/** Control codes of the tables with one-byte controls, EN 300 468 Table A.1. */
void appendControlCode(u8 byte, std::string &utf8)
{
    if (byte == 0x8A) // new line; emphasis and the reserved codes leave nothing
        utf8 += ' ';
}

/** Unicode's combining mark for an accent of the default table. */
std::string_view combiningMark(u8 accent)
{
    static constexpr std::string_view marks[] = {"\u0300", "\u0301", "\u0302", "\u0303", "\u0304",
                                                 "\u0306", "\u0307", "\u0308", "",       "\u030A",
                                                 "\u0327", "",       "\u030B", "\u0328", "\u030C"};
    return marks[accent - 0xC1];
}

bool appendLatin(Iconv &table, ByteView character, std::string &utf8)
{
    if (character[0] == 0xA4) { // the one place where the table is not that of ISO/IEC 6937
        utf8 += "\u20AC";
        return true;
    }
    if (table.append(character, utf8))
        return true;
    if (character.size() < 2 || character[1] >= 0x80 || !table.append(character.part(1), utf8))
        return false;
    utf8 += combiningMark(character[0]); // a pair that has no code of its own
    return true;
}

/** Of a table with one-byte controls, that is ASCII below 0x80. */
std::string convert(Iconv &table, Coding coding, ByteView text)
{
    std::string utf8;
    while (!text.empty()) {
        const u8 first = text[0];
        if (isPrintableAscii(first) || isControlCode(first)) {
            isControlCode(first) ? appendControlCode(first, utf8) : utf8.push_back(static_cast<char>(first));
            text = text.part(1);
            continue;
        }
        const std::size_t wanted = characterSize(coding, first);
        const ByteView character = text.part(0, wanted);
        const bool converted =
            character.size() == wanted &&
            (coding == Coding::latin ? appendLatin(table, character, utf8) : table.append(character, utf8));
        if (!converted)
            utf8 += replacementUtf8;
        text = text.part(wanted);
    }
    return utf8;
}

/** Characters of one byte to four, as the table says; a byte that begins none is replaced. */
std::string convertCharacters(Iconv &table, ByteView text)
{
    constexpr std::size_t longest = 4;
    std::string utf8;
    while (!text.empty()) {
        std::size_t size = 1;
        while (size <= std::min(longest, text.size()) && !table.append(text.part(0, size), utf8))
            ++size;
        const bool found = size <= std::min(longest, text.size());
        if (!found)
            utf8 += replacementUtf8;
        text = text.part(found ? size : 1);
    }
    return utf8;
}

std::string convertUtf16(ByteView text)
{
    Iconv &table = Iconv::reading("UTF-16BE");
    std::string utf8;
    while (!text.empty()) {
        const bool pair = text.size() >= 4 && bits(text[0], 7, 6) == 0x36 && bits(text[2], 7, 6) == 0x37;
        const std::size_t size = pair ? 4 : 2;
        if (text.size() < size || !table.valid() || !table.append(text.part(0, size), utf8))
            utf8 += replacementUtf8;
        text = text.part(size);
    }
    return utf8;
}

constexpr char32_t invalidCharacter = 0xFFFFFFFF;

/** Take one character off UTF-8 that may be damaged; invalidCharacter costs one byte. */
char32_t takeUtf8(ByteView &text)
{
    const u8 first = text[0];
    const std::size_t size = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
    char32_t value = size <= 1 ? first : first & (0x7FU >> size);
    bool valid = size > 0 && text.size() >= size;
    for (std::size_t i = 1; valid && i < size; ++i) {
        valid = (text[i] & 0xC0) == 0x80;
        value = value << 6 | (text[i] & 0x3FU);
    }
    static constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    valid = valid && value >= smallest[size] && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
    text = text.part(valid ? size : 1);
    return valid ? value : invalidCharacter;
}

} // namespace

bool isUtf8(ByteView text)
{
    while (!text.empty())
        if (takeUtf8(text) == invalidCharacter)
            return false;
    return true;
}

namespace {

enum class Treatment { keep, blank, drop, replace };

struct CharacterRange {
    char32_t first;
    char32_t last;
    Treatment treatment;
};

// What must not reach a terminal, and the control codes of the tables of more than one byte (EN 300 468 Table A.2).
constexpr CharacterRange treatedCharacters[] = {
    {0x0000, 0x0000, Treatment::drop},    // padding
    {0x0009, 0x000A, Treatment::blank},   // tab, line feed
    {0x000D, 0x000D, Treatment::blank},   // carriage return
    {0x0001, 0x001F, Treatment::replace}, // other C0 controls
    {0x007F, 0x007F, Treatment::replace}, // delete
    {0x008A, 0x008A, Treatment::blank},   // new line of EN 300 468
    {0x0080, 0x009F, Treatment::drop},    // emphasis and other C1 controls
    {0x2028, 0x2029, Treatment::blank},   // line and paragraph separator
    {0x202A, 0x202E, Treatment::drop},    // directional embedding and override
    {0x2066, 0x2069, Treatment::drop},    // directional isolates
    {0xE08A, 0xE08A, Treatment::blank},   // new line of the two-byte tables
    {0xE080, 0xE09F, Treatment::drop},    // other controls of the two-byte tables
    {0xFEFF, 0xFEFF, Treatment::drop},    // byte order mark
    {0xFFF9, 0xFFFC, Treatment::replace}, // interlinear annotation
    {0xFFFE, 0xFFFF, Treatment::replace}, // not characters
};

Treatment treatmentOf(char32_t character)
{
    if (character == invalidCharacter)
        return Treatment::replace;
    for (const CharacterRange &range : treatedCharacters)
        if (character >= range.first && character <= range.last)
            return range.treatment;
    return Treatment::keep;
}

} // namespace

namespace {

/** What must not reach a terminal is dropped or replaced; blanks around the text stay. */
std::string safeCharacters(const std::string &text)
{
    std::string safe;
    ByteView rest(text);
    while (!rest.empty()) {
        const u8 *start = rest.data();
        const Treatment treatment = treatmentOf(takeUtf8(rest));
        if (treatment == Treatment::keep)
            safe.append(reinterpret_cast<const char *>(start), reinterpret_cast<const char *>(rest.data()));
        else if (treatment == Treatment::blank)
            safe += ' ';
        else if (treatment == Treatment::replace)
            safe += replacementUtf8;
    }
    return safe;
}

} // namespace

std::string safeText(const std::string &text)
{
    const std::string safe = safeCharacters(text);
    const std::size_t first = safe.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return safe.substr(first, safe.find_last_not_of(' ') - first + 1);
}

namespace {

/** What is legible in a string of an unknown table. */
std::string asciiParts(ByteView text)
{
    std::string utf8;
    for (const u8 byte : text)
        if (byte < 0x80)
            utf8 += static_cast<char>(byte);
        else
            utf8 += replacementUtf8;
    return utf8;
}

/** The bytes in UTF-8, not yet safe; nothing when the table cannot be read. */
std::optional<std::string> readTable(const CharacterTable &table, ByteView text)
{
    if (table.coding == Coding::reserved)
        return std::nullopt;
    if (table.coding == Coding::utf8)
        return std::string(text.begin(), text.end());
    if (table.coding == Coding::twoBytes)
        return convertUtf16(text);
    if (table.coding == Coding::arib)
        return aribDecoder ? std::optional(aribDecoder(text)) : std::nullopt;
    Iconv &converter = Iconv::reading(table.name);
    if (!converter.valid())
        return std::nullopt;
    if (table.coding == Coding::whole)
        return convertCharacters(converter, text);
    return convert(converter, table.coding, text);
}

/** The characters that its owners added to a table: nothing when the text is not spelled with them either. */
DecodedText readSuperset(const CharacterTable &table, ByteView text)
{
    const char *name = table.name == std::string_view("GB2312") ? "GB18030" : "CP949";
    Iconv &converter = Iconv::reading(name);
    std::string utf8;
    while (!text.empty() && converter.valid()) {
        std::size_t size = 1;
        while (size <= text.size() && size <= 4 && !converter.append(text.part(0, size), utf8))
            size *= 2;
        if (size > text.size() || size > 4)
            return {};
        text = text.part(size);
    }
    return {safeText(utf8), name, true};
}

bool hasHighBytes(ByteView text)
{
    return std::any_of(text.begin(), text.end(), [](u8 byte) { return byte >= 0x80; });
}

/**
 * Names without a selector that make no sense in the default table: their networks leave out the selector of the table
 * that they use. That of ISO/IEC 8859-15 is the usual one, and in Brazil the rule (ABNT NBR 15603).
 */
DecodedText readWithoutRule(ByteView text)
{
    const CharacterTable &table = selectorTables[isUtf8(text) ? 0x15 : 0x0B];
    return {safeText(readTable(table, text).value_or("")), table.name, true};
}

} // namespace

namespace {

// Those that iconv does not know or the standard gives a coding of its own.
constexpr CharacterTable namedTables[] = {
    latinTable, {"UTF-8", Coding::utf8}, {"UTF-16BE", Coding::twoBytes}, {aribName, Coding::arib}};

/** The tables that may be asked for. Their names live as long as the program. */
const std::vector<CharacterTable> &usualTables()
{
    static const std::vector<CharacterTable> tables = [] {
        std::vector<CharacterTable> all(std::begin(namedTables), std::end(namedTables));
        for (const CharacterTable &iso : isoTables)
            if (iso.coding != Coding::reserved)
                all.push_back(iso);
        for (const char *name : {"GB18030", "CP949", "BIG5", "EUC-JP", "SHIFT_JIS", "CP1251", "CP1252"})
            all.push_back({name, Coding::whole});
        return all;
    }();
    return tables;
}

/** @param charset a name of usualTables(), or "" */
Selection selectTable(ByteView bytes, std::string_view charset)
{
    const bool selected = !bytes.empty() && bytes[0] < 0x20 && charset != aribName;
    if (!charset.empty() && !selected)
        for (const CharacterTable &table : usualTables())
            if (charset == table.name)
                return {table, bytes};
    return selectTable(bytes);
}

} // namespace

const std::vector<std::string> &usualCharsets()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const CharacterTable &table : usualTables())
            all.emplace_back(table.name);
        return all;
    }();
    return names;
}

const char *charsetNamed(const std::string &name)
{
    const auto same = [](char a, char b) { return a == b || (a >= 'a' && a <= 'z' && a - 'a' + 'A' == b); };
    for (const CharacterTable &table : usualTables()) {
        const std::string_view known = table.name;
        if (std::equal(name.begin(), name.end(), known.begin(), known.end(), same))
            return table.name;
    }
    return nullptr;
}

void useAribDecoder(AribDecoder decoder)
{
    aribDecoder = decoder;
}

namespace {

/** Printable ASCII, and no blanks around it. */
bool isPlain(ByteView text)
{
    return std::all_of(text.begin(), text.end(), isPrintableAscii) &&
           (text.empty() || (text[0] != ' ' && text[text.size() - 1] != ' '));
}

} // namespace

DecodedText decodeDvbText(ByteView bytes, const char *charset)
{
    if (*charset == '\0' && isPlain(bytes)) // as most names are, and as every table has them
        return {std::string(bytes.begin(), bytes.end()), latinTable.name, true};
    const Selection selection = selectTable(bytes, charset);
    const CharacterTable &table = selection.table;
    // Bytes that happen to be UTF-8 are hardly ever anything else.
    if (*charset == '\0' && table.coding == Coding::latin && hasHighBytes(bytes) && isUtf8(bytes))
        return readWithoutRule(bytes);
    const std::optional<std::string> text = readTable(table, selection.text);
    if (!text)
        return {safeText(asciiParts(selection.text)), table.name, false};
    const bool legible = text->find(replacementUtf8) == std::string::npos;
    if (*charset == '\0' && table.coding == Coding::latin && !legible)
        return readWithoutRule(selection.text);
    if (table.coding == Coding::mixed && !legible)
        if (DecodedText superset = readSuperset(table, selection.text); superset.known && !superset.charset.empty())
            return superset;
    return {safeText(*text), table.name, true};
}

DecodedText decodeUtf16(ByteView bytes)
{
    return {safeCharacters(convertUtf16(bytes)), "UTF-16BE", true};
}

namespace {

/** One segment of a multiple_string_structure, A/65 6.10; false when its coding is not read here. */
bool appendSegment(ByteReader &reader, std::string &utf8)
{
    const u8 compressionType = reader.u8Field();
    const u8 mode = reader.u8Field();
    const ByteView text = reader.counted();
    constexpr u8 scsu = 0x3E;
    constexpr u8 utf16 = 0x3F;
    if (compressionType != 0 || mode > utf16)
        return false;
    if (mode == scsu) {
        utf8 += convertUtf16(ByteView(fromScsu(text)));
        return true;
    }
    std::string units;
    for (const u8 byte : text) { // the other modes give the high byte of every character
        if (mode != utf16)
            units += static_cast<char>(mode);
        units += static_cast<char>(byte);
    }
    utf8 += convertUtf16(ByteView(units));
    return true;
}

} // namespace

DecodedText decodeMultipleString(ByteView bytes)
{
    ByteReader reader(bytes);
    DecodedText text{"", "UTF-16BE", true};
    const u8 strings = reader.u8Field();
    for (u8 i = 0; i < strings && reader.ok(); ++i) {
        reader.u24Field(); // ISO_639_language_code
        const u8 segments = reader.u8Field();
        std::string utf8;
        for (u8 segment = 0; segment < segments && reader.ok(); ++segment)
            text.known = appendSegment(reader, utf8) && text.known;
        text.utf8 += (i > 0 && !utf8.empty() ? " / " : "") + utf8;
    }
    text.known = text.known && reader.ok();
    text.utf8 = safeText(text.utf8);
    return text;
}

std::string printableAscii(ByteView bytes)
{
    std::string text;
    for (const u8 byte : bytes)
        text += isPrintableAscii(byte) ? static_cast<char>(byte) : '.';
    return text;
}

namespace {

/** Nothing in it that decoding drops or replaces. */
bool isClean(ByteView utf8)
{
    while (!utf8.empty()) {
        const char32_t character = takeUtf8(utf8);
        if (treatmentOf(character) != Treatment::keep || character == 0xFFFD)
            return false;
    }
    return true;
}

void appendUnit(std::string &bytes, char32_t unit)
{
    bytes += static_cast<char>(unit >> 8);
    bytes += static_cast<char>(unit & 0xFF);
}

} // namespace

std::optional<std::string> encodeDvbText(const std::string &utf8)
{
    if (!isClean(ByteView(utf8)))
        return std::nullopt;
    const bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return static_cast<u8>(c) < 0x80; });
    return ascii ? utf8 : '\x15' + utf8;
}

namespace {

/** Japanese text in the sets that a text begins with: kanji of two bytes, and behind a shift letters of one. */
std::optional<std::string> aribSpelled(const std::string &utf8)
{
    constexpr char shiftToLetters = 0x0E;
    constexpr char shiftToKanji = 0x0F;
    bool letters = false;
    std::string bytes;
    const auto shift = [&](bool wanted) {
        if (wanted != letters)
            bytes += wanted ? shiftToLetters : shiftToKanji;
        letters = wanted;
    };
    ByteView rest(utf8);
    while (!rest.empty()) {
        const ByteView before = rest;
        const char32_t character = takeUtf8(rest);
        std::string kanji;
        if (character > 0x20 && character < 0x7F) {
            shift(true);
            bytes += static_cast<char>(character);
        } else if (character == 0x20) {
            bytes += ' ';
        } else if (Iconv::between("UTF-8", "EUC-JP").convert({before.begin(), rest.begin()}, kanji) &&
                   kanji.size() == 2 && static_cast<u8>(kanji[0]) >= 0xA1) {
            shift(false);
            for (const char byte : kanji)
                bytes += static_cast<char>(byte & 0x7F);
        } else {
            return std::nullopt;
        }
    }
    return bytes;
}

/** Spells texts where `charset` is the table of those without a selector. */
class Speller {
public:
    Speller(const std::string &utf8, const char *charset) : utf8_(utf8), charset_(charset) {}

    /** In a character table, behind a selector; nothing when the table cannot spell it. */
    std::optional<std::string> in(const char *charset, const std::string &selector) const
    {
        std::string bytes = selector;
        if (charset == std::string_view(aribName)) {
            auto arib = aribSpelled(utf8_);
            bytes = arib.value_or("");
            return arib && isSpelling(bytes) ? arib : std::nullopt;
        }
        const bool converted = Iconv::between("UTF-8", charset).convert(utf8_, bytes);
        return converted && isSpelling(bytes) ? std::optional(bytes) : std::nullopt;
    }

    /** In the table of the string that it replaces. */
    std::optional<std::string> like(ByteView old) const
    {
        if (old.empty() || (old[0] == 0x10 && old.size() < 3))
            return std::nullopt;
        const std::string charset = decodeDvbText(old, charset_).charset;
        const bool bare = old[0] >= 0x20 || charset == aribName;
        const std::size_t selector = bare ? 0 : old[0] == 0x10 ? 3 : 1;
        return in(charset.c_str(), std::string(old.begin(), old.begin() + selector));
    }

    /** A byte a character where a table has them all. */
    std::optional<std::string> shortest() const
    {
        if (auto bytes = in(*charset_ ? charset_ : latinTable.name, ""))
            return bytes;
        for (char selector = 0x01; selector <= 0x0B; ++selector)
            if (selectorTables[static_cast<u8>(selector)].coding == Coding::oneByte)
                if (auto bytes = in(selectorTables[static_cast<u8>(selector)].name, {selector}))
                    return bytes;
        for (char part = 1; part <= 15; ++part)
            if (isoTables[static_cast<u8>(part)].coding == Coding::oneByte)
                if (auto bytes = in(isoTables[static_cast<u8>(part)].name, {'\x10', '\0', part}))
                    return bytes;
        const auto wide = in("UTF-16BE", "\x11");
        const bool shorter = wide && wide->size() < utf8_.size() + 1;
        return shorter ? wide : in("UTF-8", "\x15");
    }

private:
    bool isSpelling(const std::string &bytes) const { return decodeDvbText(ByteView(bytes), charset_).utf8 == utf8_; }

    const std::string &utf8_;
    const char *charset_;
};

} // namespace

std::optional<std::string> encodeDvbText(const std::string &utf8, ByteView old, const char *charset)
{
    if (!isClean(ByteView(utf8)))
        return std::nullopt;
    const Speller speller(utf8, charset);
    std::optional<std::string> bytes = speller.like(old);
    return bytes ? bytes : speller.shortest();
}

std::optional<std::string> encodeMultipleString(const std::string &utf8, ByteView old)
{
    constexpr std::size_t most = 255;
    const std::optional<std::string> units = encodeUtf16(utf8);
    if (!units || units->size() / 2 > most)
        return std::nullopt;
    const std::string language = old.size() > 4 ? std::string(old.begin() + 1, old.begin() + 4) : "eng";
    std::string latin;
    for (std::size_t i = 0; i < units->size(); i += 2)
        if ((*units)[i] == 0)
            latin += (*units)[i + 1];
    const bool plain = latin.size() * 2 == units->size();
    const std::string &text = plain ? latin : *units;
    if (text.size() > most)
        return std::nullopt;
    return '\x01' + language + '\x01' + '\0' + (plain ? '\0' : '\x3F') + static_cast<char>(text.size()) + text;
}

std::optional<std::string> encodeUtf16(const std::string &utf8)
{
    ByteView rest(utf8);
    if (!isClean(rest))
        return std::nullopt;
    std::string bytes;
    while (!rest.empty()) {
        const char32_t character = takeUtf8(rest);
        if (character >= 0x10000) {
            appendUnit(bytes, 0xD800 + ((character - 0x10000) >> 10));
            appendUnit(bytes, 0xDC00 + (character & 0x3FF));
        } else {
            appendUnit(bytes, character);
        }
    }
    return bytes;
}

} // namespace psi::describe
