/**
 * @file stdio.h
 * @brief What the library calls of the kernel's C library, and nothing else: more does not compile.
 */
#ifndef STDIO_H
#define STDIO_H

#ifdef __cplusplus
extern "C" {
#endif

int printf(const char *format, ...) __attribute__((format(printf, 1, 2)));
int sprintf(char *buffer, const char *format, ...) __attribute__((format(printf, 2, 3)));

#ifdef __cplusplus
}
#endif

#endif /* STDIO_H */
