#include "psiSearch.h"

#include <stddef.h>

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * What a run has seen
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr LoopTexts otherTexts = {
    PSI_TEXT(error, "schOtherPsi: fatal error, psiMsSleep is NULL!"),
    PSI_TEXT(error, "schOtherPsi: fatal error, getMsTimeCnt is NULL!"),
    PSI_TEXT(error, "schOtherPsi: buddy_malloc faild, tmpTableInfo is NULL!"),
    PSI_TEXT(info, "schOtherPsi: psi sch stop!"),
    PSI_TEXT(debug, "schOtherPsi: PSI_DATA_NO_READY!"),
    PSI_TEXT(info, "schOtherPsi: PSI_NO_TABLE!"),
    PSI_TEXT(warning, "schOtherPsi: readPsi get data error"),
    PSI_TEXT(error, "schOtherPsi: readPsi get data error, tsNum is %u!"),
    PSI_TEXT(info, "schOtherPsi: readPsi get data ok!"),
    PSI_TEXT(error, "schOtherPsi: readPsi return val error, %d(unknown)"),
};

/** @brief Distinct sections, told apart by table_id_extension and section_number. */
template <u32 capacity> struct SectionKeys {
    u32 count;
    u16 ids[capacity];
    u8 sectNos[capacity];

    bool full() const { return count >= capacity; }
    bool holds(u16 id, u8 sectNo) const
    {
        for (u32 i = 0; i < count; ++i)
            if (sectNos[i] == sectNo && ids[i] == id)
                return true;
        return false;
    }
    void add(u16 id, u8 sectNo)
    {
        ids[count] = id;
        sectNos[count] = sectNo;
        ++count;
    }
    /** @brief How many sections of a sub-table, numbers 0 to `last`, there are. */
    u32 countOf(u16 id, u8 last) const
    {
        u32 n = 0;
        for (u32 i = 0; i < count; ++i)
            n += ids[i] == id && sectNos[i] <= last;
        return n;
    }
};

/** @brief The sections of a run that are kept. */
using record = SectionKeys<256>;
static_assert(offsetof(record, ids) == 4 && offsetof(record, sectNos) == 516 && sizeof(record) == 772,
              "layout of the seen-sections record");

/** @brief What a run remembers of the sections that came, in one pool block. */
struct Seen {
    record kept;
    SectionKeys<64> lost; /**< found no memory; they may be kept by now */
    bool lostMore;        /**< and others, for which there was no room here either */
    bool refused;         /**< a section came when 256 were kept */

    void clear()
    {
        kept.count = 0;
        lost.count = 0;
        lostMore = false;
        refused = false;
    }
    void lose(u16 id, u8 sectNo)
    {
        if (lost.holds(id, sectNo))
            return;
        if (lost.full())
            lostMore = true;
        else
            lost.add(id, sectNo);
    }
    /** @brief Is there a section that came and is not kept, for want of memory? */
    bool lacksMemory() const
    {
        for (u32 i = 0; i < lost.count; ++i)
            if (!kept.holds(lost.ids[i], lost.sectNos[i]))
                return true;
        return lostMore;
    }
};
static_assert(sizeof(Seen) <= 1024, "one pool block of 1 KiB");

/* ------------------------------------------------------------------------------------------------------------------
 * Tables of many sub-tables, collected as sections
 * ---------------------------------------------------------------------------------------------------------------- */

/** @brief Collects the sections of one table type, sub-table by sub-table. */
class Collector {
public:
    Collector(Search &search, u32 type, Seen &seen)
        : search_(search), seen_(seen), type_(type), before_(lastNode(search.model()->sectionList))
    {
    }
    /** @brief Collect one sub-table. @return false when the whole search has ended */
    bool collectSubTable();
    psiEndReason end() const { return end_; }

private:
    /** @brief What a pass has led to. */
    enum class Pass { goesOn, subTableWhole, searchEnded };

    Pass pass();
    Pass endAs(psiEndReason reason)
    {
        end_ = reason;
        return Pass::searchEnded;
    }
    bool complete() const { return sectNo_ >= lastSectNo_; }
    void requestNext();
    Pass skipMissingSection();
    Pass takeSection();
    void dropSection(u8 number);
    psiEndReason outcome() const;
    bool lacksSections() const;
    bool isLacking(const sectionData &section) const;

    static const sectionData *lastNode(const sectionData *node)
    {
        while (node && node->link.next)
            node = nextOf(node);
        return node;
    }

    Search &search_;
    Seen &seen_;
    const u32 type_;
    const sectionData *const before_; /**< the last section that was stored before this run */
    u16 id_ = 0;
    u8 sectNo_ = 0;
    u8 lastSectNo_ = 0;
    psiEndReason end_ = PSI_END_NEVER;
};

bool Collector::collectSubTable()
{
    sectNo_ = 0;
    lastSectNo_ = 0;
    search_.resetFilter();
    search_.request();
    Pass passed = Pass::goesOn;
    while (passed == Pass::goesOn)
        passed = pass();
    return passed == Pass::subTableWhole;
}

Collector::Pass Collector::pass()
{
    if (search_.stopRequested())
        return endAs(PSI_END_STOPPED);
    if (search_.timedOut())
        return skipMissingSection();
    switch (search_.readSection()) {
    case Read::section:
        return takeSection();
    case Read::noMemory:
        seen_.lose(search_.tableIdExt(), search_.sectionNo());
        search_.retry();
        break;
    case Read::absent:
        return endAs(PSI_END_ABSENT);
    case Read::again:
    default:
        break;
    }
    return Pass::goesOn;
}

void Collector::requestNext()
{
    search_.filter.tableIdExt = id_;
    search_.filter.useIdExt = 1;
    search_.requestSection(++sectNo_);
}

Collector::Pass Collector::skipMissingSection()
{
    if (complete()) {
        PSI_INFO("schOtherPsi: sch section number is %lu!", static_cast<unsigned long>(seen_.kept.count));
        return endAs(outcome());
    }
    requestNext();
    PSI_INFO("schOtherPsi: timeout,section next table set (sectNo=%u, id=%u)!", sectNo_, id_);
    return Pass::goesOn;
}

/** @brief Keep or drop the section just stored. */
Collector::Pass Collector::takeSection()
{
    PSI_INFO("schOtherPsi: section sch cost time %lums !", static_cast<unsigned long>(search_.elapsed()));
    id_ = search_.tableIdExt();
    PSI_INFO("schOtherPsi: the record id is 0x%x !", static_cast<unsigned>(id_));
    const u8 number = search_.sectionNo();
    if (seen_.kept.full() || seen_.kept.holds(id_, number)) {
        dropSection(number);
        return Pass::goesOn;
    }
    seen_.kept.add(id_, number);
    PSI_INFO("schOtherPsi: section sch cost time %lums !", static_cast<unsigned long>(search_.elapsed()));
    PSI_INFO("schOtherPsi: tableid is 0x%x, id=0x%x, sectionNo=%d !", static_cast<unsigned>(search_.filter.tableId),
             static_cast<unsigned>(id_), number);
    sectNo_ = number;
    lastSectNo_ = search_.lastSectionNo();
    if (complete())
        return Pass::subTableWhole;
    requestNext();
    PSI_INFO("section next table set (sectNo=%u, id=%u)!", sectNo_, id_);
    return Pass::goesOn;
}

void Collector::dropSection(u8 number)
{
    PSI_INFO("schOtherPsi: the section is already exist, continue!");
    seen_.refused = seen_.refused || !seen_.kept.holds(id_, number);
    search_.dropSection();
    search_.retry();
}

/** @brief How a search ends that neither the host nor a stop has ended. */
psiEndReason Collector::outcome() const
{
    if (seen_.lacksMemory())
        return PSI_END_NO_MEMORY;
    return seen_.kept.count == 0 || seen_.refused || lacksSections() ? PSI_END_TIMEOUT : PSI_END_WHOLE;
}

/** @brief Is a section damaged, or does its sub-table lack another? Only the sections say how many there are. */
bool Collector::isLacking(const sectionData &section) const
{
    if (psiCheckCrc(section.buf, section.len) == -1)
        return true;
    const u8 last = section.buf[7];
    return seen_.kept.countOf(section.idExt, last) <= last;
}

bool Collector::lacksSections() const
{
    const sectionData *node = before_ ? nextOf(before_) : search_.model()->sectionList;
    for (; node; node = nextOf(node))
        if (node->psiType == type_ && isLacking(*node))
            return true;
    return false;
}

u32 collectSections(tableObj *obj, u32 type)
{
    if (!canSearch(obj, type, otherTexts))
        return 0;
    const SearchWork work(type);
    if (!work)
        return endWithoutWork(obj, type, otherTexts.noWork);
    const PoolBlock<Seen> seen;
    if (!seen) {
        PSI_ERROR("schOtherPsi: buddy_malloc faild, record is NULL!");
        setEndReason(obj, type, PSI_END_NO_MEMORY);
        return 0;
    }
    seen->clear();
    Search search(obj, type, otherTexts, work);
    Collector collector(search, type, *seen.get());
    while (collector.collectSubTable()) {
    }
    setEndReason(obj, type, collector.end());
    return seen->kept.count;
}

} // namespace

u32 psi::core::schOtherPsi(tableObj *obj, u32 type)
{
    return collectSections(obj, type);
}

u32 psi::core::schEbtTable(tableObj *obj, u32 type)
{
    return collectSections(obj, type);
}
