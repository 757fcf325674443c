/**
 * @file psiCrc.h
 * @brief CRC_32 of a section: polynomial 0x04C11DB7, most significant bit first. ISO/IEC 13818-1 annex A.
 *
 * There are several ways to the same sum. The portable one goes through tables, whose size is a build option; where the
 * processor multiplies polynomials (carry-less), longer runs of bytes are folded instead. All of them take a register
 * and give the register behind the last byte, without inversion.
 */
#ifndef PSI_CRC_H
#define PSI_CRC_H

#include "psi.h"

/** @brief KiB of tables: 1, 4, 8 or 16. So many bytes are taken in a step, and 16 want a large cache. */
#ifndef PSI_CRC_TABLE
#define PSI_CRC_TABLE 1
#endif

/** @brief 1: multiply where the processor can, which is found out when the library runs. */
#ifndef PSI_CRC_CLMUL
#define PSI_CRC_CLMUL 0
#endif

/** @name What this build can multiply with. clang knows the ARM instruction only in code for processors that have it @{
 */
#if PSI_CRC_CLMUL && defined(__x86_64__)
#define PSI_CRC_FOLD_X86
#elif PSI_CRC_CLMUL && defined(__aarch64__) && defined(__linux__) && !defined(__AARCH64EB__) &&                        \
    (!defined(__clang__) || defined(__ARM_FEATURE_AES))
#define PSI_CRC_FOLD_ARM
#endif
#if defined(PSI_CRC_FOLD_X86) || defined(PSI_CRC_FOLD_ARM)
#define PSI_CRC_FOLD
#endif
/** @} */

namespace psi::core {

constexpr u32 crcPolynomial = 0x04C11DB7U;
/** @brief The register in front of the first byte of a section. */
constexpr u32 crcStart = 0xFFFFFFFFU;

/** @brief Through the tables. */
u32 crcPortable(u32 crc, const u8 *bytes, u32 len);

#ifdef PSI_CRC_FOLD
/** @name Shortest runs that are folded @{ */
constexpr u32 crcFoldMin = 32;
constexpr u32 crcFoldWideMin = 256;
/** @} */

/** @name Whether the processor multiplies at all, and four products at once @{ */
bool crcCanFold();
bool crcCanFoldWide();
/** @} */

/** @name By multiplication, on a processor that can. @param len at least crcFoldMin, crcFoldWideMin @{ */
u32 crcFold(u32 crc, const u8 *bytes, u32 len);
u32 crcFoldWide(u32 crc, const u8 *bytes, u32 len);
/** @} */
#endif

} // namespace psi::core

#endif
