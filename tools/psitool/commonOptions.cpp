#include "commonOptions.h"

#include <map>

namespace psitool {

void addStandard(CLI::App &command, ScanStandard &standard)
{
    static const std::map<std::string, ScanStandard> standards{
        {"auto", ScanStandard::automatic}, {"dvb", ScanStandard::dvb}, {"atsc", ScanStandard::atsc}};
    command
        .add_option_function<std::string>(
            "--standard", [&standard](const std::string &name) { standard = standards.at(name); },
            "Whose tables to search; auto: those of each standard that the stream carries")
        ->check(CLI::IsMember({"auto", "dvb", "atsc"}))
        ->option_text("auto|dvb|atsc [auto]");
}

void addVerbosity(CLI::App &command, int &verbosity)
{
    command.add_flag("-v,--verbose", verbosity,
                     "Log what the library does on standard error: -v errors and warnings, -vv and info, -vvv and "
                     "debug");
}

} // namespace psitool
