/**
 * @file memLib.h
 * @brief The kernel's heap; see vxWorks.h.
 */
#ifndef MEMLIB_H
#define MEMLIB_H

#include "vxWorks.h"

#ifdef __cplusplus
extern "C" {
#endif

void *memalign(size_t alignment, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* MEMLIB_H */
