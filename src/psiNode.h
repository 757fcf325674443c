/**
 * @file psiNode.h
 * @brief The life cycle of every list node and record: create, unlink, empty, free.
 *
 * What differs between types is the table of texts and what a node owns.
 */
#ifndef PSI_NODE_H
#define PSI_NODE_H

#include "psiLog.h"

#include <string.h>

namespace psi::core {

/** @brief Log what went wrong. @return -1 */
inline i32 schFail(const LogText &text)
{
    schLog(text);
    return -1;
}

inline i32 makeFail(const LogText &text)
{
    makeLog(text);
    return -1;
}

struct NodeTexts {
    LogText creatNoHead, creatNoMemory, creatNoPush;
    LogText destroyNoHead, destroyEmpty, destroyNoNode, destroyNoDelete, destroyed;
};

/** @brief A zeroed pool block of the size of `T`, or null. */
template <class T> T *allocateZeroed()
{
    void *block = psi_buddy_malloc(sizeof(T));
    if (block)
        memset(block, 0, sizeof(T));
    return static_cast<T *>(block);
}

template <class T> void zeroAndFree(T *block)
{
    memset(static_cast<void *>(block), 0, sizeof(T));
    psi_buddy_free(block);
}

/** @brief The block that `data` names, if any, goes back to the pool when `freeData` says so. */
inline void freeBytes(u8 *data, bool freeData)
{
    if (freeData && data)
        psi_buddy_free(data);
}

template <class Node> Node *nodeCreat(Node **head, const NodeTexts &texts)
{
    if (!head) {
        schLog(texts.creatNoHead);
        return nullptr;
    }
    Node *node = allocateZeroed<Node>();
    if (!node) {
        schLog(texts.creatNoMemory);
        return nullptr;
    }
    if (zlst_push(head, node) != 0) {
        schLog(texts.creatNoPush);
        psi_buddy_free(node);
        return nullptr;
    }
    return node;
}

template <class Node> i32 nodeUnlink(Node **head, Node *node, const NodeTexts &texts)
{
    const LogText *failure = !head                          ? &texts.destroyNoHead
                             : !*head                       ? &texts.destroyEmpty
                             : !node                        ? &texts.destroyNoNode
                             : zlst_delete(head, node) == 0 ? &texts.destroyNoDelete
                                                            : nullptr;
    return failure ? schFail(*failure) : 0;
}

/**
 * @brief Destroy a node of a list.
 * @param release empties what the node owns; 0, or -1: the node then stays unlinked and is not freed
 */
template <class Node, class Release> i32 nodeDestroy(Node **head, Node *node, const NodeTexts &texts, Release release)
{
    if (nodeUnlink(head, node, texts) == -1 || release(*node) == -1)
        return -1;
    zeroAndFree(node);
    schLog(texts.destroyed);
    return 0;
}

/**
 * @brief Destroy the first node until the list is empty.
 * @param destroy called with the head's address and the first node
 * @return 0, or -1 as soon as a destroy fails, after `failure` was logged
 */
template <class Node, class Destroy> i32 emptyList(Node **head, Destroy destroy, const LogText &failure)
{
    while (*head)
        if (destroy(head, *head) == -1)
            return schFail(failure);
    return 0;
}

/** @brief The flag of a destroyer: only its low 8 bits count. */
inline bool flagSet(u32 freeData)
{
    return (freeData & 0xFF) != 0;
}

/** @brief Bind a flag to a destroyer, for emptyList(). */
template <class Node> auto withFlag(i32 (*destroy)(Node **, Node *, u32), u32 freeData)
{
    return [=](Node **head, Node *node) { return destroy(head, node, freeData); };
}

/** @brief Empty a descriptor list of a syntax tree, which owns its payloads. */
inline i32 emptyDescriptors(descInfo **head, const LogText &failure)
{
    return emptyList(head, withFlag(descInfoDestroy, 1), failure);
}

template <class Record> Record *recordCreat(const LogText &noMemory)
{
    Record *record = allocateZeroed<Record>();
    if (!record)
        schLog(noMemory);
    return record;
}

struct RecordTexts {
    LogText isNull, destroyed;
};

/** @brief Destroy a record; `release` empties it and returns 0, or -1: then it is not freed. */
template <class Record, class Release> i32 recordDestroy(Record *record, const RecordTexts &texts, Release release)
{
    if (!record)
        return schFail(texts.isNull);
    if (release(*record) == -1)
        return -1;
    psi_buddy_free(record);
    schLog(texts.destroyed);
    return 0;
}

/** @brief The next node of a list, of the node's own type. */
template <class Node> Node *nextOf(const Node *node)
{
    return static_cast<Node *>(node->link.next);
}

} // namespace psi::core

#endif
