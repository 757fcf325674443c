#include "psiLog.h"

i32 psimake_rpt_lvl = 2;

void setPsiMakeRPTLevel(u32 level)
{
    relaxedStore(psimake_rpt_lvl, static_cast<i32>(level));
}
