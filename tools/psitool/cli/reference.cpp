#include "cli/reference.h"

#include <algorithm>
#include <array>

namespace psitool {

namespace {

/** The words of CLI::IsMember, which its description has as "{auto,dvb,atsc}". */
std::vector<std::string> valuesOf(const CLI::Option &option)
{
    const std::string description = option.get_type_name();
    const std::size_t begin = description.find('{');
    const std::size_t end = description.find('}');
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return CLI::detail::split(description.substr(begin + 1, end - begin - 1), ',');
}

ValueKind valueKindOf(const CLI::Option &option)
{
    if (option.get_items_expected_max() == 0)
        return ValueKind::none;
    const std::string form = option.get_positional() ? option.get_name() : option.get_option_text();
    const std::string word = form.substr(0, form.find_first_of(" ["));
    if (word == "FOLDER")
        return ValueKind::folder;
    constexpr std::array files{"INPUT", "INPUT2", "OLD", "NEW", "MODEL", "JSON", "FILE", "OUTPUT", "A", "B"};
    return std::find(files.begin(), files.end(), word) != files.end() ? ValueKind::file : ValueKind::word;
}

OptionEntry entryOf(const CLI::Option &option)
{
    OptionEntry entry;
    entry.names = CLI::detail::split(option.get_name(option.get_positional(), !option.get_positional()), ',');
    entry.form = option.get_option_text();
    entry.help = option.get_description();
    entry.values = valuesOf(option);
    entry.value = valueKindOf(option);
    entry.argument = option.get_positional();
    entry.required = option.get_required();
    entry.repeats = option.get_items_expected_max() > 1;
    return entry;
}

CommandEntry entryOf(const CLI::App &command)
{
    CommandEntry entry{
        command.get_parent() != nullptr ? command.get_name() : "", command.get_description(), command.get_footer(), {}};
    for (const CLI::Option *option : command.get_options())
        if (!option->get_group().empty())
            entry.options.push_back(entryOf(*option));
    return entry;
}

} // namespace

CommandLine commandLineOf(const CLI::App &app)
{
    CommandLine line{entryOf(app)};
    for (const CLI::App *command : app.get_subcommands([](const CLI::App *one) { return !one->get_group().empty(); }))
        line.push_back(entryOf(*command));
    return line;
}

void addReference(CLI::App &app, ReferenceOptions &options)
{
    std::vector<std::string> pages;
    for (const CommandEntry &command : commandLineOf(app))
        if (!command.name.empty())
            pages.push_back(command.name);
    CLI::App *manual = app.add_subcommand("manual", "Print the manual page of psitool or of a subcommand");
    manual->group("")->callback([&options] { options.asked = true; });
    manual->add_option("SUBCOMMAND", options.page)->check(CLI::IsMember(pages));
    CLI::App *completion = app.add_subcommand("completion", "Print what lets a shell complete psitool's command lines");
    completion->group("")->callback([&options] { options.asked = true; });
    completion->add_option("SHELL", options.shell)->required()->check(CLI::IsMember(completionShells()));
}

std::string referenceText(const CLI::App &app, const ReferenceOptions &options, const std::string &version)
{
    const CommandLine line = commandLineOf(app);
    return options.shell.empty() ? manualPage(line, options.page, version) : completion(line, options.shell);
}

} // namespace psitool
