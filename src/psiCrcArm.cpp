// Carry-less multiplication of ARMv8: PMULL.
#include "psiCrc.h"

#ifdef PSI_CRC_FOLD_ARM

#ifdef __ARM_FEATURE_AES
#define FOLDS
#else
#define FOLDS __attribute__((target("+crypto")))
#endif

#include "psiCrcFold.h"

#include <arm_neon.h>

namespace psi::core {

namespace {

struct Neon {
    using Block = uint64x2_t;

    FOLDS static Block zero() { return vdupq_n_u64(0); }
    FOLDS static Block add(Block a, Block b) { return veorq_u64(a, b); }
    FOLDS static Block words(uint64_t high, uint64_t low) { return vcombine_u64(vcreate_u64(low), vcreate_u64(high)); }
    FOLDS static Block multiply(uint64_t a, uint64_t b) { return vreinterpretq_u64_p128(vmull_p64(a, b)); }

    /** @brief 16 bytes, the first one on top. */
    FOLDS static Block load(const u8 *bytes)
    {
        const uint8x16_t halves = vrev64q_u8(vld1q_u8(bytes));
        return vreinterpretq_u64_u8(vextq_u8(halves, halves, 8));
    }

    /** @brief The first `count` bytes of a message (4 to 16), the register added to them, behind zero bytes. */
    FOLDS static Block loadHead(u32 crc, const u8 *bytes, u32 count)
    {
        static constexpr u8 counting[blockLen] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
        const uint8x16_t start = vreinterpretq_u8_u64(words(0, __builtin_bswap32(crc)));
        // Byte i of the vector comes from byte count - 1 - i; a number beyond the vector there gives zero.
        const uint8x16_t places = vsubq_u8(vdupq_n_u8(static_cast<u8>(count - 1)), vld1q_u8(counting));
        return vreinterpretq_u64_u8(vqtbl1q_u8(veorq_u8(vld1q_u8(bytes), start), places));
    }

    FOLDS static Block product(Block a, Block keys)
    {
        const poly64x2_t left = vreinterpretq_p64_u64(a);
        const poly64x2_t right = vreinterpretq_p64_u64(keys);
        const Block high = vreinterpretq_u64_p128(vmull_high_p64(left, right));
        return add(high, multiply(vgetq_lane_u64(a, 0), vgetq_lane_u64(keys, 0)));
    }

    /** @brief The rest of 96 bits: their upper 32 into the lower 64, then Barrett's division. */
    FOLDS static u32 reduce(Block sum)
    {
        constexpr u32 x64 = powerOfX(64);
        constexpr uint64_t quotientOfX64 = quotientOfX(64);
        sum = add(sum, multiply(vgetq_lane_u64(sum, 1), x64));
        const uint64_t rest = vgetq_lane_u64(sum, 0);
        const uint64_t quotient = vgetq_lane_u64(multiply(rest >> 32, quotientOfX64), 0) >> 32;
        return static_cast<u32>(rest ^ vgetq_lane_u64(multiply(quotient, crcDivisor), 0));
    }
};

} // namespace

FOLDS u32 crcFold(u32 crc, const u8 *bytes, u32 len)
{
    if (const u32 odd = oddHead(len))
        return crcFold(crcPortable(crc, bytes, odd), bytes + odd, len - odd);
    return foldedSum<Neon>(crc, bytes, len);
}

bool crcCanFold()
{
    // The kernel answers for a register that a program cannot read itself.
    uint64_t features;
    asm("mrs %0, ID_AA64ISAR0_EL1" : "=r"(features));
    constexpr uint64_t aesWithPmull = 2;
    return (features >> 4 & 0xF) >= aesWithPmull;
}

bool crcCanFoldWide()
{
    return false;
}

u32 crcFoldWide(u32 crc, const u8 *bytes, u32 len)
{
    return crcFold(crc, bytes, len);
}

} // namespace psi::core

#endif
