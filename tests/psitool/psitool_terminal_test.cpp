// What a person at a terminal sees: colours, lines that fit, a summary; and that nothing else gets them.
#include "output/look.h"
#include "programFixture.h"

#include <clocale>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace psitest;
using psitool::columnsOf;
using psitool::cut;
using psitool::wrapped;

constexpr const char *escape = "\x1B";

class PsitoolTerminal : public PsitoolTest {
protected:
    /** What a command writes on a terminal of so many columns: standard output and standard error. */
    std::string onTerminal(const std::string &command, u16 columns = 80) const
    {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 24;
        int master = -1;
        const std::string line = "unset NO_COLOR; export LC_ALL=C.UTF-8 TERM=xterm; psitool() { '" PSITOOL_PROGRAM
                                 "' \"$@\"; }; cd '" +
                                 folder.string() + "'; " + command;
        const pid_t child = forkpty(&master, nullptr, nullptr, &size);
        if (child == 0) {
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            _exit(127);
        }
        std::string out;
        char part[4096];
        for (ssize_t count = 0; (count = read(master, part, sizeof part)) > 0;)
            out.append(part, static_cast<std::size_t>(count));
        close(master);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
        out.erase(std::remove(out.begin(), out.end(), '\r'), out.end());
        return out;
    }

    /** Without what sets colours. */
    static std::string plain(std::string text)
    {
        for (std::size_t at = 0; (at = text.find(escape)) != std::string::npos;)
            text.erase(at, text.find('m', at) + 1 - at);
        return text;
    }

    static std::vector<std::string> linesOf(const std::string &text)
    {
        std::vector<std::string> lines;
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find('\n', begin), text.size());
            lines.push_back(text.substr(begin, end - begin));
            begin = end + 1;
        }
        return lines;
    }

    static void expectToFit(const std::string &text, std::size_t columns)
    {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        ASSERT_FALSE(text.empty());
        for (const std::string &line : linesOf(plain(text)))
            EXPECT_LE(columnsOf(line), columns) << line;
    }
};

TEST_F(PsitoolTerminal, ScanShowsASummaryOfOneScreen)
{
    const std::string text = onTerminal("psitool scan --color never " + example);
    EXPECT_LE(linesOf(text).size(), 24u) << text;
    EXPECT_TRUE(contains(text, "Transport stream 0x0101 (257): 4 programs, network 0xFF01 (65281)")) << text;
    EXPECT_TRUE(contains(text, "── 0x0028 (40)    \"Pay Four\", scrambled: MPEG-2 video, ")) << text;
    EXPECT_TRUE(contains(text, "── PMT                   4 sections, every 19 to 177 ms (mean 92)\n")) << text;
    EXPECT_FALSE(contains(text, "descriptor: ")) << text;
    EXPECT_EQ(onTerminal("psitool scan --color never --summary " + example), text);
}

TEST_F(PsitoolTerminal, ScanShowsTheDetailsOnRequest)
{
    const std::string details = onTerminal("psitool scan --color never --details " + example, 500);
    EXPECT_EQ(details, shell("psitool scan " + example).out);
    EXPECT_TRUE(contains(details, "0x0A ISO_639_language_descriptor: ")) << details;
}

TEST_F(PsitoolTerminal, APipeGetsEverythingInWholeLinesWithoutColours)
{
    for (const char *command : {"scan ", "pids ", "services ", "tables "}) {
        const std::string text = shell("psitool " + (command + example)).out;
        EXPECT_FALSE(contains(text, escape)) << command;
        EXPECT_EQ(onTerminal("psitool " + (command + example) + " | cat"), text);
    }
    EXPECT_TRUE(contains(shell("psitool scan --summary " + example).out,
                         "\"News One\": MPEG-2 video, MPEG-1 audio eng, "
                         "MPEG-1 audio deu, AC-3 audio fra\n"));
}

TEST_F(PsitoolTerminal, LinesFitIntoIt)
{
    for (const char *command :
         {"scan --details ", "scan --summary ", "pids ", "services ", "tables ", "tables --summary "})
        for (const u16 columns : {u16{40}, u16{80}})
            expectToFit(onTerminal("psitool " + (command + example), columns), columns);
}

TEST_F(PsitoolTerminal, JsonIsTheSameThere)
{
    for (const char *command : {"scan --json ", "pids --json ", "services --json "})
        EXPECT_EQ(onTerminal("psitool " + (command + example)), shell("psitool " + (command + example)).out);
}

TEST_F(PsitoolTerminal, ColoursAreForTerminalsUnlessAskedFor)
{
    const std::string heading = "\x1B[1mTables acquired\x1B[0m\n";
    EXPECT_TRUE(contains(onTerminal("psitool scan " + example), heading));
    EXPECT_FALSE(contains(onTerminal("psitool scan --color never " + example), escape));
    EXPECT_FALSE(contains(onTerminal("NO_COLOR=1 psitool scan " + example), escape));
    EXPECT_FALSE(contains(onTerminal("TERM=dumb psitool scan " + example), escape));
    EXPECT_TRUE(contains(onTerminal("NO_COLOR= psitool scan " + example), escape)) << "set to nothing";
    EXPECT_TRUE(contains(onTerminal("NO_COLOR=1 psitool scan --color always " + example), escape));
    const std::string piped = shell("psitool scan --color always " + example).out;
    EXPECT_TRUE(contains(piped, heading));
    EXPECT_EQ(plain(piped), shell("psitool scan " + example).out);
}

TEST_F(PsitoolTerminal, WhatIsWrongIsRed)
{
    const std::string file = write("a.ts", packetsOf(PatBuilder().program(7, 0x100).build(), 0));
    EXPECT_TRUE(contains(onTerminal("psitool scan " + file), "\x1B[31m0x0007 (7)     (no name): PMT not found\x1B[0m"));
}

TEST_F(PsitoolTerminal, AWrongColourIsWrongUse)
{
    EXPECT_EQ(shell("psitool scan --color red " + example).status, 2);
}

/* ---- lines ----------------------------------------------------------------------------------------------------------
 */

class Lines : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

TEST_F(Lines, AreAsWideAsTheirCharacters)
{
    EXPECT_EQ(columnsOf("Cinéma"), 6u);
    EXPECT_EQ(columnsOf("日本"), 4u);
    EXPECT_EQ(columnsOf("e\u0301"), 1u) << "a combining accent";
    EXPECT_EQ(columnsOf("\xFF\xFE"), 2u) << "no characters at all";
}

TEST_F(Lines, AreCutBetweenCharacters)
{
    EXPECT_EQ(cut("日本語テレビ", 7), "日本...");
    EXPECT_EQ(cut("日本語テレビ", 8), "日本...") << "half a character does not fit";
    EXPECT_EQ(cut("short", 5), "short");
    EXPECT_EQ(cut("short", 2), "sh");
    EXPECT_EQ(cut("anything", 0), "anything") << "no limit";
}

TEST_F(Lines, GoOnBelowTheirLastColumn)
{
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(wrapped("label     one two three four", 20), (Pieces{"label     one two", "          three four"}));
    EXPECT_EQ(wrapped("one two three four five six", 20), (Pieces{"one two three four", "    five six"}));
    EXPECT_EQ(wrapped(std::string(45, 'x'), 20),
              (Pieces{std::string(20, 'x'), "    " + std::string(16, 'x'), "    " + std::string(9, 'x')}));
    EXPECT_EQ(wrapped("label     one two three four", 0).size(), 1u);
}

} // namespace
