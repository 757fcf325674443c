#include "make/jsonPlace.h"

#include "describe/bytes.h"
#include "describe/json/jsonFields.h"
#include "output/described.h"

#include <algorithm>
#include <functional>
#include <set>

namespace psitool {

namespace {

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

/** Refuses a key that is there twice: the parser takes the last one without a word. */
class DuplicateKeys {
public:
    bool operator()(int, nlohmann::json::parse_event_t event, const nlohmann::json &value)
    {
        using Event = nlohmann::json::parse_event_t;
        const bool begins = event == Event::object_start || event == Event::array_start;
        const bool ends = event == Event::object_end || event == Event::array_end;
        if (event == Event::key)
            take(value.get<std::string>());
        if (ends)
            levels_.pop_back();
        else if ((begins || event == Event::value) && !levels_.empty())
            ++levels_.back().elements;
        if (begins)
            levels_.push_back({event == Event::array_start, 0, "", {}});
        return true;
    }

private:
    struct Level {
        bool isArray;
        std::size_t elements;
        std::string key;
        std::set<std::string> keys;
    };

    void take(const std::string &key)
    {
        levels_.back().key = key;
        if (levels_.back().keys.insert(key).second)
            return;
        std::string pointer;
        for (const Level &level : levels_)
            pointer += "/" + (level.isArray ? std::to_string(level.elements - 1) : level.key);
        throw JsonError(pointer, "this key is there twice");
    }

    std::vector<Level> levels_;
};

} // namespace

nlohmann::json parseJson(const std::string &text)
{
    try {
        DuplicateKeys duplicates;
        return nlohmann::json::parse(text, std::ref(duplicates));
    } catch (const nlohmann::json::parse_error &error) {
        throw JsonError(psi::describe::lineAndColumn(text, error.byte > 0 ? error.byte - 1 : 0),
                        reasonOf(error.what()));
    } catch (const nlohmann::json::out_of_range &error) {
        const std::string number = quotedIn(error.what());
        throw JsonError(psi::describe::lineAndColumn(text, text.find(number)),
                        "the number " + number + " is too large");
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
            psi::describe::editDistance(member.key(), key) <= tolerance(key))
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
