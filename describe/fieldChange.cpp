#include "describe/fieldChange.h"

#include "describe/layoutWriter.h"

#include <algorithm>

namespace psi::describe {

/* ---- trees ----------------------------------------------------------------------------------------------------------
 */

Fields editable(const Fields &fields)
{
    Fields made = fields;
    for (Field &field : made) {
        if (field.kind == Field::Kind::descriptors) {
            field.items = documentForm(field.descriptors);
            field.descriptors.clear();
            field.kind = Field::Kind::list;
        }
        for (Fields &item : field.items)
            item = editable(item);
    }
    return made;
}

Field *findField(Fields &fields, std::string_view key)
{
    return const_cast<Field *>(findField(static_cast<const Fields &>(fields), key));
}

Fields *fieldsOf(Fields &descriptor)
{
    Field *fields = findField(descriptor, "fields");
    return fields && fields->kind == Field::Kind::record ? fields->items.data() : nullptr;
}

namespace {

constexpr std::string_view descriptorEnd = "_descriptor";

bool isDescriptor(const Fields &record)
{
    return findField(record, "tag") && (findField(record, "fields") || findField(record, "data"));
}

bool isDescriptorLoop(const Field &field)
{
    constexpr std::string_view end = "descriptors";
    const bool named = field.key.size() >= end.size() && field.key.substr(field.key.size() - end.size()) == end;
    return field.kind == Field::Kind::list && (field.items.empty() ? named : isDescriptor(field.items[0]));
}

/** Whether a key has these words, one behind the other: "streams" is in "transport_streams". */
bool hasWords(std::string_view key, std::string_view words)
{
    for (std::size_t at = key.find(words); at != std::string_view::npos; at = key.find(words, at + 1)) {
        const std::size_t end = at + words.size();
        if ((at == 0 || key[at - 1] == '_') && (end == key.size() || key[end] == '_'))
            return true;
    }
    return false;
}

/** A field by its key. A descriptor's fields are as if in it, but for what is its own "name". */
Field *fieldOfKey(Fields &record, const std::string &key)
{
    const bool descriptor = isDescriptor(record);
    Field *exact = findField(record, key);
    if (exact && !(descriptor && key == "name"))
        return exact;
    Fields *inner = descriptor ? fieldsOf(record) : nullptr;
    return inner ? fieldOfKey(*inner, key) : nullptr;
}

/** A field by words of its key that no other key there has. */
Field *fieldOfWords(Fields &record, const std::string &key)
{
    if (isDescriptor(record)) {
        Fields *inner = fieldsOf(record);
        return inner ? fieldOfWords(*inner, key) : nullptr;
    }
    Field *found = nullptr;
    for (Field &field : record) {
        if (!hasWords(field.key, key))
            continue;
        if (found)
            return nullptr;
        found = &field;
    }
    return found;
}

Field *fieldNamed(Fields &record, const std::string &key)
{
    Field *exact = fieldOfKey(record, key);
    return exact ? exact : fieldOfWords(record, key);
}

bool isDescriptorNamed(const Fields &descriptor, std::string_view name)
{
    const Field *own = findField(descriptor, "name");
    const bool shortened = own && own->text.size() == name.size() + descriptorEnd.size() &&
                           own->text.compare(0, name.size(), name) == 0 &&
                           own->text.compare(name.size(), std::string::npos, descriptorEnd) == 0;
    return own && (own->text == name || shortened);
}

/** A descriptor of a loop. @return its index, or the loop's size */
template <class Wanted> std::size_t findDescriptor(const Field &loop, std::size_t nth, const Wanted &wanted)
{
    std::size_t i = 0;
    for (; i < loop.items.size(); ++i)
        if (wanted(loop.items[i]) && nth-- == 0)
            break;
    return i;
}

/** What stands at a step: a record, or a field that is none. */
struct Part {
    Fields *record = nullptr;
    Field *field = nullptr;
};
/** Parts that count as one: the same list of several sections. */
using Place = std::vector<Part>;

/** An entry of a list. */
struct Entry {
    Field *list;
    std::size_t index;
    Fields &fields() const { return list->items[index]; }
};

Part partOf(Field &field)
{
    return field.kind == Field::Kind::record ? Part{field.items.data(), nullptr} : Part{nullptr, &field};
}

class PathWalker {
public:
    PathWalker(const FieldPath &path, const FieldChange &change, PathMatch &match)
        : path_(path), change_(change), match_(match)
    {
    }

    void walk(const std::vector<Fields *> &sections)
    {
        std::vector<Place> places = {rootOf(sections)};
        if (places[0].empty())
            return miss("there is no such section");
        for (; at_ + 1 < path_.steps.size(); ++at_) {
            std::vector<Place> next;
            for (const Place &place : places)
                follow(place, next);
            places = std::move(next);
        }
        for (const Place &place : places)
            change(place);
    }

private:
    /** All sections, or the one that the path begins with: "sections[1]." */
    Place rootOf(const std::vector<Fields *> &sections)
    {
        const std::vector<PathStep> &steps = path_.steps;
        const bool one = steps.size() > 2 && steps[0].key == "sections" && steps[1].kind == PathStep::Kind::number;
        Place root;
        for (Fields *section : sections)
            if (!one || numberOf(*section, "section_number", ~u64{0}) == steps[1].number)
                root.push_back({section, nullptr});
        at_ = !one ? 0 : root.empty() ? 1 : 2;
        return root;
    }

    const PathStep &step() const { return path_.steps[at_]; }

    /** Of all that could not be gone, the farthest is told. */
    void miss(const std::string &why)
    {
        if (!match_.miss.empty() && at_ < match_.depth)
            return;
        match_.depth = at_;
        match_.miss = step().text + ": " + why;
    }
    /** A key counts by all that it may be shortened to as well. */
    void missNear(const std::string &why, std::vector<std::string_view> known)
    {
        for (std::size_t i = 0; i < known.size(); ++i)
            if (const std::size_t end = known[i].find('_'); end != std::string_view::npos)
                known.push_back(known[i].substr(end + 1));
        const std::string near = nearest(step().key, known);
        miss(why + (near.empty() ? "" : "; the nearest is \"" + near + "\""));
    }
    [[noreturn]] void fail(const std::string &why) const { throw PathError(path_.text + ": " + why); }

    /* ---- going on ---- */

    void follow(const Place &place, std::vector<Place> &next)
    {
        if (step().kind == PathStep::Kind::key)
            return followKey(place, next);
        for (const Entry &entry : entries(place))
            next.push_back({{&entry.fields(), nullptr}});
    }

    void followKey(const Place &place, std::vector<Place> &next)
    {
        Place found;
        for (const Part &part : place) {
            if (Field *field = fieldOf(part))
                found.push_back(partOf(*field));
            else if (const std::optional<Entry> descriptor = descriptorNamed(part))
                found.push_back({&descriptor->fields(), nullptr});
        }
        if (!found.empty())
            next.push_back(std::move(found));
        else
            missKey(place);
    }

    static std::vector<Field *> loopsOf(const Part &part)
    {
        std::vector<Field *> loops;
        if (part.field && isDescriptorLoop(*part.field))
            loops.push_back(part.field);
        if (part.record)
            for (Field &field : *part.record)
                if (isDescriptorLoop(field))
                    loops.push_back(&field);
        return loops;
    }

    std::optional<Entry> descriptorNamed(const Part &part) const
    {
        for (Field *loop : loopsOf(part)) {
            const std::size_t i = findDescriptor(*loop, step().nth,
                                                 [&](const Fields &one) { return isDescriptorNamed(one, step().key); });
            if (i < loop->items.size())
                return Entry{loop, i};
        }
        return std::nullopt;
    }

    /** The field that the step names, unless it is a descriptor's name and no field's whole key. */
    Field *fieldOf(const Part &part) const
    {
        if (!part.record)
            return nullptr;
        Field *exact = fieldOfKey(*part.record, step().key);
        return exact || descriptorNamed(part) ? exact : fieldOfWords(*part.record, step().key);
    }

    void missKey(const Place &place)
    {
        std::vector<std::string_view> known;
        bool list = false;
        for (const Part &part : place) {
            list = list || (part.field && part.field->kind == Field::Kind::list && !isDescriptorLoop(*part.field));
            addKeys(part.record, known);
            for (const Field *loop : loopsOf(part))
                for (const Fields &descriptor : loop->items)
                    if (const Field *name = findField(descriptor, "name")) {
                        known.emplace_back(name->text);
                        if (const std::size_t end = name->text.rfind(descriptorEnd); end != std::string::npos)
                            known.push_back(std::string_view(name->text).substr(0, end));
                    }
        }
        if (list)
            miss("of a list an entry is wanted: [INDEX], [KEY=VALUE] or [*]");
        else if (known.empty())
            miss("nothing is inside this field");
        else
            missNear("there is no such field or descriptor", known);
    }

    static void addKeys(Fields *record, std::vector<std::string_view> &known)
    {
        if (!record)
            return;
        if (Fields *inner = isDescriptor(*record) ? fieldsOf(*record) : nullptr)
            addKeys(inner, known);
        for (const Field &field : *record)
            known.emplace_back(field.key);
    }

    /* ---- entries of lists ---- */

    std::vector<Entry> entries(const Place &place)
    {
        std::vector<Entry> all;
        bool descriptors = false;
        bool list = false;
        for (const Part &part : place) {
            if (!part.field || part.field->kind != Field::Kind::list)
                continue;
            list = true;
            descriptors = descriptors || isDescriptorLoop(*part.field);
            for (std::size_t i = 0; i < part.field->items.size(); ++i)
                all.push_back({part.field, i});
        }
        if (!list) {
            miss("this is no list");
            return {};
        }
        return chosen(std::move(all), descriptors);
    }

    std::vector<Entry> chosen(std::vector<Entry> all, bool descriptors)
    {
        switch (step().kind) {
        case PathStep::Kind::every:
            break;
        case PathStep::Kind::equal:
            return having(std::move(all));
        case PathStep::Kind::number:
            if (descriptors)
                return tagged(all);
            [[fallthrough]];
        default:
            if (step().kind != PathStep::Kind::behind && step().number < all.size())
                return {all[static_cast<std::size_t>(step().number)]};
            miss("the list has " + std::to_string(all.size()) + (all.size() == 1 ? " entry" : " entries"));
            return {};
        }
        if (all.empty())
            miss("the list is empty");
        return all;
    }

    std::vector<Entry> tagged(const std::vector<Entry> &all)
    {
        std::size_t nth = step().nth;
        std::string tags;
        for (const Entry &entry : all) {
            const u64 tag = numberOf(entry.fields(), "tag", ~u64{0});
            if (tag == step().number && nth-- == 0)
                return {entry};
            const char digits[] = "0123456789ABCDEF";
            tags += std::string(tags.empty() ? "" : ", ") + "0x" + digits[tag >> 4 & 15] + digits[tag & 15];
        }
        miss("there is no such descriptor" + (tags.empty() ? "" : ", only " + tags));
        return {};
    }

    std::vector<Entry> having(std::vector<Entry> all)
    {
        bool known = false;
        std::vector<std::string_view> keys;
        const auto isOther = [&](const Entry &entry) {
            Field *field = fieldNamed(entry.fields(), step().key);
            known = known || field;
            if (!field)
                addKeys(&entry.fields(), keys);
            return !field || !hasValue(*field);
        };
        all.erase(std::remove_if(all.begin(), all.end(), isOther), all.end());
        if (all.empty() && !known && !keys.empty())
            missNear("no entry has such a field", keys);
        else if (all.empty())
            miss("no entry has this value");
        return all;
    }

    bool hasValue(const Field &field) const
    {
        const std::optional<u64> number = numberOfText(step().value);
        if (field.kind == Field::Kind::number)
            return number ? field.number == *number : field.text == step().value;
        return field.text == step().value;
    }

    /* ---- changing ---- */

    void change(const Place &place)
    {
        if (step().kind == PathStep::Kind::key)
            return changeKey(place);
        if (step().kind == PathStep::Kind::behind)
            return append(place);
        const std::vector<Entry> chosen = entries(place);
        for (auto entry = chosen.rbegin(); entry != chosen.rend(); ++entry) { // from behind: others keep their index
            std::vector<Fields> &items = entry->list->items;
            if (change_.remove)
                items.erase(items.begin() + static_cast<std::ptrdiff_t>(entry->index));
            else
                items[entry->index] = recordOf(change_.json, "an entry of a list");
            ++match_.hits;
        }
    }

    const Fields &recordOf(const Field *json, const char *what) const
    {
        if (!json || json->kind != Field::Kind::record)
            fail(std::string(what) + " is given as a JSON object");
        return json->items[0];
    }

    void append(const Place &place)
    {
        Field *list = !place.empty() && place.back().field ? place.back().field : nullptr;
        if (!list || list->kind != Field::Kind::list)
            return miss("this is no list");
        if (change_.json && change_.json->kind == Field::Kind::list)
            list->items.insert(list->items.end(), change_.json->items.begin(), change_.json->items.end());
        else
            list->items.push_back(recordOf(change_.json, "an entry of a list"));
        ++match_.hits;
    }

    void changeKey(const Place &place)
    {
        bool any = false;
        for (const Part &part : place)
            any = changeField(part) || changeDescriptor(part) || any;
        // A field that is not there yet: whoever writes the table knows whether it may be.
        for (const Part &part : place)
            if (!any && part.record && !change_.remove)
                any = insert(*part.record);
        if (any)
            ++match_.hits;
        else
            missKey(place);
    }

    bool changeField(const Part &part) const
    {
        Field *field = fieldOf(part);
        if (!field)
            return changeBytes(part);
        if (field->computed)
            fail("is computed");
        Fields &record = *part.record;
        Fields *inner = isDescriptor(record) ? fieldsOf(record) : nullptr;
        const bool isInner = inner && field >= inner->data() && field < inner->data() + inner->size();
        Fields &owner = isInner ? *inner : record;
        if (change_.remove)
            owner.erase(owner.begin() + (field - owner.data()));
        else
            assign(*field);
        return true;
    }

    /** KEY_bytes is a text KEY in bytes: in whatever character table, with control codes. */
    bool changeBytes(const Part &part) const
    {
        constexpr std::string_view end = "_bytes";
        const std::string &key = step().key;
        const bool named =
            part.record && key.size() > end.size() && std::string_view(key).substr(key.size() - end.size()) == end;
        Field *text = named ? fieldOfKey(*part.record, key.substr(0, key.size() - end.size())) : nullptr;
        if (!text || text->kind != Field::Kind::text || change_.remove)
            return false;
        if (!fromHex(change_.text))
            fail("is not pairs of hexadecimal digits");
        text->kind = Field::Kind::hex;
        text->text = change_.text;
        return true;
    }

    bool changeDescriptor(const Part &part) const
    {
        const std::optional<Entry> entry = descriptorNamed(part);
        if (!entry)
            return false;
        std::vector<Fields> &items = entry->list->items;
        if (change_.remove)
            items.erase(items.begin() + static_cast<std::ptrdiff_t>(entry->index));
        else
            items[entry->index] = recordOf(change_.json, "a descriptor");
        return true;
    }

    bool insert(Fields &record)
    {
        Fields *owner = &record;
        if (isDescriptor(record) && step().key == "data")
            record.erase(
                std::remove_if(record.begin(), record.end(), [](const Field &one) { return one.key != "tag"; }),
                record.end());
        else if (isDescriptor(record) && !(owner = fieldsOf(record)))
            return false;
        Field field;
        field.key = step().key;
        field.kind = Field::Kind::other;
        assign(field);
        owner->push_back(std::move(field));
        return true;
    }

    /** What the field is tells how the value is meant. */
    void assign(Field &field) const
    {
        const bool loop = field.kind == Field::Kind::list || field.kind == Field::Kind::record;
        const bool unknown = field.kind == Field::Kind::other;
        const Field *json = change_.json;
        const bool text = json && json->kind == Field::Kind::text;
        if (json && (loop || unknown) && (json->kind == Field::Kind::list || json->kind == Field::Kind::record)) {
            field.kind = json->kind;
            field.items = json->items;
            return;
        }
        if (loop)
            fail("a list is given as a JSON array, a record as an object");
        if (json && !text)
            fail("is a single value, no list and no record; a text that begins with a bracket stands in quotes");
        const std::optional<u64> number = text ? std::nullopt : numberOfText(change_.text);
        if (number && (unknown || field.kind == Field::Kind::number)) {
            field.kind = Field::Kind::number;
            field.number = *number;
            field.text = unknown ? change_.text : ""; // of bytes the digits count
            field.words = unknown;
            return;
        }
        field.kind = Field::Kind::text;
        field.text = text ? json->text : change_.text;
    }

    const FieldPath &path_;
    const FieldChange &change_;
    PathMatch &match_;
    std::size_t at_ = 0;
};

} // namespace

void changeFields(const std::vector<Fields *> &sections, const FieldPath &path, const FieldChange &change,
                  PathMatch &match)
{
    PathWalker(path, change, match).walk(sections);
}

} // namespace psi::describe
