#include "demux/formats/bitReader.h"
#include "demux/formats/headerReaders.h"

#include <bitset>

namespace psi::demux {

namespace {

constexpr u32 kSampleRates[] = {48000, 44100, 32000};
/** frmsizecod, in kbit/s. ETSI TS 102 366 Table 4.13 */
constexpr u16 kBitRates[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 448, 512, 576, 640};
constexpr unsigned kSamples = 1536; // of a frame
constexpr unsigned kSync = 0x0B77;
constexpr size_t kWord = 2;

/** Where channels are, as chanmap says it: from the highest bit on, some of them pairs. Table E.1.4 */
constexpr u16 kFrontSides = 0xA000;
constexpr u16 kFrontCentre = 0x4000;
constexpr u16 kSurrounds = 0x1800;
constexpr u16 kBack = 0x0100;
constexpr u16 kLow = 0x0001;
constexpr u16 kLows = 0x0003;
constexpr u16 kPairs = 0x0674;
/** acmod, Table 4.3: 1+1, 1/0, 2/0, 3/0, 2/1, 3/1, 2/2, 3/2. */
constexpr u16 kLocations[] = {
    kFrontSides,
    kFrontCentre,
    kFrontSides,
    kFrontSides | kFrontCentre,
    kFrontSides | kBack,
    kFrontSides | kFrontCentre | kBack,
    kFrontSides | kSurrounds,
    kFrontSides | kFrontCentre | kSurrounds,
};

u16 locationsOf(unsigned mode, bool low)
{
    return static_cast<u16>(kLocations[mode & 7U] | (low ? kLow : 0));
}

u8 channelsAt(u16 locations)
{
    const u16 full = locations & static_cast<u16>(~kLows);
    return static_cast<u8>(std::bitset<16>(full).count() + std::bitset<16>(full & kPairs).count());
}

/** A syncframe(). */
struct SyncFrame {
    enum Kind : u8 { main, dependent, other } kind = other;
    const char *coding = "";
    size_t bytes = 0; /**< 0: none */
    u16 locations = 0;
    u32 sampleRate = 0;
    unsigned samples = kSamples;
    u32 bitRate = 0; /**< by a table; 0: as many as there are bytes */
};

StreamFormat formatOf(const SyncFrame &unit)
{
    StreamFormat format{unit.coding, "", "", {}, AudioFormat()};
    format.audio->channels = channelsAt(unit.locations);
    format.audio->lowFrequency = (unit.locations & kLows) != 0;
    format.audio->sampleRate = unit.sampleRate;
    format.audio->bitRate =
        unit.bitRate != 0 ? unit.bitRate : static_cast<u32>(uint64_t{unit.bytes} * 8 * unit.sampleRate / unit.samples);
    return format;
}

/** syncinfo() behind crc1, and bsi(). 4.3.1, 4.3.2 */
SyncFrame readAc3(BitReader &reader)
{
    const unsigned sampling = reader.bits(2);
    const unsigned size = reader.bits(6);
    reader.skip(5 + 3); // bsid, bsmod
    const unsigned mode = reader.bits(3);
    if ((mode & 1) != 0 && mode != 1)
        reader.skip(2); // cmixlev
    if ((mode & 4) != 0)
        reader.skip(2); // surmixlev
    if (mode == 2)
        reader.skip(2); // dsurmod
    const bool low = reader.flag();
    if (!reader.ok() || sampling == 3 || size / 2 >= sizeof kBitRates / sizeof *kBitRates)
        return {};
    const u32 bitRate = kBitRates[size / 2] * 1000U;
    const u32 sampleRate = kSampleRates[sampling];
    const size_t words = size_t{bitRate} * kSamples / (size_t{16} * sampleRate) + (sampling == 1 ? size & 1U : 0);
    return {SyncFrame::main, "AC-3", words * kWord, locationsOf(mode, low), sampleRate, kSamples, bitRate};
}

/** The rest of a dependent substream's bsi() behind bsid, to chanmap. E.1.2.2 @return where its channels are */
u16 readChannelMap(BitReader &reader, unsigned mode, bool low)
{
    constexpr unsigned twice = 0; // acmod 1+1: the second one has the same fields
    for (unsigned programs = mode == twice ? 2 : 1; programs > 0; --programs) {
        reader.skip(5); // dialnorm
        if (reader.flag())
            reader.skip(8); // compr
    }
    return reader.flag() ? static_cast<u16>(reader.bits(16)) : locationsOf(mode, low);
}

/** bsi() of E-AC-3, E.1.2.2. What depends on a stream before it says nothing by itself. */
SyncFrame readEnhanced(BitReader &reader)
{
    constexpr unsigned dependent = 1;
    constexpr unsigned blocks[] = {1, 2, 3, 6};
    constexpr unsigned blockSamples = 256;
    const unsigned type = reader.bits(2);
    const unsigned substream = reader.bits(3);
    const size_t bytes = (reader.bits(11) + 1) * kWord;
    const unsigned sampling = reader.bits(2);
    const unsigned more = reader.bits(2); // numblkscod, or fscod2
    const unsigned mode = reader.bits(3);
    const bool low = reader.flag();
    reader.skip(5); // bsid
    const u16 locations = type == dependent ? readChannelMap(reader, mode, low) : locationsOf(mode, low);
    if (!reader.ok() || type == 3 || (sampling == 3 && more == 3))
        return {};
    const auto kind = type == dependent ? SyncFrame::dependent : substream == 0 ? SyncFrame::main : SyncFrame::other;
    const u32 sampleRate = sampling == 3 ? kSampleRates[more] / 2 : kSampleRates[sampling];
    return {kind, "E-AC-3", bytes, locations, sampleRate, blockSamples * (sampling == 3 ? 6 : blocks[more]), 0};
}

SyncFrame readSyncFrame(EsBytes stream)
{
    constexpr size_t identificationPlace = 5;
    constexpr unsigned lastAc3 = 8;
    constexpr unsigned firstEnhanced = 11;
    constexpr unsigned lastEnhanced = 16;
    if (stream.size <= identificationPlace)
        return {};
    const unsigned identification = stream.data[identificationPlace] >> 3; // bsid, at the same place in both
    BitReader reader(stream.data, stream.size);
    if (reader.bits(16) != kSync)
        return {};
    if (identification <= lastAc3) {
        reader.skip(16); // crc1
        return readAc3(reader);
    }
    return identification >= firstEnhanced && identification <= lastEnhanced ? readEnhanced(reader) : SyncFrame();
}

} // namespace

AudioFrame readAc3Frame(EsBytes stream)
{
    constexpr unsigned mostDependent = 8;
    SyncFrame unit = readSyncFrame(stream);
    if (unit.kind != SyncFrame::main)
        return {unit.bytes, std::nullopt};
    for (unsigned i = 0; i < mostDependent; ++i) {
        const SyncFrame next = readSyncFrame(stream.from(unit.bytes));
        if (next.kind != SyncFrame::dependent)
            break;
        unit.coding = next.coding;
        unit.bytes += next.bytes;
        unit.locations = static_cast<u16>(unit.locations | next.locations);
        unit.bitRate = 0;
    }
    return {unit.bytes, formatOf(unit)};
}

} // namespace psi::demux
