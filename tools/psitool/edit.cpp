#include "edit.h"
#include "acquire.h"
#include "editStream.h"
#include "outputFile.h"

#include "byteSource.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace psitool {

namespace {

/** How long a section may take in the stream and still keep its place: far more than a second at 50 Mbit/s. */
constexpr std::size_t heldOfFile = 32u << 20;

bool sameFile(const std::string &input, const std::string &output)
{
    struct stat in = {};
    struct stat out = {};
    const int found = input == "-" ? fstat(STDIN_FILENO, &in) : stat(input.c_str(), &in);
    return output != "-" && found == 0 && stat(output.c_str(), &out) == 0 && S_ISREG(in.st_mode) &&
           in.st_dev == out.st_dev && in.st_ino == out.st_ino;
}

/** Through an editor with all bytes of a file. */
void passFile(const std::string &input, StreamEditor &editor, const ByteSink &sink)
{
    psihost::ByteSource source(input);
    EditedBytes bytes(editor, heldOfFile, sink);
    psihost::Chunk chunk;
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
void editFile(const EditOptions &options, const EditRequest &request, Output &output)
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
        editFile(options, request, output);
        return exitFound;
    } catch (const EditError &error) {
        reportError(error.what());
        return error.status;
    }
}

} // namespace psitool
