/**
 * @file tickLib.h
 * @brief The kernel's tick counter; see vxWorks.h.
 */
#ifndef TICKLIB_H
#define TICKLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

ULONG tickGet(void);

#ifdef __cplusplus
}
#endif

#endif /* TICKLIB_H */
