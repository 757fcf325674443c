/**
 * @file captureFilter.h
 * @brief A section filter over recorded packets: the two demultiplexer callbacks of a host, for the examples.
 *
 * It stands where a device's filter stands in a product. A capture is one reader of one recording; give every search
 * object one of its own, as its user pointer: psiSchUserPointerSet(object, &capture).
 */
#ifndef CAPTURE_FILTER_H
#define CAPTURE_FILTER_H

#include <psi.h>
#include <stdio.h>

#define CAPTURE_PACKET  188
#define CAPTURE_SECTION 4096 /* longest section, that of an emergency table */

typedef struct Capture {
    FILE *file;        /* the recording, or null for packets in memory */
    const u8 *packets; /* these, then */
    u32 packetCount;   /* and so many */
    u32 next;          /* number of the packet that is read next */
    u32 played;        /* packets read since the capture was opened, over all laps */
    u32 goes;          /* packets looked at in one read callback; to be changed by who likes */
    u8 once;           /* 1: a live stream is played: it ends where the recording does */
    psiSchInfo filter; /* what the library asked for last */
    u32 lapEnd;        /* value of `played` at which everything was seen once since then */
    u8 section[CAPTURE_SECTION];
    u32 have;   /* bytes gathered */
    u8 inside;  /* 1: a section has begun and is gathered */
    u8 waiting; /* 1: bytes of the last packet behind its section are not yet looked at */
    u8 packet[CAPTURE_PACKET];
    u32 at; /* place of those bytes in the packet */
} Capture;

/** @brief Read from a file of 188-byte packets. @return 0, or -1 when it cannot be opened or holds no packet */
i32 captureOpen(Capture *capture, const char *name);

/** @brief Read from packets in memory, which stay the caller's. */
void captureOpenPackets(Capture *capture, const u8 *packets, u32 packetCount);

void captureClose(Capture *capture);

/** @brief Whether a recording that is played once is over. */
int captureEnded(const Capture *capture);

/** @brief Set the filter. @param info what a section has to be; its `objId` is not 0 */
void captureFilterSet(Capture *capture, const psiSchInfo *info);

/**
 * @brief Go on to the next section that the filter passes; it is in `section`, `have` bytes of it, then.
 * @return PSI_DATA_OK, PSI_DATA_NO_READY, PSI_NO_TABLE at the end of the lap, or PSI_DATA_ERROR
 */
i32 captureSection(Capture *capture);

/**
 * @brief Cut a section of any length into packets, as psiSectionToTs() does for those up to 1024 bytes.
 * @param tsBuf room for 7 packets, for sections above 1024 bytes 24
 * @return the number of packets
 */
u8 sectionPackets(u16 pid, const u8 *section, u32 length, u8 *tsBuf);

/** @name For psiSchRegisterInfo
 * A table is absent (PSI_NO_TABLE) when the recording was gone through once, from where it stood and round its end,
 * without a section that the filter passes.
 * @{
 */
i32 captureArm(psiSchInfo *info);
i32 captureRead(psiSchInfo *info, u8 *tsBuf, u8 *tsNum);
/** @} */

#endif
