/**
 * @file streamFormats.h
 * @brief The formats of a stream's video and audio, while it is collected.
 */
#ifndef PSITOOL_STREAM_FORMATS_H
#define PSITOOL_STREAM_FORMATS_H

#include "demux/collector.h"
#include "demux/formats/streamProbe.h"
#include "output/jsonParts.h"

#include <map>

namespace psitool {

/** @brief Looks at the elementary streams of a collector for their first headers. */
class StreamFormats {
public:
    /** @param collector calls this object while it runs: it must not run behind the end of its life */
    explicit StreamFormats(psi::demux::Collector &collector);
    StreamFormats(const StreamFormats &) = delete;
    StreamFormats &operator=(const StreamFormats &) = delete;

    /** @brief What the stream on a PID is. @return null when no header came */
    const psi::demux::StreamFormat *of(u16 pid) const;
    /** @brief True when nothing more can be learnt of the streams that the PMTs have named so far. */
    bool complete() const;

private:
    std::map<u16, psi::demux::StreamProbe> probes_;
};

/** @brief A format as JSON (docs/json.md). */
Json formatJson(const psi::demux::StreamFormat &format);

} // namespace psitool

#endif
