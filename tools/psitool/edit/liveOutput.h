/**
 * @file liveOutput.h
 * @brief Where an edited live stream goes: it never waits for who takes it.
 */
#ifndef PSITOOL_LIVE_OUTPUT_H
#define PSITOOL_LIVE_OUTPUT_H

#include "output/outputFile.h"

#include <cstdint>
#include <memory>

namespace psitool {

/** @brief Takes packets as they leave. */
class LiveOutput {
public:
    virtual ~LiveOutput() = default;
    virtual void packet(const u8 *data, std::size_t size) = 0;
    /** @brief Pass on what waits, as far as that takes no waiting. @return false when nobody takes any more */
    virtual bool passOn() = 0;
    /** @brief Nothing comes for a while: do not wait for more to go with it. */
    virtual void flush() = 0;
    /** @brief There is no more to come. */
    virtual void finish() = 0;
    /** @brief True when time counts: packets leave when they are due, not before. */
    virtual bool isLive() const = 0;
    /** @brief Packets that could not be passed on. */
    virtual std::uint64_t lost() const = 0;
};

/**
 * @brief Open it.
 * @param name a file, "-", or a URL: "udp://..." for plain datagrams, "rtp://..." for RTP
 *
 * Throws OutputError, psi::demux::InputError.
 */
std::unique_ptr<LiveOutput> openLiveOutput(const std::string &name, Output &output);

/** @brief "1 packet was dropped", "2 packets were dropped". */
std::string droppedText(std::uint64_t packets);

} // namespace psitool

#endif
