/**
 * @file layoutReader.h
 * @brief Bytes to fields by a layout.
 */
#ifndef PSI_DESCRIBE_LAYOUT_READER_H
#define PSI_DESCRIBE_LAYOUT_READER_H

#include "describe/knownNumbers.h"
#include "describe/layout.h"

namespace psi::describe {

/** @brief Takes one structure off its bytes. Never reads outside them. */
class LayoutReader {
public:
    /** @param firstBit where the bytes stand in what the places of fields are counted in */
    LayoutReader(ByteView bytes, const DescriptorContext &context, u32 firstBit = 0)
        : bytes_(bytes), end_(bytes.size() * 8), firstBit_(firstBit), context_(context)
    {
    }

    /** @brief Append a layout's fields to a record. @return false when they do not fit the bytes: see place() */
    bool read(const Layout &layout, Fields &record);

    bool ok() const { return ok_; }
    /** @brief Go on behind so many bytes. */
    void skip(std::size_t bytes) { at_ += std::min(bytes * 8, left()); }
    /** @brief The bytes that no layout has taken, as a field "extra" when there are any. */
    void takeExtra(Fields &record);

    /** @brief Where the first field stands that does not fit: keys and indices with slashes between them. */
    const std::string &place() const { return place_; }
    /** @brief What the layouts say about what was read. */
    const std::vector<std::string> &notes() const { return notes_; }

private:
    /** A record while it is read. */
    struct Open {
        Fields &fields;
        unsigned reservedRuns = 0;
        std::vector<std::pair<std::size_t, const Item *>> toSay = {};
        std::size_t head = 0; /**< place of the field that is told first */
    };

    void items(const Layout &layout, Open &record);
    void item(const Item &item, Open &record);
    void number(const Item &item, Open &record);
    void count(const Item &item, Open &record);
    void announces(const Item &item);
    void ahead(const Item &item);
    void reserved(const Item &item, Open &record);
    void run(const Item &item, Open &record);
    void sized(const Item &item, Open &record);
    void rest(const Item &item, Open &record);
    void attempt(const Item &item, Open &record);
    void list(const Item &item, Open &record);
    void entry(const Item &item, Fields &entry);
    void descriptors(const Item &item, Open &record);
    void finish(Open &record);

    Field &add(Open &record, const Item &item, const char *key, Field::Kind kind, u32 bits) const;
    void addComputed(Open &record, const Item &item, const char *key, u32 bits, u64 value) const;
    u64 take(u32 bits);
    ByteView takeRun(std::size_t bits, std::string &unaligned);
    std::size_t left() const { return end_ - at_; }
    void fail(const char *key);

    ByteView bytes_;
    std::size_t at_ = 0; // bits
    std::size_t end_;
    u32 firstBit_;
    DescriptorContext context_;
    KnownNumbers known_;
    bool ok_ = true;
    bool cut_ = false; // nothing counts behind a list that was cut
    std::string place_;
    std::vector<std::string> notes_;
};

/** @brief Take a descriptor apart where it stands. @param firstBit place of its tag */
ReadDescriptor readDescriptor(u8 tag, ByteView payload, TagSpace space, const DescriptorContext &context, u32 firstBit);

/** @brief The key of the n-th run of reserved bits of a record, from 0: "reserved", "reserved_2". */
std::string_view reservedKey(unsigned n);

/** @brief The items inside an item. */
inline Layout insideOf(const Item &item)
{
    return {&item + 1, item.inside};
}

} // namespace psi::describe

#endif
