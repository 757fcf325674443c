#include "describe/layoutWriter.h"

#include "describe/descriptors.h"
#include "describe/layoutReader.h"
#include "describe/spelling.h"
#include "describe/tagSpaces.h"

#include <algorithm>

namespace psi::describe {

namespace {

u64 highestOf(unsigned bits)
{
    return bits >= 64 ? ~u64{0} : (u64{1} << bits) - 1;
}

[[noreturn]] void fail(const FieldPlace &place, const std::string &message)
{
    throw FieldError(place.pointer(), message);
}

std::string quote(std::string_view text)
{
    return "\"" + std::string(text) + "\"";
}

} // namespace

std::string FieldPlace::pointer() const
{
    if (!outer)
        return std::string(step);
    return outer->pointer() + "/" + (step.empty() ? std::to_string(index) : std::string(step));
}

/* ---- what there was ------------------------------------------------------------------------------------------------
 */

namespace {

/** Whether a field or a descriptor satisfies its predicate, at any depth. */
template <typename OfField, typename OfDescriptor>
bool anyOf(const Fields &fields, const OfField &ofField, const OfDescriptor &ofDescriptor)
{
    return std::any_of(fields.begin(), fields.end(), [&](const Field &field) {
        const auto inside = [&](const Fields &within) { return anyOf(within, ofField, ofDescriptor); };
        return ofField(field) || std::any_of(field.items.begin(), field.items.end(), inside) ||
               std::any_of(field.descriptors.begin(), field.descriptors.end(), [&](const ReadDescriptor &one) {
                   return ofDescriptor(one) || inside(one.description.fields);
               });
    });
}

} // namespace

bool WriteReport::was(std::string_view key, std::string_view value) const
{
    const auto had = [&](const Field &field) {
        return field.key == key && (value == field.text || value == field.bytes ||
                                    (field.kind == Field::Kind::number && value == std::to_string(field.number)));
    };
    return old &&
           anyOf(*old, had, [&](const ReadDescriptor &one) { return key == "name" && value == one.description.name; });
}

bool WriteReport::wasDescriptor(u8 tag, ByteView payload) const
{
    const auto had = [&](const ReadDescriptor &one) {
        return one.tag == tag && std::equal(one.payload.begin(), one.payload.end(), payload.begin(), payload.end());
    };
    return old && anyOf(
                      *old, [](const Field &) { return false; }, had);
}

/* ---- bits -----------------------------------------------------------------------------------------------------------
 */

void BitWriter::put(u64 value, unsigned count)
{
    while (count > 0) {
        if (bits_ % 8 == 0)
            bytes_ += '\0';
        const unsigned room = 8 - static_cast<unsigned>(bits_ % 8);
        const unsigned taken = std::min(count, room);
        const u64 part = value >> (count - taken) & highestOf(taken);
        bytes_.back() = static_cast<char>(static_cast<u8>(bytes_.back()) | part << (room - taken));
        bits_ += taken;
        count -= taken;
    }
}

void BitWriter::putBytes(ByteView bytes)
{
    if (bits_ % 8 != 0) {
        for (const u8 byte : bytes)
            put(byte, 8);
        return;
    }
    bytes_.append(bytes.begin(), bytes.end());
    bits_ += bytes.size() * 8;
}

void BitWriter::replace(std::size_t bit, u64 value, unsigned count)
{
    for (unsigned i = 0; i < count; ++i, ++bit) {
        const u8 mask = static_cast<u8>(0x80U >> bit % 8);
        const bool set = (value >> (count - 1 - i) & 1) != 0;
        char &byte = bytes_[bit / 8];
        byte = static_cast<char>(set ? static_cast<u8>(byte) | mask : static_cast<u8>(byte) & ~mask);
    }
}

/* ---- records --------------------------------------------------------------------------------------------------------
 */

const Field *OpenRecord::find(std::string_view key)
{
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        const std::size_t place = (next_ + i) % fields_.size();
        if (fields_[place].key != key)
            continue;
        used_[place] = true;
        next_ = place + 1;
        return &fields_[place];
    }
    return nullptr;
}

void OpenRecord::checkAllUsed(const Layout &layout) const
{
    for (std::size_t i = 0; i < fields_.size(); ++i) {
        if (used_[i])
            continue;
        const std::string_view key = fields_[i].key;
        const std::vector<std::string_view> known = keysOf(layout);
        const FieldPlace place{&place_, key};
        if (std::find(known.begin(), known.end(), key) != known.end())
            fail(place, "has no place here: what stands in front of it says so");
        const std::string near = nearest(key, known);
        fail(place, "no such field" + (near.empty() ? "" : "; the nearest is " + quote(near)));
    }
}

std::vector<std::string_view> keysOf(const Layout &layout)
{
    std::vector<std::string_view> keys;
    for (std::size_t i = 0; i < layout.count;) {
        const Item &item = layout.items[i];
        const bool named = item.key && item.shape != Shape::note;
        if (named)
            keys.emplace_back(item.key);
        if (item.shape == Shape::run && item.lengthBits && item.of)
            keys.emplace_back(item.of);
        const bool inSameRecord = item.shape != Shape::list;
        i += inSameRecord ? 1U : 1U + item.inside;
    }
    return keys;
}

namespace {

char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSameLetter(char a, char b)
{
    return lower(a) == lower(b);
}

} // namespace

std::size_t editDistance(std::string_view a, std::string_view b)
{
    std::vector<std::size_t> twoAbove(b.size() + 1);
    std::vector<std::size_t> above(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        twoAbove.swap(above);
        above.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] =
                std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (isSameLetter(a[i - 1], b[j - 1]) ? 0 : 1)});
            if (i > 1 && j > 1 && isSameLetter(a[i - 1], b[j - 2]) && isSameLetter(a[i - 2], b[j - 1]))
                row[j] = std::min(row[j], twoAbove[j - 2] + 1);
        }
    }
    return row[b.size()];
}

std::string nearest(std::string_view word, const std::vector<std::string_view> &words)
{
    constexpr std::size_t longest = 80;
    std::string best;
    std::size_t least = word.size() / 2 + 1;
    for (const std::string_view candidate : words) {
        if (word.size() > longest || candidate.size() > longest)
            continue;
        const std::size_t distance = editDistance(word, candidate);
        if (distance < least) {
            least = distance;
            best = candidate;
        }
    }
    return best;
}

/* ---- numbers and their names ----------------------------------------------------------------------------------------
 */

namespace {

std::vector<std::string> wordsOf(std::string_view text)
{
    std::vector<std::string> words(1);
    for (const char letter : text) {
        if (letter != ' ' && letter != '/' && letter != ',')
            words.back() += lower(letter);
        else if (!words.back().empty())
            words.emplace_back();
    }
    if (words.back().empty())
        words.pop_back();
    return words;
}

/** How many words a name has besides those asked for; nothing when it lacks one of them. */
std::optional<std::size_t> surplusWords(const std::vector<std::string> &asked, const std::vector<std::string> &name)
{
    for (const std::string &word : asked)
        if (std::find(name.begin(), name.end(), word) == name.end())
            return std::nullopt;
    return name.size() - std::min(name.size(), asked.size());
}

} // namespace

u64 valueOfName(const Meanings &meanings, const std::string &name, const FieldPlace &place, const std::string &neither)
{
    const std::vector<std::string> asked = wordsOf(name);
    const NamedRange *best = nullptr;
    std::size_t least = ~std::size_t{0};
    bool several = false;
    std::vector<std::string_view> known;
    for (const NamedRange *range = meanings.ranges; range != meanings.ranges + meanings.count; ++range) {
        if (range->first != range->last)
            continue;
        known.emplace_back(range->name);
        const std::optional<std::size_t> surplus = surplusWords(asked, wordsOf(range->name));
        if (asked.empty() || !surplus || *surplus > least)
            continue;
        several = *surplus == least;
        least = *surplus;
        best = range;
    }
    if (best && !several)
        return best->first;
    const std::string near = nearest(name, known);
    fail(place, quote(name) + (several ? " is the name of several values" : " is no name of a value") +
                    (near.empty() ? several ? "" : neither : "; the nearest is " + quote(near)));
}

u64 numberFrom(const Field &field, const Item &item, const FieldPlace &place)
{
    const u64 most = highestOf(item.bits);
    const FieldPlace own{&place, field.key};
    const std::string wanted = "not a whole number of 0 to " + std::to_string(most);
    if (field.kind == Field::Kind::text && item.meanings.count > 0)
        return valueOfName(item.meanings, field.text, own, " and " + wanted);
    if (field.kind == Field::Kind::other)
        fail(own, field.text + " is " + wanted);
    if (field.kind != Field::Kind::number)
        fail(own, wanted);
    if (field.number > most)
        fail(own, std::to_string(field.number) + " is " + wanted);
    return field.number;
}

/* ---- items ----------------------------------------------------------------------------------------------------------
 */

void LayoutWriter::write(const Layout &layout, OpenRecord &record)
{
    items(layout, record);
}

void LayoutWriter::finish(const Layout &layout, OpenRecord &record)
{
    static constexpr Row<1> extra = describe::run("extra", hexDigits);
    cut_ = false;
    items(extra, record);
    record.checkAllUsed(layout);
}

void LayoutWriter::items(const Layout &layout, OpenRecord &record)
{
    for (std::size_t i = 0; i < layout.count && !cut_; i += 1U + layout.items[i].inside)
        item(layout.items[i], record);
}

void LayoutWriter::item(const Item &item, OpenRecord &record)
{
    switch (item.shape) {
    case Shape::number:
        return number(item, record);
    case Shape::length:
        record.find(item.key);
        length_ = {&item, out_.bits()};
        return out_.put(0, item.bits);
    case Shape::count:
        return count(item, record);
    case Shape::lengthOf:
        return lengthOf(item, record);
    case Shape::announces:
        return announces(item, record);
    case Shape::ahead:
        return ahead(item, record);
    case Shape::reserved:
        return reserved(item, record);
    case Shape::run:
        return run(item, record);
    case Shape::sized:
        return sized(item, record);
    case Shape::list:
        return list(item, record);
    case Shape::when:
        return known_.holds(item) ? items(insideOf(item), record) : void();
    case Shape::rest:
        return rest(item, record);
    case Shape::attempt:
        return record.has(item.key) ? run(item, record) : items(insideOf(item), record);
    case Shape::descriptors:
        return descriptors(item, record);
    case Shape::note:
        return;
    }
}

void LayoutWriter::number(const Item &item, OpenRecord &record)
{
    const Field *field = record.find(item.key);
    if (!field && !item.defaulted)
        fail({&record.place(), item.key}, "is missing");
    const u64 value = field ? numberFrom(*field, item, record.place()) : item.low;
    if (field && field->kind == Field::Kind::number && !field->text.empty())
        checkName(item, *field, record.place());
    known_.add(item.key, value);
    out_.put(value, item.bits);
}

/** A name beside a number is for reading: one that says something else, and is not what the old number meant, is told.
 */
void LayoutWriter::checkName(const Item &item, const Field &field, const FieldPlace &record) const
{
    if (item.say || item.meanings.count == 0 || field.text == item.meanings.of(field.number) ||
        report_.was(field.key, field.text))
        return;
    const std::string key = std::string(field.key) + "_name";
    report_.warnings.push_back(FieldPlace{&record, key}.pointer() + ": " + quote(field.text) + " is not what " +
                               std::to_string(field.number) + " means: the number is taken");
}

/** A count beside its list is for reading: one that says something else, and is not what the old one was, is told. */
void LayoutWriter::checkCount(const Item &item, const Field &given, u64 value, const FieldPlace &record) const
{
    const std::string number = std::to_string(given.number);
    if (given.kind != Field::Kind::number || given.number == value || report_.was(given.key, number))
        return;
    report_.warnings.push_back(FieldPlace{&record, given.key}.pointer() + ": " + number + " is not how many " +
                               quote(item.of) + " has" + (item.high ? " but one" : "") + ", which is " +
                               std::to_string(value) + ": the list is taken");
}

void LayoutWriter::count(const Item &item, OpenRecord &record)
{
    const Field *given = item.key ? record.find(item.key) : nullptr;
    const Field *list = findField(record.fields(), item.of);
    u64 entries = list ? list->items.size() : 0;
    if (item.mayBeCut && given && record.has("extra") && numberFrom(*given, item, record.place()) > entries)
        entries = given->number;
    if (entries < item.high)
        fail({&record.place(), item.of}, "has no entries, and has at least one");
    if (entries - item.high > highestOf(item.bits))
        fail({&record.place(), item.of}, std::to_string(entries) + " entries are more than the " +
                                             std::to_string(highestOf(item.bits) + item.high) + " that it can have");
    if (given)
        checkCount(item, *given, entries - item.high, record.place());
    known_.add(item.of, entries);
    out_.put(entries - item.high, item.bits);
}

void LayoutWriter::lengthOf(const Item &item, OpenRecord &record)
{
    if (item.key)
        record.find(item.key);
    awaited_.push_back({&item, out_.bits()});
    out_.put(0, item.bits);
}

void LayoutWriter::announces(const Item &item, const OpenRecord &record)
{
    const bool there = record.has(item.of);
    known_.add(item.of, there);
    out_.put(there ? item.low : 1 - item.low, 1);
}

void LayoutWriter::ahead(const Item &item, const OpenRecord &record)
{
    if (const Field *field = findField(record.fields(), item.key))
        known_.add(item.key, numberFrom(*field, item, record.place()));
}

void LayoutWriter::reserved(const Item &item, OpenRecord &record)
{
    const Field *field = record.find(reservedKey(record.reservedRuns++));
    out_.put(field ? numberFrom(*field, item, record.place()) : item.low, item.bits);
}

/** The bytes of a field: those it kept, unless its text was changed since. */
std::string LayoutWriter::spelled(const Item &item, const Field *field, OpenRecord &record) const
{
    const FieldPlace own{&record.place(), item.key};
    if (!field && item.always)
        fail(own, "is missing");
    if (!field)
        return {};
    const bool digits = field->kind == Field::Kind::number && item.spelling->kind == Field::Kind::hex;
    const bool number = field->kind == Field::Kind::number && !digits;
    if (field->kind != Field::Kind::text && field->kind != Field::Kind::hex && !number && !(digits && field->words))
        fail(own, "is not " + std::string(item.spelling->wanted));
    if (number && item.spelling->words)
        fail(own, "is a number, not a text; " + quote(std::to_string(field->number)) + " is one");
    if (field->kind == Field::Kind::hex && item.spelling->kind != Field::Kind::hex) // not the text: its bytes
        return fromHex(field->text).value_or("");
    const SpellingPlace place{record.fields(), context_, (item.bits + 7U) / 8, ByteView(field->bytes)};
    const std::string text = number ? std::to_string(field->number) : field->text;
    if (!field->bytes.empty() &&
        (item.spelling->read(ByteView(field->bytes), place) == text || bytesWereEdited(*field, own)))
        return field->bytes;
    std::optional<std::string> bytes = item.spelling->write(text, place);
    if (!bytes)
        fail(own, quote(text) + " is not " + item.spelling->wanted);
    return std::move(*bytes);
}

/** Whether the bytes of a text that contradicts them are what was edited. */
bool LayoutWriter::bytesWereEdited(const Field &field, const FieldPlace &own) const
{
    const std::string beside = quote(std::string(field.key) + "_bytes");
    if (!report_.old) {
        report_.warnings.push_back(own.pointer() + ": contradicts " + beside + ": the text is taken");
        return false;
    }
    if (report_.was(field.key, field.bytes))
        return false;
    if (!report_.was(field.key, field.text))
        fail(own, "and " + beside + " contradict each other, and both were edited: leave one out");
    return true;
}

void LayoutWriter::run(const Item &item, OpenRecord &record)
{
    if (item.of)
        record.find(item.of);
    const std::string bytes = spelled(item, record.find(item.key), record);
    const FieldPlace own{&record.place(), item.key};
    if (item.lengthBits) {
        if (bytes.size() > highestOf(item.lengthBits))
            fail(own, std::to_string(bytes.size()) + " bytes are more than the " +
                          std::to_string(highestOf(item.lengthBits)) + " that it can have");
        out_.put(bytes.size(), item.lengthBits);
    }
    if (item.counted && item.of)
        checkSize(item, bytes.size(), own);
    else if (item.counted)
        measure(item.key, bytes.size(), record.place());
    if (!item.bits)
        return out_.putBytes(ByteView(bytes));
    if (bytes.size() != (item.bits + 7U) / 8)
        fail(own, "has " + std::to_string(bytes.size()) + " bytes in place of " + std::to_string((item.bits + 7U) / 8));
    const unsigned partial = item.bits % 8;
    if (partial && static_cast<u8>(bytes[0]) > highestOf(partial))
        fail(own, "has more than its " + std::to_string(item.bits) + " bits");
    for (std::size_t i = 0; i < bytes.size(); ++i)
        out_.put(static_cast<u8>(bytes[i]), i == 0 && partial ? partial : 8);
}

/** Of a run whose size a number in front says, which may be that of others as well. */
void LayoutWriter::checkSize(const Item &item, u64 bytes, const FieldPlace &own) const
{
    const u64 wanted = known_.find(item.of).value_or(0) + item.high;
    if (bytes != wanted)
        fail(own, "has " + std::to_string(bytes) + " bytes in place of the " + std::to_string(wanted) + " that " +
                      quote(item.of) + " says");
}

void LayoutWriter::patch(std::size_t bit, unsigned width, u64 value, const char *key, const FieldPlace &place)
{
    if (value > highestOf(width))
        fail({&place, key}, std::to_string(value) + " bytes are more than the " + std::to_string(highestOf(width)) +
                                " that it can say");
    out_.replace(bit, value, width);
}

/** Fill in the lengths that wait for a run or part. */
void LayoutWriter::measure(const char *name, u64 bytes, const FieldPlace &place)
{
    for (const Awaited &length : awaited_)
        if (length.item->of == std::string_view(name))
            patch(length.bit, length.item->bits, bytes, name, place);
}

void LayoutWriter::sized(const Item &item, OpenRecord &record)
{
    if (item.key)
        record.find(item.key);
    if (item.counted) {
        const std::size_t first = out_.bits();
        items(insideOf(item), record);
        return measure(item.of, (out_.bits() - first) / 8, record.place());
    }
    const std::size_t lengthBit = out_.bits();
    out_.put(0, item.bits);
    const std::size_t start = out_.bits();
    items(insideOf(item), record);
    const u64 bytes = (out_.bits() - start) / 8 - item.high;
    if (item.key)
        known_.add(item.key, bytes);
    patch(lengthBit, item.bits, bytes, item.key ? item.key : insideOf(item).items[0].key, record.place());
}

void LayoutWriter::list(const Item &item, OpenRecord &record)
{
    const Field *field = record.find(item.key);
    cut_ = item.mayBeCut && known_.find(item.key).value_or(0) > (field ? field->items.size() : 0);
    if (!field)
        return;
    const FieldPlace own{&record.place(), item.key};
    if (field->kind != Field::Kind::list)
        fail(own, "is not a list of objects");
    const DescriptorContext context = context_;
    for (std::size_t i = 0; i < field->items.size(); ++i) {
        const FieldPlace place{&own, {}, i};
        const std::size_t outer = known_.size();
        const std::size_t awaited = awaited_.size();
        OpenRecord entry(field->items[i], place);
        const bool cut = std::exchange(cut_, false);
        items(insideOf(item), entry);
        cut_ = cut;
        entry.checkAllUsed(insideOf(item));
        known_.cut(outer);
        awaited_.resize(awaited);
        context_ = context;
    }
}

void LayoutWriter::rest(const Item &item, OpenRecord &record)
{
    for (const std::string_view key : keysOf(insideOf(item)))
        if (record.has(key))
            return items(insideOf(item), record);
}

void LayoutWriter::putLength(u64 value, const FieldPlace &place)
{
    if (length_.item)
        patch(length_.bit, length_.item->bits, value, length_.item->key, place);
}

/* ---- descriptors ----------------------------------------------------------------------------------------------------
 */

namespace {

/** A field of a descriptor's fields, or nothing. */
std::optional<u64> fieldNumber(const Fields &descriptor, std::string_view key)
{
    const Field *fields = findField(descriptor, "fields");
    const Field *field = fields && fields->kind == Field::Kind::record ? findField(fields->items[0], key) : nullptr;
    if (!field || field->kind != Field::Kind::number)
        return std::nullopt;
    return field->number;
}

/** The four bytes of a descriptor that says in which sense others are meant. */
u32 identifierOf(const Fields &descriptor, std::string_view key)
{
    if (const std::optional<u64> number = fieldNumber(descriptor, key))
        return static_cast<u32>(*number);
    const Field *data = findField(descriptor, "data");
    const std::string bytes = data ? fromHex(data->text).value_or("") : "";
    ByteReader reader{ByteView(bytes)};
    const u32 value = reader.u32Field();
    return reader.ok() ? value : 0;
}

} // namespace

std::vector<Fields> documentForm(const std::vector<ReadDescriptor> &descriptors)
{
    std::vector<Fields> list;
    for (const ReadDescriptor &read : descriptors) {
        Field tag{"tag"};
        tag.number = read.tag;
        list.push_back({tag, {"name", Field::Kind::text}});
        list.back().back().text = read.description.name;
        if (read.description.fields.empty()) {
            list.back().push_back({"data", Field::Kind::hex});
            list.back().back().text = toHex(read.payload);
        } else {
            list.back().push_back({"fields", Field::Kind::record});
            list.back().back().items.push_back(read.description.fields);
        }
    }
    return list;
}

namespace {

class DescriptorWriter {
public:
    DescriptorWriter(const Fields &descriptor, TagSpace space, const DescriptorContext &context, WriteReport &report,
                     const FieldPlace &place)
        : descriptor_(descriptor), space_(space), context_(context), report_(report), place_(place)
    {
        checkKeys();
    }

    std::string write()
    {
        const NamedTag named = tag();
        checkName(named);
        const Field *fields = findField(descriptor_, "fields");
        const std::optional<std::string> data = dataBytes();
        if (!fields && !data)
            fail(place_, "a descriptor has \"fields\" or \"data\"");
        std::string payload = data.value_or("");
        if (fields) {
            const std::string written = fromFields(named, *fields);
            payload = data && *data != written ? chosen(named.tag, written, *data) : written;
        }
        constexpr std::size_t most = 255;
        if (payload.size() > most)
            fail(place_, std::to_string(payload.size()) + " bytes are more than the 255 of a descriptor");
        return std::string{static_cast<char>(named.tag), static_cast<char>(payload.size())} + payload;
    }

private:
    static constexpr const char *extensionKey = "descriptor_tag_extension";

    void checkKeys() const
    {
        static const std::vector<std::string_view> keys = {"tag", "name", "data", "fields", "note"};
        for (const Field &field : descriptor_)
            if (std::find(keys.begin(), keys.end(), field.key) == keys.end())
                fail({&place_, field.key}, "no such member of a descriptor; its fields stand in \"fields\"");
    }

    NamedTag tag() const
    {
        static constexpr Row<1> item = number(8, "tag");
        std::optional<u8> byte;
        if (const Field *fields = findField(descriptor_, "fields"); fields && fields->kind == Field::Kind::record)
            if (const Field *extension = findField(fields->items[0], extensionKey))
                byte = static_cast<u8>(extension->number);
        if (const Field *field = findField(descriptor_, "tag"))
            return {static_cast<u8>(numberFrom(*field, item.items[0], place_)), byte};
        const Field *name = findField(descriptor_, "name");
        if (!name)
            fail({&place_, "tag"}, "is missing");
        const std::optional<NamedTag> named = tagOf(space_, name->text, context_);
        if (!named)
            failName(name->text);
        return {named->tag, byte ? byte : named->extension};
    }

    /** The name of another descriptor beside the tag; that of the old tag is only for reading. */
    void checkName(const NamedTag &named) const
    {
        const Field *name = findField(descriptor_, "name");
        if (!name || !findField(descriptor_, "tag") || report_.was("name", name->text))
            return;
        const std::string_view own = layoutOf(space_, named.tag, named.extension.value_or(0), context_).plainName;
        if (name->text.compare(0, own.size(), own) == 0) // behind that of an extension stands which one it is
            return;
        const std::optional<NamedTag> other = tagOf(space_, name->text, context_);
        if (other && other->tag != named.tag)
            report_.warnings.push_back(FieldPlace{&place_, "name"}.pointer() + ": " + quote(name->text) +
                                       " has the tag " + std::to_string(other->tag) + ": \"tag\" is taken");
    }

    [[noreturn]] void failName(const std::string &name) const
    {
        const std::vector<std::string> names = namesOf(space_, context_);
        const std::string near = nearest(name, {names.begin(), names.end()});
        fail({&place_, "name"}, quote(name) + " is no descriptor that is known here" +
                                    (near.empty() ? "" : "; the nearest is " + quote(near)));
    }

    /** The name of an extended descriptor says which one it is as well as its tag extension does. */
    static Row<1> startOf(const DescriptorLayout &layout, u8 extension)
    {
        return usually(extension, row(layout.start.items[0]));
    }

    std::optional<std::string> dataBytes() const
    {
        const Field *data = findField(descriptor_, "data");
        if (!data)
            return std::nullopt;
        const bool text = data->kind == Field::Kind::text || data->kind == Field::Kind::hex || data->words;
        std::optional<std::string> bytes = text ? fromHex(data->text) : std::nullopt;
        if (!bytes)
            fail({&place_, "data"}, "is not pairs of hexadecimal digits");
        return bytes;
    }

    std::string fromFields(const NamedTag &named, const Field &fields)
    {
        const FieldPlace own{&place_, "fields"};
        if (fields.kind != Field::Kind::record)
            fail(own, "is not an object");
        const u8 extension = named.extension.value_or(0);
        const DescriptorLayout layout = layoutOf(space_, named.tag, extension, context_);
        if (!layout.known())
            fail(own, "the layout of this descriptor is not known: give its \"data\"");
        LayoutWriter writer(context_, report_);
        OpenRecord record(fields.items[0], own);
        if (named.extension && layout.start.count > 0)
            writer.write(startOf(layout, extension), record);
        else
            writer.write(layout.start, record);
        writer.write(layout.layout, record);
        writer.finish(layout.layout, record);
        return std::move(writer.out().text());
    }

    /** The edited one of two payloads that contradict each other. */
    std::string chosen(u8 tag, const std::string &fromFields, const std::string &data)
    {
        const auto isOld = [&](const std::string &payload) { return report_.wasDescriptor(tag, ByteView(payload)); };
        if (isOld(fromFields) && !isOld(data))
            return data;
        if (!report_.old)
            report_.warnings.push_back(place_.pointer() + ": \"fields\" and \"data\" contradict each other: the fields "
                                                          "are taken");
        else if (!isOld(data))
            fail(place_, "\"fields\" and \"data\" contradict each other: leave one out");
        return fromFields;
    }

    const Fields &descriptor_;
    TagSpace space_;
    const DescriptorContext &context_;
    WriteReport &report_;
    const FieldPlace &place_;
};

} // namespace

std::string writeDescriptor(const Fields &descriptor, TagSpace space, DescriptorContext &context, WriteReport &report,
                            const FieldPlace &place)
{
    std::string bytes = DescriptorWriter(descriptor, space, context, report, place).write();
    constexpr std::size_t header = 2;
    ByteReader payload(ByteView(bytes).part(header));
    if (space == TagSpace::si && static_cast<u8>(bytes[0]) == privateDataSpecifierTag && payload.remaining() >= 4)
        context.privateDataSpecifier = payload.u32Field();
    return bytes;
}

void LayoutWriter::descriptors(const Item &item, OpenRecord &record)
{
    const Field *field = record.find(item.key);
    if (!field)
        return;
    const FieldPlace own{&record.place(), item.key};
    std::vector<Fields> made;
    if (field->kind == Field::Kind::descriptors)
        made = documentForm(field->descriptors);
    else if (field->kind != Field::Kind::list)
        fail(own, "is not a list of descriptors");
    const std::vector<Fields> &list = field->kind == Field::Kind::descriptors ? made : field->items;
    if (item.program) {
        u32 format = 0;
        for (const Fields &descriptor : list)
            if (numberOf(descriptor, "tag", 0) == registrationTag) {
                format = identifierOf(descriptor, "format_identifier");
                break;
            }
        context_ = registered(context_, format);
    }
    DescriptorContext context = streamContext(context_, static_cast<u8>(known_.find("stream_type").value_or(0)));
    for (std::size_t i = 0; i < list.size(); ++i) {
        const FieldPlace place{&own, {}, i};
        const std::string bytes = writeDescriptor(list[i], item.space, context, report_, place);
        out_.putBytes(ByteView(bytes));
    }
}

} // namespace psi::describe
