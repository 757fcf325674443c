#include "tables/tablesCommand.h"

#include "cli/commonOptions.h"
#include "cli/numbers.h"
#include "input/documentText.h"
#include "output/lines.h"

namespace psitool {

namespace {

constexpr const char *tablesFooter =
    "Examples:\n"
    "  psitool tables multiplex.ts                      every section of a recording, field by field\n"
    "  psitool tables --type pmt --id 10 multiplex.ts   the PMT of program 10\n"
    "  psitool tables --pid 0x11 --hex multiplex.ts     all sections of a PID, with their bytes\n"
    "  psitool tables --json udp://239.1.1.1:5000       a live multicast, for programs\n"
    "  psitool tables --section ebit.bin                sections in a file\n"
    "  psitool tables --private nordig multiplex.ts     private descriptors as NorDig's\n"
    "  psitool tables --summary multiplex.ts            which sections, and which descriptors are not known\n\n"
    "Exit status:\n"
    "  0  tables were found\n"
    "  1  there is no such table\n"
    "  2  wrong use\n"
    "  3  an input cannot be read or holds no whole section, or the result cannot be written\n";

/** A number in decimal or, behind 0x, in hexadecimal digits. @throw CLI::ValidationError it is none, or too large */
u16 smallNumber(const char *option, const std::string &text, u32 most)
{
    const std::optional<u32> value = numberFrom(text);
    if (!value || *value > most)
        throw CLI::ValidationError(option, "'" + text + "' is no number of 0 to " + hexDec(most));
    return static_cast<u16>(*value);
}

} // namespace

void addFilters(CLI::App &tables, TablesOptions &options)
{
    tables
        .add_option_function<std::vector<std::string>>(
            "--type",
            [&options](const std::vector<std::string> &words) {
                for (const std::string &word : words)
                    options.types.push_back(lowerCase(word));
            },
            "Show these tables only: " + joined(tableWords(), ", "))
        ->check(CLI::IsMember(tableWords(), CLI::ignore_case))
        ->allow_extra_args(false)
        ->option_text("TABLE ...");
    tables
        .add_option_function<std::vector<std::string>>(
            "--pid",
            [&options](const std::vector<std::string> &words) {
                for (const std::string &word : words)
                    options.pids.push_back(smallNumber("--pid", word, 0x1FFF));
            },
            "Show the sections of this PID only, of any table")
        ->allow_extra_args(false)
        ->option_text("PID ...");
    tables
        .add_option_function<std::string>(
            "--id", [&options](const std::string &word) { options.id = smallNumber("--id", word, 0xFFFF); },
            "Show one table_id_extension only: program_number, network_id, ...")
        ->option_text("N");
}

CLI::App *addTables(CLI::App &app, TablesOptions &options)
{
    CLI::App *tables = app.add_subcommand("tables", "Show the sections of a stream, or of files, field by field");
    CLI::Option *input = tables->add_option("INPUT", options.input, inputHelp);
    input->option_text("(this or --section)");
    addFilters(*tables, options);
    tables
        ->add_option("--section", options.sections, "Read files of sections, table_id to CRC_32, one behind the other")
        ->excludes(input)
        ->excludes("--pid")
        ->option_text("FILE ...");
    tables->add_flag("--summary", options.summary,
                     "Show a line for each section, and how many descriptors were decoded and which were not");
    addReading(*tables, options.given);
    tables->add_flag("--hex", options.hex, "Show the bytes of each section as well, and which of them are which field");
    tables->add_flag("--json", options.json, "Print one JSON object instead of text");
    tables->add_flag("--yaml", options.yaml, "Print the same as YAML")->excludes("--json");
    tables->add_flag("--schema", options.schema, "Print the JSON Schema of what --json prints and compile takes");
    addStandard(*tables, options.standard);
    addListening(*tables, options.listen);
    addColor(*tables, options.color);
    addVerbosity(*tables, options.verbosity);
    tables->callback([&options] {
        if (options.yaml && !knowsYaml())
            throw CLI::ValidationError("--yaml", "this psitool was built without yaml-cpp");
        if (options.input.empty() && options.sections.empty() && !options.schema)
            throw CLI::RequiredError("INPUT or --section");
    });
    tables->footer(tablesFooter);
    return tables;
}

} // namespace psitool
