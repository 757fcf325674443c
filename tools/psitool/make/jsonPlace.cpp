#include "make/jsonPlace.h"

#include "describe/bytes.h"
#include "output/described.h"

#include <algorithm>

namespace psitool {

namespace {

/** Where a byte of the text stands, as editors count. */
std::string lineAndColumn(const std::string &text, std::size_t offset)
{
    const std::string before = text.substr(0, std::min(offset, text.size()));
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
    const auto column = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(),
                                      [](char c) { return (static_cast<u8>(c) & 0xC0) != 0x80; });
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column + 1);
}

/** The parser's own words, without its number and without the place, which it counts otherwise. */
std::string reasonOf(const std::string &what)
{
    const std::size_t at = what.find(": ");
    std::string reason = at == std::string::npos ? what : what.substr(at + 2);
    const std::size_t tooMuch = reason.find("; last read: "); // perhaps half the file
    constexpr std::size_t longest = 200;
    if (tooMuch != std::string::npos && reason.size() > longest)
        reason.erase(tooMuch);
    return reason;
}

/** What stands between the first quotation marks: the number that has no place. */
std::string quotedIn(const std::string &what)
{
    const std::size_t begin = what.find('\'') + 1;
    return what.substr(begin, what.find('\'', begin) - begin);
}

/** Keys that are this close are taken for slips of each other. */
std::size_t tolerance(const std::string &key)
{
    return key.size() <= 4 ? 1 : 2;
}

/** Letters to insert, delete or change (Levenshtein). */
std::size_t editDistance(const std::string &a, const std::string &b)
{
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

} // namespace

nlohmann::json parseJson(const std::string &text)
{
    try {
        return nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error &error) {
        throw JsonError(lineAndColumn(text, error.byte > 0 ? error.byte - 1 : 0), reasonOf(error.what()));
    } catch (const nlohmann::json::out_of_range &error) {
        const std::string number = quotedIn(error.what());
        throw JsonError(lineAndColumn(text, text.find(number)), "the number " + number + " is too large");
    }
}

void JsonPlace::fail(const std::string &message) const
{
    throw JsonError(pointer_.empty() ? "/" : pointer_, message);
}

void JsonPlace::warn(const std::string &message) const
{
    document_->warnings.push_back((pointer_.empty() ? "/" : pointer_) + ": " + message);
}

void JsonPlace::expected(const std::string &what) const
{
    constexpr std::size_t longest = 40;
    std::string found = value_->is_object()  ? "an object"
                        : value_->is_array() ? "an array"
                                             : value_->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    if (found.size() > longest) {
        std::size_t end = longest;
        while ((static_cast<unsigned char>(found[end]) & 0xC0) == 0x80) // within a character
            --end;
        found.replace(end, std::string::npos, "...");
    }
    fail("expected " + what + ", found " + found);
}

std::string JsonPlace::misspelling(const std::string &key) const
{
    const std::vector<std::string> &known = document_->vocabulary;
    for (const auto &member : value_->items())
        if (std::find(known.begin(), known.end(), member.key()) == known.end() &&
            editDistance(member.key(), key) <= tolerance(key))
            return member.key();
    return "";
}

std::optional<JsonPlace> JsonPlace::find(const char *key) const
{
    if (!value_->is_object())
        expected("an object");
    const auto member = value_->find(key);
    if (member != value_->end())
        return JsonPlace(*this, *member, key);
    const std::string slip = misspelling(key);
    if (!slip.empty())
        warn("\"" + slip + "\" is not known and ignored; is it meant for \"" + key + "\"?");
    return std::nullopt;
}

JsonPlace JsonPlace::operator[](const char *key) const
{
    const std::size_t warnings = document_->warnings.size();
    if (const std::optional<JsonPlace> member = find(key))
        return *member;
    const std::string missing = std::string("the key \"") + key + "\" is missing";
    if (document_->warnings.size() > warnings)
        fail(missing + "; is \"" + misspelling(key) + "\" meant for it?");
    fail(missing);
}

std::vector<JsonPlace> JsonPlace::elements() const
{
    if (!value_->is_array())
        expected("an array");
    std::vector<JsonPlace> places;
    for (std::size_t i = 0; i < value_->size(); ++i)
        places.push_back(JsonPlace(*this, (*value_)[i], std::to_string(i)));
    return places;
}

u32 JsonPlace::number(u32 highest, u32 lowest) const
{
    const bool whole = value_->is_number_unsigned();
    if (!whole || value_->get<std::uint64_t>() < lowest || value_->get<std::uint64_t>() > highest)
        expected("a number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return value_->get<u32>();
}

bool JsonPlace::boolean() const
{
    if (!value_->is_boolean())
        expected("true or false");
    return value_->get<bool>();
}

std::string JsonPlace::text() const
{
    if (!value_->is_string())
        expected("a text");
    return value_->get<std::string>();
}

std::string JsonPlace::bytes(std::size_t most) const
{
    if (!value_->is_string())
        expected("a text of hexadecimal digits");
    const std::string digits = value_->get<std::string>();
    const std::optional<std::string> bytes = fromHex(digits);
    if (!bytes && digits.size() % 2 != 0)
        expected("an even number of hexadecimal digits");
    if (!bytes)
        expected("hexadecimal digits");
    if (bytes->size() > most)
        fail("expected at most " + std::to_string(most) + " bytes, found " + std::to_string(bytes->size()));
    return *bytes;
}

} // namespace psitool
