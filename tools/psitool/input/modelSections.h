/**
 * @file modelSections.h
 * @brief The sections that the library's model is made of.
 */
#ifndef PSITOOL_MODEL_SECTIONS_H
#define PSITOOL_MODEL_SECTIONS_H

#include "input/acquire.h"

#include "demux/collector.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace psitool {

/**
 * @brief The tables that hold, in a form that the library can fold into a model.
 *
 * It takes a VCT whole or not at all: channels of programs that the PAT does not have are left out of these copies, and
 * a cable VCT becomes a terrestrial one where there is no such.
 */
std::vector<psi::demux::Section> modelSections(const psi::demux::Collector &collector);

/** @brief The same of sections that come from elsewhere. @param programs those of the PAT, and the PIDs of their PMTs
 */
std::vector<psi::demux::Section> modelSections(std::vector<psi::demux::Section> sections,
                                               const std::map<u16, u16> &programs);

/** @brief True for a section of a virtual channel table, terrestrial or cable. A/65 6.3 */
bool isVct(const psi::demux::Section &section);

/**
 * @brief The library's model of such sections, in the object of a host.
 *
 * @param networkPid that of the NIT by the PAT: the library takes NITs from PID 0x0010, so one on another goes there
 * for it where there is none of its table_id
 * @param name stands in messages
 */
std::unique_ptr<psi::demux::Host> modelHost(std::vector<psi::demux::Section> sections, u16 networkPid,
                                            const std::string &name, ScanStandard standard);

} // namespace psitool

#endif
