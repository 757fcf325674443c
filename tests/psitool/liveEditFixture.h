// What tests of edits of pipes and live streams share.
#ifndef PSITOOL_LIVE_EDIT_FIXTURE_H
#define PSITOOL_LIVE_EDIT_FIXTURE_H

#include "editFixture.h"
#include "loopback.h"

namespace editing {

class PsitoolLiveEdit : public PsitoolEdit {};

inline const std::string longName(200, 'n');

/** The number behind a line of a report. */
inline unsigned long reported(const std::string &report, const std::string &line)
{
    const std::size_t at = report.find(line);
    EXPECT_NE(at, std::string::npos) << line << "\nis not in\n" << report;
    return at == std::string::npos ? 0 : std::stoul(report.substr(at + line.size()));
}

/** Run in the background, and ended by a signal once the file "enough" is there. */
inline std::string untilEnough(const std::string &arguments, const std::string &signal = "INT")
{
    return "'" PSITOOL_PROGRAM "' edit " + arguments + " & id=$!; while [ ! -e enough ]; do sleep 0.05; done; kill -" +
           signal + " $id; wait $id";
}

} // namespace editing

#endif
