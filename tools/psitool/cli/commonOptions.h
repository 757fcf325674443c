/**
 * @file commonOptions.h
 * @brief Options that subcommands have in common.
 */
#ifndef PSITOOL_COMMON_OPTIONS_H
#define PSITOOL_COMMON_OPTIONS_H

#include "describe/fields.h"
#include "input/collection.h"

#include <CLI/CLI.hpp>

namespace psitool {

/** @brief What INPUT is, for its help. */
constexpr const char *inputHelp =
    "A file of 188, 192 or 204-byte packets, '-' for standard input, a capture (pcap, pcapng; "
    "FILE?stream=[SOURCE@]ADDRESS:PORT "
    "for one of several streams in it), or udp://[SOURCE@][ADDRESS]:PORT[?iface=NAME], the same with rtp://";

/** @brief What --standard is for, where tables are searched. */
constexpr const char *searchHelp = "Whose tables to search; auto: those of each standard that the stream carries";

/** @brief Add --standard. @param help what it is for */
void addStandard(CLI::App &command, ScanStandard &standard, const char *help = searchHelp);
/** @brief Add --timeout, --for and --bitrate, for subcommands that go through an input once. */
void addListening(CLI::App &command, ListenOptions &listen);
/** @brief A word as it is compared: in lower case. */
std::string lowerCase(std::string word);

/** @brief Add --private and --charset: how descriptors and texts are read that do not say it. */
void addReading(CLI::App &command, psi::describe::DescriptorContext &given);
/** @brief Add --color. */
void addColor(CLI::App &command, ColorChoice &choice);
/** @brief The seconds that an option was given, above 0. @throws CLI::ValidationError for any other text */
double secondsOf(const char *option, const std::string &text);
/** @brief Add -v. */
void addVerbosity(CLI::App &command, int &verbosity);

} // namespace psitool

#endif
