/**
 * @file randomSection.h
 * @brief Well-formed random sections of every parsed type, with the tree that a parser has to make of them.
 */
#ifndef PSITEST_RANDOM_SECTION_H
#define PSITEST_RANDOM_SECTION_H

#include "support/syntaxTree.h"

#include <random>

namespace psitest {

/** @brief A section and its tree, as describeTree() puts it. */
struct KnownSection {
    Bytes bytes;
    std::string tree;
};

/** @brief Makes sections, every field and every reserved bit of them random; the same seed makes the same ones. */
class RandomSections {
public:
    explicit RandomSections(u32 seed) : random_(seed) {}

    /** @brief A number below @p bound. */
    u32 below(u32 bound) { return static_cast<u32>(random_() % bound); }

    /**
     * @brief A section of a type.
     * @param psiType one of parsedTypes()
     * @param most bytes that it has at most, 64 to 4096
     */
    KnownSection make(u32 psiType, u32 most);

private:
    u32 bits(unsigned count) { return static_cast<u32>(random_()) >> (32U - count); }
    Bytes anyBytes(u32 count);
    u32 share(u32 room);

    void reserved(unsigned count) { section_.put(count, bits(count)); }
    void value(unsigned count, const char *name);
    void known(unsigned count, const char *name, u32 value);
    void array(u32 size, const char *name, u8 firstByteMask = 0xFF);
    void blob(unsigned lengthBits, const char *lengthName, const char *name, u32 size);
    void signature(u32 room);
    void descriptor(u32 room);
    void descriptorLoop(const char *lengthName, const char *name, u32 room);
    template <typename Entry> void entries(const char *name, u32 room, u32 smallest, Entry entry);
    template <typename Entry>
    u32 counted(unsigned countBits, const char *countName, const char *name, u32 room, u32 smallest, Entry entry);
    template <typename Fill> u32 framed(unsigned reservedBits, unsigned lengthBits, Fill fill);

    Bytes header(u32 psiType, u32 size, TreeText &text);
    void body(u32 psiType, u32 room);
    void pat(u32 room);
    void pmt(u32 room);
    void cat(u32 room);
    void network(const char *lengthName, const char *name, u32 room);
    void sdt(u32 room);
    void mgt(u32 room);
    void ebit(u32 room);
    void ebitMessage(u32 room);
    void ebitChannel(u32 room);
    void ebct(u32 room);
    void ebctContent(u32 room);
    void ebcat(u32 room);
    void ebcct(u32 room);

    std::mt19937 random_;
    BitWriter section_; /**< what stands between the long header and CRC_32 */
    TreeText tree_;
};

} // namespace psitest

#endif // PSITEST_RANDOM_SECTION_H
