/**
 * @file presentEvents.h
 * @brief What is on now and next: the guides of DVB and ATSC.
 */
#ifndef PSITOOL_PRESENT_EVENTS_H
#define PSITOOL_PRESENT_EVENTS_H

#include "services/serviceList.h"

#include <functional>

namespace psitool {

/** @brief Call `visit` with every section of the tables of a table_id that hold. */
void visitSections(const psi::demux::Collector &collector, u8 tableId,
                   const std::function<void(const psi::demux::CollectedTable &, ByteView)> &visit);

/** @brief The fields of a section, by its table_id. @param usual how those of the stream are read */
Fields fieldsOf(ByteView section, const DescriptorContext &usual);

/** @brief What a field says, "" when it is not there. */
std::string textOf(const Fields &fields, const char *key);

/** @brief The service of a number. @return null when there is none */
Service *findService(std::vector<Service> &services, u64 number);

/**
 * @brief Put in the present and the following events: of DVB by the EIT present/following of the actual stream, of ATSC
 * by the EITs that the MGT announces, the source_id of the channel, and the system time that came last.
 * @param tsId transport_stream_id
 * @param usual how the stream's texts are read
 */
void addPresentEvents(std::vector<Service> &services, const psi::demux::Collector &collector, u16 tsId,
                      const DescriptorContext &usual);

} // namespace psitool

#endif
