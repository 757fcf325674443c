#include "describe/layoutReader.h"

#include "describe/descriptors.h"
#include "describe/spelling.h"
#include "describe/tagSpaces.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace psi::describe {

const char *Meanings::of(u64 value) const
{
    for (const NamedRange *range = ranges; range != ranges + count; ++range)
        if (value >= range->first && value <= range->last)
            return range->name;
    return otherwise;
}

std::string_view reservedKey(unsigned n)
{
    static const std::vector<std::string> keys = [] {
        std::vector<std::string> made = {"reserved"};
        while (made.size() < 64)
            made.push_back("reserved_" + std::to_string(made.size() + 1));
        return made;
    }();
    return keys[std::min<std::size_t>(n, keys.size() - 1)];
}

/* ---- bits -----------------------------------------------------------------------------------------------------------
 */

u64 LayoutReader::take(u32 bits)
{
    if (bits > left()) {
        ok_ = false;
        return 0;
    }
    u64 value = 0;
    while (bits > 0) {
        const u32 inByte = 8 - static_cast<u32>(at_ % 8);
        const u32 taken = std::min(bits, inByte);
        const u32 byte = bytes_[at_ / 8];
        value = value << taken | (byte >> (inByte - taken) & ((1U << taken) - 1));
        at_ += taken;
        bits -= taken;
    }
    return value;
}

/** Whole bytes where they stand, or bits with zeros in front of them. */
ByteView LayoutReader::takeRun(std::size_t bits, std::string &unaligned)
{
    if (bits > left()) {
        ok_ = false;
        return {};
    }
    if (at_ % 8 == 0 && bits % 8 == 0) {
        const ByteView run = bytes_.part(at_ / 8, bits / 8);
        at_ += bits;
        return run;
    }
    for (std::size_t done = 0; done < bits;) {
        const u32 next = static_cast<u32>((bits - done) % 8 ? (bits - done) % 8 : 8);
        unaligned += static_cast<char>(take(next));
        done += next;
    }
    return ByteView(unaligned);
}

void LayoutReader::fail(const char *key)
{
    ok_ = false;
    place_ = key ? key : "";
}

/* ---- items ----------------------------------------------------------------------------------------------------------
 */

bool LayoutReader::read(const Layout &layout, Fields &record)
{
    Open open{record};
    items(layout, open);
    finish(open);
    return ok_;
}

void LayoutReader::takeExtra(Fields &record)
{
    static constexpr Row<1> extra = describe::run("extra", hexDigits);
    static constexpr Row<1> nothing = shown(extra); // tells a writer that a list was cut
    if (ok_ && (cut_ || left() > 0))
        read(std::exchange(cut_, false) ? nothing : extra, record);
}

void LayoutReader::items(const Layout &layout, Open &record)
{
    for (std::size_t i = 0; i < layout.count && ok_ && !cut_; i += 1U + layout.items[i].inside)
        item(layout.items[i], record);
}

void LayoutReader::item(const Item &item, Open &record)
{
    switch (item.shape) {
    case Shape::number:
    case Shape::length:
        return number(item, record);
    case Shape::count:
    case Shape::lengthOf:
        return count(item, record);
    case Shape::announces:
        return announces(item);
    case Shape::ahead:
        return ahead(item);
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
        return attempt(item, record);
    case Shape::descriptors:
        return descriptors(item, record);
    case Shape::note:
        notes_.emplace_back(item.key);
        return;
    }
}

Field &LayoutReader::add(Open &record, const Item &item, const char *key, Field::Kind kind, u32 bits) const
{
    if (item.heads)
        record.head = record.fields.size();
    record.fields.emplace_back();
    Field &field = record.fields.back();
    field.key = key;
    field.kind = kind;
    field.hexDigits = item.digits;
    field.bits = bits;
    field.bit = firstBit_ + static_cast<u32>(at_ - bits);
    return field;
}

void LayoutReader::addComputed(Open &record, const Item &item, const char *key, u32 bits, u64 value) const
{
    Field &field = add(record, item, key, Field::Kind::number, bits);
    field.number = value;
    field.computed = true;
}

void LayoutReader::number(const Item &item, Open &record)
{
    const u64 value = take(item.bits);
    if (!ok_)
        return fail(item.key);
    Field &field = add(record, item, item.key, Field::Kind::number, item.bits);
    field.number = value;
    field.computed = item.shape == Shape::length;
    field.text = item.meanings.of(value);
    known_.add(item.key, value);
    if (item.say)
        record.toSay.emplace_back(record.fields.size() - 1, &item);
}

void LayoutReader::count(const Item &item, Open &record)
{
    const u64 value = take(item.bits);
    if (!ok_)
        return fail(item.key);
    if (item.key)
        addComputed(record, item, item.key, item.bits, value);
    known_.add(item.of, value + item.high);
}

void LayoutReader::announces(const Item &item)
{
    const bool there = take(1) == item.low;
    if (!ok_)
        return fail(item.of);
    known_.add(item.of, there);
}

void LayoutReader::ahead(const Item &item)
{
    const std::size_t here = at_;
    at_ = std::min(at_ + static_cast<std::size_t>(item.low), end_);
    known_.add(item.key, take(item.bits));
    at_ = here;
    if (!ok_)
        fail(item.key);
}

void LayoutReader::reserved(const Item &item, Open &record)
{
    const std::string_view key = reservedKey(record.reservedRuns++);
    const u64 value = take(item.bits);
    if (!ok_)
        return fail("reserved");
    if (value == item.low)
        return;
    Field &field = add(record, item, key.data(), Field::Kind::number, item.bits);
    field.number = value;
    field.quiet = true;
}

void LayoutReader::run(const Item &item, Open &record)
{
    std::size_t bits = item.bits ? item.bits : left();
    if (item.counted)
        bits = static_cast<std::size_t>(known_.find(item.of ? item.of : item.key).value_or(0) + item.high) * 8;
    if (item.lengthBits) {
        bits = static_cast<std::size_t>(take(item.lengthBits)) * 8;
        if (ok_ && item.of)
            addComputed(record, item, item.of, item.lengthBits, bits / 8);
    }
    std::string unaligned;
    const ByteView bytes = takeRun(bits, unaligned);
    if (!ok_)
        return fail(item.key);
    const bool hex = item.spelling->kind == Field::Kind::hex;
    const bool size = item.spelling->kind == Field::Kind::number;
    if (hex && bytes.empty() && !item.always)
        return;
    const SpellingPlace place{record.fields, context_, (item.bits + 7U) / 8};
    std::string text = item.spelling->read(bytes, place);
    std::string kept;
    if (!hex) {
        const std::optional<std::string> again = item.spelling->write(text, place);
        if (!again || !std::equal(bytes.begin(), bytes.end(), ByteView(*again).begin(), ByteView(*again).end()))
            kept.assign(bytes.begin(), bytes.end());
    }
    Field &field = add(record, item, item.key, item.spelling->kind, static_cast<u32>(bits));
    field.bytes = std::move(kept);
    field.words = item.spelling->words;
    if (size)
        field.number = bytes.size();
    else
        field.text = std::move(text);
}

void LayoutReader::sized(const Item &item, Open &record)
{
    const u64 said = item.counted ? known_.find(item.of).value_or(0) : take(item.bits);
    const auto bits = static_cast<std::size_t>(said + item.high) * 8;
    if (!ok_ || bits > left())
        return fail(item.key);
    if (item.key) {
        addComputed(record, item, item.key, item.bits, said);
        known_.add(item.key, said);
    }
    const std::size_t outerEnd = end_;
    end_ = at_ + bits;
    items(insideOf(item), record);
    if (ok_ && left() > 0)
        fail(item.key);
    end_ = outerEnd;
}

/** A field must tell a writer that the items are there. */
void LayoutReader::rest(const Item &item, Open &record)
{
    const std::size_t fields = record.fields.size();
    if (left() == 0)
        return;
    items(insideOf(item), record);
    if (ok_ && record.fields.size() == fields)
        fail(insideOf(item).items[0].key);
}

void LayoutReader::attempt(const Item &item, Open &record)
{
    const std::size_t start = at_;
    const std::size_t known = known_.size();
    const std::size_t notes = notes_.size();
    Fields tried;
    const std::size_t firstOfThem = record.fields.size();
    Open inside{tried};
    inside.reservedRuns = record.reservedRuns;
    items(insideOf(item), inside);
    if (ok_ && left() == 0) {
        record.reservedRuns = inside.reservedRuns;
        for (const auto &[index, said] : inside.toSay)
            record.toSay.emplace_back(firstOfThem + index, said);
        std::move(tried.begin(), tried.end(), std::back_inserter(record.fields));
        return;
    }
    at_ = start;
    ok_ = true;
    known_.cut(known);
    notes_.resize(notes);
    place_.clear();
    run(item, record);
}

void LayoutReader::entry(const Item &item, Fields &entry)
{
    const std::size_t outer = known_.size();
    const std::size_t outerEnd = end_;
    const DescriptorContext context = context_;
    read(insideOf(item), entry);
    context_ = context;
    end_ = outerEnd;
    known_.cut(outer);
}

void LayoutReader::list(const Item &item, Open &record)
{
    const u64 most = item.counted ? known_.find(item.key).value_or(0) : left();
    const std::size_t place = record.fields.size();
    const std::size_t start = at_;
    add(record, item, item.key, Field::Kind::list, 0);
    std::vector<Fields> entries;
    while (ok_ && entries.size() < most && (item.counted || left() > 0)) {
        const std::size_t before = at_;
        entries.emplace_back();
        entry(item, entries.back());
        if (ok_ && at_ == before)
            ok_ = false; // an entry of nothing would go on for ever
        if (ok_)
            continue;
        place_ = std::string(item.key) + "/" + std::to_string(entries.size() - 1) + "/" + place_;
        if (item.mayBeCut) {
            entries.pop_back();
            at_ = before;
            ok_ = cut_ = true;
            break;
        }
    }
    if (cut_)
        notes_.push_back(std::string(item.of) + " is " + std::to_string(most) + ", but " +
                         std::to_string(entries.size()) + " of them were read");
    Field &field = record.fields[place];
    field.items = std::move(entries);
    field.bits = static_cast<u32>(at_ - start);
}

void LayoutReader::finish(Open &record)
{
    for (const auto &[index, item] : record.toSay)
        record.fields[index].text = item->say(record.fields[index], record.fields, context_);
    const auto head = record.fields.begin() + static_cast<std::ptrdiff_t>(record.head);
    if (record.head > 0)
        std::rotate(record.fields.begin(), head, head + 1);
}

/* ---- descriptors ----------------------------------------------------------------------------------------------------
 */

namespace {

u32 fourBytes(ByteView payload)
{
    ByteReader reader(payload);
    const u32 value = reader.u32Field();
    return reader.ok() ? value : 0;
}

/** The format_identifier of the first registration_descriptor of a loop, or 0. */
u32 registeredFormat(ByteView loop)
{
    ByteReader reader(loop);
    while (reader.more()) {
        const u8 tag = reader.u8Field();
        const ByteView payload = reader.counted();
        if (reader.ok() && tag == registrationTag)
            return fourBytes(payload);
    }
    return 0;
}

} // namespace

void LayoutReader::descriptors(const Item &item, Open &record)
{
    if (item.program)
        context_ = registered(context_, registeredFormat(bytes_.part(at_ / 8, left() / 8)));
    DescriptorContext context = streamContext(context_, static_cast<u8>(known_.find("stream_type").value_or(0)));
    const std::size_t start = at_;
    std::vector<ReadDescriptor> found;
    while (ok_ && left() > 0) {
        const u32 bit = firstBit_ + static_cast<u32>(at_);
        const u8 tag = static_cast<u8>(take(8));
        const auto bits = static_cast<std::size_t>(take(8)) * 8;
        std::string unaligned;
        const ByteView payload = takeRun(bits, unaligned);
        if (!ok_) {
            place_ = std::string(item.key) + "/" + std::to_string(found.size());
            return;
        }
        found.push_back(readDescriptor(tag, payload, item.space, context, bit));
        if (item.space == TagSpace::si && tag == privateDataSpecifierTag && payload.size() >= 4)
            context.privateDataSpecifier = fourBytes(payload);
    }
    Field &field = add(record, item, item.key, Field::Kind::descriptors, static_cast<u32>(at_ - start));
    field.descriptors = std::move(found);
}

ReadDescriptor readDescriptor(u8 tag, ByteView payload, TagSpace space, const DescriptorContext &context, u32 firstBit)
{
    constexpr u32 headerBits = 16;
    const DescriptorLayout layout = layoutOf(space, tag, payload.empty() ? 0 : payload[0], context);
    ReadDescriptor read{tag,
                        payload,
                        {layout.name(!payload.empty()), {}, ""},
                        firstBit,
                        space,
                        context.privateDataSpecifier,
                        layout.structure != nullptr};
    if (!layout.known())
        return read;
    DescribedDescriptor &described = read.description;
    LayoutReader reader(payload, context, firstBit + headerBits);
    if (!reader.read(layout.start, described.fields) || !reader.read(layout.layout, described.fields)) {
        described.fields.clear();
        described.note = "malformed: its fields do not fit its length, " + std::to_string(payload.size());
        return read;
    }
    reader.takeExtra(described.fields);
    return read;
}

} // namespace psi::describe
