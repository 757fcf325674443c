/*
 * A remultiplexer that renames a service: the SDT is acquired, its tree is edited and written back as sections, and
 * these take the places of the old ones in the stream. All other packets go through byte for byte.
 *
 *     ./renameService multiplex.ts out.ts 10 "News 24"
 */
#include "captureFilter.h"

#include <stdlib.h>
#include <string.h>

#define POOL_BYTES         (512 * 1024)
#define SDT_PID            0x0011
#define SERVICE_DESCRIPTOR 0x48
#define PACKETS_PER_S      6649 /* 10 Mbit/s */
#define CAROUSEL           1024 /* packets */

static Capture capture;
static u8 carousel[CAROUSEL][CAPTURE_PACKET];
static u32 carouselCount;

static u32 tick(void)
{
    return (u32)((unsigned long long)capture.played * 1000 / PACKETS_PER_S);
}

static void msSleep(u32 ms)
{
    capture.played += ms * PACKETS_PER_S / 1000;
}

/* service_type, provider and the new name (EN 300 468 6.2.33), in a block of the pool, as all that a tree holds. */
static int renameDescriptor(descInfo *descriptor, const char *name)
{
    u32 front = 2u + descriptor->descData[1]; /* up to the length of the old name */
    u32 length = (u32)strlen(name);
    u8 *data;
    if (front >= descriptor->descLen || front + 1 + length > 255 || !(data = psi_buddy_malloc(front + 1 + length)))
        return 0;
    memcpy(data, descriptor->descData, front);
    data[front] = (u8)length;
    memcpy(data + front + 1, name, length);
    psi_buddy_free(descriptor->descData);
    descriptor->descData = data;
    descriptor->descLen = (u8)(front + 1 + length);
    return 1;
}

static int renameIn(const sdtSection *sdt, u16 serviceId, const char *name)
{
    psiSdtService *service;
    descInfo *descriptor;
    for (service = sdt->service_info; service; service = service->link.next)
        for (descriptor = service->service_descriptor; descriptor; descriptor = descriptor->link.next)
            if (service->service_id == serviceId && descriptor->descTag == SERVICE_DESCRIPTOR &&
                descriptor->descLen >= 3)
                return renameDescriptor(descriptor, name);
    return 0;
}

/* Edit the section that has the service. All sections of the table then need the new version. */
static int renameService(tsInfo *stream, u16 serviceId, const char *name)
{
    sectionData *section;
    int done = 0;
    for (section = stream->sectionList; section && !done; section = section->link.next) {
        void *tree = NULL;
        sdtSection *sdt;
        if (section->psiType != PSI_SDT_ACTUAL ||
            syntaxAnalysePsi(PSI_SDT_ACTUAL, &tree, section->buf, section->len) != 0)
            continue;
        sdt = tree;
        if (renameIn(sdt, serviceId, name)) {
            sdt->version_number = (sdt->version_number + 1) & 0x1F;
            done = syntaxSIMakeSeciton(stream, sdt, sdt->transport_stream_id, PSI_SDT_ACTUAL) == 0 ? 1 : -1;
        }
        syntaxDestroyPsiSection(PSI_SDT_ACTUAL, tree);
        if (done)
            break; /* the list has changed */
    }
    return done == 1;
}

/* The sections of the PID, the edited table among the others that share it, as packets. */
static int fillCarousel(const tsInfo *stream)
{
    const sectionData *section;
    for (section = stream->sectionList; section; section = section->link.next) {
        u8 count = 0;
        if (section->psiType != PSI_SDT_ACTUAL && section->psiType != PSI_SDT_OTHER && section->psiType != PSI_BAT)
            continue;
        if (carouselCount + 6 > CAROUSEL ||
            psiSectionToTs(SDT_PID, section->buf, section->len, carousel[carouselCount], &count) != 0)
            return 0;
        carouselCount += count;
    }
    return carouselCount != 0;
}

/* Every packet of the PID makes place for the next one of the carousel. */
static int remultiplex(const char *from, const char *to)
{
    FILE *in = fopen(from, "rb");
    FILE *out = in ? fopen(to, "wb") : NULL;
    u8 packet[CAPTURE_PACKET];
    u32 next = 0;
    int good = out != NULL;
    while (good && fread(packet, sizeof packet, 1, in) == 1) {
        if (((packet[1] & 0x1F) << 8 | packet[2]) == SDT_PID) {
            memcpy(packet, carousel[next % carouselCount], sizeof packet);
            packet[3] = (u8)(0x10 | (next & 0x0F)); /* continuity_counter */
            next++;
        }
        good = fwrite(packet, sizeof packet, 1, out) == 1;
    }
    if (in)
        fclose(in);
    if (out)
        good = fclose(out) == 0 && good;
    return good;
}

static int edit(psiObjId search, u16 serviceId, const char *name)
{
    tsInfo *stream = getSchObjDataInfo(search);
    if (schTable(search, PSI_PAT) == 0 || schTable(search, PSI_SDT_ACTUAL) == 0)
        return 0;
    schTable(search, PSI_SDT_OTHER);
    schTable(search, PSI_BAT);
    return renameService(stream, serviceId, name) && fillCarousel(stream);
}

int main(int argc, char **argv)
{
    const psiInitRegisterInfo module = {0, POOL_BYTES, 0, msSleep, tick};
    const psiSchRegisterInfo demultiplexer = {0, 0, captureArm, captureRead};
    psiObjId search;
    int good;

    if (argc != 5 || captureOpen(&capture, argv[1]) != 0) {
        fprintf(stderr, "usage: renameService IN OUT SERVICE_ID NAME\n");
        return 2;
    }
    search = psiSch_Init(&module) == 0 ? psiSchCreate(&demultiplexer) : 0;
    psiSchUserPointerSet(search, &capture);
    good = edit(search, (u16)strtoul(argv[3], NULL, 0), argv[4]) && remultiplex(argv[1], argv[2]);
    if (!good)
        fprintf(stderr, "renameService: nothing was renamed\n");
    psiSchDestroy(search);
    psiSch_Exit();
    captureClose(&capture);
    return good ? 0 : 1;
}
