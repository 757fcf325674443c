#include "scan/scan.h"

namespace psitool {

namespace {

std::string written(const ScanOptions &options, const ScanResult &result, const Output &output)
{
    if (options.json)
        return scanJson(result);
    const Look look = lookOf(output, options.color);
    const bool brief =
        options.extent == ScanExtent::summary || (options.extent == ScanExtent::fitting && output.terminalWidth() > 0);
    return brief ? scanSummary(result, look) : scanText(result, look);
}

/** What the scan found, and what is wrong with it. */
ExitStatus writeResult(const ScanOptions &options, const ScanResult &result, Output &output)
{
    const ModelView &view = result.view;
    const ScanInput &input = result.input;
    const bool pat = view.acquired(PSI_PAT) || result.emptyPat();
    const bool anything = input.statistics.packets > 0 || input.watchedSeconds > 0;
    if (anything && !output.writeOrReport(written(options, result, output)))
        return exitInputError;
    if (!input.failure.empty()) {
        reportError(input.failure + ": what came before is shown");
        return exitInputError;
    }
    if (pat)
        return exitFound;
    reportError(input.name + ": no PAT found" + whyNothing(input));
    return exitNotFound;
}

/** @brief Search for as long as is asked for. @return false when a recording is to be watched */
bool watch(const ScanOptions &options, Acquisition &acquisition)
{
    if (!acquisition.host().live()) {
        reportError("--watch: " + acquisition.host().name() + " is no live input (see psitool scan --help)");
        return false;
    }
    acquisition.watch(options.standard, options.watch, [&options] {
        if (options.verbosity > 0)
            psi_buddy_report(0);
    });
    return true;
}

ExitStatus collect(const ScanOptions &options, Output &output)
{
    ListenOptions listen = options.listen;
    if (options.watch != std::chrono::seconds::zero()) {
        listen.timeout = static_cast<double>(options.watch.count());
        listen.untilTimeout = true;
    }
    Collection collection(options.input, options.standard, listen);
    if (listen.untilTimeout && !collection.collector().live()) {
        reportError("--watch: " + collection.collector().name() + " is no live input (see psitool scan --help)");
        return exitWrongUse;
    }
    collection.run();
    const ModelView view(collection.model(), contextOf(collection.model()));
    return writeResult(options, {collection.input(), view, &collection.collector()}, output);
}

ExitStatus search(const ScanOptions &options, Output &output)
{
    Acquisition acquisition(options.input);
    if (options.watch == std::chrono::seconds::zero())
        acquisition.search(options.standard);
    else if (!watch(options, acquisition))
        return exitWrongUse;
    const ModelView view(acquisition.model(), contextOf(acquisition.model()));
    return writeResult(options, {acquisition.input(), view, nullptr}, output);
}

} // namespace

ExitStatus runScan(const ScanOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    endWithReader(options.input, output);
    try {
        return options.search ? search(options, output) : collect(options, output);
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    }
}

} // namespace psitool
