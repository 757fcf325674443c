#include "psiMake.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Regeneration: an edited SDT, NIT or BAT tree becomes sections again
 *
 * One algorithm for the three. What differs stands in a traits type: the records, the sizes and the texts.
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

struct RemakeTexts {
    LogText noTree, noModel, actual, other;
    LogTextOf<unsigned> contentLen;
    LogText split, destroyFailed, noTotal, noCopy, noEntry, noDescriptor, noEntryDescriptor, noData;
    LogTextOf<int> parseFailed;
    LogTextOf<unsigned> gathered;
    LogText treeFailed;
    LogTextOf<unsigned> lastNumber, build;
    LogTextOf<unsigned, unsigned, unsigned> made;
    StoreTexts store;
};

/** @brief Bytes of a table's own descriptors and of its entries, of all sections or of one. */
struct TableSize {
    u32 descriptors;
    u32 entries;
};

/* ---- SDT. EN 300 468 5.2.3 ---- */

struct SdtRemake {
    using Section = sdtSection;
    using Entry = psiSdtService;
    static constexpr u8 actualTableId = sdtActualId, actualType = PSI_SDT_ACTUAL, otherType = PSI_SDT_OTHER;
    static constexpr u32 budget = sdtBudget;
    static constexpr u32 fieldsSize = sdtFieldsSize; /**< bytes between the header and CRC_32 without the loops */
    static constexpr u32 entryFixedSize = serviceFixedSize;
    static constexpr u16 Section::*id = &Section::transport_stream_id;
    static constexpr descInfo *Section::*descriptors = nullptr;
    static constexpr Entry *Section::*entries = &Section::service_info;
    static constexpr auto entryDescriptors = &Entry::service_descriptor;
    static constexpr const NodeTypeOf<Entry> &entryType = psiSdtServiceType;
    static const RemakeTexts texts;

    static void copyFields(Entry &to, const Entry &from)
    {
        to.free_CA_mode = from.free_CA_mode;
        to.running_status = from.running_status;
        to.EIT_schedule_flag = from.EIT_schedule_flag;
        to.EIT_present_following_flag = from.EIT_present_following_flag;
        to.service_id = from.service_id;
    }
    /** @brief What precedes the entries. */
    static void putTableFields(SectionWriter &section, const Section &tree, const ListRange<descInfo> &, TableSize)
    {
        putSdtFields(section, tree.original_network_id);
    }
    /** @brief What precedes an entry's descriptors. @return its bytes, which end with the descriptors' length */
    static u8 *beginEntry(SectionWriter &section, const Entry &entry)
    {
        const u32 eitFlags = static_cast<u32>(entry.EIT_schedule_flag) << 1 | entry.EIT_present_following_flag;
        return beginService(section, entry.service_id, eitFlags);
    }
    /** @brief What the length shares its two bytes with. */
    static u32 lengthBits(const Entry &entry)
    {
        const u32 statusAndCa = static_cast<u32>(entry.running_status) << 5 | static_cast<u32>(entry.free_CA_mode) << 4;
        return statusAndCa << 8;
    }
};

constexpr RemakeTexts SdtRemake::texts = {
    PSI_TEXT(error, "syntaxSdtMakeSeciton: sdtSection is NULL!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: objDataInfo is NULL!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sdta make section!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sdto make section!"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sectionLen = %u"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: sectionnum 1 -> 2!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: buddy_malloc TotalSdtSection  failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: buddy_malloc tempSdtSection  failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: psiSdtServiceCreat newProgInfo failed"),
    noText, // no descriptors of the table's own
    PSI_TEXT(error, "syntaxSdtMakeSeciton: descInfoCreat newProgInfo failed"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: syntaxAnalysePsi(sdt sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: make TotalSdtSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxSdtMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxSdtMakeSeciton: lastSectionNumber = %u"),
    noText,
    PSI_TEXT(info, "syntaxSdtMakeSeciton: section make OK! tsId=%u, sectionNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxSdtMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

/* ---- NIT and BAT. EN 300 468 5.2.1, 5.2.2 ---- */

/** @brief What NIT and BAT have in common: table descriptors, then transport streams, each loop behind its length. */
struct NetworkRemake {
    using Entry = psiStreamInfo;
    static constexpr u32 budget = 1008;
    static constexpr u32 fieldsSize = 4;
    static constexpr u32 entryFixedSize = 6;
    static constexpr auto entryDescriptors = &Entry::descriptor;
    static constexpr const NodeTypeOf<Entry> &entryType = psiStreamInfoType;

    static void copyFields(Entry &to, const Entry &from)
    {
        to.transport_stream_id = from.transport_stream_id;
        to.original_network_id = from.original_network_id;
    }
    template <class Section>
    static void putTableFields(SectionWriter &section, const Section &, const ListRange<descInfo> &descriptors,
                               TableSize size)
    {
        section.putLength12(size.descriptors);
        descriptors.forEach([&](const descInfo &desc) { section.putDescriptor(desc); });
        section.putLength12(size.entries);
    }
    static u8 *beginEntry(SectionWriter &section, const Entry &entry)
    {
        u8 *const fields = section.claim(entryFixedSize);
        if (fields) {
            storeBe16(fields, entry.transport_stream_id);
            storeBe16(fields + 2, entry.original_network_id);
        }
        return fields;
    }
    static u32 lengthBits(const Entry &) { return 0xF000; }
};

struct NitRemake : NetworkRemake {
    using Section = nitSection;
    static constexpr u8 actualTableId = nitActualId, actualType = PSI_NIT_ACTUAL, otherType = PSI_NIT_OTHER;
    static constexpr u16 Section::*id = &Section::network_id;
    static constexpr descInfo *Section::*descriptors = &Section::net_descriptor;
    static constexpr Entry *Section::*entries = &Section::stream_info;
    static const RemakeTexts texts;
};

constexpr RemakeTexts NitRemake::texts = {
    PSI_TEXT(error, "syntaxNitMakeSeciton: nitSection is NULL!"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: objDataInfo is NULL!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: nita make section!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: nito make section!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: sectionLen = %u"),
    noText,
    PSI_TEXT(error, "syntaxNitMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: buddy_malloc TotalNitSection  failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: buddy_malloc tempNitSection  failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: psiStreamInfoCreat newStreamInfo failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfoCreat net_desc_info failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfoCreat stream_desc_info failed"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: syntaxAnalysePsi(Nit sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: make TotalNitSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxNitMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: lastSectionNumber = %u"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: lastSectionNumber = %u!"),
    PSI_TEXT(info, "syntaxNitMakeSeciton: section make OK! netId=%u, sectionNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "syntaxNitMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxNitMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

struct BatRemake : NetworkRemake {
    using Section = batSection;
    static constexpr u8 actualTableId = batId, actualType = PSI_BAT, otherType = PSI_BAT;
    static constexpr u16 Section::*id = &Section::bouquet_id;
    static constexpr descInfo *Section::*descriptors = &Section::bouquet_descriptor;
    static constexpr Entry *Section::*entries = &Section::stream_info;
    static const RemakeTexts texts;
};

constexpr RemakeTexts BatRemake::texts = {
    PSI_TEXT(error, "syntaxBatMakeSeciton: batSection is NULL!"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: objDataInfo is NULL!"),
    noText,
    noText,
    PSI_TEXT(info, "syntaxBatMakeSeciton: sectionLen = %u"),
    noText,
    PSI_TEXT(error, "syntaxBatMakeSeciton: sectionDataDestroy failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: buddy_malloc TotalBatSection  failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: buddy_malloc tempBatSection  failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: psiStreamInfoCreat newStreamInfo failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfoCreat bouquet_desc_info failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfoCreat stream_desc_info failed"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: descInfo->descData buddy_malloc failed!"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: syntaxAnalysePsi(Bat sectionNo is %d)  failed"),
    PSI_TEXT(info, "syntaxBatMakeSeciton: make TotalBatSection, sectionNo = %u"),
    PSI_TEXT(error, "syntaxBatMakeSeciton: syntaxDestroyPsiSection  failed"),
    PSI_TEXT(info, "syntaxBatMakeSeciton: lastSectionNumber = %u"),
    noText,
    PSI_TEXT(info, "syntaxBatMakeSeciton: section make OK! bouquetId=%u, sectionNo=%u, sectionLen=%u"),
    {
        PSI_TEXT(error, "syntaxBatMakeSeciton: sectionData creat failed!"),
        PSI_TEXT(error, "syntaxBatMakeSeciton: sectionData->buf buddy_malloc failed!"),
    },
};

/* ---- The algorithm ---- */

/** @brief A list that others are moved to the end of. */
template <class Node> class Gathered {
public:
    explicit Gathered(Node **head) : head_(head) {}

    /** @brief Move all nodes of a list. */
    void append(Node *&from)
    {
        while (last_ && nextOf(last_))
            last_ = nextOf(last_);
        if (last_)
            last_->link.next = from;
        else
            last_ = *head_ = from;
        from = nullptr;
    }

private:
    Node **head_;
    Node *last_ = nullptr; /**< or one in front of it */
};

/** @brief Copy a list of descriptors with their payloads to the end of another. */
bool copyDescriptors(PoolGuard &pool, descInfo **to, const descInfo *from, const LogText &noNode, const LogText &noData)
{
    for (; from; from = nextOf(from)) {
        descInfo *copy = nodeCreat(pool, to, descInfoType);
        if (!copy) {
            makeLog(noNode);
            return false;
        }
        copy->descTag = from->descTag;
        copy->descLen = from->descLen;
        if (from->descLen == 0)
            continue;
        copy->descData = static_cast<u8 *>(pool.allocate(from->descLen));
        if (!copy->descData) {
            makeLog(noData);
            nodeDestroy(pool, to, copy, descInfoType, true);
            return false;
        }
        copyOrZero(copy->descData, from->descData, from->descLen);
    }
    return true;
}

/** @brief One write-back of a tree. */
template <class Table> class Remake {
    using Section = typename Table::Section;
    using Entry = typename Table::Entry;

public:
    Remake(tsInfo *model, const Section *tree, u16 id)
        : model_(model), tree_(tree), id_(id), actual_(tree->table_id == Table::actualTableId),
          type_(actual_ ? Table::actualType : Table::otherType)
    {
    }

    i32 run();

private:
    /** @brief A tree of this table that goes when its owner goes. */
    class Tree {
    public:
        explicit Tree(u8 type) : type_(type) {}
        ~Tree() { destroy(); }
        Tree(const Tree &) = delete;
        Tree &operator=(const Tree &) = delete;

        Section *get() const { return section_; }
        /** @brief Own a tree; there was none before. */
        void take(Section *section) { section_ = section; }
        i32 destroy()
        {
            Section *section = section_;
            section_ = nullptr;
            return section ? syntaxDestroyPsiSection(type_, section) : 0;
        }

    private:
        u8 type_;
        Section *section_ = nullptr;
    };

    static u32 entrySize(const Entry &entry)
    {
        return Table::entryFixedSize + sumOf(entry.*Table::entryDescriptors, descriptorSize);
    }
    static TableSize sizeOf(const Section &section)
    {
        return {sumOf(firstDescriptorOf(section), descriptorSize), sumOf(section.*Table::entries, entrySize)};
    }
    /** @brief The head of the table's own descriptors; null for a table that has none. */
    static descInfo **descriptorsOf(Section &section)
    {
        if constexpr (Table::descriptors != nullptr)
            return &(section.*Table::descriptors);
        return nullptr;
    }
    static const descInfo *firstDescriptorOf(const Section &section)
    {
        if constexpr (Table::descriptors != nullptr)
            return section.*Table::descriptors;
        return nullptr;
    }
    static void putEntry(SectionWriter &section, const Entry &entry)
    {
        u8 *const fields = Table::beginEntry(section, entry);
        section.putDescriptors(entry.*Table::entryDescriptors);
        section.closeLoop(fields, Table::entryFixedSize, Table::lengthBits(entry));
    }

    sectionData *findStored(u32 number) const;
    Section *emptyCopy() const;
    bool copyContent(Section &to) const;
    bool copyTree(Tree &to) const;
    bool parseStored(u32 number, Tree &to) const;
    /** @brief The lists of the whole table, while they grow. */
    struct Whole {
        Gathered<descInfo> descriptors;
        Gathered<Entry> entries;
    };
    bool gatherOne(u32 number, Whole &whole) const;
    bool gather(Tree &total) const;
    static u32 countExtra(const Section &source);
    i32 replaceOne(TableSize size);
    i32 rebuild(const Section &source, TableSize size);
    i32 build(const Section &source, TableSize size, u32 base, u32 last, u32 extra);
    i32 buildOne(const Section &source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                 ListCursor<Entry> &entries);

    tsInfo *model_;
    const Section *tree_;
    u16 id_;
    bool actual_;
    u8 type_;
};

/** @brief The first stored section of the table with this number, or null. */
template <class Table> sectionData *Remake<Table>::findStored(u32 number) const
{
    return findSection(model_, [=](const sectionData &one) {
        return one.psiType == type_ && one.idExt == id_ && one.sectionNo == number;
    });
}

/** @brief A record with the tree's header and empty lists, or null. */
template <class Table> typename Table::Section *Remake<Table>::emptyCopy() const
{
    PoolGuard pool(psiMp);
    auto *copy = static_cast<Section *>(pool.allocate(sizeof(Section)));
    if (!copy)
        return nullptr;
    *copy = *tree_;
    copy->*Table::entries = nullptr;
    if (descInfo **head = descriptorsOf(*copy))
        *head = nullptr;
    return copy;
}

template <class Table> bool Remake<Table>::copyContent(Section &to) const
{
    const RemakeTexts &texts = Table::texts;
    PoolGuard pool(psiMp);
    descInfo **head = descriptorsOf(to);
    if (head && !copyDescriptors(pool, head, firstDescriptorOf(*tree_), texts.noDescriptor, texts.noData))
        return false;
    for (const Entry *entry = tree_->*Table::entries; entry; entry = nextOf(entry)) {
        Entry *copy = nodeCreat(pool, &(to.*Table::entries), Table::entryType);
        if (!copy) {
            makeLog(texts.noEntry);
            return false;
        }
        Table::copyFields(*copy, *entry);
        if (!copyDescriptors(pool, &(copy->*Table::entryDescriptors), entry->*Table::entryDescriptors,
                             texts.noEntryDescriptor, texts.noData))
            return false;
    }
    return true;
}

/** @brief A deep copy of the caller's tree, so that the caller's is only read. */
template <class Table> bool Remake<Table>::copyTree(Tree &to) const
{
    to.take(emptyCopy());
    if (!to.get()) {
        makeLog(Table::texts.noCopy);
        return false;
    }
    return copyContent(*to.get());
}

/** @brief The tree of a stored section. @return false when there is none or it cannot be parsed */
template <class Table> bool Remake<Table>::parseStored(u32 number, Tree &to) const
{
    const sectionData *node = findStored(number);
    if (!node)
        return false;
    void *parsed = nullptr;
    if (syntaxAnalysePsi(type_, &parsed, node->buf, node->len) == -1) {
        makeLog(Table::texts.parseFailed, static_cast<int>(number));
        return false;
    }
    to.take(static_cast<Section *>(parsed));
    return true;
}

/** @brief Move the content of section `number` to the whole table; a number without a section gives nothing. */
template <class Table> bool Remake<Table>::gatherOne(u32 number, Whole &whole) const
{
    Tree part(type_);
    if (number == tree_->section_number) {
        if (!copyTree(part))
            return false;
    } else if (!parseStored(number, part)) {
        return true;
    }
    Section &section = *part.get();
    makeLog(Table::texts.gathered, static_cast<unsigned>(section.section_number));
    if (descInfo **head = descriptorsOf(section))
        whole.descriptors.append(*head);
    whole.entries.append(section.*Table::entries);
    if (part.destroy() == -1) {
        makeLog(Table::texts.treeFailed);
        return false;
    }
    return true;
}

/** @brief The whole table: the edited tree in its place among the stored sections. */
template <class Table> bool Remake<Table>::gather(Tree &total) const
{
    total.take(emptyCopy());
    if (!total.get()) {
        makeLog(Table::texts.noTotal);
        return false;
    }
    Section &section = *total.get();
    Whole whole = {Gathered<descInfo>(descriptorsOf(section)), Gathered<Entry>(&(section.*Table::entries))};
    for (u32 number = 0; number <= tree_->last_section_number; ++number)
        if (!gatherOne(number, whole))
            return false;
    return true;
}

/** @brief Sections needed beyond the first. */
template <class Table> u32 Remake<Table>::countExtra(const Section &source)
{
    constexpr u32 maxLength = maxSectionLen - sectionLengthEnd;
    constexpr u32 fixedLength = emptySectionSize - sectionLengthEnd + Table::fieldsSize;
    u32 extra = 0;
    u32 length = fixedLength;
    const auto count = [&](u32 size) {
        length += size;
        if (length > maxLength) {
            length = fixedLength + size;
            ++extra;
        }
    };
    for (const descInfo *desc = firstDescriptorOf(source); desc; desc = nextOf(desc))
        count(descriptorSize(*desc));
    for (const Entry *entry = source.*Table::entries; entry; entry = nextOf(entry))
        count(entrySize(*entry));
    return extra;
}

template <class Table>
i32 Remake<Table>::buildOne(const Section &source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                            ListCursor<Entry> &entries)
{
    PoolGuard pool(psiMp);
    const u16 id = source.*Table::id;
    u32 used = 0;
    const ListRange<descInfo> ownTaken = descriptors.take(used, Table::budget, descriptorSize);
    const u32 ownBytes = used;
    // A section that a descriptor did not fit takes no entries either.
    const ListRange<Entry> taken = entries.take(used, descriptors.done() ? Table::budget : used, entrySize);
    const u32 size = emptySectionSize + Table::fieldsSize + used;
    makeLog(Table::texts.made, static_cast<unsigned>(id), static_cast<unsigned>(number), static_cast<unsigned>(size));
    NewSection section(pool, model_, {type_, number, id, 0}, size, Table::texts.store);
    if (!section)
        return -1;
    section.putHeader({source.table_id, id, source.version_number, number, last});
    Table::putTableFields(section, source, ownTaken, {ownBytes, used - ownBytes});
    taken.forEach([&](const Entry &entry) { putEntry(section, entry); });
    section.seal(psiSectionFlags);
    return 0;
}

template <class Table> i32 Remake<Table>::build(const Section &source, TableSize size, u32 base, u32 last, u32 extra)
{
    makeLog(Table::texts.build, static_cast<unsigned>(last));
    ListCursor<descInfo> descriptors(firstDescriptorOf(source), size.descriptors);
    ListCursor<Entry> entries(source.*Table::entries, size.entries);
    for (u32 k = 0; k <= extra; ++k)
        if (buildOne(source, static_cast<u8>(base + k), static_cast<u8>(last), descriptors, entries) == -1)
            return -1;
    return 0;
}

/** @brief The tree takes the place of the stored section of its number. */
template <class Table> i32 Remake<Table>::replaceOne(TableSize size)
{
    sectionData *old = findStored(tree_->section_number);
    if (old && sectionDataDestroy(&model_->sectionList, old) == -1)
        return makeFail(Table::texts.destroyFailed);
    return build(*tree_, size, tree_->section_number, tree_->last_section_number, 0);
}

/** @brief All stored sections of the table go; the source is split anew and numbered from 0. */
template <class Table> i32 Remake<Table>::rebuild(const Section &source, TableSize size)
{
    const u32 extra = countExtra(source);
    makeLog(Table::texts.lastNumber, static_cast<unsigned>(extra));
    if (singleTypeAndIdExtSectionDataDestroy(&model_->sectionList, type_, id_) == -1)
        return makeFail(Table::texts.destroyFailed);
    return build(source, size, 0, extra, extra);
}

template <class Table> i32 Remake<Table>::run()
{
    makeLog(actual_ ? Table::texts.actual : Table::texts.other);
    const TableSize size = sizeOf(*tree_);
    const u32 content = countedBytes(size.descriptors + size.entries);
    makeLog(Table::texts.contentLen, static_cast<unsigned>(content));
    if (content < Table::budget)
        return replaceOne(size);
    if (tree_->last_section_number == 0) {
        makeLog(Table::texts.split);
        return rebuild(*tree_, size);
    }
    Tree total(type_);
    return gather(total) ? rebuild(*total.get(), sizeOf(*total.get())) : -1;
}

template <class Table> i32 remake(tsInfo *model, const typename Table::Section *tree, u16 id)
{
    if (!tree)
        return makeFail(Table::texts.noTree);
    if (!model)
        return makeFail(Table::texts.noModel);
    return Remake<Table>(model, tree, id).run();
}

} // namespace

i32 syntaxSdtMakeSeciton(tsInfo *objDataInfo, sdtSection *sdt, u16 tsId)
{
    return remake<SdtRemake>(objDataInfo, sdt, tsId);
}

i32 syntaxNitMakeSeciton(tsInfo *objDataInfo, nitSection *nit, u16 netId)
{
    return remake<NitRemake>(objDataInfo, nit, netId);
}

i32 syntaxBatMakeSeciton(tsInfo *objDataInfo, batSection *bat, u16 bouquetId)
{
    return remake<BatRemake>(objDataInfo, bat, bouquetId);
}

i32 syntaxSIMakeSeciton(tsInfo *objDataInfo, void *pointer, u16 idExt, u32 type)
{
    if (!pointer) {
        MAKE_ERROR("syntaxSIMakeSeciton: pointer is NULL!");
        return -1;
    }
    if (!objDataInfo) {
        MAKE_ERROR("syntaxSIMakeSeciton: objDataInfo is NULL!");
        return -1;
    }
    switch (type) {
    case PSI_SDT_ACTUAL:
    case PSI_SDT_OTHER:
        return syntaxSdtMakeSeciton(objDataInfo, static_cast<sdtSection *>(pointer), idExt);
    case PSI_NIT_ACTUAL:
    case PSI_NIT_OTHER:
        return syntaxNitMakeSeciton(objDataInfo, static_cast<nitSection *>(pointer), idExt);
    case PSI_BAT:
        return syntaxBatMakeSeciton(objDataInfo, static_cast<batSection *>(pointer), idExt);
    default:
        MAKE_WARNING("syntaxSIMakeSeciton psiType = %lu, not support!", static_cast<unsigned long>(type));
        return -1;
    }
}
