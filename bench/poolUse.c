/*
 * What of the pool things take, in bytes, a line each: "name bytes". For scripts/footprint, which runs it on a machine
 * of 32 bits. Everything goes through psi.h.
 */
#include <psi.h>

#include <stdio.h>
#include <string.h>

#define POOL_BYTES (1024 * 1024)
#define MOST       64
#define STREAMS    4

typedef struct Stored {
    u16 pid;
    u16 length;
    u8 bytes[4096];
} Stored;

static Stored stored[MOST];
static u32 storedCount;
static u32 next;
static u32 lapEnd;
static u32 now;

static void msSleep(u32 ms)
{
    now += ms;
}

static u32 tick(void)
{
    return now;
}

static u32 used(void)
{
    psiBuddyStat stat;
    return psi_buddy_stat(&stat) == 0 ? stat.used : 0;
}

static u32 highWater(void)
{
    psiBuddyStat stat;
    return psi_buddy_stat(&stat) == 0 ? stat.highWater : 0;
}

static void print(const char *name, u32 bytes)
{
    printf("%s %lu\n", name, (unsigned long)bytes);
}

/* ------------------------------------------------ a device of stored sections ----------------------------------- */

static i32 arm(psiSchInfo *info)
{
    (void)info;
    lapEnd = next + storedCount;
    return 0;
}

static int passes(const psiSchInfo *info, const Stored *section)
{
    return section->pid == info->pid && section->bytes[0] == info->tableId && section->bytes[6] == info->sectionNo &&
           (!info->useIdExt || (section->bytes[3] << 8 | section->bytes[4]) == info->tableIdExt);
}

static i32 readSection(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
{
    now += 100; /* what cannot be stored comes again until the time-out */
    for (; next != lapEnd; next++) {
        const Stored *section = &stored[next % storedCount];
        if (passes(info, section)) {
            next++;
            return psiSectionToTs(section->pid, section->bytes, section->length, tsBuf, tsNum) == 0 ? PSI_DATA_OK
                                                                                                    : PSI_DATA_ERROR;
        }
    }
    return PSI_NO_TABLE;
}

static void store(u16 pid, const u8 *bytes, u16 length)
{
    Stored *section = &stored[storedCount++];
    section->pid = pid;
    section->length = length;
    memcpy(section->bytes, bytes, length);
}

/* ------------------------------------------------------ the streams --------------------------------------------- */

static u8 *copyOf(const char *text)
{
    u8 *bytes = psi_buddy_malloc((u32)strlen(text));
    if (bytes)
        memcpy(bytes, text, strlen(text));
    return bytes;
}

static void addDescriptor(descInfo **list, u8 tag, const char *text)
{
    descInfo *descriptor = descInfoCreat(list);
    descriptor->descTag = tag;
    descriptor->descLen = (u8)strlen(text);
    descriptor->descData = copyOf(text);
}

static void addProgram(tsInfo *stream, u16 number)
{
    progInfo *program = progInfoCreat(&stream->progList);
    u16 i;
    program->progNo = number;
    program->pmtPid = (u16)(0x0100 + number);
    program->pcrPid = (u16)(0x0200 + number * 16);
    program->prog_type = 1;
    program->run_stat = 4;
    program->pname = copyOf("Broadcasting");
    program->pnameLen = 12;
    program->sname = copyOf("Service Number"); /* 14 bytes: a short_name too */
    program->snameLen = 14;
    program->modulation_mode = 4;
    program->service_type = 2;
    program->major_channel_number = number;
    for (i = 0; i < STREAMS; i++) {
        esInfo *es = esInfoCreat(&program->esList);
        es->esType = i ? 3 : 2;
        es->esPid = (u16)(program->pcrPid + i);
        addDescriptor(&es->descList, 0x52, "\1");
        if (i)
            addDescriptor(&es->descList, 0x0A, "eng\1");
    }
}

/* A section of the long form: header, body, CRC_32. */
static void storeRaw(u16 pid, u8 tableId, u16 extension, const u8 *body, u16 length)
{
    u8 bytes[1024];
    u32 crc;
    bytes[0] = tableId;
    bytes[1] = (u8)(0xF0 | (length + 9) >> 8);
    bytes[2] = (u8)(length + 9);
    bytes[3] = (u8)(extension >> 8);
    bytes[4] = (u8)extension;
    bytes[5] = 0xC1;
    bytes[6] = bytes[7] = 0;
    memcpy(bytes + 8, body, length);
    crc = psiCalculateCrc(bytes, 8u + length);
    bytes[8 + length] = (u8)(crc >> 24);
    bytes[9 + length] = (u8)(crc >> 16);
    bytes[10 + length] = (u8)(crc >> 8);
    bytes[11 + length] = (u8)crc;
    store(pid, bytes, (u16)(length + 12));
}

/* A NIT of a network name and ten streams with a delivery system descriptor each. */
static void storeNit(void)
{
    u8 body[300];
    u16 at = 0, i;
    memcpy(body, "\xF0\x09\x40\x07Network\xF0\x00", 13);
    at = 13;
    body[at - 2] = (u8)(0xF0 | (10 * 19) >> 8);
    body[at - 1] = (u8)(10 * 19);
    for (i = 0; i < 10; i++) {
        static const u8 entry[19] = {0, 1, 0, 1, 0xF0, 13, 0x44, 11, 3, 0x46, 0, 0, 0xFF, 0xF2, 3, 0, 0x69, 0, 0};
        memcpy(body + at, entry, sizeof entry);
        body[at + 1] = (u8)i;
        at = (u16)(at + sizeof entry);
    }
    storeRaw(0x0010, 0x40, 1, body, at);
}

/* The sections of a stream of so many programs, as a multiplexer of the same library makes them. */
static int storeStream(u16 programs, u32 standard)
{
    static const u8 stt[] = {0, 0x4F, 0x12, 0x34, 0x56, 18, 0x60, 0};
    static const u16 pids[] = {0x0000, 0, 0x0011, 0x0011, 0x0010, 0x0010, 0x0011, 0x0001, 0, 0x1FFB, 0x1FFB};
    psiObjId maker = psiMakeCreate();
    tsInfo *stream = getMakeObjDataInfo(maker);
    const sectionData *section;
    u16 i;
    storedCount = next = 0;
    if (!stream)
        return -1;
    stream->tsId = stream->orNetId = 1;
    for (i = 1; i <= programs; i++)
        addProgram(stream, i);
    if (AutoMakeSection(maker, standard) != 0)
        return -1;
    for (section = stream->sectionList; section; section = section->link.next)
        store(section->psiType == PSI_PMT ? (u16)(0x0100 + section->idExt) : pids[section->psiType], section->buf,
              section->len);
    if (standard == 0)
        storeNit();
    else
        storeRaw(0x1FFB, 0xCD, 0, stt, sizeof stt);
    return psiMakeDestroy(maker);
}

/* ------------------------------------------------------ measurements -------------------------------------------- */

static i32 open(u32 poolBytes)
{
    const psiInitRegisterInfo module = {0, poolBytes, 0, msSleep, tick};
    setPsiSchRPTLevel(0);
    setPsiMakeRPTLevel(0);
    return psiSch_Init(&module);
}

static psiObjId create(void)
{
    const psiSchRegisterInfo demultiplexer = {0, 0, arm, readSection};
    return psiSchCreate(&demultiplexer);
}

static void objects(void)
{
    u32 before = used();
    psiObjId search, maker;
    tsInfo *model;
    search = create();
    print("search-object", used() - before);
    before = used();
    maker = psiMakeCreate();
    print("make-object", used() - before);
    model = getMakeObjDataInfo(maker);
    before = used();
    progInfoCreat(&model->progList);
    print("program", used() - before);
    before = used();
    esInfoCreat(&model->progList->esList);
    print("stream", used() - before);
    before = used();
    descInfoCreat(&model->progList->pmtDescList);
    print("descriptor", used() - before);
    before = used();
    caInfoCreat(&model->progList->caList);
    print("ca-descriptor", used() - before);
    before = used();
    sectionDataCreat(&model->sectionList);
    print("section", used() - before);
    psiMakeDestroy(maker);
    psiSchDestroy(search);
}

/* What a search needs beside what it leaves: of a table that does not come. */
static void runningSearch(u32 type, const char *name)
{
    psiObjId search;
    u32 before;
    open(POOL_BYTES);
    search = create();
    before = used();
    storedCount = 0;
    schTable(search, type);
    print(name, highWater() - before);
    psiSchDestroy(search);
    psiSch_Exit();
}

static void trees(void)
{
    static const char *const names[] = {"tree-pat", "tree-pmt", "tree-sdt", "", "tree-nit", "", "", "tree-cat"};
    static const u8 ids[] = {0x00, 0x02, 0x42, 0xFF, 0x40, 0xFF, 0xFF, 0x01};
    u32 type, i, before;
    void *tree;
    for (type = 0; type < sizeof ids; type++)
        for (i = 0; i < storedCount; i++)
            if (stored[i].bytes[0] == ids[type]) {
                before = used();
                if (syntaxAnalysePsi(type, &tree, stored[i].bytes, stored[i].length) == 0) {
                    print(names[type], used() - before);
                    syntaxDestroyPsiSection(type, tree);
                }
                break;
            }
}

/* A whole search of the stream that is stored, in a pool of so many bytes. */
static int searchIn(u32 poolBytes, u32 standard, u32 *taken, u32 *most)
{
    psiObjId search;
    u32 type, found = 0;
    if (open(poolBytes) != 0) {
        psiSch_Exit();
        return 0;
    }
    search = create();
    next = 0;
    if (search && autoSchTable(search, standard) == 0) {
        found = 1;
        for (type = PSI_PAT; type <= PSI_EBCCT; type++)
            if (psiSchEndReason(search, type) == PSI_END_NO_MEMORY)
                found = 0;
        *taken = used();
        *most = highWater();
    }
    if (search)
        psiSchDestroy(search);
    psiSch_Exit();
    return (int)found;
}

static void wholeStream(const char *name, u16 programs, u32 standard)
{
    u32 taken = 0, most = 0, smallest, unused;
    char line[80];
    open(POOL_BYTES);
    if (storeStream(programs, standard) != 0)
        return;
    if (standard == 0 && programs == 10)
        trees();
    psiSch_Exit();
    searchIn(POOL_BYTES, standard, &taken, &most);
    sprintf(line, "%s-model", name);
    print(line, taken);
    sprintf(line, "%s-most", name);
    print(line, most);
    for (smallest = 1024; smallest < POOL_BYTES && !searchIn(smallest, standard, &unused, &unused);)
        smallest += 256;
    sprintf(line, "%s-smallest-pool", name);
    print(line, smallest);
}

int main(void)
{
    open(POOL_BYTES);
    objects();
    psiSch_Exit();
    runningSearch(PSI_PAT, "running-search");
    runningSearch(PSI_BAT, "running-search-collecting");
    runningSearch(PSI_EBIT, "running-search-emergency");
    wholeStream("dvb-1", 1, 0);
    wholeStream("dvb-10", 10, 0);
    wholeStream("dvb-20", 20, 0);
    wholeStream("atsc-6", 6, 1);
    return 0;
}
