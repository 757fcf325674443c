#include "demux/formats/streamProbe.h"

#include "demux/formats/headerReaders.h"
#include "demux/transportPacket.h"

#include <algorithm>

namespace psi::demux {

/** Looks for a header in the bytes of an elementary stream. */
class StreamProbe::Search {
public:
    Search() = default;
    virtual ~Search() = default;
    Search(const Search &) = delete;
    Search &operator=(const Search &) = delete;

    virtual std::optional<StreamFormat> take(EsBytes bytes) = 0;
};

namespace {

constexpr uint64_t kMostVideo = 32U << 20;
constexpr uint64_t kMostAudio = 4U << 20;

/** Video: what stands between start codes. ISO/IEC 13818-2 6.2.1, ISO/IEC 14496-10 B.1 */
class StartCodeSearch : public StreamProbe::Search {
public:
    using Reader = std::optional<StreamFormat> (*)(EsBytes unit);
    using Wants = bool (*)(u8 code, bool inside);

    /** @param wants is this start code the one looked for, or (inside) still part of it? */
    StartCodeSearch(Wants isWanted, Reader unitReader) : wants(isWanted), reader(unitReader) {}

    std::optional<StreamFormat> take(EsBytes bytes) override
    {
        for (size_t i = 0; i < bytes.size; ++i) {
            const bool isCode = (last & 0xFFFFFF) == 1; // the byte behind the prefix says what begins here
            last = last << 8 | bytes.data[i];
            if (isCode && !wants(bytes.data[i], !unit.empty())) {
                if (std::optional<StreamFormat> format = finish())
                    return format;
            } else if (isCode || !unit.empty()) {
                unit.push_back(bytes.data[i]);
                if (unit.size() == kLongest)
                    if (std::optional<StreamFormat> format = finish())
                        return format;
            }
        }
        return std::nullopt;
    }

private:
    static constexpr size_t kLongest = 1024;

    std::optional<StreamFormat> finish()
    {
        std::optional<StreamFormat> format = unit.empty() ? std::nullopt : reader({unit.data(), unit.size()});
        unit.clear();
        return format;
    }

    Wants wants;
    Reader reader;
    u32 last = 0xFFFFFFFF;
    std::vector<u8> unit;
};

/** Audio: a frame behind which another one begins. */
class FrameSearch : public StreamProbe::Search {
public:
    using Reader = AudioFrame (*)(EsBytes stream);

    explicit FrameSearch(Reader frameReader) : reader(frameReader) {}

    std::optional<StreamFormat> take(EsBytes bytes) override
    {
        kept.insert(kept.end(), bytes.data, bytes.data + bytes.size);
        const EsBytes all{kept.data(), kept.size()};
        size_t at = 0;
        for (; at + kAudioHeaderBytes <= all.size; ++at) {
            const AudioFrame frame = reader(all.from(at));
            if (!frame.format || frame.bytes > kLongest)
                continue;
            if (at + frame.bytes + kAudioHeaderBytes > all.size)
                break; // the next one is not here yet
            if (reader(all.from(at + frame.bytes)).bytes != 0)
                return frame.format;
        }
        kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(at));
        return std::nullopt;
    }

private:
    static constexpr size_t kLongest = 128U << 10; // of a frame, and some more

    Reader reader;
    std::vector<u8> kept; /**< no longer than the longest frame, a packet's payload and two headers */
};

/** A sequence_header() with all extensions and user data behind it. */
bool isMpegSequence(u8 code, bool inside)
{
    constexpr u8 sequence = 0xB3;
    constexpr u8 userData = 0xB2;
    constexpr u8 extension = 0xB5;
    return code == sequence ? !inside : inside && (code == userData || code == extension);
}

bool isH264Sequence(u8 code, bool)
{
    return (code & 0x9F) == 7; // forbidden_zero_bit, nal_unit_type
}

bool isH265Sequence(u8 code, bool)
{
    return (code & 0xFE) == 33 << 1;
}

std::unique_ptr<StreamProbe::Search> searchOf(Codec codec)
{
    switch (codec) {
    case Codec::mpegVideo:
        return std::make_unique<StartCodeSearch>(isMpegSequence, readMpegSequence);
    case Codec::h264:
        return std::make_unique<StartCodeSearch>(isH264Sequence, readH264Sequence);
    case Codec::h265:
        return std::make_unique<StartCodeSearch>(isH265Sequence, readH265Sequence);
    case Codec::mpegAudio:
        return std::make_unique<FrameSearch>(readMpegAudioFrame);
    case Codec::adts:
        return std::make_unique<FrameSearch>(readAdtsFrame);
    case Codec::latm:
        return std::make_unique<FrameSearch>(readLoasFrame);
    case Codec::ac3:
        return std::make_unique<FrameSearch>(readAc3Frame);
    case Codec::dts:
        return std::make_unique<FrameSearch>(readDtsFrame);
    case Codec::ac4:
        return std::make_unique<FrameSearch>(readAc4Frame);
    case Codec::opus:
        return std::make_unique<FrameSearch>(readOpusUnit);
    case Codec::unknown:
        break;
    }
    return nullptr;
}

struct CodecOfTag {
    unsigned tag;
    Codec codec;
};

struct CodecOfRegistration {
    u32 identifier;
    Codec codec;
};

struct CodecOfType {
    u8 streamType;
    Codec codec;
};

constexpr u8 kExtensionTag = 0x7F;
constexpr unsigned extensionTag(u8 tag)
{
    return kExtensionTag * 256U + tag;
}
/** EN 300 468 annexes D and G. */
constexpr CodecOfTag kByTag[] = {{0x6A, Codec::ac3},
                                 {0x7A, Codec::ac3},
                                 {0x7B, Codec::dts},
                                 {extensionTag(0x0E), Codec::dts},
                                 {extensionTag(0x15), Codec::ac4}};

constexpr CodecOfRegistration kByRegistration[] = {
    {0x41432D33, Codec::ac3},  // "AC-3"
    {0x45414333, Codec::ac3},  // "EAC3"
    {0x48455643, Codec::h265}, // "HEVC"
    {0x41432D34, Codec::ac4},  // "AC-4"
    {0x44545331, Codec::dts},  // "DTS1", by the samples in a frame
    {0x44545332, Codec::dts},  // "DTS2"
    {0x44545333, Codec::dts},  // "DTS3"
    {0x44545348, Codec::dts},  // "DTSH"
    {0x4F707573, Codec::opus}, // "Opus"
};
constexpr u32 kDisc = 0x48444D56; // "HDMV": sound has numbers of its own there

Codec codecOfTag(const descInfo &one)
{
    const bool extension = one.descTag == kExtensionTag && one.descLen > 0;
    const unsigned tag = extension ? extensionTag(one.descData[0]) : one.descTag;
    for (const CodecOfTag &known : kByTag)
        if (known.tag == tag)
            return known.codec;
    return Codec::unknown;
}

/** What descriptors say. */
struct Said {
    Codec codec = Codec::unknown;
    u32 registration = 0; /**< the first format_identifier */
};

Said saidBy(const descInfo *list)
{
    constexpr u8 registrationTag = 0x05;
    Said said;
    for (const descInfo *one = list; one != nullptr; one = static_cast<const descInfo *>(one->link.next)) {
        if (said.codec == Codec::unknown)
            said.codec = codecOfTag(*one);
        if (one->descTag == registrationTag && one->descLen >= 4 && said.registration == 0)
            said.registration = u32{wordAt(one->descData)} << 16 | wordAt(one->descData + 2);
    }
    for (const CodecOfRegistration &known : kByRegistration)
        if (said.codec == Codec::unknown && known.identifier == said.registration)
            said.codec = known.codec;
    return said;
}

template <size_t Count> Codec codecOfType(const CodecOfType (&codecs)[Count], u8 streamType)
{
    for (const CodecOfType &one : codecs)
        if (one.streamType == streamType)
            return one.codec;
    return Codec::unknown;
}

} // namespace

Codec codecOf(u8 streamType, const descInfo *program, const descInfo *stream)
{
    constexpr CodecOfType codecs[] = {
        {0x01, Codec::mpegVideo}, {0x02, Codec::mpegVideo}, {0x03, Codec::mpegAudio}, {0x04, Codec::mpegAudio},
        {0x0F, Codec::adts},      {0x11, Codec::latm},      {0x1B, Codec::h264},      {0x24, Codec::h265},
        {0x81, Codec::ac3},       {0x87, Codec::ac3},
    };
    constexpr CodecOfType onDiscs[] = {{0x82, Codec::dts}, {0x84, Codec::ac3}, {0x85, Codec::dts}, {0x86, Codec::dts}};
    if (const Codec codec = codecOfType(codecs, streamType); codec != Codec::unknown)
        return codec;
    const Said said = saidBy(stream);
    const bool onDisc = said.registration == kDisc || saidBy(program).registration == kDisc;
    if (said.codec != Codec::unknown)
        return said.codec;
    if (onDisc)
        return codecOfType(onDiscs, streamType);
    // 0x82 means subtitles as well (SCTE 27); those come in sections, and have no such headers.
    constexpr CodecOfType unsaid[] = {{0x80, Codec::mpegVideo}, {0x82, Codec::dts}};
    return codecOfType(unsaid, streamType);
}

u8 opusChannels(const descInfo *stream)
{
    constexpr u8 configuration = 0x80; // descriptor_tag_extension
    constexpr u8 most = 8;             // channels in the order of RFC 7845 5.1.1.2; 0 is twice mono
    if (saidBy(stream).codec != Codec::opus)
        return 0;
    for (const descInfo *one = stream; one != nullptr; one = static_cast<const descInfo *>(one->link.next))
        if (one->descTag == kExtensionTag && one->descLen >= 2 && one->descData[0] == configuration)
            return one->descData[1] > most ? u8{0} : one->descData[1] == 0 ? u8{2} : one->descData[1];
    return 0;
}

StreamProbe::StreamProbe(Codec codec, u8 channels)
    : search(searchOf(codec)),
      limit(codec == Codec::mpegVideo || codec == Codec::h264 || codec == Codec::h265 ? kMostVideo : kMostAudio),
      opus(codec == Codec::opus ? channels : 0)
{
}

StreamProbe::~StreamProbe() = default;
StreamProbe::StreamProbe(StreamProbe &&) noexcept = default;
StreamProbe &StreamProbe::operator=(StreamProbe &&) noexcept = default;

/** The header of a PES packet, which may go on in the next packet. ISO/IEC 13818-1 2.4.3.6 @return bytes that are it */
size_t StreamProbe::skipHeader(const u8 *data, size_t size, bool start)
{
    constexpr size_t fixed = 9;
    if (start) {
        header.clear();
        inHeader = true;
        inPayload = false;
    }
    size_t used = 0;
    while (inHeader && used < size) {
        header.push_back(data[used++]);
        if (header.size() < fixed || header.size() < fixed + header[fixed - 1])
            continue;
        const bool isPes = header[0] == 0 && header[1] == 0 && header[2] == 1 && header[6] >> 6 == 2;
        inHeader = false;
        inPayload = isPes;
    }
    return used;
}

bool StreamProbe::take(const u8 *data, size_t size, bool start)
{
    if (search == nullptr || done())
        return false;
    taken += size;
    const size_t used = skipHeader(data, size, start);
    if (inPayload && used < size)
        found = search->take({data + used, size - used});
    if (found && opus != 0) {
        constexpr u8 low = 6; // of so many channels on, one is for low frequencies
        found->audio->channels = opus < low ? opus : static_cast<u8>(opus - 1);
        found->audio->lowFrequency = opus >= low;
    }
    return !done();
}

} // namespace psi::demux
