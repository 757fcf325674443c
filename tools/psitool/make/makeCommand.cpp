#include "make/makeCommand.h"

#include "cli/commonOptions.h"

namespace psitool {

namespace {

constexpr const char *makeFooter =
    "Examples:\n"
    "  psitool scan --json multiplex.ts >m.json   the model, to be edited\n"
    "  psitool make m.json -o new.ts              each of its tables once\n"
    "  psitool make m.json -o new.ts --duration 60 --bitrate 5M\n"
    "                                             a minute at 5 Mbit/s, the tables at their customary intervals\n"
    "  psitool make m.json --sections tables      a file for each section, for psitool tables --section\n\n"
    "docs/json.md says what stands in the JSON, which keys it needs, and how a name is edited.\n\n"
    "Exit status:\n"
    "  0  all was made\n"
    "  2  wrong use\n"
    "  3  the JSON cannot be read or used, or the result cannot be written; then there is no new stream\n";

void addDuration(CLI::App &make, double &seconds)
{
    const auto isDuration = [&seconds](const std::string &text) {
        seconds = parseDuration(text);
        return seconds > 0 ? "" : "'" + text + "' is no number of seconds up to 86400 (a day)";
    };
    make.add_option("--duration", "Repeat the tables at their customary intervals, and fill up with null packets")
        ->check(CLI::Validator(isDuration, ""))
        ->option_text("SECONDS [10]");
}

void addBitrate(CLI::App &make, std::uint64_t &bitsPerSecond)
{
    const auto isBitrate = [&bitsPerSecond](const std::string &text) {
        bitsPerSecond = parseBitrate(text);
        return bitsPerSecond > 0 ? "" : "'" + text + "' is no bitrate such as 5000000, 500k or 5M, from 1k to 10G";
    };
    make.add_option("--bitrate", "The same; bits in a second, null packets included")
        ->check(CLI::Validator(isBitrate, ""))
        ->option_text("BITRATE [what the tables need]");
}

} // namespace

CLI::App *addMake(CLI::App &app, MakeOptions &options)
{
    CLI::App *make = app.add_subcommand("make", "Make a stream's tables from the JSON that scan prints");
    make->add_option("MODEL", options.input, "A file with the JSON, '-' for standard input")
        ->required()
        ->option_text("(required)");
    make->add_option("-o,--output", options.output, "The stream's file, '-' for standard output")->option_text("FILE");
    make->add_option("--sections", options.sections, "Write each section into a file of its own")
        ->option_text("FOLDER");
    addDuration(*make, options.seconds);
    addBitrate(*make, options.bitsPerSecond);
    addStandard(*make, options.standard,
                "Whose tables to make; auto: ATSC when the model has channels or ATSC tables, else DVB");
    addVerbosity(*make, options.verbosity);
    make->callback([&options] {
        if (options.output.empty() && options.sections.empty())
            throw CLI::RequiredError("--output or --sections");
    });
    make->footer(makeFooter);
    return make;
}

} // namespace psitool
