#include "edit/edit.h"
#include "edit/editLive.h"
#include "input/acquire.h"
#include "output/outputFile.h"

#include "demux/byteSource.h"
#include "demux/capture.h"
#include "demux/input.h"

#include <cstdio>
#include <filesystem>

namespace psitool {

namespace {

/** How long a section may take in the stream and still keep its place: far more than a second at 50 Mbit/s. */
constexpr std::size_t heldOfFile = 32U << 20;

/** A file, so long as it was when the edit began: what is written meanwhile is not looked at. */
struct InputFile {
    std::string name;
    std::uint64_t size;

    explicit InputFile(const std::string &path) : name(path), size(std::filesystem::file_size(path)) {}
    bool hasGrown() const
    {
        std::error_code unknown;
        return std::filesystem::file_size(name, unknown) > size && !unknown;
    }
};

void checkInterrupt(const std::string &input)
{
    if (interrupted())
        throw EditError(exitInterrupted, input + ": interrupted");
}

/** Through an editor with all bytes of a file. */
void passFile(const InputFile &input, StreamEditor &editor, const ByteSink &sink)
{
    psi::demux::ByteSource source(input.name, input.size);
    EditedBytes bytes(editor, heldOfFile, sink);
    psi::demux::Chunk chunk;
    std::uint64_t passed = 0;
    for (; source.read(-1, chunk); passed += chunk.size) {
        checkInterrupt(input.name);
        bytes.feed(chunk.data, chunk.size);
    }
    bytes.finish();
    if (passed != input.size)
        throw EditError(exitInputError, input.name + ": has become shorter while it was read");
}

EditPlan planFile(const EditRequest &request, const InputFile &input)
{
    const Acquisition acquisition(input.name, input.size);
    checkInterrupt(input.name);
    if (!acquisition.host().failure().empty())
        throw EditError(exitInputError, acquisition.host().failure());
    return makeEditPlan(request, acquisition.host(), true);
}

/** The file is gone through twice: to see whether everything finds its place, and to write it. */
EditReport editFile(const EditOptions &options, const EditRequest &request, Output &output)
{
    const InputFile input(options.input);
    const EditPlan plan = planFile(request, input);
    SectionLimits limits;
    {
        StreamEditor trial(plan);
        passFile(input, trial, [](const u8 *, std::size_t) {});
        limits = trial.judge();
    }
    OutputFile file(options.output, output);
    StreamEditor editor(plan);
    editor.limit(limits);
    passFile(input, editor,
             [&](const u8 *data, std::size_t size) { file.write(reinterpret_cast<const char *>(data), size); });
    file.commit();
    if (input.hasGrown())
        reportError(input.name + ": has grown while it was read: the " + std::to_string(input.size) +
                    " bytes that it had at the start were edited");
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
        {"missing RTP packets", report.rtpGaps},
        {"sections edited", done.replacedSections},
        {"sections kept", done.keptSections},
        {"sections inserted", done.insertedSections},
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
    const bool isFile = options.input != "-" && std::filesystem::is_regular_file(options.input, unknown);
    if (isFile && !psi::demux::captureNamed(options.input)) {
        if (options.duration)
            throw EditError(exitWrongUse, "--duration: " + options.input + " is a file, it is edited whole");
        return editFile(options, request, output);
    }
    return editPipe(options, request, output);
}

} // namespace

ExitStatus runEdit(const EditOptions &options, Output &output)
{
    try {
        const EditRequest request = parseEditRequest(options.words);
        const auto capture = psi::demux::captureNamed(options.input);
        if (sameFile(capture ? capture->file : options.input, options.output))
            throw EditError(exitWrongUse, options.output + ": is the input as well");
        if (!startLibrary(options.verbosity))
            return exitInputError;
        setPsiMakeRPTLevel(options.verbosity > 0 ? static_cast<u32>(options.verbosity) + 1 : 0);
        const InterruptGuard guard;
        const EditReport report = editAny(options, request, output);
        if (report.counters.sectionsBeyond > 0)
            reportError(options.input + ": there are more than " + std::to_string(EditedTables::mostTables) +
                        " tables on the edited PIDs: what came beyond was not edited");
        if (options.statistics || options.verbosity > 0 || report.interrupted)
            printReport(report);
        return report.interrupted ? exitInterrupted : exitFound;
    } catch (const NobodyReads &) {
        return exitFound;
    } catch (const EditError &error) {
        reportError(error.what());
        return error.status;
    } catch (const psi::demux::InputError &error) {
        return reportInput(error);
    } catch (const OutputError &error) {
        reportError(error.what());
        return interrupted() ? exitInterrupted : exitInputError;
    }
}

} // namespace psitool
