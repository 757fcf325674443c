#include "demux/demux.h"
#include "demux/liveSocket.h"
#include "demux/rtp.h"

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <set>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace psi::demux;
using psitest::Bytes;
using psitest::PacketStream;

namespace {

using psitest::operator+;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

Bytes rtpHeader(u16 sequence, u8 firstByte = 0x80, u32 source = 1)
{
    psitest::BitWriter out;
    return out.put(8, firstByte).put(8, 33).put(16, sequence).put(32, 0).put(32, source).bytes();
}

Bytes sevenPackets()
{
    PacketStream stream(0x20);
    for (int i = 0; i < 7; ++i)
        stream.section(psitest::sectionOfSize(50));
    return stream.bytes();
}

/** Packets that a reader hands on for a datagram; memory behind it is not looked at. */
size_t packetsIn(DatagramReader &reader, const Bytes &datagram, uint64_t ms = 0)
{
    const Bytes copy(datagram.begin(), datagram.end());
    size_t packets = 0;
    reader.take(copy.data(), copy.size(), ms, [&packets](const u8 *packet, size_t size) {
        EXPECT_EQ(0x47, packet[0]);
        EXPECT_TRUE(size == 188 || size == 204);
        ++packets;
    });
    return packets;
}

Statistics countersOf(const DatagramReader &reader)
{
    Statistics statistics;
    reader.addTo(statistics);
    return statistics;
}

/** An RTP packet whose transport packets tell which one it is. */
Bytes numbered(u16 sequence, u32 source = 1)
{
    Bytes packets = sevenPackets();
    packets[4] = static_cast<u8>(sequence);
    return rtpHeader(sequence, 0x80, source) + packets;
}

/** What a reader makes of RTP packets: the numbers in the order in which they leave. */
class RtpOrder : public testing::Test {
protected:
    void take(u16 sequence, uint64_t ms = 0)
    {
        const Bytes datagram = numbered(sequence);
        reader.take(datagram.data(), datagram.size(), ms, sink());
    }
    PacketSink sink()
    {
        return [this](const u8 *packet, size_t) {
            if (packets++ % 7 == 0)
                left.push_back(packet[4]);
        };
    }

    DatagramReader reader;
    size_t packets = 0;
    std::vector<int> left;
};

std::string errorOf(const std::string &url)
{
    try {
        parseLiveUrl(url);
    } catch (const InputError &error) {
        return error.what();
    }
    return "no error";
}

/** Sends datagrams to a port of the loopback interface. */
class Sender {
public:
    Sender(const char *host, u16 port, int family = AF_INET) : descriptor(socket(family, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        if (family == AF_INET) {
            sockaddr_in to = {};
            to.sin_family = AF_INET;
            to.sin_port = htons(port);
            inet_pton(AF_INET, host, &to.sin_addr);
            const in_addr loopback = {htonl(INADDR_LOOPBACK)};
            setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof loopback);
            const unsigned char ttl = 0;
            setsockopt(descriptor, IPPROTO_IP, IP_MULTICAST_TTL, &ttl, sizeof ttl);
            EXPECT_EQ(0, connect(descriptor, reinterpret_cast<const sockaddr *>(&to), sizeof to));
        } else {
            sockaddr_in6 to = {};
            to.sin6_family = AF_INET6;
            to.sin6_port = htons(port);
            inet_pton(AF_INET6, host, &to.sin6_addr);
            EXPECT_EQ(0, connect(descriptor, reinterpret_cast<const sockaddr *>(&to), sizeof to));
        }
    }
    ~Sender() { close(descriptor); }
    Sender(const Sender &) = delete;
    Sender &operator=(const Sender &) = delete;

    void send(const Bytes &datagram) const
    {
        EXPECT_EQ(static_cast<ssize_t>(datagram.size()), ::send(descriptor, datagram.data(), datagram.size(), 0));
    }

private:
    int descriptor;
};

/** A multiplex that goes round: PAT, PMT and a BAT of three bouquets, a datagram every few milliseconds. */
class Carousel {
public:
    explicit Carousel(const Sender &target, bool rtp = false) : sender(target), withRtp(rtp), thread([this] { run(); })
    {
    }
    ~Carousel()
    {
        quit = true;
        thread.join();
    }
    Carousel(const Carousel &) = delete;
    Carousel &operator=(const Carousel &) = delete;

private:
    void run()
    {
        PacketStream pat(0);
        PacketStream pmt(0x100);
        PacketStream bat(0x11);
        for (u16 sequence = 0; !quit; ++sequence) {
            pat.packets().clear();
            pmt.packets().clear();
            bat.packets().clear();
            pat.section(psitest::PatBuilder().tsId(9).program(1, 0x100).build());
            pmt.section(psitest::PmtBuilder(1).stream(2, 0x101).build());
            const u16 bouquet = sequence % 3;
            bat.section(psitest::BatBuilder().bouquetId(bouquet).number(0, 1).build());
            bat.section(psitest::BatBuilder().bouquetId(bouquet).number(1, 1).build());
            const Bytes packets = pat.bytes() + pmt.bytes() + bat.bytes();
            sender.send(withRtp ? rtpHeader(sequence) + packets : packets);
            std::this_thread::sleep_for(milliseconds(5));
        }
    }

    const Sender &sender;
    bool withRtp;
    std::atomic<bool> quit{false};
    std::thread thread;
};

/** Opens a live input on a port of its own per test, since tests may run side by side. */
struct Live {
    explicit Live(const std::string &before, const std::string &after = "")
    {
        for (int attempt = 0; attempt < 50 && host == nullptr; ++attempt) {
            port = static_cast<u16>(20000 + (getpid() * 7 + attempt * 131) % 20000);
            host = Host::open(before + std::to_string(port) + after);
        }
    }
    u16 port = 0;
    std::unique_ptr<Host> host;
};

class HostLive : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(initLibrary());
        setPsiSchRPTLevel(0);
    }
    void TearDown() override { setPsiSchRPTLevel(2); }
};

void expectTables(Host &host)
{
    EXPECT_TRUE(host.live());
    psiSchTimeOutSet(host.object(), PSI_BAT, 300);
    EXPECT_EQ(1u, host.search(PSI_PAT));
    EXPECT_EQ(1u, host.search(PSI_PMT));
    EXPECT_EQ(6u, host.search(PSI_BAT));
    EXPECT_EQ(1u, host.search(PSI_PAT));
}

/** What a socket says when it shall join a group on the loopback interface; qemu-user, for one, knows no groups. */
std::string errorOfJoining(const char *group)
{
    group_req request = {};
    request.gr_interface = if_nametoindex("lo");
    auto &address = reinterpret_cast<sockaddr_in &>(request.gr_group);
    address.sin_family = AF_INET;
    inet_pton(AF_INET, group, &address.sin_addr);
    const int probe = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool joined = setsockopt(probe, IPPROTO_IP, MCAST_JOIN_GROUP, &request, sizeof request) == 0;
    const std::string error = joined ? "" : std::strerror(errno);
    close(probe);
    return error;
}

Host *hostToStop = nullptr;

void stopOnSignal(int)
{
    hostToStop->stop();
}

} // namespace

TEST(DatagramReader, TakesPlainDatagrams)
{
    DatagramReader reader;
    EXPECT_EQ(7u, packetsIn(reader, sevenPackets()));
    EXPECT_EQ(0u, countersOf(reader).rtpGaps + countersOf(reader).badDatagrams);
}

TEST(DatagramReader, TakesPacketsOf204Bytes)
{
    DatagramReader reader;
    Bytes datagram;
    for (int i = 0; i < 3; ++i)
        datagram = datagram + psitest::packetsOf(psitest::sectionOfSize(50)) + psitest::repeated(16, 0x11);
    EXPECT_EQ(3u, packetsIn(reader, datagram));
}

TEST(DatagramReader, FindsPacketsBehindEveryKindOfRtpHeader)
{
    DatagramReader reader;
    u16 sequence = 65534;
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(sequence++) + sevenPackets()));
    const Bytes contributors = psitest::repeated(3 * 4, 0x22);
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(sequence++, 0x83) + contributors + sevenPackets()));
    const Bytes extension = Bytes{0, 0, 0, 2} + psitest::repeated(8, 0x33);
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(sequence++, 0x90) + extension + sevenPackets()));
    const Bytes padding = {0, 0, 0, 4};
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(sequence++, 0xA0) + sevenPackets() + padding));
    EXPECT_EQ(0u, countersOf(reader).rtpGaps + countersOf(reader).badDatagrams);
}

TEST_F(RtpOrder, PacketsThatChangedPlacesLeaveInOrder)
{
    for (const u16 sequence : {u16{65534}, u16{0}, u16{65535}, u16{3}, u16{2}, u16{1}, u16{4}})
        take(sequence);
    EXPECT_EQ((std::vector<int>{0xFE, 0xFF, 0, 1, 2, 3, 4}), left);
    EXPECT_EQ(2u, countersOf(reader).rtpReordered);
    EXPECT_EQ(0u, countersOf(reader).rtpGaps + countersOf(reader).rtpLate + countersOf(reader).rtpDuplicates);
}

TEST_F(RtpOrder, AMissingPacketIsWaitedForAsLongAsSixteenOthers)
{
    take(9);
    for (u16 sequence = 11; sequence < 11 + 16; ++sequence)
        take(sequence);
    EXPECT_EQ((std::vector<int>{9}), left);
    take(27);
    EXPECT_EQ(1u + 17u, left.size());
    EXPECT_EQ(1u, countersOf(reader).rtpGaps);
    take(10);
    EXPECT_EQ(18u, left.size()) << "what follows it has left";
    EXPECT_EQ(1u, countersOf(reader).rtpLate);
}

TEST_F(RtpOrder, AMissingPacketIsWaitedForFiftyMilliseconds)
{
    take(1, 1000);
    take(3, 1000);
    take(4, 1049);
    EXPECT_EQ((std::vector<int>{1}), left);
    reader.passTime(1050, sink());
    EXPECT_EQ((std::vector<int>{1, 3, 4}), left);
    EXPECT_EQ(1u, countersOf(reader).rtpGaps);
}

TEST_F(RtpOrder, WhatWaitsLeavesAtTheEnd)
{
    for (const u16 sequence : {u16{1}, u16{3}, u16{6}})
        take(sequence);
    reader.finish(sink());
    EXPECT_EQ((std::vector<int>{1, 3, 6}), left);
    EXPECT_EQ(1u + 2u, countersOf(reader).rtpGaps);
}

TEST_F(RtpOrder, APacketThatComesTwiceIsOneOfItsKind)
{
    for (const u16 sequence : {u16{10}, u16{10}, u16{12}, u16{12}, u16{11}, u16{10}, u16{12}, u16{13}})
        take(sequence);
    EXPECT_EQ((std::vector<int>{10, 11, 12, 13}), left);
    EXPECT_EQ(4u, countersOf(reader).rtpDuplicates);
    EXPECT_EQ(0u, countersOf(reader).rtpLate + countersOf(reader).rtpGaps);
}

TEST_F(RtpOrder, TheFirstPacketsMayHaveChangedPlacesToo)
{
    take(11);
    take(10);
    EXPECT_EQ((std::vector<int>{11}), left);
    EXPECT_EQ(1u, countersOf(reader).rtpLate);
}

TEST(DatagramReader, ASenderThatBeginsAnewIsNoGap)
{
    DatagramReader reader;
    packetsIn(reader, rtpHeader(30000) + sevenPackets());
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(40000, 0x80, 2) + sevenPackets()));
    EXPECT_EQ(7u, packetsIn(reader, rtpHeader(100, 0x80, 2) + sevenPackets()));
    EXPECT_EQ(0u, countersOf(reader).rtpGaps);
}

TEST(DatagramReader, CountsDatagramsWithoutPackets)
{
    DatagramReader reader;
    EXPECT_EQ(0u, packetsIn(reader, psitest::bytesOf("hello")));
    EXPECT_EQ(0u, packetsIn(reader, psitest::repeated(188, 0x11)));
    EXPECT_EQ(0u, packetsIn(reader, {}));
    EXPECT_EQ(3u, countersOf(reader).badDatagrams);
}

TEST(DatagramReader, HeadersThatLeadBeyondTheDatagramGiveNothing)
{
    const Bytes packets = sevenPackets();
    for (unsigned first = 0x80; first <= 0xBF; ++first)
        for (size_t size = 0; size < 60; ++size) {
            DatagramReader reader;
            Bytes datagram = rtpHeader(0, static_cast<u8>(first)) + psitest::repeated(60, 0xFF);
            datagram.resize(size);
            EXPECT_EQ(0u, packetsIn(reader, datagram)) << first << " " << size;
        }
}

TEST(LiveUrl, IsTakenApart)
{
    const LiveAddress group = parseLiveUrl("udp://[ff02::1234]:5000?iface=eth1");
    EXPECT_EQ("ff02::1234", group.host);
    EXPECT_EQ("5000", group.port);
    EXPECT_EQ("eth1", group.interface);
    EXPECT_EQ("239.1.1.1", parseLiveUrl("udp://239.1.1.1:5000").host);
    EXPECT_EQ("239.1.1.1", parseLiveUrl("rtp://[239.1.1.1]:5000").host);
    EXPECT_EQ("239.1.1.1", parseLiveUrl("udp://@239.1.1.1:5000").host);
    const LiveAddress specific = parseLiveUrl("rtp://10.0.0.1@232.1.1.1:5000?ttl=3&iface=eth1");
    EXPECT_EQ("10.0.0.1", specific.source);
    EXPECT_EQ("232.1.1.1", specific.host);
    EXPECT_EQ(3u, specific.ttl);
    EXPECT_EQ("eth1", specific.interface);
    const LiveAddress six = parseLiveUrl("udp://[2001:db8::1]@[ff3e::1%eth0]:5000");
    EXPECT_EQ("2001:db8::1", six.source);
    EXPECT_EQ("ff3e::1%eth0", six.host);
    EXPECT_EQ("", parseLiveUrl("udp://:5000").host);
}

TEST(LiveUrl, ErrorsAreOneLine)
{
    EXPECT_EQ("udp://239.1.1.1: no port", errorOf("udp://239.1.1.1"));
    EXPECT_EQ("udp://[ff02::1]: no port", errorOf("udp://[ff02::1]"));
    EXPECT_EQ("udp://a:0: \"0\" is no port", errorOf("udp://a:0"));
    EXPECT_EQ("udp://a:65536: \"65536\" is no port", errorOf("udp://a:65536"));
    EXPECT_EQ("udp://a:x: \"x\" is no port", errorOf("udp://a:x"));
    EXPECT_EQ("udp://a:: \"\" is no port", errorOf("udp://a:"));
    for (const char *host : {"999.1.1.1", "239.1.1", "239.1.1.1.1", "ff02::g", "ff02::1%", "a b", "a/b", "lo%1"})
        EXPECT_EQ(std::string("udp://") + host + ":5: \"" + host + "\" is no address",
                  errorOf(std::string("udp://") + host + ":5"));
    EXPECT_EQ("udp://10.0.0.300@239.1.1.1:5: \"10.0.0.300\" is no address", errorOf("udp://10.0.0.300@239.1.1.1:5"));
    for (const char *option : {"ttl=0", "ttl=256", "ttl=x", "iface=", "", "speed=1"})
        EXPECT_EQ(std::string("udp://a:1?") + option + ": unknown option \"" + option +
                      "\" (iface=NAME and ttl=1..255 are known)",
                  errorOf(std::string("udp://a:1?") + option));
}

TEST_F(HostLive, NamesAnUnknownInterface)
{
    try {
        Host::open("udp://239.255.1.2:5000?iface=nosuch0");
        FAIL() << "no error";
    } catch (const InputError &error) {
        EXPECT_STREQ("udp://239.255.1.2:5000?iface=nosuch0: no interface \"nosuch0\"", error.what());
    }
}

TEST_F(HostLive, ReceivesUnicast)
{
    const Live live("udp://127.0.0.1:");
    const Sender sender("127.0.0.1", live.port);
    const Carousel carousel(sender);
    expectTables(*live.host);
    const Statistics statistics = live.host->statistics();
    EXPECT_GT(statistics.datagrams, 5u);
    EXPECT_EQ(188u, statistics.packetSize);
    EXPECT_EQ(0u, statistics.continuityErrors + statistics.badDatagrams + statistics.rtpGaps);
}

TEST_F(HostLive, ReceivesMulticast)
{
    if (const std::string error = errorOfJoining("239.255.77.77"); !error.empty())
        GTEST_SKIP() << "this machine joins no group: " << error;
    const Live live("udp://239.255.77.77:", "?iface=127.0.0.1");
    const Sender sender("239.255.77.77", live.port);
    const Carousel carousel(sender);
    expectTables(*live.host);
}

TEST_F(HostLive, ListensToOneSourceOfAGroup)
{
    if (const std::string error = errorOfJoining("232.255.77.77"); !error.empty())
        GTEST_SKIP() << "this machine joins no group: " << error;
    const Live chosen("udp://127.0.0.1@232.255.77.77:", "?iface=lo");
    const Live other("udp://127.0.0.2@232.255.77.78:", "?iface=lo");
    const Sender sender("232.255.77.77", chosen.port);
    const Carousel carousel(sender);
    const Sender unwanted("232.255.77.78", other.port);
    const Carousel unheard(unwanted);
    expectTables(*chosen.host);
    EXPECT_EQ(0u, other.host->statistics().datagrams);
    try {
        Host::open("udp://127.0.0.1@127.0.0.1:5000");
        FAIL() << "no error";
    } catch (const WrongName &error) {
        EXPECT_STREQ("udp://127.0.0.1@127.0.0.1:5000: a source is for a group, and 127.0.0.1 is none", error.what());
    }
}

TEST_F(HostLive, AnUnicastPortIsNotShared)
{
    const Live live("udp://127.0.0.1:");
    EXPECT_THROW(Host::open("udp://127.0.0.1:" + std::to_string(live.port)), InputError);
}

TEST_F(HostLive, AGroupIsShared)
{
    if (const std::string error = errorOfJoining("239.255.77.79"); !error.empty())
        GTEST_SKIP() << "this machine joins no group: " << error;
    const Live live("udp://239.255.77.79:", "?iface=lo");
    EXPECT_NO_THROW(Host::open("udp://239.255.77.79:" + std::to_string(live.port) + "?iface=lo"));
}

/** An interface with groups of its own, beside the loopback interface; empty: this machine has none. */
std::string anotherInterface()
{
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0)
        return "";
    std::string name;
    for (const ifaddrs *one = all; one != nullptr && name.empty(); one = one->ifa_next)
        if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET && (one->ifa_flags & IFF_UP) != 0 &&
            (one->ifa_flags & IFF_MULTICAST) != 0 && (one->ifa_flags & IFF_LOOPBACK) == 0)
            name = one->ifa_name;
    freeifaddrs(all);
    return name;
}

TEST_F(HostLive, AGroupIsHeardOnItsOwnInterfaceOnlyWhoeverElseListensOnAnother)
{
    const std::string elsewhere = anotherInterface();
    if (const std::string error = errorOfJoining("239.255.77.80"); !error.empty() || elsewhere.empty())
        GTEST_SKIP() << "this machine has no second interface, or joins no group: " << error;
    const std::string group = "udp://239.255.77.80:45718";
    LiveSocket here(group + "?iface=lo", 65536);
    LiveSocket there(group + "?iface=" + elsewhere, 65536);
    LiveSender sender(group + "?iface=lo&ttl=1");
    const Bytes packets = sevenPackets();
    EXPECT_TRUE(sender.send(packets.data(), packets.size()));
    Bytes datagram(kDatagramBytes);
    EXPECT_EQ(packets.size(), here.receive(datagram.data(), datagram.size(), 1000));
    EXPECT_EQ(0u, there.receive(datagram.data(), datagram.size(), 100));
}

TEST_F(HostLive, AnIpv6AddressMayNameItsInterfaceEitherWay)
{
    const auto errorOfOpening = [](const std::string &url) -> std::string {
        try {
            LiveSender(url).send(nullptr, 0);
            const LiveSocket receiver(url, 65536);
        } catch (const InputError &error) {
            return error.what();
        }
        return "";
    };
    if (!errorOfOpening("udp://[::1]:45719").empty())
        GTEST_SKIP() << "this machine has no IPv6";
    for (const char *url : {"udp://[ff02::4d50%lo]:45719", "udp://[ff02::4d50]:45719?iface=lo",
                            "udp://[ff15::4d50%lo]:45719", "udp://[ff15::4d50]:45719?iface=lo"})
        EXPECT_EQ("", errorOfOpening(url)) << url;
    EXPECT_EQ("udp://[ff02::4d50]:45719: every interface has this address: say which ([ff02::4d50%eth0])",
              errorOfOpening("udp://[ff02::4d50]:45719"));
    EXPECT_EQ("udp://[ff15::4d50%nosuch0]:45719: no interface \"nosuch0\"",
              errorOfOpening("udp://[ff15::4d50%nosuch0]:45719"));
}

TEST_F(HostLive, TellsWhatFoundTheReceiveBufferFull)
{
    LiveSocket receiver("udp://127.0.0.1:45717", 4096);
    EXPECT_GE(receiver.bufferBytes(), 1024u);
    LiveSender sender("udp://127.0.0.1:45717");
    const Bytes packets = sevenPackets();
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(sender.send(packets.data(), packets.size()));
    Bytes datagram(kDatagramBytes);
    size_t received = 0;
    while (receiver.receive(datagram.data(), datagram.size(), 100) > 0)
        ++received;
    EXPECT_EQ(50u, received + receiver.lost()) << "although no later datagram told of it";
    EXPECT_GT(receiver.lost(), 0u);
}

TEST_F(HostLive, WhatIsSentPassesAsManyRoutersAsWanted)
{
    const int receiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in local = {};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof local;
    ASSERT_EQ(0, bind(receiver, reinterpret_cast<const sockaddr *>(&local), sizeof local));
    ASSERT_EQ(0, getsockname(receiver, reinterpret_cast<sockaddr *>(&local), &length));
    const int on = 1;
    setsockopt(receiver, IPPROTO_IP, IP_RECVTTL, &on, sizeof on);
    LiveSender sender("udp://127.0.0.1:" + std::to_string(ntohs(local.sin_port)) + "?ttl=7");
    const Bytes packets = sevenPackets();
    ASSERT_TRUE(sender.send(packets.data(), packets.size()));
    Bytes bytes(2000);
    iovec part = {bytes.data(), bytes.size()};
    alignas(cmsghdr) std::array<char, 128> control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ASSERT_EQ(static_cast<ssize_t>(packets.size()), recvmsg(receiver, &message, 0));
    const cmsghdr *told = CMSG_FIRSTHDR(&message);
    ASSERT_NE(nullptr, told);
    int ttl = 0;
    std::memcpy(&ttl, CMSG_DATA(told), sizeof ttl);
    EXPECT_EQ(7, ttl);
    close(receiver);
}

TEST_F(HostLive, ReceivesRtp)
{
    const Live live("rtp://127.0.0.1:");
    const Sender sender("127.0.0.1", live.port);
    const Carousel carousel(sender, true);
    expectTables(*live.host);
    EXPECT_EQ(0u, live.host->statistics().rtpGaps);
}

TEST_F(HostLive, ReceivesIpv6)
{
    const int probe = socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in6 local = {};
    local.sin6_family = AF_INET6;
    local.sin6_addr = in6addr_loopback;
    const bool possible = probe >= 0 && bind(probe, reinterpret_cast<const sockaddr *>(&local), sizeof local) == 0;
    close(probe);
    if (!possible)
        GTEST_SKIP() << "this machine has no IPv6";
    const Live live("udp://[::1]:");
    const Sender sender("::1", live.port, AF_INET6);
    const Carousel carousel(sender);
    expectTables(*live.host);
}

TEST_F(HostLive, ATableThatChangesInMidCycleIsFoundInOneVersion)
{
    const Live live("udp://127.0.0.1:");
    const Sender sender("127.0.0.1", live.port);
    std::atomic<bool> quit{false};
    std::thread changing([&] { // each version begins with its last section, behind those of the one before
        PacketStream packets(0x11);
        for (u8 version = 0; !quit; version = (version + 1) & 31)
            for (const u8 number : {u8{2}, u8{0}, u8{1}}) {
                packets.packets().clear();
                packets.section(psitest::BatBuilder().bouquetId(5).version(version).number(number, 2).build());
                sender.send(packets.bytes());
                std::this_thread::sleep_for(milliseconds(30));
            }
    });
    psiSchTimeOutSet(live.host->object(), PSI_BAT, 1000);
    EXPECT_EQ(3u, live.host->search(PSI_BAT));
    quit = true;
    changing.join();
    std::set<int> versions;
    std::set<int> numbers;
    for (const sectionData *one = getSchObjDataInfo(live.host->object())->sectionList; one != nullptr;
         one = reinterpret_cast<const sectionData *>(one->link.next)) {
        versions.insert(one->buf[5] >> 1 & 31);
        numbers.insert(one->buf[6]);
    }
    EXPECT_EQ(1u, versions.size());
    EXPECT_EQ((std::set<int>{0, 1, 2}), numbers);
}

TEST_F(HostLive, TwoHostsShareOneReceiver)
{
    const Live live("udp://127.0.0.1:");
    const auto second = live.host->another();
    const Sender sender("127.0.0.1", live.port);
    const Carousel carousel(sender);
    std::thread other([&] { expectTables(*second); });
    expectTables(*live.host);
    other.join();
}

TEST_F(HostLive, KeepsNoHistory)
{
    const Live live("udp://127.0.0.1:");
    const Sender sender("127.0.0.1", live.port);
    sender.send(psitest::packetsOf(psitest::PatBuilder().build(), 0));
    while (live.host->statistics().datagrams == 0)
        std::this_thread::sleep_for(milliseconds(5));
    psiSchTimeOutSet(live.host->object(), PSI_PAT, 100);
    EXPECT_EQ(0u, live.host->search(PSI_PAT));
    EXPECT_EQ(1u, live.host->statistics().sections);
}

TEST_F(HostLive, ASearchTimesOutInRealTime)
{
    const Live live("udp://127.0.0.1:");
    psiSchTimeOutSet(live.host->object(), PSI_PAT, 200);
    const auto start = steady_clock::now();
    EXPECT_EQ(0u, live.host->search(PSI_PAT));
    EXPECT_GE(steady_clock::now() - start, milliseconds(195));
}

TEST_F(HostLive, CountsWhatIsNoTransportStream)
{
    const Live live("udp://127.0.0.1:");
    const Sender sender("127.0.0.1", live.port);
    sender.send(psitest::bytesOf("hello"));
    sender.send(rtpHeader(1) + sevenPackets());
    sender.send(rtpHeader(5) + sevenPackets());
    while (live.host->statistics().datagrams < 3)
        std::this_thread::sleep_for(milliseconds(5));
    while (live.host->statistics().rtpGaps < 3) // it waits for them for a moment
        std::this_thread::sleep_for(milliseconds(5));
    EXPECT_EQ(1u, live.host->statistics().badDatagrams);
    EXPECT_EQ(3u, live.host->statistics().rtpGaps);
    EXPECT_EQ(14u, live.host->statistics().packets);
}

TEST_F(HostLive, StopFromASignalHandlerEndsTheSearch)
{
    const Live live("udp://127.0.0.1:");
    hostToStop = live.host.get();
    struct sigaction action = {};
    action.sa_handler = stopOnSignal;
    struct sigaction before = {};
    sigaction(SIGUSR1, &action, &before);
    const pthread_t searching = pthread_self();
    std::thread other([searching] {
        std::this_thread::sleep_for(milliseconds(60));
        pthread_kill(searching, SIGUSR1);
    });
    const auto start = steady_clock::now();
    EXPECT_EQ(0u, live.host->search(PSI_PAT));
    EXPECT_LT(steady_clock::now() - start, milliseconds(1000));
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
}

/* ---- sending --------------------------------------------------------------------------------------------------------
 */

TEST_F(HostLive, ASenderReachesAnAddressAndAGroupThroughAnInterface)
{
    for (const std::string &address : {std::string("127.0.0.1"), std::string("239.255.77.8")}) {
        const bool group = address[0] == '2';
        if (const std::string error = group ? errorOfJoining(address.c_str()) : ""; !error.empty())
            GTEST_SKIP() << "no group, as this machine joins none: " << error;
        const std::string suffix = group ? "?iface=lo" : "";
        const Live live("udp://" + address + ":", suffix);
        LiveSender sender("udp://" + address + ":" + std::to_string(live.port) + suffix);
        const Bytes packets = sevenPackets();
        EXPECT_TRUE(sender.send(packets.data(), packets.size()));
        const auto until = steady_clock::now() + std::chrono::seconds(2);
        while (live.host->statistics().packets < 7 && steady_clock::now() < until)
            std::this_thread::sleep_for(milliseconds(5));
        EXPECT_EQ(7u, live.host->statistics().packets) << address;
    }
}

TEST_F(HostLive, ASenderWithoutAnAddressOrAnInterfaceIsRefused)
{
    EXPECT_THROW(LiveSender("udp://:5000"), InputError);
    EXPECT_THROW(LiveSender("udp://239.1.1.1:5000?iface=nothing0"), InputError);
    EXPECT_THROW(LiveSender("udp://127.0.0.1"), InputError);
    LiveSender sender("udp://127.0.0.1:9");
    const Bytes tooLong(70000);
    EXPECT_FALSE(sender.send(tooLong.data(), tooLong.size()));
}
