/**
 * @file soundHeaders.h
 * @brief Frames of sound, put together bit by bit.
 */
#ifndef PSITEST_SOUND_HEADERS_H
#define PSITEST_SOUND_HEADERS_H

#include "support/sectionBuilder.h"

#include <string>

namespace psitest {

/** @brief Bytes of a text of 0 and 1; what is between them does not count, the last byte is filled up with zeros. */
Bytes bitsOf(const std::string &digits);
/** @brief As many binary digits of a number. */
std::string binary(u32 value, unsigned digits);

/** @brief E-AC-3 of 48 kHz and 1536 samples, ETSI TS 102 366 E.1.2; frames follow each other. */
struct EnhancedFrame {
    unsigned type = 0; /**< strmtyp: 0 independent, 1 dependent */
    unsigned substream = 0;
    unsigned mode = 7; /**< acmod */
    bool low = false;
    int map = -1; /**< chanmap of a dependent one; negative: none */
    unsigned bytes = 256;
};
Bytes enhancedFrame(const EnhancedFrame &frame);

/** @brief A core frame of DTS: 512 samples at 48 kHz, ETSI TS 102 114 5.3.1. */
struct DtsFrame {
    bool normal = true;
    unsigned arrangement = 9; /**< AMODE */
    unsigned sampling = 13;   /**< SFREQ */
    int extension = -1;       /**< EXT_AUDIO_ID; negative: none */
    unsigned low = 2;         /**< LFF */
    unsigned bytes = 1024;
};
Bytes dtsFrame(const DtsFrame &frame);
/** @brief An extension substream of DTS, ETSI TS 102 114 7.4.1. */
Bytes dtsExtension(unsigned bytes, bool isLong = false);

/** @brief ac4_syncframe() around ac4_toc(), that many bytes in all; ETSI TS 103 190-1 annex G. */
Bytes ac4Frame(const std::string &contents, std::size_t bytes = 200, bool crc = false);
/** @brief ac4_toc() of one presentation of one substream. @param mode channel_mode and what follows */
std::string ac4Contents(const std::string &mode, unsigned rate = 2);
/** @brief The same with substream groups, ETSI TS 103 190-2 6.2.1, and a program_id. */
std::string ac4GroupContents(const std::string &mode, unsigned rate = 2);

/** @brief An access unit of Opus. @param flags both trims and the extension, of 3 bits */
Bytes opusUnit(std::size_t payload, unsigned flags = 0);

} // namespace psitest

#endif // PSITEST_SOUND_HEADERS_H
