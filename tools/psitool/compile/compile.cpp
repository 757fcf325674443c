#include "compile/compile.h"

#include "describe/json/sectionDocument.h"
#include "input/acquire.h"
#include "input/documentText.h"
#include "input/textFile.h"
#include "make/packetOut.h"
#include "output/aribText.h"
#include "output/described.h"
#include "output/lineTree.h"
#include "output/outputFile.h"
#include "tables/tables.h"

namespace psitool {

namespace {

std::string titleOf(const CompiledSection &section)
{
    const std::string id = section.bytes.empty() ? "" : hex(static_cast<u8>(section.bytes[0]), 2);
    return section.place + " (" + (section.kind ? section.kind->title : "table " + id) + ")";
}

/** Where a section goes, and that it can go there. */
u16 pidOf(const CompiledSection &section)
{
    if (!section.pid)
        throw FieldError(section.place + "/pid", "is missing: a stream needs to know where the section goes");
    constexpr std::size_t longest = 4096;
    if (section.bytes.empty() || section.bytes.size() > longest)
        throw FieldError(section.place, counted(section.bytes.size(), "byte") + " are no section of a stream");
    return *section.pid;
}

std::string packetsOf(const CompiledDocument &document, bool packed)
{
    ContinuityCounters counters;
    std::string bytes;
    const std::vector<CompiledSection> &sections = document.sections;
    for (std::size_t i = 0; i < sections.size();) {
        const u16 pid = pidOf(sections[i]);
        std::vector<ByteView> run;
        do
            run.emplace_back(sections[i++].bytes);
        while (packed && i < sections.size() && pidOf(sections[i]) == pid);
        for (Packet packet : packed ? packSections(pid, run) : cutSection(pid, run.front())) {
            counters.stamp(packet);
            append(bytes, packet);
        }
    }
    return bytes;
}

std::string sectionsOf(const CompiledDocument &document)
{
    std::string bytes;
    for (const CompiledSection &section : document.sections)
        bytes += section.bytes;
    return bytes;
}

/** What would be written that is not as it was. */
std::string changesOf(const CompiledDocument &document)
{
    std::string text;
    std::size_t changed = 0;
    for (const CompiledSection &section : document.sections) {
        if (section.hadData && !section.changed)
            continue;
        ++changed;
        text += titleOf(section) + ": " + (section.hadData ? "changed, now " : "new, ") +
                counted(section.bytes.size(), "byte") + "\n";
    }
    return text + std::to_string(changed) + " of " + counted(document.sections.size(), "section") +
           " would not be as before\n";
}

ExitStatus compile(const CompileOptions &options, Output &output)
{
    const JsonDocument json(readDocument(options.input));
    const CompiledDocument document = compileDocument(json, standardFor(options.standard, Standard::unknown));
    for (const std::string &warning : document.warnings)
        reportError(options.input + ": " + warning);
    const std::string bytes = options.stream ? packetsOf(document, options.packed) : sectionsOf(document);
    if (options.check)
        return output.writeOrReport(changesOf(document)) ? exitFound : exitInputError;
    OutputFile file(options.output, output);
    file.write(bytes);
    file.commit();
    return exitFound;
}

} // namespace

ExitStatus runCompile(const CompileOptions &options, Output &output)
{
    if (!options.output.empty() && sameFile(options.input, options.output)) {
        reportError(options.output + ": is the JSON as well");
        return exitWrongUse;
    }
    readAribTexts();
    if (options.check || options.output == "-")
        endWithReader(options.input, output);
    try {
        return compile(options, output);
    } catch (const FieldError &error) {
        reportError((options.input == "-" ? "standard input" : options.input) + ": " + error.what());
    } catch (const std::runtime_error &error) { // InputTextError, OutputError: they name their file
        reportError(error.what());
    }
    return exitInputError;
}

} // namespace psitool
