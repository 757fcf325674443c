#include "diff/diffCommand.h"

#include "cli/commonOptions.h"
#include "tables/tablesCommand.h"

namespace psitool {

namespace {

constexpr const char *footer =
    "Each input is a stream, a file of sections or the JSON of psitool tables, told by how it begins. Of a table that\n"
    "comes in several versions the last one is compared. Paths are those of psitool edit --set.\n\n"
    "Examples:\n"
    "  psitool diff in.ts multiplex.ts                  what was changed\n"
    "  psitool tables --json multiplex.ts >saved.json   to be compared with later\n"
    "  psitool diff --type sdt saved.json multiplex.ts  the SDT as it was saved and as it is\n"
    "  psitool diff --json in.ts multiplex.ts | jq .    for programs\n\n"
    "Exit status:\n"
    "  0  there is no difference\n"
    "  1  there is one\n"
    "  2  wrong use, an input cannot be read, or the result cannot be written\n";

} // namespace

CLI::App *addDiff(CLI::App &app, DiffOptions &options)
{
    CLI::App *diff = app.add_subcommand("diff", "Show which tables and fields of two inputs differ");
    diff->add_option("A", options.a, "A stream, a file of sections, or JSON")->required()->option_text("(required)");
    diff->add_option("B", options.b, "What it is compared with")->required()->option_text("(required)");
    addFilters(*diff, options.filter);
    diff->add_flag("--json", options.json, "Print one JSON object instead of text");
    addReading(*diff, options.filter.given);
    addStandard(*diff, options.filter.standard);
    addListening(*diff, options.filter.listen);
    diff->footer(footer);
    return diff;
}

} // namespace psitool
