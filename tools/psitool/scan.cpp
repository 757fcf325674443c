#include "scan.h"

namespace psitool {

namespace {

ExitStatus writeResult(const ScanOptions &options, const Acquisition &acquisition, Output &output)
{
    const ModelView view(acquisition.model());
    const ScanInput input = acquisition.input();
    const bool pat = view.acquired(PSI_PAT);
    const bool anything = view.model().sectionList != nullptr;
    if ((pat || anything) &&
        !output.writeOrReport(options.json ? scanJson(input, view) : scanText(input, view, branchesOfLocale())))
        return exitInputError;
    if (pat)
        return exitFound;
    reportError(input.name + ": no PAT found" + (input.interrupted ? " until the interruption" : ""));
    return exitNotFound;
}

} // namespace

ExitStatus runScan(const ScanOptions &options, Output &output)
{
    if (!startLibrary(options.verbosity))
        return exitInputError;
    try {
        Acquisition acquisition(options.input);
        acquisition.search(options.standard);
        return writeResult(options, acquisition, output);
    } catch (const psihost::InputError &error) {
        reportError(error.what());
        return exitInputError;
    }
}

} // namespace psitool
