#include "psiInternal.h"
#include "psiTables.h"

using namespace psi::core;

i32 psi::core::psi_rpt_lvl = 2;
void (*psi::core::psiMsSleep)(u32 ms) = nullptr;
u32 (*psi::core::getMsTimeCnt)(void) = nullptr;
psiPoolId psi::core::psiMp = 0;

namespace {

u32 moduleInitFalg = 0;
u32 has_reg = 0;

/** @brief What the platform's module registry is handed. */
struct ModuleRecord {
    u32 one;
    char name[32];
    char version[32];
};
static_assert(sizeof(ModuleRecord) == 68, "the registry reads 68 bytes");

using RegisterFn = u32 (*)(ModuleRecord *);
RegisterFn moduleInfoRegister = nullptr;

} // namespace

i32 psiSch_Init(const psiInitRegisterInfo *registerInfo)
{
    if (moduleInitFalg) {
        PSI_ERROR("psi_Init failed: psiModule has been initialized yet!");
        return -1;
    }
    // The first call counts even when it fails.
    moduleInitFalg = 1;
    if (!registerInfo) {
        PSI_ERROR("psi_Init failed: registerInfo is NULL!");
        return -1;
    }
    if (!registerInfo->psiMsSleep) {
        PSI_ERROR("psi_Init failed: registerInfo->psiMsSleep is NULL!");
        return -1;
    }
    if (!registerInfo->getMsTimeCnt) {
        PSI_ERROR("psi_Init failed: registerInfo->getMsTimeCnt is NULL!");
        return -1;
    }
    psiMsSleep = registerInfo->psiMsSleep;
    getMsTimeCnt = registerInfo->getMsTimeCnt;
    psiMp = buddy_create(registerInfo->memPoolParam0, registerInfo->memPoolParam1);
    if (!psiMp) {
        PSI_ERROR("psi_Init: buddy create failed!");
        return -1;
    }
    PSI_INFO("psi_Init: OK! buddy memPool id = 0x%lx!", static_cast<unsigned long>(psiMp));
    return 0;
}

i32 psiSch_Exit(void)
{
    if (headTableObj || headMakeTableObj)
        return -1;
    if (psiMp)
        buddy_destroy(psiMp);
    psiMp = 0;
    psiMsSleep = nullptr;
    getMsTimeCnt = nullptr;
    moduleInitFalg = 0;
    return 0;
}

const char *psiVersion(void)
{
#define PSI_TEXT_OF(number)                   #number
#define PSI_VERSION_TEXT(major, minor, patch) PSI_TEXT_OF(major) "." PSI_TEXT_OF(minor) "." PSI_TEXT_OF(patch)
    return PSI_VERSION_TEXT(PSI_VERSION_MAJOR, PSI_VERSION_MINOR, PSI_VERSION_PATCH);
}

void psi_info_register(void)
{
    if (has_reg)
        return;
    if (!moduleInfoRegister) {
        moduleInfoRegister = reinterpret_cast<RegisterFn>(osSymbol("module_info_register"));
        if (!moduleInfoRegister) {
            printf("can not find fun module_info_register, maybe not OXA3.0\r\n");
            return;
        }
    }
    ModuleRecord record;
    record.one = 1;
    sprintf(record.name, "%s", "psi");
    sprintf(record.version, "%s", "V1.0.11");
    if ((moduleInfoRegister(&record) & 0xFF) == 0)
        has_reg = 1;
}

bool psi::core::poolCould(u32 size)
{
    return buddy_could(psiMp, size);
}

void *psi_buddy_malloc(u32 size)
{
    return buddy_malloc(psiMp, size);
}

i32 psi_buddy_free(void *p)
{
    return buddy_free(psiMp, p);
}

void *psi_buddy_realloc(void *p, u32 size)
{
    return buddy_realloc(psiMp, p, size);
}

i32 psi_buddy_report(u32 arg)
{
    return buddy_report(psiMp, arg, 0);
}

i32 psi_buddy_stat(psiBuddyStat *stat)
{
    BuddyStat all;
    if (!stat || PoolGuard(psiMp).stat(&all) == -1)
        return -1;
    *stat = {all.size, all.used, all.highWater, all.liveBlocks, all.failedAllocs, all.refusedFrees};
    return 0;
}

void setPsiSchRPTLevel(u32 level)
{
    relaxedStore(psi_rpt_lvl, static_cast<i32>(level));
}

u32 psiGetIncreaseTime(u32 startTick)
{
    // Unsigned arithmetic takes care of a wrap of the counter.
    return getMsTimeCnt ? getMsTimeCnt() - startTick : 0;
}

namespace {

/** @brief The object of a time-out or stop operation. All of them report a wrong handle with the same text. */
tableObj *findForControl(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    if (!obj)
        PSI_ERROR("psiSchTimeOutSet: get tableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
    return obj;
}

void setStopFlag(psiObjId objId, u8 stop)
{
    if (tableObj *obj = findForControl(objId))
        relaxedStore(obj->stopFlag, stop);
}

} // namespace

void psiSchStop(psiObjId objId)
{
    setStopFlag(objId, 1);
}

void psiSchStopResume(psiObjId objId)
{
    setStopFlag(objId, 0);
}

i32 psiSchTimeOutSet(psiObjId objId, u32 type, u16 timeOutMs)
{
    tableObj *obj = findForControl(objId);
    if (!obj)
        return -1;
    const MutexGuard guard(obj->semId);
    if (!guard)
        return -1;
    const TableFacts &facts = tableFacts(type);
    if (facts.ownTimeOut)
        relaxedStore(obj->timeOutMs[facts.timeOut], timeOutMs);
    else
        PSI_WARNING("psiSchTimeOutSet: psiType = %lu, not support!", static_cast<unsigned long>(type));
    return 0;
}

u16 psiSchTimeOutGet(psiObjId objId, u32 type)
{
    tableObj *obj = findForControl(objId);
    if (!obj)
        return 0;
    const TableFacts &facts = tableFacts(type);
    if (facts.loop == SearchLoop::none) {
        PSI_WARNING("psiSchTimeOutGet: psiType = %lu, not support!", static_cast<unsigned long>(type));
        return 0;
    }
    return relaxedLoad(obj->timeOutMs[facts.timeOut]);
}
