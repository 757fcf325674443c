/**
 * @file tableIds.h
 * @brief table_id values that the demultiplexer itself knows; ISO/IEC 13818-1 2.4.4.4, EN 300 468 5.1.3, A/65 4.2.
 */
#ifndef PSI_DEMUX_TABLE_IDS_H
#define PSI_DEMUX_TABLE_IDS_H

#include "psi.h"

namespace psi::demux {

constexpr u8 kPat = 0x00;              /**< program association */
constexpr u8 kCat = 0x01;              /**< conditional access */
constexpr u8 kPmt = 0x02;              /**< program map */
constexpr u8 kNitActual = 0x40;        /**< network information, the actual network */
constexpr u8 kNitOther = 0x41;         /**< network information of another one */
constexpr u8 kSdtActual = 0x42;        /**< service description, the actual transport stream */
constexpr u8 kSdtOther = 0x46;         /**< service description of another one */
constexpr u8 kBat = 0x4A;              /**< bouquet association */
constexpr u8 kFirstShortTable = 0x70;  /**< the TDT; those below have the long form */
constexpr u8 kMgt = 0xC7;              /**< master guide */
constexpr u8 kTerrestrialVct = 0xC8;   /**< virtual channels, terrestrial */
constexpr u8 kCableVct = 0xC9;         /**< virtual channels, cable */
constexpr u8 kEventInformation = 0xCB; /**< events of ATSC */
constexpr u8 kExtendedText = 0xCC;     /**< texts of ATSC */
constexpr u8 kStt = 0xCD;              /**< system time of ATSC */

} // namespace psi::demux

#endif // PSI_DEMUX_TABLE_IDS_H
