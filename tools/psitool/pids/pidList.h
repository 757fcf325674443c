/**
 * @file pidList.h
 * @brief What each PID of a stream is and carries.
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
    bool isClock = false;          /**< a PMT says that PCRs are here */
    psi::demux::Intervals pcrIntervals;
};

/** @brief Every PID that was seen, in ascending order. */
std::vector<PidLine> pidLines(const psi::demux::Collector &collector, const ModelView &view);

/** @brief PIDs that another table names and that carry no packet; with their uses alone. */
std::vector<PidLine> absentPids(const psi::demux::Collector &collector, const ModelView &view);

/** @brief The PIDs as lines, one each, under a headline. */
LineTree pidTree(const std::vector<PidLine> &lines);

Json pidsJson(const std::vector<PidLine> &lines);

/** @brief Those that did not come, under a headline; no children when there are none. */
LineTree absentPidTree(const std::vector<PidLine> &lines);
Json absentPidsJson(const std::vector<PidLine> &lines);

} // namespace psitool

#endif
