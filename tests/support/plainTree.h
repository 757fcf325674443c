/**
 * @file plainTree.h
 * @brief SDT, NIT and BAT trees as plain values, and one face for the operations of the three tables.
 */
#ifndef PSITEST_PLAIN_TREE_H
#define PSITEST_PLAIN_TREE_H

#include "support/plainModel.h"

namespace psitest {

/** @brief A service of an SDT, or a transport stream of a NIT or BAT. */
struct PlainEntry {
    u16 id = 0;                /**< service_id, transport_stream_id */
    u16 originalNetworkId = 0; /**< NIT and BAT */
    u8 freeCaMode = 0;         /**< SDT, as the three below */
    u8 runningStatus = 0;
    u8 eitSchedule = 0;
    u8 eitPresentFollowing = 0;
    PlainDescriptors descriptors;
};

/** @brief A section of one of the three tables. */
struct PlainTree {
    u8 tableId = 0;
    u8 version = 0;
    u8 number = 0;
    u8 last = 0;
    u16 id = 0;                   /**< table_id_extension */
    u16 originalNetworkId = 0;    /**< SDT */
    PlainDescriptors descriptors; /**< NIT and BAT */
    std::vector<PlainEntry> entries;
};

/**
 * @name The three tables
 *
 * For each: its record, the operation that writes a tree back, its sizes, and
 *  - make(): a tree with these values, in pool blocks, to be freed with destroy();
 *  - section(): the bytes that have to be written for these values;
 *  - headerOf(), descriptorsOf(), entriesOf(): every field of a tree as text.
 * @{
 */
struct SdtTable {
    using Section = sdtSection;
    static constexpr const char *name = "Sdt";
    static constexpr u8 actualId = 0x42, otherId = 0x46;
    static constexpr u8 actualType = PSI_SDT_ACTUAL, otherType = PSI_SDT_OTHER;
    static constexpr std::size_t budget = 1009, entryFixed = 5;
    static i32 writeBack(tsInfo *model, Section *tree, u16 id) { return syntaxSdtMakeSeciton(model, tree, id); }
    static Section *make(const PlainTree &plain);
    static Bytes section(const PlainTree &plain);
    static std::string headerOf(const Section &tree);
    static std::string descriptorsOf(const Section &) { return {}; }
    static std::string entriesOf(const Section &tree);
};

struct NitTable {
    using Section = nitSection;
    static constexpr const char *name = "Nit";
    static constexpr u8 actualId = 0x40, otherId = 0x41;
    static constexpr u8 actualType = PSI_NIT_ACTUAL, otherType = PSI_NIT_OTHER;
    static constexpr std::size_t budget = 1008, entryFixed = 6;
    static i32 writeBack(tsInfo *model, Section *tree, u16 id) { return syntaxNitMakeSeciton(model, tree, id); }
    static Section *make(const PlainTree &plain);
    static Bytes section(const PlainTree &plain);
    static std::string headerOf(const Section &tree);
    static std::string descriptorsOf(const Section &tree) { return textOf(tree.net_descriptor); }
    static std::string entriesOf(const Section &tree);
};

struct BatTable {
    using Section = batSection;
    static constexpr const char *name = "Bat";
    static constexpr u8 actualId = 0x4A, otherId = 0x4A;
    static constexpr u8 actualType = PSI_BAT, otherType = PSI_BAT;
    static constexpr std::size_t budget = 1008, entryFixed = 6;
    static i32 writeBack(tsInfo *model, Section *tree, u16 id) { return syntaxBatMakeSeciton(model, tree, id); }
    static Section *make(const PlainTree &plain);
    static Bytes section(const PlainTree &plain);
    static std::string headerOf(const Section &tree);
    static std::string descriptorsOf(const Section &tree) { return textOf(tree.bouquet_descriptor); }
    static std::string entriesOf(const Section &tree);
};
/** @} */

template <typename Table> std::string textOfTree(const typename Table::Section &tree)
{
    return Table::headerOf(tree) + Table::descriptorsOf(tree) + Table::entriesOf(tree);
}

/** @brief Bytes of an entry in a section. */
template <typename Table> std::size_t entrySize(const PlainEntry &entry)
{
    return Table::entryFixed + loopOf(entry.descriptors).size();
}

/** @brief table_id_extension of the sample trees. */
constexpr u16 sampleTableExt = 0x1234;

/** @brief Trees of one of the three tables, told by the sizes of their entries. */
template <typename Table> struct SampleTrees {
    static constexpr bool isSdt = Table::entryFixed == 5;

    static PlainTree tree(u8 number = 0, u8 last = 0)
    {
        PlainTree plain;
        plain.tableId = Table::actualId;
        plain.version = 19;
        plain.number = number;
        plain.last = last;
        plain.id = sampleTableExt;
        plain.originalNetworkId = isSdt ? 0x233A : 0;
        return plain;
    }
    /** @brief An entry that takes @p bytes bytes. */
    static PlainEntry entry(std::size_t bytes, u16 entryId = 1)
    {
        PlainEntry one;
        one.id = entryId;
        if (isSdt) {
            one.freeCaMode = 1;
            one.runningStatus = 4;
            one.eitSchedule = entryId & 1;
            one.eitPresentFollowing = 1;
        } else {
            one.originalNetworkId = 0x20FA;
        }
        one.descriptors = fillerDescriptors(bytes - Table::entryFixed);
        return one;
    }
    static PlainTree treeOf(const std::vector<std::size_t> &entryBytes, u8 number = 0, u8 last = 0)
    {
        PlainTree plain = tree(number, last);
        u16 entryId = static_cast<u16>(number * 100);
        for (const std::size_t bytes : entryBytes)
            plain.entries.push_back(entry(bytes, ++entryId));
        return plain;
    }
};

/** @brief Frees a tree at the end of its scope. */
template <typename Table> class TreeGuard {
public:
    explicit TreeGuard(const PlainTree &plain) : tree_(Table::make(plain)) {}
    ~TreeGuard() { syntaxDestroyPsiSection(Table::actualType, tree_); }
    TreeGuard(const TreeGuard &) = delete;
    TreeGuard &operator=(const TreeGuard &) = delete;
    typename Table::Section *get() const { return tree_; }
    typename Table::Section *operator->() const { return tree_; }

private:
    typename Table::Section *tree_;
};

/** @brief The sections that a rebuilt table has to have, numbered from 0. */
template <typename Table> std::vector<Bytes> expectedRebuild(const PlainTree &table)
{
    std::vector<PlainTree> parts(1, table);
    parts[0].descriptors.clear();
    parts[0].entries.clear();
    const PlainTree empty = parts[0];
    std::size_t used = 0;
    const auto take = [&](std::size_t size) -> PlainTree & {
        if (used + size > Table::budget) {
            parts.push_back(empty);
            used = 0;
        }
        used += size;
        return parts.back();
    };
    for (const PlainDescriptor &desc : table.descriptors)
        take(desc.payload.size() + 2).descriptors.push_back(desc);
    for (const PlainEntry &entry : table.entries)
        take(entrySize<Table>(entry)).entries.push_back(entry);
    std::vector<Bytes> sections;
    for (PlainTree &part : parts) {
        part.number = static_cast<u8>(sections.size());
        part.last = static_cast<u8>(parts.size() - 1);
        sections.push_back(Table::section(part));
    }
    return sections;
}

} // namespace psitest

#endif // PSITEST_PLAIN_TREE_H
