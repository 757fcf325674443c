/**
 * @file packetInput.h
 * @brief Transport packets made of a few bytes of an input.
 */
#ifndef PSIFUZZ_PACKET_INPUT_H
#define PSIFUZZ_PACKET_INPUT_H

#include "fuzzTarget.h"

namespace psifuzz {

/**
 * @brief The next packet: what its header has, and its payload.
 * @param counter continuity_counter of a packet that says nothing about it; gets the one behind this packet
 */
Bytes takePacket(Input &input, u16 pid, u8 &counter);

} // namespace psifuzz

#endif // PSIFUZZ_PACKET_INPUT_H
