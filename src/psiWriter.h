/**
 * @file psiWriter.h
 * @brief Builds one section in a buffer that it cannot pass.
 */
#ifndef PSI_WRITER_H
#define PSI_WRITER_H

#include "psiInternal.h"
#include "psiTables.h"

namespace psi::core {

/** @brief What stands in the long header of a section. ISO/IEC 13818-1 2.4.4.11. */
struct SectionHeader {
    u8 tableId;
    u16 tableIdExt;
    u8 version; /**< 5 bits */
    u8 sectionNumber;
    u8 lastSectionNumber;
};

inline void storeBe16(u8 *to, u32 value)
{
    to[0] = static_cast<u8>(value >> 8);
    to[1] = static_cast<u8>(value);
}

inline void storeBe32(u8 *to, u32 value)
{
    to[0] = static_cast<u8>(value >> 24);
    to[1] = static_cast<u8>(value >> 16);
    to[2] = static_cast<u8>(value >> 8);
    to[3] = static_cast<u8>(value);
}

/** @brief A 13-bit PID behind 3 reserved bits. */
inline u32 pidField(u16 pid)
{
    return 0xE000U | (pid & 0x1FFFU);
}

/** @brief Copy `n` bytes; zeros when there are none to copy. */
inline void copyOrZero(u8 *to, const u8 *from, u32 n)
{
    if (!from)
        memset(to, 0, n);
    else if (n != 0)
        copyFew(to, from, n);
}

/**
 * @brief Writes a section from table_id to CRC_32. Reserved bits are ones.
 *
 * The callers count before they write, so everything fits; what does not all the same is left out, for a model that
 * another task changes meanwhile must not cost more than its section.
 */
class SectionWriter {
public:
    SectionWriter(u8 *buf, u32 capacity) : buf_(buf), at_(buf), room_(capacity) {}

    const u8 *bytes() const { return buf_; }
    u16 size() const { return static_cast<u16>(at_ - buf_); }

    /** @brief The next `n` bytes, to be written by the caller; null when there is no room for them. */
    u8 *claim(u32 n)
    {
        if (n > room_)
            return nullptr;
        room_ -= n;
        u8 *const bytes = at_;
        at_ = bytes + n;
        return bytes;
    }
    void put8(u32 value)
    {
        if (u8 *bytes = claim(1))
            *bytes = static_cast<u8>(value);
    }
    void put16(u32 value)
    {
        if (u8 *bytes = claim(2))
            storeBe16(bytes, value);
    }
    void put32(u32 value)
    {
        if (u8 *bytes = claim(4))
            storeBe32(bytes, value);
    }
    /** @brief 13 bits behind 3 reserved ones. */
    void putPid(u16 pid) { put16(pidField(pid)); }
    /** @brief 12 bits behind 4 reserved ones. */
    void putLength12(u32 length) { put16(0xF000U | (length & 0x0FFFU)); }
    /** @brief 10 bits behind 6 reserved ones. */
    void putLength10(u32 length) { put16(0xFC00U | (length & 0x03FFU)); }
    /** @brief `n` bytes; zeros when there are none to copy. */
    void putBytes(const u8 *bytes, u32 n)
    {
        if (u8 *room = claim(n))
            copyOrZero(room, bytes, n);
    }
    void putDescriptor(const descInfo &descriptor)
    {
        u8 *bytes = claim(2U + descriptor.descLen);
        if (!bytes)
            return;
        bytes[0] = descriptor.descTag;
        bytes[1] = descriptor.descLen;
        copyOrZero(bytes + 2, descriptor.descData, descriptor.descLen);
    }
    void putDescriptors(const descInfo *list)
    {
        for (; list; list = nextOf(list))
            putDescriptor(*list);
    }
    /** @brief A CA_descriptor. ISO/IEC 13818-1 2.6.16. */
    void putCa(const caInfo &ca)
    {
        put8(caTag);
        put8(ca.privateLen + 4U);
        put16(ca.caSystemId);
        putPid(ca.caPid);
        putBytes(ca.privateData, ca.privateLen);
    }
    /** @brief table_id to last_section_number; section_length follows with seal(). */
    void putHeader(const SectionHeader &header)
    {
        put8(header.tableId);
        put16(0);
        put16(header.tableIdExt);
        put8(0xC1U | (header.version & 0x1FU) << 1);
        put8(header.sectionNumber);
        put8(header.lastSectionNumber);
    }
    /** @brief Leave `n` bytes for a field that is known later. @return its position */
    u32 reserve(u32 n)
    {
        const u32 position = size();
        putBytes(nullptr, n);
        return position;
    }
    /** @brief Fill the last two of the bytes that were claimed with the number of those behind them. */
    void closeLoop(u8 *claimed, u32 n, u32 bits)
    {
        if (claimed)
            storeBe16(claimed + n - 2, bits | (static_cast<u32>(at_ - claimed) - n));
    }
    /** @brief Fill a reserved byte. */
    void patch8(u32 position, u32 value)
    {
        if (position < size())
            buf_[position] = static_cast<u8>(value);
    }
    /** @brief Fill a reserved 16-bit length field. @param bits the reserved ones in front of it */
    void patchLength(u32 position, u32 bits, u32 length)
    {
        patch8(position, (bits | length) >> 8);
        patch8(position + 1, length);
    }
    /**
     * @brief Write section_length and append CRC_32.
     * @param flags the top four bits in front of section_length, as 0xB000 or 0xF000
     */
    void seal(u32 flags)
    {
        patchLength(1, flags, size() - sectionLengthEnd + crcLen);
        put32(psiCalculateCrc(buf_, size()));
    }

private:
    u8 *buf_, *at_;
    u32 room_; /**< bytes behind at_ */
};

/** @brief Top four bits of byte 1: section_syntax_indicator 1, '0', reserved ones. ISO/IEC 13818-1 2.4.4.3. */
constexpr u32 psiSectionFlags = 0xB000;
/** @brief The same with private_indicator 1. A/65 6.2. */
constexpr u32 psipSectionFlags = 0xF000;

/** @brief Nodes of a list from one to another, which is not of them. */
template <class Node> struct ListRange {
    const Node *first, *end;

    template <class Put> void forEach(Put put) const
    {
        for (const Node *node = first; node && node != end; node = nextOf(node))
            put(*node);
    }
};

/** @brief The nodes of a list that still wait for a section; carries over from one section to the next. */
template <class Node> class ListCursor {
public:
    /** @param bytes what all nodes take together */
    ListCursor(const Node *first, u32 bytes) : next_(first), left_(bytes) {}

    /** @brief Is no node left over? */
    bool done() const { return !next_; }
    /**
     * @brief Take nodes as long as they fit.
     * @param used bytes of the section so far; grows
     * @param budget the most that `used` may become
     * @param sizeOf bytes of a node
     */
    template <class SizeOf> ListRange<Node> take(u32 &used, u32 budget, SizeOf sizeOf)
    {
        const Node *first = next_;
        const u32 before = used;
        if (used + left_ <= budget) {
            used += left_;
            next_ = nullptr;
        }
        for (; next_; next_ = nextOf(next_)) {
            const u32 size = sizeOf(*next_);
            if (used + size > budget)
                break;
            used += size;
        }
        left_ -= used - before;
        return {first, next_};
    }

private:
    const Node *next_;
    u32 left_;
};

/** @brief Sum of `sizeOf` over a list. */
template <class Node, class SizeOf> u32 sumOf(const Node *list, SizeOf sizeOf)
{
    u32 sum = 0;
    for (; list; list = nextOf(list))
        sum += sizeOf(*list);
    return sum;
}

inline u32 descriptorSize(const descInfo &descriptor)
{
    return descriptor.descLen + 2U;
}

inline u32 caSize(const caInfo &ca)
{
    return ca.privateLen + 6U;
}

} // namespace psi::core

#endif
