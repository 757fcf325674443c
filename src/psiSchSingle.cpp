#include "psiSearch.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * Tables of one sub-table, analysed section by section
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

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

/** @brief A set of section numbers. */
class SectionNumbers {
public:
    void add(u8 number) { words_[number >> 5] |= 1U << (number & 31); }
    void remove(u8 number) { words_[number >> 5] &= ~(1U << (number & 31)); }
    bool holds(u8 number) const { return words_[number >> 5] >> (number & 31) & 1; }
    bool holdsAllUpTo(u8 last) const
    {
        for (u32 number = 0; number <= last; ++number)
            if (!holds(static_cast<u8>(number)))
                return false;
        return true;
    }
    bool empty() const
    {
        u32 any = 0;
        for (const u32 word : words_)
            any |= word;
        return any == 0;
    }

private:
    u32 words_[8] = {};
};

/** @brief Searches the sections of one sub-table, from 0 to last_section_number. */
class SingleTable {
public:
    explicit SingleTable(Search &search) : search_(search) {}

    /** @brief Search until the table has ended. */
    void run()
    {
        search_.request();
        while (!search_.stopRequested())
            if (!pass())
                return;
        end_ = PSI_END_STOPPED;
    }
    /** @brief Sections that were analysed. */
    u32 count() const { return count_; }
    psiEndReason end() const { return end_; }

private:
    /** @brief One read. @return false when the search has ended */
    bool pass();
    /** @brief A time-out. @return false when no later section is known of */
    bool skipMissingSection();
    bool takeSection();
    bool requestNext();
    /** @brief How a search ends that neither the host nor a stop has ended. */
    psiEndReason outcome() const;

    Search &search_;
    SectionNumbers came_;
    SectionNumbers lost_; /**< came, found no memory, and have not come again */
    u32 count_ = 0;
    u8 sectNo_ = 0;
    u8 lastSectNo_ = 0;
    u8 analysedLast_ = 0; /**< last_section_number of the section that was analysed last */
    psiEndReason end_ = PSI_END_NEVER;
};

psiEndReason SingleTable::outcome() const
{
    if (count_ != 0 && came_.holdsAllUpTo(analysedLast_))
        return PSI_END_WHOLE;
    return lost_.empty() ? PSI_END_TIMEOUT : PSI_END_NO_MEMORY;
}

bool SingleTable::pass()
{
    if (search_.timedOut() && !skipMissingSection())
        return false;
    switch (search_.readSection()) {
    case Read::section:
        return takeSection();
    case Read::noMemory:
        lost_.add(search_.sectionNo());
        search_.retry();
        return true;
    case Read::absent:
        end_ = PSI_END_ABSENT;
        return false;
    case Read::again:
    default:
        break;
    }
    return true;
}

bool SingleTable::skipMissingSection()
{
    if (sectNo_ >= lastSectNo_) {
        end_ = outcome();
        return false;
    }
    search_.requestSection(++sectNo_);
    PSI_INFO("schNormalPsi: timeout,section next table set (sectNo=%u)!", sectNo_);
    return true;
}

bool SingleTable::takeSection()
{
    sectNo_ = search_.sectionNo();
    lastSectNo_ = search_.lastSectionNo();
    const i32 result = search_.analyse();
    if (result != 0) {
        PSI_WARNING("analysePsi ret error, ret is %d! ", static_cast<int>(result));
        if (search_.ranOutOfMemory())
            lost_.add(sectNo_);
        search_.dropAnalysedSection();
        search_.retry();
        return true;
    }
    PSI_INFO("schNormalPsi: analysePsi OK! cost time %lums", static_cast<unsigned long>(search_.elapsed()));
    ++count_;
    came_.add(sectNo_);
    lost_.remove(sectNo_);
    analysedLast_ = lastSectNo_;
    return requestNext();
}

/** @brief The section behind the one that was analysed. @return false when that was the last one */
bool SingleTable::requestNext()
{
    if (sectNo_ >= lastSectNo_) {
        end_ = outcome();
        return false;
    }
    search_.requestSection(++sectNo_);
    PSI_INFO("schNormalPsi: section next table set (sectNo=%u)!", sectNo_);
    return true;
}

} // namespace

u32 psi::core::schNormalPsi(tableObj *obj, u32 type)
{
    if (!canSearch(obj, type, normalTexts))
        return 0;
    if (!obj) {
        PSI_ERROR("schNormalPsi: tableObj is NULL!");
        return 0;
    }
    const SearchWork work(type);
    if (!work)
        return endWithoutWork(obj, type, normalTexts.noWork);
    Search search(obj, type, normalTexts, work);
    SingleTable table(search);
    table.run();
    setEndReason(obj, type, table.end());
    return table.count();
}

/* ------------------------------------------------------------------------------------------------------------------
 * The PMT of every program
 * ---------------------------------------------------------------------------------------------------------------- */

namespace {

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

/** @brief Searches one program's PMT until it is analysed, absent, timed out or stopped. */
class ProgramPmt {
public:
    ProgramPmt(Search &search, const progInfo &prog) : search_(search), prog_(prog) {}

    psiEndReason run();

private:
    void request();
    /** @brief Analyse the section that was just stored. @return whether that was the program's PMT */
    bool takeSection();
    bool isOurs() const { return search_.tableIdExt() == prog_.progNo; }

    Search &search_;
    const progInfo &prog_;
    bool lost_ = false; /**< the PMT came and found no memory */
};

psiEndReason ProgramPmt::run()
{
    request();
    while (!search_.stopRequested()) {
        if (search_.timedOut())
            return lost_ ? PSI_END_NO_MEMORY : PSI_END_TIMEOUT;
        switch (search_.readSection()) {
        case Read::section:
            if (takeSection())
                return PSI_END_WHOLE;
            search_.retry();
            break;
        case Read::noMemory:
            lost_ = lost_ || isOurs();
            search_.retry();
            break;
        case Read::absent:
            return PSI_END_ABSENT;
        case Read::again:
        default:
            break;
        }
    }
    return PSI_END_STOPPED;
}

void ProgramPmt::request()
{
    search_.filter.pid = prog_.pmtPid;
    search_.filter.tableIdExt = prog_.progNo;
    search_.filter.useIdExt = 1;
    PSI_INFO("schPmt: sch pmt progNo is %u, pmtpid is 0x%x!", prog_.progNo, static_cast<unsigned>(prog_.pmtPid));
    search_.request();
}

bool ProgramPmt::takeSection()
{
    if (!isOurs()) {
        // Another program's PMT on this PID stays on the section list.
        PSI_ERROR("schPmt: pmt get progNo %u error,  get is %u!!", prog_.progNo, search_.tableIdExt());
        return false;
    }
    if (search_.analyse() == 0) {
        PSI_INFO("schPmt: analysePsi OK! cost time %lums", static_cast<unsigned long>(search_.elapsed()));
        return true;
    }
    lost_ = lost_ || search_.ranOutOfMemory();
    search_.dropAnalysedSection();
    return false;
}

bool lackPmt(const progInfo *prog)
{
    while (prog && prog->pmtValid != 0)
        prog = nextOf(prog);
    return prog != nullptr;
}

/** @brief Searches the PMTs of a list of programs. */
class AllPmts {
public:
    explicit AllPmts(Search &search) : search_(search) {}

    /** @return programs whose PMT was analysed */
    u32 run(const progInfo *programs)
    {
        u32 count = 0;
        for (const progInfo *prog = programs; prog; prog = nextOf(prog)) {
            if (search_.stopRequested()) {
                note(lackPmt(prog) ? PSI_END_STOPPED : PSI_END_WHOLE);
                break;
            }
            if (prog->pmtValid == 0 && note(ProgramPmt(search_, *prog).run()))
                ++count;
        }
        return count;
    }
    /** @brief The end of the first program that was not whole. */
    psiEndReason end() const { return end_; }

private:
    /** @return whether the program's PMT is whole */
    bool note(psiEndReason reason)
    {
        if (end_ == PSI_END_WHOLE)
            end_ = reason;
        return reason == PSI_END_WHOLE;
    }

    Search &search_;
    psiEndReason end_ = PSI_END_WHOLE;
};

} // namespace

u32 psi::core::schPmt(tableObj *obj)
{
    if (!canSearch(obj, PSI_PMT, pmtTexts))
        return 0;
    if (!obj) {
        PSI_ERROR("schPmt: tableObj is NULL!");
        return 0;
    }
    const SearchWork work(PSI_PMT);
    if (!work)
        return endWithoutWork(obj, PSI_PMT, pmtTexts.noWork);
    Search search(obj, PSI_PMT, pmtTexts, work);
    AllPmts pmts(search);
    const u32 count = pmts.run(obj->tsInfo.progList);
    setEndReason(obj, PSI_PMT, pmts.end());
    return count;
}
