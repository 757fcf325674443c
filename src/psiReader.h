/**
 * @file psiReader.h
 * @brief A bounded cursor over the bytes of a section.
 *
 * Nothing can be read past the end: such a read gives 0 (null), leaves nothing to read and is remembered in overrun().
 */
#ifndef PSI_READER_H
#define PSI_READER_H

#include "psi.h"

namespace psi::core {

inline u16 beU16(const u8 *p)
{
    return static_cast<u16>(p[0] << 8 | p[1]);
}

inline u32 beU24(const u8 *p)
{
    return static_cast<u32>(p[0]) << 16 | beU16(p + 1);
}

inline u32 beU32(const u8 *p)
{
    return static_cast<u32>(beU16(p)) << 16 | beU16(p + 2);
}

class Reader {
public:
    constexpr Reader(const u8 *begin, u32 length) : at_(begin), left_(length) {}

    u32 remaining() const { return left_; }
    /** @brief Has a read gone past the end? */
    bool overrun() const { return overrun_; }
    const u8 *position() const { return at_; }

    u8 take8() { return has(1) ? *step(1) : u8{0}; }
    u16 take16() { return has(2) ? beU16(step(2)) : u16{0}; }
    u32 take24() { return has(3) ? beU24(step(3)) : 0; }
    u32 take32() { return has(4) ? beU32(step(4)) : 0; }
    /** @brief 13 bits behind 3 reserved ones. */
    u16 takePid() { return take16() & 0x1FFF; }
    /** @brief 12 bits behind 4 reserved ones. */
    u16 takeLength12() { return take16() & 0x0FFF; }

    /** @brief The next `n` bytes, or null when there are not so many. */
    const u8 *takeBytes(u32 n) { return has(n) ? step(n) : nullptr; }
    /** @brief A reader over the next `n` bytes; an empty one when there are not so many. */
    Reader takeLoop(u32 n) { return has(n) ? Reader(step(n), n) : Reader(at_, 0); }
    void skip(u32 n) { takeBytes(n); }

private:
    /** @brief Are there so many bytes? Where not, there are none any more. */
    bool has(u32 n)
    {
        if (n <= left_)
            return true;
        overrun_ = true;
        left_ = 0;
        return false;
    }
    /** @brief The next bytes, which are there. */
    const u8 *step(u32 n)
    {
        const u8 *p = at_;
        at_ += n;
        left_ -= n;
        return p;
    }

    const u8 *at_;
    u32 left_;
    bool overrun_ = false;
};

} // namespace psi::core

#endif
