#include "edit/editCommand.h"
#include "cli/commonOptions.h"
#include "cli/numbers.h"

namespace psitool {

namespace {

constexpr const char *editFooter =
    "A number is decimal, or hexadecimal with 0x. Options may be repeated. The version_number of each changed table "
    "is\n"
    "raised by one. The output has as many packets as the input; where the new tables need more packets than the old\n"
    "ones, they take null packets. A file is written when everything fits, and not before. A pipe's tables must come "
    "in\n"
    "its first 64 MiB, a live stream's within 15 seconds as well; a live packet leaves so long after it came as it "
    "took\n"
    "to find them, a second at least. A live edit goes on until --duration is over or a signal (INT, TERM or HUP) "
    "ends\n"
    "it; what was written until then is kept. A pipe that a signal cuts off leaves nothing.\n\n"
    "Examples:\n"
    "  psitool edit in.ts -o out.ts --service 10 name=\"News 24\" provider=Example type=0x19\n"
    "  psitool edit in.ts -o out.ts --network-name \"My Network\" --ts 0x0101 descriptor=83040001FC01\n"
    "  psitool edit in.ts -o out.ts --program 40 remove --remove-service 40 --pid 0x200=0x300\n"
    "  psitool edit in.ts -o out.ts --set 'nit.streams[0].descriptors[0x41].services[0].service_type=0x19'\n"
    "  psitool edit udp://239.1.1.1:5000 -o udp://239.1.1.2:5000?iface=eth1 --service 10 name=News\n\n"
    "Exit status:\n"
    "  0  the edited stream was written\n"
    "  1  the stream has no such table, service, program or PID, or no room for the new tables\n"
    "  2  wrong use\n"
    "  3  the input cannot be read, or the output cannot be written\n"
    "  4  a signal ended it\n";

struct WordsOption {
    const char *name;
    std::vector<std::string> EditWords::*words;
    const char *form;
    const char *description;
};

constexpr WordsOption wordsOptions[] = {
    {"--service", &EditWords::services, "ID [name=NAME] [provider=NAME] [type=N]",
     "Change a service of the SDT actual; one without service_descriptor gets one"},
    {"--remove-service", &EditWords::removedServices, "ID", "Take a service out of the SDT actual"},
    {"--network-name", &EditWords::networkNames, "NAME", "Change the network's name in the NIT actual"},
    {"--bouquet-name", &EditWords::bouquetNames, "[ID=]NAME",
     "Change a bouquet's name in its BAT; without ID that of the only one"},
    {"--ts", &EditWords::streams, "ID descriptor=HEX",
     "Put a descriptor (tag, length, payload) into the NIT's loop of that transport stream, in place of the first of "
     "that tag"},
    {"--program", &EditWords::programs, "N remove",
     "Take a program out of the PAT; its PMT and its streams become null packets"},
    {"--pid", &EditWords::pids, "OLD=NEW", "Give a stream, a PCR, an ECM or a PMT another PID, in tables and packets"},
    {"--set", &EditWords::sets, "PATH=VALUE",
     "Change any field of any table: 'nit.network_id=5', 'pmt[10].streams[1].stream_type=H.265 video'; null takes an "
     "entry, a descriptor or a field out, PATH[+]=JSON adds one (docs/edit.md)"},
    {"--table", &EditWords::tables, "FILE.json",
     "Send the tables of a file, as psitool tables --json prints them, in place of the stream's"},
    {"--insert", &EditWords::inserts, "FILE.json",
     "Send the sections of a file besides, in place of null packets; with --interval"},
    {"--interval", &EditWords::intervals, "MS", "How often --insert sends them, in milliseconds"},
};

} // namespace

CLI::App *addEdit(CLI::App &app, EditOptions &options)
{
    CLI::App *edit = app.add_subcommand("edit", "Change tables in a transport stream that goes through");
    edit->add_option("INPUT", options.input, inputHelp)->required()->option_text("(required)");
    edit->add_option("-o,--output", options.output,
                     "The edited stream: a file, '-' for standard output; of a live input also "
                     "udp://ADDRESS:PORT[?iface=NAME&ttl=N], or "
                     "the same with rtp://")
        ->required()
        ->option_text("OUTPUT (required)");
    for (const WordsOption &option : wordsOptions)
        edit->add_option(option.name, options.words.*option.words, option.description)
            ->allow_extra_args(false)
            ->option_text(option.form);
    edit->add_option_function<std::string>(
            "--duration", [&options](const std::string &text) { options.duration = secondsOf("--duration", text); },
            "End the edit of a pipe or a live input after so long, with what came until then")
        ->option_text("SECONDS");
    edit->add_option("--bitrate", options.words.bitrate, "Rate of the stream, for --interval where there is no PCR")
        ->option_text("RATE");
    addReading(*edit, options.words.given);
    edit->add_flag("--allow-slower", options.words.allowSlower,
                   "Where there is no room for all, leave out repetitions in place of refusing");
    edit->add_flag("--statistics", options.statistics, "Print what was done on standard error");
    edit->add_flag("-v,--verbose", options.verbosity,
                   "--statistics, and log what the library does: -v errors and warnings, -vv and info, -vvv and debug");
    edit->footer(editFooter);
    return edit;
}

} // namespace psitool
