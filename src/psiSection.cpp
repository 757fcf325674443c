#include "psiSection.h"

using namespace psi::core;

i32 psi::core::addDescriptor(descInfo **head, const Descriptor &descriptor, const Keep &keep,
                             const DescriptorTexts &texts)
{
    constexpr u32 headerLen = 2; // descriptor_tag, descriptor_length
    return takeDescriptors(Reader(descriptor.bytes - headerLen, headerLen + descriptor.len), head, keep, texts);
}

i32 psi::core::takeDescriptors(Reader loop, descInfo **head, const Keep &keep, const DescriptorTexts &texts)
{
    NodeMaker<descInfo> nodes(keep.pool, head, descInfoType);
    return forEachDescriptor(loop, texts.length, [&](const Descriptor &descriptor) {
        descInfo *node = nodes.creat();
        if (!node)
            return schFail(texts.creat);
        node->descTag = descriptor.tag;
        if (keepBytes(node->descData, node->descLen, descriptor.bytes, descriptor.len, keep))
            return 0;
        schLog(texts.memory);
        nodes.destroyLast(node);
        return -1;
    });
}
