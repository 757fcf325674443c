/**
 * @file loopback.h
 * @brief Both ends of live streams, for tests of live inputs and outputs.
 */
#ifndef PSITEST_LOOPBACK_H
#define PSITEST_LOOPBACK_H

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <fstream>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace psitest {

/** @brief A port of the loopback interface; 0: any. */
inline sockaddr_in loopbackAddress(u16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

/** @brief The URL of such a port. */
inline std::string liveUrl(u16 port)
{
    return "udp://127.0.0.1:" + std::to_string(port);
}

/** @brief Sends packets to a port of the loopback interface, one datagram each call. */
class LoopbackSender {
public:
    explicit LoopbackSender(u16 port)
        : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), address_(loopbackAddress(port))
    {
    }
    ~LoopbackSender() { close(socket_); }
    LoopbackSender(const LoopbackSender &) = delete;
    LoopbackSender &operator=(const LoopbackSender &) = delete;

    void send(const Bytes &bytes) const
    {
        sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address_), sizeof address_);
    }
    /** @brief The packets of a stream, seven in a datagram. */
    void send(const Bytes &stream, std::chrono::microseconds pause) const
    {
        constexpr std::ptrdiff_t datagram = 7 * packetSize;
        for (auto at = stream.begin(); stream.end() - at >= datagram; at += datagram) {
            send(Bytes(at, at + datagram));
            std::this_thread::sleep_for(pause);
        }
    }

private:
    int socket_;
    sockaddr_in address_;
};

/** @brief Sends a stream over and over, seven packets in a datagram, as long as it lives. */
class EndlessSender {
public:
    EndlessSender(u16 port, const Bytes &stream, std::chrono::microseconds pause = std::chrono::milliseconds(2))
        : thread_([this, port, stream, pause] {
              const LoopbackSender sender(port);
              constexpr std::ptrdiff_t datagram = 7 * packetSize;
              while (!ended_)
                  for (auto at = stream.begin(); stream.end() - at >= datagram && !ended_; at += datagram)
                      sender.send(Bytes(at, at + datagram), pause);
          })
    {
    }
    ~EndlessSender()
    {
        ended_ = true;
        thread_.join();
    }
    EndlessSender(const EndlessSender &) = delete;
    EndlessSender &operator=(const EndlessSender &) = delete;

private:
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

/** @brief Receives at a port of its own of the loopback interface. */
class LoopbackReceiver {
public:
    LoopbackReceiver() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_in address = loopbackAddress(0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        const timeval patience = {3, 0};
        setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    ~LoopbackReceiver() { close(socket_); }
    LoopbackReceiver(const LoopbackReceiver &) = delete;
    LoopbackReceiver &operator=(const LoopbackReceiver &) = delete;

    u16 port() const
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr *>(&address), &size), 0);
        return ntohs(address.sin_port);
    }
    std::string url() const { return liveUrl(port()); }
    /** @brief The next datagram; empty when none comes for three seconds. */
    Bytes receive() const
    {
        Bytes bytes(65536);
        const ssize_t size = recv(socket_, bytes.data(), bytes.size(), 0);
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }

private:
    int socket_;
};

/** @brief A port that nobody else uses at the moment. */
inline u16 freePort()
{
    return LoopbackReceiver().port();
}

/** @brief Wait until a program listens at the port: on a busy machine its start takes a while. */
inline void waitForListener(u16 port)
{
    std::ostringstream local;
    local << "0100007F:" << std::hex << std::uppercase << std::setw(4) << std::setfill('0') << port << ' ';
    for (int tries = 0; tries < 1000; ++tries) {
        std::ostringstream sockets;
        sockets << std::ifstream("/proc/net/udp").rdbuf();
        if (sockets.str().find(local.str()) != std::string::npos)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace psitest

#endif // PSITEST_LOOPBACK_H
