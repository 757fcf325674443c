/**
 * @file psiVxClock.h
 * @brief The two clock callbacks of a VxWorks host, right for any system clock rate.
 */
#ifndef PSI_VX_CLOCK_H
#define PSI_VX_CLOCK_H

#include <psi.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @brief To be called once, before psiSch_Init() gets the two below. @return 0, or -1 without a mutex for the clock */
i32 psiVxClockStart(void);

/** @brief Give the mutex back, when nothing calls the two below any more. */
void psiVxClockStop(void);

/** @brief Sleep for at least so many milliseconds, and for at least one tick, so that every other task gets its turn.
 */
void psiVxSleep(u32 ms);

/** @brief Milliseconds since psiVxClockStart(), modulo 2^32, without a jump where the kernel's tick counter wraps. */
u32 psiVxTick(void);

#ifdef __cplusplus
}
#endif

#endif
