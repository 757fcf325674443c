/*
 * The device of docs/guide.md: its section filters run over a recording, and its clock moves by being read and slept
 * on.
 */
#include "captureFilter.h"

#include <string.h>

int deviceFilterSet(u32 tuner, u16 pid, const u8 match[8], const u8 mask[8]);
int deviceSectionRead(u32 tuner, u8 *section, u32 size);
void deviceSleep(u32 ms);
u32 deviceMs(void);

static Capture captures[2];
static u32 now;

int deviceFilterSet(u32 tuner, u16 pid, const u8 match[8], const u8 mask[8])
{
    Capture *capture = &captures[tuner];
    psiSchInfo filter;
    memset(&filter, 0, sizeof filter);
    filter.objId = 1;
    filter.pid = pid;
    filter.tableId = match[0];
    filter.tableIdExt = (u16)(match[3] << 8 | match[4]);
    filter.useIdExt = mask[3] == 0xFF;
    filter.sectionNo = match[6];
    filter.longSection = 1;
    if (!capture->file && captureOpen(capture, GUIDE_STREAM) != 0)
        return -1;
    captureFilterSet(capture, &filter);
    return 0;
}

int deviceSectionRead(u32 tuner, u8 *section, u32 size)
{
    Capture *capture = &captures[tuner];
    if (captureSection(capture) != PSI_DATA_OK || capture->have > size)
        return 0;
    memcpy(section, capture->section, capture->have);
    return (int)capture->have;
}

void deviceSleep(u32 ms)
{
    now += ms;
}

u32 deviceMs(void)
{
    return now;
}
