#include "make/jsonPlace.h"

#include "describe/json/jsonWriter.h"
#include "output/described.h"

#include <algorithm>

namespace psitool {

using psi::describe::FieldError;
using psi::describe::JsonDocument;

namespace {

/** Keys that are this close are taken for slips of each other. */
std::size_t tolerance(const std::string &key)
{
    return key.size() <= 4 ? 1 : 2;
}

} // namespace

ModelDocument::ModelDocument(const std::string &text, std::vector<std::string> keys)
try : json(text), vocabulary(std::move(keys)) {
} catch (const FieldError &error) {
    throw JsonError(error.place(), error.message());
}

JsonPlace::JsonPlace(ModelDocument &document, const Field &value, std::string pointer)
    : document_(&document), value_(&value), pointer_(std::move(pointer))
{
    if (value.kind == Field::Kind::record)
        members_ = value.items.data();
}

void JsonPlace::fail(const std::string &message) const
{
    throw JsonError(pointer_.empty() ? "/" : pointer_, message);
}

void JsonPlace::warn(const std::string &message) const
{
    document_->warnings.push_back((pointer_.empty() ? "/" : pointer_) + ": " + message);
}

/** What stands there, as it stands in JSON. */
std::string JsonPlace::found() const
{
    if (members_)
        return "an object";
    if (value_->kind == Field::Kind::number)
        return std::to_string(value_->number);
    if (value_->kind == Field::Kind::other)
        return value_->items.empty() ? value_->text : "an array";
    if (value_->kind != Field::Kind::text)
        return "an array";
    std::string text;
    psi::describe::JsonWriter(text).text(value_->text);
    return text;
}

void JsonPlace::expected(const std::string &what) const
{
    constexpr std::size_t longest = 40;
    std::string there = found();
    if (there.size() > longest) {
        std::size_t end = longest;
        while ((static_cast<unsigned char>(there[end]) & 0xC0) == 0x80) // within a character
            --end;
        there.replace(end, std::string::npos, "...");
    }
    fail("expected " + what + ", found " + there);
}

std::string JsonPlace::misspelling(const std::string &key) const
{
    const std::vector<std::string> &known = document_->vocabulary;
    for (const Field &member : *members_)
        if (std::find(known.begin(), known.end(), member.key) == known.end() &&
            psi::describe::editDistance(member.key, key) <= tolerance(key))
            return std::string(member.key);
    return "";
}

std::optional<JsonPlace> JsonPlace::find(const char *key) const
{
    if (!members_)
        expected("an object");
    if (const Field *member = findField(*members_, key))
        return JsonPlace(*document_, *member, pointer_ + "/" + key);
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
    const bool objects = value_ && value_->kind == Field::Kind::list;
    const bool others = value_ && value_->kind == Field::Kind::other && !value_->items.empty();
    if (!objects && !others)
        expected("an array");
    std::vector<JsonPlace> places;
    const auto next = [&] { return pointer_ + "/" + std::to_string(places.size()); };
    if (objects)
        for (const Fields &object : value_->items)
            places.push_back(JsonPlace(*document_, object, next()));
    else
        for (const Field &element : value_->items[0])
            places.push_back(JsonPlace(*document_, element, next()));
    return places;
}

u32 JsonPlace::number(u32 highest, u32 lowest) const
{
    const bool whole = value_ && value_->kind == Field::Kind::number;
    if (!whole || value_->number < lowest || value_->number > highest)
        expected("a number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return static_cast<u32>(value_->number);
}

bool JsonPlace::isOther(const char *word) const
{
    return value_ && value_->kind == Field::Kind::other && value_->items.empty() && value_->text == word;
}

bool JsonPlace::boolean() const
{
    if (!isOther("true") && !isOther("false"))
        expected("true or false");
    return isOther("true");
}

std::string JsonPlace::text() const
{
    if (!value_ || value_->kind != Field::Kind::text)
        expected("a text");
    return value_->text;
}

std::string JsonPlace::bytes(std::size_t most) const
{
    if (!value_ || value_->kind != Field::Kind::text)
        expected("a text of hexadecimal digits");
    const std::optional<std::string> bytes = fromHex(value_->text);
    if (!bytes && value_->text.size() % 2 != 0)
        expected("an even number of hexadecimal digits");
    if (!bytes)
        expected("hexadecimal digits");
    if (bytes->size() > most)
        fail("expected at most " + std::to_string(most) + " bytes, found " + std::to_string(bytes->size()));
    return *bytes;
}

} // namespace psitool
