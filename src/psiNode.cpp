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

void setPointerAt(void *place, void *pointer)
{
    memcpy(place, &pointer, sizeof(pointer));
}

/** @brief Zero a node behind its link, which the list library writes when a node comes and zeroes when it goes. */
inline void zeroBehindLink(void *node, const TypeHead &type)
{
    auto *word = static_cast<uintptr_t *>(node) + sizeof(zlstNode) / sizeof(uintptr_t);
    auto *const end = static_cast<uintptr_t *>(node) + type.size / sizeof(uintptr_t);
    *word++ = 0; // most nodes have one to three words
    if (word != end)
        *word++ = 0;
    if (word != end)
        *word++ = 0;
    if (word != end)
        memset(word, 0, static_cast<size_t>(end - word) * sizeof(uintptr_t));
}

i32 destroyOwnedRecord(PoolGuard &pool, void *record, const Owned &owned)
{
    const i32 result = destroyRecord(pool, record, static_cast<const RecordType &>(*owned.type));
    return result == -1 ? schFail(owned.failure) : 0;
}

/**
 * @brief Takes the nodes off a list that is being emptied, first node first.
 *
 * In place the chain is followed and nothing else: what the links say of other nodes dies with them.
 */
class Emptying {
public:
    Emptying(PoolGuard &pool, void *head, const NodeType &type)
        : pool_(pool), kept_(pool.kept(type.size)), head_(head), type_(type),
          next_(static_cast<zlstNode *>(pointerAt(head))), told_(logsText(type.texts.destroyed))
    {
    }

    bool done() const { return !next_; }

    /** @brief The first node, which is on the list no more; null when it stays there, which was logged. */
    zlstNode *take()
    {
        zlstNode *const node = next_;
        next_ = nextOf(node);
        if (kept_) {
            setPointerAt(head_, next_);
            *node = {};
        } else if (zlst_delete(head_, node) == 0) {
            schLog(type_.texts.destroyNoDelete);
            return nullptr;
        }
        return node;
    }

    /** @brief Free a node that was taken and that is zero. */
    void free(void *node)
    {
        pool_.give(kept_, node);
        if (told_)
            schLog(type_.texts.destroyed);
    }

private:
    PoolGuard &pool_;
    const KeptSize kept_;
    void *const head_;
    const NodeType &type_;
    zlstNode *next_;
    const bool told_;
};

/** @brief The same as emptyNodes() for descriptors, which most nodes are: an emptied one is two fields and a pointer.
 */
i32 emptyDescriptors(PoolGuard &pool, void *head, bool freeData, const LogText &failure)
{
    Emptying list(pool, head, descInfoType);
    while (!list.done()) {
        auto *const node = reinterpret_cast<descInfo *>(list.take());
        if (!node)
            return schFail(failure);
        u8 *const data = node->descData;
        node->descTag = 0;
        node->descLen = 0;
        node->descData = nullptr;
        if (freeData && data)
            pool.give(data);
        list.free(node);
    }
    return 0;
}

/** @brief Destroy the nodes or the record that a node or record owns. */
i32 destroyOwned(PoolGuard &pool, void *place, const Owned &owned, bool freeData)
{
    if (owned.kind == Owned::Kind::record)
        return destroyOwnedRecord(pool, pointerAt(place), owned);
    if (owned.type == &descInfoType)
        return emptyDescriptors(pool, place, freeData, owned.failure);
    return emptyNodes(pool, place, static_cast<const NodeType &>(*owned.type), freeData, owned.failure);
}

/** @brief Destroy what a node or record owns. */
i32 destroyAllOwned(PoolGuard &pool, void *object, const TypeHead &type, bool freeData)
{
    const Owned *const end = type.owned + type.ownedCount;
    for (const Owned *owned = type.owned; owned != end; ++owned) {
        void *const place = static_cast<u8 *>(object) + owned->at;
        if (owned->kind != Owned::Kind::bytes) {
            if (pointerAt(place) && destroyOwned(pool, place, *owned, freeData) == -1)
                return -1;
        } else if (freeData) {
            pool.release(pointerAt(place));
        }
    }
    return 0;
}

/** @brief Destroy what a node owns, and zero it. */
inline i32 clearNode(PoolGuard &pool, void *node, const NodeType &type, bool freeData)
{
    if (type.ownedCount != 0 && destroyAllOwned(pool, node, type, freeData) == -1)
        return -1;
    zeroBehindLink(node, type);
    return 0;
}

/** @brief Destroy a node that stands on a list. */
i32 destroyListed(PoolGuard &pool, void *head, void *node, const NodeType &type, bool freeData)
{
    if (zlst_delete(head, node) == 0)
        return schFail(type.texts.destroyNoDelete);
    if (clearNode(pool, node, type, freeData) == -1)
        return -1;
    pool.release(node);
    schLog(type.texts.destroyed);
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

void *psi::core::creatNode(PoolGuard &pool, void *head, const NodeType &type)
{
    void *node = head ? pool.allocate(type.size) : nullptr;
    if (node) {
        zeroBehindLink(node, type);
        if (zlst_push(head, node) == 0)
            return node;
    }
    return noNode(pool, head, node, type);
}

void *psi::core::noNode(PoolGuard &pool, const void *head, void *unlisted, const NodeType &type)
{
    schLog(!head ? type.texts.creatNoHead : !unlisted ? type.texts.creatNoMemory : type.texts.creatNoPush);
    pool.release(unlisted);
    return nullptr;
}

i32 psi::core::destroyNode(PoolGuard &pool, void *head, void *node, const NodeType &type, bool freeData)
{
    const LogText *failure = !head              ? &type.texts.destroyNoHead
                             : !pointerAt(head) ? &type.texts.destroyEmpty
                             : !node            ? &type.texts.destroyNoNode
                                                : nullptr;
    return failure ? schFail(*failure) : destroyListed(pool, head, node, type, freeData);
}

i32 psi::core::emptyNodes(PoolGuard &pool, void *head, const NodeType &type, bool freeData, const LogText &failure)
{
    Emptying list(pool, head, type);
    while (!list.done()) {
        zlstNode *const node = list.take();
        if (!node || clearNode(pool, node, type, freeData) == -1)
            return schFail(failure);
        list.free(node);
    }
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
    if (destroyAllOwned(pool, record, type, true) == -1)
        return -1;
    if (type.wiped)
        memset(record, 0, type.size);
    pool.release(record);
    schLog(type.texts.destroyed);
    return 0;
}

void *psi::core::creatNode(void *head, const NodeType &type)
{
    PoolGuard pool(psiMp);
    return creatNode(pool, head, type);
}

i32 psi::core::destroyNode(void *head, void *node, const NodeType &type, u32 freeData)
{
    PoolGuard pool(psiMp);
    return destroyNode(pool, head, node, type, (freeData & 0xFF) != 0);
}

void *psi::core::creatRecord(const RecordType &type)
{
    PoolGuard pool(psiMp);
    return creatRecord(pool, type);
}

i32 psi::core::destroyRecord(void *record, const RecordType &type)
{
    PoolGuard pool(psiMp);
    return destroyRecord(pool, record, type);
}
