#include "psiTables.h"

using namespace psi::core;

namespace {

constexpr u8 noTimeOut = PSI_NO_TYPE;

constexpr TableFacts facts[tableTypes] = {
    {"PAT", patPid, patId, PSI_PAT, true, 2000, SearchLoop::single, ReSearch::patGroup},
    {"PMT", 0x0000, pmtId, PSI_PMT, true, 4000, SearchLoop::pmt, ReSearch::patGroup},
    {"SDT(actual)", sdtBatPid, sdtActualId, PSI_SDT_ACTUAL, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"SDT(other)", sdtBatPid, sdtOtherId, PSI_SDT_OTHER, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"NIT(actual)", nitPid, nitActualId, PSI_NIT_ACTUAL, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"NIT(other)", nitPid, nitOtherId, PSI_NIT_OTHER, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"BAT", sdtBatPid, batId, PSI_BAT, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"CAT", catPid, catId, PSI_CAT, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"unknow table", {}, {}, noTimeOut, false, {}, SearchLoop::none, ReSearch::none},
    {"MGT", psipPid, mgtId, PSI_MGT, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"VCAT", psipPid, terrestrialVctId, PSI_VCT, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"STT", psipPid, sttId, PSI_STT, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"EBIT", emergencyPid, ebitId, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCT", emergencyPid, ebctId, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCAT", emergencyPid, ebcatId, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCCT", emergencyPid, ebcctId, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
};

} // namespace

const TableFacts &psi::core::tableFacts(u32 type)
{
    return facts[type < tableTypes ? type : u32{PSI_NO_TYPE}];
}

const char *showPsiTypeStr(u32 type)
{
    return tableFacts(type).name;
}
