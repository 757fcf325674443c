/**
 * @file zlst.cpp
 * @brief Singly linked lists whose push and delete take constant time and which hosts may rearrange by hand.
 *
 * The chain of `next` pointers alone decides what is on a list. The spare words are a cache over it: every node knows
 * its predecessor, and the first node the last one. Hosts rearrange chains without a word to this file, so the cache is
 * believed only where it can be checked:
 *
 *  - A node's words carry a seal that fits only that node's address and those words: garbage, zeroes and copies show.
 *  - They carry a token, drawn afresh whenever a list starts or is repaired: what is left of an earlier list shows.
 *  - The nodes they name must lead back to the node by `next`.
 *
 * Whatever fails a check is settled by a walk, which repairs the cache as well. What the first node, the last one and
 * the node at hand, with the two in front of that, do not show is not seen: a list that was cut in its middle by hand.
 *
 * A node that a host took out by hand may still be named by a neighbour's words and is read once more. Its memory has
 * to stay readable, as that of the pool does.
 */
#include "zlstWords.h"

#include "asan.h"

#include <string.h>

namespace psi::core {

uintptr_t lastToken = 0;
u32 shortenings = 0;

namespace {

/** Where a walk ended: at the node looked for, or at null behind the last node. */
struct Place {
    zlstNode *prev;
    zlstNode *node;
};

zlstNode *nextOf(const zlstNode *node)
{
    return static_cast<zlstNode *>(node->next);
}

/** The head is a pointer of the host's own type, so it is read and written as bytes. */
zlstNode *readHead(const void *head)
{
    zlstNode *first;
    memcpy(&first, head, sizeof first); // NOLINT(bugprone-sizeof-expression): the pointer itself is copied
    return first;
}

void writeHead(void *head, zlstNode *first)
{
    memcpy(head, &first, sizeof first); // NOLINT(bugprone-sizeof-expression): the pointer itself is copied
}

void setTail(zlstNode *first, zlstNode *tail)
{
    writeWords(first, nullptr, tail, first->spare[tokenWord]);
}

bool isSealed(const zlstNode *node)
{
    return node->spare[sealWord] == sealOf(node);
}

/**
 * Whether `node` has words of the list of `first`. A cached pointer may lead to a node that the host took out and
 * freed: where freed memory can be told it is not read, elsewhere the seal does not fit what it holds.
 */
bool hasWordsOf(const zlstNode *first, zlstNode *node)
{
    return asanMayAccess(node, sizeof *node) && node->spare[tokenWord] == first->spare[tokenWord] && isSealed(node);
}

/** Whether the node's cached predecessor, of the list of `first`, leads back to it; the first node has none. */
bool prevLeadsTo(const zlstNode *first, zlstNode *node)
{
    zlstNode *prev = wordAsNode(node, prevWord);
    return node == first || (prev != nullptr && hasWordsOf(first, prev) && prev->next == node);
}

} // namespace

bool hasFirstWords(const zlstNode *first)
{
    return isSealed(first) && first->spare[tailWord] != 0;
}

bool isCached(const zlstNode *first, zlstNode *node)
{
    // Two steps back: a predecessor that was taken out by hand still leads to the node, but nothing to it.
    return hasWordsOf(first, node) && prevLeadsTo(first, node) &&
           (node == first || prevLeadsTo(first, wordAsNode(node, prevWord)));
}

namespace {

/** Whether the tail that the first node names is the last node. */
bool tailHolds(const zlstNode *first, zlstNode *tail)
{
    if (!hasWordsOf(first, tail) || tail->next != nullptr)
        return false;
    zlstNode *prev = wordAsNode(tail, prevWord);
    return tail == first || (prev != nullptr && asanMayAccess(prev, sizeof *prev) && prev->next == tail);
}

Place walk(zlstNode *first, const zlstNode *node)
{
    Place at = {nullptr, first};
    while (at.node != nullptr && at.node != node)
        at = {at.node, nextOf(at.node)};
    return at;
}

/** Write the words of the whole list anew. */
void repair(zlstNode *first)
{
    const uintptr_t token = newToken(first);
    zlstNode *tail = nullptr;
    for (zlstNode *node = first; node != nullptr; node = nextOf(node)) {
        writeWords(node, tail, nullptr, token);
        tail = node;
    }
    setTail(first, tail);
}

void startList(void *head, zlstNode *node)
{
    node->next = nullptr;
    writeWords(node, nullptr, node, newToken(node));
    writeHead(head, node);
}

/** Append to a list whose first node has its words and names its tail. */
void append(zlstNode *first, zlstNode *tail, zlstNode *node)
{
    tail->next = node;
    node->next = nullptr;
    writeWords(node, tail, nullptr, first->spare[tokenWord]);
    first->spare[tailWord] = addressOf(node);
    first->spare[sealWord] += tailWeight * (addressOf(tail) - addressOf(node));
}

/** Append, having looked at every node. @return -1 when `node` is on the list already */
__attribute__((noinline)) i32 appendByWalk(zlstNode *first, zlstNode *node)
{
    const Place end = walk(first, node);
    if (end.node == node)
        return -1;
    repair(first);
    append(first, end.prev, node);
    return 0;
}

/** The place of `node`, which is not the first; {the last node, null} when it is not on the list. */
Place find(zlstNode *first, zlstNode *node)
{
    if (hasFirstWords(first) && isCached(first, node))
        return {wordAsNode(node, prevWord), node};
    const Place at = walk(first, node);
    if (at.node == node)
        repair(first);
    return at;
}

/**
 * The next node inherits the first one's words, and with the seal, a sum, whether they may be believed. Where the first
 * node was its own tail, and nodes were chained behind it by hand, there are none.
 */
void unlinkFirst(void *head, const zlstNode *first)
{
    zlstNode *next = nextOf(first);
    writeHead(head, next);
    if (next == nullptr)
        return;
    next->spare[prevWord] = 0;
    next->spare[tailWord] = wordAsNode(first, tailWord) != first ? first->spare[tailWord] : 0;
    next->spare[tokenWord] = first->spare[tokenWord];
    next->spare[sealWord] = first->spare[sealWord] + addressOf(first) - addressOf(next);
}

/** @return false when `node` is not on the list */
bool deleteInner(zlstNode *first, zlstNode *node)
{
    const Place at = find(first, node);
    if (at.node == nullptr)
        return false;
    zlstNode *next = nextOf(node);
    if (next != nullptr && wordAsNode(first, tailWord) == node)
        repair(first); // nodes were chained behind the tail by hand
    at.prev->next = next;
    if (next != nullptr) {
        writeWords(next, at.prev, nullptr, first->spare[tokenWord]);
    } else {
        setTail(first, at.prev);
        __atomic_store_n(&shortenings, __atomic_load_n(&shortenings, __ATOMIC_RELAXED) + 1, __ATOMIC_RELAXED);
    }
    return true;
}

} // namespace
} // namespace psi::core

using namespace psi::core;

i32 zlst_push(void *head, void *node)
{
    if (head == nullptr || node == nullptr)
        return -1;
    auto *newNode = static_cast<zlstNode *>(node);
    zlstNode *first = readHead(head);
    if (first == nullptr) {
        startList(head, newNode);
        return 0;
    }
    zlstNode *tail = wordAsNode(first, tailWord);
    if (!hasFirstWords(first) || !tailHolds(first, tail) || hasWordsOf(first, newNode))
        return appendByWalk(first, newNode);
    append(first, tail, newNode);
    return 0;
}

i32 zlst_delete(void *head, void *node)
{
    zlstNode *first = head != nullptr ? readHead(head) : nullptr;
    auto *oldNode = static_cast<zlstNode *>(node);
    if (first == nullptr || oldNode == nullptr)
        return 0;
    if (oldNode == first)
        unlinkFirst(head, first);
    else if (!deleteInner(first, oldNode))
        return 0;
    memset(oldNode, 0, sizeof *oldNode);
    return 1;
}
