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

/** @brief The first node of a list, which is empty afterwards; null when it was. */
void *takeFirst(void *head)
{
    void *const first = pointerAt(head);
    memset(head, 0, sizeof(first)); // NOLINT(bugprone-sizeof-expression): the pointer itself
    return first;
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

/**
 * @brief The destruction of what is on lists and of what is owned.
 *
 * Where blocks can go in place, and nobody is told of nodes that are gone, nobody sees a list while it is emptied: it
 * is followed, and what its links say of each other dies with them. Nothing can fail there.
 */
class Destruction {
public:
    Destruction(PoolGuard &pool, bool freeData) : pool_(pool), freeData_(freeData)
    {
        if (!poolInPlace || !pool.inPlace() || logsText(descInfoType.texts.destroyed))
            return;
        inPlace_ = pool.inPlace();
        notePeak(inPlace_);
        strip_ = StripRelease(inPlace_);
    }
    ~Destruction()
    {
        if (poolInPlace && inPlace_)
            noteFreed(inPlace_->strip, freed_);
    }
    Destruction(const Destruction &) = delete;
    Destruction &operator=(const Destruction &) = delete;

    /** @brief Destroy the first node until the list is empty. -1 as soon as one fails, after `failure` was logged. */
    i32 empty(void *head, const NodeType &type, const LogText &failure)
    {
        if (!poolInPlace || !inPlace_)
            return emptyByCalls(head, type, failure);
        emptyInPlace(head, type);
        return 0;
    }

    /** @brief Destroy what a node or record owns. */
    i32 emptyOwner(void *object, const TypeHead &type)
    {
        const Owned *const end = type.owned + type.ownedCount;
        for (const Owned *owned = type.owned; owned != end; ++owned)
            if (destroyOwned(static_cast<u8 *>(object) + owned->at, *owned) == -1)
                return -1;
        return 0;
    }

    /** @brief Destroy a node that stands on a list. */
    i32 destroyListed(void *head, void *node, const NodeType &type)
    {
        if (zlst_delete(head, node) == 0)
            return schFail(type.texts.destroyNoDelete);
        if (emptyOwner(node, type) == -1)
            return -1;
        zeroBehindLink(node, type);
        pool_.release(node);
        schLog(type.texts.destroyed);
        return 0;
    }

private:
    i32 destroyOwned(void *place, const Owned &owned);
    i32 emptyByCalls(void *head, const NodeType &type, const LogText &failure);
    void emptyInPlace(void *head, const NodeType &type);
    template <class Empty> void emptyInPlace(void *head, const NodeType &type, Empty empty);
    void emptyDescriptors(void *head, const StripRelease &strip, u32 &freed);
    void free(const StripRelease &strip, void *block, u32 &freed)
    {
        if (!strip.release(block, freed) && !(poolInPlace && keepBlock(inPlace_, block)))
            pool_.release(block);
    }

    PoolGuard &pool_;
    const bool freeData_;
    BuddyPool *inPlace_ = nullptr;
    StripRelease strip_;
    u32 freed_ = 0; // of the strip
};

i32 Destruction::destroyOwned(void *place, const Owned &owned)
{
    void *const first = pointerAt(place);
    if (!first || (owned.kind == Owned::Kind::bytes && !freeData_))
        return 0;
    switch (owned.kind) {
    case Owned::Kind::bytes:
        if (poolInPlace && inPlace_)
            free(strip_, first, freed_);
        else
            pool_.release(first);
        break;
    case Owned::Kind::list:
        return empty(place, static_cast<const NodeType &>(*owned.type), owned.failure);
    case Owned::Kind::record:
    default:
        if (destroyRecord(pool_, first, static_cast<const RecordType &>(*owned.type)) == -1)
            return schFail(owned.failure);
        break;
    }
    return 0;
}

i32 Destruction::emptyByCalls(void *head, const NodeType &type, const LogText &failure)
{
    while (void *const first = pointerAt(head))
        if (destroyListed(head, first, type) == -1)
            return schFail(failure);
    return 0;
}

/** @brief The nodes of a list; what one owns goes by `empty`. */
template <class Empty> void Destruction::emptyInPlace(void *head, const NodeType &type, Empty empty)
{
    const StripRelease strip = strip_;
    u32 freed = 0;
    auto *node = static_cast<zlstNode *>(takeFirst(head));
    while (node) {
        zlstNode *const next = nextOf(node);
        *node = {};
        empty(node, strip, freed);
        zeroBehindLink(node, type);
        free(strip, node, freed);
        node = next;
    }
    freed_ += freed;
}

/** @brief The same for descriptors, which most nodes are. */
PSI_IN_PLACE void Destruction::emptyDescriptors(void *head, const StripRelease &strip, u32 &freed)
{
    const bool freeData = freeData_;
    auto *node = static_cast<descInfo *>(takeFirst(head));
    while (node) {
        descInfo *const next = nextOf(node);
        u8 *const data = freeData ? node->descData : nullptr;
        memset(node, 0, sizeof(*node));
        if (data)
            free(strip, data, freed);
        free(strip, node, freed);
        node = next;
    }
}

void Destruction::emptyInPlace(void *head, const NodeType &type)
{
    if (&type == &descInfoType) {
        const StripRelease strip = strip_;
        emptyDescriptors(head, strip, freed_);
    } else if (type.ownedCount == 0) {
        emptyInPlace(head, type, [](void *, const StripRelease &, u32 &) {});
    } else if (type.ownedCount == 1 && type.owned->type == &descInfoType) {
        const size_t at = type.owned->at;
        emptyInPlace(head, type, [this, at](void *node, const StripRelease &strip, u32 &freed) {
            emptyDescriptors(static_cast<u8 *>(node) + at, strip, freed);
        });
    } else {
        emptyInPlace(head, type, [this, &type](void *node, const StripRelease &, u32 &) { emptyOwner(node, type); });
    }
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
    return failure ? schFail(*failure) : Destruction(pool, freeData).destroyListed(head, node, type);
}

i32 psi::core::emptyNodes(PoolGuard &pool, void *head, const NodeType &type, bool freeData, const LogText &failure)
{
    return Destruction(pool, freeData).empty(head, type, failure);
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
    if (Destruction(pool, true).emptyOwner(record, type) == -1)
        return -1;
    if (type.freed == Freed::zeroed)
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
