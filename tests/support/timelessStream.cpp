#include "support/timelessStream.h"

namespace psitest {
namespace {

const std::vector<u32> dvbTypes = {PSI_PAT,       PSI_PMT, PSI_CAT,  PSI_SDT_ACTUAL, PSI_NIT_ACTUAL, PSI_NIT_OTHER,
                                   PSI_SDT_OTHER, PSI_BAT, PSI_EBIT, PSI_EBCT,       PSI_EBCAT,      PSI_EBCCT};
const std::vector<u32> atscTypes = {PSI_PAT, PSI_PMT, PSI_CAT, PSI_VCT, PSI_MGT, PSI_STT};

/** PMTs are told by their programs, so they have no bit. */
u32 maskOf(const std::vector<u32> &types)
{
    u32 mask = 0;
    for (const u32 type : types)
        mask |= type == PSI_PMT ? 0 : 1U << type;
    return mask;
}

} // namespace

TimelessStream::TimelessStream(u32 standard) : standard_(standard), types_(standard == 0 ? dvbTypes : atscTypes)
{
    standard == 0 ? fillDvb(carousel_) : fillAtsc(carousel_);
    host_.setFallback([this](const psiSchInfo &filter) { return next(filter); });
}

bool TimelessStream::searchAll()
{
    const u32 mask = maskOf(types_);
    bool complete = autoSchTable(id(), standard_) == 0 && host_.model()->tableMask == mask;
    complete = complete && re_SchTable(id(), PSI_PAT, standard_) != 0 && host_.model()->tableMask == mask;
    expectNoDanglingBytes(*host_.model());
    complete = complete && clearTableInfo(id()) == 0;
    host_.takeCalls();
    return complete;
}

Answer TimelessStream::next(const psiSchInfo &filter)
{
    constexpr unsigned enough = 40;
    reads_ = filter.tableId == tableId_ ? reads_ + 1 : 0;
    tableId_ = filter.tableId;
    if (reads_ >= enough)
        return answer::noTable();
    const unsigned every = stutter_;
    return every != 0 && reads_ % every == every - 1 ? answer::notReady() : carousel_.next(filter);
}

} // namespace psitest
