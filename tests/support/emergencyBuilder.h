/**
 * @file emergencyBuilder.h
 * @brief Sections of the four emergency tables for tests.
 *
 * A plain record says what the section carries; ebitOf() and alike give the builder of the long section around it:
 * `ebctOf({.contents = ...}).number(0, 0).build()`.
 */
#ifndef PSITEST_EMERGENCY_BUILDER_H
#define PSITEST_EMERGENCY_BUILDER_H

#include "support/sectionBuilder.h"

#include <optional>

namespace psitest {

/** @brief A stream of an EBIT details channel. */
struct EbitStream {
    u8 type = 0;
    u16 pid = 0;
    Bytes descriptors;
};

/** @brief The details channel of an EBIT message. */
struct EbitChannel {
    u16 word0 = 0;
    u16 word1 = 0;
    u16 word2 = 0; /**< both bytes of the field, of which a parser keeps the second */
    u16 pid = 0;
    Bytes descriptors;
    std::vector<EbitStream> streams;
};

/** @brief A message of the EBIT. */
struct EbitMessage {
    u16 word0 = 0;
    Bytes id = counting(18); /**< 18 bytes */
    u16 word20 = 0;
    u16 word22 = 0;
    u32 value24 = 0; /**< 24 bits */
    u16 word27 = 0;
    u32 value29 = 0;             /**< 24 bits */
    Bytes bytes32 = counting(5); /**< 5 bytes */
    u8 high37 = 0;
    u8 low37 = 0;
    std::vector<Bytes> resources; /**< 12 bytes each */
    std::optional<EbitChannel> channel;
};

struct EbitTable {
    std::vector<EbitMessage> messages;
    Bytes signature;
};

struct EbctAuxiliary {
    u8 type = 0;
    Bytes data;
};

/** @brief A content of the EBCT. */
struct EbctContent {
    u32 word = 0;
    u8 byte4 = 0;
    u8 byte5 = 0;
    u8 byte6 = 0;
    u8 byte7 = 0; /**< all 8 bits */
    Bytes text;
    Bytes agency;
    std::vector<EbctAuxiliary> auxiliary;
};

struct EbctTable {
    Bytes ebmId = counting(18); /**< 18 bytes */
    std::vector<EbctContent> contents;
    Bytes signature;
    Bytes stuffing; /**< between the signature and CRC_32 */
};

struct EbcatTable {
    std::vector<Bytes> caList;
    std::vector<Bytes> ct;
    Bytes signature;
};

struct EbcctCommand {
    u8 tag = 0;
    Bytes data;
};

struct EbcctTable {
    std::vector<EbcctCommand> commands;
    Bytes signature;
};

/** @name The section around a table, its long header still to be changed @{ */
LongSectionBuilder ebitOf(const EbitTable &table);
LongSectionBuilder ebctOf(const EbctTable &table);
LongSectionBuilder ebcatOf(const EbcatTable &table);
LongSectionBuilder ebcctOf(const EbcctTable &table);
/** @} */

} // namespace psitest

#endif // PSITEST_EMERGENCY_BUILDER_H
