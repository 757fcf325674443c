/**
 * @file liveSocket.h
 * @brief The socket of a live input.
 */
#ifndef PSI_DEMUX_LIVE_SOCKET_H
#define PSI_DEMUX_LIVE_SOCKET_H

#include "demux/demux.h"

#include <atomic>

namespace psi::demux {

/** @brief Room for any datagram. */
constexpr size_t kDatagramBytes = 65536;

/** @brief Milliseconds by a clock that does not go back. */
uint64_t steadyMilliseconds();

/** @brief The parts of "udp://source@group:port?iface=name&ttl=n". */
struct LiveAddress {
    std::string host; /**< group or own address without brackets; empty: any */
    std::string port;
    std::string interface; /**< name or address of the interface; empty: the system's choice */
    std::string source;    /**< the only sender of the group that is listened to; empty: all. RFC 4607 */
    unsigned ttl = 0;      /**< routers that what is sent may pass, and one; 0: the system's choice */
};

/** @brief Take a URL apart. Throws WrongName when it is not written as one, or has an address that is none. */
LiveAddress parseLiveUrl(const std::string &url);

/**
 * @brief Whether what is sent to one URL comes back from the other one: the same group, or an address of this machine.
 *
 * Throws InputError.
 */
bool feedsItself(const std::string &input, const std::string &output);

/**
 * @brief A datagram socket, bound, and a member of the group when the address is one.
 *
 * A group may be listened to by several at once. Of an unicast address only one gets each datagram, so it is not
 * shared.
 */
class LiveSocket {
public:
    /** @brief Throws InputError. @param url stands in messages @param bufferBytes receive buffer asked of the kernel */
    LiveSocket(const std::string &url, uint32_t bufferBytes);
    ~LiveSocket();
    LiveSocket(const LiveSocket &) = delete;
    LiveSocket &operator=(const LiveSocket &) = delete;

    /** @brief Wait for a datagram. @return its length, 0 when the time passed without any */
    size_t receive(u8 *buffer, size_t size, int waitMs);

    /** @brief Datagrams that found the receive buffer full, so far. */
    uint64_t lost() const;
    /** @brief Bytes of the receive buffer. */
    uint64_t bufferBytes() const { return granted; }

private:
    ssize_t receiveNow(u8 *buffer, size_t size);

    int descriptor = -1;
    std::atomic<uint32_t> dropped{0}; // read by other threads
    uint64_t granted = 0;
};

/** @brief A datagram socket that sends to one address, a multicast group or not. */
class LiveSender {
public:
    /**
     * @brief Open it; nothing is sent yet.
     * @param url "udp://address:port[?iface=name][&ttl=n]": the interface counts for a group, whose packets are looped
     * back to receivers on this machine as well
     *
     * Throws InputError.
     */
    explicit LiveSender(const std::string &url);
    ~LiveSender();
    LiveSender(const LiveSender &) = delete;
    LiveSender &operator=(const LiveSender &) = delete;

    /** @brief Send a datagram. @return false when it could not be sent */
    bool send(const u8 *data, size_t size);

private:
    int descriptor = -1;
    std::vector<u8> address;
};

} // namespace psi::demux

#endif // PSI_DEMUX_LIVE_SOCKET_H
