#include "psiInternal.h"
#include "psiTables.h"

using namespace psi::core;

/* ------------------------------------------------------------------------------------------------------------------
 * One table, and the standard set
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
    default:
        break;
    }
    PSI_WARNING("schTable: psiType = %lu, not support!", static_cast<unsigned long>(type));
    return 0;
}

u32 searchLocked(tableObj *obj, u32 type)
{
    const MutexGuard guard(obj->semId);
    if (!guard) {
        setEndReason(obj, type, PSI_END_REFUSED);
        return 0;
    }
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

/* ------------------------------------------------------------------------------------------------------------------
 * A table again
 * ---------------------------------------------------------------------------------------------------------------- */

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
    if (forgetSections(model, type, anyIdExt) == -1) {
        PSI_WARNING("re_SchTable: psiType = %lu, sectionDestroy failed", static_cast<unsigned long>(type));
        return notForgotten;
    }
    model.tableMask &= ~(1U << type);
    return static_cast<i32>(schTable(obj->objId, type));
}

i32 reSearchLocked(tableObj *obj, u32 type, u32 standard)
{
    const MutexGuard guard(obj->semId);
    if (!guard)
        return notForgotten;
    switch (tableFacts(type).reSearch) {
    case ReSearch::patGroup:
        return reSearchPatGroup(obj->objId, type, standard);
    case ReSearch::ownSections:
        return reSearchSections(obj, type);
    case ReSearch::none:
    default:
        break;
    }
    setEndReason(obj, type, PSI_END_REFUSED);
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
    if (count == notForgotten) {
        setEndReason(obj, type, PSI_END_REFUSED);
        return 0;
    }
    PSI_INFO("re_SchTable: %s section re-search End, section number is %d!", showPsiTypeStr(type),
             static_cast<int>(count));
    return static_cast<u32>(count);
}
