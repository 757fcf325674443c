/**
 * @file makeObject.h
 * @brief The library's make objects for as long as they are needed, and what they own.
 */
#ifndef PSITOOL_MAKE_OBJECT_H
#define PSITOOL_MAKE_OBJECT_H

#include "describe/modelView.h"
#include "output/described.h"

#include <cstring>
#include <stdexcept>

namespace psitool {

/** @brief What a creator of the library returned. @throw std::runtime_error null: the pool is exhausted */
template <typename Node> Node &made(Node *node)
{
    if (!node)
        throw std::runtime_error("the library's memory pool is exhausted");
    return *node;
}

/**
 * @brief To be called when the library refused something: for want of memory, or for what the input is like?
 * @throw std::runtime_error the pool has no room for one more section
 */
inline void requireRoom()
{
    constexpr u32 longSection = 4096;
    psi_buddy_free(&made(static_cast<u8 *>(psi_buddy_malloc(longSection))));
}

/** @brief A pool block with the bytes, as make objects and trees own them; null for none. */
inline u8 *poolCopy(ByteView bytes)
{
    if (bytes.empty())
        return nullptr;
    u8 *block = &made(static_cast<u8 *>(psi_buddy_malloc(static_cast<u32>(bytes.size()))));
    std::memcpy(block, bytes.data(), bytes.size());
    return block;
}

/** @brief Give a descriptor another payload. */
inline void setPayload(descInfo &descriptor, ByteView payload)
{
    u8 *fresh = poolCopy(payload);
    psi_buddy_free(descriptor.descData);
    descriptor.descData = fresh;
    descriptor.descLen = static_cast<u8>(payload.size());
}

/** @brief Append a descriptor to a list. */
inline void addDescriptor(descInfo **list, u8 tag, ByteView payload)
{
    descInfo &added = made(descInfoCreat(list));
    added.descTag = tag;
    setPayload(added, payload);
}

/** @brief Append the descriptors of another list. */
inline void addDescriptors(descInfo **list, const descInfo *others)
{
    for (const descInfo &descriptor : nodes(others))
        addDescriptor(list, descriptor.descTag, {descriptor.descData, descriptor.descLen});
}

/** @brief A make object. */
class MakeObject {
public:
    MakeObject() : id_(psiMakeCreate()) { made(getMakeObjDataInfo(id_)); }
    ~MakeObject() { psiMakeDestroy(id_); }
    MakeObject(const MakeObject &) = delete;
    MakeObject &operator=(const MakeObject &) = delete;

    psiObjId id() const { return id_; }
    tsInfo &model() const { return *getMakeObjDataInfo(id_); }

private:
    psiObjId id_;
};

} // namespace psitool

#endif
