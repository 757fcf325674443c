/**
 * @file layoutWriter.h
 * @brief Fields to bytes by a layout: the counterpart of layoutReader.h.
 */
#ifndef PSI_DESCRIBE_LAYOUT_WRITER_H
#define PSI_DESCRIBE_LAYOUT_WRITER_H

#include "describe/knownNumbers.h"
#include "describe/layout.h"

#include <algorithm>
#include <stdexcept>

namespace psi::describe {

/** @brief Fields that cannot be written: what() begins with the place, a JSON pointer (RFC 6901). */
class FieldError : public std::runtime_error {
public:
    FieldError(const std::string &place, const std::string &message)
        : std::runtime_error(withoutNul(place + ": " + message)), placeLength_(place.size())
    {
    }
    std::string place() const { return std::string(what(), placeLength_); }
    /** @brief What is wrong, without the place. */
    std::string message() const { return what() + placeLength_ + 2; }

private:
    /** The text of an exception ends at a NUL; SUB stands for it. */
    static std::string withoutNul(std::string text)
    {
        std::replace(text.begin(), text.end(), '\0', '\x1A');
        return text;
    }

    std::size_t placeLength_;
};

/** @brief Where a value stands in what is written; a place inside another refers to it. */
struct FieldPlace {
    const FieldPlace *outer = nullptr;
    std::string_view step = {};
    std::size_t index = 0; /**< of an entry of a list; then `step` is empty */

    std::string pointer() const;
};

/** @brief What all structures of one document share. */
struct WriteReport {
    std::vector<std::string> warnings;
    /** What stood there before the edit, where that is known: tells which of two members that contradict each other
     * was edited. Its descriptors' payloads are views. */
    std::optional<Fields> old;

    /** @brief Whether a field of that key had that number, text or bytes; descriptors have a "name". */
    bool was(std::string_view key, std::string_view value) const;
    /** @brief Whether there was a descriptor of that tag and payload. */
    bool wasDescriptor(u8 tag, ByteView payload) const;
};

/** @brief Bits in order, most significant first. */
class BitWriter {
public:
    std::size_t bits() const { return bits_; }
    const std::string &bytes() const { return bytes_; }
    std::string &text() { return bytes_; }

    void put(u64 value, unsigned count);
    void putBytes(ByteView bytes);
    /** @brief Write over a number at a place that was put before. */
    void replace(std::size_t bit, u64 value, unsigned count);

private:
    std::string bytes_;
    std::size_t bits_ = 0;
};

/** @brief A record while it is written: which of its fields were asked for. */
class OpenRecord {
public:
    OpenRecord(const Fields &fields, const FieldPlace &place) : fields_(fields), place_(place), used_(fields.size()) {}

    const Field *find(std::string_view key);
    bool has(std::string_view key) const { return findField(fields_, key) != nullptr; }
    const FieldPlace &place() const { return place_; }
    const Fields &fields() const { return fields_; }
    /** @throw FieldError a field is there that the layout has no place for */
    void checkAllUsed(const Layout &layout) const;

    unsigned reservedRuns = 0;

private:
    const Fields &fields_;
    const FieldPlace &place_;
    std::vector<bool> used_;
    std::size_t next_ = 0; // fields mostly come in the order of the layout
};

/** @brief Writes one structure. @throw FieldError from all that writes */
class LayoutWriter {
public:
    LayoutWriter(const DescriptorContext &context, WriteReport &report) : context_(context), report_(report) {}

    /** @brief Append a structure's bytes. @param whole false: other layouts take the record's other fields */
    void write(const Layout &layout, OpenRecord &record);
    /** @brief Append the field "extra", if there is one, and refuse fields that nobody asked for. */
    void finish(const Layout &layout, OpenRecord &record);

    BitWriter &out() { return out_; }
    const BitWriter &out() const { return out_; }
    /** @brief Fill in the length() that was written. @throw FieldError it does not fit */
    void putLength(u64 value, const FieldPlace &place);

private:
    void items(const Layout &layout, OpenRecord &record);
    void item(const Item &item, OpenRecord &record);
    void number(const Item &item, OpenRecord &record);
    void count(const Item &item, OpenRecord &record);
    void lengthOf(const Item &item, OpenRecord &record);
    void announces(const Item &item, const OpenRecord &record);
    void ahead(const Item &item, const OpenRecord &record);
    void reserved(const Item &item, OpenRecord &record);
    void run(const Item &item, OpenRecord &record);
    void sized(const Item &item, OpenRecord &record);
    void list(const Item &item, OpenRecord &record);
    void rest(const Item &item, OpenRecord &record);
    void descriptors(const Item &item, OpenRecord &record);
    std::string spelled(const Item &item, const Field *field, OpenRecord &record) const;
    bool bytesWereEdited(const Field &field, const FieldPlace &own) const;
    void checkName(const Item &item, const Field &field, const FieldPlace &record) const;
    void checkCount(const Item &item, const Field &given, u64 value, const FieldPlace &record) const;
    void checkSize(const Item &item, u64 bytes, const FieldPlace &own) const;
    void measure(const char *name, u64 bytes, const FieldPlace &place);
    void patch(std::size_t bit, unsigned width, u64 value, const char *key, const FieldPlace &place);

    BitWriter out_;
    KnownNumbers known_;
    DescriptorContext context_;
    WriteReport &report_;
    /** A length field that waits for what it measures. */
    struct Awaited {
        const Item *item;
        std::size_t bit;
    };
    std::vector<Awaited> awaited_;
    Awaited length_ = {};
    bool cut_ = false; // nothing counts behind a list that was cut
};

/** @brief A whole number of `bits`. @throw FieldError anything else */
u64 numberFrom(const Field &field, const Item &item, const FieldPlace &place);

/**
 * @brief The value behind a meaning's name.
 * @param neither what else it is not, for the message
 * @throw FieldError there is none, or several
 */
u64 valueOfName(const Meanings &meanings, const std::string &name, const FieldPlace &place, const std::string &neither);

/** @brief A loop of descriptors in the form that documents have: "tag", "name" and "fields", or "data". */
std::vector<Fields> documentForm(const std::vector<ReadDescriptor> &descriptors);

/** @brief A descriptor with its tag and length. */
std::string writeDescriptor(const Fields &descriptor, TagSpace space, DescriptorContext &context, WriteReport &report,
                            const FieldPlace &place);

/** @brief Letters, of either case, to insert, delete or change, and neighbours to swap, to make one word of the other.
 */
std::size_t editDistance(std::string_view a, std::string_view b);

/** @brief The word of a list that is most like another, or "". */
std::string nearest(std::string_view word, const std::vector<std::string_view> &words);

/** @brief Every key that a layout knows on its first level. */
std::vector<std::string_view> keysOf(const Layout &layout);

} // namespace psi::describe

#endif
