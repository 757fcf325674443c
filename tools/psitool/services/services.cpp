#include "services/services.h"

#include "describe/text.h"
#include "services/serviceList.h"

namespace psitool {

namespace {

std::string written(ServiceFormat format, const std::string &input, const std::vector<Service> &services)
{
    switch (format) {
    case ServiceFormat::json:
        return servicesJson(input, services);
    case ServiceFormat::m3u:
        return servicesM3u(safeText(input), services);
    case ServiceFormat::csv:
        return servicesCsv(services);
    default:
        return servicesText(services);
    }
}

} // namespace

ExitStatus runServices(const ServicesOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        Collection collection(options.input, options.standard, options.listen);
        collection.run();
        const ModelView view(collection.model());
        const std::vector<Service> services = serviceList(collection.collector(), view);
        const std::string &name = collection.collector().name();
        if (!output.writeOrReport(written(options.format, name, services)))
            return exitInputError;
        if (!collection.collector().failure().empty()) {
            reportError(collection.collector().failure() + ": what came before is shown");
            return exitInputError;
        }
        if (!services.empty())
            return exitFound;
        reportError(name + ": no services found");
        return exitNotFound;
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
