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
 * The first few nodes of a list are looked through by `next` before the cache is asked at all, so short lists, which
 * is most of them, do not depend on it. Whatever fails a check is settled by a walk, which repairs the cache as well.
 *
 * One thing no constant-time check can see: a node that a host took out by hand, far down a long list, may still be
 * named by a neighbour's words and is read once more. Its memory has to stay readable, as that of the pool does.
 */
#include "asan.h"
#include "os.h"

#include <string.h>

namespace psi::core {
namespace {

/** How many nodes are looked through before the cache is asked: a constant, so that the calls stay constant in time. */
constexpr u32 scanLimit = 16;
constexpr u32 noLimit = 0xFFFFFFFF;

enum spareWord { prevWord, tailWord, tokenWord, sealWord };

uintptr_t lastToken = 0;

/** Where a walk ended: at the node looked for, or at null behind the last node, or, at its limit, somewhere between. */
struct place {
    zlstNode *prev;
    zlstNode *node;
};

uintptr_t addressOf(const zlstNode *node)
{
    return reinterpret_cast<uintptr_t>(node);
}

zlstNode *wordAsNode(const zlstNode *node, spareWord word)
{
    return reinterpret_cast<zlstNode *>(node->spare[word]);
}

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

#if __GCC_ATOMIC_POINTER_LOCK_FREE == 2

uintptr_t newToken()
{
    return __atomic_add_fetch(&lastToken, 1, __ATOMIC_RELAXED);
}

#else

psiSemId tokenMutex = 0;

/** On a machine without such an instruction; its mutex is made with the first list of all, that of search objects. */
uintptr_t newToken()
{
    if (tokenMutex == 0)
        tokenMutex = osMutexCreate(MutexUse::pool);
    osMutexTake(tokenMutex);
    const uintptr_t token = ++lastToken;
    osMutexGive(tokenMutex);
    return token;
}

#endif

uintptr_t sealOf(const zlstNode *node)
{
    constexpr auto factor = static_cast<uintptr_t>(0x9E3779B97F4A7C15U); // odd, with its bits well spread
    constexpr auto half = sizeof(uintptr_t) * 4;
    uintptr_t seal = addressOf(node) ^ factor;
    for (u32 word = 0; word < sealWord; word++) {
        seal = (seal ^ node->spare[word]) * factor;
        seal ^= seal >> half;
    }
    return seal;
}

void writeWords(zlstNode *node, zlstNode *prev, zlstNode *tail, uintptr_t token)
{
    node->spare[prevWord] = addressOf(prev);
    node->spare[tailWord] = addressOf(tail);
    node->spare[tokenWord] = token;
    node->spare[sealWord] = sealOf(node);
}

void setTail(zlstNode *first, zlstNode *tail)
{
    writeWords(first, nullptr, tail, first->spare[tokenWord]);
}

bool isSealed(const zlstNode *node)
{
    return node->spare[sealWord] == sealOf(node);
}

/** Whether the cache may be asked: the first node has the words of a first node, which alone knows the tail. */
bool hasFirstWords(const zlstNode *first)
{
    return isSealed(first) && first->spare[tailWord] != 0;
}

/**
 * Whether `node` has words of the list of `first`. A cached pointer may lead to a node that the host took out and
 * freed: where freed memory can be told it is not read, elsewhere the seal does not fit what it holds.
 */
bool hasWordsOf(const zlstNode *first, zlstNode *node)
{
    return asanMayAccess(node, sizeof *node) && isSealed(node) && node->spare[tokenWord] == first->spare[tokenWord];
}

/** Whether the cached predecessors of `node`, two of them, lead back to it: a node taken out by hand shows there. */
bool isLinked(const zlstNode *first, zlstNode *node)
{
    for (u32 step = 0; step < 2 && node != first; step++) {
        zlstNode *prev = wordAsNode(node, prevWord);
        if (prev == nullptr || !hasWordsOf(first, prev) || prev->next != node) {
            return false;
        }
        node = prev;
    }
    return true;
}

/** Whether the cache vouches for `node` being on the list. */
bool isCached(const zlstNode *first, zlstNode *node)
{
    return hasFirstWords(first) && hasWordsOf(first, node) && isLinked(first, node);
}

place walk(zlstNode *first, const zlstNode *node, u32 limit)
{
    place at = {nullptr, first};
    for (u32 step = 0; step != limit && at.node != nullptr && at.node != node; step++) {
        at = {at.node, nextOf(at.node)};
    }
    return at;
}

/** Write the words of the whole list anew. */
void repair(zlstNode *first)
{
    const uintptr_t token = newToken();
    zlstNode *tail = nullptr;
    for (zlstNode *node = first; node != nullptr; node = nextOf(node)) {
        writeWords(node, tail, nullptr, token);
        tail = node;
    }
    setTail(first, tail);
}

/** The place of `node`; {the last node, null} when it is not on the list. */
place find(zlstNode *first, zlstNode *node)
{
    place at = walk(first, node, scanLimit);
    if (at.node == node || at.node == nullptr) {
        return at;
    }
    if (isCached(first, node)) {
        return {wordAsNode(node, prevWord), node};
    }
    at = walk(first, node, noLimit);
    if (at.node == node) {
        repair(first);
    }
    return at;
}

/** The place behind the last node, or that of `node` when it is on the list already. */
place findEnd(zlstNode *first, zlstNode *node)
{
    const place at = walk(first, node, scanLimit);
    if (at.node == node || at.node == nullptr) {
        return at;
    }
    zlstNode *tail = wordAsNode(first, tailWord);
    const bool sound = hasFirstWords(first) && isCached(first, tail) && tail->next == nullptr;
    return sound && !isCached(first, node) ? place{tail, nullptr} : walk(first, node, noLimit);
}

void startList(void *head, zlstNode *node)
{
    node->next = nullptr;
    writeWords(node, nullptr, node, newToken());
    writeHead(head, node);
}

void append(zlstNode *first, zlstNode *tail, zlstNode *node)
{
    if (!hasFirstWords(first) || wordAsNode(first, tailWord) != tail) {
        repair(first);
    }
    tail->next = node;
    node->next = nullptr;
    writeWords(node, tail, nullptr, first->spare[tokenWord]);
    setTail(first, node);
}

void unlinkFirst(void *head, zlstNode *first)
{
    zlstNode *next = nextOf(first);
    writeHead(head, next);
    if (next != nullptr) {
        writeWords(next, nullptr, wordAsNode(first, tailWord), first->spare[tokenWord]);
    }
}

void unlinkInner(zlstNode *first, const place &at)
{
    zlstNode *next = nextOf(at.node);
    at.prev->next = next;
    if (next != nullptr) {
        writeWords(next, at.prev, nullptr, first->spare[tokenWord]);
    } else {
        setTail(first, at.prev);
    }
}

} // namespace
} // namespace psi::core

using namespace psi::core;

i32 zlst_push(void *head, void *node)
{
    if (head == nullptr || node == nullptr) {
        return -1;
    }
    auto *newNode = static_cast<zlstNode *>(node);
    zlstNode *first = readHead(head);
    if (first == nullptr) {
        startList(head, newNode);
        return 0;
    }
    const place end = findEnd(first, newNode);
    if (end.node == newNode) {
        return -1;
    }
    append(first, end.prev, newNode);
    return 0;
}

i32 zlst_delete(void *head, void *node)
{
    zlstNode *first = head != nullptr ? readHead(head) : nullptr;
    auto *oldNode = static_cast<zlstNode *>(node);
    if (first == nullptr || oldNode == nullptr) {
        return 0;
    }
    const place at = find(first, oldNode);
    if (at.node == nullptr) {
        return 0;
    }
    const bool tailIsInner = oldNode->next != nullptr && wordAsNode(first, tailWord) == oldNode;
    if (tailIsInner || !hasFirstWords(first)) {
        repair(first);
    }
    if (oldNode == first) {
        unlinkFirst(head, first);
    } else {
        unlinkInner(first, at);
    }
    memset(oldNode, 0, sizeof *oldNode);
    return 1;
}
