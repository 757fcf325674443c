/**
 * @file pidList.h
 * @brief What each PID of a stream is and carries, how often its tables come, and which are missing.
 */
#ifndef PSITOOL_PID_LIST_H
#define PSITOOL_PID_LIST_H

#include "demux/collector.h"
#include "describe/modelView.h"
#include "output/described.h"
#include "output/jsonParts.h"
#include "output/lineTree.h"

namespace psitool {

/** @brief A PID that was seen. */
struct PidLine {
    psi::demux::PidStatistics statistics;
    std::vector<std::string> uses; /**< what it is; empty: no table says so */
    double share = 0;              /**< of all packets, 0 to 1 */
    double bitrate = 0;            /**< bit/s; 0: nobody knows */
};

/** @brief Every PID that was seen, in ascending order. */
std::vector<PidLine> pidLines(const psi::demux::Collector &collector, const ModelView &view);

/** @brief A table's name, also of one that is not taken apart: "PMT", "EIT", "table_id 0x90". */
std::string tableTitle(u8 tableId);

/** @brief "PMT, program_number 0x0001 (1), PID 0x1234 (4660): incomplete (2 of 3 sections)". */
std::string missingText(const psi::demux::MissingTable &table);

/** @brief The reason alone: "incomplete (2 of 3 sections)". */
std::string reasonText(const psi::demux::MissingTable &table);

/** @brief "22 to 401 ms (mean 168)"; empty when no interval is known. */
std::string intervalText(const psi::demux::Intervals &intervals);

/** @brief "1.995 s", "35 ms". */
std::string durationText(double seconds);

/** @brief "38.015 Mbit/s", "15.9 kbit/s". */
std::string bitrateText(double bitrate);

/** @brief The PIDs as lines, one each, under a headline. */
LineTree pidTree(const std::vector<PidLine> &lines);

/** @brief Every table with its versions and intervals. */
LineTree tableTimesTree(const psi::demux::Collector &collector);

/** @brief What was announced or begun and is not whole; no children when that is nothing. */
LineTree missingTree(const psi::demux::Collector &collector);

Json pidsJson(const std::vector<PidLine> &lines);
Json tableTimesJson(const psi::demux::Collector &collector);
Json missingJson(const psi::demux::Collector &collector);

} // namespace psitool

#endif
