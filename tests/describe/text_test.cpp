#include "describe/text.h"

#include "describe/scsu.h"

#include "support/safeUtf8.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>

namespace psi::describe {
namespace {

std::string dvb(const std::string &bytes)
{
    return decodeDvbText(ByteView(bytes)).utf8;
}

bool known(const std::string &bytes)
{
    return decodeDvbText(ByteView(bytes)).known;
}

using psitest::isSafeUtf8;

TEST(DvbText, WithoutSelectorIsTheLatinTable)
{
    EXPECT_EQ(dvb("News One"), "News One");
    EXPECT_EQ(decodeDvbText(ByteView(std::string("x"))).charset, "ISO_6937");
}

TEST(DvbText, AccentsOfTheLatinTableStandBeforeTheirLetter)
{
    EXPECT_EQ(dvb("T\xC2\x65l\xC2\x65 \xC8\x4F\xC3\x65\xCF\x63\xCB\x43"), "Télé ÖêčÇ");
}

TEST(DvbText, LatinTableHasTheEuroWhereIso6937HasNone)
{
    EXPECT_EQ(dvb("5 \xA4"), "5 €");
}

TEST(DvbText, AccentOnALetterThatHasNoCodeBecomesACombiningMark)
{
    EXPECT_EQ(dvb("\xC2\x62"), "b\u0301");
    EXPECT_EQ(dvb("\xCF\x6D!"), "m\u030C!");
}

TEST(DvbText, WithoutSelectorAndNotInTheLatinTableIsReadAsLatin9OrUtf8)
{
    const DecodedText brazilian = decodeDvbText(ByteView(std::string("TV INTEGRA\xC7\xC3O")));
    EXPECT_EQ(brazilian.utf8, "TV INTEGRAÇÃO");
    EXPECT_EQ(brazilian.charset, "ISO-8859-15");
    const DecodedText utf8 = decodeDvbText(ByteView(std::string("Z\xC3\xBCrich")));
    EXPECT_EQ(utf8.utf8, "Zürich");
    EXPECT_EQ(utf8.charset, "UTF-8");
    EXPECT_EQ(dvb("a\xC2"), "aÂ");
}

TEST(DvbText, ValidUtf8WithoutASelectorIsUtf8)
{
    EXPECT_EQ(dvb("\xC3\xB6\xC3\xA4 \xE6\x9D\xB1"), "öä 東");
    EXPECT_EQ(decodeDvbText(ByteView(std::string("\xC2\x65"))).charset, "ISO_6937");
}

TEST(DvbText, SupersetsOfTheTwoByteTablesAreRead)
{
    EXPECT_EQ(dvb("\x13\xFD\x88"), "龍");
    EXPECT_EQ(dvb("\x12\xA1\x41"), "좥");
}

TEST(EncodedText, HasTheShortestTableThatSpellsItOrTheOneThatItHad)
{
    const auto encoded = [](const char *text, const std::string &old = "") {
        return encodeDvbText(text, ByteView(old)).value_or("none");
    };
    EXPECT_EQ(encoded("Télé"), "T\xC2"
                               "el\xC2"
                               "e");
    EXPECT_EQ(encoded("Мир 1"), "\x01\xBC\xD8\xE0 1");
    EXPECT_EQ(encoded("東京"), "\x11\x67\x71\x4E\xAC");
    EXPECT_EQ(encoded("Größe", "\x15x"), "\x15Größe");
    EXPECT_EQ(encoded("Größe", std::string("\x10\x00\x01x", 4)), std::string("\x10\x00\x01Gr\xF6\xDF"
                                                                             "e",
                                                                             8));
    EXPECT_EQ(encoded("TV INTEGRAÇÃO", "INTEGRA\xC7\xC3O"), "TV INTEGRA\xC7\xC3O");
    EXPECT_EQ(encoded("東", "\x01x"), "\x11\x67\x71") << "a table that cannot spell it is left";
}

struct TableCase {
    const char *what;
    std::string bytes;
    std::string utf8;
    std::string charset;
};

void PrintTo(const TableCase &tested, std::ostream *out)
{
    *out << tested.what;
}

class DvbTextTable : public testing::TestWithParam<TableCase> {};

TEST_P(DvbTextTable, IsReadBySelector)
{
    const DecodedText text = decodeDvbText(ByteView(GetParam().bytes));
    EXPECT_EQ(text.utf8, GetParam().utf8);
    EXPECT_EQ(text.charset, GetParam().charset);
    EXPECT_TRUE(text.known);
}

std::string bytes(std::initializer_list<int> values)
{
    std::string text;
    for (const int value : values)
        text += static_cast<char>(value);
    return text;
}

const TableCase tableCases[] = {
    {"Cyrillic", bytes({0x01, 0xBC, 0xD8, 0xE0, 0x20, 0x31}), "Мир 1", "ISO-8859-5"},
    {"Arabic", bytes({0x02, 0xE2, 0xE6, 0xC7, 0xC9}), "قناة", "ISO-8859-6"},
    {"Greek", bytes({0x03, 0xC5, 0xEB, 0xEB, 0xDC, 0xE4, 0xE1}), "Ελλάδα", "ISO-8859-7"},
    {"Hebrew", bytes({0x04, 0xF2, 0xF8, 0xE5, 0xF5}), "ערוץ", "ISO-8859-8"},
    {"Turkish", bytes({0x05, 0x49, 0xFE, 0xFD, 0x6B, 0x20, 0xD0}), "Işık Ğ", "ISO-8859-9"},
    {"Nordic", bytes({0x06, 0xC1, 0xB9, 0xBF}), "Áđŋ", "ISO-8859-10"},
    {"Thai", bytes({0x07, 0xE4, 0xB7, 0xC2}), "ไทย", "ISO-8859-11"},
    {"Baltic", bytes({0x09, 0xDE, 0x69, 0x6E, 0x69, 0xF8}), "Žinių", "ISO-8859-13"},
    {"Celtic", bytes({0x0A, 0xD0, 0xFE}), "Ŵŷ", "ISO-8859-14"},
    {"LatinWithEuro", bytes({0x0B, 0xBC, 0x75, 0x76, 0x72, 0x65, 0x20, 0x35, 0xA4}), "Œuvre 5€", "ISO-8859-15"},
    {"ThreeByteSelector1", bytes({0x10, 0x00, 0x01, 0x47, 0x72, 0xF6, 0xDF, 0x65}), "Größe", "ISO-8859-1"},
    {"ThreeByteSelector2", bytes({0x10, 0x00, 0x02, 0xC8, 0x65, 0x73, 0x6B, 0xE1}), "Česká", "ISO-8859-2"},
    {"ThreeByteSelector3", bytes({0x10, 0x00, 0x03, 0xA1, 0x61, 0x62, 0x62}), "Ħabb", "ISO-8859-3"},
    {"ThreeByteSelector4", bytes({0x10, 0x00, 0x04, 0xAA, 0xF3}), "Ēķ", "ISO-8859-4"},
    {"ThreeByteSelector5", bytes({0x10, 0x00, 0x05, 0xB7, 0xD2, 0xE3, 0xDA}), "Звук", "ISO-8859-5"},
    {"ThreeByteSelector6", bytes({0x10, 0x00, 0x06, 0xD3, 0xE4, 0xC7, 0xE5}), "سلام", "ISO-8859-6"},
    {"ThreeByteSelector7", bytes({0x10, 0x00, 0x07, 0xCD, 0xDD, 0xE1}), "Νέα", "ISO-8859-7"},
    {"ThreeByteSelector8", bytes({0x10, 0x00, 0x08, 0xF9, 0xEC, 0xE5, 0xED}), "שלום", "ISO-8859-8"},
    {"ThreeByteSelector9", bytes({0x10, 0x00, 0x09, 0xC7, 0x61, 0xF0}), "Çağ", "ISO-8859-9"},
    {"ThreeByteSelector10", bytes({0x10, 0x00, 0x0A, 0xDE, 0x6A, 0xF3, 0xF0}), "Þjóð", "ISO-8859-10"},
    {"ThreeByteSelector11", bytes({0x10, 0x00, 0x0B, 0xA2, 0xE8, 0xD2, 0xC7}), "ข่าว", "ISO-8859-11"},
    {"ThreeByteSelector13", bytes({0x10, 0x00, 0x0D, 0xC0, 0xFE}), "Ąž", "ISO-8859-13"},
    {"ThreeByteSelector14", bytes({0x10, 0x00, 0x0E, 0xA8}), "Ẁ", "ISO-8859-14"},
    {"ThreeByteSelector15", bytes({0x10, 0x00, 0x0F, 0xB4, 0xA4}), "Ž€", "ISO-8859-15"},
    {"Ucs2", bytes({0x11, 0x65, 0xE5, 0x67, 0x2C, 0x00, 0x20, 0x00, 0x78}), "日本 x", "UTF-16BE"},
    {"Korean", bytes({0x12, 0xC7, 0xD1, 0xB1, 0xB9, 0x20, 0x54, 0x56}), "한국 TV", "EUC-KR"},
    {"SimplifiedChinese", bytes({0x13, 0xD6, 0xD0, 0xD1, 0xEB, 0xB5, 0xE7, 0xCA, 0xD3, 0xCC, 0xA8, 0x20, 0x31}),
     "中央电视台 1", "GB2312"},
    {"TraditionalChinese", bytes({0x14, 0x81, 0xFA, 0x70, 0x63}), "臺灣", "UTF-16BE"},
    {"Utf8", bytes({0x15, 0x5A, 0xC3, 0xBC, 0x72, 0x69, 0x63, 0x68, 0x20, 0xE6,
                    0x9D, 0xB1, 0xE4, 0xBA, 0xAC, 0x20, 0xF0, 0x9F, 0x98, 0x80}),
     "Zürich 東京 😀", "UTF-8"},
};

INSTANTIATE_TEST_SUITE_P(Selectors, DvbTextTable, testing::ValuesIn(tableCases),
                         [](const auto &tested) { return tested.param.what; });

TEST(DvbText, EmptyStringIsEmptyAndKnown)
{
    EXPECT_EQ(dvb(""), "");
    EXPECT_TRUE(known(""));
    EXPECT_EQ(decodeDvbText(ByteView(nullptr, 7)).utf8, "");
}

TEST(DvbText, SelectorAloneIsAnEmptyString)
{
    EXPECT_EQ(dvb("\x05"), "");
    EXPECT_TRUE(known("\x05"));
    EXPECT_EQ(dvb("\x15"), "");
    EXPECT_EQ(dvb("\x11"), "");
}

TEST(DvbText, ReservedSelectorIsUnknownAndItsAsciiLegible)
{
    for (const int selector : {0x08, 0x0C, 0x0F, 0x16, 0x1E}) {
        const std::string text = bytes({selector, 'A', 0xE4, 'B'});
        EXPECT_FALSE(known(text)) << selector;
        EXPECT_EQ(dvb(text), "A\uFFFDB") << selector;
    }
}

TEST(DvbText, ThreeByteSelectorCutShortOrReservedIsUnknown)
{
    EXPECT_FALSE(known(bytes({0x10})));
    EXPECT_FALSE(known(bytes({0x10, 0x00})));
    EXPECT_FALSE(known(bytes({0x10, 0x00, 0x0C, 'x'})));
    EXPECT_FALSE(known(bytes({0x10, 0x00, 0x10, 'x'})));
    EXPECT_FALSE(known(bytes({0x10, 0x01, 0x05, 'x'})));
    EXPECT_EQ(dvb(bytes({0x10, 0x00, 0x10, 'x'})), "x");
}

TEST(DvbText, EncodingTypeIdIsUnknown)
{
    EXPECT_FALSE(known(bytes({0x1F, 0x01, 0x42})));
}

TEST(DvbText, EmphasisIsDroppedAndNewLineIsABlank)
{
    EXPECT_EQ(dvb("\x86News\x87\x8AOne\x9F"), "News One");
    EXPECT_EQ(dvb("\x05\x86News\x87\x8AOne"), "News One");
    EXPECT_EQ(dvb(bytes({0x12, 0x86, 'A', 0x8A, 'B', 0x87})), "A B");
}

TEST(DvbText, ControlCodesOfTheTwoByteTablesAreTreatedTheSame)
{
    EXPECT_EQ(dvb(bytes({0x11, 0xE0, 0x86, 0, 'A', 0xE0, 0x8A, 0, 'B', 0xE0, 0x87})), "A B");
    EXPECT_EQ(dvb(bytes({0x15, 0xEE, 0x82, 0x86, 'A', 0xEE, 0x82, 0x8A, 'B'})), "A B");
    EXPECT_EQ(dvb(bytes({0x15, 'A', 0xC2, 0x8A, 'B', 0xC2, 0x86})), "A B");
}

TEST(DvbText, CharactersCutShortAreReplaced)
{
    EXPECT_EQ(dvb(bytes({0x11, 0, 'A', 0x65})), "A\uFFFD");
    EXPECT_EQ(dvb(bytes({0x12, 0xC7})), "\uFFFD");
    EXPECT_EQ(dvb(bytes({0x13, 'A', 0xD6})), "A\uFFFD");
    EXPECT_EQ(dvb(bytes({0x15, 'A', 0xE6, 0x9D})), "A\uFFFD\uFFFD");
}

TEST(DvbText, HostileBytesNeverReachATerminal)
{
    EXPECT_EQ(dvb("a\x1B[2Jb"), "a\uFFFD[2Jb");
    EXPECT_EQ(dvb(std::string("a\0b\x7F", 4)), "ab\uFFFD");
    EXPECT_EQ(dvb("a\nb\tc\rd"), "a b c d");
    EXPECT_EQ(dvb(bytes({0x11, 0, 0x1B, 0, '['})), "\uFFFD[");
    EXPECT_EQ(dvb(bytes({0x15, 0xE2, 0x80, 0xAE, 'x'})), "x") << "right-to-left override";
    EXPECT_EQ(dvb(bytes({0x15, 0xC0, 0x9B, '['})), "\uFFFD\uFFFD[") << "overlong escape";
    EXPECT_EQ(dvb(bytes({0x15, 0xED, 0xA0, 0x80})), "\uFFFD\uFFFD\uFFFD") << "surrogate";
    EXPECT_EQ(dvb(bytes({0x15, 0xF5, 0x80, 0x80, 0x80})), "\uFFFD\uFFFD\uFFFD\uFFFD") << "above U+10FFFF";
}

TEST(DvbText, AnyBytesGiveSafeUtf8)
{
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 24, ' ');
        for (char &byte : text)
            byte = static_cast<char>(random());
        if (!text.empty() && round % 2)
            text[0] = static_cast<char>(round / 2 % 0x20);
        ASSERT_TRUE(isSafeUtf8(dvb(text))) << testing::PrintToString(text);
        ASSERT_TRUE(isSafeUtf8(decodeUtf16(ByteView(text)).utf8)) << testing::PrintToString(text);
        ASSERT_TRUE(isSafeUtf8(decodeMultipleString(ByteView(text)).utf8)) << testing::PrintToString(text);
    }
}

TEST(Utf16Text, ShortNameLosesItsPadding)
{
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0, 'W', 0, 'N', 0, 'E', 0, 'T', 0, 0, 0, 0, 0, 0}))).utf8, "WNET");
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0, 'N', 0, ' ', 0, ' '}))).utf8, "N  ") << "blanks are no padding";
}

TEST(Utf16Text, SurrogatesAreOneCharacterAndLoneOnesReplaced)
{
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0xD8, 0x3D, 0xDE, 0x00, 0, 'x'}))).utf8, "\U0001F600x");
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0xD8, 0x3D, 0, 'x'}))).utf8, "\uFFFDx");
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0xDE, 0x00}))).utf8, "\uFFFD");
}

TEST(Utf16Text, OddByteIsReplaced)
{
    EXPECT_EQ(decodeUtf16(ByteView(bytes({0, 'A', 0}))).utf8, "A\uFFFD");
}

TEST(MultipleString, UncompressedSegmentsAreRead)
{
    const std::string one = bytes({1, 'e', 'n', 'g', 2, 0, 0x00, 3, 'N', 'e', 'w', 0, 0x3F, 2, 0, 's'});
    EXPECT_EQ(decodeMultipleString(ByteView(one)).utf8, "News");
    const std::string greek = bytes({1, 'g', 'r', 'e', 1, 0, 0x03, 2, 0xB1, 0xB2});
    EXPECT_EQ(decodeMultipleString(ByteView(greek)).utf8, "αβ");
    const std::string two = bytes({2, 'e', 'n', 'g', 1, 0, 0, 1, 'A', 'f', 'r', 'e', 1, 0, 0, 1, 'B'});
    EXPECT_EQ(decodeMultipleString(ByteView(two)).utf8, "A / B");
}

TEST(MultipleString, CompressedOrCutShortIsUnknown)
{
    EXPECT_FALSE(decodeMultipleString(ByteView(bytes({1, 'e', 'n', 'g', 1, 1, 0, 2, 0x12, 0x34}))).known);
    EXPECT_FALSE(decodeMultipleString(ByteView(bytes({1, 'e', 'n', 'g', 1, 0, 0, 9, 'x'}))).known);
    EXPECT_FALSE(decodeMultipleString(ByteView(bytes({}))).known);
    EXPECT_TRUE(decodeMultipleString(ByteView(bytes({0}))).known);
}

TEST(PrintableAscii, EverythingElseIsADot)
{
    EXPECT_EQ(printableAscii(ByteView(bytes({'A', 0x1B, 0xE4, '~'}))), "A..~");
}

std::string dvbAndBack(const std::string &utf8)
{
    const std::optional<std::string> bytes = encodeDvbText(utf8);
    return bytes ? dvb(*bytes) : "not encoded";
}

std::string utf16AndBack(const std::string &utf8)
{
    const std::optional<std::string> bytes = encodeUtf16(utf8);
    return bytes ? decodeUtf16(ByteView(*bytes)).utf8 : "not encoded";
}

TEST(EncodedText, EveryPrintableAsciiCharacterComesBackWithoutASelector)
{
    std::string ascii = "-";
    for (char c = 0x20; c < 0x7F; ++c)
        ascii += c;
    ascii += "-";
    EXPECT_EQ(encodeDvbText(ascii), ascii);
    EXPECT_EQ(dvbAndBack(ascii), ascii);
    EXPECT_EQ(utf16AndBack(ascii), ascii);
}

TEST(EncodedText, OtherCharactersAreUtf8BehindItsSelector)
{
    EXPECT_EQ(encodeDvbText("Télé"), "\x15Télé");
    EXPECT_EQ(dvbAndBack("Télé Россия 放送 €"), "Télé Россия 放送 €");
}

TEST(EncodedText, Utf16HasTheHighByteFirstAndSurrogatesAboveTheFirstPlane)
{
    EXPECT_EQ(encodeUtf16("A"), std::string("\0A", 2));
    EXPECT_EQ(encodeUtf16("\U0001F4FA"), "\xD8\x3D\xDC\xFA");
    EXPECT_EQ(utf16AndBack("K-é\U0001F4FA"), "K-é\U0001F4FA");
}

TEST(EncodedText, NothingThatDecodingDropsOrReplaces)
{
    for (const char *text : {"a\nb", "a\x7F", "a\u0085", "a\uFFFD", "a\u202E"}) {
        EXPECT_FALSE(encodeDvbText(text)) << text;
        EXPECT_FALSE(encodeUtf16(text)) << text;
    }
}

/* ---- character tables that are named --------------------------------------------------------------------------------
 */

std::string named(const std::string &text, const char *charset)
{
    return decodeDvbText(ByteView(text), charsetNamed(charset)).utf8;
}

TEST(NamedCharset, IsOfStringsWithoutASelector)
{
    EXPECT_EQ(named("\xBC\xD8\xE0", "iso-8859-5"), "Мир");
    EXPECT_EQ(named("\xCC\xE8\xF0", "cp1251"), "Мир");
    EXPECT_EQ(named("\xD6\xD0\xFD\x88\x81\x39\xEF\x30", "gb18030"), "中龍㐁") << "two and four bytes";
    EXPECT_EQ(named("\x05\xFD", "iso-8859-5"), "ı") << "a selector counts";
    EXPECT_EQ(named("\xA4\xA2", "euc-jp"), "あ");
    EXPECT_EQ(charsetNamed("EBCDIC"), nullptr);
    for (const std::string &name : usualCharsets())
        EXPECT_NE(charsetNamed(name), nullptr) << name;
}

TEST(NamedCharset, IsWrittenWhereItCanSpellTheText)
{
    const char *cyrillic = charsetNamed("ISO-8859-5");
    EXPECT_EQ(encodeDvbText("Мир", {}, cyrillic), "\xBC\xD8\xE0");
    EXPECT_EQ(encodeDvbText("東", {}, cyrillic), "\x11\x67\x71");
}

/* ---- compressed texts -----------------------------------------------------------------------------------------------
 */

std::string units(const std::string &digits)
{
    const std::string text = fromHex(digits).value();
    const std::string utf16 = fromScsu(ByteView(text));
    return decodeUtf16(ByteView(utf16)).utf8;
}

// The examples of Unicode Technical Standard #6.
TEST(Scsu, ReadsTheExamplesOfItsStandard)
{
    EXPECT_EQ(units("d66c20666c6965df74"), "Öl fließt");
    EXPECT_EQ(units("129cbec1bab2b0"), "Москва");
    EXPECT_EQ(units("08001b4cea16cad3940f53ef611be584c4"), "\u3000♪リンゴ可愛いや");
}

TEST(Scsu, ReadsWindowsQuotesAndCharactersBeyondTheBasicPlane)
{
    EXPECT_EQ(units("41df1281035f10df1b03df"), "AßЁşßǟ") << "windows changed, quoted and defined";
    EXPECT_EQ(units("0bbfffff"), "\U0010FFFF") << "an extended window";
    EXPECT_EQ(units("0e304241"), "あA") << "one quoted character";
    EXPECT_EQ(units("0f3042e041"), "あA") << "Unicode mode and back";
    EXPECT_EQ(units("0ff0e0a041"), "\uE0A0\uFFFD") << "a quoted tag, and half a character";
}

TEST(Scsu, WhatIsNoneIsReplaced)
{
    EXPECT_EQ(units("410c42"), "A\uFFFDB");
    EXPECT_EQ(units("41180042"), "A\uFFFDB") << "a window that is reserved";
    EXPECT_EQ(units("4101"), "A\uFFFD");
}

TEST(AtscText, CompressedForUnicodeIsRead)
{
    const std::string text = fromHex("01656e6701003e07129cbec1bab2b0").value();
    EXPECT_EQ(decodeMultipleString(ByteView(text)).utf8, "Москва");
}

TEST(AtscText, CompressedByTablesIsToldAsUnknown)
{
    const std::string text = fromHex("01656e670101000212345678").value().substr(0, 10);
    EXPECT_FALSE(decodeMultipleString(ByteView(text)).known);
}

} // namespace
} // namespace psi::describe
