// Captures of network packets as inputs: link types, VLAN tags, IPv4 and IPv6, UDP and RTP, several streams.
#include "demux/capture.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <unistd.h>

namespace {

using namespace psi::demux;
using psitest::Bytes;
using psitest::operator+;

constexpr int ethernet = 1;
constexpr int rawIp = 101;
constexpr int linuxCooked = 113;
constexpr int linuxCooked2 = 276;
constexpr int loopback = 0;

Bytes be16(std::size_t value)
{
    return {static_cast<u8>(value >> 8), static_cast<u8>(value & 0xFF)};
}

Bytes udp(u16 port, const Bytes &payload)
{
    return be16(40000) + be16(port) + be16(payload.size() + 8) + be16(0) + payload;
}

Bytes ipv4(u8 last, const Bytes &content, u16 fragment = 0, u8 protocol = 17)
{
    return Bytes{0x45, 0} + be16(content.size() + 20) + be16(1) + be16(fragment) + Bytes{64, protocol, 0, 0} +
           Bytes{10, 0, 0, 1, 239, 1, 1, last} + content;
}

Bytes ipv6(const Bytes &content, u8 next = 17)
{
    Bytes to = psitest::repeated(16, 0);
    to[0] = 0xFF;
    to[1] = 0x02;
    to[15] = 9;
    return Bytes{0x60, 0, 0, 0} + be16(content.size()) + Bytes{next, 64} + psitest::repeated(16, 1) + to + content;
}

Bytes inEthernet(const Bytes &packet, u16 type = 0x0800, const Bytes &tags = {})
{
    return psitest::repeated(12, 0x02) + tags + be16(type) + packet;
}

Bytes someStream()
{
    psitest::PacketStream pat(0);
    psitest::PacketStream pmt(0x100);
    for (int i = 0; i < 20; ++i) {
        pat.section(psitest::PatBuilder().tsId(9).program(1, 0x100).build());
        pmt.section(psitest::PmtBuilder(1).stream(2, 0x101).build());
    }
    return pat.bytes() + pmt.bytes();
}

Bytes le32(std::size_t value)
{
    return {static_cast<u8>(value), static_cast<u8>(value >> 8), static_cast<u8>(value >> 16),
            static_cast<u8>(value >> 24)};
}

/** A pcap file, a millisecond from frame to frame. */
class Capture {
public:
    explicit Capture(int linkType)
        : bytes_(le32(0xA1B2C3D4) + Bytes{2, 0, 4, 0} + le32(0) + le32(0) + le32(65536) +
                 le32(static_cast<std::size_t>(linkType)))
    {
    }
    Capture &frame(const Bytes &content, std::size_t original = 0)
    {
        bytes_ = bytes_ + le32(1) + le32(1000 * frames_++) + le32(content.size()) +
                 le32(original != 0 ? original : content.size()) + content;
        return *this;
    }
    const Bytes &bytes() const { return bytes_; }

private:
    Bytes bytes_;
    std::size_t frames_ = 0;
};

/** The same as pcapng: a section header, an interface, an enhanced packet for each frame. */
Bytes asPcapng(int linkType, const std::vector<Bytes> &frames)
{
    const auto block = [](std::size_t type, Bytes body) {
        while (body.size() % 4 != 0)
            body.push_back(0);
        return le32(type) + le32(body.size() + 12) + body + le32(body.size() + 12);
    };
    Bytes all = block(0x0A0D0D0A, le32(0x1A2B3C4D) + Bytes{1, 0, 0, 0} + psitest::repeated(8, 0xFF)) +
                block(1, Bytes{static_cast<u8>(linkType), 0, 0, 0} + le32(65536));
    for (const Bytes &frame : frames)
        all = all + block(6, le32(0) + le32(0) + le32(0) + le32(frame.size()) + le32(frame.size()) + frame);
    return all;
}

std::string destinationOf(int linkType, const Bytes &frame)
{
    CapturedDatagram datagram;
    const FrameKind kind = FrameReader(linkType).read(frame.data(), frame.size(), 0, datagram);
    if (kind != FrameKind::datagram)
        return kind == FrameKind::fragment ? "fragment" : "other";
    return (datagram.v6 ? "6:" : "4:") + std::to_string(datagram.address[datagram.v6 ? 15 : 3]) + ":" +
           std::to_string(datagram.port) + " " + std::string(datagram.payload, datagram.payload + datagram.size) +
           (datagram.cut ? " cut" : "");
}

TEST(CapturedFrame, IsLookedIntoWhateverCarriesIt)
{
    const Bytes packet = ipv4(7, udp(5000, psitest::bytesOf("hello")));
    const std::string expected = "4:7:5000 hello";
    EXPECT_EQ(expected, destinationOf(ethernet, inEthernet(packet)));
    EXPECT_EQ(expected, destinationOf(ethernet, inEthernet(packet, 0x0800, be16(0x8100) + be16(12))));
    EXPECT_EQ(expected,
              destinationOf(ethernet, inEthernet(packet, 0x0800, be16(0x88A8) + be16(3) + be16(0x8100) + be16(12))));
    EXPECT_EQ(expected, destinationOf(linuxCooked, psitest::repeated(14, 0) + be16(0x0800) + packet));
    EXPECT_EQ(expected, destinationOf(linuxCooked2, be16(0x0800) + psitest::repeated(18, 0) + packet));
    EXPECT_EQ(expected, destinationOf(rawIp, packet));
    EXPECT_EQ(expected, destinationOf(loopback, Bytes{2, 0, 0, 0} + packet));
}

/** A frame of a subscriber's line. @param protocol of PPP, 0x0021 for IPv4, 0x0057 for IPv6 */
Bytes inPppoe(const Bytes &packet, u16 protocol, const Bytes &tags = {})
{
    const Bytes session = Bytes{0x11, 0, 0, 7} + be16(packet.size() + 2) + be16(protocol);
    return inEthernet(session + packet, 0x8864, tags);
}

const Bytes labels = {0, 6, 0x40, 0x40, 0, 0x0C, 0x81, 0x40}; // 100, and 200, the last one

TEST(CapturedFrame, IsLookedIntoBehindMplsLabelsAndInPppoe)
{
    const Bytes four = ipv4(7, udp(5000, psitest::bytesOf("hello")));
    const Bytes six = ipv6(udp(6000, psitest::bytesOf("six")));
    const Bytes tags = be16(0x8100) + be16(12);
    EXPECT_EQ("4:7:5000 hello", destinationOf(ethernet, inEthernet(labels + four, 0x8847)));
    EXPECT_EQ("6:9:6000 six", destinationOf(ethernet, inEthernet(labels + six, 0x8848, tags)));
    EXPECT_EQ("4:7:5000 hello", destinationOf(linuxCooked, psitest::repeated(14, 0) + be16(0x8847) + labels + four));
    EXPECT_EQ("4:7:5000 hello", destinationOf(ethernet, inPppoe(four, 0x0021, tags)));
    EXPECT_EQ("6:9:6000 six", destinationOf(ethernet, inPppoe(six, 0x0057)));
    EXPECT_EQ("other", destinationOf(ethernet, inPppoe(four, 0xC021))) << "of the link itself";
    EXPECT_EQ("other", destinationOf(ethernet, inEthernet(labels + Bytes{0, 0, 0, 0} + inEthernet(four), 0x8847)))
        << "an Ethernet frame behind a control word";
}

/** @return whether the datagram in a raw IP packet has a wrong checksum. @param checksum put in, at `place` */
bool isWrong(Bytes packet, std::size_t place, u16 checksum)
{
    packet[place] = static_cast<u8>(checksum >> 8);
    packet[place + 1] = static_cast<u8>(checksum);
    CapturedDatagram datagram;
    EXPECT_EQ(FrameKind::datagram, FrameReader(rawIp).read(packet.data(), packet.size(), 0, datagram));
    return hasWrongChecksum(datagram);
}

TEST(CapturedFrame, TellsAWrongUdpChecksum)
{
    // "hello": 9C40 1388 000D 6865 6C6C 6F00, from 10.0.0.1 to 239.1.1.7, protocol 17, 13 bytes
    const Bytes packet = ipv4(7, udp(5000, psitest::bytesOf("hello")));
    constexpr std::size_t place = 20 + 6;
    constexpr u16 right = 0x1230;
    EXPECT_FALSE(isWrong(packet, place, right));
    EXPECT_TRUE(isWrong(packet, place, right + 1));
    EXPECT_TRUE(isWrong(packet, place, static_cast<u16>(right << 8 | right >> 8)));
    EXPECT_FALSE(isWrong(packet, place, 0)) << "none was made";
    Bytes damaged = packet;
    damaged[20 + 8] ^= 1;
    EXPECT_TRUE(isWrong(damaged, place, right));
    damaged.pop_back();
    EXPECT_FALSE(isWrong(damaged, place, right)) << "its end was not captured";

    const Bytes six = ipv6(udp(6000, psitest::bytesOf("six")));
    constexpr std::size_t placeInSix = 40 + 6;
    EXPECT_FALSE(isWrong(six, placeInSix, 0x59AA));
    EXPECT_TRUE(isWrong(six, placeInSix, 0x59AB));
    EXPECT_FALSE(isWrong(six, placeInSix, 0)) << "as tunnels have it";
}

TEST(CapturedFrame, OfIpv6MayHaveExtensionHeaders)
{
    const Bytes datagram = udp(6000, psitest::bytesOf("six"));
    EXPECT_EQ("6:9:6000 six", destinationOf(ethernet, inEthernet(ipv6(datagram), 0x86DD)));
    const Bytes options = Bytes{17, 0} + psitest::repeated(6, 0);
    EXPECT_EQ("6:9:6000 six", destinationOf(rawIp, ipv6(options + datagram, 0)));
    EXPECT_EQ("fragment", destinationOf(rawIp, ipv6(Bytes{17, 0, 0, 1} + psitest::repeated(12, 0), 44)));
    EXPECT_EQ("other", destinationOf(rawIp, ipv6(Bytes{6, 0, 0, 1} + psitest::repeated(12, 0), 44)));
}

TEST(CapturedFrame, WhatIsNoDatagramIsToldApart)
{
    const Bytes datagram = udp(5000, psitest::bytesOf("hello"));
    EXPECT_EQ("fragment", destinationOf(rawIp, ipv4(1, datagram, 0x2000)));
    EXPECT_EQ("fragment", destinationOf(rawIp, ipv4(1, datagram, 0x0010)));
    EXPECT_EQ("other", destinationOf(rawIp, ipv4(1, datagram, 0, 6)));
    EXPECT_EQ("other", destinationOf(ethernet, inEthernet(psitest::repeated(40, 0), 0x0806)));
    EXPECT_EQ("other", destinationOf(9999, datagram));
    Bytes cut = ipv4(7, datagram);
    cut.resize(cut.size() - 2);
    EXPECT_EQ("4:7:5000 hel cut", destinationOf(rawIp, cut));
}

TEST(CapturedFrame, ThatEndsAnywhereIsNoneOrCut)
{
    const Bytes whole[] = {inEthernet(ipv4(7, udp(5000, psitest::bytesOf("x"))), 0x0800, be16(0x8100) + be16(12)),
                           inEthernet(ipv6(Bytes{17, 0} + psitest::repeated(6, 0) + udp(1, {}), 0), 0x86DD),
                           inEthernet(labels + ipv4(7, udp(5000, {1})), 0x8847),
                           inPppoe(ipv4(7, udp(5000, {1})), 0x0021)};
    for (const Bytes &frame : whole)
        for (std::size_t size = 0; size < frame.size(); ++size) {
            const Bytes part(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(size));
            CapturedDatagram datagram;
            const FrameKind kind = FrameReader(ethernet).read(part.data(), part.size(), 0, datagram);
            EXPECT_TRUE(kind == FrameKind::other || datagram.cut) << size;
        }
}

/** @brief Takes the parts of datagrams, each of one byte value for all that is in it. */
class Fragments : public testing::Test {
protected:
    static constexpr bool more = true;
    static constexpr bool last = false;

    /** @return what the whole datagram is, each byte of it divided by 8; empty: it is not whole */
    std::string take(u32 identification, std::size_t offset, std::size_t size, bool moreFollow, uint64_t ms = 0,
                     char first = '0')
    {
        Bytes bytes;
        for (std::size_t i = offset; i < offset + size; ++i)
            bytes.push_back(static_cast<u8>(i / 8 % 10 + static_cast<u8>(first)));
        IpFragment part;
        part.identification = identification;
        part.offset = offset;
        part.more = moreFollow;
        part.data = bytes.data();
        part.size = bytes.size();
        part.ms = ms;
        const Bytes *whole = fragments.take(part);
        return whole != nullptr ? std::string(whole->begin(), whole->end()) : "";
    }

    IpFragments fragments;
};

TEST_F(Fragments, AreJoinedInAnyOrder)
{
    const std::string whole = "0000000011111111222222223333";
    EXPECT_EQ("", take(1, 0, 16, more));
    EXPECT_EQ("", take(1, 16, 8, more));
    EXPECT_EQ(whole, take(1, 24, 4, last));
    EXPECT_EQ("", take(2, 24, 4, last));
    EXPECT_EQ("", take(2, 8, 16, more));
    EXPECT_EQ(whole, take(2, 0, 8, more));
    EXPECT_EQ(0u, fragments.leftOver());
}

TEST_F(Fragments, OfSeveralDatagramsAreKeptApart)
{
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("", take(2, 0, 16, more));
    EXPECT_EQ("0000000011", take(1, 8, 2, last));
    EXPECT_EQ("00000000111111112", take(2, 16, 1, last));
}

TEST_F(Fragments, ThatComeTwiceCountOnce)
{
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("000000001", take(1, 8, 1, last));
    EXPECT_EQ(0u, fragments.leftOver());
}

TEST_F(Fragments, ThatComeAgainBehindTheirWholeDatagramCountOnce)
{
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("000000001", take(1, 8, 1, last));
    EXPECT_EQ("", take(1, 8, 1, last));
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("", take(1, 8, 1, last, 2000));
    EXPECT_EQ(0u, fragments.leftOver());
    for (u32 i = 2; i < 18; ++i) {
        EXPECT_EQ("", take(i, 0, 8, more));
        EXPECT_EQ("000000001", take(i, 8, 1, last));
    }
    EXPECT_EQ("", take(2, 8, 1, last));
    EXPECT_EQ(0u, fragments.leftOver());
    EXPECT_EQ("", take(1, 8, 1, last));
    EXPECT_EQ(1u, fragments.leftOver());
}

TEST_F(Fragments, OfTheSameIdentificationAndOtherBytesAreAnotherDatagram)
{
    EXPECT_EQ("", take(1, 0, 8, more));
    EXPECT_EQ("000000001", take(1, 8, 1, last));
    EXPECT_EQ("", take(1, 0, 8, more, 0, 'a'));
    EXPECT_EQ("aaaaaaaab", take(1, 8, 1, last, 0, 'a'));
    EXPECT_EQ("", take(1, 0, 8, more, 2001));
    EXPECT_EQ("000000001", take(1, 8, 1, last, 2001));
    EXPECT_EQ(0u, fragments.leftOver());
}

TEST_F(Fragments, ThatOverlapMakeNoDatagram)
{
    EXPECT_EQ("", take(1, 0, 16, more));
    EXPECT_EQ("", take(1, 8, 16, more));
    EXPECT_EQ("", take(1, 24, 8, last));
    EXPECT_EQ("", take(2, 8, 8, more));
    EXPECT_EQ("", take(2, 0, 16, more));
    EXPECT_EQ(5u, fragments.leftOver());
}

TEST_F(Fragments, BehindTheEndMakeNoDatagram)
{
    EXPECT_EQ("", take(1, 8, 8, last));
    EXPECT_EQ("", take(1, 16, 8, more));
    EXPECT_EQ("", take(2, 16, 8, more));
    EXPECT_EQ("", take(2, 8, 8, last));
    EXPECT_EQ("", take(3, 8, 8, last));
    EXPECT_EQ("", take(3, 16, 8, last));
    EXPECT_EQ(6u, fragments.leftOver());
}

TEST_F(Fragments, ThatCannotBeAreLeftOut)
{
    EXPECT_EQ("", take(1, 0, 0, last));
    EXPECT_EQ("", take(1, 0, 7, more));
    EXPECT_EQ("", take(1, 65528, 8, last));
    EXPECT_EQ(3u, fragments.leftOver());
    EXPECT_EQ("", take(1, 65528, 7, last));
    EXPECT_EQ(std::size_t{65535}, take(1, 0, 65528, more).size());
    EXPECT_EQ(3u, fragments.leftOver());
}

TEST_F(Fragments, AreForgottenAfterTwoSeconds)
{
    EXPECT_EQ("", take(1, 0, 8, more, 1000));
    EXPECT_EQ("", take(2, 0, 8, more, 1001));
    EXPECT_EQ("", take(1, 8, 1, last, 3001));
    EXPECT_EQ("000000001", take(2, 8, 1, last, 3001));
    EXPECT_EQ(2u, fragments.leftOver());
}

TEST_F(Fragments, OfTheOldestOfManyDatagramsAreForgotten)
{
    for (u32 i = 0; i < 65; ++i)
        EXPECT_EQ("", take(i, 0, 8, more));
    EXPECT_EQ("000000001", take(64, 8, 1, last));
    EXPECT_EQ("000000001", take(1, 8, 1, last));
    EXPECT_EQ("", take(0, 8, 1, last));
    EXPECT_EQ(64u, fragments.leftOver());
}

class CaptureInput : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(initLibrary());
        if (const std::string error = errorOf(put(Capture(ethernet).bytes()));
            error.find("lacks libpcap") != std::string::npos)
            GTEST_SKIP() << "built without libpcap";
    }
    void TearDown() override { std::remove(file().c_str()); }

    static std::string file() { return testing::TempDir() + "capture_" + std::to_string(getpid()) + ".pcap"; }
    static std::string put(const Bytes &bytes)
    {
        std::ofstream(file(), std::ios::binary)
            .write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return file();
    }
    static std::string errorOf(const std::string &input)
    {
        try {
            Host::open(input);
        } catch (const InputError &error) {
            return error.what();
        }
        return "no error";
    }
    /** The datagrams of a stream, three packets each. */
    static std::vector<Bytes> datagrams()
    {
        const Bytes stream = someStream();
        std::vector<Bytes> all;
        for (auto at = stream.begin(); at < stream.end(); at += 3 * 188)
            all.emplace_back(at, std::min(at + 3 * 188, stream.end()));
        return all;
    }
    static Bytes rtp(u16 sequence) { return Bytes{0x80, 33} + be16(sequence) + psitest::repeated(8, 1); }

    static void expectTables(const std::string &input)
    {
        const auto host = Host::open(input);
        EXPECT_EQ(1u, host->search(PSI_PAT)) << input;
        EXPECT_EQ(1u, host->search(PSI_PMT)) << input;
        const Statistics statistics = host->statistics();
        EXPECT_EQ(40u, statistics.packets);
        EXPECT_EQ(0u, statistics.continuityErrors);
    }
};

TEST_F(CaptureInput, IsReadLikeARecording)
{
    Capture capture(ethernet);
    std::vector<Bytes> frames;
    for (const Bytes &one : datagrams())
        frames.push_back(inEthernet(ipv4(1, udp(5000, one))));
    for (const Bytes &frame : frames)
        capture.frame(frame);
    expectTables(put(capture.bytes()));
    expectTables(put(asPcapng(ethernet, frames)));
}

TEST_F(CaptureInput, RtpIsPutInOrder)
{
    Capture capture(rawIp);
    const std::vector<Bytes> all = datagrams();
    std::vector<std::size_t> order(all.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::swap(order[3], order[5]);
    std::swap(order[8], order[9]);
    for (const std::size_t i : order)
        capture.frame(ipv4(1, udp(5004, rtp(static_cast<u16>(i)) + all[i])));
    capture.frame(ipv4(1, udp(5004, rtp(2) + all[2])));
    expectTables(put(capture.bytes()));
    const Statistics statistics = Host::open(file())->statistics();
    EXPECT_EQ(2u, statistics.rtpReordered);
    EXPECT_EQ(1u, statistics.rtpDuplicates);
}

TEST_F(CaptureInput, OfSeveralStreamsOneIsChosen)
{
    Capture capture(rawIp);
    for (const Bytes &one : datagrams())
        capture.frame(ipv4(1, udp(5000, one)))
            .frame(ipv6(udp(6000, rtp(1) + one)))
            .frame(ipv4(2, udp(53, psitest::bytesOf("something else"))));
    try {
        Host::open(put(capture.bytes()));
        FAIL() << "no error";
    } catch (const SeveralStreams &error) {
        EXPECT_EQ(file() + ": holds 2 transport streams; choose one with " + file() + "?stream=ADDRESS:PORT",
                  error.what());
        ASSERT_EQ(3u, error.streams.size());
        EXPECT_EQ("239.1.1.1:5000", error.streams[0].address);
        EXPECT_EQ(datagrams().size(), error.streams[0].datagrams);
        EXPECT_EQ(40u, error.streams[0].packets);
        EXPECT_FALSE(error.streams[0].rtp);
        EXPECT_EQ("[ff02::9]:6000", error.streams[1].address);
        EXPECT_TRUE(error.streams[1].rtp);
        EXPECT_EQ("239.1.1.2:53", error.streams[2].address);
        EXPECT_EQ(0u, error.streams[2].packets);
    }
    expectTables(file() + "?stream=239.1.1.1:5000");
    expectTables(file() + "?stream=10.0.0.1@239.1.1.1:5000");
    for (const char *none : {"239.1.1.9:1", "10.0.0.2@239.1.1.1:5000", "10.0.0.1@239.1.1.2:53"})
        EXPECT_EQ(file() + "?stream=" + none + ": has no such stream", errorOf(file() + "?stream=" + none));
}

/** @brief The packets of a datagram whose parts have 400 bytes. @param identification of the datagram */
std::vector<Bytes> inParts(const Bytes &datagram, u16 identification, bool v6)
{
    constexpr std::size_t size = 400;
    std::vector<Bytes> parts;
    for (std::size_t at = 0; at < datagram.size(); at += size) {
        const bool isLast = at + size >= datagram.size();
        const Bytes part(datagram.begin() + static_cast<std::ptrdiff_t>(at),
                         isLast ? datagram.end() : datagram.begin() + static_cast<std::ptrdiff_t>(at + size));
        Bytes packet = ipv4(1, part, static_cast<u16>(at / 8 | (isLast ? 0 : 0x2000)));
        packet[4] = static_cast<u8>(identification >> 8);
        packet[5] = static_cast<u8>(identification & 0xFF);
        if (v6)
            packet = ipv6(Bytes{17, 0} + be16(at | (isLast ? 0 : 1)) + be16(0) + be16(identification) + part, 44);
        parts.push_back(packet);
    }
    return parts;
}

TEST_F(CaptureInput, DatagramsInFragmentsAreReadLikeWholeOnes)
{
    for (const bool v6 : {false, true}) {
        Capture capture(ethernet);
        u16 identification = 0;
        for (const Bytes &one : datagrams())
            for (const Bytes &part : inParts(udp(5000, one), identification++, v6)) // and the padding of short frames
                capture.frame(inEthernet(part + psitest::repeated(6, 0), v6 ? 0x86DD : 0x0800));
        expectTables(put(capture.bytes()));
        EXPECT_EQ(0u, Host::open(file())->statistics().ipFragments);
    }
}

TEST_F(CaptureInput, FragmentsThatMissOthersOrTheirEndAreCounted)
{
    Capture capture(rawIp);
    u16 identification = 0;
    for (const Bytes &one : datagrams()) {
        std::vector<Bytes> parts = inParts(udp(5000, one), identification++, false);
        if (identification == 2)
            parts.resize(1);
        if (identification == 4)
            parts.back().pop_back();
        for (const Bytes &part : parts)
            capture.frame(part);
    }
    put(capture.bytes());
    const Statistics statistics = Host::open(file())->statistics();
    EXPECT_EQ(3u, statistics.ipFragments);
    EXPECT_EQ(40u - 6, statistics.packets);
}

TEST_F(CaptureInput, OfSeveralSourcesOfAGroupOneIsChosen)
{
    Capture capture(rawIp);
    for (const Bytes &one : datagrams()) {
        Bytes other = ipv4(1, udp(5000, one));
        other[15] = 2; // of the source
        capture.frame(ipv4(1, udp(5000, one))).frame(other);
    }
    try {
        Host::open(put(capture.bytes()));
        FAIL() << "no error";
    } catch (const SeveralStreams &error) {
        ASSERT_EQ(2u, error.streams.size());
        EXPECT_EQ("10.0.0.1@239.1.1.1:5000", error.streams[0].address);
        EXPECT_EQ("10.0.0.2@239.1.1.1:5000", error.streams[1].address);
        EXPECT_EQ(40u, error.streams[1].packets);
    }
    expectTables(file() + "?stream=10.0.0.1@239.1.1.1:5000");
    expectTables(file() + "?stream=10.0.0.2@239.1.1.1:5000");
    EXPECT_EQ(file() + "?stream=239.1.1.1:5000: has no such stream", errorOf(file() + "?stream=239.1.1.1:5000"));
}

TEST_F(CaptureInput, AnswersOfOthersToTheSameAddressAreNoStreamOfTheirOwn)
{
    Capture capture(rawIp);
    for (const Bytes &one : datagrams()) {
        Bytes other = ipv4(1, udp(5000, psitest::bytesOf("something else")));
        other[15] = 2;
        capture.frame(other).frame(ipv4(1, udp(5000, one)));
    }
    expectTables(put(capture.bytes()));
}

TEST_F(CaptureInput, WhatIsNotWholeIsCounted)
{
    Capture capture(rawIp);
    for (const Bytes &one : datagrams())
        capture.frame(ipv4(1, udp(5000, one)));
    capture.frame(ipv4(1, udp(5000, someStream()), 0x2000));
    Bytes cut = ipv4(1, udp(5000, datagrams()[0]));
    cut.resize(cut.size() - 1);
    capture.frame(cut, cut.size() + 1);
    Bytes wrong = ipv4(1, udp(5000, datagrams()[0]));
    wrong[20 + 6] ^= 1;
    capture.frame(wrong);
    put(capture.bytes());
    const Statistics statistics = Host::open(file())->statistics();
    EXPECT_EQ(1u, statistics.ipFragments);
    EXPECT_EQ(1u, statistics.cutDatagrams);
    EXPECT_EQ(1u, statistics.badDatagrams);
    EXPECT_EQ(1u, statistics.wrongChecksums);
}

TEST_F(CaptureInput, WithoutAStreamIsRefused)
{
    Capture capture(rawIp);
    capture.frame(ipv4(1, udp(53, psitest::bytesOf("x"))));
    EXPECT_EQ(file() + ": no transport packets found in its UDP datagrams", errorOf(put(capture.bytes())));
    EXPECT_EQ(file() + ": no transport packets found: it is empty", errorOf(put(Capture(rawIp).bytes())));
    EXPECT_EQ(file() + ": no transport packets found: no UDP datagrams in it",
              errorOf(put(Capture(rawIp).frame(ipv4(1, udp(5000, someStream()), 0, 6)).bytes())));
    EXPECT_EQ(file() + ": no transport packets found, only IP fragments that make no whole datagram",
              errorOf(put(Capture(rawIp).frame(ipv4(1, udp(5000, someStream()), 0x2000)).bytes())));
}

TEST_F(CaptureInput, ThatIsCutOffIsReadUntilThere)
{
    Capture capture(rawIp);
    for (const Bytes &one : datagrams())
        capture.frame(ipv4(1, udp(5000, one)));
    Bytes bytes = capture.bytes();
    bytes.resize(bytes.size() - 100);
    const auto host = Host::open(put(bytes));
    EXPECT_EQ(1u, host->search(PSI_PAT));
    EXPECT_NE("", host->failure());
}

} // namespace
