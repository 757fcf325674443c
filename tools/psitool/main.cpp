#include "console.h"
#include "scan.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <map>

namespace psitool {

namespace {

constexpr const char *exitStatuses = "Exit status:\n"
                                     "  0  the tables were found\n"
                                     "  1  the input has no PAT\n"
                                     "  2  wrong use\n"
                                     "  3  the input cannot be read, or the result cannot be written\n";

constexpr const char *scanExamples =
    "Examples:\n"
    "  psitool scan multiplex.ts                    programs, streams and tables of a recording\n"
    "  psitool scan udp://239.1.1.1:5000            the same of a live multicast (Ctrl-C: what was found so far)\n"
    "  psitool scan --json - <multiplex.ts | jq .   from standard input, for programs\n\n";

const std::map<std::string, ScanStandard> standards{
    {"auto", ScanStandard::automatic}, {"dvb", ScanStandard::dvb}, {"atsc", ScanStandard::atsc}};

void addScan(CLI::App &app, ScanOptions &options)
{
    CLI::App *scan =
        app.add_subcommand("scan", "Show what a transport stream carries: its programs, streams and tables");
    scan->add_option("INPUT", options.input,
                     "A file of 188, 192 or 204-byte packets, '-' for standard input, or udp://[group]:port")
        ->required()
        ->option_text("(required)");
    scan->add_flag("--json", options.json, "Print one JSON object instead of text");
    scan->add_option_function<std::string>(
            "--standard", [&options](const std::string &name) { options.standard = standards.at(name); },
            "Whose tables to search; auto: those of each standard that the stream carries")
        ->check(CLI::IsMember({"auto", "dvb", "atsc"}))
        ->option_text("auto|dvb|atsc [auto]");
    scan->add_flag("-v,--verbose", options.verbosity,
                   "Log what the library does on standard error: -v errors and warnings, -vv and info, -vvv and debug");
    scan->footer(std::string(scanExamples) + exitStatuses);
}

ExitStatus reportWrongUse(const CLI::ParseError &error)
{
    reportError(std::string(error.what()) + " (see psitool --help)");
    return exitWrongUse;
}

int run(int argc, char **argv, Output &output)
{
    CLI::App app{"Tables of MPEG-2 transport streams: PSI, DVB SI, ATSC PSIP.", "psitool"};
    app.set_version_flag("--version", std::string("psitool ") + PSITOOL_VERSION);
    app.require_subcommand(0, 1); // checked below: an unknown word is to be named
    app.footer("psitool SUBCOMMAND --help tells more.\n\n" + std::string(exitStatuses));
    ScanOptions scanOptions;
    addScan(app, scanOptions);
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A subcommand");
    } catch (const CLI::CallForHelp &) {
        return output.write(app.help()) ? exitFound : exitInputError;
    } catch (const CLI::CallForVersion &version) {
        return output.write(std::string(version.what()) + "\n") ? exitFound : exitInputError;
    } catch (const CLI::ParseError &error) {
        return reportWrongUse(error);
    }
    return runScan(scanOptions, output);
}

} // namespace

} // namespace psitool

int main(int argc, char **argv)
{
    psitool::Output output;
    try {
        return psitool::run(argc, argv, output);
    } catch (const std::exception &error) {
        psitool::reportError(error.what());
        return psitool::exitInputError;
    }
}
