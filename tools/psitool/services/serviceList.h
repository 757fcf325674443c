/**
 * @file serviceList.h
 * @brief The services of a stream, as a viewer or a playlist knows them.
 */
#ifndef PSITOOL_SERVICE_LIST_H
#define PSITOOL_SERVICE_LIST_H

#include "demux/collector.h"
#include "describe/modelView.h"
#include "output/described.h"

#include <optional>
#include <string>
#include <vector>

namespace psitool {

/** @brief An elementary stream of a service. */
struct ServiceStream {
    u16 pid = 0;
    std::string kind; /**< "H.264/AVC video" */
    std::vector<std::string> languages;
};

/** @brief A service. */
struct Service {
    u16 number = 0; /**< program_number, service_id */
    bool inPat = true;
    std::string name;
    std::string provider;
    std::string type;
    std::string channel; /**< logical channel number, or "major.minor"; empty: none */
    bool scrambled = false;
    std::vector<ServiceStream> streams;
    std::string now;  /**< event_name of the present event; empty: unknown */
    std::string next; /**< of the following one */
};

/** @brief The programs of the PAT in its order, and behind them what only the SDT or the VCT names. */
std::vector<Service> serviceList(const psi::demux::Collector &collector, const ModelView &view);

/** @brief As columns, for people. */
std::string servicesText(const std::vector<Service> &services);
/** @brief As one JSON object (docs/json.md). */
std::string servicesJson(const std::string &input, const std::vector<Service> &services);
/** @brief As a playlist that players open. @param url of the input, as they know it */
std::string servicesM3u(const std::string &url, const std::vector<Service> &services);
/** @brief As lines of values between commas. RFC 4180. */
std::string servicesCsv(const std::vector<Service> &services);

} // namespace psitool

#endif
