#include "psiInternal.h"

using namespace psi::core;

tableMakeObj *getOutTableObj(psiObjId objId)
{
    if (objId == 0) {
        MAKE_ERROR("getTableObj: ERROR, objId = %lu!", static_cast<unsigned long>(objId));
        return nullptr;
    }
    tableMakeObj *obj = objectOf<tableMakeObj>(objId);
    if (!obj)
        MAKE_ERROR("getTableObj: Not Found, objId = %lu!", static_cast<unsigned long>(objId));
    return obj;
}

tsInfo *getMakeObjDataInfo(psiObjId objId)
{
    tableMakeObj *obj = getOutTableObj(objId);
    if (!obj) {
        MAKE_ERROR("getMakeObjDataInfo: getOutTableObj failed, objId = %lu!", static_cast<unsigned long>(objId));
        return nullptr;
    }
    return &obj->tsInfo;
}
