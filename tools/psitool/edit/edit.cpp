#include "edit/edit.h"
#include "edit/editLive.h"
#include "input/acquire.h"
#include "output/outputFile.h"

#include "demux/byteSource.h"
#include "demux/input.h"

#include <cstdio>
#include <filesystem>

namespace psitool {

namespace {

/** How long a section may take in the stream and still keep its place: far more than a second at 50 Mbit/s. */
constexpr std::size_t heldOfFile = 32U << 20;

/** Through an editor with all bytes of a file. */
void passFile(const std::string &input, StreamEditor &editor, const ByteSink &sink)
{
    psi::demux::ByteSource source(input);
    EditedBytes bytes(editor, heldOfFile, sink);
    psi::demux::Chunk chunk;
    while (source.read(-1, chunk))
        bytes.feed(chunk.data, chunk.size);
    bytes.finish();
}

EditPlan planFile(const EditRequest &request, const std::string &input)
{
    Acquisition acquisition(input);
    if (interrupted())
        throw EditError(exitInputError, acquisition.host().name() + ": interrupted");
    return makeEditPlan(request, acquisition.host(), true);
}

/** The file is gone through twice: to see whether everything finds its place, and to write it. */
EditReport editFile(const EditOptions &options, const EditRequest &request, Output &output)
{
    const EditPlan plan = planFile(request, options.input);
    StreamEditor trial(plan);
    passFile(options.input, trial, [](const u8 *, std::size_t) {});
    const SectionLimits limits = trial.judge();

    OutputFile file(options.output, output);
    StreamEditor editor(plan);
    editor.limit(limits);
    passFile(options.input, editor,
             [&](const u8 *data, std::size_t size) { file.write(reinterpret_cast<const char *>(data), size); });
    file.commit();
    return reportOf(editor);
}

struct ReportLine {
    const char *text;
    std::uint64_t value;
};

void printReport(const EditReport &report)
{
    const EditCounters &done = report.counters;
    const ReportLine lines[] = {
        {"packets in", report.packetsIn},
        {"packets out", report.packetsOut},
        {"packets lost", report.packetsLost},
        {"packets held at the end", report.packetsHeld},
        {"continuity errors in the input", report.continuityErrors},
        {"sections edited", done.replacedSections},
        {"sections kept", done.keptSections},
        {"sections left out", done.omittedSections},
        {"repetitions left out", done.lateSections},
        {"damaged sections", done.damagedSections},
        {"packets with sections", done.sentPackets},
        {"packets freed", done.freedPackets},
        {"null packets used", done.usedNullPackets},
        {"delay in milliseconds", report.delayMs},
    };
    for (const ReportLine &line : lines)
        std::fprintf(stderr, "%-32s%llu\n", line.text, static_cast<unsigned long long>(line.value));
    std::fflush(stdout);
    psi_buddy_report(0);
}

EditReport editAny(const EditOptions &options, const EditRequest &request, Output &output)
{
    if (psi::demux::isLiveUrl(options.input))
        return editLive(options, request, output);
    if (psi::demux::isLiveUrl(options.output))
        throw EditError(exitWrongUse, options.output + ": only a live input can be sent live, a file has no clock");
    // What cannot be read twice goes through once.
    std::error_code unknown;
    if (options.input != "-" && std::filesystem::is_regular_file(options.input, unknown))
        return editFile(options, request, output);
    return editPipe(options, request, output);
}

} // namespace

ExitStatus runEdit(const EditOptions &options, Output &output)
{
    try {
        const EditRequest request = parseEditRequest(options.words);
        if (sameFile(options.input, options.output))
            throw EditError(exitWrongUse, options.output + ": is the input as well");
        if (!startLibrary(options.verbosity))
            return exitInputError;
        setPsiMakeRPTLevel(options.verbosity > 0 ? static_cast<u32>(options.verbosity) + 1 : 0);
        const EditReport report = editAny(options, request, output);
        if (options.statistics || options.verbosity > 0)
            printReport(report);
        return exitFound;
    } catch (const EditError &error) {
        reportError(error.what());
        return error.status;
    }
}

} // namespace psitool
