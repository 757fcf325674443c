/**
 * @file psiDemo.h
 * @brief A demo that one calls from the kernel shell: psiDemo "/ata0a/stream.ts", or psiDemo 0.
 */
#ifndef PSI_DEMO_H
#define PSI_DEMO_H

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @brief Search the DVB tables of a recording and print its programs.
 * @param name a file of 188-byte packets, or null for two packets that the demo has with it
 * @return the number of programs, or -1
 *
 * Makes the library's pool and gives it back, so it may be called again; not while a product uses the library.
 */
int psiDemo(const char *name);

#ifdef __cplusplus
}
#endif

#endif
