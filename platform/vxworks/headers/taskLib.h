/**
 * @file taskLib.h
 * @brief The kernel's tasks; see vxWorks.h.
 */
#ifndef TASKLIB_H
#define TASKLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

STATUS taskDelay(int ticks);

#ifdef __cplusplus
}
#endif

#endif /* TASKLIB_H */
