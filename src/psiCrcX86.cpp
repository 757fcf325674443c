// Carry-less multiplication of x86-64: PCLMULQDQ, and VPCLMULQDQ on registers of 512 bits.
#include "psiCrc.h"

#ifdef PSI_CRC_FOLD_X86

#define FOLDS      __attribute__((target("sse4.1,pclmul")))
#define FOLDS_WIDE __attribute__((target("avx512f,avx512bw,pclmul,vpclmulqdq")))

#include "psiCrcFold.h"
#include "psiCrcX86.h"

// gcc 12 warns of its own header, whose way to say "any value" is a variable without one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#pragma GCC diagnostic pop

namespace psi::core {

namespace {

struct Sse {
    using Block = __m128i;

    FOLDS static Block zero() { return _mm_setzero_si128(); }
    FOLDS static Block add(Block a, Block b) { return _mm_xor_si128(a, b); }
    FOLDS static Block loadRaw(const u8 *bytes) { return _mm_loadu_si128(reinterpret_cast<const Block *>(bytes)); }
    FOLDS static Block reversal() { return _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15); }
    FOLDS static Block words(uint64_t high, uint64_t low)
    {
        return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
    }

    /** @brief 16 bytes, the first one on top. */
    FOLDS static Block load(const u8 *bytes) { return _mm_shuffle_epi8(loadRaw(bytes), reversal()); }

    /** @brief The first `count` bytes of a message (4 to 16), the register added to them, behind zero bytes. */
    FOLDS static Block loadHead(u32 crc, const u8 *bytes, u32 count)
    {
        const Block start = _mm_cvtsi32_si128(static_cast<int>(__builtin_bswap32(crc)));
        // Byte i of the vector comes from byte count - 1 - i; a negative number there gives zero.
        const Block places = _mm_sub_epi8(_mm_set1_epi8(static_cast<char>(count - 1)),
                                          _mm_set_epi8(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0));
        return _mm_shuffle_epi8(add(loadRaw(bytes), start), places);
    }

    FOLDS static Block product(Block a, Block keys)
    {
        return add(_mm_clmulepi64_si128(a, keys, 0x11), _mm_clmulepi64_si128(a, keys, 0x00));
    }

    /** @brief The rest of 96 bits: their upper 32 into the lower 64, then Barrett's division. */
    FOLDS static u32 reduce(Block sum)
    {
        constexpr u32 x64 = powerOfX(64);
        constexpr uint64_t quotientOfX64 = quotientOfX(64);
        const Block barrett = words(crcDivisor, quotientOfX64);
        sum = add(_mm_clmulepi64_si128(sum, words(0, x64), 0x01), sum);
        const Block quotient = _mm_srli_epi64(_mm_clmulepi64_si128(_mm_srli_epi64(sum, 32), barrett, 0x00), 32);
        return static_cast<u32>(_mm_cvtsi128_si32(add(sum, _mm_clmulepi64_si128(quotient, barrett, 0x10))));
    }
};

} // namespace

FOLDS u32 crcFold(u32 crc, const u8 *bytes, u32 len)
{
    if (const u32 odd = oddHead(len))
        return crcFold(crcPortable(crc, bytes, odd), bytes + odd, len - odd);
    return foldedSum<Sse>(crc, bytes, len);
}

/* ------------------------------------------------------------------------------------------------------------------
 * The same with a group in one register
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

FOLDS_WIDE inline __m512i loadGroup(const u8 *bytes)
{
    return _mm512_shuffle_epi8(_mm512_loadu_si512(bytes), _mm512_broadcast_i32x4(Sse::reversal()));
}

FOLDS_WIDE inline __m512i productOfGroup(__m512i a, __m512i keys)
{
    return _mm512_xor_si512(_mm512_clmulepi64_epi128(a, keys, 0x11), _mm512_clmulepi64_epi128(a, keys, 0x00));
}

FOLDS_WIDE inline __m512i foldGroup(__m512i a, __m512i keys, __m512i next)
{
    return _mm512_xor_si512(productOfGroup(a, keys), next);
}

FOLDS_WIDE inline __m512i joined(__m128i first, __m128i second, __m128i third, __m128i fourth)
{
    const __m512i front = _mm512_castsi256_si512(_mm256_set_m128i(second, first));
    return _mm512_inserti64x4(front, _mm256_set_m128i(fourth, third), 1);
}

/** @brief What moves every block of a group by `bits`. */
template <u32 bits> FOLDS_WIDE inline __m512i groupKeys()
{
    return _mm512_broadcast_i32x4(keysFor<Sse, bits>());
}

/** @brief What moves every block of a group to its end and on by `bits`. */
template <u32 bits> FOLDS_WIDE inline __m512i gatherKeys()
{
    return joined(keysFor<Sse, bits + 384>(), keysFor<Sse, bits + 256>(), keysFor<Sse, bits + 128>(),
                  keysFor<Sse, bits>());
}

FOLDS_WIDE inline __m128i sumOfBlocks(__m512i group)
{
    const __m256i half = _mm256_xor_si256(_mm512_castsi512_si256(group), _mm512_extracti64x4_epi64(group, 1));
    return _mm_xor_si128(_mm256_castsi256_si128(half), _mm256_extracti128_si256(half, 1));
}

} // namespace

FOLDS_WIDE u32 crcFoldWide(u32 crc, const u8 *bytes, u32 len)
{
    if (const u32 odd = oddHead(len))
        return crcFoldWide(crcPortable(crc, bytes, odd), bytes + odd, len - odd);
    FoldStart<Sse> start = startFold<Sse>(crc, bytes, len);
    __m512i w0 = joined(start.a[0], start.a[1], start.a[2], start.a[3]);
    for (; start.groups % 4 != 3; --start.groups, start.at += groupLen)
        w0 = foldGroup(w0, groupKeys<groupBits>(), loadGroup(start.at));
    __m512i w1 = loadGroup(start.at);
    __m512i w2 = loadGroup(start.at + groupLen);
    __m512i w3 = loadGroup(start.at + 2 * groupLen);
    const __m512i keys = groupKeys<4 * groupBits>();
    const u8 *at = start.at + 3 * groupLen;
    for (u32 left = start.groups / 4; left != 0; --left, at += 4 * groupLen) {
        w0 = foldGroup(w0, keys, loadGroup(at));
        w1 = foldGroup(w1, keys, loadGroup(at + groupLen));
        w2 = foldGroup(w2, keys, loadGroup(at + 2 * groupLen));
        w3 = foldGroup(w3, keys, loadGroup(at + 3 * groupLen));
    }
    const __m512i front = _mm512_xor_si512(productOfGroup(w0, gatherKeys<3 * groupBits + 32>()),
                                           productOfGroup(w1, gatherKeys<2 * groupBits + 32>()));
    const __m512i rear =
        _mm512_xor_si512(productOfGroup(w2, gatherKeys<groupBits + 32>()), productOfGroup(w3, gatherKeys<32>()));
    return Sse::reduce(sumOfBlocks(_mm512_xor_si512(front, rear)));
}

namespace {

// Every processor takes one way through this. GCOVR_EXCL_START
X86Features features()
{
    X86Features features = {};
    u32 unused = 0;
    __get_cpuid(1, &unused, &unused, &features.ecx1, &unused);
    __get_cpuid_count(7, 0, &unused, &features.ebx7, &features.ecx7, &unused);
    if ((features.ecx1 & bit_OSXSAVE) != 0)
        asm volatile("xgetbv" : "=a"(features.kept), "=d"(unused) : "c"(0));
    return features;
}
// GCOVR_EXCL_STOP

} // namespace

bool crcCanFold()
{
    return canFold(features());
}

bool crcCanFoldWide()
{
    return canFoldWide(features());
}

} // namespace psi::core

#endif
