/**
 * @file loopback.h
 * @brief A sender for tests of live inputs.
 */
#ifndef PSITEST_LOOPBACK_H
#define PSITEST_LOOPBACK_H

#include "support/packetBuilder.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace psitest {

/** @brief Sends packets to a port of the loopback interface, one datagram each call. */
class LoopbackSender {
public:
    explicit LoopbackSender(u16 port) : socket_(socket(AF_INET, SOCK_DGRAM, 0))
    {
        address_.sin_family = AF_INET;
        address_.sin_port = htons(port);
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }
    ~LoopbackSender() { close(socket_); }
    LoopbackSender(const LoopbackSender &) = delete;
    LoopbackSender &operator=(const LoopbackSender &) = delete;

    void send(const Bytes &bytes) const
    {
        sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr *>(&address_), sizeof address_);
    }

private:
    int socket_;
    sockaddr_in address_{};
};

/** @brief A port that nobody else uses at the moment. */
inline u16 freePort()
{
    const int probe = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(probe, reinterpret_cast<sockaddr *>(&address), size), 0);
    EXPECT_EQ(getsockname(probe, reinterpret_cast<sockaddr *>(&address), &size), 0);
    close(probe);
    return ntohs(address.sin_port);
}

} // namespace psitest

#endif // PSITEST_LOOPBACK_H
