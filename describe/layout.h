/**
 * @file layout.h
 * @brief How a structure of a standard is laid out: its items in the order of the syntax table, described once.
 *
 * A layout is data. Readers, writers, reference pages and schemas walk it; none of them knows a single structure.
 * structures/README.md shows how to add one.
 */
#ifndef PSI_DESCRIBE_LAYOUT_H
#define PSI_DESCRIBE_LAYOUT_H

#include "describe/fields.h"

#include <cstddef>

namespace psi::describe {

struct Spelling;

/** @brief Words for the values of a number. */
struct Meanings {
    const NamedRange *ranges = nullptr;
    u32 count = 0;
    const char *otherwise = ""; /**< for a value that is in no range */

    constexpr Meanings() = default;
    template <std::size_t N>
    constexpr Meanings(const NamedRange (&table)[N], const char *others = "reserved") // NOLINT: tables stand for it
        : ranges(table), count(N), otherwise(others)
    {
    }
    const char *of(u64 value) const;
};

/** @brief What a number means when a table cannot say it. @param number the field @param record what stands around it
 */
using Say = std::string (*)(const Field &number, const Fields &record, const DescriptorContext &context);

/** @brief What an item of a layout is. */
enum class Shape : u8 {
    number,      /**< `bits` wide */
    length,      /**< a number that its structure's owner computes: section_length */
    count,       /**< the number of entries of the list `of` */
    lengthOf,    /**< the number of bytes of the run `of`, further on */
    announces,   /**< a bit that is `low` when the field `of` is there */
    ahead,       /**< nothing here: a number `low` bits further on that conditions in front of it look at */
    reserved,    /**< `bits` that are `low` when the standard is kept */
    run,         /**< bytes in a spelling: `bits`, or as many as `lengthBits` in front say, or the rest */
    sized,       /**< the items inside, in as many bytes as `bits` in front of them say */
    list,        /**< entries of the items inside: as many as a count says, or to the end */
    when,        /**< the items inside, when the number `of` is in low..high (or not: `inverse`) */
    rest,        /**< the items inside, if any bytes are left */
    attempt,     /**< the items inside to the end, or, when those do not fit, all the bytes as a run */
    descriptors, /**< a loop of descriptors to the end */
    note,        /**< `key` is said about the structure */
};

/** @brief One item; a `Layout` is a row of them, those inside another right behind it. */
struct Item {
    Shape shape = Shape::number;
    u8 digits = 0;        /**< hexadecimal digits shown; 0: decimal */
    u8 lengthBits = 0;    /**< of a run: width of the length field in front of it */
    bool inverse = false; /**< of `when` */
    bool counted =
        false; /**< of a list, run or sized: a count(), a lengthOf() or of a run `of` in front says how much it has */
    bool heads = false;     /**< it is told first in its record, though it stands later */
    bool mayBeCut = false;  /**< of a list: when an entry does not fit, it ends in front of it */
    bool always = false;    /**< of a run: shown also when it is empty */
    bool program = false;   /**< of descriptors: a registration among them is the program's */
    bool defaulted = false; /**< of a number: it is `low` when nobody gives it */
    TagSpace space = TagSpace::si;
    u16 bits = 0;
    u16 inside = 0; /**< how many of the items behind it are inside it */
    const char *key = nullptr;
    const char *of = nullptr;
    u64 low = 0;
    u64 high = 0; /**< also what is not counted: of `sized` bytes, of `count` entries, of a measured run bytes */
    Meanings meanings = {};
    Say say = nullptr;
    const Spelling *spelling = nullptr;
};

/** @brief A row of items. */
struct Layout {
    const Item *items = nullptr;
    std::size_t count = 0;
};

/** @brief Items one after the other, with those inside them. */
template <std::size_t N> struct Row {
    Item items[N] = {};
    constexpr operator Layout() const { return {items, N}; } // NOLINT: a row is a layout
};

/** @brief The items of a structure. */
template <std::size_t... N> constexpr Row<(N + ...)> fields(const Row<N> &...parts)
{
    Row<(N + ...)> row;
    std::size_t at = 0;
    const auto append = [&](const auto &part) {
        for (const Item &item : part.items)
            row.items[at++] = item;
    };
    (append(parts), ...);
    return row;
}

/* ---- items ----------------------------------------------------------------------------------------------------------
 */

constexpr Row<1> row(const Item &item)
{
    return {{item}};
}

/** @brief A number, shown in decimal. */
constexpr Row<1> number(u16 bits, const char *key, Meanings meanings = {}, Say say = nullptr)
{
    Item item;
    item.bits = bits;
    item.key = key;
    item.meanings = meanings;
    item.say = say;
    return row(item);
}

/** @brief A number that engineers write in hexadecimal. */
constexpr Row<1> hex(u16 bits, const char *key, Meanings meanings = {}, Say say = nullptr)
{
    Row<1> made = number(bits, key, meanings, say);
    made.items[0].digits = static_cast<u8>((bits + 3) / 4);
    return made;
}

/** @brief A number that need not be given. */
constexpr Row<1> usually(u64 value, Row<1> item)
{
    item.items[0].low = value;
    item.items[0].defaulted = true;
    return item;
}

/** @brief A number with more hexadecimal digits than it needs. */
constexpr Row<1> wide(u8 digits, Row<1> item)
{
    item.items[0].digits = digits;
    return item;
}

/** @brief A field by which people know its record: it is told first. */
constexpr Row<1> heading(Row<1> item)
{
    item.items[0].heads = true;
    return item;
}

constexpr Row<1> pid(const char *key)
{
    return hex(13, key);
}

constexpr Row<1> flag(const char *key, Meanings meanings = {})
{
    return number(1, key, meanings);
}

/** @brief Bits without a meaning. @param wanted their value in a structure that keeps the standard: all ones */
constexpr Row<1> reserved(u16 bits, u64 wanted = ~u64{0})
{
    Item item;
    item.shape = Shape::reserved;
    item.bits = bits;
    item.low = bits >= 64 ? wanted : wanted & ((u64{1} << bits) - 1);
    return row(item);
}

constexpr Row<1> zero(u16 bits)
{
    return reserved(bits, 0);
}

/** @brief A length that covers the whole structure behind it. */
constexpr Row<1> length(u16 bits, const char *key)
{
    Item item;
    item.shape = Shape::length;
    item.bits = bits;
    item.key = key;
    return row(item);
}

/** @brief How many entries a list has. @param key its name where it is shown, or null @param list the list's key */
constexpr Row<1> count(u16 bits, const char *key, const char *list)
{
    Item item;
    item.shape = Shape::count;
    item.bits = bits;
    item.key = key;
    item.of = list;
    return row(item);
}

/** @brief How many bytes a run() or part has that stands further on, and is measured() or a measuredPart(). */
constexpr Row<1> lengthOf(u16 bits, const char *key, const char *run)
{
    Row<1> made = count(bits, key, run);
    made.items[0].shape = Shape::lengthOf;
    return made;
}

/** @brief A bit that says whether a field is there. @param there its value when it is */
constexpr Row<1> announces(const char *key, u64 there = 1)
{
    Row<1> made = count(1, nullptr, key);
    made.items[0].shape = Shape::announces;
    made.items[0].low = there;
    return made;
}

/** @brief A number that follows so many bits behind this place, but says what stands in front of it. */
constexpr Row<1> ahead(u64 distance, u16 bits, const char *key)
{
    Row<1> made = number(bits, key);
    made.items[0].shape = Shape::ahead;
    made.items[0].low = distance;
    return made;
}

/** @brief Bytes in a spelling, as many as are left. */
constexpr Row<1> run(const char *key, const Spelling &spelling)
{
    Item item;
    item.shape = Shape::run;
    item.key = key;
    item.spelling = &spelling;
    return row(item);
}

/** @brief A run that is shown also when it is empty, and must be given. */
constexpr Row<1> shown(Row<1> run)
{
    run.items[0].always = true;
    return run;
}

/** @brief Bits in a spelling: a fixed number of them. */
constexpr Row<1> fixed(u16 bits, const char *key, const Spelling &spelling)
{
    Row<1> made = run(key, spelling);
    made.items[0].bits = bits;
    made.items[0].always = true;
    return made;
}

/** @brief Bytes in a spelling, behind a field that says how many. @param lengthKey its name where it is shown, or null
 */
constexpr Row<1> counted(u8 lengthBits, const char *key, const Spelling &spelling, const char *lengthKey = nullptr)
{
    Row<1> made = run(key, spelling);
    made.items[0].lengthBits = lengthBits;
    made.items[0].of = lengthKey;
    made.items[0].always = lengthKey != nullptr;
    return made;
}

/** @brief Bytes in a spelling, as many as the lengthOf() them says. */
constexpr Row<1> measured(const char *key, const Spelling &spelling)
{
    Row<1> made = run(key, spelling);
    made.items[0].counted = true;
    return made;
}

/** @brief A run of as many bytes as a number in front says, and some more. */
constexpr Row<1> asManyAs(const char *number, u64 more, Row<1> run)
{
    run.items[0].counted = true;
    run.items[0].of = number;
    run.items[0].high = more;
    return run;
}

/** @brief A loop of descriptors to the end of where it stands. */
constexpr Row<1> descriptors(TagSpace space = TagSpace::si, const char *key = "descriptors")
{
    Item item;
    item.shape = Shape::descriptors;
    item.key = key;
    item.space = space;
    return row(item);
}

/** @brief The outer descriptors of a program: what they register counts for its streams as well. */
constexpr Row<1> programDescriptors()
{
    Row<1> made = descriptors();
    made.items[0].program = true;
    return made;
}

/** @brief Something that is said whenever it is come by. */
constexpr Row<1> note(const char *text)
{
    Item item;
    item.shape = Shape::note;
    item.key = text;
    return row(item);
}

/* ---- items around others --------------------------------------------------------------------------------------------
 */

template <std::size_t... N> constexpr Row<1 + (N + ...)> around(Item outer, const Row<N> &...parts)
{
    outer.inside = static_cast<u16>((N + ...));
    return fields(row(outer), parts...);
}

/** @brief Entries to the end of where the list stands. */
template <std::size_t... N> constexpr auto list(const char *key, const Row<N> &...entry)
{
    Item item;
    item.shape = Shape::list;
    item.key = key;
    return around(item, entry...);
}

/** @brief As many entries as the count() of this list says. */
template <std::size_t... N> constexpr auto countedList(const char *key, const Row<N> &...entry)
{
    auto made = list(key, entry...);
    made.items[0].counted = true;
    return made;
}

/** @brief A count and its list. @param countKey the count's name where it is shown, or null */
template <std::size_t... N> constexpr auto list(u16 bits, const char *countKey, const char *key, const Row<N> &...entry)
{
    auto made = countedList(key, entry...);
    made.items[0].of = countKey;
    return fields(count(bits, countKey, key), made);
}

/** @brief A list with its count, which is one less than the entries. */
template <std::size_t N> constexpr Row<N> oneMore(Row<N> list)
{
    list.items[0].high = 1;
    return list;
}

/** @brief A list with its count that senders cut off: it has what is whole, the rest is surplus. */
template <std::size_t N> constexpr Row<N> mayBeCut(Row<N> list)
{
    list.items[0].mayBeCut = true;
    list.items[1].mayBeCut = true;
    return list;
}

/** @brief A length in bytes and what has it. @param key the length's name where it is shown, or null */
template <std::size_t... N> constexpr auto sized(u16 bits, const char *key, const Row<N> &...parts)
{
    Item item;
    item.shape = Shape::sized;
    item.bits = bits;
    item.key = key;
    return around(item, parts...);
}

/** @brief A sized() whose length does not count its first bytes. */
template <std::size_t N> constexpr Row<N> besides(u64 notCounted, Row<N> sized)
{
    sized.items[0].high = notCounted;
    return sized;
}

/** @brief Items that take as many bytes as the lengthOf() them, further in front, says. @param name what that calls
 * them */
template <std::size_t... N> constexpr auto measuredPart(const char *name, const Row<N> &...parts)
{
    Item item;
    item.shape = Shape::sized;
    item.of = name;
    item.counted = true;
    return around(item, parts...);
}

/** @brief Items to the end; what senders put there that does not fit them stands as bytes. @param key of those */
template <std::size_t... N> constexpr auto attempt(const char *key, const Spelling &bytes, const Row<N> &...parts)
{
    Item item;
    item.shape = Shape::attempt;
    item.key = key;
    item.spelling = &bytes;
    item.always = true;
    return around(item, parts...);
}

/** @brief Items that are there when a number in front of them has a value of low..high. */
template <std::size_t... N> constexpr auto whenIn(const char *of, u64 low, u64 high, const Row<N> &...parts)
{
    Item item;
    item.shape = Shape::when;
    item.of = of;
    item.low = low;
    item.high = high;
    return around(item, parts...);
}

template <std::size_t... N> constexpr auto when(const char *of, u64 value, const Row<N> &...parts)
{
    return whenIn(of, value, value, parts...);
}

template <std::size_t... N> constexpr auto whenNotIn(const char *of, u64 low, u64 high, const Row<N> &...parts)
{
    auto made = whenIn(of, low, high, parts...);
    made.items[0].inverse = true;
    return made;
}

template <std::size_t... N> constexpr auto whenNot(const char *of, u64 value, const Row<N> &...parts)
{
    return whenNotIn(of, value, value, parts...);
}

/** @brief Items whose first field a bit announces(). */
template <std::size_t... N> constexpr auto announced(const char *key, const Row<N> &...parts)
{
    auto made = when(key, 1, parts...);
    made.items[0].counted = true;
    return made;
}

/** @brief Items that older or shorter forms leave out: there when any bytes are left. */
template <std::size_t... N> constexpr auto rest(const Row<N> &...parts)
{
    Item item;
    item.shape = Shape::rest;
    return around(item, parts...);
}

/* ---- structures -----------------------------------------------------------------------------------------------------
 */

/** @brief A structure under its name, tag and clause. */
struct Structure {
    u32 tag = 0; /**< descriptor_tag, descriptor_tag_extension or table_id */
    const char *name = "";
    const char *clause = "";
    Layout layout = {};
    u32 lastTag = 0; /**< of a table with several table_ids in a row: the last; else that of `tag` */
};

} // namespace psi::describe

#endif
