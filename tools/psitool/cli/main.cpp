#include "cli/commonOptions.h"
#include "cli/reference.h"
#include "compile/compileCommand.h"
#include "diff/diffCommand.h"
#include "edit/editCommand.h"
#include "make/makeCommand.h"
#include "output/console.h"
#include "output/lines.h"
#include "pids/pids.h"
#include "psi.h"
#include "scan/scan.h"
#include "services/services.h"
#include "tables/tablesCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace psitool {

namespace {

constexpr const char *exitStatuses = "Exit status:\n"
                                     "  0  what was asked for was found\n"
                                     "  1  it is not in the input\n"
                                     "  2  wrong use\n"
                                     "  3  the input cannot be read, or the result cannot be written\n";

constexpr const char *scanExamples =
    "Examples:\n"
    "  psitool scan multiplex.ts                      programs, streams and tables of a recording\n"
    "  psitool scan udp://239.1.1.1:5000              the same of a live multicast (Ctrl-C: what was found so far)\n"
    "  psitool scan --watch 600 udp://239.1.1.1:5000  ten minutes of it, to count what is lost or broken\n"
    "  psitool scan --json - <multiplex.ts | jq .     from standard input, for programs\n\n";

CLI::App *addScan(CLI::App &app, ScanOptions &options)
{
    CLI::App *scan =
        app.add_subcommand("scan", "Show what a transport stream carries: its programs, streams and tables");
    scan->add_option("INPUT", options.input, inputHelp)->required()->option_text("(required)");
    scan->add_flag("--json", options.json, "Print one JSON object instead of text");
    addStandard(*scan, options.standard);
    scan->add_option_function<unsigned>(
            "--watch", [&options](unsigned seconds) { options.watch = std::chrono::seconds(seconds); },
            "Listen to a live input for so long, and show the tables that hold at the end and the counters over all")
        ->check(CLI::Range(1U, 10000000U))
        ->option_text("SECONDS");
    scan->add_flag_callback(
        "--details", [&options] { options.extent = ScanExtent::details; },
        "Show everything; without --details and --summary a terminal gets the summary, a file or a pipe the details");
    scan->add_flag_callback(
        "--summary", [&options] { options.extent = ScanExtent::summary; },
        "Show a line for each program and each table");
    scan->add_flag(
        "--search", options.search,
        "Let the library search the input, as a host's software does, and show what that finds; with --watch "
        "over and over, and with -v its memory after each round");
    addListening(*scan, options.listen);
    addColor(*scan, options.color);
    addVerbosity(*scan, options.verbosity);
    scan->footer(std::string(scanExamples) + exitStatuses);
    return scan;
}

constexpr const char *pidsExamples =
    "Examples:\n"
    "  psitool pids multiplex.ts                    what each PID is, its packets and rate; how often the tables come\n"
    "  psitool pids --bitrate 38.015M multiplex.ts  with the times of a stream of that rate\n"
    "  psitool pids --json udp://239.1.1.1:5000     a live multicast, for programs\n\n";

CLI::App *addPids(CLI::App &app, PidsOptions &options)
{
    CLI::App *pids = app.add_subcommand("pids", "Show every PID of a stream: what it is, how much of it, how often");
    pids->add_option("INPUT", options.input, inputHelp)->required()->option_text("(required)");
    pids->add_flag("--json", options.json, "Print one JSON object instead of text");
    addStandard(*pids, options.standard, "Whose tables of a live input are waited for");
    addListening(*pids, options.listen);
    addColor(*pids, options.color);
    addVerbosity(*pids, options.verbosity);
    pids->footer(std::string(pidsExamples) + exitStatuses);
    return pids;
}

constexpr const char *servicesExamples =
    "Examples:\n"
    "  psitool services multiplex.ts                     names, channel numbers, formats, what is on\n"
    "  psitool services --format m3u --sort channel udp://239.1.1.1:5000 >list.m3u\n\n";

CLI::App *addServices(CLI::App &app, ServicesOptions &options)
{
    static const std::map<std::string, ServiceForm> forms{
        {"text", ServiceForm::text}, {"json", ServiceForm::json}, {"m3u", ServiceForm::m3u}, {"csv", ServiceForm::csv}};
    static const std::map<std::string, ServiceOrder> orders{{"stream", ServiceOrder::stream},
                                                            {"number", ServiceOrder::number},
                                                            {"channel", ServiceOrder::channel},
                                                            {"name", ServiceOrder::name}};
    CLI::App *services = app.add_subcommand("services", "List the services of a stream");
    services->add_option("INPUT", options.input, inputHelp)->required()->option_text("(required)");
    services
        ->add_option_function<std::string>(
            "--format", [&options](const std::string &word) { options.form = forms.at(word); }, "How to write them")
        ->check(CLI::IsMember({"text", "json", "m3u", "csv"}))
        ->option_text("text|json|m3u|csv [text]");
    services->add_flag_callback(
        "--json", [&options] { options.form = ServiceForm::json; }, "The same as --format json");
    services
        ->add_option_function<std::string>(
            "--sort", [&options](const std::string &word) { options.order = orders.at(word); },
            "Their order: as the PAT has them, by service_id, by channel number, or by name")
        ->check(CLI::IsMember({"stream", "number", "channel", "name"}))
        ->option_text("stream|number|channel|name [stream]");
    addStandard(*services, options.standard, "Whose tables of a live input are waited for");
    addListening(*services, options.listen);
    addColor(*services, options.color);
    addVerbosity(*services, options.verbosity);
    services->footer(std::string(servicesExamples) + exitStatuses);
    return services;
}

std::string calledSubcommand(const CLI::App &app)
{
    const auto called = app.get_subcommands();
    return called.empty() ? "" : " " + called.front()->get_name();
}

/** The first word that nobody expected: a mistyped subcommand or option, or one INPUT too many. */
std::string unknownWord(const CLI::App &app)
{
    const std::string word = app.remaining(true).front();
    if (word.size() > 1 && word[0] == '-')
        return "there is no option " + word;
    if (!app.get_subcommands().empty())
        return "'" + word + "' is one argument too many";
    std::vector<std::string> names;
    for (const CLI::App *one : app.get_subcommands({}))
        if (!one->get_group().empty()) // what --help shows
            names.push_back(one->get_name());
    return "'" + word + "' is none of the subcommands " + joined(names, ", ");
}

ExitStatus reportWrongUse(const CLI::App &app, const CLI::ParseError &error)
{
    const bool unknown = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr;
    reportError((unknown ? unknownWord(app) : error.what()) + " (see psitool" + calledSubcommand(app) + " --help)");
    return exitWrongUse;
}

using Run = std::function<ExitStatus(Output &)>;

/** A subcommand with its options. @return what carries it out once the command line is parsed */
template <class Options, CLI::App *(*add)(CLI::App &, Options &), ExitStatus (*run)(const Options &, Output &)>
Run define(CLI::App &app)
{
    const auto options = std::make_shared<Options>();
    add(app, *options);
    return [options](Output &output) { return run(*options, output); };
}

struct Subcommand {
    const char *name;
    Run (*define)(CLI::App &app);
};

constexpr Subcommand subcommands[] = {
    {"scan", define<ScanOptions, addScan, runScan>},
    {"pids", define<PidsOptions, addPids, runPids>},
    {"services", define<ServicesOptions, addServices, runServices>},
    {"tables", define<TablesOptions, addTables, runTables>},
    {"make", define<MakeOptions, addMake, runMake>},
    {"compile", define<CompileOptions, addCompile, runCompile>},
    {"diff", define<DiffOptions, addDiff, runDiff>},
    {"edit", define<EditOptions, addEdit, runEdit>},
};

/** Only what is called, by the first word, is defined; all that there is, where a text is to tell it. */
std::map<std::string, Run> defineSubcommands(CLI::App &app, const std::string &word, ReferenceOptions &reference)
{
    std::map<std::string, Run> runs;
    for (const Subcommand &one : subcommands)
        if (one.name == word)
            runs[word] = one.define(app);
    if (!runs.empty())
        return runs;
    for (const Subcommand &one : subcommands)
        runs[one.name] = one.define(app);
    addReference(app, reference); // behind all others
    return runs;
}

/** "help" and "help scan" are what "--help" and "scan --help" are. */
std::vector<std::string> withoutHelpWord(std::vector<std::string> arguments)
{
    if (!arguments.empty() && arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
    }
    return arguments;
}

int run(std::vector<std::string> arguments, Output &output)
{
    CLI::App app{"Tables of MPEG-2 transport streams: PSI, DVB SI, ATSC PSIP.", "psitool"};
    app.set_version_flag("--version", std::string("psitool ") + PSITOOL_VERSION);
    app.require_subcommand(0, 1); // checked below: an unknown word is to be named
    app.footer("psitool SUBCOMMAND --help, or psitool help SUBCOMMAND, tells more.\n\n" + std::string(exitStatuses));
    ReferenceOptions reference;
    const std::map<std::string, Run> runs =
        defineSubcommands(app, arguments.empty() ? "" : arguments.front(), reference);
    try {
        arguments = joinEditGroups(arguments);
        std::reverse(arguments.begin(), arguments.end()); // as CLI11 wants them
        app.parse(arguments);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("A subcommand");
    } catch (const CLI::CallForHelp &) {
        if (app.get_subcommands().empty() && !app.remaining().empty())
            return reportWrongUse(app, CLI::ExtrasError(app.remaining()));
        return output.write(app.help()) ? exitFound : exitInputError;
    } catch (const CLI::CallForVersion &version) {
        return output.write(std::string(version.what()) + "\n") ? exitFound : exitInputError;
    } catch (const CLI::ParseError &error) {
        return reportWrongUse(app, error);
    }
    if (reference.asked)
        return output.writeOrReport(referenceText(app, reference, PSITOOL_VERSION)) ? exitFound : exitInputError;
    return runs.at(app.get_subcommands().front()->get_name())(output);
}

} // namespace

} // namespace psitool

/** Of one heap: what reading has done with serves what is made of it, and its pages are not asked for again. */
static void keepMemoryTogether()
{
#ifdef __GLIBC__
    constexpr int largest = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, largest); // NOLINT(concurrency-mt-unsafe): before there are threads
    mallopt(M_TRIM_THRESHOLD, largest); // NOLINT(concurrency-mt-unsafe)
#endif
}

int main(int argc, char **argv)
{
    keepMemoryTogether();
    psitool::Output output;
    int status = psitool::exitInputError;
    try {
        status = psitool::run(psitool::withoutHelpWord({argv + 1, argv + argc}), output);
    } catch (const std::exception &error) {
        psitool::reportError(error.what());
    }
    psiSch_Exit(); // what lives then was leaked, and sanitizers need not search the pool
    return status;
}
