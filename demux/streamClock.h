/**
 * @file streamClock.h
 * @brief When a packet of a recorded stream was sent, by the stream's own clock.
 */
#ifndef PSI_DEMUX_STREAM_CLOCK_H
#define PSI_DEMUX_STREAM_CLOCK_H

#include "psi.h"

namespace psi::demux {

/** @brief A point of the stream. */
struct Moment {
    uint64_t packet = 0; /**< number of the packet, from 0 */
    double seconds = -1; /**< from the first packet on; negative: not known */

    bool timed() const { return seconds >= 0; }
};

/**
 * @brief Tells the time of packets by the PCRs among them. ISO/IEC 13818-1 2.4.2.2.
 *
 * One PID at a time gives the clock; when it falls silent another takes over. Between PCRs the time goes on at the rate
 * of the last two; at a discontinuity it goes on as if there were none. Packet 0 is at 0 seconds.
 */
class StreamClock {
public:
    /** @param bitrate of the stream in bit/s, if it is known: then the PCRs do not count; else 0 */
    explicit StreamClock(double bitrate = 0);

    /**
     * @brief Take a PCR.
     * @param ticks of 27 MHz, modulo 2^33 * 300
     * @param jump a discontinuity was announced
     * @return whether the clock goes by it: what seconds() says is right now for all packets since the PCR before
     */
    bool pcr(u16 pid, uint64_t ticks, bool jump, uint64_t packet);

    /** @brief False before two PCRs of one clock were seen. */
    bool running() const { return slope > 0; }
    /** @brief Time of a packet, the last one or near it; negative while it is not known. */
    double seconds(uint64_t packet) const;
    /**
     * @brief The same for what must not happen too often: not beyond the next PCR.
     *
     * In a burst of packets the rate of the last two PCRs says far too much. So the time goes on at the fastest rate of
     * late, which is that of bursts, for as long as those two were apart, and stands then: it is late, but not ahead.
     * Where no PCR comes any more, it goes on at the mean rate.
     */
    double secondsAtMost(uint64_t packet) const;
    /** @brief The moment with its time, also that of a packet which came before the clock was running. */
    Moment resolved(Moment moment) const;
    /** @brief Bits of 188-byte packets per second, over all that was measured; 0: nothing was. */
    double bitrate() const;

private:
    bool takesOver(u16 pid, uint64_t packet) const;

    bool given;
    u16 clockPid = 0x1FFF;
    uint64_t lastTicks = 0;
    uint64_t anchorPacket = 0; /**< with the last PCR */
    double anchorTime = 0;
    double slope = 0;      /**< seconds for each packet */
    double leastSlope = 0; /**< of the fastest packets of late */
    double lastGap = 0;    /**< seconds between the last two PCRs */
    double firstSlope = 0;
    uint64_t measuredPackets = 0;
    double measuredSeconds = 0;
};

} // namespace psi::demux

#endif // PSI_DEMUX_STREAM_CLOCK_H
