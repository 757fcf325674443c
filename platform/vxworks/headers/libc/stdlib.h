/**
 * @file stdlib.h
 * @brief See stdio.h.
 */
#ifndef STDLIB_H
#define STDLIB_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void *malloc(size_t size);
void free(void *block);

#ifdef __cplusplus
}
#endif

#endif /* STDLIB_H */
