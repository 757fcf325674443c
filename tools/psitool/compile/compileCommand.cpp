#include "compile/compileCommand.h"

#include "cli/commonOptions.h"

namespace psitool {

namespace {

constexpr const char *compileFooter =
    "Examples:\n"
    "  psitool tables --json multiplex.ts >t.json  every section, field by field, to be edited\n"
    "  psitool compile t.json -o sections.bin      the sections, one behind the other\n"
    "  psitool compile t.json --ts -o new.ts       the same as packets on their PIDs\n"
    "  psitool compile t.json --check              which sections were edited\n\n"
    "What was not edited comes back bit for bit. Lengths, counts and CRC_32 are computed; a number with a meaning may "
    "be\n"
    "given by its name, a text is written in the character table that it had. docs/tables-json.md says what stands in\n"
    "the JSON, and what may be left out.\n\n"
    "Exit status:\n"
    "  0  all was written\n"
    "  2  wrong use\n"
    "  3  the JSON cannot be read or used, or the result cannot be written; then there is no output\n";

} // namespace

CLI::App *addCompile(CLI::App &app, CompileOptions &options)
{
    CLI::App *compile = app.add_subcommand("compile", "Make sections from the JSON that tables prints");
    compile->add_option("JSON", options.input, "A file with the JSON (or YAML: NAME.yaml), '-' for standard input")
        ->required()
        ->option_text("(required)");
    compile->add_option("-o,--output", options.output, "The file to write, '-' for standard output")
        ->option_text("FILE");
    compile->add_flag("--ts", options.stream, "Write transport packets, the sections on their PIDs");
    compile->add_flag("--packed", options.packed, "Let sections that follow each other on a PID share packets")
        ->needs("--ts");
    compile->add_flag("--check", options.check, "Say what would be other than before, and write nothing");
    addStandard(*compile, options.standard, "Whose private descriptors are meant; auto: what the JSON says");
    compile->callback([&options] {
        if (options.output.empty() && !options.check)
            throw CLI::RequiredError("--output or --check");
    });
    compile->footer(compileFooter);
    return compile;
}

} // namespace psitool
