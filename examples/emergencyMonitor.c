/*
 * A monitor of emergency tables: tells a message within a second of the change of the index that announces it.
 *
 *     ./emergencyMonitor emergency.ts
 *
 * The index (EBIT) is searched again and again. A search for it ends one time-out behind the last section that was new,
 * so the time-out decides how soon a change is told: it has to be longer than the interval at which the index is sent,
 * and may be short beside a second. When the index has changed, the contents that it announces are searched too.
 */
#include "captureFilter.h"

#include <string.h>

#define POOL_BYTES (64 * 1024)
#define INDEX_MS   400 /* the index is sent every 200 ms */

/* The recording is played as it was sent: 100 kbit/s, 15.04 ms a packet. */
#define US_PER_PACKET 15040

static Capture capture;

static u32 tick(void)
{
    return (u32)((unsigned long long)capture.played * US_PER_PACKET / 1000);
}

static void msSleep(u32 ms)
{
    (void)ms; /* the packets that are read are the time that goes by */
}

/* What the sections of a type are, in one word: their CRCs, which change with every byte. */
static u32 fingerprint(const tsInfo *stream, u32 table)
{
    const sectionData *section;
    u32 sum = 0;
    for (section = stream->sectionList; section; section = section->link.next)
        if (section->psiType == table)
            sum += psiCalculateCrc(section->buf, section->len - 4u);
    return sum;
}

static u32 searchAnew(psiObjId search, u32 table)
{
    psiSchSectionsDestroy(search, table, -1);
    return schTable(search, table);
}

static void printIndex(const sectionData *section)
{
    void *tree;
    const ebitSection *index;
    const ebitMessage *message;
    if (syntaxAnalysePsi(PSI_EBIT, &tree, section->buf, section->len) != 0)
        return;
    index = tree;
    printf("%6lu ms: index version %u, messages: %u\n", (unsigned long)tick(), index->version_number,
           index->ebm_number);
    for (message = index->message; message; message = message->link.next)
        printf("           message, %u resources%s\n", message->resource_number,
               message->details_channel_flag ? ", with a channel" : "");
    syntaxDestroyPsiSection(PSI_EBIT, tree);
}

static void printContents(const sectionData *section)
{
    void *tree;
    const ebctContent *content;
    if (syntaxAnalysePsi(PSI_EBCT, &tree, section->buf, section->len) != 0)
        return;
    for (content = ((const ebctSection *)tree)->content; content; content = content->link.next)
        printf("           \"%.*s\"\n", content->message_text_length, (const char *)content->message_text);
    syntaxDestroyPsiSection(PSI_EBCT, tree);
}

static void printAll(const tsInfo *stream, u32 table, void (*print)(const sectionData *))
{
    const sectionData *section;
    for (section = stream->sectionList; section; section = section->link.next)
        if (section->psiType == table)
            print(section);
}

static void monitor(psiObjId search)
{
    const tsInfo *stream = getSchObjDataInfo(search);
    u32 known = 0;
    psiSchTimeOutSet(search, PSI_NIT_ACTUAL, INDEX_MS); /* the emergency tables use that of the NIT */
    while (!captureEnded(&capture)) {
        if (searchAnew(search, PSI_EBIT) == 0 || fingerprint(stream, PSI_EBIT) == known)
            continue;
        known = fingerprint(stream, PSI_EBIT);
        printAll(stream, PSI_EBIT, printIndex);
        if (searchAnew(search, PSI_EBCT) != 0)
            printAll(stream, PSI_EBCT, printContents);
    }
}

int main(int argc, char **argv)
{
    const psiInitRegisterInfo module = {0, POOL_BYTES, 0, msSleep, tick};
    const psiSchRegisterInfo demultiplexer = {0, 0, captureArm, captureRead};
    psiObjId search;

    if (argc != 2 || captureOpen(&capture, argv[1]) != 0) {
        fprintf(stderr, "usage: emergencyMonitor FILE\n");
        return 2;
    }
    capture.once = 1;
    capture.goes = 2; /* 30 ms of the stream in a read */
    search = psiSch_Init(&module) == 0 ? psiSchCreate(&demultiplexer) : 0;
    psiSchUserPointerSet(search, &capture);
    monitor(search);
    psiSchDestroy(search);
    psiSch_Exit();
    captureClose(&capture);
    return search ? 0 : 1;
}
