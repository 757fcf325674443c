/**
 * @file psiSection.h
 * @brief What analysers and parsers both read: a section's header, its descriptor loops and the fixed fields of
 * entries.
 */
#ifndef PSI_SECTION_H
#define PSI_SECTION_H

#include "psiInternal.h"
#include "psiReader.h"
#include "psiTables.h"

namespace psi::core {

/** @brief What stands between section_length and CRC_32 of a section that has passed psiCheckCrc(). */
inline Reader sectionBody(const u8 *section)
{
    return Reader(section + sectionLengthEnd, sectionLength(section) - crcLen);
}

inline u8 syntaxIndicator(const u8 *section)
{
    return section[1] >> 7;
}

/** @brief The header of a long section behind section_length. ISO/IEC 13818-1 2.4.4.11. */
struct LongHeader {
    u16 tableIdExt;
    u8 version;
    u8 currentNext;
    u8 sectionNumber;
    u8 lastSectionNumber;
};

inline LongHeader takeLongHeader(Reader &body)
{
    LongHeader header;
    header.tableIdExt = body.take16();
    const u8 flags = body.take8();
    header.version = flags >> 1 & 0x1F;
    header.currentNext = flags & 1;
    header.sectionNumber = body.take8();
    header.lastSectionNumber = body.take8();
    return header;
}

/** @brief Shortest section_length of a PAT: the long header, one program and CRC_32 less what a PAT may lack. */
constexpr u32 shortestPatLength = 10;

/** @brief An entry of a PAT. ISO/IEC 13818-1 2.4.4.3. */
struct PatEntry {
    u16 programNumber;
    u16 pid;
};

inline PatEntry takePatEntry(Reader &body)
{
    const u16 programNumber = body.take16();
    return {programNumber, body.takePid()};
}

/** @brief A stream of a PMT or of the details channel of an EBIT. ISO/IEC 13818-1 2.4.4.8. */
struct StreamEntry {
    u8 type;
    u16 pid;
    u16 infoLength;
    Reader descriptors;
};

inline StreamEntry takeStreamEntry(Reader &body)
{
    const u8 type = body.take8();
    const u16 pid = body.takePid();
    const u16 infoLength = body.takeLength12();
    return {type, pid, infoLength, body.takeLoop(infoLength)};
}

/** @brief A service of an SDT. EN 300 468 5.2.3. */
struct ServiceEntry {
    u16 serviceId;
    u8 eitSchedule;
    u8 eitPresentFollowing;
    u8 runningStatus;
    u8 freeCaMode;
    u16 descriptorsLength;
    Reader descriptors;
};

inline ServiceEntry takeServiceEntry(Reader &body)
{
    const u16 serviceId = body.take16();
    const u8 eit = body.take8();
    const u16 word = body.take16();
    const u16 length = word & 0x0FFF;
    return {serviceId,
            static_cast<u8>(eit >> 1 & 1),
            static_cast<u8>(eit & 1),
            static_cast<u8>(word >> 13),
            static_cast<u8>(word >> 12 & 1),
            length,
            body.takeLoop(length)};
}

/** @brief A transport stream of a NIT or BAT. EN 300 468 5.2.1, 5.2.2. */
struct NetworkEntry {
    u16 transportStreamId;
    u16 originalNetworkId;
    u16 descriptorsLength;
    Reader descriptors;
};

inline NetworkEntry takeNetworkEntry(Reader &streams)
{
    const u16 transportStreamId = streams.take16();
    const u16 originalNetworkId = streams.take16();
    const u16 length = streams.takeLength12();
    return {transportStreamId, originalNetworkId, length, streams.takeLoop(length)};
}

/** @brief Where nodes come from, and whether byte runs are copied or pointed at in the section. */
struct Keep {
    template <class Node> using Nodes = NodeMaker<Node>;
    static constexpr bool mayFail = true;

    PoolGuard &pool;
    bool copies;
};

/** @brief The same for a tree that is laid into the pool's strip, where there is room for all of it. */
struct KeepLaid {
    template <class Node> using Nodes = NodeLayer<Node>;
    static constexpr bool mayFail = false;

    StripLayer &pool;
};

/** @brief What makes the nodes of a list. */
template <class Source, class Node> using NodesOf = typename Source::template Nodes<Node>;

/**
 * @brief Keep a byte run: a pointer into the section, or a copy in a pool block (null when it is empty).
 * @param pool what copies come from
 * @return false when the pool is exhausted: then the run is null with length 0
 */
template <class Length, class Pool>
PSI_IN_PLACE bool keepBytes(u8 *&data, Length &len, const u8 *bytes, u32 n, Pool &pool, bool copies)
{
    // The section's owner handed it out writable.
    data = !copies ? const_cast<u8 *>(bytes) : n != 0 ? copyBytes(pool, bytes, n) : nullptr;
    const bool kept = data || n == 0;
    len = static_cast<Length>(kept ? n : 0);
    return kept;
}

template <class Length> bool keepBytes(u8 *&data, Length &len, const u8 *bytes, u32 n, const Keep &keep)
{
    return keepBytes(data, len, bytes, n, keep.pool, keep.copies);
}

constexpr u32 descriptorHead = 2; // descriptor_tag, descriptor_length

/** @brief One descriptor of a loop. ISO/IEC 13818-1 2.6. */
struct Descriptor {
    u8 tag;
    u8 len;
    const u8 *bytes;
};

/** @brief The next descriptor of a loop. @return false when it runs past the loop's end */
inline bool takeDescriptor(Reader &loop, Descriptor &descriptor)
{
    const u8 *header = loop.takeBytes(descriptorHead);
    if (!header)
        return false;
    descriptor.tag = header[0];
    descriptor.len = header[1];
    descriptor.bytes = loop.takeBytes(descriptor.len);
    return descriptor.bytes;
}

struct DescriptorTexts {
    LogText length, creat, memory;
};

/** @brief A loop whose descriptors all go to one list. */
bool takeDescriptors(Reader loop, descInfo **head, const Keep &keep, const DescriptorTexts &texts);

/** @brief Bytes of the descriptors in front of the first one that has a tag or runs past the loop's end. */
u32 bytesUpTo(u8 tag, const Reader &loop);

/**
 * @brief A loop whose descriptors go to one list, but for those with a tag.
 * @param take called with every one of these; false ends the loop
 */
template <class Take>
bool takeDescriptorsBut(u8 tag, Reader loop, descInfo **head, const Keep &keep, const DescriptorTexts &texts, Take take)
{
    while (loop.remaining() != 0) {
        const Reader others = loop.takeLoop(bytesUpTo(tag, loop));
        if (!takeDescriptors(others, head, keep, texts))
            return false;
        if (loop.remaining() == 0)
            break;
        Descriptor descriptor;
        if (!takeDescriptor(loop, descriptor))
            return refused(texts.length);
        if (!take(descriptor))
            return false;
    }
    return true;
}

static_assert(laidNodeUnits <= descriptorHead, "what a tree takes of a strip is bounded by the bytes of its section");

/** @brief One descriptor of a tree that is laid. */
PSI_IN_PLACE void layDescriptor(StripLayer &strip, descInfo *node, const u8 *descriptor, u32 length)
{
    memset(&node->link + 1, 0, sizeof(*node) - sizeof(node->link));
    node->descTag = descriptor[0];
    node->descLen = static_cast<u8>(length);
    if (length == 0)
        return;
    node->descData = strip.bytes(length);
    copyFew(node->descData, descriptor + descriptorHead, length);
}

/** @brief A loop of a tree that is laid. */
PSI_IN_PLACE bool takeDescriptors(const Reader &loop, descInfo **head, const KeepLaid &keep,
                                  const DescriptorTexts &texts)
{
    const u8 *at = loop.position();
    const u8 *const end = at + loop.remaining();
    NodeRow<laidNodeStep> list(keep.pool.nextNode());
    while (static_cast<u32>(end - at) >= descriptorHead) {
        const u32 length = at[1];
        const u8 *const next = at + descriptorHead + length;
        if (next > end)
            break;
        auto *const node = static_cast<descInfo *>(keep.pool.node(sizeof(descInfo)));
        list.put(&node->link);
        layDescriptor(keep.pool, node, at, length);
        at = next;
    }
    *head = static_cast<descInfo *>(list.close(keep.pool.nextNode()));
    if (at != end)
        return refused(texts.length);
    return true;
}

} // namespace psi::core

#endif
