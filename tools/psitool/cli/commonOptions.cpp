#include "cli/commonOptions.h"

#include "cli/numbers.h"
#include "describe/tableKinds.h"
#include "describe/tagSpaces.h"
#include "describe/text.h"
#include "output/described.h"
#include "output/lines.h"

#include <algorithm>
#include <cctype>
#include <map>

namespace psitool {

void addStandard(CLI::App &command, ScanStandard &standard, const char *help)
{
    static const std::map<std::string, ScanStandard> standards{
        {"auto", ScanStandard::automatic}, {"dvb", ScanStandard::dvb}, {"atsc", ScanStandard::atsc}};
    command
        .add_option_function<std::string>(
            "--standard", [&standard](const std::string &name) { standard = standards.at(name); }, help)
        ->check(CLI::IsMember({"auto", "dvb", "atsc"}))
        ->option_text("auto|dvb|atsc [auto]");
}

namespace {

/** The table_ids behind a word: "nit" is actual and other. */
std::vector<u8> tableIdsOf(const std::string &word)
{
    std::vector<u8> ids;
    for (const TableKind &kind : tableKinds())
        if (word == kind.family || word == kind.option)
            ids.push_back(kind.tableId);
    return ids;
}

/** "tdt=30" */
void addWait(ListenOptions &listen, const std::string &word)
{
    const std::size_t equals = word.find('=');
    const std::vector<u8> ids = tableIdsOf(word.substr(0, equals));
    const std::optional<double> seconds =
        equals == std::string::npos ? std::nullopt : secondsFrom(word.substr(equals + 1));
    if (ids.empty() || !seconds)
        throw CLI::ValidationError("--for", "'" + word + "' is no TABLE=SECONDS (tables: see psitool tables --help)");
    for (const u8 id : ids)
        listen.waits[id] = *seconds;
    listen.timeout = std::max(listen.timeout, *seconds + 1);
}

} // namespace

double secondsOf(const char *option, const std::string &text)
{
    const std::optional<double> seconds = secondsFrom(text);
    if (!seconds)
        throw CLI::ValidationError(option, "'" + text + "' is no number of seconds up to 864000 (ten days)");
    return *seconds;
}

void addListening(CLI::App &command, ListenOptions &listen)
{
    command
        .add_option_function<std::vector<std::string>>(
            "--for",
            [&listen](const std::vector<std::string> &words) {
                for (const std::string &word : words)
                    addWait(listen, word);
            },
            "Wait so long for a table of a live input, in place of the longest interval that its standard allows")
        ->option_text("TABLE=SECONDS")
        ->allow_extra_args(false);
    command
        .add_option_function<std::string>(
            "--timeout", [&listen](const std::string &text) { listen.timeout = secondsOf("--timeout", text); },
            "End a live input after so long, whatever is missing")
        ->option_text("SECONDS [11]");
    command
        .add_option_function<std::string>(
            "--bitrate",
            [&listen](const std::string &text) {
                const std::optional<double> rate = rateFrom(text);
                if (!rate)
                    throw CLI::ValidationError("--bitrate", "'" + text + "' is no bit rate (38M, 5.1M, 800k)");
                listen.bitrate = *rate;
            },
            "Take a recording's time from its rate, not from its PCRs")
        ->option_text("BIT/S");
}

std::string lowerCase(std::string word)
{
    for (char &letter : word)
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return word;
}

void addReading(CLI::App &command, psi::describe::DescriptorContext &given)
{
    using namespace psi::describe;
    command
        .add_option_function<std::string>(
            "--private",
            [&given](const std::string &word) {
                const std::optional<u32> specifier = specifierOf(lowerCase(word));
                if (!specifier)
                    throw CLI::ValidationError("--private", "'" + word + "' is none of " +
                                                                joined(specifierWords(), ", ") + ", and no number");
                given.privateDataSpecifier = *specifier;
            },
            "Whose private descriptors are meant when no private_data_specifier stands in front of them: " +
                joined(specifierWords(), ", ") + ", or its number")
        ->option_text("OWNER");
    command
        .add_option_function<std::string>(
            "--charset",
            [&given](const std::string &name) {
                const char *charset = charsetNamed(name);
                if (charset == nullptr)
                    throw CLI::ValidationError("--charset",
                                               "'" + name + "' is none of " + joined(usualCharsets(), ", "));
                given.charset = charset;
            },
            "The character table of texts that select none: " + joined(usualCharsets(), ", "))
        ->option_text("NAME");
}

void addColor(CLI::App &command, ColorChoice &choice)
{
    static const std::map<std::string, ColorChoice> choices{
        {"auto", ColorChoice::automatic}, {"always", ColorChoice::always}, {"never", ColorChoice::never}};
    command
        .add_option_function<std::string>(
            "--color", [&choice](const std::string &word) { choice = choices.at(word); },
            "Colours; auto: on a terminal, unless the environment has NO_COLOR")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->option_text("auto|always|never [auto]");
}

void addVerbosity(CLI::App &command, int &verbosity)
{
    command.add_flag("-v,--verbose", verbosity,
                     "Log what the library does on standard error: -v errors and warnings, -vv and info, -vvv and "
                     "debug");
}

} // namespace psitool
