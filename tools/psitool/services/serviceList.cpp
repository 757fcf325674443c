#include "services/serviceList.h"

#include "describe/sections.h"
#include "describe/text.h"
#include "output/jsonParts.h"
#include "output/lines.h"

#include <algorithm>
#include <functional>

namespace psitool {

namespace {

using psi::demux::CollectedSection;
using psi::demux::CollectedTable;
using psi::demux::Collector;

constexpr u8 nitActual = 0x40;
constexpr u8 sdtActual = 0x42;
constexpr u8 eitActual = 0x4E;
constexpr u8 terrestrialVct = 0xC8;
constexpr u8 cableVct = 0xC9;
constexpr u8 serviceTag = 0x48;
constexpr u8 shortEventTag = 0x4D;

/** Calls `visit` with every section of the tables of a table_id that hold. */
void visitSections(const Collector &collector, u8 tableId,
                   const std::function<void(const CollectedTable &, ByteView)> &visit)
{
    for (const CollectedTable *table : collector.tables()) {
        const psi::demux::TableVersion *version = table->tableId == tableId ? table->valid() : nullptr;
        if (!version)
            continue;
        for (const CollectedSection &section : version->sections)
            visit(*table, {section.bytes.data(), section.bytes.size()});
    }
}

Fields fieldsOf(ByteView section)
{
    return describeSection(section, tableKindOf(section[0]), Standard::unknown).fields;
}

std::string textOf(const Fields &fields, const char *key)
{
    const Field *field = findField(fields, key);
    return field ? field->text : "";
}

Service *find(std::vector<Service> &services, u64 number)
{
    const auto found =
        std::find_if(services.begin(), services.end(), [=](const Service &one) { return one.number == number; });
    return found == services.end() ? nullptr : &*found;
}

Service ofProgram(const ModelView &view, const progInfo &program)
{
    Service service;
    service.number = program.progNo;
    service.name = view.serviceName(program).utf8;
    service.provider = ModelView::providerName(program).utf8;
    if (view.hasChannel(program)) {
        service.type = channelServiceTypeName(program.service_type);
        service.channel =
            std::to_string(program.major_channel_number) + "." + std::to_string(program.minor_channel_number);
    } else if (view.hasService(program)) {
        service.type = serviceTypeName(program.prog_type);
    }
    service.scrambled = program.ca_mode != 0 || program.caFlag != 0;
    for (const esInfo &stream : nodes(program.esList))
        service.streams.push_back(
            {stream.esPid, view.streamKind(program, stream), view.streamLanguages(program, stream)});
    return service;
}

/** Services of the SDT that the PAT does not have. */
void addFromSdt(std::vector<Service> &services, ByteView section)
{
    const Fields fields = fieldsOf(section);
    const Field *list = findField(fields, "services");
    for (const Fields &entry : list ? list->items : std::vector<Fields>()) {
        const u16 number = static_cast<u16>(numberOf(entry, "service_id", 0));
        if (find(services, number))
            continue;
        Service service;
        service.number = number;
        service.inPat = false;
        service.scrambled = numberOf(entry, "free_CA_mode", 0) != 0;
        const Field *loop = findField(entry, "descriptors");
        for (const ReadDescriptor &descriptor : loop ? loop->descriptors : std::vector<ReadDescriptor>())
            if (descriptor.tag == serviceTag) {
                const Fields &said = descriptor.description.fields;
                service.name = textOf(said, "service_name");
                service.provider = textOf(said, "service_provider_name");
                service.type = serviceTypeName(static_cast<u8>(numberOf(said, "service_type", 0)));
            }
        services.push_back(std::move(service));
    }
}

/** Channels of the VCT that the PAT does not have: of other streams, or hidden ones. */
void addFromVct(std::vector<Service> &services, ByteView section)
{
    const Fields fields = fieldsOf(section);
    const Field *list = findField(fields, "channels");
    for (const Fields &entry : list ? list->items : std::vector<Fields>()) {
        const u16 number = static_cast<u16>(numberOf(entry, "program_number", 0));
        if (find(services, number))
            continue;
        Service service;
        service.number = number;
        service.inPat = false;
        service.name = textOf(entry, "short_name");
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
    Service *service = id && channel ? find(services, id->number) : nullptr;
    if (service && service->channel.empty())
        service->channel = std::to_string(channel->number);
    for (const Field &field : fields) {
        for (const Fields &item : field.items)
            takeChannelNumbers(services, item);
        for (const ReadDescriptor &descriptor : field.descriptors)
            takeChannelNumbers(services, descriptor.description.fields);
    }
}

/** The name of an EIT section's first event, EN 300 468 5.2.4: section 0 has the present one, section 1 the next. */
std::string eventName(ByteView section)
{
    constexpr std::size_t header = 14;
    constexpr std::size_t crcBytes = 4;
    constexpr std::size_t fixed = 10;
    if (section.size() < header + crcBytes)
        return "";
    ByteReader reader(section.part(header, section.size() - header - crcBytes));
    reader.bytes(fixed);
    const u16 length = reader.u16Field() & 0x0FFF;
    for (const ReadDescriptor &descriptor : readDescriptors(reader.bytes(length), {Standard::dvb, 0, 0}))
        if (descriptor.tag == shortEventTag)
            return textOf(descriptor.description.fields, "event_name");
    return "";
}

void takeEvents(std::vector<Service> &services, const CollectedTable &table, ByteView section, u16 tsId)
{
    constexpr std::size_t number = 6;
    Service *service = table.further >> 16 == tsId ? find(services, table.extension) : nullptr;
    if (!service || section.size() <= number)
        return;
    if (section[number] == 0)
        service->now = eventName(section);
    else if (section[number] == 1)
        service->next = eventName(section);
}

std::vector<std::string> languagesOf(const Service &service)
{
    std::vector<std::string> all;
    for (const ServiceStream &stream : service.streams)
        for (const std::string &language : stream.languages)
            if (std::find(all.begin(), all.end(), language) == all.end())
                all.push_back(language);
    return all;
}

std::string streamsText(const Service &service, const char *separator)
{
    std::vector<std::string> parts;
    for (const ServiceStream &stream : service.streams)
        parts.push_back(stream.kind + (stream.languages.empty() ? "" : " " + joined(stream.languages, "/")));
    return joined(parts, separator);
}

/** In quotation marks, those within it doubled. */
std::string csvText(const std::string &text)
{
    std::string quotedText = "\"";
    for (const char letter : text)
        quotedText += letter == '"' ? "\"\"" : std::string(1, letter);
    return quotedText + "\"";
}

} // namespace

std::vector<Service> serviceList(const Collector &collector, const ModelView &view)
{
    std::vector<Service> services;
    for (const progInfo &program : nodes(view.model().progList))
        services.push_back(ofProgram(view, program));
    const u16 tsId = collector.uses().transportStream().value_or(view.model().tsId);
    visitSections(collector, sdtActual,
                  [&](const CollectedTable &, ByteView section) { addFromSdt(services, section); });
    for (const u8 vct : {terrestrialVct, cableVct})
        visitSections(collector, vct, [&](const CollectedTable &, ByteView section) { addFromVct(services, section); });
    visitSections(collector, nitActual,
                  [&](const CollectedTable &, ByteView section) { takeChannelNumbers(services, fieldsOf(section)); });
    visitSections(collector, eitActual,
                  [&](const CollectedTable &table, ByteView section) { takeEvents(services, table, section, tsId); });
    return services;
}

std::string servicesText(const std::vector<Service> &services)
{
    std::string text;
    for (const Service &service : services) {
        std::vector<std::string> parts;
        if (!service.channel.empty())
            parts.push_back("channel " + service.channel);
        if (!service.type.empty())
            parts.push_back(service.type);
        if (!service.provider.empty())
            parts.push_back("\"" + service.provider + "\"");
        parts.emplace_back(service.scrambled ? "scrambled" : "free");
        if (!service.inPat)
            parts.emplace_back("not in the PAT");
        text += padded(hexDec(service.number), 15) + (service.name.empty() ? "(no name)" : "\"" + service.name + "\"") +
                ": " + joined(parts, ", ") + "\n";
        const std::string indent(15, ' ');
        if (!service.streams.empty())
            text += indent + streamsText(service, ", ") + "\n";
        if (!service.now.empty() || !service.next.empty())
            text += indent + "now \"" + service.now + "\", next \"" + service.next + "\"\n";
    }
    return text;
}

std::string servicesJson(const std::string &input, const std::vector<Service> &services)
{
    constexpr int schemaVersion = 1;
    Json array = Json::array();
    for (const Service &service : services) {
        Json streams = Json::array();
        for (const ServiceStream &stream : service.streams)
            streams.push_back({{"pid", stream.pid}, {"kind", stream.kind}, {"languages", stream.languages}});
        array.push_back({{"number", service.number},
                         {"in_pat", service.inPat},
                         {"name", service.name},
                         {"provider", service.provider},
                         {"type", service.type},
                         {"channel", service.channel},
                         {"scrambled", service.scrambled},
                         {"languages", languagesOf(service)},
                         {"streams", streams},
                         {"now", service.now},
                         {"next", service.next}});
    }
    Json object;
    object["psitool"] = {{"schema", "services"}, {"schema_version", schemaVersion}};
    object["input"] = {{"name", input}};
    object["services"] = array;
    return jsonText(object);
}

std::string servicesM3u(const std::string &url, const std::vector<Service> &services)
{
    std::string text = "#EXTM3U\n";
    for (const Service &service : services) {
        if (!service.inPat)
            continue;
        const std::string name = service.name.empty() ? "Program " + std::to_string(service.number) : service.name;
        text +=
            "#EXTINF:-1" + (service.channel.empty() ? "" : " tvg-chno=\"" + service.channel + "\"") + "," + name + "\n";
        text += "#EXTVLCOPT:program=" + std::to_string(service.number) + "\n" + url + "\n";
    }
    return text;
}

std::string servicesCsv(const std::vector<Service> &services)
{
    std::string text = "number,channel,name,provider,type,scrambled,in PAT,languages,streams,now,next\r\n";
    for (const Service &service : services)
        text += std::to_string(service.number) + "," + service.channel + "," + csvText(service.name) + "," +
                csvText(service.provider) + "," + csvText(service.type) + "," + (service.scrambled ? "yes" : "no") +
                "," + (service.inPat ? "yes" : "no") + "," + csvText(joined(languagesOf(service), " ")) + "," +
                csvText(streamsText(service, "; ")) + "," + csvText(service.now) + "," + csvText(service.next) + "\r\n";
    return text;
}

} // namespace psitool
