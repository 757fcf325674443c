#include "describe/json/jsonFields.h"

#include "describe/json/jsonScanner.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>

namespace psi::describe {

namespace {

constexpr std::size_t mostLevels = 64;
constexpr std::size_t mostMembers = 65536;

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

bool isValue(const Field &field)
{
    return field.kind == Field::Kind::number || field.kind == Field::Kind::text;
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

/* ---- what is wrong with a text that is no JSON ----------------------------------------------------------------------
 */

namespace {

/** The parser's own words, without its number and without the place, which it counts otherwise. */
std::string reasonOf(const std::string &what)
{
    const std::size_t at = what.find(": ");
    std::string reason = at == std::string::npos ? what : what.substr(at + 2);
    constexpr std::size_t longest = 200;
    if (reason.size() > longest)
        reason.erase(std::min(longest, reason.find("; last read: ")));
    return reason;
}

/** Looks for nothing but the place where the text ends to be JSON. */
struct SyntaxJudge : nlohmann::json_sax<nlohmann::json> {
    explicit SyntaxJudge(const std::string &judged) : text(judged) {}

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t &) override { return true; }
    bool string(string_t &) override { return true; }
    bool binary(binary_t &) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(string_t &) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }
    bool parse_error(std::size_t position, const std::string &token, const nlohmann::json::exception &error) override
    {
        constexpr int outOfRange = 406;
        if (error.id == outOfRange)
            throw FieldError(lineAndColumn(text, position - token.size()), "the number " + token + " is too large");
        throw FieldError(lineAndColumn(text, position > 0 ? position - 1 : 0), reasonOf(error.what()));
    }

    const std::string &text;
};

[[noreturn]] void refuse(const std::string &text)
{
    SyntaxJudge judge(text);
    nlohmann::json::sax_parse(text, &judge);
    throw FieldError(lineAndColumn(text, 0), "is not JSON");
}

} // namespace

/* ---- fields ---------------------------------------------------------------------------------------------------------
 */

/** Makes fields of what stands in a text. */
class JsonReader final : public JsonHandler {
public:
    explicit JsonReader(JsonDocument &document) : document_(document) {}

    void beginObject() override { begin(true); }
    void beginArray() override { begin(false); }

    void key(const JsonString &name) override
    {
        if (name.lasting)
            levels_.back().key = name.text;
        else
            levels_.back().key = document_.keys_.emplace_back(name.text);
    }

    void number(u64 value) override { add(Field::Kind::number).number = value; }
    void string(const JsonString &value) override { add(Field::Kind::text).text = value.text; }
    void other(std::string_view word) override
    {
        constexpr std::size_t longest = 40;
        std::string &text = add(Field::Kind::other).text;
        text = word.substr(0, longest);
        if (word.size() > longest)
            text += "...";
    }

    void endObject() override
    {
        const std::size_t start = levels_.back().start;
        refuseTwice(start);
        adopt(start);
        end(Field::Kind::record);
    }

    void endArray() override
    {
        const auto first = fields_.begin() + static_cast<std::ptrdiff_t>(levels_.back().start);
        const auto isRecord = [](const Field &element) { return element.kind == Field::Kind::record; };
        if (!std::all_of(first, fields_.end(), isRecord)) {
            end(Field::Kind::other).text = "an array of other things than objects";
            return;
        }
        std::vector<Fields> records;
        records.reserve(fields_.size() - levels_.back().start);
        std::for_each(first, fields_.end(), [&](Field &element) { records.push_back(std::move(element.items[0])); });
        fields_.erase(first, fields_.end());
        end(Field::Kind::list).items = std::move(records);
    }

    /** The whole text. */
    Field root() { return std::move(fields_.at(0)); }

private:
    /** An object or array that is not at its end. */
    struct Level {
        bool object;
        std::size_t start; // of its members or elements
        std::string_view key = {};
    };

    /** A value where the text is now. */
    Field &add(Field::Kind kind)
    {
        fields_.emplace_back();
        Field &field = fields_.back();
        field.kind = kind;
        if (levels_.empty() || !levels_.back().object)
            return field;
        field.key = levels_.back().key;
        if (fields_.size() - levels_.back().start > mostMembers)
            throw FieldError(pointer(), "more than " + std::to_string(mostMembers) + " members");
        return field;
    }

    /** The object or array becomes a value, with its members or elements in it. */
    Field &end(Field::Kind kind)
    {
        const auto first = fields_.begin() + static_cast<std::ptrdiff_t>(levels_.back().start);
        Fields inside(std::make_move_iterator(first), std::make_move_iterator(fields_.end()));
        fields_.erase(first, fields_.end());
        levels_.pop_back();
        Field &field = add(kind);
        field.items.push_back(std::move(inside));
        return field;
    }

    void begin(bool object)
    {
        if (levels_.size() >= mostLevels)
            throw FieldError(pointer(), "more than " + std::to_string(mostLevels) + " levels");
        levels_.push_back({object, fields_.size()});
    }

    /** Where the level that is being filled stands. */
    std::string pointer() const
    {
        std::string place;
        for (std::size_t i = 0; i + 1 < levels_.size(); ++i)
            place += "/" + (levels_[i].object ? std::string(levels_[i].key)
                                              : std::to_string(levels_[i + 1].start - levels_[i].start));
        return place;
    }

    void refuseTwice(std::size_t start) const
    {
        std::vector<std::string_view> keys;
        keys.reserve(fields_.size() - start);
        for (std::size_t i = start; i < fields_.size(); ++i)
            keys.push_back(fields_[i].key);
        std::sort(keys.begin(), keys.end());
        const auto twice = std::adjacent_find(keys.begin(), keys.end());
        if (twice != keys.end())
            throw FieldError(pointer() + "/" + std::string(*twice), "this key is there twice");
    }

    /** The sibling that a key with a suffix belongs to. */
    Field *ownerOf(std::size_t start, std::string_view key, std::string_view suffix)
    {
        if (!endsWith(key, suffix))
            return nullptr;
        const std::string_view base = key.substr(0, key.size() - suffix.size());
        for (std::size_t i = start; i < fields_.size(); ++i)
            if (fields_[i].key == base)
                return isValue(fields_[i]) ? &fields_[i] : nullptr;
        return nullptr;
    }

    /** KEY_name is for reading beside a number, and KEY_bytes goes to the field that it belongs to. */
    bool belongsToOther(std::size_t start, Field &field)
    {
        if (Field *named = ownerOf(start, field.key, "_name")) {
            if (named->kind == Field::Kind::number && field.kind == Field::Kind::text)
                named->text = std::move(field.text);
            return true;
        }
        Field *owner = ownerOf(start, field.key, "_bytes");
        if (!owner || field.kind != Field::Kind::text)
            return false;
        std::optional<std::string> bytes = fromHex(field.text);
        if (!bytes)
            throw FieldError(pointer() + "/" + std::string(field.key), "is not pairs of hexadecimal digits");
        owner->bytes = std::move(*bytes);
        return true;
    }

    void adopt(std::size_t start)
    {
        adopted_.assign(fields_.size() - start, false);
        for (std::size_t i = start; i < fields_.size(); ++i)
            adopted_[i - start] = belongsToOther(start, fields_[i]);
        std::size_t kept = start;
        for (std::size_t i = start; i < fields_.size(); ++i)
            if (!adopted_[i - start] && kept++ != i)
                fields_[kept - 1] = std::move(fields_[i]);
        fields_.resize(kept);
    }

    JsonDocument &document_;
    std::vector<Level> levels_;
    Fields fields_; // members and elements of those
    std::vector<bool> adopted_;
};

JsonDocument::JsonDocument(std::string text) : text_(std::move(text))
{
    JsonReader reader(*this);
    if (!scanJson(text_, reader))
        refuse(text_);
    root_ = reader.root();
}

} // namespace psi::describe
