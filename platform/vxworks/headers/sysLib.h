/**
 * @file sysLib.h
 * @brief The kernel's system clock; see vxWorks.h.
 */
#ifndef SYSLIB_H
#define SYSLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

int sysClkRateGet(void);

#ifdef __cplusplus
}
#endif

#endif /* SYSLIB_H */
