#include "psiInternal.h"

using namespace psi::core;

tableObj *getTableObj(psiObjId objId)
{
    if (objId == 0) {
        PSI_ERROR("getTableObj: ERROR, objId = %lu!", static_cast<unsigned long>(objId));
        return nullptr;
    }
    tableObj *obj = objectOf<tableObj>(objId);
    if (!obj)
        PSI_ERROR("getTableObj: Not Found, objId = %lu!", static_cast<unsigned long>(objId));
    return obj;
}

u32 getSchPrivateValue(psiObjId objId)
{
    const tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("getSchPrivateValue: getTableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return 0;
    }
    return obj->privateValue;
}

tsInfo *getSchObjDataInfo(psiObjId objId)
{
    tableObj *obj = getTableObj(objId);
    if (!obj) {
        PSI_ERROR("getSchObjDataInfo: getTableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return nullptr;
    }
    return &obj->tsInfo;
}

progInfo *psi::core::findProgram(const tsInfo *model, u16 progNo)
{
    progInfo *prog = model->progList;
    while (prog && prog->progNo != progNo)
        prog = nextOf(prog);
    return prog;
}

progInfo *getProgInfo(tsInfo *model, u32 progNo)
{
    if (!model) {
        PSI_ERROR("getProgInfo: tsInfo is NULL!");
        return nullptr;
    }
    const u16 wanted = static_cast<u16>(progNo);
    progInfo *prog = findProgram(model, wanted);
    if (!prog)
        PSI_ERROR("getProgInfo: Not Found, progNo = %u!", static_cast<unsigned>(wanted));
    return prog;
}
