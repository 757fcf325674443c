#include "describe/json/jsonFields.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace psi::describe {

namespace {

constexpr std::size_t mostLevels = 64;
constexpr std::size_t mostMembers = 65536;

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

/** The sibling that a key with a suffix belongs to. */
Field *ownerOf(Fields &record, std::string_view key, std::string_view suffix)
{
    if (!endsWith(key, suffix))
        return nullptr;
    const std::string_view base = key.substr(0, key.size() - suffix.size());
    const auto owner =
        std::find_if(record.begin(), record.end(), [&](const Field &field) { return field.key == base; });
    const bool value =
        owner != record.end() && (owner->kind == Field::Kind::number || owner->kind == Field::Kind::text);
    return value ? &*owner : nullptr;
}

} // namespace

std::string lineAndColumn(const std::string &text, std::size_t offset)
{
    const std::string before = text.substr(0, std::min(offset, text.size()));
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 when there is none
    const auto column = std::count_if(before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(),
                                      [](char c) { return (static_cast<u8>(c) & 0xC0) != 0x80; });
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(column + 1);
}

/** Takes the parser's events. */
class JsonReader {
public:
    JsonReader(JsonDocument &document, const std::string &text) : document_(document), text_(text)
    {
        levels_.push_back({Level::Kind::root, {}});
    }

    bool null() { return value(other("null")); }
    bool boolean(bool truth) { return value(other(truth ? "true" : "false")); }
    bool number_integer(nlohmann::json::number_integer_t number) { return value(other(std::to_string(number))); }
    bool number_unsigned(nlohmann::json::number_unsigned_t number)
    {
        Field field;
        field.number = number;
        return value(std::move(field));
    }
    bool number_float(nlohmann::json::number_float_t, const std::string &text) { return value(other(text)); }
    bool string(std::string &text)
    {
        Field field;
        field.kind = Field::Kind::text;
        field.text = std::move(text);
        return value(std::move(field));
    }
    static bool binary(nlohmann::json::binary_t &) { return false; }
    bool start_object(std::size_t) { return open(Level::Kind::object); }
    bool start_array(std::size_t) { return open(Level::Kind::array); }
    bool key(std::string &key)
    {
        levels_.back().key = *document_.keys_.insert(std::move(key)).first;
        return true;
    }
    bool end_object()
    {
        checkKeys(levels_.back().fields);
        adopt(levels_.back().fields);
        Field field;
        field.kind = Field::Kind::record;
        field.items.push_back(std::move(levels_.back().fields));
        levels_.pop_back();
        return value(std::move(field));
    }
    bool end_array()
    {
        Fields elements = std::move(levels_.back().fields);
        levels_.pop_back();
        Field field;
        field.kind = Field::Kind::list;
        for (Field &element : elements) {
            if (element.kind != Field::Kind::record)
                return value(other("an array of other things than objects"));
            field.items.push_back(std::move(element.items[0]));
        }
        return value(std::move(field));
    }
    bool parse_error(std::size_t position, const std::string &, const nlohmann::json::exception &error)
    {
        throw FieldError(lineAndColumn(text_, position > 0 ? position - 1 : 0), reasonOf(error.what()));
    }

private:
    struct Level {
        enum class Kind { root, object, array } kind;
        Fields fields;
        std::string_view key = {};
    };

    static Field other(const std::string &text)
    {
        constexpr std::size_t longest = 40;
        Field field;
        field.kind = Field::Kind::other;
        field.text = text.size() > longest ? text.substr(0, longest) + "..." : text;
        return field;
    }

    /** The parser's own words, without its number and without the place, which it counts otherwise. */
    static std::string reasonOf(const std::string &what)
    {
        const std::size_t at = what.find(": ");
        std::string reason = at == std::string::npos ? what : what.substr(at + 2);
        constexpr std::size_t longest = 200;
        if (reason.size() > longest)
            reason.erase(std::min(longest, reason.find("; last read: ")));
        return reason;
    }

    bool value(Field field)
    {
        Level &level = levels_.back();
        if (level.kind == Level::Kind::root) {
            document_.root_ = std::move(field);
            return true;
        }
        field.key = level.key;
        level.fields.push_back(std::move(field));
        if (level.kind == Level::Kind::object && level.fields.size() > mostMembers)
            throw FieldError(pointer(), "more than " + std::to_string(mostMembers) + " members");
        return true;
    }

    bool open(Level::Kind kind)
    {
        if (levels_.size() > mostLevels)
            throw FieldError(pointer(), "more than " + std::to_string(mostLevels) + " levels");
        levels_.push_back({kind, {}});
        return true;
    }

    /** Where the level that is being filled stands. */
    std::string pointer() const
    {
        std::string place;
        for (std::size_t i = 1; i + 1 < levels_.size(); ++i)
            place += "/" + (levels_[i].kind == Level::Kind::array ? std::to_string(levels_[i].fields.size())
                                                                  : std::string(levels_[i].key));
        return place;
    }

    void checkKeys(const Fields &record) const
    {
        std::vector<std::string_view> keys;
        for (const Field &field : record)
            keys.push_back(field.key);
        std::sort(keys.begin(), keys.end());
        const auto twice = std::adjacent_find(keys.begin(), keys.end());
        if (twice != keys.end())
            throw FieldError(pointer() + "/" + std::string(*twice), "this key is there twice");
    }

    /** KEY_name and KEY_bytes go to the field that they belong to. */
    void adopt(Fields &record) const
    {
        const auto belongs = [&](Field &field) {
            if (ownerOf(record, field.key, "_name"))
                return true;
            Field *owner = ownerOf(record, field.key, "_bytes");
            if (!owner || field.kind != Field::Kind::text)
                return false;
            const std::optional<std::string> bytes = fromHex(field.text);
            if (!bytes)
                throw FieldError(pointer() + "/" + std::string(field.key), "is not pairs of hexadecimal digits");
            owner->bytes = *bytes;
            return true;
        };
        std::vector<std::string_view> adopted;
        for (Field &field : record)
            if (belongs(field))
                adopted.push_back(field.key);
        for (const std::string_view key : adopted)
            record.erase(
                std::find_if(record.begin(), record.end(), [&](const Field &field) { return field.key == key; }));
    }

    JsonDocument &document_;
    const std::string &text_;
    std::vector<Level> levels_;
};

JsonDocument::JsonDocument(const std::string &text)
{
    JsonReader reader(*this, text);
    nlohmann::json::sax_parse(text, &reader);
}

} // namespace psi::describe
