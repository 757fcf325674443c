#include "demux/capture.h"

#include "demux/transportPacket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <system_error>

#ifdef PSI_DEMUX_PCAP
#include "demux/sharedLibrary.h"

#include <pcap/pcap.h>
#endif

namespace psi::demux {

namespace {

/* Link types of captures, https://www.tcpdump.org/linktypes.html has them all. */
constexpr int kNullLoopback = 0;
constexpr int kEthernet = 1;
constexpr int kRawIp = 12; // LINKTYPE_RAW as libpcap tells it
constexpr int kRawIpOther = 101;
constexpr int kLoopback = 108;
constexpr int kLinuxCooked = 113;
constexpr int kIpv4 = 228;
constexpr int kIpv6 = 229;
constexpr int kLinuxCooked2 = 276;

constexpr u16 kTypeIpv4 = 0x0800;
constexpr u16 kTypeIpv6 = 0x86DD;
constexpr u16 kTypeMpls = 0x8847;
constexpr u16 kTypeMplsOther = 0x8848; // labels of the receiver's, RFC 5332
constexpr u16 kTypePppoe = 0x8864;
constexpr u8 kUdp = 17;
constexpr size_t kUdpHeader = 8;

/** Closed with its owner. */
using File = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

/** What is left of a frame. */
struct Rest {
    const u8 *data;
    size_t size;

    bool skip(size_t bytes)
    {
        if (bytes > size)
            return false;
        data += bytes;
        size -= bytes;
        return true;
    }
};

bool isVlanTag(u16 type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

/** Behind an EtherType, and the VLAN tags that may follow it (IEEE 802.1Q). @return it, 0: the frame is too short */
u16 skipVlanTags(u16 type, Rest &rest)
{
    while (isVlanTag(type)) {
        if (rest.size < 4)
            return 0;
        type = wordAt(rest.data + 2);
        rest.skip(4);
    }
    return type;
}

/** @return the EtherType of an IP packet by its version */
u16 typeByVersion(const Rest &rest)
{
    return rest.size == 0 ? u16{0} : rest.data[0] >> 4 == 6 ? kTypeIpv6 : kTypeIpv4;
}

/** Behind MPLS labels, RFC 3032 2.1: they do not tell what they carry. @return its EtherType, if it is IP */
u16 skipLabels(Rest &rest)
{
    for (bool last = false; !last; rest.skip(4)) {
        if (rest.size < 4)
            return 0;
        last = (rest.data[2] & 1) != 0;
    }
    return typeByVersion(rest);
}

/** Behind PPP over Ethernet, RFC 2516 4. @return the EtherType of what it carries; 0: not IP */
u16 skipPppoe(Rest &rest)
{
    constexpr size_t header = 6;
    const u16 protocol = rest.size < header + 2 ? u16{0} : wordAt(rest.data + header);
    rest.skip(header + 2);
    return protocol == 0x0021 ? kTypeIpv4 : protocol == 0x0057 ? kTypeIpv6 : u16{0};
}

/** Behind an EtherType. @return that of the packet within what it names */
u16 skipTunnels(u16 type, Rest &rest)
{
    const u16 inner = skipVlanTags(type, rest);
    if (inner == kTypeMpls || inner == kTypeMplsOther)
        return skipLabels(rest);
    return inner == kTypePppoe ? skipPppoe(rest) : inner;
}

/** Skips the link's header. @return the EtherType of what follows; 0: none of ours */
u16 skipLink(int linkType, Rest &rest)
{
    const auto typeAt = [&](size_t offset, size_t header) -> u16 {
        if (rest.size < header)
            return 0;
        const u16 type = wordAt(rest.data + offset);
        rest.skip(header);
        return skipTunnels(type, rest);
    };
    switch (linkType) {
    case kEthernet:
        return typeAt(12, 14);
    case kLinuxCooked:
        return typeAt(14, 16);
    case kLinuxCooked2:
        return typeAt(0, 20);
    case kNullLoopback:
    case kLoopback:
        return rest.skip(4) ? typeByVersion(rest) : u16{0};
    case kRawIp:
    case kRawIpOther:
    case kIpv4:
    case kIpv6:
        return typeByVersion(rest);
    default:
        return 0;
    }
}

constexpr u16 kMoreInIpv4 = 0x2000;
constexpr u16 kOffsetInIpv4 = 0x1FFF;

/**
 * Puts the datagram together that a frame has a part of.
 * @param part where it belongs
 * @param length of it, as the IP header tells; what was not captured to its end is of no use
 */
FrameKind join(IpFragments &fragments, IpFragment part, size_t length, const CapturedDatagram &datagram, Rest &rest)
{
    part.source = datagram.source;
    part.address = datagram.address;
    part.v6 = datagram.v6;
    part.data = rest.data;
    part.size = length <= rest.size ? length : 0;
    const std::vector<u8> *whole = fragments.take(part);
    if (whole != nullptr)
        rest = {whole->data(), whole->size()};
    return whole != nullptr ? FrameKind::datagram : FrameKind::fragment;
}

/** RFC 791 3.1. */
FrameKind skipIpv4(Rest &rest, CapturedDatagram &datagram, IpFragments &fragments, uint64_t ms)
{
    const size_t header = rest.size < 20 ? 0 : size_t{rest.data[0] & 0x0FU} * 4;
    if (header < 20 || rest.data[0] >> 4 != 4 || rest.data[9] != kUdp)
        return FrameKind::other;
    const size_t length = wordAt(rest.data + 2);
    const u16 place = wordAt(rest.data + 6);
    IpFragment part;
    part.identification = wordAt(rest.data + 4);
    part.more = (place & kMoreInIpv4) != 0;
    part.offset = static_cast<size_t>(place & kOffsetInIpv4) * 8;
    part.ms = ms;
    std::copy_n(rest.data + 12, 4, datagram.source.begin());
    std::copy_n(rest.data + 16, 4, datagram.address.begin());
    if (!rest.skip(header))
        return FrameKind::other;
    if (!part.more && part.offset == 0)
        return FrameKind::datagram;
    return join(fragments, part, length - std::min(length, header), datagram, rest);
}

/** RFC 8200 4.5: behind the fragment header stands the part. @param length from that header on, as the packet's tells
 */
FrameKind joinIpv6(Rest &rest, size_t length, const CapturedDatagram &datagram, IpFragments &fragments, uint64_t ms)
{
    constexpr size_t header = 8;
    if (rest.size < header || rest.data[0] != kUdp)
        return FrameKind::other;
    const u16 place = wordAt(rest.data + 2);
    IpFragment part;
    part.identification = u32{wordAt(rest.data + 4)} << 16 | wordAt(rest.data + 6);
    part.more = (place & 1) != 0;
    part.offset = place & ~7U;
    part.ms = ms;
    rest.skip(header);
    return join(fragments, part, length - std::min(length, header), datagram, rest);
}

/** RFC 8200 3 and 4: extension headers in front of UDP. */
FrameKind skipIpv6(Rest &rest, CapturedDatagram &datagram, IpFragments &fragments, uint64_t ms)
{
    constexpr size_t header = 40;
    constexpr u8 fragment = 44;
    if (rest.size < header || rest.data[0] >> 4 != 6)
        return FrameKind::other;
    const size_t length = wordAt(rest.data + 4);
    u8 next = rest.data[6];
    datagram.v6 = true;
    std::copy_n(rest.data + 8, 16, datagram.source.begin());
    std::copy_n(rest.data + 24, 16, datagram.address.begin());
    rest.skip(header);
    const size_t captured = rest.size;
    for (const u8 extension : {u8{0}, u8{60}, u8{43}, u8{60}}) // hop-by-hop, destination, routing, destination options
        if (next == extension && rest.size >= 8) {
            next = rest.data[0];
            if (!rest.skip(size_t{rest.data[1]} * 8 + 8))
                return FrameKind::other;
        }
    if (next == fragment)
        return joinIpv6(rest, length - std::min(length, captured - rest.size), datagram, fragments, ms);
    return next == kUdp ? FrameKind::datagram : FrameKind::other;
}

/** The sum of 16-bit words, which is the same in any byte order but for that of its own bytes, RFC 1071. */
uint64_t sumOfWords(const u8 *bytes, size_t size)
{
    uint64_t sum = 0;
    u32 words = 0;
    for (; size >= sizeof words; bytes += sizeof words, size -= sizeof words) {
        std::memcpy(&words, bytes, sizeof words);
        sum += words;
    }
    words = 0;
    std::memcpy(&words, bytes, size);
    return sum + words;
}

std::string hostText(const std::array<u8, 16> &address, bool v6)
{
    std::array<char, INET6_ADDRSTRLEN> text = {};
    inet_ntop(v6 ? AF_INET6 : AF_INET, address.data(), text.data(), text.size());
    return v6 ? "[" + std::string(text.data()) + "]" : std::string(text.data());
}

std::string nameOf(const CapturedDatagram &datagram)
{
    return hostText(datagram.address, datagram.v6) + ":" + std::to_string(datagram.port);
}

/** With the source in front. */
std::string fullNameOf(const CapturedDatagram &datagram)
{
    return hostText(datagram.source, datagram.v6) + "@" + nameOf(datagram);
}

/** @return false also when it cannot be looked into: its opening tells why */
bool isCaptureFile(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    const File file(std::fopen(path.c_str(), "rb"), std::fclose);
    std::array<u8, 4> magic = {};
    return file != nullptr && std::fread(magic.data(), 1, magic.size(), file.get()) == magic.size() &&
           beginsLikeCapture(magic.data());
}

std::FILE *opened(const std::string &path, const std::string &shownName)
{
    std::FILE *file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        throw InputError(shownName + ": " + std::generic_category().message(errno));
    return file;
}

/** Counts datagrams by where they go. */
class StreamList {
public:
    void take(const CapturedDatagram &datagram)
    {
        const DatagramContent content = contentOf(datagram.payload, datagram.size);
        const std::string destination = nameOf(datagram);
        // Whoever sends something else is no matter, and may be very many.
        CapturedStream *stream = find(content.count > 0 ? fullNameOf(datagram) : destination, destination);
        if (stream == nullptr)
            return;
        ++stream->datagrams;
        stream->packets += content.count;
        stream->rtp = stream->rtp || content.rtp;
    }

    bool empty() const { return all.empty(); }

    /** Whether a source sends transport packets to a destination, as fullNameOf() has them. */
    bool hasSender(const std::string &fullName) const { return known.count(fullName) != 0; }

    /** By their destinations, and their sources where several send to one. */
    std::vector<CapturedStream> streams() const
    {
        std::map<std::string, size_t> senders;
        for (const Entry &one : all)
            senders[one.destination] += one.stream.packets > 0;
        std::vector<CapturedStream> listed;
        std::map<std::string, size_t> places;
        for (const Entry &one : all) {
            const bool alone = senders[one.destination] <= 1;
            const std::string name = alone ? one.destination : one.stream.address;
            const auto [place, isNew] = places.try_emplace(name, listed.size());
            if (isNew)
                listed.push_back({name, 0, 0, false});
            CapturedStream &stream = listed[place->second];
            stream.datagrams += one.stream.datagrams;
            stream.packets += one.stream.packets;
            stream.rtp = stream.rtp || one.stream.rtp;
        }
        return listed;
    }

private:
    struct Entry {
        std::string destination;
        CapturedStream stream;
    };

    /** @return null when there are too many */
    CapturedStream *find(const std::string &name, const std::string &destination)
    {
        constexpr size_t most = 4096; // of a capture of everything
        auto place = known.find(name);
        if (place == known.end() && all.size() < most) {
            place = known.emplace(name, all.size()).first;
            all.push_back({destination, {name, 0, 0, false}});
        }
        return place == known.end() ? nullptr : &all[place->second].stream;
    }

    std::vector<Entry> all;
    std::map<std::string, size_t> known;
};

StreamList listOf(CaptureFile &capture)
{
    StreamList list;
    CapturedDatagram datagram;
    uint64_t ms = 0;
    try {
        while (capture.next(datagram, ms))
            list.take(datagram);
    } catch (const InputError &) {
        if (list.empty())
            throw; // a capture that is cut off still has its beginning
    }
    return list;
}

/** Of a capture without a stream: what is in it. */
std::string whatElse(const CaptureFile &capture, const std::vector<CapturedStream> &all)
{
    if (!all.empty())
        return " in its UDP datagrams";
    if (capture.fragments() > 0)
        return ", only IP fragments that make no whole datagram";
    return capture.frames() > 0 ? ": no UDP datagrams in it" : ": it is empty";
}

/** The stream that is meant. */
std::string chosenStream(const CaptureName &name, const std::string &shownName)
{
    CaptureFile capture(opened(name.file, shownName), shownName);
    const StreamList list = listOf(capture);
    std::vector<CapturedStream> all = list.streams();
    if (!name.stream.empty()) {
        const bool there = list.hasSender(name.stream) || std::any_of(all.begin(), all.end(), [&](const auto &one) {
                               return one.address == name.stream;
                           });
        if (!there)
            throw SeveralStreams(shownName + ": has no such stream", all);
        return name.stream;
    }
    const auto isOther = [](const CapturedStream &one) { return one.packets == 0; };
    std::vector<CapturedStream> transport = all;
    transport.erase(std::remove_if(transport.begin(), transport.end(), isOther), transport.end());
    if (transport.empty())
        throw SeveralStreams(shownName + ": no transport packets found" + whatElse(capture, all), all);
    if (transport.size() > 1)
        throw SeveralStreams(shownName + ": holds " + std::to_string(transport.size()) +
                                 " transport streams; choose one with " + name.file + "?stream=ADDRESS:PORT",
                             all);
    return transport.front().address;
}

} // namespace

/** A pcap file, in both byte orders, with microseconds and nanoseconds; a pcapng file. */
bool beginsLikeCapture(const u8 *start)
{
    static constexpr std::array<u8, 4> known[] = {{0xA1, 0xB2, 0xC3, 0xD4},
                                                  {0xD4, 0xC3, 0xB2, 0xA1},
                                                  {0xA1, 0xB2, 0x3C, 0x4D},
                                                  {0x4D, 0x3C, 0xB2, 0xA1},
                                                  {0x0A, 0x0D, 0x0D, 0x0A}};
    return std::any_of(std::begin(known), std::end(known),
                       [start](const std::array<u8, 4> &one) { return std::equal(one.begin(), one.end(), start); });
}

std::optional<CaptureName> captureNamed(const std::string &input)
{
    static const std::string option = "?stream=";
    if (isCaptureFile(input))
        return CaptureName{input, ""};
    const size_t at = input.rfind(option);
    if (at == std::string::npos || !isCaptureFile(input.substr(0, at)))
        return std::nullopt;
    return CaptureName{input.substr(0, at), input.substr(at + option.size())};
}

FrameKind FrameReader::read(const u8 *frame, size_t size, uint64_t ms, CapturedDatagram &datagram)
{
    datagram = {};
    Rest rest = {frame, size};
    const u16 type = skipLink(linkType, rest);
    const FrameKind kind = type == kTypeIpv4   ? skipIpv4(rest, datagram, fragments, ms)
                           : type == kTypeIpv6 ? skipIpv6(rest, datagram, fragments, ms)
                                               : FrameKind::other;
    if (kind != FrameKind::datagram)
        return kind;
    const size_t length = rest.size < kUdpHeader ? 0 : wordAt(rest.data + 4);
    if (length < kUdpHeader)
        return FrameKind::other;
    datagram.port = wordAt(rest.data + 2);
    rest.skip(kUdpHeader);
    datagram.payload = rest.data;
    datagram.cut = length - kUdpHeader > rest.size;
    datagram.size = std::min(rest.size, length - kUdpHeader);
    return FrameKind::datagram;
}

bool hasWrongChecksum(const CapturedDatagram &datagram)
{
    const u8 *const header = datagram.payload - kUdpHeader;
    if (datagram.cut || wordAt(header + 6) == 0)
        return false;
    const size_t length = datagram.size + kUdpHeader;
    const size_t addressBytes = datagram.v6 ? 16 : 4;
    uint64_t sum = sumOfWords(header, length) + sumOfWords(datagram.source.data(), addressBytes) +
                   sumOfWords(datagram.address.data(), addressBytes) + htons(kUdp) + htons(static_cast<u16>(length));
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return sum != 0xFFFF;
}

#ifdef PSI_DEMUX_PCAP

namespace {

/** What is called of libpcap, which draws in ten other libraries. */
struct Pcap {
    decltype(&pcap_fopen_offline) open;
    decltype(&pcap_datalink) linkType;
    decltype(&pcap_next_ex) next;
    decltype(&pcap_geterr) error;
    decltype(&pcap_close) close;
    bool loaded;

    Pcap()
    {
        const SharedLibrary library = {"libpcap.so.0.8", "libpcap.so.1"}; // Debian's name, and all others'
        loaded = library.find("pcap_fopen_offline", open) && library.find("pcap_datalink", linkType) &&
                 library.find("pcap_next_ex", next) && library.find("pcap_geterr", error) &&
                 library.find("pcap_close", close);
    }
};

/** @param name of the capture, for the message when there is no libpcap */
const Pcap &pcapFor(const std::string &name)
{
    static const Pcap functions;
    if (!functions.loaded)
        throw InputError(name + ": is a capture of network packets; to read it, libpcap must be installed");
    return functions;
}

} // namespace

struct CaptureFile::Handle {
    const Pcap &functions;
    pcap_t *pcap;
    FrameReader frames{0};

    Handle(File file, const std::string &name) : functions(pcapFor(name))
    {
        std::array<char, PCAP_ERRBUF_SIZE> error = {};
        pcap = functions.open(file.get(), error.data());
        if (pcap == nullptr)
            throw InputError(name + ": " + error.data());
        static_cast<void>(file.release()); // close() ends it too
        frames = FrameReader(functions.linkType(pcap));
    }
    ~Handle() { functions.close(pcap); } // and the file
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
};

bool CaptureFile::next(CapturedDatagram &datagram, uint64_t &ms)
{
    pcap_pkthdr *header = nullptr;
    const u_char *frame = nullptr;
    for (;;) {
        const int result = handle->functions.next(handle->pcap, &header, &frame);
        if (result == PCAP_ERROR_BREAK)
            return false;
        if (result != 1)
            throw InputError(shownName + ": " + handle->functions.error(handle->pcap));
        ms = static_cast<uint64_t>(header->ts.tv_sec) * 1000 + static_cast<uint64_t>(header->ts.tv_usec) / 1000;
        ++met;
        if (handle->frames.read(frame, header->caplen, ms, datagram) == FrameKind::datagram)
            return true;
    }
}

uint64_t CaptureFile::fragments() const
{
    return handle->frames.leftOver();
}

#else

struct CaptureFile::Handle {
    Handle(const File &, const std::string &name)
    {
        throw InputError(name + ": is a capture of network packets; this build cannot read them, it lacks libpcap");
    }
};

bool CaptureFile::next(CapturedDatagram &, uint64_t &)
{
    return false;
}

uint64_t CaptureFile::fragments() const
{
    return 0;
}

#endif

CaptureFile::CaptureFile(std::FILE *file, const std::string &name)
    : shownName(name), handle(std::make_unique<Handle>(File(file, std::fclose), name))
{
}

CaptureFile::~CaptureFile() = default;

std::vector<CapturedStream> streamsOf(CaptureFile &capture)
{
    return listOf(capture).streams();
}

CaptureReader::CaptureReader(const CaptureName &name, const std::string &shownName)
    : wanted(chosenStream(name, shownName)), capture(opened(name.file, shownName), shownName)
{
}

bool CaptureReader::read(std::vector<u8> &bytes)
{
    constexpr size_t enough = 64U << 10;
    bytes.clear();
    const PacketSink sink = [&bytes](const u8 *packet, size_t size) {
        bytes.insert(bytes.end(), packet, packet + size);
    };
    if (!failure.empty())
        throw InputError(failure);
    try {
        while (bytes.size() < enough)
            if (!readOne(sink))
                return !bytes.empty();
    } catch (const InputError &error) {
        failure = error.what(); // behind what came before it
        reader.finish(sink);
    }
    return true;
}

/** @return false at the end */
bool CaptureReader::readOne(const PacketSink &sink)
{
    CapturedDatagram datagram;
    uint64_t ms = 0;
    if (!capture.next(datagram, ms)) {
        reader.finish(sink);
        return false;
    }
    const bool withSource = wanted.find('@') != std::string::npos;
    if ((withSource ? fullNameOf(datagram) : nameOf(datagram)) == wanted) {
        cut += datagram.cut;
        wrongChecksums += hasWrongChecksum(datagram);
        reader.take(datagram.payload, datagram.size, ms, sink);
    }
    return true;
}

void CaptureReader::addTo(Statistics &statistics) const
{
    reader.addTo(statistics);
    statistics.ipFragments = capture.fragments();
    statistics.cutDatagrams = cut;
    statistics.wrongChecksums = wrongChecksums;
}

} // namespace psi::demux
