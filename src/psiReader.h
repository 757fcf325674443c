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

    u8 take8()
    {
        const u8 *p = takeBytes(1);
        return p ? *p : u8{0};
    }
    u16 take16()
    {
        const u8 *p = takeBytes(2);
        return p ? beU16(p) : u16{0};
    }
    u32 take24()
    {
        const u8 *p = takeBytes(3);
        return p ? beU24(p) : 0;
    }
    u32 take32()
    {
        const u8 *p = takeBytes(4);
        return p ? beU32(p) : 0;
    }
    /** @brief 13 bits behind 3 reserved ones. */
    u16 takePid() { return take16() & 0x1FFF; }
    /** @brief 12 bits behind 4 reserved ones. */
    u16 takeLength12() { return take16() & 0x0FFF; }

    /** @brief The next `n` bytes, or null when there are not so many. */
    const u8 *takeBytes(u32 n)
    {
        if (n > left_) {
            overrun_ = true;
            left_ = 0;
            return nullptr;
        }
        const u8 *p = at_;
        at_ += n;
        left_ -= n;
        return p;
    }
    /** @brief A reader over the next `n` bytes; an empty one when there are not so many. */
    Reader takeLoop(u32 n)
    {
        const u8 *p = takeBytes(n);
        return p ? Reader(p, n) : Reader(at_, 0);
    }
    void skip(u32 n) { takeBytes(n); }

private:
    const u8 *at_;
    u32 left_;
    bool overrun_ = false;
};

} // namespace psi::core

#endif
