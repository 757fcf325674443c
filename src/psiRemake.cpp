#include "psiMake.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Regeneration: an edited SDT, NIT or BAT tree becomes sections again
 *
 * One algorithm for the three. What differs is data: where the fields of records and entries lie, how they are written,
 * and the texts.
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief What the records of the three trees begin with. */
struct TreeHead {
    u8 table_id, section_syntax_indicator, version_number, current_next_indicator, section_number, last_section_number;
};

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

/** @brief A table that can be remade. Offsets are those of fields in its record and its entries. */
struct RemakeTable {
    u8 actualTableId, actualType, otherType;
    u8 entryFixedSize; /**< bytes of an entry without its descriptors */
    u8 fieldsSize;     /**< bytes between the header and CRC_32 without the loops */
    bool hasDescriptors;
    u16 budget; /**< bytes that the loops of a section may take */
    u16 recordSize, idAt, descriptorsAt, entriesAt, entryDescriptorsAt;
    const NodeType &entryType;

    void (*copyFields)(void *to, const void *from); /**< of an entry, but for its link, its lengths and its list */
    /** What precedes the entries. */
    void (*putTableFields)(SectionWriter &section, const void *tree, const ListRange<descInfo> &taken, TableSize size);
    /** What precedes an entry's descriptors: its bytes, which end with the descriptors' length; null without room. */
    u8 *(*beginEntry)(SectionWriter &section, const void *entry);
    u32 (*lengthBits)(const void *entry); /**< what the length shares its two bytes with */

    RemakeTexts texts;
};

/* ---- SDT. EN 300 468 5.2.3 ---- */

void copyService(void *to, const void *from)
{
    auto &copy = *static_cast<psiSdtService *>(to);
    const auto &entry = *static_cast<const psiSdtService *>(from);
    copy.free_CA_mode = entry.free_CA_mode;
    copy.running_status = entry.running_status;
    copy.EIT_schedule_flag = entry.EIT_schedule_flag;
    copy.EIT_present_following_flag = entry.EIT_present_following_flag;
    copy.service_id = entry.service_id;
}

void putSdtTableFields(SectionWriter &section, const void *tree, const ListRange<descInfo> & /*none*/,
                       TableSize /*size*/)
{
    putSdtFields(section, static_cast<const sdtSection *>(tree)->original_network_id);
}

u8 *beginSdtService(SectionWriter &section, const void *entry)
{
    const auto &service = *static_cast<const psiSdtService *>(entry);
    const u32 eitFlags = static_cast<u32>(service.EIT_schedule_flag) << 1 | service.EIT_present_following_flag;
    return beginService(section, service.service_id, eitFlags);
}

u32 serviceLengthBits(const void *entry)
{
    const auto &service = *static_cast<const psiSdtService *>(entry);
    return static_cast<u32>(service.running_status) << 13 | static_cast<u32>(service.free_CA_mode) << 12;
}

constexpr RemakeTable sdtTable = {
    sdtActualId,
    PSI_SDT_ACTUAL,
    PSI_SDT_OTHER,
    serviceFixedSize,
    sdtFieldsSize,
    false,
    sdtBudget,
    sizeof(sdtSection),
    offsetof(sdtSection, transport_stream_id),
    0,
    offsetof(sdtSection, service_info),
    offsetof(psiSdtService, service_descriptor),
    psiSdtServiceType,
    copyService,
    putSdtTableFields,
    beginSdtService,
    serviceLengthBits,
    {
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
    },
};

/* ---- NIT and BAT: table descriptors, then transport streams, each loop behind its length. EN 300 468 5.2.1, 5.2.2
 * ---- */

constexpr u8 streamFixedSize = 6;
constexpr u16 networkBudget = 1008;

void copyStream(void *to, const void *from)
{
    auto &copy = *static_cast<psiStreamInfo *>(to);
    const auto &entry = *static_cast<const psiStreamInfo *>(from);
    copy.transport_stream_id = entry.transport_stream_id;
    copy.original_network_id = entry.original_network_id;
}

void putNetworkFields(SectionWriter &section, const void * /*tree*/, const ListRange<descInfo> &taken, TableSize size)
{
    section.putLength12(size.descriptors);
    taken.forEach([&](const descInfo &desc) { section.putDescriptor(desc); });
    section.putLength12(size.entries);
}

u8 *beginStream(SectionWriter &section, const void *entry)
{
    const auto &stream = *static_cast<const psiStreamInfo *>(entry);
    u8 *const fields = section.claim(streamFixedSize);
    if (fields) {
        storeBe16(fields, stream.transport_stream_id);
        storeBe16(fields + 2, stream.original_network_id);
    }
    return fields;
}

u32 streamLengthBits(const void * /*entry*/)
{
    return 0xF000;
}

constexpr RemakeTable nitTable = {
    nitActualId,
    PSI_NIT_ACTUAL,
    PSI_NIT_OTHER,
    streamFixedSize,
    4,
    true,
    networkBudget,
    sizeof(nitSection),
    offsetof(nitSection, network_id),
    offsetof(nitSection, net_descriptor),
    offsetof(nitSection, stream_info),
    offsetof(psiStreamInfo, descriptor),
    psiStreamInfoType,
    copyStream,
    putNetworkFields,
    beginStream,
    streamLengthBits,
    {
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
    },
};

constexpr RemakeTable batTable = {
    batId,
    PSI_BAT,
    PSI_BAT,
    streamFixedSize,
    4,
    true,
    networkBudget,
    sizeof(batSection),
    offsetof(batSection, bouquet_id),
    offsetof(batSection, bouquet_descriptor),
    offsetof(batSection, stream_info),
    offsetof(psiStreamInfo, descriptor),
    psiStreamInfoType,
    copyStream,
    putNetworkFields,
    beginStream,
    streamLengthBits,
    {
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
    },
};

static_assert(offsetof(sdtSection, last_section_number) == offsetof(TreeHead, last_section_number) &&
                  offsetof(nitSection, last_section_number) == offsetof(TreeHead, last_section_number) &&
                  offsetof(batSection, last_section_number) == offsetof(TreeHead, last_section_number),
              "the records begin alike");

/* ---- The algorithm ---- */

/** @brief The list head at an address; it is of the nodes' own type there, so it is read and written as bytes. */
zlstNode *headAt(const void *place)
{
    zlstNode *first;
    memcpy(&first, place, sizeof(first)); // NOLINT(bugprone-sizeof-expression): the pointer itself is copied
    return first;
}

/** @brief A list that others are moved to the end of. */
class Gathered {
public:
    explicit Gathered(void *head) : head_(head) {}

    /** @brief Move all nodes of a list. */
    void append(void *from)
    {
        zlstNode *const first = headAt(from);
        while (last_ && last_->next)
            last_ = nextOf(last_);
        if (last_)
            last_->next = first;
        else
            memcpy(head_, from, sizeof(first)); // NOLINT(bugprone-sizeof-expression): the pointer itself is copied
        if (!last_)
            last_ = first;
        memset(from, 0, sizeof(first)); // NOLINT(bugprone-sizeof-expression): the pointer itself is cleared
    }

private:
    void *head_;
    zlstNode *last_ = nullptr; /**< or one in front of it */
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
            dropNew(pool, to, copy, descInfoType);
            return false;
        }
        copyOrZero(copy->descData, from->descData, from->descLen);
    }
    return true;
}

/** @brief One write-back of a tree. */
class Remake {
public:
    Remake(const RemakeTable &table, tsInfo *model, const void *tree, u16 id)
        : table_(table), model_(model), tree_(tree), id_(id)
    {
        memcpy(&head_, tree, sizeof(head_));
        type_ = isActual() ? table.actualType : table.otherType;
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

        void *get() const { return record_; }
        /** @brief Own a tree; there was none before. */
        void take(void *record) { record_ = record; }
        i32 destroy()
        {
            void *const record = record_;
            record_ = nullptr;
            return record ? syntaxDestroyPsiSection(type_, record) : 0;
        }

    private:
        u8 type_;
        void *record_ = nullptr;
    };

    /** @brief The lists of the whole table, while they grow. */
    struct Whole {
        Gathered descriptors, entries;
    };

    bool isActual() const { return head_.table_id == table_.actualTableId; }
    void *entriesOf(void *record) const { return static_cast<u8 *>(record) + table_.entriesAt; }
    descInfo **descriptorsOf(void *record) const { return listAt(record, table_.descriptorsAt); }
    zlstNode *firstEntryOf(const void *record) const
    {
        return headAt(static_cast<const u8 *>(record) + table_.entriesAt);
    }
    /** @brief The first of the table's own descriptors; null for a table that has none. */
    const descInfo *firstDescriptorOf(const void *record) const
    {
        return table_.hasDescriptors ? firstAt(record, table_.descriptorsAt) : nullptr;
    }
    static descInfo **listAt(void *object, u16 at)
    {
        return static_cast<descInfo **>(static_cast<void *>(static_cast<u8 *>(object) + at));
    }
    static const descInfo *firstAt(const void *object, u16 at)
    {
        return *static_cast<const descInfo *const *>(static_cast<const void *>(static_cast<const u8 *>(object) + at));
    }
    const descInfo *descriptorsOfEntry(const zlstNode &entry) const
    {
        return firstAt(&entry, table_.entryDescriptorsAt);
    }
    u32 entrySize(const zlstNode &entry) const
    {
        return table_.entryFixedSize + sumOf(descriptorsOfEntry(entry), descriptorSize);
    }
    TableSize sizeOf(const void *record) const
    {
        return {sumOf(firstDescriptorOf(record), descriptorSize),
                sumOf(firstEntryOf(record), [this](const zlstNode &entry) { return entrySize(entry); })};
    }
    void putEntry(SectionWriter &section, const zlstNode &entry) const
    {
        u8 *const fields = table_.beginEntry(section, &entry);
        section.putDescriptors(descriptorsOfEntry(entry));
        section.closeLoop(fields, table_.entryFixedSize, table_.lengthBits(&entry));
    }

    sectionData *findStored(u32 number) const;
    void *emptyCopy() const;
    bool copyEntry(PoolGuard &pool, void *to, const zlstNode &entry) const;
    bool copyContent(void *to) const;
    bool copyTree(Tree &to) const;
    bool parseStored(u32 number, Tree &to) const;
    bool gatherOne(u32 number, Whole &whole) const;
    bool gather(Tree &total) const;
    u32 countExtra(const void *source) const;
    i32 replaceOne(TableSize size);
    i32 rebuild(const void *source, TableSize size);
    i32 build(const void *source, TableSize size, u32 base, u32 last, u32 extra);
    i32 buildOne(const void *source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                 ListCursor<zlstNode> &entries);

    const RemakeTable &table_;
    tsInfo *model_;
    const void *tree_;
    TreeHead head_;
    u16 id_;
    u8 type_;
};

/** @brief The first stored section of the table with this number, or null. */
sectionData *Remake::findStored(u32 number) const
{
    return findSection(model_, [=](const sectionData &one) {
        return one.psiType == type_ && one.idExt == id_ && one.sectionNo == number;
    });
}

/** @brief A record with the tree's header and empty lists, or null. */
void *Remake::emptyCopy() const
{
    PoolGuard pool(psiMp);
    u8 *copy = copyBytes(pool, static_cast<const u8 *>(tree_), table_.recordSize);
    if (!copy)
        return nullptr;
    memset(copy + table_.entriesAt, 0, sizeof(void *));
    if (table_.hasDescriptors)
        *descriptorsOf(copy) = nullptr;
    return copy;
}

bool Remake::copyEntry(PoolGuard &pool, void *to, const zlstNode &entry) const
{
    void *copy = creatNode(pool, entriesOf(to), table_.entryType);
    if (!copy) {
        makeLog(table_.texts.noEntry);
        return false;
    }
    table_.copyFields(copy, &entry);
    return copyDescriptors(pool, listAt(copy, table_.entryDescriptorsAt), descriptorsOfEntry(entry),
                           table_.texts.noEntryDescriptor, table_.texts.noData);
}

bool Remake::copyContent(void *to) const
{
    PoolGuard pool(psiMp);
    if (table_.hasDescriptors && !copyDescriptors(pool, descriptorsOf(to), firstDescriptorOf(tree_),
                                                  table_.texts.noDescriptor, table_.texts.noData))
        return false;
    for (const zlstNode *entry = firstEntryOf(tree_); entry; entry = nextOf(entry))
        if (!copyEntry(pool, to, *entry))
            return false;
    return true;
}

/** @brief A deep copy of the caller's tree, so that the caller's is only read. */
bool Remake::copyTree(Tree &to) const
{
    to.take(emptyCopy());
    if (!to.get()) {
        makeLog(table_.texts.noCopy);
        return false;
    }
    return copyContent(to.get());
}

/** @brief The tree of a stored section. @return false when there is none or it cannot be parsed */
bool Remake::parseStored(u32 number, Tree &to) const
{
    const sectionData *node = findStored(number);
    if (!node)
        return false;
    void *parsed = nullptr;
    if (syntaxAnalysePsi(type_, &parsed, node->buf, node->len) == -1) {
        makeLog(table_.texts.parseFailed, static_cast<int>(number));
        return false;
    }
    to.take(parsed);
    return true;
}

/** @brief Move the content of section `number` to the whole table; a number without a section gives nothing. */
bool Remake::gatherOne(u32 number, Whole &whole) const
{
    Tree part(type_);
    if (number == head_.section_number) {
        if (!copyTree(part))
            return false;
    } else if (!parseStored(number, part)) {
        return true;
    }
    TreeHead head;
    memcpy(&head, part.get(), sizeof(head));
    makeLog(table_.texts.gathered, static_cast<unsigned>(head.section_number));
    if (table_.hasDescriptors)
        whole.descriptors.append(descriptorsOf(part.get()));
    whole.entries.append(entriesOf(part.get()));
    if (part.destroy() == -1) {
        makeLog(table_.texts.treeFailed);
        return false;
    }
    return true;
}

/** @brief The whole table: the edited tree in its place among the stored sections. */
bool Remake::gather(Tree &total) const
{
    total.take(emptyCopy());
    if (!total.get()) {
        makeLog(table_.texts.noTotal);
        return false;
    }
    Whole whole = {Gathered(descriptorsOf(total.get())), Gathered(entriesOf(total.get()))};
    for (u32 number = 0; number <= head_.last_section_number; ++number)
        if (!gatherOne(number, whole))
            return false;
    return true;
}

/** @brief Sections needed beyond the first. */
u32 Remake::countExtra(const void *source) const
{
    constexpr u32 maxLength = maxSectionLen - sectionLengthEnd;
    const u32 fixedLength = emptySectionSize - sectionLengthEnd + table_.fieldsSize;
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
    for (const zlstNode *entry = firstEntryOf(source); entry; entry = nextOf(entry))
        count(entrySize(*entry));
    return extra;
}

i32 Remake::buildOne(const void *source, u8 number, u8 last, ListCursor<descInfo> &descriptors,
                     ListCursor<zlstNode> &entries)
{
    PoolGuard pool(psiMp);
    u16 id;
    memcpy(&id, static_cast<const u8 *>(source) + table_.idAt, sizeof(id));
    u32 used = 0;
    const ListRange<descInfo> ownTaken = descriptors.take(used, table_.budget, descriptorSize);
    const u32 ownBytes = used;
    // A section that a descriptor did not fit takes no entries either.
    const ListRange<zlstNode> taken = entries.take(used, descriptors.done() ? table_.budget : used,
                                                   [this](const zlstNode &entry) { return entrySize(entry); });
    const u32 size = emptySectionSize + table_.fieldsSize + used;
    makeLog(table_.texts.made, static_cast<unsigned>(id), static_cast<unsigned>(number), static_cast<unsigned>(size));
    NewSection section(pool, model_, {type_, number, id, 0}, size, table_.texts.store);
    if (!section)
        return -1;
    section.putHeader({head_.table_id, id, head_.version_number, number, last});
    table_.putTableFields(section, source, ownTaken, {ownBytes, used - ownBytes});
    taken.forEach([&](const zlstNode &entry) { putEntry(section, entry); });
    section.seal(psiSectionFlags);
    return 0;
}

i32 Remake::build(const void *source, TableSize size, u32 base, u32 last, u32 extra)
{
    makeLog(table_.texts.build, static_cast<unsigned>(last));
    ListCursor<descInfo> descriptors(firstDescriptorOf(source), size.descriptors);
    ListCursor<zlstNode> entries(firstEntryOf(source), size.entries);
    for (u32 k = 0; k <= extra; ++k)
        if (buildOne(source, static_cast<u8>(base + k), static_cast<u8>(last), descriptors, entries) == -1)
            return -1;
    return 0;
}

/** @brief The tree takes the place of the stored section of its number. */
i32 Remake::replaceOne(TableSize size)
{
    sectionData *old = findStored(head_.section_number);
    if (old && sectionDataDestroy(&model_->sectionList, old) == -1)
        return makeFail(table_.texts.destroyFailed);
    return build(tree_, size, head_.section_number, head_.last_section_number, 0);
}

/** @brief All stored sections of the table go; the source is split anew and numbered from 0. */
i32 Remake::rebuild(const void *source, TableSize size)
{
    const u32 extra = countExtra(source);
    makeLog(table_.texts.lastNumber, static_cast<unsigned>(extra));
    if (singleTypeAndIdExtSectionDataDestroy(&model_->sectionList, type_, id_) == -1)
        return makeFail(table_.texts.destroyFailed);
    return build(source, size, 0, extra, extra);
}

i32 Remake::run()
{
    makeLog(isActual() ? table_.texts.actual : table_.texts.other);
    const TableSize size = sizeOf(tree_);
    const u32 content = countedBytes(size.descriptors + size.entries);
    makeLog(table_.texts.contentLen, static_cast<unsigned>(content));
    if (content < table_.budget)
        return replaceOne(size);
    if (head_.last_section_number == 0) {
        makeLog(table_.texts.split);
        return rebuild(tree_, size);
    }
    Tree total(type_);
    return gather(total) ? rebuild(total.get(), sizeOf(total.get())) : -1;
}

i32 remake(const RemakeTable &table, tsInfo *model, const void *tree, u16 id)
{
    if (!tree)
        return makeFail(table.texts.noTree);
    if (!model)
        return makeFail(table.texts.noModel);
    return Remake(table, model, tree, id).run();
}

} // namespace

i32 syntaxSdtMakeSeciton(tsInfo *objDataInfo, sdtSection *sdt, u16 tsId)
{
    return remake(sdtTable, objDataInfo, sdt, tsId);
}

i32 syntaxNitMakeSeciton(tsInfo *objDataInfo, nitSection *nit, u16 netId)
{
    return remake(nitTable, objDataInfo, nit, netId);
}

i32 syntaxBatMakeSeciton(tsInfo *objDataInfo, batSection *bat, u16 bouquetId)
{
    return remake(batTable, objDataInfo, bat, bouquetId);
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
