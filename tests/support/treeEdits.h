/**
 * @file treeEdits.h
 * @brief What edits need to know of SDT, NIT and BAT trees.
 */
#ifndef PSITEST_TREE_EDITS_H
#define PSITEST_TREE_EDITS_H

#include "support/libraryFixture.h"
#include "support/plainTree.h"

namespace psitest {

/**
 * @name The three tables for those that edit their trees
 *
 * On top of what plainTree.h has: the lists of a tree and of an entry, an entry's length field, and the operations that
 * make (or do not: null) and destroy entries.
 * @{
 */
struct SdtEdits : SdtTable {
    using Entry = psiSdtService;
    static Entry **entries(Section *tree) { return &tree->service_info; }
    static descInfo **tableDescriptors(Section *) { return nullptr; }
    static descInfo **descriptors(Entry *entry) { return &entry->service_descriptor; }
    static u16 &length(Entry *entry) { return entry->descriptors_loop_length; }
    static Entry *creat(Entry **list, u16 value)
    {
        Entry *entry = psiSdtServiceCreat(list);
        if (entry == nullptr)
            return nullptr;
        entry->service_id = value;
        entry->running_status = value & 7;
        return entry;
    }
    static i32 destroy(Entry **list, Entry *entry) { return psiSdtServiceDestroy(list, entry); }
};

template <typename Table> struct NetworkEdits : Table {
    using Section = typename Table::Section;
    using Entry = psiStreamInfo;
    static Entry **entries(Section *tree) { return &tree->stream_info; }
    static descInfo **descriptors(Entry *entry) { return &entry->descriptor; }
    static u16 &length(Entry *entry) { return entry->transport_descriptors_length; }
    static Entry *creat(Entry **list, u16 value)
    {
        Entry *entry = psiStreamInfoCreat(list);
        if (entry == nullptr)
            return nullptr;
        entry->transport_stream_id = value;
        entry->original_network_id = static_cast<u16>(~value);
        return entry;
    }
    static i32 destroy(Entry **list, Entry *entry) { return psiStreamInfoDestroy(list, entry); }
};

struct NitEdits : NetworkEdits<NitTable> {
    static descInfo **tableDescriptors(Section *tree) { return &tree->net_descriptor; }
};

struct BatEdits : NetworkEdits<BatTable> {
    static descInfo **tableDescriptors(Section *tree) { return &tree->bouquet_descriptor; }
};

/** @} */

/** @brief Bytes of a descriptor loop. */
inline std::size_t sizeOf(descInfo *list)
{
    std::size_t size = 0;
    for (const descInfo *desc : nodesOf(list))
        size += desc->descLen + std::size_t{2};
    return size;
}

} // namespace psitest

#endif // PSITEST_TREE_EDITS_H
