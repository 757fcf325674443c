/**
 * @file bitReader.h
 * @brief Bits of the headers of elementary streams.
 */
#ifndef PSI_DEMUX_BIT_READER_H
#define PSI_DEMUX_BIT_READER_H

#include "psi.h"

#include <cstddef>

namespace psi::demux {

/**
 * @brief Reader from the highest bit of the first byte on that stays inside its bytes.
 *
 * A read beyond the end gives 0 and makes ok() false from then on.
 */
class BitReader {
public:
    /** @param first not owned, outlives the reader @param size bytes */
    BitReader(const u8 *first, size_t size) : bytes(first), end(size * 8) {}

    bool ok() const { return valid; }
    /** @brief Bits read and left out so far. */
    size_t place() const { return at; }

    /** @param count 0 to 32 */
    u32 bits(unsigned count)
    {
        if (!has(count))
            return 0;
        u32 value = 0;
        for (; count > 0; --count, ++at)
            value = value << 1 | (bytes[at / 8] >> (7 - at % 8) & 1U);
        return value;
    }
    bool flag() { return bits(1) != 0; }
    /** @brief Leave bits out; beyond the end is an error. */
    void skip(size_t count)
    {
        if (has(count))
            at += count;
    }

    /** @brief An unsigned Exp-Golomb code, ISO/IEC 14496-10 9.1; one of more than 32 bits is an error. */
    u32 golomb()
    {
        unsigned zeros = 0;
        while (valid && !flag())
            ++zeros;
        if (zeros > 31)
            valid = false;
        return valid ? (1U << zeros) - 1 + bits(zeros) : 0;
    }
    /** @brief A signed one, ISO/IEC 14496-10 9.1.1. */
    i32 signedGolomb()
    {
        const u32 code = golomb();
        const i32 magnitude = static_cast<i32>(code / 2 + code % 2);
        return code % 2 != 0 ? magnitude : -magnitude;
    }

private:
    bool has(size_t count)
    {
        valid = valid && count <= end - at;
        return valid;
    }

    const u8 *bytes;
    size_t end;
    size_t at = 0;
    bool valid = true;
};

} // namespace psi::demux

#endif // PSI_DEMUX_BIT_READER_H
