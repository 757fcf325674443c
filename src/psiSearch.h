/**
 * @file psiSearch.h
 * @brief What the search loops share: the texts of a loop, and one run of it with its step.
 *
 * The step is: stop? time-out? read, react, put the section together and store it.
 */
#ifndef PSI_SEARCH_H
#define PSI_SEARCH_H

#include "psiInternal.h"
#include "psiTables.h"

namespace psi::core {

struct LoopTexts {
    LogText noSleep, noTick, noWork;
    LogText stop, notReady, noTable, dataError;
    LogTextOf<unsigned> badPackets;
    LogText dataOk;
    LogTextOf<int> unknownResult;
};

/** @brief Most packets that a read for this table type may deliver. */
inline u8 maxPackets(u32 type)
{
    return isLongSection(type) ? maxRunPackets : maxReadPackets;
}

/** @brief The pool block of one run: the work record and, behind it, the buffer of the read callback. */
class SearchWork {
public:
    explicit SearchWork(u32 type) : block_(maxPackets(type) * tsPacketLen) {}
    explicit operator bool() const { return static_cast<bool>(block_); }
    tableInfo *record() const { return block_.get(); }
    u8 *tsBuf() const { return reinterpret_cast<u8 *>(block_.get() + 1); }

private:
    PoolBlock<tableInfo> block_;
};

/** @brief What came of one read. After `noMemory`, a section that could not be stored, the caller calls retry(). */
enum class Read { again, noMemory, section, absent };

/** @brief One run of a search loop: whom it serves, what it asks for, and the clock of the current request. */
class Search {
public:
    Search(tableObj *obj, u32 type, const LoopTexts &texts, const SearchWork &work);

    psiSchInfo filter;

    u8 sectionNo() const { return work_->header.sectionNo(); }
    u8 lastSectionNo() const { return work_->header.lastSectionNo(); }
    u16 tableIdExt() const { return work_->header.tableIdExt(); }
    u32 elapsed() const { return psiGetIncreaseTime(start_); }
    bool timedOut() const { return elapsed() >= timeout_; }
    tsInfo *model() { return &obj_->tsInfo; }

    /** @brief The filter as it is at the start of a search: any sub-table, section 0. */
    void resetFilter() { initPsiSchItem(obj_->objId, &filter, type_); }
    /** @brief Ask for what the filter says now: the clock starts anew. */
    void request();
    /** @brief Ask for one section number of the current sub-table. */
    void requestSection(u8 sectionNo);
    /** @brief Drop what was gathered and ask again; the clock goes on. */
    void retry();

    bool stopRequested() const;
    /** @brief Call the host's read callback once and react to its result. */
    Read readSection();
    /** @brief Fold the section that was just stored into the model. */
    i32 analyse();
    /** @brief Did memory run out in the last analyse()? */
    bool ranOutOfMemory() const { return work_->outOfMemory; }

    /** @brief Destroy the section that was just stored. */
    void dropSection() { sectionDataDestroy(&model()->sectionList, work_->sectionDataRef); }
    /** @brief The same for one that analysis has touched. */
    void dropAnalysedSection();

private:
    void arm() { obj_->psiSearchHandle(&filter); }
    Read takePackets(u8 tsNum);

    tableObj *obj_;
    u32 type_;
    const LoopTexts &texts_;
    tableInfo *work_;
    u8 *tsBuf_;
    u32 timeout_;
    u32 start_ = 0;
};

/** @brief Are the host's callbacks installed? If not, the search of this type is refused. */
bool canSearch(tableObj *obj, u32 type, const LoopTexts &texts);

/** @brief A search that finds no room for its work record ends before it begins. @return the number of sections: 0 */
u32 endWithoutWork(tableObj *obj, u32 type, const LogText &text);

} // namespace psi::core

#endif
