#include "services/presentEvents.h"

#include "describe/sections.h"
#include "describe/systemTime.h"
#include "describe/times.h"

#include <algorithm>

namespace psitool {

using psi::demux::CollectedTable;
using psi::demux::Collector;

void visitSections(const Collector &collector, u8 tableId,
                   const std::function<void(const CollectedTable &, ByteView)> &visit)
{
    for (const CollectedTable *table : collector.tables()) {
        const psi::demux::TableVersion *version = table->tableId == tableId ? table->valid() : nullptr;
        if (!version)
            continue;
        for (const psi::demux::CollectedSection &section : version->sections)
            visit(*table, {section.bytes.data(), section.bytes.size()});
    }
}

Fields fieldsOf(ByteView section, const DescriptorContext &usual)
{
    return describeSection(section, tableKindOf(section[0]), usual).fields;
}

std::string textOf(const Fields &fields, const char *key)
{
    const Field *field = findField(fields, key);
    return field ? field->text : "";
}

Service *findService(std::vector<Service> &services, u64 number)
{
    const auto found =
        std::find_if(services.begin(), services.end(), [=](const Service &one) { return one.number == number; });
    return found == services.end() ? nullptr : &*found;
}

namespace {

constexpr u8 eitActual = 0x4E;
constexpr u8 atscEvents = 0xCB;
constexpr u8 systemTime = 0xCD;
constexpr u8 shortEventTag = 0x4D;

std::vector<Fields> eventsOf(ByteView section, const DescriptorContext &usual)
{
    const Fields fields = fieldsOf(section, usual);
    const Field *list = findField(fields, "events");
    return list ? list->items : std::vector<Fields>();
}

/* ---- DVB: section 0 has the present event, section 1 the following one, EN 300 468 5.2.4 ----------------------------
 */

Event dvbEvent(const Fields &fields)
{
    Event event{"", textOf(fields, "start_time")};
    const Field *loop = findField(fields, "descriptors");
    const ReadDescriptor *said = loop ? findDescriptor(loop->descriptors, shortEventTag) : nullptr;
    if (said)
        event.name = textOf(said->description.fields, "event_name");
    return event;
}

void takeDvbEvents(std::vector<Service> &services, const CollectedTable &table, ByteView section, u16 tsId,
                   const DescriptorContext &usual)
{
    constexpr std::size_t number = 6;
    Service *service = table.further >> 16 == tsId ? findService(services, table.extension) : nullptr;
    if (!service || section.size() <= number || section[number] > 1)
        return;
    const std::vector<Fields> events = eventsOf(section, usual);
    if (!events.empty())
        (section[number] == 0 ? service->now : service->next) = dvbEvent(events.front());
}

/* ---- ATSC: by the times of the events, A/65 6.1 and 6.5
 * ---------------------------------------------------------------
 */

/** The system time that came last; of 0 seconds when none came. */
SystemTime latestTime(const Collector &collector)
{
    SystemTime latest;
    visitSections(collector, systemTime, [&](const CollectedTable &, ByteView section) {
        const std::optional<SystemTime> time = systemTimeOf(section);
        if (time && time->seconds > latest.seconds)
            latest = *time;
    });
    return latest;
}

/** Where the MGT says that there is a guide. */
bool isGuide(const Collector &collector, u16 pid)
{
    const std::vector<psi::demux::PidUse> &uses = collector.uses().of(pid);
    return std::any_of(uses.begin(), uses.end(),
                       [](const psi::demux::PidUse &use) { return use.role == psi::demux::PidRole::guide; });
}

/** @param following when the event of `service->next` begins, 0: there is none yet */
void takeAtscEvent(Service &service, const Fields &fields, const SystemTime &time, u64 &following)
{
    const u64 start = numberOf(fields, "start_time", 0);
    const Event event{textOf(fields, "title"), gpsTimeText(static_cast<u32>(start), time.gpsUtcOffset) + " UTC"};
    if (start > time.seconds && (following == 0 || start < following)) {
        following = start;
        service.next = event;
    }
    if (start <= time.seconds && time.seconds - start < numberOf(fields, "length_in_seconds", 0))
        service.now = event;
}

void addAtscEvents(std::vector<Service> &services, const Collector &collector)
{
    const SystemTime time = latestTime(collector);
    std::map<u16, u64> following; // by service
    if (time.seconds == 0)
        return;
    visitSections(collector, atscEvents, [&](const CollectedTable &table, ByteView section) {
        if (!isGuide(collector, table.pid))
            return;
        for (const Fields &event : eventsOf(section, Standard::atsc))
            for (Service &service : services)
                if (service.sourceId == table.extension)
                    takeAtscEvent(service, event, time, following[service.number]);
    });
}

} // namespace

void addPresentEvents(std::vector<Service> &services, const Collector &collector, u16 tsId,
                      const DescriptorContext &usual)
{
    visitSections(collector, eitActual, [&](const CollectedTable &table, ByteView section) {
        takeDvbEvents(services, table, section, tsId, usual);
    });
    addAtscEvents(services, collector);
}

} // namespace psitool
