/**
 * @file tableIds.h
 * @brief Numbers of the tables that edits know, and where they come.
 */
#ifndef PSITOOL_TABLE_IDS_H
#define PSITOOL_TABLE_IDS_H

#include "demux/demux.h"

namespace psitool {

constexpr u16 patPid = psi::demux::kPatPid;
constexpr u16 catPid = 0x0001;
constexpr u16 sdtPid = psi::demux::kSdtPid;
constexpr u16 psipPid = psi::demux::kPsipPid;
constexpr u8 patTable = 0x00;
constexpr u8 catTable = 0x01;
constexpr u8 pmtTable = 0x02;
constexpr u8 nitTable = 0x40;
constexpr u8 nitOtherTable = 0x41;
constexpr u8 sdtTable = 0x42;
constexpr u8 batTable = 0x4A;
constexpr u8 mgtTable = 0xC7;
constexpr u8 terrestrialVctTable = 0xC8;
constexpr u8 cableVctTable = 0xC9;

} // namespace psitool

#endif
