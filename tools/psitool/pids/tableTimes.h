/**
 * @file tableTimes.h
 * @brief How often the tables of a stream come, how they changed, and which are missing.
 */
#ifndef PSITOOL_TABLE_TIMES_H
#define PSITOOL_TABLE_TIMES_H

#include "demux/collector.h"
#include "output/jsonParts.h"
#include "output/lineTree.h"

#include <string>

namespace psitool {

/** @brief A table's name, also of one that is not taken apart: "PMT", "EIT actual p/f", "table_id 0x90". */
std::string tableTitle(const psi::demux::CollectedTable &table);

/** @brief "22 to 401 ms (mean 168)"; empty when no interval is known. */
std::string intervalText(const psi::demux::Intervals &intervals);

/** @brief `shortest`, `mean` and `longest` in ms; null when no interval is known. */
Json intervalJson(const psi::demux::Intervals &intervals);

/** @brief Every table with its versions and intervals. */
LineTree tableTimesTree(const psi::demux::Collector &collector);
Json tableTimesJson(const psi::demux::Collector &collector);

/** @brief What was announced or begun and is not whole; no children when that is nothing. */
LineTree missingTree(const psi::demux::Collector &collector);
/** @brief The same for where nothing else can be shown. @return "" when none is missing */
std::string missingText(const psi::demux::Collector &collector, const Look &look);
Json missingJson(const psi::demux::Collector &collector);

} // namespace psitool

#endif
