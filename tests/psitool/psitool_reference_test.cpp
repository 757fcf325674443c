#include "programFixture.h"

#include "support/emergencyBuilder.h"
#include "support/pattern.h"

#include <sstream>

namespace {

using namespace psitest;

/** What a group of a pattern caught, the first one unless another is named. */
std::vector<std::string> found(const std::string &text, const char *pattern, std::size_t group = 1)
{
    std::vector<std::string> words;
    for (const Match &match : matchesIn(text, pattern))
        words.push_back(match[group]);
    return words;
}

class Reference : public PsitoolTest {
protected:
    std::string printed(const std::string &command) const
    {
        const Result result = shell(command);
        EXPECT_EQ(result.status, 0) << command << "\n" << result.err;
        EXPECT_EQ(result.err, "") << command;
        return result.out;
    }

    /** The subcommands of the program's help, and nothing for the program itself. */
    std::vector<std::string> pages() const
    {
        const std::string help = printed("psitool --help");
        std::vector<std::string> names = found(help.substr(help.find("Subcommands:")), "\n  ([a-z]+) ");
        names.emplace_back();
        EXPECT_GE(names.size(), 8U);
        return names;
    }

    /** The options that a help begins its lines with. */
    std::vector<std::string> optionsOf(const std::string &page) const
    {
        const std::vector<std::string> options =
            found(printed("psitool " + page + " --help"), "\n  (-[a-z],)?(--[a-z0-9-]+)", 2);
        EXPECT_FALSE(options.empty()) << page;
        return options;
    }

    /** What bash offers for the last of some words. */
    std::string completed(const std::string &words) const
    {
        return printed("psitool completion bash >completion; bash -c '. ./completion; COMP_WORDS=(psitool " + words +
                       "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _psitool; echo \"${COMPREPLY[@]}\"'");
    }
};

TEST_F(Reference, EveryOptionOfAHelpStandsInTheManualPage)
{
    for (const std::string &page : pages()) {
        const std::string manual = replaced(printed("psitool manual " + page), "\\-", "-");
        for (const std::string &option : optionsOf(page))
            EXPECT_TRUE(contains(manual, "\\fB" + option + "\\fR")) << "psitool " << page << " " << option;
    }
}

TEST_F(Reference, TheWordHelpIsTheOptionHelp)
{
    for (const std::string &page : pages())
        EXPECT_EQ(printed("psitool help " + page), printed("psitool " + page + " --help"));
    EXPECT_EQ(shell("psitool help nothing").status, 2);
}

TEST_F(Reference, EveryPageHasItsSections)
{
    for (const std::string &page : pages()) {
        const std::string manual = printed("psitool manual " + page);
        for (const char *section : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "FILES", "SEE ALSO"})
            EXPECT_TRUE(contains(manual, std::string(".SH ") + section + "\n")) << page << ": " << section;
        EXPECT_EQ(contains(manual, ".SH EXAMPLES\n"), !page.empty()) << page;
        EXPECT_EQ(contains(manual, ".SH SUBCOMMANDS\n"), page.empty()) << page;
    }
}

/** The commands of a page's examples, without what is said behind them; live inputs are left out. */
std::vector<std::string> examplesOf(const std::string &manual)
{
    const std::string text = replaced(manual, "\\-", "-");
    const std::size_t begin = text.find(".SH EXAMPLES");
    if (begin == std::string::npos)
        return {};
    std::vector<std::string> commands;
    for (const std::string &line : found(text.substr(begin, text.find(".SH", begin + 3) - begin), "\n(psitool [^\n]*)"))
        if (!contains(line, "://"))
            commands.push_back(line.substr(0, line.find("  ")));
    return commands;
}

/** The commands that stand for themselves in a manual; live inputs and forms with INPUT are left out. */
std::vector<std::string> commandsOf(const std::string &manual)
{
    std::vector<std::string> commands;
    for (const std::string &line : found(manual, "\n    (psitool ([^\n]*\\\\\n)*[^\n]*)"))
        if (!contains(line, "://") && !contains(line, "INPUT") && !contains(line, " [--"))
            commands.push_back(line.substr(0, line.find("  #"))); // behind it stands a comment
    return commands;
}

/** A command that is shown with what it prints; a line "..." stands for any lines, behind a beginning for its rest. */
struct Shown {
    std::string command;
    std::vector<std::string> lines;
};

/** The commands of the blocks that begin with "$ ". */
std::vector<Shown> transcriptsOf(const std::string &manual)
{
    std::vector<Shown> transcripts;
    for (const std::string &block : found(manual, "\n```\n(\\$ [^`]*)```")) {
        std::istringstream text(block);
        for (std::string line; std::getline(text, line);) {
            if (line.rfind("$ ", 0) == 0) {
                transcripts.push_back({line.substr(2), {}});
                for (std::string &command = transcripts.back().command; command.back() == '\\';) {
                    std::getline(text, line);
                    command.back() = '\n';
                    command.insert(command.size() - 1, "\\");
                    command += line;
                }
            } else if (!transcripts.empty()) {
                transcripts.back().lines.push_back(line);
            }
        }
    }
    return transcripts;
}

/** Whether lines are what is shown of them. */
bool isAsShown(const std::vector<std::string> &lines, std::size_t at, const std::vector<std::string> &shown,
               std::size_t from)
{
    if (from == shown.size())
        return at == lines.size();
    if (shown[from] == "...") {
        while (at < lines.size() && !isAsShown(lines, at, shown, from + 1))
            ++at;
        return at < lines.size() || from + 1 == shown.size();
    }
    if (at == lines.size())
        return false;
    const std::string &line = shown[from];
    const bool cut = line.size() > 3 && line.compare(line.size() - 3, 3, "...") == 0;
    const bool same = cut ? lines[at].compare(0, line.size() - 3, line, 0, line.size() - 3) == 0 : lines[at] == line;
    return same && isAsShown(lines, at + 1, shown, from + 1);
}

/** A folder with what examples read; counts the commands that were run. */
class Examples : public Reference {
protected:
    void SetUp() override
    {
        Reference::SetUp();
        std::filesystem::create_directory(folder / "examples");
        for (const char *name : {"multiplex.ts", "in.ts", "examples/multiplex.ts"})
            std::filesystem::copy(PSITOOL_EXAMPLE, folder / name);
        write("ebit.bin", ebitOf({}).build());
        printed("printf '#!/bin/sh\\ncat\\n' >jq; chmod +x jq"); // where there is none
    }

    /** @param worst 1: the example stream may lack what a command is about */
    void run(const std::vector<std::string> &commands, int worst = 0)
    {
        for (const std::string &command : commands) {
            const Result result = shell("PATH=.:$PATH; " + command);
            EXPECT_TRUE(result.status >= 0 && result.status <= worst) << result.status << ": " << command << "\n"
                                                                      << result.err;
            ++count;
        }
    }

    /** Each command prints what is shown; what "cat" shows is a file that those behind it read. */
    void show(const std::vector<Shown> &transcripts)
    {
        for (const auto &[command, lines] : transcripts) {
            std::string text;
            for (const std::string &line : lines)
                text += line + "\n";
            if (command.rfind("cat ", 0) == 0) {
                write(command.substr(4), {text.begin(), text.end()});
                continue;
            }
            const Result result = shell(command);
            EXPECT_TRUE(result.status == 0 || result.status == 1) << command << "\n" << result.err;
            std::istringstream printed(result.out);
            std::vector<std::string> printedLines;
            for (std::string line; std::getline(printed, line);)
                printedLines.push_back(line);
            EXPECT_TRUE(isAsShown(printedLines, 0, lines, 0)) << command << "\nprints\n"
                                                              << result.out << "shown is\n"
                                                              << text;
            ++count;
        }
    }

    std::size_t count = 0;
};

TEST_F(Examples, OfEveryPageWork)
{
    for (const std::string &page : pages())
        run(examplesOf(printed("psitool manual " + page)));
    EXPECT_GE(count, 15U);
}

TEST_F(Examples, OfTheReadmeAndTheManualsWork)
{
    const std::filesystem::path docs = std::filesystem::path(PSITOOL_JSON_MANUAL).parent_path();
    run(commandsOf(contentOf(PSITOOL_README)));
    for (const char *manual : {"edit.md", "json.md", "tables-json.md", "diff.md"})
        run(commandsOf(contentOf(docs / manual)), 1);
    EXPECT_GE(count, 8U);
}

TEST_F(Examples, TranscriptsShowWhatIsPrinted)
{
    const std::filesystem::path docs = std::filesystem::path(PSITOOL_JSON_MANUAL).parent_path();
    show(transcriptsOf(contentOf(PSITOOL_README)));
    for (const char *manual : {"edit.md", "json.md", "tables-json.md", "diff.md"})
        show(transcriptsOf(contentOf(docs / manual)));
    EXPECT_GE(count, 5U);
}

TEST_F(Reference, APageOfNothingThatIsThereIsWrongUse)
{
    EXPECT_EQ(shell("psitool manual nothing").status, 2);
    EXPECT_EQ(shell("psitool completion").status, 2);
    EXPECT_EQ(shell("psitool completion tcsh").status, 2);
}

TEST_F(Reference, EveryShellKnowsEveryOption)
{
    for (const std::string shellName : {"bash", "fish", "zsh"}) {
        const std::string script = printed("psitool completion " + shellName);
        for (const std::string &page : pages())
            for (const std::string &option : optionsOf(page)) {
                const std::string name = shellName == "fish" ? " -l " + option.substr(2) + " " : option;
                EXPECT_TRUE(contains(script, name)) << shellName << ": " << page << " " << option;
            }
    }
}

TEST_F(Reference, BashCompletesSubcommandsOptionsValuesAndFiles)
{
    EXPECT_EQ(completed("ed"), "edit\n");
    EXPECT_EQ(completed("--v"), "--version\n");
    EXPECT_EQ(completed("scan --wa"), "--watch\n");
    EXPECT_EQ(completed("scan --standard d"), "dvb\n");
    EXPECT_EQ(completed("tables --type pm"), "pmt\n");
    write("capture.ts", {0});
    EXPECT_EQ(completed("pids cap"), "capture.ts\n");
    EXPECT_EQ(completed("scan --watch 1"), "\n");
}

} // namespace
