#include "cli/commonOptions.h"

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

void addVerbosity(CLI::App &command, int &verbosity)
{
    command.add_flag("-v,--verbose", verbosity,
                     "Log what the library does on standard error: -v errors and warnings, -vv and info, -vvv and "
                     "debug");
}

} // namespace psitool
