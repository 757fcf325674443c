#include "pids/pids.h"

#include "pids/pidList.h"
#include "pids/tableTimes.h"
#include "scan/scan.h"

namespace psitool {

namespace {

std::string pidsText(const ScanInput &input, const psi::demux::Collector &collector, const ModelView &view)
{
    const Branches branches = branchesOfLocale();
    std::string text = renderTree(inputTree(input, &collector), branches);
    text += "\n" + renderTree(pidTree(pidLines(collector, view)), branches);
    for (const LineTree &tree :
         {absentPidTree(absentPids(collector, view)), tableTimesTree(collector), missingTree(collector)})
        if (!tree.children.empty())
            text += "\n" + renderTree(tree, branches);
    return text;
}

std::string pidsObject(const ScanInput &input, const psi::demux::Collector &collector, const ModelView &view)
{
    constexpr int schemaVersion = 1;
    Json object;
    object["psitool"] = {{"schema", "pids"}, {"schema_version", schemaVersion}};
    object["input"] = inputJson(input);
    object["pids"] = pidsJson(pidLines(collector, view));
    object["absent_pids"] = absentPidsJson(absentPids(collector, view));
    object["table_times"] = tableTimesJson(collector);
    object["missing"] = missingJson(collector);
    return jsonText(object);
}

} // namespace

ExitStatus runPids(const PidsOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        Collection collection(options.input, options.standard, options.listen);
        collection.run();
        const ModelView view(collection.model());
        const ScanInput input = collection.input();
        const psi::demux::Collector &collector = collection.collector();
        if (!output.writeOrReport(options.json ? pidsObject(input, collector, view) : pidsText(input, collector, view)))
            return exitInputError;
        if (!input.failure.empty()) {
            reportError(input.failure + ": what came before is shown");
            return exitInputError;
        }
        if (!collector.pids().empty())
            return exitFound;
        reportError(input.name + ": no packets" + (input.interrupted ? " until the interruption" : ""));
        return exitNotFound;
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
