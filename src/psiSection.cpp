#include "psiSection.h"

using namespace psi::core;

u32 psi::core::bytesUpTo(u8 tag, const Reader &loop)
{
    Reader rest = loop;
    Descriptor descriptor;
    u32 bytes = 0;
    while (takeDescriptor(rest, descriptor) && descriptor.tag != tag)
        bytes += descriptorHead + descriptor.len;
    return bytes;
}

bool psi::core::takeDescriptors(Reader loop, descInfo **head, const Keep &keep, const DescriptorTexts &texts)
{
    NodeMaker<descInfo> nodes(keep.pool, head, descInfoType);
    while (loop.remaining() != 0) {
        Descriptor descriptor;
        if (!takeDescriptor(loop, descriptor))
            return refused(texts.length);
        descInfo *const node = nodes.creat();
        if (!node)
            return refused(texts.creat);
        node->descTag = descriptor.tag;
        if (!keepBytes(node->descData, node->descLen, descriptor.bytes, descriptor.len, keep)) {
            schLog(texts.memory);
            nodes.dropLast(node);
            return false;
        }
    }
    return true;
}
