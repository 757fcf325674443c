/**
 * @file psiStream.h
 * @brief The demultiplexer as the Python module calls it.
 */
#ifndef PSI_STREAM_H
#define PSI_STREAM_H

#include "describe/json/psiDescribe.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct psiStream psiStream;

/** @brief A section as it came. */
typedef struct psiStreamSection {
    const uint8_t *bytes; /**< valid until the next call */
    size_t length;
    uint64_t packet; /**< number of the packet, from 0, that completed it */
    int pid;
    int repeated; /**< 1: the same came before */
} psiStreamSection;

/**
 * @brief Open a file, "-", or a live input.
 * @param input its name @param repetitions 0: every section once @param error gets what is wrong
 * @return the stream, to be given to psiStreamClose(), or null
 */
psiStream *psiStreamOpen(const char *input, int repetitions, psiDescribeError *error);

/**
 * @brief Wait for the next section.
 * @param waitMs how long in milliseconds, -1: for ever
 * @return 1: there is one; 0: none came in time; -1: there are no more; -2: reading failed, `error` says why
 */
int psiStreamNext(psiStream *stream, int waitMs, psiStreamSection *section, psiDescribeError *error);

void psiStreamClose(psiStream *stream);

/** @brief The library's version, "0.2.0". */
const char *psiStreamVersion(void);

#ifdef __cplusplus
}
#endif

#endif
