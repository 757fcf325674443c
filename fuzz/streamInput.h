/**
 * @file streamInput.h
 * @brief Transport streams made of the pieces of an input: sections, packets, any bytes, repetitions.
 */
#ifndef PSIFUZZ_STREAM_INPUT_H
#define PSIFUZZ_STREAM_INPUT_H

#include "fuzzTarget.h"

#include "demux/demux.h"

namespace psifuzz {

/**
 * @brief What is left of an input, as a stream of at most 50,000 bytes.
 * @param options its low two bits: packets of 188, 192 or 204 bytes, made of pieces behind how often and what tail; or
 *        the bytes as they are
 */
Bytes takeStream(Input &input, u8 options);

/** @brief startLibrary() of targets that search or collect streams: with a pool of the demultiplexer's. */
inline bool startDemultiplexer()
{
    return psi::demux::initLibrary(4U << 20);
}

} // namespace psifuzz

#endif // PSIFUZZ_STREAM_INPUT_H
