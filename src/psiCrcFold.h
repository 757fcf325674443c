/**
 * @file psiCrcFold.h
 * @brief The section CRC by carry-less multiplication, for processors that multiply polynomials over GF(2).
 *
 * A message is a polynomial, its first bit the highest power; the sum is the rest of message * x^32 divided by P(x) =
 * x^32
 * + 0x04C11DB7. So a block of 128 bits that lies n bits in front of another can be taken into that one without changing
 * the rest: its halves are multiplied by x^(n+64) mod P and x^n mod P, and the 96 bits that come out are added. Four
 * such accumulators go through the message side by side, 64 bytes at a time; in the end they and what is left of 128
 * bits are brought to 96, 64 and 32 bits.
 *
 * Zero bytes in front of a message change nothing, so it is the first group of blocks that may be incomplete, and no
 * byte behind the last group is left.
 *
 * What depends on the processor is a type V: its Block, and load(), loadHead(), zero(), words(), add(), product()
 * and reduce(). A file that includes this one defines FOLDS before, the attribute of functions that use its
 * instructions: the rest of the library runs on any processor.
 */
#ifndef PSI_CRC_FOLD_H
#define PSI_CRC_FOLD_H

#include "psiCrc.h"

#include <stdint.h>

namespace psi::core {

/** @brief x^n mod P. */
constexpr u32 powerOfX(u32 n)
{
    u32 power = 1;
    for (; n != 0; --n)
        power = power & 0x80000000U ? power << 1 ^ crcPolynomial : power << 1;
    return power;
}

/** @brief x^n divided by P, without the rest. */
constexpr uint64_t quotientOfX(u32 n)
{
    uint64_t quotient = 0;
    u32 rest = 1; // of the part of x^n that is divided so far
    for (; n != 0; --n) {
        quotient = quotient << 1 | rest >> 31;
        rest = rest & 0x80000000U ? rest << 1 ^ crcPolynomial : rest << 1;
    }
    return quotient;
}

/** @brief The factors for the two halves of a block that is moved by `bits`. */
struct FoldKeys {
    uint64_t high, low;
};

constexpr FoldKeys foldKeys(u32 bits)
{
    return {powerOfX(bits + 64), powerOfX(bits)};
}

constexpr uint64_t crcDivisor = uint64_t{1} << 32 | crcPolynomial;

constexpr u32 blockLen = 16;
constexpr u32 groupLen = 4 * blockLen;
constexpr u32 groupBits = 8 * groupLen;

/** @brief The accumulators behind the first blocks, and where the message goes on, by whole groups. */
template <class V> struct FoldStart {
    typename V::Block a[4];
    const u8 *at;
    u32 groups;
};

/**
 * @brief Bytes in front of the first block to go through the tables: 1 to 3, or none.
 *
 * The register is added to the first four bytes, for which a first block with less has no room.
 */
inline u32 oddHead(u32 len)
{
    const u32 odd = len % blockLen;
    return odd <= 3 ? odd : 0;
}

/** @brief The factors as a block. */
template <class V, u32 bits> FOLDS inline typename V::Block keysFor()
{
    constexpr FoldKeys keys = foldKeys(bits);
    return V::words(keys.high, keys.low);
}

template <class V> FOLDS inline FoldStart<V> startFold(u32 crc, const u8 *bytes, u32 len)
{
    const u32 head = (len - 1) % blockLen + 1;
    const u32 blocks = (len + blockLen - 1) / blockLen;
    const u32 groups = (blocks - 1) / 4;
    const auto none = V::zero();
    const auto first = V::loadHead(crc, bytes, head);
    const u8 *at = bytes + head;
    switch (blocks % 4) {
    case 1:
        return {{none, none, none, first}, at, groups};
    case 2:
        return {{none, none, first, V::load(at)}, at + blockLen, groups};
    case 3:
        return {{none, first, V::load(at), V::load(at + blockLen)}, at + 2 * blockLen, groups};
    default:
        return {{first, V::load(at), V::load(at + blockLen), V::load(at + 2 * blockLen)}, at + 3 * blockLen, groups};
    }
}

/** @brief Take a block into one that lies behind it, as far as `keys` say. */
template <class V> FOLDS inline typename V::Block fold(typename V::Block a, typename V::Block keys, const u8 *next)
{
    return V::add(V::product(a, keys), V::load(next));
}

/** @brief The sum of a message whose first block has room for the register. */
template <class V> FOLDS inline u32 foldedSum(u32 crc, const u8 *bytes, u32 len)
{
    FoldStart<V> start = startFold<V>(crc, bytes, len);
    auto a0 = start.a[0], a1 = start.a[1], a2 = start.a[2], a3 = start.a[3];
    const auto keys = keysFor<V, groupBits>();
    for (; start.groups != 0; --start.groups, start.at += groupLen) {
        a0 = fold<V>(a0, keys, start.at);
        a1 = fold<V>(a1, keys, start.at + blockLen);
        a2 = fold<V>(a2, keys, start.at + 2 * blockLen);
        a3 = fold<V>(a3, keys, start.at + 3 * blockLen);
    }
    // Each to its place in front of the end, times x^32.
    const auto front = V::add(V::product(a0, keysFor<V, 416>()), V::product(a1, keysFor<V, 288>()));
    const auto rear = V::add(V::product(a2, keysFor<V, 160>()), V::product(a3, keysFor<V, 32>()));
    return V::reduce(V::add(front, rear));
}

} // namespace psi::core

#endif
