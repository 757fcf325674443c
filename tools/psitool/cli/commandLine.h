/**
 * @file commandLine.h
 * @brief What the definition of the command line gives besides parsing: manual pages, and completion in a shell.
 */
#ifndef PSITOOL_COMMAND_LINE_H
#define PSITOOL_COMMAND_LINE_H

#include <string>
#include <vector>

namespace psitool {

/** @brief What an option's value is, as far as completion goes. */
enum class ValueKind { none, word, file, folder };

/** @brief An option, or an argument without one. */
struct OptionEntry {
    std::vector<std::string> names;  /**< "-o", "--output"; of an argument "INPUT" */
    std::string form;                /**< its value as the help has it: "SECONDS [11]" */
    std::string help;                /**< one sentence */
    std::vector<std::string> values; /**< all that it may be, where it is one of some words */
    ValueKind value = ValueKind::none;
    bool argument = false; /**< stands without an option's name */
    bool required = false;
    bool repeats = false; /**< may be given more than once */
};

/** @brief The program itself, or one of its subcommands. */
struct CommandEntry {
    std::string name; /**< empty for the program itself */
    std::string help; /**< one sentence */
    std::string footer;
    std::vector<OptionEntry> options;
};

/** @brief The program first, then its subcommands in their order; what is hidden is left out. */
using CommandLine = std::vector<CommandEntry>;

/** @brief The manual page of a command, for man. @param name a subcommand, or empty @return empty when there is none */
std::string manualPage(const CommandLine &line, const std::string &name, const std::string &version);

/** @brief The shells that completion() knows. */
const std::vector<std::string> &completionShells();

/** @brief A script that lets a shell complete psitool's command lines. @param shell one of completionShells() */
std::string completion(const CommandLine &line, const std::string &shell);

} // namespace psitool

#endif
