/* A host, in C or in C++, that has names of its own which the library might use as well, and searches a stream:
 *   foreignHost STREAM
 * Prints what the library found, and fails when the library called anything of the host's but its callbacks. */
#include "psi.h"

#include <stdio.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif
#include "foreignNames.h"

enum { packetLen = 188, streamSize = 1 << 20, poolSize = 1 << 20 };

static u8 stream[streamSize];
static u32 streamLen;
static u32 place;
static u32 now;
static u32 registered;

/* The host's callbacks have the names that the library's documentation has for them. */
void psiMsSleep(u32 ms)
{
    now += ms;
}
u32 getMsTimeCnt(void)
{
    return now;
}
i32 psiSearchHandle(psiSchInfo *info);
i32 readPsiHandle(psiSchInfo *info, u8 *tsBuf, u8 *tsNum);
u32 module_info_register(void *record);

u32 module_info_register(void *record)
{
    registered += record != NULL;
    return 0;
}

i32 psiSearchHandle(psiSchInfo *info)
{
    place = 0;
    return info->pid;
}

/* Whether a section that the filter lets through starts in this packet, directly behind its header. */
static int startsSection(const psiSchInfo *info, const u8 *packet)
{
    const u8 *section = packet + 5;
    return ((packet[1] & 0x1F) << 8 | packet[2]) == info->pid && (packet[1] & 0x40) != 0 && packet[4] == 0 &&
           section[0] == info->tableId && section[6] == info->sectionNo;
}

i32 readPsiHandle(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
{
    for (; place + packetLen <= streamLen; place += packetLen) {
        const u8 *packet = stream + place;
        if (!startsSection(info, packet) || ((packet[6] & 0x0F) << 8 | packet[7]) + 8 > packetLen)
            continue; /* sections of one packet are enough here */
        memcpy(tsBuf, packet, packetLen);
        *tsNum = 1;
        place += packetLen;
        return PSI_DATA_OK;
    }
    return PSI_NO_TABLE;
}

#ifdef __cplusplus
}
#include "foreignClasses.h"

static int useOwnClasses(void)
{
    const u8 byte = 0;
    Reader reader(&byte, 1);
    const MutexGuard mutex(0);
    PoolGuard pool(0);
    PoolBlock<psiSchInfo> block;
    return reader.take8() + (block.get() != NULL) + pool.release(NULL) + beU16(&byte);
}
#else
static int useOwnClasses(void)
{
    return foreign();
}
#endif

static u32 countPrograms(const tsInfo *model)
{
    u32 count = 0;
    progInfo *program;
    for (program = model->progList; program != NULL; program = (progInfo *)program->link.next)
        count += program->esList != NULL;
    return count;
}

/* Searches, rewrites what was found, and takes it apart again. */
static void run(void)
{
    const psiInitRegisterInfo module = {0, poolSize, 0, psiMsSleep, getMsTimeCnt};
    const psiSchRegisterInfo demultiplexer = {0, 0, psiSearchHandle, readPsiHandle};
    psiObjId search = psiSch_Init(&module) == 0 ? psiSchCreate(&demultiplexer) : 0;
    tsInfo *model;
    void *tree = NULL;
    psi_info_register();
    printf("registered: %lu\n", (unsigned long)registered);
    printf("searched: %ld\n", (long)autoSchTable(search, 0));
    model = getSchObjDataInfo(search);
    printf("programs with streams: %lu\n", (unsigned long)countPrograms(model));
    printf("PAT parsed: %ld\n",
           (long)syntaxAnalysePsi(PSI_PAT, &tree, model->sectionList->buf, model->sectionList->len));
    printf("PAT freed: %ld\n", (long)syntaxDestroyPsiSection(PSI_PAT, tree));
    printf("PAT made: %ld\n", (long)patMakeSection(model));
    printf("destroyed: %ld\n", (long)psiSchDestroy(search));
}

int main(int argc, char **argv)
{
    FILE *file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (file == NULL)
        return 2;
    streamLen = (u32)fread(stream, 1, streamSize, file);
    fclose(file);

    run();
    printf("the library called %d functions of the host's\n", foreignCalls);
    if (semTake(1, 2) != -1 || sysSymTbl != &foreignCalls || psi_rpt_lvl != 0x7F7F7F7F || psimake_rpt_lvl != 0x7F7F7F7F)
        printf("the host's own names are not its own\n");
    foreignCalls = 0;
    useOwnClasses();
    printf("and the host's own calls %s\n", foreignCalls != 0 ? "reached it" : "went elsewhere");
    return 0;
}
