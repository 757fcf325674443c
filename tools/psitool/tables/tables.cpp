#include "tables/tables.h"

#include "describe/json/schema.h"
#include "describe/modelView.h"
#include "input/documentText.h"
#include "output/described.h"
#include "output/lines.h"
#include "pids/tableTimes.h"

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

TablesResult emptyResult(const TablesOptions &options, const DescriptorContext &found)
{
    TablesResult result;
    result.usual = usualFor(options, found);
    result.hex = options.hex;
    result.summary = options.summary;
    return result;
}

/** The library is what hosts read tables with: what it has to say about one that it refuses is logged. */
void letTheLibraryTell(const TableSection &section, const DescriptorContext &usual)
{
    constexpr std::size_t crcBytes = 4;
    const bool parsed = section.kind && section.kind->psiType != PSI_NO_TYPE;
    if (!parsed || !crcOf(section.view()) || describeSection(section.view(), section.kind, usual).parsed)
        return;
    std::vector<u8> mended = section.bytes;
    const u32 crc = psiCalculateCrc(mended.data(), static_cast<u32>(mended.size() - crcBytes));
    for (std::size_t i = 0; i < crcBytes; ++i)
        mended[mended.size() - 1 - i] = static_cast<u8>(crc >> 8 * i);
    void *tree = nullptr;
    if (syntaxAnalysePsi(section.kind->psiType, &tree, mended.data(), static_cast<u32>(mended.size())) == 0)
        syntaxDestroyPsiSection(section.kind->psiType, tree);
}

bool writeResult(const TablesResult &result, const TablesOptions &options, Output &output)
{
    if (result.sections.empty() && !options.json && !options.yaml)
        return true;
    if (options.verbosity > 0)
        for (const TableSection &section : result.sections)
            letTheLibraryTell(section, result.usual);
    bool failed = false;
    const auto sink = [&](const std::string &text) {
        failed = !output.writeOrReport(text);
        return !failed && !output.readerGone();
    };
    std::string json;
    if (options.json)
        writeTablesJson(result, sink);
    else if (options.yaml && writeTablesJson(result, [&](const std::string &text) { return !(json += text).empty(); }))
        sink(yamlOf(json));
    else
        writeTablesText(result, lookOf(output, options.color), sink);
    return !failed;
}

ExitStatus showStream(const TablesOptions &options, Output &output)
{
    endWithReader(options.input, output);
    ListenOptions listen = options.listen;
    listen.tableIds = wantedTableIds(options);
    Collection collection(options.input, options.standard, listen);
    collection.run();
    TablesResult result = emptyResult(options, contextOf(collection.model()));
    result.sections = sectionsOf(collection, options);
    result.input = collection.input();
    if (!writeResult(result, options, output))
        return exitInputError;
    if (!result.input->failure.empty()) {
        reportError(result.input->failure + ": what came before is shown");
        return exitInputError;
    }
    if (!result.sections.empty())
        return exitFound;
    const bool forPeople = !options.json && !options.yaml;
    const bool filtered = !options.types.empty() || !options.pids.empty() || options.id;
    if (forPeople && !filtered &&
        !output.writeOrReport(missingText(collection.collector(), lookOf(output, options.color))))
        return exitInputError;
    reportError(nothingFound(options, result.input->name) + whyNothing(*result.input));
    return exitNotFound;
}

ExitStatus showFiles(const TablesOptions &options, Output &output)
{
    SectionFiles files = readSectionFiles(options);
    TablesResult result = emptyResult(options, files.found);
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
    if (options.schema)
        return output.writeOrReport(documentSchema()) ? exitFound : exitInputError;
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        return options.input.empty() ? showFiles(options, output) : showStream(options, output);
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
