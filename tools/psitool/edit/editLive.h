/**
 * @file editLive.h
 * @brief Edits of streams that are known only from their beginning on: pipes, and live streams in real time.
 */
#ifndef PSITOOL_EDIT_LIVE_H
#define PSITOOL_EDIT_LIVE_H

#include "edit/edit.h"
#include "edit/editStream.h"

namespace psitool {

/** @brief What went through. */
struct EditReport {
    EditCounters counters;
    std::uint64_t packetsIn = 0;
    std::uint64_t packetsOut = 0;
    std::uint64_t packetsHeld = 0;      /**< not sent when a signal came */
    std::uint64_t packetsLost = 0;      /**< could not be sent */
    std::uint64_t continuityErrors = 0; /**< breaks of the continuity_counter in the input: packets were lost before */
    std::uint64_t rtpGaps = 0;          /**< RTP packets that did not come, by their numbers */
    std::uint64_t delayMs = 0;          /**< live: between a packet's arrival and its leaving */
    bool interrupted = false;           /**< a signal ended it */
};

/** @brief So much of a stream is searched for the tables, and held back meanwhile. */
constexpr std::size_t largestBeginning = 64U << 20;
/** @brief The same for a live stream, in seconds: the slowest tables come every ten. EN 300 468 5.1.4, TR 101 211 4.4.
 */
constexpr unsigned longestBeginningSeconds = 15;

/** @brief The reader of standard output left before the tables were found: there is nothing to do. */
struct NobodyReads {};

/** @brief The report of a stream that went through to its end. */
EditReport reportOf(const StreamEditor &editor);

/**
 * @brief Pipe (or standard input) to file or standard output. Throws EditError, NobodyReads, psi::demux::InputError,
 * OutputError.
 *
 * A signal leaves nothing: where a pipe's stream was cut nobody could tell.
 */
EditReport editPipe(const EditOptions &options, const EditRequest &request, Output &output);

/**
 * @brief Live stream to live stream, file or standard output, until a signal comes, the duration is over or the reader
 * of standard output leaves. What was written until then is kept.
 *
 * A packet leaves as long after its arrival as it took to find the tables (a second at least). Throws as editPipe().
 */
EditReport editLive(const EditOptions &options, const EditRequest &request, Output &output);

} // namespace psitool

#endif
