#include "services/serviceList.h"

#include "describe/parsedSection.h"
#include "describe/sections.h"
#include "describe/text.h"
#include "output/lineTree.h"
#include "services/presentEvents.h"

#include <algorithm>
#include <functional>
#include <set>

namespace psitool {

namespace {

using psi::demux::CollectedTable;
using psi::demux::Collector;

constexpr u8 nitActual = 0x40;
constexpr u8 sdtActual = 0x42;
constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;
constexpr u8 serviceTag = 0x48;

/** What the services' streams are looked up in. */
struct SeenStreams {
    const ModelView &view;
    const StreamFormats *formats;
    std::set<u16> scrambled; /**< PIDs */
};

std::set<u16> scrambledPids(const Collector &collector)
{
    std::set<u16> pids;
    for (const psi::demux::PidStatistics &pid : collector.pids())
        if (pid.scrambledPackets > 0)
            pids.insert(pid.pid);
    return pids;
}

/** Nothing when nobody says so: no SDT, no PMT, and no packet of its streams. */
std::optional<bool> isScrambled(const ModelView &view, const progInfo &program,
                                const std::vector<ServiceStream> &streams)
{
    const bool packets = std::any_of(streams.begin(), streams.end(), [](const auto &one) { return one.scrambled; });
    if (program.ca_mode != 0 || program.caFlag != 0 || packets)
        return true;
    return view.hasService(program) || program.pmtValid != 0 ? std::optional(false) : std::nullopt;
}

/** A stream_type that has two meanings: what has headers of sound is no subtitles. */
constexpr u8 soundOrSubtitles = 0x82;

std::vector<ServiceStream> streamsOf(const SeenStreams &seen, const progInfo &program)
{
    std::vector<ServiceStream> streams;
    for (const esInfo &one : nodes(program.esList)) {
        ServiceStream stream;
        stream.pid = one.esPid;
        stream.kind = seen.view.streamKind(program, one);
        stream.languages = seen.view.streamLanguages(program, one);
        stream.scrambled = seen.scrambled.count(one.esPid) != 0;
        if (const psi::demux::StreamFormat *format = seen.formats ? seen.formats->of(one.esPid) : nullptr)
            stream.format = *format;
        if (one.esType == soundOrSubtitles && stream.format)
            stream.kind = std::string(stream.format->coding) + " audio";
        streams.push_back(std::move(stream));
    }
    return streams;
}

/** One that is not of the standard has a number, not a name. */
std::string typeText(u8 type, const DescriptorContext &usual)
{
    const std::string name = serviceTypeName(type, usual);
    return name == "user defined" ? name + " " + hex(type, 2) : name;
}

void takeServiceDescriptor(Service &service, const std::vector<ReadDescriptor> &descriptors,
                           const DescriptorContext &usual)
{
    for (const ReadDescriptor &descriptor : descriptors)
        if (descriptor.tag == serviceTag) {
            const Fields &fields = descriptor.description.fields;
            service.name = textOf(fields, "service_name");
            service.provider = textOf(fields, "service_provider_name");
            service.type = typeText(static_cast<u8>(numberOf(fields, "service_type", 0)), usual);
        }
}

Service ofProgram(const SeenStreams &seen, const progInfo &program)
{
    const ModelView &view = seen.view;
    Service service;
    service.number = program.progNo;
    service.hasPmt = program.pmtValid != 0;
    service.name = view.serviceName(program).utf8;
    service.provider = view.providerName(program).utf8;
    if (view.hasChannel(program)) {
        service.type = channelServiceTypeName(program.service_type);
        service.sourceId = program.source_id;
        service.channel =
            std::to_string(program.major_channel_number) + "." + std::to_string(program.minor_channel_number);
    } else if (view.hasService(program)) {
        service.type = typeText(program.prog_type, view.context());
    } else { // feeds without an SDT may name their service in the PMT
        takeServiceDescriptor(service, view.pmtDescriptors(program), view.context());
    }
    service.streams = streamsOf(seen, program);
    service.scrambled = isScrambled(view, program, service.streams);
    return service;
}

Service fromSdt(const psiSdtService &said, const DescriptorContext &usual)
{
    Service service;
    service.number = said.service_id;
    service.inPat = false;
    service.scrambled = said.free_CA_mode != 0;
    takeServiceDescriptor(service, readDescriptors(said.service_descriptor, usual), usual);
    return service;
}

/** Services of the SDT that the PAT does not have. */
void addFromSdt(std::vector<Service> &services, ByteView section, DescriptorContext usual)
{
    const ParsedSection<sdtSection> sdt(PSI_SDT_ACTUAL, section);
    usual.standard = Standard::dvb;
    for (const psiSdtService &one : nodes(sdt ? sdt->service_info : nullptr))
        if (!findService(services, one.service_id))
            services.push_back(fromSdt(one, usual));
}

/** Channels of the VCT that the PAT does not have: of other streams, or hidden ones. */
void addFromVct(std::vector<Service> &services, ByteView section)
{
    const Fields fields = fieldsOf(section, Standard::atsc);
    const Field *list = findField(fields, "channels");
    for (const Fields &entry : list ? list->items : std::vector<Fields>()) {
        const u16 number = static_cast<u16>(numberOf(entry, "program_number", 0));
        if (findService(services, number))
            continue;
        Service service;
        service.number = number;
        service.inPat = false;
        service.name = textOf(entry, "short_name");
        service.sourceId = static_cast<u16>(numberOf(entry, "source_id", 0));
        service.channel = std::to_string(numberOf(entry, "major_channel_number", 0)) + "." +
                          std::to_string(numberOf(entry, "minor_channel_number", 0));
        service.type = channelServiceTypeName(static_cast<u8>(numberOf(entry, "service_type", 0)));
        services.push_back(std::move(service));
    }
}

/** Logical channel numbers, whoever's descriptor they stand in. */
void takeChannelNumbers(std::vector<Service> &services, const Fields &fields)
{
    const Field *id = findField(fields, "service_id");
    const Field *channel = findField(fields, "logical_channel_number");
    Service *service = id && channel ? findService(services, id->number) : nullptr;
    if (service && service->channel.empty())
        service->channel = std::to_string(channel->number);
    for (const Field &field : fields) {
        for (const Fields &item : field.items)
            takeChannelNumbers(services, item);
        for (const ReadDescriptor &descriptor : field.descriptors)
            takeChannelNumbers(services, descriptor.description.fields);
    }
}

void addFromTables(std::vector<Service> &services, const Collector &collector, const DescriptorContext &usual)
{
    visitSections(collector, sdtActual,
                  [&](const CollectedTable &, ByteView section) { addFromSdt(services, section, usual); });
    for (const u8 vct : {terrestrialVct, cableVct})
        visitSections(collector, vct, [&](const CollectedTable &, ByteView section) { addFromVct(services, section); });
}

void takeChannelNumbers(std::vector<Service> &services, const Collector &collector, const DescriptorContext &usual)
{
    visitSections(collector, nitActual, [&](const CollectedTable &, ByteView section) {
        takeChannelNumbers(services, fieldsOf(section, usual));
    });
}

} // namespace

std::vector<Service> serviceList(const Collector &collector, const ModelView &view, const StreamFormats *formats)
{
    const SeenStreams seen{view, formats, scrambledPids(collector)};
    std::vector<Service> services;
    for (const progInfo &program : nodes(view.model().progList))
        services.push_back(ofProgram(seen, program));
    const u16 tsId = collector.uses().transportStream().value_or(view.model().tsId);
    addFromTables(services, collector, view.context());
    takeChannelNumbers(services, collector, view.context());
    addPresentEvents(services, collector, tsId, view.context());
    return services;
}

std::vector<Service> otherServices(const Collector &collector, const ModelView &view)
{
    std::vector<Service> services;
    for (const progInfo &program : nodes(view.model().progList)) {
        services.emplace_back();
        services.back().number = program.progNo;
    }
    const std::size_t programs = services.size();
    addFromTables(services, collector, view.context());
    services.erase(services.begin(), services.begin() + static_cast<std::ptrdiff_t>(programs));
    if (!services.empty())
        takeChannelNumbers(services, collector, view.context());
    return services;
}

} // namespace psitool
