/**
 * @file psiCrcTables.h
 * @brief The section CRC through tables, 1, 4, 8 or 16 bytes at a step.
 */
#ifndef PSI_CRC_TABLES_H
#define PSI_CRC_TABLES_H

#include "psiCrc.h"
#include "psiInternal.h"

namespace psi::core {

/** @brief entry[k][b]: the register behind the byte b and k zero bytes. */
template <u32 slices> struct CrcTables {
    u32 entry[slices][256];

    constexpr CrcTables() : entry{}
    {
        for (u32 i = 0; i < 256; ++i) {
            u32 crc = i << 24;
            for (int bit = 0; bit < 8; ++bit)
                crc = crc & 0x80000000U ? crc << 1 ^ crcPolynomial : crc << 1;
            entry[0][i] = crc;
        }
        for (u32 k = 1; k < slices; ++k)
            for (u32 i = 0; i < 256; ++i)
                entry[k][i] = entry[k - 1][i] << 8 ^ entry[0][entry[k - 1][i] >> 24];
    }

    /** @brief The sum behind `len` more bytes. */
    u32 sum(u32 crc, const u8 *bytes, u32 len) const
    {
        if constexpr (slices > 1)
            for (; len >= slices; len -= slices, bytes += slices)
                crc = sumOfStep(crc, bytes);
        for (; len != 0; --len)
            crc = entry[0][*bytes++ ^ crc >> 24] ^ crc << 8;
        return crc;
    }

private:
    /** @brief The sum is linear, so the part of every byte is looked up for itself. */
    u32 sumOfStep(u32 crc, const u8 *bytes) const
    {
        u32 sum = partOf(crc ^ beU32(bytes), slices - 4);
        for (u32 done = 4; done < slices; done += 4)
            sum ^= partOf(beU32(bytes + done), slices - 4 - done);
        return sum;
    }
    /** @brief The part of four bytes, the first one on top, with `behind` bytes behind them. */
    u32 partOf(u32 word, u32 behind) const
    {
        const u32(*table)[256] = entry + behind;
        return table[3][word >> 24] ^ table[2][word >> 16 & 0xFF] ^ table[1][word >> 8 & 0xFF] ^ table[0][word & 0xFF];
    }
};

} // namespace psi::core

#endif
