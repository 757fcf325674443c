/**
 * @file serviceList.h
 * @brief The services of a stream, as a viewer or a playlist knows them.
 */
#ifndef PSITOOL_SERVICE_LIST_H
#define PSITOOL_SERVICE_LIST_H

#include "demux/collector.h"
#include "describe/modelView.h"
#include "output/described.h"
#include "services/streamFormats.h"

#include <optional>
#include <string>
#include <vector>

namespace psitool {

/** @brief An elementary stream of a service. */
struct ServiceStream {
    u16 pid = 0;
    std::string kind; /**< "H.264/AVC video" */
    std::vector<std::string> languages;
    bool scrambled = false;                         /**< a scrambled packet of it came */
    std::optional<psi::demux::StreamFormat> format; /**< by its first headers */
};

/** @brief An event of a guide. */
struct Event {
    std::string name;  /**< empty: unknown */
    std::string start; /**< "2017-02-15 12:00:00", of ATSC with " UTC" behind it; empty: unknown */
};

/** @brief A service. */
struct Service {
    u16 number = 0; /**< program_number, service_id */
    bool inPat = true;
    bool hasPmt = false;
    std::string name;
    std::string provider;
    std::string type;
    std::string channel;           /**< logical channel number, or "major.minor"; empty: none */
    std::optional<bool> scrambled; /**< nothing: nobody says */
    std::vector<ServiceStream> streams;
    Event now;                   /**< the present event */
    Event next;                  /**< the following one */
    std::optional<u16> sourceId; /**< of an ATSC channel: what its events are found by */
};

/**
 * @brief The programs of the PAT in its order, and behind them what only the SDT or the VCT names.
 * @param formats of their streams, or null
 */
std::vector<Service> serviceList(const psi::demux::Collector &collector, const ModelView &view,
                                 const StreamFormats *formats);

/** @brief Those of them that the PAT does not have: only the SDT or the VCT names them. */
std::vector<Service> otherServices(const psi::demux::Collector &collector, const ModelView &view);

} // namespace psitool

#endif
