#include "captureFilter.h"

#include <string.h>

#define SYNC_BYTE 0x47
#define HEADER    4
#define READ_GOES 2000 /* a stop and the time-out are looked at between two read callbacks */

static void begin(Capture *capture)
{
    memset(capture, 0, sizeof *capture);
    capture->goes = READ_GOES;
}

i32 captureOpen(Capture *capture, const char *name)
{
    long size;
    begin(capture);
    capture->file = fopen(name, "rb");
    if (!capture->file)
        return -1;
    if (fseek(capture->file, 0, SEEK_END) == 0 && (size = ftell(capture->file)) >= CAPTURE_PACKET) {
        capture->packetCount = (u32)(size / CAPTURE_PACKET);
        rewind(capture->file);
        return 0;
    }
    captureClose(capture);
    return -1;
}

void captureOpenPackets(Capture *capture, const u8 *packets, u32 packetCount)
{
    begin(capture);
    capture->packets = packets;
    capture->packetCount = packetCount;
}

void captureClose(Capture *capture)
{
    if (capture->file)
        fclose(capture->file);
    begin(capture);
}

int captureEnded(const Capture *capture)
{
    return capture->once && capture->played >= capture->packetCount;
}

/* Whether the filter has nothing more to wait for. */
static int lapIsOver(const Capture *capture)
{
    if (capture->once)
        return captureEnded(capture);
    return (i32)(capture->played - capture->lapEnd) >= 0 && !capture->inside;
}

/* The next packet, round the end of the recording; a section does not go on there. */
static i32 nextPacket(Capture *capture)
{
    if (capture->next == capture->packetCount) {
        capture->next = 0;
        capture->inside = 0;
        if (capture->file)
            rewind(capture->file);
    }
    if (!capture->file)
        memcpy(capture->packet, capture->packets + capture->next * CAPTURE_PACKET, CAPTURE_PACKET);
    else if (fread(capture->packet, CAPTURE_PACKET, 1, capture->file) != 1)
        return -1;
    capture->next++;
    capture->played++;
    return 0;
}

static u32 wholeLength(const Capture *capture)
{
    return 3u + ((capture->section[1] & 0x0Fu) << 8 | capture->section[2]);
}

/* Take bytes of a section up to its end. Returns how many. */
static u32 gather(Capture *capture, const u8 *bytes, u32 count)
{
    u32 taken = 0;
    while (taken < count && (capture->have < 3 || capture->have < wholeLength(capture)) &&
           capture->have < CAPTURE_SECTION)
        capture->section[capture->have++] = bytes[taken++];
    return taken;
}

static int isWhole(const Capture *capture)
{
    return capture->have >= 3 && capture->have == wholeLength(capture);
}

/* Whether the filter passes the section that was gathered: a device compares the same bytes. */
static int passes(const Capture *capture)
{
    const psiSchInfo *filter = &capture->filter;
    const u8 *section = capture->section;
    return capture->have >= 12 && section[0] == filter->tableId && section[6] == filter->sectionNo &&
           (!filter->useIdExt || (section[3] << 8 | section[4]) == filter->tableIdExt) && (section[5] & 1);
}

/* Sections that begin in the packet, from `at` on; 1 when one that passes is whole. */
static int sectionsIn(Capture *capture)
{
    while (capture->at < CAPTURE_PACKET && (capture->inside || capture->packet[capture->at] != 0xFF)) {
        if (!capture->inside)
            capture->have = 0;
        capture->inside = 1;
        capture->at += gather(capture, capture->packet + capture->at, CAPTURE_PACKET - capture->at);
        if (!isWhole(capture))
            return 0;
        capture->inside = 0;
        if (passes(capture))
            return 1;
    }
    return 0;
}

/* The packet's payload: the rest of a section that began before, then the first new one, behind pointer_field. */
static int payload(Capture *capture)
{
    const u8 *packet = capture->packet;
    u32 at = HEADER;
    if (packet[3] & 0x20)
        at += 1u + packet[HEADER];
    if (!(packet[3] & 0x10) || at >= CAPTURE_PACKET)
        return 0;
    if (!(packet[1] & 0x40)) {
        capture->at = at;
        return capture->inside && sectionsIn(capture);
    }
    /* Where a new section begins, one that is not whole by now never will be. */
    capture->at = at + 1u + packet[at];
    if (capture->inside && capture->at <= CAPTURE_PACKET) {
        gather(capture, packet + at + 1, packet[at]);
        capture->inside = 0;
        if (isWhole(capture) && passes(capture))
            return 1;
    }
    capture->inside = 0;
    return sectionsIn(capture);
}

u8 sectionPackets(u16 pid, const u8 *section, u32 length, u8 *tsBuf)
{
    u8 count = 0;
    u32 done = 0;
    while (done < length) {
        u8 *packet = tsBuf + count * CAPTURE_PACKET;
        u32 at = HEADER, size;
        memset(packet, 0xFF, CAPTURE_PACKET);
        packet[0] = SYNC_BYTE;
        packet[1] = (u8)((count ? 0 : 0x40) | pid >> 8);
        packet[2] = (u8)pid;
        packet[3] = (u8)(0x10 | (count & 0x0F));
        if (!count)
            packet[at++] = 0; /* pointer_field */
        size = length - done < CAPTURE_PACKET - at ? length - done : CAPTURE_PACKET - at;
        memcpy(packet + at, section + done, size);
        done += size;
        count++;
    }
    return count;
}

/* A new filter begins a new lap; the same one armed again goes on in it. */
void captureFilterSet(Capture *capture, const psiSchInfo *info)
{
    const psiSchInfo *was = &capture->filter;
    if (!was->objId || was->pid != info->pid || was->tableId != info->tableId || was->sectionNo != info->sectionNo ||
        was->useIdExt != info->useIdExt || was->tableIdExt != info->tableIdExt) {
        capture->lapEnd = capture->played + capture->packetCount;
        capture->inside = 0;
        capture->waiting = 0;
    }
    capture->filter = *info;
}

i32 captureArm(psiSchInfo *info)
{
    captureFilterSet((Capture *)psiSchUserPointer(info->objId), info);
    return 0;
}

i32 captureSection(Capture *capture)
{
    u32 goes;
    for (goes = 0; goes < capture->goes; goes++) {
        int found = 0;
        if (capture->waiting) {
            found = sectionsIn(capture);
        } else if (lapIsOver(capture)) {
            return PSI_NO_TABLE;
        } else if (nextPacket(capture) != 0) {
            return PSI_DATA_ERROR;
        } else if (capture->packet[0] == SYNC_BYTE && (capture->packet[1] & 0x80) == 0 &&
                   ((capture->packet[1] & 0x1F) << 8 | capture->packet[2]) == capture->filter.pid) {
            found = payload(capture);
        }
        capture->waiting = (u8)found;
        if (found && capture->have <= (capture->filter.longSection ? CAPTURE_SECTION : 1024))
            return PSI_DATA_OK;
    }
    return PSI_DATA_NO_READY;
}

i32 captureRead(psiSchInfo *info, u8 *tsBuf, u8 *tsNum)
{
    Capture *capture = (Capture *)psiSchUserPointer(info->objId);
    i32 result = captureSection(capture);
    if (result == PSI_DATA_OK)
        *tsNum = sectionPackets(info->pid, capture->section, capture->have, tsBuf);
    else if (result == PSI_NO_TABLE)
        capture->filter.objId = 0; /* the next search begins a lap of its own */
    return result;
}
