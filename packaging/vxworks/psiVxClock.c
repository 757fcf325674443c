#include "psiVxClock.h"

#include <vxWorks.h>

#include <semLib.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#define MS_PER_S 1000u

/*
 * The time runs on by what the tick counter moved since the last call, so neither its wrap nor that of a product shows.
 * What is left of a division is kept, so no time is lost either, at 60 ticks a second or at 3000.
 */
static SEM_ID mutex;
static u32 lastTick;
static u32 milliseconds;
static u32 remainder; /* thousandths of a tick, below one millisecond */

i32 psiVxClockStart(void)
{
    mutex = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE | SEM_DELETE_SAFE);
    lastTick = (u32)tickGet();
    milliseconds = 0;
    remainder = 0;
    return mutex ? 0 : -1;
}

void psiVxClockStop(void)
{
    semDelete(mutex);
    mutex = 0;
}

void psiVxSleep(u32 ms)
{
    u32 rate = (u32)sysClkRateGet();
    u32 ticks = ms / MS_PER_S * rate + (ms % MS_PER_S * rate + MS_PER_S - 1) / MS_PER_S;
    /* The first of the ticks may end at once. */
    taskDelay((int)(ticks + 1));
}

u32 psiVxTick(void)
{
    u32 rate = (u32)sysClkRateGet();
    u32 now, ticks, thousandths;

    semTake(mutex, WAIT_FOREVER);
    ticks = (u32)tickGet() - lastTick;
    lastTick += ticks;
    thousandths = ticks % rate * MS_PER_S + remainder;
    milliseconds += ticks / rate * MS_PER_S + thousandths / rate;
    remainder = thousandths % rate;
    now = milliseconds;
    semGive(mutex);
    return now;
}
