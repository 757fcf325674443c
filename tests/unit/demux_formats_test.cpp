// Formats of elementary streams by their first headers: of streams that FFmpeg encoded, or put together bit by bit.
#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"
#include "demux/formats/streamProbe.h"

#include "support/guardedBuffer.h"
#include "support/soundHeaders.h"

#include <gtest/gtest.h>

namespace {

using namespace psi::demux;
using namespace psitest;

Bytes fromHex(const std::string &digits)
{
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes.push_back(static_cast<u8>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

const Bytes mpegSequence = fromHex("b32d024033ffffe018000001b5148200010000");
const Bytes h264Sequence = fromHex("67f4001e919d016849b041000003000100000300321f142aa000");
const Bytes h265Sequence =
    fromHex("42010102200000030090000003000003003fa00d880f1c9b6595952930bc05a02000000300200000064100");
const Bytes mpegHeader = fromHex("fff584c4"); // MPEG-2 layer II, 24 kHz, 64 kbit/s, mono
const Bytes adtsHeader = fromHex("fff14d802fdffcde");
const Bytes loasHeader = fromHex("56e15c200012101fe7fa");
const Bytes ac3Header = fromHex("0b77bafd1c40ebf8");
const Bytes enhancedHeader = fromHex("0b77017f3287c000");

/** A frame of that header, as long as it says, of zeros. */
Bytes frame(const Bytes &header, AudioFrame (*reader)(EsBytes))
{
    Bytes bytes = header + repeated(kAudioHeaderBytes, 0);
    bytes.resize(reader({bytes.data(), bytes.size()}).bytes);
    return bytes;
}

Bytes pes(const Bytes &payload, std::size_t stuffing = 0)
{
    return Bytes{0, 0, 1, 0xE0, 0, 0, 0x80, 0, static_cast<u8>(stuffing)} + repeated(stuffing, 0xFF) + payload;
}

/** What a probe makes of a stream that comes in pieces of such a size. */
std::string probed(Codec codec, const Bytes &stream, std::size_t piece = 184, u8 channels = 0)
{
    StreamProbe probe(codec, channels);
    GuardedBuffer guarded;
    for (std::size_t at = 0; at < stream.size() && !probe.done(); at += piece) {
        const Bytes part(stream.begin() + static_cast<std::ptrdiff_t>(at),
                         stream.begin() + static_cast<std::ptrdiff_t>(std::min(at + piece, stream.size())));
        probe.take(guarded.place(part), part.size(), at == 0);
    }
    return probe.format() ? probe.format()->coding + (": " + formatText(*probe.format())) : "nothing";
}

Bytes startCode(const Bytes &unit)
{
    return Bytes{0, 0, 1} + unit;
}

/* ---- bits -----------------------------------------------------------------------------------------------------------
 */

TEST(BitReader, ReadsExpGolombCodes)
{
    const Bytes bytes = {0xA6, 0x42, 0x98, 0xE2, 0x04, 0xA0}; // 1 010 011 00100 00101 00110 00111 0001000 0001001 010
    BitReader reader(bytes.data(), bytes.size());
    for (u32 value = 0; value < 9; ++value)
        EXPECT_EQ(reader.golomb(), value);
    EXPECT_EQ(reader.signedGolomb(), 1);
    EXPECT_TRUE(reader.ok());
}

TEST(BitReader, StaysInsideItsBytes)
{
    GuardedBuffer guarded;
    BitReader reader(guarded.place({0xFF}), 1);
    EXPECT_EQ(reader.bits(8), 0xFFu);
    EXPECT_EQ(reader.bits(1), 0u);
    EXPECT_FALSE(reader.ok());
    BitReader zeros(guarded.place({0, 0, 0, 0, 0, 0, 0, 1}), 8);
    EXPECT_EQ(zeros.golomb(), 0u) << "more than 32 bits";
    EXPECT_FALSE(zeros.ok());
    EXPECT_EQ(BitReader(nullptr, 0).bits(32), 0u);
}

/* ---- streams --------------------------------------------------------------------------------------------------------
 */

TEST(StreamProbe, VideoIsKnownByItsSequenceHeader)
{
    const Bytes end = startCode({0xB8, 0, 0});
    EXPECT_EQ(probed(Codec::mpegVideo, pes(startCode(mpegSequence) + end)), "MPEG-2: 720x576i 25 fps 16:9, Main@Main");
    const Bytes next = startCode({0x68, 0, 0});
    EXPECT_EQ(probed(Codec::h264, pes(startCode(h264Sequence) + next)),
              "H.264: 720x576i 25 fps 16:9 4:4:4, High 4:4:4 Predictive@3.0");
    EXPECT_EQ(probed(Codec::h265, pes(startCode(h265Sequence) + next)),
              "H.265: 426x240p 50 fps 16:9 10 bit, Main 10@2.1");
}

TEST(StreamProbe, AudioIsKnownByItsFrameHeader)
{
    const Bytes mpeg = frame(mpegHeader, readMpegAudioFrame);
    EXPECT_EQ(probed(Codec::mpegAudio, pes(mpeg + mpeg + mpeg)), "MPEG-2: mono 24 kHz 64 kbit/s, layer II");
    const Bytes adts = frame(adtsHeader, readAdtsFrame);
    EXPECT_EQ(probed(Codec::adts, pes(adts + adts + adts)), "AAC: 5.1 48 kHz, LC");
    const Bytes loas = frame(loasHeader, readLoasFrame);
    EXPECT_EQ(probed(Codec::latm, pes(loas + loas + loas)), "AAC: stereo 44.1 kHz, LC");
    const Bytes ac3 = frame(ac3Header, readAc3Frame);
    EXPECT_EQ(probed(Codec::ac3, pes(ac3 + ac3 + ac3)), "AC-3: 5.1 48 kHz 384 kbit/s");
    const Bytes enhanced = frame(enhancedHeader, readAc3Frame);
    EXPECT_EQ(probed(Codec::ac3, pes(enhanced + enhanced + enhanced)), "E-AC-3: mono 48 kHz 192 kbit/s");
}

/** A stream of such a frame over and over. */
std::string repeatedly(Codec codec, const Bytes &frames, u8 channels = 0)
{
    return probed(codec, pes(frames + frames + frames), 184, channels);
}

EnhancedFrame dependentOf(int map, unsigned mode = 2)
{
    EnhancedFrame frame;
    frame.type = 1;
    frame.mode = mode;
    frame.map = map;
    frame.bytes = 128;
    return frame;
}

TEST(StreamProbe, ADependentSubstreamOfEnhancedAc3AddsItsChannels)
{
    EnhancedFrame surround;
    surround.low = true;
    const Bytes independent = enhancedFrame(surround);
    EXPECT_EQ(repeatedly(Codec::ac3, independent), "E-AC-3: 5.1 48 kHz 64 kbit/s");
    constexpr int back = 0x0200;
    constexpr int sidesAndBack = 0x1800 | back;
    constexpr int frontAbove = 0x0010;
    EXPECT_EQ(repeatedly(Codec::ac3, independent + enhancedFrame(dependentOf(back))), "E-AC-3: 7.1 48 kHz 96 kbit/s");
    EXPECT_EQ(repeatedly(Codec::ac3, independent + enhancedFrame(dependentOf(sidesAndBack, 6))),
              "E-AC-3: 7.1 48 kHz 96 kbit/s")
        << "the sides anew";
    EXPECT_EQ(repeatedly(Codec::ac3, independent + enhancedFrame(dependentOf(0x0100, 1))),
              "E-AC-3: 6.1 48 kHz 96 kbit/s");
    EXPECT_EQ(
        repeatedly(Codec::ac3, independent + enhancedFrame(dependentOf(back)) + enhancedFrame(dependentOf(frontAbove))),
        "E-AC-3: 9.1 48 kHz 128 kbit/s");
    EXPECT_EQ(repeatedly(Codec::ac3, independent + enhancedFrame(dependentOf(-1, 7))), "E-AC-3: 5.1 48 kHz 96 kbit/s")
        << "the same five";
    EXPECT_EQ(repeatedly(Codec::ac3, frame(ac3Header, readAc3Frame) + enhancedFrame(dependentOf(back))),
              "E-AC-3: 7.1 48 kHz 416 kbit/s")
        << "behind AC-3, as on discs";
}

TEST(StreamProbe, AnotherProgramOfEnhancedAc3AddsNothing)
{
    EnhancedFrame other;
    other.substream = 1;
    EnhancedFrame stereo;
    stereo.mode = 2;
    EXPECT_EQ(repeatedly(Codec::ac3, enhancedFrame(stereo) + enhancedFrame(other) + enhancedFrame(dependentOf(0x0200))),
              "E-AC-3: stereo 48 kHz 64 kbit/s");
    EXPECT_EQ(repeatedly(Codec::ac3, enhancedFrame(dependentOf(0x0200))), "nothing");
}

TEST(StreamProbe, HowSubstreamsAreCutDoesNotMatter)
{
    EnhancedFrame surround;
    surround.low = true;
    const Bytes unit = enhancedFrame(surround) + enhancedFrame(dependentOf(0x0200));
    for (const std::size_t piece : {1U, 5U, 63U, 184U, 5000U})
        EXPECT_EQ(probed(Codec::ac3, pes(repeated(70, 0x5A) + unit + unit + unit), piece),
                  "E-AC-3: 7.1 48 kHz 96 kbit/s")
            << piece;
}

std::string dts(DtsFrame frame)
{
    return repeatedly(Codec::dts, dtsFrame(frame));
}

TEST(StreamProbe, TheCoreOfDtsSaysItsChannels)
{
    EXPECT_EQ(dts({}), "DTS: 5.1 48 kHz 768 kbit/s");
    EXPECT_EQ(dts({true, 2, 8, -1, 0, 1024}), "DTS: stereo 44.1 kHz 705.6 kbit/s");
    EXPECT_EQ(dts({true, 2, 8, -1, 0, 2048}), "DTS: stereo 44.1 kHz 1,411.2 kbit/s");
    EXPECT_EQ(dts({true, 2, 8, -1, 0, 1000}), "DTS: stereo 44.1 kHz 689.1 kbit/s") << "to the tenth";
    EXPECT_EQ(dts({true, 0, 3, -1, 1, 512}), "DTS: 1.1 32 kHz 256 kbit/s");
    EXPECT_EQ(dts({true, 9, 13, 0, 2, 1024}), "DTS: 6.1 48 kHz 768 kbit/s, ES");
    EXPECT_EQ(dts({true, 9, 13, 2, 2, 1024}), "DTS: 5.1 48 kHz 768 kbit/s, 96/24");
    EXPECT_EQ(dts({true, 16, 13, -1, 0, 1024}), "DTS: 48 kHz 768 kbit/s") << "arranged as the user likes";
}

TEST(StreamProbe, WhatIsNoHeaderOfDtsIsNotTakenForOne)
{
    EXPECT_EQ(dts({true, 9, 0, -1, 2, 1024}), "nothing") << "sampling rate";
    EXPECT_EQ(dts({true, 9, 13, -1, 3, 1024}), "nothing") << "LFF";
    EXPECT_EQ(dts({true, 9, 13, -1, 2, 90}), "nothing") << "too short";
    EXPECT_EQ(dts({false, 9, 13, -1, 2, 1024}), "nothing") << "the end of a stream";
}

TEST(StreamProbe, OfDtsWithAnExtensionTheCoreIsShown)
{
    EXPECT_EQ(repeatedly(Codec::dts, dtsFrame({}) + dtsExtension(500)), "DTS-HD: 5.1 48 kHz 768 kbit/s, core");
    EXPECT_EQ(repeatedly(Codec::dts, dtsFrame({}) + dtsExtension(70000, true)), "DTS-HD: 5.1 48 kHz 768 kbit/s, core");
    EXPECT_EQ(repeatedly(Codec::dts, dtsExtension(500)), "nothing") << "without a core";
    EXPECT_EQ(repeatedly(Codec::dts, dtsFrame({}) + dtsExtension(20)), "nothing") << "shorter than its header";
}

TEST(StreamProbe, AFrameOfAc4SaysItsRatesAndChannels)
{
    const char *stereo = "10 0";
    const char *surround = "1110 0";
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents(stereo))), "AC-4: stereo 48 kHz 25 fps");
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents(surround, 3), 300, true)), "AC-4: 5.1 48 kHz 29.97 fps");
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4GroupContents(surround))), "AC-4: 5.1 48 kHz 25 fps");
    const std::pair<const char *, const char *> modes[] = {
        {"0 0", "mono"},      {"1100 0", "3.0"},    {"1101 0", "5.0"}, {"1111000 0", "7.0"},
        {"1111001 0", "7.1"}, {"1111101 0", "7.1"}, {"1111110 0", ""}, {"111111111", ""},
    };
    for (const auto &[mode, channels] : modes)
        EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents(mode))),
                  std::string("AC-4: ") + channels + (*channels != 0 ? " " : "") + "48 kHz 25 fps")
            << mode;
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents("10 1 0"))), "AC-4: stereo 96 kHz 25 fps");
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents("10 1 1"))), "AC-4: stereo 192 kHz 25 fps");
}

TEST(StreamProbe, EveryFrameRateOfAc4IsReadOver)
{
    const char *rates[] = {"23.976", "24",    "25", "29.97", "30",     "47.95", "48",
                           "50",     "59.94", "60", "100",   "119.88", "120",   "23.438"};
    for (unsigned rate = 0; rate < 14; ++rate)
        for (const std::string &contents : {ac4Contents("1110 0", rate), ac4GroupContents("1110 0", rate)})
            EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(contents)),
                      std::string("AC-4: 5.1 48 kHz ") + rates[rate] + " fps");
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(ac4Contents("10 0", 14))), "nothing") << "reserved";
}

TEST(StreamProbe, WhatTheContentsOfAc4DoNotTellIsLeftOut)
{
    std::string several = ac4Contents("10 0");
    several.replace(several.find("1 1 0 "), 6, "1 0 0 ");
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(several)), "AC-4: 48 kHz 25 fps") << "no presentation, or several";
    const std::string head = "00 0000000001 0 ";
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(head + "0 1101 1 1 0")), "AC-4: 44.1 kHz 21.533 fps")
        << "several substreams";
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame(head + "0 0010 1 1 0")), "nothing") << "25 fps at 44.1 kHz";
    EXPECT_EQ(repeatedly(Codec::ac4, ac4Frame("11 0000000001 0 1 0010 1 1 0")), "nothing") << "of the future";
    const Bytes cut = ac4Frame(ac4Contents("10 0"), 9);
    EXPECT_EQ(repeatedly(Codec::ac4, cut + cut + cut + cut), "AC-4: 48 kHz 25 fps");
}

TEST(StreamProbe, OpusIsKnownByItsControlHeader)
{
    EXPECT_EQ(repeatedly(Codec::opus, opusUnit(100), 2), "Opus: stereo 48 kHz");
    EXPECT_EQ(repeatedly(Codec::opus, opusUnit(700, 7), 6), "Opus: 5.1 48 kHz") << "trims and an extension";
    EXPECT_EQ(repeatedly(Codec::opus, opusUnit(255, 4), 1), "Opus: mono 48 kHz");
    EXPECT_EQ(repeatedly(Codec::opus, opusUnit(510, 2)), "Opus: 48 kHz") << "the PMT does not tell";
    EXPECT_EQ(repeatedly(Codec::opus, opusUnit(0), 2), "nothing");
    EXPECT_EQ(repeatedly(Codec::opus, Bytes{0x7F, 0xE0} + repeated(300, 0xFF)), "nothing") << "a size without an end";
}

TEST(StreamProbe, HowTheStreamIsCutDoesNotMatter)
{
    const Bytes noise = repeated(100, 0x5A);
    const Bytes video = pes(noise + startCode({0x09, 0xF0}) + startCode(h264Sequence) + startCode({0x68, 1, 2}), 40);
    const Bytes ac3 = frame(ac3Header, readAc3Frame);
    for (const std::size_t piece : {1U, 2U, 3U, 7U, 64U, 183U, 4000U}) {
        EXPECT_EQ(probed(Codec::h264, video, piece), probed(Codec::h264, video)) << piece;
        EXPECT_EQ(probed(Codec::ac3, pes(noise + ac3 + ac3 + ac3), piece), "AC-3: 5.1 48 kHz 384 kbit/s") << piece;
    }
    EXPECT_NE(probed(Codec::h264, video), "nothing");
}

TEST(StreamProbe, ASyncWordInTheDataOfSoundIsNoFrame)
{
    const Bytes adts = frame(adtsHeader, readAdtsFrame);
    EXPECT_EQ(probed(Codec::adts, pes(fromHex("fff150801ffc") + repeated(2000, 0x11))), "nothing");
    EXPECT_EQ(probed(Codec::adts, pes(fromHex("fff150801ffc") + repeated(500, 0x11) + adts + adts + adts)),
              "AAC: 5.1 48 kHz, LC");
}

TEST(StreamProbe, WhatStandsInFrontOfThePesPacketIsNotLookedAt)
{
    StreamProbe probe(Codec::h264);
    const Bytes stream = startCode(h264Sequence) + startCode({0x68});
    EXPECT_TRUE(probe.take(stream.data(), stream.size(), false));
    EXPECT_FALSE(probe.format());
    EXPECT_TRUE(probe.take(stream.data(), stream.size(), true)) << "no PES packet begins so";
    EXPECT_FALSE(probe.format());
}

TEST(StreamProbe, GivesUpSomeTime)
{
    StreamProbe probe(Codec::ac3);
    const Bytes noise = pes(repeated(60000, 0x0B));
    unsigned rounds = 0;
    while (probe.take(noise.data(), noise.size(), true) && rounds < 1000)
        ++rounds;
    EXPECT_LT(rounds, 100u) << "4 MiB";
    EXPECT_TRUE(probe.done());
    EXPECT_FALSE(probe.format());
    EXPECT_FALSE(StreamProbe(Codec::unknown).take(noise.data(), noise.size(), true));
}

/** Headers that end too early, or with a bit turned round: any result, but no byte outside of them is read. */
TEST(StreamProbe, HostileHeadersAreReadInside)
{
    GuardedBuffer guarded;
    const auto readAll = [&](const Bytes &bytes) {
        const EsBytes view{guarded.place(bytes), bytes.size()};
        unsigned known = 0;
        for (const auto reader : {readMpegSequence, readH264Sequence, readH265Sequence})
            if (const std::optional<StreamFormat> format = reader(view)) {
                ++known;
                EXPECT_TRUE(isPicture(*format->video)) << formatText(*format);
            }
        for (const auto reader :
             {readMpegAudioFrame, readAdtsFrame, readLoasFrame, readAc3Frame, readDtsFrame, readAc4Frame, readOpusUnit})
            known += reader(view).bytes > 0 ? 1U : 0U;
        return known;
    };
    unsigned known = 0;
    for (const Bytes &header :
         {mpegSequence, h264Sequence, h265Sequence, mpegHeader, adtsHeader, loasHeader, ac3Header,
          enhancedFrame({0, 0, 7, true, -1, 12}) + enhancedFrame(dependentOf(0x0200)),
          dtsFrame({true, 9, 13, -1, 2, 96}), dtsFrame({true, 9, 13, -1, 2, 96}) + dtsExtension(60), dtsExtension(60),
          ac4Frame(ac4Contents("1110 0"), 20), ac4Frame(ac4GroupContents("1110 0"), 24, true), opusUnit(30, 7)}) {
        EXPECT_GT(readAll(header), 0u);
        for (std::size_t size = 0; size < header.size(); ++size)
            known += readAll(Bytes(header.begin(), header.begin() + static_cast<std::ptrdiff_t>(size)));
        for (std::size_t bit = 0; bit < header.size() * 8; ++bit) {
            Bytes turned = header;
            turned[bit / 8] = static_cast<u8>(turned[bit / 8] ^ 0x80U >> bit % 8);
            known += readAll(turned);
        }
    }
    EXPECT_GT(known, 100u) << "most bits leave a header one";
}

TEST(Formats, AreNamedAsPeopleDo)
{
    EXPECT_EQ(rateText({30000, 1001}), "29.97");
    EXPECT_EQ(rateText({24000, 1001}), "23.976");
    EXPECT_EQ(rateText({25, 2}), "12.5");
    EXPECT_EQ(rateText({}), "");
    EXPECT_EQ(aspectText({20, 11}), "16:9") << "720 columns of samples of 16:11";
    EXPECT_EQ(aspectText({1, 1}), "1:1");
    AudioFormat audio;
    EXPECT_EQ(channelsText(audio), "");
    audio.channels = 5;
    audio.lowFrequency = true;
    EXPECT_EQ(channelsText(audio), "5.1");
}

TEST(Formats, APictureInHybridLogGammaIsSaidToBeSo)
{
    StreamFormat format{"H.265", "Main 10", "5.1", VideoFormat(), {}};
    format.video->width = 3840;
    format.video->height = 2160;
    format.video->frameRate = {50, 1};
    format.video->bitDepth = 10;
    format.video->transfer = 18;
    EXPECT_EQ(formatText(format), "3840x2160p 50 fps 10 bit HLG, Main 10@5.1");
}

descInfo listOf(const Bytes &descriptor)
{
    descInfo one = {};
    if (!descriptor.empty()) {
        one.descTag = descriptor[0];
        one.descLen = descriptor[1];
        one.descData = const_cast<u8 *>(descriptor.data() + 2);
    }
    return one;
}

struct Codes {
    u8 streamType;
    Bytes program;
    Bytes stream;
    Codec codec;
};

TEST(Formats, ThePmtTellsTheCodec)
{
    const Bytes disc = {0x05, 4, 'H', 'D', 'M', 'V'};
    const Bytes hevc = {0x05, 4, 'H', 'E', 'V', 'C'};
    const Bytes ac3 = {0x6A, 1, 0};
    const Bytes opus = {0x05, 4, 'O', 'p', 'u', 's'};
    const Codes codes[] = {
        {0x1B, {}, {}, Codec::h264},
        {0x06, {}, {}, Codec::unknown},
        {0x06, {}, ac3, Codec::ac3},
        {0x06, {}, hevc, Codec::h265},
        {0x81, {}, {}, Codec::ac3},
        {0x80, disc, {}, Codec::unknown},
        {0x80, {}, {}, Codec::mpegVideo},
        {0x84, disc, {}, Codec::ac3},
        {0x84, {}, {}, Codec::unknown},
        {0x06, {}, {0x7B, 1, 0}, Codec::dts},
        {0x06, {}, {0x7F, 1, 0x0E}, Codec::dts},
        {0x06, {}, {0x7F, 1, 0x15}, Codec::ac4},
        {0x06, {}, {0x05, 4, 'A', 'C', '-', '4'}, Codec::ac4},
        {0x06, {}, {0x05, 4, 'D', 'T', 'S', '2'}, Codec::dts},
        {0x06, {}, opus, Codec::opus},
        {0x06, {}, {0x7F, 0}, Codec::unknown},
        {0x82, {}, {}, Codec::dts},
        {0x82, disc, {}, Codec::dts},
        {0x86, disc, {}, Codec::dts},
        {0x86, {}, {}, Codec::unknown},
    };
    for (const Codes &one : codes) {
        const descInfo program = listOf(one.program);
        const descInfo stream = listOf(one.stream);
        EXPECT_EQ(
            codecOf(one.streamType, one.program.empty() ? nullptr : &program, one.stream.empty() ? nullptr : &stream),
            one.codec)
            << int{one.streamType};
    }
}

TEST(Formats, ThePmtTellsTheChannelsOfOpus)
{
    const Bytes registration = {0x05, 4, 'O', 'p', 'u', 's'};
    const std::pair<Bytes, u8> codes[] = {
        {{0x7F, 2, 0x80, 0}, 2}, {{0x7F, 2, 0x80, 1}, 1}, {{0x7F, 2, 0x80, 8}, 8},
        {{0x7F, 2, 0x80, 9}, 0}, {{0x7F, 1, 0x80}, 0},    {{0x7F, 2, 0x15, 2}, 0},
    };
    for (const auto &[descriptor, channels] : codes) {
        descInfo second = listOf(descriptor);
        EXPECT_EQ(opusChannels(&second), 0) << "not Opus: anybody's own";
        descInfo first = listOf(registration);
        first.link.next = &second;
        EXPECT_EQ(opusChannels(&first), channels);
    }
    EXPECT_EQ(opusChannels(nullptr), 0);
}

} // namespace
