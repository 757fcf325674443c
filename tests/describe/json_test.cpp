// JSON as text, both ways, against the library that puts it together and takes it apart as a tree.
#include "describe/json/json.h"
#include "describe/json/jsonFields.h"
#include "describe/json/jsonScanner.h"
#include "describe/json/jsonWriter.h"

#include <gtest/gtest.h>

namespace psi::describe {
namespace {

/* ---- taken apart ----------------------------------------------------------------------------------------------------
 */

/** Writes down what it is told. */
struct Listener final : JsonHandler {
    void beginObject() override { told += "{"; }
    void endObject() override { told += "}"; }
    void beginArray() override { told += "["; }
    void endArray() override { told += "]"; }
    void key(const JsonString &name) override { told += "<" + std::string(name.text) + ">"; }
    void string(const JsonString &value) override { told += "'" + std::string(value.text) + "'"; }
    void number(u64 value) override { told += "#" + std::to_string(value); }
    void other(std::string_view word) override { told += "~" + std::string(word); }

    std::string told;
};

/** What is told of a text; "no JSON" when it ends to be that. */
std::string toldOf(const std::string &text)
{
    Listener listener;
    return scanJson(text, listener) ? listener.told : "no JSON";
}

TEST(Json, IsToldInTheOrderOfTheText)
{
    EXPECT_EQ("{<a>#1<b>[~null~true'x'{}]<>[]}",
              toldOf("\xEF\xBB\xBF{ \"a\" : 1,\r\n\t\"b\":[null,true,\"x\",{}]  ,\"\":[]}"));
}

TEST(Json, WholeNumbersOf64BitsAreNumbersAndOthersStandAsTheyAre)
{
    EXPECT_EQ("[#0#18446744073709551615~18446744073709551616~-1~-0~1.0~2E-3~0.5e+1]",
              toldOf("[0,18446744073709551615,18446744073709551616,-1,-0,1.0,2E-3,0.5e+1]"));
}

TEST(Json, EscapesAreTheirCharacters)
{
    EXPECT_EQ("'\"\\/\b\f\n\r\t'", toldOf(R"("\"\\\/\b\f\n\r\t")"));
    EXPECT_EQ("'A\u00e9\u20ac\U0001F600z'", toldOf(R"("A\u00e9\u20AC\uD83D\uDE00z")"));
}

TEST(Json, IsWhatTheTreeTakesForIt)
{
    const std::string texts[] = {"",
                                 " ",
                                 "{",
                                 "}",
                                 "[",
                                 "]",
                                 "[1,]",
                                 "[,1]",
                                 "[1 2]",
                                 "{\"a\"}",
                                 "{\"a\":}",
                                 "{\"a\":1,}",
                                 "{a:1}",
                                 "{\"a\" 1}",
                                 "{\"a\":1 \"b\":2}",
                                 "[1]]",
                                 "[1] x",
                                 "01",
                                 "-",
                                 "-a",
                                 "1.",
                                 ".5",
                                 "1e",
                                 "1e+",
                                 "+1",
                                 "0x10",
                                 "1_0",
                                 "nul",
                                 "nulll",
                                 "True",
                                 "truefalse",
                                 "\"",
                                 "\"a",
                                 "\"\\",
                                 "\"\\x\"",
                                 "\"\\u12\"",
                                 "\"\\u12G4\"",
                                 "\"\\uD800\"",
                                 "\"\\uD800\\u0041\"",
                                 "\"\\uD800\\n\"",
                                 "\"\\uDC00\"",
                                 "\"\\uD83D\\uDE00\"",
                                 "\"\\u0000\"",
                                 "\"a\nb\"",
                                 "\"a\tb\"",
                                 "\"\x7F\"",
                                 "\"\x80\"",
                                 "\"\xC3\"",
                                 "\"\xC3\\u00A9\"",
                                 "\"\xC0\x80\"",
                                 "\"\xED\xA0\x80\"",
                                 "\"\xF4\x8F\xBF\xBF\"",
                                 "\"\xF4\x90\x80\x80\"",
                                 "\"\xE2\x82\xAC\"",
                                 "1\xEF\xBB\xBF",
                                 "'a'",
                                 "// a\n1",
                                 "/**/1",
                                 "[1,\v2]",
                                 "[\f1]",
                                 "1 ",
                                 "\t\"x\"\n",
                                 "[[[[]]]]",
                                 "[{},{}]",
                                 "{\"a\":{\"a\":[]}}",
                                 "NaN",
                                 "Infinity",
                                 "-Infinity",
                                 "1e400",
                                 "-1e400",
                                 "1e-400",
                                 "-0.0e0",
                                 "1E5",
                                 "123456789012345678901234567890"};
    for (const std::string &text : texts)
        EXPECT_EQ(nlohmann::json::accept(text), toldOf(text) != "no JSON") << text;
    const std::string ended("[1]\0[", 5);
    EXPECT_TRUE(nlohmann::json::accept(ended));
    EXPECT_EQ("[#1]", toldOf(ended));
}

TEST(Json, EveryCutOfATextIsRefusedWithItsPlace)
{
    const std::string text = R"({"a": [1, -2.5e3, "x\u00e9"], "b": {"c": true, "d": null}})";
    for (std::size_t size = 0; size < text.size(); ++size)
        try {
            const JsonDocument document(text.substr(0, size));
            FAIL() << text.substr(0, size);
        } catch (const FieldError &error) {
            EXPECT_EQ(0U, error.place().find("line 1, column ")) << error.what();
        }
    EXPECT_NO_THROW(JsonDocument{text});
}

TEST(Json, FieldsHaveTheirKeysAlsoWhereThoseHaveEscapes)
{
    const JsonDocument document(R"({"t\u0061g": 7, "list": [{"x": "1"}, {}], "mixed": [1, {}], "null": null})");
    const Fields &fields = document.root().items.at(0);
    ASSERT_EQ(4U, fields.size());
    EXPECT_EQ("tag", fields[0].key);
    EXPECT_EQ(7U, fields[0].number);
    EXPECT_EQ(Field::Kind::list, fields[1].kind);
    EXPECT_EQ(2U, fields[1].items.size());
    EXPECT_EQ("1", fields[1].items[0].at(0).text);
    EXPECT_EQ(Field::Kind::other, fields[2].kind);
    EXPECT_EQ("null", fields[3].text);
}

TEST(Json, MeaningsAreLeftOutAndBytesGoToTheirText)
{
    const JsonDocument document(
        R"({"a_name": "one", "a": 1, "b_bytes": "c3a9", "b": "x", "c_name": "c", "d_bytes": "z"})");
    const Fields &fields = document.root().items.at(0);
    ASSERT_EQ(4U, fields.size());
    EXPECT_EQ("a", fields[0].key);
    EXPECT_EQ("b", fields[1].key);
    EXPECT_EQ("\xC3\xA9", fields[1].bytes);
    EXPECT_EQ("c_name", fields[2].key);
    EXPECT_EQ("d_bytes", fields[3].key);
}

/** What is wrong with a text, or "". */
std::string refusalOf(const std::string &text)
{
    try {
        const JsonDocument document(text);
        return "";
    } catch (const FieldError &error) {
        return error.what();
    }
}

std::string repeated(const std::string &text, std::size_t times)
{
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(Json, HostileTextsAreRefusedWithTheirPlace)
{
    const std::string deep = refusalOf(R"({"a":[1,{"b":)" + repeated("[", 100000));
    EXPECT_EQ("/a/1/b" + repeated("/0", 60) + ": more than 64 levels", deep);
    EXPECT_EQ("", refusalOf(repeated("[", 64) + repeated("]", 64)));
    EXPECT_NE("", refusalOf(repeated("[", 65) + repeated("]", 65)));
    EXPECT_EQ("/x/1/k: this key is there twice", refusalOf(R"({"x":[{},{"k":1,"j":2,"k":3}]})"));
    EXPECT_EQ("/x_bytes: is not pairs of hexadecimal digits", refusalOf(R"({"x":"a","x_bytes":"0"})"));
    std::string members = "{";
    for (int i = 0; i < 65537; ++i)
        members += (i ? ",\"" : "\"") + std::to_string(i) + "\":1";
    EXPECT_EQ(": more than 65536 members", refusalOf(members + "}"));
}

/* ---- written --------------------------------------------------------------------------------------------------------
 */

/** The same value, called by call. */
void write(JsonWriter &json, const Json &value)
{
    if (value.is_object()) {
        json.beginObject();
        for (const auto &[key, member] : value.items()) {
            json.key(key);
            write(json, member);
        }
        return json.endObject();
    }
    if (value.is_array()) {
        json.beginArray();
        for (const Json &element : value)
            write(json, element);
        return json.endArray();
    }
    if (value.is_string())
        return json.text(value.get<std::string>());
    if (value.is_number_float())
        return json.number(value.get<double>());
    if (value.is_number())
        return json.number(value.get<u64>());
    return value.is_null() ? json.null() : json.truth(value.get<bool>());
}

TEST(Json, IsWrittenAsTheTreeIsPrinted)
{
    const Json value = {
        {"empty", Json::object()},
        {"none", Json::array()},
        {"list", {1, 18446744073709551615ULL, 2.5, 1e-7, nullptr, true, false, Json::array({Json::array()})}},
        {"objects", {{{"a", ""}}, Json::object(), {{"b", {{"c", Json::array()}}}}}},
        {"text", "quote \" backslash \\ bell \a line \n \u007F \u20AC \U0001F600"},
        {"broken", "\xC3( \xED\xA0\x80 \xFF"}};
    for (const Json &one : {value, Json(1), Json("x"), Json::array(), Json::object(), value["list"]}) {
        std::string text;
        JsonWriter json(text);
        write(json, one);
        EXPECT_EQ(jsonText(one), text + "\n");
    }
}

TEST(Json, StandsAsDeepAsIsAskedFor)
{
    const Json inner = {{"a", {1, {{"b", 2}}}}};
    std::string text = "[\n  ";
    JsonWriter json(text, 1);
    write(json, inner);
    EXPECT_EQ(jsonText(Json::array({inner})), text + "\n]\n");
}

TEST(Json, BytesAreWrittenAsDigits)
{
    std::string text;
    JsonWriter json(text);
    json.beginArray();
    json.hex(ByteView(std::string_view("\x00\x9F\xFF", 3)));
    json.hex({});
    json.endArray();
    EXPECT_EQ("[\n  \"009fff\",\n  \"\"\n]", text);
}

} // namespace
} // namespace psi::describe
