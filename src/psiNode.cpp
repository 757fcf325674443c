#include "psiNode.h"

using namespace psi::core;

namespace {

/** @brief The pointer at an address; it is of a type of its own there, so it is read as bytes. */
void *pointerAt(const void *place)
{
    void *pointer;
    memcpy(&pointer, place, sizeof(pointer));
    return pointer;
}

i32 unlinkNode(void *head, void *node, const NodeTexts &texts)
{
    const LogText *failure = !head                          ? &texts.destroyNoHead
                             : !pointerAt(head)             ? &texts.destroyEmpty
                             : !node                        ? &texts.destroyNoNode
                             : zlst_delete(head, node) == 0 ? &texts.destroyNoDelete
                                                            : nullptr;
    return failure ? schFail(*failure) : 0;
}

i32 destroyOwnedRecord(PoolGuard &pool, void *record, const Owned &owned)
{
    if (!record || destroyRecord(pool, record, static_cast<const RecordType &>(*owned.type)) == 0)
        return 0;
    return schFail(owned.failure);
}

i32 destroyOwned(PoolGuard &pool, void *place, const Owned &owned, bool freeData)
{
    switch (owned.kind) {
    case Owned::Kind::bytes:
        if (freeData)
            pool.release(pointerAt(place));
        return 0;
    case Owned::Kind::list:
        return emptyNodes(pool, place, static_cast<const NodeType &>(*owned.type), freeData, owned.failure);
    case Owned::Kind::record:
        break;
    }
    return destroyOwnedRecord(pool, pointerAt(place), owned);
}

/** @brief Destroy what a node or record owns, then itself. */
i32 destroyWhole(PoolGuard &pool, void *object, const TypeHead &type, bool freeData)
{
    u8 *const bytes = static_cast<u8 *>(object);
    for (const Owned *owned = type.owned; owned != type.owned + type.ownedCount; ++owned)
        if (destroyOwned(pool, bytes + owned->at, *owned, freeData) == -1)
            return -1;
    if (type.wiped)
        memset(object, 0, type.size);
    pool.release(object);
    return 0;
}

} // namespace

void *psi::core::allocateZeroed(PoolGuard &pool, u32 size)
{
    void *block = pool.allocate(size);
    if (block)
        memset(block, 0, size);
    return block;
}

u8 *psi::core::copyBytes(PoolGuard &pool, const u8 *bytes, u32 n)
{
    auto *copy = static_cast<u8 *>(pool.allocate(n));
    if (copy)
        memcpy(copy, bytes, n);
    return copy;
}

void *psi::core::creatNode(PoolGuard &pool, void *head, const NodeType &type)
{
    void *node = head ? allocateZeroed(pool, type.size) : nullptr;
    if (node && zlst_push(head, node) == 0)
        return node;
    schLog(!head ? type.texts.creatNoHead : !node ? type.texts.creatNoMemory : type.texts.creatNoPush);
    pool.release(node);
    return nullptr;
}

i32 psi::core::destroyNode(PoolGuard &pool, void *head, void *node, const NodeType &type, bool freeData)
{
    if (unlinkNode(head, node, type.texts) == -1 || destroyWhole(pool, node, type, freeData) == -1)
        return -1;
    schLog(type.texts.destroyed);
    return 0;
}

i32 psi::core::emptyNodes(PoolGuard &pool, void *head, const NodeType &type, bool freeData, const LogText &failure)
{
    while (void *first = pointerAt(head))
        if (destroyNode(pool, head, first, type, freeData) == -1)
            return schFail(failure);
    return 0;
}

void *psi::core::creatRecord(PoolGuard &pool, const RecordType &type)
{
    void *record = allocateZeroed(pool, type.size);
    if (!record)
        schLog(type.texts.creatNoMemory);
    return record;
}

i32 psi::core::destroyRecord(PoolGuard &pool, void *record, const RecordType &type)
{
    if (!record)
        return schFail(type.texts.destroyNoRecord);
    if (destroyWhole(pool, record, type, true) == -1)
        return -1;
    schLog(type.texts.destroyed);
    return 0;
}
