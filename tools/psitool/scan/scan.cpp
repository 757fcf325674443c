#include "scan/scan.h"

namespace psitool {

namespace {

ExitStatus writeResult(const ScanOptions &options, const Acquisition &acquisition, Output &output)
{
    const ModelView view(acquisition.model());
    const ScanInput input = acquisition.input();
    const bool pat = view.acquired(PSI_PAT);
    const bool anything = view.model().sectionList != nullptr;
    const bool counters = input.watchedSeconds > 0;
    if ((pat || anything || counters) &&
        !output.writeOrReport(options.json ? scanJson(input, view) : scanText(input, view, branchesOfLocale())))
        return exitInputError;
    if (pat)
        return exitFound;
    reportError(input.name + ": no PAT found" + (input.interrupted ? " until the interruption" : ""));
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

} // namespace

ExitStatus runScan(const ScanOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        Acquisition acquisition(options.input);
        if (options.watch == std::chrono::seconds::zero())
            acquisition.search(options.standard);
        else if (!watch(options, acquisition))
            return exitWrongUse;
        return writeResult(options, acquisition, output);
    } catch (const psi::demux::InputError &error) {
        reportError(error.what());
        return exitInputError;
    }
}

} // namespace psitool
