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
    if (!failure)
        return 0;
    schLog(*failure);
    return -1;
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
        if (destroy(head, *head) == -1) {
            schLog(failure);
            return -1;
        }
    return 0;
}

/** @brief The next node of a list, of the node's own type. */
template <class Node> Node *nextOf(const Node *node)
{
    return static_cast<Node *>(node->link.next);
}

} // namespace psi::core

#endif
