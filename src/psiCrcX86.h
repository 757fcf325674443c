/**
 * @file psiCrcX86.h
 * @brief What an x86-64 processor says of itself, and which ways to the section CRC it thus can go.
 */
#ifndef PSI_CRC_X86_H
#define PSI_CRC_X86_H

#include "psi.h"

#include <cpuid.h>

namespace psi::core {

/** @brief Its answers; zero where it has none. */
struct X86Features {
    u32 ecx1;       /**< of leaf 1 */
    u32 ebx7, ecx7; /**< of leaf 7 */
    u32 kept;       /**< the parts of the wide registers that the operating system keeps */
};

/** @brief PCLMULQDQ, and what goes with it. */
constexpr bool canFold(const X86Features &features)
{
    constexpr u32 needed = bit_PCLMUL | bit_SSE4_1 | bit_SSSE3;
    return (features.ecx1 & needed) == needed;
}

/** @brief VPCLMULQDQ on registers of 512 bits. */
constexpr bool canFoldWide(const X86Features &features)
{
    constexpr u32 allParts = 0xE6;
    constexpr u32 needed = bit_AVX512F | bit_AVX512BW;
    const u32 missing = (allParts & ~features.kept) | (needed & ~features.ebx7) | (bit_VPCLMULQDQ & ~features.ecx7);
    return missing == 0;
}

} // namespace psi::core

#endif
