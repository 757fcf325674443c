#include "psiSection.h"

using namespace psi::core;

LongHeader psi::core::takeLongHeader(Reader &body)
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

StreamEntry psi::core::takeStreamEntry(Reader &body)
{
    const u8 type = body.take8();
    const u16 pid = body.takePid();
    const u16 infoLength = body.takeLength12();
    return {type, pid, infoLength, body.takeLoop(infoLength)};
}

ServiceEntry psi::core::takeServiceEntry(Reader &body)
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

NetworkEntry psi::core::takeNetworkEntry(Reader &streams)
{
    const u16 transportStreamId = streams.take16();
    const u16 originalNetworkId = streams.take16();
    const u16 length = streams.takeLength12();
    return {transportStreamId, originalNetworkId, length, streams.takeLoop(length)};
}

namespace {

/** @brief creatNode() for a descriptor, which most nodes are. Its fields are the caller's to write. */
inline descInfo *creatDescriptor(PoolGuard &pool, descInfo **head)
{
    auto *node = static_cast<descInfo *>(pool.allocate(sizeof(descInfo)));
    if (node && zlst_push(head, node) == 0)
        return node;
    return static_cast<descInfo *>(noNode(pool, head, node, descInfoType));
}

inline i32 putDescriptor(descInfo **head, const Descriptor &descriptor, const Keep &keep, const DescriptorTexts &texts)
{
    descInfo *node = creatDescriptor(keep.pool, head);
    if (!node)
        return schFail(texts.creat);
    node->descTag = descriptor.tag;
    if (keepBytes(node->descData, node->descLen, descriptor.bytes, descriptor.len, keep))
        return 0;
    schLog(texts.memory);
    nodeDestroy(keep.pool, head, node, descInfoType, false);
    return -1;
}

} // namespace

i32 psi::core::addDescriptor(descInfo **head, const Descriptor &descriptor, const Keep &keep,
                             const DescriptorTexts &texts)
{
    return putDescriptor(head, descriptor, keep, texts);
}

i32 psi::core::takeDescriptors(Reader loop, descInfo **head, const Keep &keep, const DescriptorTexts &texts)
{
    return forEachDescriptor(
        loop, texts.length, [&](const Descriptor &descriptor) { return putDescriptor(head, descriptor, keep, texts); });
}
