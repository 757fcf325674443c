/**
 * @file packetizer.h
 * @brief Cuts a section into clean transport packets.
 */
#ifndef PSI_DEMUX_PACKETIZER_H
#define PSI_DEMUX_PACKETIZER_H

#include "psi.h"

namespace psi::demux {

/**
 * @brief Cut a section of up to 4096 bytes into packets: pointer_field 0, counters from 0, stuffing behind the end.
 * @param pid 13 bits
 * @param section table_id first
 * @param length 1..4096
 * @param packets room for (length + 184) / 184 packets of 188 bytes: 6 for 1024 bytes, 23 for 4096
 * @return the number of packets
 *
 * psiSectionToTs() does the same for sections up to 1024 bytes.
 */
u8 packetize(u16 pid, const u8 *section, u16 length, u8 *packets);

} // namespace psi::demux

#endif // PSI_DEMUX_PACKETIZER_H
