/**
 * @file psiNode.h
 * @brief The life cycle of every list node and record: create, unlink, empty, free.
 *
 * What differs between types is data: the size, what a node owns and the texts. All work on nodes happens under a guard
 * of the pool, so one operation of psi.h takes the pool's mutex once, however many nodes it makes or destroys.
 */
#ifndef PSI_NODE_H
#define PSI_NODE_H

#include "list/zlstWords.h"
#include "platform.h"
#include "psiLog.h"

#include <stddef.h>
#include <string.h>

namespace psi::core {

/** @brief The pool, installed by psiSch_Init(). */
extern psiPoolId psiMp;

/** @brief Log what went wrong. @return -1 */
inline i32 schFail(const LogText &text)
{
    schLog(text);
    return -1;
}

/** @brief The same for what answers whether it went well. @return false */
inline bool refused(const LogText &text)
{
    schLog(text);
    return false;
}

inline i32 makeFail(const LogText &text)
{
    makeLog(text);
    return -1;
}

struct TypeHead;

/** @brief Something that a node or record owns. */
struct Owned {
    /** A byte run in a pool block, which goes only when the destroyer's flag says so; the nodes of a list; a record. */
    enum class Kind : u8 { bytes, list, record };

    Kind kind;
    u16 at;               /**< offset of the pointer to it */
    const TypeHead *type; /**< of the nodes or the record */
    LogText failure;      /**< logged when it cannot be destroyed */
};

/** @brief What nodes and records of a type have in common. */
struct TypeHead {
    u16 size;
    u8 ownedCount;
    const Owned *owned; /**< in the order in which it goes */
};

struct NodeTexts {
    LogText creatNoHead, creatNoMemory, creatNoPush;
    LogText destroyNoHead, destroyEmpty, destroyNoNode, destroyNoDelete, destroyed;
};

/** @brief What is known about the nodes of a list. */
struct NodeType : TypeHead {
    NodeTexts texts;
};

struct RecordTexts {
    LogText creatNoMemory, destroyNoRecord, destroyed;
};

/** @brief What is in the block of a record when the pool gets it back; that of a node is zeroed. */
enum class Freed : u8 { zeroed, asItIs };

/** @brief What is known about a record that stands alone. */
struct RecordType : TypeHead {
    Freed freed;
    RecordTexts texts;
};

/** @brief The same, for the compiler, which thus knows the C type that goes with it. */
template <class Node> struct NodeTypeOf : NodeType {
};
template <class Record> struct RecordTypeOf : RecordType {
};

/** @name Entries and heads of the tables @{ */
constexpr Owned ownedBytes(size_t at)
{
    return {Owned::Kind::bytes, static_cast<u16>(at), nullptr, noText};
}

constexpr Owned ownedList(size_t at, const NodeType &type, const LogLiteral &failure)
{
    return {Owned::Kind::list, static_cast<u16>(at), &type, failure};
}

constexpr Owned ownedRecord(size_t at, const RecordType &type, const LogLiteral &failure)
{
    return {Owned::Kind::record, static_cast<u16>(at), &type, failure};
}

template <class T> constexpr TypeHead plainType()
{
    static_assert(sizeof(T) % sizeof(uintptr_t) == 0, "whole words");
    return {sizeof(T), 0, nullptr};
}

template <class T, size_t n> constexpr TypeHead owningType(const Owned (&owned)[n])
{
    static_assert(sizeof(T) % sizeof(uintptr_t) == 0, "whole words");
    return {sizeof(T), n, owned};
}
/** @} */

/** @name The life of nodes and records, whatever their type @{ */
/** @brief A zeroed pool block, or null. */
void *allocateZeroed(PoolGuard &pool, u32 size);
/** @brief Copy `n` bytes, 1 or more and mostly few: in place where the build has room for that. */
PSI_IN_PLACE void copyFew(u8 *to, const u8 *from, u32 n)
{
    if (!poolInPlace) {
        memcpy(to, from, n);
    } else if (n >= 16) {
        for (u32 i = 0; i < n - 16; i += 16)
            memcpy(to + i, from + i, 16);
        memcpy(to + n - 16, from + n - 16, 16);
    } else if (n >= 8) {
        memcpy(to, from, 8);
        memcpy(to + n - 8, from + n - 8, 8);
    } else if (n >= 4) {
        memcpy(to, from, 4);
        memcpy(to + n - 4, from + n - 4, 4);
    } else {
        to[0] = from[0];
        to[n / 2] = from[n / 2];
        to[n - 1] = from[n - 1];
    }
}

/** @brief A pool block with a copy of `n` bytes, 1 or more; null when the pool is exhausted. */
template <class Pool> PSI_IN_PLACE u8 *copyBytes(Pool &pool, const u8 *bytes, u32 n)
{
    auto *copy = static_cast<u8 *>(pool.take(n));
    if (copy)
        copyFew(copy, bytes, n);
    return copy;
}
/** @brief A new node at the end of the list of `head`, or null, which was logged. */
void *creatNode(PoolGuard &pool, void *head, const NodeType &type);
/** @brief What creatNode() does when it fails. @param unlisted the node, if there was memory for it @return null */
void *noNode(PoolGuard &pool, const void *head, void *unlisted, const NodeType &type);
/** @brief Unlink, empty and free a node. -1: logged; what owns a thing that cannot be destroyed stays unlinked. */
i32 destroyNode(PoolGuard &pool, void *head, void *node, const NodeType &type, bool freeData);
/** @brief Destroy the first node until the list is empty. -1 as soon as one fails, after `failure` was logged. */
i32 emptyNodes(PoolGuard &pool, void *head, const NodeType &type, bool freeData, const LogText &failure);
void *creatRecord(PoolGuard &pool, const RecordType &type);
i32 destroyRecord(PoolGuard &pool, void *record, const RecordType &type);
/** @} */

/** @name The same with the C type @{ */
template <class Node> Node *nodeCreat(PoolGuard &pool, Node **head, const NodeTypeOf<Node> &type)
{
    return static_cast<Node *>(creatNode(pool, head, type));
}

template <class Node>
i32 nodeDestroy(PoolGuard &pool, Node **head, Node *node, const NodeTypeOf<Node> &type, bool freeData)
{
    return destroyNode(pool, head, node, type, freeData);
}

/** @brief Take a node that was made and owns nothing yet from its list again, for what it was to own is not to be had.
 */
template <class Node> void dropNew(PoolGuard &pool, Node **head, Node *node, const NodeTypeOf<Node> &type)
{
    nodeDestroy(pool, head, node, type, true);
}

template <class Node>
i32 emptyList(PoolGuard &pool, Node **head, const NodeTypeOf<Node> &type, bool freeData, const LogText &failure)
{
    return emptyNodes(pool, head, type, freeData, failure);
}
/** @} */

/**
 * @brief Makes the nodes of a list that nobody else touches meanwhile.
 *
 * Where blocks can be taken in place and the list was empty, a node is taken from those that are kept, without a call.
 * Else, and when none is kept, it is made as by nodeCreat().
 */
template <class Node> class NodeMaker {
public:
    NodeMaker(PoolGuard &pool, Node **head, const NodeTypeOf<Node> &type)
        : pool_(pool), inPlace_(poolInPlace && !*head ? pool.inPlace() : nullptr), head_(head), type_(type)
    {
        if (inPlace())
            kept_ = KeptOrder(inPlace_, orderOf(inPlace_, sizeof(Node)));
    }
    ~NodeMaker() { close(); }
    NodeMaker(const NodeMaker &) = delete;
    NodeMaker &operator=(const NodeMaker &) = delete;

    /** @brief A new node at the end, its fields zero; null when the pool is exhausted, which was logged. */
    PSI_IN_PLACE Node *creat()
    {
        auto *const node = static_cast<Node *>(inPlace() ? kept_.take(sizeof(Node)) : nullptr);
        if (!node) {
            close();
            Node *const other = nodeCreat(pool_, head_, type_);
            if (inPlace() && other)
                list_.follow(&(*head_)->link, &other->link);
            return other;
        }
        memset(&node->link + 1, 0, sizeof(Node) - sizeof(zlstNode));
        if (list_.put(&node->link))
            *head_ = node;
        return node;
    }

    /** @brief dropNew() of the node that was made last. */
    void dropLast(Node *node)
    {
        close();
        dropNew(pool_, head_, node, type_);
    }

private:
    bool inPlace() const { return poolInPlace && inPlace_; }
    PSI_IN_PLACE void close() const
    {
        if (inPlace() && *head_)
            list_.close(&(*head_)->link);
    }

    PoolGuard &pool_;
    BuddyPool *const inPlace_;
    KeptOrder kept_;
    Node **const head_;
    const NodeTypeOf<Node> &type_;
    NewList list_;
};

/** @brief Makes the nodes of a new list of a tree that is laid, for which there is room. */
template <class Node> class NodeLayer {
public:
    NodeLayer(StripLayer &strip, Node **head, const NodeTypeOf<Node> & /*type*/) : strip_(strip), head_(head) {}
    ~NodeLayer()
    {
        if (*head_)
            list_.close(&(*head_)->link);
    }
    NodeLayer(const NodeLayer &) = delete;
    NodeLayer &operator=(const NodeLayer &) = delete;

    /** @brief A new node at the end, its fields zero; never null. */
    PSI_IN_PLACE Node *creat()
    {
        static_assert(areLaid(sizeof(Node)), "as large as the others");
        auto *const node = static_cast<Node *>(strip_.node(sizeof(Node)));
        memset(&node->link + 1, 0, sizeof(Node) - sizeof(zlstNode));
        if (list_.put(&node->link))
            *head_ = node;
        return node;
    }

private:
    StripLayer &strip_;
    Node **const head_;
    NewList list_;
};

/** @name The same as an operation of psi.h, which takes the pool's mutex for itself @{ */
void *creatNode(void *head, const NodeType &type);
/** @param freeData the flag of a destroyer: only its low 8 bits count */
i32 destroyNode(void *head, void *node, const NodeType &type, u32 freeData);
void *creatRecord(const RecordType &type);
i32 destroyRecord(void *record, const RecordType &type);

template <class Node> Node *nodeCreat(Node **head, const NodeTypeOf<Node> &type)
{
    return static_cast<Node *>(creatNode(head, type));
}

template <class Node> i32 nodeDestroy(Node **head, Node *node, const NodeTypeOf<Node> &type, u32 freeData)
{
    return destroyNode(head, node, type, freeData);
}

template <class Record> Record *recordCreat(const RecordTypeOf<Record> &type)
{
    return static_cast<Record *>(creatRecord(type));
}

template <class Record> i32 recordDestroy(Record *record, const RecordTypeOf<Record> &type)
{
    return destroyRecord(record, type);
}
/** @} */

/** @name The types @{ */
extern const NodeTypeOf<sectionData> sectionDataType;
extern const NodeTypeOf<descInfo> descInfoType;
extern const NodeTypeOf<caInfo> caInfoType;
extern const NodeTypeOf<esInfo> esInfoType;
extern const NodeTypeOf<progInfo> progInfoType;
extern const NodeTypeOf<psiPatProg> psiPatProgType;
extern const NodeTypeOf<psiPmtEs> psiPmtEsType;
extern const NodeTypeOf<psiSdtService> psiSdtServiceType;
extern const NodeTypeOf<psiStreamInfo> psiStreamInfoType;
extern const NodeTypeOf<mgtTableInfo> mgtTableInfoType;
extern const NodeTypeOf<ebitStream> ebitStreamType;
extern const NodeTypeOf<ebitResource> ebitResourceType;
extern const NodeTypeOf<ebitMessage> ebitMessageType;
extern const NodeTypeOf<ebctAuxiliaryData> ebctAuxiliaryDataType;
extern const NodeTypeOf<ebctContent> ebctContentType;
extern const NodeTypeOf<ebcatCalist> ebcatCalistType;
extern const NodeTypeOf<ebcatCt> ebcatCtType;
extern const NodeTypeOf<ebcctCmd> ebcctCmdType;
extern const RecordTypeOf<patSection> patSectionType;
extern const RecordTypeOf<pmtSection> pmtSectionType;
extern const RecordTypeOf<catSection> catSectionType;
extern const RecordTypeOf<nitSection> nitSectionType;
extern const RecordTypeOf<sdtSection> sdtSectionType;
extern const RecordTypeOf<batSection> batSectionType;
extern const RecordTypeOf<mgtSection> mgtSectionType;
extern const RecordTypeOf<ebitDetailsChannel> ebitDetailsChannelType;
extern const RecordTypeOf<ebitSection> ebitSectionType;
extern const RecordTypeOf<ebctSection> ebctSectionType;
extern const RecordTypeOf<ebcatSection> ebcatSectionType;
extern const RecordTypeOf<ebcctSection> ebcctSectionType;
/** @} */

/** @brief The next node of a list of any type. */
inline zlstNode *nextOf(const zlstNode *node)
{
    return static_cast<zlstNode *>(node->next);
}

/** @brief The next node of a list, of the node's own type. */
template <class Node> Node *nextOf(const Node *node)
{
    return static_cast<Node *>(node->link.next);
}

} // namespace psi::core

#endif
