#include "services/services.h"

#include "pids/tableTimes.h"

namespace psitool {

namespace {

/** How long a live input is listened to for the sake of formats: as long as the longest usual group of pictures. */
constexpr double formatPatience = 5;

std::string written(ServiceForm form, const Collected &collected, const std::vector<Service> &services,
                    const Look &look)
{
    const std::string &input = collected.input.name;
    switch (form) {
    case ServiceForm::json:
        return servicesJson(input, services);
    case ServiceForm::m3u:
        return servicesM3u(input, services);
    case ServiceForm::csv:
        return servicesCsv(services);
    default:
        return services.empty() ? missingText(collected.collector, look) : servicesText(services, look);
    }
}

} // namespace

ExitStatus runServices(const ServicesOptions &options, Output &output)
{
    if (options.form == ServiceForm::m3u && options.input == "-") {
        reportError("a playlist needs a file or an address, and standard input has none");
        return exitWrongUse;
    }
    std::optional<StreamFormats> formats;
    CollectOptions collecting = options;
    collecting.listen.awaitsMore = [&formats](double seconds) {
        return seconds < formatPatience && !formats->complete();
    };
    return showCollected(
        collecting, output, [&formats](psi::demux::Collector &collector) { formats.emplace(collector); },
        [&](const Collected &collected) {
            std::vector<Service> services = serviceList(collected.collector, collected.view, &*formats);
            sortServices(services, options.order);
            return Shown{written(options.form, collected, services, lookOf(output, options.color)),
                         services.empty() ? "no services found" : ""};
        });
}

} // namespace psitool
