/**
 * @file string.h
 * @brief See stdio.h.
 */
#ifndef STRING_H
#define STRING_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void *memcpy(void *to, const void *from, size_t size);
void *memset(void *to, int value, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* STRING_H */
