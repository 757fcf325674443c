/**
 * @file semLib.h
 * @brief The kernel's mutexes; see vxWorks.h.
 */
#ifndef SEMLIB_H
#define SEMLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct semaphore *SEM_ID;

#define SEM_Q_FIFO         0x0
#define SEM_Q_PRIORITY     0x1
#define SEM_DELETE_SAFE    0x4
#define SEM_INVERSION_SAFE 0x8

SEM_ID semMCreate(int options);
STATUS semTake(SEM_ID semId, int timeout);
STATUS semGive(SEM_ID semId);
STATUS semDelete(SEM_ID semId);

#ifdef __cplusplus
}
#endif

#endif /* SEMLIB_H */
