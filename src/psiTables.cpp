#include "psiTables.h"

using namespace psi::core;

namespace {

constexpr u8 noTimeOut = PSI_NO_TYPE;

constexpr TableFacts facts[tableTypes] = {
    {"PAT", 0x0000, 0x00, PSI_PAT, true, 2000, SearchLoop::single, ReSearch::patGroup},
    {"PMT", 0x0000, 0x02, PSI_PMT, true, 4000, SearchLoop::pmt, ReSearch::patGroup},
    {"SDT(actual)", 0x0011, 0x42, PSI_SDT_ACTUAL, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"SDT(other)", 0x0011, 0x46, PSI_SDT_OTHER, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"NIT(actual)", 0x0010, 0x40, PSI_NIT_ACTUAL, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"NIT(other)", 0x0010, 0x41, PSI_NIT_OTHER, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"BAT", 0x0011, 0x4A, PSI_BAT, true, 6000, SearchLoop::multi, ReSearch::ownSections},
    {"CAT", 0x0001, 0x01, PSI_CAT, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"unknow table", 0x0000, 0x00, noTimeOut, false, 0, SearchLoop::none, ReSearch::none},
    {"MGT", 0x1FFB, 0xC7, PSI_MGT, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"VCAT", 0x1FFB, 0xC8, PSI_VCT, true, 4000, SearchLoop::single, ReSearch::patGroup},
    {"STT", 0x1FFB, 0xCD, PSI_STT, true, 4000, SearchLoop::single, ReSearch::ownSections},
    {"EBIT", 0x0021, 0xFD, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCT", 0x0021, 0xFE, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCAT", 0x0021, 0xFC, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
    {"EBCCT", 0x0021, 0xFB, PSI_NIT_ACTUAL, false, 0, SearchLoop::emergency, ReSearch::none},
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
