// Payload of an elementary stream's packets. Input: codec, channels of Opus, size of the packets, then PES packets of
// any bytes.
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
        EXPECT_LE(format.audio->channels, 22);
    }
}

} // namespace

void fuzzOne(Input input)
{
    const auto codec = static_cast<Codec>(input.below(static_cast<u32>(Codec::opus) + 1));
    StreamProbe probe(codec, static_cast<u8>(input.below(9)));
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
