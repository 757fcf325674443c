#include "psiLog.h"

using namespace psi::core;

i32 psi::core::psimake_rpt_lvl = 2;

void setPsiMakeRPTLevel(u32 level)
{
    relaxedStore(psimake_rpt_lvl, static_cast<i32>(level));
}
