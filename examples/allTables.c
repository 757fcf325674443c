/*
 * All tables of a stream: what programs it has, and every section that was acquired.
 *
 *     cc -Iexamples allTables.c captureFilter.c $(pkg-config --static --cflags --libs psi) -o allTables
 *     ./allTables multiplex.ts [atsc]
 */
#include "captureFilter.h"

#include <string.h>

#define POOL_BYTES (256 * 1024)

/* The recording's own clock: 10 Mbit/s, 1504 bits a packet. A host on a device has a real one. */
#define PACKETS_PER_S 6649

static Capture capture;

static u32 tick(void)
{
    return (u32)((unsigned long long)capture.played * 1000 / PACKETS_PER_S);
}

static void msSleep(u32 ms)
{
    capture.played += ms * PACKETS_PER_S / 1000; /* nobody reads them */
}

static void printName(const char *before, const u8 *name, u8 length)
{
    if (length)
        printf("%s\"%.*s\"", before, length, (const char *)name);
}

static void printPrograms(const tsInfo *stream)
{
    const progInfo *program;
    const esInfo *es;
    const caInfo *ca;
    printf("transport_stream_id 0x%04X, original_network_id 0x%04X", stream->tsId, stream->orNetId);
    printName(", network ", stream->netname, stream->netnameLen);
    printf("\n");
    for (program = stream->progList; program; program = program->link.next) {
        printf("program %u", program->progNo);
        printName(" ", program->sname, program->snameLen);
        printName(" of ", program->pname, program->pnameLen);
        printf("%s\n", program->pmtValid ? "" : ", without PMT");
        for (ca = program->caList; ca; ca = ca->link.next)
            printf("    CA_system_ID 0x%04X, ECM on PID 0x%04X\n", ca->caSystemId, ca->caPid);
        for (es = program->esList; es; es = es->link.next)
            printf("    stream_type 0x%02X on PID 0x%04X%s\n", es->esType, es->esPid,
                   es->esPid == program->pcrPid ? ", with PCR" : "");
    }
}

static void printSections(const tsInfo *stream)
{
    const sectionData *section;
    for (section = stream->sectionList; section; section = section->link.next)
        printf("%s 0x%04X section %u of %u, version %u, %u bytes on PID 0x%04X\n", showPsiTypeStr(section->psiType),
               section->idExt, section->sectionNo, section->buf[7], section->buf[5] >> 1 & 0x1F, section->len,
               section->pid);
}

/* Why there is no more of a table, where that is of interest. */
static void printEnds(psiObjId search)
{
    static const char *const reasons[] = {"not searched", "whole",         "absent", "timed out",
                                          "stopped",      "out of memory", "refused"};
    u32 type;
    for (type = PSI_PAT; type <= PSI_EBCCT; type++)
        if (psiSchEndReason(search, type) > PSI_END_ABSENT)
            printf("%s: %s\n", showPsiTypeStr(type), reasons[psiSchEndReason(search, type)]);
}

int main(int argc, char **argv)
{
    const psiInitRegisterInfo module = {0, POOL_BYTES, 0, msSleep, tick};
    const psiSchRegisterInfo demultiplexer = {0, 0, captureArm, captureRead};
    psiObjId search;
    int found;

    if (argc < 2 || captureOpen(&capture, argv[1]) != 0) {
        fprintf(stderr, "usage: allTables FILE [atsc]\n");
        return 2;
    }
    search = psiSch_Init(&module) == 0 ? psiSchCreate(&demultiplexer) : 0;
    psiSchUserPointerSet(search, &capture);
    found = autoSchTable(search, argc > 2 && strcmp(argv[2], "atsc") == 0) == 0;
    if (found) {
        printPrograms(getSchObjDataInfo(search));
        printSections(getSchObjDataInfo(search));
    }
    printEnds(search);
    psiSchDestroy(search);
    psiSch_Exit();
    captureClose(&capture);
    return found ? 0 : 1;
}
