/**
 * @file serviceForms.h
 * @brief A list of services in the forms in which it is written.
 */
#ifndef PSITOOL_SERVICE_FORMS_H
#define PSITOOL_SERVICE_FORMS_H

#include "output/look.h"
#include "services/serviceList.h"

namespace psitool {

/** @brief How the list is written. */
enum class ServiceForm { text, json, m3u, csv };

/** @brief What the list is sorted by; services that are alike in it stay in their order. */
enum class ServiceOrder { stream, number, channel, name };

/** @brief Sort a list; services without a channel or a name go last. */
void sortServices(std::vector<Service> &services, ServiceOrder order);

/** @brief As lines, for people. */
std::string servicesText(const std::vector<Service> &services, const Look &look);
/** @brief One as a JSON object (docs/json.md). */
Json serviceJson(const Service &service);
/** @brief The list as one JSON object. */
std::string servicesJson(const std::string &input, const std::vector<Service> &services);
/**
 * @brief As a playlist that players open: services of the PAT that may be seen or heard.
 * @param input a file, which stands in the list with its whole path, or a URL as psitool knows it
 */
std::string servicesM3u(const std::string &input, const std::vector<Service> &services);
/** @brief As lines of values between commas, RFC 4180. */
std::string servicesCsv(const std::vector<Service> &services);

} // namespace psitool

#endif
