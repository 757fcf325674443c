#include "psiRun.h"
#include "psiSearch.h"

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
    work->section_len = 0;
    work->header = LongHeaderBytes();
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
    PSI_TEXT(error, "ts2Section: sectionData creat failed!"),
    PSI_TEXT(error, "ts2Section: sectionData->buf buddy_malloc failed!"),
};

bool checkArguments(const tableObj *obj, const tableInfo *work, const u8 *tsData, u8 tsNum)
{
    if (!obj)
        PSI_ERROR("ts2Section: tableObj is NULL!");
    else if (!work)
        PSI_ERROR("ts2Section: tableInfo is NULL!");
    else if (!tsData)
        PSI_ERROR("ts2Section: tsData is NULL!");
    else if (tsNum == 0 || tsNum > maxRunPackets)
        PSI_ERROR("ts2Section: tsNum=%u, ERROR!", tsNum);
    else
        return true;
    return false;
}

/** @brief The PID of a packet. ISO/IEC 13818-1 2.4.3.2. */
u16 pidOf(const u8 *packet)
{
    return beU16(packet + 1) & 0x1FFF;
}

/** @brief Store the section of a run on the object's list. */
i32 storeRun(tableObj *obj, tableInfo *work, const Run &run, u16 pid)
{
    const LongHeaderBytes &header = work->header = run.header();
    work->section_len = run.sectionLen();
    if (header.tableId() != work->tableId) {
        PSI_ERROR("ts2Section: tableid error!");
        return -1;
    }
    const SectionTag tag = {work->psiType, header.sectionNo(), header.tableIdExt(), pid};
    PoolGuard pool(psiMp);
    sectionData *node = creatSection(pool, &obj->tsInfo.sectionList, tag, run.sectionLen(), storeTexts);
    work->outOfMemory = !node;
    if (!node)
        return -1;
    run.copyTo(node->buf);
    work->sectionDataRef = node;
    return 0;
}

} // namespace

i32 psi::core::ts2Section(tableObj *obj, tableInfo *work, const u8 *tsData, u8 tsNum)
{
    if (!checkArguments(obj, work, tsData, tsNum))
        return -1;
    PSI_INFO("tsGetTable tsNum = %u", tsNum);
    work->outOfMemory = !poolCould(reassemblyRoom);
    if (work->outOfMemory) {
        work->header = peekHeader(tsData);
        return -1;
    }
    Run run;
    const u16 maxLen = isLongSection(work->psiType) ? maxLongSectionLen : maxSectionLen;
    return findSection(run, tsData, tsNum, maxLen) ? storeRun(obj, work, run, pidOf(tsData)) : -1;
}

/* ------------------------------------------------------------------------------------------------------------------
 * The step
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

constexpr u32 pollMs = 20;

} // namespace

Search::Search(tableObj *obj, u32 type, const LoopTexts &texts, const SearchWork &work)
    : obj_(obj), type_(type), texts_(texts), work_(work.record()), tsBuf_(work.tsBuf())
{
    resetFilter();
    timeout_ = psiSchTimeOutGet(obj->objId, type);
}

void Search::request()
{
    initTmpTable(work_, type_);
    start_ = getMsTimeCnt();
    arm();
}

void Search::requestSection(u8 sectionNo)
{
    filter.sectionNo = sectionNo;
    request();
}

void Search::retry()
{
    initTmpTable(work_, type_);
    arm();
}

bool Search::stopRequested() const
{
    if (!relaxedLoad(obj_->stopFlag))
        return false;
    schLog(texts_.stop);
    return true;
}

Read Search::takePackets(u8 tsNum)
{
    if (tsNum == 0 || tsNum > maxPackets(type_)) {
        schLog(texts_.badPackets, tsNum);
        arm();
        return Read::again;
    }
    schLog(texts_.dataOk);
    if (ts2Section(obj_, work_, tsBuf_, tsNum) == 0)
        return Read::section;
    if (work_->outOfMemory)
        return Read::noMemory;
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
        schLog(texts_.unknownResult, static_cast<int>(result));
        break;
    }
    arm();
    return Read::again;
}

i32 Search::analyse()
{
    const PoolGuard pool(psiMp); // so that no other task's failures are counted
    const u32 failures = buddy_failedAllocs(psiMp);
    const i32 result = analysePsi(model(), work_->sectionDataRef, 0);
    work_->outOfMemory = result != 0 && buddy_failedAllocs(psiMp) != failures;
    return result;
}

void Search::dropAnalysedSection()
{
    const sectionData *section = work_->sectionDataRef;
    // Behind a wrong CRC nothing was looked at.
    if (psiCheckCrc(section->buf, section->len) == 0)
        forgetSectionBytes(model(), section);
    dropSection();
}

bool psi::core::canSearch(tableObj *obj, u32 type, const LoopTexts &texts)
{
    const LogText *failure = !psiMsSleep ? &texts.noSleep : !getMsTimeCnt ? &texts.noTick : nullptr;
    if (!failure)
        return true;
    schLog(*failure);
    setEndReason(obj, type, PSI_END_REFUSED);
    return false;
}

u32 psi::core::endWithoutWork(tableObj *obj, u32 type, const LogText &text)
{
    schLog(text);
    setEndReason(obj, type, PSI_END_NO_MEMORY);
    return 0;
}
