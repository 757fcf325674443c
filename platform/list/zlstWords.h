/**
 * @file zlstWords.h
 * @brief The spare words of a list node, and how a list of new nodes is chained with all of them known.
 *
 * zlst.cpp tells what the words are for.
 */
#ifndef PSI_ZLST_WORDS_H
#define PSI_ZLST_WORDS_H

#include "psi.h"

namespace psi::core {

enum SpareWord { prevWord, tailWord, tokenWord, sealWord };

constexpr uintptr_t prevWeight = 3;
constexpr uintptr_t tailWeight = 5;

extern uintptr_t lastToken;

/** @brief Changes whenever zlst_delete() takes the last node off a list of several. */
extern u32 shortenings;

/** @brief Whether the first node has words of its own, which alone tell the tail. */
bool hasFirstWords(const zlstNode *first);

/**
 * @brief Whether `node`, which can be read, is seen to be on the list of `first`, which has its words; in constant
 * time.
 *
 * The same is seen, and not seen, as by zlst_delete() before it walks.
 */
bool isCached(const zlstNode *first, zlstNode *node);

inline uintptr_t addressOf(const zlstNode *node)
{
    return reinterpret_cast<uintptr_t>(node);
}

inline zlstNode *wordAsNode(const zlstNode *node, SpareWord word)
{
    return reinterpret_cast<zlstNode *>(node->spare[word]);
}

/**
 * @brief A value that no node of another list has.
 *
 * Two tasks may draw the same number, so the list's first node is part of it; a load and a store of a word need no help
 * of the processor's.
 */
inline uintptr_t newToken(const zlstNode *first)
{
    constexpr auto factor = static_cast<uintptr_t>(0x9E3779B97F4A7C15U); // odd, with its bits well spread
    const uintptr_t number = __atomic_load_n(&lastToken, __ATOMIC_RELAXED) + 1;
    __atomic_store_n(&lastToken, number, __ATOMIC_RELAXED);
    return addressOf(first) ^ number * factor;
}

/** @brief A sum, so that it can follow a change of one word. */
inline uintptr_t sealOf(const zlstNode *node)
{
    constexpr auto unsealed = static_cast<uintptr_t>(0xC3A5C85C97CB3127U);
    return unsealed - addressOf(node) - prevWeight * node->spare[prevWord] - tailWeight * node->spare[tailWord] -
           node->spare[tokenWord];
}

inline void writeWords(zlstNode *node, zlstNode *prev, zlstNode *tail, uintptr_t token)
{
    node->spare[prevWord] = addressOf(prev);
    node->spare[tailWord] = addressOf(tail);
    node->spare[tokenWord] = token;
    node->spare[sealWord] = sealOf(node);
}

/**
 * @brief A new list of new nodes that lie beside each other, `step` bytes from one to the next.
 *
 * What a node is told of the one behind it comes true when that is put, and of the last one is taken back by close().
 */
template <u32 step> class NodeRow {
public:
    /** @param first where the first node will lie */
    explicit NodeRow(u8 *first) : first_(first), token_(newToken(nodeAt(first))) {}

    void put(zlstNode *node) const
    {
        u8 *const at = reinterpret_cast<u8 *>(node);
        node->next = at + step;
        writeWords(node, nodeAt(at - step), nullptr, token_);
    }

    /** @brief The list is complete. @param end where the next node would lie @return the first one; null: none was put
     */
    void *close(u8 *end) const
    {
        if (end == first_)
            return nullptr;
        zlstNode *const last = nodeAt(end - step);
        last->next = nullptr;
        writeWords(nodeAt(first_), nullptr, last, token_);
        return first_;
    }

private:
    static zlstNode *nodeAt(void *at) { return static_cast<zlstNode *>(at); }

    u8 *const first_;
    const uintptr_t token_;
};

/**
 * @brief A list that began empty and to whose end nodes are put that are on no list, by nobody else meanwhile.
 *
 * Nothing about them has to be looked up or checked. The first node learns of the tail by close(); until then
 * zlst_push() and zlst_delete() would find out by a walk.
 */
class NewList {
public:
    /** @brief Chain `node` behind what was put before. @return whether it is the first: the caller writes the head */
    bool put(zlstNode *node)
    {
        const bool isFirst = tail_ == nullptr;
        if (isFirst)
            token_ = newToken(node);
        else
            tail_->next = node;
        node->next = nullptr;
        writeWords(node, tail_, nullptr, token_);
        tail_ = node;
        return isFirst;
    }

    /** @brief Go on behind a node that zlst_push() has put at the end. @param first the list's first node */
    void follow(const zlstNode *first, zlstNode *node)
    {
        tail_ = node;
        token_ = first->spare[tokenWord];
    }

    void close(zlstNode *first) const { writeWords(first, nullptr, tail_, token_); }

private:
    zlstNode *tail_ = nullptr;
    uintptr_t token_ = 0;
};

} // namespace psi::core

#endif
