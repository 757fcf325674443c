/*
 * Eight tuners in eight threads, on one library. Six of them read a stream; one has no signal and is given up after its
 * time-out; one has a demultiplexer that never comes to an end, which another thread stops.
 *
 *     ./eightTuners multiplex.ts
 *
 * Objects are created and destroyed by one thread. A search holds the mutex of its own object only, so they run at the
 * same time; clock and pool are common to all.
 */
#define _POSIX_C_SOURCE 200809L
#include "captureFilter.h"

#include <pthread.h>
#include <time.h>

#define POOL_BYTES (1024 * 1024)
#define TUNERS     8
#define NO_SIGNAL  6 /* number of the tuner */
#define STUCK      7
#define SHORT_MS   200

typedef struct Tuner {
    Capture capture;
    psiObjId search;
    pthread_t thread;
    u32 sections;
} Tuner;

static Tuner tuners[TUNERS];

static void msSleep(u32 ms)
{
    struct timespec time = {(long)(ms / 1000), (long)(ms % 1000) * 1000000};
    nanosleep(&time, NULL);
}

static u32 tick(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (u32)now.tv_sec * 1000 + (u32)(now.tv_nsec / 1000000);
}

static i32 noSignal(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
{
    (void)info;
    (void)tsBuf;
    (void)tsNum;
    return PSI_DATA_NO_READY;
}

static void *tune(void *argument)
{
    Tuner *tuner = argument;
    tuner->sections = schTable(tuner->search, PSI_PAT);
    if (tuner->sections != 0)
        tuner->sections += schTable(tuner->search, PSI_PMT);
    return NULL;
}

static int create(Tuner *tuner, u32 number, const char *name)
{
    psiSchRegisterInfo demultiplexer = {0, number, captureArm, captureRead};
    if (number >= NO_SIGNAL)
        demultiplexer.readPsiHandle = noSignal;
    tuner->search = captureOpen(&tuner->capture, name) == 0 ? psiSchCreate(&demultiplexer) : 0;
    psiSchUserPointerSet(tuner->search, &tuner->capture);
    if (number == NO_SIGNAL)
        psiSchTimeOutSet(tuner->search, PSI_PAT, SHORT_MS);
    if (number == STUCK)
        psiSchTimeOutSet(tuner->search, PSI_PAT, 60000);
    return tuner->search != 0;
}

/* A watchdog that ends a search which takes too long, from another thread. psiSchStop() waits for nobody. */
static void watch(psiObjId search)
{
    while (psiSchEndReason(search, PSI_PAT) == PSI_END_NEVER) {
        msSleep(2 * SHORT_MS);
        psiSchStop(search);
    }
}

static void print(const Tuner *tuner)
{
    static const char *const ends[] = {"never searched", "whole",         "absent", "timed out",
                                       "stopped",        "out of memory", "refused"};
    printf("tuner %lu: %lu sections, PAT %s\n", (unsigned long)getSchPrivateValue(tuner->search),
           (unsigned long)tuner->sections, ends[psiSchEndReason(tuner->search, PSI_PAT)]);
}

int main(int argc, char **argv)
{
    const psiInitRegisterInfo module = {0, POOL_BYTES, 0, msSleep, tick};
    u32 i;

    if (argc != 2 || psiSch_Init(&module) != 0) {
        fprintf(stderr, "usage: eightTuners FILE\n");
        return 2;
    }
    for (i = 0; i < TUNERS; i++)
        if (!create(&tuners[i], i, argv[1])) {
            fprintf(stderr, "eightTuners: cannot read %s\n", argv[1]);
            return 2;
        }
    for (i = 0; i < TUNERS; i++)
        pthread_create(&tuners[i].thread, NULL, tune, &tuners[i]);
    watch(tuners[STUCK].search);
    for (i = 0; i < TUNERS; i++)
        pthread_join(tuners[i].thread, NULL);
    for (i = 0; i < TUNERS; i++) {
        print(&tuners[i]);
        psiSchDestroy(tuners[i].search);
        captureClose(&tuners[i].capture);
    }
    return psiSch_Exit() == 0 ? 0 : 1;
}
