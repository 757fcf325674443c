#include "cli/commandLine.h"

#include <algorithm>
#include <map>

namespace psitool {

namespace {

/** What a page says first, beyond the help's one sentence. */
const std::map<std::string, std::string> &descriptions()
{
    static const std::map<std::string, std::string> pages{
        {"", "psitool reads MPEG-2 transport streams from files, pipes and multicast groups, shows the tables that "
             "they carry "
             "(PSI, DVB SI, ATSC PSIP, emergency tables) as text or JSON, makes streams from such JSON, and changes "
             "tables in "
             "streams that go through. Each subcommand has a page of its own."},
        {"scan",
         "scan goes through the input once and shows the programs with their streams, names and descriptors, and what "
         "the "
         "tables say of the network. A file is read to its end. A live input is listened to until everything that its "
         "tables announce has come and no table can be missing that comes as often as its standard wants; what is "
         "missing "
         "then is named with the reason."},
        {"pids", "pids shows each PID of the input: what it is by the tables, or that none refers to it; its packets, "
                 "share and "
                 "rate; PCR, scrambling and errors; and of every table its versions and how often it comes."},
        {"services",
         "services lists the services of the input with their names, channel numbers and streams, and what is on; for "
         "people, as JSON, as CSV, or as a playlist. An entry of the playlist names its program_number; a player that "
         "does not honour that plays the first program of the stream."},
        {"tables", "tables shows the sections of the input field by field, as the standards name the fields. What is "
                   "wrong with a "
                   "section is told, and what can be read of it is shown. With --json every section can go back to "
                   "bytes, bit for "
                   "bit, by way of psitool-compile(1)."},
        {"compile", "compile makes sections of the JSON that psitool-tables(1) prints. A section that was not edited "
                    "comes back bit "
                    "for bit, reserved bits and damage included."},
        {"make", "make generates the tables of a stream from the model that psitool-scan(1) prints as JSON, edited or "
                 "not: every "
                 "table once, or a stream of some length in which the tables come at their customary intervals."},
        {"edit",
         "edit copies a stream and changes tables in it. The packets of the changed tables take the places of the old "
         "ones; all other packets go through byte for byte."},
        {"diff", "diff compares two inputs table by table and field by field: streams, files of sections, or JSON that "
                 "psitool-tables(1) prints, in any mix."},
    };
    return pages;
}

/** Text as roff wants it: no line begins with a request, and hyphens are those of the command line. */
std::string roff(const std::string &text)
{
    std::string escaped;
    bool lineBegins = true;
    for (const char letter : text) {
        if (lineBegins && (letter == '.' || letter == '\''))
            escaped += "\\&";
        if (letter == '\\')
            escaped += "\\e";
        else if (letter == '-')
            escaped += "\\-";
        else
            escaped += letter;
        lineBegins = letter == '\n';
    }
    return escaped;
}

std::string bold(const std::string &text)
{
    return "\\fB" + roff(text) + "\\fR";
}

std::string italic(const std::string &text)
{
    return "\\fI" + roff(text) + "\\fR";
}

std::string pageName(const CommandEntry &command)
{
    return command.name.empty() ? "psitool" : "psitool-" + command.name;
}

std::string lowerFirst(std::string sentence)
{
    if (sentence.size() > 1 && sentence[0] >= 'A' && sentence[0] <= 'Z' && sentence[1] >= 'a')
        sentence[0] = static_cast<char>(sentence[0] - 'A' + 'a');
    if (!sentence.empty() && sentence.back() == '.')
        sentence.pop_back();
    return sentence;
}

/** "INPUT", "-o OUTPUT": what no command line may lack. */
std::string required(const OptionEntry &option)
{
    if (option.argument)
        return " " + (option.required ? italic(option.names[0]) : "[" + italic(option.names[0]) + "]");
    return option.required ? " " + bold(option.names[0]) + " " + italic(option.form.substr(0, option.form.find(' ')))
                           : "";
}

std::string synopsis(const CommandEntry &command)
{
    if (command.name.empty())
        return bold("psitool") + " " + italic("SUBCOMMAND") + " [" + italic("OPTION") + "...]\n.br\n" +
               bold("psitool") + " [" + bold("--help") + "|" + bold("--version") + "]\n";
    std::string text = bold("psitool " + command.name) + " [" + italic("OPTION") + "...]";
    for (const OptionEntry &option : command.options)
        text += required(option);
    return text + "\n";
}

/** The form without what the synopsis says. */
std::string formOf(const OptionEntry &option)
{
    const std::size_t remark = option.form.find(" (required)");
    return option.argument || option.form.empty() ? "" : " " + italic(option.form.substr(0, remark));
}

std::string optionItem(const OptionEntry &option)
{
    std::string names;
    for (const std::string &name : option.names)
        names += (names.empty() ? "" : ", ") + (option.argument ? italic(name) : bold(name));
    const char *again = option.repeats ? " May be repeated." : "";
    const char *end = option.help.empty() || option.help.back() != '.' ? "." : "";
    return ".TP\n" + names + formOf(option) + "\n" + roff(option.help) + end + again + "\n";
}

std::string options(const CommandEntry &command)
{
    std::string text = ".SH OPTIONS\n";
    for (const bool arguments : {true, false})
        for (const OptionEntry &option : command.options)
            if (option.argument == arguments)
                text += optionItem(option);
    return text;
}

/** A paragraph "Exit status:" of lines "  0  what it means". */
std::string exitStatus(const std::string &lines)
{
    std::string text = ".SH EXIT STATUS\n";
    for (std::size_t begin = 0; begin < lines.size();) {
        const std::size_t end = std::min(lines.find('\n', begin), lines.size());
        if (const std::string line = lines.substr(begin, end - begin); line.size() > 5)
            text += ".TP\n" + bold(line.substr(2, 1)) + "\n" + roff(line.substr(5)) + ".\n";
        begin = end + 1;
    }
    return text;
}

/** Lines without the two spaces that a help has in front of them. */
std::string unindented(std::string lines)
{
    lines.insert(0, "\n");
    for (std::size_t at = 0; (at = lines.find("\n  ", at)) != std::string::npos; ++at)
        lines.erase(at + 1, 2);
    return lines.substr(1);
}

/** The paragraphs of a help's last part: "Examples:" and "Exit status:" become sections, the others text. */
struct Footer {
    std::string text, examples, exits;

    explicit Footer(const std::string &footer)
    {
        for (std::size_t begin = 0; begin < footer.size();) {
            const std::size_t end = std::min(footer.find("\n\n", begin), footer.size());
            take(footer.substr(begin, end - begin));
            begin = end + 2;
        }
    }

private:
    void take(const std::string &paragraph)
    {
        const std::string head = paragraph.substr(0, paragraph.find('\n'));
        if (head == "Examples:")
            examples = ".SH EXAMPLES\n.nf\n" + roff(unindented(paragraph.substr(head.size() + 1))) + "\n.fi\n";
        else if (head == "Exit status:")
            exits = exitStatus(paragraph.substr(head.size() + 1));
        else
            text += ".PP\n" + roff(paragraph) + (paragraph.back() == '\n' ? "" : "\n");
    }
};

std::string subcommands(const CommandLine &line)
{
    std::string text = ".SH SUBCOMMANDS\n";
    for (const CommandEntry &command : line)
        if (!command.name.empty())
            text += ".TP\n" + bold(command.name) + "\n" + roff(command.help) + ".\n";
    return text;
}

std::string seeAlso(const CommandLine &line, const CommandEntry &page)
{
    std::string pages;
    for (const CommandEntry &command : line)
        if (command.name != page.name)
            pages += (pages.empty() ? ".BR " : ",\n.BR ") + roff(pageName(command)) + " (1)";
    return ".SH SEE ALSO\n" + pages + "\n";
}

std::string page(const CommandLine &line, const CommandEntry &command, const std::string &version)
{
    const auto description = descriptions().find(command.name);
    const Footer footer(command.footer);
    std::string title = pageName(command);
    std::transform(title.begin(), title.end(), title.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return ".TH " + roff(title) + " 1 \"\" \"psitool " + version + "\" \"User Commands\"\n.SH NAME\n" +
           roff(pageName(command)) + " \\- " + roff(lowerFirst(command.help)) + "\n.SH SYNOPSIS\n" + synopsis(command) +
           ".SH DESCRIPTION\n" + roff(description != descriptions().end() ? description->second : command.help + ".") +
           "\n" + footer.text + (command.name.empty() ? subcommands(line) : "") + options(command) + footer.examples +
           footer.exits +
           ".SH FILES\n.TP\n.I /usr/share/doc/psitool\n"
           "What stands in the JSON, all that can be edited, and every structure that is known.\n" +
           seeAlso(line, command);
}

} // namespace

std::string manualPage(const CommandLine &line, const std::string &name, const std::string &version)
{
    const auto command =
        std::find_if(line.begin(), line.end(), [&name](const CommandEntry &one) { return one.name == name; });
    return command == line.end() ? "" : page(line, *command, version);
}

} // namespace psitool
