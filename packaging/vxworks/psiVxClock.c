#include "psiVxClock.h"

#include <vxWorks.h>

#include <semLib.h>
#include <sysLib.h>
#include <taskLib.h>
#include <tickLib.h>

#define MS_PER_S      1000u
#define LONGEST_DELAY 0x7FFFFFFFu /* ticks */

/*
 * The time runs on by what the tick counter moved since the last call, so neither its wrap nor that of a product shows.
 * What is left of a division is kept, so no time is lost either, at 60 ticks a second or at 3000.
 */
static SEM_ID mutex;
static u32 lastTick;
static u32 milliseconds;
static u32 rest; /* of the last division, below the clock rate */

i32 psiVxClockStart(void)
{
    mutex = semMCreate(SEM_Q_PRIORITY | SEM_INVERSION_SAFE | SEM_DELETE_SAFE);
    lastTick = (u32)tickGet();
    milliseconds = 0;
    rest = 0;
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
    u32 seconds = ms / MS_PER_S;
    /* The first of the ticks may end at once, so there is one more. */
    u32 ticks = seconds * rate + (ms % MS_PER_S * rate + MS_PER_S - 1) / MS_PER_S + 1;
    if (seconds >= LONGEST_DELAY / rate)
        ticks = LONGEST_DELAY;
    taskDelay((int)ticks);
}

u32 psiVxTick(void)
{
    u32 rate = (u32)sysClkRateGet();
    u32 now, ticks, thousandths;

    semTake(mutex, WAIT_FOREVER);
    ticks = (u32)tickGet() - lastTick;
    lastTick += ticks;
    thousandths = ticks % rate * MS_PER_S + rest;
    milliseconds += ticks / rate * MS_PER_S + thousandths / rate;
    rest = thousandths % rate;
    now = milliseconds;
    semGive(mutex);
    return now;
}
