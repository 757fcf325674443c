#include "pids/pids.h"

#include "pids/pidList.h"
#include "pids/tableTimes.h"
#include "scan/scan.h"

namespace psitool {

namespace {

std::string pidsText(const Collected &collected, const Look &look)
{
    const auto &[collector, view, input] = collected;
    std::string text = renderTree(inputTree(input, &collector), look);
    text += "\n" + renderTree(pidTree(pidLines(collector, view)), look);
    for (const LineTree &tree :
         {absentPidTree(absentPids(collector, view)), tableTimesTree(collector), missingTree(collector)})
        if (!tree.children.empty())
            text += "\n" + renderTree(tree, look);
    return text;
}

std::string pidsObject(const Collected &collected)
{
    const auto &[collector, view, input] = collected;
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
    return showCollected(options, output, {}, [&](const Collected &collected) {
        return Shown{options.json ? pidsObject(collected) : pidsText(collected, lookOf(output, options.color)),
                     collected.collector.pids().empty() ? "no packets" : ""};
    });
}

} // namespace psitool
