/**
 * @file bytes.h
 * @brief A view of bytes that somebody else owns, and a reader over it that cannot leave it.
 */
#ifndef PSI_DESCRIBE_BYTES_H
#define PSI_DESCRIBE_BYTES_H

#include "psi.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace psi::describe {

/** @brief The widest number that a field may have. */
using u64 = std::uint64_t;

/** @brief A run of bytes, not owned. A null pointer counts as empty whatever the size. */
class ByteView {
public:
    constexpr ByteView() = default;
    constexpr ByteView(const u8 *data, std::size_t size) : data_(data), size_(data ? size : 0) {}
    explicit ByteView(std::string_view bytes) : ByteView(reinterpret_cast<const u8 *>(bytes.data()), bytes.size()) {}

    constexpr const u8 *data() const { return data_; }
    constexpr std::size_t size() const { return size_; }
    constexpr bool empty() const { return size_ == 0; }
    constexpr const u8 *begin() const { return data_; }
    constexpr const u8 *end() const { return data_ + size_; }
    constexpr u8 operator[](std::size_t i) const { return data_[i]; }

    /** @brief A part of the view, cut at its end. @param offset first byte @param count bytes wanted */
    constexpr ByteView part(std::size_t offset, std::size_t count = SIZE_MAX) const
    {
        const std::size_t from = std::min(offset, size_);
        return {data_ + from, std::min(count, size_ - from)};
    }

private:
    const u8 *data_ = nullptr;
    std::size_t size_ = 0;
};

/** @brief Lower-case hexadecimal digits, two for each byte, nothing between them. */
std::string toHex(ByteView bytes);
/** @brief Append the same to a text. */
void appendHex(std::string &text, ByteView bytes);

/** @brief The bytes behind hexadecimal digits of either case, two for each; nothing for any other text. */
std::optional<std::string> fromHex(std::string_view hex);

/**
 * @brief Big-endian reader that stays inside its bytes.
 *
 * A read beyond the end gives 0 (or no bytes) and makes ok() false from then on.
 */
class ByteReader {
public:
    explicit ByteReader(ByteView bytes) : rest_(bytes) {}

    bool ok() const { return ok_; }
    bool more() const { return ok_ && !rest_.empty(); }
    std::size_t remaining() const { return rest_.size(); }

    u8 u8Field() { return static_cast<u8>(number(1)); }
    u16 u16Field() { return static_cast<u16>(number(2)); }
    u32 u24Field() { return number(3); }
    u32 u32Field() { return number(4); }
    /** @brief 3 reserved bits and a PID. */
    u16 pid() { return u16Field() & 0x1FFF; }

    /** @brief So many bytes, not copied. @return none, and ok() is false from then on, when there are fewer */
    ByteView bytes(std::size_t count)
    {
        if (!ok_ || count > rest_.size()) {
            ok_ = false;
            rest_ = {};
            return {};
        }
        const ByteView taken = rest_.part(0, count);
        rest_ = rest_.part(count);
        return taken;
    }
    /** @brief All bytes that are left. */
    ByteView rest() { return bytes(rest_.size()); }
    /** @brief Bytes behind a length byte. */
    ByteView counted()
    {
        const u8 count = u8Field();
        return bytes(count);
    }

private:
    u32 number(std::size_t count)
    {
        u32 value = 0;
        for (const u8 byte : bytes(count))
            value = value << 8 | byte;
        return value;
    }

    ByteView rest_;
    bool ok_ = true;
};

/** @brief Bits of a byte. @param byte the byte @param high its highest bit wanted, 7..0 @param count how many */
constexpr u32 bits(u32 byte, unsigned high, unsigned count)
{
    return byte >> (high + 1 - count) & ((1U << count) - 1);
}

} // namespace psi::describe

#endif
