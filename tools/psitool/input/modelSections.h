/**
 * @file modelSections.h
 * @brief The sections that the library's model is made of.
 */
#ifndef PSITOOL_MODEL_SECTIONS_H
#define PSITOOL_MODEL_SECTIONS_H

#include "demux/collector.h"

namespace psitool {

/**
 * @brief The tables that hold, in a form that the library can fold into a model.
 *
 * It takes a VCT whole or not at all: channels of programs that the PAT does not have are left out of these copies, and
 * a cable VCT becomes a terrestrial one where there is no such.
 */
std::vector<psi::demux::Section> modelSections(const psi::demux::Collector &collector);

} // namespace psitool

#endif
