#include "psiDemo.h"

#include "captureFilter.h"
#include "psiVxClock.h"

#include <stdio.h>
#include <string.h>

#define POOL_BYTES (256u * 1024u)

/* A PAT (program 1 on PID 0x0100) and the program's PMT (two streams). */
static const u8 pat[] = {0x47, 0x40, 0x00, 0x10, 0x00, 0x00, 0xB0, 0x0D, 0x00, 0x01, 0xC1,
                         0x00, 0x00, 0x00, 0x01, 0xE1, 0x00, 0xE8, 0xF9, 0x5E, 0x7D};
static const u8 pmt[] = {0x47, 0x41, 0x00, 0x10, 0x00, 0x02, 0xB0, 0x17, 0x00, 0x01, 0xC1, 0x00, 0x00, 0xE1, 0x01, 0xF0,
                         0x00, 0x1B, 0xE1, 0x01, 0xF0, 0x00, 0x0F, 0xE1, 0x02, 0xF0, 0x00, 0x9E, 0x28, 0xC6, 0xDD};
static u8 packets[2 * CAPTURE_PACKET];
static Capture capture;

static i32 openCapture(const char *name)
{
    if (name)
        return captureOpen(&capture, name);
    memset(packets, 0xFF, sizeof packets);
    memcpy(packets, pat, sizeof pat);
    memcpy(packets + CAPTURE_PACKET, pmt, sizeof pmt);
    captureOpenPackets(&capture, packets, 2);
    return 0;
}

static int printPrograms(const tsInfo *stream)
{
    const progInfo *program;
    const esInfo *es;
    int count = 0;

    printf("transport_stream_id 0x%04X\n", stream->tsId);
    for (program = stream->progList; program; program = (const progInfo *)program->link.next, count++) {
        printf("program %u \"%.*s\": PMT on PID 0x%04X\n", program->progNo, program->snameLen,
               program->sname ? (const char *)program->sname : "", program->pmtPid);
        for (es = program->esList; es; es = (const esInfo *)es->link.next)
            printf("  stream_type 0x%02X on PID 0x%04X\n", es->esType, es->esPid);
    }
    return count;
}

static int search(psiObjId object)
{
    u32 began = psiVxTick();
    int count;

    psiSchUserPointerSet(object, &capture);
    if (autoSchTable(object, 0) != 0) {
        printf("psiDemo: no PAT\n");
        return -1;
    }
    count = printPrograms(getSchObjDataInfo(object));
    printf("%d programs after %u ms\n", count, psiVxTick() - began);
    return count;
}

static int searchCapture(void)
{
    psiInitRegisterInfo module = {0, POOL_BYTES, 0, psiVxSleep, psiVxTick};
    psiSchRegisterInfo demultiplexer = {0, 0, captureArm, captureRead};
    psiObjId object = psiSch_Init(&module) == 0 ? psiSchCreate(&demultiplexer) : 0;
    int count = object ? search(object) : -1;

    psiSchDestroy(object);
    psiSch_Exit();
    return count;
}

int psiDemo(const char *name)
{
    int count = -1;

    if (openCapture(name) != 0) {
        printf("psiDemo: no packets in %s\n", name);
        return -1;
    }
    if (psiVxClockStart() == 0) {
        count = searchCapture();
        psiVxClockStop();
    }
    captureClose(&capture);
    return count;
}
