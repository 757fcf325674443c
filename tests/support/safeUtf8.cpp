#include "support/safeUtf8.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace psitest {

namespace {

/** How many bytes a character takes and the least that needs as many, by the pattern of its first byte. */
struct Length {
    unsigned mask;
    unsigned pattern;
    std::size_t bytes;
    std::uint32_t least;
};

constexpr Length lengths[] = {
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

/** The character at the front of some bytes, which are then behind it; none where they are not UTF-8. RFC 3629. */
std::optional<std::uint32_t> takeCharacter(std::string_view &bytes)
{
    const auto first = static_cast<unsigned char>(bytes[0]);
    for (const Length &length : lengths) {
        if ((first & length.mask) != length.pattern)
            continue;
        if (bytes.size() < length.bytes)
            return std::nullopt;
        std::uint32_t value = first & ~length.mask;
        for (std::size_t i = 1; i < length.bytes; ++i) {
            const auto next = static_cast<unsigned char>(bytes[i]);
            if ((next & 0xC0U) != 0x80)
                return std::nullopt;
            value = value << 6 | (next & 0x3FU);
        }
        bytes.remove_prefix(length.bytes);
        return value < length.least ? std::nullopt : std::optional(value);
    }
    return std::nullopt;
}

bool isSafe(std::uint32_t character)
{
    const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
    const bool surrogate = character >= 0xD800 && character < 0xE000;
    return !control && !surrogate && character <= 0x10FFFF;
}

} // namespace

bool isSafeUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::optional<std::uint32_t> character = takeCharacter(text);
        if (!character || !isSafe(*character))
            return false;
    }
    return true;
}

} // namespace psitest
