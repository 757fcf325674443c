#include "psiInternal.h"
#include "psiTables.h"

#include <stddef.h>

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Filter and work records
 * ---------------------------------------------------------------------------------------------------------------- */

void psi::core::initPsiSchItem(psiObjId objId, psiSchInfo *info, u32 type)
{
    if (objId == 0) {
        PSI_ERROR("initPsiSchItem: objId=0, ERROR!");
        return;
    }
    if (!info) {
        PSI_ERROR("initPsiSchItem: psiSchInfo is NULL!");
        return;
    }
    memset(info, 0, sizeof(*info));
    info->objId = objId;
    const u8 code = static_cast<u8>(type);
    const TableFacts &facts = tableFacts(code);
    if (facts.loop == SearchLoop::none) {
        PSI_WARNING("initPsiSchItem: psiType = %u, not support!", code);
        return;
    }
    info->pid = facts.pid;
    info->tableId = facts.tableId;
    info->longSection = isLongSection(code) ? 1 : 0;
}

void psi::core::initTmpTable(tableInfo *work, u32 type)
{
    if (!work) {
        PSI_ERROR("initTmpTable: tableInfo is NULL!");
        return;
    }
    work->psiType = static_cast<u8>(type);
    work->tsCount = 0;
    work->dataLen = 0;
    work->section_len = 0;
    work->waitStart = 1;
    // What is read of a section that is shorter than a long header.
    memset(work->buf, 0xFF, longHeaderLen);
    const TableFacts &facts = tableFacts(work->psiType);
    if (facts.loop == SearchLoop::none)
        PSI_WARNING("initTmpTable: psiType = %u, not support!", static_cast<unsigned>(work->psiType));
    else
        work->tableId = facts.tableId;
}

/* ------------------------------------------------------------------------------------------------------------------
 * From the packets of one read to a stored section
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr StoreTexts storeTexts = {
    psi_rpt_lvl,
    PSI_TEXT(error, "ts2Section: sectionData creat failed!"),
    PSI_TEXT(error, "ts2Section: sectionData->buf buddy_malloc failed!"),
};

} // namespace

i32 psi::core::ts2Section(tableObj *obj, tableInfo *work, const u8 *tsData, u8 tsNum)
{
    if (!obj) {
        PSI_ERROR("ts2Section: tableObj is NULL!");
        return -1;
    }
    if (!work) {
        PSI_ERROR("ts2Section: tableInfo is NULL!");
        return -1;
    }
    if (!tsData) {
        PSI_ERROR("ts2Section: tsData is NULL!");
        return -1;
    }
    if (tsNum == 0 || tsNum > maxRunPackets) {
        PSI_ERROR("ts2Section: tsNum=%u, ERROR!", tsNum);
        return -1;
    }
    PSI_INFO("tsGetTable tsNum = %u", tsNum);
    const u16 maxLen = isLongSection(work->psiType) ? maxLongSectionLen : maxSectionLen;
    const i32 result = _psiTsToSection(tsData, tsNum, work->buf, &work->section_len, maxLen);
    if (result != 0)
        return result;
    if (work->buf[0] != work->tableId) {
        PSI_ERROR("ts2Section: tableid error!");
        return -1;
    }
    const SectionTag tag = {work->psiType, work->buf[6], beU16(work->buf + 3),
                            static_cast<u16>(beU16(tsData + 1) & 0x1FFF)};
    sectionData *node = storeSection(&obj->tsInfo.sectionList, tag, work->buf, work->section_len, storeTexts);
    if (!node)
        return -1;
    work->sectionDataRef = node;
    return 0;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The step that all loops share: stop? time-out? read, react, reassemble
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

struct LoopTexts {
    LogText noSleep, noTick, noWork;
    LogText stop, notReady, noTable, dataError;
    LogTextOf<unsigned> badPackets;
    LogText dataOk;
    LogTextOf<int> unknownResult;
};

constexpr LoopTexts normalTexts = {
    PSI_TEXT(error, "schNormalPsi: fatal error, psiMsSleep is NULL!"),
    PSI_TEXT(error, "schNormalPsi: fatal error, getMsTimeCnt is NULL!"),
    PSI_TEXT(error, "schNormalPsi: buddy_malloc faild, tmpTableInfo is NULL!"),
    PSI_TEXT(info, "schNormalPsi: psi sch stop!"),
    PSI_TEXT(debug, "schNormalPsi: PSI_DATA_NO_READY!"),
    PSI_TEXT(info, "schNormalPsi: PSI_NO_TABLE!"),
    PSI_TEXT(warning, "schNormalPsi: readPsi get data error"),
    PSI_TEXT(error, "schNormalPsi: readPsi get data error, tsNum is %u! "),
    PSI_TEXT(info, "schNormalPsi: readPsi get data ok! "),
    PSI_TEXT(warning, "schNormalPsi: readPsi return val error, %d(unknown)"),
};

constexpr LoopTexts pmtTexts = {
    PSI_TEXT(error, "schPmt: fatal error, psiMsSleep is NULL!"),
    PSI_TEXT(error, "schPmt: fatal error, getMsTimeCnt is NULL!"),
    PSI_TEXT(error, "schPmt: buddy_malloc faild, tmpTableInfo is NULL!"),
    PSI_TEXT(info, "schPmt: psi sch stop!"),
    PSI_TEXT(debug, "schPmt: PSI_DATA_NO_READY!"),
    PSI_TEXT(info, "schPmt: PSI_NO_TABLE!"),
    PSI_TEXT(warning, "schPmt: readPsi get data error"),
    PSI_TEXT(error, "schPmt: readPsi get data error, tsNum is %u!"),
    PSI_TEXT(info, "schPmt: readPsi get data ok!"),
    PSI_TEXT(error, "schPmt: readPsi return val error, %d(unknown)"),
};

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

constexpr u32 pollMs = 20;

enum class Read { again, section, absent };

/** @brief One run of a search loop: whom it serves, what it asks for, and the clock of the current request. */
class Search {
public:
    Search(tableObj *obj, u32 type, const LoopTexts &texts, tableInfo *work, u8 *tsBuf, u8 tsMax)
        : obj_(obj), type_(type), texts_(texts), work_(work), tsBuf_(tsBuf), tsMax_(tsMax)
    {
        resetFilter();
        timeout_ = psiSchTimeOutGet(obj->objId, type);
    }

    psiSchInfo filter;

    const u8 *section() const { return work_->buf; }
    u8 sectionNo() const { return work_->buf[6]; }
    u8 lastSectionNo() const { return work_->buf[7]; }
    u16 tableIdExt() const { return beU16(work_->buf + 3); }
    u32 elapsed() const { return psiGetIncreaseTime(start_); }
    tsInfo *model() { return &obj_->tsInfo; }
    i32 analyse() { return analysePsi(model(), work_->sectionDataRef, 0); }

    /** @brief The filter as it is at the start of a search: any sub-table, section 0. */
    void resetFilter() { initPsiSchItem(obj_->objId, &filter, type_); }
    /** @brief Ask for what the filter says now: the clock starts anew. */
    void request()
    {
        initTmpTable(work_, type_);
        start_ = getMsTimeCnt();
        arm();
    }
    /** @brief Drop what was gathered and ask again; the clock goes on. */
    void retry()
    {
        initTmpTable(work_, type_);
        arm();
    }
    /** @brief Ask for one section number of the current sub-table. */
    void requestSection(u8 sectionNo)
    {
        filter.sectionNo = sectionNo;
        request();
    }
    bool stopRequested() const
    {
        if (!relaxedLoad(obj_->stopFlag))
            return false;
        schLog(texts_.stop);
        return true;
    }
    bool timedOut() const { return elapsed() >= timeout_; }

    /** @brief Destroy the section that was just stored. */
    void dropSection() { sectionDataDestroy(&model()->sectionList, work_->sectionDataRef); }
    /** @brief The same for one that analysis has touched. */
    void dropAnalysedSection()
    {
        forgetSectionBytes(model(), work_->sectionDataRef);
        dropSection();
    }

    /** @brief Call the host's read callback once and react to its result. */
    Read readSection();

private:
    void arm() { obj_->psiSearchHandle(&filter); }
    Read takePackets(u8 tsNum);

    tableObj *obj_;
    u32 type_;
    const LoopTexts &texts_;
    tableInfo *work_;
    u8 *tsBuf_;
    u8 tsMax_;
    u32 timeout_ = 0;
    u32 start_ = 0;
};

Read Search::takePackets(u8 tsNum)
{
    if (tsNum == 0 || tsNum > tsMax_) {
        schLog(texts_.badPackets, static_cast<unsigned>(tsNum));
        arm();
        return Read::again;
    }
    schLog(texts_.dataOk);
    if (ts2Section(obj_, work_, tsBuf_, tsNum) == 0)
        return Read::section;
    retry();
    return Read::again;
}

Read Search::readSection()
{
    u8 tsNum = 0;
    const i32 result = obj_->readPsiHandle(&filter, tsBuf_, &tsNum);
    switch (result) {
    case PSI_DATA_OK:
        return takePackets(tsNum);
    case PSI_DATA_NO_READY:
        schLog(texts_.notReady);
        psiMsSleep(pollMs);
        return Read::again;
    case PSI_NO_TABLE:
        schLog(texts_.noTable);
        return Read::absent;
    case PSI_DATA_ERROR:
        schLog(texts_.dataError);
        break;
    default:
        schLog(texts_.unknownResult, result);
        break;
    }
    arm();
    return Read::again;
}

/** @brief Are the host's callbacks installed? */
bool canSearch(const LoopTexts &texts)
{
    const LogText *failure = !psiMsSleep ? &texts.noSleep : !getMsTimeCnt ? &texts.noTick : nullptr;
    if (failure)
        schLog(*failure);
    return !failure;
}

} // namespace

/* ------------------------------------------------------------------------------------------------------------------
 * Tables of one sub-table, analysed section by section
 * ---------------------------------------------------------------------------------------------------------------- */

u32 psi::core::schNormalPsi(tableObj *obj, u32 type)
{
    if (!canSearch(normalTexts))
        return 0;
    if (!obj) {
        PSI_ERROR("schNormalPsi: tableObj is NULL!");
        return 0;
    }
    const PoolBlock<tableInfo> work;
    if (!work) {
        schLog(normalTexts.noWork);
        return 0;
    }
    u8 tsBuf[maxReadPackets * tsPacketLen];
    Search search(obj, type, normalTexts, work.get(), tsBuf, maxReadPackets);
    u32 count = 0;
    u8 sectNo = 0;
    u8 lastSectNo = 0;
    search.request();
    while (!search.stopRequested()) {
        if (search.timedOut()) {
            if (sectNo >= lastSectNo)
                break;
            search.requestSection(++sectNo);
            PSI_INFO("schNormalPsi: timeout,section next table set (sectNo=%u)!", sectNo);
        }
        const Read read = search.readSection();
        if (read == Read::absent)
            break;
        if (read == Read::again)
            continue;
        sectNo = search.sectionNo();
        lastSectNo = search.lastSectionNo();
        const i32 result = search.analyse();
        if (result != 0) {
            PSI_WARNING("analysePsi ret error, ret is %d! ", static_cast<int>(result));
            search.dropAnalysedSection();
            search.retry();
            continue;
        }
        PSI_INFO("schNormalPsi: analysePsi OK! cost time %lums", static_cast<unsigned long>(search.elapsed()));
        ++count;
        if (sectNo >= lastSectNo)
            break;
        search.requestSection(++sectNo);
        PSI_INFO("schNormalPsi: section next table set (sectNo=%u)!", sectNo);
    }
    return count;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The PMT of every program
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief Search one program's PMT until it is analysed, absent, timed out or stopped. */
bool schOnePmt(Search &search, const progInfo &prog)
{
    search.filter.pid = prog.pmtPid;
    search.filter.tableIdExt = prog.progNo;
    search.filter.useIdExt = 1;
    PSI_INFO("schPmt: sch pmt progNo is %u, pmtpid is 0x%x!", prog.progNo, static_cast<unsigned>(prog.pmtPid));
    search.request();
    while (!search.stopRequested() && !search.timedOut()) {
        const Read read = search.readSection();
        if (read == Read::absent)
            return false;
        if (read == Read::again)
            continue;
        if (search.tableIdExt() != prog.progNo) {
            // Another program's PMT on this PID stays on the section list.
            PSI_ERROR("schPmt: pmt get progNo %u error,  get is %u!!", prog.progNo, search.tableIdExt());
            search.retry();
            continue;
        }
        if (search.analyse() == 0) {
            PSI_INFO("schPmt: analysePsi OK! cost time %lums", static_cast<unsigned long>(search.elapsed()));
            return true;
        }
        search.dropAnalysedSection();
        search.retry();
    }
    return false;
}

} // namespace

u32 psi::core::schPmt(tableObj *obj)
{
    if (!canSearch(pmtTexts))
        return 0;
    if (!obj) {
        PSI_ERROR("schPmt: tableObj is NULL!");
        return 0;
    }
    const PoolBlock<tableInfo> work;
    if (!work) {
        schLog(pmtTexts.noWork);
        return 0;
    }
    u8 tsBuf[maxReadPackets * tsPacketLen];
    Search search(obj, PSI_PMT, pmtTexts, work.get(), tsBuf, maxReadPackets);
    u32 count = 0;
    for (progInfo *prog = obj->tsInfo.progList; prog; prog = nextOf(prog)) {
        if (search.stopRequested())
            break;
        if (prog->pmtValid == 0 && schOnePmt(search, *prog))
            ++count;
    }
    return count;
}

/* ------------------------------------------------------------------------------------------------------------------
 * Tables of many sub-tables, collected as sections
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

/** @brief The distinct sections of a run, told apart by table_id_extension and section_number. */
struct record {
    u32 count;
    u16 ids[256];
    u8 sectNos[256];

    bool full() const { return count >= sizeof(sectNos); }
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
};

static_assert(offsetof(record, ids) == 4 && offsetof(record, sectNos) == 516 && sizeof(record) == 772,
              "layout of the seen-sections record");

/** @brief Collects the sections of one table type, sub-table by sub-table. */
class Collector {
public:
    Collector(Search &search, record &seen) : search_(search), seen_(seen) {}

    /** @brief Collect one sub-table. @return false when the whole search has ended */
    bool collectSubTable()
    {
        sectNo_ = 0;
        lastSectNo_ = 0;
        search_.resetFilter();
        search_.request();
        while (!search_.stopRequested()) {
            if (search_.timedOut()) {
                if (!skipMissingSection())
                    return false;
                continue;
            }
            const Read read = search_.readSection();
            if (read == Read::absent)
                return false;
            if (read == Read::section && takeSection())
                return true;
        }
        return false;
    }

private:
    bool complete() const { return sectNo_ >= lastSectNo_; }
    void requestNext()
    {
        search_.filter.tableIdExt = id_;
        search_.filter.useIdExt = 1;
        search_.requestSection(++sectNo_);
    }
    /** @brief A time-out. @return false when nothing of the current sub-table is outstanding */
    bool skipMissingSection()
    {
        if (complete()) {
            PSI_INFO("schOtherPsi: sch section number is %lu!", static_cast<unsigned long>(seen_.count));
            return false;
        }
        requestNext();
        PSI_INFO("schOtherPsi: timeout,section next table set (sectNo=%u, id=%u)!", sectNo_, id_);
        return true;
    }
    /** @brief Keep or drop the section just stored. @return true when its sub-table is complete */
    bool takeSection();

    Search &search_;
    record &seen_;
    u16 id_ = 0;
    u8 sectNo_ = 0;
    u8 lastSectNo_ = 0;
};

bool Collector::takeSection()
{
    PSI_INFO("schOtherPsi: section sch cost time %lums !", static_cast<unsigned long>(search_.elapsed()));
    id_ = search_.tableIdExt();
    PSI_INFO("schOtherPsi: the record id is 0x%x !", static_cast<unsigned>(id_));
    const u8 number = search_.sectionNo();
    if (seen_.full() || seen_.holds(id_, number)) {
        PSI_INFO("schOtherPsi: the section is already exist, continue!");
        search_.dropSection();
        search_.retry();
        return false;
    }
    seen_.add(id_, number);
    PSI_INFO("schOtherPsi: section sch cost time %lums !", static_cast<unsigned long>(search_.elapsed()));
    PSI_INFO("schOtherPsi: tableid is 0x%x, id=0x%x, sectionNo=%d !", static_cast<unsigned>(search_.filter.tableId),
             static_cast<unsigned>(id_), number);
    sectNo_ = number;
    lastSectNo_ = search_.lastSectionNo();
    if (complete())
        return true;
    requestNext();
    PSI_INFO("section next table set (sectNo=%u, id=%u)!", sectNo_, id_);
    return false;
}

u32 collectSections(tableObj *obj, u32 type, u8 *tsBuf, u8 tsMax)
{
    if (!canSearch(otherTexts))
        return 0;
    const PoolBlock<tableInfo> work;
    if (!work) {
        schLog(otherTexts.noWork);
        return 0;
    }
    const PoolBlock<record> seen;
    if (!seen) {
        PSI_ERROR("schOtherPsi: buddy_malloc faild, record is NULL!");
        return 0;
    }
    seen->count = 0;
    Search search(obj, type, otherTexts, work.get(), tsBuf, tsMax);
    Collector collector(search, *seen.get());
    while (collector.collectSubTable()) {
    }
    return seen->count;
}

} // namespace

u32 psi::core::schOtherPsi(tableObj *obj, u32 type)
{
    u8 tsBuf[maxReadPackets * tsPacketLen];
    return collectSections(obj, type, tsBuf, maxReadPackets);
}

u32 psi::core::schEbtTable(tableObj *obj, u32 type)
{
    u8 tsBuf[maxRunPackets * tsPacketLen];
    return collectSections(obj, type, tsBuf, maxRunPackets);
}

/* ------------------------------------------------------------------------------------------------------------------
 * The host's search operations
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

u32 runLoop(tableObj *obj, u32 type)
{
    switch (tableFacts(type).loop) {
    case SearchLoop::single:
        return schNormalPsi(obj, type);
    case SearchLoop::pmt:
        return schPmt(obj);
    case SearchLoop::multi:
        return schOtherPsi(obj, type);
    case SearchLoop::emergency:
        return schEbtTable(obj, type);
    case SearchLoop::none:
        break;
    }
    PSI_WARNING("schTable: psiType = %lu, not support!", static_cast<unsigned long>(type));
    return 0;
}

u32 searchLocked(tableObj *obj, u32 type)
{
    const MutexGuard guard(obj->semId);
    if (type == PSI_PAT)
        relaxedStore(obj->stopFlag, u8{0});
    const u32 count = runLoop(obj, type);
    // The PMT has no bit of its own: its programs say whether they have one.
    if (count >= 1 && type != PSI_PMT)
        obj->tsInfo.tableMask |= 1U << type;
    return count;
}

constexpr u32 atsc = 1;

} // namespace

u32 schTable(psiObjId objId, u32 type)
{
    tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return 0;
    }
    PSI_INFO("schTable: %s section sch start:", showPsiTypeStr(type));
    const u32 count = searchLocked(obj, type);
    PSI_INFO("schTable: %s section sch End, section number is %d!", showPsiTypeStr(type), static_cast<int>(count));
    return count;
}

i32 autoSchTable(psiObjId objId, u32 standard)
{
    static constexpr u8 dvbSet[] = {PSI_PMT, PSI_CAT,  PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER, PSI_SDT_OTHER,
                                    PSI_BAT, PSI_EBIT, PSI_EBCT,       PSI_EBCAT,      PSI_EBCCT};
    static constexpr u8 atscSet[] = {PSI_PMT, PSI_CAT, PSI_VCT, PSI_MGT, PSI_STT};
    if (standard > atsc) {
        PSI_ERROR("autoSchTable: ERROR! standard = %lu, not support!", static_cast<unsigned long>(standard));
        return -1;
    }
    if (schTable(objId, PSI_PAT) == 0) {
        PSI_WARNING("psi tableObj objId = %lu PAT not find", static_cast<unsigned long>(objId));
        return -1;
    }
    const u8 *types = standard == atsc ? atscSet : dvbSet;
    const u32 n = standard == atsc ? sizeof(atscSet) : sizeof(dvbSet);
    for (u32 i = 0; i < n; ++i)
        schTable(objId, types[i]);
    return 0;
}

namespace {

/** @brief The end of a re-search that could not forget what was there. */
constexpr i32 notForgotten = -1;

/** @brief Forget and search again PAT, PMT, CAT and SDT actual or VCT, which all hang on the PAT. */
i32 reSearchPatGroup(psiObjId objId, u32 type, u32 standard)
{
    if (clearTsInfo(objId) == -1) {
        PSI_WARNING("re_SchTable: psiType = %lu, clearTsInfo failed", static_cast<unsigned long>(type));
        return notForgotten;
    }
    const u32 count = schTable(objId, PSI_PAT);
    if (count == 0) {
        PSI_WARNING("re_SchTable: psi tableObj objId = %lu PAT not find", static_cast<unsigned long>(objId));
        return 0;
    }
    schTable(objId, PSI_PMT);
    schTable(objId, PSI_CAT);
    schTable(objId, standard == atsc ? PSI_VCT : PSI_SDT_ACTUAL);
    return static_cast<i32>(count);
}

/** @brief Forget and search again the sections of one type. */
i32 reSearchSections(tableObj *obj, u32 type)
{
    tsInfo &model = obj->tsInfo;
    for (const sectionData *node = model.sectionList; node; node = nextOf(node))
        if (node->psiType == type)
            forgetSectionBytes(&model, node);
    if (singleTypeSectionDataDestroy(&model.sectionList, type) == -1) {
        PSI_WARNING("re_SchTable: psiType = %lu, sectionDestroy failed", static_cast<unsigned long>(type));
        return notForgotten;
    }
    model.tableMask &= ~(1U << type);
    return static_cast<i32>(schTable(obj->objId, type));
}

i32 reSearchLocked(tableObj *obj, u32 type, u32 standard)
{
    const MutexGuard guard(obj->semId);
    switch (tableFacts(type).reSearch) {
    case ReSearch::patGroup:
        return reSearchPatGroup(obj->objId, type, standard);
    case ReSearch::ownSections:
        return reSearchSections(obj, type);
    case ReSearch::none:
        break;
    }
    PSI_WARNING("schTable: psiType = %lu, not support!", static_cast<unsigned long>(type));
    return 0;
}

} // namespace

u32 re_SchTable(psiObjId objId, u32 type, u32 standard)
{
    tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("re_SchTable: get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return 0;
    }
    PSI_INFO("re_SchTable: %s section re-search start:", showPsiTypeStr(type));
    const i32 count = reSearchLocked(obj, type, standard);
    if (count == notForgotten)
        return 0;
    PSI_INFO("re_SchTable: %s section re-search End, section number is %d!", showPsiTypeStr(type),
             static_cast<int>(count));
    return static_cast<u32>(count);
}
