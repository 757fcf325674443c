#include "support/safeUtf8.h"

#include <cstddef>
#include <cstdint>

namespace psitest {

bool isSafeUtf8(const std::string &text)
{
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
        const unsigned char first = byte(i);
        std::size_t size = first < 0x80 ? 1 : first >> 5 == 6 ? 2 : first >> 4 == 14 ? 3 : first >> 3 == 30 ? 4 : 0;
        if (size == 0 || i + size > text.size())
            return false;
        std::uint32_t value = size == 1 ? first : first & (0xFFU >> (size + 1));
        for (std::size_t k = 1; k < size; ++k) {
            if (byte(i + k) >> 6 != 2)
                return false;
            value = value << 6 | (byte(i + k) & 0x3F);
        }
        const bool overlong =
            (size == 2 && value < 0x80) || (size == 3 && value < 0x800) || (size == 4 && value < 0x10000);
        const bool control = value < 0x20 || (value >= 0x7F && value < 0xA0);
        if (overlong || control || (value >= 0xD800 && value < 0xE000) || value > 0x10FFFF)
            return false;
        i += size;
    }
    return true;
}

} // namespace psitest
