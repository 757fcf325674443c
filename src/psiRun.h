/**
 * @file psiRun.h
 * @brief Reassembly: the first section of a run of packets, found before it is copied.
 */
#ifndef PSI_RUN_H
#define PSI_RUN_H

#include "psiInternal.h"

namespace psi::core {

/**
 * @brief A section on its way: where its bytes lie in the packets.
 *
 * They are copied when it is whole, and so once; a run that breaks leaves nothing behind.
 */
class Run {
public:
    /** @brief The next bytes of the section, and perhaps of what follows it. */
    void append(const u8 *bytes, u32 n)
    {
        if (dataLen_ == 0 && n >= longHeaderLen)
            memcpy(header_.bytes, bytes, longHeaderLen);
        else
            for (u32 i = 0; i < n && dataLen_ + i < longHeaderLen; ++i)
                header_.bytes[dataLen_ + i] = bytes[i];
        pieces_[count_++] = {bytes, n};
        dataLen_ = static_cast<u16>(dataLen_ + n);
        if (sectionLen_ == 0 && dataLen_ >= sectionLengthEnd)
            sectionLen_ = static_cast<u16>((beU16(header_.bytes + 1) & 0x0FFF) + sectionLengthEnd);
    }
    u16 dataLen() const { return dataLen_; }
    /** @brief 0 while fewer than three bytes are there. */
    u16 sectionLen() const { return sectionLen_; }
    bool started() const { return count_ != 0; }
    /** @brief Is this the packet behind the one before? */
    bool follows(u8 counter) const { return counter == ((lastCounter_ + 1) & 0x0F); }
    void setCounter(u8 counter) { lastCounter_ = counter; }

    /** @brief The header of a whole section. */
    LongHeaderBytes header() const
    {
        LongHeaderBytes header = header_;
        for (u32 i = sectionLen_; i < longHeaderLen; ++i)
            header.bytes[i] = 0xFF;
        return header;
    }

    /** @brief Write the bytes of a whole section. */
    void copyTo(u8 *section) const
    {
        u32 left = sectionLen_;
        for (const Piece *piece = pieces_; left != 0; ++piece) {
            const u32 n = piece->len < left ? piece->len : left;
            copyPayload(section, piece->bytes, n);
            section += n;
            left -= n;
        }
    }

private:
    struct Piece {
        const u8 *bytes;
        u32 len;
    };

    /** @brief Most payloads are whole packets: a copy of known size is one run of moves. */
    static void copyPayload(u8 *to, const u8 *from, u32 n)
    {
        constexpr u32 wholePayload = tsPacketLen - 4;
        if (n == wholePayload)
            memcpy(to, from, wholePayload);
        else
            memcpy(to, from, n);
    }

    Piece pieces_[maxRunPackets];
    u32 count_ = 0;
    LongHeaderBytes header_; /**< and what follows a section that is shorter */
    u16 dataLen_ = 0;
    u16 sectionLen_ = 0;
    u8 lastCounter_ = 0;
};

/**
 * @brief Find the first section of a run; see psiTsToSection(). The arguments are not checked.
 * @param run a fresh one; its packets must outlive it
 * @return whether there is a whole section of at most `maxLen` bytes
 */
bool findSection(Run &run, const u8 *tsData, u8 tsNum, u16 maxLen);

/** @brief The header of the section that a packet opens, as far as it lies in this packet. */
LongHeaderBytes peekHeader(const u8 *packet);

} // namespace psi::core

#endif
