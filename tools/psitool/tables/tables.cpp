#include "tables/tables.h"

#include "describe/modelView.h"
#include "output/described.h"
#include "output/lines.h"

namespace psitool {

namespace {

/** "x.ts: no PMT with table_id_extension 0x0007 (7) found on PID 0x0100 (256)" */
std::string nothingFound(const TablesOptions &options, const std::string &where)
{
    std::vector<std::string> pids;
    for (const u16 pid : options.pids)
        pids.push_back(hexDec(pid));
    std::string text = where + ": no " + (options.types.empty() ? "table" : joined(options.types, ", "));
    if (options.id)
        text += " with table_id_extension " + hexDec(*options.id);
    return text + " found" + (pids.empty() ? "" : " on PID " + joined(pids, ", "));
}

bool writeResult(const TablesResult &result, const TablesOptions &options, Output &output)
{
    if (result.sections.empty() && !options.json)
        return true;
    bool failed = false;
    const auto sink = [&](const std::string &text) {
        failed = !output.writeOrReport(text);
        return !failed && !output.readerGone();
    };
    if (options.json)
        writeTablesJson(result, sink);
    else
        writeTablesText(result, options.hex, lookOf(output, options.color), sink);
    return !failed;
}

ExitStatus showStream(const TablesOptions &options, Output &output)
{
    ListenOptions listen = options.listen;
    listen.tableIds = wantedTableIds(options);
    Collection collection(options.input, options.standard, listen);
    collection.run();
    TablesResult result;
    result.sections = sectionsOf(collection, options);
    result.input = collection.input();
    result.standard = standardFor(options.standard, ModelView(collection.model()).standard());
    if (!writeResult(result, options, output))
        return exitInputError;
    if (!result.input->failure.empty()) {
        reportError(result.input->failure + ": what came before is shown");
        return exitInputError;
    }
    if (!result.sections.empty())
        return exitFound;
    reportError(nothingFound(options, result.input->name) +
                (result.input->interrupted ? " until the interruption" : ""));
    return exitNotFound;
}

ExitStatus showFiles(const TablesOptions &options, Output &output)
{
    SectionFiles files = readSectionFiles(options);
    TablesResult result;
    result.standard = standardFor(options.standard, Standard::unknown);
    result.sections = std::move(files.sections);
    if (!writeResult(result, options, output) || files.damaged)
        return exitInputError;
    for (const TableSection &section : result.sections)
        if (section.kind)
            return exitFound;
    if (result.sections.empty())
        reportError(nothingFound(options, joined(options.sections, ", ")));
    return exitNotFound;
}

} // namespace

ExitStatus runTables(const TablesOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        return options.input.empty() ? showFiles(options, output) : showStream(options, output);
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
