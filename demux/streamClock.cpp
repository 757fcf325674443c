#include "demux/streamClock.h"

#include "demux/transportPacket.h"

#include <algorithm>

namespace psi::demux {

namespace {

constexpr double kTicksPerSecond = 27e6;
constexpr uint64_t kWrap = (uint64_t{1} << 33) * 300;
/** Between two PCRs there are at most 100 ms; damage and generous encoders make it more, not so much. */
constexpr double kLongestGap = 2;
constexpr double kSilence = 1;
constexpr uint64_t kSilentPackets = 20000; // while nobody knows how long a packet takes, which is also so in a burst
constexpr double kForgetting = 1.0 / 64;   // bursts come again within so many PCRs
constexpr double kPacketBits = 8.0 * kPacketBytes;

} // namespace

StreamClock::StreamClock(double bitrate)
    : given(bitrate > 0), slope(given ? kPacketBits / bitrate : 0), firstSlope(slope)
{
}

bool StreamClock::takesOver(u16 pid, uint64_t packet) const
{
    if (pid == clockPid || clockPid == kNullPid)
        return true;
    const uint64_t silent = packet - anchorPacket;
    return slope > 0 ? static_cast<double>(silent) * slope > kSilence : silent > kSilentPackets;
}

bool StreamClock::pcr(u16 pid, uint64_t ticks, bool jump, uint64_t packet)
{
    if (given || !takesOver(pid, packet))
        return false;
    const bool follows = pid == clockPid && !jump && packet > anchorPacket;
    const double gap = static_cast<double>((ticks + kWrap - lastTicks) % kWrap) / kTicksPerSecond;
    const double packets = static_cast<double>(packet - anchorPacket);
    if (follows && gap > 0 && gap < kLongestGap) {
        if (firstSlope <= 0) {
            firstSlope = gap / packets;
            anchorTime = firstSlope * static_cast<double>(anchorPacket);
        }
        slope = gap / packets;
        leastSlope = leastSlope > 0 ? std::min(slope, leastSlope + (slope - leastSlope) * kForgetting) : slope;
        lastGap = gap;
        measuredPackets += packet - anchorPacket;
        measuredSeconds += gap;
        anchorTime += gap;
    } else {
        anchorTime += packets * slope;
    }
    clockPid = pid;
    lastTicks = ticks;
    anchorPacket = packet;
    return running();
}

double StreamClock::seconds(uint64_t packet) const
{
    if (!running())
        return -1;
    const double packets = static_cast<double>(packet) - static_cast<double>(anchorPacket);
    const double time = anchorTime + packets * slope;
    return time > 0 ? time : 0;
}

double StreamClock::secondsAtMost(uint64_t packet) const
{
    if (given || !running())
        return seconds(packet);
    const uint64_t silent = packet - anchorPacket;
    const double mean = static_cast<double>(silent) * measuredSeconds / static_cast<double>(measuredPackets);
    if (silent > kSilentPackets && mean > kSilence)
        return anchorTime + mean;
    return anchorTime + std::min(static_cast<double>(silent) * leastSlope, lastGap);
}

Moment StreamClock::resolved(Moment moment) const
{
    if (!moment.timed() && firstSlope > 0)
        moment.seconds = static_cast<double>(moment.packet) * firstSlope;
    return moment;
}

double StreamClock::bitrate() const
{
    if (given)
        return kPacketBits / slope;
    return measuredSeconds > 0 ? static_cast<double>(measuredPackets) * kPacketBits / measuredSeconds : 0;
}

} // namespace psi::demux
