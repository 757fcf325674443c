// Payload of an elementary stream's packets. Input: codec, size of the packets, then PES packets of any bytes.
#include "fuzzTarget.h"

#include "demux/formats/headerReaders.h"
#include "demux/formats/streamProbe.h"

namespace psifuzz {

bool (*const startLibrary)() = initialisePsi;

namespace {

using namespace psi::demux;

void expectPlausible(const StreamFormat &format)
{
    EXPECT_NE(format.video.has_value(), format.audio.has_value());
    EXPECT_FALSE(formatText(format).empty());
    if (format.video) {
        EXPECT_TRUE(isPicture(*format.video));
        EXPECT_LE(format.video->chroma, 3);
    } else {
        EXPECT_GT(format.audio->sampleRate, 0u);
    }
}

} // namespace

void fuzzOne(Input input)
{
    StreamProbe probe(static_cast<Codec>(input.below(static_cast<u32>(Codec::ac3) + 1)));
    const std::size_t size = 1 + input.below(184);
    bool more = true;
    for (bool start = true; more && input.left() > 0; start = false) {
        const Bytes packet = input.bytes(size);
        more = probe.take(packet.data(), packet.size(), start);
    }
    if (probe.done()) {
        EXPECT_FALSE(more);
    }
    if (probe.format()) {
        expectPlausible(*probe.format());
    }
}

} // namespace psifuzz
