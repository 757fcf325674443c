// Sends a recording over and over as RTP to ports of the loopback interface, at a bitrate. Sequence numbers and
// continuity counters run on where the recording begins anew, so a receiver that misses a packet can tell.
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr std::size_t packetSize = 188;
constexpr std::size_t packetsPerDatagram = 7;
constexpr std::size_t rtpHeader = 12;

volatile std::sig_atomic_t ended = 0;

void onEnd(int /*signal*/)
{
    ended = 1;
}

/** @brief A recording of 188-byte packets that has no end. */
class EndlessStream {
public:
    explicit EndlessStream(Bytes recording) : recording_(std::move(recording)) {}

    void next(std::uint8_t *packet)
    {
        std::copy_n(recording_.begin() + static_cast<std::ptrdiff_t>(at_), packetSize, packet);
        at_ = (at_ + packetSize) % recording_.size();
        const std::size_t pid = static_cast<std::size_t>((packet[1] & 0x1F) << 8 | packet[2]);
        const bool payload = (packet[3] & 0x10) != 0;
        if (payload)
            counters_[pid] = (counters_[pid] + 1) & 0x0F;
        packet[3] = static_cast<std::uint8_t>((packet[3] & 0xF0) | counters_[pid]);
    }

private:
    Bytes recording_;
    std::size_t at_ = 0;
    std::array<std::uint8_t, 0x2000> counters_{};
};

/** @brief RTP header for MP2T, RFC 3550 5.1 and RFC 2250 2. @param time 90 kHz */
void writeRtpHeader(std::uint8_t *header, std::uint16_t sequence, std::uint32_t time)
{
    const std::array<std::uint8_t, rtpHeader> bytes = {0x80,
                                                       33,
                                                       static_cast<std::uint8_t>(sequence >> 8),
                                                       static_cast<std::uint8_t>(sequence),
                                                       static_cast<std::uint8_t>(time >> 24),
                                                       static_cast<std::uint8_t>(time >> 16),
                                                       static_cast<std::uint8_t>(time >> 8),
                                                       static_cast<std::uint8_t>(time),
                                                       'p',
                                                       's',
                                                       'i',
                                                       0};
    std::copy(bytes.begin(), bytes.end(), header);
}

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

template <typename Number> bool parse(const char *text, Number &number)
{
    const char *end = text + std::strlen(text);
    return std::from_chars(text, end, number).ptr == end && text != end && number > 0;
}

struct Arguments {
    Bytes recording;
    unsigned mbit = 0;
    unsigned seconds = 0;
    std::vector<sockaddr_in> receivers;
};

bool parse(int argc, char **argv, Arguments &arguments)
{
    if (argc < 5 || !parse(argv[2], arguments.mbit) || !parse(argv[3], arguments.seconds))
        return false;
    std::ifstream file(argv[1], std::ios::binary);
    arguments.recording.assign(std::istreambuf_iterator<char>(file), {});
    for (int i = 4; i < argc; ++i) {
        std::uint16_t port = 0;
        if (!parse(argv[i], port))
            return false;
        arguments.receivers.push_back(loopback(port));
    }
    const Bytes &recording = arguments.recording;
    return !recording.empty() && recording.size() % packetSize == 0 && recording[0] == 0x47;
}

/** @brief Send until the time is over or SIGINT or SIGTERM comes. @return datagrams sent to each receiver */
std::uint64_t send(Arguments arguments, int descriptor)
{
    EndlessStream stream(std::move(arguments.recording));
    const std::chrono::duration<double, std::micro> interval(8.0 * packetsPerDatagram * packetSize / arguments.mbit);
    const auto start = Clock::now();
    const auto end = start + std::chrono::seconds(arguments.seconds);
    std::array<std::uint8_t, rtpHeader + packetsPerDatagram * packetSize> datagram{};
    std::uint64_t sent = 0;
    for (; ended == 0 && Clock::now() < end; ++sent) {
        const auto due = std::chrono::duration_cast<Clock::duration>(interval * static_cast<double>(sent));
        std::this_thread::sleep_until(start + due);
        const auto time = std::chrono::duration_cast<std::chrono::duration<std::uint64_t, std::ratio<1, 90000>>>(due);
        writeRtpHeader(datagram.data(), static_cast<std::uint16_t>(sent), static_cast<std::uint32_t>(time.count()));
        for (std::size_t i = 0; i < packetsPerDatagram; ++i)
            stream.next(datagram.data() + rtpHeader + i * packetSize);
        for (const sockaddr_in &receiver : arguments.receivers)
            sendto(descriptor, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr *>(&receiver),
                   sizeof receiver);
    }
    return sent;
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    if (!parse(argc, argv, arguments)) {
        std::fputs("usage: rtp_sender RECORDING MBIT/S SECONDS PORT...   (188-byte packets, to 127.0.0.1)\n", stderr);
        return 2;
    }
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return 3;
    std::signal(SIGINT, onEnd);
    std::signal(SIGTERM, onEnd);
    const auto start = Clock::now();
    const std::uint64_t sent = send(std::move(arguments), descriptor);
    const std::chrono::duration<double> took = Clock::now() - start;
    close(descriptor);
    const auto packets = static_cast<double>(sent * packetsPerDatagram);
    std::printf("sent %llu datagrams, %.0f packets, %.1f s, %.1f Mbit/s\n", static_cast<unsigned long long>(sent),
                packets, took.count(), packets * packetSize * 8 / took.count() / 1e6);
    return 0;
}
